#include "tests/conformance/case_gen.h"

#include <cctype>
#include <cstring>

namespace conf {

namespace {

// Writes `v` into lane `e` of `bytes` bytes of a vector.
void put_lane(uint8_t* z, int bytes, int e, uint64_t v) { std::memcpy(z + e * bytes, &v, bytes); }

int pick_lane_bytes(test_rng& r, const row_traits& t) {
    if (t.elem_bytes >= 1 && t.elem_bytes <= 8 && r.below(4)) return t.elem_bytes;
    return 1 << r.below(4);
}

void random_vector(test_rng& r, const row_traits& t, uint8_t* z) {
    int bytes = pick_lane_bytes(r, t);
    bool fp = t.fp && bytes >= 2;
    for (int e = 0; e < VL / bytes; e++)
        put_lane(z, bytes, e, fp && r.below(5) ? interesting_fp(r, bytes) : interesting_value(r, bytes));
}

// A predicate, one bit per vector byte: all true, all false, one element, random elements,
// or random bits in every position.
void random_pred(test_rng& r, const row_traits& t, uint8_t* p) {
    int bytes = pick_lane_bytes(r, t);
    int n = VL / bytes;
    uint8_t bits[VL] = {};
    switch (r.below(6)) {
    case 0: for (int e = 0; e < n; e++) bits[e * bytes] = 1; break;
    case 1: break;
    case 2: bits[r.below(n) * bytes] = 1; break;
    case 3: for (int i = 0; i < VL; i++) bits[i] = r.below(2); break;
    default: for (int e = 0; e < n; e++) bits[e * bytes] = r.below(4) != 0; break;
    }
    std::memset(p, 0, PL);
    for (int i = 0; i < VL; i++) p[i / 8] |= uint8_t(bits[i] << (i % 8));
}

uint32_t random_fpcr(test_rng& r) {
    if (r.below(5) < 2) return 0;
    uint32_t v = r.below(4) << 22;                  // rounding mode
    if (r.below(3) == 0) v |= 1u << 24;             // FZ
    if (r.below(3) == 0) v |= 1u << 25;             // DN
    if (r.below(3) == 0) v |= 1u << 26;             // AHP
    if (r.below(3) == 0) v |= 1u << 19;             // FZ16
    return v;
}

uint32_t random_fpsr(test_rng& r) {
    if (r.below(10) < 7) return 0;
    static const uint32_t flags[] = {1u << 0, 1u << 1, 1u << 2, 1u << 3, 1u << 4, 1u << 7, 1u << 27};
    uint32_t v = 0;
    for (uint32_t f : flags)
        if (r.below(2)) v |= f;
    return v;
}

uint32_t field(uint32_t w, int lo) { return (w >> lo) & 31; }

// Places the addresses of a memory row inside the data buffer. With `edge` (first-fault and
// non-fault loads) some accesses run on past its end into the unmapped guard page instead.
void place_addresses(test_rng& r, const row_traits& t, uint32_t word, bool edge, gen_case& c) {
    for (uint64_t& x : c.s.x) x = r.below(64);
    uint64_t base = BUF_ADDR + BUF_SIZE / 2 - 512 + 16 * r.below(64);
    uint32_t n = field(word, 5), m = field(word, 16);
    if (t.form == AF_VI) {
        int bytes = t.elem_bytes == 4 ? 4 : 8;
        for (int e = 0; e < VL / bytes; e++) {
            uint64_t a = BUF_ADDR + r.below(BUF_SIZE - 1024);
            if (edge && e > 0 && r.below(3) == 0) a = BUF_ADDR + BUF_SIZE - 8 + r.below(64);
            put_lane(c.s.z[n], bytes, e, a);
        }
        return;
    }
    if (edge) {
        // The vector's footprint in memory, ending in the guard page; the immediate of a
        // non-fault load (bits 19:16, in vectors) moves it back.
        int elems = t.elem_bytes ? VL / t.elem_bytes : VL;
        int msize = t.mem_bytes ? t.mem_bytes : 1;
        uint64_t foot = uint64_t(elems) * msize;
        int64_t imm = t.form == AF_SI ? int64_t(int32_t(word << 12) >> 28) : 0;
        // Between one element and all but one inside the buffer.
        uint64_t into = uint64_t(msize) * (1 + r.below(elems - 1));
        base = BUF_ADDR + BUF_SIZE - into - imm * int64_t(foot);
        if (t.form == AF_SV || t.form == AF_VS) base = BUF_ADDR + BUF_SIZE - 1024;
        if (t.form == AF_LSS && m != 31) c.s.x[m] = 0;  // register 31 reads as zero already
    }
    if (n == 31) c.s.sp = base & ~uint64_t(15);
    else c.s.x[n] = base;
    if (t.form == AF_SV || t.form == AF_VS) {
        int bytes = t.elem_bytes == 4 ? 4 : 8;
        for (int e = 0; e < VL / bytes; e++) {
            uint64_t off = r.below(2048);
            if (t.ext32 && t.sign_ext && r.below(2)) off = uint64_t(-int64_t(off)) & 0xFFFFFFFFu;
            if (t.ext32 && bytes == 8) off |= r.next() << 32;  // ignored upper half
            put_lane(c.s.z[m], bytes, e, off);
        }
    }
}

}  // namespace

row_traits traits_of(const sve_row_info& row) {
    row_traits t{};
    t.fp = row.type[0] == 'F' || row.type[0] == 'H' || row.type[0] == 'B' || row.type[0] == 'D';
    t.elem_bytes = sve_row_elem_bytes(row);
    t.memory = row.access != SVE_ACCESS_NONE;
    t.first_fault = row.access == SVE_ACCESS_LOAD_FF || row.access == SVE_ACCESS_LOAD_NF;
    if (!t.memory) return t;
    t.mem_bytes = row.mem_bytes;
    switch (row.address) {
    case SVE_ADDRESS_LSS: t.form = AF_LSS; break;
    case SVE_ADDRESS_VI: t.form = AF_VI; break;
    case SVE_ADDRESS_SV: case SVE_ADDRESS_XSV: case SVE_ADDRESS_YSV: t.form = AF_SV; break;
    case SVE_ADDRESS_VS: case SVE_ADDRESS_XVS: case SVE_ADDRESS_YVS: t.form = AF_VS; break;
    default: t.form = AF_SI; break;
    }
    t.ext32 = row.address == SVE_ADDRESS_XSV || row.address == SVE_ADDRESS_YSV || row.address == SVE_ADDRESS_XVS ||
              row.address == SVE_ADDRESS_YVS;
    t.sign_ext = row.address == SVE_ADDRESS_XSV || row.address == SVE_ADDRESS_XVS;
    return t;
}

uint64_t interesting_fp(test_rng& r, int bytes) {
    int ebits = bytes == 2 ? 5 : bytes == 4 ? 8 : 11;
    int fbits = 8 * bytes - 1 - ebits;
    uint64_t emax = (1ull << ebits) - 1, fmask = (1ull << fbits) - 1, quiet = 1ull << (fbits - 1);
    uint64_t bias = emax >> 1;
    uint64_t sign = uint64_t(r.below(2)) << (8 * bytes - 1);
    uint64_t exp = 0, frac = 0;
    switch (r.below(14)) {
    case 0: break;                                                        // zero
    case 1: exp = emax; break;                                            // infinity
    case 2: exp = emax; frac = quiet | (r.next() & (quiet - 1)); break;   // quiet NaN
    case 3: exp = emax; frac = (r.next() & (quiet - 1)) | 1; break;       // signalling NaN
    case 4: frac = 1; break;                                              // smallest denormal
    case 5: frac = r.next() & fmask; break;                               // denormal
    case 6: frac = fmask; break;                                          // largest denormal
    case 7: exp = 1; break;                                               // smallest normal
    case 8: exp = emax - 1; frac = fmask; break;                          // largest normal
    case 9: exp = emax - 1 - r.below(2); frac = r.next() & fmask; break;  // near overflow
    case 10: exp = bias; break;                                           // 1.0
    case 11: exp = 1 + r.below(2); frac = r.next() & fmask; break;        // near underflow
    default: exp = bias - 4 + r.below(9); frac = r.next() & fmask; break; // ordinary
    }
    return sign | (exp << fbits) | frac;
}

gen_case generate_case(int row, uint64_t seed, int index) {
    const sve_row_info& info = sve_rows[row];
    row_traits t = traits_of(info);
    test_rng r(seed * 0x100000001B3ull ^ (uint64_t(row) << 20) ^ uint64_t(index));
    gen_case c;
    std::memset(&c, 0, sizeof c);
    uint32_t word = sve_row_word(info, uint32_t(r.next()));
    // A scalar index in the base register would leave the buffer.
    while (t.form == AF_LSS && field(word, 5) == field(word, 16) && field(word, 5) != 31)
        word = sve_row_word(info, uint32_t(r.next()));
    // Eight cases in a row share the buffer's contents: the runners fill it only when it changes.
    test_rng mr(seed ^ (uint64_t(row) << 32) ^ uint64_t(index / 8));
    c.h = {CASE_MAGIC, word, row, uint32_t(mr.next()), 0, 0};
    for (uint64_t& x : c.s.x) x = interesting_value(r, 8);
    c.s.sp = 0x7ff000000000ull + 16 * r.below(1 << 20);
    c.s.nzcv = uint64_t(r.below(16)) << 28;
    c.s.fpcr = random_fpcr(r);
    c.s.fpsr = random_fpsr(r);
    for (auto& z : c.s.z) random_vector(r, t, z);
    for (auto& p : c.s.p) random_pred(r, t, p);
    // A first-fault or non-fault load follows setffr in practice, and only with FFR all true
    // does the oracle's result show every element it left out.
    if (t.first_fault) std::memset(c.s.ffr, 0xFF, PL);
    else random_pred(r, t, c.s.ffr);
    if (t.memory) {
        bool edge = t.first_fault && r.below(4) == 0;
        if (edge) c.h.flags |= CF_EDGE;
        place_addresses(r, t, word, edge, c);
    }
    return c;
}

}  // namespace conf

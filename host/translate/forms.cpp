// The translated forms: which rows the translator takes (rules over the row metadata: the
// specialised operation, the element size, the memory access and address form) and the code it
// emits for each, unrolled over the 16-byte chunks of the vector length.
//
// Adding a form: write an emitter `void emit_x(const fx& x)` below (fields from x.w, chunk 0 of a
// Z register is V register z, chunks 1.. through zsrc/zdst, governing masks through pmask, scratch
// registers x.r.g[..] and x.r.v[..], as many as its entry declares), then add an entry to FORMS:
// its name, the rule that picks its rows (an operation name, or a match function over the row
// and word), its emitter and parameter, and the scratch it needs. A form that cannot honour a
// word (an operand it does not handle, a vector length) refuses it in its match function; the
// word then keeps the call. The test tests/translate/forms_test.cpp runs every row a form takes
// against the row's handler, without a list of its own.
#include <cstring>

#include "host/translate/a64.h"
#include "host/translate/translate.h"

using namespace a64;

namespace {

// Everything an emitter sees.
struct fx {
    xl_emitter& e;
    const xl_regs& r;
    const xl_env& env;
    const sve_row_info* row;
    uint32_t w;
    uint32_t param;
    int slow;
    int chunks() const { return env.vl / 16; }
    uint32_t f(int lo, int bits) const { return (w >> lo) & ((1u << bits) - 1); }
    uint32_t sz() const { return uint32_t(row->esz); }
};

uint32_t zoff(const xl_env& env, uint32_t z, int c) {
    return uint32_t(offsetof(cpu_state, z)) + z * uint32_t(env.vl) + 16 * uint32_t(c);
}
uint32_t poff(const xl_env& env, uint32_t p, int c) {
    return uint32_t(offsetof(cpu_state, z)) + (32 + p) * uint32_t(env.vl) + 16 * uint32_t(c);
}

// The register holding chunk c of Z register z: z itself for chunk 0, else `tmp` loaded.
uint32_t zsrc(const fx& x, uint32_t z, int c, uint32_t tmp) {
    if (c == 0) return z;
    x.e.put(ldr_q(tmp, x.r.rec, zoff(x.env, z, c)));
    return tmp;
}
// Chunk c of Z register z := register `from`.
void zdst(const fx& x, uint32_t z, int c, uint32_t from) {
    if (c == 0) {
        if (from != z) x.e.put(mov_v(z, from));
    } else {
        x.e.put(str_q(from, x.r.rec, zoff(x.env, z, c)));
    }
}
// t := all ones in the elements of size sz whose predicate bit (bit 0 of their first byte) is set.
void pmask(const fx& x, uint32_t t, uint32_t p, int c, uint32_t sz) {
    uint32_t top = (8u << sz) - 1;
    x.e.put(ldr_q(t, x.r.rec, poff(x.env, p, c)));
    x.e.put(shl(sz, t, t, top));
    x.e.put(sshr(sz, t, t, top));
}
// xd := a 64-bit constant (movz/movk, or movn for small negatives).
void mov_const(xl_emitter& e, uint32_t d, uint64_t v) {
    if (int64_t(v) < 0 && int64_t(v) >= -65536) return e.put(movn(d, uint32_t(~v) & 0xFFFF));
    e.put(movz(d, uint32_t(v) & 0xFFFF));
    for (uint32_t hw = 1; hw < 4; hw++)
        if ((v >> (16 * hw)) & 0xFFFF) e.put(movk(d, uint32_t(v >> (16 * hw)) & 0xFFFF, hw));
}
// xd := xn + v for |v| below 2^24 (xn may be sp; no flags).
void add_const(xl_emitter& e, uint32_t d, uint32_t n, int64_t v) {
    uint64_t a = uint64_t(v < 0 ? -v : v);
    uint32_t from = n;
    if (a >> 12) e.put(v < 0 ? sub_imm(d, from, uint32_t(a >> 12), true) : add_imm(d, from, uint32_t(a >> 12), true)), from = d;
    if ((a & 0xFFF) || from != d) e.put(v < 0 ? sub_imm(d, from, uint32_t(a & 0xFFF)) : add_imm(d, from, uint32_t(a & 0xFFF)));
}
// A general register operand that reads sp for 31: sp sits XL_SP_BIAS lower inside a run.
uint32_t xsp_src(const fx& x, uint32_t n, uint32_t tmp) {
    if (n != 31) return n;
    x.e.put(add_imm(tmp, SP, XL_SP_BIAS));
    return tmp;
}

// The element count of a pattern (ptrue, cnt, inc, dec) among n elements.
uint32_t pattern_count(uint32_t pat, uint32_t n) {
    if (pat == 0) {
        uint32_t p = 1;
        while (p * 2 <= n) p *= 2;
        return n ? p : 0;
    }
    if (pat >= 1 && pat <= 8) return n >= pat ? pat : 0;
    if (pat >= 9 && pat <= 13) {
        uint32_t k = 16u << (pat - 9);
        return n >= k ? k : 0;
    }
    if (pat == 29) return n - n % 4;
    if (pat == 30) return n - n % 3;
    if (pat == 31) return n;
    return 0;
}

// NZCV of a predicate whose first k elements are active, tested against itself (ptrues).
uint32_t leading_flags(uint32_t k) { return k > 0 ? 0x80000000u : 0x60000000u; }

// The chunk c of a predicate with the first k of n elements of size sz active.
void leading_chunk(uint8_t out[16], uint32_t k, uint32_t sz, int c) {
    for (uint32_t i = 0; i < 16; i++) {
        uint32_t byte = 16 * uint32_t(c) + i;
        out[i] = (byte % (1u << sz)) == 0 && (byte >> sz) < k;
    }
}

// ---- predicates ----

// ptrue, ptrues, pfalse: a constant predicate (param 1: and its flags).
void emit_ptrue(const fx& x) {
    uint32_t pd = x.f(0, 4), sz = x.row->esz < 0 ? 0 : x.sz();
    uint32_t n = uint32_t(x.env.vl) >> sz;
    uint32_t k = x.row->esz < 0 ? 0 : pattern_count(x.f(5, 5), n);
    uint8_t prev[16] = {}, chunk[16];
    uint32_t v = x.r.v[0];
    for (int c = 0; c < x.chunks(); c++) {
        leading_chunk(chunk, k, sz, c);
        if (c == 0 || std::memcmp(chunk, prev, 16) != 0) {
            bool zero = true;
            for (uint8_t b : chunk) zero = zero && b == 0;
            if (zero) x.e.put(movi_16b(v, 0));
            else x.e.literal_q(v, chunk);
            std::memcpy(prev, chunk, 16);
        }
        x.e.put(str_q(v, x.r.rec, poff(x.env, pd, c)));
    }
    if (x.param) {
        mov_const(x.e, x.r.g[0], leading_flags(k));
        x.e.put(msr_nzcv(x.r.g[0]));
    }
}

// while{lt,le,lo,ls}: the count of leading true elements in a general register, the flags from
// it, and the predicate from the count compared with each element's index.
void emit_while(const fx& x) {
    uint32_t pd = x.f(0, 4), rn = x.f(5, 5), rm = x.f(16, 5), sz = x.sz();
    bool is64 = x.f(12, 1), is_signed = x.row->type[0] == 'S', or_equal = std::strstr(x.row->name, "LESS");
    uint32_t n = uint32_t(x.env.vl) >> sz;
    uint32_t t = x.r.g[0], u = x.r.g[1], c = x.r.g[2];
    auto& e = x.e;
    if (!or_equal) {
        e.put(movz(u, n));
        e.put(subs_reg(t, rm, rn, is64));  // Rm - Rn: the count when Rm is above Rn
        e.put(csel(t, t, ZR, is_signed ? GT : HI));
        e.put(cmp_reg(t, u));
        e.put(csel(t, t, u, LO));
    } else {
        e.put(movz(u, n - 1));
        e.put(subs_reg(t, rm, rn, is64));
        e.put(csel(c, ZR, ZR, is_signed ? GE : HS) | (1u << 10));  // cset c, !cond (csinc)
        e.put(cmp_reg(t, u));
        e.put(csel(t, t, u, LO));
        e.put(add_imm(t, t, 1));
        e.put(sub_imm(c, c, 1));                        // all ones where the relation held
        e.put(0x8A000000u | (c << 16) | (t << 5) | t);  // and t, t, c
        // Rm the highest value of its kind: Rn + e wraps round, every element is true
        if (is_signed) mov_const(e, c, is64 ? 0x7FFFFFFFFFFFFFFFull : 0x7FFFFFFFull);
        else e.put(movn(c, 0));
        e.put(subs_reg(ZR, rm, c, is64));
        e.put(movz(u, n));
        e.put(csel(t, u, t, EQ));
    }
    // flags: none active Z C, some N C, all N
    e.put(movz(c, 0xA000, 1));
    e.put(movz(u, 0x8000, 1));
    e.put(0xF100001Fu | (n << 10) | (t << 5));  // cmp t, #n
    e.put(csel(c, c, u, LO));
    e.put(movz(u, 0x6000, 1));
    e.put(0xF100001Fu | (t << 5));  // cmp t, #0
    e.put(csel(c, u, c, EQ));
    e.put(msr_nzcv(c));
    // element e of the predicate is (e < count) at its first byte
    uint32_t vk = x.r.v[0], vt = x.r.v[1];
    e.put(dup_gpr(0, vk, t));
    for (int ch = 0; ch < x.chunks(); ch++) {
        uint8_t idx[16];
        for (uint32_t i = 0; i < 16; i++) {
            uint32_t byte = 16 * uint32_t(ch) + i;
            idx[i] = byte % (1u << sz) ? 0xFF : uint8_t(byte >> sz);
        }
        e.literal_q(vt, idx);
        e.put(three(CMHI, 0, vt, vk, vt));
        e.put(ushr(0, vt, vt, 7));
        e.put(str_q(vt, x.r.rec, poff(x.env, pd, ch)));
    }
}

// ---- element counts and lengths ----

// inc/dec (scalar) by pattern times multiplier: param 0 inc, 1 dec; cnt: param 2.
void emit_count_scalar(const fx& x) {
    uint32_t rd = x.f(0, 5);
    uint64_t d = uint64_t(pattern_count(x.f(5, 5), uint32_t(x.env.vl) >> x.sz())) * (x.f(16, 4) + 1);
    if (rd == 31) return;  // the zero register
    if (x.param == 2) return mov_const(x.e, rd, d);
    add_const(x.e, rd, rd, x.param ? -int64_t(d) : int64_t(d));
}

// inc/dec of every element of a vector: param 0 inc, 1 dec.
void emit_count_vector(const fx& x) {
    uint32_t zd = x.f(0, 5), sz = x.sz();
    uint64_t d = uint64_t(pattern_count(x.f(5, 5), uint32_t(x.env.vl) >> sz)) * (x.f(16, 4) + 1);
    mov_const(x.e, x.r.g[0], d);
    uint32_t k = x.r.v[0], t = x.r.v[1];
    x.e.put(dup_gpr(sz, k, x.r.g[0]));
    for (int c = 0; c < x.chunks(); c++) {
        uint32_t a = zsrc(x, zd, c, t);
        uint32_t to = c == 0 ? zd : t;
        x.e.put(three(x.param ? SUB : ADD, sz, to, a, k));
        zdst(x, zd, c, to);
    }
}

// addvl / addpl (param: bytes per unit is vl >> param), rdvl.
void emit_addvl(const fx& x) {
    uint32_t rd = x.f(0, 5), rn = x.f(16, 5);
    int64_t imm = int64_t(int32_t(x.f(5, 6) << 26) >> 26) * (x.env.vl >> x.param);
    uint32_t src = xsp_src(x, rn, x.r.g[0]);
    add_const(x.e, rd, src, imm);
}
void emit_rdvl(const fx& x) {
    uint32_t rd = x.f(0, 5);
    if (rd == 31) return;
    mov_const(x.e, rd, uint64_t(int64_t(int32_t(x.f(5, 6) << 26) >> 26) * x.env.vl));
}

// ---- vector arithmetic ----

// Unpredicated zd = zn op zm (param: the Advanced SIMD opcode; integer sizes or FP).
void emit_zzz(const fx& x) {
    uint32_t zd = x.f(0, 5), zn = x.f(5, 5), zm = x.f(16, 5);
    bool fp = x.row->family == SVE_FAMILY_FP;
    bool logical = x.param == AND || x.param == ORR || x.param == EOR || x.param == BIC;
    uint32_t sz = logical ? 0 : fp ? x.sz() - 2 : x.sz();
    for (int c = 0; c < x.chunks(); c++) {
        uint32_t a = zsrc(x, zn, c, x.r.v[0]), b = zsrc(x, zm, c, x.r.v[1]);
        uint32_t to = c == 0 ? zd : x.r.v[0];
        x.e.put(three(x.param, sz, to, a, b));
        zdst(x, zd, c, to);
    }
}

// Predicated, merging zdn = zdn op zm on the active elements. Floating point: the inactive
// elements of both operands are zero (one for a divisor) so that they raise no exception.
void emit_zpz(const fx& x) {
    uint32_t zdn = x.f(0, 5), zm = x.f(5, 5), pg = x.f(10, 3), sz = x.sz();
    bool fp = x.row->family == SVE_FAMILY_FP;
    bool logical = x.param == AND || x.param == ORR || x.param == EOR || x.param == BIC;
    uint32_t opsz = logical ? 0 : fp ? sz - 2 : sz;
    uint32_t va = x.r.v[0], vb = x.r.v[1], vm = x.r.v[2], one = x.r.v[3];
    if (x.param == FDIV) {
        mov_const(x.e, x.r.g[0], sz == 2 ? 0x3F800000u : 0x3FF0000000000000ull);
        x.e.put(dup_gpr(sz, one, x.r.g[0]));
    }
    for (int c = 0; c < x.chunks(); c++) {
        pmask(x, vm, pg, c, sz);
        uint32_t a = zsrc(x, zdn, c, va), b = zsrc(x, zm, c, vb);
        if (fp) {
            x.e.put(logic(AND, va, a, vm));
            if (x.param == FDIV) {
                if (b != vb) x.e.put(mov_v(vb, b));
                x.e.put(logic(BIF, vb, one, vm));  // inactive divisors := 1.0
            } else {
                x.e.put(logic(AND, vb, b, vm));
            }
            x.e.put(three(x.param, opsz, vb, va, vb));
            if (c != 0) x.e.put(ldr_q(va, x.r.rec, zoff(x.env, zdn, c)));  // the unmasked destination
        } else {
            x.e.put(three(x.param, opsz, vb, a, b));
        }
        x.e.put(logic(BIT, c == 0 ? zdn : va, vb, vm));
        if (c != 0) zdst(x, zdn, c, va);
    }
}

// Predicated multiply-add into the accumulator zda += / -= zn * zm (param: the opcode).
void emit_mla(const fx& x) {
    uint32_t zda = x.f(0, 5), zn = x.f(5, 5), pg = x.f(10, 3), zm = x.f(16, 5), sz = x.sz();
    bool fp = x.row->family == SVE_FAMILY_FP;
    uint32_t opsz = fp ? sz - 2 : sz;
    uint32_t vacc = x.r.v[0], vn = x.r.v[1], vzm = x.r.v[2], vm = x.r.v[3];
    for (int c = 0; c < x.chunks(); c++) {
        pmask(x, vm, pg, c, sz);
        uint32_t a = zsrc(x, zda, c, vacc), b = zsrc(x, zn, c, vn), m = zsrc(x, zm, c, vzm);
        if (fp) {  // inactive lanes compute 0 + 0 * 0
            x.e.put(logic(AND, vn, b, vm));
            x.e.put(logic(AND, vzm, m, vm));
            x.e.put(logic(AND, vacc == a ? vacc : vacc, a, vm));
            x.e.put(three(x.param, opsz, vacc, vn, vzm));
            if (c == 0) {
                x.e.put(logic(BIT, zda, vacc, vm));
            } else {
                x.e.put(ldr_q(vn, x.r.rec, zoff(x.env, zda, c)));
                x.e.put(logic(BIT, vn, vacc, vm));
                zdst(x, zda, c, vn);
            }
        } else {
            if (a != vacc) x.e.put(mov_v(vacc, a));
            x.e.put(three(x.param, opsz, vacc, b, m));
            if (c == 0) {
                x.e.put(logic(BIT, zda, vacc, vm));
            } else {
                x.e.put(ldr_q(vn, x.r.rec, zoff(x.env, zda, c)));
                x.e.put(logic(BIT, vn, vacc, vm));
                zdst(x, zda, c, vn);
            }
        }
    }
}

// sel zd, pg, zn, zm
void emit_sel(const fx& x) {
    uint32_t zd = x.f(0, 5), zn = x.f(5, 5), pg = x.f(10, 4), zm = x.f(16, 5), sz = x.sz();
    for (int c = 0; c < x.chunks(); c++) {
        pmask(x, x.r.v[2], pg, c, sz);
        uint32_t a = zsrc(x, zn, c, x.r.v[0]), b = zsrc(x, zm, c, x.r.v[1]);
        x.e.put(logic(BSL, x.r.v[2], a, b));
        zdst(x, zd, c, x.r.v[2]);
    }
}

// movprfx zd, zn (unpredicated)
void emit_movprfx(const fx& x) {
    uint32_t zd = x.f(0, 5), zn = x.f(5, 5);
    if (zd == zn) return;
    for (int c = 0; c < x.chunks(); c++) zdst(x, zd, c, zsrc(x, zn, c, x.r.v[0]));
}

// dup zd, rn|sp (param 0) and dup zd, #imm8{, lsl #8} (param 1)
void emit_dup(const fx& x) {
    uint32_t zd = x.f(0, 5), sz = x.sz(), k = x.r.v[0];
    if (x.param == 0) {
        uint32_t rn = xsp_src(x, x.f(5, 5), x.r.g[0]);
        if (rn == 31) rn = x.r.g[0];  // (not reached: sp was copied)
        x.e.put(dup_gpr(sz, k, rn));
    } else {
        int64_t imm = int64_t(int8_t(x.f(5, 8))) << (x.f(13, 1) ? 8 : 0);
        mov_const(x.e, x.r.g[0], uint64_t(imm));
        x.e.put(dup_gpr(sz, k, x.r.g[0]));
    }
    for (int c = 0; c < x.chunks(); c++) zdst(x, zd, c, k);
}

// ---- contiguous loads and stores ----

// The way out to the call: while the thread records a region of interest (the trace takes the
// call's records), and unless every element is active (inactive ones must not touch memory).
void memory_guards(const fx& x, uint32_t pg, uint32_t sz) {
    auto& e = x.e;
    uint32_t g = x.r.g[0], h = x.r.g[1];
    if (x.env.trace_tp) {
        e.put(mrs_tpidr(g));
        if (x.env.trace_tp >> 12) e.put(add_imm(g, g, (x.env.trace_tp >> 12) & 0xFFF, true));
        e.put(ldr_x(g, g, x.env.trace_tp & 0xFFF));
        e.put(ldrb(g, g, 0));
        e.branch(cbnz_w(g, 0), x.slow);
    }
    uint32_t acc = x.r.v[0], t = x.r.v[1];
    for (int c = 0; c < x.chunks(); c++) {
        e.put(ldr_q(c == 0 ? acc : t, x.r.rec, poff(x.env, pg, c)));
        if (c) e.put(logic(AND, acc, acc, t));
    }
    e.put(umov_d(g, acc, 0));
    e.put(umov_d(h, acc, 1));
    e.put(0x8A000000u | (h << 16) | (g << 5) | g);  // and g, g, h
    // bit 0 of the first byte of each element: N:immr:imms of the repeating pattern
    static constexpr uint32_t lead[4] = {0x030, 0x020, 0x000, 0x1000};
    e.put(and_bits(g, g, lead[sz]));
    e.put(eor_bits(g, g, lead[sz]));
    e.branch(cbnz_x(g, 0), x.slow);
}

// ld1* / st1* with scalar plus scaled scalar or scalar plus immediate (times the vector's memory
// footprint): memory elements of mem_bytes extended (zero or sign) to the element size or
// truncated from it.
void emit_contiguous(const fx& x) {
    uint32_t zt = x.f(0, 5), rn = x.f(5, 5), pg = x.f(10, 3), sz = x.sz();
    uint32_t msz = uint32_t(__builtin_ctz(uint32_t(x.row->mem_bytes)));
    uint32_t ratio_log = sz - msz, per_chunk = 16u >> ratio_log;
    bool load = x.row->access == SVE_ACCESS_LOAD, sign = x.row->type[0] == 'S';
    memory_guards(x, pg, sz);
    uint32_t a = x.r.g[0];
    uint32_t base = xsp_src(x, rn, a);
    if (x.row->address == SVE_ADDRESS_LSS) {
        x.e.put(add_reg(a, base, x.f(16, 5), msz));
    } else {
        int64_t imm = int64_t(int32_t(x.f(16, 4) << 28) >> 28) * (x.env.vl >> ratio_log);
        add_const(x.e, a, base, imm);
    }
    uint32_t t = x.r.v[1];
    for (int c = 0; c < x.chunks(); c++) {
        uint32_t off = per_chunk * uint32_t(c);
        if (load) {
            uint32_t to = c == 0 ? zt : t;
            x.e.put(ldr_v(int(per_chunk), to, a, off));
            for (uint32_t s = msz; s < sz; s++)  // uxtl / sxtl: ushll / sshll #0 of the low half
                x.e.put((sign ? 0x0F00A400u : 0x2F00A400u) | ((8u << s) << 16) | (to << 5) | to);
            zdst(x, zt, c, to);
        } else {
            uint32_t from = zsrc(x, zt, c, t);
            for (uint32_t s = sz; s > msz; s--) {  // xtn to the next smaller size
                x.e.put(0x0E212800u | ((s - 1) << 22) | (from << 5) | t);
                from = t;
            }
            x.e.put(str_v(int(per_chunk), from, a, off));
        }
    }
}

// ---- the forms ----

typedef void (*emit_fn)(const fx&);
typedef bool (*match_fn)(const sve_row_info& row, uint32_t word, const xl_env& env);

bool is_op(const sve_row_info& r, const char* op) { return r.op && std::strcmp(r.op, op) == 0; }
bool name_has(const sve_row_info& r, const char* s) { return std::strstr(r.name, s) != nullptr; }
bool int_sizes(const sve_row_info& r) { return r.esz >= 0 && r.esz <= 3; }
bool fp_sizes(const sve_row_info& r) { return r.esz == 2 || r.esz == 3; }  // half precision keeps the call

bool m_ptrues(const sve_row_info& r, uint32_t, const xl_env&) { return name_has(r, "TrueFlgI"); }
bool m_while(const sve_row_info& r, uint32_t, const xl_env& env) {
    // byte elements at 256 bytes count to 256, beyond a byte lane
    bool named = std::strncmp(r.name, "Vec", 3) == 0 && name_has(r, "While") && (name_has(r, "LTSS") || name_has(r, "LESS"));
    return named && int_sizes(r) && !(r.esz == 0 && env.vl == 256);
}
bool m_cnt(const sve_row_info& r, uint32_t, const xl_env&) { return name_has(r, "CountVLSI") && int_sizes(r); }
bool m_addvl(const sve_row_info&, uint32_t w, const xl_env&) {
    return (w & 31) != 31;  // a new sp keeps the call: the run keeps its saves below sp
}
bool m_contiguous(const sve_row_info& r, uint32_t, const xl_env&) {
    if (r.access != SVE_ACCESS_LOAD && r.access != SVE_ACCESS_STORE) return false;
    if (r.address != SVE_ADDRESS_SI && r.address != SVE_ADDRESS_LSS) return false;
    if (!r.op || std::strstr(r.op, "1r") || !(std::strstr(r.op, "sve_ld1") || std::strstr(r.op, "sve_st1") ||
                                              std::strstr(r.op, "sve_ldnt1") || std::strstr(r.op, "sve_stnt1")))
        return false;
    return int_sizes(r) && r.mem_bytes >= 1 && r.mem_bytes <= (1 << r.esz);
}
bool m_mul(const sve_row_info& r, uint32_t, const xl_env&) { return is_op(r, "sve_mul_zpz") && r.esz <= 2; }
bool m_mla(const sve_row_info& r, uint32_t, const xl_env&) { return is_op(r, "sve_mla_zpzz") && r.esz <= 2; }
bool m_mls(const sve_row_info& r, uint32_t, const xl_env&) { return is_op(r, "sve_mls_zpzz") && r.esz <= 2; }

#include "host/translate/forms_more.inc"

struct rule {
    const char* op;  // the specialised operation, or null: match decides
    match_fn match;  // further conditions, or null
    bool fp;         // single and double only
};

}  // namespace

struct xl_form {
    const char* name;
    rule pick;
    emit_fn emit;
    uint32_t param;
    int ng, nv;
    bool memory;
};

namespace {

const xl_form FORMS[] = {
    {"ptrue", {"sve_ptrue_pi", nullptr, false}, emit_ptrue, 0, 0, 1, false},
    {"ptrues", {nullptr, m_ptrues, false}, emit_ptrue, 1, 1, 1, false},
    {"pfalse", {"sve_pfalse_p", nullptr, false}, emit_ptrue, 0, 0, 1, false},
    {"while", {nullptr, m_while, false}, emit_while, 0, 3, 2, false},
    {"inc (scalar)", {nullptr, nullptr, false}, emit_count_scalar, 0, 0, 0, false},
    {"dec (scalar)", {nullptr, nullptr, false}, emit_count_scalar, 1, 0, 0, false},
    {"cnt", {nullptr, m_cnt, false}, emit_count_scalar, 2, 0, 0, false},
    {"inc (vector)", {nullptr, nullptr, false}, emit_count_vector, 0, 1, 2, false},
    {"dec (vector)", {nullptr, nullptr, false}, emit_count_vector, 1, 1, 2, false},
    {"addvl", {"sve_addvl_rri", m_addvl, false}, emit_addvl, 0, 1, 0, false},
    {"addpl", {"sve_addpl_rri", m_addvl, false}, emit_addvl, 3, 1, 0, false},
    {"rdvl", {"sve_rdvl_ri", nullptr, false}, emit_rdvl, 0, 0, 0, false},
    {"add", {"sve_add_zzz", nullptr, false}, emit_zzz, ADD, 0, 2, false},
    {"sub", {"sve_sub_zzz", nullptr, false}, emit_zzz, SUB, 0, 2, false},
    {"and", {"sve_and_zzz", nullptr, false}, emit_zzz, AND, 0, 2, false},
    {"orr", {"sve_orr_zzz", nullptr, false}, emit_zzz, ORR, 0, 2, false},
    {"eor", {"sve_eor_zzz", nullptr, false}, emit_zzz, EOR, 0, 2, false},
    {"bic", {"sve_bic_zzz", nullptr, false}, emit_zzz, BIC, 0, 2, false},
    {"fadd", {"sve_fadd_zzz", nullptr, true}, emit_zzz, FADD, 0, 2, false},
    {"fsub", {"sve_fsub_zzz", nullptr, true}, emit_zzz, FSUB, 0, 2, false},
    {"fmul", {"sve_fmul_zzz", nullptr, true}, emit_zzz, FMUL, 0, 2, false},
    {"add (predicated)", {"sve_add_zpz", nullptr, false}, emit_zpz, ADD, 0, 3, false},
    {"sub (predicated)", {"sve_sub_zpz", nullptr, false}, emit_zpz, SUB, 0, 3, false},
    {"mul (predicated)", {nullptr, m_mul, false}, emit_zpz, MUL, 0, 3, false},
    {"and (predicated)", {"sve_and_zpz", nullptr, false}, emit_zpz, AND, 0, 3, false},
    {"orr (predicated)", {"sve_orr_zpz", nullptr, false}, emit_zpz, ORR, 0, 3, false},
    {"eor (predicated)", {"sve_eor_zpz", nullptr, false}, emit_zpz, EOR, 0, 3, false},
    {"bic (predicated)", {"sve_bic_zpz", nullptr, false}, emit_zpz, BIC, 0, 3, false},
    {"fadd (predicated)", {"sve_fadd_zpz", nullptr, true}, emit_zpz, FADD, 0, 3, false},
    {"fsub (predicated)", {"sve_fsub_zpz", nullptr, true}, emit_zpz, FSUB, 0, 3, false},
    {"fmul (predicated)", {"sve_fmul_zpz", nullptr, true}, emit_zpz, FMUL, 0, 3, false},
    {"fdiv (predicated)", {"sve_fdiv_zpz", nullptr, true}, emit_zpz, FDIV, 1, 4, false},
    {"mla", {nullptr, m_mla, false}, emit_mla, MLA, 0, 4, false},
    {"mls", {nullptr, m_mls, false}, emit_mla, MLS, 0, 4, false},
    {"fmla", {"sve_fmla_zpzz", nullptr, true}, emit_mla, FMLA, 0, 4, false},
    {"fmls", {"sve_fmls_zpzz", nullptr, true}, emit_mla, FMLS, 0, 4, false},
    {"sel", {"sve_sel_zpzz", nullptr, false}, emit_sel, 0, 0, 3, false},
    {"movprfx", {"sve_movprfx_zz", nullptr, false}, emit_movprfx, 0, 0, 1, false},
    {"dup (scalar)", {"sve_dup_zr", nullptr, false}, emit_dup, 0, 1, 1, false},
    {"dup (immediate)", {"sve_dup_zi", nullptr, false}, emit_dup, 1, 1, 1, false},
    {"ld1/st1 (contiguous)", {nullptr, m_contiguous, false}, emit_contiguous, 0, 2, 2, true},
    // gathers, scatters, structures, complex, dot, adr
    {"fcmla", {"sve_fcmla_zpzzr", nullptr, true}, emit_fcmla, 0, 0, 4, false},
    {"fcmla (indexed)", {nullptr, m_fcmla_indexed, true}, emit_fcmla, 1, 0, 4, false},
    {"fcadd", {nullptr, m_fcadd, true}, emit_fcadd, 0, 0, 4, false},
    {"ld1/st1 (gather, scatter)", {nullptr, m_gather, false}, emit_gather, 0, 3, 2, true},
    {"ld2..ld4 (structures)", {nullptr, m_structure_load, false}, emit_structure, 0, 2, 2, true},
    {"st2..st4 (structures)", {nullptr, m_structure_store, false}, emit_structure, 0, 2, 4, true},
    {"adr", {nullptr, m_adr_plain, false}, emit_adr, 0, 0, 2, false},
    {"adr (sxtw)", {nullptr, m_adr_sxtw, false}, emit_adr, 1, 0, 2, false},
    {"adr (uxtw)", {nullptr, m_adr_uxtw, false}, emit_adr, 2, 0, 2, false},
    {"sdot/udot", {nullptr, m_dot, false}, emit_dot, 0, 0, 4, false},
    {"sdot/udot (indexed)", {nullptr, m_dot_indexed, false}, emit_dot, 1, 0, 4, false},
};

// The inc/dec forms name their operation by size letter: sve_inc{b,h,w,d}_rii and the like.
bool count_op(const sve_row_info& r, const char* what, const char* operands) {
    if (!r.op || std::strncmp(r.op, "sve_", 4) != 0 || std::strncmp(r.op + 4, what, 3) != 0) return false;
    return std::strchr("bhwd", r.op[7]) && std::strcmp(r.op + 8, operands) == 0;
}

bool matches(const xl_form& f, const sve_row_info& r, uint32_t w, const xl_env& env) {
    if (f.emit == emit_count_scalar && f.param < 2) return count_op(r, f.param ? "dec" : "inc", "_rii");
    if (f.emit == emit_count_vector) return count_op(r, f.param ? "dec" : "inc", "_zii");
    if (f.pick.op && !is_op(r, f.pick.op)) return false;
    if (f.pick.match && !f.pick.match(r, w, env)) return false;
    if (f.pick.fp && !fp_sizes(r)) return false;
    if (!f.pick.fp && f.emit != emit_ptrue && f.emit != emit_addvl && f.emit != emit_rdvl && f.emit != emit_count_scalar &&
        !int_sizes(r))
        return false;
    return true;
}

}  // namespace

xl_word xl_select(const sve_row_info* row, uint32_t word, const xl_env& env) {
    xl_word x = {};
    x.row = row, x.word = word;
    x.uses = (1u << (word & 31)) | (1u << ((word >> 5) & 31)) | (1u << ((word >> 16) & 31));
    if (!row) return x;
    for (const xl_form& f : FORMS) {
        if (!matches(f, *row, word, env)) continue;
        x.form = &f;
        x.ng = f.ng, x.nv = f.nv, x.memory = f.memory;
        x.uses |= more_uses(*row, word);
        break;
    }
    return x;
}

void xl_emit(xl_emitter& e, const xl_word& w, const xl_regs& r, const xl_env& env, int slow) {
    fx x{e, r, env, w.row, w.word, w.form->param, slow};
    w.form->emit(x);
}

int xl_form_count() { return int(sizeof FORMS / sizeof FORMS[0]); }
const char* xl_form_name(const xl_form* f) { return f->name; }

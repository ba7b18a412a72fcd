// The translated forms: which rows the translator takes (rules over the row metadata: the
// specialised operation, the element size, the memory access and address form) and the code it
// emits for each, unrolled over the 16-byte chunks of the vector length.
//
// Adding a form: write an emitter `void emit_x(const fx& x)` below (fields from x.w, chunk 0 of a
// Z register is V register z, chunks 1.. through zsrc/zdst, governing masks through pmask, scratch
// registers x.r.g[..] and x.r.v[..], as many as its entry declares), then add an entry to FORMS:
// its name, the rule that picks its rows (an operation name, or a match function over the row
// and word, and the element sizes it takes), its emitter and parameter, the scratch general and
// V registers it needs, and whether it has a way out to the call (x.slow: loads and stores, and
// forms that handle only an all-true predicate). A form that cannot honour a
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
    int body;    // label between a memory form's guards and its work, or -1
    int resume;  // label behind the word (before any guards of the next), or -1
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
// FP_IMM in the param: the second operand is the immediate of bit 5 (fadd, fsub: 0.5 or 1.0;
// fmul: 0.5 or 2.0; fmax, fmin and their nm forms: 0.0 or 1.0).
constexpr uint32_t FP_IMM = 1;
uint64_t fp_imm_bits(const fx& x) {
    double v;
    bool i1 = x.f(5, 1);
    if (std::strstr(x.row->op, "fmul")) v = i1 ? 2.0 : 0.5;
    else if (std::strstr(x.row->op, "fadd") || std::strstr(x.row->op, "fsub")) v = i1 ? 1.0 : 0.5;
    else v = i1 ? 1.0 : 0.0;
    if (x.sz() == 3) {
        uint64_t b;
        std::memcpy(&b, &v, 8);
        return b;
    }
    float f = float(v);
    uint32_t b;
    std::memcpy(&b, &f, 4);
    return b;
}

void emit_zpz(const fx& x) {
    uint32_t zdn = x.f(0, 5), zm = x.f(5, 5), pg = x.f(10, 3), sz = x.sz(), op = x.param & ~FP_IMM;
    bool fp = x.row->family == SVE_FAMILY_FP, imm = x.param & FP_IMM;
    bool logical = op == AND || op == ORR || op == EOR || op == BIC;
    uint32_t opsz = logical ? 0 : fp ? sz - 2 : sz;
    uint32_t va = x.r.v[0], vb = x.r.v[1], vm = x.r.v[2], one = x.r.v[3];
    if (op == FDIV || imm) {  // `one`: 1.0 in every element for inactive divisors, or the immediate
        mov_const(x.e, x.r.g[0], imm ? fp_imm_bits(x) : sz == 2 ? 0x3F800000u : 0x3FF0000000000000ull);
        x.e.put(dup_gpr(sz, one, x.r.g[0]));
    }
    for (int c = 0; c < x.chunks(); c++) {
        pmask(x, vm, pg, c, sz);
        uint32_t a = zsrc(x, zdn, c, va), b = imm ? one : zsrc(x, zm, c, vb);
        if (fp) {
            x.e.put(logic(AND, va, a, vm));
            if (op == FDIV) {
                if (b != vb) x.e.put(mov_v(vb, b));
                x.e.put(logic(BIF, vb, one, vm));  // inactive divisors := 1.0
            } else {
                x.e.put(logic(AND, vb, b, vm));
            }
            x.e.put(three(op, opsz, vb, va, vb));
            if (c != 0) x.e.put(ldr_q(va, x.r.rec, zoff(x.env, zdn, c)));  // the unmasked destination
        } else {
            x.e.put(three(op, opsz, vb, a, b));
        }
        x.e.put(logic(BIT, c == 0 ? zdn : va, vb, vm));
        if (c != 0) zdst(x, zdn, c, va);
    }
}

// Predicated multiply-add: zd := addend +/- n * m on the active elements. The param is the
// Advanced SIMD opcode (mla, mls, fmla, fmls) with MAD_FORM (the addend is the third operand
// field and zd a multiplicand: mad, msb, fmad, fmsb, fnmad, fnmsb) and NEG_ADDEND (fnmla,
// fnmls, fnmad, fnmsb). Floating point: inactive elements compute 0 + 0 * 0, raising nothing.
constexpr uint32_t MAD_FORM = 1, NEG_ADDEND = 2;
void emit_mla(const fx& x) {
    uint32_t zd = x.f(0, 5), pg = x.f(10, 3), sz = x.sz(), op = x.param & ~3u;
    bool mad = x.param & MAD_FORM, neg = x.param & NEG_ADDEND;
    // mla: zda, zn (9:5), zm (20:16); mad: zdn, zm (9:5), za (20:16)
    uint32_t za = mad ? x.f(16, 5) : zd, zn = mad ? zd : x.f(5, 5), zm = mad ? x.f(5, 5) : x.f(16, 5);
    bool fp = x.row->family == SVE_FAMILY_FP;
    uint32_t opsz = fp ? sz - 2 : sz;
    uint32_t vacc = x.r.v[0], vn = x.r.v[1], vzm = x.r.v[2], vm = x.r.v[3];
    for (int c = 0; c < x.chunks(); c++) {
        pmask(x, vm, pg, c, sz);
        uint32_t a = zsrc(x, za, c, vacc), b = zsrc(x, zn, c, vn), m = zsrc(x, zm, c, vzm);
        if (fp) {
            x.e.put(logic(AND, vn, b, vm));
            x.e.put(logic(AND, vzm, m, vm));
            x.e.put(logic(AND, vacc, a, vm));
            b = vn, m = vzm;
        } else if (a != vacc) {
            x.e.put(mov_v(vacc, a));
        }
        if (neg) x.e.put(0x6EA0F800u | (opsz << 22) | (vacc << 5) | vacc);  // fneg
        x.e.put(three(op, opsz, vacc, b, m));
        if (c == 0) {
            x.e.put(logic(BIT, zd, vacc, vm));
        } else {
            x.e.put(ldr_q(vn, x.r.rec, zoff(x.env, zd, c)));
            x.e.put(logic(BIT, vn, vacc, vm));
            zdst(x, zd, c, vn);
        }
    }
}

// Predicated unary operations, merging: zd := op(zn) on the active elements (param: the two-
// register Advanced SIMD opcode, 0 for a plain copy: movprfx; ZEROING: the inactive elements
// become zero). Floating point works on zeros in the inactive elements.
constexpr uint32_t ZEROING = 1;
void emit_unary(const fx& x) {
    uint32_t zd = x.f(0, 5), zn = x.f(5, 5), pg = x.f(10, 3), sz = x.sz(), op = x.param & ~1u;
    bool fp = x.row->family == SVE_FAMILY_FP;
    uint32_t opsz = fp ? sz - 2 : sz;
    uint32_t va = x.r.v[0], vb = x.r.v[1], vm = x.r.v[2];
    for (int c = 0; c < x.chunks(); c++) {
        pmask(x, vm, pg, c, sz);
        uint32_t b = zsrc(x, zn, c, vb);
        if (fp || (x.param & ZEROING)) x.e.put(logic(AND, vb, b, vm)), b = vb;
        if (op) x.e.put(op | (opsz << 22) | (b << 5) | vb), b = vb;
        if (x.param & ZEROING) {
            zdst(x, zd, c, b);
        } else if (c == 0) {
            x.e.put(logic(BIT, zd, b, vm));
        } else {
            x.e.put(ldr_q(va, x.r.rec, zoff(x.env, zd, c)));
            x.e.put(logic(BIT, va, b, vm));
            zdst(x, zd, c, va);
        }
    }
}

// Floating-point compares into a predicate, zeroing: pd := pg & (zn cmp zm|0.0). The param is
// the Advanced SIMD compare with SWAPPED (the operands the other way round: lt, le against zero),
// INVERTED (ne) or UNORDERED (uo: either operand a NaN). Inactive elements compare zeros.
constexpr uint32_t SWAPPED = 1, INVERTED = 2, UNORDERED = 4;
void emit_fcm(const fx& x) {
    uint32_t pd = x.f(0, 4), zn = x.f(5, 5), pg = x.f(10, 3), zm = x.f(16, 5), sz = x.sz(), op = x.param & ~7u;
    bool vs_zero = std::strstr(x.row->op, "_ppzz") == nullptr;
    uint32_t va = x.r.v[0], vb = x.r.v[1], vm = x.r.v[2];
    for (int c = 0; c < x.chunks(); c++) {
        pmask(x, vm, pg, c, sz);
        x.e.put(logic(AND, va, zsrc(x, zn, c, va), vm));
        if (vs_zero) x.e.put(movi_16b(vb, 0));
        else x.e.put(logic(AND, vb, zsrc(x, zm, c, vb), vm));
        if (x.param & UNORDERED) {  // not (a == a and b == b)
            x.e.put(three(op, sz - 2, va, va, va));
            x.e.put(three(op, sz - 2, vb, vb, vb));
            x.e.put(logic(AND, va, va, vb));
            x.e.put(not_v(va, va));
        } else {
            x.e.put(x.param & SWAPPED ? three(op, sz - 2, va, vb, va) : three(op, sz - 2, va, va, vb));
            if (x.param & INVERTED) x.e.put(not_v(va, va));
        }
        x.e.put(logic(AND, va, va, vm));
        x.e.put(ushr(sz, va, va, (8u << sz) - 1));  // all ones -> 1 in the element's first byte
        x.e.put(str_q(va, x.r.rec, poff(x.env, pd, c)));
    }
}

// Integer compares into a predicate, with the flags of the result tested against the governing
// predicate: pd := pg & (zn cmp zm|#imm). The param is the Advanced SIMD compare with SWAPPED
// (lt, le, lo, ls against an immediate) or INVERTED (ne). The flags come from bitmaps of the
// active and of the true elements, one bit per element (at most 64 elements), made per chunk by
// weighting each element's mask with its bit and adding across the chunk.
void emit_cmp(const fx& x) {
    uint32_t pd = x.f(0, 4), zn = x.f(5, 5), pg = x.f(10, 3), sz = x.sz(), op = x.param & ~7u;
    bool imm = std::strstr(x.row->op, "_ppzi") != nullptr;
    uint32_t vm = x.r.v[0], va = x.r.v[1], vb = x.r.v[2], vw = x.r.v[3];
    uint32_t bm_a = x.r.g[0], bm_r = x.r.g[1], t = x.r.g[2];
    uint32_t per_chunk = 16u >> sz;
    auto& e = x.e;
    uint8_t weights[16] = {};
    for (uint32_t i = 0; i < per_chunk; i++) weights[i << sz] = uint8_t(1u << i);
    e.literal_q(vw, weights);
    if (imm) {  // the immediate in every element of vb: signed imm5, or unsigned imm7 (hi, hs, lo, ls)
        bool is_unsigned = std::strstr(x.row->op, "cmphi") || std::strstr(x.row->op, "cmphs") ||
                           std::strstr(x.row->op, "cmplo") || std::strstr(x.row->op, "cmpls");
        int64_t v = is_unsigned ? int64_t(x.f(14, 7)) : int64_t(int32_t(x.f(16, 5) << 27) >> 27);
        mov_const(e, t, uint64_t(v));
        e.put(dup_gpr(sz, vb, t));
    }
    e.put(movz(bm_a, 0));
    e.put(movz(bm_r, 0));
    // a chunk's elements of the mask in `from` as bits c * per_chunk ... into the bitmap `into`
    auto bits = [&](uint32_t from, uint32_t scratch, uint32_t into, int c) {
        e.put(logic(AND, scratch, from, vw));
        e.put(0x4E31B800u | (scratch << 5) | scratch);  // addv b, .16b
        e.put(0x0E013C00u | (scratch << 5) | t);        // umov w, b[0]
        e.put(0xAA000000u | (t << 16) | ((uint32_t(c) * per_chunk) << 10) | (into << 5) | into);  // orr, lsl
    };
    for (int c = 0; c < x.chunks(); c++) {
        pmask(x, vm, pg, c, sz);
        bits(vm, va, bm_a, c);
        uint32_t a = zsrc(x, zn, c, va);
        uint32_t b = imm ? vb : zsrc(x, x.f(16, 5), c, vb);
        e.put(x.param & SWAPPED ? three(op, sz, va, b, a) : three(op, sz, va, a, b));
        if (x.param & INVERTED) e.put(not_v(va, va));
        e.put(logic(AND, va, va, vm));
        bits(va, vm, bm_r, c);
        e.put(ushr(sz, va, va, (8u << sz) - 1));
        e.put(str_q(va, x.r.rec, poff(x.env, pd, c)));
    }
    // N: the first active element is true; Z: none is true; C: the last active one is not true
    e.put(sub_reg(t, ZR, bm_a));
    e.put(0x8A000000u | (bm_a << 16) | (t << 5) | t);        // and t, t, a: the lowest active
    e.put(0x8A000000u | (bm_r << 16) | (t << 5) | t);        // and t, t, r
    e.put(0xF100001Fu | (t << 5));                            // cmp t, #0
    e.put(csel(t, ZR, ZR, EQ) | (1u << 10));                  // cset t, ne
    e.put(0xDAC01000u | (bm_a << 5) | bm_a);                  // clz a, a
    e.put(0x9AC02000u | (bm_a << 16) | (bm_r << 5) | bm_a);  // lsl a, r, a: the highest active at bit 63
    e.put(0xD340FC00u | (63u << 16) | (bm_a << 5) | bm_a);   // lsr a, a, #63
    e.put(eor_bits(bm_a, bm_a, 0x1000));                      // eor a, a, #1
    e.put(0xF100001Fu | (bm_r << 5));                         // cmp r, #0
    e.put(csel(bm_r, ZR, ZR, NE) | (1u << 10));               // cset r, eq
    e.put(0xAA000000u | (t << 16) | (1u << 10) | (bm_r << 5) | t);   // t = t << 1 | z
    e.put(0xAA000000u | (t << 16) | (1u << 10) | (bm_a << 5) | t);   // t = t << 1 | c
    e.put(lsl_imm(t, t, 29));
    e.put(msr_nzcv(t));
}

// fadda: the active elements added to the scalar one by one, in element order, each with the
// processor's scalar add (its rounding, its flags). The scalar's register is zero above it
// afterwards, through the whole Z register.
void emit_fadda(const fx& x) {
    uint32_t vdn = x.f(0, 5), zm = x.f(5, 5), pg = x.f(10, 3), sz = x.sz();
    uint32_t ebytes = 1u << sz, n = uint32_t(x.env.vl) >> sz;
    uint32_t flag = x.r.g[0], pbase = x.r.g[1], el = x.r.v[0], low = x.r.v[1];
    auto& e = x.e;
    uint32_t ftype = sz == 3 ? 1u << 22 : 0;
    e.put(mov_v(low, zm));                                // zm's chunk 0 before vdn changes
    e.put(0x1E204000u | ftype | (vdn << 5) | vdn);        // fmov: the scalar alone
    add_const(e, pbase, x.r.rec, int64_t(poff(x.env, pg, 0)));
    for (uint32_t i = 0; i < n; i++) {
        uint32_t byte = i * ebytes;
        e.put(ldrb(flag, pbase, byte));
        e.put(0x36000000u | (3u << 5) | flag);           // tbz flag, #0, behind the add
        if (byte < 16)                                    // dup el, low.<T>[i]
            e.put(0x5E000400u | (((i << (sz + 1)) | ebytes) << 16) | (low << 5) | el);
        else
            e.put(ldr_v(int(ebytes), el, x.r.rec, zoff(x.env, zm, 0) + byte));
        e.put(0x1E202800u | ftype | (el << 16) | (vdn << 5) | vdn);  // fadd
    }
    e.put(movi_16b(el, 0));
    for (int c = 1; c < x.chunks(); c++) e.put(str_q(el, x.r.rec, zoff(x.env, vdn, c)));
}

// Shifts by an immediate, unpredicated: the Advanced SIMD field immh:immb is SVE's tsz:imm3.
void emit_shift_imm(const fx& x) {
    uint32_t zd = x.f(0, 5), zn = x.f(5, 5);
    uint32_t imm = x.f(16, 3) | (x.f(19, 2) << 3) | (x.f(22, 2) << 5);
    for (int c = 0; c < x.chunks(); c++) {
        uint32_t a = zsrc(x, zn, c, x.r.v[0]);
        uint32_t to = c == 0 ? zd : x.r.v[0];
        x.e.put(x.param | (imm << 16) | (a << 5) | to);
        zdst(x, zd, c, to);
    }
}

// add / sub of an unsigned immediate (imm8, optionally shifted left by 8), unpredicated.
void emit_add_imm(const fx& x) {
    uint32_t zdn = x.f(0, 5), sz = x.sz();
    uint64_t imm = uint64_t(x.f(5, 8)) << (x.f(13, 1) ? 8 : 0);
    mov_const(x.e, x.r.g[0], imm);
    uint32_t k = x.r.v[1];
    x.e.put(dup_gpr(sz, k, x.r.g[0]));
    for (int c = 0; c < x.chunks(); c++) {
        uint32_t a = zsrc(x, zdn, c, x.r.v[0]);
        uint32_t to = c == 0 ? zdn : x.r.v[0];
        x.e.put(three(x.param, sz, to, a, k));
        zdst(x, zdn, c, to);
    }
}

// Predicate logic, zeroing: pd := (pn op pm) & pg, with nor as the inverted orr.
void emit_pred_logic(const fx& x) {
    uint32_t pd = x.f(0, 4), pn = x.f(5, 4), pg = x.f(10, 4), pm = x.f(16, 4);
    uint32_t a = x.r.v[0], b = x.r.v[1], g = x.r.v[2], one = x.r.v[3];
    x.e.put(movi_16b(one, 1));
    bool nor = x.param == ORN;
    for (int c = 0; c < x.chunks(); c++) {
        x.e.put(ldr_q(a, x.r.rec, poff(x.env, pn, c)));
        x.e.put(ldr_q(b, x.r.rec, poff(x.env, pm, c)));
        x.e.put(ldr_q(g, x.r.rec, poff(x.env, pg, c)));
        x.e.put(logic(nor ? ORR : x.param, a, a, b));
        if (nor) x.e.put(not_v(a, a));
        x.e.put(logic(AND, a, a, g));
        x.e.put(logic(AND, a, a, one));
        x.e.put(str_q(a, x.r.rec, poff(x.env, pd, c)));
    }
}

// adr zd, [zn, zm{, lsl #msz}], packed elements: zd := zn + (zm << msz).
void emit_adr(const fx& x) {
    uint32_t zd = x.f(0, 5), zn = x.f(5, 5), zm = x.f(16, 5), sh = x.f(10, 2), sz = x.sz();
    for (int c = 0; c < x.chunks(); c++) {
        uint32_t b = zsrc(x, zm, c, x.r.v[1]);
        if (sh) x.e.put(shl(sz, x.r.v[1], b, sh)), b = x.r.v[1];
        uint32_t a = zsrc(x, zn, c, x.r.v[0]);
        uint32_t to = c == 0 ? zd : x.r.v[0];
        x.e.put(three(ADD, sz, to, a, b));
        zdst(x, zd, c, to);
    }
}

// rev zd, zn: the elements in reverse order. Chunks are taken in pairs from both ends (and
// the middle one alone), both read before either is written, so zd may be zn.
void emit_rev(const fx& x) {
    uint32_t zd = x.f(0, 5), zn = x.f(5, 5), sz = x.sz();
    uint32_t ta = x.r.v[0], tb = x.r.v[1];
    auto reverse = [&](uint32_t v) {
        if (sz < 3) x.e.put(0x4E200800u | (sz << 22) | (v << 5) | v);  // rev64
        x.e.put(0x6E000000u | (v << 16) | (8u << 11) | (v << 5) | v);   // ext #8: swap the halves
    };
    int n = x.chunks();
    for (int lo = 0, hi = n - 1; lo <= hi; lo++, hi--) {
        uint32_t a = zsrc(x, zn, lo, ta);
        if (a != ta) x.e.put(mov_v(ta, a));
        reverse(ta);
        if (lo == hi) {
            zdst(x, zd, lo, ta);
            break;
        }
        uint32_t b = zsrc(x, zn, hi, tb);
        if (b != tb) x.e.put(mov_v(tb, b));
        reverse(tb);
        zdst(x, zd, lo, tb);
        zdst(x, zd, hi, ta);
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

// The 8-bit floating-point immediate abcdefgh expanded: a, NOT(b), b repeated, cdefgh, zeros.
uint64_t fp_expand(uint32_t imm8, uint32_t sz) {
    uint64_t a = imm8 >> 7, b = (imm8 >> 6) & 1, rest = imm8 & 0x3F;
    if (sz == 2) return (a << 31) | ((b ^ 1) << 30) | (b ? 0x1Full << 25 : 0) | (rest << 19);
    return (a << 63) | ((b ^ 1) << 62) | (b ? 0xFFull << 54 : 0) | (rest << 48);
}

// dup zd, rn|sp (param 0), dup zd, #imm8{, lsl #8} (param 1), fdup zd, #fpimm (param 2)
void emit_dup(const fx& x) {
    uint32_t zd = x.f(0, 5), sz = x.sz(), k = x.r.v[0];
    if (x.param == 0) {
        x.e.put(dup_gpr(sz, k, xsp_src(x, x.f(5, 5), x.r.g[0])));
    } else if (x.param == 1) {
        int64_t imm = int64_t(int8_t(x.f(5, 8))) << (x.f(13, 1) ? 8 : 0);
        mov_const(x.e, x.r.g[0], uint64_t(imm));
        x.e.put(dup_gpr(sz, k, x.r.g[0]));
    } else {
        mov_const(x.e, x.r.g[0], fp_expand(x.f(5, 8), sz));
        x.e.put(dup_gpr(sz, k, x.r.g[0]));
    }
    for (int c = 0; c < x.chunks(); c++) zdst(x, zd, c, k);
}

// ---- contiguous loads and stores ----

// The way out to the call: while the thread records a region of interest (the trace takes the
// call's records), and unless every element is active (inactive ones must not touch memory).
void trace_guard(const fx& x) {
    auto& e = x.e;
    uint32_t g = x.r.g[0];
    if (!x.env.trace_tp) return;
    e.put(mrs_tpidr(g));
    if (x.env.trace_tp >> 12) e.put(add_imm(g, g, (x.env.trace_tp >> 12) & 0xFFF, true));
    e.put(ldr_x(g, g, x.env.trace_tp & 0xFFF));
    e.put(ldrb(g, g, 0));
    e.branch(cbnz_w(g, 0), x.slow);
}
// `partial`: where a word goes when an element is inactive (the call's way out when -1).
// To `to` unless every element of pg (bit 0 of its first byte) is active.
void predicate_guard(const fx& x, uint32_t pg, uint32_t sz, int to) {
    auto& e = x.e;
    uint32_t g = x.r.g[0], h = x.r.g[1];
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
    e.branch(cbnz_x(g, 0), to);
}
void memory_guards(const fx& x, uint32_t pg, uint32_t sz, int partial = -1) {
    trace_guard(x);
    predicate_guard(x, pg, sz, partial >= 0 ? partial : x.slow);
}

// Element i of a chunk, governed: `flag` := the predicate byte at `byte` (from `pbase`), and the
// next two instructions skipped when bit 0 is clear.
void element_guard(const fx& x, uint32_t flag, uint32_t pbase, uint32_t byte) {
    x.e.put(ldrb(flag, pbase, byte));
    x.e.put(0x36000000u | (3u << 5) | flag);  // tbz flag, #0, +3
}
// A lane of a V register to or from a general register: ins vd.<T>[i], w|x / umov w|x, vn.<T>[i].
uint32_t ins_lane(uint32_t sz, uint32_t d, uint32_t i, uint32_t n) {
    return 0x4E001C00u | (((i << (sz + 1)) | (1u << sz)) << 16) | (n << 5) | d;
}
uint32_t umov_lane(uint32_t sz, uint32_t d, uint32_t n, uint32_t i) {
    return (sz == 3 ? 0x4E003C00u : 0x0E003C00u) | (((i << (sz + 1)) | (1u << sz)) << 16) | (n << 5) | d;
}
// ldr / str of a general register of 1 << sz bytes at base + byte.
uint32_t gpr_mem(bool load, uint32_t sz, uint32_t t, uint32_t n, uint32_t byte) {
    static constexpr uint32_t op[4] = {0x39000000u, 0x79000000u, 0xB9000000u, 0xF9000000u};
    return op[sz] | (load ? 1u << 22 : 0) | ((byte >> sz) << 10) | (n << 5) | t;
}

// ld1* / st1* with scalar plus scaled scalar or scalar plus immediate (times the vector's memory
// footprint): memory elements of mem_bytes extended (zero or sign) to the element size or
// truncated from it.
void emit_contiguous(const fx& x) {
    uint32_t zt = x.f(0, 5), rn = x.f(5, 5), pg = x.f(10, 3), sz = x.sz();
    uint32_t msz = uint32_t(__builtin_ctz(uint32_t(x.row->mem_bytes)));
    uint32_t ratio_log = sz - msz, per_chunk = 16u >> ratio_log;
    bool load = x.row->access == SVE_ACCESS_LOAD, sign = x.row->type[0] == 'S';
    // Elements of their memory size have a way for some inactive ones: element by element.
    int partial = ratio_log == 0 && x.resume >= 0 ? x.e.new_label() : -1;
    memory_guards(x, pg, sz, partial);
    if (x.body >= 0) x.e.bind(x.body);
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
    if (partial < 0) return;
    int over = x.e.new_label();
    x.e.branch(a64::b(0), over);
    x.e.bind(partial);
    // (the address again: the guards ran before it was made)
    base = xsp_src(x, rn, a);
    if (x.row->address == SVE_ADDRESS_LSS) x.e.put(add_reg(a, base, x.f(16, 5), msz));
    else add_const(x.e, a, base, int64_t(int32_t(x.f(16, 4) << 28) >> 28) * x.env.vl);
    uint32_t pbase = x.r.g[1], flag = x.r.g[2];
    add_const(x.e, pbase, x.r.rec, int64_t(poff(x.env, pg, 0)));
    for (int c = 0; c < x.chunks(); c++) {
        uint32_t v = load ? t : zsrc(x, zt, c, t);
        if (load) x.e.put(movi_16b(t, 0));
        for (uint32_t i = 0; i < per_chunk >> sz; i++) {
            uint32_t byte = 16 * uint32_t(c) + (i << sz);
            element_guard(x, flag, pbase, byte);
            if (load) {
                x.e.put(gpr_mem(true, sz, flag, a, byte));
                x.e.put(ins_lane(sz, t, i, flag));
            } else {
                x.e.put(umov_lane(sz, flag, v, i));
                x.e.put(gpr_mem(false, sz, flag, a, byte));
            }
        }
        if (load) zdst(x, zt, c, t);
    }
    x.e.branch(a64::b(0), x.resume);
    x.e.bind(over);
}

// ld2* / ld3* / ld4*: N registers from N-member structures, chunk by chunk with the Advanced SIMD
// structure loads into the registers zt.. themselves, the last chunk first so that chunk 0 stays
// in the V registers. A read of the first and the last byte first (the whole access is below a
// page) makes a fault happen before anything changed.
uint32_t structure_members(const sve_row_info& r) { return uint32_t(r.op[6] - '0'); }
void emit_structure_load(const fx& x) {
    uint32_t zt = x.f(0, 5), rn = x.f(5, 5), pg = x.f(10, 3), sz = x.sz(), n = structure_members(*x.row);
    uint32_t bytes = n * uint32_t(x.env.vl);
    memory_guards(x, pg, sz);
    if (x.body >= 0) x.e.bind(x.body);
    uint32_t a = x.r.g[0], t = x.r.g[1];
    uint32_t base = xsp_src(x, rn, a);
    if (x.row->address == SVE_ADDRESS_LSS) x.e.put(add_reg(a, base, x.f(16, 5), sz));
    else add_const(x.e, a, base, int64_t(int32_t(x.f(16, 4) << 28) >> 28) * int64_t(bytes));
    x.e.put(ldrb(t, a, 0));
    x.e.put(ldrb(t, a, bytes - 1));
    static constexpr uint32_t ldn[5] = {0, 0, 0x4C408000u, 0x4C404000u, 0x4C400000u};
    for (int c = x.chunks() - 1; c >= 0; c--) {
        uint32_t from = a;
        if (c) x.e.put(add_imm(t, a, uint32_t(c) * 16 * n)), from = t;
        x.e.put(ldn[n] | (sz << 10) | (from << 5) | zt);
        if (c)
            for (uint32_t j = 0; j < n; j++) x.e.put(str_q((zt + j) % 32, x.r.rec, zoff(x.env, (zt + j) % 32, c)));
    }
}

// Gathers and scatters without extension or truncation: element by element, the offset from
// zm's lane (zero- or sign-extended 32-bit, or 64-bit; scaled by the element or not) added to
// the base, one lane loaded into a chunk's register or stored from it.
void emit_gather(const fx& x) {
    uint32_t zt = x.f(0, 5), rn = x.f(5, 5), pg = x.f(10, 3), zm = x.f(16, 5), sz = x.sz();
    bool load = x.row->access == SVE_ACCESS_LOAD;
    const char* op = x.row->op;
    uint32_t option = std::strstr(op, "sxtw") ? 6u : std::strstr(op, "uxtw") ? 2u : 3u;
    uint32_t shift = std::strstr(op, "scaled") ? sz : 0;
    trace_guard(x);  // inactive elements are skipped one by one
    if (x.body >= 0) x.e.bind(x.body);
    uint32_t off = x.r.g[0], addr = x.r.g[1], pbase = x.r.g[3], base = xsp_src(x, rn, x.r.g[2]);
    uint32_t per_chunk = 16u >> sz;
    add_const(x.e, pbase, x.r.rec, int64_t(poff(x.env, pg, 0)));
    // An element's address, from its offset lane: chunk 0 from the V register, the others from the record.
    auto address = [&](int c, uint32_t i) {
        uint32_t at = zoff(x.env, zm, c) + (i << sz);
        if (sz == 3) x.e.put(c ? ldr_x(off, x.r.rec, at) : umov_d(off, zm, i));
        else if (option == 6) x.e.put(c ? 0xB9800000u | ((at / 4) << 10) | (x.r.rec << 5) | off : 0x4E042C00u | (i << 19) | (zm << 5) | off);
        else x.e.put(c ? 0xB9400000u | ((at / 4) << 10) | (x.r.rec << 5) | off : 0x0E043C00u | (i << 19) | (zm << 5) | off);
        x.e.put(0x8B200000u | (off << 16) | (option << 13) | (shift << 10) | (base << 5) | addr);  // add, extended
    };
    auto governed = [&](int c, uint32_t i) {
        x.e.put(ldrb(off, pbase, 16 * uint32_t(c) + (i << sz)));
        x.e.put(0x36000000u | (4u << 5) | off);  // tbz: past the element's three instructions
    };
    // A load into its own offsets reads every element once first: a fault then comes before the
    // offsets are overwritten, and the way back through the call finds them.
    if (load && zt == zm)
        for (int c = 0; c < x.chunks(); c++)
            for (uint32_t i = 0; i < per_chunk; i++) {
                governed(c, i);
                address(c, i);
                x.e.put(gpr_mem(true, sz, off, addr, 0));
            }
    for (int c = 0; c < x.chunks(); c++) {
        uint32_t t = load ? x.r.v[0] : zsrc(x, zt, c, x.r.v[0]);
        if (load) x.e.put(movi_16b(t, 0));
        for (uint32_t i = 0; i < per_chunk; i++) {
            governed(c, i);
            address(c, i);
            uint32_t lane = sz == 3 ? 0x0D408400u | (i << 30) : 0x0D408000u | ((i >> 1) << 30) | ((i & 1) << 12);
            x.e.put((load ? lane : lane & ~(1u << 22)) | (addr << 5) | t);
        }
        if (load) zdst(x, zt, c, t);
    }
}

// sdot / udot of bytes into words, unpredicated.
void emit_dot(const fx& x) {
    uint32_t zda = x.f(0, 5), zn = x.f(5, 5), zm = x.f(16, 5);
    for (int c = 0; c < x.chunks(); c++) {
        uint32_t a = zsrc(x, zda, c, x.r.v[0]), n = zsrc(x, zn, c, x.r.v[1]), m = zsrc(x, zm, c, x.r.v[2]);
        x.e.put(x.param | (m << 16) | (n << 5) | a);
        zdst(x, zda, c, a);
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
bool m_structure_load(const sve_row_info& r, uint32_t, const xl_env&) {
    if (r.access != SVE_ACCESS_LOAD || (r.address != SVE_ADDRESS_SI && r.address != SVE_ADDRESS_LSS) || !r.op) return false;
    return std::strncmp(r.op, "sve_ld", 6) == 0 && r.op[6] >= '2' && r.op[6] <= '4' && r.mem_bytes == (1 << r.esz);
}
// adr with packed 32-bit or 64-bit offsets (not the sign- or zero-extended 32-bit ones)
bool m_adr(const sve_row_info& r, uint32_t, const xl_env&) {
    return name_has(r, "LEA") && name_has(r, "VV") && !name_has(r, "XVV") && !name_has(r, "YVV");
}
// word and doubleword elements from memory elements of their size, offsets in a vector
bool m_gather(const sve_row_info& r, uint32_t, const xl_env&) {
    if ((r.access != SVE_ACCESS_LOAD && r.access != SVE_ACCESS_STORE) || !r.op) return false;
    if (r.address == SVE_ADDRESS_NONE || r.address == SVE_ADDRESS_SI || r.address == SVE_ADDRESS_LSS ||
        r.address == SVE_ADDRESS_VI)
        return false;
    return r.esz >= 2 && r.mem_bytes == (1 << r.esz) && r.type[0] == 'U';
}
bool m_sdot(const sve_row_info& r, uint32_t, const xl_env& env) {
    return (env.features & XL_HAS_DOTPROD) && std::strcmp(r.name, "VecS32DotVVVX") == 0;
}
bool m_udot(const sve_row_info& r, uint32_t, const xl_env& env) {
    return (env.features & XL_HAS_DOTPROD) && std::strcmp(r.name, "VecU32DotVVVX") == 0;
}
bool m_mul(const sve_row_info& r, uint32_t, const xl_env&) { return is_op(r, "sve_mul_zpz") && r.esz <= 2; }
bool m_smax(const sve_row_info& r, uint32_t, const xl_env&) { return is_op(r, "sve_smax_zpz") && r.esz <= 2; }
bool m_umax(const sve_row_info& r, uint32_t, const xl_env&) { return is_op(r, "sve_umax_zpz") && r.esz <= 2; }
bool m_smin(const sve_row_info& r, uint32_t, const xl_env&) { return is_op(r, "sve_smin_zpz") && r.esz <= 2; }
bool m_umin(const sve_row_info& r, uint32_t, const xl_env&) { return is_op(r, "sve_umin_zpz") && r.esz <= 2; }
bool m_scvtf(const sve_row_info& r, uint32_t, const xl_env&) {
    return is_op(r, "sve_scvtf_s2s_zpz") || is_op(r, "sve_scvtf_d2d_zpz");
}
bool m_ucvtf(const sve_row_info& r, uint32_t, const xl_env&) {
    return is_op(r, "sve_ucvtf_s2s_zpz") || is_op(r, "sve_ucvtf_d2d_zpz");
}
bool m_movprfx_m(const sve_row_info& r, uint32_t, const xl_env&) { return is_op(r, "sve_movprfx_zpz") && name_has(r, "1VM"); }
bool m_movprfx_z(const sve_row_info& r, uint32_t, const xl_env&) { return is_op(r, "sve_movprfx_zpz") && name_has(r, "1VZ"); }
bool m_lsr_imm(const sve_row_info& r, uint32_t, const xl_env&) { return r.type[0] == 'U' && name_has(r, "ShrVIX"); }
// the byte form shifted by 8 is reserved: the region markers use it
bool m_add_imm(const sve_row_info& r, uint32_t w, const xl_env&) { return !(r.esz == 0 && ((w >> 13) & 1)); }
bool m_fcmeq(const sve_row_info& r, uint32_t, const xl_env&) { return is_op(r, "sve_fcmeq_ppz") || is_op(r, "sve_fcmeq_ppzz"); }
bool m_fcmgt(const sve_row_info& r, uint32_t, const xl_env&) { return is_op(r, "sve_fcmgt_ppz") || is_op(r, "sve_fcmgt_ppzz"); }
bool m_fcmge(const sve_row_info& r, uint32_t, const xl_env&) { return is_op(r, "sve_fcmge_ppz") || is_op(r, "sve_fcmge_ppzz"); }
// Integer compares with at most 64 elements (their flags come from one bitmap register), of
// halfwords or wider.
bool cmp_op(const sve_row_info& r, const char* cc, const xl_env& env) {
    if (!r.op || std::strncmp(r.op, "sve_cmp", 7) != 0 || std::strncmp(r.op + 7, cc, 2) != 0) return false;
    // (byte elements: sixteen in a chunk are more than a byte's weights)
    return (std::strcmp(r.op + 9, "_ppzz") == 0 || std::strcmp(r.op + 9, "_ppzi") == 0) && r.esz >= 1 && r.esz <= 3 &&
           (env.vl >> r.esz) <= 64;
}
bool m_cmpeq(const sve_row_info& r, uint32_t, const xl_env& env) { return cmp_op(r, "eq", env); }
bool m_cmpne(const sve_row_info& r, uint32_t, const xl_env& env) { return cmp_op(r, "ne", env); }
bool m_cmpgt(const sve_row_info& r, uint32_t, const xl_env& env) { return cmp_op(r, "gt", env); }
bool m_cmpge(const sve_row_info& r, uint32_t, const xl_env& env) { return cmp_op(r, "ge", env); }
bool m_cmphi(const sve_row_info& r, uint32_t, const xl_env& env) { return cmp_op(r, "hi", env); }
bool m_cmphs(const sve_row_info& r, uint32_t, const xl_env& env) { return cmp_op(r, "hs", env); }
bool m_cmplt(const sve_row_info& r, uint32_t, const xl_env& env) { return cmp_op(r, "lt", env); }
bool m_cmple(const sve_row_info& r, uint32_t, const xl_env& env) { return cmp_op(r, "le", env); }
bool m_cmplo(const sve_row_info& r, uint32_t, const xl_env& env) { return cmp_op(r, "lo", env); }
bool m_cmpls(const sve_row_info& r, uint32_t, const xl_env& env) { return cmp_op(r, "ls", env); }
bool m_fadda(const sve_row_info& r, uint32_t, const xl_env&) { return name_has(r, "AddReduceAV"); }
bool m_mla(const sve_row_info& r, uint32_t, const xl_env&) { return is_op(r, "sve_mla_zpzz") && r.esz <= 2; }
bool m_mls(const sve_row_info& r, uint32_t, const xl_env&) { return is_op(r, "sve_mls_zpzz") && r.esz <= 2; }

#include "host/translate/forms_more.inc"

// The element sizes a form takes: any (predicates, scalars), the four integer ones, or single and
// double precision (half precision keeps the call: the host may lack it, and FZ16).
enum size_rule : uint8_t { ANY_SIZE, INT_SIZES, FP_SIZES };

struct rule {
    const char* op;  // the specialised operation, or null: match decides
    match_fn match;  // further conditions, or null
    size_rule sizes;
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
    {"ptrue", {"sve_ptrue_pi", nullptr, ANY_SIZE}, emit_ptrue, 0, 0, 1, false},
    {"ptrues", {nullptr, m_ptrues, ANY_SIZE}, emit_ptrue, 1, 1, 1, false},
    {"pfalse", {"sve_pfalse_p", nullptr, ANY_SIZE}, emit_ptrue, 0, 0, 1, false},
    {"while", {nullptr, m_while, INT_SIZES}, emit_while, 0, 3, 2, false},
    {"inc (scalar)", {nullptr, nullptr, ANY_SIZE}, emit_count_scalar, 0, 0, 0, false},
    {"dec (scalar)", {nullptr, nullptr, ANY_SIZE}, emit_count_scalar, 1, 0, 0, false},
    {"cnt", {nullptr, m_cnt, ANY_SIZE}, emit_count_scalar, 2, 0, 0, false},
    {"inc (vector)", {nullptr, nullptr, INT_SIZES}, emit_count_vector, 0, 1, 2, false},
    {"dec (vector)", {nullptr, nullptr, INT_SIZES}, emit_count_vector, 1, 1, 2, false},
    {"addvl", {"sve_addvl_rri", m_addvl, ANY_SIZE}, emit_addvl, 0, 1, 0, false},
    {"addpl", {"sve_addpl_rri", m_addvl, ANY_SIZE}, emit_addvl, 3, 1, 0, false},
    {"rdvl", {"sve_rdvl_ri", nullptr, ANY_SIZE}, emit_rdvl, 0, 0, 0, false},
    {"add", {"sve_add_zzz", nullptr, INT_SIZES}, emit_zzz, ADD, 0, 2, false},
    {"sub", {"sve_sub_zzz", nullptr, INT_SIZES}, emit_zzz, SUB, 0, 2, false},
    {"and", {"sve_and_zzz", nullptr, INT_SIZES}, emit_zzz, AND, 0, 2, false},
    {"orr", {"sve_orr_zzz", nullptr, INT_SIZES}, emit_zzz, ORR, 0, 2, false},
    {"eor", {"sve_eor_zzz", nullptr, INT_SIZES}, emit_zzz, EOR, 0, 2, false},
    {"bic", {"sve_bic_zzz", nullptr, INT_SIZES}, emit_zzz, BIC, 0, 2, false},
    {"fadd", {"sve_fadd_zzz", nullptr, FP_SIZES}, emit_zzz, FADD, 0, 2, false},
    {"fsub", {"sve_fsub_zzz", nullptr, FP_SIZES}, emit_zzz, FSUB, 0, 2, false},
    {"fmul", {"sve_fmul_zzz", nullptr, FP_SIZES}, emit_zzz, FMUL, 0, 2, false},
    {"add (predicated)", {"sve_add_zpz", nullptr, INT_SIZES}, emit_zpz, ADD, 0, 3, false},
    {"sub (predicated)", {"sve_sub_zpz", nullptr, INT_SIZES}, emit_zpz, SUB, 0, 3, false},
    {"mul (predicated)", {nullptr, m_mul, INT_SIZES}, emit_zpz, MUL, 0, 3, false},
    {"and (predicated)", {"sve_and_zpz", nullptr, INT_SIZES}, emit_zpz, AND, 0, 3, false},
    {"orr (predicated)", {"sve_orr_zpz", nullptr, INT_SIZES}, emit_zpz, ORR, 0, 3, false},
    {"eor (predicated)", {"sve_eor_zpz", nullptr, INT_SIZES}, emit_zpz, EOR, 0, 3, false},
    {"bic (predicated)", {"sve_bic_zpz", nullptr, INT_SIZES}, emit_zpz, BIC, 0, 3, false},
    {"fadd (predicated)", {"sve_fadd_zpz", nullptr, FP_SIZES}, emit_zpz, FADD, 0, 3, false},
    {"fsub (predicated)", {"sve_fsub_zpz", nullptr, FP_SIZES}, emit_zpz, FSUB, 0, 3, false},
    {"fmul (predicated)", {"sve_fmul_zpz", nullptr, FP_SIZES}, emit_zpz, FMUL, 0, 3, false},
    {"fdiv (predicated)", {"sve_fdiv_zpz", nullptr, FP_SIZES}, emit_zpz, FDIV, 1, 4, false},
    {"smax (predicated)", {nullptr, m_smax, INT_SIZES}, emit_zpz, 0x4E206400u, 0, 3, false},
    {"umax (predicated)", {nullptr, m_umax, INT_SIZES}, emit_zpz, 0x6E206400u, 0, 3, false},
    {"smin (predicated)", {nullptr, m_smin, INT_SIZES}, emit_zpz, 0x4E206C00u, 0, 3, false},
    {"umin (predicated)", {nullptr, m_umin, INT_SIZES}, emit_zpz, 0x6E206C00u, 0, 3, false},
    {"fmaxnm (predicated)", {"sve_fmaxnm_zpz", nullptr, FP_SIZES}, emit_zpz, 0x4E20C400u, 0, 3, false},
    {"fminnm (predicated)", {"sve_fminnm_zpz", nullptr, FP_SIZES}, emit_zpz, 0x4EA0C400u, 0, 3, false},
    {"fmax (predicated)", {"sve_fmax_zpz", nullptr, FP_SIZES}, emit_zpz, 0x4E20F400u, 0, 3, false},
    {"fadd (immediate)", {"sve_fadd_zpi", nullptr, FP_SIZES}, emit_zpz, FADD | FP_IMM, 1, 4, false},
    {"fsub (immediate)", {"sve_fsub_zpi", nullptr, FP_SIZES}, emit_zpz, FSUB | FP_IMM, 1, 4, false},
    {"fmul (immediate)", {"sve_fmul_zpi", nullptr, FP_SIZES}, emit_zpz, FMUL | FP_IMM, 1, 4, false},
    {"mla", {nullptr, m_mla, INT_SIZES}, emit_mla, MLA, 0, 4, false},
    {"mls", {nullptr, m_mls, INT_SIZES}, emit_mla, MLS, 0, 4, false},
    {"fmla", {"sve_fmla_zpzz", nullptr, FP_SIZES}, emit_mla, FMLA, 0, 4, false},
    {"fmls", {"sve_fmls_zpzz", nullptr, FP_SIZES}, emit_mla, FMLS, 0, 4, false},
    {"fnmla", {"sve_fnmla_zpzz", nullptr, FP_SIZES}, emit_mla, FMLS | NEG_ADDEND, 0, 4, false},
    {"fnmls", {"sve_fnmls_zpzz", nullptr, FP_SIZES}, emit_mla, FMLA | NEG_ADDEND, 0, 4, false},
    {"fmad", {"sve_fmad_zpzz", nullptr, FP_SIZES}, emit_mla, FMLA | MAD_FORM, 0, 4, false},
    {"fmsb", {"sve_fmsb_zpzz", nullptr, FP_SIZES}, emit_mla, FMLS | MAD_FORM, 0, 4, false},
    {"fnmad", {"sve_fnmad_zpzz", nullptr, FP_SIZES}, emit_mla, FMLS | MAD_FORM | NEG_ADDEND, 0, 4, false},
    {"fnmsb", {"sve_fnmsb_zpzz", nullptr, FP_SIZES}, emit_mla, FMLA | MAD_FORM | NEG_ADDEND, 0, 4, false},
    {"neg (predicated)", {"sve_neg_zpz", nullptr, INT_SIZES}, emit_unary, 0x6E20B800u, 0, 3, false},
    {"fabs", {"sve_fabs_zpz", nullptr, FP_SIZES}, emit_unary, 0x4EA0F800u, 0, 3, false},
    {"fneg", {"sve_fneg_zpz", nullptr, FP_SIZES}, emit_unary, 0x6EA0F800u, 0, 3, false},
    {"fsqrt", {"sve_fsqrt_zpz", nullptr, FP_SIZES}, emit_unary, 0x6EA1F800u, 0, 3, false},
    {"scvtf", {nullptr, m_scvtf, FP_SIZES}, emit_unary, 0x4E21D800u, 0, 3, false},
    {"ucvtf", {nullptr, m_ucvtf, FP_SIZES}, emit_unary, 0x6E21D800u, 0, 3, false},
    {"movprfx (merging)", {nullptr, m_movprfx_m, INT_SIZES}, emit_unary, 0, 0, 3, false},
    {"movprfx (zeroing)", {nullptr, m_movprfx_z, INT_SIZES}, emit_unary, ZEROING, 0, 3, false},
    {"lsl (immediate)", {"sve_lsl_zzi", nullptr, INT_SIZES}, emit_shift_imm, 0x4F005400u, 0, 1, false},
    {"asr (immediate)", {"sve_asr_zzi", nullptr, INT_SIZES}, emit_shift_imm, 0x4F000400u, 0, 1, false},
    {"lsr (immediate)", {nullptr, m_lsr_imm, INT_SIZES}, emit_shift_imm, 0x6F000400u, 0, 1, false},
    {"add (immediate)", {"sve_add_zi", m_add_imm, INT_SIZES}, emit_add_imm, ADD, 1, 2, false},
    {"sub (immediate)", {"sve_sub_zi", m_add_imm, INT_SIZES}, emit_add_imm, SUB, 1, 2, false},
    {"and (predicates)", {"sve_and_pppp", nullptr, ANY_SIZE}, emit_pred_logic, AND, 0, 4, false},
    {"orr (predicates)", {"sve_orr_pppp", nullptr, ANY_SIZE}, emit_pred_logic, ORR, 0, 4, false},
    {"eor (predicates)", {"sve_eor_pppp", nullptr, ANY_SIZE}, emit_pred_logic, EOR, 0, 4, false},
    {"bic (predicates)", {"sve_bic_pppp", nullptr, ANY_SIZE}, emit_pred_logic, BIC, 0, 4, false},
    {"nor (predicates)", {"sve_nor_pppp", nullptr, ANY_SIZE}, emit_pred_logic, ORN, 0, 4, false},
    {"fdup", {"sve_fdup_zi", nullptr, FP_SIZES}, emit_dup, 2, 1, 1, false},
    {"fadda", {nullptr, m_fadda, FP_SIZES}, emit_fadda, 0, 2, 2, false},
    {"cmpeq", {nullptr, m_cmpeq, INT_SIZES}, emit_cmp, CMEQ, 3, 4, false},
    {"cmpne", {nullptr, m_cmpne, INT_SIZES}, emit_cmp, CMEQ | INVERTED, 3, 4, false},
    {"cmpgt", {nullptr, m_cmpgt, INT_SIZES}, emit_cmp, CMGT, 3, 4, false},
    {"cmpge", {nullptr, m_cmpge, INT_SIZES}, emit_cmp, CMGE, 3, 4, false},
    {"cmphi", {nullptr, m_cmphi, INT_SIZES}, emit_cmp, CMHI, 3, 4, false},
    {"cmphs", {nullptr, m_cmphs, INT_SIZES}, emit_cmp, CMHS, 3, 4, false},
    {"cmplt", {nullptr, m_cmplt, INT_SIZES}, emit_cmp, CMGT | SWAPPED, 3, 4, false},
    {"cmple", {nullptr, m_cmple, INT_SIZES}, emit_cmp, CMGE | SWAPPED, 3, 4, false},
    {"cmplo", {nullptr, m_cmplo, INT_SIZES}, emit_cmp, CMHI | SWAPPED, 3, 4, false},
    {"cmpls", {nullptr, m_cmpls, INT_SIZES}, emit_cmp, CMHS | SWAPPED, 3, 4, false},
    {"fcmeq", {nullptr, m_fcmeq, FP_SIZES}, emit_fcm, FCMEQ, 0, 3, false},
    {"fcmgt", {nullptr, m_fcmgt, FP_SIZES}, emit_fcm, FCMGT, 0, 3, false},
    {"fcmge", {nullptr, m_fcmge, FP_SIZES}, emit_fcm, FCMGE, 0, 3, false},
    {"fcmlt (zero)", {"sve_fcmlt_ppz", nullptr, FP_SIZES}, emit_fcm, FCMGT | SWAPPED, 0, 3, false},
    {"fcmle (zero)", {"sve_fcmle_ppz", nullptr, FP_SIZES}, emit_fcm, FCMGE | SWAPPED, 0, 3, false},
    {"fcmne", {"sve_fcmne_ppzz", nullptr, FP_SIZES}, emit_fcm, FCMEQ | INVERTED, 0, 3, false},
    {"fcmuo", {"sve_fcmuo_ppzz", nullptr, FP_SIZES}, emit_fcm, FCMEQ | UNORDERED, 0, 3, false},
    {"sel", {"sve_sel_zpzz", nullptr, INT_SIZES}, emit_sel, 0, 0, 3, false},
    {"rev", {"sve_rev_zz", nullptr, INT_SIZES}, emit_rev, 0, 0, 2, false},
    {"adr", {nullptr, m_adr, INT_SIZES}, emit_adr, 0, 0, 2, false},
    {"movprfx", {"sve_movprfx_zz", nullptr, INT_SIZES}, emit_movprfx, 0, 0, 1, false},
    {"dup (scalar)", {"sve_dup_zr", nullptr, INT_SIZES}, emit_dup, 0, 1, 1, false},
    {"dup (immediate)", {"sve_dup_zi", nullptr, INT_SIZES}, emit_dup, 1, 1, 1, false},
    {"ld1/st1 (contiguous)", {nullptr, m_contiguous, INT_SIZES}, emit_contiguous, 0, 3, 2, true},
    {"ld2/ld3/ld4", {nullptr, m_structure_load, INT_SIZES}, emit_structure_load, 0, 2, 2, true},
    {"gather/scatter", {nullptr, m_gather, INT_SIZES}, emit_gather, 0, 4, 2, true},
    {"sdot", {nullptr, m_sdot, INT_SIZES}, emit_dot, 0x4E809400u, 0, 3, false},
    {"udot", {nullptr, m_udot, INT_SIZES}, emit_dot, 0x6E809400u, 0, 3, false},
    {"fcmla", {"sve_fcmla_zpzzr", nullptr, FP_SIZES}, emit_fcmla, 0, 0, 4, false},
    {"fcmla (indexed)", {nullptr, m_fcmla_indexed, FP_SIZES}, emit_fcmla, 1, 0, 4, false},
    {"fcadd", {nullptr, m_fcadd, FP_SIZES}, emit_fcadd, 0, 0, 4, false},
    {"st2/st3/st4", {nullptr, m_structure_store, INT_SIZES}, emit_structure_store, 0, 2, 4, true},
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
    return f.pick.sizes == ANY_SIZE || (f.pick.sizes == FP_SIZES ? fp_sizes(r) : int_sizes(r));
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
        x.any_predicate = f.emit == emit_gather || (f.emit == emit_contiguous && row->mem_bytes == (1 << row->esz));
        x.traced = row->access != SVE_ACCESS_NONE;
        if (f.emit == emit_structure_load || f.emit == emit_structure_store)  // the other registers of the list
            for (uint32_t j = 1; j < structure_members(*row); j++) x.uses |= 1u << ((word + j) & 31);
        break;
    }
    return x;
}

void xl_emit(xl_emitter& e, const xl_word& w, const xl_regs& r, const xl_env& env, int slow, int body, int resume) {
    fx x{e, r, env, w.row, w.word, w.form->param, slow, body, resume};
    w.form->emit(x);
}

bool xl_guards_carry(const xl_word& prev, const xl_word& next) {
    // (only these test the trace flag and the whole predicate: a gather goes element by element)
    bool tested = prev.form && (prev.form->emit == emit_contiguous || prev.form->emit == emit_structure_load);
    return tested && next.memory && next.memory && ((prev.word >> 10) & 7) == ((next.word >> 10) & 7) && next.row->esz >= prev.row->esz;
}

int xl_form_count() { return int(sizeof FORMS / sizeof FORMS[0]); }
const char* xl_form_name(const xl_form* f) { return f->name; }

// Loop control: the while family, ctermeq/ctermne, element counts by pattern and by predicate
// in their plain and saturating forms on scalars and vectors, rdvl, addvl and addpl.
#include <cstring>

#include "sve/core/simd.h"
#include "sve/integer/perm_core.h"
#include "sve/integer/pred_flags.h"
#include "sve/integer/pred_ops.h"
#include "sve/integer/wide_int.h"

namespace {

using namespace permute_core;

// ---- while ----

// Number of leading true elements of a while predicate of n elements: Rn + e stands in the
// relation (less, or less-or-equal) to Rm for e below the count. With less-or-equal and Rm the
// highest value of its width every element is true, since the incremented Rn wraps round.
// Signed operands are moved by half the range, which keeps their order and their differences
// and makes them unsigned: one unsigned comparison and subtraction serve both.
inline uint32_t while_count(uint64_t rn, uint64_t rm, int bits, bool is_signed, bool or_equal, uint32_t n) {
    const uint64_t top = ones(bits), bias = is_signed ? 1ull << (bits - 1) : 0;
    uint64_t a = (rn + bias) & top, b = (rm + bias) & top;
    if (or_equal) {
        if (b == top) return n;
        b++;  // a <= b is a < b + 1, which cannot wrap now
    }
    if (b <= a) return 0;
    return b - a >= n ? n : uint32_t(b - a);
}

// Specialised while: the predicate at the element size ESZ and the flags of a test against an
// all-true governing predicate, computed here from the count.
template <bool is_signed, bool or_equal, int ESZ>
aarch64_decode_rc while_prr(cpu_state* s, aarch64_p_reg pd, aarch64_i_reg rn, aarch64_i_reg rm) {
    constexpr uint32_t n = SVE_VL_BYTES >> ESZ;
    uint32_t k = while_count(read_xzr(s, rn), read_xzr(s, rm), rn.qual == RQ_W ? 32 : 64, is_signed, or_equal, n);
    fill_first(s->p[pd.num], k, ESZ);
    uint64_t f = (k > 0 ? NZCV_N : 0) | (k == 0 ? NZCV_Z : 0) | (k < n ? NZCV_C : 0);
    s->nzcv = (s->nzcv & ~NZCV_ALL) | f;
    return RC_DONE;
}

PredV while_gen(uint64_t rn, uint64_t rm, int bits, bool is_signed, bool or_equal, uint32_t ebits, CpuContext* c) {
    PredV r = pred_first(while_count(rn, rm, bits, is_signed, or_equal, elem_count(c, ebits)), ebits);
    PredSetNZCV(pred_all(c), r, int(ebits), c);
    return r;
}

// ctermeq / ctermne: N says the termination condition holds; otherwise V is the inverse of C.
void cterm(uint64_t rn, uint64_t rm, int bits, bool ne, CpuContext* c) {
    bool eq = (rn & ones(bits)) == (rm & ones(bits));
    bool term = ne ? !eq : eq;
    uint32_t f = c->nzcv & ~uint32_t(NZCV_N | NZCV_V);
    if (term) f |= uint32_t(NZCV_N);
    else if (!(c->nzcv & NZCV_C)) f |= uint32_t(NZCV_V);
    c->nzcv = f;
}

// ---- counts ----

enum sat_kind { SAT_NONE, SAT_SIGNED, SAT_UNSIGNED };

// x plus or minus d at `bits` bits; saturating forms through the wide helpers, the 32-bit outcome
// sign-extended (signed) or zero-extended (unsigned) to 64 bits.
uint64_t step_scalar(uint64_t x, uint64_t d, int bits, sat_kind sat, bool sub) {
    if (sat == SAT_NONE) return (sub ? x - d : x + d) & ones(bits);
    int u = sat == SAT_UNSIGNED;
    uint64_t r = (sub ? SatSub(x, d, bits, u) : SatAdd(x, d, bits, u)).result;
    if (bits == 32) return u ? uint64_t(uint32_t(r)) : uint64_t(int64_t(int32_t(r)));
    return r;
}

template <class T>
VecV step_vec(const VecV& z, uint64_t d, sat_kind sat, bool sub, const CpuContext* c) {
    VecV r;
    uint32_t n = elem_count(c, sizeof(T) * 8);
    for (uint32_t e = 0; e < n; e++) vset<T>(r, e, T(step_scalar(vget<T>(z, e), d, sizeof(T) * 8, sat, sub)));
    return r;
}

uint64_t pattern_count(uint64_t pattern, int esz, const CpuContext* c) {
    return VecTrueILength(uint32_t(pattern), elem_count(c, 8u << esz));
}

// Specialised counts: inc/dec of a general register, and of every element of a vector in
// 16-byte chunks.
template <int ESZ, bool SUB>
aarch64_decode_rc incdec_rii(cpu_state* s, aarch64_i_reg rdn, unsigned pattern, unsigned mult) {
    uint64_t d = uint64_t(VecTrueILength(pattern, SVE_VL_BYTES >> ESZ)) * mult;
    uint64_t x = read_xzr(s, rdn);
    write_xzr(s, rdn, SUB ? x - d : x + d);
    return RC_DONE;
}

template <int ESZ, bool SUB>
aarch64_decode_rc incdec_zii(cpu_state* s, aarch64_z_reg zdn, unsigned pattern, unsigned mult) {
    typedef elem_t<ESZ> T;
    typedef typename vec_of<T>::type V;
    V k = V{} + T(uint64_t(VecTrueILength(pattern, SVE_VL_BYTES >> ESZ)) * mult);
    uint8_t* z = s->z[zdn.num];
    vgen_reg<V>(z, [&](int i) { return SUB ? vload<V>(z + 16 * i) - k : vload<V>(z + 16 * i) + k; });
    return RC_DONE;
}

// Number of elements of size code s with bit 0 set in both predicates.
uint32_t count_80(const uint8_t* a, const uint8_t* b, uint32_t s) {
    uint32_t k = 0;
    for (int i = 0; i < SVE_VL_BYTES; i += 1 << s) k += a[i] & b[i] & 1;
    return k;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Specialised operations.
#define LC_DEF_WHILE_PRR(name, is_signed, or_equal)                                                        \
    SVE_DEF_SIZED(name, pd.qual, (cpu_state* s, aarch64_p_reg pd, aarch64_i_reg rn, aarch64_i_reg rm), (s, pd, rn, rm), \
                  while_prr<is_signed, or_equal, ESZ>)
LC_DEF_WHILE_PRR(sve_whilelt_prr, true, false)
LC_DEF_WHILE_PRR(sve_whilelo_prr, false, false)
LC_DEF_WHILE_PRR(sve_whilels_prr, false, true)

#define LC_DEF_INCDEC(L, E)                                                                                      \
    aarch64_decode_rc sve_inc##L##_rii(cpu_state* s, aarch64_i_reg r, uint64_t pat, uint64_t mul) {              \
        return incdec_rii<E, false>(s, r, pat, mul);                                                             \
    }                                                                                                            \
    aarch64_decode_rc sve_dec##L##_rii(cpu_state* s, aarch64_i_reg r, uint64_t pat, uint64_t mul) {              \
        return incdec_rii<E, true>(s, r, pat, mul);                                                              \
    }
LC_DEF_INCDEC(b, 0)
LC_DEF_INCDEC(h, 1)
LC_DEF_INCDEC(w, 2)
LC_DEF_INCDEC(d, 3)
#define LC_DEF_INCDEC_Z(L, E)                                                                                    \
    aarch64_decode_rc sve_inc##L##_zii(cpu_state* s, aarch64_z_reg z, uint64_t pat, uint64_t mul) {              \
        return incdec_zii<E, false>(s, z, pat, mul);                                                             \
    }                                                                                                            \
    aarch64_decode_rc sve_dec##L##_zii(cpu_state* s, aarch64_z_reg z, uint64_t pat, uint64_t mul) {              \
        return incdec_zii<E, true>(s, z, pat, mul);                                                              \
    }
LC_DEF_INCDEC_Z(h, 1)
LC_DEF_INCDEC_Z(w, 2)
LC_DEF_INCDEC_Z(d, 3)

aarch64_decode_rc sve_uqdecb_rii(cpu_state* s, aarch64_i_reg rdn, uint64_t pattern, uint64_t mult) {
    uint64_t d = uint64_t(VecTrueILength(pattern, SVE_VL_BYTES)) * mult;
    uint64_t x = read_xzr(s, rdn);
    if (rdn.tied_qual[0] == RQ_W) x = uint32_t(x);
    write_xzr(s, rdn, d >= x ? 0 : x - d);
    return RC_DONE;
}

aarch64_decode_rc sve_cntp_rpp(cpu_state* s, aarch64_i_reg rd, aarch64_p_reg pg, aarch64_p_reg pn) {
    write_xzr(s, rd, count_80(s->p[pg.num], s->p[pn.num], pn.qual));
    return RC_DONE;
}

aarch64_decode_rc sve_incp_rp(cpu_state* s, aarch64_i_reg rdn, aarch64_p_reg pm) {
    write_xzr(s, rdn, read_xzr(s, rdn) + count_80(s->p[pm.num], s->p[pm.num], pm.qual));
    return RC_DONE;
}

aarch64_decode_rc sve_rdvl_ri(cpu_state* s, aarch64_i_reg rd, int64_t imm) {
    write_xzr(s, rd, uint64_t(int64_t(int32_t(imm * SVE_VL_BYTES))));
    return RC_DONE;
}
aarch64_decode_rc sve_addvl_rri(cpu_state* s, aarch64_i_rsp_reg rd, aarch64_i_rsp_reg rn, int64_t imm) {
    write_xsp(s, rd, read_xsp(s, rn) + uint64_t(int64_t(int32_t(imm * SVE_VL_BYTES))));
    return RC_DONE;
}
aarch64_decode_rc sve_addpl_rri(cpu_state* s, aarch64_i_rsp_reg rd, aarch64_i_rsp_reg rn, int64_t imm) {
    write_xsp(s, rd, read_xsp(s, rn) + uint64_t(int64_t(int32_t(imm * SVE_PL_BYTES))));
    return RC_DONE;
}

// ---------------------------------------------------------------------------------------------
// Generic functions.
#define LC_DEF_WHILE(S, U, E)                                                                                      \
    PredV Vec##S##While4LTSS(uint64_t n, uint64_t m, CpuContext* c) { return while_gen(n, m, 32, true, false, 8 << E, c); }  \
    PredV Vec##S##While8LTSS(uint64_t n, uint64_t m, CpuContext* c) { return while_gen(n, m, 64, true, false, 8 << E, c); }  \
    PredV Vec##S##While4LESS(uint64_t n, uint64_t m, CpuContext* c) { return while_gen(n, m, 32, true, true, 8 << E, c); }   \
    PredV Vec##S##While8LESS(uint64_t n, uint64_t m, CpuContext* c) { return while_gen(n, m, 64, true, true, 8 << E, c); }   \
    PredV Vec##U##While4LTSS(uint64_t n, uint64_t m, CpuContext* c) { return while_gen(n, m, 32, false, false, 8 << E, c); } \
    PredV Vec##U##While8LTSS(uint64_t n, uint64_t m, CpuContext* c) { return while_gen(n, m, 64, false, false, 8 << E, c); } \
    PredV Vec##U##While4LESS(uint64_t n, uint64_t m, CpuContext* c) { return while_gen(n, m, 32, false, true, 8 << E, c); }  \
    PredV Vec##U##While8LESS(uint64_t n, uint64_t m, CpuContext* c) { return while_gen(n, m, 64, false, true, 8 << E, c); }

void VecU32CTermEQ(uint64_t n, uint64_t m, CpuContext* c) { cterm(n, m, 32, false, c); }
void VecU64CTermEQ(uint64_t n, uint64_t m, CpuContext* c) { cterm(n, m, 64, false, c); }
void VecU32CTermNE(uint64_t n, uint64_t m, CpuContext* c) { cterm(n, m, 32, true, c); }
void VecU64CTermNE(uint64_t n, uint64_t m, CpuContext* c) { cterm(n, m, 64, true, c); }

// The counting forms of one element size: by pattern (d = count * (imm4 + 1)) and by predicate
// (d = active elements of Pm), on 64-bit, 32-bit and 64-bit saturating scalars.
#define LC_DEF_SCALAR(S, U, E)                                                                                  \
    uint64_t Vec##U##CountVLSI(uint64_t pat, uint64_t imm4, CpuContext* c) { return pattern_count(pat, E, c) * (imm4 + 1); } \
    uint64_t Vec##U##IncrVLSI(uint64_t x, uint64_t pat, uint64_t imm4, CpuContext* c) {                         \
        return step_scalar(x, pattern_count(pat, E, c) * (imm4 + 1), 64, SAT_NONE, false);                       \
    }                                                                                                           \
    uint64_t Vec##U##DecrVLSI(uint64_t x, uint64_t pat, uint64_t imm4, CpuContext* c) {                         \
        return step_scalar(x, pattern_count(pat, E, c) * (imm4 + 1), 64, SAT_NONE, true);                        \
    }                                                                                                           \
    LC_DEF_QVL(S, E, SAT_SIGNED)                                                                                \
    LC_DEF_QVL(U, E, SAT_UNSIGNED)                                                                              \
    uint64_t Vec##U##SCountP(PredV pg, PredV pn, CpuContext* c) {                                               \
        PredV b = {{pg.w[0] & pn.w[0], pg.w[1] & pn.w[1], pg.w[2] & pn.w[2], pg.w[3] & pn.w[3]}};                \
        return pred_count(b, 8 << E, c);                                                                        \
    }                                                                                                           \
    uint64_t Vec##U##IncrSCountPS(PredV pm, uint64_t x, CpuContext* c) {                                        \
        return step_scalar(x, pred_count(pm, 8 << E, c), 64, SAT_NONE, false);                                  \
    }                                                                                                           \
    uint64_t Vec##U##DecrSCountPS(PredV pm, uint64_t x, CpuContext* c) {                                        \
        return step_scalar(x, pred_count(pm, 8 << E, c), 64, SAT_NONE, true);                                   \
    }                                                                                                           \
    LC_DEF_QCOUNT(S, E, SAT_SIGNED)                                                                             \
    LC_DEF_QCOUNT(U, E, SAT_UNSIGNED)
#define LC_DEF_QVL(T, E, SAT)                                                                                   \
    uint64_t Vec##T##QIncrVL4SI(uint64_t x, uint64_t pat, uint64_t imm4, CpuContext* c) {                       \
        return step_scalar(x, pattern_count(pat, E, c) * (imm4 + 1), 32, SAT, false);                            \
    }                                                                                                           \
    uint64_t Vec##T##QIncrVL8SI(uint64_t x, uint64_t pat, uint64_t imm4, CpuContext* c) {                       \
        return step_scalar(x, pattern_count(pat, E, c) * (imm4 + 1), 64, SAT, false);                            \
    }                                                                                                           \
    uint64_t Vec##T##QDecrVL4SI(uint64_t x, uint64_t pat, uint64_t imm4, CpuContext* c) {                       \
        return step_scalar(x, pattern_count(pat, E, c) * (imm4 + 1), 32, SAT, true);                             \
    }                                                                                                           \
    uint64_t Vec##T##QDecrVL8SI(uint64_t x, uint64_t pat, uint64_t imm4, CpuContext* c) {                       \
        return step_scalar(x, pattern_count(pat, E, c) * (imm4 + 1), 64, SAT, true);                             \
    }
#define LC_DEF_QCOUNT(T, E, SAT)                                                                                \
    uint64_t Vec##T##QIncrSCount4PS(PredV pm, uint64_t x, CpuContext* c) {                                      \
        return step_scalar(x, pred_count(pm, 8 << E, c), 32, SAT, false);                                       \
    }                                                                                                           \
    uint64_t Vec##T##QIncrSCount8PS(PredV pm, uint64_t x, CpuContext* c) {                                      \
        return step_scalar(x, pred_count(pm, 8 << E, c), 64, SAT, false);                                       \
    }                                                                                                           \
    uint64_t Vec##T##QDecrSCount4PS(PredV pm, uint64_t x, CpuContext* c) {                                      \
        return step_scalar(x, pred_count(pm, 8 << E, c), 32, SAT, true);                                        \
    }                                                                                                           \
    uint64_t Vec##T##QDecrSCount8PS(PredV pm, uint64_t x, CpuContext* c) {                                      \
        return step_scalar(x, pred_count(pm, 8 << E, c), 64, SAT, true);                                        \
    }

// The vector counting forms of one element size (16 to 64 bits).
#define LC_DEF_VECTOR(S, U, E)                                                                                  \
    VecV Vec##U##IncrVLVI(VecV z, uint64_t pat, uint64_t imm4, CpuContext* c) {                                 \
        return step_vec<elem_t<E>>(z, pattern_count(pat, E, c) * (imm4 + 1), SAT_NONE, false, c);               \
    }                                                                                                           \
    VecV Vec##U##DecrVLVI(VecV z, uint64_t pat, uint64_t imm4, CpuContext* c) {                                 \
        return step_vec<elem_t<E>>(z, pattern_count(pat, E, c) * (imm4 + 1), SAT_NONE, true, c);                \
    }                                                                                                           \
    VecV Vec##U##IncrCountPV(PredV pm, VecV z, CpuContext* c) {                                                 \
        return step_vec<elem_t<E>>(z, pred_count(pm, 8 << E, c), SAT_NONE, false, c);                           \
    }                                                                                                           \
    VecV Vec##U##DecrCountPV(PredV pm, VecV z, CpuContext* c) {                                                 \
        return step_vec<elem_t<E>>(z, pred_count(pm, 8 << E, c), SAT_NONE, true, c);                            \
    }                                                                                                           \
    LC_DEF_QVEC(S, E, SAT_SIGNED)                                                                               \
    LC_DEF_QVEC(U, E, SAT_UNSIGNED)
#define LC_DEF_QVEC(T, E, SAT)                                                                                  \
    VecV Vec##T##QIncrVLVI(VecV z, uint64_t pat, uint64_t imm4, CpuContext* c) {                                \
        return step_vec<elem_t<E>>(z, pattern_count(pat, E, c) * (imm4 + 1), SAT, false, c);                    \
    }                                                                                                           \
    VecV Vec##T##QDecrVLVI(VecV z, uint64_t pat, uint64_t imm4, CpuContext* c) {                                \
        return step_vec<elem_t<E>>(z, pattern_count(pat, E, c) * (imm4 + 1), SAT, true, c);                     \
    }                                                                                                           \
    VecV Vec##T##QIncrCountPV(PredV pm, VecV z, CpuContext* c) {                                                \
        return step_vec<elem_t<E>>(z, pred_count(pm, 8 << E, c), SAT, false, c);                                \
    }                                                                                                           \
    VecV Vec##T##QDecrCountPV(PredV pm, VecV z, CpuContext* c) {                                                \
        return step_vec<elem_t<E>>(z, pred_count(pm, 8 << E, c), SAT, true, c);                                 \
    }

LC_SIZES(LC_DEF_WHILE)
LC_SIZES(LC_DEF_SCALAR)
LC_VSIZES(LC_DEF_VECTOR)

uint64_t VecS64VLX(int64_t imm, CpuContext* c) { return uint64_t(int64_t(int32_t(imm * vl_bytes(c)))); }
uint64_t VecS64AddVLX(uint64_t xn, int64_t imm, CpuContext* c) { return xn + uint64_t(int64_t(int32_t(imm * vl_bytes(c)))); }
uint64_t VecS64AddPLX(uint64_t xn, int64_t imm, CpuContext* c) { return xn + uint64_t(int64_t(int32_t(imm * vl_bytes(c) / 8))); }

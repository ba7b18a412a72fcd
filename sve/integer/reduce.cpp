// Integer reductions (saddv, uaddv, smaxv, umaxv, sminv, uminv, andv, orv, eorv) and the
// extraction of one element by the last active element (lasta, lastb, clasta, clastb).
//
// One core per operation over an element array, an element count and an "is element e active"
// test: the specialised tier tests bit 0 of the P register's byte, the generic tier a PredV bit.
#include <cstring>
#include <limits>
#include <type_traits>

#include "sve/integer/perm_core.h"
#include "sve/integer/pred_ops.h"

namespace {

using namespace permute_core;

// Reduction operators over a 64-bit accumulator that holds an element of type T.
struct r_add {  // the sum of the widened elements, 64 bits, wrapping
    static constexpr bool wide = true;
    template <class T> static uint64_t init() { return 0; }
    template <class T> static uint64_t step(uint64_t a, T x) { return a + uint64_t(int64_t(x)); }
};
struct r_max {
    static constexpr bool wide = false;
    template <class T> static uint64_t init() { return uint64_t(std::numeric_limits<T>::lowest()); }
    template <class T> static uint64_t step(uint64_t a, T x) { return T(a) < x ? uint64_t(x) : a; }
};
struct r_min {
    static constexpr bool wide = false;
    template <class T> static uint64_t init() { return uint64_t(std::numeric_limits<T>::max()); }
    template <class T> static uint64_t step(uint64_t a, T x) { return x < T(a) ? uint64_t(x) : a; }
};
struct r_and {
    static constexpr bool wide = false;
    template <class T> static uint64_t init() { return ~0ull; }
    template <class T> static uint64_t step(uint64_t a, T x) { return a & uint64_t(x); }
};
struct r_or {
    static constexpr bool wide = false;
    template <class T> static uint64_t init() { return 0; }
    template <class T> static uint64_t step(uint64_t a, T x) { return a | uint64_t(x); }
};
struct r_eor {
    static constexpr bool wide = false;
    template <class T> static uint64_t init() { return 0; }
    template <class T> static uint64_t step(uint64_t a, T x) { return a ^ uint64_t(x); }
};

// The reduction of the active elements; an element-width result is zero-extended.
template <class Op, class T, class Act>
uint64_t reduce_core(const uint8_t* z, uint32_t n, Act active) {
    uint64_t a = Op::template init<T>();
    for (uint32_t e = 0; e < n; e++)
        if (active(e)) a = Op::template step<T>(a, ld<T>(z, e));
    return Op::wide ? a : uint64_t(std::make_unsigned_t<T>(a));
}

// Number of the last active element, or -1.
template <class Act>
int last_active(uint32_t n, Act active) {
    for (int e = int(n) - 1; e >= 0; e--)
        if (active(uint32_t(e))) return e;
    return -1;
}

// The element that lasta (after) or lastb picks from the last active element `last`. With no
// active element the conditional forms keep their fallback (-1), lasta takes element 0 and lastb
// the top element.
int pick(bool after, bool conditional, int last, uint32_t n) {
    if (last < 0) return conditional ? -1 : after ? 0 : int(n) - 1;
    return after ? int((uint32_t(last) + 1) % n) : last;
}

template <class T>
auto byte_active(const uint8_t* p) {
    return [p](uint32_t e) { return (p[e * sizeof(T)] & 1) != 0; };
}
template <class T>
auto bit_active(const PredV& pg) {
    return [&pg](uint32_t e) { return pred_active(pg, e, sizeof(T) * 8); };
}

// Specialised reduction into the SIMD scalar vd, at the element size of Zn.
template <class Op, bool Signed>
aarch64_decode_rc reduce_vpz(cpu_state* s, unsigned vd, aarch64_p_reg pg, aarch64_z_reg zn) {
    on_size(zn.qual, [&](auto u) {
        typedef std::conditional_t<Signed, std::make_signed_t<decltype(u)>, decltype(u)> T;
        uint64_t v = reduce_core<Op, T>(s->z[zn.num], SVE_VL_BYTES / sizeof(T), byte_active<T>(s->p[pg.num]));
        store_scalar(s, vd, v, Op::wide ? 8 : sizeof(T));
    });
    return RC_DONE;
}

template <class Op, class T>
uint64_t reduce_gen(const PredV& pg, const VecV& zn, const CpuContext* c) {
    return reduce_core<Op, T>(zn.b, elem_count(c, sizeof(T) * 8), bit_active<T>(pg));
}

// Scalar extraction; `fallback` is used by the conditional forms, cut to the element's width.
template <class T>
uint64_t last_gen(bool after, bool conditional, const PredV& pg, uint64_t fallback, const VecV& zn, const CpuContext* c) {
    uint32_t n = elem_count(c, sizeof(T) * 8);
    int e = pick(after, conditional, last_active(n, bit_active<T>(pg)), n);
    return e < 0 ? uint64_t(T(fallback)) : uint64_t(vget<T>(zn, e));
}

// clasta / clastb into a whole vector: the picked element of Zm everywhere, or Zdn unchanged.
template <class T>
VecV vlast_gen(bool after, const PredV& pg, const VecV& zdn, const VecV& zm, const CpuContext* c) {
    uint32_t n = elem_count(c, sizeof(T) * 8);
    int e = pick(after, true, last_active(n, bit_active<T>(pg)), n);
    if (e < 0) return zdn;
    VecV r;
    T v = vget<T>(zm, e);
    for (uint32_t i = 0; i < n; i++) vset<T>(r, i, v);
    return r;
}

// Specialised lastb / clastb at the element size of Zn.
uint64_t last_80(bool conditional, cpu_state* s, uint64_t fallback, aarch64_p_reg pg, aarch64_z_reg zn) {
    return on_size(zn.qual, [&](auto u) {
        typedef decltype(u) T;
        const uint32_t n = SVE_VL_BYTES / sizeof(T);
        int e = pick(false, conditional, last_active(n, byte_active<T>(s->p[pg.num])), n);
        return e < 0 ? uint64_t(T(fallback)) : uint64_t(ld<T>(s->z[zn.num], e));
    });
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Specialised operations.
#define PRED_DEF_REDUCE_VPZ(op, Op, Signed)                                                        \
    aarch64_decode_rc sve_##op##_vpz(cpu_state* s, unsigned vd, aarch64_p_reg pg, aarch64_z_reg zn) { \
        return reduce_vpz<Op, Signed>(s, vd, pg, zn);                                              \
    }
PRED_DEF_REDUCE_VPZ(uaddv, r_add, false)
PRED_DEF_REDUCE_VPZ(smaxv, r_max, true)
PRED_DEF_REDUCE_VPZ(umaxv, r_max, false)
PRED_DEF_REDUCE_VPZ(sminv, r_min, true)
PRED_DEF_REDUCE_VPZ(uminv, r_min, false)
PRED_DEF_REDUCE_VPZ(andv, r_and, false)
PRED_DEF_REDUCE_VPZ(orv, r_or, false)
PRED_DEF_REDUCE_VPZ(eorv, r_eor, false)

aarch64_decode_rc sve_lastb_rpz(cpu_state* s, aarch64_i_reg rd, aarch64_p_reg pg, aarch64_z_reg zn) {
    write_xzr(s, rd, last_80(false, s, 0, pg, zn));
    return RC_DONE;
}
aarch64_decode_rc sve_clastb_rpz(cpu_state* s, aarch64_i_reg rdn, aarch64_p_reg pg, aarch64_z_reg zn) {
    write_xzr(s, rdn, last_80(true, s, read_xzr(s, rdn), pg, zn));
    return RC_DONE;
}
aarch64_decode_rc sve_lastb_vpz(cpu_state* s, unsigned vd, aarch64_p_reg pg, aarch64_z_reg zn) {
    store_scalar(s, vd, last_80(false, s, 0, pg, zn), 1u << zn.qual);
    return RC_DONE;
}

// ---------------------------------------------------------------------------------------------
// Generic functions.
#define PRED_DEF_REDUCE_U(T, E)                                                                                       \
    uint64_t Vec##T##AddReduceV(PredV pg, VecV zn, CpuContext* c) { return reduce_gen<r_add, elem_t<E>>(pg, zn, c); } \
    uint64_t Vec##T##MaxReduceV(PredV pg, VecV zn, CpuContext* c) { return reduce_gen<r_max, elem_t<E>>(pg, zn, c); } \
    uint64_t Vec##T##MinReduceV(PredV pg, VecV zn, CpuContext* c) { return reduce_gen<r_min, elem_t<E>>(pg, zn, c); } \
    uint64_t Vec##T##AndReduceV(PredV pg, VecV zn, CpuContext* c) { return reduce_gen<r_and, elem_t<E>>(pg, zn, c); } \
    uint64_t Vec##T##OrReduceV(PredV pg, VecV zn, CpuContext* c) { return reduce_gen<r_or, elem_t<E>>(pg, zn, c); }   \
    uint64_t Vec##T##XorReduceV(PredV pg, VecV zn, CpuContext* c) { return reduce_gen<r_eor, elem_t<E>>(pg, zn, c); } \
    VecV Vec##T##VCondXAVV(PredV pg, VecV zdn, VecV zm, CpuContext* c) { return vlast_gen<elem_t<E>>(true, pg, zdn, zm, c); } \
    VecV Vec##T##VCondXBVV(PredV pg, VecV zdn, VecV zm, CpuContext* c) { return vlast_gen<elem_t<E>>(false, pg, zdn, zm, c); }
PRED_U_TYPES(PRED_DEF_REDUCE_U)

#define PRED_DEF_REDUCE_S(T, E)                                                                                   \
    uint64_t Vec##T##MaxReduceV(PredV pg, VecV zn, CpuContext* c) {                                               \
        return reduce_gen<r_max, std::make_signed_t<elem_t<E>>>(pg, zn, c);                                       \
    }                                                                                                             \
    uint64_t Vec##T##MinReduceV(PredV pg, VecV zn, CpuContext* c) {                                               \
        return reduce_gen<r_min, std::make_signed_t<elem_t<E>>>(pg, zn, c);                                       \
    }
PRED_S_TYPES(PRED_DEF_REDUCE_S)
uint64_t VecS8AddReduceV(PredV pg, VecV zn, CpuContext* c) { return reduce_gen<r_add, int8_t>(pg, zn, c); }
uint64_t VecS16AddReduceV(PredV pg, VecV zn, CpuContext* c) { return reduce_gen<r_add, int16_t>(pg, zn, c); }
uint64_t VecS32AddReduceV(PredV pg, VecV zn, CpuContext* c) { return reduce_gen<r_add, int32_t>(pg, zn, c); }

// lasta, lastb, clasta, clastb into a general register (U) or a SIMD scalar (B8 to D64).
#define PRED_DEF_LAST(T, E)                                                                        \
    uint64_t Vec##T##LastAV(PredV pg, VecV zn, CpuContext* c) {                                    \
        return last_gen<elem_t<E>>(true, false, pg, 0, zn, c);                                     \
    }                                                                                              \
    uint64_t Vec##T##LastBV(PredV pg, VecV zn, CpuContext* c) {                                    \
        return last_gen<elem_t<E>>(false, false, pg, 0, zn, c);                                    \
    }                                                                                              \
    uint64_t Vec##T##CondXASV(PredV pg, uint64_t fallback, VecV zn, CpuContext* c) {               \
        return last_gen<elem_t<E>>(true, true, pg, fallback, zn, c);                               \
    }                                                                                              \
    uint64_t Vec##T##CondXBSV(PredV pg, uint64_t fallback, VecV zn, CpuContext* c) {               \
        return last_gen<elem_t<E>>(false, true, pg, fallback, zn, c);                              \
    }
PRED_U_TYPES(PRED_DEF_LAST)
PRED_V_TYPES(PRED_DEF_LAST)

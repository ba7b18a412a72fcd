// Floating-point reductions: the pairwise tree of FADDV, FMAXV, FMINV, FMAXNMV, FMINNMV over a
// work area padded to a power of two with the operation's identity, and the ordered FADDA.
#include "sve/fp/vector/ops.h"

#include "sve/fp/vector/loops.h"

namespace {

// Identities: +0 for addition, -inf for FMAXV, +inf for FMINV, the default NaN for the
// number-preferring forms.
enum ident_kind { ID_ZERO, ID_NEG_INF, ID_POS_INF, ID_DEFAULT_NAN };
template <class T>
constexpr T identity(ident_kind k) {
    constexpr int W = sizeof(T) * 8, M = W == 16 ? 10 : W == 32 ? 23 : 52;
    constexpr T inf = T((T(~T(0)) >> 1) & ~((T(1) << M) - 1));  // exponent all ones, fraction 0
    constexpr T sign = T(T(1) << (W - 1));
    switch (k) {
    case ID_ZERO: return 0;
    case ID_NEG_INF: return T(sign | inf);
    case ID_POS_INF: return inf;
    default: return T(inf | (T(1) << (M - 1)));
    }
}

// The tree: n elements from get(i), padded to p = the next power of two with `id`, then levels
// of work[j] = op(work[2j], work[2j+1]), lower element on the left, until one value is left.
template <class T, class Get, class Op>
T tree_reduce(uint32_t n, T id, Get&& get, Op&& op) {
    T work[256 / sizeof(T)];
    uint32_t p = 1;
    while (p < n) p *= 2;
    for (uint32_t i = 0; i < p; i++) work[i] = i < n ? get(i) : id;
    for (; p > 1; p /= 2)
        for (uint32_t j = 0; j < p / 2; j++) work[j] = op(work[2 * j], work[2 * j + 1]);
    return work[0];
}

template <class T, class OP, ident_kind ID>
uint64_t g_reduce(const PredV& pg, const VecV& zn, CpuContext* c) {
    T id = identity<T>(ID);
    return tree_reduce<T>(
        elem_count(c, sizeof(T) * 8), id,
        [&](uint32_t i) { return pred_active(pg, i, sizeof(T) * 8) ? vget<T>(zn, i) : id; },
        [&](T a, T b) { return gstep<OP>(c, a, b); });
}

template <class T>
uint64_t g_fadda(const PredV& pg, uint64_t init, const VecV& zm, CpuContext* c) {
    T acc = T(init);
    uint32_t n = elem_count(c, sizeof(T) * 8);
    for (uint32_t i = 0; i < n; i++)
        if (pred_active(pg, i, sizeof(T) * 8)) acc = gstep<fp_elements::Add>(c, acc, vget<T>(zm, i));
    return acc;
}

// Host path of FMAXNMV and FMINNMV: the same tree over the host instructions.
template <class OP>
aarch64_decode_rc s_reduce_nm(cpu_state* s, unsigned vd, aarch64_p_reg pg, aarch64_z_reg zn) {
    fp_size_dispatch(zn.qual, [&](auto t) {
        typedef decltype(t) T;
        T id = identity<T>(ID_DEFAULT_NAN);
        T r = tree_reduce<T>(
            SVE_VL_BYTES / sizeof(T), id, [&](uint32_t i) { return pel<T>(s, pg.num, i) ? zel<T>(s, zn.num, i) : id; },
            [&](T a, T b) { return spec_eval<OP>(s, a, b); });
        store_scalar(s, vd, r, sizeof(T));
    });
    return RC_DONE;
}

}  // namespace

aarch64_decode_rc sve_fmaxnmv_vpz(cpu_state* s, uint64_t vd, aarch64_p_reg pg, aarch64_z_reg zn) {
    return s_reduce_nm<fp_elements::MaxNum>(s, vd, pg, zn);
}
aarch64_decode_rc sve_fminnmv_vpz(cpu_state* s, uint64_t vd, aarch64_p_reg pg, aarch64_z_reg zn) {
    return s_reduce_nm<fp_elements::MinNum>(s, vd, pg, zn);
}

#define FPV_REDUCE(T, E)                                                                                           \
    uint64_t Vec##T##AddReduceFV(PredV pg, VecV zn, CpuContext* c) { return g_reduce<E, fp_elements::Add, ID_ZERO>(pg, zn, c); } \
    uint64_t Vec##T##MaxReduceFV(PredV pg, VecV zn, CpuContext* c) { return g_reduce<E, fp_elements::Max, ID_NEG_INF>(pg, zn, c); } \
    uint64_t Vec##T##MinReduceFV(PredV pg, VecV zn, CpuContext* c) { return g_reduce<E, fp_elements::Min, ID_POS_INF>(pg, zn, c); } \
    uint64_t Vec##T##MaxNumReduceFV(PredV pg, VecV zn, CpuContext* c) {                                             \
        return g_reduce<E, fp_elements::MaxNum, ID_DEFAULT_NAN>(pg, zn, c);                                                 \
    }                                                                                                              \
    uint64_t Vec##T##MinNumReduceFV(PredV pg, VecV zn, CpuContext* c) {                                             \
        return g_reduce<E, fp_elements::MinNum, ID_DEFAULT_NAN>(pg, zn, c);                                                 \
    }                                                                                                              \
    uint64_t Vec##T##AddReduceAV(PredV pg, uint64_t init, VecV zm, CpuContext* c) { return g_fadda<E>(pg, init, zm, c); }
FPV_REDUCE(F16, uint16_t)
FPV_REDUCE(F32, uint32_t)
FPV_REDUCE(D64, uint64_t)


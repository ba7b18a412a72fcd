// Complex and indexed floating-point forms: FCADD, FCMLA (predicated and indexed), and the
// indexed FMLA, FMLS, FMUL. A complex number is the element pair (e, e + 1), real part first;
// indexed forms pick their Zm element within each 128-bit segment.
#include "sve/fp/vector/ops.h"

#include "sve/fp/vector/loops.h"

namespace {

// Which Zm element of the pair an element of a complex operation takes, and whether negated.
// FCADD: the other part of Zm's pair; rotation 90 negates the one added to the real part,
// rotation 270 the one added to the imaginary part.
inline uint32_t fcadd_src(uint32_t e) { return (e & ~1u) + (1 - (e & 1)); }
inline bool fcadd_neg(uint32_t e, uint64_t rot) { return (e & 1) ? rot == 1 : rot == 0; }
// FCMLA: Zn's real part for rotations 0 and 180, imaginary for 90 and 270; Zm's part of the
// pair by the parity of the element and of the rotation, negated as the rotation requires.
inline uint32_t fcmla_n(uint32_t e, uint64_t rot) { return (e & ~1u) + uint32_t(rot & 1); }
inline uint32_t fcmla_m_part(uint32_t e, uint64_t rot) { return (e & 1) ^ uint32_t(rot & 1); }
inline bool fcmla_neg(uint32_t e, uint64_t rot) { return (e & 1) ? rot >= 2 : (rot == 1 || rot == 2); }

// One FCMLA element: Zda[e] + Zn[ni] * (±m), the negation by FPNeg before the fused operation.
template <class T, class Eval, class Neg>
T fcmla_elem(T da, T n, T m, bool neg, Eval&& fma, Neg&& fneg) {
    return fma(da, n, neg ? fneg(m) : m);
}

template <class T>
VecV g_fcadd(const VecV& zdn, const PredV& pg, const VecV& zm, uint64_t rot, CpuContext* c) {
    return gen_merge<T>(zdn, pg, c, [&](uint32_t e, auto) {
        T m = vget<T>(zm, fcadd_src(e));
        return gstep<fp_elements::Add>(c, vget<T>(zdn, e), fcadd_neg(e, rot) ? FPNeg<T>(m) : m);
    });
}

// Zm's pair for element e: `mbase(e)` gives the index of its real part.
template <class T, class MBase>
T g_fcmla_elem(const VecV& zda, const VecV& zn, const VecV& zm, uint32_t e, uint64_t rot, MBase&& mbase, CpuContext* c) {
    return fcmla_elem<T>(
        vget<T>(zda, e), vget<T>(zn, fcmla_n(e, rot)), vget<T>(zm, mbase(e) + fcmla_m_part(e, rot)), fcmla_neg(e, rot),
        [&](T a, T n, T m) { return gstep<fp_elements::FmlaOp>(c, a, n, m); }, [](T m) { return FPNeg<T>(m); });
}

template <class T>
VecV g_fcmla(const VecV& zda, const PredV& pg, const VecV& zn, const VecV& zm, uint64_t rot, CpuContext* c) {
    return gen_merge<T>(zda, pg, c, [&](uint32_t e, auto) {
        return g_fcmla_elem<T>(zda, zn, zm, e, rot, [](uint32_t x) { return x & ~1u; }, c);
    });
}

// Elements of one 128-bit segment.
template <class T>
constexpr uint32_t seg_elems() { return 16 / sizeof(T); }

template <class T>
VecV g_fcmla_ix(const VecV& zn, const VecV& zm, const VecV& zda, uint64_t rot, uint64_t index, CpuContext* c) {
    return gen_map<T>(c, [&](uint32_t e) {
        return g_fcmla_elem<T>(zda, zn, zm, e, rot,
                               [&](uint32_t x) { return x / seg_elems<T>() * seg_elems<T>() + 2 * uint32_t(index); }, c);
    });
}

// Indexed: element i meets Zm[segment start + index].
template <class T>
uint32_t ix_of(uint32_t e, uint64_t index) { return e / seg_elems<T>() * seg_elems<T>() + uint32_t(index); }

template <class T, class OP>
VecV g_fma_ix(const VecV& zn, const VecV& zm, const VecV& zda, uint64_t index, CpuContext* c) {
    return gen_map<T>(c, [&](uint32_t e) {
        return gstep<OP>(c, vget<T>(zda, e), vget<T>(zn, e), vget<T>(zm, ix_of<T>(e, index)));
    });
}
template <class T>
VecV g_mul_ix(const VecV& zn, const VecV& zm, uint64_t index, CpuContext* c) {
    return gen_map<T>(c, [&](uint32_t e) { return gstep<fp_elements::Mul>(c, vget<T>(zn, e), vget<T>(zm, ix_of<T>(e, index))); });
}

}  // namespace

// The predicated FCMLA of single and double elements: one fused multiply-add per active element.
aarch64_decode_rc sve_fcmla_zpzzr(cpu_state* s, aarch64_z_reg zda, aarch64_p_reg pg, aarch64_z_reg zn, aarch64_z_reg zm,
                                  uint64_t rot) {
    fp_size_dispatch(zda.tied_qual[0], [&](auto t) {
        typedef decltype(t) T;
        spec_merge<T>(s, zda.num, pg.num, zda.num, [&](uint32_t e) {
            return fcmla_elem<T>(
                zel<T>(s, zda.num, e), zel<T>(s, zn.num, fcmla_n(e, rot)),
                zel<T>(s, zm.num, (e & ~1u) + fcmla_m_part(e, rot)), fcmla_neg(e, rot),
                [&](T a, T n, T m) { return spec_eval<fp_elements::FmlaOp>(s, a, n, m); },
                [&](T m) { return spec_eval<fp_elements::Neg>(s, m); });
        });
    });
    return RC_DONE;
}

#define FPV_COMPLEX(T, E)                                                                             \
    VecV Vec##T##FCADDVVM(VecV zdn, PredV pg, VecV zm, uint64_t rot, CpuContext* c) {                 \
        return g_fcadd<E>(zdn, pg, zm, rot, c);                                                       \
    }                                                                                                 \
    VecV Vec##T##FCMLAVVVM(VecV zda, PredV pg, VecV zn, VecV zm, uint64_t rot, CpuContext* c) {       \
        return g_fcmla<E>(zda, pg, zn, zm, rot, c);                                                   \
    }                                                                                                 \
    VecV Vec##T##FMAVVVIX(VecV zn, VecV zm, VecV zda, uint64_t index, CpuContext* c) {                \
        return g_fma_ix<E, fp_elements::FmlaOp>(zn, zm, zda, index, c);                                       \
    }                                                                                                 \
    VecV Vec##T##FMSVVVIX(VecV zn, VecV zm, VecV zda, uint64_t index, CpuContext* c) {                \
        return g_fma_ix<E, fp_elements::FmlsOp>(zn, zm, zda, index, c);                                       \
    }                                                                                                 \
    VecV Vec##T##MulVVIX(VecV zn, VecV zm, uint64_t index, CpuContext* c) { return g_mul_ix<E>(zn, zm, index, c); }
FPV_COMPLEX(F16, uint16_t)
FPV_COMPLEX(F32, uint32_t)
FPV_COMPLEX(D64, uint64_t)

VecV VecF16FCMLAVVVIX(VecV zn, VecV zm, VecV zda, uint64_t rot, uint64_t index, CpuContext* c) {
    return g_fcmla_ix<uint16_t>(zn, zm, zda, rot, index, c);
}
VecV VecF32FCMLAVVVIX(VecV zn, VecV zm, VecV zda, uint64_t rot, uint64_t index, CpuContext* c) {
    return g_fcmla_ix<uint32_t>(zn, zm, zda, rot, index, c);
}


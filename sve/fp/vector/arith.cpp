// Vector floating-point arithmetic, fused forms, compares, unary operations and conversions:
// the generic element loops of every width, and the specialised single and double operations.
#include "sve/fp/vector/ops.h"

#include "sve/fp/vector/loops.h"

namespace {

// ---- generic tier ----

template <class T, class OP>
VecV g_bin_m(const VecV& zdn, const PredV& pg, const VecV& zm, CpuContext* c) {
    return gen_merge<T>(zdn, pg, c, [&](uint32_t e, auto) { return gstep<OP>(c, vget<T>(zdn, e), vget<T>(zm, e)); });
}

template <class T, class OP>
VecV g_bin_x(const VecV& zn, const VecV& zm, CpuContext* c) {
    return gen_map<T>(c, [&](uint32_t e) { return gstep<OP>(c, vget<T>(zn, e), vget<T>(zm, e)); });
}

// The immediate of a half precision form arrives as a single precision pattern and is converted
// for every element, active or not, with its flags merged like any other step.
template <class T>
T imm_of(uint64_t imm, CpuContext* c) {
    if constexpr (sizeof(T) == 2) return gstep<fp_elements::Convert<uint32_t, uint16_t, FPRounding_ZERO>>(c, uint32_t(imm));
    else return T(imm);
}

template <class T, class OP>
VecV g_arith_imm_m(const VecV& zdn, const PredV& pg, uint64_t imm, CpuContext* c) {
    return gen_map<T>(c, [&](uint32_t e) -> T {
        T k = imm_of<T>(imm, c);
        return pred_active(pg, e, sizeof(T) * 8) ? gstep<OP>(c, vget<T>(zdn, e), k) : vget<T>(zdn, e);
    });
}

// One source of type S in the low bits of container C, result of type D extended to C: zero
// extension for floating-point and unsigned results, sign extension for signed ones.
template <class C, class S, class D, class OP>
VecV g_un_m(const VecV& zd, const PredV& pg, const VecV& zn, CpuContext* c) {
    return gen_merge<C>(zd, pg, c, [&](uint32_t e, auto) { return C(gstep<OP>(c, S(vget<C>(zn, e)))); });
}

template <class T, class OP>
VecV g_un_x(const VecV& zn, CpuContext* c) {
    return gen_map<T>(c, [&](uint32_t e) { return gstep<OP>(c, vget<T>(zn, e)); });
}

// Fused: OP(addend, multiplicand, multiplier).
template <class T, class OP>
VecV g_fma_m(const VecV& zda, const PredV& pg, const VecV& zn, const VecV& zm, CpuContext* c) {
    return gen_merge<T>(zda, pg, c,
                        [&](uint32_t e, auto) { return gstep<OP>(c, vget<T>(zda, e), vget<T>(zn, e), vget<T>(zm, e)); });
}
template <class T, class OP>
VecV g_fmad_m(const VecV& zdn, const PredV& pg, const VecV& zm, const VecV& za, CpuContext* c) {
    return gen_merge<T>(zdn, pg, c,
                        [&](uint32_t e, auto) { return gstep<OP>(c, vget<T>(za, e), vget<T>(zdn, e), vget<T>(zm, e)); });
}

template <class T, class OP>
PredV g_cmp(const PredV& pg, const VecV& zn, const VecV& zm, CpuContext* c) {
    return gen_pred_result<T>(pg, c, [&](uint32_t e) { return gstep<OP>(c, vget<T>(zn, e), vget<T>(zm, e)); });
}
// Compare with +0.0; SWAP puts the zero first (FCMLE, FCMLT).
template <class T, class OP, bool SWAP>
PredV g_cmp0(const PredV& pg, const VecV& zn, CpuContext* c) {
    return gen_pred_result<T>(pg, c, [&](uint32_t e) {
        return SWAP ? gstep<OP>(c, T(0), vget<T>(zn, e)) : gstep<OP>(c, vget<T>(zn, e), T(0));
    });
}

// ---- specialised tier ----

template <class OP>
aarch64_decode_rc s_bin_m(cpu_state* s, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm) {
    fp_size_dispatch(zdn.tied_qual[0], [&](auto t) {
        typedef decltype(t) T;
        if (spec_vec<T, OP, true>(s, s->z[zdn.num], s->p[pg.num], s->z[zdn.num], vreg(s, zdn.num), vreg(s, zm.num)))
            return;
        spec_merge<T>(s, zdn.num, pg.num, zdn.num,
                      [&](uint32_t e) { return spec_eval<OP>(s, zel<T>(s, zdn.num, e), zel<T>(s, zm.num, e)); });
    });
    return RC_DONE;
}

template <class OP>
aarch64_decode_rc s_bin_x(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) {
    fp_size_dispatch(zd.qual, [&](auto t) {
        typedef decltype(t) T;
        if (spec_vec<T, OP, false>(s, s->z[zd.num], nullptr, nullptr, vreg(s, zn.num), vreg(s, zm.num))) return;
        spec_each<T>(s, zd.num, [&](uint32_t e) { return spec_eval<OP>(s, zel<T>(s, zn.num, e), zel<T>(s, zm.num, e)); });
    });
    return RC_DONE;
}

template <class OP, int KIND>
aarch64_decode_rc s_imm_m(cpu_state* s, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_sve_fp_arith_imm imm) {
    fp_size_dispatch(zdn.tied_qual[0], [&](auto t) {
        typedef decltype(t) T;
        T k = sizeof(T) == 4 ? T(fp_forms::fp_arith_imm32(KIND, imm.i1)) : T(fp_forms::fp_arith_imm64(KIND, imm.i1));
        alignas(16) T ks[16 / sizeof(T)];
        for (T& x : ks) x = k;
        if (spec_vec<T, OP, true>(s, s->z[zdn.num], s->p[pg.num], s->z[zdn.num], vreg(s, zdn.num),
                                  vsrc{reinterpret_cast<const uint8_t*>(ks), 0}))
            return;
        spec_merge<T>(s, zdn.num, pg.num, zdn.num, [&](uint32_t e) { return spec_eval<OP>(s, zel<T>(s, zdn.num, e), k); });
    });
    return RC_DONE;
}

template <class C, class S, class D, class OP>
aarch64_decode_rc s_un_m_t(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn) {
    if (spec_vec<C, OP, true>(s, s->z[zd.num], s->p[pg.num], s->z[zd.num], vreg(s, zn.num))) return RC_DONE;
    spec_merge<C>(s, zd.num, pg.num, zd.num, [&](uint32_t e) { return C(spec_eval<OP>(s, S(zel<C>(s, zn.num, e)))); });
    return RC_DONE;
}
template <class OP>
aarch64_decode_rc s_un_m(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn) {
    fp_size_dispatch(zd.qual, [&](auto t) {
        typedef decltype(t) T;
        s_un_m_t<T, T, T, OP>(s, zd, pg, zn);
    });
    return RC_DONE;
}

// Fused forms. MAD: the destination is the multiplicand and the third register the addend.
template <class OP, bool MAD>
aarch64_decode_rc s_fma_m(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg za, aarch64_z_reg zb) {
    fp_size_dispatch(zd.tied_qual[0], [&](auto t) {
        typedef decltype(t) T;
        vsrc d = vreg(s, zd.num), a = vreg(s, za.num), b = vreg(s, zb.num);
        if (MAD ? spec_vec<T, OP, true>(s, s->z[zd.num], s->p[pg.num], s->z[zd.num], b, d, a)
                : spec_vec<T, OP, true>(s, s->z[zd.num], s->p[pg.num], s->z[zd.num], d, a, b))
            return;
        spec_merge<T>(s, zd.num, pg.num, zd.num, [&](uint32_t e) {
            T d = zel<T>(s, zd.num, e), a = zel<T>(s, za.num, e), b = zel<T>(s, zb.num, e);
            return MAD ? spec_eval<OP>(s, b, d, a) : spec_eval<OP>(s, d, a, b);
        });
    });
    return RC_DONE;
}

template <class OP>
aarch64_decode_rc s_cmp(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_z_reg zn, aarch64_z_reg zm) {
    fp_size_dispatch(pd.qual, [&](auto t) {
        typedef decltype(t) T;
        if (spec_vec<T, OP, true>(s, s->p[pd.num], s->p[pg.num], nullptr, vreg(s, zn.num), vreg(s, zm.num))) return;
        spec_pred_result<T>(s, pd.num, pg.num,
                            [&](uint32_t e) { return spec_eval<OP>(s, zel<T>(s, zn.num, e), zel<T>(s, zm.num, e)); });
    });
    return RC_DONE;
}
template <class OP, bool SWAP>
aarch64_decode_rc s_cmp0(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_z_reg zn) {
    fp_size_dispatch(pd.qual, [&](auto t) {
        typedef decltype(t) T;
        alignas(16) static const uint8_t zero[16] = {};
        vsrc x = vreg(s, zn.num), z = {zero, 0};
        if (SWAP ? spec_vec<T, OP, true>(s, s->p[pd.num], s->p[pg.num], nullptr, z, x)
                 : spec_vec<T, OP, true>(s, s->p[pd.num], s->p[pg.num], nullptr, x, z))
            return;
        spec_pred_result<T>(s, pd.num, pg.num, [&](uint32_t e) {
            T x = zel<T>(s, zn.num, e);
            return SWAP ? spec_eval<OP>(s, T(0), x) : spec_eval<OP>(s, x, T(0));
        });
    });
    return RC_DONE;
}

}  // namespace

// ---- generic functions ----
// The functions that the row table makes from the templates above.
#include "sve/fp/vector/generated/arith.inc"

// ---- specialised operations ----
#define FPV_S_ZPZ(name, ...) \
    aarch64_decode_rc name(cpu_state* s, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_z_reg zm) { return s_bin_m<__VA_ARGS__>(s, zdn, pg, zm); }
#define FPV_S_ZZZ(name, ...) \
    aarch64_decode_rc name(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) { return s_bin_x<__VA_ARGS__>(s, zd, zn, zm); }
#define FPV_S_ZPI(name, KIND, ...)                                                                       \
    aarch64_decode_rc name(cpu_state* s, aarch64_z_reg zdn, aarch64_p_reg pg, aarch64_sve_fp_arith_imm i) { \
        return s_imm_m<__VA_ARGS__, KIND>(s, zdn, pg, i);                                                 \
    }
#define FPV_S_UN(name, ...) \
    aarch64_decode_rc name(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn) { return s_un_m<__VA_ARGS__>(s, zd, pg, zn); }
#define FPV_S_CVT(name, C, S, D, ...)                                                         \
    aarch64_decode_rc name(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn) { \
        return s_un_m_t<C, S, D, __VA_ARGS__>(s, zd, pg, zn);                                    \
    }
#define FPV_S_FMA(name, MAD, ...)                                                                                 \
    aarch64_decode_rc name(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg za, aarch64_z_reg zb) { \
        return s_fma_m<__VA_ARGS__, MAD>(s, zd, pg, za, zb);                                                      \
    }
#define FPV_S_CMP(name, ...)                                                                                     \
    aarch64_decode_rc name(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_z_reg zn, aarch64_z_reg zm) { \
        return s_cmp<__VA_ARGS__>(s, pd, pg, zn, zm);                                                            \
    }
#define FPV_S_CMP0(name, SWAP, ...)                                                                \
    aarch64_decode_rc name(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_z_reg zn) { \
        return s_cmp0<__VA_ARGS__, SWAP>(s, pd, pg, zn);                                           \
    }
#include "sve/fp/vector/fp_specialised.inc"

aarch64_decode_rc sve_frecpe_zz(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn) {
    fp_size_dispatch(zd.qual, [&](auto t) {
        typedef decltype(t) T;
        spec_each<T>(s, zd.num, [&](uint32_t e) { return spec_eval<fp_elements::RecpE>(s, zel<T>(s, zn.num, e)); });
    });
    return RC_DONE;
}

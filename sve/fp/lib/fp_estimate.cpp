// Reciprocal and reciprocal square root estimates and steps, FRECPX, the integer estimates, and
// the accelerator operations FTMAD, FTSMUL and FEXPA.
#include <cmath>
#include <cstring>

#include "sve/fp/lib/fp_internal.h"

// The fused multiply-add of fp_arith.cpp at each width (its exported fp16_, fp32_, fp64_muladd).
template <class T>
inline T fp_muladd_w(T a, T b, T c, int scale, int mode, FPSCR* flags) {
    if constexpr (FW<T> == 16) return fp16_muladd(a, b, c, scale, mode, flags);
    else if constexpr (FW<T> == 32) return fp32_muladd(a, b, c, scale, mode, flags);
    else return fp64_muladd(a, b, c, scale, mode, flags);
}

template <class T>
T FPRecipEstimate(T op, FPSCR& fpscr) {
    constexpr int W = FW<T>, M = FM<T>, BIAS = FBIAS<T>;
    fp_operand<T> u(op, fpscr);
    const bool flush = W == 16 ? (u.mode & FPLIB_FZ16) : (u.mode & FPLIB_FZ);
    // The exponent field and the top two fraction bits are zero: 1/op is not finite.
    const T tiny_mask = T((T(FEMAX<T>) << M) | (T(3) << (M - 2)));
    if (u.nan()) return u.finish(fp_process_nan(op, u.mode, &u.flags), fpscr);
    if (u.inf()) return u.finish(fp_zero<T>(u.sgn), fpscr);
    if (!u.mnt) {
        u.flags |= FPSCR_DZC;
        return u.finish(fp_infinity<T>(u.sgn), fpscr);
    }
    if (!(op & tiny_mask)) {
        u.flags |= FPSCR_OFC | FPSCR_IXC;
        return u.finish(fp_overflow_to_infinity(u.mode & 3, u.sgn) ? fp_infinity<T>(u.sgn)
                                                                    : fp_max_normal<T>(u.sgn),
                        fpscr);
    }
    if (flush && u.exp >= 2 * BIAS - 1) {
        u.flags |= FPSCR_UFC;
        return u.finish(fp_zero<T>(u.sgn), fpscr);
    }
    int e = u.exp + FE<T>;
    const T mnt = fp_normalise(u.mnt, &e);
    int result_exp = 2 * BIAS - 1 - e;
    const uint64_t a = uint64_t(mnt >> (W - 10)) | 1;
    const uint64_t f = ((1ull << 19) / a + 1) >> 1;
    T fraction = T(T(f) << (M - 8));
    // Below the normal range the estimate becomes subnormal, without rounding or flushing.
    if (result_exp == 0) {
        fraction = T(fraction >> 1);
    } else if (result_exp == -1) {
        fraction = T(fraction >> 2);
        result_exp = 0;
    }
    return u.finish(fp_pack<T>(u.sgn, result_exp, fraction), fpscr);
}

template <class T>
T FPRSqrtEstimate(T op, FPSCR& fpscr) {
    constexpr int W = FW<T>, M = FM<T>;
    fp_operand<T> u(op, fpscr);
    if (u.nan()) return u.finish(fp_process_nan(op, u.mode, &u.flags), fpscr);
    if (!u.mnt) {
        u.flags |= FPSCR_DZC;
        return u.finish(fp_infinity<T>(u.sgn), fpscr);
    }
    if (u.sgn) {
        u.flags |= FPSCR_IOC;
        return u.finish(fp_default_nan<T>(), fpscr);
    }
    if (u.inf()) return u.finish(fp_zero<T>(0), fpscr);
    int e = u.exp + FE<T>;
    const T mnt = fp_normalise(u.mnt, &e);
    const int index = int((mnt >> (W - 8)) & 127) + (e & 1 ? 0 : 128);
    const T fraction = T(T(fplib_tables::recip_sqrt_estimate[index]) << (M - 8));
    return u.finish(fp_pack<T>(0, (3 * FBIAS<T> - e - 1) >> 1, fraction), fpscr);
}

template <class T>
T FPRecpX(T op, FPSCR& fpscr) {
    fp_operand<T> u(op, fpscr);
    const int field = int((op >> FM<T>) & FEMAX<T>);
    if (u.nan()) return u.finish(fp_process_nan(op, u.mode, &u.flags), fpscr);
    // A zero exponent field (zero, denormal) gives the largest exponent; else it is inverted.
    return u.finish(fp_pack<T>(u.sgn, field ? FEMAX<T> - field : FEMAX<T> - 1, 0), fpscr);
}

// The fused steps: `constant` - op1 * op2, scaled by 2^scale; infinity times zero gives
// `inf_zero`.
template <class T>
static T fp_step_fused(T op1, T op2, T constant, T inf_zero, int scale, FPSCR& fpscr) {
    FPSCR flags = 0;
    const int mode = fp_mode(fpscr);
    op1 = FPNeg(op1);
    auto [a_sgn, a_exp, b_sgn, b_exp, a_mnt, b_mnt] = fp_pair<T>(op1, op2, mode, &flags);
    T result;
    result = fp_process_nans(op1, op2, mode, &flags);
    if (!result) {
        if ((a_exp == FEMAX<T> && !b_mnt) || (b_exp == FEMAX<T> && !a_mnt))
            result = inf_zero;
        else if (a_exp == FEMAX<T> || b_exp == FEMAX<T>)
            result = fp_infinity<T>(a_sgn ^ b_sgn);
        else
            result = fp_muladd_w<T>(constant, op1, op2, scale, mode, &flags);
    }
    fp_set_flags(fpscr, flags);
    return result;
}

template <class T>
T FPRecipStepFused(T op1, T op2, FPSCR& fpscr) {
    return fp_step_fused(op1, op2, fp_two<T>(0), fp_two<T>(0), 0, fpscr);
}
template <class T>
T FPRSqrtStepFused(T op1, T op2, FPSCR& fpscr) {
    return fp_step_fused(op1, op2, fp_three<T>(), fp_one_point_five<T>(), -1, fpscr);
}

// ---- Integer estimates, in host double arithmetic.
double recip_estimate(double a) {
    double q = std::floor(a * 512.0);
    double r = 1.0 / ((q + 0.5) / 512.0);
    double s = std::floor(r * 256.0 + 0.5);
    return s / 256.0;
}

double recip_sqrt_estimate(double a) {
    double v;
    if (a < 0.5) v = (std::floor(a * 512.0) + 0.5) / 512.0;
    else v = (std::floor(a * 256.0) + 0.5) / 256.0;
    double r = 1.0 / std::sqrt(v);
    double s = std::floor(r * 256.0 + 0.5);
    return s / 256.0;
}

static double fp_bits_to_double(uint64_t bits) {
    double d;
    std::memcpy(&d, &bits, sizeof d);
    return d;
}
static unsigned long fp_estimate_bits(double d) {
    uint64_t bits;
    std::memcpy(&bits, &d, sizeof bits);
    return ((bits >> 21) & 0x7FFFFFFF) | 0x80000000;
}

unsigned long UnsignedRecipEstimate(unsigned long op, int) {
    if (!(op & 0x80000000)) return 0xFFFFFFFF;
    double a = fp_bits_to_double(((op & 0x7FFFFFFFul) << 21) | 0x3FE0000000000000ul);
    return fp_estimate_bits(recip_estimate(a));
}

unsigned long UnsignedRSqrtEstimate(unsigned long op, int) {
    if ((op & 0xFFFFFFFF) < 0x40000000) return 0xFFFFFFFF;
    uint64_t bits = (op & 0x80000000) ? ((op & 0x7FFFFFFFul) << 21) | 0x3FE0000000000000ul
                                      : ((op & 0x3FFFFFFFul) << 22) | 0x3FD0000000000000ul;
    return fp_estimate_bits(recip_sqrt_estimate(fp_bits_to_double(bits)));
}

// ---- Accelerator operations.
template <class T>
static const T* fp_ftmad_coeff() {
    if constexpr (FW<T> == 16) return fplib_tables::ftmad_coeff16;
    else if constexpr (FW<T> == 32) return fplib_tables::ftmad_coeff32;
    else return fplib_tables::ftmad_coeff64;
}

template <class T>
T FPTRIMADD(unsigned long x, T op1, T op2, FPSCR& fpscr) {
    FPSCR flags = 0;
    unsigned index = unsigned(x & 7) + (op2 >> (FW<T> - 1) ? 8 : 0);
    T r = fp_muladd_w<T>(fp_ftmad_coeff<T>()[index], op1, FPAbs(op2), 0, fp_mode(fpscr), &flags);
    fp_set_flags(fpscr, flags);
    return r;
}

template <class T>
T FPTRISMUL(T op1, T op2, FPSCR& fpscr) {
    T r = FPMul<T>(op1, op1, fpscr);
    if (!fp_is_nan(r)) r = T((r & ~(T(1) << (FW<T> - 1))) | (T(op2 & 1) << (FW<T> - 1)));
    return r;
}

template <class T>
T FPEXPA(T op) {
    if constexpr (FW<T> == 16)
        return T((((op >> 5) & 31) << 10) | fplib_tables::fexpa_table16[op & 31]);
    else if constexpr (FW<T> == 32)
        return T((((op >> 6) & 255) << 23) | fplib_tables::fexpa_table32[op & 63]);
    else
        return T((((op >> 6) & 2047) << 52) | fplib_tables::fexpa_table64[op & 63]);
}

#define FP_INSTANTIATE_EST(T)                                  \
    template T FPRecipEstimate<T>(T, FPSCR&);                  \
    template T FPRSqrtEstimate<T>(T, FPSCR&);                  \
    template T FPRecpX<T>(T, FPSCR&);                          \
    template T FPRecipStepFused<T>(T, T, FPSCR&);              \
    template T FPRSqrtStepFused<T>(T, T, FPSCR&);              \
    template T FPTRIMADD<T>(unsigned long, T, T, FPSCR&);      \
    template T FPTRISMUL<T>(T, T, FPSCR&);                     \
    template T FPEXPA<T>(T);
FP_INSTANTIATE_EST(unsigned short)
FP_INSTANTIATE_EST(unsigned int)
FP_INSTANTIATE_EST(unsigned long)

// Element operations of the vector floating-point instructions. Each is a small struct:
//   lib(FPSCR&, operands...)  the software library's result (generic tier, and the specialised
//                             tier on hosts without an AArch64 FP unit);
//   host(operands...)         the host instruction (AArch64 only, single and double);
//   flags                     false for operations that take no FPSCR (no fpsr update at all).
// On x86-64, fp_elements::x86<OP> gives the whole-chunk form of the operations that run there.
// The element loops in loops.h call them through gen_eval / spec_eval.
#pragma once

#include <type_traits>

#include "sve/core/generic.h"
#include "sve/fp/lib/fplib.h"
#include "sve/fp/vector/host_fp.h"
#include "sve/fp/vector/host_fp_x86.h"

#if defined(__aarch64__)
#define FPV_HOST(...) __VA_ARGS__
#else
#define FPV_HOST(...)
#endif

// Library value of one element under the generic flag protocol.
template <class OP, class... A>
inline auto gen_eval(uint32_t fpcr, uint32_t& fpsr, A... a) {
    if constexpr (OP::flags) {
        return fp_element(fpsr, fpcr, [&](FPSCR& w) { return OP::lib(w, a...); });
    } else {
        FPSCR w = fpcr & FPSCR_CONTROL_MASK;
        return OP::lib(w, a...);
    }
}

// Value of one element in the specialised tier: the host instruction on AArch64, elsewhere the
// library under the record's fpcr with the flags accumulated into the record's fpsr. (On x86-64
// the common operations first try the whole instruction on SSE, spec_vec in loops.h, and come
// here only where that could differ from AArch64.)
template <class OP, class... A>
inline auto spec_eval(cpu_state* s, A... a) {
#if defined(__aarch64__)
    (void)s;
    return OP::host(a...);
#else
    return gen_eval<OP>(s->fpcr, s->fpsr, a...);
#endif
}

namespace fp_elements {

// HOST is left empty for operations that only the generic tier runs.
#define FPV_OP2(Name, LIB, ...)                                                    \
    struct Name {                                                                  \
        static constexpr bool flags = true;                                        \
        template <class T> static T lib(FPSCR& f, T a, T b) { return LIB; }       \
        FPV_HOST(__VA_OPT__(template <class T> static T host(T a, T b) { return __VA_ARGS__; })) \
    };
#define FPV_OP1(Name, LIB, ...)                                               \
    struct Name {                                                             \
        static constexpr bool flags = true;                                   \
        template <class T> static T lib(FPSCR& f, T a) { return LIB; }       \
        FPV_HOST(__VA_OPT__(template <class T> static T host(T a) { return __VA_ARGS__; })) \
    };

FPV_OP2(Add, FPAdd<T>(a, b, f), host_fp::fadd(a, b))
FPV_OP2(Sub, FPSub<T>(a, b, f), host_fp::fsub(a, b))
FPV_OP2(SubR, FPSub<T>(b, a, f), host_fp::fsub(b, a))
FPV_OP2(Mul, FPMul<T>(a, b, f), host_fp::fmul(a, b))
FPV_OP2(MulX, FPMulX<T>(a, b, f))
FPV_OP2(Div, FPDiv<T>(a, b, f), host_fp::fdiv(a, b))
FPV_OP2(DivR, FPDiv<T>(b, a, f), host_fp::fdiv(b, a))
FPV_OP2(Abd, FPAbs<T>(FPSub<T>(a, b, f)))
FPV_OP2(Max, FPMax<T>(a, b, f), host_fp::fmax(a, b))
FPV_OP2(Min, FPMin<T>(a, b, f))
FPV_OP2(MaxNum, FPMaxNum<T>(a, b, f), host_fp::fmaxnm(a, b))
FPV_OP2(MinNum, FPMinNum<T>(a, b, f), host_fp::fminnm(a, b))
FPV_OP2(RecpS, FPRecipStepFused<T>(a, b, f), host_fp::frecps(a, b))
FPV_OP2(RSqrtS, FPRSqrtStepFused<T>(a, b, f))
FPV_OP2(TriSMul, FPTRISMUL<T>(a, b, f))
FPV_OP1(Sqrt, FPSqrt<T>(a, f), host_fp::fsqrt(a))
FPV_OP1(RecpE, FPRecipEstimate<T>(a, f), host_fp::frecpe(a))
FPV_OP1(RSqrtE, FPRSqrtEstimate<T>(a, f))
FPV_OP1(RecpX, FPRecpX<T>(a, f))
#undef FPV_OP1
#undef FPV_OP2

// Sign-bit operations: no FPSCR, no flags. FABS on the host is an integer AND, FNEG is fneg.
struct Abs {
    static constexpr bool flags = false;
    template <class T> static T lib(FPSCR&, T a) { return FPAbs<T>(a); }
    template <class T> static T host(T a) { return a & ~(T(1) << (sizeof(T) * 8 - 1)); }
};
struct Neg {
    static constexpr bool flags = false;
    template <class T> static T lib(FPSCR&, T a) { return FPNeg<T>(a); }
    FPV_HOST(template <class T> static T host(T a) { return host_fp::fneg(a); })
};
struct Expa {
    static constexpr bool flags = false;
    template <class T> static T lib(FPSCR&, T a) { return FPEXPA<T>(a); }
};
// FTSSEL: +1.0 or op1 by bit 0 of op2, then the sign flipped by bit 1 of op2.
struct TriSSel {
    static constexpr bool flags = false;
    template <class T> static T lib(FPSCR&, T a, T b) {
        constexpr int W = sizeof(T) * 8;
        constexpr T one = W == 16 ? T(0x3C00) : W == 32 ? T(0x3F800000) : T(0x3FF0000000000000ull);
        T r = (b & 1) ? one : a;
        return r ^ (T((b >> 1) & 1) << (W - 1));
    }
};

// FSCALE: the second operand is a signed integer of the element's width.
struct Scale {
    static constexpr bool flags = true;
    template <class T> static T lib(FPSCR& f, T a, T b) {
        if constexpr (sizeof(T) == 2) return FPScale16(a, short(b), f);
        else if constexpr (sizeof(T) == 4) return FPScale32(a, int(b), f);
        else return FPScale64(a, long(b), f);
    }
};

// Fused multiply-add: addend + n * m with the addend and n negated first where NA, NN say.
template <bool NA, bool NN>
struct Fma {
    static constexpr bool flags = true;
    template <class T> static T lib(FPSCR& f, T a, T n, T m) {
        return FPMulAdd<T>(NA ? FPNeg<T>(a) : a, NN ? FPNeg<T>(n) : n, m, f);
    }
    FPV_HOST(template <class T> static T host(T a, T n, T m) {
        return host_fp::fmadd(NA ? host_fp::fneg(a) : a, NN ? host_fp::fneg(n) : n, m);
    })
};
using FmlaOp = Fma<false, false>;
using FmlsOp = Fma<false, true>;
using FnmlaOp = Fma<true, true>;
using FnmlsOp = Fma<true, false>;

// Compares into a predicate bit. ABS compares the magnitudes (FACGE, FACGT).
enum cmp_kind { CMP_EQ, CMP_NE, CMP_GE, CMP_GT, CMP_UN };
template <cmp_kind K, bool ABS = false>
struct Cmp {
    static constexpr bool flags = true;
    template <class T> static bool lib(FPSCR& f, T a, T b) {
        if constexpr (ABS) { a = FPAbs<T>(a); b = FPAbs<T>(b); }
        if constexpr (K == CMP_EQ) return FPCompareEQ<T>(a, b, f);
        else if constexpr (K == CMP_NE) return !FPCompareEQ<T>(a, b, f);
        else if constexpr (K == CMP_GE) return FPCompareGE<T>(a, b, f);
        else if constexpr (K == CMP_GT) return FPCompareGT<T>(a, b, f);
        else return FPCompareUN<T>(a, b, f);
    }
    FPV_HOST(template <class T> static bool host(T a, T b) {
        uint64_t nz = host_fp::fcmp_flags<T, K == CMP_GE || K == CMP_GT>(a, b);
        if constexpr (K == CMP_EQ) return host_fp::nz_eq(nz);
        else if constexpr (K == CMP_NE) return !host_fp::nz_eq(nz);
        else if constexpr (K == CMP_GE) return host_fp::nz_ge(nz);
        else if constexpr (K == CMP_GT) return host_fp::nz_gt(nz);
        else return host_fp::nz_un(nz);
    })
};

// Rounding to an integral value. RM < 0 takes RMode of the working FPSCR.
template <int RM, bool EXACT>
struct RoundInt {
    static constexpr bool flags = true;
    template <class T> static T lib(FPSCR& f, T a) {
        FPRounding r = RM < 0 ? FPRoundingMode(f) : FPRounding(RM);
        return FPRoundInt<T>(a, r, EXACT, f);
    }
    FPV_HOST(template <class T> static T host(T a) {
        static_assert(RM == 4, "only FRINTA runs on the host");
        return host_fp::frinta(a);
    })
};

// FCVT between widths, S to D. AHP and FZ16 are cleared in the working word; rounding is RMode.
// RM < 0 rounds by RMode.
template <class S, class D, int RM = -1>
struct Convert {
    static constexpr bool flags = true;
    static D lib(FPSCR& f, S a) {
        f &= ~(FPSCR_AHP | FPSCR_FZ16);
        return FPConvert<S, D>(a, RM < 0 ? FPRoundingMode(f) : FPRounding(RM), f);
    }
    FPV_HOST(static D host(S a) {
        if constexpr (sizeof(S) == 4) return host_fp::fcvt_s2d(a);
        else return host_fp::fcvt_d2s(a);
    })
};

// SCVTF, UCVTF: I the integer source type (signed or unsigned), D the result pattern type.
template <class I, class D>
struct FromInt {
    static constexpr bool flags = true;
    static constexpr bool U = I(-1) > I(0);
    static D lib(FPSCR& f, I a) {
        uint64_t v = U ? uint64_t(a) : uint64_t(int64_t(a));
        return fplibFixedToFP<D>(v, 0, U, FPRoundingMode(f), f);
    }
    FPV_HOST(static D host(I a) { return host_fp::int_to_fp<D, U>(a); })
};

// FCVTZS, FCVTZU: S the source pattern type, I the integer result type (signed or unsigned).
template <class S, class I>
struct ToInt {
    static constexpr bool flags = true;
    static constexpr bool U = I(-1) > I(0);
    typedef std::make_unsigned_t<I> UI;
    static I lib(FPSCR& f, S a) { return I(fplibFPToFixed<S, UI>(a, 0, U, FPRounding_ZERO, f)); }
    FPV_HOST(static I host(S a) { return host_fp::fp_to_int<I, U>(a); })
};

// ---- x86-64 vector forms (host_fp_x86.h) ----
// x86<OP>::xrun computes a chunk of lanes; kind says whether it gives values or a compare mask,
// fused whether it needs the FMA extension.
template <class OP> struct x86 { static constexpr bool has = false; };

#if defined(__x86_64__)
#define FPV_X86(Name, KIND, FUSED, PARAMS, ...)                         \
    template <> struct x86<Name> {                                      \
        static constexpr bool has = true, fused = FUSED;                \
        static constexpr x86_fp::xkind kind = x86_fp::KIND;                   \
        template <class T, class V = x86_fp::fv_t<T>> static auto xrun PARAMS { return __VA_ARGS__; } \
    };
FPV_X86(Add, X_VALUE, false, (V a, V b), a + b)
FPV_X86(Sub, X_VALUE, false, (V a, V b), a - b)
FPV_X86(SubR, X_VALUE, false, (V a, V b), b - a)
FPV_X86(Mul, X_VALUE, false, (V a, V b), a * b)
FPV_X86(Div, X_VALUE, false, (V a, V b), a / b)
FPV_X86(DivR, X_VALUE, false, (V a, V b), b / a)
FPV_X86(Sqrt, X_VALUE, false, (V a), x86_fp::vsqrt<T>(a))
// Without NaNs FMAX and FMAXNM agree, and so do FMIN and FMINNM.
FPV_X86(Max, X_VALUE, false, (V a, V b), x86_fp::vmaxmin<T, true>(a, b))
FPV_X86(MaxNum, X_VALUE, false, (V a, V b), x86_fp::vmaxmin<T, true>(a, b))
FPV_X86(MinNum, X_VALUE, false, (V a, V b), x86_fp::vmaxmin<T, false>(a, b))
FPV_X86(FmlaOp, X_VALUE, true, (V a, V n, V m), x86_fp::vfma<T>(a, n, m))
FPV_X86(FmlsOp, X_VALUE, true, (V a, V n, V m), x86_fp::vfma<T>(a, -n, m))
FPV_X86(FnmlaOp, X_VALUE, true, (V a, V n, V m), x86_fp::vfma<T>(-a, -n, m))
FPV_X86(FnmlsOp, X_VALUE, true, (V a, V n, V m), x86_fp::vfma<T>(-a, n, m))
// Compares keep the AArch64 NaN rules: == and != are quiet, >= and > signal on any NaN.
FPV_X86(Cmp<CMP_EQ>, X_COMPARE, false, (V a, V b), a == b)
FPV_X86(Cmp<CMP_NE>, X_COMPARE, false, (V a, V b), a != b)
FPV_X86(Cmp<CMP_GE>, X_COMPARE, false, (V a, V b), a >= b)
FPV_X86(Cmp<CMP_GT>, X_COMPARE, false, (V a, V b), a > b)
FPV_X86(Cmp<CMP_UN>, X_COMPARE, false, (V a, V b), (a != a) | (b != b))
// SCVTF and FCVTZS between 32-bit integers and single precision.
using ScvtfS = FromInt<int32_t, uint32_t>;
using FcvtzsS = ToInt<uint32_t, int32_t>;
FPV_X86(ScvtfS, X_VALUE, false, (V a), V(_mm_cvtepi32_ps(__m128i(a))))
FPV_X86(FcvtzsS, X_TO_INT, false, (V a), V(_mm_cvttps_epi32(__m128(a))))
// FCVT from single to double: the single in the low half of each double container.
using FcvtS2D = Convert<uint32_t, uint64_t>;
FPV_X86(FcvtS2D, X_VALUE, false, (V a), V(_mm_cvtps_pd(_mm_shuffle_ps(__m128(a), __m128(a), 0x88))))
#undef FPV_X86
#endif

}  // namespace fp_elements

// The library against the build host's own IEEE arithmetic, on any host: single and double
// precision operations in the four rounding modes, half precision through exact double
// arithmetic and one rounding. NaN operands and NaN results are left out (NaN propagation is not
// IEEE-defined), and so are FZ and the underflow flag (hosts differ in tininess detection).
// Compiled with -frounding-math, so the host operations happen at run time in the mode set.
#include <gtest/gtest.h>

#include <cfenv>
#include <cmath>
#include <cstring>

#include "sve/fp/lib/fplib.h"
#include "tests/fplib/fp_operands.h"

namespace {

using namespace fptest;

const int kHostModes[4] = {FE_TONEAREST, FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO};

template <class F, class U>
F as_fp(U u) {
    F f;
    std::memcpy(&f, &u, sizeof f);
    return f;
}
template <class U, class F>
U as_bits(F f) {
    U u;
    std::memcpy(&u, &f, sizeof u);
    return u;
}

// The library's flags that every IEEE host raises the same way.
uint32_t host_flags() {
    uint32_t f = 0;
    if (std::fetestexcept(FE_INVALID)) f |= FPSCR_IOC;
    if (std::fetestexcept(FE_DIVBYZERO)) f |= FPSCR_DZC;
    if (std::fetestexcept(FE_OVERFLOW)) f |= FPSCR_OFC;
    if (std::fetestexcept(FE_INEXACT)) f |= FPSCR_IXC;
    return f;
}
constexpr uint32_t kCompared = FPSCR_IOC | FPSCR_DZC | FPSCR_OFC | FPSCR_IXC;

enum Op { ADD, SUB, MUL, DIV, SQRT, FMA };
const char* const kOpNames[] = {"add", "sub", "mul", "div", "sqrt", "fma"};

template <class F>
F host_op(Op op, F a, F b, F c) {
    switch (op) {
    case ADD: return a + b;
    case SUB: return a - b;
    case MUL: return a * b;
    case DIV: return a / b;
    case SQRT: return std::sqrt(a);
    default: return std::fma(a, b, c);
    }
}

template <class T>
T lib_op(Op op, T a, T b, T c, FPSCR& s) {
    switch (op) {
    case ADD: return FPAdd<T>(a, b, s);
    case SUB: return FPSub<T>(a, b, s);
    case MUL: return FPMul<T>(a, b, s);
    case DIV: return FPDiv<T>(a, b, s);
    case SQRT: return FPSqrt<T>(a, s);
    default: return FPMulAdd<T>(c, a, b, s);
    }
}

// Operands without NaNs and, under the generator's bias, plenty of specials and denormals.
template <class T>
T draw_number(Rng& r) {
    for (;;) {
        T x = T(gen_fp(r, sizeof(T) * 8));
        const Fmt& f = fmt_of(sizeof(T) * 8);
        if (((x >> f.m) & uint64_t(f.emax())) != uint64_t(f.emax()) || !(x & f.frac_mask()))
            return x;
    }
}

template <class T, class F>
void check_against_host(uint64_t seed) {
    Rng r{seed};
    int failures = 0;
    for (int n = 0; n < 40000 && failures < 10; ++n) {
        T a = draw_number<T>(r), b = T(gen_related(r, sizeof(T) * 8, a)), c = draw_number<T>(r);
        if (std::isnan(as_fp<F>(b))) b = draw_number<T>(r);
        const int m = int(r.below(4));
        const Op op = Op(r.below(6));
        volatile F va = as_fp<F>(a), vb = as_fp<F>(b), vc = as_fp<F>(c);
        std::fesetround(kHostModes[m]);
        std::feclearexcept(FE_ALL_EXCEPT);
        volatile F vh = host_op<F>(op, va, vb, vc);
        uint32_t hflags = host_flags();
        F h = vh;
        std::fesetround(FE_TONEAREST);
        if (std::isnan(h)) continue;
        FPSCR s = FPSCR(m) << 22;
        T l = lib_op<T>(op, a, b, c, s);
        if (l != as_bits<T>(h) || (s & kCompared) != hflags) {
            ++failures;
            ADD_FAILURE() << kOpNames[op] << " mode " << m << " a=" << std::hex << uint64_t(a)
                          << " b=" << uint64_t(b) << " c=" << uint64_t(c) << ": host "
                          << uint64_t(as_bits<T>(h)) << "/" << hflags << " lib " << uint64_t(l)
                          << "/" << (s & kCompared);
        }
    }
}

TEST(FplibHost, SingleAgainstHost) { check_against_host<unsigned int, float>(11); }
TEST(FplibHost, DoubleAgainstHost) { check_against_host<unsigned long, double>(12); }

// Half precision: the exact (or, for division and square root, 53-bit) double result rounded
// once more to half is the correctly rounded half result, since 53 >= 2 * 11 + 2.
TEST(FplibHost, HalfThroughDouble) {
    Rng r{13};
    int failures = 0;
    for (int n = 0; n < 40000 && failures < 10; ++n) {
        unsigned short a = draw_number<unsigned short>(r), b = draw_number<unsigned short>(r);
        const int m = int(r.below(4));
        const Op op = Op(r.below(5));
        FPSCR widen = 0;
        double da = as_fp<double>(FPConvert<unsigned short, unsigned long>(a, FPRounding_ZERO, widen));
        double db = as_fp<double>(FPConvert<unsigned short, unsigned long>(b, FPRounding_ZERO, widen));
        volatile double va = da, vb = db;
        std::fesetround(kHostModes[m]);
        volatile double vh = host_op<double>(op, va, vb, 0);
        std::fesetround(FE_TONEAREST);
        double h = vh;
        if (std::isnan(h)) continue;
        FPSCR s1 = FPSCR(m) << 22, s2 = s1;
        unsigned short want = FPConvert<unsigned long, unsigned short>(as_bits<unsigned long>(h),
                                                                       FPRounding(m), s1);
        unsigned short got = lib_op<unsigned short>(op, a, b, 0, s2);
        // Inexactness of the double step is not seen by the narrowing; the value is.
        if (got != want) {
            ++failures;
            ADD_FAILURE() << kOpNames[op] << " mode " << m << std::hex << " a=" << a << " b=" << b
                          << ": want " << want << " got " << got;
        }
    }
}

// Conversions between single and double and from 64-bit integers, in the four modes.
TEST(FplibHost, ConversionsAgainstHost) {
    Rng r{14};
    int failures = 0;
    for (int n = 0; n < 40000 && failures < 10; ++n) {
        const int m = int(r.below(4));
        const unsigned long d = draw_number<unsigned long>(r);
        const unsigned long i = gen_int(r, 64);
        volatile double vd = as_fp<double>(d);
        volatile int64_t vi = int64_t(i);
        volatile uint64_t vu = i;
        std::fesetround(kHostModes[m]);
        std::feclearexcept(FE_ALL_EXCEPT);
        volatile float narrowed = float(vd);
        uint32_t nflags = host_flags();
        volatile float from_signed = float(vi);
        volatile double from_unsigned = double(vu);
        std::fesetround(FE_TONEAREST);
        FPSCR s = FPSCR(m) << 22, t = s;
        unsigned int got = FPConvert<unsigned long, unsigned int>(d, FPRounding(m), s);
        EXPECT_EQ(got, as_bits<unsigned int>(float(narrowed))) << std::hex << d << " mode " << m;
        EXPECT_EQ(s & kCompared, nflags) << std::hex << d << " mode " << m;
        EXPECT_EQ(fplibFixedToFP<unsigned int>(i, 0, false, FPRounding(m), t),
                  as_bits<unsigned int>(float(from_signed))) << std::hex << i << " mode " << m;
        EXPECT_EQ(fplibFixedToFP<unsigned long>(i, 0, true, FPRounding(m), t),
                  as_bits<unsigned long>(double(from_unsigned))) << std::hex << i << " mode " << m;
        if (::testing::Test::HasFailure()) ++failures;
    }
}

}  // namespace

// Properties every operation with a floating-point result keeps, over random operands and control
// words (in the sanitizer build this also walks every shift and table index): the control bits
// come back unchanged, flags stay in the cumulative bits, and with DN set a NaN result is the
// default NaN.
template <class T>
void check_properties(uint64_t seed) {
    typedef T (*Fn)(T, T, T, FPSCR&);
    static const Fn fns[] = {
        [](T a, T b, T, FPSCR& s) { return FPAdd<T>(a, b, s); },
        [](T a, T b, T, FPSCR& s) { return FPSub<T>(a, b, s); },
        [](T a, T b, T, FPSCR& s) { return FPMul<T>(a, b, s); },
        [](T a, T b, T, FPSCR& s) { return FPMulX<T>(a, b, s); },
        [](T a, T b, T, FPSCR& s) { return FPDiv<T>(a, b, s); },
        [](T a, T, T, FPSCR& s) { return FPSqrt<T>(a, s); },
        [](T a, T b, T c, FPSCR& s) { return FPMulAdd<T>(c, a, b, s); },
        [](T a, T b, T, FPSCR& s) { return FPMax<T>(a, b, s); },
        [](T a, T b, T, FPSCR& s) { return FPMinNum<T>(a, b, s); },
        [](T a, T, T, FPSCR& s) { return FPRoundInt<T>(a, FPRoundingMode(s), true, s); },
        [](T a, T, T, FPSCR& s) { return FPRecipEstimate<T>(a, s); },
        [](T a, T, T, FPSCR& s) { return FPRSqrtEstimate<T>(a, s); },
        [](T a, T, T, FPSCR& s) { return FPRecpX<T>(a, s); },
        [](T a, T b, T, FPSCR& s) { return FPRecipStepFused<T>(a, b, s); },
        [](T a, T b, T, FPSCR& s) { return FPRSqrtStepFused<T>(a, b, s); },
        [](T a, T b, T c, FPSCR& s) { return FPTRIMADD<T>(c & 7, a, b, s); },
        [](T a, T b, T, FPSCR& s) { return FPTRISMUL<T>(a, b, s); },
        [](T a, T, T, FPSCR& s) {
            T r = T(fplibFixedToFP<T>(a, 0, false, FPRoundingMode(s), s));
            fplibFPToFixed<T, unsigned long>(a, 0, true, FPRounding_TIEAWAY, s);
            return r;
        },
        [](T a, T b, T, FPSCR& s) {
            if constexpr (sizeof(T) == 2) return FPScale16(a, short(b), s);
            else if constexpr (sizeof(T) == 4) return FPScale32(a, int(b), s);
            else return FPScale64(a, long(b), s);
        },
    };
    Rng r{seed};
    const T dnan = T(T(fmt_of(sizeof(T) * 8).make(0, fmt_of(sizeof(T) * 8).emax(), 0)) |
                     (T(1) << (fmt_of(sizeof(T) * 8).m - 1)));
    for (int n = 0; n < 20000; ++n) {
        const size_t f = r.below(sizeof(fns) / sizeof(fns[0]));
        const T a = T(gen_fp(r, sizeof(T) * 8)), b = T(gen_related(r, sizeof(T) * 8, a));
        const T c = T(gen_fp(r, sizeof(T) * 8));
        const FPSCR control = gen_fpcr(r) | (r.below(2) ? FPSCR_DN : 0);
        FPSCR s = control;
        const T x = fns[f](a, b, c, s);
        ASSERT_EQ(s & ~0x9Fu, control) << "function " << f;
        const Fmt& fm = fmt_of(sizeof(T) * 8);
        const bool nan = ((x >> fm.m) & uint64_t(fm.emax())) == uint64_t(fm.emax()) && (x & fm.frac_mask());
        if ((control & FPSCR_DN) && nan) {
            ASSERT_EQ(x, dnan) << "function " << f << std::hex << " a=" << a << " b=" << b;
        }
    }
}

TEST(FplibProperties, HalfSingleDouble) {
    check_properties<unsigned short>(21);
    check_properties<unsigned int>(22);
    check_properties<unsigned long>(23);
}

// Edge cases of the floating-point library, one table row each: the control word going in, the
// call, the expected bits and the exact set of cumulative flags coming out. Expected values are
// worked out by hand from IEEE 754 and the architecture's rules (comments give the reasoning
// where it is not obvious).
#include <gtest/gtest.h>

#include <cstdint>

#include "sve/fp/lib/fplib.h"

namespace {

using H = unsigned short;
using S = unsigned int;
using D = unsigned long;

constexpr FPSCR RN = 0, RP = 1u << 22, RM = 2u << 22, RZ = 3u << 22;
constexpr FPSCR FZ = FPSCR_FZ, DN = FPSCR_DN, AHP = FPSCR_AHP, FZ16 = FPSCR_FZ16;
constexpr uint32_t IOC = 1, DZC = 2, OFC = 4, UFC = 8, IXC = 16, IDC = 128;

// Single precision constants.
constexpr S ONE = 0x3F800000, TWO = 0x40000000, HALF = 0x3F000000, INF = 0x7F800000;
constexpr S NINF = 0xFF800000, QNAN = 0x7FC00001, SNAN = 0x7F800002, DNAN = 0x7FC00000;
constexpr S DENORM = 0x00000001, NDENORM = 0x80000001, MINNORM = 0x00800000;
constexpr S MAXNORM = 0x7F7FFFFF, NEGZERO = 0x80000000;

struct Row {
    const char* what;
    FPSCR fpscr;
    uint64_t (*call)(FPSCR&);
    uint64_t expect;
    uint32_t flags;
};
#define CALL(EXPR) [](FPSCR& s) -> uint64_t { return uint64_t(EXPR); }

void run(const Row* rows, size_t n) {
    for (size_t i = 0; i < n; ++i) {
        const Row& r = rows[i];
        FPSCR s = r.fpscr;
        uint64_t got = r.call(s);
        EXPECT_EQ(got, r.expect) << r.what;
        EXPECT_EQ(s & 0x9F, r.flags) << r.what;
        EXPECT_EQ(s & ~0x9Fu, r.fpscr) << r.what << ": control bits changed";
    }
}
#define RUN(rows) run(rows, sizeof(rows) / sizeof(rows[0]))

TEST(FplibRounding, FlushingUnderflowOverflow) {
    static const Row rows[] = {
        {"half denormal kept under FZ", FZ, CALL(FPAdd<H>(0x0001, 0x0000, s)), 0x0001, 0},
        {"half denormal read as zero under FZ16, no IDC", FZ16, CALL(FPAdd<H>(0x0001, 0x8000, s)), 0x0000, 0},
        {"single denormal raises IDC though a NaN decides", FZ, CALL(FPAdd<S>(DENORM, QNAN, s)), QNAN, IDC},
        {"exact subnormal result: no flag", RN, CALL(FPMul<S>(MINNORM, HALF, s)), 0x00400000, 0},
        // 0x00FFFFFF * 0.5 is a tie between 0x007FFFFF and 0x00800000: even wins; tiny before
        // rounding, so UFC although the result is normal.
        {"tiny result rounding up to the smallest normal", RN, CALL(FPMul<S>(0x00FFFFFF, HALF, s)), MINNORM, UFC | IXC},
        {"FZ result below normal: zero with UFC only", FZ, CALL(FPMul<S>(MINNORM, HALF, s)), 0, UFC},
        {"FZ negative result below normal", FZ, CALL(FPMul<S>(0x80800000, HALF, s)), NEGZERO, UFC},
        {"FZ16 half result below normal", FZ16, CALL(FPMul<H>(0x0400, 0x3800, s)), 0x0000, UFC},
        {"overflow to nearest", RN, CALL(FPMul<S>(MAXNORM, TWO, s)), INF, OFC | IXC},
        {"overflow towards zero", RZ, CALL(FPMul<S>(MAXNORM, TWO, s)), MAXNORM, OFC | IXC},
        {"negative overflow towards plus infinity", RP, CALL(FPMul<S>(0xFF7FFFFF, TWO, s)), 0xFF7FFFFF, OFC | IXC},
        {"negative overflow towards minus infinity", RM, CALL(FPMul<S>(0xFF7FFFFF, TWO, s)), NINF, OFC | IXC},
        {"half overflow", RN, CALL(FPAdd<H>(0x7BFF, 0x7BFF, s)), 0x7C00, OFC | IXC},
        {"double overflow towards zero", RZ, CALL(FPMul<D>(0x7FEFFFFFFFFFFFFF, 0x4000000000000000, s)), 0x7FEFFFFFFFFFFFFF, OFC | IXC},
        // Round to odd: a value just above 1.0 keeps the last bit set.
        {"round to odd sets the last bit", RN, CALL(fp32_round_(0, 127, 1, FPRounding_ODD, 0, &s)), ONE | 1, IXC},
        {"AHP: exponent 31 packs as a number", RN, CALL(fp16_round_(0, 31, 0, 0, 16, &s)), 0x7C00, 0},
        {"AHP: exponent 32 saturates with IOC", RN, CALL(fp16_round_(1, 32, 0, 0, 16, &s)), 0xFFFF, IOC},
    };
    RUN(rows);
}

TEST(FplibNaNs, SelectionAndCanonicalisation) {
    static const Row rows[] = {
        {"signalling second beats quiet first", RN, CALL(FPAdd<S>(QNAN, SNAN, s)), 0x7FC00002, IOC},
        {"DN with a signalling NaN", DN, CALL(FPAdd<S>(QNAN, SNAN, s)), DNAN, IOC},
        {"DN with quiet NaNs only", DN, CALL(FPMul<S>(QNAN, 0x7FC00005, s)), DNAN, 0},
        {"first quiet NaN wins over second quiet", RN, CALL(FPDiv<S>(0xFFC00003, QNAN, s)), 0xFFC00003, 0},
        {"three operands: signalling c beats quiet a", RN, CALL(FPMulAdd<S>(QNAN, ONE, SNAN, s)), 0x7FC00002, IOC},
        {"half payload kept", RN, CALL(FPAdd<H>(0x7C01, 0x3C00, s)), 0x7E01, IOC},
        {"double payload kept", RN, CALL(FPSub<D>(0x3FF0000000000000, 0xFFF0000000000123, s)), 0xFFF8000000000123, IOC},
        {"process: denormal kept", RN, CALL(FPProcess32(DENORM, s)), DENORM, 0},
        {"process: denormal flushed with IDC", FZ, CALL(FPProcess32(NDENORM, s)), NEGZERO, IDC},
        {"process: half flush is silent", FZ16, CALL(FPProcess16(0x83FF, s)), 0x8000, 0},
        {"process: signalling NaN quietened", RN, CALL(FPProcess32(SNAN, s)), 0x7FC00002, IOC},
        {"process: double number unchanged", RZ, CALL(FPProcess64(0x3FF0000000000001, s)), 0x3FF0000000000001, 0},
    };
    RUN(rows);
    EXPECT_EQ(FPNeg<S>(SNAN), 0xFF800002u);
    EXPECT_EQ(FPAbs<H>(0xFC01), 0x7C01);
    EXPECT_EQ(FPNeg<D>(0), 0x8000000000000000ul);
}

// The per-element protocol of the vector operations: the call sees only the control fields of
// fpcr, and its flags accumulate into fpsr next to the bits already there.
TEST(FplibElement, FlagsAccumulateUnderTheControlMask) {
    uint32_t fpsr = 0x80000000u | IXC;  // N and an earlier inexact
    const uint32_t fpcr = FZ | FPSCR_IOC | (1u << 16);  // a stray flag and a Len bit: ignored
    S r = fp_element(fpsr, fpcr, [](FPSCR& w) {
        EXPECT_EQ(w, FZ);
        return FPAdd<S>(DENORM, ONE, w);
    });
    EXPECT_EQ(r, ONE);
    EXPECT_EQ(fpsr, 0x80000000u | IXC | IDC);
    r = fp_element(fpsr, fpcr, [](FPSCR& w) { return FPDiv<S>(ONE, 0, w); });
    EXPECT_EQ(r, INF);
    EXPECT_EQ(fpsr, 0x80000000u | IXC | IDC | DZC);
}

TEST(FplibArith, AddSubMulDiv) {
    static const Row rows[] = {
        {"x + -x to nearest", RN, CALL(FPAdd<S>(ONE, 0xBF800000, s)), 0, 0},
        {"x + -x towards minus infinity", RM, CALL(FPAdd<S>(ONE, 0xBF800000, s)), NEGZERO, 0},
        {"x - x towards plus infinity", RP, CALL(FPSub<S>(ONE, ONE, s)), 0, 0},
        {"+0 + -0 towards minus infinity", RM, CALL(FPAdd<S>(0, NEGZERO, s)), NEGZERO, 0},
        {"+0 + -0 to nearest", RN, CALL(FPAdd<S>(0, NEGZERO, s)), 0, 0},
        {"-0 + -0", RN, CALL(FPAdd<S>(NEGZERO, NEGZERO, s)), NEGZERO, 0},
        {"flushed denormal + normal: exact", FZ, CALL(FPAdd<S>(DENORM, ONE, s)), ONE, IDC},
        {"denormal + normal inexact", RN, CALL(FPAdd<S>(DENORM, ONE, s)), ONE, IXC},
        {"denormal + normal towards plus infinity", RP, CALL(FPAdd<S>(DENORM, ONE, s)), ONE + 1, IXC},
        {"inf - inf", RN, CALL(FPSub<S>(INF, INF, s)), DNAN, IOC},
        {"inf + -inf, half", RN, CALL(FPAdd<H>(0x7C00, 0xFC00, s)), 0x7E00, IOC},
        {"sub keeps a NaN second operand's sign", RN, CALL(FPSub<S>(ONE, 0xFFC00001, s)), 0xFFC00001, 0},
        {"sub of infinity flips it", RN, CALL(FPSub<S>(ONE, INF, s)), NINF, 0},
        {"half 1 + 2^-11 ties to even", RN, CALL(FPAdd<H>(0x3C00, 0x1000, s)), 0x3C00, IXC},
        {"half 1 + 3*2^-11 ties to even upwards", RN, CALL(FPAdd<H>(0x3C01, 0x1000, s)), 0x3C02, IXC},
        {"double 1 + 2^-53 ties to even", RN, CALL(FPAdd<D>(0x3FF0000000000000, 0x3CA0000000000000, s)), 0x3FF0000000000000, IXC},
        {"mulx of zero and infinity", RN, CALL(FPMulX<S>(0, INF, s)), TWO, 0},
        {"mulx of -0 and infinity", RN, CALL(FPMulX<S>(NEGZERO, INF, s)), 0xC0000000, 0},
        {"mulx half", RN, CALL(FPMulX<H>(0xFC00, 0x0000, s)), 0xC000, 0},
        {"mul of zero and infinity", RN, CALL(FPMul<S>(0, INF, s)), DNAN, IOC},
        {"mul of flushed denormal and infinity", FZ, CALL(FPMul<S>(DENORM, INF, s)), DNAN, IOC | IDC},
        {"mul sign of zero", RN, CALL(FPMul<D>(0x8000000000000000, 0x4000000000000000, s)), 0x8000000000000000, 0},
        {"1 / 0", RN, CALL(FPDiv<S>(ONE, 0, s)), INF, DZC},
        {"-1 / 0", RN, CALL(FPDiv<S>(0xBF800000, 0, s)), NINF, DZC},
        {"inf / 0", RN, CALL(FPDiv<S>(INF, 0, s)), INF, 0},
        {"0 / 0", RN, CALL(FPDiv<S>(0, 0, s)), DNAN, IOC},
        {"inf / inf", RN, CALL(FPDiv<H>(0x7C00, 0xFC00, s)), 0x7E00, IOC},
        {"1 / inf", RN, CALL(FPDiv<S>(ONE, NINF, s)), NEGZERO, 0},
        {"double 1/3", RN, CALL(FPDiv<D>(0x3FF0000000000000, 0x4008000000000000, s)), 0x3FD5555555555555, IXC},
        {"double 2/3", RN, CALL(FPDiv<D>(0x4000000000000000, 0x4008000000000000, s)), 0x3FE5555555555555, IXC},
        {"double 1/3 towards plus infinity", RP, CALL(FPDiv<D>(0x3FF0000000000000, 0x4008000000000000, s)), 0x3FD5555555555556, IXC},
        {"double exact quotient", RN, CALL(FPDiv<D>(0x4022000000000000, 0x4008000000000000, s)), 0x4008000000000000, 0},
        {"single 1/3", RN, CALL(FPDiv<S>(ONE, 0x40400000, s)), 0x3EAAAAAB, IXC},
        {"half 1/3", RN, CALL(FPDiv<H>(0x3C00, 0x4200, s)), 0x3555, IXC},
        {"single divide by denormal", RN, CALL(FPDiv<S>(ONE, 0x00400000, s)), 0x7F000000, 0},
    };
    RUN(rows);
}

TEST(FplibArith, SqrtAndFused) {
    static const Row rows[] = {
        {"sqrt 4", RN, CALL(FPSqrt<S>(0x40800000, s)), TWO, 0},
        {"sqrt 2 single", RN, CALL(FPSqrt<S>(TWO, s)), 0x3FB504F3, IXC},
        {"sqrt 2 double", RN, CALL(FPSqrt<D>(0x4000000000000000, s)), 0x3FF6A09E667F3BCD, IXC},
        {"sqrt 2 half", RN, CALL(FPSqrt<H>(0x4000, s)), 0x3DA8, IXC},
        {"sqrt 2 single towards plus infinity", RP, CALL(FPSqrt<S>(TWO, s)), 0x3FB504F4, IXC},
        {"sqrt of odd-exponent double square", RN, CALL(FPSqrt<D>(0x4022000000000000, s)), 0x4008000000000000, 0},
        {"sqrt of smallest denormal", RN, CALL(FPSqrt<D>(1, s)), 0x1E60000000000000, 0},
        {"sqrt -0", RN, CALL(FPSqrt<S>(NEGZERO, s)), NEGZERO, 0},
        {"sqrt negative denormal under FZ", FZ, CALL(FPSqrt<S>(NDENORM, s)), NEGZERO, IDC},
        {"sqrt negative denormal", RN, CALL(FPSqrt<S>(NDENORM, s)), DNAN, IOC},
        {"sqrt negative half denormal under FZ16", FZ16, CALL(FPSqrt<H>(0x8001, s)), 0x8000, 0},
        {"sqrt -inf", RN, CALL(FPSqrt<S>(NINF, s)), DNAN, IOC},
        {"sqrt +inf", RN, CALL(FPSqrt<S>(INF, s)), INF, 0},
        {"quiet NaN addend, zero times infinity", RN, CALL(FPMulAdd<S>(QNAN, 0, INF, s)), DNAN, IOC},
        {"signalling NaN addend, zero times infinity", RN, CALL(FPMulAdd<S>(SNAN, INF, 0, s)), 0x7FC00002, IOC},
        {"quiet NaN addend, ordinary product", RN, CALL(FPMulAdd<S>(QNAN, ONE, ONE, s)), QNAN, 0},
        {"inf - inf in a fused add", RN, CALL(FPMulAdd<S>(NINF, INF, ONE, s)), DNAN, IOC},
        {"+0 + -0*5", RN, CALL(FPMulAdd<S>(0, NEGZERO, 0x40A00000, s)), 0, 0},
        {"+0 + -0*5 towards minus infinity", RM, CALL(FPMulAdd<S>(0, NEGZERO, 0x40A00000, s)), NEGZERO, 0},
        {"-0 + -0*5", RN, CALL(FPMulAdd<S>(NEGZERO, NEGZERO, 0x40A00000, s)), NEGZERO, 0},
        {"tiny product below 1.0 to nearest", RN, CALL(FPMulAdd<S>(ONE, 0x0D800000, 0x0D800000, s)), ONE, IXC},
        {"tiny product below 1.0 towards plus infinity", RP, CALL(FPMulAdd<S>(ONE, 0x0D800000, 0x0D800000, s)), ONE + 1, IXC},
        {"negative tiny product towards zero", RZ, CALL(FPMulAdd<S>(ONE, 0x8D800000, 0x0D800000, s)), 0x3F7FFFFF, IXC},
        // 1 + 3*3 with the product exact: 10.
        {"double fused exact", RN, CALL(FPMulAdd<D>(0x3FF0000000000000, 0x4008000000000000, 0x4008000000000000, s)), 0x4024000000000000, 0},
        // (1+2^-52)(1-2^-52) - 1 = -2^-104, exact only when fused.
        {"double fused keeps the low product bits", RN, CALL(FPMulAdd<D>(0xBFF0000000000000, 0x3FF0000000000001, 0x3FEFFFFFFFFFFFFE, s)), 0xB970000000000000, 0},
        {"half fused cancellation", RN, CALL(FPMulAdd<H>(0xBC00, 0x3C01, 0x3BFE, s)), 0x8010, 0},
        {"scaled fused: (2 + 2) / 2 through fp32_muladd", RN, CALL(fp32_muladd(TWO, ONE, TWO, -1, 0, &s)), TWO, 0},
    };
    RUN(rows);
}

TEST(FplibCompare, ComparesMinMax) {
    static const Row rows[] = {
        {"EQ +0 -0", RN, CALL(FPCompareEQ<S>(0, NEGZERO, s)), 1, 0},
        {"GE -0 +0", RN, CALL(FPCompareGE<S>(NEGZERO, 0, s)), 1, 0},
        {"GE +0 -0", RN, CALL(FPCompareGE<S>(0, NEGZERO, s)), 1, 0},
        {"GT -0 +0", RN, CALL(FPCompareGT<S>(NEGZERO, 0, s)), 0, 0},
        {"GT +0 -0", RN, CALL(FPCompareGT<S>(0, NEGZERO, s)), 0, 0},
        {"GE with a quiet NaN signals", RN, CALL(FPCompareGE<S>(QNAN, ONE, s)), 0, IOC},
        {"EQ with a quiet NaN is quiet", RN, CALL(FPCompareEQ<S>(ONE, QNAN, s)), 0, 0},
        {"EQ with a signalling NaN", RN, CALL(FPCompareEQ<S>(ONE, SNAN, s)), 0, IOC},
        {"UN with a quiet NaN", RN, CALL(FPCompareUN<S>(ONE, QNAN, s)), 1, 0},
        {"UN with a signalling NaN", RN, CALL(FPCompareUN<D>(0x7FF0000000000001, 0, s)), 1, IOC},
        {"UN of numbers", RN, CALL(FPCompareUN<H>(0x3C00, 0xFC00, s)), 0, 0},
        {"GT denormal 0", RN, CALL(FPCompareGT<S>(DENORM, 0, s)), 1, 0},
        {"GT denormal 0 under FZ", FZ, CALL(FPCompareGT<S>(DENORM, 0, s)), 0, IDC},
        {"GT half denormal 0 under FZ16", FZ16, CALL(FPCompareGT<H>(0x0001, 0, s)), 0, 0},
        {"EQ two flushed denormals", FZ, CALL(FPCompareEQ<D>(1, 0x8000000000000002, s)), 1, IDC},
        {"GT negatives by exponent", RN, CALL(FPCompareGT<S>(0xBF800000, 0xC0000000, s)), 1, 0},
        {"GE negatives by mantissa", RN, CALL(FPCompareGE<S>(0xBF800001, 0xBF800000, s)), 0, 0},
        {"GT with second negative", RN, CALL(FPCompareGT<H>(0x0001, 0xFC00, s)), 1, 0},
        {"compare less", RN, CALL(FPCompare<S>(ONE, TWO, false, s)), 8, 0},
        {"compare greater", RN, CALL(FPCompare<D>(0x4000000000000000, 0xBFF0000000000000, false, s)), 2, 0},
        {"compare equal zeros", RN, CALL(FPCompare<S>(NEGZERO, 0, false, s)), 6, 0},
        {"compare unordered quiet", RN, CALL(FPCompare<S>(QNAN, ONE, false, s)), 3, 0},
        {"compare unordered signalling", RN, CALL(FPCompare<S>(QNAN, ONE, true, s)), 3, IOC},
        {"max +0 -0", RN, CALL(FPMax<S>(0, NEGZERO, s)), 0, 0},
        {"max -0 +0", RN, CALL(FPMax<S>(NEGZERO, 0, s)), 0, 0},
        {"min +0 -0", RN, CALL(FPMin<S>(0, NEGZERO, s)), NEGZERO, 0},
        {"min -0 +0", RN, CALL(FPMin<S>(NEGZERO, 0, s)), NEGZERO, 0},
        {"max of negatives", RN, CALL(FPMax<S>(0xC0000000, 0xBF800000, s)), 0xBF800000, 0},
        {"min of negatives", RN, CALL(FPMin<H>(0xC000, 0xBC00, s)), 0xC000, 0},
        {"max denormal +0 under FZ", FZ, CALL(FPMax<S>(DENORM, 0, s)), 0, IDC},
        {"max denormal +0", RN, CALL(FPMax<S>(DENORM, 0, s)), DENORM, 0},
        {"max chooses a flushed denormal as zero", FZ, CALL(FPMax<S>(DENORM, NEGZERO, s)), 0, IDC},
        {"maxnum quiet NaN and 1", RN, CALL(FPMaxNum<S>(QNAN, ONE, s)), ONE, 0},
        {"max quiet NaN and 1", RN, CALL(FPMax<S>(QNAN, ONE, s)), QNAN, 0},
        {"minnum quiet NaN and +inf", RN, CALL(FPMinNum<S>(INF, 0xFFC00000, s)), INF, 0},
        {"maxnum quiet and signalling NaN", RN, CALL(FPMaxNum<S>(QNAN, SNAN, s)), 0x7FC00002, IOC},
        {"maxnum two quiet NaNs: the first", RN, CALL(FPMaxNum<S>(0xFFC00007, QNAN, s)), 0xFFC00007, 0},
        {"minnum number and quiet NaN, flushed", FZ, CALL(FPMinNum<S>(NDENORM, QNAN, s)), NEGZERO, IDC},
    };
    RUN(rows);
}

TEST(FplibConvert, BetweenFormats) {
    static const Row rows[] = {
        {"65520 to half to nearest", RN, CALL((FPConvert<S, H>(0x477FF000, FPRounding_TIEEVEN, s))), 0x7C00, OFC | IXC},
        {"65520 to half towards zero", RN, CALL((FPConvert<S, H>(0x477FF000, FPRounding_ZERO, s))), 0x7BFF, IXC},
        {"65536 to half towards zero", RN, CALL((FPConvert<S, H>(0x47800000, FPRounding_ZERO, s))), 0x7BFF, OFC | IXC},
        {"2^-25 to half", RN, CALL((FPConvert<S, H>(0x33000000, FPRounding_TIEEVEN, s))), 0x0000, UFC | IXC},
        {"2^-24 to half is exact", RN, CALL((FPConvert<S, H>(0x33800000, FPRounding_TIEEVEN, s))), 0x0001, 0},
        {"single denormal to half upwards", RN, CALL((FPConvert<S, H>(DENORM, FPRounding_POSINF, s))), 0x0001, UFC | IXC},
        {"single denormal to half under FZ", FZ, CALL((FPConvert<S, H>(DENORM, FPRounding_POSINF, s))), 0x0000, IDC},
        {"FZ16 does not flush a half result", FZ16, CALL((FPConvert<S, H>(0x33800000, FPRounding_TIEEVEN, s))), 0x0001, 0},
        {"half signalling NaN to single", RN, CALL((FPConvert<H, S>(0x7D00, FPRounding_TIEEVEN, s))), 0x7FE00000, IOC},
        {"half signalling NaN to single, DN", DN, CALL((FPConvert<H, S>(0x7D00, FPRounding_TIEEVEN, s))), DNAN, IOC},
        {"double NaN payload to half", RN, CALL((FPConvert<D, H>(0xFFF8040000000000, FPRounding_TIEEVEN, s))), 0xFE01, 0},
        {"double NaN payload to single", RN, CALL((FPConvert<D, S>(0x7FF0000020000000, FPRounding_TIEEVEN, s))), 0x7FC00001, IOC},
        {"NaN to AHP half", AHP, CALL((FPConvert<S, H>(0xFFC00000, FPRounding_TIEEVEN, s))), 0x8000, IOC},
        {"infinity to AHP half", AHP, CALL((FPConvert<S, H>(INF, FPRounding_TIEEVEN, s))), 0x7FFF, IOC},
        {"131008 to AHP half", AHP, CALL((FPConvert<S, H>(0x47FFE000, FPRounding_TIEEVEN, s))), 0x7FFF, 0},
        {"131072 to AHP half overflows", AHP, CALL((FPConvert<S, H>(0x48000000, FPRounding_TIEEVEN, s))), 0x7FFF, IOC},
        {"AHP half exponent 31 widens", AHP, CALL((FPConvert<H, S>(0x7C00, FPRounding_TIEEVEN, s))), 0x47800000, 0},
        {"AHP half largest widens", AHP, CALL((FPConvert<H, D>(0xFFFF, FPRounding_TIEEVEN, s))), 0xC0FFFC0000000000, 0},
        {"half denormal widens exactly", RN, CALL((FPConvert<H, D>(0x8001, FPRounding_TIEEVEN, s))), 0xBE70000000000000, 0},
        {"half denormal under FZ16 widens to zero", FZ16, CALL((FPConvert<H, S>(0x0001, FPRounding_TIEEVEN, s))), 0, 0},
        {"single denormal under FZ widens to zero", FZ, CALL((FPConvert<S, D>(NDENORM, FPRounding_TIEEVEN, s))), 0x8000000000000000, IDC},
        {"double to single round to odd", RN, CALL((FPConvert<D, S>(0x3FF0000000000001, FPRounding_ODD, s))), ONE | 1, IXC},
        {"double to single under FZ flushes the result", FZ, CALL((FPConvert<D, S>(0x3800000000000000, FPRounding_TIEEVEN, s))), 0, UFC},
    };
    RUN(rows);
}

TEST(FplibConvert, RoundIntAndIntegers) {
    static const Row rows[] = {
        {"-0.3 upwards gives -0", RN, CALL(FPRoundInt<S>(0xBE99999A, FPRounding_POSINF, false, s)), NEGZERO, 0},
        {"2.5 ties away", RN, CALL(FPRoundInt<S>(0x40200000, FPRounding_TIEAWAY, false, s)), 0x40400000, 0},
        {"-2.5 ties away", RN, CALL(FPRoundInt<S>(0xC0200000, FPRounding_TIEAWAY, false, s)), 0xC0400000, 0},
        {"2.5 ties to even, exact raises IXC", RN, CALL(FPRoundInt<S>(0x40200000, FPRounding_TIEEVEN, true, s)), TWO, IXC},
        {"2.5 ties to even, not exact", RN, CALL(FPRoundInt<S>(0x40200000, FPRounding_TIEEVEN, false, s)), TWO, 0},
        {"0.4 exact to zero raises IXC", RN, CALL(FPRoundInt<S>(0x3ECCCCCD, FPRounding_TIEEVEN, true, s)), 0, IXC},
        {"denormal upwards", RN, CALL(FPRoundInt<S>(DENORM, FPRounding_POSINF, false, s)), ONE, 0},
        {"denormal upwards under FZ", FZ, CALL(FPRoundInt<S>(DENORM, FPRounding_POSINF, false, s)), 0, IDC},
        {"-1.5 downwards", RN, CALL(FPRoundInt<H>(0xBE00, FPRounding_NEGINF, false, s)), 0xC000, 0},
        {"1023.5 to even: 1024", RN, CALL(FPRoundInt<H>(0x63FF, FPRounding_TIEEVEN, false, s)), 0x6400, 0},
        {"large double unchanged", RN, CALL(FPRoundInt<D>(0x4330000000000001, FPRounding_ZERO, true, s)), 0x4330000000000001, 0},
        {"2^31 to signed 32 saturates", RN, CALL((fplibFPToFixed<S, S>(0x4F000000, 0, false, FPRounding_ZERO, s))), 0x7FFFFFFF, IOC},
        {"-2^31 to signed 32 exact", RN, CALL((fplibFPToFixed<S, S>(0xCF000000, 0, false, FPRounding_ZERO, s))), 0x80000000, 0},
        {"-0.5 to unsigned", RN, CALL((fplibFPToFixed<S, S>(0xBF000000, 0, true, FPRounding_ZERO, s))), 0, IXC},
        {"-1.0 to unsigned", RN, CALL((fplibFPToFixed<S, S>(0xBF800000, 0, true, FPRounding_ZERO, s))), 0, IOC},
        {"65504 half to signed 16 saturates", RN, CALL((fplibFPToFixed<H, H>(0x7BFF, 0, false, FPRounding_ZERO, s))), 0x7FFF, IOC},
        {"65504 half to signed 32", RN, CALL((fplibFPToFixed<H, S>(0x7BFF, 0, false, FPRounding_ZERO, s))), 65504, 0},
        {"NaN to integer", RN, CALL((fplibFPToFixed<D, D>(0x7FF8000000000000, 0, false, FPRounding_ZERO, s))), 0, IOC},
        {"-inf to signed 64", RN, CALL((fplibFPToFixed<D, D>(0xFFF0000000000000, 0, false, FPRounding_ZERO, s))), 0x8000000000000000, IOC},
        {"+inf to unsigned 32", RN, CALL((fplibFPToFixed<S, S>(INF, 0, true, FPRounding_ZERO, s))), 0xFFFFFFFF, IOC},
        {"2^64 to unsigned 64", RN, CALL((fplibFPToFixed<D, D>(0x43F0000000000000, 0, true, FPRounding_ZERO, s))), ~0ul, IOC},
        {"2.5 ties away to integer", RN, CALL((fplibFPToFixed<D, S>(0xC004000000000000, 0, false, FPRounding_TIEAWAY, s))), 0xFFFFFFFD, IXC},
        {"fixed point: 1.25 with 2 fraction bits", RN, CALL((fplibFPToFixed<S, S>(0x3FA00000, 2, false, FPRounding_ZERO, s))), 5, 0},
        {"2^64-1 to half to nearest", RN, CALL(fplibFixedToFP<H>(~0ul, 0, true, FPRounding_TIEEVEN, s)), 0x7C00, OFC | IXC},
        {"2^64-1 to half towards zero", RN, CALL(fplibFixedToFP<H>(~0ul, 0, true, FPRounding_ZERO, s)), 0x7BFF, OFC | IXC},
        {"65519 to half", RN, CALL(fplibFixedToFP<H>(65519, 0, true, FPRounding_TIEEVEN, s)), 0x7BFF, IXC},
        {"65520 to half", RN, CALL(fplibFixedToFP<H>(65520, 0, false, FPRounding_TIEEVEN, s)), 0x7C00, OFC | IXC},
        {"0 to single downwards is +0", RN, CALL(fplibFixedToFP<S>(0, 0, false, FPRounding_NEGINF, s)), 0, 0},
        {"most negative 64-bit to double", RN, CALL(fplibFixedToFP<D>(0x8000000000000000, 0, false, FPRounding_TIEEVEN, s)), 0xC3E0000000000000, 0},
        {"2^63 unsigned to double", RN, CALL(fplibFixedToFP<D>(0x8000000000000000, 0, true, FPRounding_TIEEVEN, s)), 0x43E0000000000000, 0},
        {"-1 to single", RN, CALL(fplibFixedToFP<S>(~0ul, 0, false, FPRounding_TIEEVEN, s)), 0xBF800000, 0},
        {"2^24+1 to single towards plus infinity", RN, CALL(fplibFixedToFP<S>(0x1000001, 0, false, FPRounding_POSINF, s)), 0x4B800001, IXC},
        {"fixed point: 5 with 2 fraction bits", RN, CALL(fplibFixedToFP<S>(5, 2, false, FPRounding_TIEEVEN, s)), 0x3FA00000, 0},
    };
    RUN(rows);
}

TEST(FplibEstimate, EstimatesAndSteps) {
    static const Row rows[] = {
        {"recpe 1.0", RN, CALL(FPRecipEstimate<S>(ONE, s)), 0x3F7F8000, 0},
        {"recpe 0.5", RN, CALL(FPRecipEstimate<S>(HALF, s)), 0x3FFF8000, 0},
        {"recpe 2^-149 to nearest", RN, CALL(FPRecipEstimate<S>(DENORM, s)), INF, OFC | IXC},
        {"recpe 2^-149 towards zero", RZ, CALL(FPRecipEstimate<S>(DENORM, s)), MAXNORM, OFC | IXC},
        {"recpe -2^-149 upwards", RP, CALL(FPRecipEstimate<S>(NDENORM, s)), 0xFF7FFFFF, OFC | IXC},
        {"recpe exponent 253 under FZ", FZ, CALL(FPRecipEstimate<S>(0x7E800000, s)), 0, UFC},
        // 1/2^126 estimated as 511/512 * 2^-126, a subnormal.
        {"recpe exponent 253", RN, CALL(FPRecipEstimate<S>(0x7E800000, s)), 0x007FC000, 0},
        {"recpe exponent 254", RN, CALL(FPRecipEstimate<S>(0x7F000000, s)), 0x003FE000, 0},
        {"recpe -inf", RN, CALL(FPRecipEstimate<S>(NINF, s)), NEGZERO, 0},
        {"recpe -0", RN, CALL(FPRecipEstimate<S>(NEGZERO, s)), NINF, DZC},
        {"recpe flushed denormal", FZ, CALL(FPRecipEstimate<S>(0x00400000, s)), INF, DZC | IDC},
        {"recpe half 1.0", RN, CALL(FPRecipEstimate<H>(0x3C00, s)), 0x3BFC, 0},
        {"recpe double 1.0", RN, CALL(FPRecipEstimate<D>(0x3FF0000000000000, s)), 0x3FEFF00000000000, 0},
        {"rsqrte 1.0", RN, CALL(FPRSqrtEstimate<S>(ONE, s)), 0x3F7F8000, 0},
        {"rsqrte 2.0", RN, CALL(FPRSqrtEstimate<S>(TWO, s)), 0x3F348000, 0},
        {"rsqrte 4.0", RN, CALL(FPRSqrtEstimate<S>(0x40800000, s)), 0x3EFF8000, 0},
        {"rsqrte -0", RN, CALL(FPRSqrtEstimate<S>(NEGZERO, s)), NINF, DZC},
        {"rsqrte negative denormal under FZ", FZ, CALL(FPRSqrtEstimate<S>(NDENORM, s)), NINF, DZC | IDC},
        {"rsqrte negative", RN, CALL(FPRSqrtEstimate<S>(0xBF800000, s)), DNAN, IOC},
        {"rsqrte +inf", RN, CALL(FPRSqrtEstimate<S>(INF, s)), 0, 0},
        {"rsqrte half 4.0", RN, CALL(FPRSqrtEstimate<H>(0x4400, s)), 0x37FC, 0},
        {"recpx 1.0", RN, CALL(FPRecpX<S>(ONE, s)), TWO, 0},
        {"recpx denormal", RN, CALL(FPRecpX<S>(NDENORM, s)), 0xFF000000, 0},
        {"recpx denormal under FZ", FZ, CALL(FPRecpX<S>(DENORM, s)), 0x7F000000, IDC},
        {"recpx infinity", RN, CALL(FPRecpX<H>(0xFC00, s)), 0x8000, 0},
        {"recpx half 3.0", RN, CALL(FPRecpX<H>(0x4200, s)), 0x3C00, 0},
        {"recps inf * 0", RN, CALL(FPRecipStepFused<S>(INF, 0, s)), TWO, 0},
        {"rsqrts inf * 0", RN, CALL(FPRSqrtStepFused<S>(NEGZERO, NINF, s)), 0x3FC00000, 0},
        {"rsqrts 1 * 1", RN, CALL(FPRSqrtStepFused<S>(ONE, ONE, s)), ONE, 0},
        {"recps 1 * 1", RN, CALL(FPRecipStepFused<D>(0x3FF0000000000000, 0x3FF0000000000000, s)), 0x3FF0000000000000, 0},
        {"recps NaN op1 has its sign flipped", RN, CALL(FPRecipStepFused<S>(QNAN, ONE, s)), 0xFFC00001, 0},
        {"recps inf * 2: -inf", RN, CALL(FPRecipStepFused<H>(0x7C00, 0x4000, s)), 0xFC00, 0},
        // (3 - 2^127 * -2^127) / 2 overflows only after the halving is taken into account.
        {"rsqrts overflow sees the halved value", RN, CALL(FPRSqrtStepFused<S>(0x7F000000, 0xC0000000, s)), 0x7F000000, IXC},
    };
    RUN(rows);
    EXPECT_EQ(UnsignedRecipEstimate(0x7FFFFFFF, 32), 0xFFFFFFFFul);
    EXPECT_EQ(UnsignedRecipEstimate(0x80000000, 32), 0xFF800000ul);  // 1/0.5 estimated 511/256
    EXPECT_EQ(UnsignedRSqrtEstimate(0x3FFFFFFF, 32), 0xFFFFFFFFul);
    EXPECT_EQ(UnsignedRSqrtEstimate(0x40000000, 32), 0xFF800000ul);  // 1/sqrt(0.25) ~ 511/256
}

TEST(FplibAccel, TrigExpaScale) {
    static const Row rows[] = {
        {"ftmad x=0 op2=+0", RN, CALL(FPTRIMADD<S>(0, TWO, 0, s)), ONE, 0},
        {"ftmad x=0 op2=-0 uses the cosine table", RN, CALL(FPTRIMADD<S>(0, TWO, NEGZERO, s)), ONE, 0},
        {"ftmad x=1 op2=-1: -1/2 + 2*1", RN, CALL(FPTRIMADD<S>(1, TWO, 0xBF800000, s)), 0x3FC00000, 0},
        {"ftmad infinity times zero", RN, CALL(FPTRIMADD<S>(3, INF, 0, s)), DNAN, IOC},
        {"ftmad NaN op2 loses its sign", RN, CALL(FPTRIMADD<S>(2, ONE, 0xFFC00001, s)), QNAN, 0},
        {"ftmad half x=7 op2=+1: 0 + op1", RN, CALL(FPTRIMADD<H>(7, 0x4200, 0x3C00, s)), 0x4200, 0},
        {"ftsmul of a denormal", RN, CALL(FPTRISMUL<S>(DENORM, 1, s)), NEGZERO, UFC | IXC},
        {"ftsmul of a denormal under FZ", FZ, CALL(FPTRISMUL<S>(DENORM, 3, s)), NEGZERO, IDC},
        {"ftsmul of a signalling NaN keeps op1's sign", RN, CALL(FPTRISMUL<S>(0xFF800001, 0, s)), 0xFFC00001, IOC},
        {"ftsmul 3 squared, sign from op2 bit 0", RN, CALL(FPTRISMUL<D>(0x4008000000000000, 0x7FF0000000000001, s)), 0xC022000000000000, 0},
        {"ftsmul infinity", RN, CALL(FPTRISMUL<H>(0xFC00, 0, s)), 0x7C00, 0},
        {"fscale clamps and overflows", RN, CALL(FPScale32(ONE, 10000, s)), INF, OFC | IXC},
        {"fscale clamps and underflows", RN, CALL(FPScale32(ONE, -10000, s)), 0, UFC | IXC},
        {"fscale underflow upwards", RP, CALL(FPScale32(ONE, -10000, s)), DENORM, UFC | IXC},
        {"fscale denormal up exactly", RN, CALL(FPScale32(DENORM, 149, s)), ONE, 0},
        {"fscale half by -60 clamps", RP, CALL(FPScale16(0x7BFF, -32768, s)), 0x0001, UFC | IXC},
        {"fscale half limit is 60", RZ, CALL(FPScale16(0x0001, 60, s)), 0x7BFF, OFC | IXC},
        {"fscale double", RN, CALL(FPScale64(0x3FF8000000000000, -1074, s)), 2, UFC | IXC},
        {"fscale of a NaN", RN, CALL(FPScale64(0x7FF0000000000001, 3, s)), 0x7FF8000000000001, IOC},
        {"fscale of -0", RN, CALL(FPScale16(0x8000, 5, s)), 0x8000, 0},
    };
    RUN(rows);
}

}  // namespace

// Differential test of the floating-point library against the processor's own scalar (and a few
// SVE) floating-point instructions. Each case draws operands biased to specials, denormals,
// boundaries and NaN payloads and a random FPCR (rounding mode, FZ, FZ16, DN, AHP), runs the
// instruction with a cleared FPSR, and compares result bits and cumulative flags with the library.
//
//   fp_differential [--seed N] [--count N] [--only NAME] [--show N]
//
// --count is the number of operand sets per function and width. Prints one line per function and
// width (operands, differences, skipped deviations) and exits non-zero on any difference.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "sve/fp/lib/fplib.h"
#include "tests/fplib/fp_deviations.h"
#include "tests/fplib/fp_operands.h"

namespace {
using namespace fptest;

struct Hw {
    uint64_t r;
    uint32_t fpsr;
};
typedef Hw (*HwFn)(uint64_t a, uint64_t b, uint64_t c, uint32_t fpcr);
typedef uint64_t (*LibFn)(uint64_t a, uint64_t b, uint64_t c, FPSCR& fpscr);

// ---- The hardware side: operands into v0-v2 (or general registers), the instruction between a
// write of FPCR with a clear of FPSR and a read of FPSR, the result out of v3 (or a register).
#define DEF_HW(NAME, LOAD, INSN, STORE)                                                       \
    Hw NAME(uint64_t a, uint64_t b, uint64_t c, uint32_t fpcr) {                             \
        uint64_t r = 0, sr;                                                                  \
        asm volatile(LOAD "msr fpcr, %[fpcr]\n\tmsr fpsr, xzr\n\t" INSN                      \
                          "\n\tmrs %[sr], fpsr\n\tmsr fpcr, xzr\n\t" STORE                   \
                     : [r] "+&r"(r), [sr] "=&r"(sr)                                          \
                     : [a] "r"(a), [b] "r"(b), [c] "r"(c), [fpcr] "r"(uint64_t(fpcr))        \
                     : "v0", "v1", "v2", "v3", "p0", "cc", "memory");                        \
        return {r, uint32_t(sr)};                                                            \
    }

#define LD_H "fmov h0, %w[a]\n\tfmov h1, %w[b]\n\tfmov h2, %w[c]\n\t"
#define LD_S "fmov s0, %w[a]\n\tfmov s1, %w[b]\n\tfmov s2, %w[c]\n\t"
#define LD_D "fmov d0, %x[a]\n\tfmov d1, %x[b]\n\tfmov d2, %x[c]\n\t"
#define LD_NONE ""
#define ST_H "fmov %w[r], h3"
#define ST_S "fmov %w[r], s3"
#define ST_D "fmov %x[r], d3"
#define ST_NONE ""
#define NZCV "\n\tmrs %x[r], nzcv\n\tlsr %x[r], %x[r], #28"

// One instruction in the three widths.
#define DEF1(MN)                                            \
    DEF_HW(hw_##MN##_h, LD_H, #MN " h3, h0", ST_H)          \
    DEF_HW(hw_##MN##_s, LD_S, #MN " s3, s0", ST_S)          \
    DEF_HW(hw_##MN##_d, LD_D, #MN " d3, d0", ST_D)
#define DEF2(MN)                                            \
    DEF_HW(hw_##MN##_h, LD_H, #MN " h3, h0, h1", ST_H)      \
    DEF_HW(hw_##MN##_s, LD_S, #MN " s3, s0, s1", ST_S)      \
    DEF_HW(hw_##MN##_d, LD_D, #MN " d3, d0, d1", ST_D)

DEF2(fadd) DEF2(fsub) DEF2(fmul) DEF2(fmulx) DEF2(fdiv)
DEF2(fmax) DEF2(fmin) DEF2(fmaxnm) DEF2(fminnm)
DEF2(fcmeq) DEF2(fcmge) DEF2(fcmgt)
DEF2(frecps) DEF2(frsqrts)
DEF1(fsqrt) DEF1(frecpe) DEF1(frsqrte) DEF1(frecpx)
DEF1(frintn) DEF1(frintp) DEF1(frintm) DEF1(frintz) DEF1(frinta) DEF1(frinti) DEF1(frintx)
DEF_HW(hw_fmadd_h, LD_H, "fmadd h3, h0, h1, h2", ST_H)
DEF_HW(hw_fmadd_s, LD_S, "fmadd s3, s0, s1, s2", ST_S)
DEF_HW(hw_fmadd_d, LD_D, "fmadd d3, d0, d1, d2", ST_D)
DEF_HW(hw_fcmp_h, LD_H, "fcmp h0, h1" NZCV, ST_NONE)
DEF_HW(hw_fcmp_s, LD_S, "fcmp s0, s1" NZCV, ST_NONE)
DEF_HW(hw_fcmp_d, LD_D, "fcmp d0, d1" NZCV, ST_NONE)
DEF_HW(hw_fcmpe_h, LD_H, "fcmpe h0, h1" NZCV, ST_NONE)
DEF_HW(hw_fcmpe_s, LD_S, "fcmpe s0, s1" NZCV, ST_NONE)
DEF_HW(hw_fcmpe_d, LD_D, "fcmpe d0, d1" NZCV, ST_NONE)

// Conversions between formats.
DEF_HW(hw_fcvt_hs, LD_H, "fcvt s3, h0", ST_S)
DEF_HW(hw_fcvt_hd, LD_H, "fcvt d3, h0", ST_D)
DEF_HW(hw_fcvt_sd, LD_S, "fcvt d3, s0", ST_D)
DEF_HW(hw_fcvt_sh, LD_S, "fcvt h3, s0", ST_H)
DEF_HW(hw_fcvt_dh, LD_D, "fcvt h3, d0", ST_H)
DEF_HW(hw_fcvt_ds, LD_D, "fcvt s3, d0", ST_S)
DEF_HW(hw_fcvtxn_ds, LD_D, "fcvtxn s3, d0", ST_S)

// FP to integer: to 16 bits through the SIMD scalar form, else into a general register.
#define DEF_CVTI(MN)                                                    \
    DEF_HW(hw_##MN##_h16, LD_H, #MN " h3, h0", ST_H)                    \
    DEF_HW(hw_##MN##_h32, LD_H, #MN " %w[r], h0", ST_NONE)              \
    DEF_HW(hw_##MN##_s32, LD_S, #MN " %w[r], s0", ST_NONE)              \
    DEF_HW(hw_##MN##_d32, LD_D, #MN " %w[r], d0", ST_NONE)              \
    DEF_HW(hw_##MN##_h64, LD_H, #MN " %x[r], h0", ST_NONE)              \
    DEF_HW(hw_##MN##_s64, LD_S, #MN " %x[r], s0", ST_NONE)              \
    DEF_HW(hw_##MN##_d64, LD_D, #MN " %x[r], d0", ST_NONE)
DEF_CVTI(fcvtzs) DEF_CVTI(fcvtzu) DEF_CVTI(fcvtns) DEF_CVTI(fcvtas) DEF_CVTI(fcvtps)
DEF_CVTI(fcvtms) DEF_CVTI(fcvtau)

// Integer to FP: 16-bit sources through the SIMD scalar form.
#define DEF_ITOF(MN)                                                    \
    DEF_HW(hw_##MN##_16h, LD_H, #MN " h3, h0", ST_H)                    \
    DEF_HW(hw_##MN##_32h, LD_NONE, #MN " h3, %w[a]", ST_H)              \
    DEF_HW(hw_##MN##_64h, LD_NONE, #MN " h3, %x[a]", ST_H)              \
    DEF_HW(hw_##MN##_32s, LD_NONE, #MN " s3, %w[a]", ST_S)              \
    DEF_HW(hw_##MN##_64s, LD_NONE, #MN " s3, %x[a]", ST_S)              \
    DEF_HW(hw_##MN##_32d, LD_NONE, #MN " d3, %w[a]", ST_D)              \
    DEF_HW(hw_##MN##_64d, LD_NONE, #MN " d3, %x[a]", ST_D)
DEF_ITOF(scvtf) DEF_ITOF(ucvtf)

// Fixed-point forms: a few fraction bit counts.
DEF_HW(hw_fcvtzs_h32_f3, LD_H, "fcvtzs %w[r], h0, #3", ST_NONE)
DEF_HW(hw_fcvtzu_h64_f20, LD_H, "fcvtzu %x[r], h0, #20", ST_NONE)
DEF_HW(hw_fcvtzs_s32_f5, LD_S, "fcvtzs %w[r], s0, #5", ST_NONE)
DEF_HW(hw_fcvtzu_s64_f33, LD_S, "fcvtzu %x[r], s0, #33", ST_NONE)
DEF_HW(hw_fcvtzs_d32_f31, LD_D, "fcvtzs %w[r], d0, #31", ST_NONE)
DEF_HW(hw_fcvtzs_d64_f64, LD_D, "fcvtzs %x[r], d0, #64", ST_NONE)
DEF_HW(hw_scvtf_32h_f9, LD_NONE, "scvtf h3, %w[a], #9", ST_H)
DEF_HW(hw_ucvtf_64h_f40, LD_NONE, "ucvtf h3, %x[a], #40", ST_H)
DEF_HW(hw_scvtf_32s_f7, LD_NONE, "scvtf s3, %w[a], #7", ST_S)
DEF_HW(hw_ucvtf_64s_f1, LD_NONE, "ucvtf s3, %x[a], #1", ST_S)
DEF_HW(hw_scvtf_64d_f63, LD_NONE, "scvtf d3, %x[a], #63", ST_D)
DEF_HW(hw_ucvtf_32d_f32, LD_NONE, "ucvtf d3, %w[a], #32", ST_D)

// Integer estimates.
DEF_HW(hw_urecpe, LD_S, "urecpe v3.2s, v0.2s", ST_S)
DEF_HW(hw_ursqrte, LD_S, "ursqrte v3.2s, v0.2s", ST_S)

// SVE accelerator operations on element 0.
#define DEF_SVE(NAME, T)                                                                     \
    DEF_HW(hw_ftsmul_##NAME, LD_##NAME, "ftsmul z3." T ", z0." T ", z1." T, ST_##NAME)      \
    DEF_HW(hw_fexpa_##NAME, LD_##NAME, "fexpa z3." T ", z0." T, ST_##NAME)                  \
    DEF_HW(hw_fscale_##NAME, LD_##NAME,                                                      \
           "ptrue p0." T "\n\tmov z3.d, z0.d\n\tfscale z3." T ", p0/m, z3." T ", z1." T,     \
           ST_##NAME)
DEF_SVE(H, "h") DEF_SVE(S, "s") DEF_SVE(D, "d")
#define DEF_FTMAD(NAME, T, X)                                                                \
    DEF_HW(hw_ftmad##X##_##NAME, LD_##NAME,                                                  \
           "mov z3.d, z0.d\n\tftmad z3." T ", z3." T ", z1." T ", #" #X, ST_##NAME)
#define DEF_FTMAD8(NAME, T)                                                                  \
    DEF_FTMAD(NAME, T, 0) DEF_FTMAD(NAME, T, 1) DEF_FTMAD(NAME, T, 2) DEF_FTMAD(NAME, T, 3)  \
    DEF_FTMAD(NAME, T, 4) DEF_FTMAD(NAME, T, 5) DEF_FTMAD(NAME, T, 6) DEF_FTMAD(NAME, T, 7)
DEF_FTMAD8(H, "h") DEF_FTMAD8(S, "s") DEF_FTMAD8(D, "d")

// ---- The library side.
#define L1(EXPR) [](uint64_t a, uint64_t, uint64_t, FPSCR& s) -> uint64_t { (void)s; return EXPR; }
#define L2(EXPR) [](uint64_t a, uint64_t b, uint64_t, FPSCR& s) -> uint64_t { return EXPR; }
#define L3(EXPR) [](uint64_t a, uint64_t b, uint64_t c, FPSCR& s) -> uint64_t { return EXPR; }

template <class T>
uint64_t mask_of(bool v) {
    return v ? uint64_t(T(~T(0))) : 0;
}

// How the operands of a case are drawn.
enum Kind { FP1, FP2, FP3, INT_S, INT_U, FP_SCALE, FP_INT2 };

struct Case {
    const char* name;
    int w;     // width of the FP operands (or of the integer source)
    int rw;    // width of the result
    Kind kind;
    HwFn hw;
    LibFn lib;
};

#define RM FPRoundingMode(s)
using H = unsigned short;
using S = unsigned int;
using D = unsigned long;

#define ARITH3(NAME, MN, F) \
    {NAME, 16, 16, FP2, hw_##MN##_h, L2(F<H>(H(a), H(b), s))}, \
    {NAME, 32, 32, FP2, hw_##MN##_s, L2(F<S>(S(a), S(b), s))}, \
    {NAME, 64, 64, FP2, hw_##MN##_d, L2(F<D>(D(a), D(b), s))}
#define UNARY3(NAME, MN, EXPR_T) \
    {NAME, 16, 16, FP1, hw_##MN##_h, L1(EXPR_T(H))}, \
    {NAME, 32, 32, FP1, hw_##MN##_s, L1(EXPR_T(S))}, \
    {NAME, 64, 64, FP1, hw_##MN##_d, L1(EXPR_T(D))}
#define CMPMASK3(NAME, MN, F) \
    {NAME, 16, 16, FP2, hw_##MN##_h, L2(mask_of<H>(F<H>(H(a), H(b), s)))}, \
    {NAME, 32, 32, FP2, hw_##MN##_s, L2(mask_of<S>(F<S>(S(a), S(b), s)))}, \
    {NAME, 64, 64, FP2, hw_##MN##_d, L2(mask_of<D>(F<D>(D(a), D(b), s)))}

#define E_SQRT(T) FPSqrt<T>(T(a), s)
#define E_RECPE(T) FPRecipEstimate<T>(T(a), s)
#define E_RSQRTE(T) FPRSqrtEstimate<T>(T(a), s)
#define E_RECPX(T) FPRecpX<T>(T(a), s)
#define E_RINTN(T) FPRoundInt<T>(T(a), FPRounding_TIEEVEN, false, s)
#define E_RINTP(T) FPRoundInt<T>(T(a), FPRounding_POSINF, false, s)
#define E_RINTM(T) FPRoundInt<T>(T(a), FPRounding_NEGINF, false, s)
#define E_RINTZ(T) FPRoundInt<T>(T(a), FPRounding_ZERO, false, s)
#define E_RINTA(T) FPRoundInt<T>(T(a), FPRounding_TIEAWAY, false, s)
#define E_RINTI(T) FPRoundInt<T>(T(a), RM, false, s)
#define E_RINTX(T) FPRoundInt<T>(T(a), RM, true, s)

// FP to integer in the seven pairs, with a fixed rounding and signedness.
#define TOINT7(NAME, MN, U, ROUND) \
    {NAME, 16, 16, FP1, hw_##MN##_h16, L1((fplibFPToFixed<H, H>(H(a), 0, U, ROUND, s)))}, \
    {NAME, 16, 32, FP1, hw_##MN##_h32, L1((fplibFPToFixed<H, S>(H(a), 0, U, ROUND, s)))}, \
    {NAME, 32, 32, FP1, hw_##MN##_s32, L1((fplibFPToFixed<S, S>(S(a), 0, U, ROUND, s)))}, \
    {NAME, 64, 32, FP1, hw_##MN##_d32, L1((fplibFPToFixed<D, S>(D(a), 0, U, ROUND, s)))}, \
    {NAME, 16, 64, FP1, hw_##MN##_h64, L1((fplibFPToFixed<H, D>(H(a), 0, U, ROUND, s)))}, \
    {NAME, 32, 64, FP1, hw_##MN##_s64, L1((fplibFPToFixed<S, D>(S(a), 0, U, ROUND, s)))}, \
    {NAME, 64, 64, FP1, hw_##MN##_d64, L1((fplibFPToFixed<D, D>(D(a), 0, U, ROUND, s)))}

// Integer (sign- or zero-extended by the harness) to FP.
#define FROMINT7(NAME, MN, U, K) \
    {NAME, 16, 16, K, hw_##MN##_16h, L1(fplibFixedToFP<H>(a, 0, U, RM, s))}, \
    {NAME, 32, 16, K, hw_##MN##_32h, L1(fplibFixedToFP<H>(a, 0, U, RM, s))}, \
    {NAME, 64, 16, K, hw_##MN##_64h, L1(fplibFixedToFP<H>(a, 0, U, RM, s))}, \
    {NAME, 32, 32, K, hw_##MN##_32s, L1(fplibFixedToFP<S>(a, 0, U, RM, s))}, \
    {NAME, 64, 32, K, hw_##MN##_64s, L1(fplibFixedToFP<S>(a, 0, U, RM, s))}, \
    {NAME, 32, 64, K, hw_##MN##_32d, L1(fplibFixedToFP<D>(a, 0, U, RM, s))}, \
    {NAME, 64, 64, K, hw_##MN##_64d, L1(fplibFixedToFP<D>(a, 0, U, RM, s))}

#define FTMAD_CASES(X) \
    {"ftmad" #X, 16, 16, FP2, hw_ftmad##X##_H, L2(FPTRIMADD<H>(X, H(a), H(b), s))}, \
    {"ftmad" #X, 32, 32, FP2, hw_ftmad##X##_S, L2(FPTRIMADD<S>(X, S(a), S(b), s))}, \
    {"ftmad" #X, 64, 64, FP2, hw_ftmad##X##_D, L2(FPTRIMADD<D>(X, D(a), D(b), s))}

const Case kCases[] = {
    ARITH3("fadd", fadd, FPAdd),
    ARITH3("fsub", fsub, FPSub),
    ARITH3("fmul", fmul, FPMul),
    ARITH3("fmulx", fmulx, FPMulX),
    ARITH3("fdiv", fdiv, FPDiv),
    UNARY3("fsqrt", fsqrt, E_SQRT),
    {"fmadd", 16, 16, FP3, hw_fmadd_h, L3(FPMulAdd<H>(H(c), H(a), H(b), s))},
    {"fmadd", 32, 32, FP3, hw_fmadd_s, L3(FPMulAdd<S>(S(c), S(a), S(b), s))},
    {"fmadd", 64, 64, FP3, hw_fmadd_d, L3(FPMulAdd<D>(D(c), D(a), D(b), s))},
    {"fcmp", 16, 8, FP2, hw_fcmp_h, L2(uint64_t(FPCompare<H>(H(a), H(b), false, s)))},
    {"fcmp", 32, 8, FP2, hw_fcmp_s, L2(uint64_t(FPCompare<S>(S(a), S(b), false, s)))},
    {"fcmp", 64, 8, FP2, hw_fcmp_d, L2(uint64_t(FPCompare<D>(D(a), D(b), false, s)))},
    {"fcmpe", 16, 8, FP2, hw_fcmpe_h, L2(uint64_t(FPCompare<H>(H(a), H(b), true, s)))},
    {"fcmpe", 32, 8, FP2, hw_fcmpe_s, L2(uint64_t(FPCompare<S>(S(a), S(b), true, s)))},
    {"fcmpe", 64, 8, FP2, hw_fcmpe_d, L2(uint64_t(FPCompare<D>(D(a), D(b), true, s)))},
    // The V flag of a quiet compare is the unordered test.
    {"fcmp-un", 16, 8, FP2, hw_fcmp_h, L2(FPCompareUN<H>(H(a), H(b), s) ? 3 : FPCompare<H>(H(a), H(b), false, s))},
    {"fcmp-un", 32, 8, FP2, hw_fcmp_s, L2(FPCompareUN<S>(S(a), S(b), s) ? 3 : FPCompare<S>(S(a), S(b), false, s))},
    {"fcmp-un", 64, 8, FP2, hw_fcmp_d, L2(FPCompareUN<D>(D(a), D(b), s) ? 3 : FPCompare<D>(D(a), D(b), false, s))},
    CMPMASK3("fcmeq", fcmeq, FPCompareEQ),
    CMPMASK3("fcmge", fcmge, FPCompareGE),
    CMPMASK3("fcmgt", fcmgt, FPCompareGT),
    ARITH3("fmax", fmax, FPMax),
    ARITH3("fmin", fmin, FPMin),
    ARITH3("fmaxnm", fmaxnm, FPMaxNum),
    ARITH3("fminnm", fminnm, FPMinNum),
    {"fcvt", 16, 32, FP1, hw_fcvt_hs, L1((FPConvert<H, S>(H(a), RM, s)))},
    {"fcvt", 16, 64, FP1, hw_fcvt_hd, L1((FPConvert<H, D>(H(a), RM, s)))},
    {"fcvt", 32, 64, FP1, hw_fcvt_sd, L1((FPConvert<S, D>(S(a), RM, s)))},
    {"fcvt", 32, 16, FP1, hw_fcvt_sh, L1((FPConvert<S, H>(S(a), RM, s)))},
    {"fcvt", 64, 16, FP1, hw_fcvt_dh, L1((FPConvert<D, H>(D(a), RM, s)))},
    {"fcvt", 64, 32, FP1, hw_fcvt_ds, L1((FPConvert<D, S>(D(a), RM, s)))},
    {"fcvtxn", 64, 32, FP1, hw_fcvtxn_ds, L1((FPConvert<D, S>(D(a), FPRounding_ODD, s)))},
    UNARY3("frintn", frintn, E_RINTN),
    UNARY3("frintp", frintp, E_RINTP),
    UNARY3("frintm", frintm, E_RINTM),
    UNARY3("frintz", frintz, E_RINTZ),
    UNARY3("frinta", frinta, E_RINTA),
    UNARY3("frinti", frinti, E_RINTI),
    UNARY3("frintx", frintx, E_RINTX),
    TOINT7("fcvtzs", fcvtzs, false, FPRounding_ZERO),
    TOINT7("fcvtzu", fcvtzu, true, FPRounding_ZERO),
    TOINT7("fcvtns", fcvtns, false, FPRounding_TIEEVEN),
    TOINT7("fcvtas", fcvtas, false, FPRounding_TIEAWAY),
    TOINT7("fcvtau", fcvtau, true, FPRounding_TIEAWAY),
    TOINT7("fcvtps", fcvtps, false, FPRounding_POSINF),
    TOINT7("fcvtms", fcvtms, false, FPRounding_NEGINF),
    FROMINT7("scvtf", scvtf, false, INT_S),
    FROMINT7("ucvtf", ucvtf, true, INT_U),
    {"fcvtzs#3", 16, 32, FP1, hw_fcvtzs_h32_f3, L1((fplibFPToFixed<H, S>(H(a), 3, false, FPRounding_ZERO, s)))},
    {"fcvtzu#20", 16, 64, FP1, hw_fcvtzu_h64_f20, L1((fplibFPToFixed<H, D>(H(a), 20, true, FPRounding_ZERO, s)))},
    {"fcvtzs#5", 32, 32, FP1, hw_fcvtzs_s32_f5, L1((fplibFPToFixed<S, S>(S(a), 5, false, FPRounding_ZERO, s)))},
    {"fcvtzu#33", 32, 64, FP1, hw_fcvtzu_s64_f33, L1((fplibFPToFixed<S, D>(S(a), 33, true, FPRounding_ZERO, s)))},
    {"fcvtzs#31", 64, 32, FP1, hw_fcvtzs_d32_f31, L1((fplibFPToFixed<D, S>(D(a), 31, false, FPRounding_ZERO, s)))},
    {"fcvtzs#64", 64, 64, FP1, hw_fcvtzs_d64_f64, L1((fplibFPToFixed<D, D>(D(a), 64, false, FPRounding_ZERO, s)))},
    {"scvtf#9", 32, 16, INT_S, hw_scvtf_32h_f9, L1(fplibFixedToFP<H>(a, 9, false, RM, s))},
    {"ucvtf#40", 64, 16, INT_U, hw_ucvtf_64h_f40, L1(fplibFixedToFP<H>(a, 40, true, RM, s))},
    {"scvtf#7", 32, 32, INT_S, hw_scvtf_32s_f7, L1(fplibFixedToFP<S>(a, 7, false, RM, s))},
    {"ucvtf#1", 64, 32, INT_U, hw_ucvtf_64s_f1, L1(fplibFixedToFP<S>(a, 1, true, RM, s))},
    {"scvtf#63", 64, 64, INT_S, hw_scvtf_64d_f63, L1(fplibFixedToFP<D>(a, 63, false, RM, s))},
    {"ucvtf#32", 32, 64, INT_U, hw_ucvtf_32d_f32, L1(fplibFixedToFP<D>(a, 32, true, RM, s))},
    UNARY3("frecpe", frecpe, E_RECPE),
    UNARY3("frsqrte", frsqrte, E_RSQRTE),
    UNARY3("frecpx", frecpx, E_RECPX),
    ARITH3("frecps", frecps, FPRecipStepFused),
    ARITH3("frsqrts", frsqrts, FPRSqrtStepFused),
    {"urecpe", 32, 32, INT_U, hw_urecpe, L1(UnsignedRecipEstimate(a, 32))},
    {"ursqrte", 32, 32, INT_U, hw_ursqrte, L1(UnsignedRSqrtEstimate(a, 32))},
    {"ftsmul", 16, 16, FP2, hw_ftsmul_H, L2(FPTRISMUL<H>(H(a), H(b), s))},
    {"ftsmul", 32, 32, FP2, hw_ftsmul_S, L2(FPTRISMUL<S>(S(a), S(b), s))},
    {"ftsmul", 64, 64, FP2, hw_ftsmul_D, L2(FPTRISMUL<D>(D(a), D(b), s))},
    {"fexpa", 16, 16, INT_U, hw_fexpa_H, L1(FPEXPA<H>(H(a)))},
    {"fexpa", 32, 32, INT_U, hw_fexpa_S, L1(FPEXPA<S>(S(a)))},
    {"fexpa", 64, 64, INT_U, hw_fexpa_D, L1(FPEXPA<D>(D(a)))},
    {"fscale", 16, 16, FP_SCALE, hw_fscale_H, L2(FPScale16(H(a), short(b), s))},
    {"fscale", 32, 32, FP_SCALE, hw_fscale_S, L2(FPScale32(S(a), int(b), s))},
    {"fscale", 64, 64, FP_SCALE, hw_fscale_D, L2(FPScale64(D(a), long(b), s))},
    FTMAD_CASES(0), FTMAD_CASES(1), FTMAD_CASES(2), FTMAD_CASES(3),
    FTMAD_CASES(4), FTMAD_CASES(5), FTMAD_CASES(6), FTMAD_CASES(7),
};

uint64_t width_mask(int w) { return w == 64 ? ~0ull : (1ull << w) - 1; }
uint64_t sign_extend(uint64_t x, int w) {
    return w == 64 ? x : uint64_t(int64_t(x << (64 - w)) >> (64 - w));
}

// Operands of one case. The scale of FSCALE is a signed integer of the element width.
void draw(Rng& r, const Case& k, uint64_t op[3]) {
    switch (k.kind) {
    case INT_S: op[0] = sign_extend(gen_int(r, k.w), k.w); op[1] = op[2] = 0; return;
    case INT_U: op[0] = gen_int(r, k.w); op[1] = op[2] = 0; return;
    case FP_SCALE: {
        op[0] = gen_fp(r, k.w);
        int64_t sc = r.below(4) ? int64_t(r.below(2 * 80 + 1)) - 80 : int64_t(gen_int(r, 64));
        if (r.below(8) == 0) sc = int64_t(r.below(2 * 4000 + 1)) - 4000;
        op[1] = uint64_t(sc) & width_mask(k.w);
        op[2] = 0;
        return;
    }
    default: break;
    }
    op[0] = gen_fp(r, k.w);
    op[1] = gen_related(r, k.w, op[0]);
    op[2] = gen_fp(r, k.w);
    if (k.kind == FP3 && r.below(3) == 0) {
        // An addend that nearly cancels the product.
        FPSCR s = 0;
        uint64_t p;
        if (k.w == 16) p = FPMul<H>(H(op[0]), H(op[1]), s);
        else if (k.w == 32) p = FPMul<S>(S(op[0]), S(op[1]), s);
        else p = FPMul<D>(D(op[0]), D(op[1]), s);
        op[2] = gen_related(r, k.w, p ^ (1ull << (k.w - 1)));
    }
    if (k.kind == FP2 && r.below(8) == 0) {
        // A dividend that is a product of the divisor: exact quotients and their neighbours.
        FPSCR s = 0;
        const Fmt& f = fmt_of(k.w);
        uint64_t q = f.make(r.below(2), f.bias - 8 + r.below(17), r.next() & (f.frac_mask() << (f.m / 2)));
        if (k.w == 16) op[0] = FPMul<H>(H(op[1]), H(q), s);
        else if (k.w == 32) op[0] = FPMul<S>(S(op[1]), S(q), s);
        else op[0] = FPMul<D>(D(op[1]), D(q), s);
        op[0] += r.below(3) - 1;
        op[0] &= width_mask(k.w);
    }
    if (k.kind == FP1 && r.below(8) == 0) {
        // A square, so that exact roots come up.
        FPSCR s = 0;
        if (k.w == 16) op[0] = FPMul<H>(H(op[0]), H(op[0]), s);
        else if (k.w == 32) op[0] = FPMul<S>(S(op[0]), S(op[0]), s);
        else op[0] = FPMul<D>(D(op[0]), D(op[0]), s);
    }
}

}  // namespace

int main(int argc, char** argv) {
    uint64_t seed = 1;
    long count = 2000;
    int show = 3;
    const char* only = nullptr;
    for (int i = 1; i + 1 < argc; i += 2) {
        std::string opt = argv[i];
        if (opt == "--seed") seed = std::strtoull(argv[i + 1], nullptr, 0);
        else if (opt == "--count") count = std::strtol(argv[i + 1], nullptr, 0);
        else if (opt == "--only") only = argv[i + 1];
        else if (opt == "--show") show = int(std::strtol(argv[i + 1], nullptr, 0));
        else {
            std::fprintf(stderr, "usage: %s [--seed N] [--count N] [--only NAME] [--show N]\n",
                         argv[0]);
            return 2;
        }
    }
    long total_diff = 0;
    std::printf("%-10s %5s %5s %10s %8s %8s\n", "function", "width", "to", "operands",
                "differ", "skipped");
    for (const Case& k : kCases) {
        if (only && std::strcmp(only, k.name) != 0) continue;
        Rng r{seed ^ (std::hash<std::string>()(k.name) * 31 + k.w * 7 + k.rw)};
        long diff = 0, skipped = 0;
        for (long n = 0; n < count; ++n) {
            uint64_t op[3];
            draw(r, k, op);
            uint32_t fpcr = gen_fpcr(r);
            Hw hw = k.hw(op[0], op[1], op[2], fpcr);
            FPSCR s = fpcr;
            uint64_t lib = k.lib(op[0], op[1], op[2], s);
            uint64_t rmask = k.rw == 8 ? 0xF : width_mask(k.rw);
            hw.r &= rmask;
            lib &= rmask;
            uint32_t hw_flags = hw.fpsr & 0x9F, lib_flags = s & 0x9F;
            if (hw.r == lib && hw_flags == lib_flags) continue;
            if (fp_known_deviation(k.name, k.w, k.rw, op, fpcr)) {
                ++skipped;
                continue;
            }
            if (diff++ < show)
                std::printf("  DIFF %s w%d->%d a=%#llx b=%#llx c=%#llx fpcr=%#x: hw %#llx/%#x lib "
                            "%#llx/%#x\n",
                            k.name, k.w, k.rw, (unsigned long long)op[0],
                            (unsigned long long)op[1], (unsigned long long)op[2], fpcr,
                            (unsigned long long)hw.r, hw_flags, (unsigned long long)lib,
                            lib_flags);
        }
        std::printf("%-10s %5d %5d %10ld %8ld %8ld\n", k.name, k.w, k.rw, count, diff, skipped);
        std::fflush(stdout);
        total_diff += diff;
    }
    std::printf("total differences: %ld\n", total_diff);
    return total_diff ? 1 : 0;
}

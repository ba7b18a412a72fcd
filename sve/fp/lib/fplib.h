// Software floating point for half, single and double precision.
//
// Values are raw bit patterns: unsigned short (half), unsigned int (single), unsigned long
// (double). Every operation that rounds, flushes or raises a flag takes the working control and
// status word FPSCR by reference: it reads RMode, FZ, FZ16, DN (and AHP in conversions) and ORs
// the cumulative flags it raises into it. Nothing traps; trap enable bits are carried unread.
#pragma once

#include <cstdint>

// FPCR control fields and FPSR status fields overlaid in one word (they occupy disjoint bits).
typedef unsigned int FPSCR;

constexpr FPSCR FPSCR_IOC = 1u << 0;
constexpr FPSCR FPSCR_DZC = 1u << 1;
constexpr FPSCR FPSCR_OFC = 1u << 2;
constexpr FPSCR FPSCR_UFC = 1u << 3;
constexpr FPSCR FPSCR_IXC = 1u << 4;
constexpr FPSCR FPSCR_IDC = 1u << 7;
constexpr FPSCR FPSCR_FZ16 = 1u << 19;
constexpr FPSCR FPSCR_RMODE_SHIFT = 22;
constexpr FPSCR FPSCR_FZ = 1u << 24;
constexpr FPSCR FPSCR_DN = 1u << 25;
constexpr FPSCR FPSCR_AHP = 1u << 26;
constexpr FPSCR FPSCR_CONTROL_MASK = 0x07C89F00u;  // the FPCR fields an FPSCR holds
constexpr FPSCR FPSCR_STATUS_MASK = 0xF800009Fu;   // the FPSR fields an FPSCR holds
constexpr FPSCR FPSCR_EXCEPTION_MASK = 0x9Fu;     // the cumulative exception flags

enum FPRounding {
    FPRounding_TIEEVEN = 0,
    FPRounding_POSINF = 1,
    FPRounding_NEGINF = 2,
    FPRounding_ZERO = 3,
    FPRounding_TIEAWAY = 4,
    FPRounding_ODD = 5,
};

// Internal mode word: rounding mode in bits 0-1, then FZ, DN, AHP (conversions only), FZ16.
constexpr int FPLIB_RMODE = 3;
constexpr int FPLIB_FZ = 4;
constexpr int FPLIB_DN = 8;
constexpr int FPLIB_AHP = 16;
constexpr int FPLIB_FZ16 = 32;

inline FPRounding FPRoundingMode(FPSCR fpscr) {
    return FPRounding((fpscr >> FPSCR_RMODE_SHIFT) & 3);
}

// One element of a vector operation: the call sees a working word holding only the control bits
// of `fpcr`, and whatever it raises is accumulated into `fpsr`.
template <class Fn>
inline auto fp_element(uint32_t& fpsr, uint32_t fpcr, Fn&& fn) {
    FPSCR work = fpcr & FPSCR_CONTROL_MASK;
    auto r = fn(work);
    fpsr = (fpsr | work) & FPSCR_STATUS_MASK;
    return r;
}

// ---- Sign operations: no rounding, no flags, NaNs treated like numbers.
template <class T>
inline T FPNeg(T op) { return T(op ^ (T(1) << (sizeof(T) * 8 - 1))); }
template <class T>
inline T FPAbs(T op) { return T(op & ~(T(1) << (sizeof(T) * 8 - 1))); }

// ---- Rounding of an unpacked value: `mnt` is the fraction left-aligned in the word with the
// leading one removed and a sticky lowest bit; `exp` the biased exponent of 1.fraction. The
// internal routines OR the exceptions they raise into *flags (FPSCR_IOC ... FPSCR_IDC).
unsigned short fp16_round_(int sgn, int exp, unsigned short mnt, int rm, int mode, FPSCR* flags);
unsigned int fp32_round_(int sgn, int exp, unsigned int mnt, int rm, int mode, FPSCR* flags);
unsigned long fp64_round_(int sgn, int exp, unsigned long mnt, int rm, int mode, FPSCR* flags);

// Canonicalise one operand (quiet input flush, NaN processing).
unsigned short FPProcess16(unsigned short op, FPSCR& fpscr);
unsigned int FPProcess32(unsigned int op, FPSCR& fpscr);
unsigned long FPProcess64(unsigned long op, FPSCR& fpscr);

// ---- Arithmetic.
template <class T> T FPAdd(T op1, T op2, FPSCR& fpscr);
template <class T> T FPSub(T op1, T op2, FPSCR& fpscr);
template <class T> T FPMul(T op1, T op2, FPSCR& fpscr);
template <class T> T FPMulX(T op1, T op2, FPSCR& fpscr);
template <class T> T FPDiv(T op1, T op2, FPSCR& fpscr);
template <class T> T FPSqrt(T op, FPSCR& fpscr);
// addend + op1 * op2, rounded once.
template <class T> T FPMulAdd(T addend, T op1, T op2, FPSCR& fpscr);
// a + b * c, multiplied by 2^scale before the one rounding.
unsigned short fp16_muladd(unsigned short a, unsigned short b, unsigned short c, int scale,
                           int mode, FPSCR* flags);
unsigned int fp32_muladd(unsigned int a, unsigned int b, unsigned int c, int scale, int mode,
                         FPSCR* flags);
unsigned long fp64_muladd(unsigned long a, unsigned long b, unsigned long c, int scale, int mode,
                          FPSCR* flags);

// ---- Compare, min and max.
template <class T> bool FPCompareEQ(T a, T b, FPSCR& fpscr);
template <class T> bool FPCompareGE(T a, T b, FPSCR& fpscr);
template <class T> bool FPCompareGT(T a, T b, FPSCR& fpscr);
template <class T> bool FPCompareUN(T a, T b, FPSCR& fpscr);
// NZCV nibble: 3 unordered, 6 equal, 8 less, 2 greater.
template <class T> int FPCompare(T a, T b, bool signal_nans, FPSCR& fpscr);
template <class T> T FPMax(T a, T b, FPSCR& fpscr);
template <class T> T FPMin(T a, T b, FPSCR& fpscr);
template <class T> T FPMaxNum(T a, T b, FPSCR& fpscr);
template <class T> T FPMinNum(T a, T b, FPSCR& fpscr);

// ---- Conversions and rounding to integral values.
template <class S, class D> D FPConvert(S op, FPRounding rounding, FPSCR& fpscr);
template <class T> T FPRoundInt(T op, FPRounding rounding, bool exact, FPSCR& fpscr);
// F is the FP type, I the integer result (unsigned short, unsigned int or unsigned long, the
// bits of a signed result when !u).
template <class F, class I> I fplibFPToFixed(F op, int fbits, bool u, FPRounding rounding,
                                             FPSCR& fpscr);
unsigned long FPToFixed_64(int sgn, int exp, unsigned long mnt, bool u, FPRounding rounding,
                           FPSCR* flags);
// `op` is already sign- or zero-extended to 64 bits.
template <class T> T fplibFixedToFP(unsigned long op, int fbits, bool u, FPRounding rounding,
                                    FPSCR& fpscr);

// ---- Estimates and Newton-Raphson steps.
template <class T> T FPRecipEstimate(T op, FPSCR& fpscr);
template <class T> T FPRSqrtEstimate(T op, FPSCR& fpscr);
template <class T> T FPRecpX(T op, FPSCR& fpscr);
template <class T> T FPRecipStepFused(T op1, T op2, FPSCR& fpscr);  // 2 - op1*op2
template <class T> T FPRSqrtStepFused(T op1, T op2, FPSCR& fpscr);  // (3 - op1*op2) / 2
// Estimates of 32-bit unsigned fixed-point values (URECPE, URSQRTE); `esize` is 32.
unsigned long UnsignedRecipEstimate(unsigned long op, int esize);
unsigned long UnsignedRSqrtEstimate(unsigned long op, int esize);
double recip_estimate(double a);
double recip_sqrt_estimate(double a);

// ---- Accelerator operations.
template <class T> T FPTRIMADD(unsigned long x, T op1, T op2, FPSCR& fpscr);
template <class T> T FPTRISMUL(T op1, T op2, FPSCR& fpscr);
template <class T> T FPEXPA(T op);
unsigned short FPScale16(unsigned short op, short scale, FPSCR& fpscr);
unsigned int FPScale32(unsigned int op, int scale, FPSCR& fpscr);
unsigned long FPScale64(unsigned long op, long scale, FPSCR& fpscr);

// ---- Constant tables.
namespace fplib_tables {
// Low 8 bits of the 9-bit reciprocal square root estimate, indexed as FPRSqrtEstimate does.
extern const unsigned char recip_sqrt_estimate[256];
// FTMAD coefficients: 0-7 sine series, 8-15 cosine series.
extern const unsigned short ftmad_coeff16[16];
extern const unsigned int ftmad_coeff32[16];
extern const unsigned long ftmad_coeff64[16];
// FEXPA: fraction bits of 2^(i/32) (half) and 2^(i/64) (single, double), rounded to nearest.
extern const unsigned int fexpa_table16[32];
extern const unsigned int fexpa_table32[64];
extern const unsigned long fexpa_table64[64];
}  // namespace fplib_tables

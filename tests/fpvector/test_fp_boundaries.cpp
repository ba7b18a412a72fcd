// Boundary cases of the specialised single and double rows: the places where a host FP unit
// (SSE on x86-64, the processor's own on AArch64) and the AArch64 rules could part (tininess,
// denormals and FZ, NaN propagation, invalid, divide by zero, overflow in each rounding mode,
// rounding itself, the single rounding of the fused forms). Each case runs the row's handler and,
// on a copy, its generic counterpart; both must give the expected element and FPSR. The expected
// values were worked out by hand and checked with exact rational arithmetic.
#include <gtest/gtest.h>

#include "tests/fpvector/fp_util.h"

namespace {

// Operand layouts. Registers: a in z1, b in z2, c in z4; governing predicate p1.
enum shape {
    BIN,   // Zdn z1, Pg, Zm z2: result in z1, merging
    BINX,  // Zd z3, Zn z1, Zm z2: result in z3, unpredicated
    IMM,   // Zdn z1, Pg, immediate bit i1 = b: result in z1, merging
    UN,    // Zd z3, Pg, Zn z1: result in z3, merging
    FMA,   // Zda z1, Pg, Zn z2, Zm z4 (MAD forms: Zdn z1, Zm z2, Za z4): result in z1, merging
    CMP,   // Pd p3, Pg, Zn z1, Zm z2: predicate result
    CMP0,  // Pd p3, Pg, Zn z1: predicate result against +0.0
};

uint32_t word_fields(shape sh, uint64_t b) {
    switch (sh) {
    case BIN: return fld(1, 0) | fld(2, 5) | fld(1, 10);
    case BINX: return fld(3, 0) | fld(1, 5) | fld(2, 16);
    case IMM: return fld(1, 0) | fld(uint32_t(b), 5) | fld(1, 10);
    case UN: return fld(3, 0) | fld(1, 5) | fld(1, 10);
    case FMA: return fld(1, 0) | fld(2, 5) | fld(1, 10) | fld(4, 16);
    case CMP: return fld(3, 0) | fld(1, 5) | fld(1, 10) | fld(2, 16);
    default: return fld(3, 0) | fld(1, 5) | fld(1, 10);
    }
}

struct fp_case {
    const char* row;
    shape sh;
    uint32_t fpcr;
    uint64_t a, b, c;
    uint64_t want;  // the element (compares: 0 or 1)
    uint32_t flags;
};

constexpr uint64_t S1 = 0x3F800000, S2 = 0x40000000, S3 = 0x40400000, S4 = 0x40800000, SH = 0x3F000000;
constexpr uint64_t SM1 = 0xBF800000, SINF = 0x7F800000, SNINF = 0xFF800000, SMAX = 0x7F7FFFFF, SMINN = 0x00800000;
constexpr uint64_t SDN = 0x7FC00000;  // default NaN
constexpr uint64_t D1 = 0x3FF0000000000000, D2 = 0x4000000000000000, D3 = 0x4008000000000000;
constexpr uint64_t DM1 = 0xBFF0000000000000, DINF = 0x7FF0000000000000, DNINF = 0xFFF0000000000000;
constexpr uint64_t DMAX = 0x7FEFFFFFFFFFFFFF, DMINN = 0x0010000000000000, DDN = 0x7FF8000000000000;
constexpr uint32_t RN = 0, RP = 1u << 22, RM = 2u << 22, RZ = 3u << 22;

const fp_case cases[] = {
    // Tininess: 2^-126 - 2^-156 is tiny before rounding (AArch64 raises UFC) and rounds to the
    // smallest normal (x86 would see no underflow); towards zero it stays denormal; FZ flushes it.
    {"VecF32FMAVVVM", FMA, RN, SMINN, 0xB0800000, SMINN, SMINN, F_UFC | F_IXC},
    {"VecF32FMAVVVM", FMA, RZ, SMINN, 0xB0800000, SMINN, 0x007FFFFF, F_UFC | F_IXC},
    {"VecF32FMAVVVM", FMA, C_FZ, SMINN, 0xB0800000, SMINN, 0, F_UFC},
    {"VecD64FMAVVVM", FMA, RN, DMINN, 0xBC30000000000000, DMINN, DMINN, F_UFC | F_IXC},
    {"VecD64FMAVVVM", FMA, RM, DMINN, 0xBC30000000000000, DMINN, 0x000FFFFFFFFFFFFF, F_UFC | F_IXC},
    // (1 - 2^-24) * 2^-126: a tie between the largest denormal and the smallest normal.
    {"VecF32MulVVM", BIN, RN, 0x3F7FFFFF, SMINN, 0, SMINN, F_UFC | F_IXC},
    // A product far below the denormals: zero (or the smallest denormal upwards) with UFC, IXC.
    {"VecF32MulVVM", BIN, RN, 0x0D800000, 0x0D800000, 0, 0, F_UFC | F_IXC},
    {"VecF32MulVVM", BIN, RP, 0x0D800000, 0x0D800000, 0, 1, F_UFC | F_IXC},
    {"VecD64MulVVX", BINX, RN, 0x1A70000000000000, 0x1A70000000000000, 0, 0, F_UFC | F_IXC},
    // An exact smallest normal: no flag.
    {"VecF32AddVVM", BIN, RN, SMINN, 0, 0, SMINN, 0},
    {"VecD64MulVVX", BINX, RN, DMINN, D1, 0, DMINN, 0},

    // Denormal operands: exact without FZ, flushed with IDC under FZ.
    {"VecF32AddVVM", BIN, RN, S1, 1, 0, S1, F_IXC},
    {"VecF32AddVVM", BIN, RP, S1, 1, 0, 0x3F800001, F_IXC},
    {"VecF32AddVVM", BIN, C_FZ, S1, 1, 0, S1, F_IDC},
    {"VecF32AddVVM", BIN, RN, 1, 1, 0, 2, 0},
    {"VecD64AddVVM", BIN, RP, D1, 1, 0, 0x3FF0000000000001, F_IXC},
    {"VecD64AddVVM", BIN, C_FZ | RP, D1, 1, 0, D1, F_IDC},
    {"VecF32MulVVX", BINX, C_FZ, 3, S2, 0, 0, F_IDC},
    {"VecF32SqrtVM", UN, RN, 2, 0, 0, 0x1A800000, 0},  // sqrt(2^-148) = 2^-74
    {"VecF32SqrtVM", UN, C_FZ, 2, 0, 0, 0, F_IDC},
    {"VecF32CmpEQVVZ", CMP, RN, 1, 0, 0, 0, 0},
    {"VecF32CmpEQVVZ", CMP, C_FZ, 1, 0, 0, 1, F_IDC},
    {"VecD64CmpGTVVZ", CMP, RN, 1, 0, 0, 1, 0},
    {"VecD64CmpGTVVZ", CMP, C_FZ, 1, 0, 0, 0, F_IDC},
    {"VecF32CmpLTV0Z", CMP0, C_FZ, 0x80000001, 0, 0, 0, F_IDC},
    // A denormal beside a NaN: still flushed with IDC.
    {"VecF32CmpEQVVZ", CMP, C_FZ, 1, 0x7FC00000, 0, 0, F_IDC},
    {"VecD64CmpGEVVZ", CMP, C_FZ, DDN, 0x8000000000000001, 0, 0, F_IDC | F_IOC},
    {"VecD64CmpNEVVZ", CMP, C_FZ, 1, DDN, 0, 1, F_IDC},

    // A tiny exact result: kept without FZ (no flag), flushed with UFC under FZ.
    {"VecF32SubVVM", BIN, RN, 0x00800001, SMINN, 0, 1, 0},
    {"VecF32SubVVM", BIN, C_FZ, 0x00800001, SMINN, 0, 0, F_UFC},
    {"VecD64SubVVX", BINX, C_FZ, 0x0010000000000001, DMINN, 0, 0, F_UFC},

    // NaN operands: signalling ones are quieted with IOC and win over quiet ones; DN gives the
    // default NaN; a quiet NaN passes without a flag; negating fused forms flip its sign.
    {"VecF32AddVVM", BIN, RN, 0x7F800001, S1, 0, 0x7FC00001, F_IOC},
    {"VecF32AddVVM", BIN, C_DN, 0x7F800001, S1, 0, SDN, F_IOC},
    {"VecF32AddVVM", BIN, RN, 0x7FC00123, S1, 0, 0x7FC00123, 0},
    {"VecF32AddVVM", BIN, RN, 0x7FC00001, 0x7F800002, 0, 0x7FC00002, F_IOC},
    {"VecF32MulVVM", BIN, RN, S1, 0xFFC00042, 0, 0xFFC00042, 0},
    {"VecD64SubVVM", BIN, RN, 0x7FF8000000000001, 0x7FF8000000000002, 0, 0x7FF8000000000001, 0},
    {"VecD64DivRVVM", BIN, RN, 0x7FF8000000000001, 0x7FF8000000000002, 0, 0x7FF8000000000002, 0},
    {"VecF32FMAVVVM", FMA, RN, 0x7FC00005, 0x7FC00006, S1, 0x7FC00005, 0},
    {"VecF32FMSVVVM", FMA, RN, S1, 0x7FC00006, S1, 0xFFC00006, 0},
    {"VecD64SqrtVM", UN, RN, 0xFFF0000000000003, 0, 0, 0xFFF8000000000003, F_IOC},

    // Invalid operations give the default NaN (x86 would give a negative one) with IOC.
    {"VecF32SubVVM", BIN, RN, SINF, SINF, 0, SDN, F_IOC},
    {"VecD64AddVVX", BINX, RN, DINF, DNINF, 0, DDN, F_IOC},
    {"VecF32MulVVX", BINX, RN, 0, SINF, 0, SDN, F_IOC},
    {"VecD64FMAVVVM", FMA, RN, D1, 0, DINF, DDN, F_IOC},
    {"VecF32FMAVVVM", FMA, RN, 0x7FC00005, 0, SINF, SDN, F_IOC},  // 0 * inf + quiet NaN
    {"VecF32DivVVM", BIN, RN, 0, 0, 0, SDN, F_IOC},
    {"VecF32SqrtVM", UN, RN, SM1, 0, 0, SDN, F_IOC},
    {"VecF32SqrtVM", UN, RN, 0x80000000, 0, 0, 0x80000000, 0},

    // Division by zero: a signed infinity with DZC; an infinite dividend raises nothing.
    {"VecF32DivVVM", BIN, RN, S1, 0, 0, SINF, F_DZC},
    {"VecD64DivVVM", BIN, RN, DM1, 0, 0, DNINF, F_DZC},
    {"VecF32DivRVVM", BIN, RN, 0x80000000, S2, 0, SNINF, F_DZC},
    {"VecF32DivVVM", BIN, RN, SINF, 0, 0, SINF, 0},

    // Overflow: infinity or the largest finite number by rounding mode and sign.
    {"VecF32MulVVM", BIN, RN, SMAX, S2, 0, SINF, F_OFC | F_IXC},
    {"VecF32MulVVM", BIN, RP, SMAX, S2, 0, SINF, F_OFC | F_IXC},
    {"VecF32MulVVM", BIN, RM, SMAX, S2, 0, SMAX, F_OFC | F_IXC},
    {"VecF32MulVVM", BIN, RZ, SMAX, S2, 0, SMAX, F_OFC | F_IXC},
    {"VecF32MulVVM", BIN, RN, SMAX | 1ull << 31, S2, 0, SNINF, F_OFC | F_IXC},
    {"VecF32MulVVM", BIN, RP, SMAX | 1ull << 31, S2, 0, SMAX | 1ull << 31, F_OFC | F_IXC},
    {"VecF32MulVVM", BIN, RM, SMAX | 1ull << 31, S2, 0, SNINF, F_OFC | F_IXC},
    {"VecF32AddVVX", BINX, RZ, SMAX, SMAX, 0, SMAX, F_OFC | F_IXC},
    {"VecD64MulVVX", BINX, RN, DMAX, D2, 0, DINF, F_OFC | F_IXC},
    {"VecD64MulVVX", BINX, RM, DMAX, D2, 0, DMAX, F_OFC | F_IXC},

    // Rounding: 1 + 2^-24 is a tie (to even, or by direction), 1/3 and sqrt(2) round by mode.
    {"VecF32AddVVM", BIN, RN, S1, 0x33800000, 0, S1, F_IXC},
    {"VecF32AddVVM", BIN, RP, S1, 0x33800000, 0, 0x3F800001, F_IXC},
    {"VecF32AddVVM", BIN, RM, S1, 0x33800000, 0, S1, F_IXC},
    {"VecF32AddVVM", BIN, RZ, S1, 0x33800000, 0, S1, F_IXC},
    {"VecF32AddVVM", BIN, RP, SM1, 0xB3800000, 0, SM1, F_IXC},
    {"VecF32AddVVM", BIN, RM, SM1, 0xB3800000, 0, 0xBF800001, F_IXC},
    {"VecF32SubVVM", BIN, RN, S1, 0xB3C00000, 0, 0x3F800001, F_IXC},  // 1 + 0.75 ulp
    {"VecF32SubRVVM", BIN, RZ, 0xB3C00000, S1, 0, S1, F_IXC},
    {"VecF32DivVVM", BIN, RN, S1, S3, 0, 0x3EAAAAAB, F_IXC},
    {"VecF32DivVVM", BIN, RP, S1, S3, 0, 0x3EAAAAAB, F_IXC},
    {"VecF32DivVVM", BIN, RM, S1, S3, 0, 0x3EAAAAAA, F_IXC},
    {"VecF32DivVVM", BIN, RZ, S1, S3, 0, 0x3EAAAAAA, F_IXC},
    {"VecD64DivVVM", BIN, RN, D1, D3, 0, 0x3FD5555555555555, F_IXC},
    {"VecD64DivVVM", BIN, RP, D1, D3, 0, 0x3FD5555555555556, F_IXC},
    {"VecD64DivRVVM", BIN, RZ, D3, D1, 0, 0x3FD5555555555555, F_IXC},
    {"VecF32SqrtVM", UN, RN, S2, 0, 0, 0x3FB504F3, F_IXC},
    {"VecF32SqrtVM", UN, RP, S2, 0, 0, 0x3FB504F4, F_IXC},
    {"VecD64SqrtVM", UN, RN, D2, 0, 0, 0x3FF6A09E667F3BCD, F_IXC},
    {"VecD64SqrtVM", UN, RM, D2, 0, 0, 0x3FF6A09E667F3BCC, F_IXC},
    {"VecD64AddVVM", BIN, RP, D1, 0x3CA0000000000000, 0, 0x3FF0000000000001, F_IXC},  // 1 + 2^-53
    // Exact results raise nothing; an exact zero difference is -0 only towards minus infinity.
    {"VecF32AddVVM", BIN, RN, S1, S2, 0, S3, 0},
    {"VecD64MulVVM", BIN, RZ, D3, DM1, 0, 0xC008000000000000, 0},
    {"VecF32SubVVM", BIN, RN, S1, S1, 0, 0, 0},
    {"VecF32SubVVM", BIN, RM, S1, S1, 0, 0x80000000, 0},
    {"VecD64SubVVX", BINX, RM, D2, D2, 0, 0x8000000000000000, 0},
    {"VecD64SqrtVM", UN, RN, 0x4010000000000000, 0, 0, D2, 0},
    // Immediate forms: i1 selects 0.5 or 1.0 (FADD, FSUB, FSUBR), 0.5 or 2.0 (FMUL).
    {"VecF32SubRVIM", IMM, RN, 0x3E800000, 1, 0, 0x3F400000, 0},  // 1.0 - 0.25
    {"VecF32AddVIM", IMM, RN, 0x4B800000, 0, 0, 0x4B800000, F_IXC},  // 2^24 + 0.5
    {"VecF32AddVIM", IMM, RP, 0x4B800000, 0, 0, 0x4B800001, F_IXC},
    {"VecD64MulVIM", IMM, RN, D3, 1, 0, 0x4018000000000000, 0},
    {"VecD64SubVIM", IMM, RM, 0x3FE0000000000000, 0, 0, 0x8000000000000000, 0},

    // Fused forms round once: (1 + 2^-23)^2 - (1 + 2^-22) is 2^-46 exactly (0 after a separate
    // multiply and add), and each form takes its operands in its own order and signs.
    {"VecF32FMAVVVM", FMA, RN, 0xBF800002, 0x3F800001, 0x3F800001, 0x28800000, 0},
    {"VecD64FMAVVVM", FMA, RN, 0xBFF0000000000002, 0x3FF0000000000001, 0x3FF0000000000001, 0x3970000000000000, 0},
    {"VecF32FMADDVVVM", FMA, RN, 0x3F800001, 0x3F800001, 0xBF800002, 0x28800000, 0},
    {"VecD64FMAVVVM", FMA, RP, D1, 0x3E10000000000000, 0x3E10000000000000, 0x3FF0000000000001, F_IXC},
    {"VecD64FMAVVVM", FMA, RN, D1, 0x3E10000000000000, 0x3E10000000000000, D1, F_IXC},
    {"VecF32FMAVVVM", FMA, RN, SH, S3, S4, 0x41480000, 0},      // 0.5 + 3*4
    {"VecF32FMSVVVM", FMA, RN, SH, S3, S4, 0xC1380000, 0},      // 0.5 - 3*4
    {"VecF32FNMAVVVM", FMA, RN, SH, S3, S4, 0xC1480000, 0},     // -0.5 - 3*4
    {"VecF32FNMSVVVM", FMA, RN, SH, S3, S4, 0x41380000, 0},     // -0.5 + 3*4
    {"VecF32FMADDVVVM", FMA, RN, S3, S4, SH, 0x41480000, 0},    // 3*4 + 0.5
    {"VecF32FMSUBVVVM", FMA, RN, S3, S4, SH, 0xC1380000, 0},    // 0.5 - 3*4
    {"VecF32FNMADDVVVM", FMA, RN, S3, S4, SH, 0xC1480000, 0},   // -0.5 - 3*4
    {"VecF32FNMSUBVVVM", FMA, RN, S3, S4, SH, 0x41380000, 0},   // -0.5 + 3*4
    {"VecD64FNMSVVVM", FMA, RN, D1, D3, 0xC000000000000000, 0xC01C000000000000, 0},  // -1 + 3*-2
    {"VecF32FNMAVVVM", FMA, RN, 0, S1, 0, 0x80000000, 0},  // -0 + -(1*0)

    // Maximum and minimum: +0 is above -0 in either order; FMAX passes a quiet NaN, FMAXNM and
    // FMINNM take the number instead; a signalling NaN raises IOC; FZ flushes before comparing.
    {"VecF32MaxVVM", BIN, RN, 0, 0x80000000, 0, 0, 0},
    {"VecF32MaxVVM", BIN, RN, 0x80000000, 0, 0, 0, 0},
    {"VecD64MaxNumVVM", BIN, RN, 0x8000000000000000, 0, 0, 0, 0},
    {"VecF32MinNumVVM", BIN, RN, 0, 0x80000000, 0, 0x80000000, 0},
    {"VecD64MinNumVVM", BIN, RN, 0x8000000000000000, 0, 0, 0x8000000000000000, 0},
    {"VecF32MaxVVM", BIN, RN, S1, S2, 0, S2, 0},
    {"VecD64MaxVVM", BIN, RN, D3, DM1, 0, D3, 0},
    {"VecF32MinNumVVM", BIN, RN, SM1, S3, 0, SM1, 0},
    {"VecD64MinNumVVM", BIN, RN, DINF, D2, 0, D2, 0},
    {"VecF32MaxVVM", BIN, RN, 0x7FC00007, S1, 0, 0x7FC00007, 0},
    {"VecF32MaxNumVVM", BIN, RN, 0x7FC00007, S1, 0, S1, 0},
    {"VecD64MinNumVVM", BIN, RN, D1, DDN, 0, D1, 0},
    {"VecF32MaxNumVVM", BIN, RN, 0x7F800001, S1, 0, 0x7FC00001, F_IOC},
    {"VecF32MaxVVM", BIN, RN, 5, 3, 0, 5, 0},
    {"VecF32MaxVVM", BIN, C_FZ, 5, 0x80000003, 0, 0, F_IDC},
    {"VecD64MinNumVVM", BIN, C_FZ, 0x8000000000000005, 0, 0, 0x8000000000000000, F_IDC},

    // SCVTF rounds by mode; FCVTZS truncates, saturates with IOC, gives 0 for NaN with IOC, and
    // under FZ flushes a denormal with IDC instead of raising IXC.
    {"VecF32FromS4VM", UN, RN, 16777217, 0, 0, 0x4B800000, F_IXC},
    {"VecF32FromS4VM", UN, RP, 16777217, 0, 0, 0x4B800001, F_IXC},
    {"VecF32FromS4VM", UN, RM, 0xFEFFFFFF, 0, 0, 0xCB800001, F_IXC},  // -16777217
    {"VecF32FromS4VM", UN, RZ, 0x80000000, 0, 0, 0xCF000000, 0},
    {"VecF32FromS4VM", UN, RN, 0xFFFFFFFF, 0, 0, SM1, 0},
    {"VecS32_4FromFVM", UN, RN, 0x40200000, 0, 0, 2, F_IXC},            // 2.5
    {"VecS32_4FromFVM", UN, RP, 0xC0200000, 0, 0, 0xFFFFFFFE, F_IXC},   // -2.5, towards zero in any mode
    {"VecS32_4FromFVM", UN, RN, 0x4F32D05E, 0, 0, 0x7FFFFFFF, F_IOC},   // 3e9
    {"VecS32_4FromFVM", UN, RN, 0xCF000000, 0, 0, 0x80000000, 0},       // -2^31
    {"VecS32_4FromFVM", UN, RN, 0xCF000001, 0, 0, 0x80000000, F_IOC},
    {"VecS32_4FromFVM", UN, RN, SDN, 0, 0, 0, F_IOC},
    {"VecS32_4FromFVM", UN, RN, 0x80000000, 0, 0, 0, 0},
    {"VecS32_4FromFVM", UN, RN, 3, 0, 0, 0, F_IXC},
    {"VecS32_4FromFVM", UN, C_FZ, 3, 0, 0, 0, F_IDC},
    {"VecS32_4FromFVM", UN, RN, 0x4B800001, 0, 0, 16777218, 0},

    // FCVT single to double (the single in the low half of the container): exact, denormals
    // become normal numbers unless FZ flushes them, NaNs are quieted with their payload kept.
    {"VecD64ExtndFVM", UN, RN, 0xFFFFFFFF3FA00000, 0, 0, 0x3FF4000000000000, 0},  // 1.25
    {"VecD64ExtndFVM", UN, RN, 1, 0, 0, 0x36A0000000000000, 0},                   // 2^-149
    {"VecD64ExtndFVM", UN, C_FZ, 0x80000001, 0, 0, 0x8000000000000000, F_IDC},
    {"VecD64ExtndFVM", UN, RN, 0x7F800001, 0, 0, 0x7FF8000020000000, F_IOC},
    {"VecD64ExtndFVM", UN, RN, 0xFFC00001, 0, 0, 0xFFF8000020000000, 0},
    {"VecD64ExtndFVM", UN, C_DN, 0xFFC00001, 0, 0, DDN, 0},
    {"VecD64ExtndFVM", UN, RM, SNINF, 0, 0, DNINF, 0},

    // Compares: EQ, NE, UO quiet, GE, GT, LE, LT signalling on quiet NaNs.
    {"VecF32CmpEQVVZ", CMP, RN, 0x7FC00000, 0x7FC00000, 0, 0, 0},
    {"VecF32CmpEQVVZ", CMP, RN, 0x7F800001, S1, 0, 0, F_IOC},
    {"VecF32CmpNEVVZ", CMP, RN, 0x7FC00000, S1, 0, 1, 0},
    {"VecF32CmpGEVVZ", CMP, RN, 0x7FC00000, S1, 0, 0, F_IOC},
    {"VecF32CmpGEVVZ", CMP, RN, 0x80000000, 0, 0, 1, 0},
    {"VecD64CmpGTVVZ", CMP, RN, D2, D1, 0, 1, 0},
    {"VecD64CmpGTVVZ", CMP, RN, D1, D1, 0, 0, 0},
    {"VecD64CmpUNVVZ", CMP, RN, D1, DDN, 0, 1, 0},
    {"VecD64CmpUNVVZ", CMP, RN, D1, 0x7FF0000000000001, 0, 1, F_IOC},
    {"VecD64CmpUNVVZ", CMP, RN, D1, DINF, 0, 0, 0},
    {"VecF32CmpLEV0Z", CMP0, RN, 0x7FC00000, 0, 0, 0, F_IOC},
    {"VecF32CmpLEV0Z", CMP0, RN, 0x80000000, 0, 0, 1, 0},
    {"VecD64CmpLTV0Z", CMP0, RN, DM1, 0, 0, 1, 0},
    {"VecF32CmpEQV0Z", CMP0, RN, 0x80000000, 0, 0, 1, 0},
    {"VecD64CmpGEV0Z", CMP0, RN, DM1, 0, 0, 0, 0},
};

template <class T>
void fill(cpu_state& s, int z, uint64_t v) {
    zfill<T>(s, z, T(v));
}

// Runs one case on a state whose last element is inactive; checks the specialised tier against
// the expected values and the generic tier against the specialised one.
template <class T>
void run_case(const fp_case& c) {
    constexpr int n = SVE_VL_BYTES / sizeof(T);
    constexpr T old = T(0x5A5A5A5A5A5A5A5Aull);
    cpu_state s;
    clean_state(s);
    fill<T>(s, 1, c.a);
    fill<T>(s, 2, c.b);
    fill<T>(s, 4, c.c);
    fill<T>(s, 3, old);
    pset_mask(s, 1, sizeof(T), (1ull << (n - 1)) - 1);
    s.fpcr = c.fpcr;
    cpu_state g = s;
    uint32_t fields = word_fields(c.sh, c.b);
    ASSERT_EQ(run_row(c.row, s, fields), RC_DONE);
    const sve_row_info* r = row_named(c.row);
    ASSERT_TRUE(r && r->generic);
    ASSERT_EQ(r->generic(&g, sve_row_word(*r, fields)), RC_DONE);
    EXPECT_EQ(state_diff(s, g, false), "") << "specialised vs generic";

    EXPECT_EQ(s.fpsr, c.flags);
    if (c.sh == CMP || c.sh == CMP0) {
        for (int e = 0; e < n; e++) {
            T slot;
            std::memcpy(&slot, s.p[3] + e * sizeof(T), sizeof(T));
            ASSERT_EQ(slot, e < n - 1 ? T(c.want) : T(0)) << "element " << e;
        }
        return;
    }
    int zd = c.sh == BINX || c.sh == UN ? 3 : 1;
    T keep = c.sh == UN ? old : T(c.a);  // an inactive element keeps the destination's old value
    for (int e = 0; e < n; e++) {
        T want = e < n - 1 || c.sh == BINX ? T(c.want) : keep;
        ASSERT_EQ(zget<T>(s, zd, e), want) << "element " << e << std::hex << " got " << zget<T>(s, zd, e);
    }
}

}  // namespace

TEST(FpBoundaries, SpecialisedRowsGiveTheAArch64ResultsAndFlags) {
    for (const fp_case& c : cases) {
        SCOPED_TRACE(::testing::Message() << c.row << " fpcr " << std::hex << c.fpcr << " a " << c.a << " b " << c.b
                                          << " c " << c.c);
        if (std::string(c.row).find("D64") != std::string::npos) run_case<uint64_t>(c);
        else run_case<uint32_t>(c);
    }
}

// Inactive lanes hold operands that would raise every flag or fail every check (signalling NaN,
// infinities, zero divisors, denormals under FZ, inexact quotients); the active lanes are exact.
// Nothing may reach fpsr, and the inactive lanes keep their old values.
TEST(FpBoundaries, InactiveLanesRaiseNothing) {
    struct lane_case {
        const char* row;
        shape sh;
    };
    const lane_case rows[] = {
        {"VecF32AddVVM", BIN}, {"VecD64SubVVM", BIN}, {"VecF32MulVVM", BIN}, {"VecD64DivVVM", BIN},
        {"VecF32DivRVVM", BIN}, {"VecD64SqrtVM", UN}, {"VecF32FMAVVVM", FMA}, {"VecD64FNMSUBVVVM", FMA},
        {"VecF32CmpGEVVZ", CMP}, {"VecD64CmpEQVVZ", CMP}, {"VecF32AddVIM", IMM}, {"VecS32_4FromFVM", UN},
        {"VecF32FromS4VM", UN}, {"VecD64ExtndFVM", UN},
    };
    for (const lane_case& lc : rows) {
        SCOPED_TRACE(lc.row);
        bool dbl = std::string(lc.row).find("D64") != std::string::npos;
        int bytes = dbl ? 8 : 4, n = SVE_VL_BYTES / bytes;
        uint64_t one = dbl ? D1 : S1, two = dbl ? D2 : S2;
        const uint64_t bad[] = {dbl ? 0x7FF0000000000001ull : 0x7F800001ull, dbl ? DINF : SINF, 0, 1,
                                dbl ? D3 : S3, dbl ? 0x8000000000000001ull : 0x80000001ull};
        for (uint32_t fpcr : {RN, C_FZ | RM}) {
            cpu_state s;
            clean_state(s);
            for (int e = 0; e < n; e++) {
                bool active = e % 3 == 1;
                uint64_t x = active ? one : bad[e % 6], y = active ? two : bad[(e + 2) % 6];
                std::memcpy(s.z[1] + e * bytes, &x, bytes);
                std::memcpy(s.z[2] + e * bytes, &y, bytes);
                std::memcpy(s.z[4] + e * bytes, &y, bytes);
                std::memcpy(s.z[3] + e * bytes, &x, bytes);
                s.p[1][e * bytes] = active;
            }
            s.fpcr = fpcr;
            cpu_state before = s, g = s;
            uint32_t fields = word_fields(lc.sh, 1);
            ASSERT_EQ(run_row(lc.row, s, fields), RC_DONE);
            const sve_row_info* r = row_named(lc.row);
            ASSERT_EQ(r->generic(&g, sve_row_word(*r, fields)), RC_DONE);
            EXPECT_EQ(state_diff(s, g, false), "");
            EXPECT_EQ(s.fpsr, 0u) << std::hex << s.fpsr;
            int zd = lc.sh == UN ? 3 : 1;
            for (int e = 0; e < n && lc.sh != CMP; e++) {
                if (e % 3 != 1) {
                    ASSERT_EQ(std::memcmp(s.z[zd] + e * bytes, before.z[zd] + e * bytes, bytes), 0) << e;
                }
            }
        }
    }
}

// Element results and flags of the vector floating-point rows, from the words through the
// handlers: which library operation each row reaches, operand order, negations, immediates,
// containers, and which FPCR bits a row sees. The library's own arithmetic is tested with the
// library. Expected values are IEEE 754 results worked out by hand and the architecture's rules.
#include <gtest/gtest.h>

#include "tests/fpvector/fp_util.h"

namespace {

// Operand layout of the shapes (register numbers fixed so that words are easy to read):
//   V2  predicated two-operand:   Zdn z1 = a, Zm z2 = b, Pg p1                 -> z1
//   VX  unpredicated:             Zd z4, Zn z1 = a, Zm z2 = b                  -> z4
//   VI  immediate:                Zdn z1 = a, i1 = imm, Pg p1                  -> z1
//   V1  predicated one-operand:   Zd z4 (old 0x5A..), Zn z1 = a, Pg p1         -> z4
//   U1  unpredicated one-operand: Zd z4, Zn z1 = a                             -> z4
//   V3  fused accumulating:       Zda z1 = a, Zn z2 = b, Zm z3 = c, Pg p1      -> z1
//   M3  fused multiplicand:       Zdn z1 = a, Zm z2 = b, Za z3 = c, Pg p1      -> z1
//   C2  compare:                  Pd p3, Pg p1, Zn z1 = a, Zm z2 = b           -> p3
//   C0  compare with zero:        Pd p3, Pg p1, Zn z1 = a                      -> p3
//   TM  FTMAD:                    Zdn z1 = a, Zm z2 = b, imm3                  -> z1
enum shape { V2, VX, VI, V1, U1, V3, M3, C2, C0, TM };

struct elem_case {
    const char* row;
    shape sh;
    int bytes;       // container size of the row
    uint32_t fpcr;
    uint64_t a, b, c;
    uint32_t imm;
    uint64_t want;   // element result, or 0/1 for compares
    uint32_t flags;  // fpsr after the instruction
};

uint32_t fields_of(shape sh, uint32_t imm) {
    switch (sh) {
    case V2: return fld(1, 0) | fld(2, 5) | fld(1, 10);
    case VX: return fld(4, 0) | fld(1, 5) | fld(2, 16);
    case VI: return fld(1, 0) | fld(imm, 5) | fld(1, 10);
    case V1: return fld(4, 0) | fld(1, 5) | fld(1, 10);
    case U1: return fld(4, 0) | fld(1, 5);
    case V3: return fld(1, 0) | fld(2, 5) | fld(1, 10) | fld(3, 16);
    case M3: return fld(1, 0) | fld(2, 5) | fld(1, 10) | fld(3, 16);
    case C2: return fld(3, 0) | fld(1, 5) | fld(1, 10) | fld(2, 16);
    case C0: return fld(3, 0) | fld(1, 5) | fld(1, 10);
    case TM: return fld(1, 0) | fld(2, 5) | fld(imm, 16);
    }
    return 0;
}

template <class T>
void fill_operands(cpu_state& s, const elem_case& c) {
    zfill<T>(s, 1, T(c.a));
    zfill<T>(s, 2, T(c.b));
    zfill<T>(s, 3, T(c.c));
    std::memset(s.z[4], 0x5A, SVE_VL_BYTES);
}

template <class T>
void check_case(const elem_case& c) {
    SCOPED_TRACE(c.row);
    cpu_state s;
    clean_state(s);
    fill_operands<T>(s, c);
    pset_all(s, 1);
    std::memset(s.p[3], 0xEE, SVE_VL_BYTES);
    s.fpcr = c.fpcr;
    ASSERT_EQ(run_row(c.row, s, fields_of(c.sh, c.imm)), RC_DONE);
    int n = SVE_VL_BYTES / sizeof(T);
    if (c.sh == C2 || c.sh == C0) {
        for (int e = 0; e < n; e++) {
            EXPECT_EQ(s.p[3][e * sizeof(T)], c.want) << "element " << e;
            for (size_t k = 1; k < sizeof(T); k++) EXPECT_EQ(s.p[3][e * sizeof(T) + k], 0) << "element " << e;
        }
    } else {
        int zd = (c.sh == VX || c.sh == V1 || c.sh == U1) ? 4 : 1;
        EXPECT_EQ(zget<T>(s, zd, 0), T(c.want)) << std::hex << "got " << uint64_t(zget<T>(s, zd, 0));
        EXPECT_EQ(zget<T>(s, zd, n - 1), T(c.want));
    }
    EXPECT_EQ(s.fpsr, c.flags) << std::hex << "fpsr";
    EXPECT_EQ(s.nzcv, 0u) << "floating-point compares leave NZCV alone";
}

void check(const elem_case& c) {
    switch (c.bytes) {
    case 2: check_case<uint16_t>(c); break;
    case 4: check_case<uint32_t>(c); break;
    default: check_case<uint64_t>(c); break;
    }
}

// Patterns.
constexpr uint32_t S1 = 0x3F800000, S2 = 0x40000000, S3 = 0x40400000, SHALF = 0x3F000000, SM1 = 0xBF800000;
constexpr uint32_t SINF = 0x7F800000, SQNAN = 0x7FC00000, SNEG0 = 0x80000000;
constexpr uint64_t D1 = 0x3FF0000000000000ull, DINF = 0x7FF0000000000000ull, DQNAN = 0x7FF8000000000000ull;
constexpr uint16_t H1 = 0x3C00, H2 = 0x4000, HMAX = 0x7BFF, HINF = 0x7C00;

}  // namespace

TEST(FpElements, Arithmetic) {
    const elem_case cases[] = {
        // 1 + 2^-24 is a tie between 1 and 1 + 2^-23: to even gives 1, upwards 1 + 2^-23.
        {"VecF32AddVVM", V2, 4, 0, S1, 0x33800000, 0, 0, S1, F_IXC},
        {"VecF32AddVVM", V2, 4, rmode(1), S1, 0x33800000, 0, 0, 0x3F800001, F_IXC},
        {"VecF32SubRVVM", V2, 4, 0, S1, S3, 0, 0, S2, 0},
        {"VecD64SubRVVM", V2, 8, 0, D1, 0x4008000000000000ull, 0, 0, 0x4000000000000000ull, 0},
        // FMULX: infinity times zero is 2.0 with the product's sign, no flag.
        {"VecF32MulXVVM", V2, 4, 0, SINF | 0x80000000, 0, 0, 0, 0xC0000000, 0},
        {"VecF32DivRVVM", V2, 4, 0, S2, S1, 0, 0, SHALF, 0},
        // FABD: |NaN| keeps the payload of the first NaN, sign cleared; 1 - 1 towards -inf is -0, |-0| = +0.
        {"VecF32AbdVVM", V2, 4, 0, 0xFFC00001, 0xFFC00002, 0, 0, 0x7FC00001, 0},
        {"VecF32AbdVVM", V2, 4, rmode(2), S1, S1, 0, 0, 0, 0},
        // Max / min: NaN propagation, signed zeros, number preference.
        {"VecF32MaxVVM", V2, 4, 0, 0x7FC00005, S1, 0, 0, 0x7FC00005, 0},
        {"VecF32MinVVM", V2, 4, 0, 0, SNEG0, 0, 0, SNEG0, 0},
        {"VecF32MaxNumVVM", V2, 4, 0, 0x7FC00005, S1, 0, 0, S1, 0},
        // FSCALE: the scale is the signed integer in Zm.
        {"VecF32ScaleVVM", V2, 4, 0, S1, 3, 0, 0, 0x41000000, 0},
        {"VecD64ScaleVVM", V2, 8, 0, D1, uint64_t(-2), 0, 0, 0x3FD0000000000000ull, 0},
        {"VecF32AddVVX", VX, 4, 0, S1, S2, 0, 0, S3, 0},
        // FRECPS: 2 - a*b, infinity times zero gives 2.0 without a flag; FRSQRTS: (3 - a*b) / 2.
        {"VecF32RecpSVV", VX, 4, 0, SINF, 0, 0, 0, S2, 0},
        {"VecF32RSqrtSVV", VX, 4, 0, S1, S1, 0, 0, S1, 0},
        // FTSMUL: a*a with the sign of bit 0 of b. FTSSEL: 1.0 when b bit 0, sign flipped by b bit 1.
        {"VecF32TRISMULVV", VX, 4, 0, S3, 1, 0, 0, 0xC1100000, 0},
        {"VecF32TRISSELVV", VX, 4, 0, S3, 3, 0, 0, SM1, 0},
        {"VecF16TRISSELVV", VX, 2, 0, 0x7E01, 2, 0, 0, 0xFE01, 0},
    };
    for (const auto& c : cases) check(c);
}

TEST(FpElements, Immediates) {
    const elem_case cases[] = {
        // i1 selects 0.5 / 1.0 (add, sub, subr), 0.5 / 2.0 (mul), 0.0 / 1.0 (max, min).
        {"VecF32SubRVIM", VI, 4, 0, 0x3E800000, 0, 0, 1, 0x3F400000, 0},  // 1.0 - 0.25
        {"VecF32MulVIM", VI, 4, 0, S3, 0, 0, 1, 0x40C00000, 0},
        {"VecF16SubRVIM", VI, 2, 0, 0x3400, 0, 0, 1, 0x3A00, 0},          // 1.0 - 0.25
        {"VecF16MulVIM", VI, 2, 0, H1, 0, 0, 1, H2, 0},
        {"VecF16AddVIM", VI, 2, C_AHP | C_FZ16, H1, 0, 0, 0, 0x3E00, 0},   // AHP does not reach the immediate
        {"VecF32MaxNumVIM", VI, 4, 0, SQNAN, 0, 0, 1, S1, 0},
        {"VecD64MaxVIM", VI, 8, 0, 0xBFF0000000000000ull, 0, 0, 0, 0, 0},
    };
    for (const auto& c : cases) check(c);
}

TEST(FpElements, Fused) {
    // (1 + 2^-12)^2 = 1 + 2^-11 + 2^-24: a fused -1 + that keeps the 2^-24 an unfused one loses.
    constexpr uint32_t B = 0x3F800800;
    const elem_case cases[] = {
        {"VecF32FMAVVVM", V3, 4, 0, SM1, B, B, 0, 0x3A000400, 0},
        {"VecF32FMSVVVM", V3, 4, 0, S1, B, B, 0, 0xBA000400, 0},
        {"VecF32FNMAVVVM", V3, 4, 0, SM1, B, B, 0, 0xBA000400, 0},
        // FNMLA with Zda = +0, Zn = 1, Zm = 0: -0 + (-1 * 0) = -0.
        {"VecF32FNMAVVVM", V3, 4, 0, 0, S1, 0, 0, SNEG0, 0},
        // A NaN multiplicand of a negating form reaches NaN selection negated.
        {"VecF32FMSVVVM", V3, 4, 0, S1, 0x7FC00001, S1, 0, 0xFFC00001, 0},
        // Quiet NaN addend with infinity times zero: default NaN and IOC.
        {"VecD64FMAVVVM", V3, 8, 0, DQNAN | 5, DINF, 0, 0, DQNAN, F_IOC},
        // FMAD family: Zdn is the multiplicand, the third register the addend.
        {"VecF32FMADDVVVM", M3, 4, 0, B, B, SM1, 0, 0x3A000400, 0},
        {"VecF32FMSUBVVVM", M3, 4, 0, B, B, S1, 0, 0xBA000400, 0},
        {"VecD64FNMSUBVVVM", M3, 8, 0, D1, 0x4000000000000000ull, D1, 0, D1, 0},
        {"VecF16FMADDVVVM", M3, 2, 0, H2, H2, H1, 0, 0x4500, 0},  // 1 + 2*2 = 5
    };
    for (const auto& c : cases) check(c);
}

TEST(FpElements, Compares) {
    const elem_case cases[] = {
        // Quiet compares (EQ, NE, UO) signal only on signalling NaNs; GE, GT signal on any NaN.
        {"VecF32CmpGEVVZ", C2, 4, 0, SQNAN, S1, 0, 0, 0, F_IOC},
        {"VecF32CmpEQVVZ", C2, 4, 0, SQNAN, S1, 0, 0, 0, 0},
        {"VecF32CmpNEVVZ", C2, 4, 0, SQNAN, S1, 0, 0, 1, 0},
        {"VecF32CmpEQVVZ", C2, 4, 0, 0, SNEG0, 0, 0, 1, 0},
        {"VecF16CmpGTVVZ", C2, 2, 0, H1, H2, 0, 0, 0, 0},
        // FACGE, FACGT compare magnitudes.
        {"VecF32AcGTVVZ", C2, 4, 0, 0xC0000000, S1, 0, 0, 1, 0},
        {"VecF16AcGEVVZ", C2, 2, 0, 0x7E00, H1, 0, 0, 0, F_IOC},
        // With #0.0; LE and LT compare +0 with Zn, so a NaN gives false and IOC.
        {"VecF32CmpLEV0Z", C0, 4, 0, SQNAN, 0, 0, 0, 0, F_IOC},
        {"VecD64CmpLTV0Z", C0, 8, 0, D1, 0, 0, 0, 0, 0},
        {"VecF32CmpGTV0Z", C0, 4, C_FZ, 0x00000001, 0, 0, 0, 0, F_IDC},
        {"VecF32CmpNEV0Z", C0, 4, 0, SQNAN, 0, 0, 0, 1, 0},
        {"VecF16CmpGEV0Z", C0, 2, C_FZ16, 0x0001, 0, 0, 0, 1, 0},  // flushed to zero: 0 >= 0, no IDC for half
    };
    for (const auto& c : cases) check(c);
}

TEST(FpElements, UnaryRoundingAndEstimates) {
    const elem_case cases[] = {
        {"VecF32AbsVM", V1, 4, 0, 0xFF800001, 0, 0, 0, 0x7F800001, 0},  // no quieting, no flag
        {"VecD64NegVM", V1, 8, 0, DQNAN, 0, 0, 0, DQNAN | (1ull << 63), 0},
        {"VecF32SqrtVM", V1, 4, 0, 0x40800000, 0, 0, 0, S2, 0},
        // Ties away from zero, to even, towards the infinities and zero; FRINTX raises IXC, FRINTI not.
        {"VecF32FRIntAVM", V1, 4, 0, 0x40200000, 0, 0, 0, S3, 0},
        {"VecF16FRIntAVM", V1, 2, 0, 0x4100, 0, 0, 0, 0x4200, 0},
        {"VecF32FRIntNVM", V1, 4, 0, 0x40200000, 0, 0, 0, S2, 0},
        {"VecF32FRIntPVM", V1, 4, 0, 0xBE99999A, 0, 0, 0, SNEG0, 0},  // -0.3 up: -0
        {"VecD64FRIntZVM", V1, 8, 0, 0xC004000000000000ull, 0, 0, 0, 0xC000000000000000ull, 0},
        {"VecF32FRIntXVM", V1, 4, 0, 0x40200000, 0, 0, 0, S2, F_IXC},
        {"VecF32FRIntIVM", V1, 4, 0, 0x40200000, 0, 0, 0, S2, 0},
        {"VecF32FRIntIVM", V1, 4, rmode(1), 0x40200000, 0, 0, 0, S3, 0},
        // FRECPX: exponent field inverted, fraction cleared.
        {"VecF32RecpXVM", V1, 4, 0, S1, 0, 0, 0, S2, 0},
        {"VecF32RecpEV", U1, 4, 0, S1, 0, 0, 0, 0x3F7F8000, 0},
        {"VecF32RSqrtEV", U1, 4, 0, 0x40800000, 0, 0, 0, 0x3EFF8000, 0},
        // FEXPA: exponent from the upper bits, fraction from the table (entry 0 is 0).
        {"VecF32EXPAV", U1, 4, 0, 127u << 6, 0, 0, 0, S1, 0},
        // FTMAD: coefficient[imm3 (+8 if Zm is negative)] + Zdn * |Zm|.
        {"VecF32TRIMADDVVI", TM, 4, 0, 0, S1, 0, 0, S1, 0},
        {"VecF32TRIMADDVVI", TM, 4, 0, 0, SM1, 0, 1, 0xBF000000, 0},
        {"VecD64TRIMADDVVI", TM, 8, 0, D1, D1, 0, 0, 0x4000000000000000ull, 0},
    };
    for (const auto& c : cases) check(c);
}

TEST(FpElements, Conversions) {
    const elem_case cases[] = {
        // FCVTZS / FCVTZU round towards zero and saturate with IOC.
        {"VecS32_4FromFVM", V1, 4, 0, 0x4F000000, 0, 0, 0, 0x7FFFFFFF, F_IOC},
        {"VecS32_4FromFVM", V1, 4, 0, 0xC0200000, 0, 0, 0, uint32_t(-2), F_IXC},  // -2.5 towards zero
        {"VecU32_4FromFVM", V1, 4, 0, 0xBF000000, 0, 0, 0, 0, F_IXC},
        {"VecS16_2FromHVM", V1, 2, 0, HMAX, 0, 0, 0, 0x7FFF, F_IOC},
        {"VecU16_2FromHVM", V1, 2, 0, HMAX, 0, 0, 0, 0xFFE0, 0},
        {"VecS32_4FromHVM", V1, 4, 0, 0xBC00, 0, 0, 0, 0xFFFFFFFF, 0},
        {"VecS64_8FromHVM", V1, 8, 0, 0xC000, 0, 0, 0, uint64_t(-2), 0},
        {"VecS64_8FromFVM", V1, 8, 0, 0xDF000000, 0, 0, 0, 1ull << 63, 0},          // -2^63 is exact
        // Double to 32 bits: sign-extended (FCVTZS) or zero-extended (FCVTZU) in the container.
        {"VecS64_4FromDVM", V1, 8, 0, 0xBFF0000000000000ull, 0, 0, 0, ~0ull, 0},
        {"VecU64_4FromDVM", V1, 8, 0, 0x41E65A0BC0000000ull, 0, 0, 0, 3000000000ull, 0},
        {"VecS64_4FromDVM", V1, 8, 0, 0x41E0000000000000ull, 0, 0, 0, 0x7FFFFFFF, F_IOC},
        {"VecU64_8FromDVM", V1, 8, 0, 0x43E0000000000000ull, 0, 0, 0, 1ull << 63, 0},
        // SCVTF, UCVTF.
        {"VecF32FromU4VM", V1, 4, 0, 0xFFFFFFFF, 0, 0, 0, 0x4F800000, F_IXC},
        {"VecD64FromS8VM", V1, 8, 0, 1ull << 63, 0, 0, 0, 0xC3E0000000000000ull, 0},
        {"VecD64FromS4VM", V1, 8, 0, 0xDEADBEEFFFFFFFFEull, 0, 0, 0, 0xC000000000000000ull, 0},  // low word -2
        {"VecD64FromU4VM", V1, 8, 0, 0xDEADBEEFFFFFFFFEull, 0, 0, 0, 0x41EFFFFFFFC00000ull, 0},
        {"VecF64FromS8VM", V1, 8, 0, 1, 0, 0, 0, S1, 0},                          // single in a 64-bit container
        {"VecF64FromU8VM", V1, 8, 0, ~0ull, 0, 0, 0, 0x5F800000, F_IXC},
        {"VecF16FromU8VM", V1, 8, 0, ~0ull, 0, 0, 0, HINF, F_OFC | F_IXC},
        {"VecF16FromU4VM", V1, 4, 0, 65520, 0, 0, 0, HINF, F_OFC | F_IXC},
        {"VecF16FromS2VM", V1, 2, 0, 0xFFFF, 0, 0, 0, 0xBC00, 0},
        // FCVT narrowing: RMode applies, AHP and FZ16 do not, FZ does.
        {"VecH32TruncFVM", V1, 4, 0, 0x477FF000, 0, 0, 0, HINF, F_OFC | F_IXC},
        {"VecH32TruncFVM", V1, 4, rmode(3), 0x477FF000, 0, 0, 0, HMAX, F_IXC},
        {"VecH32TruncFVM", V1, 4, C_AHP, SQNAN, 0, 0, 0, 0x7E00, 0},
        {"VecH32TruncFVM", V1, 4, C_FZ, 0x00000001, 0, 0, 0, 0, F_IDC},
        {"VecF64TruncDVM", V1, 8, 0, D1, 0, 0, 0, S1, 0},
        {"VecF64TruncDVM", V1, 8, 0, 0x7FF8000000000001ull | (1ull << 40), 0, 0, 0, 0x7FC00000 | (1u << 11), 0},
        // FCVT widening: exact; FZ16 and AHP are not applied by the vector forms.
        {"VecF32ExtndHVM", V1, 4, C_FZ16 | C_AHP, 0x0001, 0, 0, 0, 0x33800000, 0},
        {"VecF32ExtndHVM", V1, 4, 0, 0x7C01, 0, 0, 0, 0x7FC02000, F_IOC},
        {"VecD64ExtndFVM", V1, 8, 0, 0xFFFFFFFF00000000ull | S1, 0, 0, 0, D1, 0},
        {"VecD64ExtndFVM", V1, 8, C_FZ, 0x00000001, 0, 0, 0, 0, F_IDC},
    };
    for (const auto& c : cases) check(c);
}

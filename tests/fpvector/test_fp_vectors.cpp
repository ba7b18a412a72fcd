// Whole-vector behaviour of the floating-point rows: predication and merging, aliasing of
// destination and sources, reductions and their exact order, complex and indexed pairing, FDUP
// and FCPY immediates.
#include <gtest/gtest.h>

#include <vector>

#include "tests/fpvector/fp_util.h"

namespace {

constexpr uint32_t S1 = 0x3F800000, S2 = 0x40000000, S3 = 0x40400000, S4 = 0x40800000, S5 = 0x40A00000;
constexpr uint32_t SM1 = 0xBF800000;

float f_of(uint32_t x) {
    float f;
    std::memcpy(&f, &x, 4);
    return f;
}
uint32_t bits_of(float f) {
    uint32_t x;
    std::memcpy(&x, &f, 4);
    return x;
}

// Word fields: Zdn/Zd 4:0, Zn/Zm 9:5, Pg 12:10, third register 20:16.
uint32_t f3(int d, int n, int pg, int m) { return fld(d, 0) | fld(n, 5) | fld(pg, 10) | fld(m, 16); }

}  // namespace

TEST(FpVectors, AllFalsePredicateChangesNothing) {
    // Destination unchanged and no flag, also for the half immediate forms whose conversion
    // of the immediate runs for every element.
    for (const char* row : {"VecF32AddVVM", "VecD64AddVVM", "VecF16AddVVM", "VecF16AddVIM", "VecF16MulVIM",
                            "VecF32SubVIM", "VecF32FMAVVVM", "VecF16FMAVVVM", "VecF32SqrtVM", "VecF16FCADDVVM"}) {
        SCOPED_TRACE(row);
        cpu_state s;
        test_rng r(5);
        fp_random_state(s, r, 4);
        s.fpcr = 0;
        s.fpsr = 0;
        std::memset(s.p[1], 0, SVE_VL_BYTES);
        for (auto& b : s.ffr) b &= 1;
        cpu_state before = s;
        ASSERT_EQ(run_row(row, s, f3(1, 2, 1, 3)), RC_DONE);
        s.insn = before.insn;
        EXPECT_EQ(state_diff(before, s), "");
    }
}

TEST(FpVectors, MergingKeepsInactiveElementsAndReadsOldSources) {
    // fadd z1.s, p1/m, z1.s, z1.s with every third element active: active 2x, inactive kept.
    cpu_state s;
    clean_state(s);
    for (int e = 0; e < 20; e++) zset<uint32_t>(s, 1, e, bits_of(float(e + 1)));
    pset_mask(s, 1, 4, 0x49249249249ull);  // elements 0, 3, 6, ...
    ASSERT_EQ(run_row("VecF32AddVVM", s, f3(1, 1, 1, 0)), RC_DONE);
    for (int e = 0; e < 20; e++)
        EXPECT_EQ(f_of(zget<uint32_t>(s, 1, e)), e % 3 == 0 ? 2.0f * (e + 1) : float(e + 1)) << e;

    // fmla z2.d, p0/m, z2.d, z2.d: Zda = Zn = Zm, so every element becomes x + x*x of the old x.
    clean_state(s);
    for (int e = 0; e < 10; e++) {
        double x = e - 4.5;
        uint64_t b;
        std::memcpy(&b, &x, 8);
        zset<uint64_t>(s, 2, e, b);
    }
    pset_all(s, 0);
    ASSERT_EQ(run_row("VecD64FMAVVVM", s, f3(2, 2, 0, 2)), RC_DONE);
    for (int e = 0; e < 10; e++) {
        double x = e - 4.5, got;
        uint64_t b = zget<uint64_t>(s, 2, e);
        std::memcpy(&got, &b, 8);
        EXPECT_EQ(got, x + x * x) << e;
    }

    // fmad z4.h, p0/m, z5.h, z4.h (Zdn z4, Zm z5, Za z4): z4*z5 + old z4.
    clean_state(s);
    zfill<uint16_t>(s, 4, 0x4000);  // 2.0
    zfill<uint16_t>(s, 5, 0x4200);  // 3.0
    pset_all(s, 0);
    ASSERT_EQ(run_row("VecF16FMADDVVVM", s, f3(4, 5, 0, 4)), RC_DONE);
    EXPECT_EQ(zget<uint16_t>(s, 4, 39), 0x4800);  // 8.0
}

TEST(FpVectors, ComparesWriteElementSlotsWithoutFlags) {
    cpu_state s;
    clean_state(s);
    s.nzcv = 0x60000000;
    for (int e = 0; e < 10; e++) {
        double x = e < 5 ? 1.0 : -1.0;
        uint64_t b;
        std::memcpy(&b, &x, 8);
        zset<uint64_t>(s, 1, e, b);
    }
    pset_mask(s, 1, 8, 0x3F7);  // element 3 inactive
    std::memset(s.p[3], 0xFF, SVE_VL_BYTES);
    // fcmgt p3.d, p1/z, z1.d, #0.0
    ASSERT_EQ(run_row("VecD64CmpGTV0Z", s, fld(3, 0) | fld(1, 5) | fld(1, 10)), RC_DONE);
    for (int e = 0; e < 10; e++) {
        EXPECT_EQ(s.p[3][8 * e], (e < 5 && e != 3) ? 1 : 0) << e;
        for (int k = 1; k < 8; k++) EXPECT_EQ(s.p[3][8 * e + k], 0);
    }
    EXPECT_EQ(s.nzcv, 0x60000000u);
    EXPECT_EQ(s.fpsr, 0u);
}

TEST(FpVectors, Reductions) {
    struct red_case {
        const char* row;
        int bytes;
        uint32_t fpcr;
        std::vector<uint64_t> elems;  // element values; missing elements are 0
        uint64_t active;              // mask of active elements
        uint64_t init;                // FADDA initial value (element 0 of Vdn)
        uint64_t want;
        uint32_t flags;
    };
    std::vector<uint64_t> one_and_tiny(20, 0x33800000);  // 1.0 then 2^-24 nineteen times
    one_and_tiny[0] = S1;
    std::vector<uint64_t> qnans(20);
    for (int i = 0; i < 20; i++) qnans[i] = 0x7FC00010 + i;
    const red_case cases[] = {
        // No active element: +0 in every rounding mode, -inf, +inf, default NaN without a flag.
        {"VecF32AddReduceFV", 4, rmode(2), {S1, S2}, 0, 0, 0, 0},
        {"VecF32MaxReduceFV", 4, 0, {S1}, 0, 0, 0xFF800000, 0},
        {"VecF32MinReduceFV", 4, 0, {S1}, 0, 0, 0x7F800000, 0},
        {"VecF16MinReduceFV", 2, 0, {}, 0, 0, 0x7C00, 0},
        {"VecF32MaxNumReduceFV", 4, 0, {S1}, 0, 0, 0x7FC00000, 0},
        {"VecD64MinNumReduceFV", 8, 0, {}, 0, 0, 0x7FF8000000000000ull, 0},
        // The pairwise tree: 1 + 2^-24 rounds to 1 at the first level, the 2^-24 pairs add up.
        {"VecF32AddReduceFV", 4, 0, one_and_tiny, ~0ull, 0, 0x3F800009, F_IXC},
        // In order: each 2^-24 vanishes against 1.0.
        {"VecF32AddReduceAV", 4, 0, one_and_tiny, ~0ull, 0, S1, F_IXC},
        // One active -0 gives +0 (it meets +0 padding); a flushed denormal gives +0 with IDC.
        {"VecF32AddReduceFV", 4, 0, {0, 0, 0, 0x80000000}, 1 << 3, 0, 0, 0},
        {"VecF32AddReduceFV", 4, C_FZ, {0, 0, 0, 0x00000007}, 1 << 3, 0, 0, F_IDC},
        // A NaN at an inactive position is ignored by both additions.
        {"VecF32AddReduceFV", 4, 0, {S1, 0x7FC00001, S2}, 0x5, 0, S3, 0},
        {"VecD64AddReduceAV", 8, 0, {0x3FF0000000000000ull, 0x7FF8000000000001ull}, 0x1, 0x4000000000000000ull,
         0x4008000000000000ull, 0},
        // FADDA with no active element returns the initial value bit for bit, even a signalling NaN.
        {"VecF32AddReduceAV", 4, 0, {S1}, 0, 0x7F800001, 0x7F800001, 0},
        {"VecF16AddReduceAV", 2, 0, {0x3C00, 0x3C00, 0x3C00}, 0x7, 0x3C00, 0x4400, 0},
        // FMAXNMV: all quiet NaNs keep element 0 with DN clear, the default NaN with DN set.
        {"VecF32MaxNumReduceFV", 4, 0, qnans, ~0ull, 0, 0x7FC00010, 0},
        {"VecF32MaxNumReduceFV", 4, C_DN, qnans, ~0ull, 0, 0x7FC00000, 0},
        {"VecF32MinNumReduceFV", 4, 0, {S3, 0x7FC00001, S1, SM1}, 0xF, 0, SM1, 0},
        {"VecD64MaxNumReduceFV", 8, 0, {0x7FF0000000000001ull, 0x3FF0000000000000ull}, 0x3, 0,
         0x7FF8000000000001ull, F_IOC},
        // FMAXV keeps a quiet NaN's payload; the left of two quiet NaNs wins.
        {"VecF32MaxReduceFV", 4, 0, {S1, 0x7FC00123, 0x7FC00456}, 0x7, 0, 0x7FC00123, 0},
        {"VecF16MaxReduceFV", 2, 0, {0x3C00, 0xC000, 0x4200}, 0x7, 0, 0x4200, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.row);
        cpu_state s;
        clean_state(s);
        std::memset(s.z[2], 0, SVE_VL_BYTES);
        for (size_t i = 0; i < c.elems.size(); i++) std::memcpy(s.z[2] + i * c.bytes, &c.elems[i], c.bytes);
        std::memset(s.z[7], 0x77, SVE_VL_BYTES);
        std::memcpy(s.z[7], &c.init, c.bytes);
        pset_mask(s, 1, c.bytes, c.active);
        s.fpcr = c.fpcr;
        ASSERT_EQ(run_row(c.row, s, fld(7, 0) | fld(2, 5) | fld(1, 10)), RC_DONE);
        uint64_t got = 0;
        std::memcpy(&got, s.z[7], c.bytes);
        EXPECT_EQ(got, c.want) << std::hex << got;
        for (int i = c.bytes; i < SVE_VL_BYTES; i++) ASSERT_EQ(s.z[7][i], 0) << "byte " << i;
        EXPECT_EQ(s.fpsr, c.flags);
    }
}

TEST(FpVectors, ComplexAdd) {
    // (1 + 2i) and (3 + 4i): rotation 90 adds i*(3+4i) = -4 + 3i, rotation 270 adds 4 - 3i.
    struct { const char* row; int rot; uint32_t want_re, want_im; } cases[] = {
        {"VecF32FCADDVVM", 0, 0xC0400000, S5},  // -3, 5
        {"VecF32FCADDVVM", 1, S5, SM1},         // 5, -1
    };
    for (auto& c : cases) {
        cpu_state s;
        clean_state(s);
        for (int e = 0; e < 20; e += 2) {
            zset<uint32_t>(s, 1, e, S1), zset<uint32_t>(s, 1, e + 1, S2);
            zset<uint32_t>(s, 2, e, S3), zset<uint32_t>(s, 2, e + 1, S4);
        }
        pset_all(s, 1);
        ASSERT_EQ(run_row(c.row, s, fld(1, 0) | fld(2, 5) | fld(1, 10) | fld(c.rot, 16)), RC_DONE);
        EXPECT_EQ(zget<uint32_t>(s, 1, 18), c.want_re) << c.rot;
        EXPECT_EQ(zget<uint32_t>(s, 1, 19), c.want_im) << c.rot;
    }
    // Zdn = Zm: every element comes from the old register. (1 + 2i) + i(1 + 2i) = -1 + 3i.
    cpu_state s;
    clean_state(s);
    for (int e = 0; e < 40; e += 2) zset<uint16_t>(s, 3, e, 0x3C00), zset<uint16_t>(s, 3, e + 1, 0x4000);
    pset_all(s, 1);
    ASSERT_EQ(run_row("VecF16FCADDVVM", s, fld(3, 0) | fld(3, 5) | fld(1, 10)), RC_DONE);
    EXPECT_EQ(zget<uint16_t>(s, 3, 0), 0xBC00);
    EXPECT_EQ(zget<uint16_t>(s, 3, 1), 0x4200);
}

TEST(FpVectors, ComplexMultiplyAdd) {
    // Zn = 1 + 2i, Zm = 3 + 4i, Zda = 0: the four partial products of (1+2i)(3+4i) = -5 + 10i.
    const int want[4][2] = {{3, 4}, {-8, 6}, {-3, -4}, {8, -6}};
    for (const char* row : {"VecF32FCMLAVVVM", "VecD64FCMLAVVVM"}) {
        int bytes = row[3] == 'F' ? 4 : 8;
        for (int rot = 0; rot < 4; rot++) {
            SCOPED_TRACE(std::string(row) + " rot " + std::to_string(rot));
            cpu_state s;
            clean_state(s);
            auto put = [&](int z, int e, double v) {
                uint64_t b = 0;
                if (bytes == 8) std::memcpy(&b, &v, 8);
                else b = bits_of(float(v));
                std::memcpy(s.z[z] + e * bytes, &b, bytes);
            };
            for (int e = 0; e < SVE_VL_BYTES / bytes; e += 2) put(2, e, 1), put(2, e + 1, 2), put(3, e, 3), put(3, e + 1, 4);
            pset_all(s, 1);
            ASSERT_EQ(run_row(row, s, fld(1, 0) | fld(2, 5) | fld(1, 10) | fld(3, 16) | fld(rot, 13)), RC_DONE);
            for (int part = 0; part < 2; part++) {
                uint64_t b = 0;
                std::memcpy(&b, s.z[1] + part * bytes, bytes);
                double got;
                if (bytes == 8) std::memcpy(&got, &b, 8);
                else got = f_of(uint32_t(b));
                EXPECT_EQ(got, want[rot][part]) << "part " << part;
            }
        }
    }
    // Only the imaginary element of the first pair active: the real element keeps Zda.
    cpu_state s;
    clean_state(s);
    zfill<uint32_t>(s, 1, S5);
    for (int e = 0; e < 20; e += 2) zset<uint32_t>(s, 2, e, S1), zset<uint32_t>(s, 2, e + 1, S2);
    for (int e = 0; e < 20; e += 2) zset<uint32_t>(s, 3, e, S3), zset<uint32_t>(s, 3, e + 1, S4);
    pset_mask(s, 1, 4, 0x2);
    ASSERT_EQ(run_row("VecF32FCMLAVVVM", s, fld(1, 0) | fld(2, 5) | fld(1, 10) | fld(3, 16)), RC_DONE);
    EXPECT_EQ(zget<uint32_t>(s, 1, 0), S5);
    EXPECT_EQ(f_of(zget<uint32_t>(s, 1, 1)), 9.0f);  // 5 + 1*4
    EXPECT_EQ(zget<uint32_t>(s, 1, 2), S5);
    // Rotation 90 with a NaN in Zm's imaginary part: negated on its way to the real result.
    clean_state(s);
    for (int e = 0; e < 20; e += 2) zset<uint32_t>(s, 2, e, S1), zset<uint32_t>(s, 2, e + 1, S2);
    for (int e = 0; e < 20; e += 2) zset<uint32_t>(s, 3, e, S3), zset<uint32_t>(s, 3, e + 1, 0x7FC00042);
    pset_all(s, 1);
    ASSERT_EQ(run_row("VecF32FCMLAVVVM", s, fld(1, 0) | fld(2, 5) | fld(1, 10) | fld(3, 16) | fld(1, 13)), RC_DONE);
    EXPECT_EQ(zget<uint32_t>(s, 1, 0), 0xFFC00042u);
}

TEST(FpVectors, IndexedForms) {
    cpu_state s;
    clean_state(s);
    // fmla z1.d, z2.d, z3.d[1]: elements 0 and 1 use z3[1], 2 and 3 use z3[3], and so on.
    for (int e = 0; e < 10; e++) {
        double m = 10.0 * e, n = 1.0, a = 0.5;
        uint64_t b;
        std::memcpy(&b, &m, 8), zset<uint64_t>(s, 3, e, b);
        std::memcpy(&b, &n, 8), zset<uint64_t>(s, 2, e, b);
        std::memcpy(&b, &a, 8), zset<uint64_t>(s, 1, e, b);
    }
    ASSERT_EQ(run_row("VecD64FMAVVVIX", s, fld(1, 0) | fld(2, 5) | fld(3, 16) | fld(1, 20)), RC_DONE);
    for (int e = 0; e < 10; e++) {
        double got;
        uint64_t b = zget<uint64_t>(s, 1, e);
        std::memcpy(&got, &b, 8);
        EXPECT_EQ(got, 0.5 + 10.0 * (e / 2 * 2 + 1)) << e;
    }
    // fmls z1.s, z2.s, z3.s[2] and fmul z4.s, z2.s, z3.s[3]: segments of four.
    clean_state(s);
    for (int e = 0; e < 20; e++) {
        zset<uint32_t>(s, 3, e, bits_of(float(e)));
        zset<uint32_t>(s, 2, e, S2);
        zset<uint32_t>(s, 1, e, bits_of(100.0f));
    }
    ASSERT_EQ(run_row("VecF32FMSVVVIX", s, fld(1, 0) | fld(2, 5) | fld(3, 16) | fld(2, 19)), RC_DONE);
    ASSERT_EQ(run_row("VecF32MulVVIX", s, fld(4, 0) | fld(2, 5) | fld(3, 16) | fld(3, 19)), RC_DONE);
    for (int e = 0; e < 20; e++) {
        EXPECT_EQ(f_of(zget<uint32_t>(s, 1, e)), 100.0f - 2.0f * float(e / 4 * 4 + 2)) << e;
        EXPECT_EQ(f_of(zget<uint32_t>(s, 4, e)), 2.0f * float(e / 4 * 4 + 3)) << e;
    }
    // fmul z4.h, z2.h, z3.h[5]: the half index is bit 22 above bits 20:19; segments of eight.
    clean_state(s);
    for (int e = 0; e < 40; e++) zset<uint16_t>(s, 3, e, uint16_t(e % 8 == 5 ? 0x4000 : 0x3C00));
    zfill<uint16_t>(s, 2, 0x4200);
    ASSERT_EQ(run_row("VecF16MulVVIX", s, fld(4, 0) | fld(2, 5) | fld(3, 16) | fld(1, 19) | fld(1, 22)), RC_DONE);
    for (int e = 0; e < 40; e++) EXPECT_EQ(zget<uint16_t>(s, 4, e), 0x4600) << e;  // 3 * 2
    // fcmla z1.s, z2.s, z3.s[1], #0: each segment's second complex number of z3.
    clean_state(s);
    for (int e = 0; e < 20; e++) zset<uint32_t>(s, 3, e, bits_of(float(e)));
    for (int e = 0; e < 20; e += 2) zset<uint32_t>(s, 2, e, S1), zset<uint32_t>(s, 2, e + 1, 0);
    ASSERT_EQ(run_row("VecF32FCMLAVVVIX", s, fld(1, 0) | fld(2, 5) | fld(3, 16) | fld(1, 20)), RC_DONE);
    for (int e = 0; e < 20; e++) EXPECT_EQ(f_of(zget<uint32_t>(s, 1, e)), float(e / 4 * 4 + 2 + e % 2)) << e;
    // fcmla z1.h, z2.h, z3.h[3], #90 on halves: Zn imaginary part times Zm pair 3 of each segment.
    clean_state(s);
    for (int e = 0; e < 40; e++) zset<uint16_t>(s, 3, e, uint16_t(e % 8 == 6 ? 0x4000 : e % 8 == 7 ? 0x4200 : 0x3C00));
    for (int e = 0; e < 40; e += 2) zset<uint16_t>(s, 2, e, 0x3C00), zset<uint16_t>(s, 2, e + 1, 0x3C00);
    ASSERT_EQ(run_row("VecF16FCMLAVVVIX", s, fld(1, 0) | fld(2, 5) | fld(3, 16) | fld(3, 19) | fld(1, 10)), RC_DONE);
    for (int e = 0; e < 40; e += 2) {
        EXPECT_EQ(zget<uint16_t>(s, 1, e), 0xC200) << e;     // -(1 * 3)
        EXPECT_EQ(zget<uint16_t>(s, 1, e + 1), 0x4000) << e; // 1 * 2
    }
}

TEST(FpVectors, DupAndCopyImmediates) {
    struct { uint32_t imm8; uint16_t h; uint32_t s; uint64_t d; } cases[] = {
        {0x70, 0x3C00, 0x3F800000, 0x3FF0000000000000ull},   // 1.0
        {0x00, 0x4000, 0x40000000, 0x4000000000000000ull},   // 2.0
        {0xF0, 0xBC00, 0xBF800000, 0xBFF0000000000000ull},   // -1.0
        {0x7F, 0x3FC0, 0x3FF80000, 0x3FFF000000000000ull},   // 1.9375
        {0x30, 0x4C00, 0x41800000, 0x4030000000000000ull},   // 16.0
        {0x40, 0x3000, 0x3E000000, 0x3FC0000000000000ull},   // 0.125
    };
    for (auto& c : cases) {
        cpu_state s;
        clean_state(s);
        ASSERT_EQ(run_row("VecF16DupI", s, fld(1, 0) | fld(c.imm8, 5)), RC_DONE);
        ASSERT_EQ(run_row("VecF32DupI", s, fld(2, 0) | fld(c.imm8, 5)), RC_DONE);
        ASSERT_EQ(run_row("VecD64DupI", s, fld(3, 0) | fld(c.imm8, 5)), RC_DONE);
        EXPECT_EQ(zget<uint16_t>(s, 1, 39), c.h) << std::hex << c.imm8;
        EXPECT_EQ(zget<uint32_t>(s, 2, 19), c.s) << std::hex << c.imm8;
        EXPECT_EQ(zget<uint64_t>(s, 3, 9), c.d) << std::hex << c.imm8;
        // fcpy z4.s, p5/m, #imm: active elements get it, inactive keep z4.
        zfill<uint32_t>(s, 4, 0x12345678);
        pset_mask(s, 5, 4, 0x5);
        ASSERT_EQ(run_row("VecF32DupIM", s, fld(4, 0) | fld(c.imm8, 5) | fld(5, 16)), RC_DONE);
        EXPECT_EQ(zget<uint32_t>(s, 4, 0), c.s);
        EXPECT_EQ(zget<uint32_t>(s, 4, 1), 0x12345678u);
        EXPECT_EQ(zget<uint32_t>(s, 4, 2), c.s);
        EXPECT_EQ(zget<uint32_t>(s, 4, 3), 0x12345678u);
    }
}

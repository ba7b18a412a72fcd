// Wide-integer helpers against values worked out from the definitions.
#include <gtest/gtest.h>

#include "sve/integer/wide_int.h"

namespace {

constexpr uint64_t ALL = ~0ull;

struct sat_case {
    const char* what;
    wide_int x;
    int n, uns;
    uint64_t result;
    uint32_t sat;
};

TEST(WideInt, IntAndBits) {
    EXPECT_TRUE(Int(0xFF, 8, 1) == 255);
    EXPECT_TRUE(Int(0xFF, 8, 0) == -1);
    EXPECT_TRUE(Int(0xFF, 8, 2) == -1);  // any flag other than 1 is signed
    EXPECT_TRUE(Int(0x17F, 8, 0) == 127);
    EXPECT_TRUE(Int(ALL, 64, 1) == wide_int(ALL));
    EXPECT_TRUE(Int(ALL, 64, 0) == -1);
    EXPECT_TRUE(UInt(0x8000, 16) == 0x8000);
    EXPECT_TRUE(SInt(0x8000, 16) == -0x8000);
    EXPECT_TRUE(SInt(0x80, 12) == 0);
    EXPECT_EQ(ones(64), ALL);
    EXPECT_EQ(ones(1), 1u);
    EXPECT_EQ(ones(32), 0xFFFFFFFFu);
    EXPECT_EQ(bits(wide_int(-1)), ALL);
    EXPECT_EQ(bits(wide_int(1) << 64), 0u);
}

TEST(WideInt, BitCounts) {
    struct { uint64_t x; int n, hbs, clz, cls, cnt; } cases[] = {
        {0, 8, -1, 8, 7, 0},
        {0xFF, 8, 7, 0, 7, 8},           // all ones
        {0x1FF, 8, 7, 0, 7, 8},          // bits above n ignored
        {0x01, 8, 0, 7, 6, 1},
        {0x40, 8, 6, 1, 0, 1},
        {0xC0, 8, 7, 0, 1, 2},
        {0, 64, -1, 64, 63, 0},
        {ALL, 64, 63, 0, 63, 64},
        {1ull << 63, 64, 63, 0, 0, 1},
        {0xFFFF0000u, 32, 31, 0, 15, 16},
        {0x00007FFFu, 32, 14, 17, 16, 15},
    };
    for (auto& c : cases) {
        EXPECT_EQ(HighestBitSet(c.x, c.n), c.hbs) << std::hex << c.x << " n " << std::dec << c.n;
        EXPECT_EQ(CountLeadingZeroBits(c.x, c.n), c.clz) << std::hex << c.x << " n " << std::dec << c.n;
        EXPECT_EQ(CountLeadingSignBits(c.x, c.n), c.cls) << std::hex << c.x << " n " << std::dec << c.n;
        EXPECT_EQ(BitCount(c.x, c.n), c.cnt) << std::hex << c.x << " n " << std::dec << c.n;
    }
}

TEST(WideInt, Reversals) {
    EXPECT_EQ(BitReverse(0x01, 8), 0x80u);
    EXPECT_EQ(BitReverse(0x0001, 16), 0x8000u);
    EXPECT_EQ(BitReverse(0x1, 64), 1ull << 63);
    EXPECT_EQ(BitReverse(0xF0, 8), 0x0Fu);
    EXPECT_EQ(Reverse(0x1122334455667788ull, 64, 1), 0x8877665544332211ull);
    EXPECT_EQ(Reverse(0x1122334455667788ull, 64, 2), 0x7788556633441122ull);
    EXPECT_EQ(Reverse(0x1122334455667788ull, 64, 4), 0x5566778811223344ull);
    EXPECT_EQ(Reverse(0x11223344u, 32, 1), 0x44332211u);
    EXPECT_EQ(Reverse(0x1234, 16, 1), 0x3412u);
    EXPECT_EQ(Reverse(0x1234, 16, 4), 0u);  // no whole group
    EXPECT_EQ(Reverse(0x1234, 16, 3), 0u);  // no such group size
}

TEST(WideInt, MaxMin) {
    EXPECT_EQ(Max(0x80, 0x7F, 8, 1), 0x80u);
    EXPECT_EQ(Max(0x80, 0x7F, 8, 0), 0x7Fu);
    EXPECT_EQ(Min(0x80, 0x7F, 8, 0), 0x80u);
    EXPECT_EQ(Min(0x80, 0x7F, 8, 1), 0x7Fu);
    EXPECT_EQ(Max(0x1FF, 0x0FF, 8, 1), 0x1FFu);  // a tie at 8 bits keeps the first
    EXPECT_EQ(Min(0x0FF, 0x1FF, 8, 1), 0x0FFu);
    EXPECT_EQ(Max(ALL, 0, 64, 0), 0u);
    EXPECT_EQ(Max(ALL, 0, 64, 1), ALL);
    EXPECT_EQ(Max(3, 4, 12, 1), 0u);
}

TEST(WideInt, PolynomialMult) {
    EXPECT_TRUE(PolynomialMult(3, 3) == 5);  // (x+1)^2 = x^2+1
    EXPECT_TRUE(PolynomialMult(ALL, 2) == (uwide_int(ALL) << 1));
    EXPECT_TRUE(PolynomialMult(1ull << 63, 1ull << 63) == (uwide_int(1) << 126));
}

TEST(WideInt, Arithmetic) {
    wide_int lo64 = Int(1ull << 63, 64, 0);
    EXPECT_TRUE(AbsInt(lo64) == (wide_int(1) << 63));
    EXPECT_EQ(bits(AbsInt(lo64)), 1ull << 63);
    wide_int lo128 = wide_int(uwide_int(1) << 127);
    EXPECT_TRUE(AbsInt(lo128) == lo128);
    EXPECT_TRUE(NegInt(lo128) == lo128);
    EXPECT_TRUE(AbsInt(-5) == 5);
    EXPECT_TRUE(AddInt(lo128 - 1 + 1, -1) == wide_int(~(uwide_int(1) << 127)));  // wraps
    EXPECT_TRUE(SubInt(lo128, 1) == wide_int(~(uwide_int(1) << 127)));
    EXPECT_TRUE(AddInt(2, 3) == 5);
}

TEST(WideInt, Shifts) {
    wide_int top2 = wide_int(uwide_int(3) << 126);
    wide_int top1 = wide_int(uwide_int(1) << 127);
    struct { wide_int x, count, right, left; } cases[] = {
        {-1, 200, -1, wide_int(uwide_int(-1) << 64)},
        {1, 200, 0, wide_int(1) << 64},
        {-1, 128, -1, wide_int(uwide_int(-1) << 64)},
        {1, 63, 0, wide_int(1) << 63},
        {1, 64, 0, wide_int(1) << 64},
        {wide_int(1) << 64, 64, 1, 0},
        {wide_int(1) << 64, 65, 0, 0},
        {top2, 128, -1, 0},       // both top bits set: all ones
        {top1, 128, 0, 0},        // only the top bit: zero
        {top1, 127, top1 >> 65, 0},
        {-256, 4, -16, -4096},
        {-256, -4, -4096, -16},   // negative counts reverse the direction
        {16, 0, 16, 16},
    };
    for (auto& c : cases) {
        EXPECT_TRUE(ShiftRightInt(c.x, c.count) == c.right) << int(c.count);
        EXPECT_TRUE(ShiftLeftInt(c.x, c.count) == c.left) << int(c.count);
    }
}

TEST(WideInt, SatQ) {
    sat_case cases[] = {
        {"s8 128", 128, 8, 0, 127, 1},
        {"s8 -129", -129, 8, 0, 0x80, 1},
        {"s8 -128", -128, 8, 0, 0x80, 0},
        {"s8 -1 masked", -1, 8, 0, 0xFF, 0},
        {"s8 127", 127, 8, 0, 127, 0},
        {"u8 -1", -1, 8, 1, 0, 1},
        {"u8 256", 256, 8, 1, 255, 1},
        {"u8 255", 255, 8, 1, 255, 0},
        {"s64 2^63", wide_int(1) << 63, 64, 0, 0x7FFFFFFFFFFFFFFFull, 1},
        {"s64 -2^63-1", -(wide_int(1) << 63) - 1, 64, 0, 1ull << 63, 1},
        {"s64 -1", -1, 64, 0, ALL, 0},
        {"u64 2^64", wide_int(1) << 64, 64, 1, ALL, 1},
        {"u64 2^64-1", (wide_int(1) << 64) - 1, 64, 1, ALL, 0},
        {"s32 -1", -1, 32, 0, 0xFFFFFFFFu, 0},
        {"s16 -40000", -40000, 16, 0, 0x8000, 1},
        {"u16 70000", 70000, 16, 1, 0xFFFF, 1},
    };
    for (auto& c : cases) {
        sat_result r = SatQ(c.x, c.n, c.uns);
        EXPECT_EQ(r.result, c.result) << c.what;
        EXPECT_EQ(r.sat, c.sat) << c.what;
    }
    // SatQShift keeps the low 64 bits unmasked.
    EXPECT_EQ(SatQShift(-1, 8, 0).result, ALL);
    EXPECT_EQ(SatQShift(wide_int(1) << 100, 128, 0).sat, 0u);
    EXPECT_EQ(SatQShift(wide_int(1) << 100, 90, 1).result, ALL);
}

TEST(WideInt, SatAddSub) {
    struct { uint64_t a, b; int n, uns; uint64_t add, sub; uint32_t add_sat, sub_sat; } cases[] = {
        {ALL, 1, 64, 1, ALL, ALL - 1, 1, 0},
        {ALL, 1, 64, 0, 0, ALL - 1, 0, 0},  // -1 + 1
        {0x7F, 1, 8, 0, 0x7F, 0x7E, 1, 0},
        {0x80, 1, 8, 0, 0xFFFFFFFFFFFFFF81ull, 0x80, 0, 1},  // -128 + 1 = -127 unmasked; -129 saturates
        {0x00, 1, 8, 1, 1, 0, 0, 1},
        {0xFF, 0xFF, 8, 1, 0xFF, 0, 1, 0},
        {0x7FFFFFFF, 0x7FFFFFFF, 32, 0, 0x7FFFFFFF, 0, 1, 0},
        {1ull << 63, 1, 64, 0, (1ull << 63) + 1, 1ull << 63, 0, 1},
    };
    for (auto& c : cases) {
        sat_result a = SatAdd(c.a, c.b, c.n, c.uns), s = SatSub(c.a, c.b, c.n, c.uns);
        EXPECT_EQ(a.result, c.add) << std::hex << c.a << " + " << c.b;
        EXPECT_EQ(a.sat, c.add_sat) << std::hex << c.a << " + " << c.b;
        EXPECT_EQ(s.result, c.sub) << std::hex << c.a << " - " << c.b;
        EXPECT_EQ(s.sat, c.sub_sat) << std::hex << c.a << " - " << c.b;
    }
}

TEST(WideInt, SaturatingShifts) {
    struct { wide_int x, count; int n, uns; uint64_t result; uint32_t sat; } q[] = {
        {0, 100, 8, 0, 0, 0},
        {1, 8, 8, 0, 0x7F, 1},
        {-1, 8, 8, 0, 0x80, 1},
        {3, 8, 8, 1, 0xFF, 1},
        {-3, 8, 8, 1, 0, 1},
        {1, 6, 8, 0, 0x40, 0},
        {1, 7, 8, 0, 0x7F, 1},
        {-1, 7, 8, 0, ALL << 7, 0},  // low 64 bits, unmasked
        {-64, -3, 8, 0, uint64_t(-8), 0},
    };
    for (auto& c : q) {
        sat_result r = ShiftQLeftInt(c.x, c.count, c.n, c.uns);
        EXPECT_EQ(r.result, c.result) << int(c.x) << " << " << int(c.count);
        EXPECT_EQ(r.sat, c.sat) << int(c.x) << " << " << int(c.count);
    }
    EXPECT_EQ(SatShiftLeft(0x40, 1, 8, 0).result, 0x7Fu);
    EXPECT_EQ(SatShiftLeft(0xC0, 2, 8, 0).result, 0x80u);  // -64 << 2 = -256
    EXPECT_EQ(SatShiftLeft(0x20, 1, 8, 0).result, 0x40u);
    EXPECT_EQ(SatShiftLeft(0x80, 1, 8, 1).result, 0xFFu);
    EXPECT_EQ(SatShiftLeftU(0xFF, 1, 8).result, 0u);  // -1 into an unsigned result
    EXPECT_EQ(SatShiftLeftU(0x7F, 1, 8).result, 0xFEu);
    EXPECT_EQ(SatQUShift(0xFF, 8).result, 0xFFu);
    EXPECT_EQ(SatQUShift(0x100, 8).result, 0xFFu);
    EXPECT_EQ(SatQUShift(0x10000, 8).result, 0u);
    EXPECT_EQ(SatQUShift(0x10000, 8).sat, 1u);
    EXPECT_EQ(SatMult(0x10, 0x10, 8, 0).sat, 1u);
    EXPECT_EQ(SatMult(ALL, ALL, 64, 1).result, ALL);
    EXPECT_EQ(SatMult(0xFF, 0xFF, 8, 0).result, 1u);  // -1 * -1
}

TEST(WideInt, BigInt) {
    BigInt m = toBigInt(-2);
    EXPECT_EQ(m.w[0], ALL - 1);
    EXPECT_EQ(m.w[3], ALL);
    BigInt one = toBigInt(1);
    BigInt s = AddBigInt(m, one);  // -1
    for (uint64_t w : s.w) EXPECT_EQ(w, ALL);
    s = AddBigInt(s, one);  // 0: carries ripple through all words
    for (uint64_t w : s.w) EXPECT_EQ(w, 0u);
    BigInt big = {{0, 0, 1, 0}};  // 2^128
    BigInt r = ShiftRightBigInt(big, 65);
    EXPECT_EQ(r.w[0], 1ull << 63);  // 2^128 >> 65 = 2^63
    EXPECT_EQ(r.w[1], 0u);
    EXPECT_EQ(r.w[2], 0u);
    r = ShiftRightBigInt(toBigInt(-256), 4);
    EXPECT_EQ(r.w[0], uint64_t(-16));
    EXPECT_EQ(r.w[3], ALL);
    r = ShiftRightBigInt(big, 0);
    EXPECT_EQ(r.w[2], 1u);
    EXPECT_EQ(SatQBigInt(big, 64, 0).result, 0x7FFFFFFFFFFFFFFFull);
    EXPECT_EQ(SatQBigInt(big, 64, 1).result, ALL);
    BigInt neg = {{0, 0, ALL - 1, ALL}};  // -2^129
    EXPECT_EQ(SatQBigInt(neg, 64, 0).result, 1ull << 63);
    EXPECT_EQ(SatQBigInt(neg, 8, 1).result, 0u);
    EXPECT_EQ(SatQBigInt(toBigInt(-1), 8, 0).result, 0xFFu);
    EXPECT_EQ(SatQBigInt(toBigInt(-1), 8, 0).sat, 0u);
}

}  // namespace

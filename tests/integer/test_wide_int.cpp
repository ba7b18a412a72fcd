// Wide-integer helpers against values worked out from their definitions.
#include <gtest/gtest.h>

#include "sve/integer/wide_int.h"

namespace {

constexpr uint64_t ALL = ~0ull;

TEST(WideInt, ConversionAndBits) {
    EXPECT_TRUE(Int(0xFF, 8, 1) == 255);
    EXPECT_TRUE(Int(0xFF, 8, 2) == -1);  // any flag other than 1 is signed
    EXPECT_TRUE(Int(0x17F, 8, 0) == 127);
    EXPECT_TRUE(Int(ALL, 64, 1) == wide_int(ALL) && Int(ALL, 64, 0) == -1);
    EXPECT_TRUE(SInt(0x8000, 16) == -0x8000 && SInt(0x80, 12) == 0);
    EXPECT_EQ(ones(64), ALL);
    struct { uint64_t x; int n, clz, cls, cnt; } cases[] = {
        {0, 8, 8, 7, 0},       {0x1FF, 8, 0, 7, 8},   {0x40, 8, 1, 0, 1},     {0xC0, 8, 0, 1, 2},
        {0, 64, 64, 63, 0},    {ALL, 64, 0, 63, 64},  {1ull << 63, 64, 0, 0, 1}, {0x7FFF, 32, 17, 16, 15},
    };
    for (auto& c : cases) {
        EXPECT_EQ(CountLeadingZeroBits(c.x, c.n), c.clz) << std::hex << c.x << " n " << std::dec << c.n;
        EXPECT_EQ(CountLeadingSignBits(c.x, c.n), c.cls) << std::hex << c.x << " n " << std::dec << c.n;
        EXPECT_EQ(BitCount(c.x, c.n), c.cnt) << std::hex << c.x << " n " << std::dec << c.n;
    }
    EXPECT_EQ(BitReverse(0xF1, 8), 0x8Fu);
    EXPECT_EQ(Reverse(0x1122334455667788ull, 64, 2), 0x7788556633441122ull);
    EXPECT_EQ(Reverse(0x11223344u, 32, 1), 0x44332211u);
    EXPECT_EQ(Reverse(0x1234, 16, 4), 0u);  // no whole group
    EXPECT_EQ(Max(0x80, 0x7F, 8, 1), 0x80u);
    EXPECT_EQ(Max(0x80, 0x7F, 8, 0), 0x7Fu);
    EXPECT_EQ(Min(0x0FF, 0x1FF, 8, 1), 0x0FFu);  // a tie at 8 bits keeps the first
    EXPECT_EQ(Max(3, 4, 12, 1), 0u);
    EXPECT_TRUE(PolynomialMult(3, 3) == 5);  // (x+1)^2 = x^2+1 without carries
}

TEST(WideInt, ArithmeticAndShifts) {
    wide_int lo128 = wide_int(uwide_int(1) << 127);
    EXPECT_TRUE(AbsInt(Int(1ull << 63, 64, 0)) == (wide_int(1) << 63));
    EXPECT_TRUE(AbsInt(lo128) == lo128 && NegInt(lo128) == lo128);
    EXPECT_TRUE(SubInt(lo128, 1) == wide_int(~(uwide_int(1) << 127)));  // wraps
    wide_int top2 = wide_int(uwide_int(3) << 126);
    struct { wide_int x, count, right, left; } cases[] = {
        {-1, 200, -1, wide_int(uwide_int(-1) << 64)},
        {1, 200, 0, wide_int(1) << 64},
        {-1, 128, -1, wide_int(uwide_int(-1) << 64)},
        {wide_int(1) << 64, 65, 0, 0},
        {top2, 128, -1, 0},       // both top bits set: all ones
        {lo128, 128, 0, 0},       // only the top bit: zero
        {-256, -4, -4096, -16},   // negative counts reverse the direction
    };
    for (auto& c : cases) {
        EXPECT_TRUE(ShiftRightInt(c.x, c.count) == c.right) << int(c.count);
        EXPECT_TRUE(ShiftLeftInt(c.x, c.count) == c.left) << int(c.count);
    }
}

TEST(WideInt, Saturation) {
    struct { wide_int x; int n, uns; uint64_t result; uint32_t sat; } q[] = {
        {128, 8, 0, 127, 1},  {-129, 8, 0, 0x80, 1}, {-128, 8, 0, 0x80, 0}, {-1, 8, 0, 0xFF, 0},
        {-1, 8, 1, 0, 1},     {256, 8, 1, 255, 1},   {255, 8, 1, 255, 0},
        {wide_int(1) << 63, 64, 0, ALL >> 1, 1},     {-(wide_int(1) << 63) - 1, 64, 0, 1ull << 63, 1},
        {wide_int(1) << 64, 64, 1, ALL, 1},
    };
    for (auto& c : q) {
        sat_result r = SatQ(c.x, c.n, c.uns);
        EXPECT_EQ(r.result, c.result) << int64_t(c.x) << " at " << c.n << " unsigned " << c.uns;
        EXPECT_EQ(r.sat, c.sat) << int64_t(c.x) << " at " << c.n << " unsigned " << c.uns;
    }
    struct { uint64_t a, b; int n, uns; uint64_t add, sub; } s[] = {
        {ALL, 1, 64, 1, ALL, ALL - 1},
        {ALL, 1, 64, 0, 0, ALL - 1},                     // -1 + 1
        {0x80, 1, 8, 0, 0xFFFFFFFFFFFFFF81ull, 0x80},     // -127 comes back unmasked; -129 saturates
        {0x00, 1, 8, 1, 1, 0},
        {1ull << 63, 1, 64, 0, (1ull << 63) + 1, 1ull << 63},
    };
    for (auto& c : s) {
        EXPECT_EQ(SatAdd(c.a, c.b, c.n, c.uns).result, c.add) << std::hex << c.a << " + " << c.b;
        EXPECT_EQ(SatSub(c.a, c.b, c.n, c.uns).result, c.sub) << std::hex << c.a << " - " << c.b;
    }
    EXPECT_EQ(SatQShift(-1, 8, 0).result, ALL);  // unmasked
    EXPECT_EQ(SatQUShift(0x100, 8).result, 0xFFu);
    EXPECT_EQ(SatQUShift(0x10000, 8).result, 0u);
    EXPECT_EQ(ShiftQLeftInt(-1, 8, 8, 0).result, 0x80u);
    EXPECT_EQ(ShiftQLeftInt(0, 100, 8, 0).sat, 0u);
    EXPECT_EQ(ShiftQLeftInt(1, 7, 8, 0).result, 0x7Fu);
    EXPECT_EQ(SatShiftLeft(0xC0, 2, 8, 0).result, 0x80u);  // -64 << 2 = -256
    EXPECT_EQ(SatShiftLeftU(0xFF, 1, 8).result, 0u);       // -1 into an unsigned result
    EXPECT_EQ(SatMult(ALL, ALL, 64, 1).result, ALL);
}

TEST(WideInt, BigInt) {
    BigInt s = AddBigInt(toBigInt(-2), toBigInt(1));  // -1
    for (uint64_t w : s.w) EXPECT_EQ(w, ALL);
    s = AddBigInt(s, toBigInt(1));  // carries ripple through all words
    for (uint64_t w : s.w) EXPECT_EQ(w, 0u);
    BigInt big = {{0, 0, 1, 0}};  // 2^128
    EXPECT_EQ(ShiftRightBigInt(big, 65).w[0], 1ull << 63);
    EXPECT_EQ(ShiftRightBigInt(toBigInt(-256), 4).w[0], uint64_t(-16));
    EXPECT_EQ(SatQBigInt(big, 64, 0).result, ALL >> 1);
    BigInt neg = {{0, 0, ALL - 1, ALL}};  // -2^129
    EXPECT_EQ(SatQBigInt(neg, 64, 0).result, 1ull << 63);
    EXPECT_EQ(SatQBigInt(toBigInt(-1), 8, 0).result, 0xFFu);
}

}  // namespace

// The 64-bit paths of SatAdd and SatSub against saturation worked out with 128-bit arithmetic in
// this file, and against the 128-bit helpers for every width they take.
#include <gtest/gtest.h>

#include <random>

#include <limits>

#include "sve/integer/int_elem.h"
#include "sve/integer/wide_int.h"

namespace {

constexpr uint64_t ALL = ~0ull;

// The low n bits of x as the number they stand for.
__int128 value_of(uint64_t x, int n, bool uns) {
    uint64_t low = n == 64 ? x : x & ((1ull << n) - 1);
    if (uns) return __int128(low);
    if (n < 64 && (low >> (n - 1)) & 1) return __int128(low) - (__int128(1) << n);
    return n == 64 ? __int128(int64_t(low)) : __int128(low);
}

struct Expect {
    uint64_t result;
    uint32_t sat;
};

// Clamps v to the range of n bits; an unsaturated sum keeps its 64-bit pattern, an unsaturated
// difference is cut to n bits.
Expect clamp(__int128 v, int n, bool uns, bool masked) {
    __int128 lo = uns ? 0 : -(__int128(1) << (n - 1));
    __int128 hi = uns ? (__int128(1) << n) - 1 : (__int128(1) << (n - 1)) - 1;
    uint64_t mask = n == 64 ? ALL : (1ull << n) - 1;
    if (v > hi) return {uint64_t(hi) & mask, 1};
    if (v < lo) return {uint64_t(lo) & mask, 1};
    return {masked ? uint64_t(v) & mask : uint64_t(v), 0};
}

struct Case {
    uint64_t a, b;
    int n;
    int uns;
};

// Operands at and next to the limits of each width, with and without bits above the width.
std::vector<Case> edge_cases() {
    std::vector<Case> cases;
    for (int n : {8, 16, 32, 64}) {
        uint64_t mask = n == 64 ? ALL : (1ull << n) - 1;
        uint64_t smax = mask >> 1, smin = smax + 1;
        uint64_t vals[] = {0, 1, 2, smax - 1, smax, smin, smin + 1, mask - 1, mask};
        for (int uns : {0, 1})
            for (uint64_t a : vals)
                for (uint64_t b : vals) {
                    cases.push_back({a, b, n, uns});
                    if (n < 64) cases.push_back({a | ~mask, b | (0x5Aull << n), n, uns});  // junk above
                }
    }
    return cases;
}

TEST(SatFast, EdgesAgainstInt128) {
    for (const Case& c : edge_cases()) {
        bool uns = c.uns == 1;
        __int128 x = value_of(c.a, c.n, uns), y = value_of(c.b, c.n, uns);
        Expect add = clamp(x + y, c.n, uns, false), sub = clamp(x - y, c.n, uns, true);
        sat_result ra = SatAdd(c.a, c.b, c.n, c.uns), rs = SatSub(c.a, c.b, c.n, c.uns);
        EXPECT_EQ(ra.result, add.result) << std::hex << c.a << " + " << c.b << " n " << std::dec << c.n << " u " << c.uns;
        EXPECT_EQ(ra.sat, add.sat) << std::hex << c.a << " + " << c.b << " n " << std::dec << c.n << " u " << c.uns;
        EXPECT_EQ(rs.result, sub.result) << std::hex << c.a << " - " << c.b << " n " << std::dec << c.n << " u " << c.uns;
        EXPECT_EQ(rs.sat, sub.sat) << std::hex << c.a << " - " << c.b << " n " << std::dec << c.n << " u " << c.uns;
    }
}

// Worked out by hand: both saturation ends of each width, and unsaturated results whose 64-bit
// pattern differs between the sum (sign-extended) and the difference (cut to n bits).
TEST(SatFast, HandTable) {
    struct { uint64_t a, b; int n, uns; bool sub; uint64_t result; uint32_t sat; } t[] = {
        {0x7F, 0x01, 8, 0, false, 0x7F, 1},                 // 127 + 1
        {0x80, 0xFF, 8, 0, false, 0x80, 1},                 // -128 + -1
        {0x80, 0x01, 8, 0, true, 0x80, 1},                  // -128 - 1
        {0x7F, 0xFF, 8, 0, true, 0x7F, 1},                  // 127 - -1
        {0xFF, 0xFF, 8, 0, false, ALL - 1, 0},              // -1 + -1 = -2, sign-extended
        {0xFF, 0x01, 8, 0, true, 0xFE, 0},                  // -1 - 1 = -2, cut to 8 bits
        {0xFF, 0x01, 8, 1, false, 0xFF, 1},                 // 255 + 1
        {0x00, 0x01, 8, 1, true, 0x00, 1},                  // 0 - 1
        {0x7FFF, 0x7FFF, 16, 0, false, 0x7FFF, 1},
        {0x8000, 0x7FFF, 16, 0, true, 0x8000, 1},
        {0xFFFF, 0xFFFF, 16, 1, false, 0xFFFF, 1},
        {0x1234, 0x1235, 16, 1, true, 0x0000, 1},
        {0x7FFFFFFF, 0x00000001, 32, 0, false, 0x7FFFFFFF, 1},
        {0x80000000, 0x80000000, 32, 0, false, 0x80000000, 1},
        {0x80000000, 0x7FFFFFFF, 32, 0, false, ALL, 0},     // -2^31 + 2^31-1 = -1
        {0xFFFFFFFF, 0x00000001, 32, 1, false, 0xFFFFFFFF, 1},
        {0xFFFFFFFE, 0xFFFFFFFF, 32, 1, true, 0, 1},
        {ALL >> 1, 1, 64, 0, false, ALL >> 1, 1},
        {1ull << 63, 1ull << 63, 64, 0, false, 1ull << 63, 1},
        {1ull << 63, 1, 64, 0, true, 1ull << 63, 1},
        {ALL >> 1, ALL, 64, 0, true, ALL >> 1, 1},          // max - -1
        {ALL, 1, 64, 1, false, ALL, 1},
        {5, 6, 64, 1, true, 0, 1},
        {ALL, ALL, 64, 0, true, 0, 0},
        {ALL, ALL >> 1, 64, 1, true, 1ull << 63, 0},
    };
    for (auto& c : t) {
        sat_result r = c.sub ? SatSub(c.a, c.b, c.n, c.uns) : SatAdd(c.a, c.b, c.n, c.uns);
        EXPECT_EQ(r.result, c.result) << std::hex << c.a << (c.sub ? " - " : " + ") << c.b << " n " << std::dec << c.n;
        EXPECT_EQ(r.sat, c.sat) << std::hex << c.a << (c.sub ? " - " : " + ") << c.b << " n " << std::dec << c.n;
    }
}

// Every width the 64-bit paths take (1 to 32 and 64), and the signedness flag's other values
// (anything but 1 is signed), against the 128-bit functions on random operands.
TEST(SatFast, AgreesWithWidePath) {
    std::mt19937_64 rng(7);
    for (int n = 1; n <= 64; n++) {
        for (int uns : {0, 1, 2}) {
            for (int i = 0; i < 300; i++) {
                uint64_t a = rng(), b = rng();
                if (i % 3 == 0) b = a ^ (rng() & 3);  // near-equal operands
                if (i % 5 == 0) a = (i & 8) ? ALL >> (64 - n) : 1ull << (n - 1);
                sat_result f = SatAdd(a, b, n, uns), w = SatAddWide(a, b, n, uns);
                ASSERT_EQ(f.result, w.result) << std::hex << a << " + " << b << " n " << std::dec << n << " u " << uns;
                ASSERT_EQ(f.sat, w.sat) << std::hex << a << " + " << b << " n " << std::dec << n << " u " << uns;
                f = SatSub(a, b, n, uns);
                w = SatSubWide(a, b, n, uns);
                ASSERT_EQ(f.result, w.result) << std::hex << a << " - " << b << " n " << std::dec << n << " u " << uns;
                ASSERT_EQ(f.sat, w.sat) << std::hex << a << " - " << b << " n " << std::dec << n << " u " << uns;
            }
        }
    }
}

}  // namespace

// The 16-byte vector forms of saturating add and subtract (the chunked path of both tiers): every
// lane against the clamp above, for each lane type, on pairs of limit values and random lanes.
namespace {

template <class E>
void check_vector_saturation() {
    typedef E V __attribute__((vector_size(16)));
    constexpr int N = 16 / sizeof(E), BITS = int(sizeof(E) * 8);
    constexpr bool UNS = std::is_unsigned_v<E>;
    const E lim[] = {E(0), E(1), E(-1), std::numeric_limits<E>::min(), std::numeric_limits<E>::max(),
                     E(std::numeric_limits<E>::min() + 1), E(std::numeric_limits<E>::max() - 1), E(2)};
    std::mt19937_64 rng(BITS * 2 + UNS);
    for (int round = 0; round < 200; round++) {
        V a, b;
        for (int i = 0; i < N; i++) {
            a[i] = round < 8 ? lim[round] : E(rng());
            b[i] = round < 8 ? lim[i % 8] : (i & 1) ? lim[rng() % 8] : E(rng());
        }
        V sum = int_elements::sat_addsub_vec<false>(a, b), diff = int_elements::sat_addsub_vec<true>(a, b);
        for (int i = 0; i < N; i++) {
            __int128 x = UNS ? __int128(uint64_t(a[i])) : __int128(int64_t(a[i]));
            __int128 y = UNS ? __int128(uint64_t(b[i])) : __int128(int64_t(b[i]));
            uint64_t mask = BITS == 64 ? ALL : (1ull << BITS) - 1;
            ASSERT_EQ(uint64_t(sum[i]) & mask, clamp(x + y, BITS, UNS, true).result)
                << BITS << (UNS ? "u " : "s ") << uint64_t(a[i]) << " + " << uint64_t(b[i]);
            ASSERT_EQ(uint64_t(diff[i]) & mask, clamp(x - y, BITS, UNS, true).result)
                << BITS << (UNS ? "u " : "s ") << uint64_t(a[i]) << " - " << uint64_t(b[i]);
        }
    }
}

}  // namespace

TEST(SatVector, EveryLaneTypeClampsLikeTheWideResult) {
    check_vector_saturation<int8_t>();
    check_vector_saturation<uint8_t>();
    check_vector_saturation<int16_t>();
    check_vector_saturation<uint16_t>();
    check_vector_saturation<int32_t>();
    check_vector_saturation<uint32_t>();
    check_vector_saturation<int64_t>();
    check_vector_saturation<uint64_t>();
}

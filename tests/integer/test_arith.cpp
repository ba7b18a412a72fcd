// Integer arithmetic words, assembled by the GNU assembler, against results worked out by hand
// from the instruction definitions. Each case fills the vector cyclically with its element
// triples, so every lane position and the merging of inactive lanes are covered; both tiers run
// where both exist.
#include <gtest/gtest.h>

#include "tests/integer/int_test_util.h"

using namespace it;

namespace {

constexpr uint64_t M = ~0ull;  // all ones

// Predicated unary: Zd z3 (old value b), Pg p1, Zn z4 (a).
void check_unary_pred(const word_case& c, uint64_t seed) {
    cpu_state s = fresh(seed);
    int n = SVE_VL_BYTES / c.bytes;
    fill_a(s, 4, c);
    fill_b(s, 3, c);
    pset(s, 1, c.bytes, lane_on);
    EXPECT_EQ(run(s, c.word), c.handler) << c.text;
    for (int e = 0; e < n; e++) {
        const elem3& x = c.v[e % c.v.size()];
        EXPECT_EQ(zget_n(s, 3, e, c.bytes), lane_on(e) ? x.r & mask_n(c.bytes) : x.b) << c.text << " lane " << e;
    }
}

// Unpredicated with an immediate in the word: Zdn z3 (a).
void check_imm(const word_case& c, uint64_t seed) {
    cpu_state s = fresh(seed);
    int n = SVE_VL_BYTES / c.bytes;
    fill_a(s, 3, c);
    EXPECT_EQ(run(s, c.word), c.handler) << c.text;
    for (int e = 0; e < n; e++) {
        const elem3& x = c.v[e % c.v.size()];
        EXPECT_EQ(zget_n(s, 3, e, c.bytes), x.r & mask_n(c.bytes)) << c.text << " lane " << e;
    }
}

const word_case BINARY_PRED[] = {
    {"add z3.s, p1/m, z3.s, z4.s", 0x04800483, "VecU32AddVVM", 4, false,
     {{0xFFFFFFFF, 1, 0}, {0x7FFFFFFF, 1, 0x80000000}, {5, 7, 12}}},
    {"sub z3.h, p1/m, z3.h, z4.h", 0x04410483, "VecU16SubVVM", 2, false, {{0, 1, 0xFFFF}, {0x8000, 1, 0x7FFF}, {10, 3, 7}}},
    {"subr z3.h, p1/m, z3.h, z4.h", 0x04430483, "VecU16SubRVVM", 2, false, {{0, 1, 1}, {10, 3, 0xFFF9}, {3, 10, 7}}},
    {"mul z3.b, p1/m, z3.b, z4.b", 0x04100483, "VecS8MulVVM", 1, false, {{16, 16, 0}, {0xFF, 0xFF, 1}, {7, 9, 63}, {0x80, 3, 0x80}}},
    {"mul z3.d, p1/m, z3.d, z4.d", 0x04d00483, "VecS64MulVVM", 8, false,
     {{M, M, 1}, {1ull << 32, 1ull << 32, 0}, {0x100000001, 3, 0x300000003}}},
    {"sdiv z3.s, p1/m, z3.s, z4.s", 0x04940483, "VecS32DivVVM", 4, false,
     {{0x80000000, 0xFFFFFFFF, 0x80000000}, {7, 0, 0}, {0xFFFFFFF9, 2, 0xFFFFFFFD}, {7, 0xFFFFFFFE, 0xFFFFFFFD}, {100, 7, 14}}},
    {"udiv z3.d, p1/m, z3.d, z4.d", 0x04d50483, "VecU64DivVVM", 8, false,
     {{M, 0, 0}, {M, 2, M >> 1}, {10, 3, 3}, {1ull << 63, M, 0}}},
    {"sdivr z3.d, p1/m, z3.d, z4.d", 0x04d60483, "VecS64DivRVVM", 8, false,
     {{0, 5, 0}, {M, 1ull << 63, 1ull << 63}, {3, 10, 3}, {M - 2, 10, M - 2}}},
    {"udivr z3.s, p1/m, z3.s, z4.s", 0x04970483, "VecU32DivRVVM", 4, false, {{0, 5, 0}, {2, 0xFFFFFFFF, 0x7FFFFFFF}, {10, 3, 0}}},
    {"smulh z3.b, p1/m, z3.b, z4.b", 0x04120483, "VecS8MulHVVM", 1, false, {{0x80, 0x80, 0x40}, {0xFF, 1, 0xFF}, {0x7F, 0x7F, 0x3F}, {2, 3, 0}}},
    {"smulh z3.d, p1/m, z3.d, z4.d", 0x04d20483, "VecS64MulHVVM", 8, false,
     {{1ull << 63, 1ull << 63, 1ull << 62}, {M, 1, M}, {1ull << 62, 4, 1}, {M, M, 0}}},
    {"umulh z3.d, p1/m, z3.d, z4.d", 0x04d30483, "VecU64MulHVVM", 8, false, {{M, M, M - 1}, {1ull << 63, 4, 2}, {5, 7, 0}}},
    {"umulh z3.h, p1/m, z3.h, z4.h", 0x04530483, "VecU16MulHVVM", 2, false, {{0xFFFF, 0xFFFF, 0xFFFE}, {0x8000, 2, 1}}},
    {"sabd z3.b, p1/m, z3.b, z4.b", 0x040c0483, "VecS8AbdVVM", 1, false, {{0x80, 0x7F, 0xFF}, {0x7F, 0x80, 0xFF}, {5, 0xFB, 10}, {3, 3, 0}}},
    {"uabd z3.b, p1/m, z3.b, z4.b", 0x040d0483, "VecU8AbdVVM", 1, false, {{0x80, 0x7F, 1}, {0, 0xFF, 0xFF}, {10, 3, 7}}},
    {"sabd z3.d, p1/m, z3.d, z4.d", 0x04cc0483, "VecS64AbdVVM", 8, false, {{1ull << 63, M >> 1, M}, {M, 1, 2}}},
    {"smax z3.h, p1/m, z3.h, z4.h", 0x04480483, "VecS16MaxVVM", 2, false, {{0x8000, 0x7FFF, 0x7FFF}, {0xFFFF, 1, 1}, {0xFFFF, 0xFFFE, 0xFFFF}}},
    {"umax z3.b, p1/m, z3.b, z4.b", 0x04090483, "VecU8MaxVVM", 1, false, {{0x80, 0x7F, 0x80}, {0, 0xFF, 0xFF}}},
    {"smin z3.d, p1/m, z3.d, z4.d", 0x04ca0483, "VecS64MinVVM", 8, false, {{1ull << 63, M >> 1, 1ull << 63}, {M, 1, M}}},
    {"umin z3.h, p1/m, z3.h, z4.h", 0x044b0483, "VecU16MinVVM", 2, false, {{0x8000, 0x7FFF, 0x7FFF}, {0xFFFF, 1, 1}, {0, 0xFFFF, 0}}},
    {"and z3.h, p1/m, z3.h, z4.h", 0x045a0483, "VecU16AndVVM", 2, false, {{0xF0F0, 0xFF00, 0xF000}}},
    {"orr z3.b, p1/m, z3.b, z4.b", 0x04180483, "VecU8OrVVM", 1, false, {{0xF0, 0x0F, 0xFF}, {0x12, 0x21, 0x33}}},
    {"eor z3.s, p1/m, z3.s, z4.s", 0x04990483, "VecU32XorVVM", 4, false, {{0xFFFF0000, 0xFF00FF00, 0x00FFFF00}}},
    {"bic z3.d, p1/m, z3.d, z4.d", 0x04db0483, "VecU64BicVVM", 8, false, {{M, 0xFF, M - 0xFF}}},
};

const word_case UNARY_PRED[] = {
    // {Zn, old Zd, result}
    {"abs z3.b, p1/m, z4.b", 0x0416a483, "VecS8AbsVM", 1, false, {{0x80, 0x11, 0x80}, {0xFF, 0x22, 1}, {5, 0x33, 5}}},
    {"abs z3.d, p1/m, z4.d", 0x04d6a483, "VecS64AbsVM", 8, false, {{1ull << 63, 7, 1ull << 63}, {M - 4, 7, 5}}},
    {"neg z3.d, p1/m, z4.d", 0x04d7a483, "VecS64NegVM", 8, false, {{1ull << 63, 9, 1ull << 63}, {1, 9, M}, {0, 9, 0}}},
    {"neg z3.b, p1/m, z4.b", 0x0417a483, "VecS8NegVM", 1, false, {{0x80, 9, 0x80}, {1, 9, 0xFF}}},
    {"cls z3.b, p1/m, z4.b", 0x0418a483, "VecU8ClsVM", 1, false, {{0, 1, 7}, {0xFF, 1, 7}, {0x40, 1, 0}, {0xE0, 1, 2}}},
    {"cls z3.d, p1/m, z4.d", 0x04d8a483, "VecU64ClsVM", 8, false, {{0, 1, 63}, {1, 1, 62}, {M, 1, 63}}},
    {"clz z3.b, p1/m, z4.b", 0x0419a483, "VecU8ClzVM", 1, false, {{0, 1, 8}, {1, 1, 7}, {0x80, 1, 0}}},
    {"clz z3.h, p1/m, z4.h", 0x0459a483, "VecU16ClzVM", 2, false, {{0, 1, 16}, {0x00F0, 1, 8}}},
    {"cnt z3.s, p1/m, z4.s", 0x049aa483, "VecU32CntVM", 4, false, {{0xFFFFFFFF, 1, 32}, {0x80000001, 1, 2}, {0, 1, 0}}},
    {"cnt z3.d, p1/m, z4.d", 0x04daa483, "VecU64CntVM", 8, false, {{M, 1, 64}, {0x0F0F, 1, 8}}},
    {"cnot z3.b, p1/m, z4.b", 0x041ba483, "VecU8NotVM", 1, false, {{0, 7, 1}, {1, 7, 0}, {0x80, 7, 0}}},
    {"not z3.b, p1/m, z4.b", 0x041ea483, "VecU8InvVM", 1, false, {{0, 7, 0xFF}, {0x0F, 7, 0xF0}}},
    {"not z3.d, p1/m, z4.d", 0x04dea483, "VecU64InvVM", 8, false, {{0, 7, M}, {1, 7, M - 1}}},
    {"rbit z3.h, p1/m, z4.h", 0x05678483, "VecU16RBitVM", 2, false, {{1, 7, 0x8000}, {0x00F1, 7, 0x8F00}}},
    {"rbit z3.b, p1/m, z4.b", 0x05278483, "VecU8RBitVM", 1, false, {{1, 7, 0x80}, {0x06, 7, 0x60}}},
    {"revb z3.h, p1/m, z4.h", 0x05648483, "VecU16Rev1V", 2, false, {{0x1234, 7, 0x3412}}},
    {"revb z3.d, p1/m, z4.d", 0x05e48483, "VecU64Rev1V", 8, false, {{0x0102030405060708, 7, 0x0807060504030201}}},
    {"revh z3.d, p1/m, z4.d", 0x05e58483, "VecU64Rev2V", 8, false, {{0x1111222233334444, 7, 0x4444333322221111}}},
    {"revw z3.d, p1/m, z4.d", 0x05e68483, "VecU64Rev4V", 8, false, {{0x1111111122222222, 7, 0x2222222211111111}}},
    {"sxtb z3.s, p1/m, z4.s", 0x0490a483, "VecS32Extnd14VM", 4, false, {{0x1234567F, 7, 0x7F}, {0x00000080, 7, 0xFFFFFF80}}},
    {"sxtb z3.h, p1/m, z4.h", 0x0450a483, "VecS16Extnd12VM", 2, false, {{0x12FF, 7, 0xFFFF}}},
    {"uxtb z3.d, p1/m, z4.d", 0x04d1a483, "VecU64Extnd18VM", 8, false, {{M, 7, 0xFF}}},
    {"uxtb z3.h, p1/m, z4.h", 0x0451a483, "VecU16Extnd12VM", 2, false, {{0xABCD, 7, 0xCD}}},
    {"sxth z3.d, p1/m, z4.d", 0x04d2a483, "VecS64Extnd28VM", 8, false, {{0x8000, 7, M - 0x7FFF}, {0x12347FFF, 7, 0x7FFF}}},
    {"uxth z3.s, p1/m, z4.s", 0x0493a483, "VecU32Extnd24VM", 4, false, {{0xFFFF8000, 7, 0x8000}}},
    {"sxtw z3.d, p1/m, z4.d", 0x04d4a483, "VecS64Extnd48VM", 8, false, {{0x80000000, 7, 0xFFFFFFFF80000000}}},
    {"uxtw z3.d, p1/m, z4.d", 0x04d5a483, "VecU64Extnd48VM", 8, false, {{M, 7, 0xFFFFFFFF}}},
};

const word_case UNPRED[] = {
    {"add z3.b, z4.b, z5.b", 0x04250083, "VecU8AddVVX", 1, false, {{0xFF, 1, 0}, {0x80, 0x80, 0}, {3, 4, 7}}},
    {"add z3.d, z4.d, z5.d", 0x04e50083, "VecU64AddVVX", 8, false, {{M, 2, 1}}},
    {"sub z3.d, z4.d, z5.d", 0x04e50483, "VecU64SubVVX", 8, false, {{0, 1, M}, {5, 3, 2}}},
    {"sub z3.h, z4.h, z5.h", 0x04650483, "VecU16SubVVX", 2, false, {{0, 1, 0xFFFF}}},
    {"sqadd z3.b, z4.b, z5.b", 0x04251083, "VecS8QAddVVX", 1, false, {{0x7F, 1, 0x7F}, {0x80, 0xFF, 0x80}, {0xFF, 1, 0}, {100, 27, 127}}},
    {"sqadd z3.s, z4.s, z5.s", 0x04a51083, "VecS32QAddVVX", 4, false, {{0x7FFFFFFF, 0x7FFFFFFF, 0x7FFFFFFF}, {0x80000000, 0x80000000, 0x80000000}}},
    {"sqadd z3.d, z4.d, z5.d", 0x04e51083, "VecS64QAddVVX", 8, false, {{M >> 1, 1, M >> 1}, {1ull << 63, M, 1ull << 63}, {M, 1, 0}}},
    {"uqadd z3.d, z4.d, z5.d", 0x04e51483, "VecU64QAddVVX", 8, false, {{M, 1, M}, {M - 1, 1, M}, {2, 3, 5}}},
    {"sqsub z3.s, z4.s, z5.s", 0x04a51883, "VecS32QSubVVX", 4, false, {{0x80000000, 1, 0x80000000}, {0x7FFFFFFF, 0xFFFFFFFF, 0x7FFFFFFF}, {0, 1, 0xFFFFFFFF}}},
    {"uqsub z3.h, z4.h, z5.h", 0x04651c83, "VecU16QSubVVX", 2, false, {{0, 1, 0}, {5, 3, 2}, {3, 5, 0}}},
    {"uqsub z3.b, z4.b, z5.b", 0x04251c83, "VecU8QSubVVX", 1, false, {{0x10, 0x20, 0}, {0xFF, 0x01, 0xFE}}},
    {"and z3.d, z4.d, z5.d", 0x04253083, "VecU64AndVVX", 8, false, {{0xFF00FF00FF00FF00, 0x0FF00FF00FF00FF0, 0x0F000F000F000F00}}},
    {"orr z3.d, z4.d, z5.d", 0x04653083, "VecU64OrVVX", 8, false, {{0xF0, 0x0F, 0xFF}}},
    {"eor z3.d, z4.d, z5.d", 0x04a53083, "VecU64XorVVX", 8, false, {{M, 0xF0, M ^ 0xF0}}},
    {"bic z3.d, z4.d, z5.d", 0x04e53083, "VecU64BicVVX", 8, false, {{0xFF, 0x0F, 0xF0}}},
};

const word_case IMMEDIATE[] = {
    // {Zdn, unused, result}
    {"sqadd z3.b, z3.b, #200", 0x2524d903, "VecS8QAddVIX", 1, false, {{100, 0, 127}, {0x9C /* -100 */, 0, 100}, {0x80, 0, 72}}},
    {"sqsub z3.b, z3.b, #200", 0x2526d903, "VecS8QSubVIX", 1, false, {{100, 0, 0x9C /* -100 */}, {0x7F, 0, 0xB7 /* -73 */}, {0x80, 0, 0x80}}},
    {"uqadd z3.h, z3.h, #65280", 0x2565ffe3, "VecU16QAddVIX", 2, false, {{0x00FF, 0, 0xFFFF}, {0x0100, 0, 0xFFFF}, {0x0001, 0, 0xFF01}}},
    {"uqsub z3.b, z3.b, #10", 0x2527c143, "VecU8QSubVIX", 1, false, {{5, 0, 0}, {10, 0, 0}, {200, 0, 190}}},
    {"sqadd z3.d, z3.d, #65280", 0x25e4ffe3, "VecS64QAddVIX", 8, false, {{M >> 1, 0, M >> 1}, {M, 0, 0xFEFF}}},
    {"subr z3.s, z3.s, #5", 0x25a3c0a3, "VecU32SubRVIX", 4, false, {{5, 0, 0}, {6, 0, 0xFFFFFFFF}, {0, 0, 5}}},
    {"sub z3.s, z3.s, #256", 0x25a1e023, "VecU32SubVIX", 4, false, {{0x100, 0, 0}, {0, 0, 0xFFFFFF00}}},
    {"sub z3.b, z3.b, #255", 0x2521dfe3, "VecU8SubVIX", 1, false, {{0, 0, 1}, {0xFF, 0, 0}}},
    {"smax z3.b, z3.b, #-3", 0x2528dfa3, "VecS8MaxVIX", 1, false, {{0x80, 0, 0xFD}, {0xFD, 0, 0xFD}, {2, 0, 2}}},
    {"umin z3.b, z3.b, #200", 0x252bd903, "VecU8MinVIX", 1, false, {{0xFF, 0, 200}, {199, 0, 199}}},
    {"smin z3.d, z3.d, #-128", 0x25ead003, "VecS64MinVIX", 8, false, {{0, 0, M - 127}, {1ull << 63, 0, 1ull << 63}}},
    {"umax z3.h, z3.h, #255", 0x2569dfe3, "VecU16MaxVIX", 2, false, {{0, 0, 255}, {0x8000, 0, 0x8000}}},
    {"mul z3.h, z3.h, #-2", 0x2570dfc3, "VecS16MulVIX", 2, false, {{3, 0, 0xFFFA}, {0x8000, 0, 0}, {0xFFFF, 0, 2}}},
    {"mul z3.d, z3.d, #127", 0x25f0cfe3, "VecS64MulVIX", 8, false, {{M, 0, M - 126}, {2, 0, 254}}},
    {"and z3.h, z3.h, #0xff00", 0x058044e3, "VecU64AndVIX", 2, false, {{0x1234, 0, 0x1200}}},
    {"eor z3.h, z3.h, #0xff", 0x054004e3, "VecU64XorVIX", 2, false, {{0x1234, 0, 0x12CB}}},
    {"orr z3.d, z3.d, #0x8000000000000001", 0x05020823, "VecU64OrVIX", 8, false, {{0x10, 0, 0x8000000000000011}}},
};

TEST(IntArith, BinaryPredicated) {
    uint64_t seed = 100;
    for (const word_case& c : BINARY_PRED) check_pred(c, seed++);
}
TEST(IntArith, UnaryPredicated) {
    uint64_t seed = 200;
    for (const word_case& c : UNARY_PRED) check_unary_pred(c, seed++);
}
TEST(IntArith, Unpredicated) {
    uint64_t seed = 300;
    for (const word_case& c : UNPRED) check_unpred(c, seed++);
}
TEST(IntArith, Immediate) {
    uint64_t seed = 400;
    for (const word_case& c : IMMEDIATE) check_imm(c, seed++);
}

// Every operand one register: add z1.b, p0/m, z1.b, z1.b doubles each active element.
TEST(IntArith, FullAliasing) {
    cpu_state s = fresh(7);
    pset(s, 0, 1, [](int e) { return e % 2 == 0; });
    cpu_state before = s;
    run(s, 0x04000021);
    for (int e = 0; e < 80; e++)
        EXPECT_EQ(s.z[1][e], e % 2 == 0 ? uint8_t(2 * before.z[1][e]) : before.z[1][e]) << e;
}

// No active element: every merging form leaves Zdn bit for bit unchanged.
TEST(IntArith, AllFalsePredicateKeepsDestination) {
    for (const word_case& c : BINARY_PRED) {
        cpu_state s = fresh(c.word);
        std::memset(s.p[1], 0, SVE_VL_BYTES);
        cpu_state before = s;
        run(s, c.word);
        EXPECT_EQ(0, std::memcmp(s.z[3], before.z[3], SVE_VL_BYTES)) << c.text;
    }
}

// Multiply-add: mla/mls add to or subtract from Zda the product Zn*Zm; mad/msb multiply Zdn.
TEST(IntArith, MultiplyAdd) {
    struct {
        const char* text;
        uint32_t word;
        int bytes;
        uint64_t z3, z4, z5, r;
    } cases[] = {
        {"mla z3.s, p1/m, z4.s, z5.s", 0x04854483, 4, 10, 3, 4, 22},
        {"mls z3.s, p1/m, z4.s, z5.s", 0x04856483, 4, 10, 3, 4, 0xFFFFFFFE},
        {"mad z3.s, p1/m, z4.s, z5.s", 0x0484c4a3, 4, 10, 3, 4, 34},         // z5 + z3*z4
        {"msb z3.s, p1/m, z4.s, z5.s", 0x0484e4a3, 4, 10, 3, 4, 0xFFFFFFE6},  // z5 - z3*z4
        {"mla z3.b, p1/m, z4.b, z5.b", 0x04054483, 1, 1, 16, 16, 1},
        {"msb z3.d, p1/m, z4.d, z5.d", 0x04c4e4a3, 8, M, M, 5, 4},
    };
    for (auto& c : cases) {
        cpu_state s = fresh(c.word);
        int n = 80 / c.bytes;
        for (int e = 0; e < n; e++) {
            zset_n(s, 3, e, c.bytes, c.z3);
            zset_n(s, 4, e, c.bytes, c.z4);
            zset_n(s, 5, e, c.bytes, c.z5);
        }
        pset(s, 1, c.bytes, lane_on);
        run(s, c.word);
        for (int e = 0; e < n; e++) EXPECT_EQ(zget_n(s, 3, e, c.bytes), lane_on(e) ? c.r : c.z3) << c.text << " " << e;
    }
}

// mla z3.s, p1/m, z3.s, z3.s: the accumulator is also both factors.
TEST(IntArith, MultiplyAddAliasing) {
    uint32_t w = (0x04854483u & ~((31u << 16) | (31u << 5))) | (3u << 16) | (3u << 5);
    cpu_state s = fresh(11);
    for (int e = 0; e < 20; e++) zset<uint32_t>(s, 3, e, uint32_t(e));
    pset(s, 1, 4, [](int) { return true; });
    run(s, w);
    for (int e = 0; e < 20; e++) EXPECT_EQ(zget<uint32_t>(s, 3, e), uint32_t(e + e * e));
}

// Dot product of lane e: Zda plus four products of narrow elements of zn (group e) and zm
// (group g(e)), sign- or zero-extended by N.
template <class T, class N, class G>
void check_dot(const char* text, uint32_t w, int zm, G&& g) {
    cpu_state s = fresh(w);
    for (int i = 0; i < 80; i++) {
        s.z[4][i] = uint8_t(i % 7 == 0 ? 0xFF : i);  // 0xFF is -1 signed, 255 unsigned
        s.z[zm][i] = uint8_t(i % 5 == 0 ? 0x80 : 3 + (i & 3));
    }
    cpu_state base = s;
    run(s, w);
    for (int e = 0; e < 80 / int(sizeof(T)); e++) {
        T sum = zget<T>(base, 3, e);
        for (int k = 0; k < 4; k++)
            sum += T(int64_t(zget<N>(base, 4, 4 * e + k)) * int64_t(zget<N>(base, zm, 4 * g(e) + k)));
        EXPECT_EQ(zget<T>(s, 3, e), sum) << text << " lane " << e;
    }
}

TEST(IntArith, DotProducts) {
    auto same = [](int e) { return e; };
    check_dot<uint32_t, int8_t>("sdot z3.s, z4.b, z5.b", 0x44850083, 5, same);
    check_dot<uint32_t, int8_t>("sdot z3.s, z4.b, z5.b[3]", 0x44bd0083, 5, [](int e) { return (e & ~3) + 3; });
    check_dot<uint64_t, uint16_t>("udot z3.d, z4.h, z5.h", 0x44c50483, 5, same);
    check_dot<uint64_t, uint16_t>("udot z3.d, z4.h, z15.h[1]", 0x44ff0483, 15, [](int e) { return (e & ~1) + 1; });
}

// sdot z4.s, z4.b, z4.b: the accumulator is read before any lane is written.
TEST(IntArith, DotAliasing) {
    uint32_t w = (0x44850083u & ~((31u << 16) | (31u << 5) | 31u)) | (4u << 16) | (4u << 5) | 4u;
    cpu_state s = fresh(13);
    cpu_state base = s;
    run(s, w);
    for (int e = 0; e < 20; e++) {
        int32_t sum = zget<int32_t>(base, 4, e);
        for (int k = 0; k < 4; k++) sum += int32_t(int8_t(base.z[4][4 * e + k])) * int32_t(int8_t(base.z[4][4 * e + k]));
        EXPECT_EQ(zget<int32_t>(s, 4, e), sum);
    }
}

}  // namespace

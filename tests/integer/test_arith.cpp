// Integer arithmetic and move words (from the GNU assembler) on the edge cases of their
// definitions: lowest values, division by zero and -1, saturation bounds, signed against
// unsigned, shifted byte immediates, aliasing, merging and zeroing. Every lane position is
// covered and both tiers run where both exist; ordinary values are left to the processor check.
#include <gtest/gtest.h>

#include <functional>

#include "tests/integer/int_test_util.h"

using namespace it;

namespace {

constexpr uint64_t M = ~0ull;

const word_case BINARY_PRED[] = {  // {Zdn, Zm, result}
    {"sdiv z3.s, p1/m, z3.s, z4.s", 0x04940483, "VecS32DivVVM", 4, false,
     {{0x80000000, 0xFFFFFFFF, 0x80000000}, {7, 0, 0}, {0xFFFFFFF9, 2, 0xFFFFFFFD}, {7, 0xFFFFFFFE, 0xFFFFFFFD}}},
    {"udiv z3.d, p1/m, z3.d, z4.d", 0x04d50483, "VecU64DivVVM", 8, false, {{M, 0, 0}, {M, 2, M >> 1}, {1ull << 63, M, 0}}},
    {"sdivr z3.d, p1/m, z3.d, z4.d", 0x04d60483, "VecS64DivRVVM", 8, false, {{0, 5, 0}, {M, 1ull << 63, 1ull << 63}, {M - 2, 10, M - 2}}},
    {"udivr z3.s, p1/m, z3.s, z4.s", 0x04970483, "VecU32DivRVVM", 4, false, {{0, 5, 0}, {2, 0xFFFFFFFF, 0x7FFFFFFF}}},
    {"mul z3.d, p1/m, z3.d, z4.d", 0x04d00483, "VecS64MulVVM", 8, false, {{M, M, 1}, {1ull << 32, 1ull << 32, 0}}},
    {"smulh z3.d, p1/m, z3.d, z4.d", 0x04d20483, "VecS64MulHVVM", 8, false, {{1ull << 63, 1ull << 63, 1ull << 62}, {M, 1, M}}},
    {"umulh z3.d, p1/m, z3.d, z4.d", 0x04d30483, "VecU64MulHVVM", 8, false, {{M, M, M - 1}, {1ull << 63, 4, 2}}},
    {"sabd z3.b, p1/m, z3.b, z4.b", 0x040c0483, "VecS8AbdVVM", 1, false, {{0x80, 0x7F, 0xFF}, {5, 0xFB, 10}}},
    {"uabd z3.b, p1/m, z3.b, z4.b", 0x040d0483, "VecU8AbdVVM", 1, false, {{0x80, 0x7F, 1}, {0, 0xFF, 0xFF}}},
    {"smax z3.h, p1/m, z3.h, z4.h", 0x04480483, "VecS16MaxVVM", 2, false, {{0x8000, 0x7FFF, 0x7FFF}, {0xFFFF, 0xFFFE, 0xFFFF}}},
    {"umin z3.h, p1/m, z3.h, z4.h", 0x044b0483, "VecU16MinVVM", 2, false, {{0x8000, 0x7FFF, 0x7FFF}, {0, 0xFFFF, 0}}},
};

const word_case UNARY_PRED[] = {  // {Zn, old Zd, result}
    {"abs z3.b, p1/m, z4.b", 0x0416a483, "VecS8AbsVM", 1, false, {{0x80, 0x11, 0x80}, {0xFF, 0x22, 1}}},
    {"neg z3.d, p1/m, z4.d", 0x04d7a483, "VecS64NegVM", 8, false, {{1ull << 63, 9, 1ull << 63}, {1, 9, M}}},
    {"cls z3.b, p1/m, z4.b", 0x0418a483, "VecU8ClsVM", 1, false, {{0, 1, 7}, {0xFF, 1, 7}, {0x40, 1, 0}, {0xE0, 1, 2}}},
    {"clz z3.h, p1/m, z4.h", 0x0459a483, "VecU16ClzVM", 2, false, {{0, 1, 16}, {0x00F0, 1, 8}}},
    {"cnt z3.d, p1/m, z4.d", 0x04daa483, "VecU64CntVM", 8, false, {{M, 1, 64}, {0x0F0F, 1, 8}}},
    {"cnot z3.b, p1/m, z4.b", 0x041ba483, "VecU8NotVM", 1, false, {{0, 7, 1}, {1, 7, 0}, {0x80, 7, 0}}},
    {"not z3.b, p1/m, z4.b", 0x041ea483, "VecU8InvVM", 1, false, {{0, 7, 0xFF}, {0x0F, 7, 0xF0}}},
    {"rbit z3.h, p1/m, z4.h", 0x05678483, "VecU16RBitVM", 2, false, {{1, 7, 0x8000}, {0x00F1, 7, 0x8F00}}},
    {"revb z3.h, p1/m, z4.h", 0x05648483, "VecU16Rev1V", 2, false, {{0x1234, 7, 0x3412}}},
    {"revh z3.d, p1/m, z4.d", 0x05e58483, "VecU64Rev2V", 8, false, {{0x1111222233334444, 7, 0x4444333322221111}}},
    {"revw z3.d, p1/m, z4.d", 0x05e68483, "VecU64Rev4V", 8, false, {{0x1111111122222222, 7, 0x2222222211111111}}},
    {"sxtb z3.s, p1/m, z4.s", 0x0490a483, "VecS32Extnd14VM", 4, false, {{0x1234567F, 7, 0x7F}, {0x80, 7, 0xFFFFFF80}}},
    {"uxtb z3.h, p1/m, z4.h", 0x0451a483, "VecU16Extnd12VM", 2, false, {{0xABCD, 7, 0xCD}}},
    {"uxtw z3.d, p1/m, z4.d", 0x04d5a483, "VecU64Extnd48VM", 8, false, {{M, 7, 0xFFFFFFFF}}},
    {"movprfx z3.d, p1/m, z4.d", 0x04d12483, "VecU64MovePrefix1VM", 8, false, {{5, 7, 5}}},
};

const word_case UNPRED[] = {  // {Zn, Zm, result}
    {"sqadd z3.b, z4.b, z5.b", 0x04251083, "VecS8QAddVVX", 1, false, {{0x7F, 1, 0x7F}, {0x80, 0xFF, 0x80}, {0xFF, 1, 0}}},
    {"uqadd z3.d, z4.d, z5.d", 0x04e51483, "VecU64QAddVVX", 8, false, {{M, 1, M}, {M - 1, 1, M}}},
    {"sqsub z3.s, z4.s, z5.s", 0x04a51883, "VecS32QSubVVX", 4, false, {{0x80000000, 1, 0x80000000}, {0x7FFFFFFF, 0xFFFFFFFF, 0x7FFFFFFF}}},
    {"uqsub z3.h, z4.h, z5.h", 0x04651c83, "VecU16QSubVVX", 2, false, {{0, 1, 0}, {3, 5, 0}, {5, 3, 2}}},
    {"bic z3.d, z4.d, z5.d", 0x04e53083, "VecU64BicVVX", 8, false, {{0xFF, 0x0F, 0xF0}}},
};

const word_case IMMEDIATE[] = {  // {Zdn, -, result}
    {"sqadd z3.b, z3.b, #200", 0x2524d903, "VecS8QAddVIX", 1, false, {{100, 0, 127}, {0x9C, 0, 100}, {0x80, 0, 72}}},
    {"sqsub z3.b, z3.b, #200", 0x2526d903, "VecS8QSubVIX", 1, false, {{100, 0, 0x9C}, {0x80, 0, 0x80}}},
    {"uqadd z3.h, z3.h, #65280", 0x2565ffe3, "VecU16QAddVIX", 2, false, {{0x00FF, 0, 0xFFFF}, {0x0100, 0, 0xFFFF}}},
    {"sqadd z3.b, z3.b, #200, lsl #8 (adds 0)", 0x2524f903, "VecS8QAddVIX", 1, false, {{0x7F, 0, 0x7F}, {0x80, 0, 0x80}}},
    {"sub z3.b, z3.b, #255, lsl #8 (subtracts 0)", 0x2521ffe3, "VecU8SubVIX", 1, false, {{0x12, 0, 0x12}}},
    {"smax z3.b, z3.b, #-3", 0x2528dfa3, "VecS8MaxVIX", 1, false, {{0x80, 0, 0xFD}, {2, 0, 2}}},
    {"umin z3.b, z3.b, #200", 0x252bd903, "VecU8MinVIX", 1, false, {{0xFF, 0, 200}, {199, 0, 199}}},
    {"mul z3.h, z3.h, #-2", 0x2570dfc3, "VecS16MulVIX", 2, false, {{3, 0, 0xFFFA}, {0x8000, 0, 0}}},
    {"and z3.h, z3.h, #0xff00", 0x058044e3, "VecU64AndVIX", 2, false, {{0x1234, 0, 0x1200}}},
    {"orr z3.d, z3.d, #0x8000000000000001", 0x05020823, "VecU64OrVIX", 8, false, {{0x10, 0, 0x8000000000000011}}},
};

TEST(IntArith, BinaryPredicated) { run_table(BINARY_PRED, 100, check_pred); }
TEST(IntArith, UnaryPredicated) { run_table(UNARY_PRED, 200, check_unary); }
TEST(IntArith, Unpredicated) { run_table(UNPRED, 300, check_unpred); }
TEST(IntArith, Immediate) { run_table(IMMEDIATE, 400, check_imm); }

// add z1.b, p0/m, z1.b, z1.b: every operand one register.
TEST(IntArith, FullAliasing) {
    cpu_state s = fresh(7);
    pset(s, 0, 1, [](int e) { return e % 2 == 0; });
    cpu_state before = s;
    run(s, 0x04000021);
    for (int e = 0; e < 80; e++) EXPECT_EQ(s.z[1][e], e % 2 == 0 ? uint8_t(2 * before.z[1][e]) : before.z[1][e]) << e;
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

// mla/mls: Zda +- Zn*Zm; mad/msb: Za +- Zdn*Zm. z3 = 10, z4 = 3, z5 = 4 in every lane.
TEST(IntArith, MultiplyAdd) {
    struct { const char* text; uint32_t word; uint32_t r; } cases[] = {
        {"mla z3.s, p1/m, z4.s, z5.s", 0x04854483, 22},
        {"mls z3.s, p1/m, z4.s, z5.s", 0x04856483, 0xFFFFFFFE},
        {"mad z3.s, p1/m, z4.s, z5.s", 0x0484c4a3, 34},
        {"msb z3.s, p1/m, z4.s, z5.s", 0x0484e4a3, 0xFFFFFFE6},
    };
    for (auto& c : cases) {
        cpu_state s = fresh(c.word);
        for (int e = 0; e < 20; e++) zset<uint32_t>(s, 3, e, 10), zset<uint32_t>(s, 4, e, 3), zset<uint32_t>(s, 5, e, 4);
        pset(s, 1, 4, lane_on);
        run(s, c.word);
        for (int e = 0; e < 20; e++) EXPECT_EQ(zget<uint32_t>(s, 3, e), lane_on(e) ? c.r : 10u) << c.text << " " << e;
    }
}

// Dot product of lane e: Zda plus four products of narrow elements of z4 (group e) and zm
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
        for (int k = 0; k < 4; k++) sum += T(int64_t(zget<N>(base, 4, 4 * e + k)) * int64_t(zget<N>(base, zm, 4 * g(e) + k)));
        EXPECT_EQ(zget<T>(s, 3, e), sum) << text << " lane " << e;
    }
}

TEST(IntArith, DotProducts) {
    check_dot<uint32_t, int8_t>("sdot z3.s, z4.b, z5.b[3]", 0x44bd0083, 5, [](int e) { return (e & ~3) + 3; });
    check_dot<uint64_t, uint16_t>("udot z3.d, z4.h, z15.h[1]", 0x44ff0483, 15, [](int e) { return (e & ~1) + 1; });
}

// Moves and constants: the expected element e of z3 from the state before.
constexpr uint64_t X5 = 0x123456789ABCDEF0ull;
bool p2_on(int e) { return e % 3 == 1; }
struct move_case {
    const char* text;
    uint32_t word;
    const char* handler;
    int bytes;
    std::function<uint64_t(const cpu_state&, int)> want;
};
const move_case MOVES[] = {
    {"dup z3.d, #-128", 0x25f8d003, "VecS64DupI", 8, [](const cpu_state&, int) { return M - 127; }},
    {"dup z3.b, #-1, lsl #8 (stores 0)", 0x2538ffe3, "VecS8DupI", 1, [](const cpu_state&, int) { return 0ull; }},
    {"dup z3.d, sp", 0x05e03be3, "VecU64DupS", 8, [](const cpu_state& s, int) { return s.sp; }},
    {"dupm z3.d, #0x5555555555555555", 0x05c00783, "VecS64DupMaskI", 8, [](const cpu_state&, int) { return 0x5555555555555555ull; }},
    {"cpy z3.d, p2/z, #-1", 0x05d21fe3, "VecS64DupIZ", 8, [](const cpu_state&, int e) { return p2_on(e) ? M : 0; }},
    {"cpy z3.s, p2/m, #1792", 0x059260e3, "VecS32DupIM", 4, [](const cpu_state& s, int e) { return p2_on(e) ? 0x700 : zget_n(s, 3, e, 4); }},
    {"cpy z3.h, p2/m, wsp", 0x0568abe3, "VecU16DupSM", 2, [](const cpu_state& s, int e) { return p2_on(e) ? s.sp : zget_n(s, 3, e, 2); }},
    {"cpy z3.b, p2/m, b7", 0x052088e3, "VecB8DupSM", 1, [](const cpu_state& s, int e) { return p2_on(e) ? s.z[7][0] : s.z[3][e]; }},
    {"index z3.h, w5, #-2", 0x047e44a3, "VecS16IndexSI", 2, [](const cpu_state&, int e) { return uint64_t(0xDEF0 - 2 * e); }},
    {"index z3.d, xzr, xzr", 0x04ff4fe3, "VecS64IndexSS", 8, [](const cpu_state&, int) { return 0ull; }},
    {"index z3.b, wzr, w6 (wraps at element 64)", 0x04264fe3, "VecS8IndexSS", 1, [](const cpu_state&, int e) { return uint64_t(4 * e); }},
    {"movprfx z3.s, p2/z, z4.s", 0x04902883, "VecU32MovePrefix1VZ", 4, [](const cpu_state& s, int e) { return p2_on(e) ? zget_n(s, 4, e, 4) : 0; }},
    {"movprfx z3, z4", 0x0420bc83, "VecU32SpecialMoveV", 4, [](const cpu_state& s, int e) { return zget_n(s, 4, e, 4); }},
};

TEST(IntMoves, Table) {
    uint64_t seed = 900;
    for (const move_case& c : MOVES) {
        cpu_state s = fresh(seed++);
        s.x[5] = X5;
        s.x[6] = 4;
        pset(s, 2, c.bytes, p2_on);
        cpu_state before = s;
        EXPECT_EQ(run(s, c.word), c.handler) << c.text;
        for (int e = 0; e < 80 / c.bytes; e++)
            EXPECT_EQ(zget_n(s, 3, e, c.bytes), c.want(before, e) & mask_n(c.bytes)) << c.text << " lane " << e;
        std::memcpy(s.z[3], before.z[3], 80);
        EXPECT_EQ(state_diff(before, s, false), "") << c.text << ": only z3 may change";
    }
}

// With no active element, cpy and movprfx zeroing clear the register, merging keeps it.
TEST(IntMoves, AllFalsePredicate) {
    cpu_state s = fresh(950);
    std::memset(s.p[2], 0, 80);
    cpu_state before = s;
    run(s, 0x059260e3);  // cpy z3.s, p2/m, #1792
    EXPECT_EQ(0, std::memcmp(s.z[3], before.z[3], 80));
    for (uint32_t w : {0x05d21fe3u, 0x04902883u}) {  // cpy z3.d, p2/z, #-1; movprfx z3.s, p2/z, z4.s
        s = before;
        run(s, w);
        for (int i = 0; i < 80; i++) EXPECT_EQ(s.z[3][i], 0) << std::hex << w;
    }
}

}  // namespace

// dup, dupm, cpy, index and movprfx words against values worked out from their definitions, and
// the byte forms whose shifted immediate comes to nothing.
#include <gtest/gtest.h>

#include <functional>

#include "tests/integer/int_test_util.h"

using namespace it;

namespace {

constexpr uint64_t M = ~0ull;
constexpr uint64_t X5 = 0x123456789ABCDEF0ull;

bool p2_on(int e) { return e % 3 == 1; }

struct move_case {
    const char* text;
    uint32_t word;
    const char* handler;
    int bytes;
    // expected element e of z3, given the state before
    std::function<uint64_t(const cpu_state&, int)> want;
};

uint64_t old3(const cpu_state& s, int e, int b) { return zget_n(s, 3, e, b); }

const move_case MOVES[] = {
    {"dup z3.d, #-128", 0x25f8d003, "VecS64DupI", 8, [](const cpu_state&, int) { return M - 127; }},
    {"dup z3.h, #-256", 0x2578ffe3, "VecS16DupI", 2, [](const cpu_state&, int) { return 0xFF00ull; }},
    {"dup z3.b, #-1", 0x2538dfe3, "VecS8DupI", 1, [](const cpu_state&, int) { return 0xFFull; }},
    {"dup z3.b, #-1, lsl #8 (reserved for bytes: stores 0)", 0x2538ffe3, "VecS8DupI", 1, [](const cpu_state&, int) { return 0ull; }},
    {"dup z3.h, w5", 0x056038a3, "VecU16DupS", 2, [](const cpu_state&, int) { return 0xDEF0ull; }},
    {"dup z3.b, w5", 0x052038a3, "VecU8DupS", 1, [](const cpu_state&, int) { return 0xF0ull; }},
    {"dup z3.d, sp", 0x05e03be3, "VecU64DupS", 8, [](const cpu_state& s, int) { return s.sp; }},
    {"dupm z3.d, #0x5555555555555555", 0x05c00783, "VecS64DupMaskI", 8, [](const cpu_state&, int) { return 0x5555555555555555ull; }},
    {"cpy z3.d, p2/z, #-1", 0x05d21fe3, "VecS64DupIZ", 8, [](const cpu_state&, int e) { return p2_on(e) ? M : 0; }},
    {"cpy z3.b, p2/z, #-128", 0x05121003, "VecS8DupIZ", 1, [](const cpu_state&, int e) { return p2_on(e) ? 0x80ull : 0; }},
    {"cpy z3.s, p2/m, #1792", 0x059260e3, "VecS32DupIM", 4,
     [](const cpu_state& s, int e) { return p2_on(e) ? 0x700ull : old3(s, e, 4); }},
    {"cpy z3.h, p2/m, wsp", 0x0568abe3, "VecU16DupSM", 2,
     [](const cpu_state& s, int e) { return p2_on(e) ? (s.sp & 0xFFFF) : old3(s, e, 2); }},
    {"cpy z3.d, p2/m, x5", 0x05e8a8a3, "VecU64DupSM", 8, [](const cpu_state& s, int e) { return p2_on(e) ? X5 : old3(s, e, 8); }},
    {"cpy z3.b, p2/m, b7", 0x052088e3, "VecB8DupSM", 1,
     [](const cpu_state& s, int e) { return p2_on(e) ? uint64_t(s.z[7][0]) : old3(s, e, 1); }},
    {"cpy z3.d, p2/m, d7", 0x05e088e3, "VecD64DupSM", 8,
     [](const cpu_state& s, int e) { return p2_on(e) ? zget<uint64_t>(s, 7, 0) : old3(s, e, 8); }},
    {"index z3.b, #0, #1", 0x04214003, "VecS8IndexII", 1, [](const cpu_state&, int e) { return uint64_t(e); }},
    {"index z3.d, #-16, #15", 0x04ef4203, "VecS64IndexII", 8, [](const cpu_state&, int e) { return uint64_t(-16 + 15 * e); }},
    {"index z3.h, w5, #-2", 0x047e44a3, "VecS16IndexSI", 2, [](const cpu_state&, int e) { return uint64_t(0xDEF0 - 2 * e) & 0xFFFF; }},
    {"index z3.s, #3, w6", 0x04a64863, "VecS32IndexIS", 4, [](const cpu_state& s, int e) { return (3 + e * s.x[6]) & 0xFFFFFFFF; }},
    {"index z3.b, w5, w6", 0x04264ca3, "VecS8IndexSS", 1, [](const cpu_state& s, int e) { return (0xF0 + e * s.x[6]) & 0xFF; }},
    {"index z3.d, x5, xzr", 0x04ff4ca3, "VecS64IndexSS", 8, [](const cpu_state&, int) { return X5; }},
    {"index z3.d, xzr, xzr", 0x04ff4ca3 | (31u << 5), "VecS64IndexSS", 8, [](const cpu_state&, int) { return 0ull; }},
    {"movprfx z3.s, p2/z, z4.s", 0x04902883, "VecU32MovePrefix1VZ", 4,
     [](const cpu_state& s, int e) { return p2_on(e) ? zget_n(s, 4, e, 4) : 0; }},
    {"movprfx z3.b, p2/z, z4.b", 0x04102883, "VecU8MovePrefix1VZ", 1,
     [](const cpu_state& s, int e) { return p2_on(e) ? zget_n(s, 4, e, 1) : 0; }},
    {"movprfx z3.h, p2/m, z4.h", 0x04512883, "VecU16MovePrefix1VM", 2,
     [](const cpu_state& s, int e) { return p2_on(e) ? zget_n(s, 4, e, 2) : old3(s, e, 2); }},
    {"movprfx z3.d, p2/m, z4.d", 0x04d12883, "VecU64MovePrefix1VM", 8,
     [](const cpu_state& s, int e) { return p2_on(e) ? zget_n(s, 4, e, 8) : old3(s, e, 8); }},
    {"movprfx z3, z4", 0x0420bc83, "VecU32SpecialMoveV", 4, [](const cpu_state& s, int e) { return zget_n(s, 4, e, 4); }},
    // Byte forms with the shift bit set add or subtract nothing.
    {"sub z3.b, z3.b, #255, lsl #8", 0x2521ffe3, "VecU8SubVIX", 1, [](const cpu_state& s, int e) { return old3(s, e, 1); }},
    {"sqadd z3.b, z3.b, #200, lsl #8", 0x2524f903, "VecS8QAddVIX", 1, [](const cpu_state& s, int e) { return old3(s, e, 1); }},
    {"uqsub z3.b, z3.b, #10, lsl #8", 0x2527e143, "VecU8QSubVIX", 1, [](const cpu_state& s, int e) { return old3(s, e, 1); }},
};

TEST(IntMoves, Table) {
    uint64_t seed = 900;
    for (const move_case& c : MOVES) {
        cpu_state s = fresh(seed++);
        s.x[5] = X5;
        s.x[6] = 0x10000000000000FFull;
        pset(s, 2, c.bytes, p2_on);
        cpu_state before = s;
        EXPECT_EQ(run(s, c.word), c.handler) << c.text;
        for (int e = 0; e < 80 / c.bytes; e++)
            EXPECT_EQ(zget_n(s, 3, e, c.bytes), c.want(before, e) & mask_n(c.bytes)) << c.text << " lane " << e;
        // nothing but z3 (and insn) changes
        cpu_state rest = s;
        std::memcpy(rest.z[3], before.z[3], 80);
        EXPECT_EQ(state_diff(before, rest, false), "") << c.text;
    }
}

// index z3.b, #0, w6 with step 4 wraps past 255 at element 64.
TEST(IntMoves, IndexWraps) {
    cpu_state s = fresh(940);
    s.x[6] = 4;
    run(s, 0x04264ca3 | (31u << 5));  // index z3.b, wzr, w6
    for (int e = 0; e < 80; e++) EXPECT_EQ(s.z[3][e], uint8_t(4 * e)) << e;
    EXPECT_EQ(s.z[3][64], 0);
}

// cpy with an all-false predicate: zeroing clears the register, merging keeps it.
TEST(IntMoves, AllFalsePredicate) {
    cpu_state s = fresh(950);
    std::memset(s.p[2], 0, 80);
    cpu_state before = s;
    run(s, 0x059260e3);  // cpy z3.s, p2/m, #1792
    EXPECT_EQ(0, std::memcmp(s.z[3], before.z[3], 80));
    run(s, 0x05d21fe3);  // cpy z3.d, p2/z, #-1
    for (int i = 0; i < 80; i++) EXPECT_EQ(s.z[3][i], 0);
    s = before;
    run(s, 0x04902883);  // movprfx z3.s, p2/z, z4.s
    for (int i = 0; i < 80; i++) EXPECT_EQ(s.z[3][i], 0);
}

}  // namespace

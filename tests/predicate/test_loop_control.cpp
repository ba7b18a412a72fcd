// Loop control: while at the ends of the scalar range and in its 32-bit forms, cterm, counts by
// pattern and by predicate with their saturating forms, rdvl, addvl, addpl. Words are from the
// GNU assembler; register fields are patched where a row of a table needs another register.
#include "tests/predicate/pred_test_util.h"

namespace {
constexpr uint64_t MAX64 = ~0ull, SMAX64 = MAX64 >> 1, SMIN64 = 1ull << 63;
}

TEST(LoopControl, While) {
    struct row {
        const char* what;
        uint32_t word;  // Pd p1, Rn x2, Rm x3 unless patched
        uint64_t rn, rm;
        int esz, count, flags;
    } rows[] = {
        {"whilelo rn = rm", 0x25231c41, 5, 5, 0, 0, 0b0110},
        {"whilelo rn > rm", 0x25231c41, 6, 5, 0, 0, 0b0110},
        {"whilelo one left", 0x25231c41, 4, 5, 0, 1, 0b1010},
        {"whilelo partial", 0x25231c41, 100, 130, 0, 30, 0b1010},
        {"whilelo exactly full", 0x25231c41, 100, 180, 0, 80, 0b1000},
        {"whilelo beyond full", 0x25231c41, 0, MAX64, 0, 80, 0b1000},
        {"whilelo doubles", 0x25e31c41, 0, 7, 3, 7, 0b1010},
        {"whilelo at the top", 0x25231c41, MAX64 - 3, MAX64, 0, 3, 0b1010},
        {"whilelt signed", 0x25231441, MAX64, 0, 0, 1, 0b1010},
        {"whilelo same registers", 0x25231c41, MAX64, 0, 0, 0, 0b0110},
        {"whilelt lowest to highest", 0x25231441, SMIN64, SMAX64, 0, 80, 0b1000},
        {"whilelt at the top", 0x25231441, SMAX64 - 1, SMAX64, 0, 1, 0b1010},
        {"whilele highest", 0x25231451, SMAX64, SMAX64, 0, 80, 0b1000},
        {"whilele", 0x25231451, 3, 5, 0, 3, 0b1010},
        {"whilele signed negative", 0x25231451, uint64_t(-5), uint64_t(-3), 0, 3, 0b1010},
        {"whilels highest", 0x25231c51, MAX64, MAX64, 0, 80, 0b1000},
        {"whilels", 0x25231c51, 10, 10, 0, 1, 0b1010},
        {"whilelo w ignores upper halves", 0x25230c41, 0x500000000ull, 0x100000002ull, 0, 2, 0b1010},
        {"whilelo w at its top", 0x25230c41, 0xFFFFFFFEull, 0x1FFFFFFFFull, 0, 1, 0b1010},
        {"whilelt w signed", 0x25230441, 0xFFFFFFFFull, 2, 0, 3, 0b1010},
        {"whilele w highest", 0x25230451, 0x7FFFFFFFull, 0x7FFFFFFFull, 0, 80, 0b1000},
        {"whilels w highest", 0x25230c51, 0x12345678FFFFFFFFull, 0xFFFFFFFFull, 0, 80, 0b1000},
        {"whilelo xzr", 0x25231fe1, 99, 4, 0, 4, 0b1010},
        {"whilelt halves", 0x25631441, 0, 39, 1, 39, 0b1010},
        {"whilele words", 0x25a31451, 0, 19, 2, 20, 0b1000},
        {"whilelo words, element 19 false", 0x25a31c41, 1, 20, 2, 19, 0b1010},
        {"whilelo words, one", 0x25a31c41, 19, 20, 2, 1, 0b1010},
        {"whilelt words across zero", 0x25a31441, uint64_t(-3), 2, 2, 5, 0b1010},
        {"whilelo halves, full", 0x25631c41, 0, 40, 1, 40, 0b1000},
        {"whilels doubles, one short", 0x25e31c51, 0, 8, 3, 9, 0b1010},
        {"whilele w signed, lowest to -1", 0x25a30451, 0x80000000ull, 0xFFFFFFFFull, 2, 20, 0b1000},
    };
    for (const row& r : rows) {
        cpu_state s = clean_state();
        std::memset(s.p[1], 1, SVE_VL_BYTES);
        s.x[2] = r.rn;
        s.x[3] = r.rm;
        s.nzcv = 0x10000000u | 0xABCD;
        exec(s, r.word);
        for (int i = 0; i < SVE_VL_BYTES; i++)
            ASSERT_EQ(s.p[1][i], (i % (1 << r.esz) == 0 && (i >> r.esz) < r.count) ? 1 : 0) << r.what << " byte " << i;
        EXPECT_EQ(nzcv(s), r.flags) << r.what;
        EXPECT_EQ(s.nzcv & 0xFFFF, 0xABCDu) << r.what;
    }
}

TEST(LoopControl, Cterm) {
    struct row {
        uint32_t word;  // ctermeq x2, x3 / ctermne w2, w3 / ctermeq x2, xzr
        uint64_t rn, rm;
        int before, after;
    } rows[] = {
        {0x25e32040, 1, 2, 0b0111, 0b0110},  // unequal, C set: N=0 V=0, Z and C kept
        {0x25e32040, 1, 2, 0b1100, 0b0101},  // unequal, C clear: V=1
        {0x25e32040, 7, 7, 0b0011, 0b1010},  // equal: N=1 V=0
        {0x25a32050, 0x100000007ull, 7, 0b0000, 0b0001},  // ctermne on w: equal low halves, C clear
        {0x25a32050, 1, 2, 0b0001, 0b1000},  // ctermne, unequal
        {0x25ff2040, 0, 5, 0b0000, 0b1000},  // ctermeq x2, xzr
    };
    for (const row& r : rows) {
        cpu_state s = clean_state();
        s.x[2] = r.rn;
        s.x[3] = r.rm;
        s.nzcv = uint64_t(r.before) << 28;
        exec(s, r.word);
        EXPECT_EQ(nzcv(s), r.after) << std::hex << r.word << " " << r.rn << " " << r.rm;
    }
}

TEST(LoopControl, CountsByPattern) {
    struct row {
        const char* what;
        uint32_t word;  // destination x1
        uint64_t x1, want;
    } rows[] = {
        {"cntb all", 0x0420e3e1, 0, 80},
        {"cntd all", 0x04e0e3e1, 0, 10},
        {"cnth all", 0x0460e3e1, 0, 40},
        {"cntw pow2", 0x04a0e001, 0, 16},
        {"cntb mul3", 0x0420e3c1, 0, 78},
        {"cntb all mul 16", 0x042fe3e1, 0, 1280},
        {"cntd vl16", 0x04e0e121, 0, 0},
        {"incb", 0x0430e3e1, 5, 85},
        {"decd mul 2", 0x04f1e7e1, 5, uint64_t(-15)},
        {"sqincb w at the highest", 0x0420f3e1, 0x7FFFFFF0ull, 0x7FFFFFFFull},
        {"sqincb w negative", 0x0420f3e1, 0xFFFFFF00ull, uint64_t(-256 + 80)},
        {"sqdecb w at the lowest", 0x0420fbe1, 0x80000010ull, 0xFFFFFFFF80000000ull},
        {"uqincb w", 0x0420f7e1, 0xFFFFFFF0ull, 0xFFFFFFFFull},
        {"uqincb w ignores the upper half", 0x0420f7e1, 0x700000000ull, 80},
        {"uqdecb w reads the low half", 0x0420ffe1, 0x100000000ull, 0},
        {"uqdecb w", 0x0420ffe1, 0x123400000100ull, 0x100 - 80},
        {"uqdecb x", 0x0430ffe1, 0x100000000ull, 0x100000000ull - 80},
        {"sqincb x at the highest", 0x0430f3e1, SMAX64 - 1, SMAX64},
        {"uqdecd x", 0x04f0ffe1, 3, 0},
    };
    for (const row& r : rows) {
        cpu_state s = clean_state();
        s.x[1] = r.x1;
        exec(s, r.word);
        EXPECT_EQ(s.x[1], r.want) << r.what;
    }
    // Register 31 is the zero register: nothing is written anywhere.
    for (uint32_t w : {0x0430e3ffu, 0x0420e3ffu, 0x0420f3ffu, 0x0420ffffu}) {
        cpu_state s = clean_state();
        s.sp = 0x1000;
        cpu_state old = s;
        exec(s, w);
        EXPECT_EQ(state_diff(s, old, false), "") << std::hex << w;
    }
}

TEST(LoopControl, VectorCounts) {
    struct row {
        const char* what;
        uint32_t word;  // incw z1.s, all / sqinch z1.h, all / uqdecd z1.d, all, mul #2
        int esz;
        uint64_t before, after;
    } rows[] = {
        {"incw", 0x04b0c3e1, 2, 0xFFFFFFF0ull, 4},
        {"dech", 0x0470c7e1, 1, 3, 0xFFFF - 36},
        {"sqinch", 0x0460c3e1, 1, 0x7FF0, 0x7FFF},
        {"uqdecd mul 2", 0x04e1cfe1, 3, 15, 0},
        {"sqdecw", 0x04a0cbe1, 2, 0x80000005ull, 0x80000000ull},
    };
    for (const row& r : rows) {
        cpu_state s = clean_state();
        for (int e = 0; e < (SVE_VL_BYTES >> r.esz); e++) std::memcpy(s.z[1] + (e << r.esz), &r.before, 1 << r.esz);
        exec(s, r.word);
        for (int e = 0; e < (SVE_VL_BYTES >> r.esz); e++) {
            uint64_t v = 0;
            std::memcpy(&v, s.z[1] + (e << r.esz), 1 << r.esz);
            ASSERT_EQ(v, r.after) << r.what << " element " << e;
        }
    }
}

TEST(LoopControl, CountsByPredicate) {
    cpu_state s = clean_state();
    std::memset(s.p[3], 1, SVE_VL_BYTES);
    s.x[1] = 77;
    exec(s, 0x25208861);  // cntp x1, p2, p3.b with p2 all false
    EXPECT_EQ(s.x[1], 0u);
    std::memset(s.p[2], 1, SVE_VL_BYTES);
    exec(s, 0x25a08861);  // cntp x1, p2, p3.s: the first byte of each word element only
    EXPECT_EQ(s.x[1], 20u);
    std::memset(s.p[3], 0, SVE_VL_BYTES);
    for (int i = 1; i < SVE_VL_BYTES; i += 4) s.p[3][i] = 1;  // inner bytes only
    exec(s, 0x25a08861);
    EXPECT_EQ(s.x[1], 0u);
    s.x[1] = 5;
    exec(s, 0x252c8861);  // incp x1, p3.b: 20 bytes set
    EXPECT_EQ(s.x[1], 25u);
    std::memset(s.p[3], 0, SVE_VL_BYTES);
    exec(s, 0x252c8861);  // an empty predicate adds 0
    EXPECT_EQ(s.x[1], 25u);
    // sqdecp w1, p3.b (from 25, seven active) and uqdecp x1, p3.b below zero.
    set_pred(s, 3, 0, [](int e) { return e < 7; });
    s.x[1] = 0x80000003ull;
    exec(s, 0x252a8861);  // sqdecp x1, p3.b, w1
    EXPECT_EQ(s.x[1], 0xFFFFFFFF80000000ull);
    s.x[1] = 3;
    exec(s, 0x252b8c61);  // uqdecp x1, p3.b
    EXPECT_EQ(s.x[1], 0u);
}

TEST(LoopControl, VectorLength) {
    cpu_state s = clean_state();
    exec(s, 0x04bf57e1);  // rdvl x1, #-1
    EXPECT_EQ(s.x[1], uint64_t(-80));
    s.x[2] = 1000;
    exec(s, 0x04625021);  // addpl x1, x2, #1
    EXPECT_EQ(s.x[1], 1010u);
    s.sp = 0x10000;
    exec(s, 0x043f503f);  // addvl sp, sp, #1
    EXPECT_EQ(s.sp, 0x10050u);
    EXPECT_EQ(s.x[1], 1010u);
}

// Predicate logic, breaks and partitions: patterns, logical operations with and without flags,
// breaks, pnext, pfirst, unpacks, predicate permutes, rdffr. Words are from the GNU assembler.
#include "tests/predicate/pred_test_util.h"

namespace {

// Expected flags of a test of `result` against `mask` (architecture's PredTest), elements of esz.
int ptest_expect(const cpu_state& s, int mask, int result, int esz) {
    int n = SVE_VL_BYTES >> esz, first = -1, last = -1;
    bool any = false;
    for (int e = 0; e < n; e++)
        if (pred_elem(s, mask, esz, e)) {
            if (first < 0) first = e;
            last = e;
            any |= pred_elem(s, result, esz, e);
        }
    int N = first >= 0 && pred_elem(s, result, esz, first);
    int C = last < 0 || !pred_elem(s, result, esz, last);
    return N << 3 | (!any) << 2 | C << 1;
}

}  // namespace

// Active element counts of every pattern at 640 bits, for byte, half, word and double elements.
TEST(PredLogic, PtrueEveryPatternEverySize) {
    auto count = [](int pat, int esz) {
        const int n = SVE_VL_BYTES >> esz;
        static const int pow2[4] = {64, 32, 16, 8}, mul4[4] = {80, 40, 20, 8}, mul3[4] = {78, 39, 18, 9};
        if (pat == 0) return pow2[esz];
        if (pat >= 1 && pat <= 8) return pat;
        if (pat >= 9 && pat <= 13) return (1 << (pat - 5)) <= n ? 1 << (pat - 5) : 0;
        if (pat == 29) return mul4[esz];
        if (pat == 30) return mul3[esz];
        if (pat == 31) return n;
        return 0;
    };
    for (int esz = 0; esz < 4; esz++)
        for (int pat = 0; pat < 32; pat++)
            for (bool flags : {false, true}) {
                cpu_state s = clean_state();
                std::memset(s.p[3], 1, SVE_VL_BYTES);
                s.nzcv = 0xF0000000u;
                uint32_t w = (flags ? 0x2519e003u : 0x2518e003u) | esz << 22 | pat << 5;
                exec(s, w);
                int k = count(pat, esz);
                for (int i = 0; i < SVE_VL_BYTES; i++)
                    ASSERT_EQ(s.p[3][i], (i % (1 << esz) == 0 && (i >> esz) < k) ? 1 : 0)
                        << "pattern " << pat << " size " << esz << " byte " << i;
                EXPECT_EQ(nzcv(s), flags ? (k ? 0b1000 : 0b0110) : 0xF) << pat;
            }
}

// Logical operations on random predicates against their truth tables; zeroing inactive bytes.
TEST(PredLogic, LogicalOperationsAndFlags) {
    struct row {
        uint32_t word;
        bool (*f)(bool, bool);
        bool flags;
        int pd, pg, pn, pm;
    } rows[] = {
        {0x25044861, [](bool n, bool m) { return n && m; }, false, 1, 2, 3, 4},   // and p1.b, p2/z, p3.b, p4.b
        {0x25044842, [](bool n, bool m) { return n && m; }, false, 2, 2, 2, 4},   // and p2.b, p2/z, p2.b, p4.b
        {0x25444861, [](bool n, bool m) { return n && m; }, true, 1, 2, 3, 4},    // ands
        {0x25844871, [](bool n, bool m) { return n || !m; }, false, 1, 2, 3, 4},  // orn
        {0x25844a61, [](bool n, bool m) { return !(n || m); }, false, 1, 2, 3, 4},  // nor
        {0x25844a71, [](bool n, bool m) { return !(n && m); }, false, 1, 2, 3, 4},  // nand
    };
    test_rng rng(7);
    for (const row& r : rows)
        for (int k = 0; k < 50; k++) {
            cpu_state s = clean_state();
            for (int p = 0; p < 16; p++)
                for (auto& b : s.p[p]) b = rng.below(2);
            cpu_state old = s;
            exec(s, r.word);
            for (int i = 0; i < SVE_VL_BYTES; i++) {
                bool want = old.p[r.pg][i] && r.f(old.p[r.pn][i], old.p[r.pm][i]);
                ASSERT_EQ(s.p[r.pd][i], want) << std::hex << r.word << " byte " << std::dec << i;
            }
            if (r.flags) {
                EXPECT_EQ(nzcv(s), ptest_expect(s, r.pg, r.pd, 0));
            }
        }
}

TEST(PredLogic, SelOfOneRegisterChangesNothing) {
    cpu_state s = clean_state();
    set_pred(s, 5, 0, [](int e) { return e % 3 == 0; });
    cpu_state old = s;
    exec(s, 0x250556b5);  // sel p5.b, p5, p5.b, p5.b
    EXPECT_EQ(state_diff(s, old, false), "");
}

// Breaks: pg, pn (and pm or the old pd) as element lists over bytes; the expected result.
TEST(PredLogic, Breaks) {
    auto in = [](std::vector<int> l) {
        return [l](int e) {
            for (int x : l)
                if (x == e) return true;
            return false;
        };
    };
    auto all = [](int) { return true; };
    auto none = [](int) { return false; };
    auto upto = [](int k) { return [k](int e) { return e <= k; }; };
    struct row {
        const char* what;
        uint32_t word;
        std::function<bool(int)> pd, pg, pn, pm, want;
        int flags;  // expected NZCV, -1 where the flags do not change
    } rows[] = {
        {"brka", 0x25104861, none, all, in({5, 9}), none, upto(5), -1},
        {"brkb", 0x25904861, none, all, in({5, 9}), none, upto(4), -1},
        {"brkas", 0x25504861, none, all, in({5, 9}), none, upto(5), 0b1010},
        {"brka first active true", 0x25104861, none, [](int e) { return e >= 3; }, in({3}), none, in({3}), -1},
        {"brkb first active true", 0x25904861, none, [](int e) { return e >= 3; }, in({3}), none, none, -1},
        {"brka merging", 0x25104871, all, [](int e) { return e % 2 == 0; }, in({6}),
         none, [](int e) { return e % 2 == 1 || e <= 6; }, -1},
        {"brkn no active", 0x25184861, all, none, all, none, none, -1},
        {"brkn pn false at last active", 0x25184861, all, upto(10), in({9}), none, none, -1},
        {"brkn keeps pdm", 0x25184861, in({2, 79}), upto(10), in({10}), none, in({2, 79}), -1},
        {"brkns keeps pdm", 0x25584861, in({2, 79}), upto(10), in({10}), none, in({2, 79}), 0b0000},
        {"brkns clears", 0x25584861, in({0}), upto(10), none, none, none, 0b0110},
        {"brkpa no active", 0x2504c861, all, none, all, all, none, -1},
        {"brkpbs no active", 0x2544c871, all, none, all, all, none, 0b0110},
        {"brkpa", 0x2504c861, none, all, in({79}), in({7, 20}), upto(7), -1},
        {"brkpb", 0x2504c871, none, all, in({79}), in({7, 20}), upto(6), -1},
        {"brkpbs", 0x2544c871, none, all, in({79}), in({7, 20}), upto(6), 0b1010},
        {"brkpb pn false at last active", 0x2504c871, none, all, in({78}), in({7}), none, -1},
    };
    for (const row& r : rows) {
        cpu_state s = clean_state();
        s.nzcv = 0x50000000u;
        set_pred(s, 1, 0, r.pd);
        set_pred(s, 2, 0, r.pg);
        set_pred(s, 3, 0, r.pn);
        set_pred(s, 4, 0, r.pm);
        exec(s, r.word);
        for (int e = 0; e < SVE_VL_BYTES; e++) ASSERT_EQ(s.p[1][e], r.want(e)) << r.what << " element " << e;
        EXPECT_EQ(nzcv(s), r.flags < 0 ? 0b0101 : r.flags) << r.what;
    }
}

TEST(PredLogic, PnextAndPfirst) {
    struct row {
        const char* what;
        uint32_t word;
        int esz;
        std::vector<int> pdn, pg, want;
        int flags;
    } rows[] = {
        {"pnext from nothing", 0x2519c441, 0, {}, {5, 9}, {5}, 0b1010},
        {"pnext next", 0x2519c441, 0, {5}, {5, 9}, {9}, 0b0000},
        {"pnext at the last active", 0x2519c441, 0, {9}, {5, 9}, {}, 0b0110},
        {"pnext ignores pg in its scan", 0x2519c441, 0, {2, 50}, {5, 9}, {}, 0b0110},
        {"pnext doubles", 0x25d9c441, 3, {0}, {0, 1, 9}, {1}, 0b0010},
        {"pfirst", 0x2558c041, 0, {7}, {4, 7}, {4, 7}, 0b1000},
        {"pfirst no active", 0x2558c041, 0, {7}, {}, {7}, 0b0110},
    };
    for (const row& r : rows) {
        cpu_state s = clean_state();
        auto in = [](const std::vector<int>& l) {
            return [&l](int e) {
                for (int x : l)
                    if (x == e) return true;
                return false;
            };
        };
        set_pred(s, 1, r.esz, in(r.pdn));
        set_pred(s, 2, r.esz, in(r.pg));
        exec(s, r.word);
        cpu_state want = s;
        set_pred(want, 1, r.esz, in(r.want));
        EXPECT_EQ(state_diff(s, want, false), "") << r.what;
        EXPECT_EQ(nzcv(s), r.flags) << r.what;
    }
}

// pnext with elements wider than a byte looks at the first byte of each element only.
TEST(PredLogic, PnextIgnoresInnerBytes) {
    cpu_state s = clean_state();
    s.p[2][3] = 1;  // inside element 0 of .d
    s.p[2][16] = 1;  // element 2
    exec(s, 0x25d9c441);  // pnext p1.d, p2, p1.d
    EXPECT_EQ(pred_count(s, 1, 3), 1);
    EXPECT_TRUE(pred_elem(s, 1, 3, 2));
}

TEST(PredLogic, Unpacks) {
    for (bool high : {false, true}) {
        cpu_state s = clean_state();
        for (int i = 0; i < SVE_VL_BYTES; i++) s.p[2][i] = (i * 7 + 3) % 5 < 2;
        exec(s, high ? 0x05314041 : 0x05304041);  // punpkhi / punpklo p1.h, p2.b
        for (int e = 0; e < 40; e++) {
            int src = e + (high ? 40 : 0);
            EXPECT_EQ(s.p[1][2 * e], (src * 7 + 3) % 5 < 2) << high << " " << e;
            EXPECT_EQ(s.p[1][2 * e + 1], 0);
        }
    }
}

// Predicate uzp1 and uzp2: element e of the result is element 2e (uzp1) or 2e + 1 (uzp2) of
// Pn followed by Pm. (The oracle at this length gets lanes beyond 64 wrong, so these count.)
TEST(PredLogic, PredicateUnzips) {
    test_rng rng(11);
    for (int k = 0; k < 20; k++) {
        for (int part = 0; part < 2; part++) {
            int esz = part;  // uzp1 p1.b / uzp2 p1.h
            cpu_state s = clean_state();
            for (int p : {2, 3}) set_pred(s, p, esz, [&](int) { return rng.below(2); });
            cpu_state old = s;
            exec(s, part ? 0x05634c41 : 0x05234841);
            int n = SVE_VL_BYTES >> esz;
            for (int e = 0; e < n; e++) {
                int c = 2 * e + part;
                bool want = c < n ? pred_elem(old, 2, esz, c) : pred_elem(old, 3, esz, c - n);
                ASSERT_EQ(pred_elem(s, 1, esz, e), want) << part << " element " << e;
            }
        }
    }
}

TEST(PredLogic, ReadFirstFaultRegister) {
    for (bool flags : {false, true}) {
        cpu_state s = clean_state();
        set_pred(s, 2, 0, [](int e) { return e >= 10; });
        for (int i = 0; i < SVE_VL_BYTES; i++) s.ffr[i] = i < 30;
        exec(s, flags ? 0x2558f041 : 0x2518f041);  // rdffrs / rdffr p1.b, p2/z
        for (int i = 0; i < SVE_VL_BYTES; i++) ASSERT_EQ(s.p[1][i], i >= 10 && i < 30) << i;
        EXPECT_EQ(nzcv(s), flags ? 0b1010 : 0);
        for (int i = 0; i < SVE_VL_BYTES; i++) ASSERT_EQ(s.ffr[i], i < 30) << "ffr is only read";
    }
}

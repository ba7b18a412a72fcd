// Reductions and element extraction: sums, extremes and logic over empty and full predicates,
// lasta/lastb/clasta/clastb into general, SIMD scalar and vector destinations, and the
// clearing of the rest of a scalar destination. Words are from the GNU assembler.
#include "tests/predicate/pred_test_util.h"

namespace {
// z1 full of garbage, z3 with the given bytes, p2 with the given active bytes.
cpu_state with(uint8_t fill3, bool active) {
    cpu_state s = clean_state();
    std::memset(s.z[1], 0xA5, SVE_VL_BYTES);
    std::memset(s.z[3], fill3, SVE_VL_BYTES);
    std::memset(s.p[2], active, SVE_VL_BYTES);
    return s;
}
// The scalar in z1 and a check that all bytes behind its `bytes` are zero.
uint64_t scalar(const cpu_state& s, int bytes) {
    for (int i = bytes; i < SVE_VL_BYTES; i++) EXPECT_EQ(s.z[1][i], 0) << "byte " << i;
    uint64_t v = 0;
    std::memcpy(&v, s.z[1], bytes);
    return v;
}
}  // namespace

TEST(Reduce, Reductions) {
    struct row {
        const char* what;
        uint32_t word;
        uint8_t fill;
        bool active;
        int bytes;
        uint64_t want;
    } rows[] = {
        {"uaddv bytes 0xFF", 0x04012861, 0xFF, true, 8, 20400},
        {"saddv bytes -1", 0x04002861, 0xFF, true, 8, uint64_t(-80)},
        {"uaddv empty", 0x04012861, 0xFF, false, 8, 0},
        {"orv empty", 0x04182861, 0xFF, false, 1, 0},
        {"eorv empty", 0x04592861, 0xFF, false, 2, 0},
        {"eorv halves", 0x04592861, 0x5A, true, 2, 0},
        {"umaxv empty", 0x04892861, 0xFF, false, 4, 0},
        {"andv empty", 0x041a2861, 0x00, false, 1, 0xFF},
        {"uminv empty", 0x04cb2861, 0x00, false, 8, ~0ull},
        {"smaxv empty", 0x04082861, 0x00, false, 1, 0x80},
        {"sminv empty", 0x040a2861, 0x00, false, 1, 0x7F},
        {"smaxv of -1", 0x04082861, 0xFF, true, 1, 0xFF},
        {"andv", 0x041a2861, 0x3C, true, 1, 0x3C},
    };
    for (const row& r : rows) {
        cpu_state s = with(r.fill, r.active);
        exec(s, r.word);
        EXPECT_EQ(scalar(s, r.bytes), r.want) << r.what;
    }
    // Signed against unsigned extremes on mixed words.
    cpu_state s = with(0, true);
    set_z<int32_t>(s, 3, [](int e) { return e == 7 ? -5 : e == 9 ? 40 : e; });
    s.p[2][9 * 4] = 0;  // element 9 inactive
    exec(s, 0x04892861);  // umaxv s1, p2, z3.s
    EXPECT_EQ(scalar(s, 4), 0xFFFFFFFBu);
    exec(s, 0x04cb2861);  // uminv d1, p2, z3.d: pairs of words
    EXPECT_EQ(scalar(s, 8), 1ull << 32);
}

TEST(Reduce, LastAndConditionalLast) {
    struct row {
        const char* what;
        uint32_t word;
        std::vector<int> active;  // bytes of p2 set (first bytes of elements)
        uint64_t x1;
        uint64_t want;  // in x1
    } rows[] = {
        {"lastb none gives the top element", 0x0521a861, {}, 0, 79},
        {"lasta none gives element 0", 0x0520a861, {}, 0, 0},
        {"lasta top active gives element 0", 0x0520a861, {79}, 0, 0},
        {"lastb top active", 0x0521a861, {79}, 0, 79},
        {"lasta", 0x0520a861, {2, 5}, 0, 6},
        {"lastb", 0x0521a861, {2, 5}, 0, 5},
        {"lastb words zero-extended", 0x05a1a861, {8}, ~0ull, 0x0B0A0908},
        {"lasta words", 0x05a1a861 & ~0x10000u, {8}, ~0ull, 0x0F0E0D0C},
        {"clastb none keeps the old value cut", 0x0531a861, {}, 0x1234, 0x34},
        {"clastb", 0x0531a861, {4, 6}, 0x1234, 6},
    };
    for (const row& r : rows) {
        cpu_state s = with(0, false);
        for (int i = 0; i < SVE_VL_BYTES; i++) s.z[3][i] = uint8_t(i);
        for (int b : r.active) s.p[2][b] = 1;
        s.x[1] = r.x1;
        exec(s, r.word);
        EXPECT_EQ(s.x[1], r.want) << r.what;
    }
    cpu_state s = with(7, true);
    cpu_state old = s;
    exec(s, 0x0530a87f);  // clasta wzr, p2, wzr, z3.b
    EXPECT_EQ(state_diff(s, old, false), "");
}

TEST(Reduce, ScalarAndVectorDestinations) {
    cpu_state s = with(0, false);
    for (int i = 0; i < SVE_VL_BYTES; i++) s.z[3][i] = uint8_t(i);
    s.p[2][12] = 1;
    exec(s, 0x05a38861);  // lastb s1, p2, z3.s
    EXPECT_EQ(scalar(s, 4), 0x0F0E0D0Cu);
    std::memset(s.z[1], 0xA5, SVE_VL_BYTES);
    std::memset(s.p[2], 0, SVE_VL_BYTES);
    exec(s, 0x052b8861);  // clastb b1, p2, b1, z3.b with nothing active keeps the low byte
    EXPECT_EQ(scalar(s, 1), 0xA5u);
    s.p[2][72] = 1;  // the top doubleword element
    exec(s, 0x05ea8861);  // clasta d1, p2, d1, z3.d: after the top comes element 0
    EXPECT_EQ(scalar(s, 8), 0x0706050403020100ull);
    // clastb into a vector: nothing active leaves Zdn, otherwise the element everywhere.
    std::memset(s.p[2], 0, SVE_VL_BYTES);
    std::memset(s.z[1], 0x5C, SVE_VL_BYTES);
    cpu_state old = s;
    exec(s, 0x05698861);  // clastb z1.h, p2, z1.h, z3.h
    EXPECT_EQ(state_diff(s, old, false), "");
    s.p[2][6] = 1;
    exec(s, 0x05698861);
    for (int e = 0; e < 40; e++) ASSERT_EQ(zget<uint16_t>(s, 1, e), 0x0706) << e;
}

// Running single words of the integer families through both tiers, and element access.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "tests/support/tiers.h"
#include "tests/support/state_util.h"

namespace it {

// Runs w on s through the row's handler; where the row also has a generic counterpart, runs
// that on a copy and requires the same state. Returns the row's handler name.
inline std::string run(cpu_state& s, uint32_t w) {
    const sve_row_info* r = run_both_tiers(s, w);
    return r ? r->name : "";
}

// Element e of b bytes, zero-extended.
inline uint64_t zget_n(const cpu_state& s, int reg, int e, int b) {
    uint64_t v = 0;
    std::memcpy(&v, s.z[reg] + e * b, b);
    return v;
}
inline void zset_n(cpu_state& s, int reg, int e, int b, uint64_t v) { std::memcpy(s.z[reg] + e * b, &v, b); }
inline uint64_t mask_n(int b) { return b == 8 ? ~0ull : (1ull << (8 * b)) - 1; }

// Sets predicate p so that element e of b bytes is active when on(e); the other bytes of each
// slot get bit 0 set as noise, which must not count.
template <class F>
inline void pset(cpu_state& s, int p, int b, F&& on) {
    for (int i = 0; i < SVE_VL_BYTES; i++) s.p[p][i] = (i % b == 0) ? 0 : 1;
    for (int e = 0; e < SVE_VL_BYTES / b; e++) s.p[p][e * b] = on(e) ? 1 : 0;
}

inline cpu_state fresh(uint64_t seed) {
    cpu_state s;
    test_rng r(seed);
    random_state(s, r);
    return s;
}

// A word with element cases: lane e takes case e % size (for wide forms, the case of its
// doubleword), so every lane position is covered.
struct elem3 {
    uint64_t a, b, r;
};
struct word_case {
    const char* text;
    uint32_t word;
    const char* handler;
    int bytes;
    bool wide;  // b is a 64-bit element shared by the lanes of its doubleword
    std::vector<elem3> v;
};

inline bool lane_on(int e) { return e % 5 != 3; }

inline const elem3& case_of(const word_case& c, int e) {
    int k = c.wide ? e * c.bytes / 8 : e;
    return c.v[k % c.v.size()];
}
inline void fill_a(cpu_state& s, int reg, const word_case& c) {
    for (int e = 0; e < SVE_VL_BYTES / c.bytes; e++) zset_n(s, reg, e, c.bytes, case_of(c, e).a);
}
inline void fill_b(cpu_state& s, int reg, const word_case& c) {
    for (int e = 0; e < SVE_VL_BYTES / c.bytes; e++) {
        if (c.wide) zset<uint64_t>(s, reg, e * c.bytes / 8, case_of(c, e).b);
        else zset_n(s, reg, e, c.bytes, case_of(c, e).b);
    }
}

// Predicated: Zdn z3 (a), Pg p1, Zm z4 (b); an active lane becomes r, an inactive one keeps a.
// Unary forms (Zd z3, Zn z4) take the cases as {Zn, old Zd, r}.
inline void check_pred_roles(const word_case& c, uint64_t seed, bool unary) {
    cpu_state s = fresh(seed);
    fill_a(s, unary ? 4 : 3, c);
    fill_b(s, unary ? 3 : 4, c);
    pset(s, 1, c.bytes, lane_on);
    EXPECT_EQ(run(s, c.word), c.handler) << c.text;
    for (int e = 0; e < SVE_VL_BYTES / c.bytes; e++) {
        const elem3& x = case_of(c, e);
        uint64_t want = lane_on(e) ? x.r & mask_n(c.bytes) : unary ? x.b : x.a;
        EXPECT_EQ(zget_n(s, 3, e, c.bytes), want) << c.text << " lane " << e << std::hex << " a " << x.a << " b " << x.b;
    }
}
inline void check_pred(const word_case& c, uint64_t seed) { check_pred_roles(c, seed, false); }
inline void check_unary(const word_case& c, uint64_t seed) { check_pred_roles(c, seed, true); }

// Unpredicated: Zd z3, Zn (a) in z4, or in z3 itself for the immediate forms, Zm z5 (b).
inline void check_unpred_at(const word_case& c, uint64_t seed, int a_reg) {
    cpu_state s = fresh(seed);
    fill_a(s, a_reg, c);
    fill_b(s, 5, c);
    EXPECT_EQ(run(s, c.word), c.handler) << c.text;
    for (int e = 0; e < SVE_VL_BYTES / c.bytes; e++)
        EXPECT_EQ(zget_n(s, 3, e, c.bytes), case_of(c, e).r & mask_n(c.bytes)) << c.text << " lane " << e;
}
inline void check_unpred(const word_case& c, uint64_t seed) { check_unpred_at(c, seed, 4); }
inline void check_imm(const word_case& c, uint64_t seed) { check_unpred_at(c, seed, 3); }

// Runs every case of a table through a checker, each on its own random state.
template <size_t N, class CHECK>
inline void run_table(const word_case (&table)[N], uint64_t seed, CHECK&& check) {
    for (const word_case& c : table) check(c, seed++);
}

}  // namespace it

// Predicate tests: the flag table in both tiers, at every element width, and the ptest word.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "sve/core/generic.h"
#include "sve/decode/sve_emulator.h"
#include "sve/integer/perm_core.h"
#include "sve/integer/pred_flags.h"

namespace {

constexpr uint32_t N = 8, Z = 4, C = 2, V = 1;  // flags as a nibble

struct flag_case {
    const char* what;
    std::vector<int> active, truth;  // element numbers
    uint32_t flags;
};

const flag_case CASES[] = {
    {"no active element", {}, {0, 1, 2}, Z | C},
    {"active, none true", {0, 3, 5}, {1, 2, 4}, Z | C},
    {"first and last true", {1, 4}, {1, 4}, N},
    {"first true, last false", {1, 4}, {1}, N | C},
    {"first false, last true", {1, 4}, {4}, 0},
    {"first false, last false, another true", {1, 2, 4}, {2}, C},
    {"single active true", {7}, {7}, N},
    {"last element only", {9}, {9, 0}, N},
    {"true outside the mask only", {2}, {0, 1, 3, 4, 5, 6, 7, 8, 9}, Z | C},
};

CpuContext ctx80() { return {0, 0, 0, SVE_VL_BYTES / 8, {{0, 0, 0, 0}}}; }

// An 80-byte predicate with bit 0 set at the first byte of the listed elements of `bytes` bytes,
// and noise (bits other than bit 0, and the other bytes of each slot, as in a wide element's
// slot) that must not count.
void fill(uint8_t* p, const std::vector<int>& els, int bytes) {
    for (int i = 0; i < SVE_VL_BYTES; i++) p[i] = (i % bytes == 0) ? 0xFE : 0xFF;
    for (int e : els) p[e * bytes] |= 1;
}

PredV packed(const std::vector<int>& els, int bytes) {
    PredV p{{0, 0, 0, 0}};
    for (int e : els) pred_set(p, uint32_t(e), uint32_t(bytes * 8), true);
    return p;
}

uint32_t nibble(uint64_t nzcv) { return uint32_t(nzcv >> 28) & 15; }

void run_specialised(int bytes, cpu_state& s, const char* m, const char* r) {
    switch (bytes) {
    case 1: sve_ptest<signed char>(&s, m, r); break;
    case 2: sve_ptest<short>(&s, m, r); break;
    case 4: sve_ptest<int>(&s, m, r); break;
    default: sve_ptest<long>(&s, m, r); break;
    }
}

TEST(PredFlags, TableBothTiersEveryWidth) {
    for (int bytes : {1, 2, 4, 8}) {
        for (const flag_case& c : CASES) {
            for (uint64_t before : {0ull, 0xF0000000ull, 0x1234567F0000ABCDull}) {
                cpu_state s;
                std::memset(&s, 0, sizeof s);
                s.nzcv = before;
                fill(s.p[0], c.active, bytes);
                fill(s.p[1], c.truth, bytes);
                run_specialised(bytes, s, reinterpret_cast<const char*>(s.p[0]),
                                reinterpret_cast<const char*>(s.p[1]));
                EXPECT_EQ(nibble(s.nzcv), c.flags) << c.what << " width " << bytes;
                EXPECT_EQ(s.nzcv & ~0xF0000000ull, before & ~0xF0000000ull) << c.what;

                CpuContext g = ctx80();
                g.nzcv = uint32_t(before);
                PredSetNZCV(packed(c.active, bytes), packed(c.truth, bytes), bytes * 8, &g);
                EXPECT_EQ(nibble(g.nzcv), c.flags) << c.what << " generic width " << bytes;
                EXPECT_EQ(g.nzcv & 0x0FFFFFFFu, uint32_t(before) & 0x0FFFFFFFu);
            }
        }
    }
}

// The ends of the register at every width: the flags come from the first and the last active
// element, which may sit in the first or the last eight bytes, and Z from all of them.
TEST(PredFlags, EdgeElementsEveryWidth) {
    struct edge_case {
        const char* what;
        std::vector<int> (*active)(int n), (*truth)(int n);
        uint32_t flags;
    };
    auto none = [](int) { return std::vector<int>{}; };
    auto all = [](int n) {
        std::vector<int> v;
        for (int e = 0; e < n; e++) v.push_back(e);
        return v;
    };
    auto last = [](int n) { return std::vector<int>{n - 1}; };
    auto first = [](int) { return std::vector<int>{0}; };
    auto first_last = [](int n) { return std::vector<int>{0, n - 1}; };
    auto middle = [](int n) { return std::vector<int>{n / 2}; };
    const edge_case cases[] = {
        {"all false", none, none, Z | C},
        {"all active, none true", all, none, Z | C},
        {"all active, all true", all, all, N},
        {"all active, only the last true", all, last, 0},
        {"all active, only the first true", all, first, N | C},
        {"all active, first and last true", all, first_last, N},
        {"all active, one in the middle true", all, middle, C},
        {"only the last active, true", last, last, N},
        {"only the last active, false", last, first, Z | C},
        {"only the first active, true", first, all, N},
        {"first and last active, only the last true", first_last, last, 0},
        {"only the middle active, all true", middle, all, N},
    };
    for (int bytes : {1, 2, 4, 8}) {
        int n = SVE_VL_BYTES / bytes;
        for (const edge_case& c : cases) {
            cpu_state s;
            std::memset(&s, 0, sizeof s);
            s.nzcv = 0xF0000000ull;
            fill(s.p[0], c.active(n), bytes);
            fill(s.p[1], c.truth(n), bytes);
            run_specialised(bytes, s, reinterpret_cast<const char*>(s.p[0]), reinterpret_cast<const char*>(s.p[1]));
            EXPECT_EQ(nibble(s.nzcv), c.flags) << c.what << " width " << bytes;
            CpuContext g = ctx80();
            PredSetNZCV(packed(c.active(n), bytes), packed(c.truth(n), bytes), bytes * 8, &g);
            EXPECT_EQ(nibble(g.nzcv), c.flags) << c.what << " generic width " << bytes;
        }
    }
}

// cmpgt p2.s, p0/z, z1.s, z2.s with z1 element e = e and z2 element e = 10: true from element
// 11 on. Element 19 is the last of .s, in the last eight bytes of the register.
TEST(PredFlags, CompareFlagsAtTheEdges) {
    struct cmp_case {
        const char* what;
        std::vector<int> active;
        uint32_t pd;  // 2, or 0 to overwrite the governing predicate
        std::vector<int> expect;
        uint32_t flags;
    } cases[] = {
        {"no active element", {}, 2, {}, Z | C},
        {"only element 19, true", {19}, 2, {19}, N},
        {"only element 0, false", {0}, 2, {}, Z | C},
        {"0 and 19", {0, 19}, 2, {19}, 0},
        {"11 to 18", {11, 12, 13, 14, 15, 16, 17, 18}, 2, {11, 12, 13, 14, 15, 16, 17, 18}, N},
        {"10 and 11", {10, 11}, 2, {11}, 0},
        {"12 and 3, into Pg", {3, 12}, 0, {12}, 0},
        {"19 and 5, into Pg", {5, 19}, 0, {19}, 0},
        {"only 19, into Pg", {19}, 0, {19}, N},
    };
    for (const cmp_case& c : cases) {
        uint32_t w = 0x24828030u | c.pd;
        cpu_state s;
        std::memset(&s, 0, sizeof s);
        for (uint32_t e = 0; e < 20; e++) {
            uint32_t a = e, b = 10;
            std::memcpy(s.z[1] + 4 * e, &a, 4);
            std::memcpy(s.z[2] + 4 * e, &b, 4);
        }
        std::memset(s.p[c.pd], 0xFF, SVE_VL_BYTES);
        fill(s.p[0], c.active, 4);
        sve_handler_t h = get_sve_handler(w);
        ASSERT_NE(h, nullptr);
        ASSERT_EQ(h(&s, w), RC_DONE);
        EXPECT_EQ(nibble(s.nzcv), c.flags) << c.what;
        for (int i = 0; i < SVE_VL_BYTES; i++) {
            bool on = false;
            for (int e : c.expect) on |= i == 4 * e;
            ASSERT_EQ(s.p[c.pd][i], on ? 1 : 0) << c.what << " byte " << i;
        }
    }
}

TEST(PredFlags, VariantsNCAndNZC) {
    // NZC and NC leave V; NCV clears it; NC and NCV leave N and C with no active element.
    CpuContext g = ctx80();
    g.nzcv = 0xF0000000u;
    PredSetNZC(packed({1, 4}, 1), packed({4}, 1), 8, &g);
    EXPECT_EQ(nibble(g.nzcv), V);
    g.nzcv = 0x70000000u;  // Z C V
    PredSetNC(packed({1, 4}, 1), packed({1}, 1), 8, &g);
    EXPECT_EQ(nibble(g.nzcv), N | Z | C | V);
    g.nzcv = 0xA0000000u;  // N C
    PredSetNC(packed({}, 1), packed({1}, 1), 8, &g);
    EXPECT_EQ(nibble(g.nzcv), N | C);
    g.nzcv = 0xB0000000u;
    PredSetNCV(packed({}, 1), packed({1}, 1), 8, &g);
    EXPECT_EQ(nibble(g.nzcv), N | C);
    g.nzcv = 0x50000000u;  // Z V
    PredSetNCV(packed({2}, 1), packed({2}, 1), 8, &g);
    EXPECT_EQ(nibble(g.nzcv), N | Z);
}

TEST(PredFlags, FindActive) {
    CpuContext g = ctx80();
    struct { std::vector<int> els; int bits, first, last; } cases[] = {
        {{}, 64, -1, -1}, {{0}, 64, 0, 0}, {{9}, 64, 9, 9}, {{2, 5, 7}, 32, 2, 7},
        {{79}, 8, 79, 79}, {{0, 39}, 16, 0, 39},
    };
    for (auto& c : cases) {
        PredV p = packed(c.els, c.bits / 8);
        EXPECT_EQ(FindFirstActive(p, c.bits, &g), c.first);
        EXPECT_EQ(FindLastActive(p, c.bits, &g), c.last);
    }
    CpuContext none = ctx80();
    none.vl_words = 0;
    EXPECT_EQ(FindFirstActive(packed({0}, 1), 8, &none), -1);
    PredV beyond{{0, 0, 0, 0}};
    beyond.w[1] = 1ull << 20;  // byte 84: past the 80-byte vector
    EXPECT_EQ(FindLastActive(beyond, 8, &g), -1);
}

TEST(PredFlags, PtestWord) {
    // ptest p3, p12.b
    uint32_t w = 0x2550C000u | (3u << 10) | (12u << 5);
    sve_handler_t h = get_sve_handler(w);
    ASSERT_NE(h, nullptr);
    struct { std::vector<int> g, n; uint32_t flags; } cases[] = {
        {{}, {0, 1, 2, 3}, Z | C},
        {{5}, {5}, N},
        {{0, 79}, {0}, N | C},
        {{0, 79}, {79}, 0},
    };
    for (auto& c : cases) {
        cpu_state s;
        std::memset(&s, 0, sizeof s);
        s.nzcv = 0x1F0000000ull;  // V set before, and a bit above the flags
        for (int e : c.g) s.p[3][e] = 1;
        for (int e : c.n) s.p[12][e] = 1;
        for (int e : c.g) s.p[0][e] = s.p[12][e] ^ 1;  // a wrong register must not be read
        ASSERT_EQ(h(&s, w), RC_DONE);
        EXPECT_EQ(nibble(s.nzcv), c.flags);
        EXPECT_EQ(s.nzcv >> 32, 1u);
        EXPECT_EQ(s.insn, w);
    }
}

}  // namespace

// The generic flag tests at vector lengths of 64 to 2048 bits, random predicates of several
// densities (result bits also in the later bytes of an element), against the flags worked out
// element by element here.
TEST(PredFlags, GenericAgainstElementReferenceAtManyLengths) {
    std::mt19937_64 rng(3);
    auto bit = [](const PredV& p, int i) { return int((p.w[i >> 6] >> (i & 63)) & 1); };
    for (uint32_t words : {1u, 2u, 3u, 5u, 10u, 16u, 31u, 32u}) {
        for (int esize : {8, 16, 32, 64}) {
            for (int i = 0; i < 200; i++) {
                PredV m, r;
                int density = i % 4;  // 0: sparse ... 3: dense
                for (int k = 0; k < 4; k++) {
                    m.w[k] = rng();
                    r.w[k] = rng();
                    for (int d = density; d < 3; d++) m.w[k] &= rng();
                    if (i % 7 == 0) r.w[k] &= rng() & rng();
                }
                if (i % 11 == 0) m = PredV{{0, 0, 0, 0}};
                int per = esize / 8, n = int(words) * 64 / esize;
                int first = -1, last = -1;
                bool any = false;
                for (int e = 0; e < n; e++) {
                    if (!bit(m, e * per)) continue;
                    if (first < 0) first = e;
                    last = e;
                    for (int b = 0; b < per; b++) any |= bit(r, e * per + b) != 0;
                }
                bool last_any = false;
                for (int b = 0; last >= 0 && b < per; b++) last_any |= bit(r, last * per + b) != 0;
                uint32_t nzc = !any ? 0x6u : (uint32_t(bit(r, first * per)) << 3) | (last_any ? 0u : 0x2u);
                CpuContext c{};
                c.vl_words = words;
                c.nzcv = 0x10000005u;  // V set, low bits to be kept
                PredSetNZC(m, r, esize, &c);
                EXPECT_EQ(c.nzcv, (nzc << 28) | 0x10000005u) << words << " words, esize " << esize << ", case " << i;
                c.nzcv = 0xF0000005u;
                PredSetNC(m, r, esize, &c);
                uint32_t nc = first < 0 ? 0xFu : (0x4u | 0x1u | (uint32_t(bit(r, first * per)) << 3) | (last_any ? 0u : 0x2u));
                EXPECT_EQ(c.nzcv, (nc << 28) | 0x5u) << words << " words, esize " << esize << ", case " << i;
            }
        }
    }
}

// The word-at-a-time predicate builders against pred_set / pred_active element by element.
TEST(PredFlags, FirstAndCountAgainstElementLoops) {
    std::mt19937_64 rng(5);
    for (uint32_t words : {1u, 2u, 5u, 10u, 32u}) {
        CpuContext c{};
        c.vl_words = words;
        for (uint32_t bits : {8u, 16u, 32u, 64u}) {
            uint32_t n = words * 64 / bits;
            for (uint32_t count : {0u, 1u, n / 2 + 1, n - 1, n}) {
                if (count > n) continue;
                PredV want{{0, 0, 0, 0}};
                for (uint32_t e = 0; e < count; e++) pred_set(want, e, bits, true);
                PredV got = permute_core::pred_first(count, bits);
                for (int k = 0; k < 4; k++) EXPECT_EQ(got.w[k], want.w[k]) << words << " " << bits << " " << count << " word " << k;
            }
            for (int i = 0; i < 50; i++) {
                PredV p{{rng(), rng() & rng(), rng(), rng() | rng()}};
                uint32_t want = 0;
                for (uint32_t e = 0; e < n; e++) want += pred_active(p, e, bits);
                EXPECT_EQ(permute_core::pred_count(p, bits, &c), want) << words << " words, " << bits << " bits";
            }
        }
    }
}

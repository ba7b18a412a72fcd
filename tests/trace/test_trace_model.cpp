// The cache model and the reuse distances on small traces whose answers are worked out by hand,
// and the two against each other: a fully associative LRU cache of C lines hits exactly the
// touches whose reuse distance is below C.
#include <gtest/gtest.h>
#include <unistd.h>

#include <random>

#include "tests/trace/trace_util.h"

using namespace trace_test;

namespace {

constexpr uint32_t TX = 0x1000000A, TY = 0x2000000B;

// Reads of 8 bytes at the given addresses, one thread, counts 1, 2, ...
std::vector<sve_mem_ref_t> reads(const std::vector<uint64_t>& addresses, uint32_t thread = TX) {
    std::vector<sve_mem_ref_t> v;
    uint64_t c = 1;
    for (uint64_t a : addresses) v.push_back(rec(c++, thread, 1, a, 8, 0x400));
    return v;
}

std::vector<uint64_t> cycle(const std::vector<uint64_t>& lines, int times) {
    std::vector<uint64_t> v;
    for (int i = 0; i < times; i++) v.insert(v.end(), lines.begin(), lines.end());
    return v;
}

struct level {
    uint64_t accesses, hits, misses;
    bool operator==(const level& o) const { return accesses == o.accesses && hits == o.hits && misses == o.misses; }
};

// The accesses, hits and misses of a level in the totals of `cache`.
level totals(const std::string& out, const char* name) {
    std::vector<std::string> f = table_row(out, "  level", name);
    if (f.size() < 4) return {~0ull, ~0ull, ~0ull};
    return {std::stoull(f[1]), std::stoull(f[2]), std::stoull(f[3])};
}

run_result run_on(const std::vector<sve_mem_ref_t>& recs, std::vector<std::string> args) {
    std::string path = write_file("model.bin", trace_bytes(recs, "app", 2));
    args.insert(args.begin() + 1, path);
    run_result r = run_tool(args);
    unlink(path.c_str());
    return r;
}

}  // namespace

TEST(TraceCache, HandWorkedCases) {
    struct cache_case {
        const char* what;
        std::vector<sve_mem_ref_t> records;
        std::vector<std::string> levels;  // --l1 and --l2 values
        level l1, l2;                     // l2.accesses ~0: one level
    } cases[] = {
        // One set of two ways, three lines in turn: each line was evicted two touches earlier.
        {"3 lines cycling through 2 ways", reads(cycle({0x0, 0x40, 0x80}, 4)), {"128:2:64", "0"}, {12, 0, 12}, {~0ull, 0, 0}},
        // Four sets: lines 0, 4 and 8 (addresses 0, 0x100, 0x200) all map to set 0.
        {"3 lines of one set among 4", reads(cycle({0x0, 0x100, 0x200}, 4)), {"512:2:64", "0"}, {12, 0, 12}, {~0ull, 0, 0}},
        // Four lines in four ways: the first round misses, the other two hit.
        {"a loop that fits", reads(cycle({0x0, 0x40, 0x80, 0xC0}, 3)), {"256:4:64", "0"}, {12, 8, 4}, {~0ull, 0, 0}},
        // A B A C A: A is used again before C comes, so C evicts B, and the last A hits (FIFO
        // would evict A and miss).
        {"least recently used goes", reads({0x0, 0x40, 0x0, 0x80, 0x0}), {"128:2:64", "0"}, {5, 2, 3}, {~0ull, 0, 0}},
        // 8 bytes at 0x3C span lines 0 and 1: two accesses, then two hits.
        {"an access across two lines", reads({0x3C, 0x3C}), {"128:2:64", "0"}, {4, 2, 2}, {~0ull, 0, 0}},
        // L1 holds 2 of the 3 lines and always misses; L2 holds all 3 and misses only the first
        // round.
        {"second level behind the first", reads(cycle({0x0, 0x40, 0x80}, 3)), {"128:2:64", "256:4:64"}, {9, 0, 9},
         {9, 6, 3}},
        // A 128-byte L2 line holds two 64-byte L1 lines: 0x0 and 0x40 are one L2 line.
        {"larger second-level lines", reads({0x0, 0x40, 0x80, 0xC0}), {"128:2:64", "512:2:128"}, {4, 0, 4},
         {4, 2, 2}},
    };
    for (const cache_case& k : cases) {
        run_result r = run_on(k.records, {"cache", "--l1", k.levels[0], "--l2", k.levels[1]});
        ASSERT_EQ(r.status, 0) << k.what << ": " << r.err;
        EXPECT_EQ(totals(r.out, "L1"), k.l1) << k.what << "\n" << r.out;
        if (k.l2.accesses != ~0ull) EXPECT_EQ(totals(r.out, "L2"), k.l2) << k.what << "\n" << r.out;
        else EXPECT_EQ(r.out.find("\n  L2 "), std::string::npos) << k.what;
    }
}

// The model runs in count order, not file order, and splits by thread and instruction.
TEST(TraceCache, CountOrderAndSplits) {
    // Thread Y's block (counts 2 and 3) comes first in the file. In count order the lines go
    // A B C A through one set of two ways: C evicts A, all four miss. In file order (B C A A)
    // the last A would hit.
    std::vector<sve_mem_ref_t> recs = {rec(2, TY, 1, 0x40, 8, 0x500), rec(3, TY, 1, 0x80, 8, 0x500),
                                       rec(1, TX, 1, 0x0, 8, 0x400), rec(4, TX, 0, 0x0, 8, 0x404)};
    run_result r = run_on(recs, {"cache", "--l1", "128:2:64", "--l2", "0"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(totals(r.out, "L1"), (level{4, 0, 4})) << r.out;
    using row_t = std::vector<std::string>;
    EXPECT_EQ(table_row(r.out, "threads", "0x1000000a"), (row_t{"0x1000000a", "2", "2", "100.00%"}));
    EXPECT_EQ(table_row(r.out, "instructions", "0x0000000000000404"),
              (row_t{"0x0000000000000404", "1", "1", "100.00%"}));

    // The same with a loop that fits: per instruction, the first touch of each line misses.
    std::vector<sve_mem_ref_t> loop;
    for (uint64_t i = 0; i < 40; i++) loop.push_back(rec(i + 1, TX, 1, 0x1000 + 64 * (i % 8), 8, 0x400 + 4 * (i % 2)));
    r = run_on(loop, {"cache", "--l1", "1K:2:64", "--l2", "0"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(totals(r.out, "L1"), (level{40, 32, 8}));
    // Even records (pc 0x400) touch lines 0, 2, 4, 6: 4 misses in 20.
    EXPECT_EQ(table_row(r.out, "instructions", "0x0000000000000400"),
              (row_t{"0x0000000000000400", "20", "4", "20.00%"}));
}

TEST(TraceReuse, HandWorkedHistograms) {
    struct reuse_case {
        const char* what;
        std::vector<uint64_t> addresses;
        std::vector<std::pair<std::string, uint64_t>> buckets;  // distance range, touches
        uint64_t first;
    } cases[] = {
        {"A B C A B C: two other lines between touches", {0x0, 0x40, 0x80, 0x0, 0x40, 0x80}, {{"2-3", 3}}, 3},
        {"A A: nothing in between", {0x0, 0x8}, {{"0", 1}}, 1},
        // B again right away (0), then A after B alone (1): B counts once however often.
        {"A B B A", {0x0, 0x40, 0x40, 0x0}, {{"0", 1}, {"1", 1}}, 2},
        {"A B C D E A", {0x0, 0x40, 0x80, 0xC0, 0x100, 0x0}, {{"4-7", 1}}, 5},
    };
    for (const reuse_case& k : cases) {
        run_result r = run_on(reads(k.addresses), {"reuse"});
        ASSERT_EQ(r.status, 0) << k.what << ": " << r.err;
        for (const auto& [range, n] : k.buckets) {
            std::vector<std::string> f = table_row(r.out, "  distance", range);
            ASSERT_GE(f.size(), 2u) << k.what << " " << range << "\n" << r.out;
            EXPECT_EQ(f[1], std::to_string(n)) << k.what << " " << range;
        }
        std::vector<std::string> f = table_row(r.out, "  distance", "first");
        ASSERT_GE(f.size(), 3u) << r.out;
        EXPECT_EQ(f[2], std::to_string(k.first)) << k.what;
        EXPECT_NE(r.out.find(std::to_string(k.addresses.size()) + " touches of " + std::to_string(k.first) +
                             " distinct lines"), std::string::npos) << k.what;
    }
}

// Past the tool's first renumbering of touch times (65536): a cycle over 100 lines has distance
// 99 at every touch after the first round.
TEST(TraceReuse, LongCycle) {
    std::vector<uint64_t> a;
    for (int i = 0; i < 70000; i++) a.push_back(0x100000 + 64 * uint64_t(i % 100));
    run_result r = run_on(reads(a), {"reuse"});
    ASSERT_EQ(r.status, 0) << r.err;
    std::vector<std::string> f = table_row(r.out, "  distance", "64-127");
    ASSERT_GE(f.size(), 2u) << r.out;
    EXPECT_EQ(f[1], "69900");
}

// A fully associative LRU cache of C lines (one set of C ways) hits the touches of reuse
// distance below C; with C a power of two that is the sum of the buckets below C.
TEST(TraceReuse, AgreesWithAFullyAssociativeCache) {
    std::mt19937_64 rng(11);
    std::vector<sve_mem_ref_t> recs;
    for (uint64_t i = 1; i <= 5000; i++) {
        // Mostly a small working set, sometimes far away; sizes up to 80 bytes cross lines.
        uint64_t a = rng() % 4 ? 0x10000 + rng() % 2048 : 0x800000 + rng() % (1 << 16);
        recs.push_back(rec(i, i % 3 ? TX : TY, int(i % 2), a, 1 + rng() % 80, 0x400));
    }
    run_result reuse = run_on(recs, {"reuse"});
    ASSERT_EQ(reuse.status, 0) << reuse.err;
    for (uint64_t c : {4, 16, 32}) {
        run_result cache = run_on(recs, {"cache", "--l1", std::to_string(64 * c) + ":" + std::to_string(c) + ":64",
                                         "--l2", "0"});
        ASSERT_EQ(cache.status, 0) << cache.err;
        uint64_t below = 0;
        for (uint64_t lo = 0; lo < c; lo = lo ? 2 * lo : 1) {
            std::string range = lo < 2 ? std::to_string(lo) : std::to_string(lo) + "-" + std::to_string(2 * lo - 1);
            std::vector<std::string> f = table_row(reuse.out, "  distance", range);
            if (f.size() >= 2) below += std::stoull(f[1]);
        }
        level l1 = totals(cache.out, "L1");
        EXPECT_EQ(l1.hits, below) << c << " lines\n" << reuse.out << cache.out;
        EXPECT_GT(l1.hits, 0u);
    }
}

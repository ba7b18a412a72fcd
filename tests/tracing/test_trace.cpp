// Trace records: run cutting of linear records, bundles, markers, and regions per thread.
#include <gtest/gtest.h>
#include <pthread.h>

#include <thread>
#include <utility>

#include "tests/support/capture.h"
#include "tests/support/state_util.h"

namespace {

using run = std::pair<uint64_t, uint64_t>;  // byte offset from base, size

uint32_t self_id() { return uint32_t(uint64_t(pthread_self())); }

// Calls the instantiation of memtrace_lin for (T bytes, U bytes).
void call_lin(cpu_state* s, int t, int u, uint64_t base, char* pred, memaccess_type_t type) {
    switch (t * 10 + u) {
    case 11: memtrace_lin<unsigned char, unsigned char>(s, (unsigned char*)base, pred, type); break;
    case 12: memtrace_lin<unsigned char, unsigned short>(s, (unsigned char*)base, pred, type); break;
    case 14: memtrace_lin<unsigned char, unsigned int>(s, (unsigned char*)base, pred, type); break;
    case 18: memtrace_lin<unsigned char, unsigned long>(s, (unsigned char*)base, pred, type); break;
    case 22: memtrace_lin<unsigned short, unsigned short>(s, (unsigned short*)base, pred, type); break;
    case 24: memtrace_lin<unsigned short, unsigned int>(s, (unsigned short*)base, pred, type); break;
    case 28: memtrace_lin<unsigned short, unsigned long>(s, (unsigned short*)base, pred, type); break;
    case 44: memtrace_lin<unsigned int, unsigned int>(s, (unsigned int*)base, pred, type); break;
    case 48: memtrace_lin<unsigned int, unsigned long>(s, (unsigned int*)base, pred, type); break;
    case 88: memtrace_lin<unsigned long, unsigned long>(s, (unsigned long*)base, pred, type); break;
    default: FAIL() << "no instantiation " << t << "," << u;
    }
}

// Predicate with the given lanes (of u bytes) active, written as the emulator writes them.
void set_lanes(uint8_t* p, int u, std::initializer_list<std::pair<int, int>> ranges) {
    std::memset(p, 0, SVE_VL_BYTES);
    for (auto [lo, hi] : ranges)
        for (int i = lo; i <= hi; i++) p[i * u] = 1;
}

struct enable_region {
    enable_region() { enable_trace = true; }
    ~enable_region() { enable_trace = false; }
};

}  // namespace

TEST(Trace, LinearRunCutting) {
    struct tcase {
        const char* what;
        int t, u;
        std::initializer_list<std::pair<int, int>> lanes;
        std::vector<run> want;
    } cases[] = {
        {"bytes, all 80 active", 1, 1, {{0, 79}}, {{0, 80}}},
        {"none active", 4, 4, {}, {}},
        {"ld1b into .h, all 40", 1, 2, {{0, 39}}, {{0, 40}}},
        {"ld1b into .h, lane 39 off", 1, 2, {{0, 38}}, {{0, 39}}},
        {"st1w lanes 0, 1, 3", 4, 4, {{0, 1}, {3, 3}}, {{0, 8}, {12, 4}}},
        {"gap of one lane is not merged", 8, 8, {{0, 4}, {6, 9}}, {{0, 40}, {48, 32}}},
        {"single lanes", 2, 2, {{0, 0}, {2, 2}, {39, 39}}, {{0, 2}, {4, 2}, {78, 2}}},
        {"last lane only", 1, 1, {{79, 79}}, {{79, 1}}},
        {"ld1b into .d, memory spans, not lanes", 1, 8, {{1, 2}, {5, 9}}, {{1, 2}, {5, 5}}},
        {"ld1h into .d", 2, 8, {{0, 9}}, {{0, 20}}},
        {"ld1w into .d, gap", 4, 8, {{0, 3}, {5, 9}}, {{0, 16}, {20, 20}}},
        {"ld1h into .s, all but first", 2, 4, {{1, 19}}, {{2, 38}}},
        {"ld1b into .s", 1, 4, {{0, 0}, {19, 19}}, {{0, 1}, {19, 1}}},
        {"ld1h .h alternating", 2, 2, {{0, 0}, {2, 2}, {4, 4}}, {{0, 2}, {4, 2}, {8, 2}}},
    };
    cpu_state s;
    std::memset(&s, 0, sizeof s);
    s.pc = 0x4000AC;
    const uint64_t base = 0x10000;
    enable_region region;
    for (auto& c : cases) {
        clear_captured_records();
        set_lanes(s.p[3], c.u, c.lanes);
        call_lin(&s, c.t, c.u, base, reinterpret_cast<char*>(s.p[3]), memaccess_write);
        auto got = captured_records();
        ASSERT_EQ(got.size(), c.want.size()) << c.what;
        for (size_t i = 0; i < got.size(); i++) {
            EXPECT_EQ(got[i].address, base + c.want[i].first) << c.what << " record " << i;
            EXPECT_EQ(got[i].size, c.want[i].second) << c.what << " record " << i;
            EXPECT_EQ(got[i].flags, 0u) << c.what;
            EXPECT_EQ(got[i].type, memaccess_write) << c.what;
            EXPECT_EQ(got[i].pc, 0x4000ACu) << c.what;
            EXPECT_EQ(got[i].thread_id, self_id()) << c.what;
            if (i) {
                EXPECT_GT(got[i].count, got[i - 1].count) << c.what;
            }
        }
    }
}

TEST(Trace, OnlyBitZeroOfTheLanesFirstByteCounts) {
    cpu_state s;
    std::memset(&s, 0, sizeof s);
    enable_region region;
    // .d lanes: byte 8i decides; values 2 and 0xFE are inactive; bytes 8i+1..8i+7 are ignored.
    uint8_t* p = s.p[0];
    p[0] = 3;     // lane 0 on
    p[8] = 2;     // lane 1 off
    p[16] = 0xFE; // lane 2 off
    p[25] = 1;    // lane 3 off: not its first byte
    p[32] = 0xFF; // lane 4 on
    clear_captured_records();
    memtrace_lin<unsigned long, unsigned long>(&s, (unsigned long*)0x8000, (char*)p, memaccess_read);
    auto got = captured_records();
    ASSERT_EQ(got.size(), 2u);
    EXPECT_EQ(got[0].address, 0x8000u);
    EXPECT_EQ(got[0].size, 8u);
    EXPECT_EQ(got[1].address, 0x8000u + 32);
    EXPECT_EQ(got[1].type, memaccess_read);
}

TEST(Trace, NothingOutsideARegion) {
    cpu_state s;
    std::memset(&s, 0, sizeof s);
    std::memset(s.p[1], 1, SVE_VL_BYTES);
    enable_trace = false;
    clear_captured_records();
    memtrace_lin<unsigned char, unsigned char>(&s, (unsigned char*)0x1000, (char*)s.p[1], memaccess_read);
    memtrace_slots slots = {};
    memtrace_bundle(&s, slots.addr, (char*)s.p[1], 8, 8, memaccess_read);
    EXPECT_TRUE(captured_records().empty());
}

TEST(Trace, BundleFlags) {
    struct tcase {
        std::initializer_list<std::pair<int, int>> lanes;
        std::vector<uint32_t> flags;
        std::vector<int> lane_of_record;
    } cases[] = {
        {{}, {}, {}},
        {{{4, 4}}, {7}, {4}},
        {{{0, 1}}, {3, 6}, {0, 1}},
        {{{0, 2}}, {3, 2, 6}, {0, 1, 2}},
        {{{1, 1}, {3, 3}, {9, 9}}, {3, 2, 6}, {1, 3, 9}},
    };
    cpu_state s;
    std::memset(&s, 0, sizeof s);
    s.pc = 0x4242;
    memtrace_slots slots;
    for (int i = 0; i < SVE_VL_BYTES; i++) slots.addr[i] = 0x9000 + 0x100 * uint64_t(i);
    enable_region region;
    for (auto& c : cases) {
        clear_captured_records();
        set_lanes(s.p[2], 8, c.lanes);
        memtrace_bundle(&s, slots.addr, (char*)s.p[2], 8, 4, memaccess_read);
        auto got = captured_records();
        ASSERT_EQ(got.size(), c.flags.size());
        for (size_t i = 0; i < got.size(); i++) {
            EXPECT_EQ(got[i].flags, c.flags[i]) << i;
            EXPECT_EQ(got[i].address, 0x9000u + 0x100u * uint64_t(c.lane_of_record[i])) << i;
            EXPECT_EQ(got[i].size, 4u);
            EXPECT_EQ(got[i].pc, 0x4242u);
            EXPECT_EQ(got[i].thread_id, self_id());
        }
    }
}

TEST(Trace, MarkersThroughAddImmediate) {
    cpu_state s;
    test_rng r(31);
    random_state(s, r);
    cpu_state before = s;
    enable_trace = false;
    clear_captured_records();

    ASSERT_EQ(run_word(&s, roi_start_word(3)), RC_DONE);
    EXPECT_TRUE(enable_trace);
    ASSERT_EQ(run_word(&s, roi_start_word(3)), RC_DONE);  // a second start: a second record
    EXPECT_TRUE(enable_trace);
    ASSERT_EQ(run_word(&s, roi_stop_word(3)), RC_DONE);
    EXPECT_FALSE(enable_trace);
    ASSERT_EQ(run_word(&s, roi_stop_word(3)), RC_DONE);  // stop with no region: still a record
    EXPECT_FALSE(enable_trace);
    EXPECT_EQ(std::memcmp(s.z[3], before.z[3], SVE_VL_BYTES), 0) << "a marker leaves its register alone";

    auto got = captured_records();
    ASSERT_EQ(got.size(), 4u);
    const uint32_t ids[] = {roi_start_id, roi_start_id, roi_stop_id, roi_stop_id};
    for (int i = 0; i < 4; i++) {
        EXPECT_EQ(got[i].thread_id, ids[i]) << i;
        EXPECT_EQ(got[i].flags, 0u);
        EXPECT_EQ(got[i].size, 0u);
        EXPECT_EQ(got[i].address, 0u);
        EXPECT_EQ(got[i].pc, 0u);
        EXPECT_EQ(int(got[i].type), 0);
        if (i) {
            EXPECT_GT(got[i].count, got[i - 1].count);
        }
    }
    EXPECT_EQ(0xFFFFFFFFu, roi_start_id);
    EXPECT_EQ(0xFFFFFFFEu, roi_stop_id);
}

TEST(Trace, LookalikesAreNotMarkers) {
    struct tcase {
        uint32_t word;
        int bytes;
        uint64_t add;
    } cases[] = {
        {0x2560E023, 2, 0x100},  // add z3.h, z3.h, #1, lsl #8: plain addition
        {0x25A0E043, 4, 0x200},  // add z3.s, z3.s, #2, lsl #8
        {0x2520E063, 1, 0},      // add z3.b, z3.b, #3, lsl #8: low byte 0, nothing special
        {0x2520C023, 1, 1},      // add z3.b, z3.b, #1
    };
    test_rng r(32);
    for (auto& c : cases) {
        cpu_state s;
        random_state(s, r);
        cpu_state before = s;
        enable_trace = false;
        clear_captured_records();
        ASSERT_EQ(run_word(&s, c.word), RC_DONE);
        EXPECT_TRUE(captured_records().empty()) << std::hex << c.word;
        EXPECT_FALSE(enable_trace);
        for (int e = 0; e < SVE_VL_BYTES / c.bytes; e++) {
            uint64_t a = 0, b = 0;
            std::memcpy(&a, before.z[3] + e * c.bytes, c.bytes);
            std::memcpy(&b, s.z[3] + e * c.bytes, c.bytes);
            uint64_t mask = c.bytes == 8 ? ~0ull : (1ull << (8 * c.bytes)) - 1;
            ASSERT_EQ(b, (a + c.add) & mask) << std::hex << c.word << " element " << e;
        }
    }
}

TEST(Trace, RegionsBelongToTheThreadThatStartedThem) {
    static uint8_t data[SVE_VL_BYTES];
    auto load_all = [](cpu_state& s) {
        std::memset(s.p[0], 1, SVE_VL_BYTES);
        s.x[1] = uint64_t(data);
        return run_word(&s, 0xA400A020);  // ld1b {z0.b}, p0/z, [x1]
    };
    clear_captured_records();
    uint32_t a_id = 0, b_id = 0;
    std::thread a([&] {
        cpu_state s = {};
        a_id = self_id();
        run_word(&s, roi_start_word(0));
        EXPECT_EQ(load_all(s), RC_DONE);
        std::thread b([&] {  // started inside A's region, never sees a marker
            cpu_state t = {};
            b_id = self_id();
            EXPECT_FALSE(enable_trace);
            EXPECT_EQ(load_all(t), RC_DONE);
        });
        b.join();
        run_word(&s, roi_stop_word(0));
    });
    a.join();
    auto got = captured_records();
    ASSERT_EQ(got.size(), 3u);
    EXPECT_EQ(got[0].thread_id, roi_start_id);
    EXPECT_EQ(got[1].thread_id, a_id);
    EXPECT_EQ(got[1].address, uint64_t(data));
    EXPECT_EQ(got[1].size, 80u);
    EXPECT_EQ(got[2].thread_id, roi_stop_id);
    EXPECT_NE(a_id, b_id);
}

// Non-fault and first-fault loads against a page made unreadable, and the FFR instructions.
//
// Each case puts the base at a distance from the unreadable page and says which lanes fail:
// - non-fault (both tiers): the lanes in [bad_lo, bad_hi) that are active keep their old value
//   and lose their FFR lane; other active lanes load; inactive lanes become zero, FFR kept;
// - specialised first-fault: lanes from bad_lo are not written and lose FFR, active or not;
// - generic first-fault: lanes from bad_lo become zero and lose FFR, active or not.
#include <gtest/gtest.h>

#include "tests/memory/vector_rows.h"

namespace {

enum ff_kind { NONFAULT, FF_SPECIALISED, FF_GENERIC };

struct page_case {
    const char* row;
    ff_kind kind;
    long from_hole;      // base = first unreadable byte + from_hole
    uint32_t bad_lo, bad_hi;
    int inactive = -1;   // one inactive lane, or none
    bool first_page_unreadable = false;
    const char* what = "";
};

const page_case cases[] = {
    {"VecU8CLoadNF1SIZ", NONFAULT, -80, 80, 80, -1, false, "whole vector readable"},
    {"VecU32CLoadNF4SIZ", NONFAULT, -8, 2, 20, -1, false, "ldnf1w 8 below: lanes 0, 1"},
    {"VecU32CLoadNF4SIZ", NONFAULT, -8, 2, 20, 5, false, "the same with lane 5 inactive"},
    {"VecU32CLoadNF4SIZ", NONFAULT, -10, 2, 20, -1, false, "lane 2 straddles: it fails whole"},
    {"VecU64CLoadNF8SIZ", NONFAULT, -10, 1, 10, -1, false, "ldnf1d: lane 1 straddles"},
    {"VecS64CLoadNF2SIZ", NONFAULT, -9, 4, 10, -1, false, "ldnf1sh .d: lane 4 straddles"},
    {"VecU8CLoadNF1SIZ", NONFAULT, -40, 0, 40, -1, true, "first page unreadable, second readable"},
    {"VecU32CLoadFF4LSSZ", FF_SPECIALISED, -8, 2, 20, -1, false, "ldff1w .s 8 below: m = 2"},
    {"VecU32CLoadFF4LSSZ", FF_SPECIALISED, -10, 2, 20, 7, false, "ldff1w .s 10 below: m = 2"},
    {"VecU64CLoadFF1LSSZ", FF_SPECIALISED, -10, 1, 10, -1, false, "ldff1b .d 10 below: m = 1"},
    {"VecU64CLoadFF4LSSZ", FF_SPECIALISED, -4, 0, 10, -1, false, "ldff1w .d 4 below: m = 0"},
    {"VecU64CLoadFF8LSSZ", FF_SPECIALISED, -80, 10, 10, -1, false, "ldff1d ends at the page end"},
    {"VecU8CLoadFF1LSSZ", FF_SPECIALISED, -10, 10, 80, 3, false, "ldff1b 10 below: m = 10"},
    {"VecU16CLoadFF2LSSZ", FF_GENERIC, 0, 0, 40, -1, false, "first active element unreadable"},
    {"VecU16CLoadFF2LSSZ", FF_GENERIC, 0, 1, 40, 0, false, "inactive lane 0, lane 1 unreadable"},
    {"VecS32CLoadFF2LSSZ", FF_GENERIC, -9, 4, 20, 2, false, "ldff1sh .s: element 4 straddles"},
    {"VecS64CLoadFF4LSSZ", FF_GENERIC, -8, 2, 10, -1, false, "ldff1sw 8 below"},
    {"VecU16CLoadFF1LSSZ", FF_GENERIC, -80, 40, 40, -1, false, "ldff1b .h wholly readable"},
    {"VecU8CLoadFF1LSSZ", FF_GENERIC, -10, 10, 80, -1, false, "generic tier of ldff1b: per element"},
    {"VecU32CLoadFF4LSSZ", FF_GENERIC, -10, 2, 20, -1, false, "generic tier of ldff1w"},
};

// The lane and memory element of a row, and whether the load sign-extends, from its metadata.
struct load_shape {
    uint32_t lane, mem;
    bool sign;
};
load_shape shape(const sve_row_info& row) {
    return {uint32_t(sve_row_elem_bytes(row)), uint32_t(row.mem_bytes), row.type[0] == 'S'};
}

void run_case(const page_case& c, bool generic_tier) {
    SCOPED_TRACE(std::string(c.row) + ": " + c.what + (generic_tier ? " (generic tier)" : ""));
    const sve_row_info* row = row_named(c.row);
    ASSERT_NE(row, nullptr);
    guarded_pages pages(2);
    const long page = sysconf(_SC_PAGESIZE);
    test_rng r(uint64_t(c.from_hole) * 31 + c.bad_lo);
    for (size_t i = 0; i < pages.readable; i++) pages.base[i] = uint8_t(r.next());
    if (c.first_page_unreadable) mprotect(pages.base, size_t(page), PROT_NONE);
    // With the first page unreadable, `from_hole` counts from the start of the readable second
    // page, and the base lies on the first.
    uint8_t* hole = c.first_page_unreadable ? pages.base + page : pages.hole();
    uint8_t* base = hole + c.from_hole;

    const load_shape sh = shape(*row);
    const uint32_t n = 80 / sh.lane;
    cpu_state s;
    random_state(s, r);
    std::memset(s.ffr, 1, 80);
    std::memset(s.p[3], 0, 80);
    for (uint32_t i = 0; i < n; i++) s.p[3][i * sh.lane] = int(i) != c.inactive;
    // zt z4, pg p3, base x5, and imm 0 (non-fault) or no index (Xm 31, first-fault).
    mem_fields f{4, 3, 5, c.kind == NONFAULT ? 0u : 31u};
    s.x[5] = uint64_t(base);
    cpu_state old = s;
    uint32_t w = mem_word(*row, f);
    std::vector<sve_mem_ref_t> got;
    {
        traced t;
        // A generic-only row's handler is its generic frame.
        sve_handler_t h = generic_tier && row->generic ? row->generic : row->handler;
        aarch64_decode_rc rc = h(&s, w);
        ASSERT_EQ(rc, RC_DONE);
        got = captured_records();
    }
    const uint64_t b = s.x[5];
    for (uint32_t i = 0; i < n; i++) {
        SCOPED_TRACE("lane " + std::to_string(i));
        bool on = int(i) != c.inactive;
        bool bad = c.kind == NONFAULT ? (on && i >= c.bad_lo && i < c.bad_hi) : i >= c.bad_lo;
        uint64_t lane = get_le(s.z[4] + i * sh.lane, sh.lane);
        uint64_t old_lane = get_le(old.z[4] + i * sh.lane, sh.lane);
        bool ffr_kept = true;
        for (uint32_t k = 0; k < sh.lane; k++) ffr_kept = ffr_kept && s.ffr[i * sh.lane + k] == 1;
        bool ffr_clear = true;
        for (uint32_t k = 0; k < sh.lane; k++) ffr_clear = ffr_clear && s.ffr[i * sh.lane + k] == 0;
        if (!bad) {
            uint64_t v = on ? extend(get_le(reinterpret_cast<uint8_t*>(b + i * sh.mem), sh.mem), sh.mem, sh.sign) &
                                  lane_mask(sh.lane)
                            : 0;
            EXPECT_EQ(lane, v);
            EXPECT_TRUE(ffr_kept);
        } else {
            EXPECT_EQ(lane, c.kind == FF_GENERIC ? 0 : old_lane);
            EXPECT_TRUE(ffr_clear);
        }
    }
    // Records: linear by the governing predicate in the specialised tier, whatever failed.
    if (generic_tier) {
        EXPECT_TRUE(got.empty());
    } else {
        size_t runs = c.inactive < 0 ? 1 : (c.inactive == 0 || c.inactive == int(n) - 1) ? 1 : 2;
        ASSERT_EQ(got.size(), runs);
        EXPECT_EQ(got[0].address, c.inactive == 0 ? b + sh.mem : b);
        uint64_t total = 0;
        for (auto& g : got) total += g.size;
        EXPECT_EQ(total, (n - (c.inactive < 0 ? 0 : 1)) * sh.mem);
        EXPECT_EQ(got[0].flags, 0u);
    }
}

}  // namespace

TEST(FirstFault, LoadsAtAnUnreadablePage) {
    for (const page_case& c : cases) {
        if (c.kind == FF_GENERIC) {
            run_case(c, true);
            continue;
        }
        run_case(c, false);
        if (c.kind == NONFAULT) run_case(c, true);  // the generic non-fault load gives the same
    }
}

// First-fault gathers (generic): a failing element stops the load; lanes below keep their values.
TEST(FirstFault, GatherStopsAtTheFirstUnreadableElement) {
    guarded_pages pages(1);
    for (size_t i = 0; i < pages.readable; i++) pages.base[i] = uint8_t(i * 7);
    const sve_row_info* row = row_named("VecU64LoadFF8VSZ");  // ldff1d z0.d, p0/z, [x1, z2.d]
    ASSERT_NE(row, nullptr);
    cpu_state s = {};
    std::memset(s.ffr, 1, 80);
    s.x[1] = uint64_t(pages.hole());
    const int64_t offsets[10] = {-16, 0, 8, -8, -24, -32, -40, -48, -56, -64};
    for (int e = 0; e < 10; e++) put_le(s.z[2] + 8 * e, 8, uint64_t(offsets[e]));
    for (int e : {0, 2, 3}) s.p[0][8 * e] = 1;  // lane 1 (on the hole) inactive, lane 2 faults
    std::memset(s.z[0], 0xAB, 80);
    ASSERT_EQ(run_word(&s, mem_word(*row, {0, 0, 1, 2})), RC_DONE);
    EXPECT_EQ(get_le(s.z[0], 8), get_le(pages.hole() - 16, 8));
    for (int e = 1; e < 10; e++) EXPECT_EQ(get_le(s.z[0] + 8 * e, 8), 0u) << e;
    for (int i = 0; i < 16; i++) EXPECT_EQ(s.ffr[i], 1) << "lanes 0 and 1 keep FFR, byte " << i;
    for (int i = 16; i < 80; i++) EXPECT_EQ(s.ffr[i], 0) << "from lane 2 FFR is clear, byte " << i;

    // The first active element on the unreadable page: no signal, everything zero.
    std::memset(s.ffr, 1, 80);
    const sve_row_info* row32 = row_named("VecS32LoadFF2XSVZ");  // ldff1sh z0.s, [x1, z2.s, sxtw #1]
    ASSERT_NE(row32, nullptr);
    for (int e = 0; e < 20; e++) put_le(s.z[2] + 4 * e, 4, uint32_t(-1 - e));  // x1 - 2, x1 - 4, ...
    s.x[1] = uint64_t(pages.hole()) + 4;  // lane 0 at hole + 2: unreadable; the others readable
    std::memset(s.p[0], 0, 80);
    for (int e = 0; e < 20; e++) s.p[0][4 * e] = 1;
    ASSERT_EQ(run_word(&s, mem_word(*row32, {0, 0, 1, 2})), RC_DONE);
    for (int i = 0; i < 80; i++) EXPECT_EQ(s.ffr[i], 0) << i;
    for (int i = 0; i < 80; i++) EXPECT_EQ(s.z[0][i], 0) << i;
}

TEST(FirstFault, FfrInstructions) {
    cpu_state s = {};
    test_rng r(0xff5);
    random_state(s, r);
    std::memset(s.ffr, 0, 80);
    ASSERT_EQ(run_word(&s, sve_row_word(*row_named("VecPClearFFSR"), 0)), RC_DONE);
    for (int i = 0; i < 80; i++) ASSERT_EQ(s.ffr[i], 1) << "setffr, byte " << i;

    // rdffr p2, p6/z right after setffr: p2 equals p6.
    ASSERT_EQ(run_word(&s, sve_row_word(*row_named("VecPActualP"), (6u << 5) | 2u)), RC_DONE);
    EXPECT_EQ(std::memcmp(s.p[2], s.p[6], 80), 0);

    // wrffr p9 copies bytes; rdffr p11 copies them back.
    for (int i = 0; i < 80; i++) s.p[9][i] = uint8_t(i % 3 == 0);
    ASSERT_EQ(run_word(&s, sve_row_word(*row_named("VecPWriteFFSRP"), 9u << 5)), RC_DONE);
    EXPECT_EQ(std::memcmp(s.ffr, s.p[9], 80), 0);
    ASSERT_EQ(run_word(&s, sve_row_word(*row_named("VecPReadFFSRP"), 11u)), RC_DONE);
    EXPECT_EQ(std::memcmp(s.p[11], s.p[9], 80), 0);
}

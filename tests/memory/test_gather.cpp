// Gathers and scatters: address forms, extension, aliasing of destination and address vector,
// duplicate scatter addresses, bundle records, and both tiers against each other.
#include <gtest/gtest.h>

#include "sve/memory/gather_access.h"
#include "tests/memory/vector_rows.h"

namespace {

template <class T, class U, int F>
uint64_t addr_of(uint64_t scalar, uint64_t lane) {
    return memory_access::gather_address<T, U, F>(scalar, U(lane));
}

void expect_bundle(const vector_case& c, const row_shape& sh, memaccess_type_t type) {
    auto got = captured_records();
    std::vector<uint32_t> lanes;
    for (uint32_t e = 0; e < 80 / sh.lane; e++)
        if (c.active[e]) lanes.push_back(e);
    ASSERT_EQ(got.size(), lanes.size()) << sh.row->name;
    for (size_t i = 0; i < lanes.size(); i++) {
        EXPECT_EQ(got[i].address, c.addr[lanes[i]]) << sh.row->name << " record " << i;
        EXPECT_EQ(got[i].size, sh.mem);
        EXPECT_EQ(got[i].type, type);
        EXPECT_EQ(got[i].flags, bundle_flags(i, lanes.size())) << sh.row->name;
        EXPECT_EQ(got[i].pc, 0x400100u);
    }
}

}  // namespace

TEST(GatherAddress, FormsExtendAndScaleTheOffset) {
    struct {
        uint64_t (*fn)(uint64_t, uint64_t);
        uint64_t scalar, lane, want;
        const char* what;
    } cases[] = {
        {addr_of<uint8_t, uint32_t, VS>, 0x1000, 0xFFFFFFFF, 0x100000FFFull, ".s uxtw: zero-extended"},
        {addr_of<uint8_t, uint32_t, XVS>, 0x1000, 0xFFFFFFFF, 0xFFF, ".s sxtw: -1"},
        {addr_of<uint16_t, uint32_t, SV>, 0x1000, 0x80000000, 0x100001000ull, ".s uxtw scaled by 2"},
        {addr_of<uint16_t, uint32_t, XSV>, 0x1000, 0x80000000, 0xFFFFFFFF00001000ull, ".s sxtw scaled"},
        {addr_of<uint32_t, uint32_t, VI>, 31 * 4, 0xFFFFFFF0, 0x10000006Cull, ".s bases: low 4 GiB + imm"},
        {addr_of<uint32_t, uint64_t, VS>, 0x10, 0xFFFFFFFFFFFFFFF0ull, 0, ".d 64-bit offset wraps"},
        {addr_of<uint32_t, uint64_t, YVS>, 0x10, 0xFFFFFFFFFFFFFFF0ull, 0x100000000ull, ".d uxtw: low half"},
        {addr_of<uint32_t, uint64_t, XVS>, 0x10, 0x12345678FFFFFFF0ull, 0, ".d sxtw ignores the high half"},
        {addr_of<uint16_t, uint64_t, SV>, 0x100, 3, 0x106, "ld1h .d offset 3 reads at Xn + 6"},
        {addr_of<uint64_t, uint64_t, SV>, 0, 0x2000000000000001ull, 8, ".d scaled wraps"},
        {addr_of<uint64_t, uint64_t, YSV>, 0, 0xFFFFFFFF00000001ull, 8, ".d uxtw scaled"},
        {addr_of<uint64_t, uint64_t, XSV>, 0, 0x00000000FFFFFFFFull, ~7ull, ".d sxtw scaled: -8"},
        {addr_of<uint64_t, uint64_t, VI>, 8 * 31, 0xFFFFFFFFFFFFFF10ull, 8, ".d bases wrap"},
        {addr_of<uint8_t, uint64_t, VI>, 5, 0x123456789Aull, 0x123456789Full, ".d bases use 64 bits"},
    };
    for (auto& c : cases) EXPECT_EQ(c.fn(c.scalar, c.lane), c.want) << c.what;
}

TEST(Gather, EveryRowReadsWhereItsFormSaysAndReportsABundle) {
    low_memory m;
    ASSERT_NE(m.bytes, nullptr) << "no memory below 4 GiB";
    auto rows = vector_addressed_rows(SVE_ACCESS_LOAD);
    ASSERT_EQ(rows.size(), 64u);
    test_rng r(0x6a7e);
    for (const row_shape& sh : rows) {
        for (int k = 0; k < 30; k++) {
            for (size_t i = 0; i < low_memory::SIZE; i++) m.bytes[i] = uint8_t(r.next());
            vector_case c = make_case(sh, m.middle(), r, k, 128);
            uint32_t zt = c.word & 31;
            cpu_state want = c.s;
            for (uint32_t e = 0; e < 80 / sh.lane; e++) {
                uint64_t v = c.active[e] ? extend(get_le(reinterpret_cast<uint8_t*>(c.addr[e]), sh.mem), sh.mem, sh.sign)
                                         : 0;
                put_le(want.z[zt] + e * sh.lane, sh.lane, v & lane_mask(sh.lane));
            }
            {
                traced t;
                ASSERT_EQ(run_word(&c.s, c.word), RC_DONE) << sh.row->name;
                expect_bundle(c, sh, memaccess_read);
            }
            want.pc = c.s.pc;
            ASSERT_EQ(state_diff(c.s, want, false), "") << sh.row->name << " word " << std::hex << c.word;
        }
    }
}

TEST(Scatter, EveryRowWritesWhereItsFormSaysInAscendingOrder) {
    low_memory m;
    ASSERT_NE(m.bytes, nullptr);
    auto rows = vector_addressed_rows(SVE_ACCESS_STORE);
    ASSERT_EQ(rows.size(), 38u);
    static uint8_t want[low_memory::SIZE];
    test_rng r(0x5ca7);
    for (const row_shape& sh : rows) {
        for (int k = 0; k < 30; k++) {
            for (size_t i = 0; i < low_memory::SIZE; i++) m.bytes[i] = uint8_t(r.next());
            // A narrow range of offsets: lanes often share an address, and the higher lane's
            // value must stay.
            vector_case c = make_case(sh, m.middle(), r, k, 8);
            uint32_t zt = c.word & 31;
            std::memcpy(want, m.bytes, low_memory::SIZE);
            for (uint32_t e = 0; e < 80 / sh.lane; e++)
                if (c.active[e])
                    put_le(want + (c.addr[e] - uint64_t(m.bytes)), sh.mem, get_le(c.s.z[zt] + e * sh.lane, sh.mem));
            cpu_state before = c.s;
            {
                traced t;
                ASSERT_EQ(run_word(&c.s, c.word), RC_DONE) << sh.row->name;
                expect_bundle(c, sh, memaccess_write);
            }
            before.pc = c.s.pc;
            ASSERT_EQ(state_diff(c.s, before, false), "") << sh.row->name;
            ASSERT_EQ(std::memcmp(m.bytes, want, low_memory::SIZE), 0) << sh.row->name << " word " << std::hex << c.word;
        }
    }
}

TEST(GatherScatterTiers, SpecialisedAndGenericAgreeOnABuffer) {
    low_memory m;
    ASSERT_NE(m.bytes, nullptr);
    static uint8_t initial[low_memory::SIZE], after_specialised[low_memory::SIZE];
    test_rng r(0x7e55);
    auto rows = vector_addressed_rows(SVE_ACCESS_LOAD);
    auto stores = vector_addressed_rows(SVE_ACCESS_STORE);
    rows.insert(rows.end(), stores.begin(), stores.end());
    for (const row_shape& sh : rows) {
        ASSERT_NE(sh.row->generic, nullptr) << sh.row->name;
        for (int k = 0; k < 20; k++) {
            for (auto& b : initial) b = uint8_t(r.next());
            vector_case c = make_case(sh, m.middle(), r, k, 64);
            for (auto& b : c.s.ffr) b &= 1;
            cpu_state g = c.s;
            std::memcpy(m.bytes, initial, low_memory::SIZE);
            ASSERT_EQ(sh.row->handler(&c.s, c.word), RC_DONE);
            std::memcpy(after_specialised, m.bytes, low_memory::SIZE);
            std::memcpy(m.bytes, initial, low_memory::SIZE);
            ASSERT_EQ(sh.row->generic(&g, c.word), RC_DONE);
            ASSERT_EQ(state_diff(c.s, g, false), "") << sh.row->name << " word " << std::hex << c.word;
            ASSERT_EQ(std::memcmp(m.bytes, after_specialised, low_memory::SIZE), 0) << sh.row->name;
        }
    }
}

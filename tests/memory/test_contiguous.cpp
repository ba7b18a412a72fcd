// Contiguous loads and stores: address forms, register 31, and the records of each access.
#include <gtest/gtest.h>

#include "tests/support/capture.h"
#include "tests/support/mem_rows.h"

namespace {

struct Contiguous : testing::Test {
    void TearDown() override { enable_trace = false; }
};

}  // namespace

TEST_F(Contiguous, AddressesOfEachForm) {
    // Expected byte offsets from the base register, by the architecture's rules.
    struct tcase {
        const char* row;
        int imm_or_index;  // imm4 (signed) or the index register value
        long offset;
    } cases[] = {
        {"VecU16CLoad1SIZ", -1, -40},    // ld1b .h: one step is 40 bytes
        {"VecU32CStore2SIZ", 2, 80},     // st1h .s: 20 halfwords a step
        {"VecU64CLoad4SIZ", 1, 40},      // ld1w .d
        {"VecU8CLoad1SIZ", -8, -640},
        {"VecU64CLoad8SIZ", 7, 560},
        {"VecU64CLoadNT8SIZ", -3, -240},  // non-temporal: 80 a step
        {"VecU8CStoreNT1SIZ", 1, 80},
        {"VecU64CLoad1LSSZ", 5, 5},      // ld1b .d: the index is not scaled
        {"VecU64CLoad2LSSZ", 5, 10},     // ld1h .d: by 2, the memory element
        {"VecS64CLoad4LSSZ", 3, 12},
        {"VecU64CStore8LSSZ", 2, 16},
    };
    static test_memory mem;
    for (auto& c : cases) {
        const sve_row_info* row = row_named(c.row);
        ASSERT_NE(row, nullptr) << c.row;
        bool imm = row->address == SVE_ADDRESS_SI;
        cpu_state s = {};
        s.p[0][0] = 1;  // only lane 0
        mem_fields f;
        f.zt = 2;
        f.rn = 4;
        f.rm = imm ? uint32_t(c.imm_or_index) & 15 : 6;
        s.x[4] = uint64_t(mem.middle());
        s.x[6] = uint64_t(c.imm_or_index);
        enable_trace = true;
        clear_captured_records();
        ASSERT_EQ(run_word(&s, mem_word(*row, f)), RC_DONE);
        enable_trace = false;
        auto got = captured_records();
        ASSERT_EQ(got.size(), 1u) << c.row;
        EXPECT_EQ(int64_t(got[0].address - uint64_t(mem.middle())), c.offset) << c.row;
    }
}

TEST_F(Contiguous, RegisterThirtyOne) {
    static test_memory mem;
    for (int i = 0; i < 80; i++) mem.middle()[i] = uint8_t(i + 1);
    const sve_row_info* row = row_named("VecU8CLoad1LSSZ");  // ld1b {z.b}, p/z, [xn, xm]
    cpu_state s = {};
    std::memset(s.p[1], 1, SVE_VL_BYTES);
    s.sp = uint64_t(mem.middle());
    s.x[3] = 1000000;  // would be far outside the buffer if used
    mem_fields f;
    f.zt = 7;
    f.pg = 1;
    f.rn = 31;  // sp
    f.rm = 31;  // zero, not sp
    ASSERT_EQ(run_word(&s, mem_word(*row, f)), RC_DONE);
    for (int i = 0; i < 80; i++) ASSERT_EQ(s.z[7][i], i + 1) << i;
}

TEST_F(Contiguous, RecordsFollowThePredicate) {
    static test_memory mem;
    cpu_state s = {};
    s.pc = 0x400800;
    s.x[0] = uint64_t(mem.middle());
    mem_fields f;
    enable_trace = true;

    // ldnt1d, all active: one record of 80 bytes, read, like ld1d.
    std::memset(s.p[0], 1, SVE_VL_BYTES);
    for (const char* name : {"VecU64CLoadNT8SIZ", "VecU64CLoad8SIZ"}) {
        clear_captured_records();
        ASSERT_EQ(run_word(&s, mem_word(*row_named(name), f), 0x400800), RC_DONE);
        auto got = captured_records();
        ASSERT_EQ(got.size(), 1u) << name;
        EXPECT_EQ(got[0].size, 80u);
        EXPECT_EQ(got[0].type, memaccess_read);
        EXPECT_EQ(got[0].address, uint64_t(mem.middle()));
        EXPECT_EQ(got[0].pc, 0x400800u);
    }
    // st1w with lanes 0, 1, 3: (base, 8) and (base + 12, 4), written.
    std::memset(s.p[0], 0, SVE_VL_BYTES);
    s.p[0][0] = s.p[0][4] = s.p[0][12] = 1;
    clear_captured_records();
    ASSERT_EQ(run_word(&s, mem_word(*row_named("VecU32CStore4SIZ"), f)), RC_DONE);
    auto got = captured_records();
    ASSERT_EQ(got.size(), 2u);
    EXPECT_EQ(got[0].address, uint64_t(mem.middle()));
    EXPECT_EQ(got[0].size, 8u);
    EXPECT_EQ(got[1].address, uint64_t(mem.middle()) + 12);
    EXPECT_EQ(got[1].size, 4u);
    EXPECT_EQ(got[1].type, memaccess_write);
}

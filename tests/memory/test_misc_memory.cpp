// Load and replicate (ld1r*, ld1rq*), ldr and str of Z and P, and the prefetches.
#include <gtest/gtest.h>

#include "tests/support/capture.h"
#include "tests/support/mem_rows.h"

namespace {

uint64_t read_le(const uint8_t* p, int bytes) {
    uint64_t v = 0;
    std::memcpy(&v, p, bytes);
    return v;
}

struct Misc : testing::Test {
    void TearDown() override { enable_trace = false; }
};

}  // namespace

TEST_F(Misc, ReplicateCases) {
    static test_memory mem;
    for (int i = 0; i < 1024; i++) mem.bytes[i] = uint8_t(i * 7 + 3);
    struct tcase {
        const char* row;
        uint32_t imm;
        int offset;       // of the element read
        uint64_t memory;  // written there first, if not 0
        uint64_t lane;    // expected value of active lanes
    } cases[] = {
        {"VecU64LoadDup1SIZ", 63, 63, 0, uint64_t(uint8_t(63 * 7 + 3))},  // ld1rb .d, zero-extended
        {"VecS32LoadDup2SIZ", 0, 0, 0x8000, 0xFFFF8000},                  // ld1rsh .s
        {"VecU64LoadDup8SIZ", 63, 504, 0x0102030405060708ull, 0x0102030405060708ull},  // ld1rd
        {"VecS64LoadDup4SIZ", 1, 4, 0x80000001, 0xFFFFFFFF80000001ull},   // ld1rsw .d
        {"VecU16LoadDup1SIZ", 40, 40, 0, uint64_t(uint8_t(40 * 7 + 3))},  // ld1rb .h
    };
    for (auto& c : cases) {
        const sve_row_info* row = row_named(c.row);
        ASSERT_NE(row, nullptr);
        if (c.memory) std::memcpy(mem.bytes + c.offset, &c.memory, 8);
        cpu_state s = {};
        int ubytes = sve_row_elem_bytes(*row);
        for (int i = 0; i < 80; i += 2 * ubytes) s.p[3][i] = 1;  // every other lane
        s.x[5] = uint64_t(mem.bytes);
        std::memset(s.z[9], 0xCC, 80);
        mem_fields f;
        f.zt = 9;
        f.pg = 3;
        f.rn = 5;
        f.rm = c.imm;
        enable_trace = true;
        clear_captured_records();
        ASSERT_EQ(run_word(&s, mem_word(*row, f)), RC_DONE);
        enable_trace = false;
        EXPECT_TRUE(captured_records().empty()) << "replicate loads are not traced";
        for (int i = 0; i < 80 / ubytes; i++)
            ASSERT_EQ(read_le(s.z[9] + i * ubytes, ubytes), i % 2 ? 0 : c.lane) << c.row << " lane " << i;
    }
}

TEST_F(Misc, ReplicateWithNoActiveLaneReadsNothing) {
    guarded_pages g(1);
    for (const char* name : {"VecU8LoadDup1SIZ", "VecS64LoadDup4SIZ"}) {
        cpu_state s = {};
        std::memset(s.z[0], 0xCC, 80);
        s.x[0] = uint64_t(g.hole());
        ASSERT_EQ(run_word(&s, mem_word(*row_named(name), mem_fields())), RC_DONE);
        for (int i = 0; i < 80; i++) ASSERT_EQ(s.z[0][i], 0) << name;
    }
}

TEST_F(Misc, QuadReplicateCases) {
    guarded_pages g(1);
    uint8_t* block = g.base + 256;
    for (int i = -32; i < 32; i++) block[i] = uint8_t(0x40 + i);
    struct tcase {
        const char* row;
        uint32_t rm;        // imm4 or index register number
        uint64_t index;     // value of x6 for the scalar form
        int pred_byte;      // the one active predicate byte, -1 for byte 0 and 8
        int offset;         // of the block from x5
        bool high_half_zero;
    } cases[] = {
        {"VecU32LoadDup4QSIZ", 15, 0, -2, -16, false},  // ld1rqw imm -1: the block at Xn - 16
        {"VecU16LoadDup2QSSZ", 6, 3, -2, 6, false},     // ld1rqh scalar Xm = 3: Xn + 6
        {"VecU64LoadDup8QSIZ", 0, 0, 0, 0, true},       // ld1rqd, bit 0 set, bit 8 clear
    };
    for (auto& c : cases) {
        cpu_state s = {};
        if (c.pred_byte == -2) std::memset(s.p[1], 1, 80); else s.p[1][c.pred_byte] = 1;
        s.x[5] = uint64_t(block);
        s.x[6] = c.index;
        mem_fields f;
        f.zt = 2;
        f.pg = 1;
        f.rn = 5;
        f.rm = c.rm;
        ASSERT_EQ(run_word(&s, mem_word(*row_named(c.row), f)), RC_DONE);
        for (int q = 0; q < 5; q++)
            for (int b = 0; b < 16; b++) {
                uint8_t want = (c.high_half_zero && b >= 8) ? 0 : uint8_t(0x40 + c.offset + b);
                ASSERT_EQ(s.z[2][16 * q + b], want) << c.row << " quadword " << q << " byte " << b;
            }
    }
    // ld1rqb with only predicate byte 20 set: zero, and nothing read from the unreadable page.
    cpu_state s = {};
    s.p[1][20] = 1;
    std::memset(s.z[2], 0xCC, 80);
    s.x[5] = uint64_t(g.hole());
    mem_fields f;
    f.zt = 2;
    f.pg = 1;
    f.rn = 5;
    ASSERT_EQ(run_word(&s, mem_word(*row_named("VecU8LoadDup1QSIZ"), f)), RC_DONE);
    for (int i = 0; i < 80; i++) ASSERT_EQ(s.z[2][i], 0) << i;
}

namespace {
// Fields of ldr / str with a 9-bit signed immediate: high six bits at 21:16, low three at 12:10.
mem_fields fill_fields(uint32_t reg, uint32_t rn, int imm) {
    mem_fields f;
    f.zt = reg;
    f.rn = rn;
    f.pg = uint32_t(imm) & 7;
    f.rm = (uint32_t(imm) >> 3) & 63;
    return f;
}
}  // namespace

TEST_F(Misc, FillAndSpillImmediates) {
    static test_memory mem;
    struct tcase {
        const char* row;
        int imm;
        long offset;
    } cases[] = {
        {"VecU64FillSI", -1, -80}, {"VecPFillSI", -1, -10},   {"VecU64SpillSI", 255, 255 * 80},
        {"VecU64SpillSI", -256, -256 * 80}, {"VecPSpillSI", 255, 2550}, {"VecPSpillSI", -256, -2560},
    };
    for (auto& c : cases) {
        std::memset(mem.bytes, 0, test_memory::SIZE);
        cpu_state s = {};
        std::memset(s.z[4], 0x5A, 80);
        std::memset(s.p[4], 1, 80);
        // A base such that base + offset is the start of the buffer's middle.
        s.x[8] = uint64_t(mem.middle()) - uint64_t(c.offset);
        std::memcpy(mem.middle(), "\x11\x22\x33\x44\x55\x66\x77\x88\x99\xAA", 10);
        bool spill = row_named(c.row)->access == SVE_ACCESS_SPILL;
        if (spill) std::memset(mem.middle(), 0, 10);
        ASSERT_EQ(run_word(&s, mem_word(*row_named(c.row), fill_fields(4, 8, c.imm))), RC_DONE);
        if (c.row == std::string("VecU64FillSI")) {
            EXPECT_EQ(read_le(s.z[4], 8), 0x8877665544332211ull);
        }
        if (c.row == std::string("VecPFillSI")) {
            for (int i = 0; i < 16; i++) EXPECT_EQ(s.p[4][i], (0x2211 >> i) & 1) << i;
            EXPECT_EQ(s.p[4][79], 1);  // bit 7 of byte 9 (0xAA)
        }
        if (c.row == std::string("VecU64SpillSI")) {
            EXPECT_EQ(mem.middle()[79], 0x5A);
        }
        if (c.row == std::string("VecPSpillSI")) {
            EXPECT_EQ(mem.middle()[9], 0xFF);
            EXPECT_EQ(mem.middle()[10], 0);
        }
    }
}

TEST_F(Misc, PredicateRoundTripKeepsOnlyBitZero) {
    static test_memory mem;
    cpu_state s = {};
    for (int i = 0; i < 80; i++) s.p[2][i] = uint8_t(i % 3 == 0 ? 3 : i % 3 == 1 ? 2 : 0xFE);
    s.x[1] = uint64_t(mem.middle());
    enable_trace = true;
    clear_captured_records();
    ASSERT_EQ(run_word(&s, mem_word(*row_named("VecPSpillSI"), fill_fields(2, 1, 0))), RC_DONE);
    ASSERT_EQ(run_word(&s, mem_word(*row_named("VecPFillSI"), fill_fields(6, 1, 0))), RC_DONE);
    ASSERT_EQ(run_word(&s, mem_word(*row_named("VecU64FillSI"), fill_fields(6, 1, 0))), RC_DONE);
    enable_trace = false;
    for (int i = 0; i < 80; i++) ASSERT_EQ(s.p[6][i], i % 3 == 0 ? 1 : 0) << i;
    EXPECT_TRUE(captured_records().empty()) << "fill and spill are not traced";
}

TEST_F(Misc, PrefetchesDoNothing) {
    auto rows = rows_where([](const sve_row_info& r) { return r.access == SVE_ACCESS_PREFETCH; });
    EXPECT_EQ(rows.size(), 36u);
    guarded_pages g(1);
    test_rng r(0x9F);
    for (const sve_row_info* row : rows) {
        EXPECT_EQ(row->tier, 'P') << row->name;
        cpu_state s;
        random_state(s, r);
        for (auto& x : s.x) x = uint64_t(g.hole());  // every address unreadable
        s.sp = uint64_t(g.hole());
        s.insn = 0x1234;
        cpu_state before = s;
        enable_trace = true;
        clear_captured_records();
        ASSERT_EQ(run_word(&s, sve_row_word(*row, uint32_t(r.next()))), RC_DONE);
        enable_trace = false;
        EXPECT_EQ(state_diff(before, s), "") << row->name;
        EXPECT_TRUE(captured_records().empty());
    }
}

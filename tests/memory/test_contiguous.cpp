// Contiguous loads and stores: every row against a reference model derived from its name, both
// tiers against each other, address forms, extension, truncation and the trace of each row.
#include <gtest/gtest.h>

#include <regex>

#include "tests/memory/capture.h"
#include "tests/memory/mem_rows.h"

namespace {

// What the name of a contiguous row says: Vec<S|U><register bits>C<Load|Store>[NT]<memory bytes><SIZ|LSSZ>.
struct contiguous_row {
    const sve_row_info* row;
    bool load, sign, imm_form;
    int reg_bytes, mem_bytes;
};

std::vector<contiguous_row> contiguous_rows() {
    static const std::regex re("Vec([SU])(\\d+)C(Load|Store)(NT)?(\\d)(SIZ|LSSZ)");
    std::vector<contiguous_row> out;
    for (const sve_row_info& r : sve_rows) {
        std::cmatch m;
        if (!std::regex_match(r.name, m, re)) continue;
        out.push_back({&r, m[3] == "Load", m[1] == "S", m[6] == "SIZ", std::stoi(m[2]) / 8, std::stoi(m[5])});
    }
    return out;
}

uint64_t read_le(const uint8_t* p, int bytes) {
    uint64_t v = 0;
    std::memcpy(&v, p, bytes);
    return v;
}

// The architecture's contiguous access, written out plainly: base, lane by lane.
void reference(const contiguous_row& c, cpu_state& s, const mem_fields& f, uint8_t* mem0, uint64_t mem_addr0) {
    int64_t imm = int32_t(f.rm << 28) >> 28;  // imm4, sign-extended
    uint64_t xn = f.rn == 31 ? s.sp : s.x[f.rn];
    uint64_t base;
    if (c.imm_form) {
        base = xn + uint64_t(imm * (80 / c.reg_bytes) * c.mem_bytes);
    } else {
        base = xn + (f.rm == 31 ? 0 : s.x[f.rm] * uint64_t(c.mem_bytes));
    }
    int lanes = 80 / c.reg_bytes;
    for (int i = 0; i < lanes; i++) {
        bool on = s.p[f.pg][i * c.reg_bytes] & 1;
        uint8_t* m = mem0 + (base + uint64_t(i) * c.mem_bytes - mem_addr0);
        uint8_t* lane = s.z[f.zt] + i * c.reg_bytes;
        if (c.load) {
            uint64_t v = on ? read_le(m, c.mem_bytes) : 0;
            int sh = 64 - 8 * c.mem_bytes;
            if (on && c.sign && sh) v = uint64_t(int64_t(v << sh) >> sh);
            std::memcpy(lane, &v, c.reg_bytes);
        } else if (on) {
            std::memcpy(m, lane, c.mem_bytes);
        }
    }
}

// A random state with the base register inside the buffer and a small index register.
mem_fields random_fields(test_rng& r, cpu_state& s, test_memory& mem) {
    mem_fields f;
    f.zt = r.below(32);
    f.pg = r.below(8);
    f.rn = r.below(8) == 0 ? 31 : r.below(31);
    f.rm = r.below(32);
    if (f.rm == f.rn) f.rm = 31;
    uint64_t base = uint64_t(mem.middle()) + r.below(64);
    if (f.rn == 31) s.sp = base; else s.x[f.rn] = base;
    if (f.rm != 31) s.x[f.rm] = r.below(200);
    return f;
}

struct Contiguous : testing::Test {
    void TearDown() override { enable_trace = false; }
};

}  // namespace

TEST_F(Contiguous, EveryRowIsThere) {
    auto rows = contiguous_rows();
    EXPECT_EQ(rows.size(), 68u);
    for (auto& c : rows) EXPECT_TRUE(c.row->implemented) << c.row->name;
}

TEST_F(Contiguous, EveryRowAgainstTheReferenceAndTheGenericTier) {
    // `work` is where the registers point; `initial` holds the contents each run starts from.
    static test_memory work, initial, after_ref;
    test_rng r(0xC0417);
    for (auto& c : contiguous_rows()) {
        for (int k = 0; k < 60; k++) {
            cpu_state s;
            random_state(s, r);
            for (auto& b : s.ffr) b &= 1;
            initial.fill(r);
            mem_fields f = random_fields(r, s, work);
            uint32_t w = mem_word(*c.row, f);
            cpu_state ref = s, gen = s;

            std::memcpy(after_ref.bytes, initial.bytes, test_memory::SIZE);
            reference(c, ref, f, after_ref.bytes, uint64_t(work.bytes));

            std::memcpy(work.bytes, initial.bytes, test_memory::SIZE);
            ASSERT_EQ(c.row->handler(&s, w), RC_DONE);
            EXPECT_EQ(s.insn, w);
            ASSERT_EQ(state_diff(s, ref, false), "") << c.row->name << " word " << std::hex << w;
            ASSERT_EQ(std::memcmp(work.bytes, after_ref.bytes, test_memory::SIZE), 0) << c.row->name << " memory";

            ASSERT_NE(c.row->generic, nullptr) << c.row->name;
            std::memcpy(work.bytes, initial.bytes, test_memory::SIZE);
            ASSERT_EQ(c.row->generic(&gen, w), RC_DONE);
            ASSERT_EQ(state_diff(gen, ref, false), "") << c.row->name << " generic, word " << std::hex << w;
            ASSERT_EQ(std::memcmp(work.bytes, after_ref.bytes, test_memory::SIZE), 0) << c.row->name << " generic memory";
        }
    }
}

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
        const sve_row_info* row = find_row(c.row);
        ASSERT_NE(row, nullptr) << c.row;
        bool imm = std::string(c.row).find("SIZ") != std::string::npos;
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
    const sve_row_info* row = find_row("VecU8CLoad1LSSZ");  // ld1b {z.b}, p/z, [xn, xm]
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

TEST_F(Contiguous, ExtensionAndTruncation) {
    static test_memory mem;
    struct tcase {
        const char* row;
        uint64_t memory;  // little-endian at the base
        uint64_t lane0;   // expected lane 0 for loads, memory after a store of `lane0_src`
    } loads[] = {
        {"VecS64CLoad4SIZ", 0x80000000, 0xFFFFFFFF80000000ull},  // ld1sw .d
        {"VecU64CLoad4SIZ", 0x80000000, 0x80000000},             // ld1w .d
        {"VecS16CLoad1SIZ", 0x80, 0xFF80},                       // ld1sb .h
        {"VecS32CLoad2SIZ", 0x7FFF, 0x7FFF},                     // ld1sh .s
        {"VecS64CLoad1LSSZ", 0xFF, ~0ull},                       // ld1sb .d
        {"VecU32CLoad1SIZ", 0xFF, 0xFF},                         // ld1b .s
    };
    for (auto& c : loads) {
        const sve_row_info* row = find_row(c.row);
        ASSERT_NE(row, nullptr);
        std::memset(mem.bytes, 0, test_memory::SIZE);
        std::memcpy(mem.middle(), &c.memory, 8);
        cpu_state s = {};
        std::memset(s.p[0], 1, SVE_VL_BYTES);
        s.x[0] = uint64_t(mem.middle());
        mem_fields f;
        f.rm = std::string(c.row).find("LSSZ") != std::string::npos ? 31 : 0;
        ASSERT_EQ(run_word(&s, mem_word(*row, f)), RC_DONE);
        uint64_t got = 0;
        int bytes = row->name[4] == '1' ? 2 : row->name[4] == '3' ? 4 : 8;
        std::memcpy(&got, s.z[0], bytes);
        EXPECT_EQ(got, c.lane0) << c.row;
    }
    // st1h .s writes the low halves of the lanes, 20 of them, and nothing beyond.
    const sve_row_info* st = find_row("VecU32CStore2SIZ");
    std::memset(mem.bytes, 0xEE, test_memory::SIZE);
    cpu_state s = {};
    std::memset(s.p[0], 1, SVE_VL_BYTES);
    for (int i = 0; i < 20; i++) {
        uint32_t v = 0xABCD0000u | uint32_t(i);
        std::memcpy(s.z[1] + 4 * i, &v, 4);
    }
    s.x[2] = uint64_t(mem.middle());
    mem_fields f;
    f.zt = 1;
    f.rn = 2;
    ASSERT_EQ(run_word(&s, mem_word(*st, f)), RC_DONE);
    for (int i = 0; i < 20; i++) EXPECT_EQ(read_le(mem.middle() + 2 * i, 2), uint64_t(i)) << i;
    EXPECT_EQ(mem.middle()[40], 0xEE);
    EXPECT_EQ(mem.middle()[-1], 0xEE);
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
        ASSERT_EQ(run_word(&s, mem_word(*find_row(name), f), 0x400800), RC_DONE);
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
    ASSERT_EQ(run_word(&s, mem_word(*find_row("VecU32CStore4SIZ"), f)), RC_DONE);
    auto got = captured_records();
    ASSERT_EQ(got.size(), 2u);
    EXPECT_EQ(got[0].address, uint64_t(mem.middle()));
    EXPECT_EQ(got[0].size, 8u);
    EXPECT_EQ(got[1].address, uint64_t(mem.middle()) + 12);
    EXPECT_EQ(got[1].size, 4u);
    EXPECT_EQ(got[1].type, memaccess_write);
}

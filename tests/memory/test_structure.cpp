// Structure loads and stores: interleaving, the register list wrapping after z31, the address of
// both forms, and the bundle records (one per active lane, at its last member).
#include <gtest/gtest.h>

#include "tests/memory/vector_rows.h"

namespace {

struct structure_shape {
    const sve_row_info* row;
    uint32_t n, bytes;
    bool load, imm_form;
};

std::vector<structure_shape> structure_rows() {
    std::vector<structure_shape> out;
    for (const sve_row_info* r : rows_where([](const sve_row_info& r) { return r.regs > 1; }))
        out.push_back({r, uint32_t(r->regs), uint32_t(r->mem_bytes), r->access == SVE_ACCESS_LOAD,
                       r->address == SVE_ADDRESS_SI});
    return out;
}

}  // namespace

// Every row against a model of the interleaving, with random registers, predicates and bases.
TEST(Structure, EveryRowMovesItsInterleavedElementsAndReportsEachLaneOnce) {
    auto rows = structure_rows();
    ASSERT_EQ(rows.size(), 48u);
    static test_memory mem, want;
    test_rng r(0x57c7);
    for (const structure_shape& sh : rows) {
        for (int k = 0; k < 25; k++) {
            for (auto& b : mem.bytes) b = uint8_t(r.next());
            cpu_state s;
            random_state(s, r);
            mem_fields f;
            f.zt = k % 4 == 0 ? 29 + r.below(3) : r.below(32);  // often a list that wraps
            f.pg = r.below(8);
            f.rn = r.below(31);
            do f.rm = r.below(32); while (f.rm == f.rn);
            uint64_t xn = uint64_t(mem.bytes) + test_memory::SIZE / 2 + r.below(64);
            s.x[f.rn] = xn;
            int64_t offset;  // bytes
            if (sh.imm_form) {
                int imm = int(r.below(16)) - 8;
                f.rm = uint32_t(imm) & 15;
                offset = int64_t(imm) * sh.n * 80;  // N vectors per step, whatever the element
            } else {
                uint64_t xm = f.rm == 31 ? 0 : r.below(200);
                if (f.rm != 31) s.x[f.rm] = xm;
                offset = int64_t(xm * sh.bytes);  // Xm is not multiplied by N
            }
            uint64_t base = xn + uint64_t(offset);
            const uint32_t lanes = 80 / sh.bytes;
            cpu_state expect = s;
            std::memcpy(want.bytes, mem.bytes, test_memory::SIZE);
            std::vector<uint64_t> rec;
            for (uint32_t i = 0; i < lanes; i++) {
                bool on = s.p[f.pg][i * sh.bytes] & 1;
                if (on) rec.push_back(base + (i * sh.n + sh.n - 1) * sh.bytes);
                for (uint32_t m = 0; m < sh.n; m++) {
                    uint8_t* a = reinterpret_cast<uint8_t*>(base + (i * sh.n + m) * sh.bytes);
                    uint8_t* zl = expect.z[(f.zt + m) % 32] + i * sh.bytes;
                    if (sh.load) put_le(zl, sh.bytes, on ? get_le(a, sh.bytes) : 0);
                    else if (on) put_le(want.bytes + (a - mem.bytes), sh.bytes, get_le(zl, sh.bytes));
                }
            }
            uint32_t w = mem_word(*sh.row, f);
            {
                traced t;
                ASSERT_EQ(run_word(&s, w), RC_DONE);
                auto got = captured_records();
                ASSERT_EQ(got.size(), rec.size()) << sh.row->name;
                for (size_t i = 0; i < rec.size(); i++) {
                    EXPECT_EQ(got[i].address, rec[i]) << sh.row->name << " record " << i;
                    EXPECT_EQ(got[i].size, sh.bytes);
                    EXPECT_EQ(got[i].flags, bundle_flags(i, rec.size()));
                    EXPECT_EQ(got[i].type, sh.load ? memaccess_read : memaccess_write);
                }
            }
            expect.pc = s.pc;
            ASSERT_EQ(state_diff(s, expect, false), "") << sh.row->name << " word " << std::hex << w;
            ASSERT_EQ(std::memcmp(mem.bytes, want.bytes, test_memory::SIZE), 0) << sh.row->name;
        }
    }
}

// Hand-worked bases and register lists: the byte at each address is its offset from the middle.
TEST(Structure, BasesAndRegisterLists) {
    static test_memory mem;
    uint8_t* mid = mem.bytes + test_memory::SIZE / 2;
    for (long i = 0; i < long(test_memory::SIZE); i++) mem.bytes[i] = uint8_t(i - test_memory::SIZE / 2);
    struct {
        const char* row;
        uint32_t zt;
        uint32_t imm_or_xm;  // field value; the scalar forms use x2 = this value
        int base_offset;     // where lane 0 of the first register comes from
        uint32_t second_reg;
    } cases[] = {
        {"VecU8E2Load1SIZ", 0, 1, 160, 1},            // ld2b, imm 1: Xn + 160
        {"VecU64E4Load8SIZ", 4, 15, -320, 5},         // ld4d, imm -1: Xn - 320
        {"VecU16E3Load2LSSZ", 7, 5, 10, 8},           // ld3h, Xm 5: Xn + 10, not + 30
        {"VecU32E4Load4SIZ", 30, 0, 0, 31},           // ld4w from z30: z30, z31, z0, z1
        {"VecU32E2Load4LSSZ", 31, 3, 12, 0},          // from z31 the list wraps to z0
    };
    for (auto& c : cases) {
        const sve_row_info* row = row_named(c.row);
        ASSERT_NE(row, nullptr) << c.row;
        cpu_state s = {};
        std::memset(s.p[1], 1, 80);
        s.x[1] = uint64_t(mid);
        bool scalar = row->address == SVE_ADDRESS_LSS;
        if (scalar) s.x[2] = c.imm_or_xm;
        ASSERT_EQ(run_word(&s, mem_word(*row, {c.zt, 1, 1, scalar ? 2u : c.imm_or_xm})), RC_DONE);
        EXPECT_EQ(s.z[c.zt][0], uint8_t(c.base_offset)) << c.row;
        // Lane 0 of the second register is the element right after the first.
        uint32_t esize = uint32_t(row->mem_bytes);
        EXPECT_EQ(s.z[c.second_reg][0], uint8_t(c.base_offset + int(esize))) << c.row;
    }
}

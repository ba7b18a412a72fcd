// Both tiers of every memory row that has them, from the same registers and memory: the
// specialised operation and the generic function behind the generic frame must leave the same
// registers and the same memory. (The tier test of the core skips memory rows.)
#include <gtest/gtest.h>

#include "tests/support/capture.h"
#include "tests/support/mem_rows.h"
#include "tests/support/rows.h"

namespace {

// Large enough for every immediate of these rows around its middle: ldr/str reach 256 vectors.
struct big_memory {
    static constexpr size_t SIZE = 64 << 10;
    alignas(64) uint8_t bytes[SIZE];
};

}  // namespace

TEST(MemoryTiers, SpecialisedAndGenericAgreeOnABuffer) {
    static big_memory work, initial, after_specialised;
    test_rng r(0x7135);
    int rows = 0;
    for (const sve_row_info& row : sve_rows) {
        // Gathers and scatters form addresses from vector lanes: their own tier test sets those up.
        if (!row.generic || !transfers_memory(row) || vector_addressed(row)) continue;
        rows++;
        for (int k = 0; k < 100; k++) {
            cpu_state s;
            random_state(s, r);
            for (auto& b : s.ffr) b &= 1;  // the generic frame normalises ffr
            for (auto& b : initial.bytes) b = uint8_t(r.next());
            uint32_t w, rn, rm;
            do {  // the base register must not double as the index
                w = sve_row_word(row, uint32_t(r.next()));
                rn = (w >> 5) & 31;
                rm = (w >> 16) & 31;
            } while (rn == rm);
            uint64_t base = uint64_t(work.bytes) + big_memory::SIZE / 2 + r.below(64);
            if (rn == 31) s.sp = base; else s.x[rn] = base;
            if (rm != 31) s.x[rm] = r.below(256);  // an index, where the form has one
            cpu_state g = s;

            std::memcpy(work.bytes, initial.bytes, big_memory::SIZE);
            ASSERT_EQ(row.handler(&s, w), RC_DONE) << row.name;
            std::memcpy(after_specialised.bytes, work.bytes, big_memory::SIZE);
            std::memcpy(work.bytes, initial.bytes, big_memory::SIZE);
            ASSERT_EQ(row.generic(&g, w), RC_DONE) << row.name;

            ASSERT_EQ(state_diff(s, g, false), "") << row.name << " word " << std::hex << w;
            ASSERT_EQ(std::memcmp(work.bytes, after_specialised.bytes, big_memory::SIZE), 0)
                << row.name << " memory, word " << std::hex << w;
        }
    }
    EXPECT_EQ(rows, 159);  // 68 contiguous, 16 replicate, 4 fill and spill, 48 structure, 16 non-fault, 7 first-fault
}

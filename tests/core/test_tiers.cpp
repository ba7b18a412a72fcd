// Tier agreement: every specialised row also runs through the generic function of its name,
// behind the generic frame, on the same random states; the results must match bit for bit.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "tests/support/rows.h"
#include "tests/support/state_util.h"

TEST(Tiers, SpecialisedAndGenericAgree) {
    int checked = 0;
    for (const sve_row_info& r : sve_rows) {
        // Memory rows need addresses inside a buffer; their own tests check both tiers.
        if (!r.generic || accesses_memory(r)) continue;
        test_rng rng(0x5EED0000 + uint64_t(&r - sve_rows));
        for (int k = 0; k < 200; k++) {
            cpu_state a;
            random_state(a, rng);
            for (auto& b : a.ffr) b &= 1;  // the generic frame normalises ffr
            cpu_state b = a;
            uint32_t w = sve_row_word(r, uint32_t(rng.next()));
            ASSERT_EQ(r.handler(&a, w), RC_DONE) << r.name;
            ASSERT_EQ(r.generic(&b, w), RC_DONE) << r.name;
            std::string d = state_diff(a, b, false);
            ASSERT_EQ(d, "") << r.name << " word " << std::hex << w;
        }
        checked++;
    }
    // Every specialised row has its generic counterpart: the 803 specialised rows but those that
    // touch memory.
    EXPECT_EQ(count_rows([](const sve_row_info& r) { return r.tier == 'S' || r.tier == 'F'; }), 803);
    EXPECT_EQ(checked, 803 - count_rows([](const sve_row_info& r) { return r.generic && accesses_memory(r); }));
    std::printf("tier agreement checked on %d rows\n", checked);
}

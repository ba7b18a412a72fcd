// Running one word through both tiers in tests.
#pragma once

#include <gtest/gtest.h>

#include "tests/support/rows.h"
#include "tests/support/state_util.h"

// Runs w on s through its row's handler; where the row also has a generic counterpart, runs that
// on a copy and requires the same state. Returns the row, or null (a failure) for native code.
inline const sve_row_info* run_both_tiers(cpu_state& s, uint32_t w) {
    const sve_row_info* r = row_of_word(w);
    if (!r) {
        ADD_FAILURE() << "no row for word " << std::hex << w;
        return nullptr;
    }
    cpu_state g = s;
    EXPECT_EQ(r->handler(&s, w), RC_DONE) << r->name;
    if (r->generic) {
        EXPECT_EQ(r->generic(&g, w), RC_DONE) << r->name;
        EXPECT_EQ(state_diff(s, g, false), "") << r->name << ": the tiers disagree";
    }
    return r;
}

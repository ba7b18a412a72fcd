// The state record, the handles and their register-31 rules.
#include <gtest/gtest.h>

#include <cstring>

#include "sve/core/cpu_state.h"

// Element counts of the lengths that machines have and of the default, as the architecture
// gives them (VL/8 bytes, VL/64 packed predicate bytes), worked out by hand; the build checks
// its own length's row, and any length the relations between the widths.
TEST(State, ElementCounts) {
    struct {
        int bits, bytes, halves, words, doubles, packed_predicate;
    } lengths[] = {
        {128, 16, 8, 4, 2, 2},     {256, 32, 16, 8, 4, 4},       {512, 64, 32, 16, 8, 8},
        {640, 80, 40, 20, 10, 10}, {2048, 256, 128, 64, 32, 32},
    };
    bool listed = false;
    for (auto& l : lengths) {
        if (l.bits != SVE_VL_BITS) continue;
        listed = true;
        const int want[] = {l.bytes, l.halves, l.words, l.doubles};
        for (int s = 0; s < 4; s++) EXPECT_EQ(elements_of(s), want[s]) << "size " << s;
        EXPECT_EQ(SVE_PL_BYTES, l.packed_predicate);
    }
    if (!listed) {
        EXPECT_EQ(elements_of(0), SVE_VL_BITS / 8);
        EXPECT_EQ(SVE_PL_BYTES * 8, elements_of(0));
    }
    for (int s = 1; s < 4; s++) EXPECT_EQ(elements_of(s) * 2, elements_of(s - 1)) << "size " << s;
    EXPECT_EQ(sizeof(cpu_state::z[0]), size_t(SVE_VL_BITS / 8));
}

TEST(State, RegisterThirtyOneRules) {
    cpu_state s;
    std::memset(&s, 0xAB, sizeof s);
    s.sp = 0x1000;
    aarch64_i_reg zr = {31, RQ_X, {RQ_NONE, RQ_NONE}};
    aarch64_i_rsp_reg rsp = {31, RQ_X};
    EXPECT_EQ(read_xzr(&s, zr), 0u);
    cpu_state before = s;
    write_xzr(&s, zr, 77);
    EXPECT_EQ(std::memcmp(&before, &s, sizeof s), 0) << "a write to xzr changed the record";
    EXPECT_EQ(read_xsp(&s, rsp), 0x1000u);
    write_xsp(&s, rsp, 0x1050);
    EXPECT_EQ(s.sp, 0x1050u);
    aarch64_i_reg x3 = {3, RQ_X, {RQ_NONE, RQ_NONE}};
    write_xzr(&s, x3, 5);
    EXPECT_EQ(read_xzr(&s, x3), 5u);
}

TEST(State, NameTables) {
    struct {
        const char* got;
        const char* want;
    } cases[] = {
        {aarch64_i_reg::wname[0], "w0"},     {aarch64_i_reg::wname[31], "wzr"},
        {aarch64_i_reg::xname[30], "x30"},   {aarch64_i_reg::xname[31], "xzr"},
        {aarch64_i_rsp_reg::wname[31], "illegal"}, {aarch64_i_rsp_reg::xname[31], "sp"},
        {aarch64_p_reg::pname[15], "p15"},   {aarch64_p_reg::pname_m[3], "p3/m"},
        {aarch64_p_reg::pname_z[9], "p9/z"}, {aarch64_p_reg::pname_d[0], "p0.d"},
        {aarch64_z_reg::zname[31], "z31"},   {aarch64_z_reg::zname_h[17], "z17.h"},
        {aarch64_z_reg::zname_s[2], "z2.s"}, {aarch64_z_reg::zname_b[10], "z10.b"},
    };
    for (auto& c : cases) EXPECT_STREQ(c.got, c.want);
}

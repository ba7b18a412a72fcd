// The state record, the handles and their register-31 rules.
#include <gtest/gtest.h>

#include <cstring>

#include "sve/core/cpu_state.h"

TEST(State, ElementCounts) {
    const int expect[] = {80, 40, 20, 10};
    for (int s = 0; s < 4; s++) EXPECT_EQ(elements_of(s), expect[s]);
    EXPECT_EQ(SVE_PL_BYTES, 10);
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

// The rows the complex, gather/scatter, structure and adr forms take, by name: each named
// row is taken by the form named beside it (its words compared with the handler by the test of
// every taken row), and the rows beside them that those forms must leave to the call are left.
#include <gtest/gtest.h>

#include <cstring>

#include "tests/support/rows.h"
#include "tests/support/state_util.h"
#include "tests/translate/harness.h"

namespace {

// The form that takes words of the row (among 64 random ones), or null for none.
const xl_form* form_of(const char* name, const xl_env& env, uint32_t* word) {
    const sve_row_info* row = row_named(name);
    if (!row) return nullptr;
    test_rng r(uint64_t(std::strlen(name)) * 977);
    for (int t = 0; t < 64; t++) {
        uint32_t w = sve_row_word(*row, uint32_t(r.next()));
        if (get_sve_handler(w) != row->handler) continue;
        xl_word x = xl_select(row, w, env);
        if (x.form) return *word = w, x.form;
    }
    return nullptr;
}

TEST(TranslateMore, RowsTakenByTheirForms) {
    struct {
        const char* row;
        const char* form;  // null: the row keeps the call
    } cases[] = {
        {"VecF32FCMLAVVVM", "fcmla"},
        {"VecD64FCMLAVVVM", "fcmla"},
        {"VecF16FCMLAVVVM", nullptr},  // half precision keeps the call
        {"VecF32FCMLAVVVIX", "fcmla (indexed)"},
        {"VecF16FCMLAVVVIX", nullptr},
        {"VecF32FCADDVVM", "fcadd"},
        {"VecD64FCADDVVM", "fcadd"},
        {"VecU32Load4XSVZ", "gather/scatter"},
        {"VecU32Store4XSVZ", "gather/scatter"},
        {"VecS64Load4XSVZ", nullptr},  // extending,
        {"VecU64Load8YSVZ", "gather/scatter"},
        {"VecU64Load8VIZ", nullptr},  // vector plus immediate,
        {"VecS32Load1VSZ", nullptr},  // extending,
        {"VecU32Load1VIZ", nullptr},      // 32-bit addresses
        {"VecU32LoadFF4XSVZ", nullptr},   // first-fault
        {"VecU32E2Load4SIZ", "ld2/ld3/ld4"},
        {"VecU32E3Load4SIZ", "ld2/ld3/ld4"},
        {"VecU8E4Load1LSSZ", "ld2/ld3/ld4"},
        {"VecU64E3Load8LSSZ", "ld2/ld3/ld4"},
        {"VecU16E2Store2SIZ", "st2/st3/st4"},
        {"VecU64E2Store8LSSZ", "st2/st3/st4"},
        {"VecU32LEA2VV", "adr"},
        {"VecU64LEA8VV", "adr"},
        {"VecU64LEA1XVV", nullptr},  // sign-extended offsets,
        {"VecU64LEA4YVV", nullptr},  // zero-extended offsets,
    };
    xl_env env = xl_test_env(SVE_VL_BYTES);
    for (const auto& c : cases) {
        ASSERT_NE(row_named(c.row), nullptr) << c.row;
        uint32_t w = 0;
        const xl_form* f = form_of(c.row, env, &w);
        if (!c.form) {
            EXPECT_EQ(f, nullptr) << c.row << " taken by " << (f ? xl_form_name(f) : "");
        } else {
            ASSERT_NE(f, nullptr) << c.row << " not taken";
            EXPECT_STREQ(xl_form_name(f), c.form) << c.row;
        }
    }
}

// A structure word names registers beyond its fields: the whole list is kept from the scratch
// registers, wrapping round after z31.
TEST(TranslateMore, StructureListsAreNotScratch) {
    const sve_row_info* row = row_named("VecU32E4Load4SIZ");
    ASSERT_NE(row, nullptr);
    xl_env env = xl_test_env(SVE_VL_BYTES);
    struct {
        uint32_t zt;
        uint32_t list;  // bits of the list's registers
    } cases[] = {{0, 0xFu}, {29, 0xE0000001u}, {31, 0x80000007u}};
    for (const auto& c : cases) {
        uint32_t w = (sve_row_word(*row, 0) & ~31u) | c.zt;
        xl_word x = xl_select(row, w, env);
        ASSERT_NE(x.form, nullptr);
        EXPECT_EQ(x.uses & c.list, c.list) << "zt " << c.zt;
        xl_regs r;
        ASSERT_TRUE(xl_pick_regs(x.uses, x.ng, x.nv, r));
        for (int i = 0; i < r.nv; i++) EXPECT_FALSE(c.list >> r.v[i] & 1) << "zt " << c.zt << " scratch v" << r.v[i];
    }
}

}  // namespace

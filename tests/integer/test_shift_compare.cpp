// Shifts and compares: assembled words against results worked out from the instruction
// definitions, with the count rules (no modulo, full-width counts, wide counts, reversed
// operands) and the compare flags.
#include <gtest/gtest.h>

#include "sve/integer/ops.h"
#include "tests/integer/int_test_util.h"

using namespace it;

namespace {

constexpr uint64_t M = ~0ull;

const word_case SHIFT_PRED[] = {
    {"asr z3.b, p1/m, z3.b, z4.b", 0x04108483, "VecS8ShrVVM", 1, false,
     {{0x80, 200, 0xFF}, {0x7F, 200, 0}, {0x80, 7, 0xFF}, {0x40, 1, 0x20}, {0xF0, 2, 0xFC}, {0x80, 8, 0xFF}}},
    {"lsr z3.h, p1/m, z3.h, z4.h", 0x04518483, "VecU16ShrVVM", 2, false,
     {{0xFFFF, 256, 0}, {0x8000, 15, 1}, {0x8000, 16, 0}, {0xFFFF, 0, 0xFFFF}}},
    {"lsl z3.s, p1/m, z3.s, z4.s", 0x04938483, "VecU32ShlVVM", 4, false,
     {{1, 31, 0x80000000}, {1, 32, 0}, {3, 31, 0x80000000}, {0xFFFFFFFF, 0xFFFFFFFF, 0}}},
    // reversed: the count is the old Zdn (a), the value Zm (b)
    {"asrr z3.b, p1/m, z3.b, z4.b", 0x04148483, "VecS8ShrRVVM", 1, false, {{1, 0x80, 0xC0}, {200, 0x80, 0xFF}, {7, 0x7F, 0}}},
    {"lslr z3.d, p1/m, z3.d, z4.d", 0x04d78483, "VecU64ShlRVVM", 8, false, {{63, 1, 1ull << 63}, {64, 1, 0}, {M, 1, 0}}},
    // immediate counts
    {"asr z3.b, p1/m, z3.b, #8", 0x04008503, "VecS8ShrVIM", 1, false, {{0x80, 0, 0xFF}, {0x7F, 0, 0}, {0xFF, 0, 0xFF}}},
    {"lsr z3.d, p1/m, z3.d, #64", 0x04818403, "VecU64ShrVIM", 8, false, {{M, 0, 0}}},
    {"lsl z3.h, p1/m, z3.h, #15", 0x040387e3, "VecU16ShlVIM", 2, false, {{1, 0, 0x8000}, {3, 0, 0x8000}, {2, 0, 0}}},
    {"asrd z3.b, p1/m, z3.b, #1", 0x040485e3, "VecS8ShrDVIM", 1, false, {{0xFF, 0, 0}, {0xFD, 0, 0xFF}, {5, 0, 2}, {0x80, 0, 0xC0}}},
    {"asrd z3.b, p1/m, z3.b, #7", 0x04048523, "VecS8ShrDVIM", 1, false, {{0x80, 0, 0xFF}, {0x7F, 0, 0}, {0x81, 0, 0}}},
    {"asrd z3.b, p1/m, z3.b, #8", 0x04048503, "VecS8ShrDVIM", 1, false, {{0x80, 0, 0}, {0xFF, 0, 0}, {0x7F, 0, 0}}},
    // wide: one 64-bit count per doubleword, read unsigned
    {"asr z3.b, p1/m, z3.b, z4.d", 0x04188483, "VecS8ShrVWM", 1, true, {{0x80, M, 0xFF}, {0x7F, 1, 0x3F}, {0x80, 0x100, 0xFF}}},
    {"lsr z3.h, p1/m, z3.h, z4.d", 0x04598483, "VecU16ShrVWM", 2, true, {{0xFFFF, (1ull << 40) | 4, 0}, {0xFFFF, 4, 0x0FFF}}},
    {"lsl z3.s, p1/m, z3.s, z4.d", 0x049b8483, "VecU32ShlVWM", 4, true, {{1, 31, 0x80000000}, {1, 32, 0}}},
};

const word_case SHIFT_UNPRED[] = {
    {"asr z3.d, z4.d, #64", 0x04a09083, "VecS64ShrVIX", 8, false, {{1ull << 63, 0, M}, {M >> 1, 0, 0}}},
    {"lsr z3.b, z4.b, #8", 0x04289483, "VecU8ShrVIX", 1, false, {{0xFF, 0, 0}}},
    {"asr z3.b, z4.b, z5.d", 0x04258083, "VecS8ShrVWX", 1, true, {{0x80, 1, 0xC0}, {0x80, M, 0xFF}}},
    {"lsr z3.h, z4.h, z5.d", 0x04658483, "VecU16ShrVWX", 2, true, {{0x8000, 15, 1}, {0x8000, 1ull << 63, 0}}},
    {"lsl z3.s, z4.s, z5.d", 0x04a58c83, "VecU32ShlVWX", 4, true, {{0xFFFFFFFF, 4, 0xFFFFFFF0}, {1, 0x100000000, 0}}},
};

TEST(IntShift, Predicated) { run_table(SHIFT_PRED, 500, check_pred); }
TEST(IntShift, Unpredicated) { run_table(SHIFT_UNPRED, 600, check_unpred); }

// Compares: Pd p3, Pg p1, Zn z4 (a), Zm z5 (b) or the immediate of the word; r is the outcome.
const word_case COMPARES[] = {
    {"cmpeq p3.b, p1/z, z4.b, z5.b", 0x2405a483, "VecS8CmpFlgEQVVZ", 1, false, {{1, 1, 1}, {1, 2, 0}, {0xFF, 0xFF, 1}}},
    {"cmpgt p3.b, p1/z, z4.b, z5.b", 0x24058493, "VecS8CmpFlgGTVVZ", 1, false, {{0xFF, 1, 0}, {1, 0xFF, 1}, {2, 2, 0}}},
    {"cmphi p3.b, p1/z, z4.b, z5.b", 0x24050493, "VecU8CmpFlgGTVVZ", 1, false, {{0xFF, 1, 1}, {1, 0xFF, 0}, {2, 2, 0}}},
    {"cmpge p3.d, p1/z, z4.d, z5.d", 0x24c58483, "VecS64CmpFlgGEVVZ", 8, false, {{M, 0, 0}, {0, M, 1}, {5, 5, 1}}},
    {"cmpeq p3.b, p1/z, z4.b, #-1", 0x251f8483, "VecS8CmpFlgEQVIZ", 1, false, {{0xFF, 0, 1}, {0x7F, 0, 0}}},
    {"cmpgt p3.h, p1/z, z4.h, #-16", 0x25500493, "VecS16CmpFlgGTVIZ", 2, false, {{0xFFF0, 0, 0}, {0xFFF1, 0, 1}, {0x8000, 0, 0}, {5, 0, 1}}},
    {"cmplt p3.b, p1/z, z4.b, #0", 0x25002483, "VecS8CmpFlgLTVIZ", 1, false, {{0x80, 0, 1}, {0, 0, 0}, {1, 0, 0}}},
    {"cmple p3.d, p1/z, z4.d, #-16", 0x25d02493, "VecS64CmpFlgLEVIZ", 8, false, {{M - 15, 0, 1}, {M - 14, 0, 0}, {1ull << 63, 0, 1}}},
    {"cmphi p3.d, p1/z, z4.d, #127", 0x24ffc493, "VecU64CmpFlgGTVIZ", 8, false, {{128, 0, 1}, {127, 0, 0}, {M, 0, 1}}},
    {"cmplo p3.h, p1/z, z4.h, #1", 0x24606483, "VecU16CmpFlgLTVIZ", 2, false, {{0, 0, 1}, {1, 0, 0}, {0xFFFF, 0, 0}}},
    {"cmpeq p3.b, p1/z, z4.b, z5.d", 0x24052483, "VecS8CmpFlgEQVWZ", 1, true, {{0, 0x100, 0}, {0xFF, M, 1}, {5, 5, 1}}},
    {"cmpgt p3.s, p1/z, z4.s, z5.d", 0x24854493, "VecS32CmpFlgGTVWZ", 4, true,
     {{0x80000000, 1ull << 63, 1}, {0, 0xFFFFFFFF, 0}, {0xFFFFFFFF, M, 0}}},
    {"cmpge p3.b, p1/z, z4.b, z5.d", 0x24054483, "VecS8CmpFlgGEVWZ", 1, true, {{0x80, 1ull << 63, 1}, {0, 0, 1}, {0, 1, 0}}},
    {"cmplt p3.h, p1/z, z4.h, z5.d", 0x24456483, "VecS16CmpFlgLTVWZ", 2, true, {{0xFFFF, 0, 1}, {1, 1, 0}}},
    {"cmphi p3.b, p1/z, z4.b, z5.d", 0x2405c493, "VecU8CmpFlgGTVWZ", 1, true, {{0xFF, 0xFE, 1}, {0xFF, 0x100, 0}}},
    {"cmplo p3.h, p1/z, z4.h, z5.d", 0x2445e483, "VecU16CmpFlgLTVWZ", 2, true, {{0xFFFF, 1ull << 63, 1}, {5, 5, 0}}},
    {"cmpls p3.s, p1/z, z4.s, z5.d", 0x2485e493, "VecU32CmpFlgLEVWZ", 4, true, {{0xFFFFFFFF, 0xFFFFFFFF, 1}, {1, 0, 0}}},
};

// Flags of a result against its governing predicate, straight from the definition.
uint32_t pred_test(const std::vector<bool>& active, const std::vector<bool>& result) {
    int first = -1, last = -1;
    bool any = false;
    for (size_t e = 0; e < active.size(); e++)
        if (active[e]) {
            if (first < 0) first = int(e);
            last = int(e);
            any = any || result[e];
        }
    uint32_t n = first >= 0 && result[first], z = !any, c = !(last >= 0 && result[last]);
    return (n << 3) | (z << 2) | (c << 1);
}

template <class ACTIVE>
void check_compare(const word_case& c, uint64_t seed, ACTIVE&& on) {
    cpu_state s = fresh(seed);
    int n = 80 / c.bytes;
    for (int e = 0; e < n; e++) zset_n(s, 4, e, c.bytes, case_of(c, e).a);
    fill_b(s, 5, c);
    pset(s, 1, c.bytes, on);
    std::memset(s.p[3], 1, 80);  // every old byte of Pd must go
    s.nzcv = 0xF0000000ull;  // V must be cleared
    EXPECT_EQ(run(s, c.word), c.handler) << c.text;
    std::vector<bool> act(n), res(n);
    for (int e = 0; e < n; e++) {
        act[e] = on(e);
        res[e] = act[e] && case_of(c, e).r;
        EXPECT_EQ(s.p[3][e * c.bytes], res[e] ? 1 : 0) << c.text << " lane " << e;
        for (int k = 1; k < c.bytes; k++) EXPECT_EQ(s.p[3][e * c.bytes + k], 0) << c.text << " lane " << e;
    }
    EXPECT_EQ(s.nzcv, uint64_t(pred_test(act, res)) << 28) << c.text;
}

TEST(IntCompare, EveryFormAndFlags) {
    uint64_t seed = 700;
    for (const word_case& c : COMPARES) {
        check_compare(c, seed++, lane_on);
        check_compare(c, seed++, [](int e) { return e == 2; });                // one active lane
        check_compare(c, seed++, [n = 80 / c.bytes](int e) { return e >= n - 2; });  // the last two
        check_compare(c, seed++, [](int) { return false; });                   // none: N=0 Z=1 C=1
    }
}

// Pd = Pg: cmpeq p1.b, p1/z, z4.b, z5.b. The flags test the old Pg, Pd replaces it.
TEST(IntCompare, DestinationIsGoverningPredicate) {
    cpu_state s = fresh(800);
    for (int e = 0; e < 80; e++) {
        s.z[4][e] = uint8_t(e);
        s.z[5][e] = e == 10 ? 10 : 0xEE;
        s.p[1][e] = e >= 10 && e < 20;
    }
    run(s, 0x2405a481);
    for (int e = 0; e < 80; e++) EXPECT_EQ(s.p[1][e], e == 10 ? 1 : 0) << e;
    // first active (10) true, last active (19) false: N=1 Z=0 C=1
    EXPECT_EQ(uint32_t(s.nzcv >> 28) & 15, 0xAu);
}

}  // namespace

namespace {

// Called directly with an immediate beyond the element's range, a compare still compares the
// widened element: bytes against 300 or -300, unsigned bytes against 2^64 - 1.
TEST(IntCompare, ImmediateBeyondTheElement) {
    using cmp_fn = aarch64_decode_rc (*)(cpu_state*, aarch64_p_reg, aarch64_p_reg, aarch64_z_reg, int64_t);
    struct {
        const char* what;
        cmp_fn fn;
        int64_t imm;
        bool all;  // outcome for every active element
    } cases[] = {
        {"cmpeq #300", sve_cmpeq_ppzi, 300, false},  {"cmpne #300", sve_cmpne_ppzi, 300, true},
        {"cmplt #300", sve_cmplt_ppzi, 300, true},   {"cmpgt #300", sve_cmpgt_ppzi, 300, false},
        {"cmpge #-300", sve_cmpge_ppzi, -300, true}, {"cmple #-300", sve_cmple_ppzi, -300, false},
        {"cmphi #-1", sve_cmphi_ppzi, -1, false},    {"cmplo #-1", sve_cmplo_ppzi, -1, true},
    };
    for (auto& c : cases) {
        cpu_state s = fresh(990);
        for (int e = 0; e < 80; e++) s.p[1][e] = e % 4 != 0;
        ASSERT_EQ(c.fn(&s, {3, ES_BYTE, {PQ_NONE, PQ_NONE}}, {1, PQ_Z, {PQ_NONE, PQ_NONE}}, {4, ES_BYTE, {ZQ_NONE, ZQ_NONE}}, c.imm),
                  RC_DONE);
        for (int e = 0; e < 80; e++) EXPECT_EQ(s.p[3][e], (e % 4 != 0 && c.all) ? 1 : 0) << c.what << " " << e;
    }
}

}  // namespace

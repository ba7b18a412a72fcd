// Every row that the translator takes, run both ways on random states and random operand fields:
// the row's handler on one copy of the state, the translated code on the other (through the
// harness, on this processor), and the two records, registers, flags, FPSR and memory compared
// bit for bit. Memory forms leave through their way out to the call, untouched, exactly when an
// element is inactive or the trace records.
#include <gtest/gtest.h>

#include <string>

#include "tests/support/rows.h"
#include "tests/support/state_util.h"
#include "tests/translate/harness.h"
#include "tests/translate/memory_operands.h"

namespace {

constexpr int CODE_WORDS = 1 << 16;
alignas(16) uint8_t data[8192];
alignas(16) uint8_t stack_area[8192];

uint32_t field(uint32_t w, int lo, int bits) { return (w >> lo) & ((1u << bits) - 1); }
uint32_t with_field(uint32_t w, int lo, int bits, uint32_t v) {
    uint32_t m = ((1u << bits) - 1) << lo;
    return (w & ~m) | ((v << lo) & m);
}

// The first difference between two records, ignoring pc and insn (the call's bookkeeping), or "".
std::string difference(const cpu_state& a, const cpu_state& b) {
    char buf[96];
    for (int i = 0; i < 31; i++)
        if (a.x[i] != b.x[i]) return snprintf(buf, sizeof buf, "x%d %#llx vs %#llx", i, (unsigned long long)a.x[i], (unsigned long long)b.x[i]), buf;
    if (a.sp != b.sp) return "sp";
    if (a.nzcv != b.nzcv) return snprintf(buf, sizeof buf, "nzcv %#llx vs %#llx", (unsigned long long)a.nzcv, (unsigned long long)b.nzcv), buf;
    if (a.fpsr != b.fpsr) return snprintf(buf, sizeof buf, "fpsr %#x vs %#x", a.fpsr, b.fpsr), buf;
    for (int z = 0; z < 32; z++)
        for (int i = 0; i < SVE_VL_BYTES; i++)
            if (a.z[z][i] != b.z[z][i]) return snprintf(buf, sizeof buf, "z%d byte %d: %#x vs %#x", z, i, a.z[z][i], b.z[z][i]), buf;
    for (int p = 0; p < 16; p++)
        for (int i = 0; i < SVE_VL_BYTES; i++)
            if (a.p[p][i] != b.p[p][i]) return snprintf(buf, sizeof buf, "p%d byte %d: %#x vs %#x", p, i, a.p[p][i], b.p[p][i]), buf;
    if (std::memcmp(a.ffr, b.ffr, sizeof a.ffr)) return "ffr";
    return "";
}

// The processor's FPCR: the application's, which translated code and the handlers both follow.
uint64_t read_fpcr() {
    uint64_t v;
    asm volatile("mrs %0, fpcr" : "=r"(v));
    return v;
}
void write_fpcr(uint64_t v) { asm volatile("msr fpcr, %0" ::"r"(v)); }

// Modes where results differ: flush to zero, default NaN, the four rounding modes.
uint32_t random_fpcr(test_rng& r) {
    if (r.below(2)) return 0;
    return (r.below(2) << 24) | (r.below(2) << 25) | (r.below(4) << 22);
}

bool all_active(const cpu_state& s, uint32_t p, int esz) {
    for (int i = 0; i < SVE_VL_BYTES; i += 1 << esz)
        if (!(s.p[p][i] & 1)) return false;
    return true;
}

// A random state for a word of `row`, and the word adjusted: memory forms address the data
// buffer through a base register (never sp), with a small index; their governing predicate is
// all true in most cases. Predicate bytes carry noise above bit 0 in half the cases.
void prepare(const sve_row_info& row, cpu_state& s, uint32_t& w, test_rng& r) {
    random_state(s, r);
    s.sp = uint64_t(uintptr_t(stack_area + 4096));
    if (r.below(2))
        for (auto& p : s.p)
            for (uint8_t& b : p) b |= uint8_t(r.below(256) & 0xFE);
    if (row.access == SVE_ACCESS_NONE) {
        // (forms that take only an all-true governing predicate need it often enough)
        if (r.below(3) == 0) std::memset(s.p[field(w, 10, 3)], 1, SVE_VL_BYTES);
        return;
    }
    uint32_t rn = field(w, 5, 5);
    if (rn == 31) rn = r.below(31), w = with_field(w, 5, 5, rn);
    s.x[rn] = uint64_t(uintptr_t(data + 4096 + r.below(64)));
    if (row.address == SVE_ADDRESS_LSS) {
        uint32_t rm = field(w, 16, 5);
        while (rm == rn || rm == 31) rm = r.below(31);
        w = with_field(w, 16, 5, rm);
        s.x[rm] = r.below(40);
    }
    if (r.below(4) != 0) std::memset(s.p[field(w, 10, 3)], 1, SVE_VL_BYTES);
    prepare_vector_memory(row, s, w, r, data + 4096, 3800);
}

struct outcome {
    int claimed = 0, compared = 0, slow = 0;
};

// One word both ways; false after a reported difference.
bool check_word(const sve_row_info& row, uint32_t w, test_rng& r, uint32_t* code, const xl_env& env, outcome& out) {
    xl_word xw = xl_select(&row, w, env);
    if (!xw.form) return true;
    out.claimed++;
    cpu_state init;
    prepare(row, init, w, r);
    xw = xl_select(&row, w, env);
    if (!xw.form) return true;
    for (uint8_t& b : data) b = uint8_t(r.next());
    static uint8_t before[sizeof data], after_handler[sizeof data];
    std::memcpy(before, data, sizeof data);

    init.fpcr = random_fpcr(r);
    uint64_t fpcr_before = read_fpcr();
    write_fpcr(init.fpcr);
    cpu_state want = init;
    row.handler(&want, w);
    std::memcpy(after_handler, data, sizeof data);
    std::memcpy(data, before, sizeof data);

    xl_test_trace_flag = xw.memory && r.below(8) == 0;
    xl_test_fn fn = xl_test_build(code, CODE_WORDS, &xw, 1, env);
    EXPECT_NE(fn, nullptr) << row.name << " " << std::hex << w;
    if (!fn) return false;
    cpu_state got = init;
    bool slow = xl_test_run(fn, got);
    write_fpcr(fpcr_before);
    bool expect_slow = xw.memory && ((xw.traced && xl_test_trace_flag) ||
                                     (!xw.any_predicate && !all_active(init, field(w, 10, 3), row.esz)));
    xl_test_trace_flag = false;
    EXPECT_EQ(slow, expect_slow) << row.name << " word " << std::hex << w;
    if (slow != expect_slow) return false;
    if (slow) {
        out.slow++;
        std::string d = difference(got, init);
        EXPECT_EQ(d, "") << row.name << " word " << std::hex << w << ": the way out changed the state";
        EXPECT_EQ(std::memcmp(data, before, sizeof data), 0) << row.name << ": the way out wrote memory";
        return d.empty();
    }
    out.compared++;
    std::string d = difference(got, want);
    EXPECT_EQ(d, "") << row.name << " (" << xl_form_name(xw.form) << ") word " << std::hex << w;
    EXPECT_EQ(std::memcmp(data, after_handler, sizeof data), 0) << row.name << " word " << std::hex << w << ": memory";
    return d.empty() && std::memcmp(data, after_handler, sizeof data) == 0;
}

TEST(Translate, EveryClaimedRowAgreesWithItsHandler) {
    uint32_t* code = xl_test_code(CODE_WORDS);
    ASSERT_NE(code, nullptr);
    xl_env env = xl_test_env(SVE_VL_BYTES);
    test_rng r(0x5eed);
    int rows_claimed = 0, compared = 0, slow = 0;
    for (const sve_row_info& row : sve_rows) {
        outcome out;
        int failures = 0;
        for (int t = 0; t < 200 && failures < 3; t++) {
            uint32_t w = sve_row_word(row, uint32_t(r.next()));
            if (get_sve_handler(w) != row.handler) continue;
            if (!check_word(row, w, r, code, env, out)) failures++;
        }
        if (out.claimed == 0) continue;
        rows_claimed++, compared += out.compared, slow += out.slow;
        EXPECT_GT(out.compared, 0) << row.name << ": claimed but never compared";
        if (xl_select(&row, sve_row_word(row, 0), xl_test_env(SVE_VL_BYTES)).memory) {
            EXPECT_GT(out.slow, 0) << row.name << ": its way out never taken";
        }
    }
    std::printf("%d rows taken, %d words compared, %d ways out\n", rows_claimed, compared, slow);
    // the translator takes a substantial set of rows
    EXPECT_GT(rows_claimed, 100);
}

// Runs of several words share one set-up: random sequences of taken words, each handler after
// the other against the run.
TEST(Translate, RunsOfWordsAgreeWithTheHandlersInOrder) {
    uint32_t* code = xl_test_code(CODE_WORDS);
    ASSERT_NE(code, nullptr);
    xl_env env = xl_test_env(SVE_VL_BYTES);
    test_rng r(77);
    // the words the translator takes, non-memory ones (memory ones need their data set up)
    static uint32_t pool[4096];
    static const sve_row_info* pool_rows[4096];
    int n = 0;
    for (const sve_row_info& row : sve_rows) {
        if (row.access != SVE_ACCESS_NONE) continue;
        for (int t = 0; t < 8 && n < 4096; t++) {
            uint32_t w = sve_row_word(row, uint32_t(r.next()));
            if (get_sve_handler(w) != row.handler || !xl_select(&row, w, env).form) continue;
            pool[n] = w, pool_rows[n] = &row, n++;
        }
    }
    ASSERT_GT(n, 100);
    for (int run = 0; run < 400; run++) {
        int len = 2 + int(r.below(5));
        xl_word words[8];
        cpu_state init, want;
        random_state(init, r);
        init.sp = uint64_t(uintptr_t(stack_area + 4096));
        want = init;
        std::string names;
        for (int i = 0; i < len; i++) {
            int k = int(r.below(uint32_t(n)));
            words[i] = xl_select(pool_rows[k], pool[k], env);
            pool_rows[k]->handler(&want, pool[k]);
            names += std::string(pool_rows[k]->name) + " ";
        }
        xl_test_fn fn = xl_test_build(code, CODE_WORDS, words, len, env);
        if (!fn) continue;  // too many registers named for one set-up
        cpu_state got = init;
        EXPECT_FALSE(xl_test_run(fn, got));
        std::string d = difference(got, want);
        EXPECT_EQ(d, "") << names;
        if (!d.empty()) break;
    }
}

}  // namespace

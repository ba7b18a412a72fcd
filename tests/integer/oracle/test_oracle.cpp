// Differential check against a processor with SVE at 80 bytes (qemu's, as a black box): every
// integer row runs on random states and operand fields both natively and through its handler,
// and the registers must agree. Words the processor rejects (reserved encodings) are skipped.
#include <gtest/gtest.h>

#include <setjmp.h>
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <regex>
#include <string>

#include "sve/core/sve_emulator.h"
#include "tests/support/state_util.h"

struct native_state {
    uint8_t z[32][80];
    uint8_t p[16][10];
    uint64_t x[31];
    uint64_t sp;
    uint64_t nzcv;
};
static_assert(offsetof(native_state, p) == 2560 && offsetof(native_state, x) == 2720);
static_assert(offsetof(native_state, sp) == 2968 && offsetof(native_state, nzcv) == 2976);

extern "C" void native_run(native_state* ns);
extern "C" uint32_t native_slot[];

namespace {

sigjmp_buf ill_jump;
void on_sigill(int) { siglongjmp(ill_jump, 1); }

// Puts the word into the slot of native_run; the page is made writable once.
void set_slot(uint32_t word) {
    static bool writable = false;
    if (!writable) {
        long pg = sysconf(_SC_PAGESIZE);
        uintptr_t start = uintptr_t(native_slot) & ~uintptr_t(pg - 1);
        ASSERT_EQ(mprotect(reinterpret_cast<void*>(start), 2 * pg, PROT_READ | PROT_WRITE | PROT_EXEC), 0);
        writable = true;
    }
    native_slot[0] = word;
    __builtin___clear_cache(reinterpret_cast<char*>(native_slot), reinterpret_cast<char*>(native_slot + 1));
}

// Runs word natively on s; false when the processor rejects it.
bool run_native(cpu_state& s, uint32_t word) {
    native_state ns;
    std::memcpy(ns.z, s.z, sizeof ns.z);
    for (int r = 0; r < 16; r++)
        for (int i = 0; i < 10; i++) {
            uint8_t b = 0;
            for (int k = 0; k < 8; k++) b |= uint8_t((s.p[r][8 * i + k] & 1) << k);
            ns.p[r][i] = b;
        }
    std::memcpy(ns.x, s.x, sizeof ns.x);
    ns.nzcv = s.nzcv & 0xF0000000u;
    static bool handler_set = false;
    if (!handler_set) {
        struct sigaction sa = {};
        sa.sa_handler = on_sigill;
        sigaction(SIGILL, &sa, nullptr);
        handler_set = true;
    }
    set_slot(word);
    if (sigsetjmp(ill_jump, 1)) return false;
    native_run(&ns);
    std::memcpy(s.z, ns.z, sizeof ns.z);
    for (int r = 0; r < 16; r++)
        for (int i = 0; i < 80; i++) s.p[r][i] = (ns.p[r][i / 8] >> (i % 8)) & 1;
    std::memcpy(s.x, ns.x, sizeof ns.x);
    s.nzcv = ns.nzcv;
    s.sp = ns.sp;
    return true;
}

// The integer rows: arithmetic, logic, moves, shifts and compares.
const std::regex INT_ROWS(
    "Vec([SU](8|16|32|64))(AddVVX|SubVVX|AndVVX|OrVVX|XorVVX|BicVVX|QAddVVX|QSubVVX|AddVIX|SubVIX|SubRVIX|"
    "QAddVIX|QSubVIX|MaxVIX|MinVIX|MulVIX|AndVIX|OrVIX|XorVIX|DotVVVX|DotVVVIX|AddVVM|SubVVM|SubRVVM|MulVVM|"
    "MulHVVM|DivVVM|DivRVVM|MaxVVM|MinVVM|AbdVVM|AndVVM|OrVVM|XorVVM|BicVVM|AbsVM|NegVM|ClsVM|ClzVM|CntVM|NotVM|"
    "InvVM|RBitVM|Rev1V|Rev2V|Rev4V|Extnd[0-9]+VM|MLAVVVM|MLSVVVM|MADDVVVM|MSUBVVVM|DupI|DupS|DupMaskI|DupIZ|"
    "DupIM|DupSM|IndexII|IndexSI|IndexIS|IndexSS|MovePrefix1VZ|MovePrefix1VM|SpecialMoveV|ShlVVM|ShrVVM|"
    "ShlRVVM|ShrRVVM|ShlVIM|ShrVIM|ShrDVIM|ShlVIX|ShrVIX|ShlVWM|ShrVWM|ShlVWX|ShrVWX|"
    "CmpFlg(EQ|NE|GE|GT|LT|LE)(VVZ|VIZ|VWZ))|Vec(B8|H16|F32|D64)DupSM|VecPTestPZ");

}  // namespace

// The harness itself: the word really runs, and a different word is noticed.
TEST(IntegerOracle, HarnessSeesTheProcessor) {
    cpu_state s;
    test_rng rng(5);
    random_state(s, rng);
    for (int i = 0; i < 80; i++) {
        s.z[4][i] = uint8_t(i);
        s.z[5][i] = 100;
    }
    cpu_state sub = s;
    ASSERT_TRUE(run_native(s, 0x04250083));  // add z3.b, z4.b, z5.b
    for (int i = 0; i < 80; i++) EXPECT_EQ(s.z[3][i], uint8_t(i + 100)) << i;
    ASSERT_EQ(get_sve_handler(0x04250483)(&sub, 0x04250483), RC_DONE);  // sub z3.b, z4.b, z5.b
    sub.sp = s.sp;
    sub.insn = 0;
    sub.nzcv &= 0xF0000000u;
    EXPECT_NE(state_diff(s, sub, false), "");
    EXPECT_FALSE(run_native(s, 0x00000000));  // udf #0 is rejected, not fatal
}

TEST(IntegerOracle, EveryIntegerRowAgreesWithSve) {
    int rows = 0, words = 0, rejected = 0, failed_rows = 0;
    for (const sve_row_info& r : sve_rows) {
        if (!std::regex_match(r.name, INT_ROWS)) continue;
        rows++;
        test_rng rng(0x0AC1E000 + uint64_t(&r - sve_rows));
        int bad = 0;
        for (int k = 0; k < 30 && bad < 3; k++) {
            cpu_state want;
            random_state(want, rng);
            uint32_t w = sve_row_word(r, uint32_t(rng.next()));
            cpu_state got = want;
            if (!run_native(want, w)) {
                rejected++;
                continue;
            }
            words++;
            got.sp = want.sp;
            ASSERT_EQ(r.handler(&got, w), RC_DONE) << r.name;
            got.insn = 0;
            want.insn = 0;
            want.fpsr = got.fpsr;
            want.fpcr = got.fpcr;
            std::memcpy(want.ffr, got.ffr, sizeof want.ffr);
            got.nzcv &= 0xF0000000u;
            std::string d = state_diff(want, got, false);
            if (!d.empty()) {
                ADD_FAILURE() << r.name << " word " << std::hex << w << ": " << d << " (sve vs emulator)";
                bad++;
            }
        }
        if (bad) failed_rows++;
    }
    std::printf("oracle: %d rows, %d words compared, %d rejected by the processor, %d rows differ\n", rows, words,
                rejected, failed_rows);
    EXPECT_GT(words, 10 * rows);
}

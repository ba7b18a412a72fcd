// Differential test against a real SVE processor. This binary runs under qemu with SVE at 80
// bytes: each row of the predicate, loop-control, permute and reduction families runs on random
// words and random states once on the processor (through oracle_stub.S) and once through the
// emulator's handler, and every general, Z and P register, FFR and the flags must agree.
#include <gtest/gtest.h>

#include <csetjmp>
#include <csignal>
#include <cstring>
#include <regex>
#include <string>
#include <sys/mman.h>

#include "sve/core/sve_emulator.h"
#include "tests/support/state_util.h"

extern "C" char oracle_stub_begin[], oracle_stub_insn[], oracle_stub_end[];

namespace {

struct alignas(16) oracle_buf {
    uint8_t p[16][10];
    uint8_t ffr[10];
    uint8_t pad[70];
    uint8_t z[32][80];
    uint64_t x[31];
    uint64_t nzcv;
    uint64_t scratch;
};
static_assert(offsetof(oracle_buf, ffr) == 160);
static_assert(offsetof(oracle_buf, z) == 240);
static_assert(offsetof(oracle_buf, x) == 2800);
static_assert(offsetof(oracle_buf, nzcv) == 3048);
static_assert(offsetof(oracle_buf, scratch) == 3056);

sigjmp_buf oracle_jb;
void on_sigill(int) { siglongjmp(oracle_jb, 1); }

// Runs `word` on the processor on the registers of b; false if the processor rejects it.
bool run_oracle(uint32_t word, oracle_buf& b) {
    static uint8_t* code = nullptr;
    static size_t insn_off = size_t(oracle_stub_insn - oracle_stub_begin);
    if (!code) {
        code = (uint8_t*)mmap(nullptr, 4096, PROT_READ | PROT_WRITE | PROT_EXEC, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        std::memcpy(code, oracle_stub_begin, size_t(oracle_stub_end - oracle_stub_begin));
        static char alt[65536];
        stack_t ss = {};
        ss.ss_sp = alt;
        ss.ss_size = sizeof alt;
        sigaltstack(&ss, nullptr);
        struct sigaction sa = {};
        sa.sa_handler = on_sigill;
        sa.sa_flags = SA_ONSTACK | SA_NODEFER;
        sigaction(SIGILL, &sa, nullptr);
    }
    std::memcpy(code + insn_off, &word, 4);
    __builtin___clear_cache((char*)code, (char*)code + 4096);
    static uint64_t save[22];
    if (sigsetjmp(oracle_jb, 1)) return false;
    ((void (*)(oracle_buf*, uint64_t*))(void*)code)(&b, save);
    return true;
}

void pack(uint8_t* dst10, const uint8_t* bytes80) {
    std::memset(dst10, 0, 10);
    for (int i = 0; i < 80; i++) dst10[i / 8] |= uint8_t((bytes80[i] & 1) << (i % 8));
}
void unpack(uint8_t* bytes80, const uint8_t* src10) {
    for (int i = 0; i < 80; i++) bytes80[i] = (src10[i / 8] >> (i % 8)) & 1;
}

void to_buf(oracle_buf& b, const cpu_state& s) {
    for (int k = 0; k < 16; k++) pack(b.p[k], s.p[k]);
    pack(b.ffr, s.ffr);
    std::memcpy(b.z, s.z, sizeof b.z);
    std::memcpy(b.x, s.x, sizeof b.x);
    b.nzcv = s.nzcv;
}
void from_buf(cpu_state& s, const oracle_buf& b) {
    for (int k = 0; k < 16; k++) unpack(s.p[k], b.p[k]);
    unpack(s.ffr, b.ffr);
    std::memcpy(s.z, b.z, sizeof b.z);
    std::memcpy(s.x, b.x, sizeof b.x);
    s.nzcv = b.nzcv;
}

// The rows of this family, by the stems of their handler names.
const std::regex family(
    "Vec(P|P8|P16|P32|P64|U8|U16|U32|U64|U128|S8|S16|S32|S64|B8|H16|F32|D64)"
    "(Actual.*|(And|Bic|Xor|Or|OrN|Nor|Nand)(Flg)?PPZ|SelPP|Break.*|False|GenNextP|SetFirstActiveP|TrueI|TrueFlgI|"
    "ReverseP|Unpack(Lo|Hi)[PV]|(Zip|Uzp|Trn)[12](PP|VV)|While.*|CTerm.*|CountVLSI|Q?(Incr|Decr).*|VLX|AddVLX|AddPLX|"
    "TblVV|ReverseV|SlideVI|SpliceVV|CompressVV|ExtDupVI|InsertS|SelVV|LEA.*|(Add|Max|Min|And|Or|Xor)ReduceV|"
    "Last[AB]V|CondX[AB]SV|VCondX[AB]VV)");

// The oracle's own defect: qemu's uzp1/uzp2 of predicates misplaces the lanes of the source
// at and above lane 64 when the predicate length is not a multiple of 8 bytes (lane 64 of Pn goes
// to lane 20 instead of 32 at 80 lanes). Those rows are checked by the unit tests instead.
bool oracle_defect(const std::string& name) { return name.find("Uzp") != std::string::npos && name.find("PP") != std::string::npos; }

}  // namespace

TEST(PredicateOracle, EveryRowAgreesWithTheProcessor) {
    int rows = 0, cases = 0, rejected = 0, failed_rows = 0;
    for (const sve_row_info& r : sve_rows) {
        if (!r.implemented || !std::regex_match(r.name, family) || oracle_defect(r.name)) continue;
        rows++;
        test_rng rng(0x0AC1E000 + uint64_t(&r - sve_rows));
        int fails = 0;
        for (int k = 0; k < 100; k++) {
            cpu_state a;
            random_state(a, rng);
            for (auto& f : a.ffr) f &= 1;
            a.nzcv &= 0xF0000000u;
            uint32_t w = sve_row_word(r, uint32_t(rng.next()));
            std::string n = r.name;
            // addvl and addpl writing sp would move the oracle's buffer pointer.
            if ((n == "VecS64AddVLX" || n == "VecS64AddPLX") && (w & 31) == 31) w &= ~1u;
            static oracle_buf b;
            to_buf(b, a);
            a.sp = uint64_t(&b);
            cpu_state e = a;
            ASSERT_EQ(r.handler(&e, w), RC_DONE) << n;
            if (!run_oracle(w, b)) {
                rejected++;
                continue;
            }
            cases++;
            cpu_state o = a;
            from_buf(o, b);
            std::string d = state_diff(e, o, false);
            if (!d.empty() && fails++ < 3)
                ADD_FAILURE() << n << " word " << std::hex << w << ": emulator vs processor: " << d;
        }
        failed_rows += fails > 0;
    }
    std::printf("oracle: %d rows, %d cases compared, %d words rejected by the processor, %d rows differ\n", rows, cases,
                rejected, failed_rows);
    EXPECT_GT(rows, 300);
    EXPECT_GT(cases, rows * 50);
}

// The oracle runner under qemu with SVE: each case's state must arrive in the registers and
// come back complete, with the word's own effect and nothing else. Expected results follow
// from the instructions' definitions, computed here independently of the runner.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "tests/conformance/case_gen.h"
#include "tests/conformance/compare.h"

using namespace conf;

namespace {

std::vector<case_result> run_oracle(const std::vector<gen_case>& cases) {
    std::string dir = testing::TempDir();
    std::string in = dir + "/oracle_cases", out = dir + "/oracle_results";
    FILE* f = std::fopen(in.c_str(), "wb");
    for (const gen_case& c : cases) std::fwrite(&c, sizeof c, 1, f);
    std::fclose(f);
    std::string cmd = "qemu-aarch64 -cpu max,sve-default-vector-length=" + std::to_string(VL) + " " SVE_ORACLE_BINARY " < " +
                      in + " > " + out;
    std::vector<case_result> res;
    if (std::system(cmd.c_str()) != 0) return res;
    f = std::fopen(out.c_str(), "rb");
    case_result r;
    while (read_result(f, r)) res.push_back(r);
    std::fclose(f);
    return res;
}

gen_case make_case(uint32_t word, int seed) {
    gen_case c = generate_case(0, seed, 0);  // a random complete state
    c.h.word = word;
    c.h.row = -1;
    return c;
}

bool same_state(const wire_state& a, const wire_state& b) {
    return std::memcmp(&a, &b, offsetof(wire_state, pad)) == 0;
}

TEST(OracleRunner, StatesRoundTripAndWordsTakeEffect) {
    std::vector<gen_case> cases;
    for (int i = 0; i < 4; i++) cases.push_back(make_case(0xD503201F, i));  // nop: identity
    cases.push_back(make_case(0xFFFFFFFF, 10));                             // rejected
    cases.push_back(make_case(0x2520C000 | 5, 11));                         // add z5.b, z5.b, #0
    cases.back().h.word |= 1u << 5;                                         // ... #1
    gen_case st = make_case(0xE5804000 | (2 << 5) | 7, 12);                 // str z7, [x2]
    st.s.x[2] = BUF_ADDR + 0x100;
    cases.push_back(st);
    gen_case ld = make_case(0x85804000 | (4 << 5) | 3, 13);                 // ldr z3, [x4]
    ld.s.x[4] = BUF_ADDR + 0x333;
    cases.push_back(ld);
    gen_case sp = make_case(0xE5800000 | (1 << 5) | 2, 14);                 // str p2, [x1]
    sp.s.x[1] = BUF_ADDR + 0x40;
    cases.push_back(sp);
    cases.push_back(make_case(0x2519F000 | 1, 15));                         // rdffr p1.b
    gen_case bad = make_case(0xE5804000 | (2 << 5) | 7, 16);                // str z7 into the guard
    bad.s.x[2] = BUF_ADDR + BUF_SIZE + 64;
    cases.push_back(bad);
    cases.push_back(make_case(0xD503201F, 17));                             // and on after the fault

    std::vector<case_result> r = run_oracle(cases);
    ASSERT_EQ(r.size(), cases.size());
    static uint8_t before[BUF_SIZE];

    for (int i : {0, 1, 2, 3, 11}) {
        EXPECT_EQ(r[i].h.status, ST_DONE) << i;
        EXPECT_TRUE(same_state(r[i].s, cases[i].s)) << "nop changed the state, case " << i;
        EXPECT_EQ(r[i].h.nchanged, 0u);
    }
    EXPECT_EQ(r[4].h.status, ST_SIGILL);
    EXPECT_TRUE(same_state(r[4].s, cases[4].s));

    wire_state want = cases[5].s;
    for (uint8_t& b : want.z[5]) b = uint8_t(b + 1);
    EXPECT_EQ(r[5].h.status, ST_DONE);
    EXPECT_TRUE(same_state(r[5].s, want));

    fill_buffer(before, cases[6].h.buf_seed);
    EXPECT_TRUE(same_state(r[6].s, cases[6].s));
    size_t k = 0;
    for (uint32_t i = 0; i < VL; i++) {
        uint8_t v = cases[6].s.z[7][i];
        if (v == before[0x100 + i]) continue;
        ASSERT_LT(k, r[6].changes.size());
        EXPECT_EQ(r[6].changes[k].offset, 0x100 + i);
        EXPECT_EQ(r[6].changes[k].value, v);
        k++;
    }
    EXPECT_EQ(k, r[6].changes.size());

    fill_buffer(before, cases[7].h.buf_seed);
    want = cases[7].s;
    std::memcpy(want.z[3], before + 0x333, VL);
    EXPECT_TRUE(same_state(r[7].s, want));

    // The hardware's memory image of a predicate is the wire format's.
    fill_buffer(before, cases[8].h.buf_seed);
    uint8_t mem[PL];
    std::memcpy(mem, before + 0x40, PL);
    for (const buffer_change& c : r[8].changes) {
        ASSERT_TRUE(c.offset >= 0x40 && c.offset < 0x40 + PL);
        mem[c.offset - 0x40] = uint8_t(c.value);
    }
    EXPECT_EQ(std::memcmp(mem, cases[8].s.p[2], PL), 0);

    want = cases[9].s;
    std::memcpy(want.p[1], want.ffr, PL);
    EXPECT_TRUE(same_state(r[9].s, want));

    EXPECT_EQ(r[10].h.status, ST_SIGSEGV);
    EXPECT_EQ(r[10].h.nchanged, 0u);
}

}  // namespace

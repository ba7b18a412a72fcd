// Tests of the conformance harness itself: the wire conversion, the generator's placement of
// memory accesses, the comparison and the deviation list.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "tests/conformance/case_gen.h"
#include "tests/conformance/compare.h"
#include "tests/support/rows.h"
#include "tools/sve-step/state_convert.h"

using namespace conf;

namespace {

TEST(Wire, PredicateBytesPackToOneBitEach) {
    struct { int byte; uint8_t value; bool set; } cases[] = {
        {0, 1, true}, {7, 1, true}, {8, 1, true}, {79, 1, true}, {13, 0xFF, true}, {13, 2, false}, {40, 0xFE, false},
    };
    for (auto c : cases) {
        uint8_t bytes[VL] = {}, bits[PL];
        bytes[c.byte] = c.value;
        pack_bits(bytes, bits);
        for (int i = 0; i < PL; i++)
            EXPECT_EQ(bits[i], i == c.byte / 8 && c.set ? 1 << (c.byte % 8) : 0) << "byte " << c.byte;
        uint8_t back[VL];
        unpack_bits(bits, back);
        for (int i = 0; i < VL; i++) EXPECT_EQ(back[i], i == c.byte && c.set ? 1 : 0);
    }
}

TEST(Wire, StateRoundTripKeepsEveryField) {
    test_rng r(7);
    cpu_state s;
    random_state(s, r);
    s.fpcr = 0x03C00000;
    s.fpsr = 0x9F;
    wire_state w;
    to_wire_state(s, w);
    EXPECT_EQ(w.sp, s.sp);
    EXPECT_EQ(w.x[30], s.x[30]);
    EXPECT_EQ(w.fpcr, 0x03C00000u);
    EXPECT_EQ(w.fpsr, 0x9Fu);
    cpu_state t;
    to_cpu_state(w, t);
    t.pc = s.pc;
    EXPECT_EQ(std::memcmp(&s, &t, sizeof s), 0);
}

TEST(Buffer, FillDependsOnSeedAndDiffFindsEveryChangedByte) {
    static uint8_t a[BUF_SIZE], b[BUF_SIZE];
    fill_buffer(a, 1);
    fill_buffer(b, 1);
    EXPECT_EQ(std::memcmp(a, b, BUF_SIZE), 0);
    fill_buffer(b, 2);
    EXPECT_NE(std::memcmp(a, b, BUF_SIZE), 0);
    std::memcpy(b, a, BUF_SIZE);
    const uint32_t offsets[] = {0, 7, 8, 4095, BUF_SIZE - 1};
    for (uint32_t o : offsets) b[o] ^= 0x5A;
    static buffer_change ch[BUF_SIZE];
    ASSERT_EQ(diff_buffer(a, b, ch, BUF_SIZE), 5u);
    for (int i = 0; i < 5; i++) {
        EXPECT_EQ(ch[i].offset, offsets[i]);
        EXPECT_EQ(ch[i].value, uint32_t(a[offsets[i]] ^ 0x5A));
    }
}

// The row table's type and access columns, read back through the traits, agree with what the
// handler names say by their grammar.
TEST(Generator, TraitsFollowTheHandlerNameGrammar) {
    struct { const char* name; int bytes; bool memory; addr_form form; bool ext32, sign; } cases[] = {
        {"VecU8AddVIX", 1, false, AF_NONE, false, false},
        {"VecD64AddVVM", 8, false, AF_NONE, false, false},
        {"VecU32CLoad4SIZ", 4, true, AF_SI, false, false},
        {"VecS64Load2XSVZ", 8, true, AF_SV, true, true},
        {"VecU64Load1YVSZ", 8, true, AF_VS, true, false},
        {"VecU64Load8VSZ", 8, true, AF_VS, false, false},
        {"VecU64Store8VIZ", 8, true, AF_VI, false, false},
        {"VecU16E3Load2LSSZ", 2, true, AF_LSS, false, false},
        {"VecU8LoadDup1QSSZ", 1, true, AF_LSS, false, false},
        {"VecPFillSI", 0, true, AF_SI, false, false},
    };
    for (auto c : cases) {
        const sve_row_info* row = row_named(c.name);
        ASSERT_NE(row, nullptr) << c.name;
        row_traits t = traits_of(*row);
        EXPECT_EQ(t.elem_bytes, c.bytes) << c.name;
        EXPECT_EQ(t.memory, c.memory) << c.name;
        EXPECT_EQ(t.form, c.form) << c.name;
        EXPECT_EQ(t.ext32, c.ext32) << c.name;
        EXPECT_EQ(t.sign_ext, c.sign) << c.name;
    }
}

TEST(Generator, EveryWordBelongsToItsRow) {
    for (int r = 0; r < SVE_DECODE_ROWS; r++)
        for (int i = 0; i < 3; i++) {
            gen_case c = generate_case(r, 5, i);
            ASSERT_EQ(get_sve_handler(c.h.word), sve_rows[r].handler) << sve_rows[r].name;
            EXPECT_EQ(c.h.row, r);
            EXPECT_EQ(c.s.sp % 16, 0u);
        }
}

uint64_t lane_of(const uint8_t* z, int bytes, int e) {
    uint64_t v = 0;
    std::memcpy(&v, z + e * bytes, bytes);
    return v;
}

// The addresses each memory row will form stay inside the data buffer, far enough from its
// ends for the largest immediate and register count of the form.
TEST(Generator, MemoryAccessesStayInsideTheBuffer) {
    int checked = 0;
    for (int r = 0; r < SVE_DECODE_ROWS; r++) {
        row_traits t = traits_of(sve_rows[r]);
        if (!t.memory) continue;
        for (int i = 0; i < 8; i++) {
            gen_case c = generate_case(r, 9, i);
            EXPECT_EQ(bool(c.h.flags & CF_EDGE) && !t.first_fault, false) << sve_rows[r].name;
            if (c.h.flags & CF_EDGE) continue;
            uint32_t n = (c.h.word >> 5) & 31, m = (c.h.word >> 16) & 31;
            int bytes = t.elem_bytes == 4 ? 4 : 8;
            if (t.form == AF_VI) {
                for (int e = 0; e < VL / bytes; e++) {
                    uint64_t a = lane_of(c.s.z[n], bytes, e);
                    EXPECT_GE(a, BUF_ADDR) << sve_rows[r].name;
                    EXPECT_LE(a + 31 * 8 + 8, BUF_ADDR + BUF_SIZE) << sve_rows[r].name;
                }
                continue;
            }
            uint64_t base = n == 31 ? c.s.sp : c.s.x[n];
            // ldr/str of a vector reach 256 vector lengths either side of the base.
            EXPECT_GE(base, BUF_ADDR + 256 * VL) << sve_rows[r].name;
            EXPECT_LE(base + 256 * VL, BUF_ADDR + BUF_SIZE) << sve_rows[r].name;
            if (t.form == AF_LSS && m != 31) {
                EXPECT_NE(m, n) << sve_rows[r].name;
                EXPECT_LT(c.s.x[m], 64u) << sve_rows[r].name;
            }
            if (t.form == AF_SV || t.form == AF_VS)
                for (int e = 0; e < VL / bytes; e++) {
                    int64_t off = int64_t(lane_of(c.s.z[m], bytes, e));
                    if (t.ext32) off = t.sign_ext ? int64_t(int32_t(off)) : int64_t(uint32_t(off));
                    EXPECT_LT(off < 0 ? -off : off, 2048) << sve_rows[r].name;
                }
            checked++;
        }
    }
    EXPECT_GT(checked, 1000);
}

// Edge cases of first-fault and non-fault loads start inside the buffer and end beyond it.
TEST(Generator, EdgeCasesCrossTheEndOfTheBuffer) {
    int edges = 0;
    for (int r = 0; r < SVE_DECODE_ROWS; r++) {
        row_traits t = traits_of(sve_rows[r]);
        if (!t.first_fault || (t.form != AF_SI && t.form != AF_LSS)) continue;
        for (int i = 0; i < 16; i++) {
            gen_case c = generate_case(r, 11, i);
            if (!(c.h.flags & CF_EDGE)) continue;
            uint32_t n = (c.h.word >> 5) & 31;
            if (n == 31) continue;  // sp stays 16-byte aligned
            int64_t imm = t.form == AF_SI ? int64_t(int32_t(c.h.word << 12) >> 28) : 0;
            int64_t foot = int64_t(VL / t.elem_bytes) * t.mem_bytes;
            uint64_t start = (n == 31 ? c.s.sp : c.s.x[n]) + imm * foot;
            EXPECT_LT(start, BUF_ADDR + BUF_SIZE) << sve_rows[r].name;
            EXPECT_GT(start + foot, BUF_ADDR + BUF_SIZE) << sve_rows[r].name;
            edges++;
        }
    }
    EXPECT_GT(edges, 20);
}

TEST(Generator, FloatingPointValuesCoverTheSpecialClasses) {
    for (int bytes : {2, 4, 8}) {
        int ebits = bytes == 2 ? 5 : bytes == 4 ? 8 : 11, fbits = 8 * bytes - 1 - ebits;
        uint64_t emax = (1ull << ebits) - 1, fmask = (1ull << fbits) - 1;
        bool zero = false, inf = false, qnan = false, snan = false, denorm = false, normal = false;
        test_rng r(3);
        for (int i = 0; i < 2000; i++) {
            uint64_t v = interesting_fp(r, bytes);
            if (bytes < 8) {
                ASSERT_EQ(v >> (8 * bytes), 0u) << "value wider than " << bytes << " bytes";
            }
            uint64_t e = (v >> fbits) & emax, f = v & fmask;
            zero |= e == 0 && f == 0;
            inf |= e == emax && f == 0;
            qnan |= e == emax && (f >> (fbits - 1)) == 1;
            snan |= e == emax && f != 0 && (f >> (fbits - 1)) == 0;
            denorm |= e == 0 && f != 0;
            normal |= e != 0 && e != emax;
        }
        EXPECT_TRUE(zero && inf && qnan && snan && denorm && normal) << bytes;
    }
}

case_result result_of(const wire_state& s, int32_t status = ST_DONE, uint32_t word = 0x2520C000) {
    case_result r;
    r.h = {RESULT_MAGIC, word, 0, status, 0, 0};
    r.s = s;
    return r;
}

// Each planted difference is found and named; the same difference is accepted when its field
// is exempt.
TEST(Compare, NamesTheFirstDifference) {
    static uint8_t before[BUF_SIZE];
    fill_buffer(before, 4);
    wire_state base{};
    base.x[3] = 0x1234;
    case_header ch{CASE_MAGIC, 0x2520C000, 0, 4, 0, 0};
    struct mutation {
        void (*apply)(wire_state&, case_result&);
        uint32_t field;
        const char* expect;
    };
    const std::string ffr_last = "ffr byte " + std::to_string(VL - 1);  // the last lane at any length
    const mutation cases[] = {
        {[](wire_state& s, case_result&) { s.x[5] = 9; }, FLD_X, "x5: oracle 0 ours 0x9"},
        {[](wire_state& s, case_result&) { s.sp = 16; }, FLD_SP, "sp:"},
        {[](wire_state& s, case_result&) { s.nzcv = 0x40000000; }, FLD_NZCV, "nzcv:"},
        {[](wire_state& s, case_result&) { s.fpsr = 1; }, FLD_FPSR, "fpsr: oracle 0 ours 0x1"},
        {[](wire_state& s, case_result&) { s.z[3][13] = 1; }, FLD_Z, "z3 lane 3 (4 bytes)"},
        {[](wire_state& s, case_result&) { s.p[2][1] = 0x20; }, FLD_P, "p2 byte 13: oracle 0 ours 1"},
        {[](wire_state& s, case_result&) { s.ffr[PL - 1] = 0x80; }, FLD_FFR, ffr_last.c_str()},
        {[](wire_state&, case_result& u) { u.changes.push_back({100, 0}); }, FLD_MEM, "mem 0x10000064"},
    };
    for (const mutation& m : cases) {
        case_result o = result_of(base), u = result_of(base);
        if (before[100] == 0) before[100] = 1;
        m.apply(u.s, u);
        std::string what;
        EXPECT_EQ(compare_case(ch, o, u, before, 4, 0, what), CV_DIFFER) << m.expect;
        EXPECT_NE(what.find(m.expect), std::string::npos) << what;
        EXPECT_EQ(compare_case(ch, o, u, before, 4, m.field, what), CV_AGREE) << m.expect;
        EXPECT_EQ(compare_case(ch, o, o, before, 4, 0, what), CV_AGREE);
    }
}

TEST(Compare, MemoryChangesCompareByFinalValue) {
    static uint8_t before[BUF_SIZE];
    fill_buffer(before, 8);
    wire_state s{};
    case_header ch{CASE_MAGIC, 0x2520C000, 0, 8, 0, 0};
    case_result o = result_of(s), u = result_of(s);
    o.changes = {{10, uint32_t(before[10] ^ 1)}, {20, uint32_t(before[20] ^ 2)}};
    u.changes = o.changes;
    std::string what;
    EXPECT_EQ(compare_case(ch, o, u, before, 8, 0, what), CV_AGREE);
    u.changes[1].value ^= 4;
    EXPECT_EQ(compare_case(ch, o, u, before, 8, 0, what), CV_DIFFER);
    EXPECT_NE(what.find("mem 0x10000014"), std::string::npos) << what;
    u.changes.pop_back();  // ours left byte 20 alone
    EXPECT_EQ(compare_case(ch, o, u, before, 8, 0, what), CV_DIFFER);
    EXPECT_NE(what.find("mem 0x10000014"), std::string::npos) << what;
}

TEST(Compare, StatusDecidesBeforeTheState) {
    static uint8_t before[BUF_SIZE];
    wire_state s{}, t{};
    t.x[0] = 1;
    case_header ch{CASE_MAGIC, 0x2520C000, 0, 0, 0, 0};
    struct { int32_t oracle, ours; case_verdict v; const char* what; } cases[] = {
        {ST_SIGILL, ST_DONE, CV_REJECTED, ""},
        {ST_SIGSEGV, ST_DONE, CV_DIFFER, "status: oracle SIGSEGV ours rc 0"},
        {ST_DONE, 2, CV_DIFFER, "status: oracle rc 0 ours rc 2"},
        {ST_SIGSEGV, ST_SIGSEGV, CV_AGREE, ""},
    };
    for (auto c : cases) {
        std::string what;
        EXPECT_EQ(compare_case(ch, result_of(s, c.oracle), result_of(t, c.ours), before, 8, 0, what), c.v);
        EXPECT_EQ(what, c.what);
    }
    // An exempt status accepts only a fault of the oracle where ours completes.
    struct { int32_t oracle, ours; case_verdict v; } exempt[] = {
        {ST_SIGSEGV, ST_DONE, CV_AGREE}, {ST_DONE, ST_SIGSEGV, CV_DIFFER}, {ST_DONE, 2, CV_DIFFER},
    };
    for (auto c : exempt) {
        std::string what;
        EXPECT_EQ(compare_case(ch, result_of(s, c.oracle), result_of(s, c.ours), before, 8, FLD_STATUS, what), c.v);
    }
    std::string what;
    EXPECT_EQ(compare_case(ch, result_of(s), result_of(s, ST_DONE, 0x2520C001), before, 8, 0, what), CV_DIFFER);
}

TEST(Deviations, ParseAndApplyByRowAndCondition) {
    std::vector<deviation> d;
    std::string err;
    ASSERT_TRUE(parse_deviations("# comment\n\nVec.*LoadFF.* z,ffr edge # why\nVecU8AddVIX fpsr always # why\n", d, err))
        << err;
    ASSERT_EQ(d.size(), 2u);
    EXPECT_EQ(exempt_fields(d, "VecU32LoadFF4SVZ", 0), 0u);
    EXPECT_EQ(exempt_fields(d, "VecU32LoadFF4SVZ", CF_EDGE), uint32_t(FLD_Z | FLD_FFR));
    EXPECT_EQ(exempt_fields(d, "VecU8AddVIX", 0), uint32_t(FLD_FPSR));
    EXPECT_EQ(exempt_fields(d, "VecU8AddVIXY", 0), 0u);  // whole-name match
    std::vector<deviation> o;
    ASSERT_TRUE(parse_deviations("Vec.*LoadNF.* z oracle-ffr # why\n", o, err)) << err;
    wire_state in{}, out{};
    in.ffr[1] = 0x0F;
    out.ffr[1] = 0x0F;
    EXPECT_EQ(exempt_fields(o, "VecU8CLoadNF1SIZ", oracle_ffr_flag(in, out)), 0u);
    out.ffr[1] = 0x07;  // the oracle suppressed an element
    EXPECT_EQ(exempt_fields(o, "VecU8CLoadNF1SIZ", oracle_ffr_flag(in, out)), uint32_t(FLD_Z));
    in.ffr[1] = 0x07;
    out.ffr[1] = 0x0F;  // a lane set by the load is no suppression
    EXPECT_EQ(exempt_fields(o, "VecU8CLoadNF1SIZ", oracle_ffr_flag(in, out)), 0u);
    // Entries limited to some vector lengths: a list, the lengths that are not powers of two.
    std::vector<deviation> v;
    ASSERT_TRUE(parse_deviations("VecA p always vl=384,640 # r\nVecB z always vl=npow2 # r\n", v, err)) << err;
    const struct { const char* row; int bits; uint32_t want; } at[] = {
        {"VecA", 384, FLD_P}, {"VecA", 640, FLD_P}, {"VecA", 128, 0}, {"VecA", 1152, 0},
        {"VecB", 384, FLD_Z}, {"VecB", 1152, FLD_Z}, {"VecB", 128, 0}, {"VecB", 512, 0}, {"VecB", 2048, 0},
    };
    for (const auto& a : at) EXPECT_EQ(exempt_fields(v, a.row, 0, a.bits), a.want) << a.row << " at " << a.bits;
    const char* bad[] = {
        "VecX z always vl=100 # r\n",   // not a vector length
        "VecX z always vl=2176 # r\n",  // above the longest
        "VecX z always 640 # r\n",      // no vl=
        "VecX z always vl= # r\n",      // empty list
        "VecX z always vl=640 x # r\n", // a fifth word
        "VecX z always\n",            // no reason
        "VecX q always # r\n",        // unknown field
        "VecX z sometimes # r\n",     // unknown condition
        "VecX z # r\n",               // missing condition
        "Vec( z always # r\n",        // bad pattern
    };
    for (const char* b : bad) {
        std::vector<deviation> e;
        EXPECT_FALSE(parse_deviations(b, e, err)) << b;
        EXPECT_NE(err.find("line 1"), std::string::npos) << err;
    }
}

TEST(Deviations, TheReviewedListParses) {
    std::ifstream f(SVE_DEVIATIONS_FILE);
    ASSERT_TRUE(f.good());
    std::stringstream text;
    text << f.rdbuf();
    std::vector<deviation> d;
    std::string err;
    EXPECT_TRUE(parse_deviations(text.str(), d, err)) << err;
    EXPECT_FALSE(d.empty());
}

}  // namespace

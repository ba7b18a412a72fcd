// Words run from lookup to register: add with an immediate and sel, over every element of the
// build's vector length.
#include <gtest/gtest.h>

#include <cstring>

#include "sve/decode/sve_emulator.h"
#include "tests/support/state_util.h"

TEST(Examples, AddImmediateBytes) {
    cpu_state s;
    test_rng r(21);
    random_state(s, r);
    cpu_state before = s;
    sve_handler_t h = get_sve_handler(0x2520C065);  // add z5.b, z5.b, #3
    ASSERT_NE(h, nullptr);
    ASSERT_EQ(h(&s, 0x2520C065), RC_DONE);
    for (int i = 0; i < SVE_VL_BYTES; i++) EXPECT_EQ(s.z[5][i], uint8_t(before.z[5][i] + 3)) << i;
    EXPECT_EQ(s.insn, 0x2520C065u);
    s.insn = before.insn;
    std::memcpy(s.z[5], before.z[5], SVE_VL_BYTES);
    EXPECT_EQ(state_diff(before, s), "") << "only z5 and insn may change";
}

TEST(Examples, AddImmediateEveryWidthAndShift) {
    struct {
        uint32_t word;
        int esz;
        uint64_t imm;
    } cases[] = {
        {0x2520C065, 0, 3},                 // add z5.b, z5.b, #3
        {0x2520E005, 0, 0},                 // add z5.b, z5.b, #0, lsl #8: 256 has low byte 0
        {0x2560FFE1, 1, 0xFF00},            // add z1.h, z1.h, #255, lsl #8
        {0x25A0C1E2, 2, 15},                // add z2.s, z2.s, #15
        {0x25E0E023, 3, 0x100},             // add z3.d, z3.d, #1, lsl #8
    };
    test_rng r(22);
    for (auto& c : cases) {
        cpu_state s;
        random_state(s, r);
        cpu_state before = s;
        uint32_t zd = c.word & 31;
        ASSERT_EQ(get_sve_handler(c.word)(&s, c.word), RC_DONE);
        int bytes = 1 << c.esz;
        for (int e = 0; e < SVE_VL_BYTES / bytes; e++) {
            uint64_t a = 0, got = 0;
            std::memcpy(&a, before.z[zd] + e * bytes, bytes);
            std::memcpy(&got, s.z[zd] + e * bytes, bytes);
            uint64_t want = (a + c.imm) & (bytes == 8 ? ~0ull : (1ull << (8 * bytes)) - 1);
            EXPECT_EQ(got, want) << std::hex << c.word << " element " << e;
        }
    }
}

TEST(Examples, SelWords) {
    cpu_state s;
    test_rng r(23);
    random_state(s, r);
    for (int i = 0; i < SVE_VL_BYTES; i++) s.p[2][i] = uint8_t((i / 4) % 3 == 0 ? 1 : (i % 4 == 0 ? 0xFE : 0x01));
    cpu_state before = s;
    sve_handler_t h = get_sve_handler(0x05A4C861);  // sel z1.s, p2, z3.s, z4.s
    ASSERT_NE(h, nullptr);
    ASSERT_EQ(h(&s, 0x05A4C861), RC_DONE);
    for (int e = 0; e < SVE_VL_BYTES / 4; e++) {
        bool active = before.p[2][4 * e] & 1;
        const uint8_t* src = active ? before.z[3] : before.z[4];
        EXPECT_EQ(std::memcmp(s.z[1] + 4 * e, src + 4 * e, 4), 0) << "element " << e;
    }
}

TEST(Examples, SelDestinationMayBeASource) {
    cpu_state s;
    test_rng r(24);
    random_state(s, r);
    for (int i = 0; i < SVE_VL_BYTES; i++) s.p[0][i] = (i / 8) & 1;
    cpu_state before = s;
    uint32_t w = 0x05E0C000 | (0u << 16) | (0 << 10) | (1u << 5) | 0u;  // sel z0.d, p0, z1.d, z0.d
    ASSERT_EQ(get_sve_handler(w)(&s, w), RC_DONE);
    for (int e = 0; e < SVE_VL_BYTES / 8; e++) {
        const uint8_t* src = (e & 1) ? before.z[1] : before.z[0];
        EXPECT_EQ(std::memcmp(s.z[0] + 8 * e, src + 8 * e, 8), 0) << e;
    }
}

TEST(Examples, UnimplementedRowsSayWhatTheyAre) {
    for (const sve_row_info& r : sve_rows) {
        if (r.implemented) continue;
        cpu_state s = {};
        s.pc = 0x1234;
        uint32_t w = sve_row_word(r, 0);
        testing::internal::CaptureStderr();
        aarch64_decode_rc rc = r.handler(&s, w);
        std::string err = testing::internal::GetCapturedStderr();
        EXPECT_EQ(rc, RC_UNIMPLEMENTED);
        char want[200];
        snprintf(want, sizeof want, "Unimplemented instruction: [  1234:\t %08x\t %s  ]\n", w, r.name);
        EXPECT_EQ(err, want);
        break;  // the entry is one function; one row shows its message
    }
}

TEST(Examples, PrefetchChangesNothing) {
    for (const sve_row_info& r : sve_rows) {
        if (r.tier != 'P') continue;
        cpu_state s;
        test_rng rng(25);
        random_state(s, rng);
        cpu_state before = s;
        uint32_t w = sve_row_word(r, uint32_t(rng.next()));
        EXPECT_EQ(r.handler(&s, w), RC_DONE) << r.name;
        EXPECT_EQ(std::memcmp(&before, &s, sizeof s), 0) << r.name;
    }
}

// The generic frame: predicate packing, ffr normalisation, the vector bytes of a result, register
// 31, and the element counts of the generic tier, at the build's vector length.
#include <gtest/gtest.h>

#include <cstring>

#include "sve/core/forms.h"
#include "sve/core/generic.h"
#include "tests/support/state_util.h"

namespace {

// A generic function that writes a recognisable value over all 256 bytes of its result.
VecV fill_all(VecV a, CpuContext* c) {
    VecV r;
    std::memset(r.b, 0xEE, sizeof r.b);
    r.b[0] = a.b[0];
    c->nzcv = 0x60000000;
    return r;
}
uint64_t ret_general(uint64_t a, CpuContext*) { return a + 1; }
uint32_t ret_word(uint64_t, CpuContext*) { return 0xFFFFFFFFu; }
PredV ret_pred(PredV p, CpuContext*) {
    for (auto& w : p.w) w = ~w;
    return p;
}

using gf_fill = forms::gform<forms::DZ<0>, forms::Z<5>>;
using gf_general = forms::gform<forms::DR<0>, forms::R<5>>;
using gf_word = forms::gform<forms::DR<0>, forms::R<5>>;
using gf_pred = forms::gform<forms::DP<0>, forms::P<5, 4, 0>>;

}  // namespace

// Predicate constraint patterns (POW2, VL1 to VL256, MUL4, MUL3, ALL, the unallocated ones) on the
// element counts of 128, 640 and 2048-bit vectors and some others; the function takes the count,
// so every case runs whatever the build's length.
TEST(Frame, TrueILengthOfEachPattern) {
    struct {
        uint32_t pattern, n, want;
    } cases[] = {
        {0, 80, 64}, {0, 1, 1},   {0, 0, 1},   {1, 80, 1},   {8, 80, 8},   {8, 7, 0},
        {9, 80, 16}, {10, 80, 32}, {11, 80, 64}, {12, 80, 0}, {13, 80, 0},  {14, 80, 0},
        {28, 80, 0}, {29, 80, 80}, {29, 10, 8}, {30, 80, 78}, {30, 10, 9},  {31, 80, 80},
        {31, 40, 40}, {31, 10, 10}, {31, 11, 10}, {0, 20, 16}, {5, 4, 0},  {9, 10, 0},
        // 128 bits: 16 bytes, 2 doublewords.
        {0, 16, 16}, {9, 16, 16}, {10, 16, 0}, {8, 16, 8}, {29, 16, 16}, {30, 16, 15}, {31, 2, 2},
        {0, 2, 2},   {2, 2, 2},   {3, 2, 0},   {29, 2, 0}, {30, 2, 0},   {29, 4, 4},
        // 2048 bits: 256 bytes, 32 doublewords.
        {0, 256, 256}, {13, 256, 256}, {12, 256, 128}, {29, 256, 256}, {30, 256, 255},
        {31, 256, 256}, {13, 255, 0},  {0, 255, 128},  {11, 32, 0},    {10, 32, 32}, {30, 32, 30},
        // 384 bits, a length that is no power of two: 48 bytes.
        {0, 48, 32}, {10, 48, 32}, {11, 48, 0}, {29, 48, 48}, {30, 48, 48}, {30, 6, 6}, {29, 6, 4},
    };
    for (auto& c : cases) EXPECT_EQ(VecTrueILength(c.pattern, c.n), c.want) << c.pattern << " " << c.n;
}

TEST(Frame, ElementCountsOfTheBuildLength) {
    cpu_state s = {};
    CpuContext c = frame_enter(&s);
    const uint32_t bytes = sizeof s.z[0];  // one register of the record
    EXPECT_EQ(c.vl_words * 64, uint32_t(SVE_VL_BITS));
    EXPECT_EQ(vl_bytes(&c), bytes);
    EXPECT_EQ(elem_count(&c, 8), bytes);
    EXPECT_EQ(elem_count(&c, 16), bytes / 2);
    EXPECT_EQ(elem_count(&c, 32), bytes / 4);
    EXPECT_EQ(elem_count(&c, 64), bytes / 8);
    c.vl_words |= 0xFC000000;  // only the low 26 bits count
    EXPECT_EQ(elem_count(&c, 8), bytes);
}

TEST(Frame, ContextMasksFpcrAndCarriesFlags) {
    cpu_state s = {};
    s.fpcr = 0xFFFFFFFF;
    s.fpsr = 0x12345678;
    s.nzcv = 0xFFFFFFFF90000000ull;
    CpuContext c = frame_enter(&s);
    EXPECT_EQ(c.fpcr, 0x07C89F00u);
    EXPECT_EQ(c.fpsr, 0x12345678u);
    EXPECT_EQ(c.nzcv, 0x90000000u);
}

TEST(Frame, FfrIsNormalised) {
    cpu_state s;
    test_rng r(7);
    random_state(s, r);
    for (int i = 0; i < SVE_VL_BYTES; i++) s.ffr[i] = uint8_t(i % 5 == 0 ? 3 : i % 5 == 1 ? 2 : i % 5 == 2 ? 0xFE : i % 5 == 3 ? 1 : 0);
    gf_fill::run<&fill_all, 0>(&s, 0);
    for (int i = 0; i < SVE_VL_BYTES; i++) EXPECT_EQ(s.ffr[i], (i % 5 == 0 || i % 5 == 3) ? 1 : 0) << i;
    EXPECT_EQ(s.nzcv, 0x60000000u);
}

TEST(Frame, ExactlyTheVectorBytesReachTheDestination) {
    cpu_state s;
    test_rng r(8);
    random_state(s, r);
    cpu_state before = s;
    uint32_t w = (2u << 5) | 1u;  // z1 from z2
    gf_fill::run<&fill_all, 0>(&s, w);
    for (int i = 1; i < SVE_VL_BYTES; i++) EXPECT_EQ(s.z[1][i], 0xEE) << i;
    EXPECT_EQ(s.z[1][0], before.z[2][0]);
    EXPECT_EQ(std::memcmp(s.z[2], before.z[2], SVE_VL_BYTES * 30), 0) << "bytes behind the destination changed";
    EXPECT_EQ(std::memcmp(s.z[0], before.z[0], SVE_VL_BYTES), 0);
    EXPECT_EQ(s.insn, before.insn) << "a generic handler does not store insn";
}

TEST(Frame, GeneralRegisterThirtyOne) {
    cpu_state s;
    test_rng r(9);
    random_state(s, r);
    cpu_state before = s;
    // Source 31 reads as zero, destination 31 drops the result but flags still come back.
    gf_general::run<&ret_general, 3>(&s, (31u << 5) | 4u);
    EXPECT_EQ(s.x[4], 1u);
    s = before;
    s.ffr[0] = 3;
    gf_general::run<&ret_general, 3>(&s, (4u << 5) | 31u);
    EXPECT_EQ(s.ffr[0], 1);
    s.ffr[0] = before.ffr[0] & 1;
    EXPECT_EQ(state_diff(before, s), "");
    // A 32-bit result is zero-extended.
    s = before;
    gf_word::run<&ret_word, 2>(&s, (4u << 5) | 6u);
    EXPECT_EQ(s.x[6], 0xFFFFFFFFull);
}

TEST(Frame, PredicateDestinationBytesAreZeroOrOne) {
    cpu_state s;
    test_rng r(10);
    random_state(s, r);
    for (int i = 0; i < SVE_VL_BYTES; i++) s.p[3][i] = uint8_t(i & 1 ? 0xFE : 0x03);  // bit 0 set at even bytes
    gf_pred::run<&ret_pred, 0>(&s, (3u << 5) | 2u);
    for (int i = 0; i < SVE_VL_BYTES; i++) EXPECT_EQ(s.p[2][i], (i & 1) ? 1 : 0) << i;
}

TEST(Frame, PackUnpackRoundTrip) {
    uint8_t bytes[SVE_VL_BYTES], back[SVE_VL_BYTES];
    test_rng r(11);
    for (auto& b : bytes) b = uint8_t(r.next());
    PredV p = pack_pred(bytes);
    for (int i = 0; i < SVE_VL_BYTES; i++) EXPECT_EQ(pred_bit(p, i), bytes[i] & 1);
    for (int i = SVE_VL_BYTES; i < 256; i++) EXPECT_FALSE(pred_bit(p, i));
    unpack_pred(back, p);
    for (int i = 0; i < SVE_VL_BYTES; i++) EXPECT_EQ(back[i], bytes[i] & 1);
    // Element tests at every width look at the first byte of the element.
    for (uint32_t w : {8u, 16u, 32u, 64u})
        for (uint32_t e = 0; e < uint32_t(SVE_VL_BITS) / w; e++) EXPECT_EQ(pred_active(p, e, w), bytes[e * w / 8] & 1);
}

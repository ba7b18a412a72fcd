// Which undefined words the host names as half precision: the words of the GNU assembler for
// half-precision scalar and Advanced SIMD instructions, and for their single and double
// precision, integer and SVE neighbours, which are not.
#include <gtest/gtest.h>

#include "host/runtime.h"

namespace {

struct Word {
    uint32_t word;
    const char* text;
};

TEST(Illegal, HalfPrecisionWords) {
    const Word half[] = {
        {0x1ee22820, "fadd h0, h1, h2"},
        {0x1ee50883, "fmul h3, h4, h5"},
        {0x1ee1c020, "fsqrt h0, h1"},
        {0x1ee12000, "fcmp h0, h1"},
        {0x1ee20c20, "fcsel h0, h1, h2, eq"},
        {0x1eee1000, "fmov h0, #1.0"},
        {0x1ee70020, "fmov h0, w1"},
        {0x1ef80020, "fcvtzs w0, h1"},
        {0x9ee20020, "scvtf h0, x1"},
        {0x1ed8f420, "fcvtzs w0, h1, #3"},
        {0x1fc20c20, "fmadd h0, h1, h2, h3"},
        {0x4e421420, "fadd v0.8h, v1.8h, v2.8h"},
        {0x0e420c20, "fmla v0.4h, v1.4h, v2.4h"},
        {0x7ec21420, "fabd h0, h1, h2"},
        {0x4ef8f820, "fabs v0.8h, v1.8h"},
        {0x4ef9b820, "fcvtzs v0.8h, v1.8h"},
        {0x5ef9d820, "frecpe h0, h1"},
        {0x4e30c820, "fmaxnmv h0, v1.8h"},
        {0x0eb0f820, "fminv h0, v1.4h"},
        {0x5e30c820, "fmaxnmp h0, v1.2h"},
        {0x5e30d820, "faddp h0, v1.2h"},
        {0x4f321020, "fmla v0.8h, v1.8h, v2.h[3]"},
        {0x5f329820, "fmul h0, h1, v2.h[7]"},
        {0x4f00fc00, "fmov v0.8h, #2.0"},
        {0x4f1ce420, "scvtf v0.8h, v1.8h, #4"},
        {0x7f1efc20, "fcvtzu h0, h1, #2"},
        {0x4ef8d820, "fcmeq v0.8h, v1.8h, #0.0"},
    };
    for (const Word& w : half) EXPECT_TRUE(host_is_half_precision(w.word)) << std::hex << w.word << " " << w.text;
}

TEST(Illegal, OtherWords) {
    const Word other[] = {
        {0x1e222820, "fadd s0, s1, s2"},
        {0x1e622820, "fadd d0, d1, d2"},
        {0x1f020c20, "fmadd s0, s1, s2, s3"},
        {0x1e624020, "fcvt s0, d1"},
        {0x4e22d420, "fadd v0.4s, v1.4s, v2.4s"},
        {0x4fc21820, "fmla v0.2d, v1.2d, v2.d[1]"},
        {0x6e30c820, "fmaxnmv s0, v1.4s"},
        {0x7e30d820, "faddp s0, v1.2s"},
        {0x4f00f400, "fmov v0.4s, #2.0"},
        {0x4f3ce420, "scvtf v0.4s, v1.4s, #4"},
        {0x1e18f420, "fcvtzs w0, s1, #3"},
        {0x4e628420, "add v0.8h, v1.8h, v2.8h"},
        {0x4f728020, "mul v0.8h, v1.8h, v2.h[3]"},
        {0x4f008420, "movi v0.8h, #0x1"},
        {0x9e660020, "fmov x0, d1"},
        {0x65420020, "fadd z0.h, z1.h, z2.h"},
        {0x8b020020, "add x0, x1, x2"},
        {0x00000007, "udf #7"},
        {0x3dc00000, "ldr q0, [x0]"},
    };
    for (const Word& w : other) EXPECT_FALSE(host_is_half_precision(w.word)) << std::hex << w.word << " " << w.text;
}

}  // namespace

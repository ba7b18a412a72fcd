// The library's constant tables against the functions they are defined by.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "sve/fp/lib/fplib.h"

namespace {

// The published 9-bit reciprocal square root estimate of a 9-bit input.
int RecipSqrtEstimate(int a) {
    if (a < 256) a = 2 * a + 1;
    else a = 2 * ((a >> 1 << 1) + 1);
    int b = 512;
    while (int64_t(a) * (b + 1) * (b + 1) < (int64_t(1) << 28)) ++b;
    return (b + 1) / 2;
}

TEST(FplibTables, RecipSqrtEstimateMatchesItsDefinition) {
    for (int i = 0; i < 256; ++i) {
        int r = i < 128 ? RecipSqrtEstimate(128 + i) : RecipSqrtEstimate(256 + 2 * (i - 128));
        ASSERT_GE(r, 256);
        ASSERT_LE(r, 511);
        EXPECT_EQ(fplib_tables::recip_sqrt_estimate[i], r & 255) << "entry " << i;
    }
}

// round((2^(i/n) - 1) * 2^m), computed in long double; every entry is far enough from a tie for
// that precision.
template <class T>
void check_fexpa(const T* table, int n, int m) {
    for (int i = 0; i < n; ++i) {
        long double v = (std::exp2l((long double)i / n) - 1) * std::ldexp(1.0L, m);
        long double rounded = std::nearbyintl(v);
        ASSERT_GT(0.5L - std::fabs(v - rounded), 1e-6L) << "entry " << i << " is near a tie";
        EXPECT_EQ((unsigned long)table[i], (unsigned long)rounded) << "entry " << i;
    }
}

TEST(FplibTables, FexpaMatchesPowersOfTwo) {
    check_fexpa(fplib_tables::fexpa_table16, 32, 10);
    check_fexpa(fplib_tables::fexpa_table32, 64, 23);
    check_fexpa(fplib_tables::fexpa_table64, 64, 52);
}

TEST(FplibTables, FexpaBuildsTheExponentFromTheOperand) {
    // Exponent field 30 and index 0: 2^15.
    EXPECT_EQ(FPEXPA<unsigned short>(0x3C0), 0x7800);
    // Exponent field 31 with the last fraction: a NaN pattern, not treated specially.
    EXPECT_EQ(FPEXPA<unsigned short>(0x3FF), (31 << 10) | 980);
    // Single: field 127, index 32 gives sqrt(2) rounded to 23 bits.
    EXPECT_EQ(FPEXPA<unsigned int>((127u << 6) | 32), 0x3FB504F3u);
    // Double: bits above the exponent field are ignored; index 32 is sqrt(2) in double.
    EXPECT_EQ(FPEXPA<unsigned long>((0xFul << 60) | (1023ul << 6) | 32), 0x3FF6A09E667F3BCDul);
}

double to_double(unsigned long bits) {
    double d;
    std::memcpy(&d, &bits, sizeof d);
    return d;
}

// The FTMAD coefficients are close to the Taylor coefficients of sine and cosine: a wrong sign,
// exponent or swapped entry shows up as a large relative error (the highest-order terms of each
// series differ from Taylor by up to 2%).
TEST(FplibTables, FtmadCoefficientsApproximateTheSeries) {
    const double sine[8] = {1, -1 / 6.0, 1 / 120.0, -1 / 5040.0, 1 / 362880.0,
                            -1 / 39916800.0, 1 / 6227020800.0, 0};
    const double cosine[8] = {1, -1 / 2.0, 1 / 24.0, -1 / 720.0, 1 / 40320.0,
                              -1 / 3628800.0, 1 / 479001600.0, -1 / 87178291200.0};
    const int used[3] = {3, 5, 8};  // coefficients present in half, single, double
    for (int w = 0; w < 3; ++w) {
        for (int i = 0; i < 16; ++i) {
            FPSCR s = 0;
            double v = w == 0   ? to_double(FPConvert<unsigned short, unsigned long>(
                                      fplib_tables::ftmad_coeff16[i], FPRounding_TIEEVEN, s))
                       : w == 1 ? to_double(FPConvert<unsigned int, unsigned long>(
                                      fplib_tables::ftmad_coeff32[i], FPRounding_TIEEVEN, s))
                                : to_double(fplib_tables::ftmad_coeff64[i]);
            double want = i < 8 ? sine[i] : cosine[i - 8];
            int n = used[w] - (w == 2 && i < 8 ? 1 : 0);
            if (i % 8 >= n) {
                EXPECT_EQ(v, 0.0) << "width " << w << " entry " << i;
            } else {
                EXPECT_NEAR(v / want, 1.0, 0.05) << "width " << w << " entry " << i;
            }
        }
    }
}

}  // namespace

// Half-precision vector arithmetic under every rounding mode, with the default NaN (FPCR.DN) and
// with half-precision flush-to-zero (FPCR.FZ16), the exception flags read afterwards. The
// application writes FPCR natively; the emulated instructions must follow what it wrote. (FZ16
// needs a processor with half-precision arithmetic: one without it, such as the Cortex-A72,
// drops that bit from FPCR.)
#include <arm_sve.h>
#include <fenv.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include "fp_util.h"

#define N 50

static __fp16 a[N], b[N], r_div[N], r_mul[N], r_fma[N];

__attribute__((noinline)) void kernels(void) {
    for (int i = 0; i < N; i += (int)svcnth()) {
        svbool_t pg = svwhilelt_b16(i, N);
        svfloat16_t x = svld1_f16(pg, (const float16_t*)a + i);
        svfloat16_t y = svld1_f16(pg, (const float16_t*)b + i);
        svst1_f16(pg, (float16_t*)r_div + i, svdiv_f16_x(pg, x, y));
        svst1_f16(pg, (float16_t*)r_mul + i, svmul_f16_x(pg, x, svdup_n_f16(0.0001f)));
        svst1_f16(pg, (float16_t*)r_fma + i, svmla_f16_x(pg, y, x, x));
    }
}

// Half-precision scalar arithmetic and conversions from integers need FEAT_FP16, which a processor
// without SVE may lack: set-up values are made in single precision and narrowed here.
__attribute__((noinline)) static __fp16 narrow(float f) { return (__fp16)f; }

static uint16_t bits(__fp16 v) { uint16_t u; memcpy(&u, &v, 2); return u; }

int main(void) {
    for (int i = 0; i < N; i++) {
        a[i] = narrow((float)(i + 1) * 0.37f);
        b[i] = narrow((float)(3 * i + 7));
    }
    a[3] = narrow(1.0f); b[3] = narrow(0.0f);  // division by zero
    a[4] = narrow(0.0f); b[4] = narrow(0.0f);  // invalid
    a[5] = narrow(0x1p-13f);                   // the product with 0.0001 is below the subnormals
    a[6] = narrow(60000.0f); b[6] = narrow(60000.0f);  // fma overflows
    uint32_t nan_bits = 0x7FD5E000u;                   // a quiet NaN with a payload
    float nan;
    memcpy(&nan, &nan_bits, 4);
    a[7] = narrow(nan);                                // propagated, or the default NaN under DN
    a[8] = narrow(0x1p-10f);                           // the product with 0.0001 is subnormal: zero under FZ16
    a[9] = narrow(0x1p-20f); b[9] = narrow(0x1p-3f);   // a subnormal operand: read as zero under FZ16
    const uint64_t modes[] = {0, 1u << 22, 2u << 22, 3u << 22, 1u << 25, (2u << 22) | (1u << 25), 1u << 19,
                              (1u << 19) | (1u << 22)};
    const char* names[] = {"nearest", "plus", "minus", "zero", "dn", "minus+dn", "fz16", "fz16+plus"};
    const int n_modes = (int)(sizeof modes / sizeof modes[0]);
    uint64_t saved = fpcr_read();
    for (int m = 0; m < n_modes; m++) {
        feclearexcept(FE_ALL_EXCEPT);
        fpcr_write(modes[m]);
        kernels();
        fpcr_write(saved);
        int f = fetestexcept(FE_ALL_EXCEPT);
        printf("%-10s div=%08x mul=%08x fma=%08x div[0]=%04x mul[5]=%04x fma[6]=%04x mul[7]=%04x mul[8]=%04x div[9]=%04x flags%s%s%s%s%s\n", names[m],
               hash(r_div, sizeof r_div), hash(r_mul, sizeof r_mul), hash(r_fma, sizeof r_fma), bits(r_div[0]),
               bits(r_mul[5]), bits(r_fma[6]), bits(r_mul[7]), bits(r_mul[8]), bits(r_div[9]), f & FE_INEXACT ? " inexact" : "", f & FE_UNDERFLOW ? " underflow" : "",
               f & FE_OVERFLOW ? " overflow" : "", f & FE_DIVBYZERO ? " divbyzero" : "", f & FE_INVALID ? " invalid" : "");
    }
    return 0;
}

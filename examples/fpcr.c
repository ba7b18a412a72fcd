// Writes FPCR (rounding mode, flush to zero) before vector floating-point work, and reads the
// cumulative exception flags afterwards.
#include <fenv.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include "fp_util.h"

#define N 45

static float a[N], b[N], c[N];
static double da[N], dc[N];

__attribute__((noinline)) void divide(int n, const float* restrict p, const float* restrict q, float* restrict r) {
    for (int i = 0; i < n; i++) r[i] = p[i] / q[i];
}

__attribute__((noinline)) void halve(int n, const double* restrict p, double* restrict r) {
    for (int i = 0; i < n; i++) r[i] = p[i] * 0.5;
}

static void report(const char* what) {
    int f = fetestexcept(FE_ALL_EXCEPT);
    printf("%s: c=%08x dc=%08x c[1]=%a c[2]=%a dc[3]=%a flags%s%s%s%s%s\n", what, hash(c, sizeof c),
           hash(dc, sizeof dc), c[1], c[2], dc[3], f & FE_INEXACT ? " inexact" : "",
           f & FE_UNDERFLOW ? " underflow" : "", f & FE_OVERFLOW ? " overflow" : "",
           f & FE_DIVBYZERO ? " divbyzero" : "", f & FE_INVALID ? " invalid" : "");
}

int main(void) {
    for (int i = 0; i < N; i++) {
        a[i] = (float)(i + 1);
        b[i] = (float)(3 * i + 7);
        da[i] = 0x1p-1022 * (i + 1);  // subnormal halves
    }
    a[5] = 1.0f; b[5] = 0.0f;   // division by zero
    a[6] = 0.0f; b[6] = 0.0f;   // invalid
    const uint64_t modes[] = {0, 1u << 22, 2u << 22, 3u << 22, 1u << 24, (3u << 22) | (1u << 24)};
    const char* names[] = {"nearest", "plus", "minus", "zero", "flush", "zero+flush"};
    uint64_t saved = fpcr_read();
    for (int m = 0; m < 6; m++) {
        feclearexcept(FE_ALL_EXCEPT);
        fpcr_write(modes[m]);
        divide(N, a, b, c);
        halve(N, da, dc);
        fpcr_write(saved);
        report(names[m]);
    }
    return 0;
}

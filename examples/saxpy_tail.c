// Auto-vectorised single-precision kernels over arrays whose length is not a multiple of the
// vector: the last iteration runs with a partial predicate.
#include <stdio.h>

#define N 1003

static float x[N], y[N], z[N];

__attribute__((noinline)) void saxpy(int n, float a, const float* restrict xs, float* restrict ys) {
    for (int i = 0; i < n; i++) ys[i] = a * xs[i] + ys[i];
}

__attribute__((noinline)) void scale_add(int n, const float* restrict xs, const float* restrict ys,
                                         float* restrict out) {
    for (int i = 0; i < n; i++) out[i] = xs[i] * 0.5f - ys[i] / 3.0f;
}

__attribute__((noinline)) float sum(int n, const float* xs) {
    float s = 0;
    for (int i = 0; i < n; i++) s += xs[i];
    return s;
}

int main(void) {
    for (int i = 0; i < N; i++) {
        x[i] = (float)i * 0.25f - 7.0f;
        y[i] = (float)(i % 17) * 1.5f;
    }
    saxpy(N, 2.5f, x, y);
    scale_add(N, x, y, z);
    for (int n = 1; n <= 41; n += 8) printf("sum(%d) = %a\n", n, sum(n, z));
    printf("y[0]=%a y[19]=%a y[20]=%a y[1002]=%a\n", y[0], y[19], y[20], y[1002]);
    printf("z[7]=%a z[500]=%a z[1001]=%a\n", z[7], z[500], z[1001]);
    printf("total = %a\n", sum(N, z));
    return 0;
}

// Dense single-precision matrix products, C = A * B, with the inner loop over the columns of a
// row of B (contiguous loads, fused multiply-adds, a partial vector at the end of every row of
// 70 elements). Heavy in SVE instructions and light in everything else: the benchmark of the
// patch stage against the trap stage. An optional argument repeats the product.
#include <stdio.h>
#include <stdlib.h>

#define N 70

static float a[N][N], b[N][N], c[N][N];

__attribute__((noinline)) void product(void) {
    for (int i = 0; i < N; i++) {
        for (int j = 0; j < N; j++) c[i][j] = 0.0f;
        for (int k = 0; k < N; k++) {
            float s = a[i][k];
            for (int j = 0; j < N; j++) c[i][j] += s * b[k][j];
        }
    }
}

int main(int argc, char** argv) {
    int reps = argc > 1 ? atoi(argv[1]) : 1;
    for (int i = 0; i < N; i++)
        for (int j = 0; j < N; j++) {
            a[i][j] = (float)((i * 7 + j * 3) % 17) / 9.0f - 1.0f;
            b[i][j] = (float)((i * 5 + j * 11) % 13) / 7.0f + 0.25f;
        }
    for (int r = 0; r < reps; r++) product();
    float trace = 0, sum = 0;
    for (int i = 0; i < N; i++) {
        trace += c[i][i];
        for (int j = 0; j < N; j++) sum += c[i][j] * (float)((i + j) % 3 - 1);
    }
    printf("trace %a weighted sum %a c[3][66] %a\n", trace, sum, c[3][66]);
    return 0;
}

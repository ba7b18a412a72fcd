// SVE intrinsics: a predicated double-precision dot product, a vector-length query,
// a compare-and-count, and a reduction.
#include <arm_sve.h>
#include <stdio.h>

#define N 203

static double u[N], v[N];
static int32_t w[N];

static double dot(const double* p, const double* q, int n) {
    svfloat64_t acc = svdup_f64(0.0);
    for (int i = 0; i < n; i += (int)svcntd()) {
        svbool_t pg = svwhilelt_b64(i, n);
        acc = svmla_f64_m(pg, acc, svld1_f64(pg, p + i), svld1_f64(pg, q + i));
    }
    return svaddv_f64(svptrue_b64(), acc);
}

static uint64_t count_greater(const int32_t* p, int n, int32_t limit) {
    uint64_t c = 0;
    for (int i = 0; i < n; i += (int)svcntw()) {
        svbool_t pg = svwhilelt_b32(i, n);
        svbool_t gt = svcmpgt_n_s32(pg, svld1_s32(pg, p + i), limit);
        c += svcntp_b32(pg, gt);
    }
    return c;
}

static int32_t max_abs(const int32_t* p, int n) {
    svint32_t m = svdup_s32(0);
    for (int i = 0; i < n; i += (int)svcntw()) {
        svbool_t pg = svwhilelt_b32(i, n);
        m = svmax_s32_m(pg, m, svabs_s32_x(pg, svld1_s32(pg, p + i)));
    }
    return svmaxv_s32(svptrue_b32(), m);
}

int main(void) {
    for (int i = 0; i < N; i++) {
        u[i] = 1.0 / (i + 1);
        v[i] = (double)(i % 13) - 6.0;
        w[i] = (i * 37) % 101 - 50;
    }
    printf("vector bytes = %d\n", (int)svcntb());
    printf("dot = %a\n", dot(u, v, N));
    printf("greater than 10: %llu\n", (unsigned long long)count_greater(w, N, 10));
    printf("max |w| = %d\n", max_abs(w, N));
    return 0;
}

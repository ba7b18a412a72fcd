// A loop with a deliberate vector-length bug. The main loop runs whole vectors under an
// all-true predicate and leaves the rest to a scalar tail, but its guard was written on a
// machine with 8 lanes of 32 bits (256 bits): "at least 8 elements left" instead of "at least one
// whole vector left". With 8 lanes or fewer the guard is only stricter and the sums are right;
// with more, the last whole-vector pass can read past the n elements (into the rest of the data
// or the sentinels behind it): right at 128 and 256 bits, wrong at 512 bits and more. The
// program checks its sums, says which are wrong on standard error and exits with status 1.
// sve-run --vl-sweep shows where it breaks.
#include <arm_sve.h>
#include <stdint.h>
#include <stdio.h>

#define N 100
#define ASSUMED_LANES 8

static int32_t buf[N + 2048 / 32];  // the data, then sentinels up to the largest vector

__attribute__((noinline)) int64_t sum(const int32_t* p, int n) {
    svbool_t all = svptrue_b32();
    svint32_t acc = svdup_s32(0);
    int i = 0;
    for (; i + ASSUMED_LANES <= n; i += (int)svcntw())  // the bug: should be i + svcntw() <= n
        acc = svadd_s32_x(all, acc, svld1_s32(all, p + i));
    int64_t s = svaddv_s32(all, acc);
    for (; i < n; i++) s += p[i];
    return s;
}

int main(void) {
    for (int i = 0; i < N; i++) buf[i] = i + 1;
    for (int i = N; i < (int)(sizeof buf / sizeof buf[0]); i++) buf[i] = 1000000;
    int wrong = 0;
    for (int n = 90; n <= N; n += 5) {
        long long got = sum(buf, n), want = n * (n + 1) / 2;
        printf("sum of 1..%d = %lld (expected %lld)\n", n, got, want);
        if (got != want) {
            fprintf(stderr, "lane_guard_bug: the sum of 1..%d is wrong\n", n);
            wrong++;
        }
    }
    return wrong != 0;
}

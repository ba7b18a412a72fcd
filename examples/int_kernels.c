// Auto-vectorised integer kernels: widening sums, min/max, conditional updates, bytes.
#include <stdint.h>
#include <stdio.h>

#define N 777

static int32_t a[N], b[N];
static uint8_t bytes[N];
static int64_t wide[N];

__attribute__((noinline)) int64_t dot(int n, const int32_t* p, const int32_t* q) {
    int64_t s = 0;
    for (int i = 0; i < n; i++) s += (int64_t)p[i] * q[i];
    return s;
}

__attribute__((noinline)) int32_t max_of(int n, const int32_t* p) {
    int32_t m = INT32_MIN;
    for (int i = 0; i < n; i++) m = p[i] > m ? p[i] : m;
    return m;
}

__attribute__((noinline)) void clamp_bytes(int n, const int32_t* p, uint8_t* out) {
    for (int i = 0; i < n; i++) out[i] = (uint8_t)(p[i] < 0 ? 0 : p[i] > 255 ? 255 : p[i]);
}

__attribute__((noinline)) void cond_update(int n, const int32_t* p, int64_t* w) {
    for (int i = 0; i < n; i++)
        if (p[i] & 1) w[i] = (int64_t)p[i] * 3 - 5;
}

__attribute__((noinline)) uint32_t byte_sum(int n, const uint8_t* p) {
    uint32_t s = 0;
    for (int i = 0; i < n; i++) s += p[i];
    return s;
}

int main(void) {
    uint32_t r = 12345;
    for (int i = 0; i < N; i++) {
        r = r * 1103515245u + 12345u;
        a[i] = (int32_t)(r >> 8) % 1000 - 300;
        b[i] = i * 7 - 2000;
        wide[i] = -1;
    }
    printf("dot = %lld\n", (long long)dot(N, a, b));
    printf("max = %d\n", max_of(N, a));
    clamp_bytes(N, a, bytes);
    printf("bytes: %u %u %u, sum %u\n", bytes[0], bytes[100], bytes[776], byte_sum(N, bytes));
    cond_update(N, a, wide);
    int64_t s = 0;
    for (int i = 0; i < N; i++) s += wide[i] * (i + 1);
    printf("cond = %lld\n", (long long)s);
    return 0;
}

// A region of interest around one vectorised loop: the emulated loads and stores between the
// start and stop markers go to the trace. MARKERS=0 builds the same program without them.
#include <stdint.h>
#include <stdio.h>

#ifndef MARKERS
#define MARKERS 1
#endif
#if MARKERS
#define ROI_START() __asm__ volatile(".inst 0x2520E020" ::: "memory")  // add z0.b, z0.b, #1, lsl #8
#define ROI_STOP() __asm__ volatile(".inst 0x2520E040" ::: "memory")   // add z0.b, z0.b, #2, lsl #8
#else
#define ROI_START()
#define ROI_STOP()
#endif

#define N 100

static int32_t src[N], dst[N];

__attribute__((noinline)) void copy_scaled(int n, const int32_t* restrict s, int32_t* restrict d) {
    for (int i = 0; i < n; i++) d[i] = s[i] * 3;
}

int main(void) {
    for (int i = 0; i < N; i++) src[i] = i;
    copy_scaled(N, src, dst);  // outside the region
    ROI_START();
    copy_scaled(N, src, dst);
    ROI_STOP();
    long s = 0;
    for (int i = 0; i < N; i++) s += dst[i];
    printf("sum = %ld\n", s);
    return 0;
}

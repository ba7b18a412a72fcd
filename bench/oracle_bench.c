/* Time of one instruction under the reference implementation: each instruction of the set runs
 * in a loop of 16 copies, from the same registers as the native benchmarks, and the time of
 * the same loop of nops is subtracted. Prints one line per instruction: nanoseconds, text.
 * Built for AArch64 with SVE; run under qemu-aarch64 -cpu max,sve-default-vector-length=80,
 * or under sve-run for the emulation's time.
 *
 *   oracle_bench [ITERATIONS]   the times (20000 iterations of each loop by default)
 *   oracle_bench count          for an instruction counter: each loop once untimed (under
 *                               sve-run its words trap and are patched there), then with 5 and
 *                               with 15 iterations, each between calls of count_begin() and
 *                               count_end(); the difference of the two is 10 iterations. Then
 *                               prints the process's mappings (/proc/self/maps), which place
 *                               the counted instructions in their libraries. */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

static uint8_t buffer[64 << 10] __attribute__((aligned(64)));

#define SETUP_i "index z1.s, #1, #3\n index z2.s, w2, #-1\n"
#define SETUP_h "fmov z1.h, #1.25\n fmov z2.h, #1.5\n"
#define SETUP_s "fmov z1.s, #1.25\n fmov z2.s, #1.5\n"
#define SETUP_d "fmov z1.d, #1.25\n fmov z2.d, #1.5\n"

#define LOOP(setup, word)                                                                      \
    static void run_##word(long n) {                                                           \
        void* x0 = buffer;                                                                     \
        asm volatile("mov x0, %[buf]\n mov x1, #0\n mov x2, #1000\n ptrue p0.b\n setffr\n"     \
                     "mov z0.b, #0\n index z3.s, #0, #1\n" setup                               \
                     "1:\n .rept 16\n .inst " #word "\n .endr\n subs %[n], %[n], #1\n b.ne 1b\n" \
                     : [n] "+r"(n)                                                             \
                     : [buf] "r"(x0)                                                           \
                     : "x0", "x1", "x2", "v0", "v1", "v2", "v3", "z0", "z1", "z2", "z3", "p0",    \
                       "p2", "ffr", "memory", "cc");                                           \
    }

#define KIND_i SETUP_i
#define KIND_h SETUP_h
#define KIND_s SETUP_s
#define KIND_d SETUP_d
#define BENCH_INSN(text, word, kind) LOOP(KIND_##kind, word)
#include "bench/instructions.inc"
#undef BENCH_INSN

static void run_nop(long n) {
    asm volatile("1:\n .rept 16\n nop\n .endr\n subs %[n], %[n], #1\n b.ne 1b\n" : [n] "+r"(n) : : "cc");
}

static double seconds(void (*f)(long), long n) {
    struct timespec a, b;
    double best = 1e30;
    for (int rep = 0; rep < 3; rep++) {
        clock_gettime(CLOCK_MONOTONIC, &a);
        f(n);
        clock_gettime(CLOCK_MONOTONIC, &b);
        double t = (double)(b.tv_sec - a.tv_sec) + 1e-9 * (double)(b.tv_nsec - a.tv_nsec);
        if (t < best) best = t;
    }
    return best;
}

__attribute__((noinline)) void count_begin(void) { __asm__ volatile("" ::: "memory"); }
__attribute__((noinline)) void count_end(void) { __asm__ volatile("" ::: "memory"); }

/* One counted call: the same code around both lengths, so that only the iterations differ. */
__attribute__((noinline)) static void counted_call(void (*f)(long), long n) {
    count_begin();
    f(n);
    count_end();
}

static void counted(void (*f)(long)) {
    f(1);
    counted_call(f, 5);
    counted_call(f, 15);
}

int main(int argc, char** argv) {
    if (argc > 1 && strcmp(argv[1], "count") == 0) {
#define BENCH_INSN(text, word, kind) counted(run_##word);
#include "bench/instructions.inc"
#undef BENCH_INSN
        FILE* maps = fopen("/proc/self/maps", "r");
        char line[512];
        while (maps && fgets(line, sizeof line, maps)) fputs(line, stdout);
        return 0;
    }
    long n = argc > 1 ? atol(argv[1]) : 20000;
    double base = seconds(run_nop, n);
#define BENCH_INSN(text, word, kind) \
    printf("%.2f\t%s\n", 1e9 * (seconds(run_##word, n) - base) / (16.0 * (double)n), text);
#include "bench/instructions.inc"
    return 0;
}

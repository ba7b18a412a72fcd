// The feature probe of test harnesses: a SIGILL handler around a trial instruction, then the
// default action back, then SVE work. The SVE trial succeeds (the emulator carries it out), an
// undefined word reaches the program's handler, and after SIG_DFL the SVE loop still runs.
#include <setjmp.h>
#include <signal.h>
#include <stdint.h>
#include <string.h>

#include "check.h"
#include "sve_sum.h"

static sigjmp_buf probe_env;
static volatile int probe_signals;

static void on_sigill(int sig) {
    (void)sig;
    probe_signals++;
    siglongjmp(probe_env, 1);
}

// Whether the trial instruction runs: 1, or 0 after a SIGILL.
static int probe(void (*trial)(void)) {
    signal(SIGILL, on_sigill);
    int ok = 0;
    if (sigsetjmp(probe_env, 1) == 0) {
        trial();
        ok = 1;
    }
    signal(SIGILL, SIG_DFL);
    return ok;
}

static void trial_sve(void) { __asm__ volatile("ptrue p0.b\n\tcntb x0" ::: "x0", "p0"); }
static void trial_undefined(void) { __asm__ volatile("udf #3"); }

// Sum of squares with SVE, the loop compilers emit for vectorised reductions.
SVE_SUM(sum_squares_sve, int32_t, "d", "ld1sw {z1.d}, p0/z, [%[a], x9, lsl #2]", "mla z0.d, p0/m, z1.d, z1.d", "incd",
        "uaddv d0, p1, z0.d")

int main(void) {
    CHECK(probe(trial_sve) == 1, "the SVE trial raised SIGILL");
    CHECK(probe(trial_undefined) == 0, "the undefined trial ran");
    CHECK(probe_signals == 1, "%d signals reached the probe's handler, expected 1", probe_signals);
    struct sigaction now;
    sigaction(SIGILL, NULL, &now);
    CHECK(now.sa_handler == SIG_DFL, "SIGILL action not back to SIG_DFL");

    static int32_t a[1003];
    int64_t expect = 0;
    for (int i = 0; i < 1003; i++) {
        a[i] = i * 7 - 3000;
        expect += (int64_t)a[i] * a[i];
    }
    for (int round = 0; round < 3; round++) {  // first executions after SIG_DFL, then patched ones
        int64_t got = sum_squares_sve(a, 1003 - round);
        CHECK(got == expect, "round %d: sum %lld, expected %lld", round, (long long)got, (long long)expect);
        expect -= (int64_t)a[1002 - round] * a[1002 - round];
    }
    printf("probe: %d failures\n", check_failures);
    return check_failures != 0;
}

// SVE work with every signal blocked: the emulator still takes its traps, and the program reads
// back the mask it set. A SIGSEGV sent while blocked waits until the program unblocks it.
#include <pthread.h>
#include <signal.h>
#include <stdint.h>
#include <string.h>
#include <unistd.h>

#include "check.h"
#include "sve_sum.h"

// Sum with saturating SVE adds (a generic-tier row) over 32-bit lanes.
SVE_SUM(sum_sve, int32_t, "s", "ld1w {z1.s}, p0/z, [%[a], x9, lsl #2]", "sqadd z0.s, z0.s, z1.s", "incw", "saddv d0, p1, z0.s")

static volatile int segv_count;
static void on_segv(int sig) {
    (void)sig;
    segv_count++;
}

// A SIGUSR1 handler whose action blocks every signal, run from sigsuspend: it does SVE work
// and reads the mask it runs with.
static const int32_t* usr1_data;
static volatile int64_t usr1_sum;
static volatile int usr1_saw_all;
static int has_all(const sigset_t* s);
static void on_usr1(int sig) {
    (void)sig;
    usr1_sum = sum_sve(usr1_data, 500);
    sigset_t now;
    sigprocmask(SIG_BLOCK, NULL, &now);
    usr1_saw_all = has_all(&now);
}

static int has_all(const sigset_t* s) {
    static const int sigs[] = {SIGILL, SIGSEGV, SIGBUS, SIGUSR1, SIGTERM, SIGALRM};
    for (unsigned i = 0; i < sizeof sigs / sizeof sigs[0]; i++)
        if (sigismember(s, sigs[i]) != 1) return 0;
    return 1;
}

static void* in_thread(void* arg) {
    sigset_t now;
    pthread_sigmask(SIG_BLOCK, NULL, &now);
    *(int*)arg = has_all(&now);
    return NULL;
}

int main(void) {
    static int32_t a[777];
    int64_t expect = 0;
    for (int i = 0; i < 777; i++) {
        a[i] = i % 13 - 6;
        expect += a[i];
    }
    signal(SIGSEGV, on_segv);
    sigset_t all, old, now;
    sigfillset(&all);
    CHECK(sigprocmask(SIG_BLOCK, &all, &old) == 0, "sigprocmask");
    CHECK(sigismember(&old, SIGSEGV) == 0 && sigismember(&old, SIGILL) == 0, "old mask had kept signals");
    for (int round = 0; round < 2; round++) {
        int64_t got = sum_sve(a, 777);
        CHECK(got == expect, "round %d: sum %lld, expected %lld", round, (long long)got, (long long)expect);
    }
    sigprocmask(SIG_BLOCK, NULL, &now);
    CHECK(has_all(&now), "sigprocmask read back lacks a blocked signal");
    pthread_sigmask(SIG_BLOCK, NULL, &now);
    CHECK(has_all(&now), "pthread_sigmask read back lacks a blocked signal");
    int thread_sees_all = 0;
    pthread_t t;
    pthread_create(&t, NULL, in_thread, &thread_sees_all);
    pthread_join(t, NULL);
    CHECK(thread_sees_all, "a new thread did not inherit the blocked mask");

    kill(getpid(), SIGSEGV);
    CHECK(segv_count == 0, "SIGSEGV delivered while blocked");
    sigset_t pending;
    sigpending(&pending);
    CHECK(sigismember(&pending, SIGSEGV) == 1, "SIGSEGV not pending");
    sigset_t segv;
    sigemptyset(&segv);
    sigaddset(&segv, SIGSEGV);
    sigprocmask(SIG_UNBLOCK, &segv, NULL);
    CHECK(segv_count == 1, "SIGSEGV delivered %d times after unblocking", segv_count);
    sigprocmask(SIG_BLOCK, NULL, &now);
    CHECK(sigismember(&now, SIGSEGV) == 0 && sigismember(&now, SIGBUS) == 1, "mask after unblocking SIGSEGV");
    sigprocmask(SIG_SETMASK, &old, NULL);
    sigprocmask(SIG_BLOCK, NULL, &now);
    CHECK(sigismember(&now, SIGBUS) == 0 && sigismember(&now, SIGUSR1) == 0, "mask not restored");

    // sigsuspend with every signal but SIGUSR1 blocked, into a handler that blocks everything.
    struct sigaction sa;
    memset(&sa, 0, sizeof sa);
    sa.sa_handler = on_usr1;
    sigfillset(&sa.sa_mask);
    sigaction(SIGUSR1, &sa, NULL);
    struct sigaction back;
    sigaction(SIGUSR1, NULL, &back);
    CHECK(back.sa_handler == on_usr1 && has_all(&back.sa_mask), "SIGUSR1 action read back");
    usr1_data = a;
    int64_t expect500 = 0;
    for (int i = 0; i < 500; i++) expect500 += a[i];
    sigprocmask(SIG_BLOCK, &all, NULL);
    raise(SIGUSR1);
    CHECK(usr1_sum == 0, "SIGUSR1 ran while blocked");
    sigset_t wait = all;
    sigdelset(&wait, SIGUSR1);
    CHECK(sigsuspend(&wait) == -1, "sigsuspend");
    CHECK(usr1_sum == expect500, "SVE sum in the handler %lld, expected %lld", (long long)usr1_sum, (long long)expect500);
    CHECK(usr1_saw_all, "the handler's mask lacks a signal of its action's mask");
    sigprocmask(SIG_BLOCK, NULL, &now);
    CHECK(has_all(&now), "mask after sigsuspend");
    sigprocmask(SIG_SETMASK, &old, NULL);

    printf("masks: %d failures\n", check_failures);
    return check_failures != 0;
}

// Generic-tier SVE instructions (sqadd, smulh, fadd .h with an immediate) on a 16 KiB stack: in
// a context of its own, where the lower half of the stack must stay untouched (the emulation
// runs on the emulator's stack, not the program's), and in a thread with a small stack.
#include <pthread.h>
#include <stdint.h>
#include <string.h>
#include <sys/mman.h>
#include <ucontext.h>
#include <unistd.h>

#include "check.h"

#define LANES 20  // 32-bit lanes of an 80-byte vector
#define HALVES 40
#define STACK (16 * 1024)

void generic_ops(const int32_t* a, const int32_t* b, int32_t* sum, int32_t* high, uint16_t* halves);
__asm__(
    ".arch armv8.2-a+sve\n"
    ".text\n"
    ".globl generic_ops\n.type generic_ops, %function\n"
    "generic_ops:\n"
    "  ptrue p0.s\n"
    "  ld1w {z0.s}, p0/z, [x0]\n"
    "  ld1w {z1.s}, p0/z, [x1]\n"
    "  sqadd z2.s, z0.s, z1.s\n"
    "  st1w {z2.s}, p0, [x2]\n"
    "  smulh z0.s, p0/m, z0.s, z1.s\n"
    "  st1w {z0.s}, p0, [x3]\n"
    "  ptrue p1.h\n"
    "  ld1h {z3.h}, p1/z, [x4]\n"
    "  fadd z3.h, p1/m, z3.h, #1.0\n"
    "  st1h {z3.h}, p1, [x4]\n"
    "  ret\n");

static int32_t a[LANES], b[LANES], sum[LANES], high[LANES];
static uint16_t halves[HALVES];
// Half-precision bit patterns and the pattern of each plus one: -1 -> 0, 0 -> 1, 1 -> 2, 2 -> 3.
static const uint16_t half_in[4] = {0xBC00, 0x0000, 0x3C00, 0x4000};
static const uint16_t half_out[4] = {0x0000, 0x3C00, 0x4000, 0x4200};

static void prepare(void) {
    for (int i = 0; i < LANES; i++) {
        a[i] = (i & 1) ? INT32_MAX - i : INT32_MIN + 3 * i;
        b[i] = (i % 3 == 0) ? i * 1000 : (i & 1) ? 77777 * i : -88888 * i;
    }
    for (int i = 0; i < HALVES; i++) halves[i] = half_in[i % 4];
}

static void verify(const char* where) {
    for (int i = 0; i < LANES; i++) {
        int64_t s = (int64_t)a[i] + b[i];
        int32_t expect = s > INT32_MAX ? INT32_MAX : s < INT32_MIN ? INT32_MIN : (int32_t)s;
        CHECK(sum[i] == expect, "%s: sqadd lane %d: %d, expected %d", where, i, sum[i], expect);
        int32_t h = (int32_t)(((int64_t)a[i] * b[i]) >> 32);
        CHECK(high[i] == h, "%s: smulh lane %d: %d, expected %d", where, i, high[i], h);
    }
    for (int i = 0; i < HALVES; i++)
        CHECK(halves[i] == half_out[i % 4], "%s: fadd .h lane %d: %#x, expected %#x", where, i, halves[i], half_out[i % 4]);
}

static void work(void) {
    for (int round = 0; round < 2; round++) {  // a trap, then the patched words
        prepare();
        generic_ops(a, b, sum, high, halves);
    }
}

static void* thread_work(void* arg) {
    (void)arg;
    work();
    return NULL;
}

int main(void) {
    long page = sysconf(_SC_PAGESIZE);
    unsigned char* m = mmap(NULL, (size_t)page + STACK, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    mprotect(m, (size_t)page, PROT_NONE);
    unsigned char* stack = m + page;
    memset(stack, 0xA5, STACK);
    ucontext_t here, small;
    getcontext(&small);
    small.uc_stack.ss_sp = stack;
    small.uc_stack.ss_size = STACK;
    small.uc_link = &here;
    makecontext(&small, work, 0);
    swapcontext(&here, &small);
    verify("small context");
    int untouched = 0;
    while (untouched < STACK && stack[untouched] == 0xA5) untouched++;
    CHECK(untouched >= STACK / 2, "the small stack was used down to %d bytes from its end", untouched);

    pthread_attr_t attr;
    pthread_attr_init(&attr);
    size_t size = STACK;
    while (pthread_attr_setstacksize(&attr, size) != 0) size *= 2;  // the smallest the C library allows
    pthread_t t;
    memset(sum, 0, sizeof sum);
    CHECK(pthread_create(&t, &attr, thread_work, NULL) == 0, "pthread_create with a %zu-byte stack", size);
    pthread_join(t, NULL);
    verify("small thread");
    printf("small_stack: %d failures (thread stack %zu bytes)\n", check_failures, size);
    return check_failures != 0;
}

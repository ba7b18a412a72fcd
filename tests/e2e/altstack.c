// A program's own alternate signal stack: read back as the program set it, and its SA_ONSTACK
// handler runs there, for a fault of its scalar code and for one of an emulated SVE load.
#include <setjmp.h>
#include <signal.h>
#include <stdint.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#include "check.h"

uint64_t sve_first_word(const void* p);
__asm__(
    ".arch armv8.2-a+sve\n"
    ".text\n"
    ".globl sve_first_word\n.type sve_first_word, %function\n"
    "sve_first_word:\n"
    "  ptrue p0.d\n"
    "  ld1d {z0.d}, p0/z, [x0]\n"
    "  fmov x0, d0\n"
    "  ret\n");

#define ALT (64 * 1024)
static unsigned char alt[ALT] __attribute__((aligned(16)));
static sigjmp_buf back;
static volatile uintptr_t handler_local;
static volatile int handler_flags;

// Where the handler runs, and what sigaltstack says there.
static void note_stack(void) {
    volatile int local = 0;
    handler_local = (uintptr_t)&local;
    stack_t now;
    sigaltstack(NULL, &now);
    handler_flags = now.ss_flags;
}

static void on_segv(int sig) {
    (void)sig;
    note_stack();
    siglongjmp(back, 1);
}

static void on_usr1(int sig) {
    (void)sig;
    note_stack();
}

static int fault_with(void (*fn)(const void*), const void* p) {
    handler_local = 0;
    handler_flags = -1;
    if (sigsetjmp(back, 1)) return 1;
    fn(p);
    return 0;
}

static void scalar(const void* p) { (void)*(volatile const uint64_t*)p; }
static void vector(const void* p) { sve_first_word(p); }

int main(void) {
    stack_t ss;
    CHECK(sigaltstack(NULL, &ss) == 0 && (ss.ss_flags & SS_DISABLE), "an alternate stack before the program set one");
    ss.ss_sp = alt;
    ss.ss_size = ALT;
    ss.ss_flags = 0;
    CHECK(sigaltstack(&ss, NULL) == 0, "sigaltstack");
    stack_t back_ss;
    sigaltstack(NULL, &back_ss);
    CHECK(back_ss.ss_sp == alt && back_ss.ss_size == ALT && back_ss.ss_flags == 0, "read back: %p %zu %d",
          back_ss.ss_sp, back_ss.ss_size, back_ss.ss_flags);

    struct sigaction sa;
    memset(&sa, 0, sizeof sa);
    sa.sa_handler = on_segv;
    sa.sa_flags = SA_ONSTACK | SA_NODEFER;
    sigemptyset(&sa.sa_mask);
    sigaction(SIGSEGV, &sa, NULL);

    long page = sysconf(_SC_PAGESIZE);
    unsigned char* none = mmap(NULL, (size_t)page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    static const struct {
        const char* what;
        void (*fn)(const void*);
    } cases[] = {{"scalar", scalar}, {"SVE", vector}, {"SVE again", vector}};
    for (unsigned i = 0; i < sizeof cases / sizeof cases[0]; i++) {
        CHECK(fault_with(cases[i].fn, none), "%s load of a PROT_NONE page returned", cases[i].what);
        CHECK(handler_local >= (uintptr_t)alt && handler_local < (uintptr_t)alt + ALT,
              "%s: the handler ran at %#lx, not on the program's alternate stack", cases[i].what, (unsigned long)handler_local);
        CHECK(handler_flags == SS_ONSTACK, "%s: ss_flags %d in the handler", cases[i].what, handler_flags);
    }
    // Another signal's SA_ONSTACK handler runs there too.
    sa.sa_handler = on_usr1;
    sigaction(SIGUSR1, &sa, NULL);
    handler_local = 0;
    raise(SIGUSR1);
    CHECK(handler_local >= (uintptr_t)alt && handler_local < (uintptr_t)alt + ALT,
          "SIGUSR1: the handler ran at %#lx, not on the program's alternate stack", (unsigned long)handler_local);
    CHECK(handler_flags == SS_ONSTACK, "SIGUSR1: ss_flags %d in the handler", handler_flags);

    static uint64_t word = 0x0123456789ABCDEFull;
    CHECK(sve_first_word(&word) == word, "SVE load of readable memory");
    printf("altstack: %d failures\n", check_failures);
    return check_failures != 0;
}

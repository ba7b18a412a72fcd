// The program's own SIGSEGV, SIGBUS and SIGILL handlers under emulation: a fault of its scalar
// code, a fault of an emulated SVE load (pc at the SVE word, registers as before it, si_addr the
// first address that cannot be read), signals it sends itself, the action read back, the mask
// while a handler runs, and SA_RESETHAND.
#include <setjmp.h>
#include <signal.h>
#include <stdint.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#include "check.h"

uint64_t scalar_load(const void* p);
uint64_t sve_load(const void* p, uint64_t magic);
__asm__(
    ".arch armv8.2-a+sve\n"
    ".text\n"
    ".globl scalar_load\n.type scalar_load, %function\n"
    "scalar_load:\n"
    "  ldr x0, [x0]\n"
    "  ret\n"
    ".globl sve_load\n.type sve_load, %function\n"
    "sve_load:\n"
    "  fmov d2, x1\n"
    "  ptrue p0.s\n"
    "  ld1w {z0.s}, p0/z, [x0]\n"  // sve_load + 8
    "  fmov x0, d0\n"
    "  ret\n");

struct seen {
    int count, sig, code;
    uintptr_t addr, pc, x0, x1, d2;
    pid_t pid;
    int blocked_self, blocked_usr1;
};
static volatile struct seen seen;
static sigjmp_buf back;
static volatile int jump_back;

static uint64_t low_d2(ucontext_t* uc) {
    unsigned char* p = (unsigned char*)uc->uc_mcontext.__reserved;
    for (int guard = 0; guard < 16; guard++) {
        uint32_t magic, size;
        memcpy(&magic, p, 4);
        memcpy(&size, p + 4, 4);
        if (magic == 0x46508001) {  // the FP/SIMD record: magic, size, fpsr, fpcr, then v0..v31
            uint64_t d;
            memcpy(&d, p + 16 + 2 * 16, 8);
            return d;
        }
        if (magic == 0 || size == 0) break;
        p += size;
    }
    return 0;
}

static void on_signal(int sig, siginfo_t* info, void* context) {
    ucontext_t* uc = context;
    sigset_t now;
    sigprocmask(SIG_BLOCK, NULL, &now);
    seen.count++;
    seen.sig = sig;
    seen.code = info->si_code;
    seen.addr = (uintptr_t)info->si_addr;
    seen.pid = info->si_pid;
    seen.pc = uc->uc_mcontext.pc;
    seen.x0 = uc->uc_mcontext.regs[0];
    seen.x1 = uc->uc_mcontext.regs[1];
    seen.d2 = low_d2(uc);
    seen.blocked_self = sigismember(&now, sig);
    seen.blocked_usr1 = sigismember(&now, SIGUSR1);
    if (jump_back) siglongjmp(back, 1);
}

// A handler that makes the faulting page writable and returns: the instruction runs again.
static long page_size;
static volatile int retries;
static void on_segv_unprotect(int sig, siginfo_t* info, void* context) {
    (void)sig;
    (void)context;
    retries++;
    mprotect((void*)((uintptr_t)info->si_addr & ~(uintptr_t)(page_size - 1)), (size_t)page_size, PROT_READ | PROT_WRITE);
}

static void install(int sig, int flags) {
    struct sigaction sa;
    memset(&sa, 0, sizeof sa);
    sa.sa_sigaction = on_signal;
    sigemptyset(&sa.sa_mask);
    sigaddset(&sa.sa_mask, SIGUSR1);
    sa.sa_flags = SA_SIGINFO | flags;
    CHECK(sigaction(sig, &sa, NULL) == 0, "sigaction %d", sig);
}

// Runs `fn(p, magic)`, which must fault; false if it returned.
static int faults(uint64_t (*fn)(const void*, uint64_t), const void* p, uint64_t magic) {
    memset((void*)&seen, 0, sizeof seen);
    jump_back = 1;
    int faulted = sigsetjmp(back, 1);
    if (!faulted) fn(p, magic);
    jump_back = 0;
    return faulted;
}

static uint64_t scalar_load2(const void* p, uint64_t magic) {
    (void)magic;
    return scalar_load(p);
}

int main(void) {
    long page = sysconf(_SC_PAGESIZE);
    unsigned char* mem = mmap(NULL, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    unsigned char* guard = mem + page;
    mprotect(guard, page, PROT_NONE);
    for (int i = 0; i < page; i++) mem[i] = (unsigned char)i;

    // Read back before anything was installed: the default action.
    struct sigaction old;
    sigaction(SIGSEGV, NULL, &old);
    CHECK(old.sa_handler == SIG_DFL, "SIGSEGV action at start is not SIG_DFL");
    sigaction(SIGILL, NULL, &old);
    CHECK(old.sa_handler == SIG_DFL, "SIGILL action at start is not SIG_DFL");

    install(SIGSEGV, SA_RESTART);
    sigaction(SIGSEGV, NULL, &old);
    CHECK(old.sa_sigaction == on_signal, "handler read back differs");
    CHECK((old.sa_flags & (SA_SIGINFO | SA_RESTART | SA_NODEFER | SA_RESETHAND | SA_ONSTACK)) == (SA_SIGINFO | SA_RESTART),
          "flags read back 0x%x", old.sa_flags);
    CHECK(sigismember(&old.sa_mask, SIGUSR1) == 1 && sigismember(&old.sa_mask, SIGUSR2) == 0, "mask read back");

    CHECK(faults(scalar_load2, guard, 0), "scalar load of the guard page returned");
    CHECK(seen.sig == SIGSEGV && seen.code == SEGV_ACCERR, "scalar fault: signal %d code %d", seen.sig, seen.code);
    CHECK(seen.addr == (uintptr_t)guard, "scalar fault: si_addr %#lx, expected %p", (unsigned long)seen.addr, guard);
    CHECK(seen.pc == (uintptr_t)scalar_load, "scalar fault: pc %#lx, expected %p", (unsigned long)seen.pc, (void*)scalar_load);
    CHECK(seen.blocked_self == 1 && seen.blocked_usr1 == 1, "mask in the handler: SIGSEGV %d SIGUSR1 %d",
          seen.blocked_self, seen.blocked_usr1);

    // The SVE load: first where it can read (its first execution, then patched), then across
    // into the guard page, twice.
    uint32_t expect_low;
    memcpy(&expect_low, mem + 64, 4);
    for (int i = 0; i < 2; i++) CHECK((uint32_t)sve_load(mem + 64, 1) == expect_low, "SVE load of readable memory");
    for (int round = 0; round < 2; round++) {
        const unsigned char* at = guard - 8;
        uint64_t magic = 0x1234567890ABCDEFull + (uint64_t)round;
        CHECK(faults(sve_load, at, magic), "round %d: SVE load across the guard page returned", round);
        CHECK(seen.count == 1 && seen.sig == SIGSEGV, "round %d: %d signals, last %d", round, seen.count, seen.sig);
        CHECK(seen.addr == (uintptr_t)guard, "round %d: si_addr %#lx, expected %p", round, (unsigned long)seen.addr, guard);
        CHECK(seen.pc == (uintptr_t)sve_load + 8, "round %d: pc %#lx, expected %p + 8", round, (unsigned long)seen.pc,
              (void*)sve_load);
        CHECK(seen.x0 == (uintptr_t)at && seen.x1 == magic, "round %d: x0 %#lx x1 %#lx", round, (unsigned long)seen.x0,
              (unsigned long)seen.x1);
        CHECK(seen.d2 == magic, "round %d: d2 %#lx", round, (unsigned long)seen.d2);
        CHECK(seen.blocked_self == 1 && seen.blocked_usr1 == 1, "round %d: mask in the handler", round);
    }
    sigset_t now;
    sigprocmask(SIG_BLOCK, NULL, &now);
    CHECK(sigismember(&now, SIGSEGV) == 0, "SIGSEGV still blocked after siglongjmp");

    // Signals the program sends itself.
    memset((void*)&seen, 0, sizeof seen);
    kill(getpid(), SIGSEGV);
    CHECK(seen.count == 1 && seen.sig == SIGSEGV && seen.code == SI_USER && seen.pid == getpid(),
          "kill SIGSEGV: count %d code %d pid %d", seen.count, seen.code, (int)seen.pid);
    install(SIGILL, SA_NODEFER);
    memset((void*)&seen, 0, sizeof seen);
    raise(SIGILL);
    CHECK(seen.count == 1 && seen.sig == SIGILL && seen.code == SI_TKILL, "raise SIGILL: count %d code %d", seen.count,
          seen.code);
    CHECK(seen.blocked_self == 0, "SA_NODEFER handler ran with SIGILL blocked");

    // SA_RESETHAND: the handler runs once, then the default action is back.
    install(SIGBUS, SA_RESETHAND);
    memset((void*)&seen, 0, sizeof seen);
    raise(SIGBUS);
    CHECK(seen.count == 1 && seen.sig == SIGBUS, "raise SIGBUS: count %d", seen.count);
    sigaction(SIGBUS, NULL, &old);
    CHECK(old.sa_handler == SIG_DFL, "SIGBUS action after SA_RESETHAND is not SIG_DFL");

    // An SVE store into a protected page, whose handler unprotects it and returns: the store
    // runs again and completes; a second round after the word was patched.
    page_size = page;
    struct sigaction unprotect;
    memset(&unprotect, 0, sizeof unprotect);
    unprotect.sa_sigaction = on_segv_unprotect;
    unprotect.sa_flags = SA_SIGINFO;
    sigaction(SIGSEGV, &unprotect, NULL);
    for (int round = 0; round < 2; round++) {
        uint64_t out[10] = {0};
        mprotect(guard, page, PROT_NONE);
        retries = 0;
        __asm__ volatile("ptrue p0.d\n\tmov z0.d, #7\n\tst1d {z0.d}, p0, [%0]\n\tld1d {z1.d}, p0/z, [%0]\n\t"
                         "st1d {z1.d}, p0, [%1]"
                         :
                         : "r"(guard), "r"(out)
                         : "memory", "p0", "v0", "v1");
        CHECK(retries == 1, "round %d: %d faults of the store, expected 1", round, retries);
        CHECK(out[0] == 7 && out[9] == 7, "round %d: stored %llu and %llu, expected 7", round, (unsigned long long)out[0],
              (unsigned long long)out[9]);
    }

    printf("faults: %d failures\n", check_failures);
    return check_failures != 0;
}

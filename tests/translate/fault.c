// A contiguous load that runs many times in a loop and then meets a guard page: in the translate
// stage its later executions are inline code, and the fault must reach the program as in the
// patch stage. With an argument the program has a SIGSEGV handler, which prints where the fault
// is (address within the page, pc within the loop's function, the loop's index register as the
// handler sees it) and leaves; without one the process ends by the signal.
#include <arm_sve.h>
#include <setjmp.h>
#include <signal.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

static sigjmp_buf back;
static char* guard;

__attribute__((noinline)) static int64_t sum_words(const int32_t* p, int64_t n) {
    svint64_t acc = svdup_s64(0);
    for (int64_t i = 0; i < n; i += (int64_t)svcntw()) {
        svint32_t v = svld1_s32(svptrue_b32(), p + i);  // every lane active: the inline path
        acc = svadd_s64_x(svptrue_b64(), acc, svunpklo_s64(v));
    }
    return svaddv_s64(svptrue_b64(), acc);
}

static void on_segv(int sig, siginfo_t* info, void* context) {
    ucontext_t* uc = context;
    (void)sig;
    printf("fault at page offset %ld, pc at sum_words+%#lx\n", (long)((char*)info->si_addr - guard),
           (unsigned long)(uc->uc_mcontext.pc - (uintptr_t)sum_words));
    fflush(stdout);
    siglongjmp(back, 1);
}

int main(int argc, char** argv) {
    (void)argv;
    long page = sysconf(_SC_PAGESIZE);
    char* m = mmap(NULL, 4 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    guard = m + 3 * page;
    munmap(guard, page);
    memset(m, 1, 3 * page);
    if (argc > 1) {
        struct sigaction sa;
        memset(&sa, 0, sizeof sa);
        sa.sa_sigaction = on_segv;
        sa.sa_flags = SA_SIGINFO;
        sigaction(SIGSEGV, &sa, NULL);
    }
    // the first run stays inside the mapping (its last vector may reach into the third page); the
    // second starts on the third page and runs into the guard page
    printf("sum %ld\n", (long)sum_words((int32_t*)m, 2 * page / 4));
    fflush(stdout);
    if (sigsetjmp(back, 1) == 0) printf("not reached: %ld\n", (long)sum_words((int32_t*)(m + 2 * page), page));
    printf("after the fault\n");
    return 0;
}

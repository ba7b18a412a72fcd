// Faults of gathers, scatters and structure loads, as the program sees them: pc at the SVE word,
// the general registers as before it, si_addr the address of the first element that cannot be
// accessed (lanes in ascending order), found from the offsets as they were although the gather
// writes its own offset vector; and a handler that unprotects the page and returns, after which
// the word runs again and gives every element (not the gather's: lanes that its first attempt
// loaded stand in its offset vector then).
#include <setjmp.h>
#include <signal.h>
#include <stdint.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#include "check.h"

#define LANES (VL_BYTES / 4)
// The first lane in the guard page: lane 5, or the last one of a shorter vector.
#define FAULT_LANE (LANES > 5 ? 5 : LANES - 1)

void gather_inplace(const int32_t* base, const int32_t* offsets, int32_t* out);
void scatter(int32_t* base, const int32_t* offsets, const int32_t* values);
void load3(const int32_t* p, int32_t* out);
extern char gather_word[], scatter_word[], load3_word[];
__asm__(
    ".arch armv8.2-a+sve\n"
    ".text\n"
    ".globl gather_inplace\n.type gather_inplace, %function\n"
    "gather_inplace:\n"
    "  ptrue p0.s\n"
    "  ld1w {z1.s}, p0/z, [x1]\n"
    ".globl gather_word\n"
    "gather_word:\n"
    "  ld1w {z1.s}, p0/z, [x0, z1.s, sxtw #2]\n"
    "  st1w {z1.s}, p0, [x2]\n"
    "  ret\n"
    ".globl scatter\n.type scatter, %function\n"
    "scatter:\n"
    "  ptrue p0.s\n"
    "  ld1w {z1.s}, p0/z, [x1]\n"
    "  ld1w {z2.s}, p0/z, [x2]\n"
    ".globl scatter_word\n"
    "scatter_word:\n"
    "  st1w {z2.s}, p0, [x0, z1.s, sxtw #2]\n"
    "  ret\n"
    ".globl load3\n.type load3, %function\n"
    "load3:\n"
    "  ptrue p0.s\n"
    ".globl load3_word\n"
    "load3_word:\n"
    "  ld3w {z0.s, z1.s, z2.s}, p0/z, [x0]\n"
    "  st1w {z0.s}, p0, [x1]\n"
    "  st1w {z1.s}, p0, [x1, #1, mul vl]\n"
    "  st1w {z2.s}, p0, [x1, #2, mul vl]\n"
    "  ret\n");

static volatile struct {
    int count;
    uintptr_t addr, pc, x0, x1;
} seen;
static sigjmp_buf back;
static long page;
static volatile int unprotect;

static void on_segv(int sig, siginfo_t* info, void* context) {
    (void)sig;
    ucontext_t* uc = context;
    seen.count++;
    seen.addr = (uintptr_t)info->si_addr;
    seen.pc = uc->uc_mcontext.pc;
    seen.x0 = uc->uc_mcontext.regs[0];
    seen.x1 = uc->uc_mcontext.regs[1];
    if (!unprotect) siglongjmp(back, 1);
    mprotect((void*)((uintptr_t)info->si_addr & ~(uintptr_t)(page - 1)), (size_t)page, PROT_READ | PROT_WRITE);
}

int main(void) {
    page = sysconf(_SC_PAGESIZE);
    unsigned char* mem = mmap(NULL, 2 * (size_t)page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    unsigned char* guard = mem + page;
    int32_t* words = (int32_t*)mem;
    for (long i = 0; i < 2 * page / 4; i++) words[i] = (int32_t)(i * 7 + 1);
    struct sigaction sa;
    memset(&sa, 0, sizeof sa);
    sa.sa_sigaction = on_segv;
    sa.sa_flags = SA_SIGINFO | SA_NODEFER;
    sigaction(SIGSEGV, &sa, NULL);

    // lane i at element `i` after base: lane FAULT_LANE is the first in the guard page
    int32_t offsets[LANES], values[LANES], out[3 * LANES];
    for (int i = 0; i < LANES; i++) offsets[i] = i, values[i] = 1000 + i;
    const int32_t* base = (const int32_t*)guard - FAULT_LANE;
    const int32_t* at3 = (const int32_t*)guard - 4;  // structure 1's second element is the first in the guard
    struct {
        const char* name;
        int which;
        const void* x0;
        const void* x1;
        const char* word;
    } cases[] = {
        {"gather", 0, base, offsets, gather_word},
        {"scatter", 1, base, offsets, scatter_word},
        {"ld3w", 2, at3, out, load3_word},
    };
    for (volatile int round = 0; round < 4; round++) {  // twice caught, then twice retried after unprotecting
        for (volatile int k = 0; k < 3; k++) {
            const int32_t* b = cases[k].x0;
            mprotect(guard, (size_t)page, PROT_NONE);
            memset((void*)&seen, 0, sizeof seen);
            memset(out, 0, sizeof out);
            unprotect = round >= 2;
            if (!sigsetjmp(back, 1)) {
                if (k == 0) gather_inplace(b, offsets, out);
                if (k == 1) scatter((int32_t*)b, offsets, values);
                if (k == 2) load3(b, out);
            }
            CHECK(seen.count == 1, "%s round %d: %d faults", cases[k].name, round, seen.count);
            CHECK(seen.addr == (uintptr_t)guard, "%s round %d: si_addr %#lx, expected %p", cases[k].name, round,
                  (unsigned long)seen.addr, guard);
            CHECK(seen.pc == (uintptr_t)cases[k].word, "%s round %d: pc %#lx, expected %p", cases[k].name, round,
                  (unsigned long)seen.pc, cases[k].word);
            CHECK(seen.x0 == (uintptr_t)cases[k].x0 && seen.x1 == (uintptr_t)cases[k].x1, "%s round %d: x0 %#lx x1 %#lx",
                  cases[k].name, round, (unsigned long)seen.x0, (unsigned long)seen.x1);
            // a scatter stores its lanes in order up to the faulting one
            if (!unprotect && k == 1) CHECK(b[FAULT_LANE - 1] == 1000 + FAULT_LANE - 1 && b[0] == 1000, "scatter round %d: lanes before the fault", round);
            for (int i = 0; unprotect && i < LANES; i++) {
                if (k == 1) CHECK(b[i] == 1000 + i, "scatter round %d lane %d: %d", round, i, b[i]);
                for (int r = 0; k == 2 && r < 3; r++)
                    CHECK(out[r * LANES + i] == b[3 * i + r], "ld3w round %d register %d lane %d: %d, expected %d", round,
                          r, i, out[r * LANES + i], b[3 * i + r]);
            }
            mprotect(guard, (size_t)page, PROT_READ | PROT_WRITE);
            for (long i = 0; i < 2 * page / 4; i++) words[i] = (int32_t)(i * 7 + 1);  // undo the scatter
        }
    }
    return check_failures;
}

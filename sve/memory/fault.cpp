#include "sve/memory/fault.h"

#include <pthread.h>
#include <ucontext.h>

#include <cstdio>

#include "sve/core/generic.h"

static int SVELibInitialized = 0;  // 1 once SVEInitialize has run
long page_size;
constinit thread_local uint32_t SVEFaultRegion = 0;
constinit thread_local sigjmp_buf sveFaultJB = {};

namespace {

// The probe of this thread: while `probe_active` is set, a SIGSEGV of this thread is the
// probing load, which the handler skips after noting it in `access_violation`.
thread_local volatile bool probe_active = false;
thread_local volatile bool access_violation = false;

// The probing load is a single instruction of known length, so the handler can step over it.
#if defined(__aarch64__)
constexpr int PROBE_LOAD_BYTES = 4;
inline void probe_load(volatile char* addr) {
    uint32_t tmp;
    __asm__ volatile("ldrb %w0, [%1]" : "=&r"(tmp) : "r"(addr) : "memory");
}
inline void skip_probe_load(void* context) { static_cast<ucontext_t*>(context)->uc_mcontext.pc += PROBE_LOAD_BYTES; }
#elif defined(__x86_64__)
constexpr int PROBE_LOAD_BYTES = 3;  // movzbl (%rdi), %eax: 0f b6 07
inline void probe_load(volatile char* addr) { __asm__ volatile("movzbl (%%rdi), %%eax" : : "D"(addr) : "eax", "memory"); }
inline void skip_probe_load(void* context) {
    static_cast<ucontext_t*>(context)->uc_mcontext.gregs[REG_RIP] += PROBE_LOAD_BYTES;
}
#else
#error "no probing load for this processor"
#endif

void set_action(int sig, void (*handler)(int, siginfo_t*, void*)) {
    struct sigaction sa = {};
    sigemptyset(&sa.sa_mask);
    sa.sa_flags = SVE_SIGACTION_FLAGS;
    if (handler) {
        sa.sa_sigaction = handler;
    } else {
        sa.sa_handler = SIG_DFL;
    }
    sigaction(sig, &sa, nullptr);
}

}  // namespace

void SVEInitialize() {
    if (SVELibInitialized) return;
    cpu_ctxt.vl_words = 2;
    ctxt = &cpu_ctxt;
    set_action(SIGSEGV, SVESigHandler);
    set_action(SIGBUS, SVESigHandler);
    SVELibInitialized = 1;
}

void SVESigHandler(int sig, siginfo_t*, void* context) {
    if (sig == SIGSEGV && probe_active) {
        access_violation = true;
        skip_probe_load(context);
        return;
    }
    if (SVEFaultRegion) {
        SVEFaultRegion = 0;
        // The guarded read saved no signal mask: the one interrupted by the fault is the one it
        // had, and it comes back here, whatever the action that brought us here blocked.
        if (context) pthread_sigmask(SIG_SETMASK, &static_cast<ucontext_t*>(context)->uc_sigmask, nullptr);
        siglongjmp(sveFaultJB, 1);
    }
    set_action(SIGSEGV, nullptr);
    set_action(SIGBUS, nullptr);
    std::fprintf(stderr,
                 "tarnel's SVESigHandler caught signal %s from the process being emulated, passing it to the default "
                 "signal handler.\n",
                 sig == SIGSEGV ? "SIGSEGV" : "SIGBUS");
    std::fflush(stderr);
}

// The probe relies on SVESigHandler seeing its SIGSEGV. If something else in the process has
// replaced the action since SVEInitialize, it is put in place for the length of the probe and the
// other action is given back afterwards (this case alone touches the process's action).
template <>
bool addr_is_readable<char>(volatile char* addr) {
    if (!SVELibInitialized) SVEInitialize();
    struct sigaction current;
    sigaction(SIGSEGV, nullptr, &current);
    bool ours = (current.sa_flags & SA_SIGINFO) && current.sa_sigaction == SVESigHandler;
    if (!ours) set_action(SIGSEGV, SVESigHandler);
    access_violation = false;
    probe_active = true;
    probe_load(addr);
    probe_active = false;
    if (!ours) sigaction(SIGSEGV, &current, nullptr);
    return !access_violation;
}

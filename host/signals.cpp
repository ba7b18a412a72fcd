// The signal layer. The emulator needs SIGILL (every SVE word's first execution), SIGSEGV and
// SIGBUS (its own guarded reads and probes) whatever the program does with them, so the kernel
// always has the runtime's handlers for these three, running on the thread's alternate stack,
// and never a mask that blocks them. The program's side is kept here instead: its actions,
// its blocked bits of the three, its alternate stack. The C library's entry points that reach
// the kernel's actions and masks are interposed (the runtime is preloaded) and answer with the
// program's view; a signal the emulator does not consume goes to the program's handler as the
// kernel would have delivered it, or takes the default action.
//
// Calls from the client library (the emulator's own SIGSEGV and SIGBUS handler) are told apart
// by their return address and keep their own actions.
#include <dlfcn.h>
#include <errno.h>
#include <poll.h>
#include <pthread.h>
#include <setjmp.h>
#include <sys/epoll.h>
#include <sys/select.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstring>

#include "host/runtime.h"

namespace {

bool active;  // the client runs under this runtime
const char* client_path;
uintptr_t client_lo, client_hi;

constexpr int KEPT[3] = {SIGILL, SIGSEGV, SIGBUS};

int kept_index(int sig) { return sig == SIGILL ? 0 : sig == SIGSEGV ? 1 : sig == SIGBUS ? 2 : -1; }

uint8_t bits_of(const sigset_t* s) {
    uint8_t b = 0;
    for (int i = 0; i < 3; i++)
        if (sigismember(s, KEPT[i]) == 1) b |= uint8_t(1 << i);
    return b;
}

void strip(sigset_t* s) {
    for (int sig : KEPT) sigdelset(s, sig);
}

void add_bits(sigset_t* s, uint8_t b) {
    for (int i = 0; i < 3; i++)
        if (b & (1 << i)) sigaddset(s, KEPT[i]);
}

// ---- The program's view ---------------------------------------------------------------------------

struct sigaction program_acts[3];   // zero: SIG_DFL, empty mask, no flags
struct sigaction emulator_acts[3];  // what the emulator installed (SIGSEGV, SIGBUS)
uint8_t program_mask_bits[NSIG];    // other signals: the kept signals that their sa_mask had
sigset_t interrupting;              // siginterrupt: signal() leaves out SA_RESTART for these

thread_local uint8_t blocked_bits;   // the kept signals the program has blocked
thread_local uint8_t pending_bits;   // sent to the program while it blocked them
thread_local siginfo_t pending_info[3];
thread_local void** asking_emulator;  // set while the emulator's handler is asked about a fault
thread_local stack_t program_altstack = {nullptr, SS_DISABLE, 0};

template <class F>
F next_fn(const char* name) {
    return reinterpret_cast<F>(dlsym(RTLD_NEXT, name));
}

typedef int (*sigaction_fn)(int, const struct sigaction*, struct sigaction*);
typedef int (*mask_fn)(int, const sigset_t*, sigset_t*);

int real_pthread_sigmask(int how, const sigset_t* set, sigset_t* old) {
    static mask_fn f = next_fn<mask_fn>("pthread_sigmask");
    return f(how, set, old);
}

bool from_emulator(void* ret) {
    uintptr_t a = uintptr_t(ret);
    if (client_hi) return a >= client_lo && a < client_hi;
    // While the client is being loaded its static constructor installs its handler.
    Dl_info d;
    if (!client_path || !dladdr(ret, &d) || !d.dli_fname) return false;
    const char* x = strrchr(d.dli_fname, '/');
    const char* y = strrchr(client_path, '/');
    return strcmp(x ? x + 1 : d.dli_fname, y ? y + 1 : client_path) == 0;
}

void on_sigill(int sig, siginfo_t* info, void* context);
void on_fault(int sig, siginfo_t* info, void* context);

// The kernel's action for a kept signal: the runtime's handler, whatever the program installed;
// only SA_RESTART follows the program.
void install_kept(int sig) {
    struct sigaction sa = {};
    sa.sa_sigaction = sig == SIGILL ? on_sigill : on_fault;
    sigemptyset(&sa.sa_mask);
    sa.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER | (program_acts[kept_index(sig)].sa_flags & SA_RESTART);
    host_real_sigaction(sig, &sa, nullptr);
}

void set_default(int sig) {
    struct sigaction sa = {};
    sa.sa_handler = SIG_DFL;
    sigemptyset(&sa.sa_mask);
    host_real_sigaction(sig, &sa, nullptr);
}

// Sent signals that waited for the program to unblock them go out again.
void release_pending() {
    for (int i = 0; i < 3; i++) {
        uint8_t b = uint8_t(1 << i);
        if (!(pending_bits & b) || (blocked_bits & b)) continue;
        pending_bits &= uint8_t(~b);
        syscall(SYS_rt_tgsigqueueinfo, getpid(), gettid(), KEPT[i], &pending_info[i]);
    }
}

// The program's handler, as the kernel would call it: with the action's mask (and the signal,
// without SA_NODEFER) added while it runs, on the program's alternate stack for SA_ONSTACK.
extern "C" void host_call_on_stack(int sig, siginfo_t* info, void* uc, void* fn, uintptr_t top);
__asm__(R"(
    .text
    .p2align 2
    .type host_call_on_stack, %function
host_call_on_stack:
    stp x29, x30, [sp, #-16]!
    mov x29, sp
    and x4, x4, #~15
    mov sp, x4
    blr x3
    mov sp, x29
    ldp x29, x30, [sp], #16
    ret
    .size host_call_on_stack, . - host_call_on_stack
)");

bool on_program_altstack(uintptr_t sp) {
    auto lo = uintptr_t(program_altstack.ss_sp);
    return !(program_altstack.ss_flags & SS_DISABLE) && sp >= lo && sp < lo + program_altstack.ss_size;
}

void run_handler(int sig, siginfo_t* info, ucontext_t* uc, struct sigaction a) {
    int i = kept_index(sig);
    if (a.sa_flags & SA_RESETHAND) {
        program_acts[i] = {};
        install_kept(sig);
    }
    uint8_t before = blocked_bits;
    sigset_t run = uc->uc_sigmask;
    add_bits(&run, before);
    sigorset(&run, &run, &a.sa_mask);
    if (!(a.sa_flags & SA_NODEFER)) sigaddset(&run, sig);
    blocked_bits = bits_of(&run);
    strip(&run);
    real_pthread_sigmask(SIG_SETMASK, &run, nullptr);
    void* fn = (a.sa_flags & SA_SIGINFO) ? reinterpret_cast<void*>(a.sa_sigaction) : reinterpret_cast<void*>(a.sa_handler);
    uintptr_t here = uintptr_t(__builtin_frame_address(0));
    if ((a.sa_flags & SA_ONSTACK) && !(program_altstack.ss_flags & SS_DISABLE) && !on_program_altstack(here))
        host_call_on_stack(sig, info, uc, fn, uintptr_t(program_altstack.ss_sp) + program_altstack.ss_size);
    else
        reinterpret_cast<void (*)(int, siginfo_t*, void*)>(fn)(sig, info, uc);
    blocked_bits = before;  // the kernel restores the rest of the mask from the context
}

// The default action of a kept signal: the process ends by it. A synchronous one comes back
// when the instruction runs again; a sent one is sent again.
void end_by(int sig, siginfo_t* info, ucontext_t* uc) {
    bool sync = info->si_code > 0;
    if (sig == SIGILL && sync) host_report_illegal(uc->uc_mcontext.pc);
    set_default(sig);
    if (!sync) syscall(SYS_rt_tgsigqueueinfo, getpid(), gettid(), sig, info);
}

// A kept signal that the emulator does not consume, as the program would have met it.
void to_program(int sig, siginfo_t* info, ucontext_t* uc) {
    int i = kept_index(sig);
    uint8_t b = uint8_t(1 << i);
    bool sync = info->si_code > 0;
    if (blocked_bits & b) {
        if (sync) return end_by(sig, info, uc);  // the kernel ends a process that blocks its own fault
        pending_bits |= b;
        pending_info[i] = *info;
        return;
    }
    struct sigaction a = program_acts[i];
    if (a.sa_handler == SIG_IGN && !sync) return;
    if (a.sa_handler == SIG_IGN || a.sa_handler == SIG_DFL) return end_by(sig, info, uc);
    run_handler(sig, info, uc, a);
}

void on_sigill(int sig, siginfo_t* info, void* context) {
    int saved = errno;
    auto* uc = static_cast<ucontext_t*>(context);
    if (info->si_code <= 0 || !host_sve_trap(uc)) to_program(sig, info, uc);
    errno = saved;
}

// The SVE word that the thread is emulating: the trap stage says so; in the patch stage the
// call put it at the top of the emulator stack.
uintptr_t emulated_word(const host_thread* t) {
    if (t->trap_pc) return t->trap_pc;
    if (!t->emu_top) return 0;
    return *reinterpret_cast<const uintptr_t*>(t->emu_top - 8);
}

// A fault in the emulator's code. Its own handler decides first whether it was expecting it (a
// guarded read, a probe); if not, it asks for the default action, which brings it back here. The
// fault is then the SVE word's: the program's handler gets it at the word, with the registers
// from before the word; without one, the emulator's handler says so and the process ends.
void emulator_fault(int sig, siginfo_t* info, ucontext_t* uc) {
    int i = kept_index(sig);
    struct sigaction emu = emulator_acts[i];
    bool has_emu = (emu.sa_flags & SA_SIGINFO) && emu.sa_sigaction;
    if (has_emu) {
        void* buf[5];
        void** outer = asking_emulator;
        asking_emulator = buf;
        if (__builtin_setjmp(buf) == 0) {
            emu.sa_sigaction(sig, info, uc);
            asking_emulator = outer;
            return;
        }
        asking_emulator = outer;
    }
    host_thread* t = &this_thread;
    uintptr_t word = emulated_word(t);
    cache_entry* e = word ? host_lookup(word) : nullptr;
    sequence* s = e ? e->seq.load(std::memory_order_relaxed) : nullptr;
    struct sigaction a = program_acts[i];
    bool wanted = !(blocked_bits & (1 << i)) && a.sa_handler != SIG_DFL && a.sa_handler != SIG_IGN;
    if (wanted && s && host_restore_before_word(s, t, uc)) {
        uc->uc_mcontext.pc = word;
        t->trap_pc = 0;  // the word is abandoned, as the processor would have left it
        return run_handler(sig, info, uc, a);
    }
    if (has_emu)
        emu.sa_sigaction(sig, info, uc);
    else
        set_default(sig);
}

void on_fault(int sig, siginfo_t* info, void* context) {
    int saved = errno;
    auto* uc = static_cast<ucontext_t*>(context);
    if (info->si_code > 0 && from_emulator(reinterpret_cast<void*>(uc->uc_mcontext.pc)))
        emulator_fault(sig, info, uc);
    else
        to_program(sig, info, uc);
    errno = saved;
}

int emulator_sigaction(int sig, const struct sigaction* act, struct sigaction* old) {
    int i = kept_index(sig);
    if (i <= 0) return host_real_sigaction(sig, act, old);
    if (old) *old = emulator_acts[i];
    if (!act) return 0;
    if (act->sa_handler == SIG_DFL) {
        if (asking_emulator) __builtin_longjmp(asking_emulator, 1);
        set_default(sig);  // the emulator gives up: the fault ends the process
    }
    emulator_acts[i] = *act;
    return 0;
}

int program_sigaction(int sig, const struct sigaction* act, struct sigaction* old) {
    int i = kept_index(sig);
    if (sig <= 0 || sig >= NSIG || (i < 0 && act == nullptr)) return host_real_sigaction(sig, act, old);
    if (i < 0) {
        struct sigaction copy = *act;
        strip(&copy.sa_mask);
        uint8_t had = program_mask_bits[sig];
        int rc = host_real_sigaction(sig, &copy, old);
        if (rc != 0) return rc;
        program_mask_bits[sig] = bits_of(&act->sa_mask);
        if (old) add_bits(&old->sa_mask, had);
        return 0;
    }
    if (old) *old = program_acts[i];
    if (act) {
        program_acts[i] = *act;
        install_kept(sig);
    }
    return 0;
}

int any_sigaction(void* ret, int sig, const struct sigaction* act, struct sigaction* old) {
    if (!active) return host_real_sigaction(sig, act, old);
    return from_emulator(ret) ? emulator_sigaction(sig, act, old) : program_sigaction(sig, act, old);
}

int any_mask(void* ret, mask_fn real, int how, const sigset_t* set, sigset_t* old) {
    if (!active || from_emulator(ret)) return real(how, set, old);
    uint8_t before = blocked_bits;
    sigset_t copy;
    if (set) {
        copy = *set;
        strip(&copy);
    }
    int rc = real(how, set ? &copy : nullptr, old);
    if (rc != 0) return rc;
    if (old) add_bits(old, before);
    if (set) {
        uint8_t b = bits_of(set);
        blocked_bits = how == SIG_BLOCK ? uint8_t(before | b) : how == SIG_UNBLOCK ? uint8_t(before & ~b) : b;
        release_pending();
    }
    return 0;
}

// A mask that a call puts in place for its duration, without the kept signals.
const sigset_t* temporary_mask(const sigset_t* mask, sigset_t* copy) {
    if (!active || !mask) return mask;
    *copy = *mask;
    strip(copy);
    return copy;
}

typedef void (*handler_t)(int);

handler_t signal_with(int sig, handler_t h, int flags, bool mask_self) {
    if (sig <= 0 || sig >= NSIG || h == SIG_ERR) {
        errno = EINVAL;
        return SIG_ERR;
    }
    struct sigaction act = {}, old = {};
    act.sa_handler = h;
    sigemptyset(&act.sa_mask);
    if (mask_self) sigaddset(&act.sa_mask, sig);
    act.sa_flags = flags;
    if (program_sigaction(sig, &act, &old) < 0) return SIG_ERR;
    return old.sa_handler;
}

typedef void (*longjmp_fn)(struct __jmp_buf_tag*, int);

// A jump back to sigsetjmp restores the mask saved there, which the runtime never lets hold
// the kept signals: the program's blocked bits go with it.
[[noreturn]] void jump(void* ret, longjmp_fn real, struct __jmp_buf_tag* env, int val) {
    if (active && !from_emulator(ret) && env->__mask_was_saved) {
        blocked_bits = bits_of(&env->__saved_mask);
        release_pending();
    }
    real(env, val);
    __builtin_unreachable();
}

}  // namespace

int host_real_sigaction(int sig, const struct sigaction* act, struct sigaction* old) {
    static sigaction_fn f = next_fn<sigaction_fn>("sigaction");
    return f(sig, act, old);
}

int host_real_sigaltstack(const stack_t* ss, stack_t* old) {
    typedef int (*fn)(const stack_t*, stack_t*);
    static fn f = next_fn<fn>("sigaltstack");
    return f(ss, old);
}

void host_signals_start(const char* path) {
    client_path = path;
    sigemptyset(&interrupting);
    for (int sig : KEPT) install_kept(sig);
    active = true;
}

void host_signals_client_loaded(uintptr_t lo, uintptr_t hi) { client_lo = lo, client_hi = hi; }

host_thread_signals host_signals_of_this_thread() { return {blocked_bits}; }
void host_signals_set_this_thread(host_thread_signals s) { blocked_bits = s.blocked; }

// ---- The C library's entry points ---------------------------------------------------------------

extern "C" {

int sigaction(int sig, const struct sigaction* act, struct sigaction* old) {
    return any_sigaction(__builtin_return_address(0), sig, act, old);
}

int __sigaction(int sig, const struct sigaction* act, struct sigaction* old) {
    return any_sigaction(__builtin_return_address(0), sig, act, old);
}

handler_t signal(int sig, handler_t h) {
    if (!active) return next_fn<handler_t (*)(int, handler_t)>("signal")(sig, h);
    return signal_with(sig, h, sigismember(&interrupting, sig) == 1 ? 0 : SA_RESTART, true);
}
handler_t bsd_signal(int sig, handler_t h) { return signal(sig, h); }
handler_t ssignal(int sig, handler_t h) { return signal(sig, h); }

handler_t sysv_signal(int sig, handler_t h) {
    if (!active) return next_fn<handler_t (*)(int, handler_t)>("sysv_signal")(sig, h);
    return signal_with(sig, h, SA_RESETHAND | SA_NODEFER, false);
}
handler_t __sysv_signal(int sig, handler_t h) { return sysv_signal(sig, h); }

int sigprocmask(int how, const sigset_t* set, sigset_t* old) {
    static mask_fn f = next_fn<mask_fn>("sigprocmask");
    return any_mask(__builtin_return_address(0), f, how, set, old);
}

int pthread_sigmask(int how, const sigset_t* set, sigset_t* old) {
    static mask_fn f = next_fn<mask_fn>("pthread_sigmask");
    return any_mask(__builtin_return_address(0), f, how, set, old);
}

int sighold(int sig) {
    sigset_t s;
    sigemptyset(&s);
    if (sigaddset(&s, sig) < 0) return -1;
    return sigprocmask(SIG_BLOCK, &s, nullptr);
}

int sigrelse(int sig) {
    sigset_t s;
    sigemptyset(&s);
    if (sigaddset(&s, sig) < 0) return -1;
    return sigprocmask(SIG_UNBLOCK, &s, nullptr);
}

int sigignore(int sig) { return signal_with(sig, SIG_IGN, 0, false) == SIG_ERR ? -1 : 0; }

int siginterrupt(int sig, int flag) {
    struct sigaction act;
    if (sigaction(sig, nullptr, &act) < 0) return -1;
    if (flag) {
        sigaddset(&interrupting, sig);
        act.sa_flags &= ~SA_RESTART;
    } else {
        sigdelset(&interrupting, sig);
        act.sa_flags |= SA_RESTART;
    }
    return sigaction(sig, &act, nullptr);
}

handler_t sigset(int sig, handler_t disp) {
    sigset_t one, old;
    sigemptyset(&one);
    if (sigaddset(&one, sig) < 0) return SIG_ERR;
    struct sigaction oact;
    if (disp == SIG_HOLD) {
        if (sigaction(sig, nullptr, &oact) < 0 || sigprocmask(SIG_BLOCK, &one, &old) < 0) return SIG_ERR;
        return sigismember(&old, sig) == 1 ? SIG_HOLD : oact.sa_handler;
    }
    struct sigaction act = {};
    act.sa_handler = disp;
    sigemptyset(&act.sa_mask);
    if (sigaction(sig, &act, &oact) < 0 || sigprocmask(SIG_UNBLOCK, &one, &old) < 0) return SIG_ERR;
    return sigismember(&old, sig) == 1 ? SIG_HOLD : oact.sa_handler;
}

int sigsuspend(const sigset_t* mask) {
    typedef int (*fn)(const sigset_t*);
    static fn f = next_fn<fn>("sigsuspend");
    if (!active) return f(mask);
    uint8_t before = blocked_bits;
    blocked_bits = bits_of(mask);
    int rc;
    if (pending_bits & ~blocked_bits) {  // a sent signal that waited: it is the one awaited
        release_pending();
        errno = EINTR;
        rc = -1;
    } else {
        sigset_t copy;
        rc = f(temporary_mask(mask, &copy));
    }
    blocked_bits = before;
    return rc;
}
int __sigsuspend(const sigset_t* mask) { return sigsuspend(mask); }

int __sigpause(int sig_or_mask, int is_sig) {
    sigset_t s;
    if (sigprocmask(SIG_BLOCK, nullptr, &s) < 0) return -1;
    if (is_sig) {
        sigdelset(&s, sig_or_mask);
    } else {
        sigemptyset(&s);
        for (int sig = 1; sig < 32; sig++)
            if (sig_or_mask & (1 << (sig - 1))) sigaddset(&s, sig);
    }
    return sigsuspend(&s);
}
// The header names the X/Open form `sigpause`; the library's own `sigpause` takes a BSD mask.
int bsd_sigpause(int mask) __asm__("sigpause");
int bsd_sigpause(int mask) { return __sigpause(mask, 0); }
int __xpg_sigpause(int sig) { return __sigpause(sig, 1); }

int sigpending(sigset_t* set) {
    typedef int (*fn)(sigset_t*);
    static fn f = next_fn<fn>("sigpending");
    int rc = f(set);
    if (rc == 0 && active) add_bits(set, pending_bits);
    return rc;
}

int ppoll(struct pollfd* fds, nfds_t n, const struct timespec* tmo, const sigset_t* mask) {
    typedef int (*fn)(struct pollfd*, nfds_t, const struct timespec*, const sigset_t*);
    static fn f = next_fn<fn>("ppoll");
    sigset_t copy;
    return f(fds, n, tmo, temporary_mask(mask, &copy));
}

int pselect(int n, fd_set* r, fd_set* w, fd_set* x, const struct timespec* tmo, const sigset_t* mask) {
    typedef int (*fn)(int, fd_set*, fd_set*, fd_set*, const struct timespec*, const sigset_t*);
    static fn f = next_fn<fn>("pselect");
    sigset_t copy;
    return f(n, r, w, x, tmo, temporary_mask(mask, &copy));
}

int epoll_pwait(int fd, struct epoll_event* ev, int max, int timeout, const sigset_t* mask) {
    typedef int (*fn)(int, struct epoll_event*, int, int, const sigset_t*);
    static fn f = next_fn<fn>("epoll_pwait");
    sigset_t copy;
    return f(fd, ev, max, timeout, temporary_mask(mask, &copy));
}

int sigaltstack(const stack_t* ss, stack_t* old) {
    if (!active) return host_real_sigaltstack(ss, old);
    stack_t prev = program_altstack;
    if (on_program_altstack(uintptr_t(__builtin_frame_address(0)))) prev.ss_flags |= SS_ONSTACK;
    if (ss) {
        if (prev.ss_flags & SS_ONSTACK) {
            errno = EPERM;
            return -1;
        }
        int mode = ss->ss_flags & ~int(1u << 31);  // SS_AUTODISARM changes nothing here
        if (mode != 0 && mode != SS_DISABLE) {
            errno = EINVAL;
            return -1;
        }
        if (mode == 0 && ss->ss_size < size_t(MINSIGSTKSZ)) {
            errno = ENOMEM;
            return -1;
        }
        program_altstack = *ss;
        if (mode == SS_DISABLE) program_altstack = {nullptr, SS_DISABLE, 0};
    }
    if (old) *old = prev;
    return 0;
}

// In the C library longjmp, _longjmp and siglongjmp are one function.
void siglongjmp(sigjmp_buf env, int val) {
    static longjmp_fn f = next_fn<longjmp_fn>("siglongjmp");
    jump(__builtin_return_address(0), f, env, val);
}
void longjmp(jmp_buf env, int val) __attribute__((alias("siglongjmp")));
void _longjmp(jmp_buf env, int val) __attribute__((alias("siglongjmp")));

void __longjmp_chk(jmp_buf env, int val) {
    static longjmp_fn f = next_fn<longjmp_fn>("__longjmp_chk");
    jump(__builtin_return_address(0), f, env, val);
}

}  // extern "C"

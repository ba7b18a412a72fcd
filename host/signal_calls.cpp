// The C library's entry points that reach the kernel's signal actions and masks, interposed
// (the runtime is preloaded): they answer with the program's view that the signal layer keeps
// (signals.cpp), and never let the kernel block SIGILL, SIGSEGV or SIGBUS. Before the client is
// loaded, and for calls from the emulator itself, they are the C library's.
#include <dlfcn.h>
#include <errno.h>
#include <poll.h>
#include <setjmp.h>
#include <signal.h>
#include <sys/epoll.h>
#include <sys/select.h>

#include "host/runtime.h"

namespace {

template <class F>
F next_fn(const char* name) {
    return reinterpret_cast<F>(dlsym(RTLD_NEXT, name));
}

typedef int (*mask_fn)(int, const sigset_t*, sigset_t*);
typedef void (*handler_t)(int);
typedef void (*longjmp_fn)(struct __jmp_buf_tag*, int);

sigset_t interrupting;  // siginterrupt: signal() leaves out SA_RESTART for these

// The C library's functions that a signal handler may call, found before any handler runs (the
// dynamic linker's lookup is no place for a signal handler).
struct {
    mask_fn sigprocmask, pthread_sigmask;
    int (*sigsuspend)(const sigset_t*);
    int (*sigpending)(sigset_t*);
    longjmp_fn siglongjmp, longjmp_chk;
} real;

// The functions, found now if the runtime has not found them yet.
decltype(real)& libc() {
    if (!real.siglongjmp) host_signal_calls_start();
    return real;
}

int any_mask(void* ret, mask_fn real, int how, const sigset_t* set, sigset_t* old) {
    if (!host_signals_active() || host_called_from_emulator(ret)) return real(how, set, old);
    uint8_t before = host_blocked_bits();
    sigset_t copy;
    if (set) {
        copy = *set;
        host_strip_kept(&copy);
    }
    int rc = real(how, set ? &copy : nullptr, old);
    if (rc != 0) return rc;
    if (old) host_add_kept(old, before);
    if (set) {
        uint8_t b = host_kept_bits(set);
        host_blocked_bits() = how == SIG_BLOCK ? uint8_t(before | b) : how == SIG_UNBLOCK ? uint8_t(before & ~b) : b;
        host_release_pending();
    }
    return 0;
}

// A mask that a call puts in place for its duration, without the kept signals.
const sigset_t* temporary_mask(const sigset_t* mask, sigset_t* copy) {
    if (!host_signals_active() || !mask) return mask;
    *copy = *mask;
    host_strip_kept(copy);
    return copy;
}

handler_t signal_with(void* ret, int sig, handler_t h, int flags, bool mask_self) {
    if (sig <= 0 || sig >= NSIG || h == SIG_ERR) {
        errno = EINVAL;
        return SIG_ERR;
    }
    struct sigaction act = {}, old = {};
    act.sa_handler = h;
    sigemptyset(&act.sa_mask);
    if (mask_self) sigaddset(&act.sa_mask, sig);
    act.sa_flags = flags;
    if (host_any_sigaction(ret, sig, &act, &old) < 0) return SIG_ERR;
    return old.sa_handler;
}

// A jump back to sigsetjmp restores the mask saved there, which the runtime never lets hold
// the kept signals: the program's blocked bits go with it.
[[noreturn]] void jump(void* ret, longjmp_fn real, struct __jmp_buf_tag* env, int val) {
    if (host_signals_active() && !host_called_from_emulator(ret) && env->__mask_was_saved) {
        host_blocked_bits() = host_kept_bits(&env->__saved_mask);
        host_release_pending();
    }
    real(env, val);
    __builtin_unreachable();
}

}  // namespace

void host_signal_calls_start() {
    real.sigprocmask = next_fn<mask_fn>("sigprocmask");
    real.pthread_sigmask = next_fn<mask_fn>("pthread_sigmask");
    real.sigsuspend = next_fn<int (*)(const sigset_t*)>("sigsuspend");
    real.sigpending = next_fn<int (*)(sigset_t*)>("sigpending");
    real.siglongjmp = next_fn<longjmp_fn>("siglongjmp");
    real.longjmp_chk = next_fn<longjmp_fn>("__longjmp_chk");
}

// ---- The C library's entry points ---------------------------------------------------------------

extern "C" {

int sigaction(int sig, const struct sigaction* act, struct sigaction* old) {
    return host_any_sigaction(__builtin_return_address(0), sig, act, old);
}

int __sigaction(int sig, const struct sigaction* act, struct sigaction* old) __attribute__((alias("sigaction")));

handler_t signal(int sig, handler_t h) {
    if (!host_signals_active()) return next_fn<handler_t (*)(int, handler_t)>("signal")(sig, h);
    return signal_with(__builtin_return_address(0), sig, h, sigismember(&interrupting, sig) == 1 ? 0 : SA_RESTART, true);
}
handler_t bsd_signal(int sig, handler_t h) __attribute__((alias("signal")));
handler_t ssignal(int sig, handler_t h) __attribute__((alias("signal")));

handler_t sysv_signal(int sig, handler_t h) {
    if (!host_signals_active()) return next_fn<handler_t (*)(int, handler_t)>("sysv_signal")(sig, h);
    return signal_with(__builtin_return_address(0), sig, h, SA_RESETHAND | SA_NODEFER, false);
}
handler_t __sysv_signal(int sig, handler_t h) __attribute__((alias("sysv_signal")));

int sigprocmask(int how, const sigset_t* set, sigset_t* old) {
    return any_mask(__builtin_return_address(0), libc().sigprocmask, how, set, old);
}

int pthread_sigmask(int how, const sigset_t* set, sigset_t* old) {
    return any_mask(__builtin_return_address(0), libc().pthread_sigmask, how, set, old);
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

int sigignore(int sig) { return signal_with(__builtin_return_address(0), sig, SIG_IGN, 0, false) == SIG_ERR ? -1 : 0; }

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
    auto f = libc().sigsuspend;
    if (!host_signals_active()) return f(mask);
    uint8_t before = host_blocked_bits();
    host_blocked_bits() = host_kept_bits(mask);
    int rc;
    if (host_pending_bits() & ~host_blocked_bits()) {  // a sent signal that waited: it is the one awaited
        host_release_pending();
        errno = EINTR;
        rc = -1;
    } else {
        sigset_t copy;
        rc = f(temporary_mask(mask, &copy));
    }
    host_blocked_bits() = before;
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
    int rc = libc().sigpending(set);
    if (rc == 0 && host_signals_active()) host_add_kept(set, host_pending_bits());
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
    if (!host_signals_active()) return host_real_sigaltstack(ss, old);
    stack_t prev = host_program_altstack();
    if (host_on_program_altstack(uintptr_t(__builtin_frame_address(0)))) prev.ss_flags |= SS_ONSTACK;
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
        host_program_altstack() = *ss;
        if (mode == SS_DISABLE) host_program_altstack() = {nullptr, SS_DISABLE, 0};
    }
    if (old) *old = prev;
    return 0;
}

// In the C library longjmp, _longjmp and siglongjmp are one function.
void siglongjmp(sigjmp_buf env, int val) {
    jump(__builtin_return_address(0), libc().siglongjmp, env, val);
}
void longjmp(jmp_buf env, int val) __attribute__((alias("siglongjmp")));
void _longjmp(jmp_buf env, int val) __attribute__((alias("siglongjmp")));

void __longjmp_chk(jmp_buf env, int val) {
    jump(__builtin_return_address(0), libc().longjmp_chk, env, val);
}

}  // extern "C"

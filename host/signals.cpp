// The signal layer. The emulator needs SIGILL (every SVE word's first execution), SIGSEGV and
// SIGBUS (its own guarded reads and probes) whatever the program does with them, so the kernel
// always has the runtime's handlers for these three, running on the thread's alternate stack,
// and never a mask that blocks them. The program's side is kept here instead: its actions,
// its blocked bits of the three, its alternate stack (the C library's entry points that reach
// the kernel's actions and masks answer with it: signal_calls.cpp). A signal the emulator does
// not consume goes to the program's handler as the kernel would have delivered it, or takes
// the default action.
//
// Calls from the client library (the emulator's own SIGSEGV and SIGBUS handler) are told apart
// by their return address and keep their own actions.
#include <dlfcn.h>
#include <errno.h>
#include <pthread.h>
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
struct sigaction program_others[NSIG];  // other signals: what the program installed

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
    if ((a.sa_flags & SA_RESETHAND) && i >= 0) {
        program_acts[i] = {};
        install_kept(sig);
    } else if (a.sa_flags & SA_RESETHAND) {
        program_others[sig] = {};  // the kernel has reset its action already
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
    else if (info->si_code > 0 && host_translated_fault(uc))
        ;  // the word's call carries it out again
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

// The program's handler of another signal runs behind this one, so that it sees its own mask
// of the kept signals and its own alternate stack.
void on_other(int sig, siginfo_t* info, void* context) {
    struct sigaction a = program_others[sig];
    if (a.sa_handler == SIG_DFL || a.sa_handler == SIG_IGN) return;
    run_handler(sig, info, static_cast<ucontext_t*>(context), a);
}

int program_sigaction(int sig, const struct sigaction* act, struct sigaction* old) {
    int i = kept_index(sig);
    if (sig <= 0 || sig >= NSIG) return host_real_sigaction(sig, act, old);
    if (i >= 0) {
        if (old) *old = program_acts[i];
        if (act) {
            program_acts[i] = *act;
            install_kept(sig);
        }
        return 0;
    }
    struct sigaction was, before = program_others[sig];
    if (host_real_sigaction(sig, nullptr, &was) != 0) return -1;
    bool wrapped = (was.sa_flags & SA_SIGINFO) && was.sa_sigaction == on_other;
    if (act) {
        struct sigaction k = *act;
        strip(&k.sa_mask);
        if (act->sa_handler != SIG_DFL && act->sa_handler != SIG_IGN) {
            k.sa_sigaction = on_other;
            k.sa_flags |= SA_SIGINFO;
        }
        program_others[sig] = *act;
        if (host_real_sigaction(sig, &k, nullptr) != 0) {
            program_others[sig] = before;
            return -1;
        }
    }
    // What the program installed, unless the action is not the program's (or the kernel reset it).
    if (old) *old = wrapped || before.sa_handler == was.sa_handler ? before : was;
    return 0;
}

int any_sigaction(void* ret, int sig, const struct sigaction* act, struct sigaction* old) {
    if (!active) return host_real_sigaction(sig, act, old);
    return from_emulator(ret) ? emulator_sigaction(sig, act, old) : program_sigaction(sig, act, old);
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
    sigset_t now;
    real_pthread_sigmask(SIG_BLOCK, nullptr, &now);  // found now, not first in a handler
    for (int sig : KEPT) install_kept(sig);
    active = true;
}

void host_signals_client_loaded(uintptr_t lo, uintptr_t hi) { client_lo = lo, client_hi = hi; }

host_thread_signals host_signals_of_this_thread() { return {blocked_bits}; }
void host_signals_set_this_thread(host_thread_signals s) { blocked_bits = s.blocked; }

bool host_signals_active() { return active; }
bool host_called_from_emulator(void* ret) { return from_emulator(ret); }
int host_any_sigaction(void* ret, int sig, const struct sigaction* act, struct sigaction* old) {
    return any_sigaction(ret, sig, act, old);
}
int host_program_sigaction(int sig, const struct sigaction* act, struct sigaction* old) {
    return program_sigaction(sig, act, old);
}
uint8_t host_kept_bits(const sigset_t* s) { return bits_of(s); }
void host_strip_kept(sigset_t* s) { strip(s); }
void host_add_kept(sigset_t* s, uint8_t bits) { add_bits(s, bits); }
uint8_t& host_blocked_bits() { return blocked_bits; }
uint8_t host_pending_bits() { return pending_bits; }
void host_release_pending() { release_pending(); }
stack_t& host_program_altstack() { return program_altstack; }
bool host_on_program_altstack(uintptr_t sp) { return on_program_altstack(sp); }


// What the files of the host runtime share: the thread's block, the kept sequences, the trap
// interpreter, the patcher, and the signal layer that stands between the program and the kernel.
#pragma once

#include <signal.h>
#include <ucontext.h>

#include <atomic>
#include <cstdint>

#include "host/include/dr_host.h"

extern thread_local __attribute__((tls_model("initial-exec"))) host_thread this_thread;

// ---- Start-up and threads (runtime.cpp) ---------------------------------------------------------

extern bool host_log_enabled;
extern bool host_client_loaded;
extern std::atomic<uint64_t> host_trap_count;
// The vector length in bytes of the loaded client (its `sve_vl_bytes`): one host library serves
// the client libraries of every length (features.cpp).
extern int host_vl_bytes;
extern std::atomic<uint32_t> host_patch_count;
extern std::atomic<uint64_t> host_trampoline_words;

// The exit events of the client (framework.cpp).
void host_run_exit_events();
// Gives the thread its init events, its emulator stack and its alternate signal stack.
void host_thread_init(host_thread* t);
// Carries out the SVE word at the context's pc (trap stage, then patch). False: not an SVE word.
bool host_sve_trap(ucontext_t* uc);
// The text of the client library: the emulator's own code.
bool host_in_client(uintptr_t pc);

// ---- What the client made of each SVE word (sequences.cpp) --------------------------------------

// Memory of the instruction lists, kept for the life of the process (ir.cpp).
void* host_arena_alloc(size_t size);

struct sequence {
    int n;
    instr_t* elems[1];
};

struct cache_entry {
    std::atomic<uintptr_t> pc;
    std::atomic<sequence*> seq;
    bool patched;  // tried by the patch stage (under the build lock)
};

void host_cache_init();
cache_entry* host_lookup(uintptr_t pc);
// The entry of `pc`, building and rewriting its block the first time; null seq: not an SVE word.
cache_entry* host_find_or_build(host_thread* t, uintptr_t pc);
// Takes (true) or gives back (false) the lock that serialises block builds and patching.
void host_lock_builds(bool lock);
// What the client puts in front of `msr fpcr, x0`, and where it stores the value.
extern sequence* host_fpcr_watch;
void host_learn_fpcr_watch(host_thread* t);
uint32_t* host_fpcr_field_of(const host_thread* t);

// ---- The trap interpreter (trap.cpp) ------------------------------------------------------------

constexpr uint32_t FPSIMD_MAGIC_WORD = 0x46508001;
struct fpsimd_record {
    uint32_t magic, size;
    uint32_t fpsr, fpcr;
    __uint128_t vregs[32];
};
fpsimd_record* host_find_fpsimd(ucontext_t* uc);

// The registers that a rewritten sequence reads and writes: the general registers, sp and NZCV
// of the interrupted code, and its FP/SIMD record.
struct machine {
    ucontext_t* uc;
    fpsimd_record* fp;
    host_thread* thread;
};

void host_run_sequence(machine& m, const sequence* s);
// The FPCR watch carried out with the live FPCR: the record's fpcr equals the program's.
void host_sync_fpcr(machine& m);
// Puts into `uc` the program's registers as they were before the SVE word whose sequence `s`
// has saved them (into the record and the spill slots) and is now in its call. False if the
// sequence does not say where a register went.
bool host_restore_before_word(const sequence* s, const host_thread* t, ucontext_t* uc);

// ---- The patch stage (patch.cpp) ----------------------------------------------------------------

extern bool host_patch_enabled;
// The patch stage, or the translate stage (SVE_HOST_STAGE=translate) on top of it; `client` is
// the client library's handle.
void host_setup_patch_stage(void* client);
// Encodes the sequence into a trampoline and makes the word a branch to it.
bool host_patch(uintptr_t pc, const sequence* s);
// The parts of a trampoline: executable memory that a branch at `pc` reaches, the machine code
// of a sequence appended to `buf`, and the word at `pc` made a branch to `to`.
uint32_t* host_code_space(uintptr_t pc, size_t bytes);
bool host_encode_sequence(const sequence* s, uint32_t* buf, int& n, int max);
bool host_redirect(uintptr_t pc, uintptr_t to);
struct host_code_env;
const host_code_env& host_code_environment();

// ---- The translate stage (translate/run.cpp) ----------------------------------------------------

extern bool host_translate_enabled;
extern std::atomic<uint64_t> host_translated_words, host_called_words, host_merged_runs;
// Finds the client's row lookup and trace flag; the stage stays off without them.
void host_setup_translate_stage(void* client, uintptr_t thread_offset);
// The thread's part: where its trace flag is.
void host_translate_thread_init(host_thread* t);
// One trampoline for the run of SVE words that starts at `pc` (whose sequence is `s`): the words
// the translator takes as inline code, the others as their sequences, each word a branch into it.
bool host_translate_run(uintptr_t pc, const sequence* s);
// A fault in the inline loads and stores of a run: the context is put back to the word's call,
// which carries it out again and meets the fault as the patch stage does. False: not such a fault.
bool host_translated_fault(ucontext_t* uc);

// ---- Signals (signals.cpp) ----------------------------------------------------------------------

// Puts the runtime's handlers of SIGILL, SIGSEGV and SIGBUS in place; from then on the program's
// actions and masks for them are kept apart from the kernel's.
void host_signals_start(const char* client_path);
// After the client is loaded: its text, where the emulator's own calls come from.
void host_signals_client_loaded(uintptr_t text_lo, uintptr_t text_hi);
// The signal layer's part of a new thread: its mask as the creating thread saw it.
struct host_thread_signals {
    uint8_t blocked;  // the program's blocked bits of SIGILL, SIGSEGV, SIGBUS
};
host_thread_signals host_signals_of_this_thread();
void host_signals_set_this_thread(host_thread_signals s);
// The kernel's sigaction, bypassing the program's view.
int host_real_sigaction(int sig, const struct sigaction* act, struct sigaction* old);
int host_real_sigaltstack(const stack_t* ss, stack_t* old);

// Finds the C library's functions behind the entry points (signal_calls.cpp).
void host_signal_calls_start();
// The program's side, for the C library's entry points (signal_calls.cpp): whether the layer is
// on, whether a call comes from the emulator, the program's actions, and this thread's blocked
// and pending bits of the kept signals, its alternate stack.
bool host_signals_active();
bool host_called_from_emulator(void* ret);
int host_any_sigaction(void* ret, int sig, const struct sigaction* act, struct sigaction* old);
int host_program_sigaction(int sig, const struct sigaction* act, struct sigaction* old);
uint8_t host_kept_bits(const sigset_t* s);
void host_strip_kept(sigset_t* s);
void host_add_kept(sigset_t* s, uint8_t bits);
uint8_t& host_blocked_bits();
uint8_t host_pending_bits();
void host_release_pending();
stack_t& host_program_altstack();
bool host_on_program_altstack(uintptr_t sp);

// ---- Undefined instructions (illegal.cpp) -------------------------------------------------------

// Whether the word is a half-precision scalar or Advanced SIMD instruction.
bool host_is_half_precision(uint32_t word);
// The one line said before a SIGILL with no handler of the program ends the process.
void host_report_illegal(uintptr_t pc);

// ---- What the program sees of the processor (features.cpp) --------------------------------------

// AT_HWCAP as the kernel gives it, without the SVE bit the program is shown.
unsigned long host_real_hwcap();

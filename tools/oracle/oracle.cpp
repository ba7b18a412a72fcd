// sve-oracle: executes SVE instruction words on SVE hardware (in practice qemu-aarch64 with
// -cpu max,sve-default-vector-length=<bytes>) and records the resulting states.
//
//   sve-oracle < cases > results
//
// Reads case records (tools/sve-step/case_format.h) from standard input until its end and
// writes one result record for each. SIGILL, SIGSEGV and SIGBUS of a case are reported in
// its record; the run goes on with the next case.
#include <csetjmp>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/mman.h>
#include <ucontext.h>
#include <unistd.h>

#include "tools/sve-step/case_format.h"

extern "C" {
int oracle_run();
extern uint32_t oracle_slot[];
extern conf::wire_state oracle_in;
extern conf::wire_state oracle_out;
}

namespace {

sigjmp_buf case_jump;
volatile sig_atomic_t in_case = 0;

void on_signal(int sig, siginfo_t*, void* uc) {
    auto* ctx = static_cast<ucontext_t*>(uc);
    // Only the slot's first word may fault; anything else is a fault of this runner.
    if (!in_case || ctx->uc_mcontext.pc != reinterpret_cast<uint64_t>(oracle_slot)) {
        signal(sig, SIG_DFL);
        return;
    }
    in_case = 0;
    siglongjmp(case_jump, sig);
}

// Zero, or the negated signal that the slot's word raised.
__attribute__((noinline)) int32_t run_guarded() {
    int sig = sigsetjmp(case_jump, 1);
    if (sig == 0) {
        in_case = 1;
        oracle_run();
        in_case = 0;
        return conf::ST_DONE;
    }
    __asm__ volatile("msr fpcr, xzr");
    return -sig;
}

bool read_all(void* p, size_t n) { return fread(p, 1, n, stdin) == n; }

}  // namespace

int main() {
    static uint8_t stack[1 << 16];
    stack_t ss{};
    ss.ss_sp = stack;
    ss.ss_size = sizeof stack;
    sigaltstack(&ss, nullptr);
    struct sigaction sa{};
    sa.sa_sigaction = on_signal;
    sa.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER;
    sigaction(SIGILL, &sa, nullptr);
    sigaction(SIGSEGV, &sa, nullptr);
    sigaction(SIGBUS, &sa, nullptr);

    // The records are laid out for one vector length: another would misplace every register.
    uint64_t vl;
    __asm__("rdvl %0, #1" : "=r"(vl));
    if (vl != uint64_t(conf::VL)) {
        fprintf(stderr, "sve-oracle: built for a %d-byte vector length, running at %llu bytes\n", conf::VL,
                (unsigned long long)vl);
        return 1;
    }

    long page = sysconf(_SC_PAGESIZE);
    uintptr_t slot_page = reinterpret_cast<uintptr_t>(oracle_slot) & ~uintptr_t(page - 1);
    if (mprotect(reinterpret_cast<void*>(slot_page), page, PROT_READ | PROT_WRITE | PROT_EXEC)) {
        perror("sve-oracle: mprotect");
        return 1;
    }
    static conf::case_buffer cb;
    if (!cb.map()) {
        perror("sve-oracle: cannot map the data buffer");
        return 1;
    }

    conf::case_header ch;
    while (read_all(&ch, sizeof ch)) {
        if (ch.magic != conf::CASE_MAGIC || !read_all(&oracle_in, sizeof oracle_in)) {
            fprintf(stderr, "sve-oracle: malformed case record\n");
            return 1;
        }
        cb.prepare(ch.buf_seed);

        oracle_slot[0] = ch.word;
        __builtin___clear_cache(reinterpret_cast<char*>(oracle_slot), reinterpret_cast<char*>(oracle_slot + 1));

        conf::result_header rh{conf::RESULT_MAGIC, ch.word, ch.row, conf::ST_DONE, 0, 0};
        rh.status = run_guarded();
        if (rh.status != conf::ST_DONE) oracle_out = oracle_in;  // a rejected or faulting word changes nothing
        rh.nchanged = cb.finish();
        fwrite(&rh, sizeof rh, 1, stdout);
        fwrite(&oracle_out, sizeof oracle_out, 1, stdout);
        fwrite(cb.changes, sizeof cb.changes[0], rh.nchanged, stdout);
    }
    fflush(stdout);
    return 0;
}

// sve-oracle: executes SVE instruction words on SVE hardware (in practice qemu-aarch64 with
// -cpu max,sve-default-vector-length=80) and records the resulting states.
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

    long page = sysconf(_SC_PAGESIZE);
    uintptr_t slot_page = reinterpret_cast<uintptr_t>(oracle_slot) & ~uintptr_t(page - 1);
    if (mprotect(reinterpret_cast<void*>(slot_page), page, PROT_READ | PROT_WRITE | PROT_EXEC)) {
        perror("sve-oracle: mprotect");
        return 1;
    }
    void* area = mmap(reinterpret_cast<void*>(conf::BUF_ADDR - conf::GUARD), conf::BUF_SIZE + 2 * conf::GUARD,
                      PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0);
    if (area != reinterpret_cast<void*>(conf::BUF_ADDR - conf::GUARD) ||
        mprotect(reinterpret_cast<void*>(conf::BUF_ADDR), conf::BUF_SIZE, PROT_READ | PROT_WRITE)) {
        perror("sve-oracle: cannot map the data buffer");
        return 1;
    }
    auto* buf = reinterpret_cast<uint8_t*>(conf::BUF_ADDR);
    static uint8_t before[conf::BUF_SIZE];
    static conf::buffer_change changes[conf::BUF_SIZE];
    uint32_t filled_seed = 0;
    bool filled = false;

    conf::case_header ch;
    while (read_all(&ch, sizeof ch)) {
        if (ch.magic != conf::CASE_MAGIC || !read_all(&oracle_in, sizeof oracle_in)) {
            fprintf(stderr, "sve-oracle: malformed case record\n");
            return 1;
        }
        if (!filled || filled_seed != ch.buf_seed) {
            conf::fill_buffer(before, ch.buf_seed);
            filled_seed = ch.buf_seed;
            filled = true;
        }
        std::memcpy(buf, before, conf::BUF_SIZE);
        oracle_slot[0] = ch.word;
        __builtin___clear_cache(reinterpret_cast<char*>(oracle_slot), reinterpret_cast<char*>(oracle_slot + 1));

        conf::result_header rh{conf::RESULT_MAGIC, ch.word, ch.row, conf::ST_DONE, 0, 0};
        rh.status = run_guarded();
        if (rh.status != conf::ST_DONE) oracle_out = oracle_in;  // a rejected or faulting word changes nothing
        rh.nchanged = conf::diff_buffer(before, buf, changes, conf::BUF_SIZE);
        fwrite(&rh, sizeof rh, 1, stdout);
        fwrite(&oracle_out, sizeof oracle_out, 1, stdout);
        fwrite(changes, sizeof changes[0], rh.nchanged, stdout);
    }
    fflush(stdout);
    return 0;
}

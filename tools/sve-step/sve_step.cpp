// sve-step: executes SVE instruction words through this emulator, on states in the format of
// the oracle runner, and writes the resulting states in the same format.
//
//   sve-step [--vl BITS] [--generic] [CASES [RESULTS]]
//
// It works at the vector length of its build; --vl runs the sve-step-BITS beside it instead.
// Reads case records (case_format.h) from CASES (default standard input) and writes result
// records to RESULTS (default standard output). Each word goes through get_sve_handler and its
// handler, with the data buffer mapped at its fixed address; with --generic, a row that has a
// generic counterpart runs that instead. The status is the handler's return code (2 for an
// unimplemented row, whose message goes to standard error), ST_SIGILL for a word without a
// row, ST_SIGSEGV or ST_SIGBUS for a fault inside the handler.
#include <csetjmp>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <map>

#include "sve/core/sve_emulator.h"
#include "sve/memory/fault.h"
#include "tools/sve-step/state_convert.h"
#include "vl_dispatch.h"

namespace {

sigjmp_buf fault_jump;

// A fault that the emulator contains itself (a guarded read of a first-fault load) goes to its
// handler; any other ends the case.
void on_fault(int sig, siginfo_t* info, void* context) {
    if (SVEFaultRegion) SVESigHandler(sig, info, context);
    siglongjmp(fault_jump, sig);
}

// The handler's return code, or the negated signal of a fault inside it.
__attribute__((noinline)) int32_t run_guarded(sve_handler_t h, cpu_state* st, uint32_t word) {
    struct sigaction sa{}, old_segv, old_bus;
    sa.sa_sigaction = on_fault;
    sa.sa_flags = SA_SIGINFO | SA_NODEFER;
    sigaction(SIGSEGV, &sa, &old_segv);
    sigaction(SIGBUS, &sa, &old_bus);
    int32_t status;
    if (int sig = sigsetjmp(fault_jump, 1); sig == 0) status = h(st, word);
    else status = -sig;
    sigaction(SIGSEGV, &old_segv, nullptr);
    sigaction(SIGBUS, &old_bus, nullptr);
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    dispatch_vl("sve-step", argc, argv, SVE_VL_BITS);
    bool generic = false;
    const char* files[2] = {nullptr, nullptr};
    int nfiles = 0;
    for (int i = 1; i < argc; i++) {
        if (!std::strcmp(argv[i], "--generic")) generic = true;
        else if (argv[i][0] == '-' && argv[i][1]) {
            std::fprintf(stderr, "usage: sve-step [--vl BITS] [--generic] [CASES [RESULTS]]\n");
            return 1;
        } else if (nfiles < 2) files[nfiles++] = argv[i];
    }
    FILE* in = files[0] && std::strcmp(files[0], "-") ? std::fopen(files[0], "rb") : stdin;
    FILE* out = files[1] && std::strcmp(files[1], "-") ? std::fopen(files[1], "wb") : stdout;
    if (!in || !out) {
        std::perror("sve-step");
        return 1;
    }
    static conf::case_buffer cb;
    if (!cb.map()) {
        perror("sve-step: cannot map the data buffer");
        return 1;
    }
    std::map<sve_handler_t, sve_handler_t> generic_of;
    for (const sve_row_info& r : sve_rows)
        if (r.generic) generic_of[r.handler] = r.generic;

    static cpu_state st;
    conf::wire_state ws;
    conf::case_header ch;
    while (std::fread(&ch, sizeof ch, 1, in) == 1) {
        if (ch.magic != conf::CASE_MAGIC || std::fread(&ws, sizeof ws, 1, in) != 1) {
            std::fprintf(stderr, "sve-step: malformed case record\n");
            return 1;
        }
        cb.prepare(ch.buf_seed);
        conf::to_cpu_state(ws, st);
        st.pc = 0x400000;
        conf::result_header rh{conf::RESULT_MAGIC, ch.word, ch.row, conf::ST_SIGILL, 0, 0};
        sve_handler_t h = get_sve_handler(ch.word);
        if (h && generic) {
            auto g = generic_of.find(h);
            if (g != generic_of.end()) h = g->second;
        }
        if (h) rh.status = run_guarded(h, &st, ch.word);
        conf::to_wire_state(st, ws);
        rh.nchanged = cb.finish();
        std::fwrite(&rh, sizeof rh, 1, out);
        std::fwrite(&ws, sizeof ws, 1, out);
        std::fwrite(cb.changes, sizeof cb.changes[0], rh.nchanged, out);
    }
    std::fflush(out);
    return 0;
}

// Runs translated code on a machine state: the general registers, sp, NZCV, FPSR and the V
// registers come from a record (chunk 0 of each Z register is its V register) and go back to it
// afterwards, and the record itself is the one the code finds through the thread pointer. The
// code is emitted into an executable buffer between an entry and an exit written here.
#pragma once

#include <sys/auxv.h>
#include <sys/mman.h>

#include <cstddef>
#include <cstring>

#include "host/translate/a64.h"
#include "host/translate/translate.h"

// What the translated code finds through TPIDR_EL0 in the tests.
struct xl_test_tls {
    void* record;
    bool* trace_flag;
    void* machine;
};
inline thread_local __attribute__((tls_model("initial-exec"))) xl_test_tls xl_tls;
inline bool xl_test_trace_flag;

// (pairs of registers are stored at offsets below 512: the host's registers come first)
struct xl_machine {
    uint64_t host[22];  // callee-saved x19..x30, d8..d15, sp of the caller
    uint64_t slow;      // 1: the code left through its way out to the call
    uint64_t x[31];
    uint64_t sp;
    uint64_t nzcv, fpsr;
    alignas(16) __uint128_t v[32];
};

inline xl_env xl_test_env(int vl) {
    auto tp = reinterpret_cast<uintptr_t>(__builtin_thread_pointer());
    xl_tls.trace_flag = &xl_test_trace_flag;
    return {vl, uint32_t(uintptr_t(&xl_tls.record) - tp), uint32_t(uintptr_t(&xl_tls.trace_flag) - tp),
            uint32_t(getauxval(AT_HWCAP))};
}

// Executable memory for the tests' code.
inline uint32_t* xl_test_code(size_t words) {
    void* m = mmap(nullptr, words * 4, PROT_READ | PROT_WRITE | PROT_EXEC, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return m == MAP_FAILED ? nullptr : static_cast<uint32_t*>(m);
}

namespace xl_test_detail {
using namespace a64;
constexpr uint32_t X_OFF = offsetof(xl_machine, x), SP_OFF = offsetof(xl_machine, sp), NZCV_OFF = offsetof(xl_machine, nzcv),
                   FPSR_OFF = offsetof(xl_machine, fpsr), V_OFF = offsetof(xl_machine, v),
                   HOST_OFF = offsetof(xl_machine, host), SLOW_OFF = offsetof(xl_machine, slow);

inline uint32_t stp_d(uint32_t t1, uint32_t t2, uint32_t n, int off) {
    return 0x6D000000u | ((uint32_t(off / 8) & 0x7F) << 15) | (t2 << 10) | (n << 5) | t1;
}
inline uint32_t machine_pointer(xl_emitter& e, uint32_t r, const xl_env& env) {
    auto tp = reinterpret_cast<uintptr_t>(__builtin_thread_pointer());
    uint32_t off = uint32_t(uintptr_t(&xl_tls.machine) - tp);
    e.put(mrs_tpidr(r));
    if (off >> 12) e.put(add_imm(r, r, (off >> 12) & 0xFFF, true));
    e.put(ldr_x(r, r, off & 0xFFF));
    (void)env;
    return r;
}
}  // namespace xl_test_detail

// entry(machine*): saves the caller's registers into the machine, loads the program's.
inline void xl_test_entry(xl_emitter& e, const xl_env& env) {
    using namespace xl_test_detail;
    for (int i = 0; i < 6; i++) e.put(stp_x(19 + 2 * i, 20 + 2 * i, 0, int(HOST_OFF) + 16 * i));
    for (int i = 0; i < 4; i++) e.put(stp_d(8 + 2 * i, 9 + 2 * i, 0, int(HOST_OFF) + 96 + 16 * i));
    e.put(add_imm(1, SP, 0));
    e.put(str_x(1, 0, HOST_OFF + 160));
    e.put(ldr_x(1, 0, NZCV_OFF));
    e.put(msr_nzcv(1));
    e.put(ldr_x(1, 0, FPSR_OFF));
    e.put(0xD51B4420u | 1);  // msr fpsr, x1
    for (uint32_t q = 0; q < 32; q++) e.put(ldr_q(q, 0, V_OFF + 16 * q));
    e.put(ldr_x(1, 0, SP_OFF));
    e.put(add_imm(SP, 1, 0));
    for (uint32_t r = 2; r < 30; r += 2) e.put(ldp_x(r, r + 1, 0, int(X_OFF + 8 * r)));
    e.put(ldr_x(30, 0, X_OFF + 8 * 30));
    e.put(ldp_x(0, 1, 0, int(X_OFF)));
    (void)env;
}

// The exit: the program's registers back into the machine, `slow` set as given, then back to
// the caller.
inline void xl_test_exit(xl_emitter& e, const xl_env& env, bool slow) {
    using namespace xl_test_detail;
    e.put(stp_x(0, 1, SP, -16));
    machine_pointer(e, 0, env);
    for (uint32_t r = 2; r < 30; r += 2) e.put(stp_x(r, r + 1, 0, int(X_OFF + 8 * r)));
    e.put(str_x(30, 0, X_OFF + 8 * 30));
    e.put(ldp_x(2, 3, SP, -16));
    e.put(stp_x(2, 3, 0, int(X_OFF)));
    e.put(add_imm(1, SP, 0));
    e.put(str_x(1, 0, SP_OFF));
    for (uint32_t q = 0; q < 32; q++) e.put(str_q(q, 0, V_OFF + 16 * q));
    e.put(mrs_nzcv(1));
    e.put(str_x(1, 0, NZCV_OFF));
    e.put(0xD53B4420u | 1);  // mrs x1, fpsr
    e.put(str_x(1, 0, FPSR_OFF));
    e.put(movz(1, slow ? 1 : 0));
    e.put(str_x(1, 0, SLOW_OFF));
    e.put(ldr_x(1, 0, HOST_OFF + 160));
    e.put(add_imm(SP, 1, 0));
    for (int i = 0; i < 6; i++) e.put(ldp_x(19 + 2 * i, 20 + 2 * i, 0, int(HOST_OFF) + 16 * i));
    for (int i = 0; i < 4; i++) e.put(stp_d(8 + 2 * i, 9 + 2 * i, 0, int(HOST_OFF) + 96 + 16 * i) | (1u << 22));
    e.put(0xD65F03C0u);  // ret
}

// Code for a run of words: entry, set-up, the words, undoing, exit; a word's way out to the call
// leaves through the undoing and an exit that marks the machine slow. Returns null if the
// emitter failed.
typedef void (*xl_test_fn)(xl_machine*);
inline xl_test_fn xl_test_build(uint32_t* buf, int max, const xl_word* words, int n, const xl_env& env) {
    xl_emitter e{buf, max};
    uint32_t uses = 0;
    int ng = 0, nv = 0;
    for (int i = 0; i < n; i++) {
        uses |= words[i].uses;
        ng = ng > words[i].ng ? ng : words[i].ng;
        nv = nv > words[i].nv ? nv : words[i].nv;
    }
    xl_regs r;
    if (!xl_pick_regs(uses, ng, nv, r)) return nullptr;
    int slow = e.new_label();
    xl_test_entry(e, env);
    xl_prologue(e, r, env);
    for (int i = 0; i < n; i++) {
        int resume = e.new_label();
        xl_emit(e, words[i], r, env, slow, -1, resume);
        e.bind(resume);
    }
    xl_epilogue(e, r, env);
    xl_test_exit(e, env, false);
    e.bind(slow);
    xl_epilogue(e, r, env);
    xl_test_exit(e, env, true);
    if (e.finish() < 0) return nullptr;
    __builtin___clear_cache(reinterpret_cast<char*>(buf), reinterpret_cast<char*>(buf + e.n));
    return reinterpret_cast<xl_test_fn>(buf);
}

// Runs the code on `s` (its x, sp, nzcv, fpsr and chunk 0 of each Z register are the machine's;
// the rest of it is the record the code works on). Returns whether it left by its way out.
inline bool xl_test_run(xl_test_fn fn, cpu_state& s) {
    xl_machine m = {};
    std::memcpy(m.x, s.x, sizeof m.x);
    m.sp = s.sp, m.nzcv = s.nzcv, m.fpsr = s.fpsr;
    for (int q = 0; q < 32; q++) std::memcpy(&m.v[q], s.z[q], 16);
    xl_tls.record = &s;
    xl_tls.machine = &m;
    fn(&m);
    std::memcpy(s.x, m.x, sizeof m.x);
    s.sp = m.sp, s.nzcv = m.nzcv, s.fpsr = uint32_t(m.fpsr);
    for (int q = 0; q < 32; q++) std::memcpy(s.z[q], &m.v[q], 16);
    return m.slow != 0;
}

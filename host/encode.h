// Machine code for a rewritten sequence: the patch stage puts it in a trampoline that the SVE
// word branches to, so that later executions do not trap.
#pragma once

#include <cstdint>

#include "host/include/dr_host.h"

// Where the thread's host_thread lies from the thread pointer (TPIDR_EL0): the same for every
// thread, since the runtime's TLS is static.
struct host_code_env {
    uint64_t thread_offset;
};

// Largest number of words one element can take.
constexpr int HOST_MAX_ELEMENT_WORDS = 48;

// Each thread's emulator stack: the emulation call of the patch stage runs on it, and it is the
// thread's alternate signal stack, so the trap stage runs there too. Sized for the generic tier
// with room for signal frames and the program's handlers (SVE_HOST_LOG=1 reports the deepest use).
constexpr uint64_t HOST_EMULATOR_STACK_BYTES = uint64_t(256) << 10;
static_assert(HOST_EMULATOR_STACK_BYTES % 4096 == 0 && HOST_EMULATOR_STACK_BYTES < (uint64_t(1) << 24),
              "the call compares against it as a 12-bit immediate shifted by 12");

// Saving a spill slot needs one register free to address the thread's block, and AArch64 has no
// store without a base register: the scratch register waits this far below sp for four
// instructions, beyond the largest vector a program may keep just below sp (256 bytes at 2048
// bits) and a 128-byte red zone. sp itself moves down meanwhile (a multiple of 16 keeps it
// aligned), since a store offset reaches only 256 bytes below it.
constexpr int HOST_SCRATCH_BELOW_SP = 512;
static_assert(HOST_SCRATCH_BELOW_SP % 16 == 0 && HOST_SCRATCH_BELOW_SP < 4096, "a 12-bit add/sub of sp");

// Encodes one element of a sequence into `out`. Returns the number of words, or -1 for an
// element that the patch stage cannot encode (the word then stays with the trap stage).
int host_encode_element(const instr_t* in, const host_code_env& env, uint32_t* out);

// `b` from `from` to `to`, or 0 if out of range.
uint32_t host_encode_branch(uintptr_t from, uintptr_t to);

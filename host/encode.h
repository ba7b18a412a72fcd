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
constexpr int HOST_MAX_ELEMENT_WORDS = 32;

// Encodes one element of a sequence into `out`. Returns the number of words, or -1 for an
// element that the patch stage cannot encode (the word then stays with the trap stage).
int host_encode_element(const instr_t* in, const host_code_env& env, uint32_t* out);

// `b` from `from` to `to`, or 0 if out of range.
uint32_t host_encode_branch(uintptr_t from, uintptr_t to);

// Generation of conformance cases for one decode row: a word of the row with random operand
// fields, and a complete state biased to the values where faults hide. Memory rows get base
// registers, index registers and address or offset lanes that keep every access inside the
// data buffer.
#pragma once

#include <cstdint>

#include "sve/decode/sve_emulator.h"
#include "tests/support/state_util.h"
#include "tools/sve-step/case_format.h"

namespace conf {

// How a memory row forms its addresses (from the stem of its handler name).
enum addr_form { AF_NONE, AF_SI, AF_LSS, AF_VI, AF_SV, AF_VS };

struct row_traits {
    int elem_bytes;   // register element width of the type token, 0 if none
    bool fp;          // floating-point type token
    bool memory;      // a load, store, fill, spill or prefetch
    addr_form form;
    bool ext32;       // offsets are 32 bits, sign- or zero-extended (X or Y in front of SV/VS)
    bool sign_ext;    // X: sign-extended
    bool first_fault; // first-fault or non-fault load
    int mem_bytes;    // width of the memory element (the number behind Load, Store, Prefetch)
};

row_traits traits_of(const sve_row_info& row);

// A floating-point value of `bytes` (2, 4, 8) bytes biased to the special cases.
uint64_t interesting_fp(test_rng& r, int bytes);

struct gen_case {
    case_header h;
    wire_state s;
};

// Case `index` of the row, fully determined by the row, the seed and the index.
gen_case generate_case(int row, uint64_t seed, int index);

}  // namespace conf

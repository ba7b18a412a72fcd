// Helpers for tests that run memory rows on a buffer: words with chosen operand fields, states
// whose base registers point into the buffer, and running one tier on a copy of the buffer.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "tests/support/rows.h"
#include "tests/support/state_util.h"

// The operand fields of a load or store word.
struct mem_fields {
    uint32_t zt = 0, pg = 0, rn = 0, rm = 0;  // rm doubles as the 4-bit or 6-bit immediate field
};

// Word of a row with the fields in their usual places: Zt 4:0, Rn 9:5, Pg 12:10, Rm/imm 21:16.
// Bits that belong to the row's key come from the row.
inline uint32_t mem_word(const sve_row_info& row, const mem_fields& f) {
    return sve_row_word(row, f.zt | (f.rn << 5) | (f.pg << 10) | (f.rm << 16));
}

// A buffer at a fixed place for the whole test, large enough for every address form.
struct test_memory {
    static constexpr size_t SIZE = 8192;
    alignas(64) uint8_t bytes[SIZE];
    uint8_t* middle() { return bytes + SIZE / 2; }
    void fill(test_rng& r) {
        for (auto& b : bytes) b = uint8_t(r.next());
    }
};

// The rows whose metadata (family, access kind, element sizes, address form, registers) `keep`
// accepts, in table order.
template <class Keep>
std::vector<const sve_row_info*> rows_where(Keep&& keep) {
    std::vector<const sve_row_info*> out;
    for (const sve_row_info& r : sve_rows)
        if (keep(r)) out.push_back(&r);
    return out;
}

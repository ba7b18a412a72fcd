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

// Rows whose names match all of `parts` and contain none of `not_parts`.
inline std::vector<const sve_row_info*> rows_named(std::initializer_list<const char*> parts,
                                                   std::initializer_list<const char*> not_parts = {}) {
    std::vector<const sve_row_info*> out;
    for (const sve_row_info& r : sve_rows) {
        std::string n = r.name;
        bool ok = true;
        for (const char* p : parts) ok = ok && n.find(p) != std::string::npos;
        for (const char* p : not_parts) ok = ok && n.find(p) == std::string::npos;
        if (ok) out.push_back(&r);
    }
    return out;
}

// Public interface of the emulation core: the state record and handles (cpu_state.h), the
// word-to-handler lookup, and a read-only view of the decode rows for tests and tools.
#pragma once

#include <cstdint>

#include "sve/core/cpu_state.h"

// The handler of an SVE word, or null for a word that is native code.
sve_handler_t get_sve_handler(uint32_t word);

extern "C++" long page_size;

// One decode row as the tools see it.
struct sve_row_info {
    int map;                // index of the decode map in search order
    int32_t key;
    const char* name;       // handler name
    char tier;              // 'S' specialised, 'F' specialised on the host FP unit, 'G' generic, 'P' prefetch
    bool implemented;
    const char* op;         // specialised operation, or null
    sve_handler_t handler;  // what get_sve_handler returns for the row's words
    sve_handler_t generic;  // the generic function of a specialised row behind the generic frame, or null
};

struct sve_map_info {
    const char* name;  // decode_map__31_13 ...
    int nranges;
    int hi[5], lo[5];  // bit ranges of the key, most significant first
    uint32_t mask;     // bits of the word that the key covers
    int rows;
};

constexpr int SVE_DECODE_MAPS = 44;
constexpr int SVE_DECODE_ROWS = 1483;

extern const sve_row_info sve_rows[SVE_DECODE_ROWS];
const sve_map_info& sve_map(int map);
// Key of a word in a map.
int32_t sve_map_key(int map, uint32_t word);
// A word of the row: the key's bits from the row, the operand bits from `operands`.
uint32_t sve_row_word(const sve_row_info& row, uint32_t operands);

// Public interface of the decoder: the state record and handles (cpu_state.h), the word-to-handler
// lookup, and a read-only view of the decode rows (sve/decode/rows.txt) for tests and tools.
#pragma once

#include <cstdint>

#include "sve/core/cpu_state.h"
#include "sve/decode/generated/decode_counts.h"

// The handler of an SVE word, or null for a word that is native code.
sve_handler_t get_sve_handler(uint32_t word);

// The family of a row: which operations it reaches (the family column of the row table).
enum sve_family : uint8_t { SVE_FAMILY_INTEGER, SVE_FAMILY_PREDICATE, SVE_FAMILY_MEMORY, SVE_FAMILY_FP };

// What a row does to memory (the access column of the row table).
enum sve_access : uint8_t {
    SVE_ACCESS_NONE, SVE_ACCESS_LOAD, SVE_ACCESS_LOAD_FF, SVE_ACCESS_LOAD_NF, SVE_ACCESS_STORE,
    SVE_ACCESS_FILL, SVE_ACCESS_SPILL, SVE_ACCESS_PREFETCH,
};
// How a memory row forms its addresses: scalar plus immediate, scalar plus scaled scalar, vector
// plus immediate; scalar plus vector offsets unscaled (VS) or scaled by the memory element (SV),
// 64-bit or 32-bit sign-extended (X) or zero-extended (Y).
enum sve_address : uint8_t {
    SVE_ADDRESS_NONE, SVE_ADDRESS_SI, SVE_ADDRESS_LSS, SVE_ADDRESS_VI, SVE_ADDRESS_VS, SVE_ADDRESS_XVS,
    SVE_ADDRESS_YVS, SVE_ADDRESS_SV, SVE_ADDRESS_XSV, SVE_ADDRESS_YSV,
};

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
    sve_family family;
    int esz;                // element size code of the type token, -1 for none
    const char* type;       // the type token: U8, S64, F32, P16, P ...
    sve_access access;
    int mem_bytes;          // memory element of a load, store or prefetch: 1, 2, 4, 8; else 0
    sve_address address;
    int regs;               // registers a load or store transfers: 2 to 4 for ld2..ld4, st2..st4, else 1
};

// Element width in bytes of a row's type token (0 for a predicate without element size).
inline int sve_row_elem_bytes(const sve_row_info& r) { return r.esz < 0 ? 0 : 1 << r.esz; }

struct sve_map_info {
    const char* name;  // decode_map__31_13 ...
    int nranges;
    int hi[5], lo[5];  // bit ranges of the key, most significant first
    uint32_t mask;     // bits of the word that the key covers
    int rows;
};

extern const sve_row_info sve_rows[SVE_DECODE_ROWS];
const sve_map_info& sve_map(int map);
// Key of a word in a map.
int32_t sve_map_key(int map, uint32_t word);
// A word of the row: the key's bits from the row, the operand bits from `operands`.
uint32_t sve_row_word(const sve_row_info& row, uint32_t operands);

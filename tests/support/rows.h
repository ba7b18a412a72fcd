// The decode rows as tests select them: by name, by word, and by their metadata.
#pragma once

#include <cstring>

#include "sve/decode/sve_emulator.h"

inline const sve_row_info* row_named(const char* name) {
    for (const sve_row_info& r : sve_rows)
        if (std::strcmp(name, r.name) == 0) return &r;
    return nullptr;
}

// The row whose handler a word reaches, or null for native code.
inline const sve_row_info* row_of_word(uint32_t w) {
    sve_handler_t h = get_sve_handler(w);
    for (const sve_row_info& r : sve_rows)
        if (h && r.handler == h) return &r;
    return nullptr;
}

inline bool accesses_memory(const sve_row_info& r) { return r.access != SVE_ACCESS_NONE; }
// A load or store (prefetches only compute addresses).
inline bool transfers_memory(const sve_row_info& r) {
    return r.access != SVE_ACCESS_NONE && r.access != SVE_ACCESS_PREFETCH;
}
// Addresses formed from the lanes of a vector.
inline bool vector_addressed(const sve_row_info& r) {
    return r.address != SVE_ADDRESS_NONE && r.address != SVE_ADDRESS_SI && r.address != SVE_ADDRESS_LSS;
}
inline bool floating_point_elements(const sve_row_info& r) {
    return r.family == SVE_FAMILY_FP || r.type[0] == 'F' || r.type[0] == 'D';
}

template <class Pick>
int count_rows(Pick&& pick) {
    int n = 0;
    for (const sve_row_info& r : sve_rows) n += bool(pick(r));
    return n;
}

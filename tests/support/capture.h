// The test binary's own receiver of trace records: it stands in for the companion library and
// keeps every record in memory.
#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

#include "sve/decode/sve_emulator.h"
#include "sve/trace/trace.h"

// Records received so far (all threads), oldest first.
std::vector<sve_mem_ref_t> captured_records();
void clear_captured_records();

// Runs the handler of `word` on `s`, with s->pc set to `pc`.
inline aarch64_decode_rc run_word(cpu_state* s, uint32_t word, uint64_t pc = 0x400100) {
    s->pc = pc;
    sve_handler_t h = get_sve_handler(word);
    if (!h) return RC_UNIMPLEMENTED;
    return h(s, word);
}

// Words of the region markers for register n.
inline uint32_t roi_start_word(int n) { return 0x2520E020u + uint32_t(n); }
inline uint32_t roi_stop_word(int n) { return 0x2520E040u + uint32_t(n); }

// A page-aligned buffer whose following page is made unreadable.
struct guarded_pages {
    uint8_t* base = nullptr;  // readable pages
    size_t readable = 0;
    uint8_t* hole() const { return base + readable; }
    explicit guarded_pages(size_t readable_pages);
    ~guarded_pages();
};

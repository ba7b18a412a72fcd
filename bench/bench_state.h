// The starting registers of the instruction benchmarks (see instructions.inc).
#pragma once

#include <cstdint>
#include <cstring>

#include "sve/core/cpu_state.h"
#include "sve/decode/sve_emulator.h"

struct bench_insn {
    const char* text;
    uint32_t word;
    char kind;
};

inline constexpr bench_insn bench_insns[] = {
#define BENCH_INSN(text, word, kind) {text, word, #kind[0]},
#include "bench/instructions.inc"
#undef BENCH_INSN
};

template <typename T>
inline void bench_fill(uint8_t* z, T v) {
    for (int i = 0; i < SVE_VL_BYTES; i += int(sizeof v)) std::memcpy(z + i, &v, sizeof v);
}

inline void bench_state(cpu_state& s, const bench_insn& b, void* buffer) {
    std::memset(&s, 0, sizeof s);
    s.x[0] = reinterpret_cast<uintptr_t>(buffer);
    s.x[2] = 1000;
    for (auto& p : s.p[0]) p = 1;
    for (auto& f : s.ffr) f = 1;
    switch (b.kind) {
    case 'h':
        bench_fill<uint16_t>(s.z[1], 0x3d00);  // 1.25
        bench_fill<uint16_t>(s.z[2], 0x3e00);  // 1.5
        break;
    case 's':
        bench_fill<float>(s.z[1], 1.25f);
        bench_fill<float>(s.z[2], 1.5f);
        break;
    case 'd':
        bench_fill<double>(s.z[1], 1.25);
        bench_fill<double>(s.z[2], 1.5);
        break;
    default:
        for (uint32_t k = 0; k < SVE_VL_BYTES / 4; k++) {
            uint32_t a = 3 * k + 1, c = 1000 - k;
            std::memcpy(s.z[1] + 4 * k, &a, 4);
            std::memcpy(s.z[2] + 4 * k, &c, 4);
        }
    }
    for (uint32_t k = 0; k < SVE_VL_BYTES / 4; k++) std::memcpy(s.z[3] + 4 * k, &k, 4);
}

// The row of a handler (its tier and generic counterpart), or null.
inline const sve_row_info* bench_row_of(sve_handler_t h) {
    for (const sve_row_info& r : sve_rows)
        if (r.handler == h) return &r;
    return nullptr;
}

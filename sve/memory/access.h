// Shared pieces of the load and store operations: addresses of the scalar forms, predicate lanes,
// and the lane loops of both tiers.
#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "sve/memory/ops.h"

namespace mem {

template <class T>
using unsigned_of = std::make_unsigned_t<T>;

constexpr uint32_t log2_of(uint32_t bytes) { return bytes == 1 ? 0 : bytes == 2 ? 1 : bytes == 4 ? 2 : 3; }

// Xn + Xm * sizeof(T), Xm 31 counting as zero.
template <class T>
inline uint64_t index_address(const cpu_state* s, aarch64_i_rsp_reg xn, aarch64_i_reg xm) {
    return read_xsp(s, xn) + (read_xzr(s, xm) << log2_of(sizeof(T)));
}

// Lane i of a register of U-wide elements is active by bit 0 of predicate byte i * sizeof(U).
template <class U>
inline bool lane_active(const uint8_t* pred, uint32_t i) {
    return pred[i * sizeof(U)] & 1;
}
template <class U>
inline bool all_lanes_active(const uint8_t* pred) {
    uint32_t all = 1;
    for (uint32_t i = 0; i < SVE_VL_BYTES / sizeof(U); i++) all &= pred[i * sizeof(U)];
    return all & 1;
}

// A memory element widened to the register element: a signed T sign-extends.
template <class T, class U>
inline U widen(T v) {
    return U(v);
}

// Generic tier: a memory element read through ReadMemLib, widened.
template <class T, class U>
inline U read_generic(uint64_t addr, CpuContext* c) {
    return widen<T, U>(T(mem_lib<unsigned_of<T>>::read(addr, nullptr, c)));
}

}  // namespace mem

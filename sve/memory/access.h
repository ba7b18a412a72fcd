// Shared pieces of the load and store operations: addresses of the scalar forms, predicate lanes,
// and the lane loops of both tiers.
#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "sve/memory/ops.h"

namespace memory_access {

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
// Whether every lane is active: bit 0 of the first byte of each lane, eight bytes at a time.
template <class U>
inline bool all_lanes_active(const uint8_t* p) {
    constexpr uint64_t first_bytes = sizeof(U) == 1 ? 0x0101010101010101ull
                                     : sizeof(U) == 2 ? 0x0001000100010001ull
                                     : sizeof(U) == 4 ? 0x0000000100000001ull : 1ull;
    uint64_t all = first_bytes;
    for (int i = 0; i < SVE_VL_BYTES; i += 8) {
        uint64_t w;
        std::memcpy(&w, p + i, 8);
        all &= w;
    }
    return all == first_bytes;
}

// Calls f(first lane, lane count, active) for each maximal run of lanes of equal activity.
template <class U, class F>
inline void for_each_run(const uint8_t* p, F&& f) {
    constexpr uint32_t n = SVE_VL_BYTES / sizeof(U);
    if (all_lanes_active<U>(p)) {
        f(0, n, true);
        return;
    }
    for (uint32_t i = 0; i < n;) {
        bool on = lane_active<U>(p, i);
        uint32_t j = i + 1;
        while (j < n && lane_active<U>(p, j) == on) j++;
        f(i, j - i, on);
        i = j;
    }
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

}  // namespace memory_access

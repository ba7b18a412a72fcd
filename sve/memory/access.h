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

// The two scalar address forms of the contiguous and structure loads and stores, written once for
// both: Xn plus an immediate that counts groups of registers, and Xn plus Xm memory elements (Xm 31
// counting as zero). An access A has
//   elem                                   the memory element type
//   value                                  the generic tier's registers (VecV, VecList<N>)
//   group_bytes, generic_group_bytes(c)    the memory one step of the immediate covers, at the
//                                          build's length and at the context's
//   load(s, zt, pg, base), store(...)      the specialised element loops from a base address
//   gload(pg, base, c), gstore(zt, pg, base, c)  the generic ones
// The base address of each form, at the build's length and at the context's.
template <class A>
inline uint64_t si_address(const cpu_state* s, aarch64_i_rsp_reg xn, int imm) {
    return read_xsp(s, xn) + uint64_t(int64_t(imm) * A::group_bytes);
}
template <class A>
inline uint64_t generic_si_address(uint64_t xn, int64_t imm, const CpuContext* c) {
    return xn + uint64_t(imm) * A::generic_group_bytes(c);
}
template <class A>
inline uint64_t generic_ss_address(uint64_t xn, uint64_t xm) {
    return xn + (xm << log2_of(sizeof(typename A::elem)));
}

// The specialised operations of the two forms, loads (STORE false) and stores alike.
template <class A, bool STORE>
aarch64_decode_rc s_si(cpu_state* s, aarch64_z_reg zt, aarch64_p_reg pg, aarch64_i_rsp_reg xn, int imm) {
    return STORE ? A::store(s, zt, pg, si_address<A>(s, xn, imm)) : A::load(s, zt, pg, si_address<A>(s, xn, imm));
}
template <class A, bool STORE>
aarch64_decode_rc s_ss(cpu_state* s, aarch64_z_reg zt, aarch64_p_reg pg, aarch64_i_rsp_reg xn, aarch64_i_reg xm) {
    uint64_t base = index_address<typename A::elem>(s, xn, xm);
    return STORE ? A::store(s, zt, pg, base) : A::load(s, zt, pg, base);
}

// The generic functions of the two forms.
template <class A>
typename A::value g_load_si(const PredV& pg, uint64_t xn, int64_t imm, CpuContext* c) {
    return A::gload(pg, generic_si_address<A>(xn, imm, c), c);
}
template <class A>
typename A::value g_load_ss(const PredV& pg, uint64_t xn, uint64_t xm, CpuContext* c) {
    return A::gload(pg, generic_ss_address<A>(xn, xm), c);
}
template <class A>
void g_store_si(const typename A::value& zt, const PredV& pg, uint64_t xn, int64_t imm, CpuContext* c) {
    A::gstore(zt, pg, generic_si_address<A>(xn, imm, c), c);
}
template <class A>
void g_store_ss(const typename A::value& zt, const PredV& pg, uint64_t xn, uint64_t xm, CpuContext* c) {
    A::gstore(zt, pg, generic_ss_address<A>(xn, xm), c);
}

}  // namespace memory_access

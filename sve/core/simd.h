// Portable 128-bit vector types (GCC vector extensions): Advanced SIMD on AArch64, SSE on x86-64.
// Specialised operations walk a register as SVE_CHUNKS of these.
#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>

#include "sve/core/cpu_state.h"

typedef uint8_t v16u8 __attribute__((vector_size(16)));
typedef uint16_t v8u16 __attribute__((vector_size(16)));
typedef uint32_t v4u32 __attribute__((vector_size(16)));
typedef uint64_t v2u64 __attribute__((vector_size(16)));
typedef int8_t v16s8 __attribute__((vector_size(16)));
typedef int16_t v8s16 __attribute__((vector_size(16)));
typedef int32_t v4s32 __attribute__((vector_size(16)));
typedef int64_t v2s64 __attribute__((vector_size(16)));

constexpr int SVE_CHUNKS = SVE_VL_BYTES / 16;  // the register in 16-byte steps

template <class V>
[[gnu::always_inline]] inline V vload(const uint8_t* p) {
    V v;
    std::memcpy(&v, p, sizeof(V));
    return v;
}
template <class V>
[[gnu::always_inline]] inline void vstore(uint8_t* p, V v) {
    std::memcpy(p, &v, sizeof(V));
}

// Calls f(c) for the chunk numbers c = 0 .. SVE_CHUNKS - 1, unrolled at compile time on every compiler
// (inlined whatever the size of the operation around it; f is inlined where it says so).
template <class F>
[[gnu::always_inline]] inline void for_chunks(F&& f) {
    [&]<int... C>(std::integer_sequence<int, C...>) __attribute__((always_inline)) { (f(C), ...); }(
        std::make_integer_sequence<int, SVE_CHUNKS>{});
}

// Writes the register at dst as the chunks f(0) .. f(SVE_CHUNKS - 1). The chunks are the
// temporary: all are computed, in host vector registers, before the first store, so dst may be any of the
// registers that f reads.
template <class V, class F>
[[gnu::always_inline]] inline void vgen_reg(uint8_t* dst, F&& f) {
    V r[SVE_CHUNKS];
    for_chunks([&](int c) { r[c] = f(c); });
    for_chunks([&](int c) { vstore(dst + 16 * c, r[c]); });
}

// The lanes of a 16-byte chunk of a predicate (one byte per vector byte, bit 0 of a lane's first
// byte counts) as a mask of V's lanes: all ones where active. Pure arithmetic, so that it stays
// on the vector unit at every lane width.
template <class V>
inline V active_lanes(const uint8_t* p) {
    return V{} - (vload<V>(p) & 1);
}

// The 128-bit vector type of an element type.
template <class T> struct vec_of;
template <> struct vec_of<uint8_t> { typedef v16u8 type; };
template <> struct vec_of<uint16_t> { typedef v8u16 type; };
template <> struct vec_of<uint32_t> { typedef v4u32 type; };
template <> struct vec_of<uint64_t> { typedef v2u64 type; };
template <> struct vec_of<int8_t> { typedef v16s8 type; };
template <> struct vec_of<int16_t> { typedef v8s16 type; };
template <> struct vec_of<int32_t> { typedef v4s32 type; };
template <> struct vec_of<int64_t> { typedef v2s64 type; };

// Opens each branch of a dispatch on the element size. The branches load the same registers,
// and without this GCC hoists all those loads above the branch, where fifteen chunks no longer
// fit the host's vector registers and go through the stack. It emits no instruction.
inline void size_branch() { __asm__ volatile("" ::: "memory"); }

// The element type of size code ESZ (0 to 3), signed or unsigned.
template <int ESZ, bool SIGNED = false>
using elem_of_size = std::conditional_t<
    ESZ == 0, std::conditional_t<SIGNED, int8_t, uint8_t>,
    std::conditional_t<ESZ == 1, std::conditional_t<SIGNED, int16_t, uint16_t>,
                       std::conditional_t<ESZ == 2, std::conditional_t<SIGNED, int32_t, uint32_t>,
                                          std::conditional_t<SIGNED, int64_t, uint64_t>>>>;

// The size code of an element type.
template <class T>
constexpr int esize_code = sizeof(T) == 1 ? 0 : sizeof(T) == 2 ? 1 : sizeof(T) == 4 ? 2 : 3;

// The one dispatch on a run-time element size: calls f with a value of the element type of size
// code esz (0 to 3, the rows' sizes), signed or unsigned, and returns what f returns.
template <bool SIGNED = false, class F>
[[gnu::always_inline]] inline auto on_size(uint32_t esz, F&& f) {
    switch (esz) {
    case 0: size_branch(); return f(std::conditional_t<SIGNED, int8_t, uint8_t>());
    case 1: size_branch(); return f(std::conditional_t<SIGNED, int16_t, uint16_t>());
    case 2: size_branch(); return f(std::conditional_t<SIGNED, int32_t, uint32_t>());
    default: size_branch(); return f(std::conditional_t<SIGNED, int64_t, uint64_t>());
    }
}

// Instantiates the four forms name##_sized<ESZ> of an operation for the handlers.
#define SVE_SIZED_INSTANCES(name)                  \
    template decltype(name) name##_sized<0>;       \
    template decltype(name) name##_sized<1>;       \
    template decltype(name) name##_sized<2>;       \
    template decltype(name) name##_sized<3>;

// Defines the operation name for the run-time size code `size` (an expression of its parameters)
// through its form for each size, name##_sized<ESZ> (declared by SVE_SIZED_OP, defined before
// this), and instantiates the four forms for the handlers.
#define SVE_DEF_BY_SIZE(name, size, params, args)                                                   \
    aarch64_decode_rc name params {                                                                 \
        return on_size(size, [&](auto t) { return name##_sized<esize_code<decltype(t)>> args; });    \
    }                                                                                               \
    SVE_SIZED_INSTANCES(name)

// Defines name##_sized<ESZ> as a call of the element loop template that follows the arguments
// (ESZ stands in it for the size), and name for the run-time size code `size` as a call of the
// same template for each size.
#define SVE_DEF_SIZED(name, size, params, args, ...)                                   \
    template <int ESZ>                                                                 \
    aarch64_decode_rc name##_sized params { return __VA_ARGS__ args; }                 \
    aarch64_decode_rc name params {                                                    \
        return on_size(size, [&](auto t) {                                             \
            constexpr int ESZ = esize_code<decltype(t)>;                               \
            return __VA_ARGS__ args;                                                   \
        });                                                                            \
    }                                                                                  \
    SVE_SIZED_INSTANCES(name)

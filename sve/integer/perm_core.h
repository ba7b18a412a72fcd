// Element access and permute cores shared by the Z and P operations of both tiers.
#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "sve/core/generic.h"
#include "sve/core/simd.h"

namespace pcore {

// Unsigned element type of size code E.
template <int E>
using elem_t = std::conditional_t<E == 0, uint8_t, std::conditional_t<E == 1, uint16_t, std::conditional_t<E == 2, uint32_t, uint64_t>>>;

// Element e of a little-endian byte array.
template <class T>
inline T ld(const uint8_t* p, uint32_t e) {
    T v;
    std::memcpy(&v, p + e * sizeof(T), sizeof(T));
    return v;
}
template <class T>
inline void st(uint8_t* p, uint32_t e, T v) {
    std::memcpy(p + e * sizeof(T), &v, sizeof(T));
}

enum perm_kind { ZIP1, ZIP2, UZP1, UZP2, TRN1, TRN2 };

// Where element i of an n-element permute result comes from: the returned element of the first
// source, or of the second where `from_second` is set.
template <perm_kind K>
inline uint32_t perm_source(uint32_t i, uint32_t n, bool& from_second) {
    uint32_t h = n / 2;
    switch (K) {
    case ZIP1: from_second = i & 1; return i >> 1;
    case ZIP2: from_second = i & 1; return h + (i >> 1);
    case UZP1: from_second = i >= h; return 2 * (from_second ? i - h : i);
    case UZP2: from_second = i >= h; return 2 * (from_second ? i - h : i) + 1;
    case TRN1: from_second = i & 1; return i & ~1u;
    default: from_second = i & 1; return i | 1;
    }
}

template <perm_kind K, class T>
inline void permute_elems(uint8_t* t, const uint8_t* a, const uint8_t* b, uint32_t n) {
    for (uint32_t i = 0; i < n; i++) {
        bool second;
        uint32_t k = perm_source<K>(i, n, second);
        st<T>(t, i, ld<T>(second ? b : a, k));
    }
}

// A permute of two 80-byte arrays of slots of size code s; `t` is neither source.
template <perm_kind K>
inline void permute_bytes(uint8_t* t, const uint8_t* a, const uint8_t* b, uint32_t s) {
    dispatch_unsigned(s, [&](auto x) {
        typedef decltype(x) T;
        permute_elems<K, T>(t, a, b, SVE_VL_BYTES / sizeof(T));
    });
}

// A permute of two 80-byte registers into a third, which may be either source.
template <perm_kind K>
inline void permute_regs(uint8_t* d, const uint8_t* a, const uint8_t* b, uint32_t s) {
    alignas(16) uint8_t tmp[SVE_VL_BYTES];
    permute_bytes<K>(tmp, a, b, s);
    std::memcpy(d, tmp, SVE_VL_BYTES);
}

// Elements of src in reverse order; the bytes inside an element keep their order.
template <class T>
inline void rev_core(uint8_t* dst, const uint8_t* src, uint32_t n) {
    for (uint32_t e = 0; e < n; e++) st<T>(dst, e, ld<T>(src, n - 1 - e));
}

// The element slots of an 80-byte register in reverse order, into a register that may be the
// source.
inline void rev_regs(uint8_t* d, const uint8_t* src, uint32_t s) {
    alignas(16) uint8_t tmp[SVE_VL_BYTES];
    dispatch_unsigned(s, [&](auto x) {
        typedef decltype(x) T;
        rev_core<T>(tmp, src, SVE_VL_BYTES / sizeof(T));
    });
    std::memcpy(d, tmp, SVE_VL_BYTES);
}

// A specialised permute of three registers of one file (z or p), at the destination's size.
#define PCORE_PERMUTE_OP(name, R, file, K)                                          \
    aarch64_decode_rc name(cpu_state* s, R d, R n, R m) {                           \
        pcore::permute_regs<pcore::K>(s->file[d.num], s->file[n.num], s->file[m.num], d.qual); \
        return RC_DONE;                                                             \
    }

// A packed predicate as one byte (0 or 1) per lane, and back, for the first n lanes.
inline void pred_to_bytes(uint8_t* b, const PredV& p, uint32_t n) {
    for (uint32_t i = 0; i < n; i++) b[i] = pred_bit(p, i);
}
inline PredV bytes_to_pred(const uint8_t* b, uint32_t n) {
    PredV p = {{0, 0, 0, 0}};
    for (uint32_t i = 0; i < n; i++) p.w[i >> 6] |= uint64_t(b[i] & 1) << (i & 63);
    return p;
}

}  // namespace pcore

namespace pcore {

// An 80-byte predicate whose first `count` elements of size code s are true: 1 in the first byte
// of each such slot, 0 everywhere else.
inline void fill_first(uint8_t* p, uint32_t count, uint32_t s) {
    std::memset(p, 0, SVE_VL_BYTES);
    for (uint32_t e = 0; e < count; e++) p[e << s] = 1;
}

// The same as a packed predicate of the context's length, elements of `bits` bits.
inline PredV pred_first(uint32_t count, uint32_t bits) {
    PredV p = {{0, 0, 0, 0}};
    if (bits == 8 || bits == 16 || bits == 32 || bits == 64) {  // a word of lanes at a time
        const uint32_t nbits = count * (bits / 8);
        for (uint32_t i = 0; i < 4 && nbits > 64 * i; i++) p.w[i] = pred_lane_bits(bits) & pred_low_bits(nbits - 64 * i);
        return p;
    }
    for (uint32_t e = 0; e < count; e++) pred_set(p, e, bits, true);
    return p;
}

// All bytes of the context's vector length active.
inline PredV pred_all(const CpuContext* c) { return pred_first(vl_bytes(c), 8); }

// Number of elements of `bits` bits active in p.
inline uint32_t pred_count(const PredV& p, uint32_t bits, const CpuContext* c) {
    uint32_t n = elem_count(c, bits), k = 0;
    if ((bits == 8 || bits == 16 || bits == 32 || bits == 64) && n * (bits / 8) <= 256) {
        const uint32_t nbits = n * (bits / 8);
        for (uint32_t i = 0; i < 4 && nbits > 64 * i; i++)
            k += uint32_t(__builtin_popcountll(p.w[i] & pred_lane_bits(bits) & pred_low_bits(nbits - 64 * i)));
        return k;
    }
    for (uint32_t e = 0; e < n; e++) k += pred_active(p, e, bits);
    return k;
}

}  // namespace pcore

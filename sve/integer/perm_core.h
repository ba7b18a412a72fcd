// Element access and permute cores shared by the Z and P operations of both tiers.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>

#include "sve/core/generic.h"
#include "sve/core/simd.h"

namespace permute_core {

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

// ---- The same permutes on whole registers, in 16-byte chunks ----

// Lane i of the shuffle of K on a pair of chunks (x, y) of L lanes each: sources 0 .. L-1 are
// x's lanes, L .. 2L-1 y's. ZIP1 and ZIP2 interleave the low and the high halves of the pair,
// UZP1 and UZP2 take its even and odd lanes, TRN1 and TRN2 its even and odd lane pairs.
template <perm_kind K, int L>
constexpr int lane_source(int i) {
    switch (K) {
    case ZIP1: return i / 2 + (i & 1) * L;
    case ZIP2: return L / 2 + i / 2 + (i & 1) * L;
    case UZP1: return 2 * i;
    case UZP2: return 2 * i + 1;
    case TRN1: return (i & ~1) + (i & 1) * L;
    default: return (i | 1) + (i & 1) * L;
    }
}
template <perm_kind K, class V, int... I>
inline V shuffle_lanes(V x, V y, std::integer_sequence<int, I...>) {
    return __builtin_shufflevector(x, y, lane_source<K, int(sizeof...(I))>(I)...);
}
template <perm_kind K, class V>
inline V shuffle(V x, V y) {
    return shuffle_lanes<K>(x, y, std::make_integer_sequence<int, int(sizeof(V) / sizeof(x[0]))>{});
}
// A permute of two registers of lanes T into a third, which may be either source: all result
// chunks are built before the first store. zip interleaves the low (ZIP1) or the high (ZIP2)
// halves, result chunks 2k and 2k+1 coming from the half's chunk k; uzp takes the even or odd
// lanes of the pair of chunks 2j, 2j+1 of a then b for result chunk j; trn works chunk by chunk.
template <perm_kind K, class T>
[[gnu::always_inline]] inline void permute_whole(uint8_t* d, const uint8_t* a, const uint8_t* b) {
    typedef typename vec_of<T>::type V;
    auto A = [a](int off) { return vload<V>(a + off); };
    auto B = [b](int off) { return vload<V>(b + off); };
    V r[SVE_CHUNKS];
    if constexpr (K == ZIP1 || K == ZIP2) {
        constexpr int half = K == ZIP1 ? 0 : SVE_VL_BYTES / 2;
        for_chunks([&](int c) {
            const int off = half + 16 * (c / 2);
            if (K == ZIP2 && SVE_CHUNKS % 2 && c == SVE_CHUNKS - 1)
                // With an odd number of chunks the high half ends with the high 8 bytes of the
                // last chunk; a 16-byte load at `off` would run past the register.
                r[c] = shuffle<ZIP2>(A(SVE_VL_BYTES - 16), B(SVE_VL_BYTES - 16));
            else
                r[c] = c % 2 ? shuffle<ZIP2>(A(off), B(off)) : shuffle<ZIP1>(A(off), B(off));
        });
    } else if constexpr (K == UZP1 || K == UZP2) {
        // Chunk i of the pair a:b, every chunk lying wholly in one of them.
        auto AB = [&](int i) { return i < SVE_CHUNKS ? A(16 * i) : B(16 * (i - SVE_CHUNKS)); };
        for_chunks([&](int c) { r[c] = shuffle<K>(AB(2 * c), AB(2 * c + 1)); });
    } else if constexpr (sizeof(T) < 8) {
        // A pair of lanes is one lane of twice the width: trn1 joins the low halves of a's and
        // b's wide lanes, trn2 the high halves, with shifts and masks on every host.
        typedef std::conditional_t<sizeof(T) == 1, uint16_t, std::conditional_t<sizeof(T) == 2, uint32_t, uint64_t>> TW;
        typedef typename vec_of<TW>::type VW;
        constexpr int nb = 8 * int(sizeof(T));
        const VW low = VW{} + TW((TW(1) << nb) - 1);
        for_chunks([&](int c) {
            VW x = vload<VW>(a + 16 * c), y = vload<VW>(b + 16 * c);
            r[c] = V(K == TRN1 ? (x & low) | (y << nb) : (x >> nb) | (y & ~low));
        });
    } else {
        for_chunks([&](int c) { r[c] = shuffle<K>(A(16 * c), B(16 * c)); });
    }
    for_chunks([&](int c) { vstore(d + 16 * c, r[c]); });
}

// A permute of two registers of slots of size code s into a third, which may be either
// source.
template <perm_kind K>
[[gnu::always_inline]] inline void permute_regs(uint8_t* d, const uint8_t* a, const uint8_t* b, uint32_t s) {
    on_size(s, [&](auto x) { permute_whole<K, decltype(x)>(d, a, b); });
}

// Elements of src in reverse order; the bytes inside an element keep their order.
template <class T>
inline void rev_core(uint8_t* dst, const uint8_t* src, uint32_t n) {
    for (uint32_t e = 0; e < n; e++) st<T>(dst, e, ld<T>(src, n - 1 - e));
}

// The element slots of a register in reverse order, into a register that may be the
// source.
inline void rev_regs(uint8_t* d, const uint8_t* src, uint32_t s) {
    alignas(16) uint8_t tmp[SVE_VL_BYTES];
    on_size(s, [&](auto x) {
        typedef decltype(x) T;
        rev_core<T>(tmp, src, SVE_VL_BYTES / sizeof(T));
    });
    std::memcpy(d, tmp, SVE_VL_BYTES);
}

// A specialised permute of three registers of one file (z or p), at the destination's size.
#define PCORE_PERMUTE_OP(name, R, file, K)                                          \
    aarch64_decode_rc name(cpu_state* s, R d, R n, R m) {                           \
        permute_core::permute_regs<permute_core::K>(s->file[d.num], s->file[n.num], s->file[m.num], d.qual); \
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

}  // namespace permute_core

namespace permute_core {

// A predicate whose first `count` elements of size code s are true: 1 in the first byte
// of each such slot, 0 everywhere else.
[[gnu::always_inline]] inline void fill_first(uint8_t* p, uint32_t count, uint32_t s) {
    // Each chunk compares its byte positions with the part of the limit inside it (0 to 16), so
    // the byte lanes hold small numbers at every length.
    const v16s8 iota = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
    static constexpr v16s8 lead[4] = {  // 1 at the first byte of each slot
        {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1},
        {1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0},
        {1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0},
        {1, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0},
    };
    const int limit = int(count << s);
    vgen_reg<v16s8>(p, [&](int c) {
        const int8_t in_chunk = int8_t(std::clamp(limit - 16 * c, 0, 16));
        return (v16s8)(iota < in_chunk) & lead[s & 3];
    });
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

}  // namespace permute_core

// Values and context of the generic tier: operations written for any vector length up to 2048
// bits, taking values and a CpuContext, knowing nothing of cpu_state. Also the frame through
// which a generic handler marshals cpu_state into values and back.
#pragma once

#include <cstdint>
#include <cstring>

#include "sve/core/cpu_state.h"

// A predicate as a value: one bit per vector byte, bit i is bit i%64 of word i/64.
struct PredV {
    uint64_t w[4];
};

// A vector as a value: 256 bytes, the first vl_words*8 live.
struct alignas(16) VecV {
    uint8_t b[256];
};

constexpr uint32_t FPSR_CTX_MASK = 0xF800009Fu;  // N Z C V QC IDC IXC UFC OFC DZC IOC
constexpr uint32_t FPCR_CTX_MASK = 0x07C89F00u;  // AHP DN FZ RMode FZ16 and trap enables
constexpr uint32_t VL_WORDS_MASK = 0x3FFFFFFu;

struct CpuContext {
    uint32_t nzcv;
    uint32_t fpsr;
    uint32_t fpcr;
    uint32_t vl_words;
    PredV ffr;
};

extern "C++" CpuContext cpu_ctxt;
extern "C++" CpuContext* ctxt;

// Element count of a generic operation for an element width of w bits.
inline uint32_t elem_count(const CpuContext* c, uint32_t w_bits) {
    return (c->vl_words & VL_WORDS_MASK) * 64 / w_bits;
}
inline uint32_t vl_bytes(const CpuContext* c) { return (c->vl_words & VL_WORDS_MASK) * 8; }

// Predicate bit of element e of width w bits.
inline bool pred_active(const PredV& p, uint32_t e, uint32_t w_bits) {
    return (p.w[(e * w_bits) >> 9] >> (((e * w_bits) >> 3) & 63)) & 1;
}
inline void pred_set(PredV& p, uint32_t e, uint32_t w_bits, bool v) {
    uint32_t word = (e * w_bits) >> 9, bit = ((e * w_bits) >> 3) & 63;
    p.w[word] = (p.w[word] & ~(1ull << bit)) | (uint64_t(v) << bit);
}
inline bool pred_bit(const PredV& p, uint32_t i) { return (p.w[i >> 6] >> (i & 63)) & 1; }
// The bits of a PredV word that are the first bytes of elements of w bits (8, 16, 32 or 64):
// the bits that pred_active looks at. Elements never straddle a word.
constexpr uint64_t pred_lane_bits(uint32_t w_bits) {
    return w_bits == 8 ? ~0ull : w_bits == 16 ? 0x5555555555555555ull : w_bits == 32 ? 0x1111111111111111ull : 0x0101010101010101ull;
}
// The low n bits of a predicate word, n from 0 to 64.
constexpr uint64_t pred_low_bits(uint32_t n) { return n >= 64 ? ~0ull : (1ull << n) - 1; }
// First and last element of w bits (8 to 64) whose predicate bit is set among the elements in
// the first `bytes` bytes (at most 256); both -1 when there is none.
struct pred_span {
    int first, last;
};
inline pred_span active_span(const PredV& p, uint32_t w_bits, uint32_t bytes) {
    pred_span r{-1, -1};
    const int per = int(w_bits / 8);
    for (uint32_t k = 0; k < 4 && 64 * k < bytes; k++) {
        uint64_t m = p.w[k] & pred_lane_bits(w_bits) & pred_low_bits(bytes - 64 * k);
        if (m == 0) continue;
        if (r.first < 0) r.first = int(64 * k + __builtin_ctzll(m)) / per;
        r.last = int(64 * k + 63 - __builtin_clzll(m)) / per;
    }
    return r;
}

// Element access of a VecV, little-endian.
template <class T>
inline T vget(const VecV& v, uint32_t e) {
    T r;
    std::memcpy(&r, v.b + e * sizeof(T), sizeof(T));
    return r;
}
template <class T>
inline void vset(VecV& v, uint32_t e, T x) {
    std::memcpy(v.b + e * sizeof(T), &x, sizeof(T));
}

// ---- Element loops of the generic tier, for elements of type T ----

// Every live element e gets f(e).
template <class T, class F>
inline VecV gen_map(const CpuContext* c, F&& f) {
    VecV r;  // every live element is written
    uint32_t n = elem_count(c, 8 * sizeof(T));
    for (uint32_t e = 0; e < n; e++) vset<T>(r, e, f(e));
    return r;
}
// Merging: an active element e gets f(e, old element), an inactive one keeps the old element.
template <class T, class F>
inline VecV gen_merge(const VecV& old, const PredV& pg, const CpuContext* c, F&& f) {
    VecV r = old;
    uint32_t n = elem_count(c, 8 * sizeof(T));
    for (uint32_t e = 0; e < n; e++)
        if (pred_active(pg, e, 8 * sizeof(T))) vset<T>(r, e, T(f(e, vget<T>(old, e))));
    return r;
}
// Predicate result: the bit of each active element e where f(e) holds, all other bits clear.
template <class T, class F>
inline PredV gen_pred_result(const PredV& pg, const CpuContext* c, F&& f) {
    PredV r = {{0, 0, 0, 0}};
    uint32_t n = elem_count(c, 8 * sizeof(T));
    for (uint32_t e = 0; e < n; e++)
        if (pred_active(pg, e, 8 * sizeof(T)) && f(e)) pred_set(r, e, 8 * sizeof(T), true);
    return r;
}

// Number of active elements of a predicate constraint pattern for n elements.
uint32_t VecTrueILength(uint32_t pattern, uint32_t n);

// The pieces of the generic frame, in the order a generic handler uses them.
// Predicates move between the byte-per-lane form of cpu_state and the bit form eight bytes at
// a time: bit 0 of each byte is gathered by one multiplication, and spread back by a table.

// Packs the SVE_VL_BYTES bytes; `junk` gets the bits other than bit 0 of all of them (0 when every byte is
// 0 or 1, that is when unpacking the result would write the same bytes back).
inline PredV pack_pred_checked(const uint8_t* bytes, uint64_t& junk) {
    PredV p = {{0, 0, 0, 0}};
    uint64_t j = 0;
#pragma GCC unroll 32  // every 8-byte step at the longest length
    for (int i = 0; i < SVE_VL_BYTES; i += 8) {
        uint64_t x;
        std::memcpy(&x, bytes + i, 8);
        j |= x & ~0x0101010101010101ull;
        x &= 0x0101010101010101ull;
        p.w[i >> 6] |= ((x * 0x0102040810204080ull) >> 56) << (i & 63);
    }
    junk = j;
    return p;
}
inline PredV pack_pred(const uint8_t* bytes) {
    uint64_t junk;
    return pack_pred_checked(bytes, junk);
}

// Eight predicate bytes, 0 or 1, for each value of eight predicate bits.
struct PredSpreadTable {
    uint64_t bytes[256];
    constexpr PredSpreadTable() : bytes() {
        for (int v = 0; v < 256; v++)
            for (int i = 0; i < 8; i++) bytes[v] |= uint64_t((v >> i) & 1) << (8 * i);
    }
};
inline constexpr PredSpreadTable pred_spread{};

inline void unpack_pred(uint8_t* bytes, const PredV& p) {
#pragma GCC unroll 32  // every 8-byte step at the longest length
    for (int i = 0; i < SVE_VL_BYTES; i += 8) {
        uint64_t x = pred_spread.bytes[(p.w[i >> 6] >> (i & 63)) & 0xFF];
        std::memcpy(bytes + i, &x, 8);
    }
}

// Whether two predicates agree in the bits of the SVE_VL_BYTES live bytes.
inline bool same_live_bits(const PredV& a, const PredV& b) {
    uint64_t diff = 0;
    for (int i = 0; i < SVE_VL_BYTES / 64; i++) diff |= a.w[i] ^ b.w[i];
    if (SVE_VL_BYTES % 64) diff |= (a.w[SVE_VL_BYTES / 64] ^ b.w[SVE_VL_BYTES / 64]) & ((1ull << (SVE_VL_BYTES % 64)) - 1);
    return diff == 0;
}

// The context of a generic handler. `ffr_junk` as from pack_pred_checked for cpu_state's ffr.
inline CpuContext frame_enter(const cpu_state* s, uint64_t& ffr_junk) {
    CpuContext c;
    c.nzcv = uint32_t(s->nzcv);
    c.fpsr = s->fpsr;
    c.fpcr = s->fpcr & FPCR_CTX_MASK;
    c.vl_words = SVE_VL_BITS / 64;
    c.ffr = pack_pred_checked(s->ffr, ffr_junk);
    return c;
}
inline CpuContext frame_enter(const cpu_state* s) {
    uint64_t junk;
    return frame_enter(s, junk);
}
// Flags, fpsr and ffr back into cpu_state; ffr's bytes come out 0 or 1.
inline void frame_leave(cpu_state* s, const CpuContext& c) {
    s->nzcv = c.nzcv;
    s->fpsr = c.fpsr;
    unpack_pred(s->ffr, c.ffr);
}
// The same, given ffr as frame_enter packed it: when the function left ffr's live bits as they
// were and the bytes were 0 or 1 already, unpacking would rewrite the same bytes, so it is left out.
inline void frame_leave(cpu_state* s, const CpuContext& c, const PredV& ffr_in, uint64_t ffr_junk) {
    s->nzcv = c.nzcv;
    s->fpsr = c.fpsr;
    if (ffr_junk != 0 || !same_live_bits(c.ffr, ffr_in)) unpack_pred(s->ffr, c.ffr);
}
inline VecV load_vec(const cpu_state* s, uint32_t n) {
    VecV v;
    std::memcpy(v.b, s->z[n], SVE_VL_BYTES);
    return v;
}
inline void store_vec(cpu_state* s, uint32_t n, const VecV& v) { std::memcpy(s->z[n], v.b, SVE_VL_BYTES); }
// A floating-point (or SIMD) scalar destination: the value in the low bytes, zero elsewhere.
inline void store_scalar(cpu_state* s, uint32_t n, uint64_t v, uint32_t bytes) {
    std::memset(s->z[n], 0, SVE_VL_BYTES);
    std::memcpy(s->z[n], &v, bytes);
}

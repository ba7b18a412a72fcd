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

// Number of active elements of a predicate constraint pattern for n elements.
uint32_t VecTrueILength(uint32_t pattern, uint32_t n);

// The pieces of the generic frame, in the order a generic handler uses them.
// Predicates move between the byte-per-lane form of cpu_state and the bit form eight bytes at
// a time: bit 0 of each byte is gathered by one multiplication, and spread back by another.
inline PredV pack_pred(const uint8_t* bytes80) {
    PredV p = {{0, 0, 0, 0}};
    for (int i = 0; i < SVE_VL_BYTES; i += 8) {
        uint64_t x;
        std::memcpy(&x, bytes80 + i, 8);
        x &= 0x0101010101010101ull;
        p.w[i >> 6] |= ((x * 0x0102040810204080ull) >> 56) << (i & 63);
    }
    return p;
}
inline void unpack_pred(uint8_t* bytes80, const PredV& p) {
    for (int i = 0; i < SVE_VL_BYTES; i += 8) {
        uint64_t bits = (p.w[i >> 6] >> (i & 63)) & 0xFF;
        uint64_t x = (bits * 0x0101010101010101ull) & 0x8040201008040201ull;
        x = ((x + 0x7F7F7F7F7F7F7F7Full) & 0x8080808080808080ull) >> 7;
        std::memcpy(bytes80 + i, &x, 8);
    }
}
CpuContext frame_enter(const cpu_state* s);
void frame_leave(cpu_state* s, const CpuContext& c);
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

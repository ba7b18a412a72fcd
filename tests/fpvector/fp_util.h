// Helpers of the vector floating-point tests: rows by name, element access, FP-biased values.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "tests/support/rows.h"
#include "tests/support/state_util.h"


// Operand fields of a word.
inline uint32_t fld(uint32_t v, int lo) { return v << lo; }

// Runs a handler as the client does: on AArch64 the specialised tier computes under the hardware
// FPCR, which the running application keeps equal to the record's fpcr; the test sets it so.
inline aarch64_decode_rc run_handler(sve_handler_t h, cpu_state& s, uint32_t w) {
#if defined(__aarch64__)
    uint64_t saved;
    __asm__ volatile("mrs %0, fpcr" : "=r"(saved));
    __asm__ volatile("msr fpcr, %0" : : "r"(uint64_t(s.fpcr)) : "memory");
    aarch64_decode_rc rc = h(&s, w);
    __asm__ volatile("msr fpcr, %0" : : "r"(saved) : "memory");
    return rc;
#else
    return h(&s, w);
#endif
}

// Runs the row's handler (tier as the table says) on a word made of `fields`.
inline aarch64_decode_rc run_row(const char* name, cpu_state& s, uint32_t fields) {
    const sve_row_info* r = row_named(name);
    EXPECT_NE(r, nullptr) << name;
    if (!r) return RC_UNIMPLEMENTED;
    uint32_t w = sve_row_word(*r, fields);
    EXPECT_EQ(get_sve_handler(w), r->handler) << name << " word " << std::hex << w;
    return run_handler(r->handler, s, w);
}

template <class T>
inline void zfill(cpu_state& s, int z, T v) {
    for (int e = 0; e < SVE_VL_BYTES / int(sizeof(T)); e++) zset<T>(s, z, e, v);
}
// Predicate p with element e of `bytes` active when bit e of `mask` (low 64 elements) is set.
inline void pset_mask(cpu_state& s, int p, int bytes, uint64_t mask) {
    std::memset(s.p[p], 0, SVE_VL_BYTES);
    for (int e = 0; e < SVE_VL_BYTES / bytes && e < 64; e++) s.p[p][e * bytes] = (mask >> e) & 1;
}
inline void pset_all(cpu_state& s, int p) { std::memset(s.p[p], 1, SVE_VL_BYTES); }

inline void clean_state(cpu_state& s) {
    std::memset(&s, 0, sizeof s);
}

// FPCR / FPSR bits.
constexpr uint32_t F_IOC = 1, F_DZC = 2, F_OFC = 4, F_UFC = 8, F_IXC = 16, F_IDC = 128;
constexpr uint32_t C_FZ16 = 1u << 19, C_FZ = 1u << 24, C_DN = 1u << 25, C_AHP = 1u << 26;
constexpr uint32_t rmode(int m) { return uint32_t(m) << 22; }

// Floating-point values where faults hide, for elements of `bytes` bytes (2, 4 or 8).
inline uint64_t fp_interesting(test_rng& r, int bytes) {
    int M = bytes == 2 ? 10 : bytes == 4 ? 23 : 52;
    int W = bytes * 8;
    uint64_t sign = uint64_t(r.below(2)) << (W - 1);
    uint64_t expmax = (bytes == 2 ? 0x1Full : bytes == 4 ? 0xFFull : 0x7FFull);
    uint64_t frac_mask = (1ull << M) - 1, bias = expmax >> 1;
    uint64_t frac = r.next() & frac_mask;
    auto pack = [&](uint64_t e, uint64_t f) { return sign | (e << M) | (f & frac_mask); };
    switch (r.below(16)) {
    case 0: return sign;                                               // ±0
    case 1: return pack(expmax, 0);                                    // ±inf
    case 2: return pack(expmax, (1ull << (M - 1)) | frac);             // quiet NaN with payload
    case 3: return pack(expmax, (frac & ((1ull << (M - 1)) - 1)) | 1); // signalling NaN
    case 4: return pack(0, frac | 1);                                  // denormal
    case 5: return pack(0, 1);                                         // smallest denormal
    case 6: return pack(expmax - 1, frac);                             // near overflow
    case 7: return pack(1, frac);                                      // smallest normals
    case 8: return pack(bias, 0);                                      // ±1.0
    case 9: return pack(bias + r.below(4), frac & ~((1ull << (M - 3)) - 1));  // short mantissas
    case 10: return pack(bias - 1 + r.below(3), frac);                 // around 1
    case 11: return r.next() & (W == 64 ? ~0ull : (1ull << W) - 1);    // any pattern (integers too)
    default: return pack(bias - 20 + r.below(40), frac);               // ordinary numbers
    }
}

// A random state whose Z registers hold FP-biased elements of `bytes` bytes.
inline void fp_random_state(cpu_state& s, test_rng& r, int bytes) {
    random_state(s, r);
    for (auto& z : s.z)
        for (int i = 0; i < SVE_VL_BYTES; i += bytes) {
            uint64_t v = fp_interesting(r, bytes);
            std::memcpy(z + i, &v, bytes);
        }
}

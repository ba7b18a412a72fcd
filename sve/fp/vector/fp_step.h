// One floating-point element step: a working FPSCR made from the control bits, the library call,
// and the flags ORed into a status word. Shared by both tiers: the generic tier steps against its
// CpuContext, the specialised tier (on hosts without an AArch64 FP unit) against cpu_state.
#pragma once

#include <cstdint>
#include <cstring>

#include "sve/core/generic.h"
#include "sve/fp/lib/fplib.h"

constexpr uint32_t FPCR_AHP = 1u << 26;
constexpr uint32_t FPCR_FZ16 = 1u << 19;

static_assert(sizeof(FPSCR) == 4, "FPSCR is one 32-bit word");

inline FPSCR fpscr_of(uint32_t word) {
    FPSCR f;
    std::memcpy(&f, &word, 4);
    return f;
}
inline uint32_t fpscr_word(const FPSCR& f) {
    uint32_t w;
    std::memcpy(&w, &f, 4);
    return w;
}

// Runs fn(FPSCR&) on a working word made from `fpcr` (control bits only) and merges its flags
// into `fpsr`; the result of fn is returned.
template <class Fn>
inline auto fp_step(uint32_t fpcr, uint32_t& fpsr, Fn&& fn) {
    FPSCR w = fpscr_of(fpcr & FPCR_CTX_MASK);
    auto r = fn(w);
    fpsr = (fpsr | fpscr_word(w)) & FPSR_CTX_MASK;
    return r;
}

// The rounding mode of a control word, as the library's enumeration.
inline FPRounding fp_rmode(uint32_t fpcr) { return FPRounding((fpcr >> 22) & 3); }

// Decoding of the immediates of the integer forms.
#include "sve/integer/int_forms.h"

namespace forms {

// The standard's DecodeBitMasks for 64-bit registers: an element of 2^len bits with imms+1
// low ones, rotated right by immr, replicated. The reserved all-ones pattern gives 0.
uint64_t decode_bit_mask(uint32_t n, uint32_t immr, uint32_t imms) {
    uint32_t combined = (n << 6) | (~imms & 0x3F);
    if (combined == 0) return 0;
    int len = 31 - __builtin_clz(combined);
    if (len < 1) return 0;
    uint32_t esize = 1u << len, levels = esize - 1;
    uint32_t s = imms & levels, r = immr & levels;
    uint64_t emask = esize == 64 ? ~0ull : (1ull << esize) - 1;
    uint64_t welem = s + 1 >= 64 ? ~0ull : (1ull << (s + 1)) - 1;
    uint64_t rot = r == 0 ? welem : ((welem >> r) | (welem << (esize - r))) & emask;
    uint64_t out = 0;
    for (uint32_t i = 0; i < 64; i += esize) out |= rot << i;
    return out;
}

}  // namespace forms

// Operand extractors of the integer families: immediates with their own encodings, and Z
// registers in short fields.
#pragma once

#include "sve/core/forms.h"

namespace forms {

// imm8 in 12:5, shifted left by 8 when bit 13 is set. The generic byte forms pass 0 for a
// shifted immediate; the specialised forms pass the shifted value and cut it to the byte.
struct ArithImm {
    template <int ESZ> static uint64_t get(uint32_t w) { return uint64_t(fld(w, 5, 8)) << (8 * fld(w, 13, 1)); }
    template <int ESZ> static uint64_t gget(const cpu_state*, uint32_t w) {
        return (ESZ == 0 && fld(w, 13, 1)) ? 0 : get<ESZ>(w);
    }
};

// imm8 in 12:5 sign-extended, then shifted left by 8 when bit 13 is set (dup, cpy).
struct DupImm {
    template <int ESZ> static int get(uint32_t w) { return int(sfld(w, 5, 8) * (fld(w, 13, 1) ? 256 : 1)); }
    template <int ESZ> static int64_t gget(const cpu_state*, uint32_t w) { return get<ESZ>(w); }
};

// The unsigned imm7 (20:14) of the unsigned compares, handed to the specialised compares as the
// signed 64-bit immediate that every compare with an immediate takes.
struct CmpUImm7 {
    template <int ESZ> static int64_t get(uint32_t w) { return fld(w, 14, 7); }
    template <int ESZ> static uint64_t gget(const cpu_state*, uint32_t w) { return fld(w, 14, 7); }
};

// The bit-mask immediate N:immr:imms (bits 17, 16:11, 10:5), replicated to 64 bits.
uint64_t decode_bit_mask(uint32_t n, uint32_t immr, uint32_t imms);
struct LogImm {
    template <int ESZ> static aarch64_sve_logical64_imm get(uint32_t w) {
        return {decode_bit_mask(fld(w, 17, 1), fld(w, 11, 6), fld(w, 5, 6))};
    }
    template <int ESZ> static uint64_t gget(const cpu_state*, uint32_t w) { return get<ESZ>(w).mask; }
};

// Z register in a field of NB bits at LO (the Zm of indexed forms).
template <int LO, int NB>
struct ZF {
    template <int ESZ> static aarch64_z_reg get(uint32_t w) {
        return make_handle<aarch64_z_reg>(fld(w, LO, NB), ESZ, ZQ_NONE, ZQ_NONE);
    }
    template <int ESZ> static VecV gget(const cpu_state* s, uint32_t w) { return load_vec(s, fld(w, LO, NB)); }
};

// Shift count of the immediate shifts. The seven bits tszh:tszl:imm3 are bits 23:22 and, for
// the predicated forms, 9:5, for the unpredicated ones 20:16. A right shift is 2 * esize minus
// them, a left shift them minus esize.
template <int LO, bool RIGHT>
struct ShiftImm {
    template <int ESZ> static unsigned get(uint32_t w) {
        unsigned v = (fld(w, 22, 2) << 5) | fld(w, LO, 5), esize = 8u << ESZ;
        return RIGHT ? 2 * esize - v : v - esize;
    }
    template <int ESZ> static uint64_t gget(const cpu_state*, uint32_t w) { return get<ESZ>(w); }
};

}  // namespace forms

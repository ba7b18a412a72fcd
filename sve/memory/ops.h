// Loads, stores and prefetches: the operations of both tiers and the operand forms of their
// handlers. The families are listed once, as X-macro tables, and the declarations here and the
// definitions in the .cpp files are generated from the same lists.
#pragma once

#include <cstdint>

#include "sve/core/forms.h"
#include "sve/memory/primitives.h"
#include "sve/trace/trace.h"

namespace sf {

// The 9-bit signed immediate of ldr and str (Z and P): bits 21:16 high, bits 12:10 low.
struct SImm9Split {
    template <int ESZ> static int64_t get(uint32_t w) {
        uint32_t v = (fld(w, 16, 6) << 3) | fld(w, 10, 3);
        return int64_t(int32_t(v << 23) >> 23);
    }
    template <int ESZ> static int64_t gget(const cpu_state*, uint32_t w) { return get<ESZ>(w); }
};

}  // namespace sf

// Contiguous loads and stores: Zt 4:0, Pg 12:10, Xn|sp 9:5, and imm4 19:16 (signed, in vector
// steps) or Xm 20:16 (31 is zero).
using sf_ld_zpri = sf::sform<sf::Z<0>, sf::P<10, 3, PQ_Z>, sf::Rsp<5>, sf::SImm<16, 4>>;
using sf_ld_zprr = sf::sform<sf::Z<0>, sf::P<10, 3, PQ_Z>, sf::Rsp<5>, sf::R<16>>;
using sf_st_zpri = sf::sform<sf::Z<0>, sf::P<10, 3, PQ_BARE>, sf::Rsp<5>, sf::SImm<16, 4>>;
using sf_st_zprr = sf::sform<sf::Z<0>, sf::P<10, 3, PQ_BARE>, sf::Rsp<5>, sf::R<16>>;
using gf_ld_zpri = sf::gform<sf::DZ<0>, sf::P<10, 3, PQ_Z>, sf::Rsp<5>, sf::SImm<16, 4>>;
using gf_ld_zprr = sf::gform<sf::DZ<0>, sf::P<10, 3, PQ_Z>, sf::Rsp<5>, sf::R<16>>;
using gf_st_zpri = sf::gform<sf::DNone, sf::Z<0>, sf::P<10, 3, PQ_BARE>, sf::Rsp<5>, sf::SImm<16, 4>>;
using gf_st_zprr = sf::gform<sf::DNone, sf::Z<0>, sf::P<10, 3, PQ_BARE>, sf::Rsp<5>, sf::R<16>>;
// Load and replicate: imm6 21:16, unsigned, in memory elements.
using sf_ldr_zpri = sf::sform<sf::Z<0>, sf::P<10, 3, PQ_Z>, sf::Rsp<5>, sf::UImm<16, 6>>;
using gf_ldr_zpri = sf::gform<sf::DZ<0>, sf::P<10, 3, PQ_Z>, sf::Rsp<5>, sf::UImm<16, 6>>;
// ldr / str of Z (Zt 4:0) and P (Pt 3:0), no predicate.
using sf_fill_z = sf::sform<sf::Z<0>, sf::Rsp<5>, sf::SImm9Split>;
using sf_fill_p = sf::sform<sf::P<0, 4, PQ_BARE>, sf::Rsp<5>, sf::SImm9Split>;
using gf_fill_z = sf::gform<sf::DZ<0>, sf::Rsp<5>, sf::SImm9Split>;
using gf_fill_p = sf::gform<sf::DP<0, 4>, sf::Rsp<5>, sf::SImm9Split>;
using gf_spill_z = sf::gform<sf::DNone, sf::Z<0>, sf::Rsp<5>, sf::SImm9Split>;
using gf_spill_p = sf::gform<sf::DNone, sf::P<0, 4, PQ_BARE>, sf::Rsp<5>, sf::SImm9Split>;

// Contiguous loads and stores of the same element pair:
// X(load mnemonic, store mnemonic, load stem, store stem, memory element, register element).
// Mnemonics carry the register element when it is wider (ld1b_h); a store writes the low bytes
// of each lane, as many as the memory element has.
#define SVE_CONTIGUOUS_PAIRS(X)                                                   \
    X(ld1b, st1b, VecU8CLoad1, VecU8CStore1, uint8_t, uint8_t)                    \
    X(ld1b_h, st1b_h, VecU16CLoad1, VecU16CStore1, uint8_t, uint16_t)             \
    X(ld1b_s, st1b_s, VecU32CLoad1, VecU32CStore1, uint8_t, uint32_t)             \
    X(ld1b_d, st1b_d, VecU64CLoad1, VecU64CStore1, uint8_t, uint64_t)             \
    X(ld1h, st1h, VecU16CLoad2, VecU16CStore2, uint16_t, uint16_t)                \
    X(ld1h_s, st1h_s, VecU32CLoad2, VecU32CStore2, uint16_t, uint32_t)            \
    X(ld1h_d, st1h_d, VecU64CLoad2, VecU64CStore2, uint16_t, uint64_t)            \
    X(ld1w, st1w, VecU32CLoad4, VecU32CStore4, uint32_t, uint32_t)                \
    X(ld1w_d, st1w_d, VecU64CLoad4, VecU64CStore4, uint32_t, uint64_t)            \
    X(ld1d, st1d, VecU64CLoad8, VecU64CStore8, uint64_t, uint64_t)                \
    X(ldnt1b, stnt1b, VecU8CLoadNT1, VecU8CStoreNT1, uint8_t, uint8_t)            \
    X(ldnt1h, stnt1h, VecU16CLoadNT2, VecU16CStoreNT2, uint16_t, uint16_t)        \
    X(ldnt1w, stnt1w, VecU32CLoadNT4, VecU32CStoreNT4, uint32_t, uint32_t)        \
    X(ldnt1d, stnt1d, VecU64CLoadNT8, VecU64CStoreNT8, uint64_t, uint64_t)

// Sign-extending contiguous loads: X(mnemonic, stem, memory element, register element).
#define SVE_SIGNED_CONTIGUOUS_LOADS(X)          \
    X(ld1sb_h, VecS16CLoad1, int8_t, uint16_t)  \
    X(ld1sb_s, VecS32CLoad1, int8_t, uint32_t)  \
    X(ld1sb_d, VecS64CLoad1, int8_t, uint64_t)  \
    X(ld1sh_s, VecS32CLoad2, int16_t, uint32_t) \
    X(ld1sh_d, VecS64CLoad2, int16_t, uint64_t) \
    X(ld1sw_d, VecS64CLoad4, int32_t, uint64_t)

// Load and replicate one element: X(mnemonic, handler, memory element, register element).
#define SVE_REPLICATE_LOADS(X)                          \
    X(ld1rb, VecU8LoadDup1SIZ, uint8_t, uint8_t)        \
    X(ld1rb_h, VecU16LoadDup1SIZ, uint8_t, uint16_t)    \
    X(ld1rb_s, VecU32LoadDup1SIZ, uint8_t, uint32_t)    \
    X(ld1rb_d, VecU64LoadDup1SIZ, uint8_t, uint64_t)    \
    X(ld1rh, VecU16LoadDup2SIZ, uint16_t, uint16_t)     \
    X(ld1rh_s, VecU32LoadDup2SIZ, uint16_t, uint32_t)   \
    X(ld1rh_d, VecU64LoadDup2SIZ, uint16_t, uint64_t)   \
    X(ld1rw, VecU32LoadDup4SIZ, uint32_t, uint32_t)     \
    X(ld1rw_d, VecU64LoadDup4SIZ, uint32_t, uint64_t)   \
    X(ld1rd, VecU64LoadDup8SIZ, uint64_t, uint64_t)     \
    X(ld1rsb_h, VecS16LoadDup1SIZ, int8_t, uint16_t)    \
    X(ld1rsb_s, VecS32LoadDup1SIZ, int8_t, uint32_t)    \
    X(ld1rsb_d, VecS64LoadDup1SIZ, int8_t, uint64_t)    \
    X(ld1rsh_s, VecS32LoadDup2SIZ, int16_t, uint32_t)   \
    X(ld1rsh_d, VecS64LoadDup2SIZ, int16_t, uint64_t)   \
    X(ld1rsw_d, VecS64LoadDup4SIZ, int32_t, uint64_t)

// Load and replicate a quadword (generic tier only): X(stem, element).
#define SVE_QUAD_REPLICATE_LOADS(X) \
    X(VecU8LoadDup1Q, uint8_t)      \
    X(VecU16LoadDup2Q, uint16_t)    \
    X(VecU32LoadDup4Q, uint32_t)    \
    X(VecU64LoadDup8Q, uint64_t)

#define SVE_DECLARE_CONTIGUOUS_LOAD(mn, stem, T, U)                                                               \
    aarch64_decode_rc sve_##mn##_zpri(cpu_state* s, aarch64_z_reg zt, aarch64_p_reg pg, aarch64_i_rsp_reg xn,    \
                                      int imm);                                                                  \
    aarch64_decode_rc sve_##mn##_scaled_zprr(cpu_state* s, aarch64_z_reg zt, aarch64_p_reg pg,                   \
                                             aarch64_i_rsp_reg xn, aarch64_i_reg xm);                            \
    VecV stem##SIZ(PredV pg, uint64_t xn, int64_t imm, CpuContext* c);                                          \
    VecV stem##LSSZ(PredV pg, uint64_t xn, uint64_t xm, CpuContext* c);
#define SVE_DECLARE_CONTIGUOUS_STORE(mn, stem, T, U)                                                              \
    aarch64_decode_rc sve_##mn##_zpri(cpu_state* s, aarch64_z_reg zt, aarch64_p_reg pg, aarch64_i_rsp_reg xn,    \
                                      int imm);                                                                  \
    aarch64_decode_rc sve_##mn##_scaled_zprr(cpu_state* s, aarch64_z_reg zt, aarch64_p_reg pg,                   \
                                             aarch64_i_rsp_reg xn, aarch64_i_reg xm);                            \
    void stem##SIZ(VecV zt, PredV pg, uint64_t xn, int64_t imm, CpuContext* c);                                 \
    void stem##LSSZ(VecV zt, PredV pg, uint64_t xn, uint64_t xm, CpuContext* c);
#define SVE_DECLARE_REPLICATE_LOAD(mn, name, T, U)                                                                \
    aarch64_decode_rc sve_##mn##_zpri(cpu_state* s, aarch64_z_reg zt, aarch64_p_reg pg, aarch64_i_rsp_reg xn,    \
                                      unsigned int imm);                                                         \
    VecV name(PredV pg, uint64_t xn, uint64_t imm, CpuContext* c);
#define SVE_DECLARE_QUAD_REPLICATE_LOAD(stem, T)                   \
    VecV stem##SIZ(PredV pg, uint64_t xn, int64_t imm, CpuContext* c); \
    VecV stem##SSZ(PredV pg, uint64_t xn, uint64_t xm, CpuContext* c);

#define SVE_DECLARE_CONTIGUOUS_PAIR(lmn, smn, lstem, sstem, T, U) \
    SVE_DECLARE_CONTIGUOUS_LOAD(lmn, lstem, T, U) SVE_DECLARE_CONTIGUOUS_STORE(smn, sstem, T, U)

SVE_CONTIGUOUS_PAIRS(SVE_DECLARE_CONTIGUOUS_PAIR)
SVE_SIGNED_CONTIGUOUS_LOADS(SVE_DECLARE_CONTIGUOUS_LOAD)
SVE_REPLICATE_LOADS(SVE_DECLARE_REPLICATE_LOAD)
SVE_QUAD_REPLICATE_LOADS(SVE_DECLARE_QUAD_REPLICATE_LOAD)

// ldr and str of Z (80 bytes) and of P (10 bytes, one bit per vector byte).
aarch64_decode_rc sve_ldr_zri(cpu_state* s, aarch64_z_reg zt, aarch64_i_rsp_reg xn, int imm);
aarch64_decode_rc sve_str_zri(cpu_state* s, aarch64_z_reg zt, aarch64_i_rsp_reg xn, int imm);
aarch64_decode_rc sve_ldr_pri(cpu_state* s, aarch64_p_reg pt, aarch64_i_rsp_reg xn, int imm);
aarch64_decode_rc sve_str_pri(cpu_state* s, aarch64_p_reg pt, aarch64_i_rsp_reg xn, int imm);
VecV VecU64FillSI(uint64_t xn, int64_t imm, CpuContext* c);
void VecU64SpillSI(VecV zt, uint64_t xn, int64_t imm, CpuContext* c);
PredV VecPFillSI(uint64_t xn, int64_t imm, CpuContext* c);
void VecPSpillSI(PredV pt, uint64_t xn, int64_t imm, CpuContext* c);
#include "sve/memory/gather_ops.h"

// Vector floating-point operations: arithmetic, fused forms, compares, conversions, rounding,
// reductions, complex and indexed forms, both tiers, and the operand forms of their rows.
#pragma once

#include "sve/core/forms.h"

namespace fp_forms {

// Z register of NB bits at LO (the indexed forms' Zm of 3 or 4 bits).
template <int LO, int NB>
struct ZN {
    template <int ESZ> static aarch64_z_reg get(uint32_t w) {
        return {forms::fld(w, LO, NB), uint32_t(ESZ), {ZQ_NONE, ZQ_NONE}};
    }
    template <int ESZ> static VecV gget(const cpu_state* s, uint32_t w) { return load_vec(s, forms::fld(w, LO, NB)); }
};

// Element 0 of a Z register as a scalar (the initial value of FADDA).
template <int LO>
struct ZElem0 {
    template <int ESZ> static uint64_t gget(const cpu_state* s, uint32_t w) {
        uint64_t v = 0;
        std::memcpy(&v, s->z[forms::fld(w, LO, 5)], size_t(1) << ESZ);
        return v;
    }
};

// The i1 immediate (bit 5) of the predicated arithmetic forms. KIND says what it selects:
// 0 FADD/FSUB/FSUBR (0.5, 1.0), 1 FMUL (0.5, 2.0), 2 FMAX/FMIN/FMAXNM/FMINNM (0.0, 1.0).
// The generic value is the single precision pattern for half and single elements, the double
// pattern for double elements.
constexpr uint32_t fp_arith_imm32(int kind, uint32_t i1) {
    return kind == 2 ? (i1 ? 0x3F800000u : 0u) : !i1 ? 0x3F000000u : kind == 1 ? 0x40000000u : 0x3F800000u;
}
constexpr uint64_t fp_arith_imm64(int kind, uint32_t i1) {
    return kind == 2 ? (i1 ? 0x3FF0000000000000ull : 0ull)
                     : !i1 ? 0x3FE0000000000000ull : kind == 1 ? 0x4000000000000000ull : 0x3FF0000000000000ull;
}
template <int KIND>
struct FpArithImm {
    template <int ESZ> static aarch64_sve_fp_arith_imm get(uint32_t w) { return {uint8_t(forms::fld(w, 5, 1))}; }
    template <int ESZ> static uint64_t gget(const cpu_state*, uint32_t w) {
        return ESZ == ES_DOUBLE ? fp_arith_imm64(KIND, forms::fld(w, 5, 1)) : fp_arith_imm32(KIND, forms::fld(w, 5, 1));
    }
};

// The 8-bit floating-point immediate of FDUP and FCPY (bits 12:5), expanded to the three widths.
aarch64_sve_fp_dup_imm fp_expand_imm8(uint32_t imm8);
struct FpDupImm {
    template <int ESZ> static aarch64_sve_fp_dup_imm get(uint32_t w) { return fp_expand_imm8(forms::fld(w, 5, 8)); }
    template <int ESZ> static uint64_t gget(const cpu_state*, uint32_t w) {
        aarch64_sve_fp_dup_imm i = fp_expand_imm8(forms::fld(w, 5, 8));
        return ESZ == ES_HALF ? i.h : ESZ == ES_WORD ? i.s : i.d;
    }
};

// Index of the half precision FMLA, FMLS, FMUL (indexed): bit 22 above bits 20:19.
struct IdxH3 {
    template <int ESZ> static uint64_t gget(const cpu_state*, uint32_t w) { return forms::fld(w, 22, 1) << 2 | forms::fld(w, 19, 2); }
};

using PgM = forms::P<10, 3, PQ_M>;
using PgZ = forms::P<10, 3, PQ_Z>;
using PgB = forms::P<10, 3, PQ_BARE>;

}  // namespace fp_forms

// ---- forms ----
// Two vectors, merging: Zdn 4:0, Pg 12:10, Zm 9:5.
using sf_fp_zpz = forms::sform<forms::Zt<0>, fp_forms::PgM, forms::Z<5>>;
using gf_fp_zpz = forms::gform<forms::DZ<0>, forms::Z<0>, fp_forms::PgM, forms::Z<5>>;
// Two vectors, unpredicated: Zd 4:0, Zn 9:5, Zm 20:16.
using sf_fp_zzz = forms::sform<forms::Z<0>, forms::Z<5>, forms::Z<16>>;
using gf_fp_zzz = forms::gform<forms::DZ<0>, forms::Z<5>, forms::Z<16>>;
// Vector and immediate, merging: Zdn 4:0, Pg 12:10, i1 5.
using sf_fp_zpi = forms::sform<forms::Zt<0>, fp_forms::PgM, fp_forms::FpArithImm<0>>;
using gf_fp_zpi_add = forms::gform<forms::DZ<0>, forms::Z<0>, fp_forms::PgM, fp_forms::FpArithImm<0>>;
using gf_fp_zpi_mul = forms::gform<forms::DZ<0>, forms::Z<0>, fp_forms::PgM, fp_forms::FpArithImm<1>>;
using gf_fp_zpi_max = forms::gform<forms::DZ<0>, forms::Z<0>, fp_forms::PgM, fp_forms::FpArithImm<2>>;
// One vector, merging: Zd 4:0, Pg 12:10, Zn 9:5.
using sf_fp_zpz1 = forms::sform<forms::Z<0>, fp_forms::PgM, forms::Z<5>>;
using gf_fp_zpz1 = forms::gform<forms::DZ<0>, forms::Z<0>, fp_forms::PgM, forms::Z<5>>;
// One vector, unpredicated: Zd 4:0, Zn 9:5.
using sf_fp_zz = forms::sform<forms::Z<0>, forms::Z<5>>;
using gf_fp_zz = forms::gform<forms::DZ<0>, forms::Z<5>>;
// Fused, merging: Zda (or Zdn) 4:0, Pg 12:10, Zn (or Zm) 9:5, Zm (or Za) 20:16.
using sf_fp_zpzz = forms::sform<forms::Zt<0>, fp_forms::PgM, forms::Z<5>, forms::Z<16>>;
using gf_fp_zpzz = forms::gform<forms::DZ<0>, forms::Z<0>, fp_forms::PgM, forms::Z<5>, forms::Z<16>>;
// Compares: Pd 3:0, Pg 12:10, Zn 9:5, Zm 20:16.
using sf_fp_ppzz = forms::sform<forms::P<0, 4, -1>, fp_forms::PgZ, forms::Z<5>, forms::Z<16>>;
using gf_fp_ppzz = forms::gform<forms::DP<0>, fp_forms::PgZ, forms::Z<5>, forms::Z<16>>;
using sf_fp_ppz = forms::sform<forms::P<0, 4, -1>, fp_forms::PgZ, forms::Z<5>>;
using gf_fp_ppz = forms::gform<forms::DP<0>, fp_forms::PgZ, forms::Z<5>>;
// FTMAD: Zdn 4:0, Zm 9:5, imm3 18:16.
using gf_fp_ftmad = forms::gform<forms::DZ<0>, forms::Z<0>, forms::Z<5>, forms::UImm<16, 3>>;
// FDUP: Zd 4:0, imm8 12:5; FCPY: Zd 4:0, Pg 19:16, imm8 12:5.
using sf_fp_fdup = forms::sform<forms::Z<0>, fp_forms::FpDupImm>;
using gf_fp_fdup = forms::gform<forms::DZ<0>, fp_forms::FpDupImm>;
using gf_fp_fcpy = forms::gform<forms::DZ<0>, forms::Z<0>, forms::P<16, 4, PQ_M>, fp_forms::FpDupImm>;
// Reductions: Vd 4:0, Pg 12:10, Zn 9:5; FADDA: Vdn 4:0, Pg 12:10, Zm 9:5.
using sf_fp_vpz = forms::sform<forms::UImm<0, 5>, fp_forms::PgB, forms::Z<5>>;
using gf_fp_reduce_h = forms::gform<forms::DV<0, 2>, fp_forms::PgB, forms::Z<5>>;
using gf_fp_reduce_s = forms::gform<forms::DV<0, 4>, fp_forms::PgB, forms::Z<5>>;
using gf_fp_reduce_d = forms::gform<forms::DV<0, 8>, fp_forms::PgB, forms::Z<5>>;
using gf_fp_fadda_h = forms::gform<forms::DV<0, 2>, fp_forms::PgB, fp_forms::ZElem0<0>, forms::Z<5>>;
using gf_fp_fadda_s = forms::gform<forms::DV<0, 4>, fp_forms::PgB, fp_forms::ZElem0<0>, forms::Z<5>>;
using gf_fp_fadda_d = forms::gform<forms::DV<0, 8>, fp_forms::PgB, fp_forms::ZElem0<0>, forms::Z<5>>;
// FCADD: Zdn 4:0, Pg 12:10, Zm 9:5, rotation 16.
using gf_fp_fcadd = forms::gform<forms::DZ<0>, forms::Z<0>, fp_forms::PgM, forms::Z<5>, forms::UImm<16, 1>>;
// FCMLA predicated: Zda 4:0, Pg 12:10, Zn 9:5, Zm 20:16, rotation 14:13.
using sf_fp_fcmla = forms::sform<forms::Zt<0>, fp_forms::PgM, forms::Z<5>, forms::Z<16>, forms::UImm<13, 2>>;
using gf_fp_fcmla = forms::gform<forms::DZ<0>, forms::Z<0>, fp_forms::PgM, forms::Z<5>, forms::Z<16>, forms::UImm<13, 2>>;
// FCMLA indexed: Zn 9:5, Zm, Zda 4:0, rotation 11:10, index.
using gf_fp_fcmla_ix_h = forms::gform<forms::DZ<0>, forms::Z<5>, fp_forms::ZN<16, 3>, forms::Z<0>, forms::UImm<10, 2>, forms::UImm<19, 2>>;
using gf_fp_fcmla_ix_s = forms::gform<forms::DZ<0>, forms::Z<5>, fp_forms::ZN<16, 4>, forms::Z<0>, forms::UImm<10, 2>, forms::UImm<20, 1>>;
// FMLA, FMLS indexed: Zn 9:5, Zm, Zda 4:0, index; FMUL indexed: Zn, Zm, index.
using gf_fp_fma_ix_h = forms::gform<forms::DZ<0>, forms::Z<5>, fp_forms::ZN<16, 3>, forms::Z<0>, fp_forms::IdxH3>;
using gf_fp_fma_ix_s = forms::gform<forms::DZ<0>, forms::Z<5>, fp_forms::ZN<16, 3>, forms::Z<0>, forms::UImm<19, 2>>;
using gf_fp_fma_ix_d = forms::gform<forms::DZ<0>, forms::Z<5>, fp_forms::ZN<16, 4>, forms::Z<0>, forms::UImm<20, 1>>;
using gf_fp_mul_ix_h = forms::gform<forms::DZ<0>, forms::Z<5>, fp_forms::ZN<16, 3>, fp_forms::IdxH3>;
using gf_fp_mul_ix_s = forms::gform<forms::DZ<0>, forms::Z<5>, fp_forms::ZN<16, 3>, forms::UImm<19, 2>>;
using gf_fp_mul_ix_d = forms::gform<forms::DZ<0>, forms::Z<5>, fp_forms::ZN<16, 4>, forms::UImm<20, 1>>;

// ---- the operations of the rows (single and double elements; FDUP also half) and the generic
// functions written by hand, declared from the table ----
#include "sve/fp/vector/generated/fp_declarations.h"

// ---- generic functions ----
// Those that an element loop template makes are declared from the row table.
#include "sve/fp/vector/generated/functions.h"

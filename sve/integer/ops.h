// Integer vector operations: arithmetic, logic, shifts and compares, both tiers, and their forms.
//
// The generic functions that an element loop template makes are declared and defined from the
// row table (sve/decode/rows.txt, generic column); the others are declared here.
#pragma once

#include "sve/core/forms.h"
#include "sve/integer/int_forms.h"
#include "sve/integer/pred_flags.h"
#include "sve/integer/wide_int.h"

// ---------------------------------------------------------------------------------------------
// Operand forms of the rows.

// add zdn.t, zdn.t, #imm{, lsl #8}: Zdn 4:0, immediate 13:5.
using sf_zdn_imm8sh = forms::sform<forms::Zt<0>, forms::Imm8Sh>;
using gf_zdn_imm8sh = forms::gform<forms::DZ<0>, forms::Z<0>, forms::Imm8Sh>;
using gf_zdn_arith = forms::gform<forms::DZ<0>, forms::Z<0>, forms::ArithImm>;
// Zdn 4:0 with imm8 12:5, sign- or zero-extended.
using sf_zdn_simm8 = forms::sform<forms::Zt<0>, forms::SImm<5, 8>>;
using gf_zdn_simm8 = forms::gform<forms::DZ<0>, forms::Z<0>, forms::SImm<5, 8>>;
using gf_zdn_uimm8 = forms::gform<forms::DZ<0>, forms::Z<0>, forms::UImm<5, 8>>;
// Zdn 4:0 with the bit-mask immediate 17:5; dupm writes Zd.
using sf_zdn_logimm = forms::sform<forms::Zt<0>, forms::LogImm>;
using gf_zdn_logimm = forms::gform<forms::DZ<0>, forms::Z<0>, forms::LogImm>;
using sf_dupm = forms::sform<forms::Z<0>, forms::LogImm>;
using gf_dupm = forms::gform<forms::DZ<0>, forms::LogImm>;
// Unpredicated three registers: Zd 4:0, Zn 9:5, Zm 20:16.
using sf_zzz = forms::sform<forms::Z<0>, forms::Z<5>, forms::Z<16>>;
using gf_zzz = forms::gform<forms::DZ<0>, forms::Z<5>, forms::Z<16>>;
// Predicated, merging: Zdn (or Zd) 4:0, Pg 12:10, Zm (or Zn) 9:5.
using sf_zpz = forms::sform<forms::Zt<0>, forms::P<10, 3, PQ_M>, forms::Z<5>>;
using sf_zpz_unary = forms::sform<forms::Z<0>, forms::P<10, 3, PQ_M>, forms::Z<5>>;
using gf_zpz = forms::gform<forms::DZ<0>, forms::Z<0>, forms::P<10, 3, PQ_M>, forms::Z<5>>;
// movprfx zeroing: Zd 4:0, Pg 12:10, Zn 9:5.
using sf_zpz_zero = forms::sform<forms::Z<0>, forms::P<10, 3, PQ_Z>, forms::Z<5>>;
using gf_zpz_zero = forms::gform<forms::DZ<0>, forms::P<10, 3, PQ_Z>, forms::Z<5>>;
using sf_zz = forms::sform<forms::Z<0>, forms::Z<5>>;
using gf_zz = forms::gform<forms::DZ<0>, forms::Z<5>>;
// mla, mls: Zda 4:0, Pg 12:10, Zn 9:5, Zm 20:16. mad, msb: Zdn 4:0, Pg, Zm 20:16, Za 9:5.
using sf_mla = forms::sform<forms::Zt<0>, forms::P<10, 3, PQ_M>, forms::Z<5>, forms::Z<16>>;
using gf_mla = forms::gform<forms::DZ<0>, forms::Z<0>, forms::P<10, 3, PQ_M>, forms::Z<5>, forms::Z<16>>;
using sf_mad = forms::sform<forms::Zt<0>, forms::P<10, 3, PQ_M>, forms::Z<16>, forms::Z<5>>;
using gf_mad = forms::gform<forms::DZ<0>, forms::Z<0>, forms::P<10, 3, PQ_M>, forms::Z<16>, forms::Z<5>>;
// Dot products: Zda 4:0, Zn 9:5, Zm 20:16 (indexed: Zm 18:16 with index 20:19, or 19:16 with 20).
using gf_dot = forms::gform<forms::DZ<0>, forms::Z<5>, forms::Z<16>, forms::Z<0>>;
using gf_dot_idx_s = forms::gform<forms::DZ<0>, forms::Z<5>, forms::ZF<16, 3>, forms::Z<0>, forms::UImm<19, 2>>;
using gf_dot_idx_d = forms::gform<forms::DZ<0>, forms::Z<5>, forms::ZF<16, 4>, forms::Z<0>, forms::UImm<20, 1>>;
// dup, cpy.
using sf_dup_zi = forms::sform<forms::Z<0>, forms::DupImm>;
using gf_dup_zi = forms::gform<forms::DZ<0>, forms::DupImm>;
using sf_dup_zr = forms::sform<forms::Z<0>, forms::Rsp<5>>;
using gf_dup_zr = forms::gform<forms::DZ<0>, forms::Rsp<5>>;
using sf_cpy_zpi_z = forms::sform<forms::Z<0>, forms::P<16, 4, PQ_Z>, forms::DupImm>;
using gf_cpy_zpi_z = forms::gform<forms::DZ<0>, forms::P<16, 4, PQ_Z>, forms::DupImm>;
using sf_cpy_zpi_m = forms::sform<forms::Z<0>, forms::P<16, 4, PQ_M>, forms::DupImm>;
using gf_cpy_zpi_m = forms::gform<forms::DZ<0>, forms::Z<0>, forms::P<16, 4, PQ_M>, forms::DupImm>;
using sf_cpy_zpr = forms::sform<forms::Z<0>, forms::P<10, 3, PQ_M>, forms::Rsp<5>>;
using gf_cpy_zpr = forms::gform<forms::DZ<0>, forms::Z<0>, forms::P<10, 3, PQ_M>, forms::Rsp<5>>;
// index: Zd 4:0, start 9:5, step 20:16, each an immediate or a general register.
using sf_index_ii = forms::sform<forms::Z<0>, forms::SImm<5, 5>, forms::SImm<16, 5>>;
using gf_index_ii = forms::gform<forms::DZ<0>, forms::SImm<5, 5>, forms::SImm<16, 5>>;
using sf_index_ri = forms::sform<forms::Z<0>, forms::R<5>, forms::SImm<16, 5>>;
using gf_index_ri = forms::gform<forms::DZ<0>, forms::R<5>, forms::SImm<16, 5>>;
using sf_index_ir = forms::sform<forms::Z<0>, forms::SImm<5, 5>, forms::R<16>>;
using gf_index_ir = forms::gform<forms::DZ<0>, forms::SImm<5, 5>, forms::R<16>>;
using sf_index_rr = forms::sform<forms::Z<0>, forms::R<5>, forms::R<16>>;
using gf_index_rr = forms::gform<forms::DZ<0>, forms::R<5>, forms::R<16>>;
// Immediate shifts: predicated Zdn 4:0, Pg 12:10, count from 23:22 and 9:5; unpredicated
// Zd 4:0, Zn 9:5, count from 23:22 and 20:16.
using sf_shr_zpi = forms::sform<forms::Zt<0>, forms::P<10, 3, PQ_M>, forms::ShiftImm<5, true>>;
using sf_shl_zpi = forms::sform<forms::Zt<0>, forms::P<10, 3, PQ_M>, forms::ShiftImm<5, false>>;
using gf_shr_zpi = forms::gform<forms::DZ<0>, forms::Z<0>, forms::P<10, 3, PQ_M>, forms::ShiftImm<5, true>>;
using gf_shl_zpi = forms::gform<forms::DZ<0>, forms::Z<0>, forms::P<10, 3, PQ_M>, forms::ShiftImm<5, false>>;
using sf_shr_zzi = forms::sform<forms::Z<0>, forms::Z<5>, forms::ShiftImm<16, true>>;
using sf_shl_zzi = forms::sform<forms::Z<0>, forms::Z<5>, forms::ShiftImm<16, false>>;
using gf_shr_zzi = forms::gform<forms::DZ<0>, forms::Z<5>, forms::ShiftImm<16, true>>;
using gf_shl_zzi = forms::gform<forms::DZ<0>, forms::Z<5>, forms::ShiftImm<16, false>>;
// Compares: Pd 3:0 (with the element size), Pg 12:10, Zn 9:5, then Zm 20:16, a signed imm5
// in 20:16 or an unsigned imm7 in 20:14.
using sf_cmp_zz = forms::sform<forms::P<0, 4, -1>, forms::P<10, 3, PQ_Z>, forms::Z<5>, forms::Z<16>>;
using gf_cmp_zz = forms::gform<forms::DP<0>, forms::P<10, 3, PQ_Z>, forms::Z<5>, forms::Z<16>>;
using sf_cmp_zsi = forms::sform<forms::P<0, 4, -1>, forms::P<10, 3, PQ_Z>, forms::Z<5>, forms::SImm<16, 5>>;
using gf_cmp_zsi = forms::gform<forms::DP<0>, forms::P<10, 3, PQ_Z>, forms::Z<5>, forms::SImm<16, 5>>;
using sf_cmp_zui = forms::sform<forms::P<0, 4, -1>, forms::P<10, 3, PQ_Z>, forms::Z<5>, forms::CmpUImm7>;
using gf_cmp_zui = forms::gform<forms::DP<0>, forms::P<10, 3, PQ_Z>, forms::Z<5>, forms::UImm<14, 7>>;

// ---------------------------------------------------------------------------------------------
// Specialised operations.

using zr = aarch64_z_reg;
using pr = aarch64_p_reg;


// The operations of the rows, and the generic functions written by hand, declared from the table.
#include "sve/integer/generated/integer_declarations.h"

// Compares that no row names (operand-swapped aliases of others), for direct callers.
sf_cmp_zz::op_type sve_cmple_ppzz, sve_cmplt_ppzz, sve_cmpls_ppzz, sve_cmplo_ppzz;
sf_cmp_zsi::op_type sve_cmpge_ppzi;
sf_cmp_zui::op_type sve_cmphs_ppzi, sve_cmpls_ppzi;

// Operations that also have a form for each element size (name_sized<ESZ>), which handlers call.
SVE_SIZED_OP(sve_add_zzz) SVE_SIZED_OP(sve_sub_zzz)
SVE_SIZED_OP(sve_add_zpz) SVE_SIZED_OP(sve_sub_zpz) SVE_SIZED_OP(sve_mul_zpz)
SVE_SIZED_OP(sve_smax_zpz) SVE_SIZED_OP(sve_umax_zpz) SVE_SIZED_OP(sve_smin_zpz)
SVE_SIZED_OP(sve_umin_zpz) SVE_SIZED_OP(sve_and_zpz) SVE_SIZED_OP(sve_orr_zpz)
SVE_SIZED_OP(sve_eor_zpz) SVE_SIZED_OP(sve_bic_zpz)
SVE_SIZED_OP(sve_lsl_zpz) SVE_SIZED_OP(sve_lsr_zpz) SVE_SIZED_OP(sve_asr_zpz)
SVE_SIZED_OP(sve_neg_zpz) SVE_SIZED_OP(sve_rbit_zpz)
SVE_SIZED_OP(sve_sxtb_zpz) SVE_SIZED_OP(sve_sxth_zpz) SVE_SIZED_OP(sve_sxtw_zpz)
SVE_SIZED_OP(sve_uxth_zpz) SVE_SIZED_OP(sve_uxtw_zpz)
SVE_SIZED_OP(sve_mla_zpzz) SVE_SIZED_OP(sve_mls_zpzz) SVE_SIZED_OP(sve_mad_zpzz) SVE_SIZED_OP(sve_msb_zpzz)
SVE_SIZED_OP(sve_dup_zi) SVE_SIZED_OP(sve_dup_zr)
SVE_SIZED_OP(sve_cpy_zpi) SVE_SIZED_OP(sve_cpy_zpr) SVE_SIZED_OP(sve_cpy_zpv)
#define INT_CMP_SIZED(cc) SVE_SIZED_OP(sve_cmp##cc##_ppzz) SVE_SIZED_OP(sve_cmp##cc##_ppzi)
INT_CMP_SIZED(eq) INT_CMP_SIZED(ne) INT_CMP_SIZED(ge) INT_CMP_SIZED(gt) INT_CMP_SIZED(le) INT_CMP_SIZED(lt)
INT_CMP_SIZED(hs) INT_CMP_SIZED(hi) INT_CMP_SIZED(ls) INT_CMP_SIZED(lo)

// ---------------------------------------------------------------------------------------------
// Generic functions. Those that an element loop template makes are declared from the row table.
#include "sve/integer/generated/functions.h"


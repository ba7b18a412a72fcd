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
using sf_cmp_zui = forms::sform<forms::P<0, 4, -1>, forms::P<10, 3, PQ_Z>, forms::Z<5>, forms::UImm<14, 7>>;
using gf_cmp_zui = forms::gform<forms::DP<0>, forms::P<10, 3, PQ_Z>, forms::Z<5>, forms::UImm<14, 7>>;

// ---------------------------------------------------------------------------------------------
// Specialised operations.

using zr = aarch64_z_reg;
using pr = aarch64_p_reg;

aarch64_decode_rc sve_add_zi(cpu_state* s, aarch64_z_reg zdn, uint64_t imm);
aarch64_decode_rc sve_sub_zi(cpu_state* s, zr zdn, uint64_t imm);
aarch64_decode_rc sve_mul_zi(cpu_state* s, zr zdn, int imm);
aarch64_decode_rc sve_and_zi(cpu_state* s, zr zdn, aarch64_sve_logical64_imm imm);
aarch64_decode_rc sve_orr_zi(cpu_state* s, zr zdn, aarch64_sve_logical64_imm imm);
aarch64_decode_rc sve_eor_zi(cpu_state* s, zr zdn, aarch64_sve_logical64_imm imm);
aarch64_decode_rc sve_dupm_zi(cpu_state* s, zr zd, aarch64_sve_logical64_imm imm);

#define INT_DECL_ZZZ(name) aarch64_decode_rc name(cpu_state* s, zr zd, zr zn, zr zm);
#define INT_DECL_ZPZ(name) aarch64_decode_rc name(cpu_state* s, zr zdn, pr pg, zr zm);
#define INT_DECL_ZPZZ(name) aarch64_decode_rc name(cpu_state* s, zr zd, pr pg, zr za, zr zb);
// Operations that also have a form for each element size (name_sized<ESZ>), which handlers call.
#define INT_DECL_SIZED(name, ...)                                                         \
    aarch64_decode_rc name(cpu_state* s, __VA_ARGS__);                                     \
    template <int ESZ> aarch64_decode_rc name##_sized(cpu_state* s, __VA_ARGS__);          \
    template <> struct forms::sized_op<&name> {                                            \
        template <int ESZ> static constexpr auto of = &name##_sized<ESZ>;                  \
    };
#define INT_DECL_ZZZ_SIZED(name) INT_DECL_SIZED(name, zr zd, zr zn, zr zm)
#define INT_DECL_ZPZ_SIZED(name) INT_DECL_SIZED(name, zr zdn, pr pg, zr zm)
INT_DECL_ZZZ_SIZED(sve_add_zzz) INT_DECL_ZZZ_SIZED(sve_sub_zzz)
INT_DECL_ZZZ(sve_and_zzz) INT_DECL_ZZZ(sve_orr_zzz) INT_DECL_ZZZ(sve_eor_zzz) INT_DECL_ZZZ(sve_bic_zzz)
INT_DECL_ZPZ_SIZED(sve_add_zpz) INT_DECL_ZPZ_SIZED(sve_sub_zpz) INT_DECL_ZPZ_SIZED(sve_mul_zpz)
INT_DECL_ZPZ_SIZED(sve_smax_zpz) INT_DECL_ZPZ_SIZED(sve_umax_zpz) INT_DECL_ZPZ_SIZED(sve_smin_zpz)
INT_DECL_ZPZ_SIZED(sve_umin_zpz) INT_DECL_ZPZ_SIZED(sve_and_zpz) INT_DECL_ZPZ_SIZED(sve_orr_zpz)
INT_DECL_ZPZ_SIZED(sve_eor_zpz) INT_DECL_ZPZ_SIZED(sve_bic_zpz)
INT_DECL_ZPZ(sve_sdiv_zpz) INT_DECL_ZPZ(sve_udiv_zpz) INT_DECL_ZPZ(sve_sdivr_zpz) INT_DECL_ZPZ(sve_udivr_zpz)
INT_DECL_ZPZ(sve_neg_zpz) INT_DECL_ZPZ(sve_rbit_zpz) INT_DECL_ZPZ(sve_revw_zpz)
INT_DECL_ZPZ(sve_sxtb_zpz) INT_DECL_ZPZ(sve_sxth_zpz) INT_DECL_ZPZ(sve_sxtw_zpz)
INT_DECL_ZPZ(sve_uxth_zpz) INT_DECL_ZPZ(sve_uxtw_zpz)
INT_DECL_ZPZ(sve_movprfx_zpz) INT_DECL_ZPZ(sve_cpy_zpv)
INT_DECL_ZPZ_SIZED(sve_lsl_zpz) INT_DECL_ZPZ_SIZED(sve_lsr_zpz) INT_DECL_ZPZ_SIZED(sve_asr_zpz)
INT_DECL_ZPZZ(sve_mla_zpzz) INT_DECL_ZPZZ(sve_mls_zpzz) INT_DECL_ZPZZ(sve_mad_zpzz) INT_DECL_ZPZZ(sve_msb_zpzz)

aarch64_decode_rc sve_movprfx_zz(cpu_state* s, zr zd, zr zn);
aarch64_decode_rc sve_dup_zi(cpu_state* s, zr zd, int imm);
aarch64_decode_rc sve_dup_zr(cpu_state* s, zr zd, aarch64_i_rsp_reg rn);
aarch64_decode_rc sve_cpy_zpi(cpu_state* s, zr zd, pr pg, int imm);
aarch64_decode_rc sve_cpy_zpr(cpu_state* s, zr zd, pr pg, aarch64_i_rsp_reg rn);
aarch64_decode_rc sve_index_zii(cpu_state* s, zr zd, int64_t start, int64_t step);
aarch64_decode_rc sve_index_zri(cpu_state* s, zr zd, aarch64_i_reg start, int64_t step);
aarch64_decode_rc sve_index_zir(cpu_state* s, zr zd, int64_t start, aarch64_i_reg step);
aarch64_decode_rc sve_index_zrr(cpu_state* s, zr zd, aarch64_i_reg start, aarch64_i_reg step);

aarch64_decode_rc sve_lsl_zpi(cpu_state* s, zr zdn, pr pg, unsigned count);
aarch64_decode_rc sve_asr_zpi(cpu_state* s, zr zdn, pr pg, unsigned count);
aarch64_decode_rc sve_lsl_zzi(cpu_state* s, zr zd, zr zn, unsigned count);
aarch64_decode_rc sve_asr_zzi(cpu_state* s, zr zd, zr zn, unsigned count);

#define INT_DECL_CMP(cc)                                                \
    INT_DECL_SIZED(sve_cmp##cc##_ppzz, pr pd, pr pg, zr zn, zr zm)      \
    INT_DECL_SIZED(sve_cmp##cc##_ppzi, pr pd, pr pg, zr zn, int64_t imm)
INT_DECL_CMP(eq) INT_DECL_CMP(ne) INT_DECL_CMP(ge) INT_DECL_CMP(gt) INT_DECL_CMP(le) INT_DECL_CMP(lt)
INT_DECL_CMP(hs) INT_DECL_CMP(hi) INT_DECL_CMP(ls) INT_DECL_CMP(lo)

// ---------------------------------------------------------------------------------------------
// Generic functions. Those that an element loop template makes are declared from the row table.
#include "sve/integer/generated/functions.h"

// Dot products.
VecV VecS32DotVVVX(VecV zn, VecV zm, VecV zda, CpuContext* c);
VecV VecU32DotVVVX(VecV zn, VecV zm, VecV zda, CpuContext* c);
VecV VecS64DotVVVX(VecV zn, VecV zm, VecV zda, CpuContext* c);
VecV VecU64DotVVVX(VecV zn, VecV zm, VecV zda, CpuContext* c);
VecV VecS32DotVVVIX(VecV zn, VecV zm, VecV zda, uint64_t index, CpuContext* c);
VecV VecU32DotVVVIX(VecV zn, VecV zm, VecV zda, uint64_t index, CpuContext* c);
VecV VecS64DotVVVIX(VecV zn, VecV zm, VecV zda, uint64_t index, CpuContext* c);
VecV VecU64DotVVVIX(VecV zn, VecV zm, VecV zda, uint64_t index, CpuContext* c);

// Moves and constants.
#define INT_DECL_MOVES(TY)                                                          \
    VecV Vec##TY##DupI(int64_t imm, CpuContext* c);                                 \
    VecV Vec##TY##DupIZ(PredV pg, int64_t imm, CpuContext* c);                      \
    VecV Vec##TY##DupIM(VecV d, PredV pg, int64_t imm, CpuContext* c);              \
    VecV Vec##TY##IndexII(int64_t start, int64_t step, CpuContext* c);              \
    VecV Vec##TY##IndexSI(uint64_t start, int64_t step, CpuContext* c);             \
    VecV Vec##TY##IndexIS(int64_t start, uint64_t step, CpuContext* c);             \
    VecV Vec##TY##IndexSS(uint64_t start, uint64_t step, CpuContext* c);
INT_DECL_MOVES(S8) INT_DECL_MOVES(S16) INT_DECL_MOVES(S32) INT_DECL_MOVES(S64)
#define INT_DECL_UMOVES(TY)                                                         \
    VecV Vec##TY##DupS(uint64_t x, CpuContext* c);                                  \
    VecV Vec##TY##DupSM(VecV d, PredV pg, uint64_t x, CpuContext* c);               \
    VecV Vec##TY##MovePrefix1VZ(PredV pg, VecV zn, CpuContext* c);
INT_DECL_UMOVES(U8) INT_DECL_UMOVES(U16) INT_DECL_UMOVES(U32) INT_DECL_UMOVES(U64)
VecV VecB8DupSM(VecV d, PredV pg, VecV vn, CpuContext* c);
VecV VecH16DupSM(VecV d, PredV pg, VecV vn, CpuContext* c);
VecV VecF32DupSM(VecV d, PredV pg, VecV vn, CpuContext* c);
VecV VecD64DupSM(VecV d, PredV pg, VecV vn, CpuContext* c);
VecV VecS64DupMaskI(uint64_t mask, CpuContext* c);
VecV VecU32SpecialMoveV(VecV zn, CpuContext* c);

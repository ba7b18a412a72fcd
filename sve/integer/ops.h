// Integer vector operations: arithmetic, logic, shifts and compares, both tiers, and their forms.
//
// The generic functions come in families listed once here (X-macro tables: element type token,
// stem, operation); the header declares them from the tables and int_generic.cpp defines them
// from the same tables.
#pragma once

#include "sve/core/forms.h"
#include "sve/integer/int_forms.h"
#include "sve/integer/pred_flags.h"
#include "sve/integer/wide_int.h"

// ---------------------------------------------------------------------------------------------
// Operand forms of the rows.

// add zdn.t, zdn.t, #imm{, lsl #8}: Zdn 4:0, immediate 13:5.
using sf_zdn_imm8sh = sf::sform<sf::Zt<0>, sf::Imm8Sh>;
using gf_zdn_imm8sh = sf::gform<sf::DZ<0>, sf::Z<0>, sf::Imm8Sh>;
using gf_zdn_arith = sf::gform<sf::DZ<0>, sf::Z<0>, sf::ArithImm>;
// Zdn 4:0 with imm8 12:5, sign- or zero-extended.
using sf_zdn_simm8 = sf::sform<sf::Zt<0>, sf::SImm<5, 8>>;
using gf_zdn_simm8 = sf::gform<sf::DZ<0>, sf::Z<0>, sf::SImm<5, 8>>;
using gf_zdn_uimm8 = sf::gform<sf::DZ<0>, sf::Z<0>, sf::UImm<5, 8>>;
// Zdn 4:0 with the bit-mask immediate 17:5; dupm writes Zd.
using sf_zdn_logimm = sf::sform<sf::Zt<0>, sf::LogImm>;
using gf_zdn_logimm = sf::gform<sf::DZ<0>, sf::Z<0>, sf::LogImm>;
using sf_dupm = sf::sform<sf::Z<0>, sf::LogImm>;
using gf_dupm = sf::gform<sf::DZ<0>, sf::LogImm>;
// Unpredicated three registers: Zd 4:0, Zn 9:5, Zm 20:16.
using sf_zzz = sf::sform<sf::Z<0>, sf::Z<5>, sf::Z<16>>;
using gf_zzz = sf::gform<sf::DZ<0>, sf::Z<5>, sf::Z<16>>;
// Predicated, merging: Zdn (or Zd) 4:0, Pg 12:10, Zm (or Zn) 9:5.
using sf_zpz = sf::sform<sf::Zt<0>, sf::P<10, 3, PQ_M>, sf::Z<5>>;
using sf_zpz_unary = sf::sform<sf::Z<0>, sf::P<10, 3, PQ_M>, sf::Z<5>>;
using gf_zpz = sf::gform<sf::DZ<0>, sf::Z<0>, sf::P<10, 3, PQ_M>, sf::Z<5>>;
// movprfx zeroing: Zd 4:0, Pg 12:10, Zn 9:5.
using sf_zpz_zero = sf::sform<sf::Z<0>, sf::P<10, 3, PQ_Z>, sf::Z<5>>;
using gf_zpz_zero = sf::gform<sf::DZ<0>, sf::P<10, 3, PQ_Z>, sf::Z<5>>;
using sf_zz = sf::sform<sf::Z<0>, sf::Z<5>>;
using gf_zz = sf::gform<sf::DZ<0>, sf::Z<5>>;
// mla, mls: Zda 4:0, Pg 12:10, Zn 9:5, Zm 20:16. mad, msb: Zdn 4:0, Pg, Zm 20:16, Za 9:5.
using sf_mla = sf::sform<sf::Zt<0>, sf::P<10, 3, PQ_M>, sf::Z<5>, sf::Z<16>>;
using gf_mla = sf::gform<sf::DZ<0>, sf::Z<0>, sf::P<10, 3, PQ_M>, sf::Z<5>, sf::Z<16>>;
using sf_mad = sf::sform<sf::Zt<0>, sf::P<10, 3, PQ_M>, sf::Z<16>, sf::Z<5>>;
using gf_mad = sf::gform<sf::DZ<0>, sf::Z<0>, sf::P<10, 3, PQ_M>, sf::Z<16>, sf::Z<5>>;
// Dot products: Zda 4:0, Zn 9:5, Zm 20:16 (indexed: Zm 18:16 with index 20:19, or 19:16 with 20).
using gf_dot = sf::gform<sf::DZ<0>, sf::Z<5>, sf::Z<16>, sf::Z<0>>;
using gf_dot_idx_s = sf::gform<sf::DZ<0>, sf::Z<5>, sf::ZF<16, 3>, sf::Z<0>, sf::UImm<19, 2>>;
using gf_dot_idx_d = sf::gform<sf::DZ<0>, sf::Z<5>, sf::ZF<16, 4>, sf::Z<0>, sf::UImm<20, 1>>;
// dup, cpy.
using sf_dup_zi = sf::sform<sf::Z<0>, sf::DupImm>;
using gf_dup_zi = sf::gform<sf::DZ<0>, sf::DupImm>;
using sf_dup_zr = sf::sform<sf::Z<0>, sf::Rsp<5>>;
using gf_dup_zr = sf::gform<sf::DZ<0>, sf::Rsp<5>>;
using sf_cpy_zpi_z = sf::sform<sf::Z<0>, sf::P<16, 4, PQ_Z>, sf::DupImm>;
using gf_cpy_zpi_z = sf::gform<sf::DZ<0>, sf::P<16, 4, PQ_Z>, sf::DupImm>;
using sf_cpy_zpi_m = sf::sform<sf::Z<0>, sf::P<16, 4, PQ_M>, sf::DupImm>;
using gf_cpy_zpi_m = sf::gform<sf::DZ<0>, sf::Z<0>, sf::P<16, 4, PQ_M>, sf::DupImm>;
using sf_cpy_zpr = sf::sform<sf::Z<0>, sf::P<10, 3, PQ_M>, sf::Rsp<5>>;
using gf_cpy_zpr = sf::gform<sf::DZ<0>, sf::Z<0>, sf::P<10, 3, PQ_M>, sf::Rsp<5>>;
// index: Zd 4:0, start 9:5, step 20:16, each an immediate or a general register.
using sf_index_ii = sf::sform<sf::Z<0>, sf::SImm<5, 5>, sf::SImm<16, 5>>;
using gf_index_ii = sf::gform<sf::DZ<0>, sf::SImm<5, 5>, sf::SImm<16, 5>>;
using sf_index_ri = sf::sform<sf::Z<0>, sf::R<5>, sf::SImm<16, 5>>;
using gf_index_ri = sf::gform<sf::DZ<0>, sf::R<5>, sf::SImm<16, 5>>;
using sf_index_ir = sf::sform<sf::Z<0>, sf::SImm<5, 5>, sf::R<16>>;
using gf_index_ir = sf::gform<sf::DZ<0>, sf::SImm<5, 5>, sf::R<16>>;
using sf_index_rr = sf::sform<sf::Z<0>, sf::R<5>, sf::R<16>>;
using gf_index_rr = sf::gform<sf::DZ<0>, sf::R<5>, sf::R<16>>;
// Immediate shifts: predicated Zdn 4:0, Pg 12:10, count from 23:22 and 9:5; unpredicated
// Zd 4:0, Zn 9:5, count from 23:22 and 20:16.
using sf_shr_zpi = sf::sform<sf::Zt<0>, sf::P<10, 3, PQ_M>, sf::ShiftImm<5, true>>;
using sf_shl_zpi = sf::sform<sf::Zt<0>, sf::P<10, 3, PQ_M>, sf::ShiftImm<5, false>>;
using gf_shr_zpi = sf::gform<sf::DZ<0>, sf::Z<0>, sf::P<10, 3, PQ_M>, sf::ShiftImm<5, true>>;
using gf_shl_zpi = sf::gform<sf::DZ<0>, sf::Z<0>, sf::P<10, 3, PQ_M>, sf::ShiftImm<5, false>>;
using sf_shr_zzi = sf::sform<sf::Z<0>, sf::Z<5>, sf::ShiftImm<16, true>>;
using sf_shl_zzi = sf::sform<sf::Z<0>, sf::Z<5>, sf::ShiftImm<16, false>>;
using gf_shr_zzi = sf::gform<sf::DZ<0>, sf::Z<5>, sf::ShiftImm<16, true>>;
using gf_shl_zzi = sf::gform<sf::DZ<0>, sf::Z<5>, sf::ShiftImm<16, false>>;
// Compares: Pd 3:0 (with the element size), Pg 12:10, Zn 9:5, then Zm 20:16, a signed imm5
// in 20:16 or an unsigned imm7 in 20:14.
using sf_cmp_zz = sf::sform<sf::P<0, 4, -1>, sf::P<10, 3, PQ_Z>, sf::Z<5>, sf::Z<16>>;
using gf_cmp_zz = sf::gform<sf::DP<0>, sf::P<10, 3, PQ_Z>, sf::Z<5>, sf::Z<16>>;
using sf_cmp_zsi = sf::sform<sf::P<0, 4, -1>, sf::P<10, 3, PQ_Z>, sf::Z<5>, sf::SImm<16, 5>>;
using gf_cmp_zsi = sf::gform<sf::DP<0>, sf::P<10, 3, PQ_Z>, sf::Z<5>, sf::SImm<16, 5>>;
using sf_cmp_zui = sf::sform<sf::P<0, 4, -1>, sf::P<10, 3, PQ_Z>, sf::Z<5>, sf::UImm<14, 7>>;
using gf_cmp_zui = sf::gform<sf::DP<0>, sf::P<10, 3, PQ_Z>, sf::Z<5>, sf::UImm<14, 7>>;

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
INT_DECL_ZZZ(sve_add_zzz) INT_DECL_ZZZ(sve_sub_zzz)
INT_DECL_ZZZ(sve_and_zzz) INT_DECL_ZZZ(sve_orr_zzz) INT_DECL_ZZZ(sve_eor_zzz) INT_DECL_ZZZ(sve_bic_zzz)
INT_DECL_ZPZ(sve_add_zpz) INT_DECL_ZPZ(sve_sub_zpz) INT_DECL_ZPZ(sve_mul_zpz)
INT_DECL_ZPZ(sve_smax_zpz) INT_DECL_ZPZ(sve_umax_zpz) INT_DECL_ZPZ(sve_smin_zpz) INT_DECL_ZPZ(sve_umin_zpz)
INT_DECL_ZPZ(sve_and_zpz) INT_DECL_ZPZ(sve_orr_zpz) INT_DECL_ZPZ(sve_eor_zpz) INT_DECL_ZPZ(sve_bic_zpz)
INT_DECL_ZPZ(sve_sdiv_zpz) INT_DECL_ZPZ(sve_udiv_zpz) INT_DECL_ZPZ(sve_sdivr_zpz) INT_DECL_ZPZ(sve_udivr_zpz)
INT_DECL_ZPZ(sve_neg_zpz) INT_DECL_ZPZ(sve_rbit_zpz) INT_DECL_ZPZ(sve_revw_zpz)
INT_DECL_ZPZ(sve_sxtb_zpz) INT_DECL_ZPZ(sve_sxth_zpz) INT_DECL_ZPZ(sve_sxtw_zpz)
INT_DECL_ZPZ(sve_uxth_zpz) INT_DECL_ZPZ(sve_uxtw_zpz)
INT_DECL_ZPZ(sve_movprfx_zpz) INT_DECL_ZPZ(sve_cpy_zpv)
INT_DECL_ZPZ(sve_lsl_zpz) INT_DECL_ZPZ(sve_lsr_zpz) INT_DECL_ZPZ(sve_asr_zpz)
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

#define INT_DECL_CMP(cc)                                                           \
    aarch64_decode_rc sve_cmp##cc##_ppzz(cpu_state* s, pr pd, pr pg, zr zn, zr zm); \
    aarch64_decode_rc sve_cmp##cc##_ppzi(cpu_state* s, pr pd, pr pg, zr zn, int64_t imm);
INT_DECL_CMP(eq) INT_DECL_CMP(ne) INT_DECL_CMP(ge) INT_DECL_CMP(gt) INT_DECL_CMP(le) INT_DECL_CMP(lt)
INT_DECL_CMP(hs) INT_DECL_CMP(hi) INT_DECL_CMP(ls) INT_DECL_CMP(lo)

// ---------------------------------------------------------------------------------------------
// Generic functions, by shape. Each table entry is X(type token, stem, operation).

#define INT_T_U4(X, STEM, OP) X(U8, STEM, OP) X(U16, STEM, OP) X(U32, STEM, OP) X(U64, STEM, OP)
#define INT_T_S4(X, STEM, OP) X(S8, STEM, OP) X(S16, STEM, OP) X(S32, STEM, OP) X(S64, STEM, OP)
#define INT_T_U3(X, STEM, OP) X(U8, STEM, OP) X(U16, STEM, OP) X(U32, STEM, OP)
#define INT_T_S3(X, STEM, OP) X(S8, STEM, OP) X(S16, STEM, OP) X(S32, STEM, OP)
#define INT_T_SU4(X, STEM, OP) INT_T_S4(X, STEM, OP) INT_T_U4(X, STEM, OP)

// (zn, zm): unpredicated.
#define INT_TABLE_VVX(X)                                                                   \
    INT_T_U4(X, AddVVX, op_add) INT_T_U4(X, SubVVX, op_sub)                               \
    INT_T_SU4(X, QAddVVX, op_qadd) INT_T_SU4(X, QSubVVX, op_qsub)                         \
    X(U64, AndVVX, op_and) X(U64, OrVVX, op_orr) X(U64, XorVVX, op_eor) X(U64, BicVVX, op_bic)
// (zn, zm as 64-bit counts): unpredicated wide shifts.
#define INT_TABLE_VWX(X) INT_T_U3(X, ShlVWX, op_shl) INT_T_S3(X, ShrVWX, op_shr) INT_T_U3(X, ShrVWX, op_shr)
// (zn, imm): unpredicated with an immediate.
#define INT_TABLE_VIX(X)                                                                    \
    INT_T_U4(X, AddVIX, op_add) INT_T_U4(X, SubVIX, op_sub) INT_T_U4(X, SubRVIX, op_subr)  \
    INT_T_SU4(X, QAddVIX, op_qadd_imm) INT_T_SU4(X, QSubVIX, op_qsub_imm)                  \
    INT_T_SU4(X, MaxVIX, op_max_imm) INT_T_SU4(X, MinVIX, op_min_imm)                      \
    INT_T_S4(X, MulVIX, op_mul)                                                            \
    X(U64, AndVIX, op_and) X(U64, OrVIX, op_orr) X(U64, XorVIX, op_eor)                    \
    INT_T_U4(X, ShlVIX, op_shl) INT_T_S4(X, ShrVIX, op_shr) INT_T_U4(X, ShrVIX, op_shr)
// (zdn, pg, zm): predicated, merging.
#define INT_TABLE_VVM(X)                                                                    \
    INT_T_U4(X, AddVVM, op_add) INT_T_U4(X, SubVVM, op_sub) INT_T_U4(X, SubRVVM, op_subr)  \
    INT_T_S4(X, MulVVM, op_mul) INT_T_SU4(X, MulHVVM, op_mulh)                             \
    X(S32, DivVVM, op_div) X(S64, DivVVM, op_div) X(U32, DivVVM, op_div) X(U64, DivVVM, op_div) \
    X(S32, DivRVVM, op_divr) X(S64, DivRVVM, op_divr) X(U32, DivRVVM, op_divr) X(U64, DivRVVM, op_divr) \
    INT_T_SU4(X, MaxVVM, op_max) INT_T_SU4(X, MinVVM, op_min) INT_T_SU4(X, AbdVVM, op_abd) \
    INT_T_U4(X, AndVVM, op_and) INT_T_U4(X, OrVVM, op_orr) INT_T_U4(X, XorVVM, op_eor)     \
    INT_T_U4(X, BicVVM, op_bic)                                                            \
    INT_T_U4(X, ShlVVM, op_shl) INT_T_S4(X, ShrVVM, op_shr) INT_T_U4(X, ShrVVM, op_shr)    \
    INT_T_U4(X, ShlRVVM, op_shlr) INT_T_S4(X, ShrRVVM, op_shrr) INT_T_U4(X, ShrRVVM, op_shrr)
// (zdn, pg, zm as 64-bit counts): predicated wide shifts.
#define INT_TABLE_VWM(X) INT_T_U3(X, ShlVWM, op_shl) INT_T_S3(X, ShrVWM, op_shr) INT_T_U3(X, ShrVWM, op_shr)
// (zdn, pg, count): predicated immediate shifts.
#define INT_TABLE_VIM(X) \
    INT_T_U4(X, ShlVIM, op_shl) INT_T_S4(X, ShrVIM, op_shr) INT_T_U4(X, ShrVIM, op_shr) INT_T_S4(X, ShrDVIM, op_asrd)
// (zd, pg, zn): predicated unary, merging.
#define INT_TABLE_VM(X)                                                                     \
    INT_T_S4(X, AbsVM, op_abs) INT_T_S4(X, NegVM, op_neg)                                  \
    INT_T_U4(X, ClsVM, op_cls) INT_T_U4(X, ClzVM, op_clz) INT_T_U4(X, CntVM, op_cnt)      \
    INT_T_U4(X, NotVM, op_cnot) INT_T_U4(X, InvVM, op_not) INT_T_U4(X, RBitVM, op_rbit)   \
    X(U16, Rev1V, op_revb) X(U32, Rev1V, op_revb) X(U64, Rev1V, op_revb)                   \
    X(U32, Rev2V, op_revh) X(U64, Rev2V, op_revh) X(U64, Rev4V, op_revw)                   \
    X(S16, Extnd12VM, op_ext8) X(U16, Extnd12VM, op_ext8)                                  \
    X(S32, Extnd14VM, op_ext8) X(U32, Extnd14VM, op_ext8)                                  \
    X(S64, Extnd18VM, op_ext8) X(U64, Extnd18VM, op_ext8)                                  \
    X(S32, Extnd24VM, op_ext16) X(U32, Extnd24VM, op_ext16)                                \
    X(S64, Extnd28VM, op_ext16) X(U64, Extnd28VM, op_ext16)                                \
    X(S64, Extnd48VM, op_ext32) X(U64, Extnd48VM, op_ext32)                                \
    INT_T_U4(X, MovePrefix1VM, op_copy)
// (zd, pg, za, zb): multiply-add, merging.
#define INT_TABLE_VVVM(X) \
    INT_T_S4(X, MLAVVVM, op_mla) INT_T_S4(X, MLSVVVM, op_mls) INT_T_S4(X, MADDVVVM, op_mad) INT_T_S4(X, MSUBVVVM, op_msb)
// (pg, zn, zm) -> predicate: compares with flags.
#define INT_TABLE_CMP_VV(X)                                                                 \
    INT_T_S4(X, CmpFlgEQVVZ, cmp_eq) INT_T_S4(X, CmpFlgNEVVZ, cmp_ne)                      \
    INT_T_SU4(X, CmpFlgGEVVZ, cmp_ge) INT_T_SU4(X, CmpFlgGTVVZ, cmp_gt)
#define INT_TABLE_CMP_VI(X)                                                                 \
    INT_T_S4(X, CmpFlgEQVIZ, cmp_eq) INT_T_S4(X, CmpFlgNEVIZ, cmp_ne)                      \
    INT_T_SU4(X, CmpFlgGEVIZ, cmp_ge) INT_T_SU4(X, CmpFlgGTVIZ, cmp_gt)                    \
    INT_T_SU4(X, CmpFlgLTVIZ, cmp_lt) INT_T_SU4(X, CmpFlgLEVIZ, cmp_le)
#define INT_TABLE_CMP_VW(X)                                                                 \
    INT_T_S3(X, CmpFlgEQVWZ, cmp_eq) INT_T_S3(X, CmpFlgNEVWZ, cmp_ne)                      \
    INT_T_S3(X, CmpFlgGEVWZ, cmp_ge) INT_T_S3(X, CmpFlgGTVWZ, cmp_gt)                      \
    INT_T_S3(X, CmpFlgLTVWZ, cmp_lt) INT_T_S3(X, CmpFlgLEVWZ, cmp_le)                      \
    INT_T_U3(X, CmpFlgGEVWZ, cmp_ge) INT_T_U3(X, CmpFlgGTVWZ, cmp_gt)                      \
    INT_T_U3(X, CmpFlgLTVWZ, cmp_lt) INT_T_U3(X, CmpFlgLEVWZ, cmp_le)

#define INT_DECL_G2(TY, STEM, OP) VecV Vec##TY##STEM(VecV a, VecV b, CpuContext* c);
#define INT_DECL_GI(TY, STEM, OP) VecV Vec##TY##STEM(VecV a, uint64_t imm, CpuContext* c);
#define INT_DECL_GM(TY, STEM, OP) VecV Vec##TY##STEM(VecV d, PredV pg, VecV b, CpuContext* c);
#define INT_DECL_GIM(TY, STEM, OP) VecV Vec##TY##STEM(VecV d, PredV pg, uint64_t count, CpuContext* c);
#define INT_DECL_G3M(TY, STEM, OP) VecV Vec##TY##STEM(VecV d, PredV pg, VecV a, VecV b, CpuContext* c);
#define INT_DECL_GC(TY, STEM, OP) PredV Vec##TY##STEM(PredV pg, VecV a, VecV b, CpuContext* c);
#define INT_DECL_GCI(TY, STEM, OP) PredV Vec##TY##STEM(PredV pg, VecV a, int64_t imm, CpuContext* c);

INT_TABLE_VVX(INT_DECL_G2)
INT_TABLE_VWX(INT_DECL_G2)
INT_TABLE_VIX(INT_DECL_GI)
INT_TABLE_VVM(INT_DECL_GM)
INT_TABLE_VWM(INT_DECL_GM)
INT_TABLE_VIM(INT_DECL_GIM)
INT_TABLE_VM(INT_DECL_GM)
INT_TABLE_VVVM(INT_DECL_G3M)
INT_TABLE_CMP_VV(INT_DECL_GC)
INT_TABLE_CMP_VI(INT_DECL_GCI)
INT_TABLE_CMP_VW(INT_DECL_GC)


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

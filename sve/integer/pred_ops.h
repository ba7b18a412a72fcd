// Predicate logic, loop control, permutes and reductions, both tiers, and their forms.
#pragma once

#include "sve/core/forms.h"

// ---------------------------------------------------------------------------------------------
// Operand extractors of this family, in the shape of those in sve/core/forms.h.
namespace pred_forms {

using forms::fld;

// The multiplier of the counts: imm4 at 19:16. The specialised operations get imm4 + 1, the
// generic functions imm4 (they add the one themselves).
struct Mul4 {
    template <int ESZ> static uint64_t get(uint32_t w) { return fld(w, 16, 4) + 1; }
    template <int ESZ> static uint64_t gget(const cpu_state*, uint32_t w) { return fld(w, 16, 4); }
};

// Element index of dup (indexed): imm2 (23:22) and tsz (20:16) joined, above the size marker.
struct DupIdx {
    template <int ESZ> static unsigned get(uint32_t w) { return ((fld(w, 22, 2) << 5) | fld(w, 16, 5)) >> (ESZ + 1); }
    template <int ESZ> static unsigned gget(const cpu_state*, uint32_t w) { return get<ESZ>(w); }
};

// Byte position of ext: bits 20:16 high, bits 12:10 low.
struct ExtPos {
    template <int ESZ> static unsigned get(uint32_t w) { return (fld(w, 16, 5) << 3) | fld(w, 10, 3); }
    template <int ESZ> static unsigned gget(const cpu_state*, uint32_t w) { return get<ESZ>(w); }
};

// A SIMD scalar register by number (specialised tier), or its low element (generic tier).
template <int LO>
struct V {
    template <int ESZ> static unsigned get(uint32_t w) { return fld(w, LO, 5); }
    template <int ESZ> static uint64_t gget(const cpu_state* s, uint32_t w) {
        uint64_t v = 0;
        std::memcpy(&v, s->z[fld(w, LO, 5)], 1u << ESZ);
        return v;
    }
};

// General register, 31 the zero register, whose generic value is cut to 32 bits for a W form.
template <int LO, int Q>
struct Rn {
    template <int ESZ> static aarch64_i_reg get(uint32_t w) { return forms::R<LO, Q>::template get<ESZ>(w); }
    template <int ESZ> static uint64_t gget(const cpu_state* s, uint32_t w) {
        uint64_t v = forms::R<LO, Q>::template gget<ESZ>(s, w);
        return Q == RQ_W ? uint32_t(v) : v;
    }
};

// SIMD scalar destination of the element's width: the value in the low bytes, zero elsewhere.
template <int LO>
struct DVE {
    template <int ESZ> static void put(cpu_state* s, uint32_t w, uint64_t v) { store_scalar(s, fld(w, LO, 5), v, 1u << ESZ); }
};

}  // namespace pred_forms

// ---------------------------------------------------------------------------------------------
// Forms. Field positions: Zd/Pd/Rd 4:0 (Pd 3:0), Zn/Pn/Rn 9:5 (Pn 8:5), Zm/Pm/Rm 20:16.

// sel zd.t, pg, zn.t, zm.t: Zd 4:0, Pg 13:10, Zn 9:5, Zm 20:16.
using sf_sel_zpzz = forms::sform<forms::Z<0>, forms::P<10, 4, PQ_BARE>, forms::Z<5>, forms::Z<16>>;
using gf_sel_zpzz = forms::gform<forms::DZ<0>, forms::P<10, 4, PQ_BARE>, forms::Z<5>, forms::Z<16>>;

// Permutes of vectors: zd, zn, zm / zd, zn.
using sf_zzz = forms::sform<forms::Z<0>, forms::Z<5>, forms::Z<16>>;
using gf_zzz = forms::gform<forms::DZ<0>, forms::Z<5>, forms::Z<16>>;
using sf_zz = forms::sform<forms::Z<0>, forms::Z<5>>;
using gf_zz = forms::gform<forms::DZ<0>, forms::Z<5>>;
// ext zdn, zdn, zm, #pos
using sf_ext = forms::sform<forms::Zt<0>, forms::Z<5>, pred_forms::ExtPos>;
using gf_ext = forms::gform<forms::DZ<0>, forms::Z<0>, forms::Z<5>, pred_forms::ExtPos>;
// dup zd, zn[idx]
using sf_dupi = forms::sform<forms::Z<0>, forms::Z<5>, pred_forms::DupIdx>;
using gf_dupi = forms::gform<forms::DZ<0>, forms::Z<5>, pred_forms::DupIdx>;
// splice zdn, pg, zdn, zm (Zm in 9:5) / compact zd, pg, zn
using gf_splice = forms::gform<forms::DZ<0>, forms::P<10, 3, PQ_BARE>, forms::Z<0>, forms::Z<5>>;
using gf_compact = forms::gform<forms::DZ<0>, forms::P<10, 3, PQ_BARE>, forms::Z<5>>;
// insr zdn, rn / insr zdn, vn
using gf_insr_r = forms::gform<forms::DZ<0>, forms::Z<0>, forms::R<5>>;
using gf_insr_v = forms::gform<forms::DZ<0>, forms::Z<0>, pred_forms::V<5>>;

// Reductions and extraction: Vd/Rd 4:0, Pg 12:10, Zn 9:5.
using sf_vpz = forms::sform<pred_forms::V<0>, forms::P<10, 3, PQ_BARE>, forms::Z<5>>;
using gf_vpz = forms::gform<pred_forms::DVE<0>, forms::P<10, 3, PQ_BARE>, forms::Z<5>>;
using gf_vpz64 = forms::gform<forms::DV<0, 8>, forms::P<10, 3, PQ_BARE>, forms::Z<5>>;
using sf_rpz = forms::sform<forms::R<0>, forms::P<10, 3, PQ_BARE>, forms::Z<5>>;
using gf_rpz = forms::gform<forms::DR<0>, forms::P<10, 3, PQ_BARE>, forms::Z<5>>;
using sf_clast_rpz = forms::sform<forms::Rt<0>, forms::P<10, 3, PQ_BARE>, forms::Z<5>>;
using gf_clast_r = forms::gform<forms::DR<0>, forms::P<10, 3, PQ_BARE>, forms::R<0>, forms::Z<5>>;
using gf_clast_v = forms::gform<pred_forms::DVE<0>, forms::P<10, 3, PQ_BARE>, pred_forms::V<0>, forms::Z<5>>;
using gf_clast_z = forms::gform<forms::DZ<0>, forms::P<10, 3, PQ_BARE>, forms::Z<0>, forms::Z<5>>;

// ---------------------------------------------------------------------------------------------
// Shared permute bodies over raw register-sized arrays (Z and P registers alike). `target` is neither
// source.
void sve_zip1(char* target, const char* first, const char* second, element_size size);
void sve_zip2(char* target, const char* first, const char* second, element_size size);
void sve_uzp1(char* target, const char* first, const char* second, element_size size);

// Specialised operations.
aarch64_decode_rc sve_sel_zpzz(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn, aarch64_z_reg zm);
aarch64_decode_rc sve_zip1_zzz(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm);
aarch64_decode_rc sve_zip2_zzz(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm);
aarch64_decode_rc sve_uzp1_zzz(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm);
aarch64_decode_rc sve_uzp2_zzz(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm);
aarch64_decode_rc sve_trn1_zzz(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm);
aarch64_decode_rc sve_trn2_zzz(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm);
aarch64_decode_rc sve_tbl_zzz(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm);
aarch64_decode_rc sve_rev_zz(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn);
aarch64_decode_rc sve_ext_zzi(cpu_state* s, aarch64_z_reg zdn, aarch64_z_reg zm, unsigned pos);
aarch64_decode_rc sve_dup_zzi(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, unsigned index);
aarch64_decode_rc sve_sunpklo_s2d_zz(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn);
aarch64_decode_rc sve_sunpkhi_s2d_zz(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn);
aarch64_decode_rc sve_uunpklo_b2h_zz(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn);
aarch64_decode_rc sve_uunpkhi_b2h_zz(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn);
aarch64_decode_rc sve_uunpklo_h2s_zz(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn);
aarch64_decode_rc sve_uunpkhi_h2s_zz(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn);
aarch64_decode_rc sve_uunpklo_s2d_zz(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn);
aarch64_decode_rc sve_uunpkhi_s2d_zz(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn);
aarch64_decode_rc sve_adr_scaled_zzz(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm);

aarch64_decode_rc sve_uaddv_vpz(cpu_state* s, unsigned vd, aarch64_p_reg pg, aarch64_z_reg zn);
aarch64_decode_rc sve_smaxv_vpz(cpu_state* s, unsigned vd, aarch64_p_reg pg, aarch64_z_reg zn);
aarch64_decode_rc sve_umaxv_vpz(cpu_state* s, unsigned vd, aarch64_p_reg pg, aarch64_z_reg zn);
aarch64_decode_rc sve_sminv_vpz(cpu_state* s, unsigned vd, aarch64_p_reg pg, aarch64_z_reg zn);
aarch64_decode_rc sve_uminv_vpz(cpu_state* s, unsigned vd, aarch64_p_reg pg, aarch64_z_reg zn);
aarch64_decode_rc sve_andv_vpz(cpu_state* s, unsigned vd, aarch64_p_reg pg, aarch64_z_reg zn);
aarch64_decode_rc sve_orv_vpz(cpu_state* s, unsigned vd, aarch64_p_reg pg, aarch64_z_reg zn);
aarch64_decode_rc sve_eorv_vpz(cpu_state* s, unsigned vd, aarch64_p_reg pg, aarch64_z_reg zn);
aarch64_decode_rc sve_lastb_vpz(cpu_state* s, unsigned vd, aarch64_p_reg pg, aarch64_z_reg zn);
aarch64_decode_rc sve_lastb_rpz(cpu_state* s, aarch64_i_reg rd, aarch64_p_reg pg, aarch64_z_reg zn);
aarch64_decode_rc sve_clastb_rpz(cpu_state* s, aarch64_i_reg rdn, aarch64_p_reg pg, aarch64_z_reg zn);

// ---------------------------------------------------------------------------------------------
// Generic functions, declared by lists of element types.
#define PRED_U_TYPES(M) M(U8, 0) M(U16, 1) M(U32, 2) M(U64, 3)
#define PRED_S_TYPES(M) M(S8, 0) M(S16, 1) M(S32, 2) M(S64, 3)
#define PRED_V_TYPES(M) M(B8, 0) M(H16, 1) M(F32, 2) M(D64, 3)
#define PRED_P_TYPES(M) M(P8, 0) M(P16, 1) M(P32, 2) M(P64, 3)

#define PRED_DECL_PERMUTE(T, E)                                   \
    VecV Vec##T##Zip1VV(VecV zn, VecV zm, CpuContext* c);         \
    VecV Vec##T##Zip2VV(VecV zn, VecV zm, CpuContext* c);         \
    VecV Vec##T##Uzp1VV(VecV zn, VecV zm, CpuContext* c);         \
    VecV Vec##T##Uzp2VV(VecV zn, VecV zm, CpuContext* c);         \
    VecV Vec##T##Trn1VV(VecV zn, VecV zm, CpuContext* c);         \
    VecV Vec##T##Trn2VV(VecV zn, VecV zm, CpuContext* c);         \
    VecV Vec##T##TblVV(VecV zn, VecV zm, CpuContext* c);          \
    VecV Vec##T##ReverseV(VecV zn, CpuContext* c);                \
    VecV Vec##T##ExtDupVI(VecV zn, unsigned index, CpuContext* c); \
    VecV Vec##T##SpliceVV(PredV pg, VecV zdn, VecV zm, CpuContext* c); \
    VecV Vec##T##InsertS(VecV zdn, uint64_t x, CpuContext* c);    \
    VecV Vec##T##SelVV(PredV pg, VecV zn, VecV zm, CpuContext* c);
PRED_U_TYPES(PRED_DECL_PERMUTE)
VecV VecU128ExtDupVI(VecV zn, unsigned index, CpuContext* c);
VecV VecU8SlideVI(VecV zdn, VecV zm, unsigned pos, CpuContext* c);
VecV VecU32CompressVV(PredV pg, VecV zn, CpuContext* c);
VecV VecU64CompressVV(PredV pg, VecV zn, CpuContext* c);

#define PRED_DECL_INSERT_V(T, E) VecV Vec##T##InsertS(VecV zdn, uint64_t v, CpuContext* c);
PRED_V_TYPES(PRED_DECL_INSERT_V)

#define PRED_DECL_UNPACK(T)                          \
    VecV Vec##T##UnpackLoV(VecV zn, CpuContext* c); \
    VecV Vec##T##UnpackHiV(VecV zn, CpuContext* c);
PRED_DECL_UNPACK(S16)
PRED_DECL_UNPACK(S32)
PRED_DECL_UNPACK(S64)
PRED_DECL_UNPACK(U16)
PRED_DECL_UNPACK(U32)
PRED_DECL_UNPACK(U64)

#define PRED_DECL_LEA(T, N)                                  \
    VecV Vec##T##LEA##N##VV(VecV zn, VecV zm, CpuContext* c); \
    VecV VecU64LEA##N##XVV(VecV zn, VecV zm, CpuContext* c);  \
    VecV VecU64LEA##N##YVV(VecV zn, VecV zm, CpuContext* c);
#define PRED_DECL_LEA_ALL(N) PRED_DECL_LEA(U32, N) VecV VecU64LEA##N##VV(VecV zn, VecV zm, CpuContext* c);
PRED_DECL_LEA_ALL(1)
PRED_DECL_LEA_ALL(2)
PRED_DECL_LEA_ALL(4)
PRED_DECL_LEA_ALL(8)

// Reductions and extraction.
#define PRED_DECL_REDUCE_U(T, E)                                           \
    uint64_t Vec##T##AddReduceV(PredV pg, VecV zn, CpuContext* c);         \
    uint64_t Vec##T##MaxReduceV(PredV pg, VecV zn, CpuContext* c);         \
    uint64_t Vec##T##MinReduceV(PredV pg, VecV zn, CpuContext* c);         \
    uint64_t Vec##T##AndReduceV(PredV pg, VecV zn, CpuContext* c);         \
    uint64_t Vec##T##OrReduceV(PredV pg, VecV zn, CpuContext* c);          \
    uint64_t Vec##T##XorReduceV(PredV pg, VecV zn, CpuContext* c);         \
    uint64_t Vec##T##LastAV(PredV pg, VecV zn, CpuContext* c);             \
    uint64_t Vec##T##LastBV(PredV pg, VecV zn, CpuContext* c);             \
    uint64_t Vec##T##CondXASV(PredV pg, uint64_t fallback, VecV zn, CpuContext* c); \
    uint64_t Vec##T##CondXBSV(PredV pg, uint64_t fallback, VecV zn, CpuContext* c); \
    VecV Vec##T##VCondXAVV(PredV pg, VecV zdn, VecV zm, CpuContext* c);    \
    VecV Vec##T##VCondXBVV(PredV pg, VecV zdn, VecV zm, CpuContext* c);
PRED_U_TYPES(PRED_DECL_REDUCE_U)
#define PRED_DECL_REDUCE_S(T, E)                                   \
    uint64_t Vec##T##MaxReduceV(PredV pg, VecV zn, CpuContext* c); \
    uint64_t Vec##T##MinReduceV(PredV pg, VecV zn, CpuContext* c);
PRED_S_TYPES(PRED_DECL_REDUCE_S)
uint64_t VecS8AddReduceV(PredV pg, VecV zn, CpuContext* c);
uint64_t VecS16AddReduceV(PredV pg, VecV zn, CpuContext* c);
uint64_t VecS32AddReduceV(PredV pg, VecV zn, CpuContext* c);
#define PRED_DECL_LAST_V(T, E)                                                      \
    uint64_t Vec##T##LastAV(PredV pg, VecV zn, CpuContext* c);                      \
    uint64_t Vec##T##LastBV(PredV pg, VecV zn, CpuContext* c);                      \
    uint64_t Vec##T##CondXASV(PredV pg, uint64_t fallback, VecV zn, CpuContext* c); \
    uint64_t Vec##T##CondXBSV(PredV pg, uint64_t fallback, VecV zn, CpuContext* c);
PRED_V_TYPES(PRED_DECL_LAST_V)

// ---------------------------------------------------------------------------------------------
// Loop control.

// while: Pd 3:0 with the row's element size, Rn 9:5, Rm 20:16, W (4) or X (8) scalars.
using sf_while4 = forms::sform<forms::P<0, 4, -1>, pred_forms::Rn<5, RQ_W>, pred_forms::Rn<16, RQ_W>>;
using sf_while8 = forms::sform<forms::P<0, 4, -1>, pred_forms::Rn<5, RQ_X>, pred_forms::Rn<16, RQ_X>>;
using gf_while4 = forms::gform<forms::DP<0>, pred_forms::Rn<5, RQ_W>, pred_forms::Rn<16, RQ_W>>;
using gf_while8 = forms::gform<forms::DP<0>, pred_forms::Rn<5, RQ_X>, pred_forms::Rn<16, RQ_X>>;
// ctermeq / ctermne rn, rm
using gf_cterm = forms::gform<forms::DNone, forms::R<5>, forms::R<16>>;
// cnt, inc, dec (and saturating) by pattern: Rd/Rdn/Zdn 4:0, pattern 9:5, imm4 19:16.
using gf_cnt = forms::gform<forms::DR<0>, forms::UImm<5, 5>, forms::UImm<16, 4>>;
using sf_incdec_r = forms::sform<forms::Rt<0>, forms::UImm<5, 5>, pred_forms::Mul4>;
using gf_incdec_r = forms::gform<forms::DR<0>, forms::R<0>, forms::UImm<5, 5>, pred_forms::Mul4>;
using sf_uqdec_w = forms::sform<forms::Rt<0, RQ_W>, forms::UImm<5, 5>, pred_forms::Mul4>;
using sf_uqdec_x = forms::sform<forms::Rt<0, RQ_X>, forms::UImm<5, 5>, pred_forms::Mul4>;
using sf_incdec_z = forms::sform<forms::Zt<0>, forms::UImm<5, 5>, pred_forms::Mul4>;
using gf_incdec_z = forms::gform<forms::DZ<0>, forms::Z<0>, forms::UImm<5, 5>, pred_forms::Mul4>;
// cntp rd, pg, pn: Pg 13:10, Pn 8:5. incp/decp rdn or zdn, pm: Pm 8:5.
using sf_cntp = forms::sform<forms::R<0>, forms::P<10, 4, PQ_BARE>, forms::P<5, 4, -1>>;
using gf_cntp = forms::gform<forms::DR<0>, forms::P<10, 4, PQ_BARE>, forms::P<5, 4, -1>>;
using sf_incp = forms::sform<forms::Rt<0>, forms::P<5, 4, -1>>;
using gf_incp_r = forms::gform<forms::DR<0>, forms::P<5, 4, -1>, forms::R<0>>;
using gf_incp_z = forms::gform<forms::DZ<0>, forms::P<5, 4, -1>, forms::Z<0>>;
// rdvl rd, #imm; addvl / addpl rd, rn, #imm (31 is sp): imm6 10:5, Rn 20:16.
using sf_rdvl = forms::sform<forms::R<0>, forms::SImm<5, 6>>;
using gf_rdvl = forms::gform<forms::DR<0>, forms::SImm<5, 6>>;
using sf_addvl = forms::sform<forms::Rsp<0>, forms::Rsp<16>, forms::SImm<5, 6>>;
using gf_addvl = forms::gform<forms::DRsp<0>, forms::Rsp<16>, forms::SImm<5, 6>>;

aarch64_decode_rc sve_whilelt_prr(cpu_state* s, aarch64_p_reg pd, aarch64_i_reg rn, aarch64_i_reg rm);
aarch64_decode_rc sve_whilelo_prr(cpu_state* s, aarch64_p_reg pd, aarch64_i_reg rn, aarch64_i_reg rm);
aarch64_decode_rc sve_whilels_prr(cpu_state* s, aarch64_p_reg pd, aarch64_i_reg rn, aarch64_i_reg rm);
#define LC_DECL_INCDEC(L)                                                                            \
    aarch64_decode_rc sve_inc##L##_rii(cpu_state* s, aarch64_i_reg rdn, unsigned pattern, unsigned mult); \
    aarch64_decode_rc sve_dec##L##_rii(cpu_state* s, aarch64_i_reg rdn, unsigned pattern, unsigned mult);
LC_DECL_INCDEC(b)
LC_DECL_INCDEC(h)
LC_DECL_INCDEC(w)
LC_DECL_INCDEC(d)
#define LC_DECL_INCDEC_Z(L)                                                                          \
    aarch64_decode_rc sve_inc##L##_zii(cpu_state* s, aarch64_z_reg zdn, unsigned pattern, unsigned mult); \
    aarch64_decode_rc sve_dec##L##_zii(cpu_state* s, aarch64_z_reg zdn, unsigned pattern, unsigned mult);
LC_DECL_INCDEC_Z(h)
LC_DECL_INCDEC_Z(w)
LC_DECL_INCDEC_Z(d)
aarch64_decode_rc sve_uqdecb_rii(cpu_state* s, aarch64_i_reg rdn, unsigned pattern, unsigned mult);
aarch64_decode_rc sve_cntp_rpp(cpu_state* s, aarch64_i_reg rd, aarch64_p_reg pg, aarch64_p_reg pn);
aarch64_decode_rc sve_incp_rp(cpu_state* s, aarch64_i_reg rdn, aarch64_p_reg pm);
aarch64_decode_rc sve_rdvl_ri(cpu_state* s, aarch64_i_reg rd, int imm);
aarch64_decode_rc sve_addvl_rri(cpu_state* s, aarch64_i_rsp_reg rd, aarch64_i_rsp_reg rn, int imm);
aarch64_decode_rc sve_addpl_rri(cpu_state* s, aarch64_i_rsp_reg rd, aarch64_i_rsp_reg rn, int imm);

#define LC_SIZES(M) M(S8, U8, 0) M(S16, U16, 1) M(S32, U32, 2) M(S64, U64, 3)
#define LC_VSIZES(M) M(S16, U16, 1) M(S32, U32, 2) M(S64, U64, 3)

#define LC_DECL_WHILE_T(T)                                        \
    PredV Vec##T##While4LTSS(uint64_t rn, uint64_t rm, CpuContext* c); \
    PredV Vec##T##While8LTSS(uint64_t rn, uint64_t rm, CpuContext* c); \
    PredV Vec##T##While4LESS(uint64_t rn, uint64_t rm, CpuContext* c); \
    PredV Vec##T##While8LESS(uint64_t rn, uint64_t rm, CpuContext* c);
#define LC_DECL_Q_T(T)                                                                    \
    uint64_t Vec##T##QIncrVL4SI(uint64_t x, uint64_t pat, uint64_t imm4, CpuContext* c);  \
    uint64_t Vec##T##QIncrVL8SI(uint64_t x, uint64_t pat, uint64_t imm4, CpuContext* c);  \
    uint64_t Vec##T##QDecrVL4SI(uint64_t x, uint64_t pat, uint64_t imm4, CpuContext* c);  \
    uint64_t Vec##T##QDecrVL8SI(uint64_t x, uint64_t pat, uint64_t imm4, CpuContext* c);  \
    uint64_t Vec##T##QIncrSCount4PS(PredV pm, uint64_t x, CpuContext* c);                 \
    uint64_t Vec##T##QIncrSCount8PS(PredV pm, uint64_t x, CpuContext* c);                 \
    uint64_t Vec##T##QDecrSCount4PS(PredV pm, uint64_t x, CpuContext* c);                 \
    uint64_t Vec##T##QDecrSCount8PS(PredV pm, uint64_t x, CpuContext* c);
#define LC_DECL_SCALAR(S, U, E)                                                          \
    LC_DECL_WHILE_T(S)                                                                   \
    LC_DECL_WHILE_T(U)                                                                   \
    LC_DECL_Q_T(S)                                                                       \
    LC_DECL_Q_T(U)                                                                       \
    uint64_t Vec##U##CountVLSI(uint64_t pat, uint64_t imm4, CpuContext* c);              \
    uint64_t Vec##U##IncrVLSI(uint64_t x, uint64_t pat, uint64_t imm4, CpuContext* c);   \
    uint64_t Vec##U##DecrVLSI(uint64_t x, uint64_t pat, uint64_t imm4, CpuContext* c);   \
    uint64_t Vec##U##SCountP(PredV pg, PredV pn, CpuContext* c);                         \
    uint64_t Vec##U##IncrSCountPS(PredV pm, uint64_t x, CpuContext* c);                  \
    uint64_t Vec##U##DecrSCountPS(PredV pm, uint64_t x, CpuContext* c);
LC_SIZES(LC_DECL_SCALAR)
#define LC_DECL_QVEC_T(T)                                                        \
    VecV Vec##T##QIncrVLVI(VecV z, uint64_t pat, uint64_t imm4, CpuContext* c);  \
    VecV Vec##T##QDecrVLVI(VecV z, uint64_t pat, uint64_t imm4, CpuContext* c);  \
    VecV Vec##T##QIncrCountPV(PredV pm, VecV z, CpuContext* c);                  \
    VecV Vec##T##QDecrCountPV(PredV pm, VecV z, CpuContext* c);
#define LC_DECL_VECTOR(S, U, E)                                                  \
    LC_DECL_QVEC_T(S)                                                            \
    LC_DECL_QVEC_T(U)                                                            \
    VecV Vec##U##IncrVLVI(VecV z, uint64_t pat, uint64_t imm4, CpuContext* c);   \
    VecV Vec##U##DecrVLVI(VecV z, uint64_t pat, uint64_t imm4, CpuContext* c);   \
    VecV Vec##U##IncrCountPV(PredV pm, VecV z, CpuContext* c);                   \
    VecV Vec##U##DecrCountPV(PredV pm, VecV z, CpuContext* c);
LC_VSIZES(LC_DECL_VECTOR)
void VecU32CTermEQ(uint64_t rn, uint64_t rm, CpuContext* c);
void VecU64CTermEQ(uint64_t rn, uint64_t rm, CpuContext* c);
void VecU32CTermNE(uint64_t rn, uint64_t rm, CpuContext* c);
void VecU64CTermNE(uint64_t rn, uint64_t rm, CpuContext* c);
uint64_t VecS64VLX(int64_t imm, CpuContext* c);
uint64_t VecS64AddVLX(uint64_t xn, int64_t imm, CpuContext* c);
uint64_t VecS64AddPLX(uint64_t xn, int64_t imm, CpuContext* c);

// ---------------------------------------------------------------------------------------------
// Predicate logic, breaks and partitions. Pd 3:0, Pn 8:5, Pg 13:10, Pm 19:16.
using sf_pppp = forms::sform<forms::P<0, 4, PQ_B>, forms::P<10, 4, PQ_Z>, forms::P<5, 4, PQ_B>, forms::P<16, 4, PQ_B>>;
using sf_sel_pppp = forms::sform<forms::P<0, 4, PQ_B>, forms::P<10, 4, PQ_BARE>, forms::P<5, 4, PQ_B>, forms::P<16, 4, PQ_B>>;
using gf_pppp = forms::gform<forms::DP<0>, forms::P<10, 4, PQ_Z>, forms::P<5, 4, PQ_B>, forms::P<16, 4, PQ_B>>;
// brka / brkb pd, pg/z or pg/m, pn; the merging generic form takes the old Pd first.
using sf_brk_z = forms::sform<forms::P<0, 4, PQ_B>, forms::P<10, 4, PQ_Z>, forms::P<5, 4, PQ_B>>;
using sf_brk_m = forms::sform<forms::P<0, 4, PQ_B>, forms::P<10, 4, PQ_M>, forms::P<5, 4, PQ_B>>;
using gf_brk_z = forms::gform<forms::DP<0>, forms::P<10, 4, PQ_Z>, forms::P<5, 4, PQ_B>>;
using gf_brk_m = forms::gform<forms::DP<0>, forms::P<0, 4, PQ_B>, forms::P<10, 4, PQ_M>, forms::P<5, 4, PQ_B>>;
// brkn pdm, pg/z, pn, pdm
using sf_brkn = forms::sform<forms::Pt<0, 4, PQ_B>, forms::P<10, 4, PQ_Z>, forms::P<5, 4, PQ_B>>;
using gf_brkn = forms::gform<forms::DP<0>, forms::P<10, 4, PQ_Z>, forms::P<5, 4, PQ_B>, forms::P<0, 4, PQ_B>>;
// pfalse pd; ptrue pd.t, pattern (9:5)
using sf_pfalse = forms::sform<forms::P<0, 4, PQ_B>>;
using gf_pfalse = forms::gform<forms::DP<0>>;
using sf_ptrue = forms::sform<forms::P<0, 4, -1>, forms::UImm<5, 5>>;
using gf_ptrue = forms::gform<forms::DP<0>, forms::UImm<5, 5>>;
// pfirst pdn, pg, pdn / pnext pdn, pg, pdn: Pg 8:5. rdffr pd, pg/z: Pg 8:5.
using gf_pfirst = forms::gform<forms::DP<0>, forms::P<5, 4, PQ_BARE>, forms::P<0, 4, PQ_B>>;
using sf_pnext = forms::sform<forms::Pt<0, 4, -1>, forms::P<5, 4, PQ_BARE>>;
using gf_pnext = forms::gform<forms::DP<0>, forms::P<0, 4, -1>, forms::P<5, 4, PQ_BARE>>;
using sf_rdffr = forms::sform<forms::P<0, 4, PQ_B>, forms::P<5, 4, PQ_Z>>;
using gf_rdffr = forms::gform<forms::DP<0>, forms::P<5, 4, PQ_Z>>;
// rev pd, pn / punpk pd.h, pn.b / zip, uzp, trn pd, pn, pm
using sf_pp = forms::sform<forms::P<0, 4, -1>, forms::P<5, 4, -1>>;
using sf_punpk = forms::sform<forms::P<0, 4, PQ_H>, forms::P<5, 4, PQ_B>>;
using gf_pp = forms::gform<forms::DP<0>, forms::P<5, 4, -1>>;
using sf_ppp = forms::sform<forms::P<0, 4, -1>, forms::P<5, 4, -1>, forms::P<16, 4, -1>>;
using gf_ppp = forms::gform<forms::DP<0>, forms::P<5, 4, -1>, forms::P<16, 4, -1>>;

#define PL_DECL_PPPP(op) \
    aarch64_decode_rc sve_##op##_pppp(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn, aarch64_p_reg pm);
PL_DECL_PPPP(and)
PL_DECL_PPPP(bic)
PL_DECL_PPPP(eor)
PL_DECL_PPPP(orr)
PL_DECL_PPPP(nor)
PL_DECL_PPPP(sel)
PL_DECL_PPPP(brkpb)
PL_DECL_PPPP(brkpbs)
aarch64_decode_rc sve_rdffr_pp(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pg);
aarch64_decode_rc sve_brka_ppp(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn);
aarch64_decode_rc sve_brkb_ppp(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn);
aarch64_decode_rc sve_brkn_ppp(cpu_state* s, aarch64_p_reg pdm, aarch64_p_reg pg, aarch64_p_reg pn);
aarch64_decode_rc sve_brkns_ppp(cpu_state* s, aarch64_p_reg pdm, aarch64_p_reg pg, aarch64_p_reg pn);
aarch64_decode_rc sve_pfalse_p(cpu_state* s, aarch64_p_reg pd);
aarch64_decode_rc sve_ptrue_pi(cpu_state* s, aarch64_p_reg pd, unsigned pattern);
aarch64_decode_rc sve_pnext_pp(cpu_state* s, aarch64_p_reg pdn, aarch64_p_reg pg);
aarch64_decode_rc sve_rev_pp(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pn);
aarch64_decode_rc sve_punpklo_pp(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pn);
aarch64_decode_rc sve_punpkhi_pp(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pn);
aarch64_decode_rc sve_zip1_ppp(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pn, aarch64_p_reg pm);
aarch64_decode_rc sve_zip2_ppp(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pn, aarch64_p_reg pm);
aarch64_decode_rc sve_uzp1_ppp(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pn, aarch64_p_reg pm);

#define PL_DECL_LOGIC(Name)                                                 \
    PredV VecP##Name##PPZ(PredV pg, PredV pn, PredV pm, CpuContext* c);    \
    PredV VecP##Name##FlgPPZ(PredV pg, PredV pn, PredV pm, CpuContext* c);
PL_DECL_LOGIC(And)
PL_DECL_LOGIC(Bic)
PL_DECL_LOGIC(Xor)
PL_DECL_LOGIC(Or)
PL_DECL_LOGIC(OrN)
PL_DECL_LOGIC(Nor)
PL_DECL_LOGIC(Nand)
PredV VecPSelPP(PredV pg, PredV pn, PredV pm, CpuContext* c);
PredV VecPActualP(PredV pg, CpuContext* c);
PredV VecPActualFlgP(PredV pg, CpuContext* c);
PredV VecPBreakAPZ(PredV pg, PredV pn, CpuContext* c);
PredV VecPBreakBPZ(PredV pg, PredV pn, CpuContext* c);
PredV VecPBreakAPM(PredV pd, PredV pg, PredV pn, CpuContext* c);
PredV VecPBreakBPM(PredV pd, PredV pg, PredV pn, CpuContext* c);
PredV VecPBreakAFlgPZ(PredV pg, PredV pn, CpuContext* c);
PredV VecPBreakBFlgPZ(PredV pg, PredV pn, CpuContext* c);
PredV VecPBreakNextPZ(PredV pg, PredV pn, PredV pdm, CpuContext* c);
PredV VecPBreakNextFlgPZ(PredV pg, PredV pn, PredV pdm, CpuContext* c);
PredV VecPBreakPrevAPZ(PredV pg, PredV pn, PredV pm, CpuContext* c);
PredV VecPBreakPrevBPZ(PredV pg, PredV pn, PredV pm, CpuContext* c);
PredV VecPBreakPrevAFlgPZ(PredV pg, PredV pn, PredV pm, CpuContext* c);
PredV VecPBreakPrevBFlgPZ(PredV pg, PredV pn, PredV pm, CpuContext* c);
PredV VecPFalse(CpuContext* c);
PredV VecPSetFirstActiveP(PredV pg, PredV pdn, CpuContext* c);
PredV VecPUnpackLoP(PredV pn, CpuContext* c);
PredV VecPUnpackHiP(PredV pn, CpuContext* c);
#define PL_DECL_SIZED(T, E)                                         \
    PredV Vec##T##TrueI(uint64_t pattern, CpuContext* c);           \
    PredV Vec##T##TrueFlgI(uint64_t pattern, CpuContext* c);        \
    PredV Vec##T##GenNextP(PredV pdn, PredV pg, CpuContext* c);     \
    PredV Vec##T##ReverseP(PredV pn, CpuContext* c);                \
    PredV Vec##T##Zip1PP(PredV pn, PredV pm, CpuContext* c);        \
    PredV Vec##T##Zip2PP(PredV pn, PredV pm, CpuContext* c);        \
    PredV Vec##T##Uzp1PP(PredV pn, PredV pm, CpuContext* c);        \
    PredV Vec##T##Uzp2PP(PredV pn, PredV pm, CpuContext* c);        \
    PredV Vec##T##Trn1PP(PredV pn, PredV pm, CpuContext* c);        \
    PredV Vec##T##Trn2PP(PredV pn, PredV pm, CpuContext* c);
PRED_P_TYPES(PL_DECL_SIZED)

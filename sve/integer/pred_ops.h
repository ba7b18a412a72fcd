// Predicate logic, loop control, permutes and reductions, both tiers, and their forms.
#pragma once

#include "sve/core/forms.h"
#include "sve/integer/pred_flags.h"

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
    using value = uint64_t;
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

// ---------------------------------------------------------------------------------------------
// Generic functions, declared by lists of element types.
#define PRED_U_TYPES(M) M(U8, 0) M(U16, 1) M(U32, 2) M(U64, 3)
#define PRED_S_TYPES(M) M(S8, 0) M(S16, 1) M(S32, 2) M(S64, 3)
#define PRED_V_TYPES(M) M(B8, 0) M(H16, 1) M(F32, 2) M(D64, 3)
#define PRED_P_TYPES(M) M(P8, 0) M(P16, 1) M(P32, 2) M(P64, 3)

// Reductions and extraction.

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

#define LC_SIZES(M) M(S8, U8, 0) M(S16, U16, 1) M(S32, U32, 2) M(S64, U64, 3)
#define LC_VSIZES(M) M(S16, U16, 1) M(S32, U32, 2) M(S64, U64, 3)

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

// ---------------------------------------------------------------------------------------------
// The operations of the rows and the generic functions written by hand, declared from the table.
#include "sve/integer/generated/predicate_declarations.h"

// Operations that also have a form for each element size (name_sized<ESZ>), which handlers call.
SVE_SIZED_OP(sve_sel_zpzz)
SVE_SIZED_OP(sve_whilelt_prr) SVE_SIZED_OP(sve_whilelo_prr) SVE_SIZED_OP(sve_whilels_prr)

// Gathers and scatters (a vector of addresses or of offsets), first-fault gathers, structure
// loads and stores, non-fault and first-fault contiguous loads, and the FFR instructions: the
// operations of both tiers and the operand forms of their handlers.
#pragma once

#include <cstdint>

#include "sve/core/forms.h"

// Address forms of gathers and scatters. On 32-bit lanes an offset or base is the 32-bit lane,
// zero-extended unless the form sign-extends; on 64-bit lanes VS, SV and VI use all 64 bits and
// the X and Y forms the low 32 bits, sign- and zero-extended. The S forms scale the offset by
// the memory element; VI adds imm * memory element to a vector of bases.
enum sve_addr_form : int { VI, VS, XVS, YVS, SV, XSV, YSV };

// Gathers and scatters: Zt 4:0, Pg 12:10, and Zn 9:5 with imm5 20:16 (vector plus immediate),
// or Xn|sp 9:5 with Zm 20:16 (scalar plus vector). zpzr and zprz differ in argument order only.
using sf_gather_zpzi = forms::sform<forms::Z<0>, forms::P<10, 3, PQ_Z>, forms::Z<5>, forms::UImm<16, 5>>;
using sf_gather_zpzr = forms::sform<forms::Z<0>, forms::P<10, 3, PQ_Z>, forms::Z<16>, forms::Rsp<5>>;
using sf_gather_zprz = forms::sform<forms::Z<0>, forms::P<10, 3, PQ_Z>, forms::Rsp<5>, forms::Z<16>>;
using sf_scatter_zpzi = forms::sform<forms::Z<0>, forms::P<10, 3, PQ_BARE>, forms::Z<5>, forms::UImm<16, 5>>;
using sf_scatter_zpzr = forms::sform<forms::Z<0>, forms::P<10, 3, PQ_BARE>, forms::Z<16>, forms::Rsp<5>>;
using sf_scatter_zprz = forms::sform<forms::Z<0>, forms::P<10, 3, PQ_BARE>, forms::Rsp<5>, forms::Z<16>>;
using gf_gather_zpzi = forms::gform<forms::DZ<0>, forms::P<10, 3, PQ_Z>, forms::Z<5>, forms::UImm<16, 5>>;
using gf_gather_zpzr = forms::gform<forms::DZ<0>, forms::P<10, 3, PQ_Z>, forms::Z<16>, forms::Rsp<5>>;
using gf_gather_zprz = forms::gform<forms::DZ<0>, forms::P<10, 3, PQ_Z>, forms::Rsp<5>, forms::Z<16>>;
using gf_scatter_zpzi = forms::gform<forms::DNone, forms::Z<0>, forms::P<10, 3, PQ_BARE>, forms::Z<5>, forms::UImm<16, 5>>;
using gf_scatter_zpzr = forms::gform<forms::DNone, forms::Z<0>, forms::P<10, 3, PQ_BARE>, forms::Z<16>, forms::Rsp<5>>;
using gf_scatter_zprz = forms::gform<forms::DNone, forms::Z<0>, forms::P<10, 3, PQ_BARE>, forms::Rsp<5>, forms::Z<16>>;


// N vectors as one value of the generic tier.
template <int N>
struct VecList {
    VecV v[N];
};

namespace forms {
// The register list Zt, Zt+1, ... Zt+N-1 (mod 32), as a source and as a destination.
template <int LO, int N>
struct ZList {
    template <int ESZ> static VecList<N> gget(const cpu_state* s, uint32_t w) {
        VecList<N> l;
        for (int r = 0; r < N; r++) l.v[r] = load_vec(s, (fld(w, LO, 5) + r) % 32);
        return l;
    }
};
template <int LO, int N>
struct DZList {
    using value = VecList<N>;
    template <int ESZ> static void put(cpu_state* s, uint32_t w, const VecList<N>& l) {
        for (int r = 0; r < N; r++) store_vec(s, (fld(w, LO, 5) + r) % 32, l.v[r]);
    }
};
}  // namespace forms

#define SVE_STRUCTURE_FORMS(N)                                                                                   \
    using gf_ld##N##_zpri = forms::gform<forms::DZList<0, N>, forms::P<10, 3, PQ_Z>, forms::Rsp<5>, forms::SImm<16, 4>>;         \
    using gf_ld##N##_zprr = forms::gform<forms::DZList<0, N>, forms::P<10, 3, PQ_Z>, forms::Rsp<5>, forms::R<16>>;               \
    using gf_st##N##_zpri = forms::gform<forms::DNone, forms::ZList<0, N>, forms::P<10, 3, PQ_BARE>, forms::Rsp<5>, forms::SImm<16, 4>>; \
    using gf_st##N##_zprr = forms::gform<forms::DNone, forms::ZList<0, N>, forms::P<10, 3, PQ_BARE>, forms::Rsp<5>, forms::R<16>>;
SVE_STRUCTURE_FORMS(2)
SVE_STRUCTURE_FORMS(3)
SVE_STRUCTURE_FORMS(4)


// The generic non-fault load also takes the old destination: lanes that cannot be read keep it.
using gf_ldnf_zpri = forms::gform<forms::DZ<0>, forms::Z<0>, forms::P<10, 3, PQ_Z>, forms::Rsp<5>, forms::SImm<16, 4>>;

// FFR: setffr, wrffr Pn (Pn 8:5), rdffr Pd (Pd 3:0).
using sf_setffr = forms::sform<>;
using gf_setffr = forms::gform<forms::DNone>;
using sf_wrffr = forms::sform<forms::P<5, 4, PQ_B>>;
using gf_wrffr = forms::gform<forms::DNone, forms::P<5, 4, PQ_B>>;
using sf_rdffr_p = forms::sform<forms::P<0, 4, PQ_B>>;
using gf_rdffr_p = forms::gform<forms::DP<0>>;

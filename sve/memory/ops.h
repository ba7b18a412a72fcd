// Loads, stores and prefetches: the operations of both tiers and the operand forms of their
// handlers. Most operations are made by the row table (sve/decode/rows.txt, generic column) from
// the element loop templates of the .cpp files.
#pragma once

#include <cstdint>

#include "sve/core/forms.h"
#include "sve/memory/primitives.h"
#include "sve/trace/trace.h"

namespace forms {

// The 9-bit signed immediate of ldr and str (Z and P): bits 21:16 high, bits 12:10 low.
struct SImm9Split {
    template <int ESZ> static int64_t get(uint32_t w) {
        uint32_t v = (fld(w, 16, 6) << 3) | fld(w, 10, 3);
        return int64_t(int32_t(v << 23) >> 23);
    }
    template <int ESZ> static int64_t gget(const cpu_state*, uint32_t w) { return get<ESZ>(w); }
};

}  // namespace forms

// Contiguous loads and stores: Zt 4:0, Pg 12:10, Xn|sp 9:5, and imm4 19:16 (signed, in vector
// steps) or Xm 20:16 (31 is zero).
using sf_ld_zpri = forms::sform<forms::Z<0>, forms::P<10, 3, PQ_Z>, forms::Rsp<5>, forms::SImm<16, 4>>;
using sf_ld_zprr = forms::sform<forms::Z<0>, forms::P<10, 3, PQ_Z>, forms::Rsp<5>, forms::R<16>>;
using sf_st_zpri = forms::sform<forms::Z<0>, forms::P<10, 3, PQ_BARE>, forms::Rsp<5>, forms::SImm<16, 4>>;
using sf_st_zprr = forms::sform<forms::Z<0>, forms::P<10, 3, PQ_BARE>, forms::Rsp<5>, forms::R<16>>;
using gf_ld_zpri = forms::gform<forms::DZ<0>, forms::P<10, 3, PQ_Z>, forms::Rsp<5>, forms::SImm<16, 4>>;
using gf_ld_zprr = forms::gform<forms::DZ<0>, forms::P<10, 3, PQ_Z>, forms::Rsp<5>, forms::R<16>>;
using gf_st_zpri = forms::gform<forms::DNone, forms::Z<0>, forms::P<10, 3, PQ_BARE>, forms::Rsp<5>, forms::SImm<16, 4>>;
using gf_st_zprr = forms::gform<forms::DNone, forms::Z<0>, forms::P<10, 3, PQ_BARE>, forms::Rsp<5>, forms::R<16>>;
// Load and replicate: imm6 21:16, unsigned, in memory elements.
using sf_ldr_zpri = forms::sform<forms::Z<0>, forms::P<10, 3, PQ_Z>, forms::Rsp<5>, forms::UImm<16, 6>>;
using gf_ldr_zpri = forms::gform<forms::DZ<0>, forms::P<10, 3, PQ_Z>, forms::Rsp<5>, forms::UImm<16, 6>>;
// ldr / str of Z (Zt 4:0) and P (Pt 3:0), no predicate.
using sf_fill_z = forms::sform<forms::Z<0>, forms::Rsp<5>, forms::SImm9Split>;
using sf_fill_p = forms::sform<forms::P<0, 4, PQ_BARE>, forms::Rsp<5>, forms::SImm9Split>;
using gf_fill_z = forms::gform<forms::DZ<0>, forms::Rsp<5>, forms::SImm9Split>;
using gf_fill_p = forms::gform<forms::DP<0, 4>, forms::Rsp<5>, forms::SImm9Split>;
using gf_spill_z = forms::gform<forms::DNone, forms::Z<0>, forms::Rsp<5>, forms::SImm9Split>;
using gf_spill_p = forms::gform<forms::DNone, forms::P<0, 4, PQ_BARE>, forms::Rsp<5>, forms::SImm9Split>;

#include "sve/memory/gather_ops.h"

// The operations of the rows written by hand (ldr and str of Z and P, the FFR instructions) and
// the generic functions written by hand, declared from the table.
#include "sve/memory/generated/memory_declarations.h"

// The contiguous, replicating, structure, non-fault, first-fault, gather and scatter operations
// of both tiers are made from element loop templates by the row table, and declared here.
#include "sve/memory/generated/functions.h"

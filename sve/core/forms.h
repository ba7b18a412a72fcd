// Operand forms: how a handler turns the fields of its word into the arguments of its operation.
//
// A form is a type: sform<A...> for the specialised tier, gform<D, A...> for the generic frame.
// Each operand extractor A has
//   get<ESZ>(word)         the handle or immediate passed to a specialised operation;
//   gget<ESZ>(state, word) the value passed to a generic function (Z as VecV, P as PredV,
//                          a general register as its 64-bit value).
// ESZ is the element size code of the row (9 where the row has none). A destination D of the
// generic frame has put<ESZ>(state, word, result). Families add extractors for their own
// immediates next to their operations; the ones here are the shared shapes.
#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "sve/core/cpu_state.h"
#include "sve/core/generic.h"

namespace forms {

constexpr int ESZ_NONE = 9;

constexpr uint32_t fld(uint32_t w, int lo, int n) { return (w >> lo) & ((1u << n) - 1); }
constexpr int64_t sfld(uint32_t w, int lo, int n) {
    return int64_t(uint64_t(fld(w, lo, n)) << (64 - n)) >> (64 - n);
}
constexpr uint32_t qual_of(int q, int esz) { return q < 0 ? uint32_t(esz) : uint32_t(q); }

// A handle from its 32-bit fields in declaration order. Built through its bytes, so that the
// compiler assembles the register pair (or stack slot) of the by-value argument with a few shifts
// and ors rather than field by field.
template <class H, class... F>
inline H make_handle(F... f) {
    static_assert(sizeof(H) == sizeof(uint32_t) * sizeof...(F));
    const uint32_t raw[] = {uint32_t(f)...};
    H h;
    std::memcpy(&h, raw, sizeof h);
    return h;
}

// Z register at bits LO+4:LO, ordinary shape; Q < 0 takes the row's element size.
template <int LO, int Q = -1>
struct Z {
    template <int ESZ> static aarch64_z_reg get(uint32_t w) {
        return make_handle<aarch64_z_reg>(fld(w, LO, 5), qual_of(Q, ESZ), ZQ_NONE, ZQ_NONE);
    }
    template <int ESZ> static VecV gget(const cpu_state* s, uint32_t w) { return load_vec(s, fld(w, LO, 5)); }
};

// Z register that is source and destination (Zdn, Zda).
template <int LO, int Q = -1>
struct Zt {
    template <int ESZ> static aarch64_z_reg get(uint32_t w) {
        uint32_t q = qual_of(Q, ESZ);
        return make_handle<aarch64_z_reg>(fld(w, LO, 5), ZQ_NONE, q, q);
    }
    template <int ESZ> static VecV gget(const cpu_state* s, uint32_t w) { return load_vec(s, fld(w, LO, 5)); }
};

// P register of NB bits at LO, ordinary shape, qualifier Q (< 0: the row's element size).
template <int LO, int NB, int Q>
struct P {
    template <int ESZ> static aarch64_p_reg get(uint32_t w) {
        return make_handle<aarch64_p_reg>(fld(w, LO, NB), qual_of(Q, ESZ), PQ_NONE, PQ_NONE);
    }
    template <int ESZ> static PredV gget(const cpu_state* s, uint32_t w) { return pack_pred(s->p[fld(w, LO, NB)]); }
};

// P register that is source and destination.
template <int LO, int NB, int Q = -1>
struct Pt {
    template <int ESZ> static aarch64_p_reg get(uint32_t w) {
        uint32_t q = qual_of(Q, ESZ);
        return make_handle<aarch64_p_reg>(fld(w, LO, NB), PQ_NONE, q, q);
    }
    template <int ESZ> static PredV gget(const cpu_state* s, uint32_t w) { return pack_pred(s->p[fld(w, LO, NB)]); }
};

// General register, 31 is the zero register.
template <int LO, int Q = RQ_X>
struct R {
    template <int ESZ> static aarch64_i_reg get(uint32_t w) {
        return make_handle<aarch64_i_reg>(fld(w, LO, 5), Q, RQ_NONE, RQ_NONE);
    }
    template <int ESZ> static uint64_t gget(const cpu_state* s, uint32_t w) {
        uint32_t n = fld(w, LO, 5);
        return n == 31 ? 0 : s->x[n];
    }
};

// General register that is source and destination.
template <int LO, int Q = RQ_X>
struct Rt {
    template <int ESZ> static aarch64_i_reg get(uint32_t w) {
        return make_handle<aarch64_i_reg>(fld(w, LO, 5), RQ_NONE, Q, Q);
    }
    template <int ESZ> static uint64_t gget(const cpu_state* s, uint32_t w) { return R<LO, Q>::template gget<ESZ>(s, w); }
};

// General register, 31 is the stack pointer.
template <int LO, int Q = RQ_X>
struct Rsp {
    template <int ESZ> static aarch64_i_rsp_reg get(uint32_t w) { return make_handle<aarch64_i_rsp_reg>(fld(w, LO, 5), Q); }
    template <int ESZ> static uint64_t gget(const cpu_state* s, uint32_t w) {
        uint32_t n = fld(w, LO, 5);
        return n == 31 ? s->sp : s->x[n];
    }
};

// Unsigned and sign-extended immediate fields.
template <int LO, int N>
struct UImm {
    template <int ESZ> static uint64_t get(uint32_t w) { return fld(w, LO, N); }
    template <int ESZ> static uint64_t gget(const cpu_state*, uint32_t w) { return fld(w, LO, N); }
};
template <int LO, int N>
struct SImm {
    template <int ESZ> static int64_t get(uint32_t w) { return sfld(w, LO, N); }
    template <int ESZ> static int64_t gget(const cpu_state*, uint32_t w) { return sfld(w, LO, N); }
};

// The 8-bit immediate of add, sub and the like: bits 12:5, shifted left by 8 when bit 13 is set.
struct Imm8Sh {
    template <int ESZ> static uint64_t get(uint32_t w) { return uint64_t(fld(w, 5, 8)) << (fld(w, 13, 1) * 8); }
    template <int ESZ> static uint64_t gget(const cpu_state*, uint32_t w) { return get<ESZ>(w); }
};

// Destinations of the generic frame.
template <int LO>
struct DZ {
    using value = VecV;
    template <int ESZ> static void put(cpu_state* s, uint32_t w, const VecV& v) { store_vec(s, fld(w, LO, 5), v); }
};
template <int LO, int NB = 4>
struct DP {
    using value = PredV;
    template <int ESZ> static void put(cpu_state* s, uint32_t w, const PredV& p) { unpack_pred(s->p[fld(w, LO, NB)], p); }
};
template <int LO>
struct DR {  // general register, 31 drops the result; a 32-bit result arrives zero-extended
    using value = uint64_t;
    template <int ESZ> static void put(cpu_state* s, uint32_t w, uint64_t v) {
        uint32_t n = fld(w, LO, 5);
        if (n != 31) s->x[n] = v;
    }
};
template <int LO>
struct DRsp {
    using value = uint64_t;
    template <int ESZ> static void put(cpu_state* s, uint32_t w, uint64_t v) {
        uint32_t n = fld(w, LO, 5);
        if (n == 31) s->sp = v; else s->x[n] = v;
    }
};
template <int LO, int BYTES>
struct DV {  // floating-point / SIMD scalar: low bytes, the rest of the Z register zeroed
    using value = uint64_t;
    template <int ESZ> static void put(cpu_state* s, uint32_t w, uint64_t v) { store_scalar(s, fld(w, LO, 5), v, BYTES); }
};
struct DNone {
    using value = void;
};

// The form of an operation for one element size, where it has one: a family specialises
// sized_op<&op> so that of<ESZ> is that form, and a handler whose row fixes the element size
// then calls it and skips the operation's run-time switch on the size. Other operations are
// called as they are.
template <auto OP>
struct sized_op {
    template <int ESZ> static constexpr auto of = OP;
};

// Declares the form of the operation name for each element size, name##_sized<ESZ>, of name's
// type, and makes it what the handlers of rows with a fixed size call. The family's source
// defines it (SVE_DEF_BY_SIZE in sve/core/simd.h).
#define SVE_SIZED_OP(name)                                                       \
    template <int ESZ> decltype(name) name##_sized;                              \
    template <> struct forms::sized_op<&name> {                                  \
        template <int ESZ> static constexpr auto of = &name##_sized<ESZ>;        \
    };

// Specialised handler: the word goes to insn, the operation gets the handles. op_type is the
// type of the operations that the form calls: the row table declares each operation with it.
template <class... A>
struct sform {
    using op_type = aarch64_decode_rc(cpu_state*, decltype(A::template get<0>(0u))...);
    template <auto OP, int ESZ>
    static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
        s->insn = w;
        return sized_op<OP>::template of<ESZ>(s, A::template get<ESZ>(w)...);
    }
};

// Generic handler: the frame of the generic tier around the exported function. fn_type is the
// type of the generic functions that the form calls (the destination's value, the operands',
// the context last): the row table declares each generic function with it.
template <class D, class... A>
struct gform {
    using fn_type = typename D::value(decltype(A::template gget<0>(nullptr, 0u))..., CpuContext*);
    template <auto FN, int ESZ>
    static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
        uint64_t ffr_junk;
        CpuContext c = frame_enter(s, ffr_junk);
        const PredV ffr_in = c.ffr;
        if constexpr (std::is_same_v<D, DNone>) {
            FN(A::template gget<ESZ>(s, w)..., &c);
        } else {
            D::template put<ESZ>(s, w, FN(A::template gget<ESZ>(s, w)..., &c));
        }
        frame_leave(s, c, ffr_in, ffr_junk);
        return RC_DONE;
    }
};

// Specialised handler on the host floating-point unit: the host FPSR is loaded from the record
// before the operation and stored back after it. Elsewhere the operations accumulate their flags
// into the record themselves, so the frame is empty.
template <class SF>
struct host_fpsr {
    template <auto OP, int ESZ>
    static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
#if defined(__aarch64__)
        uint64_t in = s->fpsr;
        __asm__ volatile("msr fpsr, %0" : : "r"(in) : "memory");
        aarch64_decode_rc rc = SF::template run<OP, ESZ>(s, w);
        uint64_t out;
        __asm__ volatile("mrs %0, fpsr" : "=r"(out) : : "memory");
        s->fpsr = uint32_t(out);
        return rc;
#else
        return SF::template run<OP, ESZ>(s, w);
#endif
    }
};

}  // namespace forms

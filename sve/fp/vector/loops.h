// Element loops of both tiers. A result is always built in a local value (generic) or a register-sized
// temporary (specialised) from unchanged operands, so any destination may also be a source.
#pragma once

#include <cstring>

#include "sve/core/generic.h"
#include "sve/fp/vector/elem_ops.h"

// ---- generic tier ----

// The element loops (gen_map, gen_merge, gen_pred_result) are those of sve/core/generic.h.

// Library step of an element operation against the context.
template <class OP, class... A>
inline auto gstep(CpuContext* c, A... a) {
    return gen_eval<OP>(c->fpcr, c->fpsr, a...);
}

// ---- specialised tier ----

template <class C>
inline C zel(const cpu_state* s, uint32_t z, uint32_t e) {
    C v;
    std::memcpy(&v, s->z[z] + e * sizeof(C), sizeof(C));
    return v;
}
template <class C>
inline bool pel(const cpu_state* s, uint32_t p, uint32_t e) {
    return s->p[p][e * sizeof(C)] & 1;
}

// Writes fn(e) for each of the SVE_VL_BYTES / sizeof(C) elements into register zd, through a temporary.
template <class C, class Fn>
inline void spec_each(cpu_state* s, uint32_t zd, Fn&& fn) {
    alignas(16) uint8_t tmp[SVE_VL_BYTES];
    for (uint32_t e = 0; e < SVE_VL_BYTES / sizeof(C); e++) {
        C v = fn(e);
        std::memcpy(tmp + e * sizeof(C), &v, sizeof(C));
    }
    std::memcpy(s->z[zd], tmp, SVE_VL_BYTES);
}

// Merging into zd from register `old` under predicate pg.
template <class C, class Fn>
inline void spec_merge(cpu_state* s, uint32_t zd, uint32_t pg, uint32_t old, Fn&& fn) {
    spec_each<C>(s, zd, [&](uint32_t e) -> C { return pel<C>(s, pg, e) ? C(fn(e)) : zel<C>(s, old, e); });
}

// Predicate result into pd: each element's slot holds 0 or 1 in its first byte, zeros elsewhere.
template <class C, class Fn>
inline void spec_pred_result(cpu_state* s, uint32_t pd, uint32_t pg, Fn&& fn) {
    uint8_t tmp[SVE_VL_BYTES];
    for (uint32_t e = 0; e < SVE_VL_BYTES / sizeof(C); e++) {
        C v = pel<C>(s, pg, e) && fn(e) ? 1 : 0;
        std::memcpy(tmp + e * sizeof(C), &v, sizeof(C));
    }
    std::memcpy(s->p[pd], tmp, SVE_VL_BYTES);
}

// An operand of spec_vec: a register (step 16) or a 16-byte splat of one element (step 0).
struct vsrc {
    const uint8_t* p;
    uint32_t step;
};
inline vsrc vreg(const cpu_state* s, uint32_t z) { return {s->z[z], 16}; }

// The whole instruction on the host's vector unit, where the host has one that the operation can
// use exactly and the vector is long enough for it to pay (x86-64, see host_fp_x86.h): OP on the
// operands into `out`, merged with `merge` under `pred` if PRED (compares: zero where `pred` is
// inactive). Returns false, having changed nothing, where the element loop must run instead.
template <class T, class OP, bool PRED, class... In>
__attribute__((always_inline)) inline bool spec_vec([[maybe_unused]] cpu_state* s, [[maybe_unused]] uint8_t* out,
                     [[maybe_unused]] const uint8_t* pred, [[maybe_unused]] const uint8_t* merge,
                     [[maybe_unused]] In... in) {
#if defined(__x86_64__)
    typedef fp_elements::x86<OP> X;
    if constexpr (X::has && x86_fp::sse_pays<T>) {
        if (X::fused && !x86_fp::have_fma()) return false;
        return x86_fp::run<T, X::kind, PRED, X>(s, out, pred, merge, in...);
    }
#endif
    return false;
}

// Calls f with a value of the element pattern type of a single (2) or double (3) size code.
template <class F>
inline void fp_size_dispatch(uint32_t size, F&& f) {
    if (size == ES_WORD) f(uint32_t());
    else f(uint64_t());
}

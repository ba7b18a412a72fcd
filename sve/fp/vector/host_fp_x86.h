// The host floating-point layer of an x86-64 host: a whole single or double instruction on SSE
// (and the FMA extension where the processor has it), 16 bytes at a time, under an MXCSR set up
// from the record's fpcr. The result is taken only where it is provably the AArch64 result:
//   - no NaN result: NaN propagation and the default NaN differ between the architectures;
//   - no nonzero result of magnitude at most the smallest normal: AArch64 detects tininess before
//     rounding, x86 after, and FZ flushes such outputs;
//   - no invalid, divide-by-zero, overflow or underflow flag, and with FZ set no denormal operand
//     (AArch64 flushes it and raises IDC; without FZ both compute it exactly).
// What is left raises at most inexact, which is IXC. Compares round nothing and treat NaNs as
// AArch64 does (quiet EQ, NE, UO; signalling GE, GT), so for them invalid is IOC; but they raise
// no denormal flag for a lane that holds a NaN, so with FZ set their operands are tested for
// denormals one by one. Conversions to integer likewise: they flag no denormal at all, and any NaN
// or out-of-range input raises invalid.
// Whenever the test fails the caller redoes the whole instruction from the unchanged registers in
// the software library, so the outcome is exactly the library's.
#pragma once

#if defined(__x86_64__)

#include <xmmintrin.h>
#include <emmintrin.h>

#include <cstdint>
#include <type_traits>

#include "sve/core/cpu_state.h"
#include "sve/core/simd.h"
#include "sve/fp/lib/fplib.h"

namespace x86_fp {

constexpr uint32_t MX_IE = 1, MX_DE = 2, MX_ZE = 4, MX_OE = 8, MX_UE = 16, MX_PE = 32;
constexpr uint32_t MX_FLAGS = 0x3F;
constexpr uint32_t MX_MASKED = 0x1F80;  // every exception masked, FTZ and DAZ off
constexpr int MX_RC_SHIFT = 13;

inline uint32_t mxcsr_read() {
    uint32_t v;
    __asm__ volatile("stmxcsr %0" : "=m"(v) : : "memory");
    return v;
}
inline void mxcsr_write(uint32_t v) {
    __asm__ volatile("ldmxcsr %0" : : "m"(v) : "memory");
}
// The flags after the work that stored its results in `done`: the store is an input, so no
// computation of it can move past the read.
template <size_t N>
inline uint32_t mxcsr_read_after(const uint8_t (&done)[N]) {
    uint32_t v;
    __asm__ volatile("stmxcsr %0" : "=m"(v) : "m"(done));
    return v;
}

// MXCSR rounding control of an FPCR: AArch64 RMode 0 nearest, 1 towards +inf, 2 towards -inf,
// 3 towards zero; x86 RC 0 nearest, 1 towards -inf, 2 towards +inf, 3 towards zero.
inline uint32_t mxcsr_of(uint32_t fpcr) {
    uint32_t rm = (fpcr >> FPSCR_RMODE_SHIFT) & 3;
    return MX_MASKED | ((0xD8u >> (2 * rm)) & 3) << MX_RC_SHIFT;
}

// Whether the processor (and the operating system) runs FMA instructions, asked once.
inline bool have_fma() {
    static const bool yes = __builtin_cpu_supports("fma");
    return yes;
}

// Whether the whole instruction on SSE pays for the MXCSR set-up and the read of its flags: on
// the x86-64 processors measured a write of MXCSR makes the next read wait, together some 100 ns,
// about what the software library takes for ten single or double elements. Shorter vectors (128
// and 256 bits, doubles up to 512) are faster in the element loop.
template <class T>
constexpr bool sse_pays = SVE_VL_BYTES / sizeof(T) >= 10;

// Lanes of an element pattern type: FP and integer vectors of 16 bytes.
typedef float v4f32 __attribute__((vector_size(16)));
typedef double v2f64 __attribute__((vector_size(16)));
template <class T> struct lanes;
template <> struct lanes<uint32_t> { typedef v4f32 fv; typedef v4s32 iv; };
template <> struct lanes<uint64_t> { typedef v2f64 fv; typedef v2s64 iv; };
template <class T> using fv_t = typename lanes<T>::fv;
template <class T> using iv_t = typename lanes<T>::iv;

template <class T>
constexpr T min_normal = sizeof(T) == 4 ? T(0x00800000u) : T(0x0010000000000000ull);

// The host operations that GCC's vector operators do not spell.
template <class T>
inline fv_t<T> vsqrt(fv_t<T> a) {
    if constexpr (sizeof(T) == 4) return fv_t<T>(_mm_sqrt_ps(__m128(a)));
    else return fv_t<T>(_mm_sqrt_pd(__m128d(a)));
}
// a + n * m, one rounding (FMA processors only).
template <class T>
inline fv_t<T> vfma(fv_t<T> a, fv_t<T> n, fv_t<T> m) {
    if constexpr (sizeof(T) == 4) __asm__("vfmadd231ps %2, %1, %0" : "+x"(a) : "x"(n), "x"(m));
    else __asm__("vfmadd231pd %2, %1, %0" : "+x"(a) : "x"(n), "x"(m));
    return a;
}
// The larger (MAX) or smaller of two numbers, +0 above -0. On NaNs the signalling compare raises
// invalid, so those lanes never count.
template <class T, bool MAX>
inline fv_t<T> vmaxmin(fv_t<T> a, fv_t<T> b) {
    typedef iv_t<T> iv;
    iv ai = iv(a), bi = iv(b), eq = a == b;
    iv first = MAX ? iv(a > b) : iv(a < b);
    iv other = MAX ? bi & (ai | ~eq) : bi | (ai & eq);  // equal: AND keeps +0 of ±0, OR keeps -0
    return fv_t<T>((first & ai) | (~first & other));
}
// All ones where a (a magnitude) is NaN or 0 < a <= mn.
template <class T>
inline iv_t<T> unsafe(fv_t<T> a, fv_t<T> mn) {
    if constexpr (sizeof(T) == 4)
        return iv_t<T>(_mm_andnot_ps(_mm_cmpgt_ps(__m128(a), __m128(mn)), _mm_cmpneq_ps(__m128(a), _mm_setzero_ps())));
    else
        return iv_t<T>(_mm_andnot_pd(_mm_cmpgt_pd(__m128d(a), __m128d(mn)), _mm_cmpneq_pd(__m128d(a), _mm_setzero_pd())));
}

template <class T>
inline fv_t<T> splat(T bits) {
    typedef typename lanes<T>::iv iv;
    return fv_t<T>(iv{} + typename std::make_signed<T>::type(bits));
}
// a where m is all ones, b where it is zero.
template <class T>
inline fv_t<T> select(iv_t<T> m, fv_t<T> a, fv_t<T> b) {
    return fv_t<T>((m & iv_t<T>(a)) | (~m & iv_t<T>(b)));
}

// Kinds of operation: a floating-point result (also from integers: the pattern of 1.0 on inactive
// lanes, 0x3F800000, converts exactly); floating point to integer (the result is not checked,
// invalid covers NaN and out of range); a compare into a predicate.
enum xkind { X_VALUE, X_TO_INT, X_COMPARE };

// Runs OP on every chunk of the operands into `out` (one register): an element value, merged with
// `merge` under `pred` if PRED, or for compares the predicate slot of each element active under
// `pred` (0 or 1 in its first byte). Each operand has a pointer p and a step: 16 for a register,
// 0 for a 16-byte splat. Returns false, with `out` and the record untouched, when the result could
// differ from AArch64; otherwise writes `out` and the flags into the record's fpsr.
template <class T, xkind KIND, bool PRED, class OP, class... In>
__attribute__((always_inline)) inline bool run(cpu_state* s, uint8_t* out, const uint8_t* pred, const uint8_t* merge, In... in) {
    typedef fv_t<T> fv;
    typedef iv_t<T> iv;
    const fv one = splat<T>(sizeof(T) == 4 ? T(0x3F800000u) : T(0x3FF0000000000000ull));
    const fv mn = splat<T>(min_normal<T>);
    const iv sign = iv{} + (typename std::make_signed<T>::type(1) << (sizeof(T) * 8 - 1));
    alignas(16) uint8_t tmp[SVE_VL_BYTES];
    iv bad = {}, any = {};
    const bool fz = s->fpcr & FPSCR_FZ;

    uint32_t saved = mxcsr_read();
    mxcsr_write(mxcsr_of(s->fpcr));
#pragma GCC unroll 16  // every chunk at the longest length
    for (int c = 0; c < SVE_CHUNKS; c++) {
        // Inactive lanes compute on 1.0 operands: exact for every operation, so they raise nothing.
        iv m = ~iv{};
        if constexpr (PRED) m = -(vload<iv>(pred + 16 * c) & 1);
        any |= m;
        auto get = [&](auto x) {
            fv v = vload<fv>(x.p + x.step * c);
            if constexpr (PRED) v = select<T>(m, v, one);
            // x86 compares can miss a denormal (beside a NaN), and conversions to integer never
            // flag one: test the operands' bits, quietly.
            if constexpr (KIND == X_COMPARE || KIND == X_TO_INT)
                if (fz) {
                    iv a = iv(v) & ~sign;
                    bad |= (a > 0) & (a < iv(mn));
                }
            return v;
        };
        if constexpr (KIND == X_COMPARE) {
            iv r = OP::template xrun<T>(get(in)...);
            vstore(tmp + 16 * c, r & m & 1);
        } else {
            fv r = OP::template xrun<T>(get(in)...);
            if constexpr (KIND == X_VALUE) bad |= unsafe<T>(fv(iv(r) & ~sign), mn);
            vstore(tmp + 16 * c, PRED ? select<T>(m, r, vload<fv>(merge + 16 * c)) : r);
        }
    }
    uint32_t flags = mxcsr_read_after(tmp) & MX_FLAGS;
    mxcsr_write(saved);

    uint32_t stop = (KIND != X_COMPARE ? MX_IE : 0) | MX_ZE | MX_OE | MX_UE | (fz ? MX_DE : 0);
    if ((flags & stop) || _mm_movemask_epi8(__m128i(bad))) return false;
    std::memcpy(out, tmp, SVE_VL_BYTES);
    if (_mm_movemask_epi8(__m128i(any))) {
        uint32_t f = (flags & MX_PE ? FPSCR_IXC : 0) | (flags & MX_IE ? FPSCR_IOC : 0);
        s->fpsr = (s->fpsr | f) & FPSCR_STATUS_MASK;
    }
    return true;
}

}  // namespace x86_fp

#endif

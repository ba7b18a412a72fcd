// The host floating-point layer of an AArch64 host: one host instruction per element, on raw bit
// patterns. Every instruction is its own volatile asm statement, so the compiler can neither move
// the work across the FPSR transfer of the handler nor fuse or contract operations.
#pragma once

#include <cstdint>
#include <cstring>

#if defined(__aarch64__)

namespace host_fp {

template <class T> struct fp_of;
template <> struct fp_of<uint32_t> { typedef float type; };
template <> struct fp_of<uint64_t> { typedef double type; };

template <class T>
inline typename fp_of<T>::type to_fp(T x) {
    typename fp_of<T>::type f;
    std::memcpy(&f, &x, sizeof x);
    return f;
}
template <class T>
inline T to_bits(typename fp_of<T>::type f) {
    T x;
    std::memcpy(&x, &f, sizeof x);
    return x;
}

// Unary and binary instructions on scalar registers of the element's width.
#define HOST_FP_UN(name, insn)                                                              \
    template <class T> inline T name(T a) {                                                 \
        typename fp_of<T>::type r, x = to_fp(a);                                            \
        if constexpr (sizeof(T) == 4) __asm__ volatile(insn " %s0, %s1" : "=w"(r) : "w"(x)); \
        else __asm__ volatile(insn " %d0, %d1" : "=w"(r) : "w"(x));                          \
        return to_bits<T>(r);                                                               \
    }
#define HOST_FP_BIN(name, insn)                                                                             \
    template <class T> inline T name(T a, T b) {                                                            \
        typename fp_of<T>::type r, x = to_fp(a), y = to_fp(b);                                              \
        if constexpr (sizeof(T) == 4) __asm__ volatile(insn " %s0, %s1, %s2" : "=w"(r) : "w"(x), "w"(y));   \
        else __asm__ volatile(insn " %d0, %d1, %d2" : "=w"(r) : "w"(x), "w"(y));                             \
        return to_bits<T>(r);                                                                               \
    }

HOST_FP_UN(fneg, "fneg")
HOST_FP_UN(fsqrt, "fsqrt")
HOST_FP_UN(frinta, "frinta")
HOST_FP_UN(frecpe, "frecpe")
HOST_FP_BIN(fadd, "fadd")
HOST_FP_BIN(fsub, "fsub")
HOST_FP_BIN(fmul, "fmul")
HOST_FP_BIN(fdiv, "fdiv")
HOST_FP_BIN(fmax, "fmax")
HOST_FP_BIN(fmaxnm, "fmaxnm")
HOST_FP_BIN(fminnm, "fminnm")
HOST_FP_BIN(frecps, "frecps")

#undef HOST_FP_UN
#undef HOST_FP_BIN

// a + n * m, one rounding.
template <class T>
inline T fmadd(T a, T n, T m) {
    typename fp_of<T>::type r, x = to_fp(a), y = to_fp(n), z = to_fp(m);
    if constexpr (sizeof(T) == 4) __asm__ volatile("fmadd %s0, %s1, %s2, %s3" : "=w"(r) : "w"(y), "w"(z), "w"(x));
    else __asm__ volatile("fmadd %d0, %d1, %d2, %d3" : "=w"(r) : "w"(y), "w"(z), "w"(x));
    return to_bits<T>(r);
}

// Compares: the NZCV nibble of fcmp (quiet) or fcmpe (signalling on any NaN).
template <class T, bool SIGNAL>
inline uint64_t fcmp_flags(T a, T b) {
    typename fp_of<T>::type x = to_fp(a), y = to_fp(b);
    uint64_t f;
    if constexpr (sizeof(T) == 4) {
        if constexpr (SIGNAL) __asm__ volatile("fcmpe %s1, %s2\n\tmrs %0, nzcv" : "=r"(f) : "w"(x), "w"(y) : "cc");
        else __asm__ volatile("fcmp %s1, %s2\n\tmrs %0, nzcv" : "=r"(f) : "w"(x), "w"(y) : "cc");
    } else {
        if constexpr (SIGNAL) __asm__ volatile("fcmpe %d1, %d2\n\tmrs %0, nzcv" : "=r"(f) : "w"(x), "w"(y) : "cc");
        else __asm__ volatile("fcmp %d1, %d2\n\tmrs %0, nzcv" : "=r"(f) : "w"(x), "w"(y) : "cc");
    }
    return f >> 28;
}
// From the nibble: equal Z (6 = 0110), less N (8), greater C only (2), unordered C and V (3).
inline bool nz_eq(uint64_t f) { return f == 6; }
inline bool nz_ge(uint64_t f) { return f == 6 || f == 2; }
inline bool nz_gt(uint64_t f) { return f == 2; }
inline bool nz_un(uint64_t f) { return f == 3; }

// Conversions between widths and between integer and floating point.
inline uint64_t fcvt_s2d(uint32_t a) {
    double r;
    float x = to_fp(a);
    __asm__ volatile("fcvt %d0, %s1" : "=w"(r) : "w"(x));
    return to_bits<uint64_t>(r);
}
inline uint32_t fcvt_d2s(uint64_t a) {
    float r;
    double x = to_fp(a);
    __asm__ volatile("fcvt %s0, %d1" : "=w"(r) : "w"(x));
    return to_bits<uint32_t>(r);
}

// Integer to floating point: D is the result pattern type, the source a 32- or 64-bit integer.
template <class D, bool U, class I>
inline D int_to_fp(I v) {
    typename fp_of<D>::type r;
    if constexpr (sizeof(D) == 4 && sizeof(I) == 4) {
        if constexpr (U) __asm__ volatile("ucvtf %s0, %w1" : "=w"(r) : "r"(v)); else __asm__ volatile("scvtf %s0, %w1" : "=w"(r) : "r"(v));
    } else if constexpr (sizeof(D) == 4) {
        if constexpr (U) __asm__ volatile("ucvtf %s0, %x1" : "=w"(r) : "r"(v)); else __asm__ volatile("scvtf %s0, %x1" : "=w"(r) : "r"(v));
    } else if constexpr (sizeof(I) == 4) {
        if constexpr (U) __asm__ volatile("ucvtf %d0, %w1" : "=w"(r) : "r"(v)); else __asm__ volatile("scvtf %d0, %w1" : "=w"(r) : "r"(v));
    } else {
        if constexpr (U) __asm__ volatile("ucvtf %d0, %x1" : "=w"(r) : "r"(v)); else __asm__ volatile("scvtf %d0, %x1" : "=w"(r) : "r"(v));
    }
    return to_bits<D>(r);
}

// Floating point to integer, towards zero: I is the 32- or 64-bit result type.
template <class I, bool U, class S>
inline I fp_to_int(S a) {
    typename fp_of<S>::type x = to_fp(a);
    I r;
    if constexpr (sizeof(S) == 4 && sizeof(I) == 4) {
        if constexpr (U) __asm__ volatile("fcvtzu %w0, %s1" : "=r"(r) : "w"(x)); else __asm__ volatile("fcvtzs %w0, %s1" : "=r"(r) : "w"(x));
    } else if constexpr (sizeof(S) == 4) {
        if constexpr (U) __asm__ volatile("fcvtzu %x0, %s1" : "=r"(r) : "w"(x)); else __asm__ volatile("fcvtzs %x0, %s1" : "=r"(r) : "w"(x));
    } else if constexpr (sizeof(I) == 4) {
        if constexpr (U) __asm__ volatile("fcvtzu %w0, %d1" : "=r"(r) : "w"(x)); else __asm__ volatile("fcvtzs %w0, %d1" : "=r"(r) : "w"(x));
    } else {
        if constexpr (U) __asm__ volatile("fcvtzu %x0, %d1" : "=r"(r) : "w"(x)); else __asm__ volatile("fcvtzs %x0, %d1" : "=r"(r) : "w"(x));
    }
    return r;
}

}  // namespace host_fp

#endif

// Building blocks of the floating-point library: format constants, unpacking and packing,
// normalisation, NaN processing, rounding, and the 128-bit pair arithmetic of double mantissas.
#pragma once

#include <cstdint>

#include "sve/fp/lib/fplib.h"

template <class T>
struct fp_fmt;
template <>
struct fp_fmt<unsigned short> {
    static constexpr int W = 16, M = 10, E = 5, BIAS = 15;
};
template <>
struct fp_fmt<unsigned int> {
    static constexpr int W = 32, M = 23, E = 8, BIAS = 127;
};
template <>
struct fp_fmt<unsigned long> {
    static constexpr int W = 64, M = 52, E = 11, BIAS = 1023;
};

template <class T> constexpr int FW = fp_fmt<T>::W;
template <class T> constexpr int FM = fp_fmt<T>::M;
template <class T> constexpr int FE = fp_fmt<T>::E;
template <class T> constexpr int FBIAS = fp_fmt<T>::BIAS;
template <class T> constexpr int FEMAX = (1 << fp_fmt<T>::E) - 1;
// Offset between the exponent of a mantissa normalised to the top of the word after the three
// guard bits were added and the exponent the rounding routine expects: 2, 5, 8.
template <class T> constexpr int FNORM = fp_fmt<T>::W - fp_fmt<T>::M - 4;
template <class T> constexpr T FFRAC = T((T(1) << fp_fmt<T>::M) - 1);
template <class T> constexpr T FQUIET = T(T(1) << (fp_fmt<T>::M - 1));

inline int fp_mode(FPSCR fpscr) {
    return int((fpscr >> 22) & 15) | ((fpscr & FPSCR_FZ16) ? FPLIB_FZ16 : 0);
}

template <class T>
inline T fp_pack(int sgn, int exp, T mnt) {
    return T((T(sgn) << (FW<T> - 1)) | (T(exp) << FM<T>) | (mnt & FFRAC<T>));
}
template <class T> inline T fp_zero(int sgn) { return fp_pack<T>(sgn, 0, 0); }
template <class T> inline T fp_infinity(int sgn) { return fp_pack<T>(sgn, FEMAX<T>, 0); }
template <class T> inline T fp_max_normal(int sgn) { return fp_pack<T>(sgn, FEMAX<T> - 1, FFRAC<T>); }
template <class T> inline T fp_default_nan() { return fp_pack<T>(0, FEMAX<T>, FQUIET<T>); }
template <class T> inline T fp_two(int sgn) { return fp_pack<T>(sgn, FBIAS<T> + 1, 0); }
template <class T> inline T fp_three() { return fp_pack<T>(0, FBIAS<T> + 1, FQUIET<T>); }
template <class T> inline T fp_one_point_five() { return fp_pack<T>(0, FBIAS<T>, FQUIET<T>); }

// Raw-pattern tests.
template <class T> inline bool fp_is_nan(T x) { return T(x << 1) > T(fp_infinity<T>(0) << 1); }
template <class T> inline bool fp_is_snan(T x) { return fp_is_nan(x) && !(x & FQUIET<T>); }
template <class T> inline bool fp_is_qnan(T x) { return fp_is_nan(x) && (x & FQUIET<T>); }

// Unpacked-form tests (exponent and mantissa as fp_unpack gives them).
template <class T> inline bool fp_nan(int exp, T mnt) { return exp == FEMAX<T> && (mnt & FFRAC<T>); }
template <class T> inline bool fp_inf(int exp, T mnt) { return exp == FEMAX<T> && !(mnt & FFRAC<T>); }

// Sign, exponent and mantissa with the implicit bit made explicit. A zero exponent field reads
// as exponent 1; denormals are flushed by FZ16 (half, no flag) or FZ (single, double, IDC).
template <class T>
inline void fp_unpack(int* sgn, int* exp, T* mnt, T x, int mode, FPSCR* flags) {
    *sgn = int(x >> (FW<T> - 1));
    *exp = int((x >> FM<T>) & FEMAX<T>);
    *mnt = T(x & FFRAC<T>);
    if (*exp) {
        *mnt = T(*mnt | (T(1) << FM<T>));
        return;
    }
    *exp = 1;
    if constexpr (FW<T> == 16) {
        if (mode & FPLIB_FZ16) *mnt = 0;
    } else if ((mode & FPLIB_FZ) && *mnt) {
        *mnt = 0;
        *flags |= FPSCR_IDC;
    }
}

// Repacks an unpacked value: exponent 0 when the mantissa lacks its leading bit.
template <class T>
inline T fp_repack(int sgn, int exp, T mnt) {
    return fp_pack<T>(sgn, (mnt >> FM<T>) & 1 ? exp : 0, mnt);
}

// Shifts a non-zero mantissa up until its top bit is set, by a ladder of conditional shifts.
template <class U>
inline U fp_normalise(U mnt, int* exp) {
    constexpr int W = sizeof(U) * 8;
    if (!mnt) return mnt;
    if constexpr (W >= 64) if (!(mnt >> 32)) { mnt = U(mnt << 32); *exp -= 32; }
    if constexpr (W >= 32) if (!(mnt >> (W - 16))) { mnt = U(mnt << 16); *exp -= 16; }
    if (!(mnt >> (W - 8))) { mnt = U(mnt << 8); *exp -= 8; }
    if (!(mnt >> (W - 4))) { mnt = U(mnt << 4); *exp -= 4; }
    if (!(mnt >> (W - 2))) { mnt = U(mnt << 2); *exp -= 2; }
    if (!(mnt >> (W - 1))) { mnt = U(mnt << 1); *exp -= 1; }
    return mnt;
}

// ---- 128-bit values as (low, high) pairs of 64-bit words.
struct fp_u128 {
    uint64_t lo, hi;
};
inline fp_u128 fp128_lsl(fp_u128 x, int s) {
    if (s == 0) return x;
    if (s >= 128) return {0, 0};
    if (s >= 64) return {0, x.lo << (s - 64)};
    return {x.lo << s, (x.hi << s) | (x.lo >> (64 - s))};
}
inline fp_u128 fp128_lsr(fp_u128 x, int s) {
    if (s == 0) return x;
    if (s >= 128) return {0, 0};
    if (s >= 64) return {x.hi >> (s - 64), 0};
    return {(x.lo >> s) | (x.hi << (64 - s)), x.hi >> s};
}
inline fp_u128 fp128_add(fp_u128 a, fp_u128 b) {
    uint64_t lo = a.lo + b.lo;
    return {lo, a.hi + b.hi + (lo < a.lo)};
}
inline fp_u128 fp128_sub(fp_u128 a, fp_u128 b) {
    return {a.lo - b.lo, a.hi - b.hi - (a.lo < b.lo)};
}
// -1, 0 or 1 as a is below, equal to or above b.
inline int fp128_cmp(fp_u128 a, fp_u128 b) {
    if (a.hi != b.hi) return a.hi < b.hi ? -1 : 1;
    if (a.lo != b.lo) return a.lo < b.lo ? -1 : 1;
    return 0;
}
inline bool fp128_nonzero(fp_u128 x) { return x.lo | x.hi; }

// Product of two values of up to 62 bits (each cut to 62 bits): split at bit 31, three
// multiplications.
inline fp_u128 fp128_mul62(uint64_t a, uint64_t b) {
    constexpr uint64_t M31 = (1ull << 31) - 1;
    uint64_t a0 = a & M31, a1 = (a >> 31) & M31, b0 = b & M31, b1 = (b >> 31) & M31;
    uint64_t p0 = a0 * b0, p2 = a1 * b1;
    uint64_t p1 = (a0 + a1) * (b0 + b1) - p0 - p2;
    fp_u128 r = {p0, 0};
    r = fp128_add(r, {p1 << 31, p1 >> 33});
    return fp128_add(r, {p2 << 62, p2 >> 2});
}
// Full product of two 64-bit values.
inline fp_u128 fp128_mul64(uint64_t a, uint64_t b) {
    uint64_t a0 = uint32_t(a), a1 = a >> 32, b0 = uint32_t(b), b1 = b >> 32;
    uint64_t p00 = a0 * b0, p01 = a0 * b1, p10 = a1 * b0, p11 = a1 * b1;
    fp_u128 r = {p00, p11};
    r = fp128_add(r, {p01 << 32, p01 >> 32});
    return fp128_add(r, {p10 << 32, p10 >> 32});
}

// Moves the low word into the high one when the high word is zero, then the 64-bit ladder with
// bits crossing from low to high.
inline fp_u128 fp128_normalise(fp_u128 x, int* exp) {
    if (!fp128_nonzero(x)) return x;
    if (!x.hi) {
        x = {0, x.lo};
        *exp -= 64;
    }
    for (int s = 32; s; s >>= 1) {
        if (!(x.hi >> (64 - s))) {
            x = fp128_lsl(x, s);
            *exp -= s;
        }
    }
    return x;
}
inline fp_u128 fp_normalise(fp_u128 x, int* exp) { return fp128_normalise(x, exp); }

// The same operations on native words and on pairs, so that wide mantissa code is written once.
template <class U> inline bool fp_nonzero(U x) { return x != 0; }
inline bool fp_nonzero(fp_u128 x) { return fp128_nonzero(x); }
template <class U> inline U fp_wadd(U a, U b) { return U(a + b); }
inline fp_u128 fp_wadd(fp_u128 a, fp_u128 b) { return fp128_add(a, b); }
template <class U> inline U fp_wsub(U a, U b) { return U(a - b); }
inline fp_u128 fp_wsub(fp_u128 a, fp_u128 b) { return fp128_sub(a, b); }
template <class U> inline bool fp_wge(U a, U b) { return a >= b; }
inline bool fp_wge(fp_u128 a, fp_u128 b) { return fp128_cmp(a, b) >= 0; }

// Right shift that ORs the bits shifted out into bit 0.
template <class U>
inline U fp_lsr_sticky(U x, int s) {
    constexpr int W = sizeof(U) * 8;
    if (s <= 0) return x;
    if (s >= W) return U(x != 0);
    return U((x >> s) | U(U(x << (W - s)) != 0));
}
inline fp_u128 fp_lsr_sticky(fp_u128 x, int s) {
    if (s <= 0) return x;
    if (s >= 128) return {uint64_t(fp128_nonzero(x)), 0};
    fp_u128 r = fp128_lsr(x, s);
    r.lo |= fp128_cmp(fp128_lsl(r, s), x) != 0;
    return r;
}

// Double-width value of each format: the product of two mantissas fits it.
template <class T> struct fp_wide;
template <> struct fp_wide<unsigned short> { using type = uint32_t; };
template <> struct fp_wide<unsigned int> { using type = uint64_t; };
template <> struct fp_wide<unsigned long> { using type = fp_u128; };
template <class T> using fp_wide_t = typename fp_wide<T>::type;

template <class T>
inline fp_wide_t<T> fp_wide_mul(T a, T b) {
    if constexpr (FW<T> == 64) return fp128_mul62(a, b);
    else return fp_wide_t<T>(a) * b;
}
// A normalised double-width value cut to the format's width: the leading one falls off the top
// and everything below the word collapses into the sticky bit 0.
template <class T>
inline T fp_collapse(fp_wide_t<T> x) {
    if constexpr (FW<T> == 64) return T((x.hi << 1) | (x.lo != 0));
    else return T(T(x >> (FW<T> - 1)) | ((x & ((fp_wide_t<T>(1) << (FW<T> - 1)) - 1)) != 0));
}

// ---- NaN processing.
template <class T>
inline T fp_process_nan(T a, int mode, FPSCR* flags) {
    if (!(a & FQUIET<T>)) *flags |= FPSCR_IOC;
    return (mode & FPLIB_DN) ? fp_default_nan<T>() : T(a | FQUIET<T>);
}
// Zero when neither operand is a NaN.
template <class T>
inline T fp_process_nans(T a, T b, int mode, FPSCR* flags) {
    if (fp_is_snan(a)) return fp_process_nan(a, mode, flags);
    if (fp_is_snan(b)) return fp_process_nan(b, mode, flags);
    if (fp_is_nan(a)) return fp_process_nan(a, mode, flags);
    if (fp_is_nan(b)) return fp_process_nan(b, mode, flags);
    return 0;
}
template <class T>
inline T fp_process_nans3(T a, T b, T c, int mode, FPSCR* flags) {
    if (fp_is_snan(a)) return fp_process_nan(a, mode, flags);
    if (fp_is_snan(b)) return fp_process_nan(b, mode, flags);
    if (fp_is_snan(c)) return fp_process_nan(c, mode, flags);
    if (fp_is_nan(a)) return fp_process_nan(a, mode, flags);
    if (fp_is_nan(b)) return fp_process_nan(b, mode, flags);
    if (fp_is_nan(c)) return fp_process_nan(c, mode, flags);
    return 0;
}

// Whether an overflow in rounding mode rm gives the infinity rather than the largest normal.
inline bool fp_overflow_to_infinity(int rm, int sgn) {
    return rm == FPRounding_TIEEVEN || (rm == FPRounding_POSINF && !sgn) ||
           (rm == FPRounding_NEGINF && sgn);
}

// ---- Rounding. `rm` is 0-3 or 5 (round to odd, half and single only).
template <class T>
inline T fp_round_(int sgn, int exp, T mnt, int rm, int mode, FPSCR* flags) {
    constexpr int W = FW<T>, M = FM<T>, G = W - M - 2;
    const bool flush = FW<T> == 16 ? (mode & FPLIB_FZ16) : (mode & FPLIB_FZ);
    if (flush && exp < 1) {
        *flags |= FPSCR_UFC;
        return fp_zero<T>(sgn);
    }
    // Leading one at bit M+2, fraction down to bit 2, rounding bit 1, sticky bit 0.
    T m = T((T(4) << M) | (mnt >> G) | T((mnt & ((T(1) << G) - 1)) != 0));
    int e, err;
    T v;
    if (exp > 0) {
        e = exp;
        v = T(m >> 2);
        err = int(m & 3);
    } else {
        e = 0;
        v = 3 - exp < W ? T(m >> (3 - exp)) : T(0);
        int s = 1 - exp;
        err = s < W ? int(((m >> s) & 3) | T((m & ((T(1) << s) - 1)) != 0)) : 1;
    }
    // Tininess is detected before rounding.
    if (!e && err) *flags |= FPSCR_UFC;
    if ((rm == FPRounding_TIEEVEN && (err == 3 || (err == 2 && (v & 1)))) ||
        (rm == FPRounding_POSINF && !sgn && err) || (rm == FPRounding_NEGINF && sgn && err)) {
        v = T(v + 1);
        if (v == T(T(1) << M)) e = 1;
        if (v == T(T(2) << M)) {
            ++e;
            v = T(v >> 1);
        }
    }
    if constexpr (W != 64) {
        if (rm == FPRounding_ODD && err) v = T(v | 1);
    }
    if (W == 16 && (mode & FPLIB_AHP)) {
        // Alternative half precision: exponent 31 is ordinary, and there is no infinity.
        if (e > FEMAX<T>) {
            *flags |= FPSCR_IOC;
            return T((T(sgn) << (W - 1)) | T(0x7FFF));
        }
    } else if (e >= FEMAX<T>) {
        *flags |= FPSCR_OFC | FPSCR_IXC;
        return fp_overflow_to_infinity(rm, sgn) ? fp_infinity<T>(sgn) : fp_max_normal<T>(sgn);
    }
    if (err) *flags |= FPSCR_IXC;
    return fp_pack<T>(sgn, e, v);
}


// Rounds a mantissa normalised to the top of its word (leading one included) with the exponent
// of the normalise ladder: the common last step of most operations.
template <class T>
inline T fp_round_normalised(int sgn, int exp, T mnt, int rm, int mode, FPSCR* flags) {
    return fp_round_<T>(sgn, exp + FNORM<T>, T(mnt << 1), rm, mode, flags);
}

inline void fp_set_flags(FPSCR& fpscr, FPSCR flags) { fpscr |= flags & FPSCR_EXCEPTION_MASK; }

// Two operands unpacked in operand order, so that IDC of either stands whatever decides the
// result; flushed denormals count as zeros.
template <class T>
struct fp_pair {
    int a_sgn, a_exp, b_sgn, b_exp;
    T a_mnt, b_mnt;
    fp_pair(T a, T b, int mode, FPSCR* flags) {
        fp_unpack(&a_sgn, &a_exp, &a_mnt, a, mode, flags);
        fp_unpack(&b_sgn, &b_exp, &b_mnt, b, mode, flags);
    }
    bool any_nan() const { return fp_nan(a_exp, a_mnt) || fp_nan(b_exp, b_mnt); }
    bool both_zero() const { return !a_mnt && !b_mnt; }
    // Ordering of two numbers that are not both zero and not equal: a < b.
    bool less() const {
        if (a_sgn != b_sgn) return a_sgn;
        if (a_exp != b_exp) return a_sgn ^ (a_exp < b_exp);
        return a_sgn ^ (a_mnt < b_mnt);
    }
};

// One operand unpacked under the mode of `fpscr`, with the flags unpacking raised; `finish`
// merges them (and whatever the operation added) into `fpscr`.
template <class T>
struct fp_operand {
    int mode;
    FPSCR flags = 0;
    int sgn, exp;
    T mnt;
    fp_operand(T op, FPSCR fpscr) : mode(fp_mode(fpscr)) {
        fp_unpack(&sgn, &exp, &mnt, op, mode, &flags);
    }
    bool nan() const { return fp_nan(exp, mnt); }
    bool inf() const { return fp_inf(exp, mnt); }
    template <class R>
    R finish(R result, FPSCR& fpscr) const {
        fp_set_flags(fpscr, flags);
        return result;
    }
};

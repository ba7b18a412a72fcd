// Conversions between the formats, rounding to integral values, and conversions between
// floating point and integers.
#include "sve/fp/lib/fp_internal.h"

// Narrowing (S wider than D) rounds; widening is exact.
template <class S, class D>
D FPConvert(S op, FPRounding rounding, FPSCR& fpscr) {
    constexpr int MS = FM<S>, MD = FM<D>;
    FPSCR flags = 0;
    const int sgn = int(op >> (FW<S> - 1));
    int exp = int((op >> MS) & FEMAX<S>);
    S mnt = S(op & FFRAC<S>);
    const bool to_ahp = FW<D> == 16 && (fpscr & FPSCR_AHP);
    const bool from_ahp = FW<S> == 16 && (fpscr & FPSCR_AHP);
    D result;

    if (!exp) {
        // Zero or denormal source: flushed by FZ16 (half, silently) or FZ (IDC).
        bool flush = FW<S> == 16 ? (fpscr & FPSCR_FZ16) : (fpscr & FPSCR_FZ);
        if (!mnt || flush) {
            if (mnt && FW<S> != 16) flags |= FPSCR_IDC;
            fp_set_flags(fpscr, flags);
            return fp_zero<D>(sgn);
        }
        exp = 1;
    } else {
        mnt = S(mnt | (S(1) << MS));
    }

    if (exp == FEMAX<S> && !from_ahp) {
        if (!(mnt & FFRAC<S>)) {
            if (to_ahp) {
                flags |= FPSCR_IOC;
                result = D((D(sgn) << 15) | 0x7FFF);
            } else {
                result = fp_infinity<D>(sgn);
            }
        } else if (to_ahp) {
            flags |= FPSCR_IOC;
            result = fp_zero<D>(sgn);
        } else {
            if (!(mnt & FQUIET<S>)) flags |= FPSCR_IOC;
            if (fpscr & FPSCR_DN) {
                result = fp_default_nan<D>();
            } else {
                S frac = S(mnt & FFRAC<S>);
                D dfrac = MS > MD ? D(frac >> (MS - MD)) : D(D(frac) << (MD - MS));
                result = fp_pack<D>(sgn, FEMAX<D>, D(dfrac | FQUIET<D>));
            }
        }
    } else if constexpr (FW<S> > FW<D>) {
        // Fraction left-aligned in the target width, the rest collapsed into the sticky bit.
        constexpr int SH = MS - FW<D>;
        D m = D(D(mnt >> SH) | D((mnt & ((S(1) << SH) - 1)) != 0));
        // To half FZ16 plays no part (no output flush), AHP does; to single the ordinary mode.
        const int mode = FW<D> == 16 ? int((fpscr >> 22) & 15) | (to_ahp ? FPLIB_AHP : 0)
                                     : fp_mode(fpscr);
        result = fp_round_<D>(sgn, exp - (FBIAS<S> - FBIAS<D>), m, rounding, mode, &flags);
    } else {
        mnt = fp_normalise(mnt, &exp);
        exp += FBIAS<D> - FBIAS<S> + (FW<S> - 1 - MS);
        result = fp_pack<D>(sgn, exp, D(D(S(mnt << 1)) << (MD - FW<S>)));
    }
    fp_set_flags(fpscr, flags);
    return result;
}

// Rounding of an integer part x with the two bits below the point in err (bit 1 the half, bit 0
// anything lower).
template <class U>
static U fp_round_integer(U x, int err, int sgn, FPRounding rounding) {
    switch (rounding) {
    case FPRounding_TIEEVEN: return x + (err == 3 || (err == 2 && (x & 1)));
    case FPRounding_POSINF: return x + (err && !sgn);
    case FPRounding_NEGINF: return x + (err && sgn);
    case FPRounding_TIEAWAY: return x + (err >> 1);
    default: return x;
    }
}

template <class T>
T FPRoundInt(T op, FPRounding rounding, bool exact, FPSCR& fpscr) {
    constexpr int W = FW<T>, M = FM<T>, EXPINT = FBIAS<T> + FM<T>;
    fp_operand<T> u(op, fpscr);
    if (u.nan()) return u.finish(fp_process_nan(op, u.mode, &u.flags), fpscr);
    if (u.inf()) return u.finish(fp_infinity<T>(u.sgn), fpscr);
    if (!u.mnt) return u.finish(fp_zero<T>(u.sgn), fpscr);
    if (u.exp >= EXPINT) return u.finish(op, fpscr);

    const int s = EXPINT - u.exp;
    T x = s < W ? T(u.mnt >> s) : T(0);
    int err;
    if (u.exp < EXPINT - W) err = 1;
    else err = int(((u.mnt >> (s - 1)) & 1) << 1) | int(T(u.mnt & ((T(1) << (s - 1)) - 1)) != 0);
    x = T(fp_round_integer<T>(x, err, u.sgn, rounding));
    if (exact && err) u.flags |= FPSCR_IXC;
    if (!x) return u.finish(fp_zero<T>(u.sgn), fpscr);
    int e = EXPINT + (W - 1 - M);
    x = fp_normalise(x, &e);
    return u.finish(fp_pack<T>(u.sgn, e, T(x >> (W - 1 - M))), fpscr);
}

unsigned long FPToFixed_64(int sgn, int exp, unsigned long mnt, bool u, FPRounding rounding,
                           FPSCR* flags) {
    const uint64_t m = mnt << 11;
    const int sh = 1086 - exp;
    uint64_t x = sh < 64 ? m >> sh : 0;
    int err = 0;
    if (exp < 1085) {
        int s = 1084 - exp;
        if (s < 64) err = int((m >> s) & 3) | int(s > 0 && (m & ((1ull << s) - 1)) != 0);
        else err = mnt != 0;
    }
    x = fp_round_integer<uint64_t>(x, err, sgn, rounding);
    const bool overflow = u ? (sgn && x) : (x > (1ull << 63) - 1 + uint64_t(sgn));
    if (overflow) {
        *flags = FPSCR_IOC;
        return u ? (sgn ? 0 : ~0ull) : (sgn ? 1ull << 63 : (1ull << 63) - 1);
    }
    *flags = err ? FPSCR_IXC : 0;
    return sgn ? -x : x;
}

// Saturation value of an n-bit result.
static uint64_t fp_saturate(int n, bool u, int sgn) {
    uint64_t all = n == 64 ? ~0ull : (1ull << n) - 1;
    if (u) return sgn ? 0 : all;
    return sgn ? (1ull << (n - 1)) : (all >> 1);
}

template <class F, class I>
I fplibFPToFixed(F op, int fbits, bool u, FPRounding rounding, FPSCR& fpscr) {
    constexpr int N = sizeof(I) * 8;
    FPSCR flags = 0;
    int sgn, exp;
    F mnt;
    fp_unpack(&sgn, &exp, &mnt, op, fp_mode(fpscr), &flags);
    uint64_t result;
    FPSCR conv_flags = 0;
    if (fp_nan(exp, mnt)) {
        conv_flags = FPSCR_IOC;
        result = 0;
    } else if (exp == FEMAX<F>) {
        conv_flags = FPSCR_IOC;
        result = fp_saturate(N, u, sgn);
    } else {
        exp += fbits + (1023 - FBIAS<F>);
        if (exp >= 1087) {
            conv_flags = FPSCR_IOC;
            result = fp_saturate(64, u, sgn);
        } else {
            result = FPToFixed_64(sgn, exp, uint64_t(mnt) << (52 - FM<F>), u, rounding,
                                  &conv_flags);
        }
        if constexpr (N < 64) {
            bool fits = u ? result <= fp_saturate(N, true, 0)
                          : int64_t(result) >= -(int64_t(1) << (N - 1)) &&
                                int64_t(result) < (int64_t(1) << (N - 1));
            if (!fits) {
                conv_flags = FPSCR_IOC;
                result = fp_saturate(N, u, sgn);
            }
        }
    }
    fp_set_flags(fpscr, flags | conv_flags);
    return I(result);
}

template <class T>
T fplibFixedToFP(unsigned long op, int fbits, bool u, FPRounding rounding, FPSCR& fpscr) {
    constexpr int W = FW<T>;
    FPSCR flags = 0;
    const int sgn = !u && (op >> 63);
    uint64_t x = sgn ? -op : op;
    if (!x) return fp_zero<T>(0);
    int exp = 63 + FBIAS<T> - fbits;
    x = fp_normalise(x, &exp);
    T mnt;
    if constexpr (W == 64) mnt = x << 1;
    else mnt = T(T(x >> (63 - W)) | T((x & ((1ull << (63 - W)) - 1)) != 0));
    const int mode = int(rounding & 3) | int((fpscr >> 22) & (FPLIB_FZ | FPLIB_DN));
    T r = fp_round_<T>(sgn, exp, mnt, rounding, mode, &flags);
    fp_set_flags(fpscr, flags);
    return r;
}

template unsigned int FPConvert<unsigned short, unsigned int>(unsigned short, FPRounding, FPSCR&);
template unsigned long FPConvert<unsigned short, unsigned long>(unsigned short, FPRounding, FPSCR&);
template unsigned long FPConvert<unsigned int, unsigned long>(unsigned int, FPRounding, FPSCR&);
template unsigned short FPConvert<unsigned int, unsigned short>(unsigned int, FPRounding, FPSCR&);
template unsigned short FPConvert<unsigned long, unsigned short>(unsigned long, FPRounding, FPSCR&);
template unsigned int FPConvert<unsigned long, unsigned int>(unsigned long, FPRounding, FPSCR&);

#define FP_INSTANTIATE_FIXED(F, I) \
    template I fplibFPToFixed<F, I>(F, int, bool, FPRounding, FPSCR&);
FP_INSTANTIATE_FIXED(unsigned short, unsigned short)
FP_INSTANTIATE_FIXED(unsigned short, unsigned int)
FP_INSTANTIATE_FIXED(unsigned int, unsigned int)
FP_INSTANTIATE_FIXED(unsigned long, unsigned int)
FP_INSTANTIATE_FIXED(unsigned short, unsigned long)
FP_INSTANTIATE_FIXED(unsigned int, unsigned long)
FP_INSTANTIATE_FIXED(unsigned long, unsigned long)

#define FP_INSTANTIATE_CONV(T)                                                \
    template T FPRoundInt<T>(T, FPRounding, bool, FPSCR&);                    \
    template T fplibFixedToFP<T>(unsigned long, int, bool, FPRounding, FPSCR&);
FP_INSTANTIATE_CONV(unsigned short)
FP_INSTANTIATE_CONV(unsigned int)
FP_INSTANTIATE_CONV(unsigned long)

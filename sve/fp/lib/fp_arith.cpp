// Rounding, canonicalisation, arithmetic, compares, minimum and maximum.
#include "sve/fp/lib/fp_internal.h"

unsigned short fp16_round_(int sgn, int exp, unsigned short mnt, int rm, int mode, FPSCR* flags) {
    return fp_round_<unsigned short>(sgn, exp, mnt, rm, mode, flags);
}
unsigned int fp32_round_(int sgn, int exp, unsigned int mnt, int rm, int mode, FPSCR* flags) {
    return fp_round_<unsigned int>(sgn, exp, mnt, rm, mode, flags);
}
unsigned long fp64_round_(int sgn, int exp, unsigned long mnt, int rm, int mode, FPSCR* flags) {
    return fp_round_<unsigned long>(sgn, exp, mnt, rm, mode, flags);
}

// Scales an operand by 2^scale with one rounding; with scale 0 this canonicalises it.
template <class T>
static T fp_scale(T op, int scale, int mode, FPSCR* flags) {
    int sgn, exp;
    T mnt;
    fp_unpack(&sgn, &exp, &mnt, op, mode, flags);
    if (fp_nan(exp, mnt)) return fp_process_nan(op, mode, flags);
    if (exp == FEMAX<T>) return fp_infinity<T>(sgn);
    if (!mnt) return fp_zero<T>(sgn);
    exp += scale;
    mnt = fp_normalise(T(mnt << 3), &exp);
    return fp_round_normalised(sgn, exp, mnt, mode & 3, mode, flags);
}

template <class T>
static T fp_process_op(T op, FPSCR& fpscr) {
    FPSCR flags = 0;
    T r = fp_scale(op, 0, fp_mode(fpscr), &flags);
    fp_set_flags(fpscr, flags);
    return r;
}
unsigned short FPProcess16(unsigned short op, FPSCR& fpscr) { return fp_process_op(op, fpscr); }
unsigned int FPProcess32(unsigned int op, FPSCR& fpscr) { return fp_process_op(op, fpscr); }
unsigned long FPProcess64(unsigned long op, FPSCR& fpscr) { return fp_process_op(op, fpscr); }

template <class T, class S>
static T fp_scale_clamped(T op, S scale, S limit, FPSCR& fpscr) {
    FPSCR flags = 0;
    S s = scale < -limit ? -limit : scale > limit ? limit : scale;
    T r = fp_scale(op, int(s), fp_mode(fpscr), &flags);
    fp_set_flags(fpscr, flags);
    return r;
}
unsigned short FPScale16(unsigned short op, short scale, FPSCR& fpscr) {
    return fp_scale_clamped(op, scale, short(60), fpscr);
}
unsigned int FPScale32(unsigned int op, int scale, FPSCR& fpscr) {
    return fp_scale_clamped(op, scale, 300, fpscr);
}
unsigned long FPScale64(unsigned long op, long scale, FPSCR& fpscr) {
    return fp_scale_clamped(op, scale, 3000l, fpscr);
}

// ---- Add and subtract: `neg` flips the second operand's sign after NaN selection.
template <class T>
static T fp_add(T a, T b, int neg, int mode, FPSCR* flags) {
    auto [a_sgn, a_exp, b_sgn, b_exp, a_mnt, b_mnt] = fp_pair<T>(a, b, mode, flags);
    if (T x = fp_process_nans(a, b, mode, flags)) return x;
    b_sgn ^= neg;
    if (a_exp == FEMAX<T> && b_exp == FEMAX<T> && a_sgn != b_sgn) {
        *flags |= FPSCR_IOC;
        return fp_default_nan<T>();
    }
    if (a_exp == FEMAX<T>) return fp_infinity<T>(a_sgn);
    if (b_exp == FEMAX<T>) return fp_infinity<T>(b_sgn);
    if (!a_mnt && !b_mnt && a_sgn == b_sgn) return fp_zero<T>(a_sgn);

    a_mnt = T(a_mnt << 3);
    b_mnt = T(b_mnt << 3);
    if (a_exp >= b_exp) {
        b_mnt = fp_lsr_sticky(b_mnt, a_exp - b_exp);
        b_exp = a_exp;
    } else {
        a_mnt = fp_lsr_sticky(a_mnt, b_exp - a_exp);
        a_exp = b_exp;
    }
    int x_sgn = a_sgn, x_exp = a_exp;
    T x_mnt;
    if (a_sgn == b_sgn) {
        x_mnt = T(a_mnt + b_mnt);
    } else if (a_mnt >= b_mnt) {
        x_mnt = T(a_mnt - b_mnt);
    } else {
        x_sgn ^= 1;
        x_mnt = T(b_mnt - a_mnt);
    }
    if (!x_mnt) return fp_zero<T>((mode & 3) == FPRounding_NEGINF);
    x_mnt = fp_normalise(x_mnt, &x_exp);
    return fp_round_normalised(x_sgn, x_exp, x_mnt, mode & 3, mode, flags);
}

// Runs a library routine on the mode word of `fpscr` and merges its flags.
#define FP_WITH_FLAGS(expr)                  \
    FPSCR flags = 0;                           \
    const int mode = fp_mode(fpscr);         \
    auto result = (expr);                    \
    fp_set_flags(fpscr, flags);              \
    return result

template <class T> T FPAdd(T op1, T op2, FPSCR& fpscr) { FP_WITH_FLAGS(fp_add(op1, op2, 0, mode, &flags)); }
template <class T> T FPSub(T op1, T op2, FPSCR& fpscr) { FP_WITH_FLAGS(fp_add(op1, op2, 1, mode, &flags)); }

// ---- Multiply; `mulx` gives 2.0 for infinity times zero.
template <class T>
static T fp_mul(T a, T b, bool mulx, int mode, FPSCR* flags) {
    auto [a_sgn, a_exp, b_sgn, b_exp, a_mnt, b_mnt] = fp_pair<T>(a, b, mode, flags);
    if (T x = fp_process_nans(a, b, mode, flags)) return x;
    int sgn = a_sgn ^ b_sgn;
    if ((a_exp == FEMAX<T> && !b_mnt) || (b_exp == FEMAX<T> && !a_mnt)) {
        if (mulx) return fp_two<T>(sgn);
        *flags |= FPSCR_IOC;
        return fp_default_nan<T>();
    }
    if (a_exp == FEMAX<T> || b_exp == FEMAX<T>) return fp_infinity<T>(sgn);
    if (!a_mnt || !b_mnt) return fp_zero<T>(sgn);
    int exp = a_exp + b_exp + (2 * FW<T> - 1 - FBIAS<T> - 2 * FM<T>);
    fp_wide_t<T> x = fp_normalise(fp_wide_mul(a_mnt, b_mnt), &exp);
    return fp_round_<T>(sgn, exp, fp_collapse<T>(x), mode & 3, mode, flags);
}

template <class T> T FPMul(T op1, T op2, FPSCR& fpscr) { FP_WITH_FLAGS(fp_mul(op1, op2, false, mode, &flags)); }
template <class T> T FPMulX(T op1, T op2, FPSCR& fpscr) { FP_WITH_FLAGS(fp_mul(op1, op2, true, mode, &flags)); }

// ---- Divide. The quotient mantissa of a normalised dividend and divisor; the exponent offset
// goes into *exp, the inexactness into bit 0.
static uint64_t fp64_quotient(uint64_t a, uint64_t b, int* exp) {
    // Newton-Raphson on the reciprocal of the top 33 bits of b.
    uint64_t x = ~0ull / (b >> 31);
    fp_u128 e = fp128_sub({0, 1ull << 32}, fp128_mul64(b, x));
    uint64_t r = fp128_lsr(e, 32).lo;
    uint64_t y = fp128_lsr(fp128_mul64(r, x), 33).lo;
    uint64_t q = fp128_mul62(y, a >> 2).hi >> 4;
    // q is an underestimate by at most one: try q + 1.
    int c = fp128_cmp(fp128_mul62(b >> 2, q + 1), {0, a >> 11});
    if (c <= 0) ++q;
    *exp += 1031;
    return fp_normalise(q, exp) << 1 | (c != 0);
}

template <class T>
static T fp_div(T a, T b, int mode, FPSCR* flags) {
    auto [a_sgn, a_exp, b_sgn, b_exp, a_mnt, b_mnt] = fp_pair<T>(a, b, mode, flags);
    if (T x = fp_process_nans(a, b, mode, flags)) return x;
    int sgn = a_sgn ^ b_sgn;
    if ((a_exp == FEMAX<T> && b_exp == FEMAX<T>) || (!a_mnt && !b_mnt)) {
        *flags |= FPSCR_IOC;
        return fp_default_nan<T>();
    }
    if (a_exp == FEMAX<T> || !b_mnt) {
        if (a_exp != FEMAX<T>) *flags |= FPSCR_DZC;
        return fp_infinity<T>(sgn);
    }
    if (!a_mnt || b_exp == FEMAX<T>) return fp_zero<T>(sgn);

    a_mnt = fp_normalise(a_mnt, &a_exp);
    int exp = a_exp - b_exp;
    T mnt;
    if constexpr (FW<T> == 64) {
        b_mnt = fp_normalise(b_mnt, &b_exp);
        exp = a_exp - b_exp;
        mnt = fp64_quotient(a_mnt, b_mnt, &exp);
    } else {
        // One integer division in the double width, with the remainder as sticky bit.
        using WT = fp_wide_t<T>;
        constexpr int S = FW<T> == 16 ? 15 : 18;
        WT n = WT(a_mnt) << S;
        WT q = n / b_mnt;
        q |= WT(q * b_mnt != n);
        exp += 2 * FW<T> - 1 - S + FBIAS<T>;
        mnt = fp_collapse<T>(fp_normalise(q, &exp));
    }
    return fp_round_<T>(sgn, exp, mnt, mode & 3, mode, flags);
}

template <class T> T FPDiv(T op1, T op2, FPSCR& fpscr) { FP_WITH_FLAGS(fp_div(op1, op2, mode, &flags)); }

// ---- Square root of a normalised mantissa whose exponent parity has been fixed: the root
// mantissa; *exp becomes the result exponent, *sticky the inexactness.
static uint16_t fp16_root(uint16_t a, int* exp, bool* sticky) {
    uint32_t x = (a >> 3) + (a >> 2) + (5u << 12);
    x = ((uint32_t(a) << 16) / x + x) >> 1;
    x = ((uint32_t(a) << 16) / x + x) >> 1;
    uint64_t X = uint64_t(x) << 16;
    X = ((uint64_t(a) << 48) / X + X) >> 17;
    uint32_t r = uint32_t(X - 4) >> 3;
    uint32_t t = (r + 1) * (r + 1), u = uint32_t(a) << 10;
    *sticky = t != u;
    *exp = (*exp + 25) >> 1;
    return uint16_t(t > u ? r : r + 1);
}

static uint32_t fp32_root(uint32_t a, int* exp, bool* sticky) {
    uint32_t x = (a >> 3) + (a >> 2) + (5u << 28);
    x = (a / (x >> 15) + (x >> 16)) << 15;
    x = (a / (x >> 15) + (x >> 16)) << 15;
    x = uint32_t(((uint64_t(a) << 32) / x) >> 2) + (x >> 1);
    uint32_t r = (x - 32) >> 6;
    uint64_t t = uint64_t(r + 1) * (r + 1), u = uint64_t(a) << 19;
    *sticky = t != u;
    *exp = (*exp + 147) >> 1;
    return t > u ? r : r + 1;
}

static uint64_t fp64_root(uint64_t a, int* exp, bool* sticky) {
    uint32_t x = uint32_t((a >> 34) + (a >> 35) + (5u << 28));
    x = uint32_t(((a >> 32) / (x >> 15) + (x >> 16)) << 15);
    x = uint32_t(((a >> 32) / (x >> 15) + (x >> 16)) << 15);
    x = uint32_t(((a / x) >> 2) + (x >> 1));
    // Refined reciprocal of x, then the root by multiplication.
    uint64_t r = (1ull << 62) / x;
    uint64_t d = (-(uint64_t(x) * r)) << 1;
    fp_u128 R = fp128_lsr(fp128_mul64(d, r & 0xFFFFFFFFull), 31);
    uint64_t s = fp128_lsr(fp128_lsl(fp128_mul62(a >> 10, fp128_lsr(R, 2).lo), 5), 56).lo;
    uint64_t y = (uint64_t(x) << 31) + (s >> 1);
    uint64_t m = ((y - 256) >> 9) + 1;
    int c = fp128_cmp(fp128_lsl(fp128_mul62(m, m), 19), {0, a});
    if (c > 0) --m;
    *sticky = c != 0;
    *exp = (*exp + 1053) >> 1;
    return m;
}

template <class T>
static T fp_sqrt(T a, int mode, FPSCR* flags) {
    int sgn, exp;
    T mnt;
    fp_unpack(&sgn, &exp, &mnt, a, mode, flags);
    if (fp_nan(exp, mnt)) return fp_process_nan(a, mode, flags);
    if (!mnt) return fp_zero<T>(sgn);
    if (exp == FEMAX<T> && !sgn) return fp_infinity<T>(sgn);
    if (sgn) {
        *flags |= FPSCR_IOC;
        return fp_default_nan<T>();
    }
    mnt = fp_normalise(mnt, &exp);
    // Double has the opposite parity because of its exponent offset.
    if ((exp & 1) == (FW<T> == 64 ? 1 : 0)) {
        ++exp;
        mnt = T(mnt >> 1);
    }
    bool sticky;
    if constexpr (FW<T> == 16) mnt = fp16_root(mnt, &exp, &sticky);
    else if constexpr (FW<T> == 32) mnt = fp32_root(mnt, &exp, &sticky);
    else mnt = fp64_root(mnt, &exp, &sticky);
    mnt = fp_normalise(mnt, &exp);
    return fp_round_<T>(0, exp, T(T(mnt << 1) | T(sticky)), mode & 3, mode, flags);
}

template <class T> T FPSqrt(T op, FPSCR& fpscr) { FP_WITH_FLAGS(fp_sqrt(op, mode, &flags)); }

// ---- Fused multiply-add a + b * c, scaled by 2^scale before rounding.
template <class T>
static T fp_muladd(T a, T b, T c, int scale, int mode, FPSCR* flags) {
    int a_sgn, a_exp, b_sgn, b_exp, c_sgn, c_exp;
    T a_mnt, b_mnt, c_mnt;
    fp_unpack(&a_sgn, &a_exp, &a_mnt, a, mode, flags);
    fp_unpack(&b_sgn, &b_exp, &b_mnt, b, mode, flags);
    fp_unpack(&c_sgn, &c_exp, &c_mnt, c, mode, flags);
    T x = fp_process_nans3(a, b, c, mode, flags);
    const bool inf_times_zero =
        (fp_inf(b_exp, b_mnt) && !c_mnt) || (fp_inf(c_exp, c_mnt) && !b_mnt);
    // A quiet NaN addend does not hide the invalid product.
    if (fp_is_qnan(a) && inf_times_zero) {
        *flags |= FPSCR_IOC;
        return fp_default_nan<T>();
    }
    if (x) return x;
    const int p_sgn = b_sgn ^ c_sgn;
    const bool p_inf = b_exp == FEMAX<T> || c_exp == FEMAX<T>;
    if (inf_times_zero || (a_exp == FEMAX<T> && p_inf && a_sgn != p_sgn)) {
        *flags |= FPSCR_IOC;
        return fp_default_nan<T>();
    }
    if (a_exp == FEMAX<T>) return fp_infinity<T>(a_sgn);
    if (p_inf) return fp_infinity<T>(p_sgn);
    if (!a_mnt && (!b_mnt || !c_mnt) && a_sgn == p_sgn) return fp_zero<T>(a_sgn);

    // Common fixed-point layout of the addend (x) and the exact product (y).
    using WT = fp_wide_t<T>;
    WT xm, ym;
    int x_exp, y_exp;
    if constexpr (FW<T> == 16) {
        xm = WT(a_mnt) << 19;
        x_exp = a_exp + 114;
        ym = (WT(b_mnt) * c_mnt) << 9;
        y_exp = b_exp + c_exp + 99;
    } else if constexpr (FW<T> == 32) {
        xm = WT(a_mnt) << 27;
        x_exp = a_exp + 13;
        ym = (WT(b_mnt) * c_mnt) << 3;
        y_exp = b_exp + c_exp - 113;
    } else {
        xm = {0, a_mnt};
        x_exp = a_exp + 11;
        ym = fp128_mul62(b_mnt, c_mnt << 3);
        y_exp = b_exp + c_exp - 1003;
    }
    int x_sgn = a_sgn;
    if (fp_nonzero(ym)) {
        if (x_exp >= y_exp) {
            ym = fp_lsr_sticky(ym, x_exp - y_exp);
        } else {
            xm = fp_lsr_sticky(xm, y_exp - x_exp);
            x_exp = y_exp;
        }
    }
    WT r;
    if (a_sgn == p_sgn) {
        r = fp_wadd(xm, ym);
    } else if (fp_wge(xm, ym)) {
        r = fp_wsub(xm, ym);
    } else {
        x_sgn ^= 1;
        r = fp_wsub(ym, xm);
    }
    if (!fp_nonzero(r)) return fp_zero<T>((mode & 3) == FPRounding_NEGINF);
    r = fp_normalise(r, &x_exp);
    if constexpr (FW<T> == 16) x_exp -= 112;  // back from the single precision layout
    return fp_round_<T>(x_sgn, x_exp + scale, fp_collapse<T>(r), mode & 3, mode, flags);
}

unsigned short fp16_muladd(unsigned short a, unsigned short b, unsigned short c, int scale,
                           int mode, FPSCR* flags) {
    return fp_muladd(a, b, c, scale, mode, flags);
}
unsigned int fp32_muladd(unsigned int a, unsigned int b, unsigned int c, int scale, int mode,
                         FPSCR* flags) {
    return fp_muladd(a, b, c, scale, mode, flags);
}
unsigned long fp64_muladd(unsigned long a, unsigned long b, unsigned long c, int scale, int mode,
                          FPSCR* flags) {
    return fp_muladd(a, b, c, scale, mode, flags);
}

template <class T> T FPMulAdd(T addend, T op1, T op2, FPSCR& fpscr) {
    FP_WITH_FLAGS(fp_muladd(addend, op1, op2, 0, mode, &flags));
}

// ---- Compares.
template <class T>
static bool fp_equal(const fp_pair<T>& p, T a, T b) {
    return a == b || p.both_zero();
}

template <class T> bool FPCompareEQ(T a, T b, FPSCR& fpscr) {
    FPSCR flags = 0;
    fp_pair<T> p(a, b, fp_mode(fpscr), &flags);
    bool r = false;
    if (p.any_nan()) {
        if (fp_is_snan(a) || fp_is_snan(b)) flags |= FPSCR_IOC;
    } else {
        r = fp_equal(p, a, b);
    }
    fp_set_flags(fpscr, flags);
    return r;
}

// Signalling ordered compare: `strict` for GT, else GE.
template <class T>
static bool fp_compare_ordered(T a, T b, bool strict, FPSCR& fpscr) {
    FPSCR flags = 0;
    fp_pair<T> p(a, b, fp_mode(fpscr), &flags);
    bool r = false;
    if (p.any_nan()) flags |= FPSCR_IOC;
    else if (p.both_zero()) r = !strict;
    else if (p.a_sgn != p.b_sgn) r = p.b_sgn;
    else if (p.a_exp != p.b_exp) r = p.a_sgn ^ (p.a_exp > p.b_exp);
    else if (p.a_mnt != p.b_mnt) r = p.a_sgn ^ (p.a_mnt > p.b_mnt);
    else r = !strict;
    fp_set_flags(fpscr, flags);
    return r;
}
template <class T> bool FPCompareGE(T a, T b, FPSCR& fpscr) { return fp_compare_ordered(a, b, false, fpscr); }
template <class T> bool FPCompareGT(T a, T b, FPSCR& fpscr) { return fp_compare_ordered(a, b, true, fpscr); }

template <class T> bool FPCompareUN(T a, T b, FPSCR& fpscr) {
    FPSCR flags = 0;
    fp_pair<T> p(a, b, fp_mode(fpscr), &flags);
    bool r = p.any_nan();
    if (r && (fp_is_snan(a) || fp_is_snan(b))) flags |= FPSCR_IOC;
    fp_set_flags(fpscr, flags);
    return r;
}

template <class T> int FPCompare(T a, T b, bool signal_nans, FPSCR& fpscr) {
    FPSCR flags = 0;
    fp_pair<T> p(a, b, fp_mode(fpscr), &flags);
    int r;
    if (p.any_nan()) {
        if (signal_nans || fp_is_snan(a) || fp_is_snan(b)) flags |= FPSCR_IOC;
        r = 3;
    } else if (fp_equal(p, a, b)) {
        r = 6;
    } else {
        r = p.less() ? 8 : 2;
    }
    fp_set_flags(fpscr, flags);
    return r;
}

// ---- Maximum and minimum: NaN selection, then a choice on the raw patterns, and the chosen
// operand repacked from its unpacked form (a flushed denormal comes back as a signed zero).
template <class T>
static T fp_minmax(T a, T b, bool is_max, FPSCR& fpscr) {
    FPSCR flags = 0;
    const int mode = fp_mode(fpscr);
    fp_pair<T> p(a, b, mode, &flags);
    T r = fp_process_nans(a, b, mode, &flags);
    if (!r) {
        bool first;
        if (p.a_sgn != p.b_sgn) first = is_max ? p.b_sgn : p.a_sgn;
        else first = p.a_sgn ^ (is_max ? a > b : a < b);
        r = first ? fp_repack(p.a_sgn, p.a_exp, p.a_mnt) : fp_repack(p.b_sgn, p.b_exp, p.b_mnt);
    }
    fp_set_flags(fpscr, flags);
    return r;
}
template <class T> T FPMax(T a, T b, FPSCR& fpscr) { return fp_minmax(a, b, true, fpscr); }
template <class T> T FPMin(T a, T b, FPSCR& fpscr) { return fp_minmax(a, b, false, fpscr); }

// A single quiet NaN operand gives way to the infinity that cannot win.
template <class T>
static void fp_minmaxnum_operands(T& a, T& b, int losing_sign) {
    if (fp_is_qnan(a) && !fp_is_qnan(b)) a = fp_infinity<T>(losing_sign);
    else if (fp_is_qnan(b) && !fp_is_qnan(a)) b = fp_infinity<T>(losing_sign);
}
template <class T> T FPMaxNum(T a, T b, FPSCR& fpscr) {
    fp_minmaxnum_operands(a, b, 1);
    return fp_minmax(a, b, true, fpscr);
}
template <class T> T FPMinNum(T a, T b, FPSCR& fpscr) {
    fp_minmaxnum_operands(a, b, 0);
    return fp_minmax(a, b, false, fpscr);
}

#define FP_INSTANTIATE(T)                                     \
    template T FPAdd<T>(T, T, FPSCR&);                        \
    template T FPSub<T>(T, T, FPSCR&);                        \
    template T FPMul<T>(T, T, FPSCR&);                        \
    template T FPMulX<T>(T, T, FPSCR&);                       \
    template T FPDiv<T>(T, T, FPSCR&);                        \
    template T FPSqrt<T>(T, FPSCR&);                          \
    template T FPMulAdd<T>(T, T, T, FPSCR&);                  \
    template bool FPCompareEQ<T>(T, T, FPSCR&);               \
    template bool FPCompareGE<T>(T, T, FPSCR&);               \
    template bool FPCompareGT<T>(T, T, FPSCR&);               \
    template bool FPCompareUN<T>(T, T, FPSCR&);               \
    template int FPCompare<T>(T, T, bool, FPSCR&);            \
    template T FPMax<T>(T, T, FPSCR&);                        \
    template T FPMin<T>(T, T, FPSCR&);                        \
    template T FPMaxNum<T>(T, T, FPSCR&);                     \
    template T FPMinNum<T>(T, T, FPSCR&);
FP_INSTANTIATE(unsigned short)
FP_INSTANTIATE(unsigned int)
FP_INSTANTIATE(unsigned long)

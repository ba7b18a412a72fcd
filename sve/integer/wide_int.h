// Wide-integer helpers of the generic tier. An element is widened to a signed 128-bit value,
// which stands for the unbounded integer of the instruction set's pseudocode, computed on, and
// cut back to its width. All functions are pure.
#pragma once

#include <cstdint>

typedef __int128 wide_int;
typedef unsigned __int128 uwide_int;

// Result of a saturating function: the 64-bit result and 1 when the value was saturated.
struct sat_result {
    uint64_t result;
    uint32_t sat;
};

// 256-bit two's-complement value, least significant word first.
struct BigInt {
    uint64_t w[4];
};

// ---- Conversion and bits ----

// The low n bits set, n from 1 to 64 (0 gives 0, anything above 64 all ones).
inline uint64_t ones(int n) { return n <= 0 ? 0 : n >= 64 ? ~0ull : (1ull << n) - 1; }

// Low 64 bits of a wide value.
inline uint64_t bits(wide_int x) { return uint64_t(x); }

// Low n bits of x, zero-extended when is_unsigned is 1, otherwise sign-extended from bit n - 1.
inline wide_int Int(uint64_t x, int n, int is_unsigned) {
    if (n <= 0) return 0;
    if (n >= 64) return is_unsigned == 1 ? wide_int(x) : wide_int(int64_t(x));
    uint64_t v = x & ones(n);
    if (is_unsigned == 1) return wide_int(v);
    return wide_int(int64_t(v << (64 - n)) >> (64 - n));
}
inline wide_int UInt(uint64_t x, int n) { return Int(x, n, 1); }
inline wide_int SInt(uint64_t x, int n) {
    return (n == 8 || n == 16 || n == 32 || n == 64) ? Int(x, n, 0) : 0;
}

// Number of the highest set bit among bits n-1..0, -1 when they are all clear.
inline int HighestBitSet(uint64_t x, int n) {
    uint64_t v = x & ones(n);
    return v == 0 ? -1 : 63 - __builtin_clzll(v);
}
inline int CountLeadingZeroBits(uint64_t x, int n) { return n - 1 - HighestBitSet(x, n); }
// Number of bits below the top one that equal it.
inline int CountLeadingSignBits(uint64_t x, int n) {
    return CountLeadingZeroBits((x >> 1) ^ (x & ~(1ull << 63)), n - 1);
}
inline int BitCount(uint64_t x, int n) { return __builtin_popcountll(x & ones(n)); }

inline uint64_t BitReverse(uint64_t x, int n) {
    uint64_t r = 0;
    for (int i = 0; i < n && i < 64; i++) r |= ((x >> i) & 1) << (n - 1 - i);
    return r;
}

// The groups of group_bytes bytes (1, 2 or 4) of the low n bits in reverse order.
inline uint64_t Reverse(uint64_t x, int n, int group_bytes) {
    if (group_bytes != 1 && group_bytes != 2 && group_bytes != 4) return 0;
    int g = 8 * group_bytes, count = n / g;
    if (count < 1) return 0;
    uint64_t r = 0;
    for (int i = 0; i < count; i++) r |= ((x >> (i * g)) & ones(g)) << ((count - 1 - i) * g);
    return r;
}

namespace wide_detail {
inline bool std_width(int n) { return n == 8 || n == 16 || n == 32 || n == 64; }
}  // namespace wide_detail

// The argument that is greater (lesser) at n bits; the first one on a tie.
inline uint64_t Max(uint64_t a, uint64_t b, int n, int is_unsigned) {
    if (!wide_detail::std_width(n)) return 0;
    return Int(b, n, is_unsigned) > Int(a, n, is_unsigned) ? b : a;
}
inline uint64_t Min(uint64_t a, uint64_t b, int n, int is_unsigned) {
    if (!wide_detail::std_width(n)) return 0;
    return Int(b, n, is_unsigned) < Int(a, n, is_unsigned) ? b : a;
}

// Carry-less product.
inline uwide_int PolynomialMult(uint64_t a, uint64_t b) {
    uwide_int r = 0;
    for (int i = 0; i < 64; i++)
        if ((b >> i) & 1) r ^= uwide_int(a) << i;
    return r;
}

// ---- Wide arithmetic, modulo 2^128 ----

inline wide_int NegInt(wide_int x) { return wide_int(uwide_int(0) - uwide_int(x)); }
inline wide_int AbsInt(wide_int x) { return x < 0 ? NegInt(x) : x; }
inline wide_int AddInt(wide_int a, wide_int b) { return wide_int(uwide_int(a) + uwide_int(b)); }
inline wide_int SubInt(wide_int a, wide_int b) { return wide_int(uwide_int(a) - uwide_int(b)); }

// ---- Wide shifts ----

// Arithmetic right shift. Counts above 65 act as 65, except that exactly 128 fills with ones
// only when the top two bits of the value are both set. A negative count shifts left.
wide_int ShiftRightInt(wide_int x, wide_int count);
// Left shift; counts above 64 act as 64. A negative count shifts right.
wide_int ShiftLeftInt(wide_int x, wide_int count);

// ---- Saturation ----

namespace wide_detail {

// The 64-bit pattern of the bound of n bits on the side of a value's sign.
inline uint64_t limit_of(bool negative, int n, int is_unsigned) {
    if (is_unsigned == 1) return negative ? 0 : ones(n);
    if (negative) return n - 1 < 64 ? 1ull << (n - 1) : 0;
    return ones(n - 1);
}

// Saturation of x to n bits (1 to 128); the unsaturated result is masked to n bits or not.
// Inline so that a constant width folds the bounds away.
inline sat_result sat_core(wide_int x, int n, int is_unsigned, bool masked) {
    if (n < 1) n = 1;
    if (n > 128) n = 128;
    uint64_t keep = masked ? ones(n) : ~0ull;
    if (is_unsigned == 1) {
        if (x < 0) return {0, 1};
        if (n < 128 && (uwide_int(x) >> n) != 0) return {limit_of(false, n, 1), 1};
        return {bits(x) & keep, 0};
    }
    if (n < 128) {
        wide_int hi = wide_int((uwide_int(1) << (n - 1)) - 1);
        if (x > hi) return {limit_of(false, n, 0), 1};
        if (x < -hi - 1) return {limit_of(true, n, 0), 1};
    }
    return {bits(x) & keep, 0};
}

// Saturating sum or difference of two n-bit elements, 1 <= n <= 32, in 64-bit arithmetic (exact:
// the operands and their sum or difference fit). The unsaturated result is the 64-bit pattern of
// the exact value, masked to n bits when `masked`.
inline sat_result sat_addsub_narrow(uint64_t a, uint64_t b, int n, bool is_unsigned, bool subtract, bool masked) {
    int64_t x, y;
    if (is_unsigned) {
        x = int64_t(a & ones(n));
        y = int64_t(b & ones(n));
    } else {
        x = int64_t(a << (64 - n)) >> (64 - n);
        y = int64_t(b << (64 - n)) >> (64 - n);
    }
    int64_t r = subtract ? x - y : x + y;
    int64_t hi = is_unsigned ? int64_t(ones(n)) : int64_t(ones(n - 1));
    int64_t lo = is_unsigned ? 0 : -hi - 1;
    if (r > hi) return {uint64_t(hi), 1};
    if (r < lo) return {uint64_t(lo) & ones(n), 1};
    return {masked ? uint64_t(r) & ones(n) : uint64_t(r), 0};
}

// The same for n = 64, through the overflow builtins. An overflowing signed sum saturates on
// the side of its operands' sign (they agree), an overflowing difference on the side of a's.
inline sat_result sat_addsub_64(uint64_t a, uint64_t b, bool is_unsigned, bool subtract) {
    if (is_unsigned) {
        uint64_t r;
        bool over = subtract ? __builtin_sub_overflow(a, b, &r) : __builtin_add_overflow(a, b, &r);
        if (over) return {subtract ? 0 : ~0ull, 1};
        return {r, 0};
    }
    int64_t r;
    bool over = subtract ? __builtin_sub_overflow(int64_t(a), int64_t(b), &r)
                         : __builtin_add_overflow(int64_t(a), int64_t(b), &r);
    if (over) return {int64_t(a) < 0 ? 1ull << 63 : ~0ull >> 1, 1};
    return {uint64_t(r), 0};
}

}  // namespace wide_detail

inline sat_result SatQ(wide_int x, int n, int is_unsigned) { return wide_detail::sat_core(x, n, is_unsigned, true); }
// SatQ's rule for n up to 128, the unsaturated result being the low 64 bits unmasked.
inline sat_result SatQShift(wide_int x, int n, int is_unsigned) {
    return wide_detail::sat_core(x, n, is_unsigned, false);
}
sat_result SatQUShift(wide_int x, int n);
sat_result ShiftQLeftInt(wide_int x, wide_int count, int n, int is_unsigned);

// Through 128 bits for any width; the inline forms below take the 64-bit paths for widths of at
// most 32 bits and for 64 bits.
sat_result SatAddWide(uint64_t a, uint64_t b, int n, int is_unsigned);
sat_result SatSubWide(uint64_t a, uint64_t b, int n, int is_unsigned);

// Saturating sum of two n-bit elements; unsaturated, the low 64 bits of the exact sum (not
// masked to n bits).
inline sat_result SatAdd(uint64_t a, uint64_t b, int n, int is_unsigned) {
    if (n == 64) return wide_detail::sat_addsub_64(a, b, is_unsigned == 1, false);
    if (n >= 1 && n <= 32) return wide_detail::sat_addsub_narrow(a, b, n, is_unsigned == 1, false, false);
    return SatAddWide(a, b, n, is_unsigned);
}
// Saturating difference; unsaturated, the exact difference masked to n bits.
inline sat_result SatSub(uint64_t a, uint64_t b, int n, int is_unsigned) {
    if (n == 64) return wide_detail::sat_addsub_64(a, b, is_unsigned == 1, true);
    if (n >= 1 && n <= 32) return wide_detail::sat_addsub_narrow(a, b, n, is_unsigned == 1, true, true);
    return SatSubWide(a, b, n, is_unsigned);
}
sat_result SatMult(uint64_t a, uint64_t b, int n, int is_unsigned);
sat_result SatShiftLeft(uint64_t a, uint64_t b, int n, int is_unsigned);
sat_result SatShiftLeftU(uint64_t a, uint64_t b, int n);

// ---- 256 bits ----

BigInt toBigInt(wide_int x);
BigInt AddBigInt(BigInt a, BigInt b);
BigInt ShiftRightBigInt(BigInt x, int count);
sat_result SatQBigInt(BigInt x, int n, int is_unsigned);

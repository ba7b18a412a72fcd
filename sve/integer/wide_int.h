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

sat_result SatQ(wide_int x, int n, int is_unsigned);
// SatQ's rule for n up to 128, the unsaturated result being the low 64 bits unmasked.
sat_result SatQShift(wide_int x, int n, int is_unsigned);
sat_result SatQUShift(wide_int x, int n);
sat_result ShiftQLeftInt(wide_int x, wide_int count, int n, int is_unsigned);
sat_result SatAdd(uint64_t a, uint64_t b, int n, int is_unsigned);
sat_result SatSub(uint64_t a, uint64_t b, int n, int is_unsigned);
sat_result SatMult(uint64_t a, uint64_t b, int n, int is_unsigned);
sat_result SatShiftLeft(uint64_t a, uint64_t b, int n, int is_unsigned);
sat_result SatShiftLeftU(uint64_t a, uint64_t b, int n);

// ---- 256 bits ----

BigInt toBigInt(wide_int x);
BigInt AddBigInt(BigInt a, BigInt b);
BigInt ShiftRightBigInt(BigInt x, int count);
sat_result SatQBigInt(BigInt x, int n, int is_unsigned);

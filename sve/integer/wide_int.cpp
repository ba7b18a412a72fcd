// Wide-integer helpers: shifts, saturation and 256-bit values.
#include "sve/integer/wide_int.h"

using wide_detail::limit_of;

namespace {

constexpr wide_int WIDE_MAX = wide_int(~uwide_int(0) >> 1);
constexpr wide_int WIDE_MIN = -WIDE_MAX - 1;

// Negation that stays defined for the lowest value (which maps to the highest).
wide_int neg_count(wide_int c) { return c == WIDE_MIN ? WIDE_MAX : -c; }

}  // namespace

wide_int ShiftRightInt(wide_int x, wide_int count) {
    if (count < 0) return ShiftLeftInt(x, neg_count(count));
    if (count == 128) return (uwide_int(x) >> 126) == 3 ? wide_int(-1) : wide_int(0);
    int c = count > 65 ? 65 : int(count);
    return x >> c;
}

wide_int ShiftLeftInt(wide_int x, wide_int count) {
    if (count < 0) return ShiftRightInt(x, neg_count(count));
    int c = count > 64 ? 64 : int(count);
    return wide_int(uwide_int(x) << c);
}

sat_result SatQUShift(wide_int x, int n) {
    uwide_int u = uwide_int(x);
    if (n >= 128 || (u >> n) == 0) return {bits(x), 0};
    if (2 * n >= 128 || (u >> (2 * n)) == 0) return {ones(n), 1};
    return {0, 1};
}

sat_result ShiftQLeftInt(wide_int x, wide_int count, int n, int is_unsigned) {
    if (count < 0) return {bits(ShiftRightInt(x, neg_count(count))), 0};
    if (count >= n) {
        if (x == 0) return {0, 0};
        return {limit_of(x < 0, n, is_unsigned), 1};
    }
    return SatQShift(ShiftLeftInt(x, count), n, is_unsigned);
}

sat_result SatAddWide(uint64_t a, uint64_t b, int n, int is_unsigned) {
    wide_int sum = Int(a, n, is_unsigned) + Int(b, n, is_unsigned);
    sat_result r = SatQ(sum, n, is_unsigned);
    return r.sat ? r : sat_result{bits(sum), 0};
}

sat_result SatSubWide(uint64_t a, uint64_t b, int n, int is_unsigned) {
    return SatQ(Int(a, n, is_unsigned) - Int(b, n, is_unsigned), n, is_unsigned);
}

sat_result SatMult(uint64_t a, uint64_t b, int n, int is_unsigned) {
    if (is_unsigned == 1) {
        // The unsigned product of two 64-bit values needs all 128 bits.
        uwide_int p = uwide_int(UInt(a, n)) * uwide_int(UInt(b, n));
        if (n < 128 && (p >> n) != 0) return {ones(n), 1};
        return {uint64_t(p) & ones(n), 0};
    }
    return SatQ(Int(a, n, 0) * Int(b, n, 0), n, 0);
}

namespace {
sat_result sat_shift_left(uint64_t a, uint64_t b, int n, int value_unsigned, int result_unsigned) {
    wide_int v = Int(a, n, value_unsigned);
    wide_int c = Int(b, n, value_unsigned);
    if (c > n) c = n;
    wide_int shifted = ShiftLeftInt(v, c);
    sat_result r = SatQ(shifted, n, result_unsigned);
    if (r.sat) return {limit_of(v < 0, n, result_unsigned), 1};
    return {bits(shifted), 0};
}
}  // namespace

sat_result SatShiftLeft(uint64_t a, uint64_t b, int n, int is_unsigned) {
    return sat_shift_left(a, b, n, is_unsigned, is_unsigned);
}
sat_result SatShiftLeftU(uint64_t a, uint64_t b, int n) { return sat_shift_left(a, b, n, 0, 1); }

BigInt toBigInt(wide_int x) {
    uint64_t sign = x < 0 ? ~0ull : 0;
    return {{uint64_t(x), uint64_t(uwide_int(x) >> 64), sign, sign}};
}

BigInt AddBigInt(BigInt a, BigInt b) {
    BigInt r;
    uint64_t carry = 0;
    for (int i = 0; i < 4; i++) {
        uwide_int s = uwide_int(a.w[i]) + b.w[i] + carry;
        r.w[i] = uint64_t(s);
        carry = uint64_t(s >> 64);
    }
    return r;
}

BigInt ShiftRightBigInt(BigInt x, int count) {
    if (count <= 0) return x;
    if (count > 255) count = 255;
    uint64_t sign = int64_t(x.w[3]) < 0 ? ~0ull : 0;
    int words = count / 64, sh = count % 64;
    BigInt r;
    for (int i = 0; i < 4; i++) {
        auto word = [&](int k) { return k < 4 ? x.w[k] : sign; };
        uint64_t lo = word(i + words), hi = word(i + words + 1);
        r.w[i] = sh == 0 ? lo : (lo >> sh) | (hi << (64 - sh));
    }
    return r;
}

sat_result SatQBigInt(BigInt x, int n, int is_unsigned) {
    bool negative = int64_t(x.w[3]) < 0;
    uint64_t ext = int64_t(x.w[1]) < 0 ? ~0ull : 0;
    if (x.w[2] == ext && x.w[3] == ext) {  // fits in 128 bits
        wide_int v = wide_int((uwide_int(x.w[1]) << 64) | x.w[0]);
        return SatQ(v, n, is_unsigned);
    }
    if (n > 128) n = 128;
    return {limit_of(negative, n, is_unsigned), 1};
}

// Element access, size dispatch and the element operations shared by the integer families.
// Internal to sve/integer.
#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "sve/core/cpu_state.h"
#include "sve/core/generic.h"
#include "sve/core/simd.h"
#include "sve/integer/wide_int.h"

// C types of the element type tokens of handler names.
typedef uint8_t elem_U8;
typedef uint16_t elem_U16;
typedef uint32_t elem_U32;
typedef uint64_t elem_U64;
typedef int8_t elem_S8;
typedef int16_t elem_S16;
typedef int32_t elem_S32;
typedef int64_t elem_S64;
typedef uint8_t elem_B8;
typedef uint16_t elem_H16;
typedef uint32_t elem_F32;
typedef uint64_t elem_D64;

namespace int_elements {

template <class T> constexpr int NBITS = int(sizeof(T) * 8);
template <class T> constexpr int NELEM = SVE_VL_BYTES / int(sizeof(T));
template <class T> using U = std::make_unsigned_t<T>;
// An element widened to 64 bits by its signedness.
template <class T> using W = std::conditional_t<std::is_signed_v<T>, int64_t, uint64_t>;

template <class T>
inline T ld(const uint8_t* p, int e) {
    T v;
    std::memcpy(&v, p + e * int(sizeof(T)), sizeof(T));
    return v;
}
template <class T>
inline void st(uint8_t* p, int e, T v) {
    std::memcpy(p + e * int(sizeof(T)), &v, sizeof(T));
}
// Bit 0 of the predicate byte at the element's first vector byte.
template <class T>
inline bool act(const uint8_t* p, int e) {
    return p[e * int(sizeof(T))] & 1;
}
// The zero-extended bit pattern of an element.
template <class T>
inline uint64_t zx(T v) {
    return uint64_t(U<T>(v));
}

// Element size of a Z handle: qual in the ordinary shape, tied_qual in the destructive one.
inline uint32_t zsize(aarch64_z_reg r) { return r.qual != ZQ_NONE ? r.qual : r.tied_qual[0]; }

// ---- Specialised element loops: a whole register, a stack temporary, one final copy ----

// Active elements of dst get f(e, old), inactive ones keep old; ZEROING gives them 0 instead.
template <class T, bool ZEROING = false, class F>
inline void merge_into(uint8_t* dst, const uint8_t* pred, F&& f) {
    alignas(16) uint8_t tmp[SVE_VL_BYTES];
#pragma GCC unroll 8  // a partial unroll, whatever the element count
    for (int e = 0; e < NELEM<T>; e++) {
        T old = ld<T>(dst, e);
        st<T>(tmp, e, act<T>(pred, e) ? f(e, old) : (ZEROING ? T(0) : old));
    }
    std::memcpy(dst, tmp, SVE_VL_BYTES);
}

// ---- Generic tier: the element loops are those of sve/core/generic.h ----

template <class OP, class V> concept binary_vec = requires(V a) { OP::vec(a, a); };
template <class OP, class V> concept unary_vec = requires(V a) { OP::vec(a); };
// The vector forms of OP, well-formed for every OP: some compilers instantiate the lambdas of a
// discarded branch, so callers must not name OP::vec directly.
template <class OP, class V> V vec_of_op(V a, V b) {
    if constexpr (binary_vec<OP, V>) return OP::vec(a, b);
    else return a;
}
template <class OP, class V> V vec_of_op(V a) {
    if constexpr (unary_vec<OP, V>) return OP::vec(a);
    else return a;
}

// Saturating addition and subtraction of the lanes of a 16-byte vector, signed or unsigned by
// its lane type. The sum or difference wraps (computed on unsigned lanes); a signed lane that
// overflowed takes the limit on the side of its first operand's sign, an unsigned one the
// limit it crossed.
template <bool SUB, class V>
inline V sat_addsub_vec(V a, V b) {
    typedef std::remove_cvref_t<decltype(a[0])> E;
    typedef std::make_unsigned_t<E> UE;
    typedef UE UV __attribute__((vector_size(16)));
    const UV ua = UV(a), ub = UV(b);
    const UV ur = SUB ? ua - ub : ua + ub;
    if constexpr (std::is_signed_v<E>) {
        constexpr int SIGN = int(sizeof(E) * 8 - 1);
        const V r = V(ur);
        const V ovf = (SUB ? (a ^ b) & (a ^ r) : (a ^ r) & (b ^ r)) >> SIGN;  // all ones where it overflowed
        const V limit = (a >> SIGN) ^ V(UV{} + UE(UE(~UE(0)) >> 1));          // MAX, or MIN for negative a
        return (r & ~ovf) | (limit & ovf);
    } else if constexpr (SUB) {
        return V(ur & ~UV(ua < ub));  // borrow: 0
    } else {
        return V(ur | UV(ur < ua));  // carry: all ones
    }
}


// host has one. Binary ones take the second operand as the zero-extended bit
// pattern of its element, or as the immediate as the handler gives it ----

template <class T>
inline T wrap_mul(T a, T b) {
    return T(uint64_t(a) * uint64_t(b));
}

struct op_add {
    template <class T> static T f(T a, uint64_t b) { return T(uint64_t(a) + b); }
    template <class V> static V vec(V a, V b) { return a + b; }
};
struct op_sub {
    template <class T> static T f(T a, uint64_t b) { return T(uint64_t(a) - b); }
    template <class V> static V vec(V a, V b) { return a - b; }
};
struct op_subr { template <class T> static T f(T a, uint64_t b) { return T(b - uint64_t(a)); } };
struct op_mul {
    template <class T> static T f(T a, uint64_t b) { return wrap_mul(a, T(b)); }
    template <class V> static V vec(V a, V b) { return a * b; }
};
struct op_and {
    template <class T> static T f(T a, uint64_t b) { return T(uint64_t(a) & b); }
    template <class V> static V vec(V a, V b) { return a & b; }
};
struct op_orr {
    template <class T> static T f(T a, uint64_t b) { return T(uint64_t(a) | b); }
    template <class V> static V vec(V a, V b) { return a | b; }
};
struct op_eor {
    template <class T> static T f(T a, uint64_t b) { return T(uint64_t(a) ^ b); }
    template <class V> static V vec(V a, V b) { return a ^ b; }
};
struct op_bic {
    template <class T> static T f(T a, uint64_t b) { return T(uint64_t(a) & ~b); }
    template <class V> static V vec(V a, V b) { return a & ~b; }
};

// Division: a zero divisor gives 0, a signed divisor of -1 the negated dividend.
template <class T>
inline T divide(T n, T d) {
    if (d == 0) return 0;
    if constexpr (std::is_signed_v<T>) {
        if (d == T(-1)) return T(U<T>(0) - U<T>(n));
    }
    return T(n / d);
}
struct op_div { template <class T> static T f(T a, uint64_t b) { return divide<T>(a, T(b)); } };
struct op_divr { template <class T> static T f(T a, uint64_t b) { return divide<T>(T(b), a); } };

template <class T> constexpr int IS_U = std::is_unsigned_v<T> ? 1 : 0;

struct op_max { template <class T> static T f(T a, uint64_t b) { return T(Max(zx(a), b, NBITS<T>, IS_U<T>)); } };
struct op_min { template <class T> static T f(T a, uint64_t b) { return T(Min(zx(a), b, NBITS<T>, IS_U<T>)); } };
using op_max_imm = op_max;
using op_min_imm = op_min;
struct op_qadd {
    template <class T> static T f(T a, uint64_t b) { return T(SatAdd(zx(a), b, NBITS<T>, IS_U<T>).result); }
    template <class V> static V vec(V a, V b) { return sat_addsub_vec<false>(a, b); }
};
struct op_qsub {
    template <class T> static T f(T a, uint64_t b) { return T(SatSub(zx(a), b, NBITS<T>, IS_U<T>).result); }
    template <class V> static V vec(V a, V b) { return sat_addsub_vec<true>(a, b); }
};
struct op_qadd_imm {
    template <class T> static T f(T a, uint64_t b) {
        return T(SatQ(Int(zx(a), NBITS<T>, IS_U<T>) + wide_int(b), NBITS<T>, IS_U<T>).result);
    }
};
struct op_qsub_imm {
    template <class T> static T f(T a, uint64_t b) {
        return T(SatQ(Int(zx(a), NBITS<T>, IS_U<T>) - wide_int(b), NBITS<T>, IS_U<T>).result);
    }
};
// High half of the product, the product taken modulo 2^128 (exact for every element width).
struct op_mulh {
    template <class T> static T f(T a, uint64_t b) {
        uwide_int p = uwide_int(Int(zx(a), NBITS<T>, IS_U<T>)) * uwide_int(Int(b, NBITS<T>, IS_U<T>));
        return T(bits(ShiftRightInt(wide_int(p), NBITS<T>)));
    }
};
struct op_abd {
    template <class T> static T f(T a, uint64_t b) {
        return T(bits(AbsInt(Int(zx(a), NBITS<T>, IS_U<T>) - Int(b, NBITS<T>, IS_U<T>))));
    }
};

// Shifts through the wide helpers: the count is unsigned and never taken modulo the width.
struct op_shl {
    template <class T> static T f(T a, uint64_t n) { return T(bits(ShiftLeftInt(UInt(zx(a), NBITS<T>), wide_int(n)))); }
};
struct op_shr {
    template <class T> static T f(T a, uint64_t n) {
        return T(bits(ShiftRightInt(Int(zx(a), NBITS<T>, IS_U<T>), wide_int(n))));
    }
};
struct op_shlr { template <class T> static T f(T a, uint64_t b) { return op_shl::f<T>(T(b), zx(a)); } };
struct op_shrr { template <class T> static T f(T a, uint64_t b) { return op_shr::f<T>(T(b), zx(a)); } };
// asrd: division by 2^n rounding towards zero.
struct op_asrd {
    template <class T> static T f(T a, uint64_t n) {
        wide_int x = Int(zx(a), NBITS<T>, 0);
        if (x < 0) x = AddInt(x, ShiftLeftInt(1, wide_int(n)) - 1);
        return T(bits(ShiftRightInt(x, wide_int(n))));
    }
};

// Unary operations.
struct op_abs { template <class T> static T f(T x) { return T(bits(AbsInt(Int(zx(x), NBITS<T>, 0)))); } };
struct op_neg {
    template <class T> static T f(T x) { return T(U<T>(0) - U<T>(x)); }
    template <class V> static V vec(V x) { return V{} - x; }
};
struct op_cls { template <class T> static T f(T x) { return T(CountLeadingSignBits(zx(x), NBITS<T>)); } };
struct op_clz { template <class T> static T f(T x) { return T(CountLeadingZeroBits(zx(x), NBITS<T>)); } };
struct op_cnt { template <class T> static T f(T x) { return T(BitCount(zx(x), NBITS<T>)); } };
struct op_cnot { template <class T> static T f(T x) { return T(x == 0 ? 1 : 0); } };
struct op_not { template <class T> static T f(T x) { return T(~x); } };
inline uint64_t reverse_bits64(uint64_t x) {
    x = __builtin_bswap64(x);
    x = ((x >> 4) & 0x0F0F0F0F0F0F0F0Full) | ((x & 0x0F0F0F0F0F0F0F0Full) << 4);
    x = ((x >> 2) & 0x3333333333333333ull) | ((x & 0x3333333333333333ull) << 2);
    return ((x >> 1) & 0x5555555555555555ull) | ((x & 0x5555555555555555ull) << 1);
}
struct op_rbit { template <class T> static T f(T x) { return T(reverse_bits64(zx(x)) >> (64 - NBITS<T>)); } };
struct op_revb { template <class T> static T f(T x) { return T(Reverse(zx(x), NBITS<T>, 1)); } };
struct op_revh { template <class T> static T f(T x) { return T(Reverse(zx(x), NBITS<T>, 2)); } };
struct op_revw { template <class T> static T f(T x) { return T((zx(x) >> 32) | (zx(x) << 32)); } };
template <class S>
struct op_ext_from {
    template <class T> static T f(T x) {
        using N = std::conditional_t<std::is_signed_v<T>, std::make_signed_t<S>, S>;
        return T(N(x));
    }
};
using op_ext8 = op_ext_from<uint8_t>;
using op_ext16 = op_ext_from<uint16_t>;
using op_ext32 = op_ext_from<uint32_t>;
struct op_copy {
    template <class T> static T f(T x) { return x; }
    template <class V> static V vec(V x) { return x; }
};

// Multiply-add: d is the old destination, a and b the other two operands in handle order.
template <bool SUBTRACT, bool INTO_D>
struct op_muladd {
    template <class T> static T f(T d, T a, T b) {
        uint64_t acc = zx(INTO_D ? d : b), prod = zx(INTO_D ? wrap_mul(a, b) : wrap_mul(d, a));
        return T(SUBTRACT ? acc - prod : acc + prod);
    }
    template <class V> static V vec(V d, V a, V b) {
        V acc = INTO_D ? d : b, prod = INTO_D ? a * b : d * a;
        return SUBTRACT ? acc - prod : acc + prod;
    }
};
using op_mla = op_muladd<false, true>;   // d + a * b
using op_mls = op_muladd<true, true>;    // d - a * b
using op_mad = op_muladd<false, false>;  // b + d * a
using op_msb = op_muladd<true, false>;   // b - d * a

// Comparisons: of elements widened to 64 bits by signedness, or lane-wise of vectors (a mask).
struct cmp_eq { template <class V> static auto f(V a, V b) { return a == b; } };
struct cmp_ne { template <class V> static auto f(V a, V b) { return a != b; } };
struct cmp_ge { template <class V> static auto f(V a, V b) { return a >= b; } };
struct cmp_gt { template <class V> static auto f(V a, V b) { return a > b; } };
struct cmp_le { template <class V> static auto f(V a, V b) { return a <= b; } };
struct cmp_lt { template <class V> static auto f(V a, V b) { return a < b; } };

}  // namespace int_elements

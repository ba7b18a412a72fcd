// Generic tier of the integer families: element loops over values, run-time element count,
// arithmetic through the wide-integer helpers.
#include "sve/integer/int_elem.h"
#include "sve/integer/ops.h"

using namespace int_elements;

namespace {

// Where the operation has a 16-byte vector form, the live bytes go through it a chunk at a time
// (the bytes of a last partial chunk beyond the live length are not live, so computing them does
// no harm).
template <class T, class OP>
VecV g_binary(const VecV& a, const VecV& b, const CpuContext* c) {
    typedef typename vec_of<T>::type V;
    if constexpr (binary_vec<OP, V>) {
        VecV r;
        const uint32_t bytes = elem_count(c, NBITS<T>) * uint32_t(sizeof(T));
        for (uint32_t off = 0; off < bytes; off += 16)
            vstore(r.b + off, vec_of_op<OP>(vload<V>(a.b + off), vload<V>(b.b + off)));
        return r;
    }
    return gen_map<T>(c, [&](uint32_t e) { return OP::template f<T>(vget<T>(a, e), zx(vget<T>(b, e))); });
}
// The count of element e is the 64-bit element of b that holds its first byte.
template <class T, class OP>
VecV g_wide(const VecV& a, const VecV& b, const CpuContext* c) {
    return gen_map<T>(c, [&](uint32_t e) {
        return OP::template f<T>(vget<T>(a, e), vget<uint64_t>(b, e * sizeof(T) / 8));
    });
}
template <class T, class OP>
VecV g_imm(const VecV& a, uint64_t imm, const CpuContext* c) {
    return gen_map<T>(c, [&](uint32_t e) { return OP::template f<T>(vget<T>(a, e), imm); });
}
template <class T, class OP>
VecV g_binary_m(const VecV& d, const PredV& pg, const VecV& b, const CpuContext* c) {
    return gen_merge<T>(d, pg, c, [&](uint32_t e, T old) { return OP::template f<T>(old, zx(vget<T>(b, e))); });
}
template <class T, class OP>
VecV g_wide_m(const VecV& d, const PredV& pg, const VecV& b, const CpuContext* c) {
    return gen_merge<T>(d, pg, c, [&](uint32_t e, T old) {
        return OP::template f<T>(old, vget<uint64_t>(b, e * sizeof(T) / 8));
    });
}
template <class T, class OP>
VecV g_imm_m(const VecV& d, const PredV& pg, uint64_t n, const CpuContext* c) {
    return gen_merge<T>(d, pg, c, [&](uint32_t, T old) { return OP::template f<T>(old, n); });
}
template <class T, class OP>
VecV g_unary_m(const VecV& d, const PredV& pg, const VecV& a, const CpuContext* c) {
    return gen_merge<T>(d, pg, c, [&](uint32_t e, T) { return OP::template f<T>(vget<T>(a, e)); });
}
template <class T, class OP>
VecV g_ternary_m(const VecV& d, const PredV& pg, const VecV& a, const VecV& b, const CpuContext* c) {
    return gen_merge<T>(d, pg, c, [&](uint32_t e, T old) { return OP::template f<T>(old, vget<T>(a, e), vget<T>(b, e)); });
}

// Compare: the result has the outcome in the first bit of each active element, then the flags.
template <class T, class OP, class B>
PredV compare_with(const PredV& pg, const VecV& a, const CpuContext* cc, B&& b_of) {
    PredV r{{0, 0, 0, 0}};
    uint32_t n = elem_count(cc, NBITS<T>);
    for (uint32_t e = 0; e < n; e++)
        if (pred_active(pg, e, NBITS<T>) && OP::f(W<T>(vget<T>(a, e)), W<T>(b_of(e)))) pred_set(r, e, NBITS<T>, true);
    PredSetNZCV(pg, r, NBITS<T>, const_cast<CpuContext*>(cc));
    return r;
}
template <class T, class OP>
PredV g_compare(const PredV& pg, const VecV& a, const VecV& b, const CpuContext* c) {
    return compare_with<T, OP>(pg, a, c, [&](uint32_t e) { return vget<T>(b, e); });
}
// The second operand of element e is the 64-bit element of b that holds its first byte.
template <class T, class OP>
PredV g_compare_wide(const PredV& pg, const VecV& a, const VecV& b, const CpuContext* c) {
    return compare_with<T, OP>(pg, a, c, [&](uint32_t e) { return vget<uint64_t>(b, e * sizeof(T) / 8); });
}
template <class T, class OP>
PredV g_compare_imm(const PredV& pg, const VecV& a, int64_t imm, const CpuContext* c) {
    return compare_with<T, OP>(pg, a, c, [&](uint32_t) { return imm; });
}

// Dot product of groups of four narrow elements N into wide accumulators T; the four bytes or
// halfwords of Zm come from group group_of(e).
template <class T, class N, class G>
VecV g_dot(const VecV& zn, const VecV& zm, const VecV& zda, const CpuContext* c, G&& group_of) {
    constexpr int nb = NBITS<N>;
    constexpr int uns = IS_U<N>;
    return gen_map<T>(c, [&](uint32_t e) {
        wide_int sum = 0;
        uint32_t g = group_of(e);
        for (uint32_t k = 0; k < 4; k++)
            sum += Int(zx(vget<N>(zn, 4 * e + k)), nb, uns) * Int(zx(vget<N>(zm, 4 * g + k)), nb, uns);
        sum = AddInt(Int(zx(vget<T>(zda, e)), NBITS<T>, uns), wide_int(int64_t(bits(sum))));
        return T(bits(sum));
    });
}

}  // namespace

// The functions that the row table makes from the templates above.
#include "sve/integer/generated/int_generic.inc"

// Dot products; the indexed forms take Zm's group from the same 128-bit segment.
VecV VecS32DotVVVX(VecV zn, VecV zm, VecV zda, CpuContext* c) {
    return g_dot<uint32_t, int8_t>(zn, zm, zda, c, [](uint32_t e) { return e; });
}
VecV VecU32DotVVVX(VecV zn, VecV zm, VecV zda, CpuContext* c) {
    return g_dot<uint32_t, uint8_t>(zn, zm, zda, c, [](uint32_t e) { return e; });
}
VecV VecS64DotVVVX(VecV zn, VecV zm, VecV zda, CpuContext* c) {
    return g_dot<uint64_t, int16_t>(zn, zm, zda, c, [](uint32_t e) { return e; });
}
VecV VecU64DotVVVX(VecV zn, VecV zm, VecV zda, CpuContext* c) {
    return g_dot<uint64_t, uint16_t>(zn, zm, zda, c, [](uint32_t e) { return e; });
}
VecV VecS32DotVVVIX(VecV zn, VecV zm, VecV zda, uint64_t index, CpuContext* c) {
    return g_dot<uint32_t, int8_t>(zn, zm, zda, c, [=](uint32_t e) { return (e & ~3u) + uint32_t(index); });
}
VecV VecU32DotVVVIX(VecV zn, VecV zm, VecV zda, uint64_t index, CpuContext* c) {
    return g_dot<uint32_t, uint8_t>(zn, zm, zda, c, [=](uint32_t e) { return (e & ~3u) + uint32_t(index); });
}
VecV VecS64DotVVVIX(VecV zn, VecV zm, VecV zda, uint64_t index, CpuContext* c) {
    return g_dot<uint64_t, int16_t>(zn, zm, zda, c, [=](uint32_t e) { return (e & ~1u) + uint32_t(index); });
}
VecV VecU64DotVVVIX(VecV zn, VecV zm, VecV zda, uint64_t index, CpuContext* c) {
    return g_dot<uint64_t, uint16_t>(zn, zm, zda, c, [=](uint32_t e) { return (e & ~1u) + uint32_t(index); });
}

// Moves and constants.
#define DEF_MOVES(TY)                                                                                   \
    VecV Vec##TY##DupI(int64_t imm, CpuContext* c) {                                                    \
        return gen_map<elem_##TY>(c, [=](uint32_t) { return elem_##TY(imm); });                         \
    }                                                                                                   \
    VecV Vec##TY##DupIZ(PredV pg, int64_t imm, CpuContext* c) {                                         \
        return gen_map<elem_##TY>(c, [&](uint32_t e) {                                                  \
            return pred_active(pg, e, NBITS<elem_##TY>) ? elem_##TY(imm) : elem_##TY(0);                \
        });                                                                                             \
    }                                                                                                   \
    VecV Vec##TY##DupIM(VecV d, PredV pg, int64_t imm, CpuContext* c) {                                 \
        return gen_merge<elem_##TY>(d, pg, c, [=](uint32_t, elem_##TY) { return elem_##TY(imm); });     \
    }                                                                                                   \
    VecV Vec##TY##IndexII(int64_t start, int64_t step, CpuContext* c) { return index_of<elem_##TY>(start, step, c); } \
    VecV Vec##TY##IndexSI(uint64_t start, int64_t step, CpuContext* c) { return index_of<elem_##TY>(start, step, c); } \
    VecV Vec##TY##IndexIS(int64_t start, uint64_t step, CpuContext* c) { return index_of<elem_##TY>(start, step, c); } \
    VecV Vec##TY##IndexSS(uint64_t start, uint64_t step, CpuContext* c) { return index_of<elem_##TY>(start, step, c); }

namespace {
template <class T>
VecV index_of(uint64_t start, uint64_t step, const CpuContext* c) {
    return gen_map<T>(c, [=](uint32_t e) { return T(start + uint64_t(e) * step); });
}
}  // namespace

DEF_MOVES(S8) DEF_MOVES(S16) DEF_MOVES(S32) DEF_MOVES(S64)

#define DEF_UMOVES(TY)                                                                              \
    VecV Vec##TY##DupS(uint64_t x, CpuContext* c) {                                                 \
        return gen_map<elem_##TY>(c, [=](uint32_t) { return elem_##TY(x); });                       \
    }                                                                                               \
    VecV Vec##TY##DupSM(VecV d, PredV pg, uint64_t x, CpuContext* c) {                              \
        return gen_merge<elem_##TY>(d, pg, c, [=](uint32_t, elem_##TY) { return elem_##TY(x); });   \
    }                                                                                               \
    VecV Vec##TY##MovePrefix1VZ(PredV pg, VecV zn, CpuContext* c) {                                 \
        return gen_map<elem_##TY>(c, [&](uint32_t e) {                                              \
            return pred_active(pg, e, NBITS<elem_##TY>) ? vget<elem_##TY>(zn, e) : elem_##TY(0);    \
        });                                                                                         \
    }
DEF_UMOVES(U8) DEF_UMOVES(U16) DEF_UMOVES(U32) DEF_UMOVES(U64)

#define DEF_VMOVE(TY)                                                                               \
    VecV Vec##TY##DupSM(VecV d, PredV pg, VecV vn, CpuContext* c) {                                 \
        elem_##TY x = vget<elem_##TY>(vn, 0);                                                       \
        return gen_merge<elem_##TY>(d, pg, c, [=](uint32_t, elem_##TY) { return x; });              \
    }
DEF_VMOVE(B8) DEF_VMOVE(H16) DEF_VMOVE(F32) DEF_VMOVE(D64)

VecV VecS64DupMaskI(uint64_t mask, CpuContext* c) {
    return gen_map<uint64_t>(c, [=](uint32_t) { return mask; });
}
VecV VecU32SpecialMoveV(VecV zn, CpuContext* c) {
    return gen_map<uint32_t>(c, [&](uint32_t e) { return vget<uint32_t>(zn, e); });
}

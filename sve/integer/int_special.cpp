// Specialised tier of the integer families: a whole register at a time, in place on cpu_state, one branch
// on the element size, a register-sized temporary and one final copy wherever a vector is read.
#include <limits>

#include "sve/core/simd.h"
#include "sve/integer/int_elem.h"
#include "sve/integer/ops.h"

using namespace int_elements;

namespace {

// ---- Five 16-byte chunks ----

// dst = f(a chunk, b chunk) over the register; the chunks are the temporary.
template <class V, class F>
[[gnu::always_inline]] inline void chunks2(uint8_t* dst, const uint8_t* a, const uint8_t* b, F&& f) {
    vgen_reg<V>(dst, [&](int c) { return f(vload<V>(a + 16 * c), vload<V>(b + 16 * c)); });
}
template <class V, class F>
[[gnu::always_inline]] inline void chunks1(uint8_t* dst, const uint8_t* a, F&& f) {
    vgen_reg<V>(dst, [&](int c) { return f(vload<V>(a + 16 * c)); });
}


template <class OP, int ESZ>
[[gnu::always_inline]] inline aarch64_decode_rc zzz_of(cpu_state* s, zr zd, zr zn, zr zm) {
    typedef typename vec_of<elem_of_size<ESZ>>::type V;
    chunks2<V>(s->z[zd.num], s->z[zn.num], s->z[zm.num], [](V a, V b) { return OP::vec(a, b); });
    return RC_DONE;
}
template <class OP>
aarch64_decode_rc zzz_bits(cpu_state* s, zr zd, zr zn, zr zm) {
    chunks2<v2u64>(s->z[zd.num], s->z[zn.num], s->z[zm.num], [](v2u64 a, v2u64 b) { return OP::vec(a, b); });
    return RC_DONE;
}
// The immediate broadcast to the element width, then OP per chunk.
template <class OP, bool SIGNED = false>
aarch64_decode_rc zi_sized(cpu_state* s, zr zdn, uint64_t imm) {
    on_size<SIGNED>(zsize(zdn), [&](auto t) {
        typedef decltype(t) T;
        typedef typename vec_of<T>::type V;
        V k = V{} + T(imm);
        chunks1<V>(s->z[zdn.num], s->z[zdn.num], [k](V a) { return OP::vec(a, k); });
    });
    return RC_DONE;
}
template <class OP>
aarch64_decode_rc zi_bits(cpu_state* s, zr zdn, uint64_t mask) {
    v2u64 k = v2u64{} + mask;
    chunks1<v2u64>(s->z[zdn.num], s->z[zdn.num], [k](v2u64 a) { return OP::vec(a, k); });
    return RC_DONE;
}

// ---- Predicated element loops ----

// Merging on 16-byte chunks: active lanes take f(c, old chunk), inactive ones keep the old value
// (or get 0 when ZEROING). A lane's mask is 0 - (bit 0 of its first predicate byte).
template <class T, bool ZEROING = false, class F>
[[gnu::always_inline]] inline void merge_chunks(uint8_t* dst, const uint8_t* pred, F&& f) {
    typedef typename vec_of<T>::type V;
    vgen_reg<V>(dst, [&](int c) {
        V old = vload<V>(dst + 16 * c);
        V m = active_lanes<V>(pred + 16 * c);
        return (f(c, old) & m) | (ZEROING ? V{} : old & ~m);
    });
}

// Binary, merging: the active element of Zdn becomes OP(Zdn, Zm).
template <bool SIGNED, class OP, int ESZ>
[[gnu::always_inline]] inline aarch64_decode_rc zpz_of(cpu_state* s, zr zdn, pr pg, zr zm) {
    typedef elem_of_size<ESZ, SIGNED> T;
    typedef typename vec_of<T>::type V;
    const uint8_t* b = s->z[zm.num];
    if constexpr (binary_vec<OP, V>)
        merge_chunks<T>(s->z[zdn.num], s->p[pg.num], [b](int c, V a) { return vec_of_op<OP>(a, vload<V>(b + 16 * c)); });
    else
        merge_into<T>(s->z[zdn.num], s->p[pg.num], [b](int e, T a) { return OP::template f<T>(a, zx(ld<T>(b, e))); });
    return RC_DONE;
}
template <bool SIGNED, class OP>
aarch64_decode_rc zpz(cpu_state* s, zr zdn, pr pg, zr zm) {
    return on_size<SIGNED>(zsize(zdn), [&](auto t) { return zpz_of<SIGNED, OP, esize_code<decltype(t)>>(s, zdn, pg, zm); });
}
// Unary, merging (or zeroing): the active element of Zd becomes OP(Zn).
template <bool SIGNED, class OP, int ESZ, bool ZEROING = false>
[[gnu::always_inline]] inline aarch64_decode_rc zpz_unary_of(cpu_state* s, zr zd, pr pg, zr zn) {
    typedef elem_of_size<ESZ, SIGNED> T;
    typedef typename vec_of<T>::type V;
    const uint8_t* a = s->z[zn.num];
    if constexpr (unary_vec<OP, V>)
        merge_chunks<T, ZEROING>(s->z[zd.num], s->p[pg.num], [a](int c, V) { return vec_of_op<OP>(vload<V>(a + 16 * c)); });
    else
        merge_into<T, ZEROING>(s->z[zd.num], s->p[pg.num], [a](int e, T) { return OP::template f<T>(ld<T>(a, e)); });
    return RC_DONE;
}
template <bool SIGNED, class OP, bool ZEROING = false>
aarch64_decode_rc zpz_unary(cpu_state* s, zr zd, pr pg, zr zn) {
    return on_size<SIGNED>(zsize(zd), [&](auto t) {
        return zpz_unary_of<SIGNED, OP, esize_code<decltype(t)>, ZEROING>(s, zd, pg, zn);
    });
}
template <class OP, int ESZ>
[[gnu::always_inline]] inline aarch64_decode_rc zpzz_of(cpu_state* s, zr zd, pr pg, zr za, zr zb) {
    typedef elem_of_size<ESZ> T;
    typedef typename vec_of<T>::type V;
    const uint8_t* a = s->z[za.num];
    const uint8_t* b = s->z[zb.num];
    merge_chunks<T>(s->z[zd.num], s->p[pg.num],
                    [a, b](int c, V d) { return OP::vec(d, vload<V>(a + 16 * c), vload<V>(b + 16 * c)); });
    return RC_DONE;
}
// Division exists for words and doublewords; any other size runs the word path.
template <bool SIGNED, class OP>
aarch64_decode_rc zpz_div(cpu_state* s, zr zdn, pr pg, zr zm) {
    zr z = zdn;
    if (zsize(z) != ES_DOUBLE) z = {zdn.num, ES_WORD, {ZQ_NONE, ZQ_NONE}};
    return zpz<SIGNED, OP>(s, z, pg, zm);
}

// Native element operations of this tier (the generic tier goes through the wide helpers).
struct native_max {
    template <class T> static T f(T a, uint64_t b) { return a > T(b) ? a : T(b); }
    template <class V> static V vec(V a, V b) { return a > b ? a : b; }
};
struct native_min {
    template <class T> static T f(T a, uint64_t b) { return a < T(b) ? a : T(b); }
    template <class V> static V vec(V a, V b) { return a < b ? a : b; }
};

// Shift counts: an element of Zm read unsigned at the element width, never reduced modulo it.
struct native_lsl { template <class T> static T f(T a, uint64_t n) { return n >= uint64_t(NBITS<T>) ? T(0) : T(zx(a) << n); } };
struct native_lsr { template <class T> static T f(T a, uint64_t n) { return n >= uint64_t(NBITS<T>) ? T(0) : T(zx(a) >> n); } };
struct native_asr {
    template <class T> static T f(T a, uint64_t n) {
        uint64_t c = n > uint64_t(NBITS<T> - 1) ? uint64_t(NBITS<T> - 1) : n;
        return T(std::make_signed_t<T>(a) >> c);
    }
};

}  // namespace

// One definition per operation: the shape template and the element operation. The _SIZED ones
// define the operation for each element size, which the handlers call, and the operation for the
// size of its handles through them.
#define ZZZ_SIZED_OP(name, OP) \
    SVE_DEF_SIZED(name, zsize(zd), (cpu_state* s, zr zd, zr zn, zr zm), (s, zd, zn, zm), zzz_of<OP, ESZ>)
#define ZPZ_SIZED_OP(name, SIGNED, OP) \
    SVE_DEF_SIZED(name, zsize(zdn), (cpu_state* s, zr zdn, pr pg, zr zm), (s, zdn, pg, zm), zpz_of<SIGNED, OP, ESZ>)
#define ZZZ_OP(name, shape, OP) \
    aarch64_decode_rc name(cpu_state* s, zr zd, zr zn, zr zm) { return shape<OP>(s, zd, zn, zm); }
#define ZPZ_OP(name, shape, SIGNED, OP) \
    aarch64_decode_rc name(cpu_state* s, zr zdn, pr pg, zr zm) { return shape<SIGNED, OP>(s, zdn, pg, zm); }
#define UNARY_SIZED_OP(name, SIGNED, OP) \
    SVE_DEF_SIZED(name, zsize(zd), (cpu_state* s, zr zd, pr pg, zr zn), (s, zd, pg, zn), zpz_unary_of<SIGNED, OP, ESZ>)
#define ZPZZ_SIZED_OP(name, OP) \
    SVE_DEF_SIZED(name, zsize(zd), (cpu_state* s, zr zd, pr pg, zr za, zr zb), (s, zd, pg, za, zb), zpzz_of<OP, ESZ>)

// ---- Unpredicated ----

ZZZ_SIZED_OP(sve_add_zzz, op_add)
ZZZ_SIZED_OP(sve_sub_zzz, op_sub)
ZZZ_OP(sve_and_zzz, zzz_bits, op_and)
ZZZ_OP(sve_orr_zzz, zzz_bits, op_orr)
ZZZ_OP(sve_eor_zzz, zzz_bits, op_eor)
ZZZ_OP(sve_bic_zzz, zzz_bits, op_bic)

aarch64_decode_rc sve_sub_zi(cpu_state* s, zr zdn, uint64_t imm) { return zi_sized<op_sub>(s, zdn, imm); }
aarch64_decode_rc sve_mul_zi(cpu_state* s, zr zdn, int64_t imm) { return zi_sized<op_mul>(s, zdn, uint64_t(int64_t(imm))); }
aarch64_decode_rc sve_and_zi(cpu_state* s, zr zdn, aarch64_sve_logical64_imm imm) { return zi_bits<op_and>(s, zdn, imm.mask); }
aarch64_decode_rc sve_orr_zi(cpu_state* s, zr zdn, aarch64_sve_logical64_imm imm) { return zi_bits<op_orr>(s, zdn, imm.mask); }
aarch64_decode_rc sve_eor_zi(cpu_state* s, zr zdn, aarch64_sve_logical64_imm imm) { return zi_bits<op_eor>(s, zdn, imm.mask); }

// ---- Predicated, merging ----

ZPZ_SIZED_OP(sve_add_zpz, false, op_add)
ZPZ_SIZED_OP(sve_sub_zpz, false, op_sub)
ZPZ_SIZED_OP(sve_mul_zpz, false, op_mul)
ZPZ_SIZED_OP(sve_smax_zpz, true, native_max)
ZPZ_SIZED_OP(sve_umax_zpz, false, native_max)
ZPZ_SIZED_OP(sve_smin_zpz, true, native_min)
ZPZ_SIZED_OP(sve_umin_zpz, false, native_min)
ZPZ_SIZED_OP(sve_and_zpz, false, op_and)
ZPZ_SIZED_OP(sve_orr_zpz, false, op_orr)
ZPZ_SIZED_OP(sve_eor_zpz, false, op_eor)
ZPZ_SIZED_OP(sve_bic_zpz, false, op_bic)
ZPZ_OP(sve_sdiv_zpz, zpz_div, true, op_div)
ZPZ_OP(sve_udiv_zpz, zpz_div, false, op_div)
ZPZ_OP(sve_sdivr_zpz, zpz_div, true, op_divr)
ZPZ_OP(sve_udivr_zpz, zpz_div, false, op_divr)
ZPZ_SIZED_OP(sve_lsl_zpz, false, native_lsl)
ZPZ_SIZED_OP(sve_lsr_zpz, false, native_lsr)
ZPZ_SIZED_OP(sve_asr_zpz, false, native_asr)

UNARY_SIZED_OP(sve_neg_zpz, false, op_neg)
UNARY_SIZED_OP(sve_rbit_zpz, false, op_rbit)
aarch64_decode_rc sve_revw_zpz(cpu_state* s, zr zd, pr pg, zr zn) {
    zr d = {zd.num, ES_DOUBLE, {ZQ_NONE, ZQ_NONE}};
    return zpz_unary<false, op_revw>(s, d, pg, zn);
}
UNARY_SIZED_OP(sve_sxtb_zpz, true, op_ext8)
UNARY_SIZED_OP(sve_sxth_zpz, true, op_ext16)
UNARY_SIZED_OP(sve_sxtw_zpz, true, op_ext32)
UNARY_SIZED_OP(sve_uxth_zpz, false, op_ext16)
UNARY_SIZED_OP(sve_uxtw_zpz, false, op_ext32)
aarch64_decode_rc sve_movprfx_zpz(cpu_state* s, zr zd, pr pg, zr zn) {
    if (pg.qual == PQ_Z) return zpz_unary<false, op_copy, true>(s, zd, pg, zn);
    return zpz_unary<false, op_copy>(s, zd, pg, zn);
}

ZPZZ_SIZED_OP(sve_mla_zpzz, op_mla)
ZPZZ_SIZED_OP(sve_mls_zpzz, op_mls)
ZPZZ_SIZED_OP(sve_mad_zpzz, op_mad)
ZPZZ_SIZED_OP(sve_msb_zpzz, op_msb)

// ---- Immediate shifts: the count is tested once, outside the element loop ----

aarch64_decode_rc sve_lsl_zpi(cpu_state* s, zr zdn, pr pg, unsigned count) {
    on_size<false>(zsize(zdn), [&](auto t) {
        typedef decltype(t) T;
        unsigned n = count;
        if (n >= unsigned(NBITS<T>)) {
            merge_into<T>(s->z[zdn.num], s->p[pg.num], [](int, T) { return T(0); });
            return;
        }
        merge_into<T>(s->z[zdn.num], s->p[pg.num], [n](int, T a) { return T(zx(a) << n); });
    });
    return RC_DONE;
}
aarch64_decode_rc sve_asr_zpi(cpu_state* s, zr zdn, pr pg, unsigned count) {
    on_size<true>(zsize(zdn), [&](auto t) {
        typedef decltype(t) T;
        unsigned n = count > unsigned(NBITS<T> - 1) ? unsigned(NBITS<T> - 1) : count;
        merge_into<T>(s->z[zdn.num], s->p[pg.num], [n](int, T a) { return T(a >> n); });
    });
    return RC_DONE;
}
aarch64_decode_rc sve_lsl_zzi(cpu_state* s, zr zd, zr zn, unsigned count) {
    on_size<false>(zsize(zd), [&](auto t) {
        typedef decltype(t) T;
        typedef typename vec_of<T>::type V;
        if (count >= unsigned(NBITS<T>)) {
            std::memset(s->z[zd.num], 0, SVE_VL_BYTES);
            return;
        }
        T n = T(count);
        chunks1<V>(s->z[zd.num], s->z[zn.num], [n](V a) { return a << n; });
    });
    return RC_DONE;
}
aarch64_decode_rc sve_asr_zzi(cpu_state* s, zr zd, zr zn, unsigned count) {
    on_size<true>(zsize(zd), [&](auto t) {
        typedef decltype(t) T;
        typedef typename vec_of<T>::type V;
        T n = T(count > unsigned(NBITS<T> - 1) ? unsigned(NBITS<T> - 1) : count);
        chunks1<V>(s->z[zd.num], s->z[zn.num], [n](V a) { return a >> n; });
    });
    return RC_DONE;
}

// ---- Moves and constants: no vector is read, so they store straight into Zd ----

namespace {
template <class T>
[[gnu::always_inline]] inline void fill(uint8_t* z, T v) {
    typedef typename vec_of<T>::type V;
    vgen_reg<V>(z, [v](int) { return V{} + v; });
}
// Active elements get v; inactive ones keep their value, or get 0 when ZEROING.
template <class T>
[[gnu::always_inline]] inline void fill_active(uint8_t* z, const uint8_t* p, T v, bool zeroing) {
    typedef typename vec_of<T>::type V;
    vgen_reg<V>(z, [&](int c) {
        V m = active_lanes<V>(p + 16 * c), old = zeroing ? V{} : vload<V>(z + 16 * c);
        return ((V{} + v) & m) | (old & ~m);
    });
}
// Element e = start + e * step, a chunk of lanes at a time.
void index_fill(uint8_t* z, uint32_t esz, uint64_t start, uint64_t step) {
    on_size<false>(esz, [&](auto t) {
        typedef decltype(t) T;
        typedef typename vec_of<T>::type V;
        constexpr int lanes = 16 / int(sizeof(T));
        V lane;
        for (int i = 0; i < lanes; i++) lane[i] = T(i);
        const V k = V{} + T(step), s0 = V{} + T(start);
        vgen_reg<V>(z, [&](int c) { return s0 + (lane + T(c * lanes)) * k; });
    });
}
}  // namespace

template <int ESZ>
aarch64_decode_rc sve_dup_zi_sized(cpu_state* s, zr zd, int imm) {
    fill(s->z[zd.num], elem_of_size<ESZ>(int64_t(imm)));
    return RC_DONE;
}
SVE_DEF_BY_SIZE(sve_dup_zi, zsize(zd), (cpu_state* s, zr zd, int imm), (s, zd, imm))
template <int ESZ>
aarch64_decode_rc sve_dup_zr_sized(cpu_state* s, zr zd, aarch64_i_rsp_reg rn) {
    fill(s->z[zd.num], elem_of_size<ESZ>(read_xsp(s, rn)));
    return RC_DONE;
}
SVE_DEF_BY_SIZE(sve_dup_zr, zsize(zd), (cpu_state* s, zr zd, aarch64_i_rsp_reg rn), (s, zd, rn))
aarch64_decode_rc sve_dupm_zi(cpu_state* s, zr zd, aarch64_sve_logical64_imm imm) {
    fill<uint64_t>(s->z[zd.num], imm.mask);
    return RC_DONE;
}
template <int ESZ>
aarch64_decode_rc sve_cpy_zpi_sized(cpu_state* s, zr zd, pr pg, int imm) {
    fill_active(s->z[zd.num], s->p[pg.num], elem_of_size<ESZ>(int64_t(imm)), pg.qual == PQ_Z);
    return RC_DONE;
}
SVE_DEF_BY_SIZE(sve_cpy_zpi, zsize(zd), (cpu_state* s, zr zd, pr pg, int imm), (s, zd, pg, imm))
template <int ESZ>
aarch64_decode_rc sve_cpy_zpr_sized(cpu_state* s, zr zd, pr pg, aarch64_i_rsp_reg rn) {
    fill_active(s->z[zd.num], s->p[pg.num], elem_of_size<ESZ>(read_xsp(s, rn)), false);
    return RC_DONE;
}
SVE_DEF_BY_SIZE(sve_cpy_zpr, zsize(zd), (cpu_state* s, zr zd, pr pg, aarch64_i_rsp_reg rn), (s, zd, pg, rn))
template <int ESZ>
aarch64_decode_rc sve_cpy_zpv_sized(cpu_state* s, zr zd, pr pg, zr vn) {
    uint64_t x;
    std::memcpy(&x, s->z[vn.num], 8);
    fill_active(s->z[zd.num], s->p[pg.num], elem_of_size<ESZ>(x), false);
    return RC_DONE;
}
SVE_DEF_BY_SIZE(sve_cpy_zpv, zsize(zd), (cpu_state* s, zr zd, pr pg, zr vn), (s, zd, pg, vn))
aarch64_decode_rc sve_index_zii(cpu_state* s, zr zd, int64_t start, int64_t step) {
    index_fill(s->z[zd.num], zsize(zd), uint64_t(start), uint64_t(step));
    return RC_DONE;
}
aarch64_decode_rc sve_index_zri(cpu_state* s, zr zd, aarch64_i_reg start, int64_t step) {
    index_fill(s->z[zd.num], zsize(zd), read_xzr(s, start), uint64_t(step));
    return RC_DONE;
}
aarch64_decode_rc sve_index_zir(cpu_state* s, zr zd, int64_t start, aarch64_i_reg step) {
    index_fill(s->z[zd.num], zsize(zd), uint64_t(start), read_xzr(s, step));
    return RC_DONE;
}
aarch64_decode_rc sve_index_zrr(cpu_state* s, zr zd, aarch64_i_reg start, aarch64_i_reg step) {
    index_fill(s->z[zd.num], zsize(zd), read_xzr(s, start), read_xzr(s, step));
    return RC_DONE;
}
aarch64_decode_rc sve_movprfx_zz(cpu_state* s, zr zd, zr zn) {
    std::memmove(s->z[zd.num], s->z[zn.num], SVE_VL_BYTES);
    return RC_DONE;
}

// ---- Compares: result in a temporary, flags from the old Pg, then Pd written whole ----

namespace {
// Pd gets 1 at the first byte of each active element where OP holds, 0 elsewhere; b_chunk
// gives the second operand of each 16-byte chunk.
template <class T, class OP, class B>
[[gnu::always_inline]] inline void compare_chunks(cpu_state* s, pr pd, pr pg, zr zn, B&& b_chunk) {
    typedef typename vec_of<T>::type V;
    alignas(16) uint8_t tmp[SVE_VL_BYTES];
    const uint8_t* a = s->z[zn.num];
    const uint8_t* p = s->p[pg.num];
    vgen_reg<V>(tmp, [&](int c) {
        V active = vload<V>(p + 16 * c) & T(1);  // bit 0 of each element's first predicate byte
        return V(OP::f(vload<V>(a + 16 * c), b_chunk(c))) & active;
    });
    s->nzcv = (s->nzcv & ~NZCV_ALL) | ptest_flags<T>(p, tmp);
    std::memcpy(s->p[pd.num], tmp, SVE_VL_BYTES);
}

template <bool SIGNED, class OP, int ESZ>
aarch64_decode_rc compare_zz_of(cpu_state* s, pr pd, pr pg, zr zn, zr zm) {
    typedef elem_of_size<ESZ, SIGNED> T;
    typedef typename vec_of<T>::type V;
    const uint8_t* b = s->z[zm.num];
    compare_chunks<T, OP>(s, pd, pg, zn, [b](int c) { return vload<V>(b + 16 * c); });
    return RC_DONE;
}
// The element, widened by its signedness, against the immediate: an immediate outside the
// element's range is compared with the element's extreme values, which gives the same outcome.
template <class V, class T>
V splat(T x) {
    V v;
    for (unsigned i = 0; i < sizeof(V) / sizeof(T); i++) v[i] = x;
    return v;
}
struct take_b { template <class V> static V f(V, V b) { return b; } };
template <bool SIGNED, class OP, int ESZ>
aarch64_decode_rc compare_zi_of(cpu_state* s, pr pd, pr pg, zr zn, int64_t imm) {
    typedef elem_of_size<ESZ, SIGNED> T;
    typedef typename vec_of<T>::type V;
    W<T> lo = W<T>(std::numeric_limits<T>::min()), hi = W<T>(std::numeric_limits<T>::max()), w = W<T>(imm);
    if (w < lo || w > hi) {
        // every element lies on one side of the immediate
        bool below = w < lo;
        T edge = below ? std::numeric_limits<T>::min() : std::numeric_limits<T>::max();
        bool holds = OP::f(W<T>(edge), w);
        V k = splat<V>(T(holds ? 1 : 0));
        compare_chunks<T, take_b>(s, pd, pg, zn, [k](int) { return k; });
        return RC_DONE;
    }
    V k = splat<V>(T(imm));
    compare_chunks<T, OP>(s, pd, pg, zn, [k](int) { return k; });
    return RC_DONE;
}
}  // namespace

// Each compare for a run-time element size (Pd's), and for each size.
#define DEF_CMP_FORM(name, SIGNED, OP, shape_of, last) \
    SVE_DEF_SIZED(name, pd.qual, (cpu_state* s, pr pd, pr pg, zr zn, last b), (s, pd, pg, zn, b), shape_of<SIGNED, OP, ESZ>)
#define DEF_CMP(cc, SIGNED, OP)                                       \
    DEF_CMP_FORM(sve_cmp##cc##_ppzz, SIGNED, OP, compare_zz_of, zr)   \
    DEF_CMP_FORM(sve_cmp##cc##_ppzi, SIGNED, OP, compare_zi_of, int64_t)
DEF_CMP(eq, true, cmp_eq)
DEF_CMP(ne, true, cmp_ne)
DEF_CMP(ge, true, cmp_ge)
DEF_CMP(gt, true, cmp_gt)
DEF_CMP(le, true, cmp_le)
DEF_CMP(lt, true, cmp_lt)
DEF_CMP(hs, false, cmp_ge)
DEF_CMP(hi, false, cmp_gt)
DEF_CMP(ls, false, cmp_le)
DEF_CMP(lo, false, cmp_lt)

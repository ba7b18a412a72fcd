// Permutes and data movement: zip, uzp, trn, tbl, rev, ext, dup (indexed), unpacks, insr,
// compact, sel and adr, for Z registers, and the predicate permutes that share their bodies.
//
// Each operation has one core over raw element arrays and an element count; the specialised
// tier runs it on the whole register in cpu_state into a temporary, the generic tier on values.
#include <cstring>

#include "sve/core/simd.h"
#include "sve/integer/perm_core.h"
#include "sve/integer/pred_flags.h"
#include "sve/integer/pred_ops.h"

namespace {

using namespace permute_core;

template <perm_kind K, class T>
VecV permute_vec(const VecV& a, const VecV& b, const CpuContext* c) {
    VecV r;
    permute_elems<K, T>(r.b, a.b, b.b, elem_count(c, sizeof(T) * 8));
    return r;
}

template <class T>
void tbl_core(uint8_t* dst, const uint8_t* table, const uint8_t* idx, uint32_t n) {
    for (uint32_t e = 0; e < n; e++) {
        T i = ld<T>(idx, e);
        st<T>(dst, e, i < n ? ld<T>(table, i) : T(0));
    }
}

// ext: bytes pos .. pos + vl - 1 of the pair first:second; a position beyond the vector is 0.
void ext_core(uint8_t* dst, const uint8_t* first, const uint8_t* second, unsigned pos, uint32_t vlb) {
    if (pos >= vlb) pos = 0;
    std::memcpy(dst, first + pos, vlb - pos);
    std::memcpy(dst + (vlb - pos), second, pos);
}

// dup (indexed) with elements of `eb` bytes (up to 16): zero when the element is outside.
void dup_core(uint8_t* dst, const uint8_t* src, unsigned index, uint32_t eb, uint32_t vlb) {
    uint8_t v[16] = {};
    uint64_t off = uint64_t(index) * eb;
    if (off + eb <= vlb) std::memcpy(v, src + off, eb);
    for (uint32_t i = 0; i < vlb; i += eb) std::memcpy(dst + i, v, eb);
}

// Unpack the low or high half of src, element by element, to twice the width.
template <class TS, class TD>
void unpack_core(uint8_t* dst, const uint8_t* src, bool high, uint32_t n) {
    uint32_t base = high ? n : 0;
    for (uint32_t e = 0; e < n; e++) st<TD>(dst, e, TD(ld<TS>(src, base + e)));
}

// Zd from f(tmp), which fills a register-sized temporary: Zd may be one of f's sources.
template <class F>
[[gnu::always_inline]] inline aarch64_decode_rc through_temp(cpu_state* s, aarch64_z_reg zd, F&& f) {
    alignas(16) uint8_t tmp[SVE_VL_BYTES];
    f(tmp);
    std::memcpy(s->z[zd.num], tmp, SVE_VL_BYTES);
    return RC_DONE;
}

template <class TS, class TD>
aarch64_decode_rc unpack_zz(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, bool high) {
    return through_temp(s, zd, [&](uint8_t* tmp) { unpack_core<TS, TD>(tmp, s->z[zn.num], high, SVE_VL_BYTES / sizeof(TD)); });
}

template <class TS, class TD>
VecV unpack_vec(const VecV& zn, bool high, const CpuContext* c) {
    VecV r;
    unpack_core<TS, TD>(r.b, zn.b, high, elem_count(c, sizeof(TD) * 8));
    return r;
}

// adr: base + (offset extended by X) << shift, at the element's width.
template <class T, class X>
void adr_core(uint8_t* dst, const uint8_t* base, const uint8_t* off, unsigned shift, uint32_t n) {
    for (uint32_t e = 0; e < n; e++) st<T>(dst, e, T(ld<T>(base, e) + (T(X(ld<T>(off, e))) << shift)));
}

template <class T, class X>
VecV adr_vec(const VecV& zn, const VecV& zm, unsigned shift, const CpuContext* c) {
    VecV r;
    adr_core<T, X>(r.b, zn.b, zm.b, shift, elem_count(c, sizeof(T) * 8));
    return r;
}

// insr: everything one element up, the scalar into element 0.
template <class T>
VecV insr_vec(const VecV& zdn, uint64_t x, const CpuContext* c) {
    VecV r;
    uint32_t n = elem_count(c, sizeof(T) * 8);
    for (uint32_t e = n - 1; e > 0; e--) vset<T>(r, e, vget<T>(zdn, e - 1));
    vset<T>(r, 0, T(x));
    return r;
}

// splice: the segment of Zdn from the first to the last active element, then Zm from element 0.
template <class T>
VecV splice_vec(const PredV& pg, const VecV& zdn, const VecV& zm, CpuContext* c) {
    VecV r;
    uint32_t n = elem_count(c, sizeof(T) * 8), k = 0;
    int last = FindLastActive(pg, sizeof(T) * 8, c);
    if (last >= 0) {
        bool on = false;
        for (int e = 0; e <= last; e++) {
            on = on || pred_active(pg, uint32_t(e), sizeof(T) * 8);
            if (on) vset<T>(r, k++, vget<T>(zdn, uint32_t(e)));
        }
    }
    for (uint32_t e = 0; k < n; e++) vset<T>(r, k++, vget<T>(zm, e));
    return r;
}

// compact: the active elements packed from element 0, zeros behind them.
template <class T>
VecV compact_vec(const PredV& pg, const VecV& zn, const CpuContext* c) {
    VecV r;
    uint32_t n = elem_count(c, sizeof(T) * 8), k = 0;
    for (uint32_t e = 0; e < n; e++) {
        vset<T>(r, e, T(0));
        if (pred_active(pg, e, sizeof(T) * 8)) vset<T>(r, k++, vget<T>(zn, e));
    }
    return r;
}

// Zn where the element is active, Zm elsewhere.
template <class T>
void sel(uint8_t* dst, const uint8_t* pg, const uint8_t* zn, const uint8_t* zm) {
    typedef typename vec_of<T>::type V;
    vgen_reg<V>(dst, [&](int c) {
        V m = active_lanes<V>(pg + 16 * c);
        V n = vload<V>(zn + 16 * c), k = vload<V>(zm + 16 * c);
        return ((n ^ k) & m) ^ k;
    });
}

template <class T>
VecV sel_generic(const PredV& pg, const VecV& zn, const VecV& zm, const CpuContext* c) {
    VecV r;
    uint32_t n = elem_count(c, sizeof(T) * 8);
    for (uint32_t e = 0; e < n; e++) vset<T>(r, e, pred_active(pg, e, sizeof(T) * 8) ? vget<T>(zn, e) : vget<T>(zm, e));
    return r;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Shared bodies.
void sve_zip1(char* t, const char* a, const char* b, element_size size) {
    permute_regs<ZIP1>((uint8_t*)t, (const uint8_t*)a, (const uint8_t*)b, size);
}
void sve_zip2(char* t, const char* a, const char* b, element_size size) {
    permute_regs<ZIP2>((uint8_t*)t, (const uint8_t*)a, (const uint8_t*)b, size);
}
void sve_uzp1(char* t, const char* a, const char* b, element_size size) {
    permute_regs<UZP1>((uint8_t*)t, (const uint8_t*)a, (const uint8_t*)b, size);
}

// ---------------------------------------------------------------------------------------------
// Specialised operations.
PCORE_PERMUTE_OP(sve_zip1_zzz, aarch64_z_reg, z, ZIP1)
PCORE_PERMUTE_OP(sve_zip2_zzz, aarch64_z_reg, z, ZIP2)
PCORE_PERMUTE_OP(sve_uzp1_zzz, aarch64_z_reg, z, UZP1)
PCORE_PERMUTE_OP(sve_uzp2_zzz, aarch64_z_reg, z, UZP2)
PCORE_PERMUTE_OP(sve_trn1_zzz, aarch64_z_reg, z, TRN1)
PCORE_PERMUTE_OP(sve_trn2_zzz, aarch64_z_reg, z, TRN2)

aarch64_decode_rc sve_tbl_zzz(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) {
    return through_temp(s, zd, [&](uint8_t* tmp) {
        on_size(zd.qual, [&](auto t) {
            typedef decltype(t) T;
            tbl_core<T>(tmp, s->z[zn.num], s->z[zm.num], SVE_VL_BYTES / sizeof(T));
        });
    });
}

aarch64_decode_rc sve_rev_zz(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn) {
    rev_regs(s->z[zd.num], s->z[zn.num], zd.qual);
    return RC_DONE;
}

aarch64_decode_rc sve_ext_zzi(cpu_state* s, aarch64_z_reg zdn, aarch64_z_reg zm, unsigned pos) {
    return through_temp(s, zdn, [&](uint8_t* tmp) { ext_core(tmp, s->z[zdn.num], s->z[zm.num], pos, SVE_VL_BYTES); });
}

aarch64_decode_rc sve_dup_zzi(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, unsigned index) {
    dup_core(s->z[zd.num], s->z[zn.num], index, 1u << zd.qual, SVE_VL_BYTES);
    return RC_DONE;
}

// Unpacks of the specialised tier: the low or high half of Zn to twice the width.
#define PRED_DEF_UNPACK_ZZ(op, sz, TS, TD)                                                 \
    aarch64_decode_rc sve_##op##lo_##sz##_zz(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn) { \
        return unpack_zz<TS, TD>(s, zd, zn, false);                                        \
    }                                                                                      \
    aarch64_decode_rc sve_##op##hi_##sz##_zz(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn) { \
        return unpack_zz<TS, TD>(s, zd, zn, true);                                         \
    }
PRED_DEF_UNPACK_ZZ(sunpk, s2d, int32_t, int64_t)
PRED_DEF_UNPACK_ZZ(uunpk, b2h, uint8_t, uint16_t)
PRED_DEF_UNPACK_ZZ(uunpk, h2s, uint16_t, uint32_t)
PRED_DEF_UNPACK_ZZ(uunpk, s2d, uint32_t, uint64_t)

// The scale and the form come from the word: bits 11:10 the shift, bit 22 set for 64-bit elements.
aarch64_decode_rc sve_adr_scaled_zzz(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) {
    unsigned shift = (s->insn >> 10) & 3;
    return through_temp(s, zd, [&](uint8_t* tmp) {
        if ((s->insn >> 22) & 1)
            adr_core<uint64_t, uint64_t>(tmp, s->z[zn.num], s->z[zm.num], shift, SVE_VL_BYTES / 8);
        else
            adr_core<uint32_t, uint32_t>(tmp, s->z[zn.num], s->z[zm.num], shift, SVE_VL_BYTES / 4);
    });
}

template <int ESZ>
aarch64_decode_rc sve_sel_zpzz_sized(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn, aarch64_z_reg zm) {
    sel<elem_of_size<ESZ>>(s->z[zd.num], s->p[pg.num], s->z[zn.num], s->z[zm.num]);
    return RC_DONE;
}
SVE_DEF_BY_SIZE(sve_sel_zpzz, zd.qual, (cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn, aarch64_z_reg zm),
                (s, zd, pg, zn, zm))

// ---------------------------------------------------------------------------------------------
// Generic functions.
#define PRED_DEF_PERMUTE(T, E)                                                                                 \
    VecV Vec##T##Zip1VV(VecV a, VecV b, CpuContext* c) { return permute_vec<ZIP1, elem_t<E>>(a, b, c); }     \
    VecV Vec##T##Zip2VV(VecV a, VecV b, CpuContext* c) { return permute_vec<ZIP2, elem_t<E>>(a, b, c); }     \
    VecV Vec##T##Uzp1VV(VecV a, VecV b, CpuContext* c) { return permute_vec<UZP1, elem_t<E>>(a, b, c); }     \
    VecV Vec##T##Uzp2VV(VecV a, VecV b, CpuContext* c) { return permute_vec<UZP2, elem_t<E>>(a, b, c); }     \
    VecV Vec##T##Trn1VV(VecV a, VecV b, CpuContext* c) { return permute_vec<TRN1, elem_t<E>>(a, b, c); }     \
    VecV Vec##T##Trn2VV(VecV a, VecV b, CpuContext* c) { return permute_vec<TRN2, elem_t<E>>(a, b, c); }     \
    VecV Vec##T##TblVV(VecV zn, VecV zm, CpuContext* c) {                                                     \
        VecV r;                                                                                               \
        tbl_core<elem_t<E>>(r.b, zn.b, zm.b, elem_count(c, 8 << E));                                          \
        return r;                                                                                             \
    }                                                                                                         \
    VecV Vec##T##ReverseV(VecV zn, CpuContext* c) {                                                           \
        VecV r;                                                                                               \
        rev_core<elem_t<E>>(r.b, zn.b, elem_count(c, 8 << E));                                                \
        return r;                                                                                             \
    }                                                                                                         \
    VecV Vec##T##ExtDupVI(VecV zn, unsigned index, CpuContext* c) {                                           \
        VecV r;                                                                                               \
        dup_core(r.b, zn.b, index, 1u << E, vl_bytes(c));                                                     \
        return r;                                                                                             \
    }                                                                                                         \
    VecV Vec##T##InsertS(VecV zdn, uint64_t x, CpuContext* c) { return insr_vec<elem_t<E>>(zdn, x, c); }      \
    VecV Vec##T##SpliceVV(PredV pg, VecV zdn, VecV zm, CpuContext* c) { return splice_vec<elem_t<E>>(pg, zdn, zm, c); } \
    VecV Vec##T##SelVV(PredV pg, VecV zn, VecV zm, CpuContext* c) { return sel_generic<elem_t<E>>(pg, zn, zm, c); }
PRED_U_TYPES(PRED_DEF_PERMUTE)

#define PRED_DEF_INSERT_V(T, E) \
    VecV Vec##T##InsertS(VecV zdn, uint64_t v, CpuContext* c) { return insr_vec<elem_t<E>>(zdn, v, c); }
PRED_V_TYPES(PRED_DEF_INSERT_V)

VecV VecU128ExtDupVI(VecV zn, unsigned index, CpuContext* c) {
    VecV r;
    dup_core(r.b, zn.b, index, 16, vl_bytes(c));
    return r;
}

VecV VecU8SlideVI(VecV zdn, VecV zm, unsigned pos, CpuContext* c) {
    VecV r;
    ext_core(r.b, zdn.b, zm.b, pos, vl_bytes(c));
    return r;
}

VecV VecU32CompressVV(PredV pg, VecV zn, CpuContext* c) { return compact_vec<uint32_t>(pg, zn, c); }
VecV VecU64CompressVV(PredV pg, VecV zn, CpuContext* c) { return compact_vec<uint64_t>(pg, zn, c); }

#define PRED_DEF_UNPACK(T, TS, TD)                                                            \
    VecV Vec##T##UnpackLoV(VecV zn, CpuContext* c) { return unpack_vec<TS, TD>(zn, false, c); } \
    VecV Vec##T##UnpackHiV(VecV zn, CpuContext* c) { return unpack_vec<TS, TD>(zn, true, c); }
PRED_DEF_UNPACK(S16, int8_t, int16_t)
PRED_DEF_UNPACK(S32, int16_t, int32_t)
PRED_DEF_UNPACK(S64, int32_t, int64_t)
PRED_DEF_UNPACK(U16, uint8_t, uint16_t)
PRED_DEF_UNPACK(U32, uint16_t, uint32_t)
PRED_DEF_UNPACK(U64, uint32_t, uint64_t)

#define PRED_DEF_LEA(N, SH)                                                                                            \
    VecV VecU32LEA##N##VV(VecV zn, VecV zm, CpuContext* c) { return adr_vec<uint32_t, uint32_t>(zn, zm, SH, c); }  \
    VecV VecU64LEA##N##VV(VecV zn, VecV zm, CpuContext* c) { return adr_vec<uint64_t, uint64_t>(zn, zm, SH, c); }  \
    VecV VecU64LEA##N##XVV(VecV zn, VecV zm, CpuContext* c) { return adr_vec<uint64_t, int32_t>(zn, zm, SH, c); }  \
    VecV VecU64LEA##N##YVV(VecV zn, VecV zm, CpuContext* c) { return adr_vec<uint64_t, uint32_t>(zn, zm, SH, c); }
PRED_DEF_LEA(1, 0)
PRED_DEF_LEA(2, 1)
PRED_DEF_LEA(4, 2)
PRED_DEF_LEA(8, 3)

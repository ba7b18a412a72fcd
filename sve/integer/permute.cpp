// Permutes and data movement.
#include <cstring>

#include "sve/core/simd.h"
#include "sve/integer/pred_ops.h"

namespace {

// Element slot of a predicate as a full-width mask: all ones where bit 0 of the slot is set.
template <class T>
void sel(uint8_t* dst, const uint8_t* pg, const uint8_t* zn, const uint8_t* zm) {
    typedef typename vec_of<T>::type V;
    alignas(16) uint8_t tmp[SVE_VL_BYTES];
    for (int c = 0; c < SVE_CHUNKS; c++) {
        V m = (V)((vload<V>(pg + 16 * c) & 1) == 0);  // all ones where inactive
        V n = vload<V>(zn + 16 * c), k = vload<V>(zm + 16 * c);
        vstore(tmp + 16 * c, (k & m) | (n & ~m));
    }
    std::memcpy(dst, tmp, SVE_VL_BYTES);
}

template <class T>
VecV sel_generic(const PredV& pg, const VecV& zn, const VecV& zm, const CpuContext* c) {
    VecV r;
    uint32_t n = elem_count(c, sizeof(T) * 8);
    for (uint32_t e = 0; e < n; e++) vset<T>(r, e, pred_active(pg, e, sizeof(T) * 8) ? vget<T>(zn, e) : vget<T>(zm, e));
    return r;
}

}  // namespace

aarch64_decode_rc sve_sel_zpzz(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn, aarch64_z_reg zm) {
    const uint8_t *p = s->p[pg.num], *n = s->z[zn.num], *m = s->z[zm.num];
    switch (zd.qual) {
    case ES_BYTE: sel<uint8_t>(s->z[zd.num], p, n, m); break;
    case ES_HALF: sel<uint16_t>(s->z[zd.num], p, n, m); break;
    case ES_WORD: sel<uint32_t>(s->z[zd.num], p, n, m); break;
    default: sel<uint64_t>(s->z[zd.num], p, n, m); break;
    }
    return RC_DONE;
}

VecV VecU8SelVV(PredV pg, VecV zn, VecV zm, CpuContext* c) { return sel_generic<uint8_t>(pg, zn, zm, c); }
VecV VecU16SelVV(PredV pg, VecV zn, VecV zm, CpuContext* c) { return sel_generic<uint16_t>(pg, zn, zm, c); }
VecV VecU32SelVV(PredV pg, VecV zn, VecV zm, CpuContext* c) { return sel_generic<uint32_t>(pg, zn, zm, c); }
VecV VecU64SelVV(PredV pg, VecV zn, VecV zm, CpuContext* c) { return sel_generic<uint64_t>(pg, zn, zm, c); }

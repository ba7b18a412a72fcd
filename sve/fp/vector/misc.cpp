// FDUP, FCPY, FTMAD and the floating-point immediate expansion.
#include "sve/fp/vector/ops.h"

aarch64_sve_fp_dup_imm fp_forms::fp_expand_imm8(uint32_t imm8) {
    uint32_t sign = (imm8 >> 7) & 1, b = (imm8 >> 6) & 1, cd = (imm8 >> 4) & 3, efgh = imm8 & 15;
    // half: sign, NOT(b), b b, cd, efgh 000000
    uint16_t h = uint16_t(sign << 15 | (b ^ 1) << 14 | (b ? 3u : 0u) << 12 | cd << 10 | efgh << 6);
    // single: sign, NOT(b), b x5, cd, efgh then 19 zeros
    uint32_t s = sign << 31 | (b ^ 1) << 30 | (b ? 0x1Fu : 0u) << 25 | cd << 23 | efgh << 19;
    // double: the single value widened, exactly: sign, NOT(b), b x8, cd, efgh then 48 zeros
    uint64_t d = uint64_t(sign) << 63 | uint64_t(b ^ 1) << 62 | uint64_t(b ? 0xFFu : 0u) << 54 | uint64_t(cd) << 52 |
                 uint64_t(efgh) << 48;
    return {h, s, d};
}

#include "sve/fp/vector/loops.h"

namespace {

template <class T>
VecV g_dup(uint64_t imm, CpuContext* c) {
    return gen_map<T>(c, [&](uint32_t) { return T(imm); });
}
template <class T>
VecV g_cpy(const VecV& zd, const PredV& pg, uint64_t imm, CpuContext* c) {
    return gen_merge<T>(zd, pg, c, [&](uint32_t, auto) { return T(imm); });
}

// FTMAD: coefficient (chosen by imm3 and the sign of Zm) + Zdn * |Zm|.
struct TriMAdd {
    static constexpr bool flags = true;
    template <class T> static T lib(FPSCR& f, uint64_t x, T a, T b) { return FPTRIMADD<T>(x, a, b, f); }
};
template <class T>
VecV g_trimadd(const VecV& zdn, const VecV& zm, uint64_t imm3, CpuContext* c) {
    return gen_map<T>(c, [&](uint32_t e) { return gstep<TriMAdd>(c, imm3, vget<T>(zdn, e), vget<T>(zm, e)); });
}

}  // namespace

aarch64_decode_rc sve_fdup_zi(cpu_state* s, aarch64_z_reg zd, aarch64_sve_fp_dup_imm imm) {
    switch (zd.qual) {
    case ES_HALF: spec_each<uint16_t>(s, zd.num, [&](uint32_t) { return imm.h; }); break;
    case ES_WORD: spec_each<uint32_t>(s, zd.num, [&](uint32_t) { return imm.s; }); break;
    default: spec_each<uint64_t>(s, zd.num, [&](uint32_t) { return imm.d; }); break;
    }
    return RC_DONE;
}

#define FPV_MISC(T, E)                                                                                           \
    VecV Vec##T##DupI(uint64_t imm, CpuContext* c) { return g_dup<E>(imm, c); }                                   \
    VecV Vec##T##DupIM(VecV zd, PredV pg, uint64_t imm, CpuContext* c) { return g_cpy<E>(zd, pg, imm, c); }       \
    VecV Vec##T##TRIMADDVVI(VecV zdn, VecV zm, uint64_t imm3, CpuContext* c) { return g_trimadd<E>(zdn, zm, imm3, c); }
FPV_MISC(F16, uint16_t)
FPV_MISC(F32, uint32_t)
FPV_MISC(D64, uint64_t)


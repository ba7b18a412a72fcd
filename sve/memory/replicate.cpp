// Load and replicate: ld1r* (one element into every active lane, specialised) and ld1rq* (one
// quadword into every quadword of the vector, generic). Neither is traced.
#include "sve/memory/access.h"

namespace {

using namespace memory_access;

// The element is read once, and only if some lane is active: an all-false predicate reads nothing.
template <class T, class U>
aarch64_decode_rc replicate_load(cpu_state* s, uint32_t zt, uint32_t pg, uint64_t addr) {
    constexpr uint32_t n = SVE_VL_BYTES / sizeof(U);
    uint8_t* z = s->z[zt];
    const uint8_t* p = s->p[pg];
    U value = 0;
    bool loaded = false;
    for (uint32_t i = 0; i < n; i++) {
        U v = 0;
        if (lane_active<U>(p, i)) {
            if (!loaded) value = widen<T, U>(load_app<T>(addr));
            loaded = true;
            v = value;
        }
        std::memcpy(z + i * sizeof(U), &v, sizeof v);
    }
    return RC_DONE;
}

template <class T, class U>
VecV replicate_generic(const PredV& pg, uint64_t addr, CpuContext* c) {
    VecV r;
    uint32_t n = elem_count(c, 8 * sizeof(U));
    U value = 0;
    bool loaded = false;
    for (uint32_t e = 0; e < n; e++) {
        U v = 0;
        if (pred_active(pg, e, 8 * sizeof(U))) {
            if (!loaded) value = read_generic<T, U>(addr, c);
            loaded = true;
            v = value;
        }
        vset<U>(r, e, v);
    }
    return r;
}

// ld1rq*: the 16-byte block under the first 16 predicate bits, copied to every quadword.
template <class T>
VecV quad_replicate(const PredV& pg, uint64_t addr, CpuContext* c) {
    uint8_t block[16];
    for (uint32_t j = 0; j < 16 / sizeof(T); j++) {
        T v = pred_bit(pg, j * sizeof(T)) ? mem_lib<T>::read(addr + j * sizeof(T), nullptr, c) : T(0);
        std::memcpy(block + j * sizeof(T), &v, sizeof v);
    }
    VecV r;
    uint32_t quads = (c->vl_words & VL_WORDS_MASK) / 2;
    for (uint32_t q = 0; q < quads; q++) std::memcpy(r.b + 16 * q, block, 16);
    return r;
}

}  // namespace

// The element loops of the replicating rows; the row table instantiates them.
namespace {

template <class T, class U>
aarch64_decode_rc s_load_dup(cpu_state* s, aarch64_z_reg zt, aarch64_p_reg pg, aarch64_i_rsp_reg xn, unsigned int imm) {
    return replicate_load<T, U>(s, zt.num, pg.num, read_xsp(s, xn) + uint64_t(imm) * sizeof(T));
}
template <class T, class U>
VecV g_load_dup(const PredV& pg, uint64_t xn, uint64_t imm, CpuContext* c) {
    return replicate_generic<T, U>(pg, xn + imm * sizeof(T), c);
}
template <class T>
VecV g_load_dup_quad_si(const PredV& pg, uint64_t xn, int64_t imm, CpuContext* c) {
    return quad_replicate<T>(pg, xn + uint64_t(imm) * 16, c);
}
template <class T>
VecV g_load_dup_quad_ss(const PredV& pg, uint64_t xn, uint64_t xm, CpuContext* c) {
    return quad_replicate<T>(pg, xn + (xm << log2_of(sizeof(T))), c);
}

}  // namespace

#include "sve/memory/generated/replicate.inc"

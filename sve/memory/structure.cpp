// Structure loads and stores (ld2/ld3/ld4, st2/st3/st4), both tiers. Memory holds the N members
// of each lane side by side; memory is visited in ascending order, lane by lane. Every lane has a
// single address slot, which its N accesses overwrite, so the record of a lane carries the
// address of its last member and the size of one element.
#include "sve/memory/access.h"
#include "sve/memory/gather_ops.h"

using namespace memory_access;

template <class T, class U, int N>
aarch64_decode_rc sve_ldN_zpri(cpu_state* s, aarch64_z_reg zt, aarch64_p_reg pg, aarch64_i_rsp_reg xn,
                               int64_t offset) {
    memtrace_slots slots;
    const uint64_t base = read_xsp(s, xn) + uint64_t(offset) * sizeof(T);
    const uint8_t* p = s->p[pg.num];
    for (uint32_t i = 0; i < SVE_VL_BYTES / sizeof(U); i++) {
        const bool on = lane_active<U>(p, i);
        for (uint32_t r = 0; r < N; r++) {
            const uint64_t a = base + (i * N + r) * sizeof(T);
            const T v = on ? load_app<T>(a) : T(0);
            std::memcpy(s->z[(zt.num + r) % 32] + i * sizeof(U), &v, sizeof v);
            slots.addr[i] = a;
        }
    }
    memtrace_bundle(s, slots.addr, reinterpret_cast<const char*>(p), sizeof(U), sizeof(T), memaccess_read);
    return RC_DONE;
}

template <class T, class U, int N>
aarch64_decode_rc sve_stN_zpri(cpu_state* s, aarch64_z_reg zt, aarch64_p_reg pg, aarch64_i_rsp_reg xn,
                               int64_t offset) {
    memtrace_slots slots;
    const uint64_t base = read_xsp(s, xn) + uint64_t(offset) * sizeof(T);
    const uint8_t* p = s->p[pg.num];
    for (uint32_t i = 0; i < SVE_VL_BYTES / sizeof(U); i++) {
        if (!lane_active<U>(p, i)) continue;
        for (uint32_t r = 0; r < N; r++) {
            const uint64_t a = base + (i * N + r) * sizeof(T);
            T v;
            std::memcpy(&v, s->z[(zt.num + r) % 32] + i * sizeof(U), sizeof v);
            store_app<T>(a, v);
            slots.addr[i] = a;
        }
    }
    memtrace_bundle(s, slots.addr, reinterpret_cast<const char*>(p), sizeof(U), sizeof(T), memaccess_write);
    return RC_DONE;
}

namespace {

template <class T, int N>
VecList<N> generic_ldN(const PredV& pg, uint64_t base, CpuContext* c) {
    VecList<N> l;
    const uint32_t n = elem_count(c, 8 * sizeof(T));
    for (uint32_t i = 0; i < n; i++) {
        const bool on = pred_active(pg, i, 8 * sizeof(T));
        for (uint32_t r = 0; r < N; r++)
            vset<T>(l.v[r], i, on ? read_generic<T, T>(base + (i * N + r) * sizeof(T), c) : T(0));
    }
    return l;
}

template <class T, int N>
void generic_stN(const VecList<N>& l, const PredV& pg, uint64_t base, CpuContext* c) {
    const uint32_t n = elem_count(c, 8 * sizeof(T));
    for (uint32_t i = 0; i < n; i++)
        if (pred_active(pg, i, 8 * sizeof(T)))
            for (uint32_t r = 0; r < N; r++)
                mem_lib<unsigned_of<T>>::write(unsigned_of<T>(vget<T>(l.v[r], i)), base + (i * N + r) * sizeof(T), c);
}

// The immediate counts whole groups of N vectors.
template <class T, int N>
inline uint64_t generic_imm_base(uint64_t xn, int64_t imm, const CpuContext* c) {
    return xn + uint64_t(imm * N) * vl_bytes(c);
}

}  // namespace

// The element loops of the structure rows; the row table instantiates them. The immediate counts
// groups of N vectors; Xm counts elements.
namespace {

template <class T, int N>
aarch64_decode_rc s_load_struct_si(cpu_state* s, aarch64_z_reg zt, aarch64_p_reg pg, aarch64_i_rsp_reg xn, int imm) {
    return sve_ldN_zpri<T, T, N>(s, zt, pg, xn, int64_t(imm) * N * (SVE_VL_BYTES / int(sizeof(T))));
}
template <class T, int N>
aarch64_decode_rc s_load_struct_ss(cpu_state* s, aarch64_z_reg zt, aarch64_p_reg pg, aarch64_i_rsp_reg xn, aarch64_i_reg xm) {
    return sve_ldN_zpri<T, T, N>(s, zt, pg, xn, int64_t(read_xzr(s, xm)));
}
template <class T, int N>
aarch64_decode_rc s_store_struct_si(cpu_state* s, aarch64_z_reg zt, aarch64_p_reg pg, aarch64_i_rsp_reg xn, int imm) {
    return sve_stN_zpri<T, T, N>(s, zt, pg, xn, int64_t(imm) * N * (SVE_VL_BYTES / int(sizeof(T))));
}
template <class T, int N>
aarch64_decode_rc s_store_struct_ss(cpu_state* s, aarch64_z_reg zt, aarch64_p_reg pg, aarch64_i_rsp_reg xn, aarch64_i_reg xm) {
    return sve_stN_zpri<T, T, N>(s, zt, pg, xn, int64_t(read_xzr(s, xm)));
}
template <class T, int N>
VecList<N> g_load_struct_si(const PredV& pg, uint64_t xn, int64_t imm, CpuContext* c) {
    return generic_ldN<T, N>(pg, generic_imm_base<T, N>(xn, imm, c), c);
}
template <class T, int N>
VecList<N> g_load_struct_ss(const PredV& pg, uint64_t xn, uint64_t xm, CpuContext* c) {
    return generic_ldN<T, N>(pg, xn + xm * sizeof(T), c);
}
template <class T, int N>
void g_store_struct_si(const VecList<N>& zt, const PredV& pg, uint64_t xn, int64_t imm, CpuContext* c) {
    generic_stN<T, N>(zt, pg, generic_imm_base<T, N>(xn, imm, c), c);
}
template <class T, int N>
void g_store_struct_ss(const VecList<N>& zt, const PredV& pg, uint64_t xn, uint64_t xm, CpuContext* c) {
    generic_stN<T, N>(zt, pg, xn + xm * sizeof(T), c);
}

}  // namespace

#include "sve/memory/generated/structure.inc"

// Gather loads and scatter stores (ld1* / st1* with a vector of addresses or offsets), both
// tiers, and the first-fault gathers (generic tier only).
//
// Each element is handled completely before the next: its address is formed from lane e of the
// address operand and kept in the element's slot before lane e of the destination is written,
// so a gather whose destination is also its address vector works in place, and the records sent
// after the data carry the addresses that were used.
#include "sve/memory/gather_access.h"

namespace {

using namespace memory_access;

template <class U>
inline U lane_of(const cpu_state* s, uint32_t z, uint32_t e) {
    U v;
    std::memcpy(&v, s->z[z] + e * sizeof(U), sizeof v);
    return v;
}

// One element after the other: a load writes every destination lane (zero when inactive); a
// store touches memory for active lanes only, and two active lanes with the same address both
// store, in ascending order.
template <class T, class U, int F, bool STORE>
aarch64_decode_rc vector_access(cpu_state* s, uint32_t zt, uint32_t pg, uint32_t zv, uint64_t scalar) {
    memtrace_slots slots;
    const uint8_t* p = s->p[pg];
    for (uint32_t e = 0; e < SVE_VL_BYTES / sizeof(U); e++) {
        const bool on = lane_active<U>(p, e);
        uint64_t a = 0;
        if (on) slots.addr[e] = a = gather_address<T, U, F>(scalar, lane_of<U>(s, zv, e));
        if constexpr (STORE) {
            if (on) store_app<T>(a, T(lane_of<U>(s, zt, e)));  // the low bytes of the lane
        } else {
            const U v = on ? widen<T, U>(load_app<T>(a)) : U(0);
            std::memcpy(s->z[zt] + e * sizeof(U), &v, sizeof v);
        }
    }
    memtrace_bundle(s, slots.addr, reinterpret_cast<const char*>(p), sizeof(U), sizeof(T),
                    STORE ? memaccess_write : memaccess_read);
    return RC_DONE;
}

template <class T, class U, int F, bool FIRST_FAULT>
VecV generic_gather(const PredV& pg, const VecV& zv, uint64_t scalar, CpuContext* c) {
    return generic_load_at<T, U, FIRST_FAULT>(
        pg, [&](uint32_t e) { return gather_address<T, U, F>(scalar, vget<U>(zv, e)); }, c);
}

template <class T, class U, int F>
void generic_scatter(const VecV& zt, const PredV& pg, const VecV& zv, uint64_t scalar, CpuContext* c) {
    const uint32_t n = elem_count(c, 8 * sizeof(U));
    for (uint32_t e = 0; e < n; e++)
        if (pred_active(pg, e, 8 * sizeof(U)))
            mem_lib<unsigned_of<T>>::write(unsigned_of<T>(vget<U>(zt, e)),
                                           gather_address<T, U, F>(scalar, vget<U>(zv, e)), c);
}

}  // namespace

// The element loops of the gathers and scatters, by address form (vector plus immediate, vector
// plus scalar, scalar plus vector); the row table instantiates them.
namespace {

using zr = aarch64_z_reg;
using pr = aarch64_p_reg;
using xr = aarch64_i_rsp_reg;

template <class T, class U, sve_addr_form F, bool FF>
aarch64_decode_rc s_gather_vi(cpu_state* s, zr zt, pr pg, zr zn, unsigned int imm) {
    return vector_access<T, U, F, false>(s, zt.num, pg.num, zn.num, uint64_t(imm) * sizeof(T));
}
template <class T, class U, sve_addr_form F, bool FF>
aarch64_decode_rc s_gather_vs(cpu_state* s, zr zt, pr pg, zr zm, xr xn) {
    return vector_access<T, U, F, false>(s, zt.num, pg.num, zm.num, read_xsp(s, xn));
}
template <class T, class U, sve_addr_form F, bool FF>
aarch64_decode_rc s_gather_sv(cpu_state* s, zr zt, pr pg, xr xn, zr zm) {
    return vector_access<T, U, F, false>(s, zt.num, pg.num, zm.num, read_xsp(s, xn));
}
template <class T, class U, sve_addr_form F>
aarch64_decode_rc s_scatter_vi(cpu_state* s, zr zt, pr pg, zr zn, unsigned int imm) {
    return vector_access<T, U, F, true>(s, zt.num, pg.num, zn.num, uint64_t(imm) * sizeof(T));
}
template <class T, class U, sve_addr_form F>
aarch64_decode_rc s_scatter_vs(cpu_state* s, zr zt, pr pg, zr zm, xr xn) {
    return vector_access<T, U, F, true>(s, zt.num, pg.num, zm.num, read_xsp(s, xn));
}
template <class T, class U, sve_addr_form F>
aarch64_decode_rc s_scatter_sv(cpu_state* s, zr zt, pr pg, xr xn, zr zm) {
    return vector_access<T, U, F, true>(s, zt.num, pg.num, zm.num, read_xsp(s, xn));
}
// FF: a first-fault gather, which reports unreadable lanes through FFR instead of faulting.
template <class T, class U, sve_addr_form F, bool FF>
VecV g_gather_vi(const PredV& pg, const VecV& zn, uint64_t imm, CpuContext* c) {
    return generic_gather<T, U, F, FF>(pg, zn, imm * sizeof(T), c);
}
template <class T, class U, sve_addr_form F, bool FF>
VecV g_gather_vs(const PredV& pg, const VecV& zm, uint64_t xn, CpuContext* c) {
    return generic_gather<T, U, F, FF>(pg, zm, xn, c);
}
template <class T, class U, sve_addr_form F, bool FF>
VecV g_gather_sv(const PredV& pg, uint64_t xn, const VecV& zm, CpuContext* c) {
    return generic_gather<T, U, F, FF>(pg, zm, xn, c);
}
template <class T, class U, sve_addr_form F>
void g_scatter_vi(const VecV& zt, const PredV& pg, const VecV& zn, uint64_t imm, CpuContext* c) {
    generic_scatter<T, U, F>(zt, pg, zn, imm * sizeof(T), c);
}
template <class T, class U, sve_addr_form F>
void g_scatter_vs(const VecV& zt, const PredV& pg, const VecV& zm, uint64_t xn, CpuContext* c) {
    generic_scatter<T, U, F>(zt, pg, zm, xn, c);
}
template <class T, class U, sve_addr_form F>
void g_scatter_sv(const VecV& zt, const PredV& pg, uint64_t xn, const VecV& zm, CpuContext* c) {
    generic_scatter<T, U, F>(zt, pg, zm, xn, c);
}

}  // namespace

#include "sve/memory/generated/gather_scatter.inc"

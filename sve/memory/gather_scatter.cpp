// Gather loads and scatter stores (ld1* / st1* with a vector of addresses or offsets), both
// tiers, and the first-fault gathers (generic tier only).
//
// Each element is handled completely before the next: its address is formed from lane e of the
// address operand and kept in the element's slot before lane e of the destination is written,
// so a gather whose destination is also its address vector works in place, and the records sent
// after the data carry the addresses that were used.
#include "sve/memory/gather_access.h"

namespace {

using namespace mem;

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

// The address operand of each form as (vector, scalar): specialised, then generic.
#define SVE_GATHER_PASS_VI(T) zn.num, uint64_t(imm) * sizeof(T)
#define SVE_GATHER_PASS_VS(T) zm.num, read_xsp(s, xn)
#define SVE_GATHER_PASS_XVS SVE_GATHER_PASS_VS
#define SVE_GATHER_PASS_YVS SVE_GATHER_PASS_VS
#define SVE_GATHER_PASS_SV SVE_GATHER_PASS_VS
#define SVE_GATHER_PASS_XSV SVE_GATHER_PASS_VS
#define SVE_GATHER_PASS_YSV SVE_GATHER_PASS_VS
#define SVE_GATHER_GPASS_VI(T) zn, imm * sizeof(T)
#define SVE_GATHER_GPASS_VS(T) zm, xn
#define SVE_GATHER_GPASS_XVS SVE_GATHER_GPASS_VS
#define SVE_GATHER_GPASS_YVS SVE_GATHER_GPASS_VS
#define SVE_GATHER_GPASS_SV SVE_GATHER_GPASS_VS
#define SVE_GATHER_GPASS_XSV SVE_GATHER_GPASS_VS
#define SVE_GATHER_GPASS_YSV SVE_GATHER_GPASS_VS

#define DEFINE_GATHER(op, stem, T, U, F)                                                              \
    aarch64_decode_rc op(cpu_state* s, aarch64_z_reg zt, aarch64_p_reg pg, SVE_GATHER_ARGS_##F(_)) { \
        return vector_access<T, U, F, false>(s, zt.num, pg.num, SVE_GATHER_PASS_##F(T));                            \
    }                                                                                                 \
    VecV stem(PredV pg, SVE_GATHER_GARGS_##F(_), CpuContext* c) {                                     \
        return generic_gather<T, U, F, false>(pg, SVE_GATHER_GPASS_##F(T), c);                        \
    }
#define DEFINE_SCATTER(op, stem, T, U, F)                                                             \
    aarch64_decode_rc op(cpu_state* s, aarch64_z_reg zt, aarch64_p_reg pg, SVE_GATHER_ARGS_##F(_)) { \
        return vector_access<T, U, F, true>(s, zt.num, pg.num, SVE_GATHER_PASS_##F(T));                           \
    }                                                                                                 \
    void stem(VecV zt, PredV pg, SVE_GATHER_GARGS_##F(_), CpuContext* c) {                            \
        generic_scatter<T, U, F>(zt, pg, SVE_GATHER_GPASS_##F(T), c);                                 \
    }
#define DEFINE_FIRST_FAULT_GATHER(stem, T, U, F)                               \
    VecV stem(PredV pg, SVE_GATHER_GARGS_##F(_), CpuContext* c) {              \
        return generic_gather<T, U, F, true>(pg, SVE_GATHER_GPASS_##F(T), c); \
    }

SVE_GATHER_LOADS(DEFINE_GATHER)
SVE_SCATTER_STORES(DEFINE_SCATTER)
SVE_FIRST_FAULT_GATHERS(DEFINE_FIRST_FAULT_GATHER)

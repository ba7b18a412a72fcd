// Non-fault and first-fault loads and the FFR instructions.
//
// Three mechanisms, with different results at the edges:
// - non-fault loads (specialised) probe the first byte of an element whenever the load enters a
//   page, and clear the FFR lane of each active element that cannot be read;
// - seven first-fault contiguous loads (specialised) look once at the page after the vector and
//   leave out every lane from the first one that does not wholly fit on the first page;
// - the other first-fault loads (generic) read each element through a guarded read and clear
//   FFR from the first element that fails.
#include "sve/memory/gather_access.h"

namespace {

using namespace memory_access;

inline bool readable(uint64_t a) { return addr_is_readable<char>(reinterpret_cast<volatile char*>(a)); }

template <class U>
inline void clear_ffr_lane(cpu_state* s, uint32_t i) {
    std::memset(s->ffr + i * sizeof(U), 0, sizeof(U));
}

template <class U>
inline void put_lane(cpu_state* s, uint32_t zt, uint32_t i, U v) {
    std::memcpy(s->z[zt] + i * sizeof(U), &v, sizeof v);
}

// An element that begins on a readable page and ends on an unreadable one: the probe on page
// entry saw only its first byte. Such an element is probed at its last byte as well and, if that
// byte cannot be read, fails as a whole like an element on an unreadable page (FFR lane cleared,
// destination lane kept). This is what the guarded reads of the generic tier do, and it keeps
// the load from faulting.
template <class T, class U>
aarch64_decode_rc nonfault_load(cpu_state* s, uint32_t zt, uint32_t pg, uint64_t base) {
    const uint64_t mask = uint64_t(page_size - 1);
    bool page_ok = readable(base);
    int32_t last_offset = int32_t(base & mask);
    const uint8_t* p = s->p[pg];
    for (uint32_t i = 0; i < SVE_VL_BYTES / sizeof(U); i++) {
        if (!lane_active<U>(p, i)) {
            put_lane<U>(s, zt, i, 0);
            continue;
        }
        const uint64_t a = base + i * sizeof(T);
        const int32_t offset = int32_t(a & mask);
        if (offset <= last_offset) {  // first lane, or a new page
            page_ok = readable(a);
            last_offset = offset;
        }
        bool ok = page_ok;
        if (ok && uint64_t(offset) + sizeof(T) - 1 > mask) ok = readable(a + sizeof(T) - 1);
        if (ok) put_lane<U>(s, zt, i, widen<T, U>(load_app<T>(a)));
        else clear_ffr_lane<U>(s, i);
    }
    memtrace_lin<unsigned_of<T>, U>(s, reinterpret_cast<unsigned_of<T>*>(base), reinterpret_cast<char*>(s->p[pg]),
                                    memaccess_read);
    return RC_DONE;
}

template <class T, class U>
aarch64_decode_rc first_fault_load(cpu_state* s, uint32_t zt, uint32_t pg, uint64_t base) {
    constexpr uint32_t n = SVE_VL_BYTES / sizeof(U);
    const uint64_t mask = uint64_t(page_size - 1);
    uint32_t m = n;
    // The vector crosses into the next page (ending exactly at a page end counts): one probe.
    if (int32_t(base & mask) > int32_t((base + SVE_VL_BYTES) & mask) && !readable(base + uint64_t(page_size))) {
        uint64_t remaining = uint64_t(page_size) - (base & mask);
        if (remaining > SVE_VL_BYTES) remaining = SVE_VL_BYTES;
        m = uint32_t(remaining / sizeof(U));
    }
    const uint8_t* p = s->p[pg];
    for (uint32_t i = 0; i < m; i++)
        put_lane<U>(s, zt, i, lane_active<U>(p, i) ? widen<T, U>(load_app<T>(base + i * sizeof(T))) : U(0));
    for (uint32_t i = m; i < n; i++) clear_ffr_lane<U>(s, i);
    memtrace_lin<unsigned_of<T>, U>(s, reinterpret_cast<unsigned_of<T>*>(base), reinterpret_cast<char*>(s->p[pg]),
                                    memaccess_read);
    return RC_DONE;
}

// Generic non-fault load: each active element through a guarded read; one that fails keeps the
// old lane and loses its FFR lane.
template <class T, class U>
VecV generic_nonfault(const VecV& old, const PredV& pg, uint64_t base, CpuContext* c) {
    VecV r = old;
    const uint32_t n = elem_count(c, 8 * sizeof(U));
    auto addr = [&](uint32_t e) { return base + e * sizeof(T); };
    if (contiguous_active_readable<T, U>(pg, base, c)) return generic_load_at<T, U, false>(pg, addr, c);
    for (uint32_t e = 0; e < n; e++) {
        if (!pred_active(pg, e, 8 * sizeof(U))) {
            vset<U>(r, e, U(0));
            continue;
        }
        bool fault = false;
        auto raw = mem_lib<unsigned_of<T>>::read(base + e * sizeof(T), &fault, c, 1);
        if (fault) ffr_clear_lane<U>(c->ffr, e);
        else vset<U>(r, e, widen<T, U>(T(raw)));
    }
    return r;
}

template <class T, class U>
VecV generic_first_fault(const PredV& pg, uint64_t xn, uint64_t xm, CpuContext* c) {
    const uint64_t base = xn + (xm << log2_of(sizeof(T)));
    auto addr = [&](uint32_t e) { return base + e * sizeof(T); };
    if (contiguous_active_readable<T, U>(pg, base, c)) return generic_load_at<T, U, false>(pg, addr, c);
    return generic_load_at<T, U, true>(pg, addr, c);
}

}  // namespace

// The element loops of the non-fault and first-fault contiguous rows; the row table instantiates
// them.
namespace {

template <class T, class U>
aarch64_decode_rc s_load_nf(cpu_state* s, aarch64_z_reg zt, aarch64_p_reg pg, aarch64_i_rsp_reg xn, int imm) {
    return nonfault_load<T, U>(s, zt.num, pg.num,
                               read_xsp(s, xn) + uint64_t(int64_t(imm) * (SVE_VL_BYTES / sizeof(U) * sizeof(T))));
}
template <class T, class U>
VecV g_load_nf(const VecV& zt, const PredV& pg, uint64_t xn, int64_t imm, CpuContext* c) {
    return generic_nonfault<T, U>(zt, pg, xn + uint64_t(imm) * elem_count(c, 8 * sizeof(U)) * sizeof(T), c);
}
template <class T, class U>
aarch64_decode_rc s_load_ff(cpu_state* s, aarch64_z_reg zt, aarch64_p_reg pg, aarch64_i_rsp_reg xn, aarch64_i_reg xm) {
    return first_fault_load<T, U>(s, zt.num, pg.num, index_address<T>(s, xn, xm));
}
template <class T, class U>
VecV g_load_ff(const PredV& pg, uint64_t xn, uint64_t xm, CpuContext* c) {
    return generic_first_fault<T, U>(pg, xn, xm, c);
}

}  // namespace

#include "sve/memory/generated/first_fault.inc"

aarch64_decode_rc sve_setffr(cpu_state* s) {
    std::memset(s->ffr, 1, SVE_VL_BYTES);
    return RC_DONE;
}
aarch64_decode_rc sve_wrffr_p(cpu_state* s, aarch64_p_reg pn) {
    std::memcpy(s->ffr, s->p[pn.num], SVE_VL_BYTES);
    return RC_DONE;
}
aarch64_decode_rc sve_rdffr_p(cpu_state* s, aarch64_p_reg pd) {
    std::memcpy(s->p[pd.num], s->ffr, SVE_VL_BYTES);
    return RC_DONE;
}

void VecPClearFFSR(CpuContext* c) {
    c->ffr = PredV{};
    const uint32_t bytes = vl_bytes(c);
    for (uint32_t i = 0; i < bytes; i++) c->ffr.w[i >> 6] |= 1ull << (i & 63);
}
void VecPWriteFFSRP(PredV pn, CpuContext* c) { c->ffr = pn; }
PredV VecPReadFFSRP(CpuContext* c) { return c->ffr; }

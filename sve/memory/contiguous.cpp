// Contiguous and non-temporal loads and stores (ld1*, st1*, ldnt1*, stnt1*), both tiers.
// Non-temporal accesses are plain accesses: the hint has no effect here.
#include "sve/core/simd.h"
#include "sve/memory/access.h"

namespace {

using namespace memory_access;

// Memory elements T into register elements U, one register.
template <class T, class U>
struct contiguous_access {
    typedef T elem;
    typedef VecV value;
    static constexpr int64_t group_bytes = SVE_VL_BYTES / sizeof(U) * sizeof(T);
    static uint64_t generic_group_bytes(const CpuContext* c) { return uint64_t(elem_count(c, 8 * sizeof(U))) * sizeof(T); }

    static aarch64_decode_rc load(cpu_state* s, aarch64_z_reg zt, aarch64_p_reg pg, uint64_t base) {
        uint8_t* z = s->z[zt.num];
        const uint8_t* p = s->p[pg.num];
        if constexpr (sizeof(T) == sizeof(U)) {
            // Same width: each run of active lanes is one copy, each inactive run one clear.
            for_each_run<U>(p, [&](uint32_t i, uint32_t k, bool on) {
                if (on) {
                    std::memcpy(z + i * sizeof(U), reinterpret_cast<const void*>(base + i * sizeof(T)), k * sizeof(U));
                } else {
                    std::memset(z + i * sizeof(U), 0, k * sizeof(U));
                }
            });
        } else if (all_lanes_active<U>(p)) {
            // Widen 16 bytes of register at a time.
            constexpr uint32_t lanes = 16 / sizeof(U);
            typedef T narrow_t __attribute__((vector_size(lanes * sizeof(T))));
            typedef U wide_t __attribute__((vector_size(16)));
            for (uint32_t c = 0; c < SVE_CHUNKS; c++) {
                narrow_t a;
                std::memcpy(&a, reinterpret_cast<const void*>(base + c * lanes * sizeof(T)), sizeof a);
                wide_t b = __builtin_convertvector(a, wide_t);
                std::memcpy(z + 16 * c, &b, 16);
            }
        } else {
            for (uint32_t i = 0; i < SVE_VL_BYTES / sizeof(U); i++) {
                U v = lane_active<U>(p, i) ? widen<T, U>(load_app<T>(base + i * sizeof(T))) : U(0);
                std::memcpy(z + i * sizeof(U), &v, sizeof v);
            }
        }
        memtrace_lin<unsigned_of<T>, U>(s, reinterpret_cast<unsigned_of<T>*>(base),
                                        reinterpret_cast<char*>(s->p[pg.num]), memaccess_read);
        return RC_DONE;
    }

    static aarch64_decode_rc store(cpu_state* s, aarch64_z_reg zt, aarch64_p_reg pg, uint64_t base) {
        const uint8_t* z = s->z[zt.num];
        const uint8_t* p = s->p[pg.num];
        if constexpr (sizeof(T) == sizeof(U)) {
            for_each_run<U>(p, [&](uint32_t i, uint32_t k, bool on) {
                if (on) std::memcpy(reinterpret_cast<void*>(base + i * sizeof(T)), z + i * sizeof(U), k * sizeof(U));
            });
        } else {
            for (uint32_t i = 0; i < SVE_VL_BYTES / sizeof(U); i++) {
                if (!lane_active<U>(p, i)) continue;
                T v;
                std::memcpy(&v, z + i * sizeof(U), sizeof v);  // the low bytes of the lane
                store_app<T>(base + i * sizeof(T), v);
            }
        }
        memtrace_lin<T, U>(s, reinterpret_cast<T*>(base), reinterpret_cast<char*>(s->p[pg.num]), memaccess_write);
        return RC_DONE;
    }

    // Generic tier: the same at the context's vector length, through the memory primitives.
    static VecV gload(const PredV& pg, uint64_t base, CpuContext* c) {
        VecV r;
        uint32_t n = elem_count(c, 8 * sizeof(U));
        for (uint32_t e = 0; e < n; e++)
            vset<U>(r, e, pred_active(pg, e, 8 * sizeof(U)) ? read_generic<T, U>(base + e * sizeof(T), c) : U(0));
        return r;
    }

    static void gstore(const VecV& zt, const PredV& pg, uint64_t base, CpuContext* c) {
        uint32_t n = elem_count(c, 8 * sizeof(U));
        for (uint32_t e = 0; e < n; e++)
            if (pred_active(pg, e, 8 * sizeof(U))) mem_lib<T>::write(T(vget<U>(zt, e)), base + e * sizeof(T), c);
    }
};

}  // namespace

// The functions of the contiguous rows: the address forms of sve/memory/access.h over
// contiguous_access, which the row table instantiates.
#include "sve/memory/generated/contiguous.inc"

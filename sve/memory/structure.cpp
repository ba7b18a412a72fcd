// Structure loads and stores (ld2/ld3/ld4, st2/st3/st4), both tiers. Memory holds the N members
// of each lane side by side; memory is visited in ascending order, lane by lane. Every lane has a
// single address slot, which its N accesses overwrite, so the record of a lane carries the
// address of its last member and the size of one element.
#include "sve/memory/access.h"
#include "sve/memory/gather_ops.h"

using namespace memory_access;

namespace {

// N registers from Zt (wrapping after z31) and N elements T side by side in memory per lane. The
// immediate counts whole groups of N vectors.
template <class T, int N>
struct structure_access {
    typedef T elem;
    typedef VecList<N> value;
    static constexpr int64_t group_bytes = int64_t(N) * SVE_VL_BYTES;
    static uint64_t generic_group_bytes(const CpuContext* c) { return uint64_t(N) * vl_bytes(c); }

    static aarch64_decode_rc load(cpu_state* s, aarch64_z_reg zt, aarch64_p_reg pg, uint64_t base) {
        memtrace_slots slots;
        const uint8_t* p = s->p[pg.num];
        for (uint32_t i = 0; i < SVE_VL_BYTES / sizeof(T); i++) {
            const bool on = lane_active<T>(p, i);
            for (uint32_t r = 0; r < N; r++) {
                const uint64_t a = base + (i * N + r) * sizeof(T);
                const T v = on ? load_app<T>(a) : T(0);
                std::memcpy(s->z[(zt.num + r) % 32] + i * sizeof(T), &v, sizeof v);
                slots.addr[i] = a;
            }
        }
        memtrace_bundle(s, slots.addr, reinterpret_cast<const char*>(p), sizeof(T), sizeof(T), memaccess_read);
        return RC_DONE;
    }

    static aarch64_decode_rc store(cpu_state* s, aarch64_z_reg zt, aarch64_p_reg pg, uint64_t base) {
        memtrace_slots slots;
        const uint8_t* p = s->p[pg.num];
        for (uint32_t i = 0; i < SVE_VL_BYTES / sizeof(T); i++) {
            if (!lane_active<T>(p, i)) continue;
            for (uint32_t r = 0; r < N; r++) {
                const uint64_t a = base + (i * N + r) * sizeof(T);
                T v;
                std::memcpy(&v, s->z[(zt.num + r) % 32] + i * sizeof(T), sizeof v);
                store_app<T>(a, v);
                slots.addr[i] = a;
            }
        }
        memtrace_bundle(s, slots.addr, reinterpret_cast<const char*>(p), sizeof(T), sizeof(T), memaccess_write);
        return RC_DONE;
    }

    static VecList<N> gload(const PredV& pg, uint64_t base, CpuContext* c) {
        VecList<N> l;
        const uint32_t n = elem_count(c, 8 * sizeof(T));
        for (uint32_t i = 0; i < n; i++) {
            const bool on = pred_active(pg, i, 8 * sizeof(T));
            for (uint32_t r = 0; r < N; r++)
                vset<T>(l.v[r], i, on ? read_generic<T, T>(base + (i * N + r) * sizeof(T), c) : T(0));
        }
        return l;
    }

    static void gstore(const VecList<N>& l, const PredV& pg, uint64_t base, CpuContext* c) {
        const uint32_t n = elem_count(c, 8 * sizeof(T));
        for (uint32_t i = 0; i < n; i++)
            if (pred_active(pg, i, 8 * sizeof(T)))
                for (uint32_t r = 0; r < N; r++)
                    mem_lib<unsigned_of<T>>::write(unsigned_of<T>(vget<T>(l.v[r], i)), base + (i * N + r) * sizeof(T), c);
    }
};

}  // namespace

// The functions of the structure rows: the address forms of sve/memory/access.h over
// structure_access, which the row table instantiates.
#include "sve/memory/generated/structure.inc"

// Shared pieces of gathers, scatters and first-fault loads: element addresses of the vector
// forms, and the element loop of the generic tier with its optional fault guard.
#pragma once

#include <cstdint>
#include <cstring>

#include "sve/memory/access.h"
#include "sve/memory/gather_ops.h"

namespace memory_access {

// Address of one element: `scalar` is Xn (or imm * memory element for VI), `lane` the lane of
// the offset (or base) vector. 64-bit sum with wrap-around.
template <class T, class U, int F>
inline uint64_t gather_address(uint64_t scalar, U lane) {
    uint64_t off;
    if constexpr (F == XVS || F == XSV) off = uint64_t(int64_t(int32_t(uint32_t(lane))));
    else if constexpr (F == YVS || F == YSV) off = uint32_t(lane);
    else off = uint64_t(lane);  // a 32-bit lane zero-extends
    if constexpr (F == SV || F == XSV || F == YSV) off <<= log2_of(sizeof(T));
    return scalar + off;
}

// Clears the sizeof(U) bits of lane e in a packed FFR.
template <class U>
inline void ffr_clear_lane(PredV& ffr, uint32_t e) {
    for (uint32_t b = 0; b < sizeof(U); b++) {
        uint32_t i = e * sizeof(U) + b;
        ffr.w[i >> 6] &= ~(1ull << (i & 63));
    }
}

// The unit of the guarded touches below: a block of 4 KiB lies within one page, whatever the
// page size, and a page is the unit of protection.
constexpr uint64_t TOUCH_BLOCK = 4096, TOUCH_BLOCK_MASK = ~(TOUCH_BLOCK - 1);

// Whether every active element of n at addr(e) can be read, found in one guarded region. When
// so, reading them through guarded reads one by one would find no fault either, and plain reads
// give the same result. One byte is touched in each block that holds a byte of an active element.
template <class T, class U, class Addr>
bool active_elements_readable(const PredV& pg, Addr addr, uint32_t n) {
    uint64_t addrs[512];
    uint32_t count = 0;
    uint64_t last_block = 1;  // no block: block addresses have the low bits clear
    if (n > 256) return false;
    for (uint32_t e = 0; e < n; e++) {
        if (!pred_active(pg, e, 8 * sizeof(U))) continue;
        const uint64_t lo = addr(e), hi = lo + sizeof(T) - 1;
        if ((lo & TOUCH_BLOCK_MASK) != last_block) addrs[count++] = lo;
        if ((hi & TOUCH_BLOCK_MASK) != (lo & TOUCH_BLOCK_MASK)) addrs[count++] = hi;
        last_block = hi & TOUCH_BLOCK_MASK;
    }
    return GuardedTouchAll(addrs, count);
}
// The same for a contiguous load, elements of sizeof(T) bytes from `base`: one byte of each 4 KiB
// block from the first to the last active element, inactive ones between them included (when
// one of those cannot be read, the answer is no, and the element by element path decides).
template <class T, class U>
bool contiguous_active_readable(const PredV& pg, uint64_t base, const CpuContext* c) {
    const uint32_t n = elem_count(c, 8 * sizeof(U));
    if (n * sizeof(U) > 256) return false;
    pred_span span = active_span(pg, 8 * sizeof(U), uint32_t(n * sizeof(U)));
    if (span.first < 0) return true;
    const uint64_t lo = base + uint64_t(span.first) * sizeof(T), hi = base + uint64_t(span.last) * sizeof(T) + sizeof(T) - 1;
    if (hi < lo || hi - lo > 256 * 8) return false;  // wraps round, or more than a vector
    uint64_t addrs[4] = {lo, 0, 0, 0};
    uint32_t count = 1;
    for (uint64_t b = (lo & TOUCH_BLOCK_MASK) + TOUCH_BLOCK; b <= hi && count < 4; b += TOUCH_BLOCK) addrs[count++] = b;
    return GuardedTouchAll(addrs, count);
}

// Generic load of elements at addr(e). With FIRST_FAULT every read is guarded: from the first
// element that cannot be read upwards the result is zero and the FFR lanes are cleared, active
// or not, and nothing more is read. Without it the reads are plain; so are they when one guarded
// touch of all active elements finds them readable.
template <class T, class U, bool FIRST_FAULT, class Addr>
VecV generic_load_at(const PredV& pg, Addr addr, CpuContext* c) {
    const uint32_t n = elem_count(c, 8 * sizeof(U));
    if constexpr (FIRST_FAULT) {
        if (active_elements_readable<T, U>(pg, addr, n)) return generic_load_at<T, U, false>(pg, addr, c);
    }
    VecV r;
    bool fault = false;
    int no_fault = 0;  // 0 for the first element read, 1 after it
    for (uint32_t e = 0; e < n; e++) {
        U v = 0;
        if (pred_active(pg, e, 8 * sizeof(U)) && !fault) {
            auto raw = mem_lib<unsigned_of<T>>::read(addr(e), FIRST_FAULT ? &fault : nullptr, c, no_fault);
            no_fault = 1;
            if (!fault) v = widen<T, U>(T(raw));
        }
        if (fault) ffr_clear_lane<U>(c->ffr, e);
        vset<U>(r, e, v);
    }
    return r;
}

}  // namespace memory_access

// The memory trace: the record that crosses into the companion library, the per-thread region
// of interest, and the builders of linear and bundle records.
//
// The four companion operations are only declared here. The emulator library references them
// weakly: whatever links it (the client, a test) supplies them, usually by linking
// libmemtrace_sve_utils.
#pragma once

#include <cstddef>
#include <cstdint>

#include "sve/core/cpu_state.h"

enum memaccess_type_t : int32_t {
    memaccess_write = 0,
    memaccess_read = 1,
};

// Bits of `flags` of a bundle record; a linear record and a marker record hold 0.
enum : uint32_t {
    mem_ref_first = 1,
    mem_ref_bundle = 2,
    mem_ref_last = 4,
};

// `thread_id` of the two marker records.
constexpr uint32_t roi_start_id = 0xFFFFFFFFu;
constexpr uint32_t roi_stop_id = 0xFFFFFFFEu;

// One trace record. Its layout is the wire format of the trace: 48 bytes, little-endian.
struct alignas(8) sve_mem_ref_t {
    uint64_t count;       // value of incr_count() for this record
    uint32_t thread_id;   // low 32 bits of pthread_self(), or a marker id
    uint32_t flags;       // bundle flags, 0 for a linear record
    memaccess_type_t type;
    uint8_t reserved[4];  // not written for memory records, zero in marker records
    uint64_t size;        // bytes of memory covered
    uint64_t address;     // lowest byte
    uint64_t pc;          // the emulated instruction
};
static_assert(sizeof(sve_mem_ref_t) == 48 && alignof(sve_mem_ref_t) == 8);
static_assert(offsetof(sve_mem_ref_t, count) == 0);
static_assert(offsetof(sve_mem_ref_t, thread_id) == 8);
static_assert(offsetof(sve_mem_ref_t, flags) == 12);
static_assert(offsetof(sve_mem_ref_t, type) == 16 && sizeof(memaccess_type_t) == 4);
static_assert(offsetof(sve_mem_ref_t, reserved) == 20);
static_assert(offsetof(sve_mem_ref_t, size) == 24);
static_assert(offsetof(sve_mem_ref_t, address) == 32);
static_assert(offsetof(sve_mem_ref_t, pc) == 40);

// The companion library's interface. trace_mem keeps its C++ name (its argument type is part of
// the symbol); the other three are plain C names.
extern "C" bool sve_init(int zero, const char* app_name);
extern "C" void sve_exit();
extern "C" uint64_t incr_count();
void trace_mem(const sve_mem_ref_t& ref);

// Per-thread region state. Only the markers write them.
extern thread_local constinit bool enable_trace;
extern thread_local constinit sve_mem_ref_t trace_roi;

// The markers: add zN.b, zN.b, #1, lsl #8 starts a region in this thread, #2, lsl #8 stops it.
// Called by add (immediate) for byte elements; the immediate is the shifted value.
constexpr uint64_t ROI_START_IMM = 0x100;
constexpr uint64_t ROI_STOP_IMM = 0x200;
void memtrace_roi_marker(uint64_t imm);
inline void memtrace_check_marker(uint64_t imm) {
    if (imm == ROI_START_IMM || imm == ROI_STOP_IMM) memtrace_roi_marker(imm);
}

// Linear records of a contiguous access: T is the memory element, U the register element,
// `base` the address of element 0, `pred` the governing predicate in cpu_state. One record per
// maximal run of active lanes, in ascending order; nothing outside a region.
template <class T, class U>
void memtrace_lin(cpu_state* state, T* base, char* pred, memaccess_type_t type);

// Bundle records of gathers, scatters and structure accesses: one record of `elem_bytes` per
// active lane, address from that lane's slot, flags first/bundle/last. `lane_bytes` is the
// register element size, which selects the predicate byte of each lane; `lanes` = SVE_VL_BYTES / lane_bytes.
void memtrace_bundle(cpu_state* state, const uint64_t* addr_slots, const char* pred, uint32_t lane_bytes,
                     uint32_t elem_bytes, memaccess_type_t type);

// Address slots of one instruction, one per register element (at most SVE_VL_BYTES).
struct memtrace_slots {
    uint64_t addr[SVE_VL_BYTES];
};

// The memory trace: region markers and the linear and bundle record builders.
#include "sve/trace/trace.h"

#include <pthread.h>

// The companion is not a link dependency of the emulator library: whoever links the library
// supplies these (the client through libmemtrace_sve_utils). Without them nothing is sent.
extern "C" uint64_t incr_count() __attribute__((weak));
void trace_mem(const sve_mem_ref_t& ref) __attribute__((weak));

constinit thread_local bool enable_trace = false;
constinit thread_local sve_mem_ref_t trace_roi = {};

namespace {

inline bool companion_present() { return &incr_count != nullptr && &trace_mem != nullptr; }

inline uint32_t own_thread_id() { return uint32_t(uint64_t(pthread_self())); }

// Sends one memory record built from its parts; `rec` carries thread, type and pc already.
inline void send(sve_mem_ref_t& rec, uint64_t address, uint64_t size, uint32_t flags) {
    rec.count = incr_count();
    rec.flags = flags;
    rec.address = address;
    rec.size = size;
    trace_mem(rec);
}

inline bool lane_active(const char* pred, uint32_t lane, uint32_t lane_bytes) {
    return pred[lane * lane_bytes] & 1;
}

// The runs of active lanes of a contiguous access, one record each.
void send_runs(const cpu_state* state, uint64_t base, const char* pred, uint32_t lane_bytes, uint32_t elem_bytes,
               memaccess_type_t type) {
    const uint32_t n = SVE_VL_BYTES / lane_bytes;
    uint32_t active = 0;
    for (uint32_t i = 0; i < n; i++) active += lane_active(pred, i, lane_bytes);
    if (active == 0 || !companion_present()) return;

    sve_mem_ref_t rec;
    rec.thread_id = own_thread_id();
    rec.type = type;
    rec.pc = state->pc;
    if (active == n) {
        send(rec, base, uint64_t(n) * elem_bytes, 0);
        return;
    }
    uint32_t start = 0;
    bool open = false;
    for (uint32_t i = 0; i <= n; i++) {
        bool a = i < n && lane_active(pred, i, lane_bytes);
        if (a && !open) {
            start = i;
            open = true;
        } else if (!a && open) {
            send(rec, base + uint64_t(start) * elem_bytes, uint64_t(i - start) * elem_bytes, 0);
            open = false;
        }
    }
}

}  // namespace

void memtrace_roi_marker(uint64_t imm) {
    bool start = imm == ROI_START_IMM;
    enable_trace = start;
    if (!companion_present()) return;
    trace_roi.count = incr_count();
    trace_roi.thread_id = start ? roi_start_id : roi_stop_id;
    trace_mem(trace_roi);
}

template <class T, class U>
void memtrace_lin(cpu_state* state, T* base, char* pred, memaccess_type_t type) {
    if (!enable_trace) return;
    send_runs(state, uint64_t(base), pred, sizeof(U), sizeof(T), type);
}

template void memtrace_lin<unsigned char, unsigned char>(cpu_state*, unsigned char*, char*, memaccess_type_t);
template void memtrace_lin<unsigned char, unsigned short>(cpu_state*, unsigned char*, char*, memaccess_type_t);
template void memtrace_lin<unsigned char, unsigned int>(cpu_state*, unsigned char*, char*, memaccess_type_t);
template void memtrace_lin<unsigned char, unsigned long>(cpu_state*, unsigned char*, char*, memaccess_type_t);
template void memtrace_lin<unsigned short, unsigned short>(cpu_state*, unsigned short*, char*, memaccess_type_t);
template void memtrace_lin<unsigned short, unsigned int>(cpu_state*, unsigned short*, char*, memaccess_type_t);
template void memtrace_lin<unsigned short, unsigned long>(cpu_state*, unsigned short*, char*, memaccess_type_t);
template void memtrace_lin<unsigned int, unsigned int>(cpu_state*, unsigned int*, char*, memaccess_type_t);
template void memtrace_lin<unsigned int, unsigned long>(cpu_state*, unsigned int*, char*, memaccess_type_t);
template void memtrace_lin<unsigned long, unsigned long>(cpu_state*, unsigned long*, char*, memaccess_type_t);

void memtrace_bundle(cpu_state* state, const uint64_t* addr_slots, const char* pred, uint32_t lane_bytes,
                     uint32_t elem_bytes, memaccess_type_t type) {
    if (!enable_trace || !companion_present()) return;
    const uint32_t n = SVE_VL_BYTES / lane_bytes;
    int32_t last = -1;
    for (uint32_t i = 0; i < n; i++)
        if (lane_active(pred, i, lane_bytes)) last = int32_t(i);
    if (last < 0) return;

    sve_mem_ref_t rec;
    rec.thread_id = own_thread_id();
    rec.type = type;
    rec.pc = state->pc;
    uint32_t flags = mem_ref_first | mem_ref_bundle;
    for (uint32_t i = 0; i <= uint32_t(last); i++) {
        if (!lane_active(pred, i, lane_bytes)) continue;
        send(rec, addr_slots[i], elem_bytes, flags | (i == uint32_t(last) ? uint32_t(mem_ref_last) : 0u));
        flags = mem_ref_bundle;
    }
}

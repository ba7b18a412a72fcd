// The trace file written by libmemtrace_sve_utils: a header, then the 48-byte records exactly as
// the emulator sent them. See README.md in this folder; tools/sve-trace/trace_stream.h reads it.
#pragma once

#include <cstdint>
#include <cstring>

#include "sve/memory/trace.h"

inline uint32_t record_thread_field(const sve_mem_ref_t& r) {
    uint32_t t;
    std::memcpy(&t, r.reserved, sizeof t);
    return t;
}

constexpr char SVE_TRACE_MAGIC[8] = {'S', 'V', 'E', 'T', 'R', 'A', 'C', 'E'};
// Version 2 adds what version 1 files lack to tell threads apart: the thread that sent each
// marker, and a record per traced thread with its kernel thread id. Version 1 files stay readable.
constexpr uint32_t SVE_TRACE_VERSION = 2;
constexpr uint32_t SVE_TRACE_VERSION_MIN = 1;

// Records that the companion adds in a version 2 file (thread_id is the kind of record; such
// records have no memory access):
//  - a marker record (thread_id roi_start_id or roi_stop_id) carries in `reserved` the thread_id
//    of the thread that executed the marker (low 32 bits of pthread_self(), as in its memory
//    records); version 1 files have zero there;
//  - a thread record (thread_id trace_thread_id): `reserved` holds the traced thread's thread_id,
//    `size` its kernel thread id (gettid), `count` 0; one per thread, before its first record.
constexpr uint32_t trace_thread_id = 0xFFFFFFFDu;

// Fixed part of the header; the application name follows, zero-padded to a multiple of 8.
struct sve_trace_header {
    char magic[8];
    uint32_t version;
    uint32_t header_bytes;  // fixed part + padded name: the offset of the first record
    uint32_t vl_bytes;      // vector length of the emulator
    uint32_t record_bytes;  // 48
    uint32_t pid;
    uint32_t name_bytes;    // length of the name without padding
    uint64_t records;       // version 2: record slots after the header, right at any moment;
                            // version 1: records, filled in at the end (0: count from the size)
};
static_assert(sizeof(sve_trace_header) == 40);

// A slot of a version 2 file that a thread claimed but never filled (the rest of its last block):
// all zero. Every real record has a non-zero count or a thread id (a thread record has count 0).
inline bool is_unwritten_slot(const sve_mem_ref_t& r) { return r.count == 0 && r.thread_id == 0; }

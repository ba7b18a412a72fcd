// The trace file written by libmemtrace_sve_utils: a header, then the 48-byte records exactly as
// the emulator sent them. See README.md in this folder.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

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
    uint64_t records;       // records in the file, filled in at sve_exit; 0 if the process died first
};
static_assert(sizeof(sve_trace_header) == 40);

struct sve_trace_contents {
    sve_trace_header header;
    std::string app_name;
    std::vector<sve_mem_ref_t> records;
};

// Reads a whole trace file. False, with `error` set, when it is not a well-formed trace.
inline bool read_trace_file(const char* path, sve_trace_contents& out, std::string& error) {
    FILE* f = std::fopen(path, "rb");
    if (!f) {
        error = std::string("cannot open ") + path;
        return false;
    }
    std::vector<char> data;
    char buf[65536];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, f)) > 0) data.insert(data.end(), buf, buf + n);
    std::fclose(f);
    if (data.size() < sizeof(sve_trace_header)) {
        error = "file shorter than the header";
        return false;
    }
    std::memcpy(&out.header, data.data(), sizeof out.header);
    const sve_trace_header& h = out.header;
    if (std::memcmp(h.magic, SVE_TRACE_MAGIC, 8) != 0 || h.version < SVE_TRACE_VERSION_MIN || h.version > SVE_TRACE_VERSION ||
        h.record_bytes != sizeof(sve_mem_ref_t) || h.header_bytes < sizeof h + h.name_bytes ||
        h.header_bytes > data.size()) {
        error = "bad header";
        return false;
    }
    if ((data.size() - h.header_bytes) % sizeof(sve_mem_ref_t) != 0) {
        error = "truncated record";
        return false;
    }
    out.app_name.assign(data.data() + sizeof h, h.name_bytes);
    size_t count = (data.size() - h.header_bytes) / sizeof(sve_mem_ref_t);
    out.records.resize(count);
    if (count) std::memcpy(out.records.data(), data.data() + h.header_bytes, count * sizeof(sve_mem_ref_t));
    return true;
}

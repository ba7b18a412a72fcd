// Streaming access to a trace file of libmemtrace_sve_utils: the header is checked once, then
// the records come in chunks, so memory stays constant however long the trace.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "companion/trace_file.h"

namespace sve_trace {

// A marker record has one of these thread ids and no memory access.
inline bool is_start(const sve_mem_ref_t& r) { return r.thread_id == roi_start_id; }
inline bool is_stop(const sve_mem_ref_t& r) { return r.thread_id == roi_stop_id; }
inline bool is_marker(const sve_mem_ref_t& r) { return is_start(r) || is_stop(r); }
// A thread record (version 2): a traced thread and its kernel thread id; no memory access.
inline bool is_thread_record(const sve_mem_ref_t& r) { return r.thread_id == trace_thread_id; }
// Any record without a memory access.
inline bool is_meta(const sve_mem_ref_t& r) { return is_marker(r) || is_thread_record(r); }
// The thread that executed a marker (version 2), or that a thread record describes; 0 in a
// version 1 file, where markers do not say.
inline uint32_t record_thread(const sve_mem_ref_t& r) { return record_thread_field(r); }
// The kernel thread id of a thread record.
inline uint64_t record_kernel_tid(const sve_mem_ref_t& r) { return r.size; }

struct trace_stream {
    FILE* file = nullptr;
    std::string path;
    sve_trace_header header{};
    std::string app_name;
    uint64_t file_bytes = 0;     // 0 when the size is unknown (a pipe)
    uint64_t records = 0;        // record slots to read: the header's count (version 2), or the
                                 // whole records in the file (version 1, when the size is known)
    bool records_known = false;  // `records` is known (always for version 2)
    uint64_t records_read = 0;   // slots read so far (unwritten ones are skipped, not handed out)
    bool started = false;        // a chunk has been read since the header
    bool progress = false;       // show a progress line on stderr
    int last_percent = -1;
    sve_mem_ref_t chunk[4096];
};

// Opens and checks the file. False with a one-line `error` (without the program name) when it
// is missing, empty, truncated or not a trace of the version this tool reads.
bool open_trace(trace_stream& s, const char* path, std::string& error);

// Goes back to the first record for another pass.
bool rewind_trace(trace_stream& s, std::string& error);

// Reads up to the size of `chunk` records into `chunk`; returns how many, 0 at the end. Slots
// that were never written are left out. A partial record at the end of a stream whose size was
// not known beforehand sets `error` and returns 0.
size_t read_chunk(trace_stream& s, std::string& error);

void close_trace(trace_stream& s);

// A whole trace in memory, for tests and small files.
struct trace_contents {
    sve_trace_header header;
    std::string app_name;
    std::vector<sve_mem_ref_t> records;
};

// Reads a whole trace file through the stream. False, with `error` set, when it cannot.
bool read_trace_file(const char* path, trace_contents& out, std::string& error);

}  // namespace sve_trace

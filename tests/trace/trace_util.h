// Helpers of the trace tool tests: trace files made by hand in the companion's format, and the
// tool run in process with its output captured.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "companion/trace_file.h"

namespace trace_test {

// A memory record (type 1 read, 0 write) or a marker.
inline sve_mem_ref_t rec(uint64_t count, uint32_t thread, int type, uint64_t address, uint64_t size, uint64_t pc,
                         uint32_t flags = 0) {
    return {count, thread, flags, memaccess_type_t(type), {}, size, address, pc};
}
inline sve_mem_ref_t start(uint64_t count) { return rec(count, roi_start_id, 0, 0, 0, 0); }
inline sve_mem_ref_t stop(uint64_t count) { return rec(count, roi_stop_id, 0, 0, 0, 0); }
// Version 2: markers with the thread that sent them, and the record of a thread.
inline sve_mem_ref_t with_thread(sve_mem_ref_t r, uint32_t thread) {
    std::memcpy(r.reserved, &thread, 4);
    return r;
}
inline sve_mem_ref_t start(uint64_t count, uint32_t thread) { return with_thread(start(count), thread); }
inline sve_mem_ref_t stop(uint64_t count, uint32_t thread) { return with_thread(stop(count), thread); }
inline sve_mem_ref_t thread_rec(uint32_t thread, uint64_t kernel_tid) {
    return with_thread(rec(0, trace_thread_id, 0, 0, kernel_tid, 0), thread);
}

// The bytes of a trace file as the companion library writes it, built field by field. The
// reserved field holds 0xA5A5A5A5 (anything: the reader must not look), except in the markers
// and thread records of a version 2 file.
std::string trace_bytes(const std::vector<sve_mem_ref_t>& records, const std::string& name = "app",
                        uint32_t version = 1, uint32_t record_bytes = 48, const char* magic = "SVETRACE");

// Files in /tmp, named after the test process.
std::string temp_path(const std::string& leaf);
std::string write_file(const std::string& leaf, const std::string& bytes);

struct run_result {
    int status;
    std::string out, err;
};
run_result run_tool(const std::vector<std::string>& args);

std::vector<std::string> lines(const std::string& text);

// The words of the row whose first word is `key` in a table of the tool's output: the lines from
// one that starts with `title` to the next empty line. Empty when there is none.
std::vector<std::string> table_row(const std::string& out, const std::string& title, const std::string& key);
std::string read_file(const std::string& path);

}  // namespace trace_test

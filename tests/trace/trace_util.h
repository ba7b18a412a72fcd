// Helpers of the trace tool tests: trace files made by hand in the companion's format, and the
// tool run in process with its output captured.
#pragma once

#include <cstdint>
#include <cstdio>
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

// The bytes of a trace file as the companion library writes it, built field by field.
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
std::string read_file(const std::string& path);

}  // namespace trace_test

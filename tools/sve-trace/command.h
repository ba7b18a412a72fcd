// What the commands of sve-trace share: the parsed command line, the open trace, and the walk
// over its records. Each command lives in a file of its own (cmd_*.cpp).
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "tools/sve-trace/trace_stream.h"

namespace sve_trace {

// One level of the cache model: SIZE:WAYS:LINE in bytes.
struct cache_shape {
    uint64_t size = 0, ways = 0, line = 0;  // size 0: no such level
};

struct options {
    std::string command, binary, output;
    std::vector<std::string> files;  // one, or several for summary
    long region = 0;   // 0: the whole trace
    long top = 20;
    bool have_base = false;
    uint64_t base = 0;
    bool have_thread = false;
    uint64_t thread = 0;  // a thread_id or a kernel thread id
    bool sort_count = false;  // dump and csv in count order
    // plot: record counts and addresses to show (inclusive), and the kind of picture
    uint64_t from = 0, to = UINT64_MAX, addr_from = 0, addr_to = UINT64_MAX;
    std::string view = "auto";  // points, density or auto
    // cache and reuse
    cache_shape l1{64 << 10, 4, 64}, l2{1 << 20, 8, 64};
    uint64_t line = 64;
};

struct context {
    FILE* out;
    FILE* err;
    trace_stream* s;
};

// "sve-trace: FILE: what" on the error stream; returns the status of a file error.
int file_error(const context& c, const std::string& what);

// Calls fn(record) for every record from the first, in file order.
template <class F>
bool each_record(const context& c, F&& fn, std::string& error) {
    if (!rewind_trace(*c.s, error)) return false;
    while (size_t n = read_chunk(*c.s, error)) {
        for (size_t i = 0; i < n; i++) fn(c.s->chunk[i]);
    }
    return error.empty();
}

// The commands; each returns the exit status.
int cmd_list(const context& c, const options& opt, bool csv);  // dump, csv
// What summary found in one file, for the totals over several files.
struct file_totals {
    std::string path;
    uint32_t pid = 0;
    uint64_t records = 0, reads = 0, writes = 0, read_bytes = 0, write_bytes = 0;
    size_t regions = 0, threads = 0;
};
int cmd_summary(const context& c, const options& opt, file_totals& totals);
void print_file_totals(FILE* out, const std::vector<file_totals>& files);
int cmd_plot(const context& c, const options& opt);
int cmd_cache(const context& c, const options& opt);
int cmd_reuse(const context& c, const options& opt);

}  // namespace sve_trace

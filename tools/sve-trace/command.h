// What the commands of sve-trace share: the parsed command line, the open trace, and the walk
// over its records. Each command lives in a file of its own (cmd_*.cpp).
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

#include "tools/sve-trace/trace_stream.h"

namespace sve_trace {

struct options {
    std::string command, file, binary, output;
    long region = 0;   // 0: the whole trace
    long top = 20;
    bool have_base = false;
    uint64_t base = 0;
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
int cmd_list(const context& c, bool csv);  // dump, csv
int cmd_summary(const context& c, const options& opt);
int cmd_plot(const context& c, const options& opt);

}  // namespace sve_trace

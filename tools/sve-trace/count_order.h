// The records of a trace in `count` order. The companion writes each thread's buffer as a block,
// so the file is a series of runs that are each in count order; a merge of the runs, each read
// through a small buffer, gives the global order. It reads the record slots of the file directly
// (a scan for the runs, then the merge), so it needs a regular file.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/sve-trace/command.h"
#include "tools/sve-trace/regions.h"

namespace sve_trace {

struct count_merge {
    struct run {
        uint64_t next, end;  // slot positions: the next to read, one past the last
        std::vector<sve_mem_ref_t> buf;
        size_t pos = 0;
    };
    int fd = -1;
    uint64_t first_byte = 0;
    std::vector<run> runs;
    std::vector<std::pair<uint64_t, uint32_t>> heap;  // (count, run) of each run's next record
    sve_mem_ref_t held{};                             // the record handed out last
};

bool start_merge(const context& c, count_merge& m, std::string& error);
// The next record in count order, nullptr at the end or on an error.
const sve_mem_ref_t* next_by_count(count_merge& m, std::string& error);

// Calls fn(record) for every record in count order (file order when that is the same).
template <class F>
bool each_record_by_count(const context& c, const regions& reg, F&& fn, std::string& error) {
    if (reg.in_count_order) return each_record(c, fn, error);
    count_merge m;
    if (!start_merge(c, m, error)) return false;
    while (const sve_mem_ref_t* r = next_by_count(m, error)) fn(*r);
    return error.empty();
}

}  // namespace sve_trace

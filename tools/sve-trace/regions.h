// Regions of interest and threads of a trace, found in one pass over its records.
//
// In a version 2 file every marker names the thread that executed it, so regions belong to
// threads: a region of thread T holds T's records from a start marker sent by T to the next
// marker sent by T (a stop, or another start, which then opens the next region). In a version 1
// file markers name no thread and the same rule applies to the whole process: every record
// between a start marker and the next marker is in the region. Regions are numbered from 1 in
// the order of their start markers' counts, over all threads.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "tools/sve-trace/command.h"

namespace sve_trace {

struct region {
    uint32_t thread;  // the thread that started it; 0 in a version 1 file
    uint64_t begin;   // count of its start marker
    uint64_t end;     // count of the marker that ends it; 0 when the trace ends inside it
    bool stopped;     // ended by a stop marker rather than by the thread's next start
};

struct regions {
    bool per_thread = false;  // markers carry their thread (version 2)
    std::vector<region> list;  // region k is list[k - 1]

    struct marker {
        uint64_t count;
        size_t region;  // its region's number for a start marker, 0 for a stop
    };
    // Markers of each thread (one list under 0 in a version 1 file), sorted by count.
    std::unordered_map<uint32_t, std::vector<marker>> markers;
    // Threads that have memory records, with their record counts.
    std::unordered_map<uint32_t, uint64_t> thread_records;
    // Kernel thread ids from the thread records.
    std::unordered_map<uint32_t, uint64_t> kernel_tid;
    // No record has a smaller count than the one before it (else count_order.h sorts them).
    bool in_count_order = true;
    uint64_t records = 0;  // all records of the file

    // Region number of a memory record, 0 outside every region.
    size_t of(const sve_mem_ref_t& r) const;
    // Region number of a marker record: the region it starts or ends, 0 for none.
    size_t bounded_by(const sve_mem_ref_t& r) const;
};

// One pass over the trace for its markers, threads and record order.
bool find_regions(const context& c, regions& r, std::string& error);

// What a command looks at: every record, or those of one thread and/or one region.
struct selection {
    const regions* reg = nullptr;
    bool by_thread = false;
    uint32_t thread = 0;
    size_t region = 0;  // 0: every region and the records outside them

    // A memory record or, for listings, a marker or thread record that belongs to the choice.
    bool wants(const sve_mem_ref_t& r) const;
};

// find_regions, then make_selection: the start of every command that chooses records. False
// with the error printed and `status` set.
bool read_selection(const context& c, const options& opt, regions& reg, selection& sel, int& status);

// "selection     thread T region R" when there is a choice.
void print_selection(FILE* o, const selection& sel);

// Builds the selection of --thread and --region once the regions are known. The thread is
// given by its thread_id or by the kernel thread id of a thread record. False with a file error
// printed (status 1) when the trace has no such thread or region.
bool make_selection(const context& c, const options& opt, const regions& reg, selection& sel, int& status);

}  // namespace sve_trace

// The access pattern of an instruction, from the steps between consecutive records of the same
// instruction address and thread (step = address - address of the record before):
//  - unit: at least 90% of the steps equal the size of the record before (each access starts
//    where the last one ended);
//  - stride N: otherwise at least 90% of the steps are the same N bytes (N may be 0 or negative);
//  - irregular: anything else; "-" for an instruction with no step (a single record per thread).
// The share leaves room for the jumps where a loop nest restarts. Up to 8 different steps are
// counted per instruction; a ninth and later ones count as irregular.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>

#include "companion/trace_file.h"

namespace sve_trace {

struct pattern_counts {
    uint64_t steps = 0, unit = 0;
    static constexpr int SLOTS = 8;
    int64_t stride[SLOTS] = {};
    uint64_t times[SLOTS] = {};
    int used = 0;

    void add_step(int64_t step, uint64_t previous_size);
};

// "unit", "stride N", "irregular" or "-".
std::string pattern_name(const pattern_counts& p);

// Follows every (instruction, thread) pair through a trace in file order (the records of one
// thread keep their order in the file).
struct pattern_tracker {
    struct last {
        uint64_t address, size;
    };
    struct key_hash {
        size_t operator()(const std::pair<uint64_t, uint32_t>& k) const {
            return std::hash<uint64_t>()(k.first * 0x9E3779B97F4A7C15ull ^ k.second);
        }
    };
    std::unordered_map<std::pair<uint64_t, uint32_t>, last, key_hash> previous;
    std::unordered_map<uint64_t, pattern_counts> by_pc;

    void add(const sve_mem_ref_t& r);
};

}  // namespace sve_trace

// A set-associative cache with least-recently-used replacement, one or two levels.
//
// Every access touches each line it spans. A line found in the first level is a hit there; a
// miss looks in the second level and fills both levels (write-allocate: reads and writes alike).
// The levels are neither inclusive nor exclusive: the second sees only the first level's misses,
// and a line evicted from one level stays in the other.
#pragma once

#include <cstdint>
#include <vector>

#include "tools/sve-trace/command.h"

namespace sve_trace {

struct cache_level {
    cache_shape shape;
    uint64_t sets = 0;
    unsigned line_shift = 0;
    // ways lines per set, most recently used first; line number + 1, 0 for an empty way
    std::vector<uint64_t> tags;
};

void make_level(cache_level& c, const cache_shape& shape);

// Looks up the line (address >> line_shift) and makes it the most recently used of its set,
// filling it on a miss. True for a hit.
bool touch_line(cache_level& c, uint64_t line);

// Hits and misses of one level.
struct level_counts {
    uint64_t accesses = 0, misses = 0;
};

// Hits and misses of both levels, for one access of a record.
struct cache_counts {
    level_counts l1, l2;
    void add(const cache_counts& o) {
        l1.accesses += o.l1.accesses, l1.misses += o.l1.misses;
        l2.accesses += o.l2.accesses, l2.misses += o.l2.misses;
    }
};

struct cache_model {
    cache_level l1, l2;
    bool two_levels = false;
};

void make_model(cache_model& m, const cache_shape& l1, const cache_shape& l2);

// Lines of 1 << line_shift bytes that an access touches (one for a record of size 0), at most
// MAX_LINES_PER_RECORD: the emulator's records span at most a vector (256 bytes), and a larger
// size in a damaged file counts as its first lines only.
constexpr uint64_t MAX_LINES_PER_RECORD = 1024;
uint64_t lines_spanned(uint64_t address, uint64_t size, unsigned line_shift);

// Runs one record through the model: each line from address to address + size - 1 (one line
// for a record of size 0) is touched in the first level and, on a miss, in the second.
cache_counts access(cache_model& m, uint64_t address, uint64_t size);

}  // namespace sve_trace

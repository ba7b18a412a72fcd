// Reuse distances of cache lines: for each touch of a line, the number of distinct other lines
// touched since the last touch of the same line (a fully associative LRU cache of C lines hits
// exactly the touches of distance below C). First touches have no distance and are counted
// apart. The distances come from a Fenwick tree over touch times that holds a 1 at the last
// touch of every line; it is renumbered when full, so memory grows with the distinct lines only.
#pragma once

#include <cstdint>
#include <unordered_map>
#include <vector>

namespace sve_trace {

constexpr uint64_t FIRST_TOUCH = UINT64_MAX;

struct reuse_tracker {
    std::unordered_map<uint64_t, uint64_t> last;  // line -> time of its last touch
    std::vector<uint32_t> tree;                   // Fenwick tree over the times
    uint64_t now = 0;                             // time of the next touch
};

// The reuse distance of this touch of `line`, or FIRST_TOUCH.
uint64_t touch(reuse_tracker& t, uint64_t line);

// Histogram bucket of a distance: 0 for 0, k for 2^(k-1) to 2^k - 1.
unsigned distance_bucket(uint64_t distance);

}  // namespace sve_trace

// Regions of interest of a trace: the stretches between a start marker and the next marker, in
// count order.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "tools/sve-trace/command.h"

namespace sve_trace {

struct marker {
    uint64_t count;
    bool start;
};

struct regions {
    std::vector<marker> markers;  // sorted by count
    std::vector<size_t> start_index;  // markers index of region k + 1's start

    // Region number (from 1) of a record, 0 when it lies outside every region.
    size_t of(uint64_t count) const {
        auto it = std::lower_bound(markers.begin(), markers.end(), count,
                                   [](const marker& m, uint64_t v) { return m.count < v; });
        if (it == markers.begin() || !(it - 1)->start) return 0;
        size_t idx = size_t(it - 1 - markers.begin());
        return size_t(std::lower_bound(start_index.begin(), start_index.end(), idx) - start_index.begin()) + 1;
    }
    uint64_t begin_count(size_t region) const { return markers[start_index[region - 1]].count; }
    // Count of the marker that ends the region, 0 when the trace ends inside it.
    uint64_t end_count(size_t region) const {
        size_t i = start_index[region - 1] + 1;
        return i < markers.size() ? markers[i].count : 0;
    }
    bool stopped(size_t region) const {
        size_t i = start_index[region - 1] + 1;
        return i < markers.size() && !markers[i].start;
    }
};

// One pass over the trace for its markers.
bool find_regions(const context& c, regions& r, std::string& error);

}  // namespace sve_trace

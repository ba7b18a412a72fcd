#include "tools/sve-trace/cache_model.h"

#include <algorithm>

namespace sve_trace {

void make_level(cache_level& c, const cache_shape& shape) {
    c.shape = shape;
    c.sets = shape.size / (shape.ways * shape.line);
    c.line_shift = 0;
    while ((uint64_t(1) << c.line_shift) < shape.line) c.line_shift++;
    c.tags.assign(c.sets * shape.ways, 0);
}

bool touch_line(cache_level& c, uint64_t line) {
    uint64_t* set = &c.tags[(line % c.sets) * c.shape.ways];
    uint64_t* end = set + c.shape.ways;
    uint64_t tag = line + 1;
    uint64_t* found = std::find(set, end, tag);
    bool hit = found != end;
    if (!hit) found = end - 1;  // the least recently used way (or an empty one) goes
    std::move_backward(set, found, found + 1);
    *set = tag;
    return hit;
}

void make_model(cache_model& m, const cache_shape& l1, const cache_shape& l2) {
    make_level(m.l1, l1);
    m.two_levels = l2.size != 0;
    if (m.two_levels) make_level(m.l2, l2);
}

uint64_t lines_spanned(uint64_t address, uint64_t size, unsigned line_shift) {
    uint64_t last = size ? address + (size - 1) : address;
    if (last < address) last = UINT64_MAX;  // a record that runs past the top of the address space
    return std::min((last >> line_shift) - (address >> line_shift) + 1, MAX_LINES_PER_RECORD);
}

cache_counts access(cache_model& m, uint64_t address, uint64_t size) {
    cache_counts n;
    uint64_t line = address >> m.l1.line_shift;
    for (uint64_t i = lines_spanned(address, size, m.l1.line_shift); i > 0; i--, line++) {
        n.l1.accesses++;
        if (touch_line(m.l1, line)) continue;
        n.l1.misses++;
        if (!m.two_levels) continue;
        // The first level's line in the second level's lines (which may be larger or smaller).
        uint64_t bytes = line << m.l1.line_shift;
        uint64_t l2line = bytes >> m.l2.line_shift;
        for (uint64_t j = lines_spanned(bytes, m.l1.shape.line, m.l2.line_shift); j > 0; j--, l2line++) {
            n.l2.accesses++;
            n.l2.misses += !touch_line(m.l2, l2line);
        }
    }
    return n;
}

}  // namespace sve_trace

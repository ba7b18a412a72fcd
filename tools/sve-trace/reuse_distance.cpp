#include "tools/sve-trace/reuse_distance.h"

#include <algorithm>

namespace sve_trace {

namespace {

constexpr size_t MIN_TIMES = 1 << 16;

void tree_add(std::vector<uint32_t>& tree, uint64_t i, int32_t v) {
    for (i++; i <= tree.size(); i += i & (~i + 1)) tree[i - 1] += uint32_t(v);
}

// Sum over the times 0 to i - 1.
uint64_t tree_prefix(const std::vector<uint32_t>& tree, uint64_t i) {
    uint64_t s = 0;
    for (; i > 0; i -= i & (~i + 1)) s += tree[i - 1];
    return s;
}

// Gives the lines new times 0 to D - 1 in the order of their last touches, in a tree with room
// for as many touches again.
void renumber(reuse_tracker& t) {
    std::vector<std::pair<uint64_t, uint64_t>> order;  // time, line
    order.reserve(t.last.size());
    for (const auto& [line, time] : t.last) order.push_back({time, line});
    std::sort(order.begin(), order.end());
    t.tree.assign(std::max(MIN_TIMES, 2 * order.size()), 0);
    for (uint64_t i = 0; i < order.size(); i++) {
        t.last[order[i].second] = i;
        tree_add(t.tree, i, 1);
    }
    t.now = order.size();
}

}  // namespace

uint64_t touch(reuse_tracker& t, uint64_t line) {
    if (t.now >= t.tree.size()) renumber(t);
    auto [it, first] = t.last.try_emplace(line, t.now);
    uint64_t distance = FIRST_TOUCH;
    if (!first) {
        // Lines whose last touch lies strictly between this line's last touch and now.
        distance = tree_prefix(t.tree, t.now) - tree_prefix(t.tree, it->second + 1);
        tree_add(t.tree, it->second, -1);
        it->second = t.now;
    }
    tree_add(t.tree, t.now, 1);
    t.now++;
    return distance;
}

unsigned distance_bucket(uint64_t distance) {
    unsigned k = 0;
    while (distance) distance >>= 1, k++;
    return k;
}

}  // namespace sve_trace

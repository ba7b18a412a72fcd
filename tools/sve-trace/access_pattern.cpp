#include "tools/sve-trace/access_pattern.h"

namespace sve_trace {

void pattern_counts::add_step(int64_t step, uint64_t previous_size) {
    steps++;
    if (uint64_t(step) == previous_size) unit++;
    for (int i = 0; i < used; i++)
        if (stride[i] == step) {
            times[i]++;
            return;
        }
    if (used < SLOTS) stride[used] = step, times[used++] = 1;
}

std::string pattern_name(const pattern_counts& p) {
    if (p.steps == 0) return "-";
    // At least 90%: 10 * n >= 9 * steps, in integers.
    if (10 * p.unit >= 9 * p.steps) return "unit";
    for (int i = 0; i < p.used; i++)
        if (10 * p.times[i] >= 9 * p.steps) return "stride " + std::to_string(p.stride[i]);
    return "irregular";
}

void pattern_tracker::add(const sve_mem_ref_t& r) {
    pattern_counts& p = by_pc[r.pc];
    auto [it, fresh] = previous.try_emplace({r.pc, r.thread_id}, last{r.address, r.size});
    if (fresh) return;
    p.add_step(int64_t(r.address - it->second.address), it->second.size);
    it->second = {r.address, r.size};
}

}  // namespace sve_trace

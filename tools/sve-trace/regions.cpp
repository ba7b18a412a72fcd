#include "tools/sve-trace/regions.h"

namespace sve_trace {

bool find_regions(const context& c, regions& r, std::string& error) {
    if (!each_record(c, [&](const sve_mem_ref_t& x) {
            if (is_marker(x)) r.markers.push_back({x.count, is_start(x)});
        }, error))
        return false;
    std::sort(r.markers.begin(), r.markers.end(), [](const marker& a, const marker& b) { return a.count < b.count; });
    for (size_t i = 0; i < r.markers.size(); i++)
        if (r.markers[i].start) r.start_index.push_back(i);
    return true;
}

}  // namespace sve_trace

#include "tools/sve-trace/regions.h"

#include <algorithm>
#include <cinttypes>

namespace sve_trace {

namespace {

// The last marker of `list` (sorted by count) before `count`, or nullptr.
const regions::marker* marker_before(const std::vector<regions::marker>& list, uint64_t count) {
    auto it = std::lower_bound(list.begin(), list.end(), count,
                               [](const regions::marker& m, uint64_t v) { return m.count < v; });
    return it == list.begin() ? nullptr : &*(it - 1);
}

}  // namespace

size_t regions::of(const sve_mem_ref_t& r) const {
    auto it = markers.find(per_thread ? r.thread_id : 0);
    if (it == markers.end()) return 0;
    const marker* m = marker_before(it->second, r.count);
    return m ? m->region : 0;
}

size_t regions::bounded_by(const sve_mem_ref_t& r) const {
    if (!is_marker(r)) return 0;
    auto it = markers.find(per_thread ? record_thread(r) : 0);
    if (it == markers.end()) return 0;
    if (is_start(r)) {
        const marker* m = marker_before(it->second, r.count + 1);
        return m && m->count == r.count ? m->region : 0;
    }
    const marker* m = marker_before(it->second, r.count);  // the marker before a stop
    return m ? m->region : 0;
}

bool find_regions(const context& c, regions& r, std::string& error) {
    r.per_thread = c.s->header.version >= 2;
    uint64_t last = 0;
    struct raw {
        uint64_t count;
        uint32_t thread;
        bool start;
    };
    std::vector<raw> found;
    if (!each_record(c, [&](const sve_mem_ref_t& x) {
            if (r.records && x.count < last) r.in_count_order = false;
            last = x.count;
            r.records++;
            if (is_marker(x))
                found.push_back({x.count, r.per_thread ? record_thread(x) : 0, is_start(x)});
            else if (is_thread_record(x))
                r.kernel_tid[record_thread(x)] = record_kernel_tid(x);
            else
                r.thread_records[x.thread_id]++;
        }, error))
        return false;
    std::stable_sort(found.begin(), found.end(), [](const raw& a, const raw& b) { return a.count < b.count; });
    for (const raw& m : found) {
        std::vector<regions::marker>& list = r.markers[m.thread];
        size_t number = 0;
        if (m.start) {
            r.list.push_back({m.thread, m.count, 0, false});
            number = r.list.size();
        }
        if (!list.empty() && list.back().region) {  // this marker ends the thread's open region
            region& open = r.list[list.back().region - 1];
            open.end = m.count;
            open.stopped = !m.start;
        }
        list.push_back({m.count, number});
    }
    return true;
}

bool selection::wants(const sve_mem_ref_t& r) const {
    if (is_thread_record(r)) return region == 0 && (!by_thread || record_thread(r) == thread);
    if (is_marker(r)) {
        if (by_thread && reg->per_thread && record_thread(r) != thread) return false;
        return region == 0 || reg->bounded_by(r) == region;
    }
    if (by_thread && r.thread_id != thread) return false;
    return region == 0 || reg->of(r) == region;
}

bool read_selection(const context& c, const options& opt, regions& reg, selection& sel, int& status) {
    std::string error;
    if (!find_regions(c, reg, error)) {
        status = file_error(c, error);
        return false;
    }
    return make_selection(c, opt, reg, sel, status);
}

void print_selection(FILE* o, const selection& sel) {
    if (!sel.by_thread && !sel.region) return;
    std::fprintf(o, "selection    ");
    if (sel.by_thread) std::fprintf(o, " thread 0x%08x", sel.thread);
    if (sel.region) std::fprintf(o, " region %zu", sel.region);
    std::fprintf(o, "\n");
}

bool make_selection(const context& c, const options& opt, const regions& reg, selection& sel, int& status) {
    sel.reg = &reg;
    sel.region = size_t(opt.region);
    if (opt.region > 0 && size_t(opt.region) > reg.list.size()) {
        status = file_error(c, "no region " + std::to_string(opt.region) + ", the trace has " +
                                   std::to_string(reg.list.size()));
        return false;
    }
    if (!opt.have_thread) return true;
    sel.by_thread = true;
    bool known = false;
    for (const auto& [id, tid] : reg.kernel_tid)
        if (tid == opt.thread && !reg.kernel_tid.count(uint32_t(opt.thread))) sel.thread = id, known = true;
    if (!known && opt.thread <= UINT32_MAX) {
        sel.thread = uint32_t(opt.thread);
        known = reg.thread_records.count(sel.thread) || reg.kernel_tid.count(sel.thread);
    }
    if (!known) {
        char what[64];
        std::snprintf(what, sizeof what, "no thread %" PRIu64 " (0x%" PRIx64 ") in the trace", opt.thread, opt.thread);
        status = file_error(c, what);
        return false;
    }
    return true;
}

}  // namespace sve_trace

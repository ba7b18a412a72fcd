// cache: the records, in count order, through a one- or two-level LRU cache model; hits and
// misses in total, per region, per thread and per instruction.
#include <algorithm>
#include <cinttypes>
#include <unordered_map>
#include <vector>

#include "tools/sve-trace/cache_model.h"
#include "tools/sve-trace/command.h"
#include "tools/sve-trace/count_order.h"
#include "tools/sve-trace/pc_names.h"
#include "tools/sve-trace/regions.h"

namespace sve_trace {
namespace {

void print_shape(FILE* o, const char* name, const cache_level& c) {
    std::fprintf(o, "%-13s %" PRIu64 " bytes, %" PRIu64 " ways, %" PRIu64 "-byte lines, %" PRIu64 " sets\n", name,
                 c.shape.size, c.shape.ways, c.shape.line, c.sets);
}

void print_heading(FILE* o, const char* key, int width, bool two) {
    std::fprintf(o, "  %-*s  %12s  %12s  %7s", width, key, "L1 accesses", "L1 misses", "L1 miss");
    if (two) std::fprintf(o, "  %12s  %12s  %7s", "L2 accesses", "L2 misses", "L2 miss");
}

void print_level(FILE* o, const level_counts& l) {
    double rate = l.accesses ? 100.0 * double(l.misses) / double(l.accesses) : 0.0;
    std::fprintf(o, "  %12" PRIu64 "  %12" PRIu64 "  %6.2f%%", l.accesses, l.misses, rate);
}

void print_counts(FILE* o, const cache_counts& n, bool two) {
    print_level(o, n.l1);
    if (two) print_level(o, n.l2);
}

// Most first-level misses first, then the key.
template <class K>
std::vector<std::pair<K, cache_counts>> by_misses(const std::unordered_map<K, cache_counts>& m) {
    std::vector<std::pair<K, cache_counts>> v(m.begin(), m.end());
    std::sort(v.begin(), v.end(), [](const auto& a, const auto& b) {
        if (a.second.l1.misses != b.second.l1.misses) return a.second.l1.misses > b.second.l1.misses;
        return a.first < b.first;
    });
    return v;
}

}  // namespace

int cmd_cache(const context& c, const options& opt) {
    regions reg;
    selection sel;
    int status = 0;
    if (!read_selection(c, opt, reg, sel, status)) return status;
    pc_names names;
    if (!load_pc_names(c, opt, names)) return 1;
    FILE* o = c.out;
    std::string error;

    static cache_model model;  // the level arrays are reused from one run to the next
    make_model(model, opt.l1, opt.l2);
    const bool two = model.two_levels;
    cache_counts total;
    uint64_t records = 0;
    std::vector<cache_counts> per_region(reg.list.size() + 1);
    std::unordered_map<uint32_t, cache_counts> per_thread;
    std::unordered_map<uint64_t, cache_counts> per_pc;
    if (!each_record_by_count(c, reg, [&](const sve_mem_ref_t& r) {
            if (is_meta(r) || !sel.wants(r)) return;
            cache_counts n = access(model, r.address, r.size);
            records++;
            total.add(n);
            per_region[reg.of(r)].add(n);
            per_thread[r.thread_id].add(n);
            per_pc[r.pc].add(n);
        }, error))
        return file_error(c, error);

    std::fprintf(o, "trace         %s\n", c.s->path.c_str());
    print_shape(o, "L1", model.l1);
    if (two) print_shape(o, "L2", model.l2);
    std::fprintf(o, "model         LRU, write-allocate, %s; records in count order, threads sharing the cache\n",
                 two ? "L2 looked up on L1 misses, not inclusive" : "one level");
    print_selection(o, sel);
    std::fprintf(o, "records       %" PRIu64 " memory records\n\n", records);
    std::fprintf(o, "  %-10s  %12s  %12s  %12s  %7s\n", "level", "accesses", "hits", "misses", "miss");
    const level_counts* levels[] = {&total.l1, &total.l2};
    for (int i = 0; i < (two ? 2 : 1); i++) {
        const level_counts& l = *levels[i];
        std::fprintf(o, "  %-10s  %12" PRIu64 "  %12" PRIu64 "  %12" PRIu64 "  %6.2f%%\n", i ? "L2" : "L1",
                     l.accesses, l.accesses - l.misses, l.misses,
                     l.accesses ? 100.0 * double(l.misses) / double(l.accesses) : 0.0);
    }

    std::fprintf(o, "\nregions\n");
    print_heading(o, "region", 6, two);
    std::fprintf(o, "\n");
    for (size_t k = 0; k < per_region.size(); k++) {
        if ((sel.region && k != sel.region) || (k == 0 && per_region[0].l1.accesses == 0)) continue;
        if (k)
            std::fprintf(o, "  %-6zu", k);
        else
            std::fprintf(o, "  %-6s", "none");
        print_counts(o, per_region[k], two);
        std::fprintf(o, "\n");
    }

    std::fprintf(o, "\nthreads\n");
    print_heading(o, "thread", 10, two);
    std::fprintf(o, "\n");
    for (const auto& [id, n] : by_misses(per_thread)) {
        std::fprintf(o, "  0x%08x", id);
        print_counts(o, n, two);
        std::fprintf(o, "\n");
    }

    auto pcs = by_misses(per_pc);
    std::vector<uint64_t> busiest;
    for (const auto& p : pcs) busiest.push_back(p.first);
    size_t shown = instruction_title(o, names, opt, busiest, "L1 misses");
    print_heading(o, "pc", 18, two);
    std::fprintf(o, "%s\n", names.on ? "  function" : "");
    for (size_t i = 0; i < shown; i++) {
        std::fprintf(o, "  0x%016" PRIx64, pcs[i].first);
        print_counts(o, pcs[i].second, two);
        if (names.on) std::fprintf(o, "  %s", pc_name(names, pcs[i].first).c_str());
        std::fprintf(o, "\n");
    }
    return 0;
}

}  // namespace sve_trace

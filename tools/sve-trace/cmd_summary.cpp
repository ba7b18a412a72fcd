// summary: totals, then traffic per region, per thread and per instruction address with its
// access pattern; over several files, the totals of each and of all.
#include <algorithm>
#include <cinttypes>
#include <unordered_map>
#include <vector>

#include "tools/sve-trace/access_pattern.h"
#include "tools/sve-trace/command.h"
#include "tools/sve-trace/pc_names.h"
#include "tools/sve-trace/regions.h"

namespace sve_trace {
namespace {

struct traffic {
    uint64_t records = 0, reads = 0, writes = 0, read_bytes = 0, write_bytes = 0;
    void add(const sve_mem_ref_t& r) {
        records++;
        if (r.type == memaccess_read)
            reads++, read_bytes += r.size;
        else
            writes++, write_bytes += r.size;
    }
    uint64_t bytes() const { return read_bytes + write_bytes; }
};

template <class K>
std::vector<std::pair<K, traffic>> by_traffic(const std::unordered_map<K, traffic>& m) {
    std::vector<std::pair<K, traffic>> v(m.begin(), m.end());
    std::sort(v.begin(), v.end(), [](const auto& a, const auto& b) {
        if (a.second.bytes() != b.second.bytes()) return a.second.bytes() > b.second.bytes();
        if (a.second.records != b.second.records) return a.second.records > b.second.records;
        return a.first < b.first;
    });
    return v;
}

void print_traffic(FILE* o, const traffic& t) {
    std::fprintf(o, "  %10" PRIu64 "  %14" PRIu64 "  %14" PRIu64 "\n", t.records, t.read_bytes, t.write_bytes);
}

void print_regions(FILE* o, const regions& reg, const selection& sel, const std::vector<traffic>& per_region) {
    bool threads = reg.per_thread;
    std::fprintf(o, "\nregions\n  %6s", "region");
    if (threads) std::fprintf(o, "  %-10s", "thread");
    std::fprintf(o, "  %12s  %12s  %10s  %14s  %14s\n", "start", "end", "records", "read bytes", "written bytes");
    bool restarted = false;
    for (size_t k = 1; k < per_region.size(); k++) {
        const region& g = reg.list[k - 1];
        if ((sel.region && k != sel.region) || (sel.by_thread && threads && g.thread != sel.thread)) continue;
        char end[24];
        if (g.end)
            std::snprintf(end, sizeof end, "%" PRIu64 "%s", g.end, g.stopped ? "" : "*");
        else
            std::snprintf(end, sizeof end, "open");
        restarted |= g.end && !g.stopped;
        std::fprintf(o, "  %6zu", k);
        if (threads) std::fprintf(o, "  0x%08x", g.thread);
        std::fprintf(o, "  %12" PRIu64 "  %12s", g.begin, end);
        print_traffic(o, per_region[k]);
    }
    if (!sel.region && (per_region[0].records || per_region.size() == 1)) {
        std::fprintf(o, "  %-6s", "none");
        if (threads) std::fprintf(o, "  %-10s", "-");
        std::fprintf(o, "  %12s  %12s", "-", "-");
        print_traffic(o, per_region[0]);
    }
    if (restarted)
        std::fprintf(o, "  * ended by the next start marker%s, no stop in between\n", threads ? " of its thread" : "");
}

void print_threads(FILE* o, const regions& reg, const std::unordered_map<uint32_t, traffic>& per_thread) {
    bool v2 = reg.per_thread;
    std::unordered_map<uint32_t, size_t> started;
    for (const region& g : reg.list) started[g.thread]++;
    std::fprintf(o, "\nthreads\n  %-10s", "thread");
    if (v2) std::fprintf(o, "  %10s  %7s", "kernel tid", "regions");
    std::fprintf(o, "  %10s  %14s  %14s\n", "records", "read bytes", "written bytes");
    for (const auto& [id, t] : by_traffic(per_thread)) {
        std::fprintf(o, "  0x%08x", id);
        if (v2) {
            auto tid = reg.kernel_tid.find(id);
            auto n = started.find(id);
            std::fprintf(o, "  %10s  %7zu",
                         tid == reg.kernel_tid.end() ? "-" : std::to_string(tid->second).c_str(),
                         n == started.end() ? 0 : n->second);
        }
        print_traffic(o, t);
    }
}

}  // namespace

int cmd_summary(const context& c, const options& opt, file_totals& totals) {
    FILE* o = c.out;
    std::string error;
    pc_names names;
    if (!load_pc_names(c, opt, names)) return 1;
    regions reg;
    selection sel;
    int status = 0;
    if (!read_selection(c, opt, reg, sel, status)) return status;

    traffic total;
    uint64_t markers = 0, thread_records = 0;
    std::vector<traffic> per_region(reg.list.size() + 1);  // [0]: outside every region
    std::unordered_map<uint32_t, traffic> per_thread;
    std::unordered_map<uint64_t, traffic> per_pc;
    pattern_tracker patterns;
    if (!each_record(c, [&](const sve_mem_ref_t& r) {
            if (is_meta(r)) {
                markers += is_marker(r) && sel.wants(r);
                thread_records += is_thread_record(r) && sel.wants(r);
                return;
            }
            if (!sel.wants(r)) return;
            total.add(r);
            per_region[reg.of(r)].add(r);
            per_thread[r.thread_id].add(r);
            per_pc[r.pc].add(r);
            patterns.add(r);
        }, error))
        return file_error(c, error);

    const sve_trace_header& h = c.s->header;
    totals = {c.s->path, h.pid, total.records, total.reads, total.writes, total.read_bytes, total.write_bytes,
              reg.list.size(), per_thread.size()};
    std::fprintf(o, "trace         %s\n", c.s->path.c_str());
    std::fprintf(o, "application   %s (pid %u), vector length %u bytes\n", c.s->app_name.c_str(), h.pid, h.vl_bytes);
    print_selection(o, sel);
    std::fprintf(o, "records       %" PRIu64 " (%" PRIu64 " memory, %" PRIu64 " markers", total.records + markers +
                 thread_records, total.records, markers);
    if (thread_records) std::fprintf(o, ", %" PRIu64 " thread records", thread_records);
    std::fprintf(o, ")\n");
    std::fprintf(o, "read          %" PRIu64 " bytes in %" PRIu64 " records\n", total.read_bytes, total.reads);
    std::fprintf(o, "written       %" PRIu64 " bytes in %" PRIu64 " records\n", total.write_bytes, total.writes);
    if (h.version < 2 && h.records != 0 && h.records != reg.records)  // version 2 counts slots
        std::fprintf(o, "warning       the header counts %" PRIu64 " records\n", h.records);

    print_regions(o, reg, sel, per_region);
    print_threads(o, reg, per_thread);

    auto pcs = by_traffic(per_pc);
    std::vector<uint64_t> busiest;
    for (const auto& p : pcs) busiest.push_back(p.first);
    size_t shown = instruction_title(o, names, opt, busiest, "traffic");
    std::fprintf(o, "  %-18s  %10s  %14s  %14s  %s\n", "pc", "records", "read bytes", "written bytes",
                 names.on ? "pattern         function" : "pattern");
    for (size_t i = 0; i < shown; i++) {
        const auto& [pc, t] = pcs[i];
        std::string pattern = pattern_name(patterns.by_pc[pc]);
        std::fprintf(o, "  0x%016" PRIx64 "  %10" PRIu64 "  %14" PRIu64 "  %14" PRIu64 "  ", pc, t.records,
                     t.read_bytes, t.write_bytes);
        if (names.on)
            std::fprintf(o, "%-14s  %s", pattern.c_str(), pc_name(names, pc).c_str());
        else
            std::fprintf(o, "%s", pattern.c_str());
        std::fprintf(o, "\n");
    }
    return 0;
}

void print_file_totals(FILE* o, const std::vector<file_totals>& files) {
    std::fprintf(o, "\nfiles\n  %-5s  %-30s  %8s  %7s  %7s  %10s  %14s  %14s\n", "rank", "file", "pid", "regions",
                 "threads", "records", "read bytes", "written bytes");
    file_totals all;
    for (size_t i = 0; i < files.size(); i++) {
        const file_totals& f = files[i];
        std::fprintf(o, "  %-5zu  %-30s  %8u  %7zu  %7zu  %10" PRIu64 "  %14" PRIu64 "  %14" PRIu64 "\n", i,
                     f.path.c_str(), f.pid, f.regions, f.threads, f.records, f.read_bytes, f.write_bytes);
        all.records += f.records, all.read_bytes += f.read_bytes, all.write_bytes += f.write_bytes;
        all.regions += f.regions, all.threads += f.threads;
    }
    std::fprintf(o, "  %-5s  %-30s  %8s  %7zu  %7zu  %10" PRIu64 "  %14" PRIu64 "  %14" PRIu64 "\n", "total",
                 (std::to_string(files.size()) + " files").c_str(), "-", all.regions, all.threads, all.records,
                 all.read_bytes, all.write_bytes);
}

}  // namespace sve_trace

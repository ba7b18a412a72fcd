// summary: totals, then traffic per region, per thread and per instruction address.
#include <algorithm>
#include <cinttypes>
#include <unordered_map>
#include <vector>

#include "tools/sve-trace/command.h"
#include "tools/sve-trace/elf_symbols.h"
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

}  // namespace

int cmd_summary(const context& c, const options& opt) {
    FILE* o = c.out;
    std::string error;
    elf_symbols syms;
    if (!opt.binary.empty() && !load_elf_symbols(opt.binary.c_str(), syms, error)) {
        std::fprintf(c.err, "sve-trace: %s\n", error.c_str());
        return 1;
    }
    regions reg;
    if (!find_regions(c, reg, error)) return file_error(c, error);

    traffic total;
    uint64_t markers = 0;
    std::vector<traffic> per_region(reg.start_index.size() + 1);  // [0]: outside every region
    std::unordered_map<uint32_t, traffic> per_thread;
    std::unordered_map<uint64_t, traffic> per_pc;
    if (!each_record(c, [&](const sve_mem_ref_t& r) {
            if (is_marker(r)) {
                markers++;
                return;
            }
            total.add(r);
            per_region[reg.markers.empty() ? 0 : reg.of(r.count)].add(r);
            per_thread[r.thread_id].add(r);
            per_pc[r.pc].add(r);
        }, error))
        return file_error(c, error);

    const sve_trace_header& h = c.s->header;
    std::fprintf(o, "trace         %s\n", c.s->path.c_str());
    std::fprintf(o, "application   %s (pid %u), vector length %u bytes\n", c.s->app_name.c_str(), h.pid, h.vl_bytes);
    std::fprintf(o, "records       %" PRIu64 " (%" PRIu64 " memory, %" PRIu64 " markers)\n", total.records + markers,
                 total.records, markers);
    std::fprintf(o, "read          %" PRIu64 " bytes in %" PRIu64 " records\n", total.read_bytes, total.reads);
    std::fprintf(o, "written       %" PRIu64 " bytes in %" PRIu64 " records\n", total.write_bytes, total.writes);
    if (h.records != 0 && h.records != total.records + markers)
        std::fprintf(o, "warning       the header counts %" PRIu64 " records\n", h.records);

    std::fprintf(o, "\nregions\n  %6s  %12s  %12s  %10s  %14s  %14s\n", "region", "start", "end", "records",
                 "read bytes", "written bytes");
    for (size_t k = 1; k < per_region.size(); k++) {
        char end[24];
        if (reg.end_count(k))
            std::snprintf(end, sizeof end, "%" PRIu64 "%s", reg.end_count(k), reg.stopped(k) ? "" : "*");
        else
            std::snprintf(end, sizeof end, "open");
        std::fprintf(o, "  %6zu  %12" PRIu64 "  %12s", k, reg.begin_count(k), end);
        print_traffic(o, per_region[k]);
    }
    if (per_region[0].records || per_region.size() == 1) {
        std::fprintf(o, "  %-6s  %12s  %12s", "none", "-", "-");
        print_traffic(o, per_region[0]);
    }
    for (size_t k = 1; k < per_region.size(); k++)
        if (!reg.stopped(k) && reg.end_count(k)) {
            std::fprintf(o, "  * ended by the next start marker, no stop in between\n");
            break;
        }

    std::fprintf(o, "\nthreads\n  %-10s  %10s  %14s  %14s\n", "thread", "records", "read bytes", "written bytes");
    for (const auto& [id, t] : by_traffic(per_thread)) {
        std::fprintf(o, "  0x%08x", id);
        print_traffic(o, t);
    }

    auto pcs = by_traffic(per_pc);
    uint64_t bias = opt.base;
    if (!opt.binary.empty() && !opt.have_base) {
        std::vector<uint64_t> sample;
        for (size_t i = 0; i < pcs.size() && i < 256; i++) sample.push_back(pcs[i].first);
        bias = guess_load_bias(syms, sample);
    }
    size_t shown = opt.top > 0 ? std::min(pcs.size(), size_t(opt.top)) : pcs.size();
    std::fprintf(o, "\ninstructions by traffic (%zu of %zu)", shown, pcs.size());
    if (bias) std::fprintf(o, ", %s loaded at 0x%" PRIx64, opt.binary.c_str(), bias);
    std::fprintf(o, "\n  %-18s  %10s  %14s  %14s%s\n", "pc", "records", "read bytes", "written bytes",
                 opt.binary.empty() ? "" : "  function");
    for (size_t i = 0; i < shown; i++) {
        const auto& [pc, t] = pcs[i];
        std::fprintf(o, "  0x%016" PRIx64 "  %10" PRIu64 "  %14" PRIu64 "  %14" PRIu64, pc, t.records, t.read_bytes,
                     t.write_bytes);
        if (!opt.binary.empty()) {
            std::string name = pc >= bias ? symbolize(syms, pc - bias) : "";
            std::fprintf(o, "  %s", name.empty() ? "?" : name.c_str());
        }
        std::fprintf(o, "\n");
    }
    return 0;
}

}  // namespace sve_trace

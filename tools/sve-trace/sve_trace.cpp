// The commands of sve-trace. Every command streams the records, in one or a few passes over
// the file; only the summary tables (regions, threads, instruction addresses) and the plot's
// pixel grid grow, never with the number of records.
#include "tools/sve-trace/sve_trace.h"

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unordered_map>
#include <vector>

#include "tools/elf_symbols/elf_symbols.h"
#include "tools/sve-trace/trace_stream.h"

namespace sve_trace {
namespace {

const char USAGE[] =
    "usage: sve-trace COMMAND FILE [OPTIONS]\n"
    "Reads a memory trace written by the SVE emulator's companion library.\n"
    "\n"
    "commands:\n"
    "  dump FILE                 one line per record: count, thread, access, address, size, pc,\n"
    "                            bundle flags; region markers as region start and stop\n"
    "  csv FILE                  the same as CSV, with a header line\n"
    "  summary FILE [--binary PROGRAM] [--base ADDRESS] [--top N]\n"
    "                            records and bytes read and written, per region, per thread and\n"
    "                            per instruction address (the N busiest, default 20, 0 for all);\n"
    "                            with the application's ELF file, function names and offsets\n"
    "                            (--base: load address of a position-independent program,\n"
    "                            guessed when not given)\n"
    "  plot FILE -o OUT.svg [--region N]\n"
    "                            SVG picture of addresses against record order, reads and writes\n"
    "                            in two colours; region N (from 1) or, without it, the whole trace\n"
    "\n"
    "  --help                    this text\n"
    "  --version                 the version of the tool and of the trace format it reads\n"
    "\n"
    "Exit status: 0 done, 1 the file cannot be read as a trace, 2 a bad command line.\n";

struct options {
    std::string command, file, binary, output;
    long region = 0;   // 0: the whole trace
    long top = 20;
    bool have_base = false;
    uint64_t base = 0;
};

struct context {
    FILE* out;
    FILE* err;
    trace_stream* s;
};

int file_error(const context& c, const std::string& what) {
    std::fprintf(c.err, "sve-trace: %s: %s\n", c.s->path.c_str(), what.c_str());
    return 1;
}

// Calls fn(record) for every record from the first, in file order.
template <class F>
bool each_record(const context& c, F&& fn, std::string& error) {
    if (!rewind_trace(*c.s, error)) return false;
    while (size_t n = read_chunk(*c.s, error)) {
        for (size_t i = 0; i < n; i++) fn(c.s->chunk[i]);
    }
    return error.empty();
}

// ----- regions: the stretches between a start marker and the next marker, in count order

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

// ----- dump and csv

const char* flags_name(uint32_t f) {
    switch (f) {
        case 0: return "-";
        case 3: return "first";
        case 2: return "member";
        case 6: return "last";
        case 7: return "single";
        default: return nullptr;
    }
}

int cmd_list(const context& c, bool csv) {
    FILE* o = c.out;
    if (csv)
        std::fprintf(o, "count,thread,access,address,size,pc,flags\n");
    else
        std::fprintf(o, "%12s  %-10s  %-6s  %-18s  %8s  %-18s  %s\n", "count", "thread", "access", "address",
                     "size", "pc", "bundle");
    std::string error;
    bool ok = each_record(c, [&](const sve_mem_ref_t& r) {
        const char* access = is_start(r) ? "start" : is_stop(r) ? "stop" : r.type == memaccess_read ? "read" : "write";
        const char* f = flags_name(r.flags);
        char fbuf[16];
        if (!f) std::snprintf(fbuf, sizeof fbuf, "0x%x", r.flags), f = fbuf;
        if (csv) {
            if (is_marker(r))
                std::fprintf(o, "%" PRIu64 ",,%s,,,,\n", r.count, access);
            else
                std::fprintf(o, "%" PRIu64 ",0x%08x,%s,0x%" PRIx64 ",%" PRIu64 ",0x%" PRIx64 ",%s\n", r.count,
                             r.thread_id, access, r.address, r.size, r.pc, f);
        } else if (is_marker(r)) {
            std::fprintf(o, "%12" PRIu64 "  %-10s  ---- region %s ----\n", r.count, "-", access);
        } else {
            std::fprintf(o, "%12" PRIu64 "  0x%08x  %-6s  0x%016" PRIx64 "  %8" PRIu64 "  0x%016" PRIx64 "  %s\n",
                         r.count, r.thread_id, access, r.address, r.size, r.pc, f);
        }
    }, error);
    return ok ? 0 : file_error(c, error);
}

// ----- summary

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

// ----- plot

constexpr int PLOT_W = 960, PLOT_H = 540;                   // the plotting area in pixels
constexpr int MARGIN_L = 150, MARGIN_R = 30, MARGIN_T = 50, MARGIN_B = 70;

// One bit per pixel of the plotting area, for one kind of access.
struct pixel_grid {
    std::vector<uint64_t> bits = std::vector<uint64_t>((PLOT_W * PLOT_H + 63) / 64);
    void set(int x, int y) { bits[size_t(y * PLOT_W + x) / 64] |= 1ull << ((y * PLOT_W + x) % 64); }
    bool get(int x, int y) const { return bits[size_t(y * PLOT_W + x) / 64] >> ((y * PLOT_W + x) % 64) & 1; }
};

// Rectangles for the set pixels, one for each vertical run in a column, `w` pixels wide.
void emit_grid(FILE* o, const pixel_grid& g, const char* cls, int w, uint64_t& shapes) {
    for (int x = 0; x < PLOT_W; x++)
        for (int y = 0; y < PLOT_H; y++) {
            if (!g.get(x, y)) continue;
            int y0 = y;
            while (y + 1 < PLOT_H && g.get(x, y + 1)) y++;
            std::fprintf(o, "<rect class=\"%s\" x=\"%d\" y=\"%d\" width=\"%d\" height=\"%d\"/>\n", cls,
                         MARGIN_L + x, MARGIN_T + y0, w, y - y0 + 1);
            shapes++;
        }
}

std::string xml_escape(const std::string& s) {
    std::string r;
    for (char ch : s) {
        if (ch == '<') r += "&lt;";
        else if (ch == '>') r += "&gt;";
        else if (ch == '&') r += "&amp;";
        else if (ch == '"') r += "&quot;";
        else if (uint8_t(ch) >= 0x20) r += ch;
    }
    return r;
}

int cmd_plot(const context& c, const options& opt) {
    std::string error;
    regions reg;
    if (!find_regions(c, reg, error)) return file_error(c, error);
    if (opt.region > 0 && size_t(opt.region) > reg.start_index.size()) {
        std::fprintf(c.err, "sve-trace: %s: no region %ld, the trace has %zu\n", c.s->path.c_str(), opt.region,
                     reg.start_index.size());
        return 1;
    }
    auto wanted = [&](const sve_mem_ref_t& r) {
        return !is_marker(r) && (opt.region == 0 || reg.of(r.count) == size_t(opt.region));
    };
    // First the ranges of both axes.
    uint64_t n = 0, cmin = UINT64_MAX, cmax = 0, amin = UINT64_MAX, amax = 0;
    if (!each_record(c, [&](const sve_mem_ref_t& r) {
            if (!wanted(r)) return;
            n++;
            cmin = std::min(cmin, r.count), cmax = std::max(cmax, r.count);
            amin = std::min(amin, r.address);
            amax = std::max(amax, r.address + (r.size ? r.size - 1 : 0));
        }, error))
        return file_error(c, error);
    if (n == 0) {
        std::fprintf(c.err, "sve-trace: %s: no memory records to plot%s\n", c.s->path.c_str(),
                     opt.region ? " in this region" : "");
        return 1;
    }
    // Record order is the count: it is global over the threads and grows with time.
    const double xspan = double(cmax - cmin) + 1, aspan = double(amax - amin) + 1;
    // Clamped: in double precision a span near 2^64 can round a coordinate one pixel out.
    auto px = [&](uint64_t count) { return std::clamp(int(double(count - cmin) * PLOT_W / xspan), 0, PLOT_W - 1); };
    auto py = [&](uint64_t a) {
        return std::clamp(PLOT_H - 1 - int(double(a - amin) * (PLOT_H - 1) / std::max(aspan - 1, 1.0)), 0, PLOT_H - 1);
    };
    pixel_grid reads, writes;
    if (!each_record(c, [&](const sve_mem_ref_t& r) {
            if (!wanted(r)) return;
            pixel_grid& g = r.type == memaccess_read ? reads : writes;
            int x = std::min(px(r.count), PLOT_W - 1);
            int ytop = py(r.address + (r.size ? r.size - 1 : 0)), ybot = py(r.address);
            for (int y = ytop; y <= ybot; y++) g.set(x, y);
        }, error))
        return file_error(c, error);

    FILE* o = std::fopen(opt.output.c_str(), "w");
    if (!o) {
        std::fprintf(c.err, "sve-trace: %s: %s\n", opt.output.c_str(), std::strerror(errno));
        return 1;
    }
    const int W = MARGIN_L + PLOT_W + MARGIN_R, H = MARGIN_T + PLOT_H + MARGIN_B;
    // A record column is as wide as the records allow, so short traces show solid marks.
    int w = std::clamp(int(PLOT_W / xspan), 1, 8);
    std::fprintf(o, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n");
    std::fprintf(o, "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%d\" height=\"%d\" viewBox=\"0 0 %d %d\">\n",
                 W, H, W, H);
    std::fprintf(o, "<style>.r{fill:#1f77b4}.w{fill:#d62728}text{font-family:monospace;font-size:12px}"
                    ".t{font-size:14px}.axis{stroke:#000;stroke-width:1}.grid{stroke:#ddd;stroke-width:1}</style>\n");
    std::fprintf(o, "<rect x=\"0\" y=\"0\" width=\"%d\" height=\"%d\" fill=\"#fff\"/>\n", W, H);
    std::string title = c.s->app_name.empty() ? c.s->path : c.s->app_name;
    title += opt.region ? ", region " + std::to_string(opt.region) : ", whole trace";
    title += ": " + std::to_string(n) + " records";
    if (xspan > PLOT_W) title += ", " + std::to_string(uint64_t(std::ceil(xspan / PLOT_W))) + " per pixel column";
    std::fprintf(o, "<text class=\"t\" x=\"%d\" y=\"%d\">%s</text>\n", MARGIN_L, MARGIN_T - 20,
                 xml_escape(title).c_str());
    // Legend.
    std::fprintf(o, "<rect class=\"legend r\" x=\"%d\" y=\"%d\" width=\"10\" height=\"10\"/>"
                    "<text x=\"%d\" y=\"%d\">read</text>\n", W - 160, MARGIN_T - 30, W - 145, MARGIN_T - 20);
    std::fprintf(o, "<rect class=\"legend w\" x=\"%d\" y=\"%d\" width=\"10\" height=\"10\"/>"
                    "<text x=\"%d\" y=\"%d\">write</text>\n", W - 90, MARGIN_T - 30, W - 75, MARGIN_T - 20);
    // Axes with five ticks each.
    std::fprintf(o, "<g class=\"axes\">\n");
    for (int i = 0; i <= 4; i++) {
        int y = MARGIN_T + PLOT_H - 1 - i * (PLOT_H - 1) / 4;
        uint64_t a = amin + (amax - amin) / 4 * uint64_t(i);  // in integers: the span may be 2^64 - 1
        std::fprintf(o, "<line class=\"grid\" x1=\"%d\" y1=\"%d\" x2=\"%d\" y2=\"%d\"/>", MARGIN_L, y,
                     MARGIN_L + PLOT_W, y);
        std::fprintf(o, "<text x=\"%d\" y=\"%d\" text-anchor=\"end\">0x%" PRIx64 "</text>\n", MARGIN_L - 6, y + 4, a);
        int x = MARGIN_L + i * PLOT_W / 4;
        uint64_t k = (cmax - cmin) / 4 * uint64_t(i);
        std::fprintf(o, "<line class=\"axis\" x1=\"%d\" y1=\"%d\" x2=\"%d\" y2=\"%d\"/>", x, MARGIN_T + PLOT_H, x,
                     MARGIN_T + PLOT_H + 5);
        std::fprintf(o, "<text x=\"%d\" y=\"%d\" text-anchor=\"middle\">%" PRIu64 "</text>\n", x,
                     MARGIN_T + PLOT_H + 20, k);
    }
    std::fprintf(o, "<line class=\"axis\" x1=\"%d\" y1=\"%d\" x2=\"%d\" y2=\"%d\"/>\n", MARGIN_L, MARGIN_T,
                 MARGIN_L, MARGIN_T + PLOT_H);
    std::fprintf(o, "<line class=\"axis\" x1=\"%d\" y1=\"%d\" x2=\"%d\" y2=\"%d\"/>\n", MARGIN_L,
                 MARGIN_T + PLOT_H, MARGIN_L + PLOT_W, MARGIN_T + PLOT_H);
    std::fprintf(o, "<text x=\"%d\" y=\"%d\" text-anchor=\"middle\">record order (count - %" PRIu64
                    ")</text>\n", MARGIN_L + PLOT_W / 2, H - 20, cmin);
    std::fprintf(o, "<text x=\"20\" y=\"%d\" text-anchor=\"middle\" transform=\"rotate(-90 20 %d)\">address"
                    " (%" PRIu64 " bytes)</text>\n", MARGIN_T + PLOT_H / 2, MARGIN_T + PLOT_H / 2, amax - amin + 1);
    std::fprintf(o, "</g>\n");
    uint64_t shapes = 0;
    std::fprintf(o, "<g class=\"reads\">\n");
    emit_grid(o, reads, "r", w, shapes);
    std::fprintf(o, "</g>\n<g class=\"writes\">\n");
    emit_grid(o, writes, "w", w, shapes);
    std::fprintf(o, "</g>\n</svg>\n");
    bool ok = std::fclose(o) == 0;
    if (!ok) {
        std::fprintf(c.err, "sve-trace: %s: write failed\n", opt.output.c_str());
        return 1;
    }
    std::fprintf(c.out, "%s: %" PRIu64 " records, %" PRIu64 " marks\n", opt.output.c_str(), n, shapes);
    return 0;
}

// ----- command line

int usage_error(FILE* err, const std::string& what) {
    std::fprintf(err, "sve-trace: %s (try sve-trace --help)\n", what.c_str());
    return 2;
}

bool parse_number(const char* s, uint64_t& v) {
    if (!*s) return false;
    char* end;
    errno = 0;
    v = std::strtoull(s, &end, 0);
    return *end == 0 && errno == 0 && s[0] != '-';
}

}  // namespace
}  // namespace sve_trace

int sve_trace_main(int argc, char** argv, FILE* out, FILE* err) {
    using namespace sve_trace;
    if (argc < 2) {
        std::fputs(USAGE, err);
        return 2;
    }
    options opt;
    std::vector<std::string> args(argv + 1, argv + argc);
    for (const std::string& a : args) {
        if (a == "--help" || a == "-h") {
            std::fputs(USAGE, out);
            return 0;
        }
        if (a == "--version") {
            std::fprintf(out, "sve-trace %s (trace format version %u)\n", SVE_TRACE_VERSION_STRING, SVE_TRACE_VERSION);
            return 0;
        }
    }
    opt.command = args[0];
    if (opt.command != "dump" && opt.command != "csv" && opt.command != "summary" && opt.command != "plot")
        return usage_error(err, "unknown command '" + opt.command + "'");
    for (size_t i = 1; i < args.size(); i++) {
        const std::string& a = args[i];
        auto value = [&]() -> const char* { return i + 1 < args.size() ? args[++i].c_str() : nullptr; };
        bool summary = opt.command == "summary", plot = opt.command == "plot";
        uint64_t v;
        if (a.size() > 1 && a[0] == '-') {
            const char* val = nullptr;
            bool known = (summary && (a == "--binary" || a == "--base" || a == "--top")) ||
                         (plot && (a == "-o" || a == "--output" || a == "--region"));
            if (!known) return usage_error(err, "unknown option '" + a + "' for " + opt.command);
            if (!(val = value())) return usage_error(err, "option '" + a + "' needs a value");
            if (a == "--binary") opt.binary = val;
            else if (a == "-o" || a == "--output") opt.output = val;
            else if (!parse_number(val, v))
                return usage_error(err, "option '" + a + "' needs a number, not '" + val + "'");
            else if (a == "--base") opt.base = v, opt.have_base = true;
            else if (a == "--top") opt.top = long(std::min<uint64_t>(v, 1u << 30));
            else if (v == 0 || v > (1u << 30)) return usage_error(err, "regions are numbered from 1");
            else opt.region = long(v);
        } else if (opt.file.empty()) {
            opt.file = a;
        } else {
            return usage_error(err, "unexpected argument '" + a + "'");
        }
    }
    if (opt.file.empty()) return usage_error(err, opt.command + " needs a trace file");
    if (opt.command == "plot" && opt.output.empty()) return usage_error(err, "plot needs an output file: -o OUT.svg");

    static trace_stream s;  // a large chunk buffer: not on the stack
    s = trace_stream{};
    context c{out, err, &s};
    std::string error;
    int rc;
    if (!open_trace(s, opt.file.c_str(), error)) {
        rc = file_error(c, error);
    } else if (opt.command == "dump" || opt.command == "csv") {
        rc = cmd_list(c, opt.command == "csv");
    } else if (opt.command == "summary") {
        rc = cmd_summary(c, opt);
    } else {
        rc = cmd_plot(c, opt);
    }
    close_trace(s);
    std::fflush(out);
    return rc;
}

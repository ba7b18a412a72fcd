// plot: an SVG picture of addresses against record count, one colour per thread (reads light,
// writes dark), or a heat map of records per pixel when the records outnumber the pixels. Two
// passes: the ranges and threads, then the pixels.
#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cmath>
#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

#include "tools/sve-trace/command.h"
#include "tools/sve-trace/regions.h"

namespace sve_trace {
namespace {

constexpr int PLOT_W = 960, PLOT_H = 540;  // the plotting area in pixels
constexpr int MARGIN_L = 150, MARGIN_R = 190, MARGIN_T = 50, MARGIN_B = 70;
constexpr int MIN_MARK = 3;  // pixels: the least height of a mark in the points view

// Colours of the threads in order of their first record: (read, write); the last pair stands for
// every further thread. A single thread reads in blue and writes in red.
constexpr int THREAD_SLOTS = 8;
const char* const THREAD_COLOURS[THREAD_SLOTS][2] = {
    {"#6baed6", "#08519c"}, {"#fdae6b", "#a63603"}, {"#74c476", "#006d2c"}, {"#bcbddc", "#54278f"},
    {"#fa9fb5", "#ae017e"}, {"#fdd049", "#8c6d00"}, {"#80cdc1", "#01665e"}, {"#d9d9d9", "#525252"},
};
const char* const SINGLE_THREAD[2] = {"#1f77b4", "#d62728"};
// The heat map: records per pixel on a logarithmic scale, light to dark.
constexpr int LEVELS = 8;
const char* const LEVEL_COLOURS[LEVELS] = {"#ffffcc", "#ffeda0", "#fed976", "#feb24c",
                                           "#fd8d3c", "#fc4e2a", "#e31a1c", "#800026"};

// One bit per pixel of the plotting area, for one thread slot and kind of access.
struct pixel_grid {
    std::vector<uint64_t> bits = std::vector<uint64_t>((PLOT_W * PLOT_H + 63) / 64);
    std::vector<bool> used = std::vector<bool>(PLOT_W);  // columns with a set pixel
    void set(int x, int y) {
        bits[size_t(y * PLOT_W + x) / 64] |= 1ull << ((y * PLOT_W + x) % 64);
        used[size_t(x)] = true;
    }
    bool get(int x, int y) const { return bits[size_t(y * PLOT_W + x) / 64] >> ((y * PLOT_W + x) % 64) & 1; }
};

// Rectangles for each vertical run of pixels with the same value `v(x, y)` (0: nothing), `w`
// pixels wide, of class `cls` followed by the value - 1; only in the columns in `used`.
template <class V>
void emit_runs(FILE* o, const char* cls, int w, const std::vector<bool>& used, uint64_t& shapes, V&& v) {
    for (int x = 0; x < PLOT_W; x++)
        for (int y = 0; used[size_t(x)] && y < PLOT_H; y++) {
            int k = v(x, y);
            if (!k) continue;
            int y0 = y;
            while (y + 1 < PLOT_H && v(x, y + 1) == k) y++;
            std::fprintf(o, "<rect class=\"%s%d\" x=\"%d\" y=\"%d\" width=\"%d\" height=\"%d\"/>\n", cls, k - 1,
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

// A round step for fewer than `most` ticks over `span`: one of `mantissas` times a power of
// `base` (1, 2, 5 times a power of 10 for counts; 1, 2, 4, 8 times a power of 16 for addresses,
// so that the ticks are round in hexadecimal).
uint64_t tick_step(uint64_t span, uint64_t base, std::initializer_list<uint64_t> mantissas, uint64_t most) {
    for (uint64_t p = 1;; p *= base) {
        for (uint64_t m : mantissas)
            if (span / (m * p) < most) return m * p;
        if (p > UINT64_MAX / base / 8) return UINT64_MAX;
    }
}

struct axis {
    uint64_t lo, hi;  // the values at both ends, inclusive
    int pixels;
    // The pixel of a value, 0 at lo; clamped since a span near 2^64 rounds in double precision.
    int at(uint64_t v) const {
        double span = double(hi - lo) + 1;
        return std::clamp(int(double(v - lo) * pixels / span), 0, pixels - 1);
    }
};

}  // namespace

int cmd_plot(const context& c, const options& opt) {
    std::string error;
    regions reg;
    selection sel;
    int status = 0;
    if (!read_selection(c, opt, reg, sel, status)) return status;
    // The part of a record inside the address window, false when none is.
    auto clip = [&](const sve_mem_ref_t& r, uint64_t& first, uint64_t& last) {
        first = r.address;
        last = r.address + (r.size ? r.size - 1 : 0);
        if (last < first) last = UINT64_MAX;
        if (last < opt.addr_from || first > opt.addr_to) return false;
        first = std::max(first, opt.addr_from), last = std::min(last, opt.addr_to);
        return true;
    };
    auto wanted = [&](const sve_mem_ref_t& r) {
        return !is_meta(r) && r.count >= opt.from && r.count <= opt.to && sel.wants(r);
    };
    // First the ranges of both axes and the threads.
    uint64_t n = 0, cmin = UINT64_MAX, cmax = 0, amin = UINT64_MAX, amax = 0;
    std::vector<uint32_t> threads;  // the first THREAD_SLOTS - 1 threads, in order of appearance
    size_t thread_count = 0;
    std::vector<uint32_t> seen;
    if (!each_record(c, [&](const sve_mem_ref_t& r) {
            uint64_t first, last;
            if (!wanted(r) || !clip(r, first, last)) return;
            n++;
            cmin = std::min(cmin, r.count), cmax = std::max(cmax, r.count);
            amin = std::min(amin, first), amax = std::max(amax, last);
            if (std::find(seen.begin(), seen.end(), r.thread_id) == seen.end()) {
                seen.push_back(r.thread_id);
                if (threads.size() < THREAD_SLOTS - 1) threads.push_back(r.thread_id);
            }
        }, error))
        return file_error(c, error);
    thread_count = seen.size();
    if (n == 0) {
        std::fprintf(c.err, "sve-trace: %s: no memory records to plot%s\n", c.s->path.c_str(),
                     sel.region || sel.by_thread || opt.from || opt.to != UINT64_MAX || opt.addr_from ||
                             opt.addr_to != UINT64_MAX ? " in this selection" : "");
        return 1;
    }
    // An explicit zoom sets the axis; otherwise the records do.
    axis x{opt.from ? opt.from : cmin, opt.to != UINT64_MAX ? opt.to : cmax, PLOT_W};
    axis y{opt.addr_from ? opt.addr_from : amin, opt.addr_to != UINT64_MAX ? opt.addr_to : amax, PLOT_H};
    auto px = [&](uint64_t count) { return x.at(count); };
    auto py = [&](uint64_t a) { return PLOT_H - 1 - y.at(a); };
    const bool density = opt.view == "density" || (opt.view == "auto" && n > uint64_t(PLOT_W) * PLOT_H);
    auto slot = [&](uint32_t t) {
        size_t i = size_t(std::find(threads.begin(), threads.end(), t) - threads.begin());
        return std::min(i, size_t(THREAD_SLOTS - 1));
    };

    std::vector<pixel_grid> grids(density ? 0 : 2 * THREAD_SLOTS);  // reads of slot k at 2k, writes at 2k + 1
    std::vector<uint32_t> counts(density ? size_t(PLOT_W) * PLOT_H : 0);
    std::vector<bool> counted(PLOT_W);  // columns with a count
    if (!each_record(c, [&](const sve_mem_ref_t& r) {
            uint64_t first, last;
            if (!wanted(r) || !clip(r, first, last)) return;
            int col = px(r.count);
            int ytop = py(last), ybot = py(first);
            if (!density) ytop = std::max(0, std::min(ytop, ybot - (MIN_MARK - 1)));  // visible however small
            if (density) {
                for (int yy = ytop; yy <= ybot; yy++) counts[size_t(yy) * PLOT_W + size_t(col)]++;
                counted[size_t(col)] = true;
                return;
            }
            pixel_grid& g = grids[2 * slot(r.thread_id) + (r.type == memaccess_read ? 0 : 1)];
            for (int yy = ytop; yy <= ybot; yy++) g.set(col, yy);
        }, error))
        return file_error(c, error);

    FILE* o = std::fopen(opt.output.c_str(), "w");
    if (!o) {
        std::fprintf(c.err, "sve-trace: %s: %s\n", opt.output.c_str(), std::strerror(errno));
        return 1;
    }
    const int W = MARGIN_L + PLOT_W + MARGIN_R, H = MARGIN_T + PLOT_H + MARGIN_B;
    const double xspan = double(x.hi - x.lo) + 1;
    // A record column is as wide as the records allow, so short traces show solid marks.
    int w = std::clamp(int(PLOT_W / xspan), MIN_MARK - 1, 8);
    std::fprintf(o, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n");
    std::fprintf(o, "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%d\" height=\"%d\" viewBox=\"0 0 %d %d\">\n",
                 W, H, W, H);
    std::fprintf(o, "<style>text{font-family:monospace;font-size:12px}.t{font-size:14px}"
                    ".axis{stroke:#000;stroke-width:1}.grid{stroke:#e4e4e4;stroke-width:1}");
    bool single = thread_count == 1;
    for (int k = 0; k < THREAD_SLOTS; k++)
        std::fprintf(o, ".r%d{fill:%s}.w%d{fill:%s}", k, single ? SINGLE_THREAD[0] : THREAD_COLOURS[k][0], k,
                     single ? SINGLE_THREAD[1] : THREAD_COLOURS[k][1]);
    for (int k = 0; k < LEVELS; k++) std::fprintf(o, ".d%d{fill:%s}", k, LEVEL_COLOURS[k]);
    std::fprintf(o, "</style>\n<rect x=\"0\" y=\"0\" width=\"%d\" height=\"%d\" fill=\"#fff\"/>\n", W, H);

    std::string title = c.s->app_name.empty() ? c.s->path : c.s->app_name;
    if (sel.region) title += ", region " + std::to_string(sel.region);
    if (sel.by_thread) {
        char t[24];
        std::snprintf(t, sizeof t, ", thread 0x%08x", sel.thread);
        title += t;
    }
    bool zoomed = opt.from || opt.to != UINT64_MAX || opt.addr_from || opt.addr_to != UINT64_MAX;
    if (zoomed) title += ", zoomed";
    else if (!sel.region && !sel.by_thread) title += ", whole trace";
    title += ": " + std::to_string(n) + " records";
    if (density) title += ", records per pixel";
    else if (xspan > PLOT_W) title += ", " + std::to_string(uint64_t(std::ceil(xspan / PLOT_W))) + " per pixel column";
    std::fprintf(o, "<text class=\"t\" x=\"%d\" y=\"%d\">%s</text>\n", MARGIN_L, MARGIN_T - 20,
                 xml_escape(title).c_str());

    // Axes: ticks at round values, addresses in hexadecimal steps of 1, 2 or 5 times a power
    // of 16, counts in decimal steps of 1, 2 or 5 times a power of 10.
    std::fprintf(o, "<g class=\"axes\">\n");
    uint64_t astep = tick_step(y.hi - y.lo, 16, {1, 2, 4, 8}, 8);
    for (uint64_t a = (y.lo + astep - 1) / astep * astep; a >= y.lo && a <= y.hi; a += astep) {
        int yy = MARGIN_T + py(a);
        std::fprintf(o, "<line class=\"grid\" x1=\"%d\" y1=\"%d\" x2=\"%d\" y2=\"%d\"/>", MARGIN_L, yy,
                     MARGIN_L + PLOT_W, yy);
        std::fprintf(o, "<text x=\"%d\" y=\"%d\" text-anchor=\"end\">0x%" PRIx64 "</text>\n", MARGIN_L - 6, yy + 4, a);
        if (a > UINT64_MAX - astep) break;
    }
    uint64_t cstep = tick_step(x.hi - x.lo, 10, {1, 2, 5}, 8);
    for (uint64_t k = (x.lo + cstep - 1) / cstep * cstep; k >= x.lo && k <= x.hi; k += cstep) {
        int xx = MARGIN_L + px(k);
        std::fprintf(o, "<line class=\"axis\" x1=\"%d\" y1=\"%d\" x2=\"%d\" y2=\"%d\"/>", xx, MARGIN_T + PLOT_H, xx,
                     MARGIN_T + PLOT_H + 5);
        std::fprintf(o, "<text x=\"%d\" y=\"%d\" text-anchor=\"middle\">%" PRIu64 "</text>\n", xx,
                     MARGIN_T + PLOT_H + 20, k);
        if (k > UINT64_MAX - cstep) break;
    }
    std::fprintf(o, "<line class=\"axis\" x1=\"%d\" y1=\"%d\" x2=\"%d\" y2=\"%d\"/>\n", MARGIN_L, MARGIN_T,
                 MARGIN_L, MARGIN_T + PLOT_H);
    std::fprintf(o, "<line class=\"axis\" x1=\"%d\" y1=\"%d\" x2=\"%d\" y2=\"%d\"/>\n", MARGIN_L,
                 MARGIN_T + PLOT_H, MARGIN_L + PLOT_W, MARGIN_T + PLOT_H);
    std::fprintf(o, "<text x=\"%d\" y=\"%d\" text-anchor=\"middle\">record count</text>\n", MARGIN_L + PLOT_W / 2,
                 H - 20);
    std::fprintf(o, "<text x=\"20\" y=\"%d\" text-anchor=\"middle\" transform=\"rotate(-90 20 %d)\">address"
                    " (%" PRIu64 " bytes)</text>\n", MARGIN_T + PLOT_H / 2, MARGIN_T + PLOT_H / 2, y.hi - y.lo + 1);
    std::fprintf(o, "</g>\n");

    // Legend, right of the plot.
    const int lx = MARGIN_L + PLOT_W + 20;
    int ly = MARGIN_T;
    std::fprintf(o, "<g class=\"legend\">\n");
    auto entry = [&](const char* cls, const std::string& label) {
        std::fprintf(o, "<rect class=\"%s\" x=\"%d\" y=\"%d\" width=\"12\" height=\"12\"/>", cls, lx, ly);
        std::fprintf(o, "<text x=\"%d\" y=\"%d\">%s</text>\n", lx + 18, ly + 10, xml_escape(label).c_str());
        ly += 18;
    };
    // Heat map levels: records per pixel on a log scale up to the busiest pixel.
    const uint32_t most = density ? *std::max_element(counts.begin(), counts.end()) : 0;
    const double top = std::log2(double(most) + 1);
    auto level_of = [&](uint64_t k) { return std::min(LEVELS - 1, int(std::log2(double(k)) / top * LEVELS)); };
    auto first_at = [&](int level) {  // the smallest count from 1 on at this level or above
        uint64_t lo = 1, hi = uint64_t(most) + 1;
        while (lo < hi) {
            uint64_t mid = lo + (hi - lo) / 2;
            if (level_of(mid) >= level) hi = mid;
            else lo = mid + 1;
        }
        return lo;
    };
    if (density) {
        std::fprintf(o, "<text x=\"%d\" y=\"%d\">records per pixel</text>\n", lx, ly + 10);
        ly += 18;
        for (int k = 0; k < LEVELS; k++) {
            uint64_t lo = first_at(k), hi = std::min<uint64_t>(first_at(k + 1) - 1, most);
            if (hi < lo) continue;
            char cls[8], label[48];
            std::snprintf(cls, sizeof cls, "d%d", k);
            std::snprintf(label, sizeof label, lo == hi ? "%" PRIu64 : "%" PRIu64 " to %" PRIu64, lo, hi);
            entry(cls, label);
        }
    } else {
        size_t rows = threads.size() + (thread_count > threads.size() ? 1 : 0);
        for (size_t k = 0; k < rows; k++) {
            char cls[24], label[48];
            std::string who = k < threads.size() ? "" : std::to_string(thread_count - threads.size()) + " more";
            if (k < threads.size()) std::snprintf(label, sizeof label, "0x%08x", threads[k]);
            else std::snprintf(label, sizeof label, "%s", who.c_str());
            std::snprintf(cls, sizeof cls, "r%zu", k);
            entry(cls, std::string(label) + " read");
            cls[0] = 'w';
            entry(cls, std::string(label) + " write");
        }
    }
    std::fprintf(o, "</g>\n");

    uint64_t shapes = 0;
    if (density) {
        std::fprintf(o, "<g class=\"density\">\n");
        emit_runs(o, "d", 1, counted, shapes, [&](int xx, int yy) {
            uint32_t k = counts[size_t(yy) * PLOT_W + size_t(xx)];
            return k ? level_of(k) + 1 : 0;
        });
        std::fprintf(o, "</g>\n");
    } else {
        // Reads first, writes over them.
        for (int kind = 0; kind < 2; kind++) {
            std::fprintf(o, "<g class=\"%s\">\n", kind ? "writes" : "reads");
            for (int k = 0; k < THREAD_SLOTS && size_t(k) < thread_count; k++) {  // the slots in use
                const pixel_grid& g = grids[size_t(2 * k + kind)];
                char cls[4] = {kind ? 'w' : 'r', 0};
                emit_runs(o, cls, w, g.used, shapes, [&](int xx, int yy) { return g.get(xx, yy) ? k + 1 : 0; });
            }
            std::fprintf(o, "</g>\n");
        }
    }
    std::fprintf(o, "</svg>\n");
    bool ok = std::fclose(o) == 0;
    if (!ok) {
        std::fprintf(c.err, "sve-trace: %s: write failed\n", opt.output.c_str());
        return 1;
    }
    std::fprintf(c.out, "%s: %" PRIu64 " records, %" PRIu64 " marks\n", opt.output.c_str(), n, shapes);
    return 0;
}

}  // namespace sve_trace

// plot: an SVG picture of addresses against record order.
#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cmath>
#include <cstring>
#include <vector>

#include "tools/sve-trace/command.h"
#include "tools/sve-trace/regions.h"

namespace sve_trace {
namespace {

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

}  // namespace

int cmd_plot(const context& c, const options& opt) {
    std::string error;
    regions reg;
    if (!find_regions(c, reg, error)) return file_error(c, error);
    selection sel;
    int status = 0;
    if (!make_selection(c, opt, reg, sel, status)) return status;
    auto wanted = [&](const sve_mem_ref_t& r) { return !is_meta(r) && sel.wants(r); };
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

}  // namespace sve_trace

// The plot is well-formed SVG with one mark per record while the records fit the width, reads
// and writes apart, only the chosen region, and a bounded number of marks for a long trace.
#include <gtest/gtest.h>
#include <unistd.h>

#include <map>

#include "tests/trace/trace_util.h"

using namespace trace_test;

namespace {

struct element {
    std::string name;
    std::map<std::string, std::string> attrs;
    std::string parent;
};

// A small XML reader: checks nesting, quoting and the single root; returns the elements.
bool parse_xml(const std::string& s, std::vector<element>& out, std::string& why) {
    std::vector<std::pair<std::string, std::string>> stack;  // name, and the class of a <g>
    size_t i = 0, roots = 0;
    if (s.rfind("<?xml", 0) == 0) i = s.find("?>") + 2;
    while ((i = s.find('<', i)) != std::string::npos) {
        size_t end = s.find('>', i);
        if (end == std::string::npos) return why = "unclosed tag", false;
        std::string tag = s.substr(i + 1, end - i - 1);
        i = end + 1;
        if (tag.empty()) return why = "empty tag", false;
        if (tag[0] == '/') {
            if (stack.empty() || stack.back().first != tag.substr(1)) return why = "mismatched </" + tag.substr(1) + ">", false;
            stack.pop_back();
            continue;
        }
        bool self = tag.back() == '/';
        if (self) tag.pop_back();
        element e;
        size_t p = tag.find_first_of(" \n");
        e.name = tag.substr(0, p);
        e.parent = stack.empty() ? "" : stack.back().second;
        while (p != std::string::npos && (p = tag.find_first_not_of(" \n", p)) != std::string::npos) {
            size_t eq = tag.find('=', p);
            if (eq == std::string::npos || eq + 1 >= tag.size() || tag[eq + 1] != '"')
                return why = "bad attribute in <" + tag + ">", false;
            size_t close = tag.find('"', eq + 2);
            if (close == std::string::npos) return why = "unquoted attribute", false;
            if (!e.attrs.emplace(tag.substr(p, eq - p), tag.substr(eq + 2, close - eq - 2)).second)
                return why = "repeated attribute", false;
            p = close + 1;
        }
        if (stack.empty()) roots++;
        out.push_back(e);
        if (!self) stack.push_back({e.name, e.name == "g" && e.attrs.count("class") ? e.attrs["class"] : e.name});
    }
    if (!stack.empty()) return why = "unclosed <" + stack.back().first + ">", false;
    if (roots != 1) return why = "not one root element", false;
    return true;
}

// Rectangles in the group whose class starts with `cls` (r0, r1, ... for the threads' reads).
size_t marks(const std::vector<element>& els, const char* group, const std::string& cls) {
    size_t n = 0;
    for (const element& e : els) n += e.name == "rect" && e.parent == group && e.attrs.at("class").rfind(cls, 0) == 0;
    return n;
}

std::vector<std::string> texts_of(const std::string& svg_text, const char* anchor) {
    std::vector<std::string> v;
    for (size_t i = 0; (i = svg_text.find(anchor, i)) != std::string::npos; i++) {
        size_t a = svg_text.find('>', i) + 1, b = svg_text.find('<', a);
        v.push_back(svg_text.substr(a, b - a));
    }
    return v;
}

struct plot {
    int status;
    std::vector<element> els;
    std::string err, text;
};

plot make_plot(const std::vector<sve_mem_ref_t>& recs, std::vector<std::string> extra = {}) {
    std::string path = write_file("plot.bin", trace_bytes(recs));
    std::string svg = temp_path("plot.svg");
    std::vector<std::string> args = {"plot", path, "-o", svg};
    args.insert(args.end(), extra.begin(), extra.end());
    run_result r = run_tool(args);
    plot p{r.status, {}, r.err, ""};
    if (r.status == 0) {
        std::string why;
        p.text = read_file(svg);
        EXPECT_TRUE(parse_xml(p.text, p.els, why)) << why;
        EXPECT_EQ(p.els.empty() ? "" : p.els[0].name, "svg");
    }
    unlink(path.c_str());
    unlink(svg.c_str());
    return p;
}

}  // namespace

TEST(TracePlot, OneMarkPerRecordAndRegionChoice) {
    // Region 1: a strided read stream and a gather-like write bundle; region 2: other reads.
    std::vector<sve_mem_ref_t> recs = {start(1)};
    uint64_t c = 2;
    for (int i = 0; i < 30; i++) recs.push_back(rec(c++, 7, 1, 0x10000 + 0x400 * i, 16, 0x400));
    const uint64_t scattered[] = {0x18000, 0x10200, 0x17000, 0x12800, 0x11000};
    for (uint64_t a : scattered) recs.push_back(rec(c++, 7, 0, a, 8, 0x404, 2));
    recs.push_back(stop(c++));
    recs.push_back(start(c++));
    for (int i = 0; i < 12; i++) recs.push_back(rec(c++, 7, 1, 0x90000 + 0x1000 * i, 80, 0x408));
    recs.push_back(stop(c++));

    struct want {
        std::vector<std::string> args;
        size_t reads, writes;
    } wants[] = {
        {{"--region", "1"}, 30, 5},
        {{"--region", "2"}, 12, 0},
        {{}, 42, 5},
    };
    for (const want& w : wants) {
        plot p = make_plot(recs, w.args);
        ASSERT_EQ(p.status, 0) << p.err;
        EXPECT_EQ(marks(p.els, "reads", "r"), w.reads) << (w.args.empty() ? "all" : w.args[1]);
        EXPECT_EQ(marks(p.els, "writes", "w"), w.writes) << (w.args.empty() ? "all" : w.args[1]);
        size_t texts = 0;
        for (const element& e : p.els) texts += e.name == "text";
        EXPECT_GE(texts, 10u + 2u + 1u) << "tick labels, axis titles, title";
    }
    // Reads climb with the record order: the later the read, the higher its address, the lower
    // its y in SVG coordinates.
    plot p = make_plot(recs, {"--region", "1"});
    int last_x = -1, last_y = 1 << 30;
    for (const element& e : p.els) {
        if (e.name != "rect" || e.parent != "reads") continue;
        int x = std::stoi(e.attrs.at("x")), y = std::stoi(e.attrs.at("y"));
        EXPECT_GT(x, last_x);
        EXPECT_LT(y, last_y);
        last_x = x, last_y = y;
    }
}

TEST(TracePlot, LongTraceIsSubsampled) {
    std::vector<sve_mem_ref_t> recs;
    for (uint64_t i = 1; i <= 200000; i++) recs.push_back(rec(i, 7, int(i % 4 != 0), 0x100000 + (i * 64) % 0x80000, 64, 0x400));
    plot p = make_plot(recs);
    ASSERT_EQ(p.status, 0) << p.err;
    size_t r = marks(p.els, "reads", "r"), w = marks(p.els, "writes", "w");
    EXPECT_GT(r, 0u);
    EXPECT_GT(w, 0u);
    // At most one mark per vertical run of each pixel column and colour: far fewer than records.
    EXPECT_LT(r + w, 40000u);
}

TEST(TracePlot, NothingToPlot) {
    plot p = make_plot({start(1), stop(2)});
    EXPECT_EQ(p.status, 1);
    EXPECT_NE(p.err.find("no memory records to plot"), std::string::npos) << p.err;
}

// Two threads in two colours, with a legend entry for each kind of access of each.
TEST(TracePlot, OneColourPerThread) {
    std::vector<sve_mem_ref_t> recs;
    for (uint64_t i = 0; i < 40; i++) recs.push_back(rec(i + 1, i % 2 ? 0xB : 0xA, int(i % 4 < 2), 0x1000 + 0x100 * i, 64, 0x400));
    plot p = make_plot(recs);
    ASSERT_EQ(p.status, 0) << p.err;
    // Thread 0xA has the even records: i % 4 == 0 reads, == 2 writes; 0xB the odd ones.
    EXPECT_EQ(marks(p.els, "reads", "r0"), 10u);
    EXPECT_EQ(marks(p.els, "writes", "w0"), 10u);
    EXPECT_EQ(marks(p.els, "reads", "r1"), 10u);
    EXPECT_EQ(marks(p.els, "writes", "w1"), 10u);
    std::vector<std::string> legend;
    for (const std::string& t : texts_of(p.text, "<text")) if (t.rfind("0x0000000", 0) == 0 && t.find(' ') != std::string::npos) legend.push_back(t);
    EXPECT_EQ(legend, (std::vector<std::string>{"0x0000000a read", "0x0000000a write", "0x0000000b read", "0x0000000b write"}));
    // The two threads' read colours differ.
    size_t r0 = p.text.find(".r0{fill:"), r1 = p.text.find(".r1{fill:");
    ASSERT_NE(r0, std::string::npos);
    ASSERT_NE(r1, std::string::npos);
    EXPECT_NE(p.text.substr(r0 + 4, 14), p.text.substr(r1 + 4, 14));
}

// --from/--to keep the records of those counts, --addr-from/--addr-to those addresses; the
// address ticks fall on round hexadecimal values, the same step apart.
TEST(TracePlot, ZoomAndTicks) {
    std::vector<sve_mem_ref_t> recs;
    for (uint64_t i = 1; i <= 100; i++) recs.push_back(rec(i, 7, 1, 0x7f0000123450 + 0x40 * i, 16, 0x400));
    struct zoom {
        std::vector<std::string> args;
        size_t marks;
    } zooms[] = {
        {{}, 100},
        {{"--from", "11", "--to", "30"}, 20},
        {{"--addr-from", std::to_string(0x7f0000123450 + 0x40 * 51), "--addr-to", "0xffffffffffff"}, 50},
        {{"--from", "60", "--addr-to", std::to_string(0x7f0000123450 + 0x40 * 70 + 15)}, 11},
    };
    for (const zoom& z : zooms) {
        plot p = make_plot(recs, z.args);
        ASSERT_EQ(p.status, 0) << p.err;
        EXPECT_EQ(marks(p.els, "reads", "r"), z.marks) << (z.args.empty() ? "all" : z.args[0]);
        std::vector<uint64_t> ticks;
        for (const std::string& t : texts_of(p.text, "text-anchor=\"end\""))
            if (t.rfind("0x", 0) == 0) ticks.push_back(std::stoull(t, nullptr, 16));
        ASSERT_GE(ticks.size(), 3u) << p.text;
        uint64_t step = ticks[1] - ticks[0];
        // 1, 2, 4 or 8 times a power of 16: a power of two.
        EXPECT_EQ(step & (step - 1), 0u) << std::hex << step;
        for (size_t i = 0; i < ticks.size(); i++) {
            EXPECT_EQ(ticks[i] % step, 0u) << std::hex << ticks[i];
            if (i) {
                EXPECT_EQ(ticks[i] - ticks[i - 1], step);
            }
        }
        EXPECT_LE(ticks.size(), 9u);
    }
    plot none = make_plot(recs, {"--from", "200"});
    EXPECT_EQ(none.status, 1);
    EXPECT_NE(none.err.find("no memory records to plot in this selection"), std::string::npos) << none.err;
}

// The heat map counts records per pixel: a pixel touched by k records has a level that grows
// with k, and the legend ends at the busiest pixel's count.
TEST(TracePlot, DensityView) {
    // 960 columns: counts 1..9600 give exactly 10 records per column. Even columns have all 10
    // at the lowest address; odd columns 5 there and 5 at the highest.
    std::vector<sve_mem_ref_t> recs;
    for (uint64_t i = 0; i < 9600; i++) {
        uint64_t column = i / 10;
        uint64_t a = column % 2 ? 0x100000 + 0x40000 * (i % 2) : 0x100000;
        recs.push_back(rec(i + 1, 7, 1, a, 8, 0x400));
    }
    plot p = make_plot(recs, {"--view", "density"});
    ASSERT_EQ(p.status, 0) << p.err;
    EXPECT_EQ(marks(p.els, "reads", "r"), 0u);
    size_t dense = 0;
    std::map<std::string, size_t> by_level;
    for (const element& e : p.els)
        if (e.name == "rect" && e.parent == "density") dense++, by_level[e.attrs.at("class")]++;
    EXPECT_GT(dense, 960u);
    // Busiest pixels: 10 records (even columns, one row); the legend's last range ends at 10.
    std::vector<std::string> t = texts_of(p.text, "<text");
    bool ends_at_10 = false;
    for (const std::string& s : t) ends_at_10 |= s.size() > 3 && s.substr(s.size() - 3) == " 10";
    EXPECT_TRUE(ends_at_10) << p.text.substr(0, 2000);
    EXPECT_GE(by_level.size(), 2u);  // 10-record and 5-record pixels differ
}

// Beyond seven threads the rest share the last colour and one legend entry.
TEST(TracePlot, ManyThreadsShareTheLastColour) {
    std::vector<sve_mem_ref_t> recs;
    for (uint64_t i = 0; i < 100; i++) recs.push_back(rec(i + 1, uint32_t(0x100 + i % 10), 1, 0x1000 + 0x80 * i, 8, 0x400));
    plot p = make_plot(recs);
    ASSERT_EQ(p.status, 0) << p.err;
    // Threads 0x100 to 0x106 have slots 0 to 6 (10 reads each); 0x107 to 0x109 share slot 7.
    for (int k = 0; k < 7; k++) EXPECT_EQ(marks(p.els, "reads", "r" + std::to_string(k)), 10u) << k;
    EXPECT_EQ(marks(p.els, "reads", "r7"), 30u);
    EXPECT_NE(p.text.find(">3 more read<"), std::string::npos);
    EXPECT_EQ(p.text.find("0x00000107"), std::string::npos);
}

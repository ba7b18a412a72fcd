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

size_t marks(const std::vector<element>& els, const char* group, const char* cls) {
    size_t n = 0;
    for (const element& e : els) n += e.name == "rect" && e.parent == group && e.attrs.at("class") == cls;
    return n;
}

struct plot {
    int status;
    std::vector<element> els;
    std::string err;
};

plot make_plot(const std::vector<sve_mem_ref_t>& recs, std::vector<std::string> extra = {}) {
    std::string path = write_file("plot.bin", trace_bytes(recs));
    std::string svg = temp_path("plot.svg");
    std::vector<std::string> args = {"plot", path, "-o", svg};
    args.insert(args.end(), extra.begin(), extra.end());
    run_result r = run_tool(args);
    plot p{r.status, {}, r.err};
    if (r.status == 0) {
        std::string why;
        std::string text = read_file(svg);
        EXPECT_TRUE(parse_xml(text, p.els, why)) << why;
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

// sve-trace against trace files made by hand and by the companion library: every bad input
// gives one line and a non-zero status, and the listings, totals and splits match the records.
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <cstdlib>
#include <map>
#include <random>
#include <sstream>
#include <thread>

#include "tests/trace/trace_util.h"

using namespace trace_test;

namespace {

constexpr uint32_t TA = 0x1111AAAA, TB = 0x2222BBBB;  // two threads

std::string field(const std::string& out, const std::string& label) {
    for (const std::string& l : lines(out))
        if (l.rfind(label, 0) == 0) return l.substr(l.find_first_not_of(' ', label.size()));
    return "";
}

}  // namespace

TEST(TraceTool, BadInputsGiveOneLineAndAStatus) {
    std::vector<sve_mem_ref_t> two = {rec(1, TA, 1, 0x1000, 8, 0x400), rec(2, TA, 0, 0x2000, 8, 0x404)};
    std::string good = trace_bytes(two);
    std::string bad_name_len = good;
    bad_name_len[28] = 60;  // a name longer than the header holds
    struct bad {
        const char* what;
        std::vector<std::string> args;  // "@" stands for the file
        std::string bytes;              // "" with no_file: the file does not exist
        bool no_file;
        int status;
        const char* message;
    } cases[] = {
        {"missing file", {"summary", "@"}, "", true, 1, "No such file or directory"},
        {"empty file", {"dump", "@"}, "", false, 1, "empty file"},
        {"half a header", {"dump", "@"}, good.substr(0, 20), false, 1, "truncated header: 20 bytes"},
        {"name cut short", {"dump", "@"}, good.substr(0, 42), false, 1, "truncated header"},
        {"partial record", {"summary", "@"}, good + std::string(10, '\0'), false, 1,
         "truncated: 2 whole records, then a partial record of 10 bytes"},
        {"partial first record", {"csv", "@"}, good.substr(0, 48 + 47), false, 1,
         "truncated: 0 whole records, then a partial record of 47 bytes"},
        {"another format", {"dump", "@"}, "\x7f" "ELF\2\1\1\0 some program, not a trace at all.........", false, 1,
         "not a trace file (bad magic)"},
        {"short other format", {"dump", "@"}, "hello\n", false, 1, "bad magic"},
        {"another version", {"plot", "@", "-o", "x.svg"}, trace_bytes(two, "app", 3), false, 1,
         "trace format version 3, this tool reads versions 1 to 2"},
        {"another record size", {"dump", "@"}, trace_bytes(two, "app", 1, 40), false, 1, "records of 40 bytes"},
        {"corrupt header", {"dump", "@"}, bad_name_len, false, 1, "corrupt header"},
        {"unknown command", {"show", "@"}, good, false, 2, "unknown command 'show'"},
        {"unknown option", {"summary", "@", "--bin", "x"}, good, false, 2, "unknown option '--bin' for summary"},
        {"option of another command", {"dump", "@", "--binary", "x"}, good, false, 2, "unknown option '--binary'"},
        {"option of another command", {"summary", "@", "--l1", "32K:8:64"}, good, false, 2, "unknown option '--l1'"},
        {"missing value", {"summary", "@", "--binary"}, good, false, 2, "option '--binary' needs a value"},
        {"not a number", {"plot", "@", "-o", "x.svg", "--region", "two"}, good, false, 2, "needs a number"},
        {"region 0", {"plot", "@", "-o", "x.svg", "--region", "0"}, good, false, 2, "numbered from 1"},
        {"plot without output", {"plot", "@"}, good, false, 2, "plot needs an output file"},
        {"no file", {"summary"}, good, false, 2, "summary needs a trace file"},
        {"region out of range", {"plot", "@", "-o", "x.svg", "--region", "3"}, good, false, 1, "no region 3"},
        {"binary not ELF", {"summary", "@", "--binary", "@"}, good, false, 1, "not an ELF file"},
        {"cache shape", {"cache", "@", "--l1", "64K:4"}, good, false, 2, "needs SIZE:WAYS:LINE"},
        {"cache line", {"cache", "@", "--l1", "64K:4:48"}, good, false, 2, "power of two"},
        {"cache sets", {"cache", "@", "--l2", "1000:4:64"}, good, false, 2, "multiple of WAYS * LINE"},
        {"no first level", {"cache", "@", "--l1", "0"}, good, false, 2, "cache needs a first level"},
        {"reuse line", {"reuse", "@", "--line", "48"}, good, false, 2, "--line needs a power of two"},
        {"sort key", {"dump", "@", "--sort", "address"}, good, false, 2, "--sort takes count or file"},
        {"plot view", {"plot", "@", "-o", "x.svg", "--view", "dots"}, good, false, 2, "--view takes points"},
        {"empty zoom", {"plot", "@", "-o", "x.svg", "--from", "9", "--to", "3"}, good, false, 2, "an empty range"},
        {"two files to dump", {"dump", "@", "@"}, good, false, 2, "unexpected argument"},
        {"unknown thread", {"reuse", "@", "--thread", "7"}, good, false, 1, "no thread 7 (0x7)"},
    };
    for (const bad& b : cases) {
        std::string path = b.no_file ? temp_path("does_not_exist") : write_file("bad", b.bytes);
        std::vector<std::string> args;
        for (const std::string& a : b.args) args.push_back(a == "@" ? path : a == "x.svg" ? temp_path("x.svg") : a);
        run_result r = run_tool(args);
        EXPECT_EQ(r.status, b.status) << b.what;
        EXPECT_NE(r.err.find(b.message), std::string::npos) << b.what << ": " << r.err;
        EXPECT_EQ(lines(r.err).size(), 1u) << b.what << ": " << r.err;
        EXPECT_EQ(r.err.rfind("sve-trace: ", 0), 0u) << b.what;
        EXPECT_EQ(r.out, "") << b.what;
        unlink(path.c_str());
    }
}

// Every record comes out once, in file order, with each of its fields.
TEST(TraceTool, DumpAndCsvShowEveryField) {
    std::vector<sve_mem_ref_t> recs = {
        start(1),
        rec(2, TA, 1, 0xAAAA00001000, 80, 0x4006A0),
        rec(3, TA, 0, 0x5000, 8, 0x4006A4, 3),
        rec(4, TA, 0, 0x5100, 8, 0x4006A4, 2),
        rec(5, TA, 0, 0x5200, 8, 0x4006A4, 6),
        rec(6, TB, 1, 0x7000, 4, 0x4006B0, 7),
        stop(7),
    };
    std::string path = write_file("list.bin", trace_bytes(recs));
    run_result d = run_tool({"dump", path});
    ASSERT_EQ(d.status, 0) << d.err;
    std::vector<std::string> dl = lines(d.out);
    ASSERT_EQ(dl.size(), recs.size() + 1);  // with a header line
    EXPECT_NE(dl[1].find("region start"), std::string::npos);
    EXPECT_NE(dl[2].find("0x1111aaaa  read    0x0000aaaa00001000        80  0x00000000004006a0  -"), std::string::npos);
    EXPECT_NE(dl[4].find("member"), std::string::npos);
    EXPECT_NE(dl[7].find("region stop"), std::string::npos);

    run_result c = run_tool({"csv", path});
    ASSERT_EQ(c.status, 0) << c.err;
    std::vector<std::string> want_csv = {
        "count,thread,access,address,size,pc,flags",
        "1,,start,,,,",
        "2,0x1111aaaa,read,0xaaaa00001000,80,0x4006a0,-",
        "3,0x1111aaaa,write,0x5000,8,0x4006a4,first",
        "4,0x1111aaaa,write,0x5100,8,0x4006a4,member",
        "5,0x1111aaaa,write,0x5200,8,0x4006a4,last",
        "6,0x2222bbbb,read,0x7000,4,0x4006b0,single",
        "7,,stop,,,,",
    };
    EXPECT_EQ(lines(c.out), want_csv);
    unlink(path.c_str());
}

// Totals over a large pseudo-random file that spans many read chunks.
TEST(TraceTool, SummaryTotalsEqualTheFile) {
    std::mt19937_64 rng(7);
    std::vector<sve_mem_ref_t> recs = {start(1)};
    uint64_t rd = 0, wr = 0, nrd = 0, nwr = 0;
    for (uint64_t i = 2; i < 20000; i++) {
        int type = int(rng() & 1);
        uint64_t size = 1 + rng() % 80;
        (type ? rd : wr) += size;
        (type ? nrd : nwr)++;
        recs.push_back(rec(i, TA, type, rng() >> 16, size, 0x400000 + 4 * (rng() % 64)));
    }
    recs.push_back(stop(20000));
    std::string path = write_file("totals.bin", trace_bytes(recs, "totals_app"));
    run_result r = run_tool({"summary", path, "--top", "0"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(field(r.out, "records"), std::to_string(recs.size()) + " (" + std::to_string(recs.size() - 2) +
                                           " memory, 2 markers)");
    EXPECT_EQ(field(r.out, "read"), std::to_string(rd) + " bytes in " + std::to_string(nrd) + " records");
    EXPECT_EQ(field(r.out, "written"), std::to_string(wr) + " bytes in " + std::to_string(nwr) + " records");
    EXPECT_EQ(field(r.out, "application"), "totals_app (pid 4242), vector length 80 bytes");
    std::vector<std::string> region = table_row(r.out, "regions", "1");
    ASSERT_EQ(region.size(), 6u);
    EXPECT_EQ(region[3], std::to_string(recs.size() - 2));
    EXPECT_EQ(region[4], std::to_string(rd));
    EXPECT_EQ(region[5], std::to_string(wr));
    // The instruction table sums to the totals and runs from the most traffic down.
    uint64_t sum = 0, last = UINT64_MAX;
    size_t rows = 0;
    bool in = false;
    for (const std::string& l : lines(r.out)) {
        if (l.rfind("instructions by traffic", 0) == 0) in = true;
        if (!in || l.find("  0x") != 0) continue;
        std::istringstream ws(l);
        std::string pc;
        uint64_t n, rb, wb;
        ws >> pc >> n >> rb >> wb;
        EXPECT_LE(rb + wb, last) << l;
        last = rb + wb;
        sum += rb + wb;
        rows++;
    }
    EXPECT_EQ(rows, 64u);
    EXPECT_EQ(sum, rd + wr);
    unlink(path.c_str());
}

// Two threads, two regions, written in blocks out of count order the way the companion
// library writes per-thread buffers: regions are cut by count, not by file position.
TEST(TraceTool, SummarySplitsByRegionAndThread) {
    std::vector<sve_mem_ref_t> recs = {
        // thread B's buffer first, although its records are later
        rec(12, TB, 1, 0x9000, 16, 0x500),
        rec(13, TB, 0, 0x9100, 32, 0x504),
        rec(31, TB, 1, 0x9200, 64, 0x500),
        // thread A's buffer with the markers it executed
        start(10), rec(11, TA, 1, 0x1000, 80, 0x400), rec(14, TA, 0, 0x2000, 8, 0x404, 3),
        rec(15, TA, 0, 0x2040, 8, 0x404, 6), stop(16),
        rec(20, TA, 1, 0x3000, 100, 0x408),  // between the regions
        start(30), rec(32, TA, 0, 0x4000, 40, 0x40C),
        // region 2 is never stopped
    };
    std::string path = write_file("split.bin", trace_bytes(recs));
    run_result r = run_tool({"summary", path});
    ASSERT_EQ(r.status, 0) << r.err;
    using row = std::vector<std::string>;
    // region, start, end, records, read bytes, written bytes
    EXPECT_EQ(table_row(r.out, "regions", "1"), (row{"1", "10", "16", "5", "96", "48"}));
    EXPECT_EQ(table_row(r.out, "regions", "2"), (row{"2", "30", "open", "2", "64", "40"}));
    EXPECT_EQ(table_row(r.out, "regions", "none"), (row{"none", "-", "-", "1", "100", "0"}));
    EXPECT_EQ(table_row(r.out, "threads", "0x1111aaaa"), (row{"0x1111aaaa", "5", "180", "56"}));
    EXPECT_EQ(table_row(r.out, "threads", "0x2222bbbb"), (row{"0x2222bbbb", "3", "80", "32"}));
    // Threads by traffic: A (236 bytes) before B (112).
    EXPECT_LT(r.out.find("0x1111aaaa "), r.out.find("0x2222bbbb "));
    EXPECT_EQ(table_row(r.out, "instructions by traffic (6 of 6)", "0x0000000000000408"),
              (row{"0x0000000000000408", "1", "100", "0", "-"}));  // one record: no step
    EXPECT_EQ(table_row(r.out, "instructions by traffic (6 of 6)", "0x0000000000000500"),
              (row{"0x0000000000000500", "2", "80", "0", "stride", "512"}));  // 0x9200 - 0x9000
    unlink(path.c_str());
}

// A stream whose size is not known in advance: truncation is found at its end.
TEST(TraceTool, PipeWithPartialRecord) {
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    std::string bytes = trace_bytes({start(1), rec(2, TA, 1, 0x10, 8, 0x20), stop(3)}) + "abc";
    std::thread writer([&] {
        ssize_t done = write(fds[1], bytes.data(), bytes.size());
        (void)done;
        close(fds[1]);
    });
    run_result r = run_tool({"csv", "/proc/self/fd/" + std::to_string(fds[0])});
    writer.join();
    close(fds[0]);
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("truncated: 3 whole records, then a partial record of 3 bytes"), std::string::npos) << r.err;
}

// The companion library writes the file; the tool reads back what was sent.
TEST(TraceTool, FileOfTheCompanionLibrary) {
    std::string path = temp_path("companion.bin");
    setenv("SVE_TRACE_FILE", path.c_str(), 1);
    ASSERT_TRUE(sve_init(0, "companion_app"));
    uint64_t rd = 0, wr = 0;
    const uint32_t self = uint32_t(uint64_t(pthread_self()));
    sve_mem_ref_t m = start(incr_count());
    trace_mem(m);
    for (int i = 0; i < 3000; i++) {  // more than one buffer of the library
        int type = i % 3 != 0;
        sve_mem_ref_t r = rec(incr_count(), self, type, 0x100000 + 80 * i, 80 - i % 7, 0x4000 + 4 * (i % 5));
        (type ? rd : wr) += r.size;
        trace_mem(r);
    }
    m = stop(incr_count());
    trace_mem(m);
    sve_exit();
    unsetenv("SVE_TRACE_FILE");
    run_result r = run_tool({"summary", path});
    ASSERT_EQ(r.status, 0) << r.err;
    // Version 2: the companion adds a record for the thread, and the markers name it.
    EXPECT_EQ(field(r.out, "records"), "3003 (3000 memory, 2 markers, 1 thread records)");
    char self_hex[16];
    std::snprintf(self_hex, sizeof self_hex, "0x%08x", self);
    using row = std::vector<std::string>;
    EXPECT_EQ(table_row(r.out, "threads", self_hex),
              (row{self_hex, std::to_string(gettid()), "1", "3000", std::to_string(rd), std::to_string(wr)}));
    EXPECT_EQ(table_row(r.out, "regions", "1"), (row{"1", self_hex, "1", "3002", "3000", std::to_string(rd),
                                                  std::to_string(wr)}));
    EXPECT_EQ(field(r.out, "read"), std::to_string(rd) + " bytes in 2000 records");
    EXPECT_EQ(field(r.out, "written"), std::to_string(wr) + " bytes in 1000 records");
    EXPECT_EQ(field(r.out, "application"), "companion_app (pid " + std::to_string(getpid()) +
                                               "), vector length 80 bytes");
    unlink(path.c_str());
}

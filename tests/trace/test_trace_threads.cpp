// Version 2 traces: regions belong to the thread that sends the markers, --thread and --region
// choose records, dump sorts by count, summary reads several files and names access patterns.
#include <gtest/gtest.h>
#include <unistd.h>

#include <thread>


#include "tests/trace/trace_util.h"

using namespace trace_test;

namespace {

constexpr uint32_t TA = 0x1111AAAA, TB = 0x2222BBBB;

// Two threads, each with its block of records as the companion writes them (B's block first).
// Counts: A starts at 1, reads at 2 and 4, stops at 6, reads at 8 outside; B starts at 3,
// writes at 5 and 7 and never stops.
std::vector<sve_mem_ref_t> two_threads(bool v2) {
    auto s = [&](uint64_t c, uint32_t t) { return v2 ? start(c, t) : start(c); };
    auto e = [&](uint64_t c, uint32_t t) { return v2 ? stop(c, t) : stop(c); };
    std::vector<sve_mem_ref_t> r;
    if (v2) r.push_back(thread_rec(TB, 202));
    r.insert(r.end(), {s(3, TB), rec(5, TB, 0, 0x9000, 16, 0x500), rec(7, TB, 0, 0x9010, 16, 0x500)});
    if (v2) r.push_back(thread_rec(TA, 101));
    r.insert(r.end(), {s(1, TA), rec(2, TA, 1, 0x1000, 80, 0x400), rec(4, TA, 1, 0x1050, 80, 0x400), e(6, TA),
                       rec(8, TA, 1, 0x5000, 8, 0x404)});
    return r;
}

std::vector<uint64_t> counts_of(const std::string& dump) {
    std::vector<uint64_t> v;
    for (const std::string& l : lines(dump)) {
        size_t first = l.find_first_not_of(' ');
        if (first != std::string::npos && std::isdigit(uint8_t(l[first]))) v.push_back(std::stoull(l));  // not the heading
    }
    return v;
}

}  // namespace

// The same records read as version 2 (regions of each thread) and as version 1 (markers cut the
// whole process's records).
TEST(TraceThreads, RegionsBelongToTheirThread) {
    using row_t = std::vector<std::string>;
    std::string v2 = write_file("v2.bin", trace_bytes(two_threads(true), "app", 2));
    run_result r = run_tool({"summary", v2});
    ASSERT_EQ(r.status, 0) << r.err;
    // region, thread, start, end, records, read bytes, written bytes
    EXPECT_EQ(table_row(r.out, "regions", "1"), (row_t{"1", "0x1111aaaa", "1", "6", "2", "160", "0"}));
    EXPECT_EQ(table_row(r.out, "regions", "2"), (row_t{"2", "0x2222bbbb", "3", "open", "2", "0", "32"}));
    EXPECT_EQ(table_row(r.out, "regions", "none"), (row_t{"none", "-", "-", "-", "1", "8", "0"}));
    // thread, kernel tid, regions, records, read bytes, written bytes
    EXPECT_EQ(table_row(r.out, "threads", "0x1111aaaa"), (row_t{"0x1111aaaa", "101", "1", "3", "168", "0"}));
    EXPECT_EQ(table_row(r.out, "threads", "0x2222bbbb"), (row_t{"0x2222bbbb", "202", "1", "2", "0", "32"}));

    // Version 1: start 1 to start 3 (the second start ends the first region): A's read at 2;
    // start 3 to stop 6: A's read at 4 and B's write at 5; outside: B's write at 7, A's read at 8.
    std::string v1 = write_file("v1.bin", trace_bytes(two_threads(false), "app", 1));
    r = run_tool({"summary", v1});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(table_row(r.out, "regions", "1"), (row_t{"1", "1", "3*", "1", "80", "0"}));
    EXPECT_EQ(table_row(r.out, "regions", "2"), (row_t{"2", "3", "6", "2", "80", "16"}));
    EXPECT_EQ(table_row(r.out, "regions", "none"), (row_t{"none", "-", "-", "2", "8", "16"}));
    unlink(v2.c_str());
    unlink(v1.c_str());
}

TEST(TraceThreads, ThreadAndRegionChooseRecords) {
    std::string path = write_file("choose.bin", trace_bytes(two_threads(true), "app", 2));
    struct choice {
        std::vector<std::string> args;
        std::vector<uint64_t> counts;  // of the dump lines, file order (thread records: 0)
    } choices[] = {
        {{}, {0, 3, 5, 7, 0, 1, 2, 4, 6, 8}},
        {{"--thread", "0x1111aaaa"}, {0, 1, 2, 4, 6, 8}},
        {{"--thread", "202"}, {0, 3, 5, 7}},  // B's kernel thread id
        {{"--region", "1"}, {1, 2, 4, 6}},    // with the markers that bound it
        {{"--region", "2"}, {3, 5, 7}},
        {{"--region", "2", "--thread", "0x1111aaaa"}, {}},
        {{"--sort", "count"}, {0, 0, 1, 2, 3, 4, 5, 6, 7, 8}},
        {{"--sort", "count", "--thread", "0x2222bbbb"}, {0, 3, 5, 7}},
    };
    for (const choice& ch : choices) {
        std::vector<std::string> args = {"dump", path};
        args.insert(args.end(), ch.args.begin(), ch.args.end());
        run_result r = run_tool(args);
        ASSERT_EQ(r.status, 0) << r.err;
        EXPECT_EQ(counts_of(r.out), ch.counts) << args.size() << " " << (ch.args.empty() ? "" : ch.args[0] + " " + ch.args[1]);
    }
    // Summary of one thread: its records only.
    run_result r = run_tool({"summary", path, "--thread", "101"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("read          168 bytes in 3 records"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("written       0 bytes in 0 records"), std::string::npos) << r.out;

    // The thread record and the markers in CSV: the thread, and the kernel tid in the size column.
    run_result c = run_tool({"csv", path, "--thread", "0x2222bbbb"});
    ASSERT_EQ(c.status, 0) << c.err;
    std::vector<std::string> want = {"count,thread,access,address,size,pc,flags", "0,0x2222bbbb,thread,,202,,",
                                     "3,0x2222bbbb,start,,,,", "5,0x2222bbbb,write,0x9000,16,0x500,-",
                                     "7,0x2222bbbb,write,0x9010,16,0x500,-"};
    EXPECT_EQ(lines(c.out), want);

    struct bad {
        std::vector<std::string> args;
        const char* message;
    } bads[] = {
        {{"summary", path, "--thread", "999"}, "no thread 999"},
        {{"dump", path, "--region", "3"}, "no region 3, the trace has 2"},
        {{"cache", path, "--thread", "0x33"}, "no thread 51"},
    };
    for (const bad& b : bads) {
        run_result x = run_tool(b.args);
        EXPECT_EQ(x.status, 1) << b.message;
        EXPECT_NE(x.err.find(b.message), std::string::npos) << x.err;
    }
    unlink(path.c_str());
}

// Blocks of a long trace interleaved out of order, with unwritten (zero) slots at the end of a
// block as a writer leaves them: the sorted dump has every count once, in order.
TEST(TraceThreads, SortByCountMergesBlocks) {
    std::vector<sve_mem_ref_t> recs;
    const uint64_t n = 3 * 1000;
    for (uint64_t block = 0; block < 3; block++) {       // thread k has counts k+1, k+4, k+7, ...
        for (uint64_t c = block + 1; c <= n; c += 3) recs.push_back(rec(c, 100 + uint32_t(block), 1, c * 64, 8, 0x400));
        recs.push_back(rec(0, 0, 0, 0, 0, 0));  // an unwritten slot
    }
    std::string bytes = trace_bytes(recs, "app", 2);
    std::string path = write_file("sort.bin", bytes);
    run_result r = run_tool({"csv", path, "--sort", "count"});
    ASSERT_EQ(r.status, 0) << r.err;
    std::vector<std::string> l = lines(r.out);
    ASSERT_EQ(l.size(), n + 1);
    for (uint64_t c = 1; c <= n; c++) ASSERT_EQ(l[c].substr(0, l[c].find(',')), std::to_string(c));
    unlink(path.c_str());

    // A pipe cannot be read in another order than its own.
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    std::thread writer([&] {
        for (size_t done = 0; done < bytes.size();) {
            ssize_t k = write(fds[1], bytes.data() + done, bytes.size() - done);
            if (k <= 0) break;
            done += size_t(k);
        }
        close(fds[1]);
    });
    run_result p = run_tool({"dump", "/proc/self/fd/" + std::to_string(fds[0]), "--sort", "count"});
    close(fds[0]);
    writer.join();
    EXPECT_EQ(p.status, 1);
    EXPECT_NE(p.err.find("can only be sorted in a regular file"), std::string::npos) << p.err;
}

// One file per process (an MPI job's ranks): each summary, then the files and their sum.
TEST(TraceThreads, SummaryOfSeveralFiles) {
    std::string r0 = write_file("r0.bin", trace_bytes({rec(1, TA, 1, 0x100, 80, 0x400), rec(2, TA, 0, 0x200, 8, 0x404)},
                                                      "rank0", 2));
    std::string r1 = write_file("r1.bin", trace_bytes({rec(1, TB, 1, 0x100, 40, 0x400)}, "rank1", 2));
    run_result r = run_tool({"summary", r0, r1});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("rank0 (pid"), std::string::npos);
    EXPECT_NE(r.out.find("rank1 (pid"), std::string::npos);
    using row_t = std::vector<std::string>;
    // rank, file, pid, regions, threads, records, read bytes, written bytes
    EXPECT_EQ(table_row(r.out, "files", "0"), (row_t{"0", r0, "4242", "0", "1", "2", "80", "8"}));
    EXPECT_EQ(table_row(r.out, "files", "1"), (row_t{"1", r1, "4242", "0", "1", "1", "40", "0"}));
    EXPECT_EQ(table_row(r.out, "files", "total"), (row_t{"total", "2", "files", "-", "0", "2", "3", "120", "8"}));
    unlink(r0.c_str());
    unlink(r1.c_str());
}

// The pattern column: steps between consecutive records of one instruction and thread.
TEST(TraceThreads, AccessPatterns) {
    struct access {
        uint32_t thread;
        uint64_t address, size;
    };
    auto run = [](uint64_t first, int64_t step, uint64_t size, int n) {
        std::vector<access> v;
        for (int i = 0; i < n; i++) v.push_back({TA, first + uint64_t(step * i), size});
        return v;
    };
    std::vector<access> restart = run(0x1000, 80, 80, 20);  // 19 unit steps, one back, one more: 20 of 21
    for (const access& a : run(0x1000, 80, 80, 2)) restart.push_back(a);
    std::vector<access> two = run(0x1000, 64, 64, 10);  // two threads, each contiguous, interleaved
    std::vector<access> mixed;
    for (int i = 0; i < 10; i++) mixed.push_back(two[i]), mixed.push_back({TB, 0x80000 + 64u * i, 64});
    std::vector<access> scattered = {{TA, 0x1000, 8}, {TA, 0x9000, 8}, {TA, 0x1200, 8}, {TA, 0x4000, 8}, {TA, 0x10, 8}};
    struct pattern_case {
        const char* what;
        std::vector<access> accesses;
        const char* pattern;
    } cases[] = {
        {"contiguous vectors", run(0x1000, 80, 80, 10), "unit"},
        {"contiguous elements of a gather", run(0x2000, 8, 8, 10), "unit"},
        {"a column of doubles, rows of 640 bytes", run(0x1000, 640, 8, 10), "stride 640"},
        {"backwards", run(0x9000, -80, 80, 10), "stride -80"},
        {"the same address", run(0x9000, 0, 4, 5), "stride 0"},
        {"a loop nest restarting", restart, "unit"},
        {"two threads interleaved", mixed, "unit"},
        {"scattered", scattered, "irregular"},
        {"one record", run(0x1000, 0, 8, 1), "-"},
    };
    for (const pattern_case& pc : cases) {
        std::vector<sve_mem_ref_t> recs;
        uint64_t c = 1;
        for (const access& a : pc.accesses) recs.push_back(rec(c++, a.thread, 1, a.address, a.size, 0x400));
        std::string path = write_file("pattern.bin", trace_bytes(recs, "app", 2));
        run_result r = run_tool({"summary", path});
        ASSERT_EQ(r.status, 0) << r.err;
        std::vector<std::string> f = table_row(r.out, "instructions by traffic", "0x0000000000000400");
        ASSERT_GE(f.size(), 5u) << pc.what << "\n" << r.out;
        std::string got = f[4] + (f.size() > 5 ? " " + f[5] : "");
        EXPECT_EQ(got, pc.pattern) << pc.what;
        unlink(path.c_str());
    }
}

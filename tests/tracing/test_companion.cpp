// The companion library: trace files written by many threads at once and read back.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <condition_variable>
#include <cstdlib>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "companion/trace_file.h"

namespace {

std::string temp_path(const char* tag) {
    return std::string("/tmp/sve_companion_") + tag + "_" + std::to_string(getpid()) + ".bin";
}

sve_mem_ref_t make_record(uint32_t thread, uint64_t i) {
    sve_mem_ref_t r;
    std::memset(&r, 0, sizeof r);
    r.count = incr_count();
    r.thread_id = thread;
    r.flags = uint32_t(i % 8);
    r.type = i % 3 ? memaccess_read : memaccess_write;
    r.size = i;
    r.address = 0x100000000ull * thread + i;
    r.pc = 0x400000 + 4 * i;
    return r;
}

}  // namespace

TEST(Companion, ManyThreadsWriteEveryRecordUnchanged) {
    std::string path = temp_path("threads");
    setenv("SVE_TRACE_FILE", path.c_str(), 1);
    ASSERT_TRUE(sve_init(0, "my_app"));

    // Four threads that end before sve_exit, and one that is still alive when it runs.
    const int finished_threads = 4, per_thread = 5000;
    std::vector<std::thread> threads;
    for (int t = 0; t < finished_threads; t++)
        threads.emplace_back([t] {
            for (int i = 0; i < per_thread; i++) trace_mem(make_record(uint32_t(t + 1), uint64_t(i)));
        });
    for (auto& th : threads) th.join();

    std::mutex m;
    std::condition_variable cv;
    bool sent = false, exited = false;
    std::thread alive([&] {
        for (int i = 0; i < 10; i++) trace_mem(make_record(99, uint64_t(i)));  // stays in its buffer
        std::unique_lock<std::mutex> g(m);
        sent = true;
        cv.notify_all();
        cv.wait(g, [&] { return exited; });
    });
    {
        std::unique_lock<std::mutex> g(m);
        cv.wait(g, [&] { return sent; });
    }
    trace_mem(make_record(7, 0));  // the calling thread's own
    sve_exit();
    {
        std::lock_guard<std::mutex> g(m);
        exited = true;
        cv.notify_all();
    }
    alive.join();
    unsetenv("SVE_TRACE_FILE");

    sve_trace_contents c;
    std::string error;
    ASSERT_TRUE(read_trace_file(path.c_str(), c, error)) << error;
    unlink(path.c_str());
    EXPECT_EQ(c.app_name, "my_app");
    EXPECT_EQ(c.header.pid, uint32_t(getpid()));
    EXPECT_EQ(c.header.vl_bytes, 80u);
    EXPECT_EQ(c.header.record_bytes, 48u);
    EXPECT_EQ(c.header.header_bytes % 8, 0u);
    const size_t total = finished_threads * per_thread + 10 + 1;
    ASSERT_EQ(c.records.size(), total);
    EXPECT_EQ(c.header.records, total);

    // Every record arrives once and unchanged; each thread's records in the order it sent them.
    std::map<uint32_t, std::vector<sve_mem_ref_t>> by_thread;
    for (const auto& r : c.records) by_thread[r.thread_id].push_back(r);
    ASSERT_EQ(by_thread[99].size(), 10u);
    ASSERT_EQ(by_thread[7].size(), 1u);
    for (uint32_t t = 1; t <= finished_threads; t++) {
        const auto& v = by_thread[t];
        ASSERT_EQ(v.size(), size_t(per_thread)) << t;
        for (int i = 0; i < per_thread; i++) {
            sve_mem_ref_t want = make_record(t, uint64_t(i));
            want.count = v[i].count;
            ASSERT_EQ(std::memcmp(&want, &v[i], sizeof want), 0) << "thread " << t << " record " << i;
            if (i) {
                ASSERT_GT(v[i].count, v[i - 1].count);
            }
        }
    }
}

TEST(Companion, CountsAreDistinctAcrossThreads) {
    std::vector<std::vector<uint64_t>> seen(4);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; t++)
        threads.emplace_back([&seen, t] {
            for (int i = 0; i < 20000; i++) seen[t].push_back(incr_count());
        });
    for (auto& th : threads) th.join();
    std::vector<uint64_t> all;
    for (auto& v : seen) all.insert(all.end(), v.begin(), v.end());
    std::sort(all.begin(), all.end());
    EXPECT_EQ(std::adjacent_find(all.begin(), all.end()), all.end()) << "a count was given twice";
}

TEST(Companion, UnwritablePathFailsWithAMessage) {
    setenv("SVE_TRACE_FILE", "/nonexistent_dir_for_sve/trace.bin", 1);
    testing::internal::CaptureStderr();
    bool ok = sve_init(0, "app");
    std::string err = testing::internal::GetCapturedStderr();
    unsetenv("SVE_TRACE_FILE");
    EXPECT_FALSE(ok);
    EXPECT_NE(err.find("/nonexistent_dir_for_sve/trace.bin"), std::string::npos) << err;
    EXPECT_NE(err.find("No such file or directory"), std::string::npos) << err;
    EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1) << err;
}

TEST(Companion, DefaultPathIsInTheCurrentDirectory) {
    unsetenv("SVE_TRACE_FILE");
    char dir[] = "/tmp/sve_companion_dir_XXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    char old[4096];
    ASSERT_NE(getcwd(old, sizeof old), nullptr);
    ASSERT_EQ(chdir(dir), 0);
    ASSERT_TRUE(sve_init(0, nullptr));
    trace_mem(make_record(3, 1));
    sve_exit();
    std::string path = std::string(dir) + "/sve_trace." + std::to_string(getpid()) + ".bin";
    ASSERT_EQ(chdir(old), 0);
    sve_trace_contents c;
    std::string error;
    ASSERT_TRUE(read_trace_file(path.c_str(), c, error)) << error;
    EXPECT_EQ(c.app_name, "");
    ASSERT_EQ(c.records.size(), 1u);
    EXPECT_EQ(c.records[0].thread_id, 3u);
    unlink(path.c_str());
    rmdir(dir);
}

TEST(Companion, ReaderRejectsDamagedFiles) {
    std::string path = temp_path("damaged");
    setenv("SVE_TRACE_FILE", path.c_str(), 1);
    ASSERT_TRUE(sve_init(0, "x"));
    trace_mem(make_record(1, 1));
    sve_exit();
    unsetenv("SVE_TRACE_FILE");
    sve_trace_contents c;
    std::string error;
    ASSERT_TRUE(read_trace_file(path.c_str(), c, error)) << error;
    ASSERT_EQ(truncate(path.c_str(), off_t(c.header.header_bytes + 47)), 0);
    EXPECT_FALSE(read_trace_file(path.c_str(), c, error));
    EXPECT_EQ(error, "truncated record");
    FILE* f = std::fopen(path.c_str(), "r+b");
    ASSERT_NE(f, nullptr);
    std::fputc('X', f);
    std::fclose(f);
    EXPECT_FALSE(read_trace_file(path.c_str(), c, error));
    EXPECT_EQ(error, "bad header");
    unlink(path.c_str());
}

// A child of fork writes a file of its own; the parent's file holds exactly the parent's records,
// including those it had buffered when it forked.
TEST(Companion, ForkedChildTracesIntoItsOwnFile) {
    std::string path = temp_path("fork");
    setenv("SVE_TRACE_FILE", path.c_str(), 1);
    ASSERT_TRUE(sve_init(0, "forking"));
    for (int i = 0; i < 3; i++) trace_mem(make_record(1, uint64_t(i)));  // buffered at the fork
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        for (int i = 0; i < 2; i++) trace_mem(make_record(2, uint64_t(i)));
        sve_exit();
        _exit(0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    trace_mem(make_record(1, 3));
    sve_exit();
    unsetenv("SVE_TRACE_FILE");

    struct expect { std::string file; uint32_t pid, thread; size_t n; } files[] = {
        {path, uint32_t(getpid()), 1, 4},
        {path + "." + std::to_string(child), uint32_t(child), 2, 2},
    };
    for (const expect& e : files) {
        sve_trace_contents c;
        std::string error;
        ASSERT_TRUE(read_trace_file(e.file.c_str(), c, error)) << e.file << ": " << error;
        unlink(e.file.c_str());
        EXPECT_EQ(c.app_name, "forking");
        EXPECT_EQ(c.header.pid, e.pid);
        EXPECT_EQ(c.header.records, e.n) << e.file;
        ASSERT_EQ(c.records.size(), e.n) << e.file;
        for (size_t i = 0; i < e.n; i++) {
            EXPECT_EQ(c.records[i].thread_id, e.thread) << e.file;
            EXPECT_EQ(c.records[i].size, i) << e.file;
        }
    }
}

// The companion library: trace file names, files written by many threads and processes at once,
// files that survive however the process ends, read back through the trace reader.
#include <gtest/gtest.h>
#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <condition_variable>
#include <cstdlib>
#include <fstream>
#include <map>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "companion/trace_name.h"
#include "tools/sve-trace/trace_stream.h"

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

bool exists(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0;
}

std::string file_bytes(const std::string& path) {
    std::ifstream f(path, std::ios::binary);
    std::stringstream ss;
    ss << f.rdbuf();
    return ss.str();
}

// A trace read back, its thread records apart from the others.
struct trace {
    sve_trace_header header{};
    std::string app_name;
    std::vector<sve_mem_ref_t> records;  // memory records and markers, in file order
    std::vector<sve_mem_ref_t> threads;  // thread records
    uint64_t file_size = 0;
};

::testing::AssertionResult read_back(const std::string& path, trace& t) {
    sve_trace::trace_contents c;
    std::string error;
    if (!sve_trace::read_trace_file(path.c_str(), c, error)) return ::testing::AssertionFailure() << path << ": " << error;
    t.header = c.header;
    t.app_name = c.app_name;
    for (const sve_mem_ref_t& r : c.records) (sve_trace::is_thread_record(r) ? t.threads : t.records).push_back(r);
    t.file_size = file_bytes(path).size();
    return ::testing::AssertionSuccess();
}

// Runs `body` in a child process and returns its wait status.
template <class F>
int in_child(F body) {
    pid_t child = fork();
    if (child == 0) {
        body();
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return status;
}

}  // namespace

TEST(TraceName, Expansion) {
    struct {
        const char* pattern;
        int pid;
        const char* rank;
        const char* want;
    } cases[] = {
        {"trace.bin", 7, "0", "trace.bin"},
        {"t.%p.bin", 1234, "0", "t.1234.bin"},
        {"rank%r.trace", 99, "3", "rank3.trace"},
        {"%r-%p-%r", 5, "12", "12-5-12"},
        {"100%%.%p", 8, "0", "100%.8"},
        {"%%p", 8, "0", "%p"},   // an escaped %, then a plain p
        {"a%xb%", 8, "0", "a%xb%"},  // unknown sequences and a trailing % stay
        {"/dir/%p/x", 42, "0", "/dir/42/x"},
    };
    for (const auto& c : cases) {
        char out[64];
        ASSERT_TRUE(expand_trace_name(c.pattern, c.pid, c.rank, out, sizeof out)) << c.pattern;
        EXPECT_STREQ(out, c.want) << c.pattern;
    }
    char small[8];
    EXPECT_TRUE(expand_trace_name("t.%p", 123, "0", small, sizeof small));  // "t.123" fits
    EXPECT_FALSE(expand_trace_name("trace.%p", 123, "0", small, sizeof small));
    EXPECT_FALSE(expand_trace_name("abcdefgh", 1, "0", small, sizeof small));

    struct {
        const char* pattern;
        bool per_process;
    } kinds[] = {{"t.%p", true}, {"t.bin", false}, {"t.%%p", false}, {"%%%p", true}, {"t.%r", false}};
    for (const auto& k : kinds) EXPECT_EQ(names_process(k.pattern), k.per_process) << k.pattern;
}

TEST(TraceName, RankFromTheLauncher) {
    const char* vars[] = {"OMPI_COMM_WORLD_RANK", "PMI_RANK", "PMIX_RANK", "SLURM_PROCID"};
    struct {
        const char* values[4];  // null: unset
        const char* want;
    } cases[] = {
        {{nullptr, nullptr, nullptr, nullptr}, "0"},
        {{"3", "5", "6", "7"}, "3"},
        {{nullptr, "5", "6", "7"}, "5"},
        {{nullptr, nullptr, "6", "7"}, "6"},
        {{nullptr, nullptr, nullptr, "7"}, "7"},
        {{"", "", "", "11"}, "11"},  // empty values do not count
    };
    for (const auto& c : cases) {
        for (int i = 0; i < 4; i++) {
            if (c.values[i]) setenv(vars[i], c.values[i], 1);
            else unsetenv(vars[i]);
        }
        EXPECT_STREQ(launcher_rank(), c.want);
    }
    for (const char* v : vars) unsetenv(v);
}

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
        for (int i = 0; i < 10; i++) trace_mem(make_record(99, uint64_t(i)));
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
    trace_mem(make_record(7, 1));  // after the end: dropped
    {
        std::lock_guard<std::mutex> g(m);
        exited = true;
        cv.notify_all();
    }
    alive.join();
    unsetenv("SVE_TRACE_FILE");

    trace c;
    ASSERT_TRUE(read_back(path, c));
    unlink(path.c_str());
    EXPECT_EQ(c.app_name, "my_app");
    EXPECT_EQ(c.header.pid, uint32_t(getpid()));
    EXPECT_EQ(c.header.version, 2u);
    EXPECT_EQ(c.header.vl_bytes, 80u);
    EXPECT_EQ(c.header.record_bytes, 48u);
    EXPECT_EQ(c.header.header_bytes, 48u);  // 40 + "my_app" padded to 8
    const size_t total = finished_threads * per_thread + 10 + 1;
    ASSERT_EQ(c.records.size(), total);
    // One thread record per sending thread; the file ends right after the slots it counts.
    EXPECT_EQ(c.threads.size(), size_t(finished_threads + 2));
    EXPECT_GE(c.header.records, total + c.threads.size());
    EXPECT_EQ(c.file_size, c.header.header_bytes + c.header.records * 48);

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
    // Thread records name distinct threads by their kernel thread ids.
    std::vector<uint64_t> tids;
    for (const auto& r : c.threads) tids.push_back(sve_trace::record_kernel_tid(r));
    std::sort(tids.begin(), tids.end());
    EXPECT_EQ(std::adjacent_find(tids.begin(), tids.end()), tids.end());
    EXPECT_NE(std::find(tids.begin(), tids.end(), uint64_t(gettid())), tids.end());
}

TEST(Companion, MarkersNameTheThreadThatSentThem) {
    std::string path = temp_path("markers");
    setenv("SVE_TRACE_FILE", path.c_str(), 1);
    ASSERT_TRUE(sve_init(0, "m"));
    std::map<uint32_t, uint64_t> kernel_tid;  // thread id -> gettid
    std::mutex m;
    std::vector<std::thread> threads;
    for (int t = 0; t < 3; t++)
        threads.emplace_back([&] {
            uint32_t self = uint32_t(uint64_t(pthread_self()));
            {
                std::lock_guard<std::mutex> g(m);
                kernel_tid[self] = uint64_t(gettid());
            }
            sve_mem_ref_t marker = {};
            marker.count = incr_count();
            marker.thread_id = roi_start_id;
            trace_mem(marker);
            trace_mem(make_record(self, 1));
            marker.count = incr_count();
            marker.thread_id = roi_stop_id;
            trace_mem(marker);
        });
    for (auto& th : threads) th.join();
    sve_exit();
    unsetenv("SVE_TRACE_FILE");
    trace c;
    ASSERT_TRUE(read_back(path, c));
    unlink(path.c_str());
    ASSERT_EQ(c.records.size(), 9u);
    ASSERT_EQ(c.threads.size(), 3u);
    for (const auto& r : c.threads) EXPECT_EQ(sve_trace::record_kernel_tid(r), kernel_tid[sve_trace::record_thread(r)]);
    // Per thread, in its own order: its start marker, its record, its stop marker, all naming it.
    std::map<uint32_t, std::string> seen;
    for (const auto& r : c.records) {
        uint32_t owner = sve_trace::is_marker(r) ? sve_trace::record_thread(r) : r.thread_id;
        seen[owner] += sve_trace::is_start(r) ? "[" : sve_trace::is_stop(r) ? "]" : "m";
        if (sve_trace::is_marker(r)) {
            EXPECT_EQ(r.size | r.address | r.pc | r.flags, 0u);
        }
    }
    ASSERT_EQ(seen.size(), 3u);
    for (const auto& [thread, order] : seen) {
        EXPECT_EQ(order, "[m]") << thread;
        EXPECT_TRUE(kernel_tid.count(thread)) << thread;
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

// A file that cannot be created: one line, then the program runs on untraced.
TEST(Companion, UncreatableFileWarnsOnceAndTracesNothing) {
    const char* paths[] = {"/nonexistent_dir_for_sve/trace.bin", "/proc/sve_trace_test.bin"};
    for (const char* path : paths) {
        setenv("SVE_TRACE_FILE", path, 1);
        testing::internal::CaptureStderr();
        bool ok = sve_init(0, "app");
        for (int i = 0; i < 100; i++) trace_mem(make_record(1, uint64_t(i)));
        sve_exit();
        std::string err = testing::internal::GetCapturedStderr();
        unsetenv("SVE_TRACE_FILE");
        EXPECT_TRUE(ok) << path;
        EXPECT_NE(err.find(std::string("cannot create trace file ") + path + ": "), std::string::npos) << err;
        EXPECT_NE(err.find("untraced"), std::string::npos) << err;
        EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1) << err;
        EXPECT_FALSE(exists(path)) << path;
    }
}

// A name that is not a regular file (a pipe, a folder) is never replaced by a trace file, and no
// file appears beside it: the program runs on untraced after one warning.
TEST(Companion, NameOfSomethingElseIsLeftAlone) {
    char dir[] = "/tmp/sve_companion_special_XXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    std::string fifo = std::string(dir) + "/pipe";
    std::string folder = std::string(dir) + "/folder";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    ASSERT_EQ(mkdir(folder.c_str(), 0700), 0);
    struct { const std::string& path; mode_t type; } cases[] = {{fifo, S_IFIFO}, {folder, S_IFDIR}};
    for (const auto& c : cases) {
        setenv("SVE_TRACE_FILE", c.path.c_str(), 1);
        testing::internal::CaptureStderr();
        EXPECT_TRUE(sve_init(0, "app"));
        for (int i = 0; i < 10; i++) trace_mem(make_record(1, uint64_t(i)));
        sve_exit();
        std::string err = testing::internal::GetCapturedStderr();
        unsetenv("SVE_TRACE_FILE");
        struct stat st;
        ASSERT_EQ(stat(c.path.c_str(), &st), 0) << c.path;
        EXPECT_EQ(st.st_mode & S_IFMT, c.type) << c.path << " was replaced";
        EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1) << err;
        EXPECT_NE(err.find(c.path), std::string::npos) << err;
    }
    // Nothing else in the folder: no temporary or suffixed file beside the names.
    int entries = 0;
    if (DIR* d = opendir(dir)) {
        while (dirent* e = readdir(d)) entries += e->d_name[0] != '.';
        closedir(d);
    }
    EXPECT_EQ(entries, 2);
    unlink(fifo.c_str());
    rmdir(folder.c_str());
    rmdir(dir);
}

// Without a name there is no file until the first record, which creates sve_trace.<pid>.bin in
// the current directory.
TEST(Companion, DefaultFileOnlyAtTheFirstRecord) {
    unsetenv("SVE_TRACE_FILE");
    char dir[] = "/tmp/sve_companion_dir_XXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    char old[4096];
    ASSERT_NE(getcwd(old, sizeof old), nullptr);
    ASSERT_EQ(chdir(dir), 0);
    std::string path = std::string(dir) + "/sve_trace." + std::to_string(getpid()) + ".bin";
    ASSERT_TRUE(sve_init(0, nullptr));
    sve_exit();
    EXPECT_FALSE(exists(path)) << "a run without records left a file";
    ASSERT_TRUE(sve_init(0, nullptr));
    EXPECT_FALSE(exists(path)) << "sve_init created the file";
    trace_mem(make_record(3, 1));
    EXPECT_TRUE(exists(path));
    sve_exit();
    ASSERT_EQ(chdir(old), 0);
    trace c;
    ASSERT_TRUE(read_back(path, c));
    EXPECT_EQ(c.app_name, "");
    ASSERT_EQ(c.records.size(), 1u);
    EXPECT_EQ(c.records[0].thread_id, 3u);
    unlink(path.c_str());
    rmdir(dir);
}

// A file that a living process writes is never shared: the newcomer adds its pid to the name and
// says so. A file left by a process that has ended is replaced.
TEST(Companion, NeverTwoProcessesInOneFile) {
    std::string path = temp_path("shared");
    std::string mine = path + "." + std::to_string(getpid());
    // A process that stays alive while this one starts, and one that has ended.
    int hold[2];
    ASSERT_EQ(pipe(hold), 0);
    pid_t living = fork();
    if (living == 0) {
        close(hold[1]);
        char c;
        while (read(hold[0], &c, 1) < 0) {
        }
        _exit(0);
    }
    pid_t ended = fork();
    if (ended == 0) _exit(0);
    ASSERT_EQ(waitpid(ended, nullptr, 0), ended);

    struct {
        pid_t writer;
        bool kept;
    } cases[] = {{living, true}, {ended, false}};
    for (const auto& c : cases) {
        sve_trace_header h = {};
        std::memcpy(h.magic, SVE_TRACE_MAGIC, 8);
        h.version = 2;
        h.header_bytes = 40;
        h.record_bytes = 48;
        h.pid = uint32_t(c.writer);
        std::string before(reinterpret_cast<const char*>(&h), sizeof h);
        std::ofstream(path, std::ios::binary) << before;

        setenv("SVE_TRACE_FILE", path.c_str(), 1);
        testing::internal::CaptureStderr();
        sve_init(0, "second");
        trace_mem(make_record(5, 1));
        sve_exit();
        std::string err = testing::internal::GetCapturedStderr();
        unsetenv("SVE_TRACE_FILE");

        std::string written = c.kept ? mine : path;
        trace t;
        ASSERT_TRUE(read_back(written, t)) << c.writer;
        EXPECT_EQ(t.app_name, "second");
        EXPECT_EQ(t.records.size(), 1u);
        if (c.kept) {
            EXPECT_EQ(file_bytes(path), before) << "the living process's file was touched";
            EXPECT_EQ(err, "memtrace_sve_utils: trace file " + path + " is being written by process " +
                               std::to_string(c.writer) + "; this one writes " + mine + "\n");
        } else {
            EXPECT_EQ(err, "");
            EXPECT_FALSE(exists(mine));
        }
        unlink(path.c_str());
        unlink(mine.c_str());
    }
    close(hold[1]);
    waitpid(living, nullptr, 0);
    close(hold[0]);
}

// Two processes that start at the same moment with the same name get a file each.
TEST(Companion, ConcurrentProcessesWithOneName) {
    std::string path = temp_path("concurrent");
    // Each child waits for the end of `start`, traces, says so on `done`, and stays alive until
    // the end of `finish`: both are alive while both write.
    int start[2], done[2], finish[2];
    ASSERT_EQ(pipe(start), 0);
    ASSERT_EQ(pipe(done), 0);
    ASSERT_EQ(pipe(finish), 0);
    setenv("SVE_TRACE_FILE", path.c_str(), 1);
    pid_t kids[2];
    for (int k = 0; k < 2; k++) {
        kids[k] = fork();
        if (kids[k] == 0) {
            close(start[1]);
            close(finish[1]);
            char c;
            if (read(start[0], &c, 1) != 0) _exit(1);
            sve_init(0, "twin");
            for (int i = 0; i < 500; i++) trace_mem(make_record(uint32_t(getpid()), uint64_t(i)));
            if (write(done[1], "x", 1) != 1) _exit(1);
            if (read(finish[0], &c, 1) != 0) _exit(1);
            _exit(0);  // without sve_exit
        }
    }
    unsetenv("SVE_TRACE_FILE");
    close(start[1]);
    char c;
    for (int k = 0; k < 2; k++) ASSERT_EQ(read(done[0], &c, 1), 1);
    close(finish[1]);
    for (int fd : {start[0], done[0], done[1], finish[0]}) close(fd);
    for (pid_t k : kids) {
        int status = 0;
        ASSERT_EQ(waitpid(k, &status, 0), k);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }
    std::map<uint32_t, size_t> records_by_pid;
    std::vector<std::string> files = {path};
    for (pid_t k : kids) files.push_back(path + "." + std::to_string(k));
    for (const std::string& f : files) {
        if (!exists(f)) continue;
        trace t;
        ASSERT_TRUE(read_back(f, t));
        unlink(f.c_str());
        records_by_pid[t.header.pid] = t.records.size();
        for (const auto& r : t.records) EXPECT_EQ(r.thread_id, t.header.pid);
    }
    ASSERT_EQ(records_by_pid.size(), 2u) << "the two processes did not write a file each";
    for (pid_t k : kids) EXPECT_EQ(records_by_pid[uint32_t(k)], 500u) << k;
}

// However the process ends, every record it sent is in the file and the header counts them.
TEST(Companion, RecordsSurviveEveryWayOfEnding) {
    enum ending { by_exit, by_underscore_exit, by_sigkill, by_sigsegv, by_abort, by_exec };
    struct {
        ending how;
        const char* name;
        bool signalled;
        int code;
    } cases[] = {
        {by_exit, "exit", false, 0},        {by_underscore_exit, "_exit", false, 3},
        {by_sigkill, "SIGKILL", true, SIGKILL}, {by_sigsegv, "SIGSEGV", true, SIGSEGV},
        {by_abort, "abort", true, SIGABRT}, {by_exec, "exec", false, 0},
    };
    const int records = 3000, helper_records = 700;
    for (const auto& c : cases) {
        std::string path = temp_path("ending");
        setenv("SVE_TRACE_FILE", path.c_str(), 1);
        int status = in_child([&] {
            sve_init(0, "ending");
            // A second thread that is still running (and holds a part-filled block) at the end.
            std::mutex m;
            std::condition_variable cv;
            bool sent = false;
            std::thread helper([&] {
                for (int i = 0; i < helper_records; i++) trace_mem(make_record(2, uint64_t(i)));
                {
                    std::lock_guard<std::mutex> g(m);
                    sent = true;
                }
                cv.notify_all();
                pause();
            });
            {
                std::unique_lock<std::mutex> g(m);
                cv.wait(g, [&] { return sent; });
            }
            for (int i = 0; i < records; i++) trace_mem(make_record(1, uint64_t(i)));
            switch (c.how) {
                case by_exit: std::exit(0);
                case by_underscore_exit: _exit(3);
                case by_sigkill: raise(SIGKILL); break;
                case by_sigsegv: signal(SIGSEGV, SIG_DFL); raise(SIGSEGV); break;
                case by_abort: abort();
                case by_exec: execl("/bin/true", "true", static_cast<char*>(nullptr)); break;
            }
            _exit(99);
        });
        unsetenv("SVE_TRACE_FILE");
        if (c.signalled) {
            EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == c.code) << c.name << " status " << status;
        } else {
            EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == c.code) << c.name << " status " << status;
        }
        trace t;
        ASSERT_TRUE(read_back(path, t)) << c.name;
        unlink(path.c_str());
        std::map<uint32_t, int> per_thread;
        for (const auto& r : t.records) per_thread[r.thread_id]++;
        EXPECT_EQ(per_thread[1], records) << c.name;
        EXPECT_EQ(per_thread[2], helper_records) << c.name;
        EXPECT_EQ(t.records.size(), size_t(records + helper_records)) << c.name;
        EXPECT_EQ(t.threads.size(), 2u) << c.name;
        EXPECT_GE(t.file_size, t.header.header_bytes + t.header.records * 48) << c.name;
        // Room is reserved in chunks, but the header counts only the slots handed out.
        EXPECT_LT(t.header.records, uint64_t(records + helper_records + 2 + 2 * 64)) << c.name;
    }
}

// A child of fork writes a file of its own: the parent's name with ".<child pid>", or the
// pattern again when it names a file per process. The parent's file holds only its own records.
TEST(Companion, ForkedChildTracesIntoItsOwnFile) {
    std::string base = temp_path("fork");
    struct {
        std::string pattern;
        bool per_process;
    } cases[] = {{base, false}, {base + ".%p", true}};
    for (const auto& k : cases) {
        setenv("SVE_TRACE_FILE", k.pattern.c_str(), 1);
        ASSERT_TRUE(sve_init(0, "forking"));
        for (int i = 0; i < 3; i++) trace_mem(make_record(1, uint64_t(i)));
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

        std::string parent_file = k.per_process ? base + "." + std::to_string(getpid()) : base;
        std::string child_file = base + "." + std::to_string(child);  // by either rule
        struct expect {
            std::string file;
            uint32_t pid, thread;
            size_t n;
        } files[] = {
            {parent_file, uint32_t(getpid()), 1, 4},
            {child_file, uint32_t(child), 2, 2},
        };
        for (const expect& e : files) {
            trace c;
            ASSERT_TRUE(read_back(e.file, c)) << k.pattern;
            unlink(e.file.c_str());
            EXPECT_EQ(c.app_name, "forking");
            EXPECT_EQ(c.header.pid, e.pid);
            EXPECT_EQ(c.threads.size(), 1u) << e.file;
            ASSERT_EQ(c.records.size(), e.n) << e.file;
            for (size_t i = 0; i < e.n; i++) {
                EXPECT_EQ(c.records[i].thread_id, e.thread) << e.file;
                EXPECT_EQ(c.records[i].size, i) << e.file;
            }
        }
    }
}

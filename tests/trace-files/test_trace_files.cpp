// Trace files of real runs under sve-run: trace_program's loops give the expected records (each
// iteration one ld1w and one st1w of a whole vector: two records), and every file is read back
// through the trace reader.
#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tools/sve-trace/trace_stream.h"

namespace {

const std::string sve_run = SVE_RUN_PATH;
const std::string program = TRACE_PROGRAM_PATH;
const std::string untraced_program = UNTRACED_PROGRAM_PATH;  // SVE code, no markers

std::string read_text(const std::string& path) {
    std::ifstream f(path);
    std::stringstream ss;
    ss << f.rdbuf();
    return ss.str();
}

std::string quote(const std::string& s) { return "'" + s + "'"; }

// A fresh directory, removed with its files at the end.
struct temp_dir {
    std::string path;
    temp_dir() {
        char p[] = "/tmp/sve_trace_files_XXXXXX";
        path = mkdtemp(p);
    }
    ~temp_dir() {
        chmod(path.c_str(), 0755);
        std::system(("rm -rf " + quote(path)).c_str());
    }
    std::string operator/(const std::string& name) const { return path + "/" + name; }
    std::vector<std::string> files() const {
        std::vector<std::string> names;
        if (DIR* d = opendir(path.c_str())) {
            while (dirent* e = readdir(d))
                if (e->d_name[0] != '.') names.push_back(e->d_name);
            closedir(d);
        }
        std::sort(names.begin(), names.end());
        return names;
    }
};

// What a command did: its wait status (of the shell that ran it), standard output and error.
struct result {
    int status = -1;
    std::string out, err;
    bool exited(int code) const { return WIFEXITED(status) && WEXITSTATUS(status) == code; }
    // A death by `sig`, seen directly or through a shell's 128 + sig.
    bool killed_by(int sig) const { return (WIFSIGNALED(status) && WTERMSIG(status) == sig) || exited(128 + sig); }
};

result run(const temp_dir& dir, const std::string& command) {
    std::string out = dir / ".out", err = dir / ".err";
    result r;
    r.status =
        std::system(("cd " + quote(dir.path) + " && " + command + " >" + quote(out) + " 2>" + quote(err)).c_str());
    r.out = read_text(out);
    r.err = read_text(err);
    unlink(out.c_str());
    unlink(err.c_str());
    return r;
}

std::string traced(const std::string& trace, const std::string& args, const std::string& stage = "patch") {
    return quote(sve_run) + " --stage " + stage + " --trace " + quote(trace) + " " + quote(program) + " " + args;
}

// Both ways of running SVE words: trace_mem runs in a signal handler in the trap stage.
const char* const stages[] = {"patch", "trap"};

// The records of a trace, by kind and by the thread they belong to.
struct trace_summary {
    sve_trace_header header{};
    size_t memory = 0;
    std::map<uint32_t, size_t> memory_by_thread;
    std::map<uint32_t, std::string> shape;  // per thread, in file order: [ start, m memory, ] stop
    std::map<uint32_t, uint64_t> kernel_tid;
    std::map<uint32_t, std::pair<uint64_t, uint64_t>> region_counts;  // first and last count
};

::testing::AssertionResult summarise(const std::string& path, trace_summary& s) {
    sve_trace::trace_contents c;
    std::string error;
    if (!sve_trace::read_trace_file(path.c_str(), c, error))
        return ::testing::AssertionFailure() << path << ": " << error;
    s.header = c.header;
    for (const sve_mem_ref_t& r : c.records) {
        if (sve_trace::is_thread_record(r)) {
            s.kernel_tid[sve_trace::record_thread(r)] = sve_trace::record_kernel_tid(r);
            continue;
        }
        uint32_t owner = sve_trace::is_marker(r) ? sve_trace::record_thread(r) : r.thread_id;
        std::string& shape = s.shape[owner];
        if (sve_trace::is_start(r)) {
            shape += "[";
            s.region_counts[owner].first = r.count;
        } else if (sve_trace::is_stop(r)) {
            shape += "]";
            s.region_counts[owner].second = r.count;
        } else {
            if (shape.empty() || shape.back() != 'm') shape += "m";
            s.memory++;
            s.memory_by_thread[owner]++;
        }
    }
    return ::testing::AssertionSuccess();
}

}  // namespace

// However the program ends, the file holds every record it sent: N iterations give 2N memory
// records between a start and a stop marker, all of one thread, which has a thread record.
TEST(TraceFiles, EveryEndingKeepsEveryRecord) {
    const int n = 1500;  // 3000 records: more than a thread's share of any buffer
    struct {
        const char* mode;
        std::string arg;
        int status;  // exit status, or the signal when `signal` is set
        bool signal;
        const char* shape;
    } cases[] = {
        {"exit", "", 0, false, "[m]"},
        {"_exit", "", 3, false, "[m]"},
        {"segv", "", SIGSEGV, true, "[m"},  // the faulting store sends nothing
        {"exec", "/bin/true", 0, false, "[m]"},
    };
    for (const char* stage : stages)
        for (const auto& c : cases) {
            SCOPED_TRACE(stage);
            temp_dir dir;
            result r = run(dir, traced("t.bin", std::string(c.mode) + " " + std::to_string(n) + " " + c.arg, stage));
            EXPECT_TRUE(c.signal ? r.killed_by(c.status) : r.exited(c.status))
                << c.mode << ": status " << r.status << "\n"
                << r.err;
            // After exec the new program is emulated too where it is AArch64 (on an AArch64 host):
            // it finds t.bin written by its own, living process and writes t.bin.<pid>, empty.
            std::vector<std::string> files = dir.files();
            ASSERT_FALSE(files.empty());
            EXPECT_EQ(files[0], "t.bin") << c.mode;
            for (size_t i = 1; i < files.size(); i++) {
                trace_summary other;
                ASSERT_TRUE(summarise(dir / files[i], other));
                EXPECT_TRUE(std::string(c.mode) == "exec" && files[i] == "t.bin." + std::to_string(other.header.pid))
                    << c.mode << ": " << files[i];
                EXPECT_EQ(other.memory, 0u) << files[i];
            }
            trace_summary s;
            ASSERT_TRUE(summarise(dir / "t.bin", s)) << c.mode;
            EXPECT_EQ(s.memory, size_t(2 * n)) << c.mode;
            ASSERT_EQ(s.shape.size(), 1u) << c.mode;
            uint32_t thread = s.shape.begin()->first;
            EXPECT_EQ(s.shape[thread], c.shape) << c.mode;
            EXPECT_EQ(s.kernel_tid.count(thread), 1u) << c.mode << ": no thread record for the tracing thread";
            EXPECT_EQ(s.kernel_tid.size(), 1u) << c.mode;
            EXPECT_NE(s.header.pid, 0u);
        }
}

// No --trace: no file unless the program executes a start marker; then sve_trace.<pid>.bin.
TEST(TraceFiles, DefaultFileOnlyWithAMarker) {
    temp_dir dir;
    result r = run(dir, quote(sve_run) + " " + quote(untraced_program));
    EXPECT_TRUE(r.exited(0)) << r.err;
    EXPECT_EQ(dir.files(), std::vector<std::string>{}) << "a run without markers left a file";

    r = run(dir, quote(sve_run) + " " + quote(program) + " exit 10");
    EXPECT_TRUE(r.exited(0)) << r.err;
    std::vector<std::string> files = dir.files();
    ASSERT_EQ(files.size(), 1u);
    trace_summary s;
    ASSERT_TRUE(summarise(dir / files[0], s));
    EXPECT_EQ(files[0], "sve_trace." + std::to_string(s.header.pid) + ".bin");
    EXPECT_EQ(s.memory, 20u);
}

// A file that cannot be created: one warning line, and the program runs on untraced with its
// own output and status.
TEST(TraceFiles, UncreatableFileWarnsAndRunsOn) {
    temp_dir dir;
    std::vector<std::string> places = {"/proc/sve_trace_test.bin"};
    // A folder this process cannot write: made read-only, or one of the kernel's when the
    // permission bits do not bind (root).
    temp_dir locked;
    chmod(locked.path.c_str(), 0555);
    std::string probe = locked / "probe";
    if (FILE* f = std::fopen(probe.c_str(), "w")) {
        std::fclose(f);
        unlink(probe.c_str());
        places.push_back("/sys/sve_trace_test.bin");
    } else {
        places.push_back(locked / "t.bin");
    }
    for (const std::string& place : places) {
        result r = run(dir, traced(place, "_exit 5"));
        EXPECT_TRUE(r.exited(3)) << place << ": status " << r.status << "\n" << r.err;
        EXPECT_EQ(r.out, "copied 19\n") << place;
        EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << place << ": " << r.err;
        EXPECT_EQ(r.err.rfind("memtrace_sve_utils: cannot create trace file " + place + ": ", 0), 0u) << r.err;
        EXPECT_NE(r.err.find("untraced"), std::string::npos) << r.err;
        struct stat st;
        EXPECT_NE(stat(place.c_str(), &st), 0) << place;
    }
    EXPECT_EQ(dir.files(), std::vector<std::string>{});
}

// Two runs at once with one name: the second writes <name>.<its pid> and says so; each file has
// its own run's records.
TEST(TraceFiles, ConcurrentRunsNeverShareAFile) {
    temp_dir dir, meeting;
    std::string one = traced("same.bin", "meet 50 " + quote(meeting.path) + " 2");
    result r = run(dir, "(" + one + " & " + one + " & wait)");
    EXPECT_TRUE(r.exited(0)) << r.err;
    std::vector<std::string> files = dir.files();
    ASSERT_EQ(files.size(), 2u) << r.err;
    EXPECT_EQ(files[0], "same.bin");
    std::set<uint32_t> pids;
    for (const std::string& f : files) {
        trace_summary s;
        ASSERT_TRUE(summarise(dir / f, s));
        EXPECT_EQ(s.memory, 100u) << f;
        ASSERT_EQ(s.shape.size(), 1u) << f;
        EXPECT_EQ(s.shape.begin()->second, "[m]") << f;
        pids.insert(s.header.pid);
        if (f != "same.bin") {
            EXPECT_EQ(f, "same.bin." + std::to_string(s.header.pid));
            EXPECT_NE(r.err.find("trace file " + (dir / "same.bin") + " is being written by process "),
                      std::string::npos)
                << r.err;
        }
    }
    EXPECT_EQ(pids.size(), 2u);
}

// Threads that are all inside regions of their own at the same time: one region per thread,
// each made of that thread's markers and records.
TEST(TraceFiles, OneRegionPerThread) {
    for (const char* stage : stages) {
        SCOPED_TRACE(stage);
        temp_dir dir;
        const int threads = 4, n = 300;
        result r = run(dir, traced("t.bin", "threads " + std::to_string(n) + " " + std::to_string(threads), stage));
        ASSERT_TRUE(r.exited(0)) << r.err;
        EXPECT_EQ(r.out, "threads done\n");
        trace_summary s;
        ASSERT_TRUE(summarise(dir / "t.bin", s));
        ASSERT_EQ(s.shape.size(), size_t(threads));
        EXPECT_EQ(s.kernel_tid.size(), size_t(threads));
        std::set<uint64_t> tids;
        uint64_t latest_start = 0, earliest_stop = UINT64_MAX;
        for (const auto& [thread, shape] : s.shape) {
            EXPECT_EQ(shape, "[m]") << thread;
            EXPECT_EQ(s.memory_by_thread[thread], size_t(2 * n)) << thread;
            ASSERT_EQ(s.kernel_tid.count(thread), 1u) << thread;
            tids.insert(s.kernel_tid[thread]);
            latest_start = std::max(latest_start, s.region_counts[thread].first);
            earliest_stop = std::min(earliest_stop, s.region_counts[thread].second);
        }
        EXPECT_EQ(tids.size(), size_t(threads));
        // The regions overlap: a reading by markers alone, without their threads, would mix them.
        EXPECT_LT(latest_start, earliest_stop);
    }
}

// %r: a job of four ranks started by a launcher (here a stand-in that sets Open MPI's variables)
// gives one file per rank.
TEST(TraceFiles, OneFilePerRank) {
    temp_dir dir;
    std::string cmd = "(";
    for (int rank = 0; rank < 4; rank++)
        cmd += "OMPI_COMM_WORLD_RANK=" + std::to_string(rank) + " OMPI_COMM_WORLD_SIZE=4 " +
               traced("rank%r.bin", "exit " + std::to_string(10 * (rank + 1))) + " & ";
    result r = run(dir, cmd + "wait)");
    EXPECT_TRUE(r.exited(0)) << r.err;
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(dir.files(), (std::vector<std::string>{"rank0.bin", "rank1.bin", "rank2.bin", "rank3.bin"}));
    for (int rank = 0; rank < 4; rank++) {
        trace_summary s;
        ASSERT_TRUE(summarise(dir / ("rank" + std::to_string(rank) + ".bin"), s));
        EXPECT_EQ(s.memory, size_t(20 * (rank + 1))) << rank;
    }
}

#ifdef MPIRUN_PATH
// The same under a real launcher: mpirun starts four ranks of an MPI program under sve-run.
TEST(TraceFiles, OneFilePerRankUnderMpirun) {
    temp_dir dir;
    std::string allow_root = geteuid() == 0 ? " --allow-run-as-root" : "";
    result r = run(dir, quote(MPIRUN_PATH) + allow_root + " --oversubscribe -np 4 " + quote(sve_run) +
                            " --trace 'rank%r.bin' " + quote(MPI_RANKS_PATH));
    ASSERT_TRUE(r.exited(0)) << r.err;
    // Rank r copies 10 * (r + 1) times the value 19 + r.
    EXPECT_EQ(r.out, "4 ranks, total " + std::to_string(10 * 19 + 20 * 20 + 30 * 21 + 40 * 22) + "\n");
    EXPECT_EQ(dir.files(), (std::vector<std::string>{"rank0.bin", "rank1.bin", "rank2.bin", "rank3.bin"}));
    for (int rank = 0; rank < 4; rank++) {
        trace_summary s;
        ASSERT_TRUE(summarise(dir / ("rank" + std::to_string(rank) + ".bin"), s));
        EXPECT_EQ(s.memory, size_t(20 * (rank + 1))) << rank;
        ASSERT_EQ(s.shape.size(), 1u) << rank;
        EXPECT_EQ(s.shape.begin()->second, "[m]") << rank;
    }
}
#endif

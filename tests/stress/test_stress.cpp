// Many threads emulating at once: contiguous loads and stores, first-fault and non-fault loads
// against a page made unreadable (so guarded reads and probes fault in several threads at the
// same moment), and tracing inside regions that only some threads start. Every thread checks
// its own results; at the end the trace file must hold exactly the records each tracing thread
// sent, none of the others, with every count unique.
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "tools/sve-trace/trace_stream.h"
#include "sve/decode/sve_emulator.h"
#include "sve/trace/trace.h"
#include "tests/support/state_util.h"

namespace {

// Words from the assembler.
constexpr uint32_t LDFF1W_S = 0xa55f6402;  // ldff1w {z2.s}, p1/z, [x0, xzr, lsl #2]
constexpr uint32_t LDFF1H_H = 0xa4bf6403;  // ldff1h {z3.h}, p1/z, [x0, xzr, lsl #1]
constexpr uint32_t LDNF1W_S = 0xa550a404;  // ldnf1w {z4.s}, p1/z, [x0]
constexpr uint32_t ST1W_S = 0xe540e040;    // st1w {z0.s}, p0, [x2]
constexpr uint32_t LD1W_S = 0xa540a041;    // ld1w {z1.s}, p0/z, [x2]
constexpr uint32_t ROI_START = 0x2520E020 + 7, ROI_STOP = 0x2520E040 + 7;

constexpr int THREADS = 8;
constexpr int ITERATIONS = 1000;

struct thread_report {
    uint32_t tid = 0;
    bool traced = false;
    uint64_t records = 0;  // memory records the thread's instructions must have sent
    int errors = 0;
    std::string first;
};

// Runs of consecutive active lanes: the number of linear records of a partial access.
int runs(const uint8_t* pred, int lane_bytes) {
    int n = 0;
    bool open = false;
    for (int i = 0; i < SVE_VL_BYTES; i += lane_bytes) {
        bool a = pred[i] & 1;
        if (a && !open) n++;
        open = a;
    }
    return n;
}

template <class T>
T lane(const uint8_t* z, int i) {
    T v;
    std::memcpy(&v, z + i * sizeof(T), sizeof(T));
    return v;
}

struct worker {
    int index;
    thread_report& rep;
    uint8_t* mem;       // two readable pages, then one without access
    long page;
    std::atomic<int>& ready;
    cpu_state s;

    void fail(const std::string& what) {
        if (rep.errors++ == 0) rep.first = what;
    }
    void exec(uint32_t word, uint64_t pc) {
        s.pc = pc;
        sve_handler_t h = get_sve_handler(word);
        if (!h || h(&s, word) != RC_DONE) fail("word not executed");
    }

    void run() {
        test_rng r(0x57E55 + index);
        random_state(s, r);
        rep.tid = uint32_t(pthread_self());
        rep.traced = index % 2 == 0;
        uint8_t* guard = mem + 2 * page;
        // All threads start together, so the faults of the first-fault loads coincide.
        ready.fetch_add(1);
        while (ready.load() < THREADS) std::this_thread::yield();
        const uint64_t pc0 = 0x10000 * uint64_t(index + 1);
        if (rep.traced) exec(ROI_START, pc0);
        for (int it = 0; it < ITERATIONS; it++) {
            for (int i = 0; i < SVE_VL_BYTES; i++) {
                s.p[0][i] = (i % 4 == 0) ? r.below(2) : 0;
                s.p[1][i] = r.below(2);
            }
            for (auto& b : s.z[0]) b = uint8_t(r.next());
            const uint8_t* p0 = s.p[0];
            const uint8_t* p1 = s.p[1];

            // st1w then ld1w at a random place of the readable pages.
            uint8_t* at = mem + 4 * r.below(uint32_t((2 * page - SVE_VL_BYTES) / 4));
            uint8_t before[SVE_VL_BYTES];
            std::memcpy(before, at, SVE_VL_BYTES);
            s.x[2] = uint64_t(uintptr_t(at));
            exec(ST1W_S, pc0 + 4);
            for (int i = 0; i < 20; i++) {
                uint32_t want = (p0[4 * i] & 1) ? lane<uint32_t>(s.z[0], i) : lane<uint32_t>(before, i);
                if (lane<uint32_t>(at, i) != want) fail("st1w lane " + std::to_string(i));
            }
            exec(LD1W_S, pc0 + 8);
            for (int i = 0; i < 20; i++) {
                uint32_t want = (p0[4 * i] & 1) ? lane<uint32_t>(at, i) : 0;
                if (lane<uint32_t>(s.z[1], i) != want) fail("ld1w lane " + std::to_string(i));
            }
            rep.records += 2 * runs(p0, 4);

            // ldff1w .s with k lanes before the unreadable page: lanes from k on are left
            // alone and lose their FFR lanes.
            int k = 1 + int(r.below(19));
            uint8_t* base = guard - 4 * k;
            s.x[0] = uint64_t(uintptr_t(base));
            std::memset(s.ffr, 1, SVE_VL_BYTES);
            std::memset(s.z[2], 0xAB, SVE_VL_BYTES);
            exec(LDFF1W_S, pc0 + 12);
            for (int i = 0; i < 20; i++) {
                uint32_t want = i >= k ? 0xABABABABu : (p1[4 * i] & 1) ? lane<uint32_t>(base, i) : 0;
                if (lane<uint32_t>(s.z[2], i) != want) fail("ldff1w lane " + std::to_string(i));
            }
            for (int b = 0; b < SVE_VL_BYTES; b++)
                if (s.ffr[b] != (b < 4 * k)) fail("ldff1w ffr byte " + std::to_string(b));
            rep.records += runs(p1, 4);

            // ldnf1w at the same place: active lanes past the page keep their contents and
            // lose their FFR lanes, inactive ones become zero and keep theirs.
            std::memset(s.ffr, 1, SVE_VL_BYTES);
            std::memset(s.z[4], 0xCD, SVE_VL_BYTES);
            exec(LDNF1W_S, pc0 + 16);
            for (int i = 0; i < 20; i++) {
                bool act = p1[4 * i] & 1;
                uint32_t want = !act ? 0 : i < k ? lane<uint32_t>(base, i) : 0xCDCDCDCDu;
                if (lane<uint32_t>(s.z[4], i) != want) fail("ldnf1w lane " + std::to_string(i));
                for (int b = 4 * i; b < 4 * i + 4; b++)
                    if (s.ffr[b] != (!act || i < k)) fail("ldnf1w ffr byte " + std::to_string(b));
            }
            rep.records += runs(p1, 4);

            // ldff1h .h through the generic tier and its guarded reads: from the first active
            // element past the page, every lane is zero and FFR is cleared; no records.
            int k2 = 1 + int(r.below(39));
            base = guard - 2 * k2;
            s.x[0] = uint64_t(uintptr_t(base));
            std::memset(s.ffr, 1, SVE_VL_BYTES);
            std::memset(s.z[3], 0xEF, SVE_VL_BYTES);
            exec(LDFF1H_H, pc0 + 20);
            int f = k2;
            while (f < 40 && !(p1[2 * f] & 1)) f++;
            for (int e = 0; e < 40; e++) {
                uint16_t want = e < f && (p1[2 * e] & 1) ? lane<uint16_t>(base, e) : 0;
                if (lane<uint16_t>(s.z[3], e) != want) fail("ldff1h lane " + std::to_string(e));
                for (int b = 2 * e; b < 2 * e + 2; b++)
                    if (s.ffr[b] != (e < f)) fail("ldff1h ffr byte " + std::to_string(b));
            }
        }
        if (rep.traced) exec(ROI_STOP, pc0 + 24);
    }
};

TEST(Stress, ThreadsEmulateFaultAndTraceAtOnce) {
    std::string path = "/tmp/sve_stress_" + std::to_string(getpid()) + ".bin";
    setenv("SVE_TRACE_FILE", path.c_str(), 1);
    ASSERT_TRUE(sve_init(0, "stress"));

    long page = sysconf(_SC_PAGESIZE);
    std::vector<uint8_t*> mems;
    std::vector<thread_report> reps(THREADS);
    std::atomic<int> ready{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < THREADS; t++) {
        void* m = mmap(nullptr, 3 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        ASSERT_NE(m, MAP_FAILED);
        uint8_t* b = static_cast<uint8_t*>(m);
        test_rng r(t);
        for (long i = 0; i < 2 * page; i++) b[i] = uint8_t(r.next());
        ASSERT_EQ(mprotect(b + 2 * page, page, PROT_NONE), 0);
        mems.push_back(b);
    }
    for (int t = 0; t < THREADS; t++)
        threads.emplace_back([&, t] {
            worker w{t, reps[t], mems[t], page, ready, {}};
            w.run();
        });
    for (auto& th : threads) th.join();
    sve_exit();
    unsetenv("SVE_TRACE_FILE");
    for (uint8_t* m : mems) munmap(m, 3 * page);

    for (const thread_report& r : reps) EXPECT_EQ(r.errors, 0) << "thread " << r.tid << ": " << r.first;

    sve_trace::trace_contents c;
    std::string error;
    ASSERT_TRUE(sve_trace::read_trace_file(path.c_str(), c, error)) << error;
    std::remove(path.c_str());
    // Memory records, markers and thread records by the thread they belong to.
    std::map<uint32_t, uint64_t> per_thread, starts, stops, announced;
    std::set<uint64_t> counts;
    for (const sve_mem_ref_t& m : c.records) {
        if (sve_trace::is_thread_record(m)) {
            announced[sve_trace::record_thread(m)]++;
            continue;
        }
        EXPECT_TRUE(counts.insert(m.count).second) << "count " << m.count << " twice";
        if (sve_trace::is_start(m)) starts[sve_trace::record_thread(m)]++;
        else if (sve_trace::is_stop(m)) stops[sve_trace::record_thread(m)]++;
        else per_thread[m.thread_id]++;
    }
    for (const thread_report& r : reps) {
        EXPECT_EQ(per_thread[r.tid], r.traced ? r.records : 0) << "thread " << r.tid;
        EXPECT_EQ(starts[r.tid], r.traced ? 1u : 0u) << "thread " << r.tid;
        EXPECT_EQ(stops[r.tid], r.traced ? 1u : 0u) << "thread " << r.tid;
        EXPECT_EQ(announced[r.tid], r.traced ? 1u : 0u) << "thread " << r.tid;
    }
    uint64_t expected = THREADS + THREADS / 2;  // the markers and the tracing threads' records
    for (const thread_report& r : reps) expected += r.traced ? r.records : 0;
    EXPECT_EQ(c.records.size(), expected);
}

}  // namespace

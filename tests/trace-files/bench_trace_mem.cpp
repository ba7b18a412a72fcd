// Cost of one record in the companion library: incr_count and trace_mem, as the emulator calls
// them, with 1, 2 and 4 threads sending at once. Prints nanoseconds per record (wall time over
// all records of all threads). Not a test: run by hand, e.g.
//   build/native/tests/trace-files/bench_trace_mem [RECORDS_PER_THREAD]
#include <pthread.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "sve/memory/trace.h"

int main(int argc, char** argv) {
    const long per_thread = argc > 1 ? std::atol(argv[1]) : 2000000;
    std::string path = "/tmp/sve_bench_trace_mem_" + std::to_string(getpid()) + ".bin";
    for (int threads : {1, 2, 4}) {
        double best = 1e30;
        for (int round = 0; round < 3; round++) {
            setenv("SVE_TRACE_FILE", path.c_str(), 1);
            sve_init(0, "bench");
            auto t0 = std::chrono::steady_clock::now();
            std::vector<std::thread> pool;
            for (int t = 0; t < threads; t++)
                pool.emplace_back([per_thread] {
                    sve_mem_ref_t r = {};
                    r.thread_id = uint32_t(uint64_t(pthread_self()));
                    r.type = memaccess_read;
                    r.size = 80;
                    for (long i = 0; i < per_thread; i++) {
                        r.count = incr_count();
                        r.address = uint64_t(i) * 80;
                        trace_mem(r);
                    }
                });
            for (auto& th : pool) th.join();
            sve_exit();
            double ns = std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - t0).count();
            best = std::min(best, ns / double(per_thread * threads));
            unlink(path.c_str());
        }
        std::printf("%d thread%s: %.1f ns per record (best of 3, %ld records per thread)\n", threads,
                    threads == 1 ? " " : "s", best, per_thread);
    }
    return 0;
}

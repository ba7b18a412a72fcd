// The cost of counting one emulated instruction for sve-run --stats (stats_count): a loop body of
// SVE instructions counted over and over, as in a vectorised kernel, and the same inside a
// region. Prints nanoseconds per counted instruction.
#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>

#include "sve/client/stats.h"

namespace {

std::unique_ptr<stats_thread> table() {
    auto t = std::make_unique<stats_thread>();
    std::memset(t.get(), 0, sizeof(stats_thread));
    return t;
}

// `body` consecutive instruction words at 0x400000, counted in turn.
void count_loop(benchmark::State& state, bool in_region) {
    auto t = table();
    const uint64_t body = uint64_t(state.range(0));
    if (in_region) stats_count(t.get(), 0x3FFFF0, SVE_ROI_START_WORD);
    uint64_t i = 0;
    for (auto _ : state) {
        stats_count(t.get(), 0x400000 + 4 * (i % body), 0x04A20021);
        i++;
        benchmark::ClobberMemory();
    }
    benchmark::DoNotOptimize(t->slot[0].count);
}

void BM_count_outside(benchmark::State& state) { count_loop(state, false); }
void BM_count_in_region(benchmark::State& state) { count_loop(state, true); }

}  // namespace

BENCHMARK(BM_count_outside)->Arg(8)->Arg(64)->Arg(1024);
BENCHMARK(BM_count_in_region)->Arg(8)->Arg(64)->Arg(1024);
BENCHMARK_MAIN();

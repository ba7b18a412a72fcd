// Time of one emulated instruction on this host: the handler that get_sve_handler returns, and
// for a specialised row also its generic counterpart behind the generic frame.
//   bench_core [benchmark options]      Google Benchmark over every instruction of the set
// (handler_loop runs one of them in a plain loop, for instruction counts.)
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "bench/bench_state.h"
#include "sve/decode/sve_emulator.h"

namespace {

alignas(64) uint8_t buffer[64 << 10];

void run(benchmark::State& st, const bench_insn* b, sve_handler_t h) {
    cpu_state s;
    bench_state(s, *b, buffer);
    for (auto _ : st) {
        int rc = h(&s, b->word);
        benchmark::DoNotOptimize(rc);
    }
    benchmark::ClobberMemory();
}

void register_all() {
    for (const bench_insn& b : bench_insns) {
        sve_handler_t h = get_sve_handler(b.word);
        const sve_row_info* r = h ? bench_row_of(h) : nullptr;
        if (!r || !r->implemented) {
            std::fprintf(stderr, "not implemented: %s (%08x)\n", b.text, b.word);
            continue;
        }
        std::string name = b.text;
        benchmark::RegisterBenchmark((name + (r->tier == 'G' ? " | generic" : " | specialised")).c_str(),
                                     run, &b, h);
        if (r->generic) benchmark::RegisterBenchmark((name + " | generic").c_str(), run, &b, r->generic);
    }
}

}  // namespace

int main(int argc, char** argv) {
    register_all();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

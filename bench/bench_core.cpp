// Time of one emulated instruction on this host: the handler that get_sve_handler returns, and
// for a specialised row also its generic counterpart behind the generic frame.
//   bench_core [benchmark options]      Google Benchmark over every instruction of the set
//   bench_core --loop INDEX COUNT [generic]
//                                       runs one instruction COUNT times, through its generic
//                                       counterpart if asked (for instruction counts under
//                                       callgrind); INDEX -1 runs nothing
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "bench/bench_state.h"
#include "sve/decode/sve_emulator.h"

namespace {

alignas(64) uint8_t buffer[64 << 10];

const sve_row_info* row_of(sve_handler_t h) {
    for (const sve_row_info& r : sve_rows)
        if (r.handler == h) return &r;
    return nullptr;
}

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
        const sve_row_info* r = h ? row_of(h) : nullptr;
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
    if ((argc == 4 || argc == 5) && std::strcmp(argv[1], "--loop") == 0) {
        int index = std::atoi(argv[2]);
        long count = std::atol(argv[3]);
        if (index < 0) return 0;
        const bench_insn& b = bench_insns[index];
        sve_handler_t h = get_sve_handler(b.word);
        if (h && argc == 5) {
            const sve_row_info* r = row_of(h);
            h = r ? r->generic : nullptr;
        }
        if (!h) return 1;
        cpu_state s;
        bench_state(s, b, buffer);
        for (long i = 0; i < count; i++) h(&s, b.word);
        return 0;
    }
    register_all();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

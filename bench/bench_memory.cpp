// Speed of the memory handlers of the specialised tier, out of a traced region (the usual case).
// Not a test: run build/<config>/tests/memory/bench_memory by hand.
#include <benchmark/benchmark.h>

#include "tests/support/capture.h"
#include "tests/support/mem_rows.h"

namespace {

test_memory mem;

// Runs the row `name` with Zt 0, Pg 1, Xn 2, imm/Xm 0, with the first `active` lanes of `lane_bytes` on.
void run_row(benchmark::State& st, const char* name, int lane_bytes, int active) {
    const sve_row_info* row = row_named(name);
    cpu_state s = {};
    for (int i = 0; i < active; i++) s.p[1][i * lane_bytes] = 1;
    s.x[2] = uint64_t(mem.middle());
    mem_fields f;
    f.pg = 1;
    f.rn = 2;
    uint32_t w = mem_word(*row, f);
    for (auto _ : st) {
        row->handler(&s, w);
        benchmark::DoNotOptimize(s.z[0][0]);
        benchmark::ClobberMemory();
    }
}

void BM_ld1w_all(benchmark::State& st) { run_row(st, "VecU32CLoad4SIZ", 4, 20); }
void BM_ld1w_tail13(benchmark::State& st) { run_row(st, "VecU32CLoad4SIZ", 4, 13); }
void BM_ld1d_all(benchmark::State& st) { run_row(st, "VecU64CLoad8LSSZ", 8, 10); }
void BM_ld1b_h_all(benchmark::State& st) { run_row(st, "VecU16CLoad1SIZ", 2, 40); }
void BM_ld1sw_d_all(benchmark::State& st) { run_row(st, "VecS64CLoad4SIZ", 8, 10); }
void BM_st1w_all(benchmark::State& st) { run_row(st, "VecU32CStore4SIZ", 4, 20); }
void BM_st1b_all(benchmark::State& st) { run_row(st, "VecU8CStore1SIZ", 1, 80); }
void BM_st1h_s_all(benchmark::State& st) { run_row(st, "VecU32CStore2SIZ", 4, 20); }
void BM_ld1rw_all(benchmark::State& st) { run_row(st, "VecU32LoadDup4SIZ", 4, 20); }
void BM_ldr_z(benchmark::State& st) { run_row(st, "VecU64FillSI", 1, 0); }
void BM_ld1rqw_generic(benchmark::State& st) { run_row(st, "VecU32LoadDup4QSIZ", 4, 4); }

}  // namespace

BENCHMARK(BM_ld1w_all);
BENCHMARK(BM_ld1w_tail13);
BENCHMARK(BM_ld1d_all);
BENCHMARK(BM_ld1b_h_all);
BENCHMARK(BM_ld1sw_d_all);
BENCHMARK(BM_st1w_all);
BENCHMARK(BM_st1b_all);
BENCHMARK(BM_st1h_s_all);
BENCHMARK(BM_ld1rw_all);
BENCHMARK(BM_ldr_z);
BENCHMARK(BM_ld1rqw_generic);
BENCHMARK_MAIN();

// Runs instructions of the benchmark set in a plain loop, for counting the instructions that
// one call of a handler executes:
//   handler_loop INDEX COUNT [generic]
//   handler_loop all COUNT [generic]
// INDEX is the instruction's position in instructions.inc (-1 runs nothing): callgrind counts
// the whole process, and the difference of two COUNTs gives one call. "all" runs every
// instruction in turn, each loop between calls of count_begin() and count_end(), for an
// instruction counter that finds those two functions (qemu's exec log in the AArch64 build).
// With "generic" the row's generic counterpart runs instead of its handler; an instruction
// without one is skipped by "all". Status 1 for an index or row that has no such handler.
#include <cstdlib>
#include <cstring>

#include "bench/bench_state.h"

namespace {
alignas(64) uint8_t buffer[64 << 10];
cpu_state state;
constexpr int insn_count = int(sizeof bench_insns / sizeof bench_insns[0]);

sve_handler_t handler_of(const bench_insn& b, bool generic) {
    sve_handler_t h = get_sve_handler(b.word);
    if (h && generic) {
        const sve_row_info* r = bench_row_of(h);
        h = r ? r->generic : nullptr;
    }
    return h;
}

void loop(const bench_insn& b, sve_handler_t h, long count) {
    for (long i = 0; i < count; i++) h(&state, b.word);
}
}  // namespace

extern "C" __attribute__((noinline)) void count_begin() { __asm__ volatile("" ::: "memory"); }
extern "C" __attribute__((noinline)) void count_end() { __asm__ volatile("" ::: "memory"); }

int main(int argc, char** argv) {
    if (argc != 3 && !(argc == 4 && std::strcmp(argv[3], "generic") == 0)) return 2;
    bool generic = argc == 4;
    long count = std::atol(argv[2]);
    if (std::strcmp(argv[1], "all") == 0) {
        for (const bench_insn& b : bench_insns) {
            sve_handler_t h = handler_of(b, generic);
            if (!h) continue;
            bench_state(state, b, buffer);
            count_begin();
            loop(b, h, count);
            count_end();
        }
        return 0;
    }
    int index = std::atoi(argv[1]);
    if (index < 0) return 0;
    if (index >= insn_count) return 1;
    sve_handler_t h = handler_of(bench_insns[index], generic);
    if (!h) return 1;
    bench_state(state, bench_insns[index], buffer);
    loop(bench_insns[index], h, count);
    return 0;
}

// SVE work whose instruction count follows from the source: three SVE instructions per unit
// (add of vectors, add of an immediate, index). The test programs that include it are built
// without SVE code generation, so these and their markers are their only SVE words.
#pragma once

__attribute__((noinline)) void work(int units) {
    for (int i = 0; i < units; i++)
        __asm__ volatile(
            ".arch_extension sve\n\t"
            "add z1.s, z1.s, z2.s\n\t"
            "add z3.s, z3.s, #1\n\t"
            "index z4.s, #0, #1" ::: "v1", "v3", "v4");
}

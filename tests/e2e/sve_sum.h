// A vectorised reduction as compilers emit it: a whilelo loop over n elements of a, with one SVE
// accumulate per vector, then a reduction of the lanes. LANE is d or s; LOAD loads z1 from a at
// x9; STEP accumulates z1 into z0; INC counts the lanes into x9 (incw, incd); REDUCE leaves the
// sum in d0.
#pragma once
#include <stdint.h>

#define SVE_SUM(name, type, LANE, LOAD, STEP, INC, REDUCE)                                   \
    static int64_t name(const type* a, int64_t n) {                                    \
        int64_t sum;                                                                   \
        __asm__ volatile("mov x9, #0\n\t"                                              \
                         "mov z0.d, #0\n\t"                                            \
                         "whilelo p0." LANE ", x9, %[n]\n"                             \
                         "1:\n\t" LOAD "\n\t" STEP "\n\t"                              \
                         INC " x9\n\t"                                                \
                         "whilelo p0." LANE ", x9, %[n]\n\t"                           \
                         "b.first 1b\n\t"                                              \
                         "ptrue p1." LANE "\n\t" REDUCE "\n\t"                         \
                         "fmov %[sum], d0\n"                                           \
                         : [sum] "=r"(sum)                                             \
                         : [a] "r"(a), [n] "r"(n)                                      \
                         : "x9", "v0", "v1", "p0", "p1", "memory", "cc");              \
        return sum;                                                                    \
    }

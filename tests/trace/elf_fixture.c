/* A small AArch64 program whose function addresses the trace tests look up. */
#include <stdio.h>

__attribute__((noinline)) long known_function(long *v, long n) {
    long s = 0;
    for (long i = 0; i < n; i++) s += v[i] * (i + 3);
    return s;
}

__attribute__((noinline)) long another_function(long x) { return x * x + 7; }

int main(int argc, char **argv) {
    long v[4] = {argc, 2, 3, 4};
    (void)argv;
    printf("%ld\n", known_function(v, 4) + another_function(argc));
    return 0;
}

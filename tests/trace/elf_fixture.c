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

/* Three SVE words at known offsets (0, 4, 8): ld1d z0, ld1d z1, st1d z1, then ret; then a
 * function of 128 KiB of nops, so that addresses moved by the loader's alignment (64 KiB) also
 * land inside a function and only the instruction words tell the right load address. */
__asm__(".text\n"
        ".global sve_kernel\n"
        ".type sve_kernel, %function\n"
        "sve_kernel:\n"
        ".inst 0xa5e24000\n"
        ".inst 0xa5e24021\n"
        ".inst 0xe5e24021\n"
        "ret\n"
        ".size sve_kernel, .-sve_kernel\n"
        ".global nop_slide\n"
        ".type nop_slide, %function\n"
        "nop_slide:\n"
        ".rept 32768\n"
        "nop\n"
        ".endr\n"
        "ret\n"
        ".size nop_slide, .-nop_slide\n");

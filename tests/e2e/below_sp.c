// Memory below sp belongs to the program: an SVE store there and scalar data of a leaf
// function's red zone survive the emulation of the SVE words that follow, in both stages.
#include <stdint.h>
#include <string.h>

#include "check.h"

// Stores the 80 bytes at x0 just below sp, runs another SVE word, loads them back with SVE into
// x1's 80 bytes; then writes 128 bytes of a pattern just below sp with scalar stores, runs an SVE
// word, and copies those 128 bytes to x2.
void below_sp(const void* in, void* out, void* red_zone);
__asm__(
    ".arch armv8.2-a+sve\n"
    ".text\n"
    ".globl below_sp\n.type below_sp, %function\n"
    "below_sp:\n"
    "  ptrue p0.b\n"
    "  ld1b {z0.b}, p0/z, [x0]\n"
    "  st1b {z0.b}, p0, [sp, #-1, mul vl]\n"
    "  add z3.b, z3.b, z3.b\n"
    "  ld1b {z1.b}, p0/z, [sp, #-1, mul vl]\n"
    "  st1b {z1.b}, p0, [x1]\n"
    "  mov x3, #-128\n"
    "1:\n"
    "  add x4, x3, #0x5a\n"
    "  str x4, [sp, x3]\n"
    "  adds x3, x3, #8\n"
    "  b.ne 1b\n"
    "  add z3.b, z3.b, z3.b\n"
    "  mov x3, #-128\n"
    "2:\n"
    "  ldr x4, [sp, x3]\n"
    "  str x4, [x2], #8\n"
    "  adds x3, x3, #8\n"
    "  b.ne 2b\n"
    "  ret\n");

int main(void) {
    unsigned char in[80], out[80];
    uint64_t red[16];
    for (int i = 0; i < 80; i++) in[i] = (unsigned char)(3 * i + 1);
    for (int round = 0; round < 3; round++) {  // the first run traps, later ones use the patches
        memset(out, 0, sizeof out);
        memset(red, 0, sizeof red);
        below_sp(in, out, red);
        CHECK(memcmp(in, out, 80) == 0, "round %d: the vector stored below sp changed", round);
        for (int i = 0; i < 16; i++) {
            uint64_t expect = (uint64_t)(-128 + 8 * i + 0x5a);
            CHECK(red[i] == expect, "round %d: red zone word %d is %#llx, expected %#llx", round, i,
                  (unsigned long long)red[i], (unsigned long long)expect);
        }
    }
    printf("below_sp: %d failures\n", check_failures);
    return check_failures != 0;
}

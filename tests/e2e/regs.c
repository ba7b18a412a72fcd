// Registers across emulated instructions, run under sve-run. Every expected value comes from
// the architecture at the build's vector length (VL_BYTES), except the last check: the upper bytes of a
// Z register survive native Advanced SIMD code, as the emulator keeps them in its record.
#include <stdint.h>
#include <stdio.h>
#include <string.h>

static int failures;

static void expect(const char* what, int64_t got, int64_t want) {
    if (got == want) {
        printf("%s: ok\n", what);
    } else {
        printf("%s: FAIL got %lld want %lld\n", what, (long long)got, (long long)want);
        failures++;
    }
}

// Sets x0..x25 to known values, x29/x30 to known values, runs one SVE word and counts the
// registers that changed. Returns the count in x0.
__asm__(
    ".text\n"
    ".global gprs_survive\n"
    "gprs_survive:\n"
    "  stp x29, x30, [sp, #-96]!\n"
    "  stp x19, x20, [sp, #16]\n"
    "  stp x21, x22, [sp, #32]\n"
    "  stp x23, x24, [sp, #48]\n"
    "  stp x25, x26, [sp, #64]\n"
    "  stp x27, x28, [sp, #80]\n"
    "  mov x16, sp\n"
    "  mov x0, #100\n"
    "  mov x1, #101\n"
    "  .irp n, 2,3,4,5,6,7,8,9,10,11,12,13,14,15,17,18,19,20,21,22,23,24,25\n"
    "  mov x\\n, #\\n\n"
    "  .endr\n"
    "  mov x29, #0x929\n"
    "  mov x30, #0x303\n"
    "  add z7.b, z7.b, #1\n"  // emulated
    "  mov x26, #0\n"
    "  cmp x0, #100\n cinc x26, x26, ne\n"
    "  cmp x1, #101\n cinc x26, x26, ne\n"
    "  .irp n, 2,3,4,5,6,7,8,9,10,11,12,13,14,15,17,18,19,20,21,22,23,24,25\n"
    "  cmp x\\n, #\\n\n cinc x26, x26, ne\n"
    "  .endr\n"
    "  cmp x29, #0x929\n cinc x26, x26, ne\n"
    "  cmp x30, #0x303\n cinc x26, x26, ne\n"
    "  mov x27, sp\n cmp x16, x27\n cinc x26, x26, ne\n"
    "  mov x0, x26\n"
    "  ldp x19, x20, [sp, #16]\n"
    "  ldp x21, x22, [sp, #32]\n"
    "  ldp x23, x24, [sp, #48]\n"
    "  ldp x25, x26, [sp, #64]\n"
    "  ldp x27, x28, [sp, #80]\n"
    "  ldp x29, x30, [sp], #96\n"
    "  ret\n");
int64_t gprs_survive(void);

// Each check runs twice: the first execution of an SVE word traps, later ones may take the
// patched code.
static void checks(void) {
    int64_t a, b, c;
    __asm__ volatile("rdvl x26, #1\n mov %0, x26\n rdvl x27, #2\n mov %1, x27\n rdvl x28, #-1\n mov %2, x28"
                     : "=r"(a), "=r"(b), "=r"(c) : : "x26", "x27", "x28");
    expect("rdvl x26, #1", a, VL_BYTES);
    expect("rdvl x27, #2", b, 2 * VL_BYTES);
    expect("rdvl x28, #-1", c, -VL_BYTES);

    int64_t before, during, after;
    __asm__ volatile("mov %0, sp\n addvl sp, sp, #-2\n mov %1, sp\n addvl sp, sp, #2\n mov %2, sp"
                     : "=&r"(before), "=&r"(during), "=&r"(after));
    expect("addvl sp, sp, #-2", before - during, 2 * VL_BYTES);
    expect("addvl sp, sp, #2", after, before);

    int64_t eq_all, mi_all, eq_none, cs_none;
    __asm__ volatile("ptrue p0.b\n pfalse p1.b\n"
                     "ptest p0, p0.b\n cset %0, eq\n ptest p0, p0.b\n cset %1, mi\n"
                     "ptest p0, p1.b\n cset %2, eq\n ptest p0, p1.b\n cset %3, cs\n"
                     : "=&r"(eq_all), "=&r"(mi_all), "=&r"(eq_none), "=&r"(cs_none) : : "p0", "p1", "cc");
    expect("ptest all active: eq", eq_all, 0);
    expect("ptest all active: mi (first active)", mi_all, 1);
    expect("ptest none active: eq", eq_none, 1);
    expect("ptest none active: cs (last not active)", cs_none, 1);

    int64_t taken;
    __asm__ volatile("ptrue p0.b\n pfalse p1.b\n mov %0, #0\n ptest p0, p1.b\n b.ne 1f\n mov %0, #1\n1:"
                     : "=&r"(taken) : : "p0", "p1", "cc");
    expect("b.eq after ptest of an empty predicate", taken, 1);

    int64_t kept;
    __asm__ volatile("cmp xzr, xzr\n add z7.b, z7.b, #1\n cset %0, eq" : "=r"(kept) : : "z7", "cc");
    expect("native flags survive an emulated add", kept, 1);

    expect("x0-x25, x29, x30, sp survive an emulated add", gprs_survive(), 0);

    uint8_t z[VL_BYTES];
    __asm__ volatile("index z3.b, #0, #1\n movi v3.16b, #0xaa\n ptrue p0.b\n st1b z3.b, p0, [%0]"
                     : : "r"(z) : "z3", "p0", "memory");
    int low_ok = 1, high_ok = 1;
    for (int i = 0; i < 16; i++) low_ok &= z[i] == 0xaa;
    for (int i = 16; i < VL_BYTES; i++) high_ok &= z[i] == i;
    expect("native movi writes bytes 0-15 of z3", low_ok, 1);
    expect("bytes 16 and up of z3 survive native movi", high_ok, 1);
}

int main(void) {
    for (int round = 1; round <= 2; round++) {
        printf("round %d\n", round);
        checks();
    }
    printf("%d failures\n", failures);
    return failures != 0;
}

// What a program asks about SVE: HWCAP_SVE from getauxval and /proc/self/auxv, and the vector
// length controls of prctl, answered as by the kernel of a machine whose only length is 80 bytes.
#include <errno.h>
#include <stdint.h>
#include <stdio.h>
#include <sys/auxv.h>
#include <sys/prctl.h>

#include "check.h"

#define VL 80
#define HWCAP_SVE_BIT (1ul << 22)
#define INHERIT (1 << 17)
#define ONEXEC (1 << 18)

static unsigned long hwcap_in_proc(void) {
    FILE* f = fopen("/proc/self/auxv", "rb");
    if (!f) return 0;
    unsigned long pair[2], value = 0;
    while (fread(pair, sizeof pair, 1, f) == 1)
        if (pair[0] == AT_HWCAP) value = pair[1];
    fclose(f);
    return value;
}

static long cntb(void) {
    long n;
    __asm__("cntb %0" : "=r"(n));
    return n;
}

int main(void) {
    CHECK(getauxval(AT_HWCAP) & HWCAP_SVE_BIT, "getauxval(AT_HWCAP) %#lx lacks HWCAP_SVE", getauxval(AT_HWCAP));
    CHECK(hwcap_in_proc() & HWCAP_SVE_BIT, "/proc/self/auxv AT_HWCAP %#lx lacks HWCAP_SVE", hwcap_in_proc());
    CHECK(prctl(PR_SVE_GET_VL) == VL, "PR_SVE_GET_VL %d", prctl(PR_SVE_GET_VL));
    CHECK(cntb() == VL, "cntb %ld", cntb());

    // Every valid length becomes the only one there is; the flags come back as asked.
    static const struct {
        long arg, result;
    } set[] = {
        {16, VL},         {32, VL},  {64, VL},  {VL, VL},  {96, VL}, {256, VL}, {8192, VL},
        {VL | INHERIT, VL | INHERIT}, {32 | ONEXEC, VL}, {48 | ONEXEC | INHERIT, VL | INHERIT}, {VL, VL},
    };
    for (unsigned i = 0; i < sizeof set / sizeof set[0]; i++) {
        int r = prctl(PR_SVE_SET_VL, set[i].arg);
        CHECK(r == set[i].result, "PR_SVE_SET_VL %#lx gave %#x, expected %#lx", set[i].arg, r, set[i].result);
        int g = prctl(PR_SVE_GET_VL);
        CHECK(g == set[i].result, "PR_SVE_GET_VL after %#lx gave %#x, expected %#lx", set[i].arg, g, set[i].result);
    }
    // Lengths outside 16..8192 or not a multiple of 16, and unknown flags.
    static const long invalid[] = {0, 8, 15, 81, 88, 8208, 65535, VL | (1 << 16), VL | (1 << 19), VL | (1l << 32)};
    for (unsigned i = 0; i < sizeof invalid / sizeof invalid[0]; i++) {
        errno = 0;
        int r = prctl(PR_SVE_SET_VL, invalid[i]);
        CHECK(r == -1 && errno == EINVAL, "PR_SVE_SET_VL %#lx gave %d errno %d", invalid[i], r, errno);
    }
    CHECK(prctl(PR_SVE_GET_VL) == VL, "the length changed after invalid requests");
    CHECK(cntb() == VL, "cntb changed");

    printf("features: %d failures\n", check_failures);
    return check_failures != 0;
}

// What sve-run handed the program: "fz16 N" (whether the processor keeps FPCR.FZ16, which only
// processors with half-precision arithmetic do), then "NAME=VALUE" or "NAME unset" for each
// variable named on the command line. One SVE word runs first, so the emulator is there.
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

int main(int argc, char** argv) {
    uint64_t vl;
    __asm__ volatile(".inst 0x04bf5020\n\tmov %0, x0" : "=r"(vl) : : "x0");  // rdvl x0, #1
    uint64_t saved, fpcr;
    __asm__ volatile("mrs %0, fpcr" : "=r"(saved));
    __asm__ volatile("msr fpcr, %1\n\tmrs %0, fpcr\n\tmsr fpcr, %2" : "=&r"(fpcr) : "r"(saved | (1u << 19)), "r"(saved));
    printf("vl %u\nfz16 %u\n", (unsigned)vl, (unsigned)((fpcr >> 19) & 1));
    for (int i = 1; i < argc; i++) {
        const char* v = getenv(argv[i]);
        if (v)
            printf("%s=%s\n", argv[i], v);
        else
            printf("%s unset\n", argv[i]);
    }
    return 0;
}

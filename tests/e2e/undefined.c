// An undefined instruction still ends the program by SIGILL under emulation: one outside the SVE
// space, or (with the argument "sve") one inside it that no decode row knows, 0x04008008.
#include <stdio.h>

int main(int argc, char** argv) {
    (void)argv;
    printf("before\n");
    fflush(stdout);
    if (argc > 1)
        __asm__ volatile(".inst 0x04008008");
    else
        __asm__ volatile("udf #7");
    printf("not reached\n");
    return 0;
}

// An undefined instruction that is not SVE still ends the program by SIGILL under emulation.
#include <stdio.h>

int main(void) {
    printf("before\n");
    fflush(stdout);
    __asm__ volatile("udf #7");
    printf("not reached\n");
    return 0;
}

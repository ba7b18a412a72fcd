// A half-precision instruction on a processor without half precision ends the program by
// SIGILL, after the emulator's one line about it.
#include <stdio.h>

int main(void) {
    printf("before\n");
    fflush(stdout);
    __asm__ volatile(".arch armv8.2-a+fp16\n\tfadd h0, h1, h2" ::: "v0");
    printf("not reached\n");
    return 0;
}

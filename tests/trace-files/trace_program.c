// A program whose trace is known from its loop structure, for the checks of trace files.
//
//   trace_program MODE ITERATIONS [ARG]
//
// Each iteration of the copy loop runs one ld1w and one st1w of a whole vector on an all-true
// predicate: two records. The loop runs between a start and a stop marker, then MODE ends it:
//   exit      returns from main (status 0)
//   _exit     _exit(3)
//   segv      no stop marker: a store to address 0 faults inside the region
//   exec      execs ARG (a program path) after the stop marker
//   sleep     sleeps ARG milliseconds after the stop marker, then returns
//   threads   ARG threads each run the loop in a region of their own, all inside their regions
//             at the same time; the main thread traces nothing
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include "include/sve_roi.h"

static int src[64], dst[64];

static void copy_once(const int* from, int* to) {
    __asm__ volatile("ptrue p0.s\n\tld1w {z0.s}, p0/z, [%0]\n\tst1w {z0.s}, p0, [%1]"
                     :
                     : "r"(from), "r"(to)
                     : "z0", "p0", "memory");
}

static void store_to_null(void) {
    int* nowhere = 0;
    __asm__ volatile("ptrue p0.s\n\tst1w {z0.s}, p0, [%0]" : : "r"(nowhere) : "p0", "memory");
}

static int iterations;
static pthread_barrier_t all_inside;

static void* traced_thread(void* arg) {
    (void)arg;
    SVE_ROI_BEGIN();
    pthread_barrier_wait(&all_inside);
    for (int i = 0; i < iterations; i++) copy_once(src, dst);
    pthread_barrier_wait(&all_inside);
    SVE_ROI_END();
    return NULL;
}

int main(int argc, char** argv) {
    if (argc < 3) {
        fprintf(stderr, "usage: trace_program MODE ITERATIONS [ARG]\n");
        return 2;
    }
    const char* mode = argv[1];
    iterations = atoi(argv[2]);
    const char* arg = argc > 3 ? argv[3] : "";
    for (int i = 0; i < 64; i++) src[i] = i;

    if (strcmp(mode, "threads") == 0) {
        int n = atoi(arg);
        pthread_t th[64];
        pthread_barrier_init(&all_inside, NULL, (unsigned)n);
        for (int t = 0; t < n; t++) pthread_create(&th[t], NULL, traced_thread, NULL);
        for (int t = 0; t < n; t++) pthread_join(th[t], NULL);
        printf("threads done\n");
        return 0;
    }

    SVE_ROI_BEGIN();
    for (int i = 0; i < iterations; i++) copy_once(src, dst);
    if (strcmp(mode, "segv") == 0) store_to_null();
    SVE_ROI_END();
    printf("copied %d\n", dst[19]);
    fflush(stdout);
    if (strcmp(mode, "_exit") == 0) _exit(3);
    if (strcmp(mode, "exec") == 0) {
        execl(arg, arg, (char*)NULL);
        perror("exec");
        return 1;
    }
    if (strcmp(mode, "sleep") == 0) {
        struct timespec ts = {atoi(arg) / 1000, (atoi(arg) % 1000) * 1000000L};
        nanosleep(&ts, NULL);
    }
    return 0;
}

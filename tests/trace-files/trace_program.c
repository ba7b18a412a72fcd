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
//   meet      after the stop marker, leaves a file in the folder ARG and waits until COUNT
//             (the fourth argument) processes have done so: all of them run at the same time
//   threads   ARG threads each run the loop in a region of their own, all inside their regions
//             at the same time; the main thread traces nothing
#include <dirent.h>
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

static int files_in(const char* dir) {
    int n = 0;
    DIR* d = opendir(dir);
    if (!d) return -1;
    for (struct dirent* e; (e = readdir(d)) != NULL;)
        if (e->d_name[0] != '.') n++;
    closedir(d);
    return n;
}

static int meet(const char* dir, int count) {
    char path[4096];
    snprintf(path, sizeof path, "%s/%d", dir, (int)getpid());
    FILE* f = fopen(path, "w");
    if (!f) return 1;
    fclose(f);
    for (int waited = 0; files_in(dir) < count; waited += 10) {
        if (waited > 120000) return 1;
        struct timespec ts = {0, 10000000L};
        nanosleep(&ts, NULL);
    }
    return 0;
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
    if (strcmp(mode, "meet") == 0) return meet(arg, argc > 4 ? atoi(argv[4]) : 1);
    return 0;
}

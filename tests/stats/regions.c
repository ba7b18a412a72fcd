// Regions of interest on several threads, with SVE work whose instruction counts follow from the
// source alone: the program is built without SVE code generation, so its only SVE instructions
// are the three words of work() and the region markers.
//
//   main          region 1: start, work(7)              -> 1 + 21     = 22
//                 region 2: start, work(4), stop        -> 1 + 12 + 1 = 14
//   worker t=0..3 outside:  work(t + 1)                 -> 3 (t + 1)
//                 region 1: start, work(10 (t + 1)), stop -> 2 + 30 (t + 1): 32, 62, 92, 122
//   lingerer      outside:  work(5), then blocks until the process exits -> 15
//   main          after the joins, a stop with no region open, outside   -> 1
// Outside regions: 3 (1 + 2 + 3 + 4) + 15 + 1 = 46. Total 22 + 14 + 308 + 46 = 390.
#include <pthread.h>
#include <semaphore.h>
#include <stdint.h>
#include <stdio.h>
#include <unistd.h>

#include "include/sve_roi.h"
#include "tests/stats/work.h"

static void* worker(void* arg) {
    int t = (int)(intptr_t)arg;
    work(t + 1);
    SVE_ROI_START(5);
    work(10 * (t + 1));
    SVE_ROI_STOP(5);
    return NULL;
}

static sem_t lingerer_ready;

static void* lingerer(void* arg) {
    (void)arg;
    work(5);
    sem_post(&lingerer_ready);
    for (;;) pause();
    return NULL;
}

int main(void) {
    SVE_ROI_BEGIN();
    work(7);
    SVE_ROI_BEGIN();  // a second start opens a new region
    work(4);
    SVE_ROI_END();

    pthread_t th[4], lt;
    sem_init(&lingerer_ready, 0, 0);
    pthread_create(&lt, NULL, lingerer, NULL);
    for (int t = 0; t < 4; t++) pthread_create(&th[t], NULL, worker, (void*)(intptr_t)t);
    for (int t = 0; t < 4; t++) pthread_join(th[t], NULL);
    sem_wait(&lingerer_ready);
    SVE_ROI_END();
    puts("done");
    return 0;
}

// Four threads, each running a vectorised kernel on its own slice: each thread has its own
// emulated state.
#include <pthread.h>
#include <stdint.h>
#include <stdio.h>

#define THREADS 4
#define N 4099

static int64_t data[THREADS][N];
static int64_t result[THREADS];

__attribute__((noinline)) int64_t kernel(int64_t* p, int n, int64_t k) {
    for (int i = 0; i < n; i++) p[i] = p[i] * k + (i ^ k);
    int64_t s = 0;
    for (int i = 0; i < n; i++) s += p[i];
    return s;
}

static void* work(void* arg) {
    int t = (int)(intptr_t)arg;
    for (int i = 0; i < N; i++) data[t][i] = i + t;
    int64_t s = 0;
    for (int round = 0; round < 3; round++) s += kernel(data[t], N - t, t + round + 2);
    result[t] = s;
    return NULL;
}

int main(void) {
    pthread_t th[THREADS];
    for (int t = 0; t < THREADS; t++) pthread_create(&th[t], NULL, work, (void*)(intptr_t)t);
    for (int t = 0; t < THREADS; t++) pthread_join(th[t], NULL);
    for (int t = 0; t < THREADS; t++) printf("thread %d: %lld\n", t, (long long)result[t]);
    return 0;
}

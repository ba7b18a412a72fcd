// Several threads at once run first-fault gathers and first-fault contiguous loads that stop at
// a guard page: each thread's contained faults must stay its own (the lanes it loaded, its
// first-fault register), however the faults of the threads interleave.
#include <arm_sve.h>
#include <pthread.h>
#include <stdint.h>
#include <stdio.h>
#include <sys/mman.h>
#include <unistd.h>

#define THREADS 4
#define ROUNDS 300

static uint64_t* table;  // one mapped page of 64-bit values, then a guard page
static long words;       // values in the mapped page

// First-fault gather at table[idx[i]]; returns the loaded lanes and their sum.
__attribute__((noinline)) uint64_t gather_ff(const int64_t* idx, uint64_t* sum) {
    svsetffr();
    svbool_t all = svptrue_b64();
    svuint64_t v = svldff1_gather_s64index_u64(all, table, svld1_s64(all, idx));
    svbool_t loaded = svrdffr_z(all);
    *sum = svaddv_u64(loaded, v);
    return svcntp_b64(all, loaded);
}

// First-fault contiguous load of bytes from `p`; returns the loaded lanes and their sum.
__attribute__((noinline)) uint64_t bytes_ff(const uint8_t* p, uint64_t* sum) {
    svsetffr();
    svbool_t all = svptrue_b8();
    svuint8_t v = svldff1_u8(all, p);
    svbool_t loaded = svrdffr_z(all);
    *sum = svaddv_u8(loaded, v);
    return svcntp_b8(all, loaded);
}

static uint64_t results[THREADS];

static void* work(void* arg) {
    int t = (int)(intptr_t)arg;
    uint64_t acc = 0;
    for (int r = 0; r < ROUNDS; r++) {
        int k = 1 + (r + t) % 9;  // the lane that points into the guard page (never the first)
        int64_t idx[10];
        for (int i = 0; i < 10; i++) idx[i] = (i * 41 + r * 7 + t) % words;
        idx[k] = words + (r % 50);
        uint64_t sum, lanes = gather_ff(idx, &sum);
        acc = acc * 31 + lanes * 1000003 + sum;
        int back = 1 + (r * 13 + t * 5) % 80;  // the bytes before the guard page
        lanes = bytes_ff((const uint8_t*)(table + words) - back, &sum);
        acc = acc * 31 + lanes * 1000003 + sum;
    }
    results[t] = acc;
    return NULL;
}

int main(void) {
    long page = sysconf(_SC_PAGESIZE);
    uint8_t* m = mmap(NULL, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (m == MAP_FAILED || mprotect(m + page, page, PROT_NONE) != 0) return 1;
    table = (uint64_t*)m;
    words = page / 8;
    for (long i = 0; i < words; i++) table[i] = (uint64_t)(i * i + 7);
    pthread_t th[THREADS];
    for (int t = 0; t < THREADS; t++) pthread_create(&th[t], NULL, work, (void*)(intptr_t)t);
    for (int t = 0; t < THREADS; t++) pthread_join(th[t], NULL);
    for (int t = 0; t < THREADS; t++) printf("thread %d: %016llx\n", t, (unsigned long long)results[t]);
    return 0;
}

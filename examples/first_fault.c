// First-fault and non-fault loads that run into an unmapped page: the loads must stop at the
// page boundary and report it in the first-fault register instead of ending the process. Covers
// the contiguous first-fault and non-fault loads (probed page by page) and a first-fault gather
// (guarded element reads), with the strings and indices placed right before a guard page.
#include <arm_sve.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

// strlen with first-fault (svldff1) or non-fault (svldnf1) loads: the vector may run past the
// end of the string into the guard page; only the lanes that FFR says were loaded count. A
// non-fault load may fail even on its first lane, a first-fault load only after it.
#define STRLEN_BY(name, load)                                                               \
    __attribute__((noinline)) size_t name(const char* s) {                                  \
        const uint8_t* p = (const uint8_t*)s;                                               \
        svbool_t all = svptrue_b8();                                                        \
        size_t i = 0;                                                                       \
        for (;;) {                                                                          \
            svsetffr();                                                                     \
            svuint8_t v = load(all, p + i);                                                 \
            svbool_t loaded = svrdffr_z(all);                                               \
            svbool_t nul = svcmpeq_n_u8(loaded, v, 0);                                      \
            if (svptest_any(loaded, nul)) return i + svcntp_b8(loaded, svbrkb_z(loaded, nul)); \
            i += svcntp_b8(all, loaded);                                                    \
        }                                                                                   \
    }
STRLEN_BY(strlen_ff, svldff1_u8)
STRLEN_BY(strlen_nf, svldnf1_u8)

// How many lanes of one first-fault load from `p` were loaded.
__attribute__((noinline)) uint64_t ff_lanes_u32(const uint32_t* p, uint32_t* sum) {
    svsetffr();
    svbool_t all = svptrue_b32();
    svuint32_t v = svldff1_u32(all, p);
    svbool_t loaded = svrdffr_z(all);
    *sum = (uint32_t)svaddv_u32(loaded, v);
    return svcntp_b32(all, loaded);
}

// A first-fault gather of 64-bit elements at base[idx[i]]: the lanes from the first faulting
// one on are not loaded.
__attribute__((noinline)) uint64_t ff_gather(const uint64_t* base, const int64_t* idx, uint64_t* sum) {
    svsetffr();
    svbool_t all = svptrue_b64();
    svint64_t offsets = svld1_s64(all, idx);
    svuint64_t v = svldff1_gather_s64index_u64(all, base, offsets);
    svbool_t loaded = svrdffr_z(all);
    *sum = svaddv_u64(loaded, v);
    return svcntp_b64(all, loaded);
}

int main(void) {
    long page = sysconf(_SC_PAGESIZE);
    uint8_t* m = mmap(NULL, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (m == MAP_FAILED) return 1;
    if (mprotect(m + page, page, PROT_NONE) != 0) return 1;
    uint8_t* end = m + page;  // the guard page starts here
    memset(m, 'a', page);

    // Strings that end 1 to 100 bytes before the guard page, so the vectors cross into it.
    static const int lengths[] = {0, 1, 5, 79, 80, 81, 159, 160, 200, 1000};
    for (unsigned k = 0; k < sizeof lengths / sizeof *lengths; k++) {
        for (int gap = 1; gap <= 97; gap += 32) {
            int n = lengths[k];
            char* s = (char*)end - gap - n;
            s[n] = 0;
            size_t a = strlen_ff(s), b = strlen_nf(s);
            printf("len %4d gap %2d: ff %zu nf %zu\n", n, gap, a, b);
            s[n] = 'a';
        }
    }

    // Word loads that start 4 to 80 bytes before the guard page.
    uint32_t* w = (uint32_t*)m;
    for (long i = 0; i < page / 4; i++) w[i] = (uint32_t)i;
    for (int back = 4; back <= 80; back += 28) {
        uint32_t sum;
        uint64_t lanes = ff_lanes_u32((const uint32_t*)(end - back), &sum);
        printf("ldff1w %2d bytes before the guard: %llu lanes, sum %u\n", back, (unsigned long long)lanes, sum);
    }

    // Gathers whose k-th index points into the guard page.
    uint64_t* d = (uint64_t*)m;
    for (long i = 0; i < page / 8; i++) d[i] = (uint64_t)i * 3;
    for (int k = 1; k < 10; k += 4) {
        int64_t idx[10];
        for (int i = 0; i < 10; i++) idx[i] = (i * 37) % (page / 8);
        idx[k] = page / 8 + 5;  // in the guard page
        uint64_t sum;
        uint64_t lanes = ff_gather(d, idx, &sum);
        printf("ldff1d gather, lane %d faults: %llu lanes, sum %llu\n", k, (unsigned long long)lanes,
               (unsigned long long)sum);
    }
    return 0;
}

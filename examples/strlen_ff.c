// strlen with first-fault loads: the vector load may run past the end of the string into an
// unmapped page; the first-fault register tells which lanes were read.
#include <arm_sve.h>
#include <stdio.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

static size_t sve_strlen(const char* s) {
    size_t i = 0;
    svbool_t all = svptrue_b8();
    for (;;) {
        svsetffr();
        svuint8_t v = svldff1_u8(all, (const uint8_t*)s + i);
        svbool_t loaded = svrdffr();
        svbool_t nul = svcmpeq_n_u8(loaded, v, 0);
        if (svptest_any(loaded, nul)) return i + svcntp_b8(loaded, svbrkb_z(loaded, nul));
        i += svcntp_b8(all, loaded);
    }
}

int main(void) {
    long page = sysconf(_SC_PAGESIZE);
    char* m = mmap(NULL, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    munmap(m + page, page);
    const int lengths[] = {0, 1, 79, 80, 81, 200, 1000};
    for (unsigned k = 0; k < sizeof lengths / sizeof lengths[0]; k++) {
        int n = lengths[k];
        char* s = m + page - n - 1;  // the terminator is the last byte of the mapping
        memset(s, 'a' + k, (size_t)n);
        s[n] = 0;
        printf("length %4d: strlen %zu, sve_strlen %zu\n", n, strlen(s), sve_strlen(s));
    }
    return 0;
}

// An emulated load from a mapped page that lies beyond the end of its file: the process must
// end by SIGBUS, as it would natively, after the output so far.
#include <arm_sve.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>

__attribute__((noinline)) uint64_t sum_bytes(const uint8_t* p) {
    svbool_t all = svptrue_b8();
    return svaddv_u8(all, svld1_u8(all, p));
}

int main(void) {
    char path[] = "/tmp/sve_bus_error_XXXXXX";
    int fd = mkstemp(path);
    if (fd < 0) return 1;
    unlink(path);
    long page = sysconf(_SC_PAGESIZE);
    uint8_t data[100];
    for (int i = 0; i < 100; i++) data[i] = (uint8_t)i;
    if (write(fd, data, sizeof data) != (ssize_t)sizeof data) return 1;
    uint8_t* m = mmap(NULL, 2 * page, PROT_READ, MAP_SHARED, fd, 0);
    if (m == MAP_FAILED) return 1;
    printf("inside the file: %llu\n", (unsigned long long)sum_bytes(m));
    fflush(stdout);
    printf("beyond the file: %llu\n", (unsigned long long)sum_bytes(m + page));
    return 0;
}

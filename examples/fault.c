// Faults on purpose: a vector load whose active lanes reach an unmapped page.
#include <arm_sve.h>
#include <stdio.h>
#include <sys/mman.h>
#include <unistd.h>

int main(void) {
    long page = sysconf(_SC_PAGESIZE);
    char* m = mmap(NULL, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    munmap(m + page, page);
    int32_t* p = (int32_t*)(m + page - 8);  // two lanes mapped, the rest not
    p[0] = 1; p[1] = 2;
    printf("loading across the end of the mapping\n");
    fflush(stdout);
    svint32_t v = svld1_s32(svptrue_b32(), p);
    printf("not reached: %d\n", (int)svaddv_s32(svptrue_b32(), v));
    return 0;
}

#include "sve/core/generic.h"

CpuContext cpu_ctxt;
CpuContext* ctxt;

uint32_t VecTrueILength(uint32_t pattern, uint32_t n) {
    switch (pattern) {
    case 0: {  // POW2
        if (n <= 1) return 1;
        uint32_t p = 1;
        while (p * 2 <= n) p *= 2;
        return p;
    }
    case 1: case 2: case 3: case 4: case 5: case 6: case 7: case 8:
        return n >= pattern ? pattern : 0;
    case 9: case 10: case 11: case 12: case 13: {  // VL16 to VL256
        uint32_t c = 1u << (pattern - 5);
        return n >= c ? c : 0;
    }
    case 29: return n & ~3u;         // MUL4
    case 30: return n / 3 * 3;       // MUL3
    case 31: return n & ~1u;         // ALL
    default: return 0;
    }
}

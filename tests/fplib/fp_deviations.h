// Cases where the library knowingly differs from the processor (listed with their reasons in
// deviations.md); the differential comparison skips exactly these.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>

inline bool fp_known_deviation(const char* name, int w, int rw, const uint64_t op[3],
                               uint32_t fpcr) {
    const bool fz16 = fpcr & (1u << 19);
    // Widening from half precision flushes a half denormal when FZ16 is set.
    if (std::strcmp(name, "fcvt") == 0 && w == 16 && rw > 16 && fz16 && (op[0] & 0x7C00) == 0 &&
        (op[0] & 0x3FF) != 0)
        return true;
    // Fixed-point to half precision does not flush a result below the normal range under FZ16:
    // the value op * 2^-fbits is below 2^-14.
    if ((std::strncmp(name, "scvtf#", 6) == 0 || std::strncmp(name, "ucvtf#", 6) == 0) &&
        rw == 16 && fz16) {
        const int fbits = std::atoi(name + 6);
        uint64_t mag = op[0];
        if (name[0] == 's' && int64_t(op[0]) < 0) mag = -op[0];
        return fbits > 14 && mag != 0 && mag < (uint64_t(1) << (fbits - 14));
    }
    return false;
}

// Random states and state comparison for tests of the emulation core.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>

#include "sve/core/cpu_state.h"

struct test_rng {
    uint64_t s;
    explicit test_rng(uint64_t seed) : s(seed) {}
    uint64_t next() {  // splitmix64
        uint64_t z = (s += 0x9E3779B97F4A7C15ull);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        return z ^ (z >> 31);
    }
    uint32_t below(uint32_t n) { return uint32_t(next() % n); }
};

// Element e of type T of Z register `reg`, read and written in place.
template <class T>
inline T zget(const cpu_state& s, int reg, int e) {
    T v;
    std::memcpy(&v, s.z[reg] + e * sizeof(T), sizeof(T));
    return v;
}
template <class T>
inline void zset(cpu_state& s, int reg, int e, T v) {
    std::memcpy(s.z[reg] + e * sizeof(T), &v, sizeof(T));
}

// Values where faults hide, for one element of `bytes` bytes.
inline uint64_t interesting_value(test_rng& r, int bytes) {
    uint64_t top = bytes == 8 ? ~0ull : (1ull << (8 * bytes)) - 1;
    uint64_t sign = 1ull << (8 * bytes - 1);
    switch (r.below(8)) {
    case 0: return 0;
    case 1: return 1;
    case 2: return top;            // -1
    case 3: return sign;           // lowest signed
    case 4: return sign - 1;       // highest signed
    case 5: return r.below(16);
    default: return r.next() & top;
    }
}

// A state with random registers biased to edge values, predicates of every kind, random ffr.
inline void random_state(cpu_state& s, test_rng& r) {
    std::memset(&s, 0, sizeof s);
    for (uint64_t& x : s.x) x = interesting_value(r, 8);
    s.sp = 0x7ff000000000ull + 16 * r.below(1 << 20);
    s.pc = 0x400000 + 4 * r.below(1 << 16);
    s.nzcv = uint64_t(r.below(16)) << 28;
    s.fpsr = 0;
    s.fpcr = 0;
    for (auto& z : s.z) {
        int esz = 1 << r.below(4);
        for (int i = 0; i < SVE_VL_BYTES; i += esz) {
            uint64_t v = interesting_value(r, esz);
            std::memcpy(z + i, &v, esz);
        }
    }
    for (auto& p : s.p) {
        int kind = r.below(5);
        int one = r.below(SVE_VL_BYTES);
        for (int i = 0; i < SVE_VL_BYTES; i++) {
            switch (kind) {
            case 0: p[i] = 1; break;
            case 1: p[i] = 0; break;
            case 2: p[i] = i == one; break;
            default: p[i] = r.below(2); break;
            }
        }
    }
    for (int i = 0; i < SVE_VL_BYTES; i++) s.ffr[i] = r.below(2);
    s.insn = 0;
}

// First difference between two states, or an empty string. Bytes of ffr compare by bit 0.
inline std::string state_diff(const cpu_state& a, const cpu_state& b, bool compare_insn = true) {
    char buf[160];
    for (int i = 0; i < 31; i++)
        if (a.x[i] != b.x[i]) {
            snprintf(buf, sizeof buf, "x%d: %#llx vs %#llx", i, (unsigned long long)a.x[i], (unsigned long long)b.x[i]);
            return buf;
        }
    if (a.sp != b.sp) return "sp";
    if (a.nzcv != b.nzcv) {
        snprintf(buf, sizeof buf, "nzcv: %#llx vs %#llx", (unsigned long long)a.nzcv, (unsigned long long)b.nzcv);
        return buf;
    }
    if (a.fpsr != b.fpsr) {
        snprintf(buf, sizeof buf, "fpsr: %#x vs %#x", a.fpsr, b.fpsr);
        return buf;
    }
    if (a.fpcr != b.fpcr) return "fpcr";
    for (int r = 0; r < 32; r++)
        for (int i = 0; i < SVE_VL_BYTES; i++)
            if (a.z[r][i] != b.z[r][i]) {
                snprintf(buf, sizeof buf, "z%d byte %d: %#x vs %#x", r, i, a.z[r][i], b.z[r][i]);
                return buf;
            }
    for (int r = 0; r < 16; r++)
        for (int i = 0; i < SVE_VL_BYTES; i++)
            if (a.p[r][i] != b.p[r][i]) {
                snprintf(buf, sizeof buf, "p%d byte %d: %#x vs %#x", r, i, a.p[r][i], b.p[r][i]);
                return buf;
            }
    for (int i = 0; i < SVE_VL_BYTES; i++)
        if ((a.ffr[i] & 1) != (b.ffr[i] & 1)) {
            snprintf(buf, sizeof buf, "ffr byte %d", i);
            return buf;
        }
    if (compare_insn && a.insn != b.insn) return "insn";
    return "";
}

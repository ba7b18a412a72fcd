// Predicate flags: the test of a result predicate against a governing predicate that ends every
// flag-setting instruction (N first active element true, Z no active element true, C last active
// element false, V 0), in both tiers, and the scans for the first and last active element.
#pragma once

#include <cstdint>
#include <cstring>

#include "sve/core/cpu_state.h"
#include "sve/core/forms.h"
#include "sve/core/generic.h"
#include "sve/core/simd.h"

constexpr uint64_t NZCV_N = 1ull << 31;
constexpr uint64_t NZCV_Z = 1ull << 30;
constexpr uint64_t NZCV_C = 1ull << 29;
constexpr uint64_t NZCV_V = 1ull << 28;
constexpr uint64_t NZCV_ALL = NZCV_N | NZCV_Z | NZCV_C | NZCV_V;

// Specialised test over whole predicates in steps of sizeof(T); only bit 0 of each slot's
// first byte counts. The signed and unsigned members of one width are the same test. Z comes
// from the whole registers 16 bytes at a time; the first and the last active element are found
// eight bytes at a time from either end, with bit 0 of each slot's first byte picked out by a
// pattern, and N and C read the result at those two bytes. ptest_flags gives the four flags in
// their places of nzcv; sve_ptest stores them.
template <class T>
[[gnu::always_inline]] inline uint64_t ptest_flags(const uint8_t* mask, const uint8_t* result) {
    constexpr uint64_t pick = sizeof(T) == 1   ? 0x0101010101010101ull
                              : sizeof(T) == 2 ? 0x0001000100010001ull
                              : sizeof(T) == 4 ? 0x0000000100000001ull
                                               : 1ull;
    constexpr int words = SVE_VL_BYTES / 8;
    auto word = [](const uint8_t* p, int i) {
        uint64_t w;
        std::memcpy(&w, p + 8 * i, 8);
        return w;
    };
    v2u64 both = {0, 0};
    for_chunks([&](int c) __attribute__((always_inline)) {
        both |= vload<v2u64>(mask + 16 * c) & vload<v2u64>(result + 16 * c);
    });
    uint64_t f = ((both[0] | both[1]) & pick) ? 0 : NZCV_Z;
    int first = 0;
    uint64_t m = word(mask, 0) & pick;
    while (m == 0 && ++first < words) m = word(mask, first) & pick;
    if (m == 0) {
        f |= NZCV_C;  // no active element
    } else {
        if (result[8 * first + __builtin_ctzll(m) / 8] & 1) f |= NZCV_N;
        int last = words - 1;
        while ((m = word(mask, last) & pick) == 0) last--;
        if (!(result[8 * last + (63 - __builtin_clzll(m)) / 8] & 1)) f |= NZCV_C;
    }
    return f;
}
template <class T>
void sve_ptest(cpu_state* s, const char* mask, const char* result) {
    uint64_t f = ptest_flags<T>(reinterpret_cast<const uint8_t*>(mask), reinterpret_cast<const uint8_t*>(result));
    s->nzcv = (s->nzcv & ~NZCV_ALL) | f;
}

extern template void sve_ptest<signed char>(cpu_state*, const char*, const char*);
extern template void sve_ptest<short>(cpu_state*, const char*, const char*);
extern template void sve_ptest<int>(cpu_state*, const char*, const char*);
extern template void sve_ptest<long>(cpu_state*, const char*, const char*);
extern template void sve_ptest<unsigned char>(cpu_state*, const char*, const char*);
extern template void sve_ptest<unsigned short>(cpu_state*, const char*, const char*);
extern template void sve_ptest<unsigned int>(cpu_state*, const char*, const char*);
extern template void sve_ptest<unsigned long>(cpu_state*, const char*, const char*);

// Generic tier: flags in the top four bits of c->nzcv, element width esize in bits.
void PredSetNZCV(PredV mask, PredV result, int esize, CpuContext* c);
void PredSetNZC(PredV mask, PredV result, int esize, CpuContext* c);
void PredSetNC(PredV mask, PredV result, int esize, CpuContext* c);
void PredSetNCV(PredV mask, PredV result, int esize, CpuContext* c);

// Element number of the first / last active element of width esize bits, -1 when none.
int FindFirstActive(PredV mask, int esize, CpuContext* c);
int FindLastActive(PredV mask, int esize, CpuContext* c);

// ptest pg, pn.b: Pg 13:10, Pn 8:5.
using sf_ptest_pp = forms::sform<forms::P<10, 4, PQ_BARE>, forms::P<5, 4, PQ_B>>;
using gf_ptest_pp = forms::gform<forms::DNone, forms::P<10, 4, PQ_BARE>, forms::P<5, 4, PQ_B>>;


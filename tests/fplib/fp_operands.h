// Random floating-point operands biased to where faults hide: specials, denormals, the edges of
// the exponent range, NaN payloads, ties, near-cancellation, integer boundaries; and random
// control words.
#pragma once

#include <cstdint>

#include "sve/fp/lib/fplib.h"
#include "tests/support/state_util.h"

namespace fptest {

using Rng = test_rng;

struct Fmt {
    int w, m, bias;
    int emax() const { return (1 << (w - m - 1)) - 1; }
    uint64_t frac_mask() const { return (1ull << m) - 1; }
    uint64_t make(uint64_t sgn, uint64_t exp, uint64_t frac) const {
        return (sgn << (w - 1)) | (uint64_t(exp) << m) | (frac & frac_mask());
    }
};
inline const Fmt kH{16, 10, 15}, kS{32, 23, 127}, kD{64, 52, 1023};
inline const Fmt& fmt_of(int w) { return w == 16 ? kH : w == 32 ? kS : kD; }

// A fraction with a random number of trailing zeros, so that exact and tie cases come up.
inline uint64_t random_frac(Rng& r, const Fmt& f) {
    uint64_t x = r.next() & f.frac_mask();
    int z = int(r.below(f.m + 1));
    if (r.below(2)) x = (x >> z) << z;
    return x;
}

inline uint64_t gen_fp(Rng& r, int w) {
    const Fmt& f = fmt_of(w);
    uint64_t sgn = r.below(2);
    switch (r.below(12)) {
    case 0:
    case 1: return r.next() & (w == 64 ? ~0ull : (1ull << w) - 1);
    case 2: {  // special values
        static const int kinds = 12;
        switch (r.below(kinds)) {
        case 0: return f.make(sgn, 0, 0);
        case 1: return f.make(sgn, f.emax(), 0);
        case 2: return f.make(sgn, 0, 1);
        case 3: return f.make(sgn, 0, f.frac_mask());
        case 4: return f.make(sgn, 1, 0);
        case 5: return f.make(sgn, f.emax() - 1, f.frac_mask());
        case 6: return f.make(sgn, f.bias, 0);
        case 7: return f.make(sgn, f.bias + 1, 0);
        case 8: return f.make(sgn, f.bias - 1, 0);
        case 9: return f.make(sgn, f.emax(), 1ull << (f.m - 1));
        case 10: return f.make(sgn, 1, f.frac_mask());
        default: return f.make(sgn, f.bias + 1, 1ull << (f.m - 1));
        }
    }
    case 3: return f.make(sgn, 0, random_frac(r, f));  // denormal
    case 4: return f.make(sgn, f.emax(), random_frac(r, f) | (r.below(2) ? 0 : 1)) |
                   (r.below(2) ? 0 : f.make(0, 0, 1ull << (f.m - 1)));  // NaN payloads
    case 5: return f.make(sgn, f.bias - 4 + r.below(9), random_frac(r, f));
    case 6: return f.make(sgn, r.below(2) ? 1 + r.below(4) : f.emax() - 1 - r.below(4),
                          random_frac(r, f));
    case 7: return f.make(sgn, f.bias - 2 + r.below(f.m + 5), random_frac(r, f));
    case 8: {  // around the integer limits of conversions: 2^12 to 2^67 where the format has them
        int span = f.emax() - f.bias - 12;
        return f.make(sgn, f.bias + 12 + r.below(span < 56 ? span : 56), random_frac(r, f));
    }
    default: return f.make(sgn, 1 + r.below(f.emax() - 1), random_frac(r, f));
    }
}

// A second operand close to the first (cancellation, equal exponents, ties), or independent.
inline uint64_t gen_related(Rng& r, int w, uint64_t a) {
    const Fmt& f = fmt_of(w);
    switch (r.below(6)) {
    case 0: return a ^ (1ull << (w - 1));
    case 1: return a ^ (r.next() & ((1ull << (1 + r.below(f.m))) - 1));
    case 2: return (a & ~f.frac_mask()) | (r.next() & f.frac_mask());
    case 3: return a;
    default: return gen_fp(r, w);
    }
}

inline uint64_t gen_int(Rng& r, int bits) {
    uint64_t x;
    switch (r.below(6)) {
    case 0: x = r.next(); break;
    case 1: x = r.next() >> r.below(64); break;
    case 2: x = (1ull << r.below(64)) + (r.below(5) - 2); break;
    case 3: x = -(r.next() >> r.below(64)); break;
    case 4: x = (r.next() >> r.below(64)) << r.below(64); break;
    default: x = r.below(70000); break;
    }
    return bits == 64 ? x : x & ((1ull << bits) - 1);
}

inline uint32_t gen_fpcr(Rng& r) {
    uint32_t v = r.below(4) << 22;
    if (r.below(3) == 0) v |= FPSCR_FZ;
    if (r.below(3) == 0) v |= FPSCR_FZ16;
    if (r.below(3) == 0) v |= FPSCR_DN;
    if (r.below(3) == 0) v |= FPSCR_AHP;
    return v;
}

}  // namespace fptest

// Predicate flags of both tiers.
#include "sve/integer/pred_flags.h"

template void sve_ptest<signed char>(cpu_state*, const char*, const char*);
template void sve_ptest<short>(cpu_state*, const char*, const char*);
template void sve_ptest<int>(cpu_state*, const char*, const char*);
template void sve_ptest<long>(cpu_state*, const char*, const char*);
template void sve_ptest<unsigned char>(cpu_state*, const char*, const char*);
template void sve_ptest<unsigned short>(cpu_state*, const char*, const char*);
template void sve_ptest<unsigned int>(cpu_state*, const char*, const char*);
template void sve_ptest<unsigned long>(cpu_state*, const char*, const char*);

namespace {

constexpr uint32_t CN = 1u << 31, CZ = 1u << 30, CC = 1u << 29, CV = 1u << 28;

// The result bits of an element of b bits: the low b/8 bits at its first byte.
bool lane_any(const PredV& p, uint32_t e, int b) {
    uint32_t pos = e * uint32_t(b) / 8;
    uint64_t m = (1ull << (b / 8)) - 1;
    return ((p.w[pos >> 6] >> (pos & 63)) & m) != 0;
}

int elements(const CpuContext* c, int esize) {
    return esize < 8 ? 0 : int((c->vl_words & VL_WORDS_MASK) * 64 / uint32_t(esize));
}

// Scan of one test: first and last active element and whether any active element is true.
struct pred_scan {
    int first, last;
    bool any;
};

// The bit at each element's first byte set when any bit of the element is (lane_any word-wise).
template <int ESIZE>
inline uint64_t fold_lanes(uint64_t r) {
    for (int sh = 1; sh < ESIZE / 8; sh <<= 1) r |= r >> sh;
    return r;
}

// Element by element, for any element size.
pred_scan scan_elements(const PredV& mask, const PredV& result, int esize, const CpuContext* c) {
    pred_scan r{-1, -1, false};
    int n = elements(c, esize);
    for (int e = 0; e < n; e++) {
        if (!pred_active(mask, uint32_t(e), uint32_t(esize))) continue;
        if (r.first < 0) r.first = e;
        r.last = e;
        r.any |= lane_any(result, uint32_t(e), esize);
    }
    return r;
}

// A word at a time (elements never straddle a word): first and last active element as
// active_span finds them, and any-true, in one pass.
template <int ESIZE>
pred_scan scan_words(const PredV& mask, const PredV& result, int bytes) {
    pred_scan r{-1, -1, false};
    constexpr int per = ESIZE / 8;
    for (int k = 0; 64 * k < bytes; k++) {
        uint64_t m = mask.w[k] & pred_lane_bits(ESIZE) & pred_low_bits(uint32_t(bytes - 64 * k));
        if (m == 0) continue;
        r.any |= (m & fold_lanes<ESIZE>(result.w[k])) != 0;
        if (r.first < 0) r.first = (64 * k + __builtin_ctzll(m)) / per;
        r.last = (64 * k + 63 - __builtin_clzll(m)) / per;
    }
    return r;
}

pred_scan scan(const PredV& mask, const PredV& result, int esize, const CpuContext* c) {
    int bytes = elements(c, esize) * esize / 8;
    if (bytes <= 256) {
        switch (esize) {
        case 8: return scan_words<8>(mask, result, bytes);
        case 16: return scan_words<16>(mask, result, bytes);
        case 32: return scan_words<32>(mask, result, bytes);
        case 64: return scan_words<64>(mask, result, bytes);
        default: break;
        }
    }
    return scan_elements(mask, result, esize, c);
}

}  // namespace

void PredSetNZC(PredV mask, PredV result, int esize, CpuContext* c) {
    pred_scan r = scan(mask, result, esize, c);
    uint32_t f = CZ | CC;
    if (r.any) {
        f = 0;
        if (pred_active(result, uint32_t(r.first), uint32_t(esize))) f |= CN;
        if (!lane_any(result, uint32_t(r.last), esize)) f |= CC;
    }
    c->nzcv = (c->nzcv & ~(CN | CZ | CC)) | f;
}

void PredSetNZCV(PredV mask, PredV result, int esize, CpuContext* c) {
    PredSetNZC(mask, result, esize, c);
    c->nzcv &= ~CV;
}

void PredSetNC(PredV mask, PredV result, int esize, CpuContext* c) {
    pred_scan r = scan(mask, result, esize, c);
    if (r.first < 0) return;
    uint32_t f = 0;
    if (pred_active(result, uint32_t(r.first), uint32_t(esize))) f |= CN;
    if (!lane_any(result, uint32_t(r.last), esize)) f |= CC;
    c->nzcv = (c->nzcv & ~(CN | CC)) | f;
}

void PredSetNCV(PredV mask, PredV result, int esize, CpuContext* c) {
    PredSetNC(mask, result, esize, c);
    c->nzcv &= ~CV;
}

int FindFirstActive(PredV mask, int esize, CpuContext* c) {
    int n = elements(c, esize);
    for (int e = 0; e < n; e++)
        if (pred_active(mask, uint32_t(e), uint32_t(esize))) return e;
    return -1;
}

int FindLastActive(PredV mask, int esize, CpuContext* c) {
    for (int e = elements(c, esize) - 1; e >= 0; e--)
        if (pred_active(mask, uint32_t(e), uint32_t(esize))) return e;
    return -1;
}

aarch64_decode_rc sve_ptest_pp(cpu_state* s, aarch64_p_reg pg, aarch64_p_reg pn) {
    sve_ptest<signed char>(s, reinterpret_cast<const char*>(s->p[pg.num]),
                           reinterpret_cast<const char*>(s->p[pn.num]));
    return RC_DONE;
}

void VecPTestPZ(PredV pg, PredV pn, CpuContext* c) { PredSetNZCV(pg, pn, 8, c); }

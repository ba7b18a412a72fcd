// Memory operands beyond a base register for the translated forms' test: the offset or address
// vectors of gathers and scatters pointing around `mid` (inside the test's data buffer), some
// gathers whose destination is their offset vector, and structure immediates kept inside the
// buffer at every vector length.
#pragma once

#include <cstdint>
#include <cstring>

#include "tests/support/state_util.h"

inline void prepare_vector_memory(const sve_row_info& row, cpu_state& s, uint32_t& w, test_rng& r, uint8_t* mid, int reach) {
    auto field = [&](int lo, int bits) { return (w >> lo) & ((1u << bits) - 1); };
    auto set_field = [&](int lo, int bits, uint32_t v) {
        uint32_t m = ((1u << bits) - 1) << lo;
        w = (w & ~m) | ((v << lo) & m);
    };
    if (row.address == SVE_ADDRESS_SI || row.address == SVE_ADDRESS_LSS) {
        // structures: N registers of footprint, N times the vector length per step of the immediate
        const char* kind = std::strstr(row.name, "Load");
        if (!kind) kind = std::strstr(row.name, "Store");
        if (!kind || row.address != SVE_ADDRESS_SI || kind[-2] != 'E') return;
        int count = kind[-1] - '0';
        int imm = int(int32_t(field(16, 4) << 28) >> 28);
        while ((imm < 0 ? -imm : imm + 1) * count * SVE_VL_BYTES > reach) imm /= 2;
        set_field(16, 4, uint32_t(imm));
        return;
    }
    if (row.address == SVE_ADDRESS_NONE) return;
    bool vi = row.address == SVE_ADDRESS_VI;
    uint32_t zv = vi ? field(5, 5) : field(16, 5);
    if (row.access == SVE_ACCESS_LOAD && r.below(4) == 0) set_field(0, 5, zv);  // in place
    bool sign_ext = row.address == SVE_ADDRESS_XVS || row.address == SVE_ADDRESS_XSV;
    bool whole = row.esz == 3 && (row.address == SVE_ADDRESS_VS || row.address == SVE_ADDRESS_SV);
    bool scaled = row.address == SVE_ADDRESS_SV || row.address == SVE_ADDRESS_XSV || row.address == SVE_ADDRESS_YSV;
    int span = 256 / (scaled ? row.mem_bytes : 1);  // offsets reach +-256 bytes at most
    for (int e = 0; e < SVE_VL_BYTES >> row.esz; e++) {
        int64_t off = int64_t(r.below(uint32_t(span)));
        if ((sign_ext || whole) && r.below(2)) off = -off;
        if (vi) {
            zset<uint64_t>(s, int(zv), e, uint64_t(uintptr_t(mid + r.below(256))));
        } else if (row.esz == 2) {
            zset<uint32_t>(s, int(zv), e, uint32_t(off));
        } else {
            uint64_t noise = whole ? 0 : r.next() << 32;  // the upper half of an extended lane is ignored
            zset<uint64_t>(s, int(zv), e, whole ? uint64_t(off) : (uint64_t(uint32_t(off)) | noise));
        }
    }
}

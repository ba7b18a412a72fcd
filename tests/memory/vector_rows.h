// Helpers of the gather, structure and first-fault tests: the shape of a gather or scatter row,
// memory below 4 GiB (32-bit vector-of-bases forms reach only there), and a traced run.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "tests/support/capture.h"
#include "tests/support/mem_rows.h"
#include "tests/support/rows.h"

// Element sizes, extension and address form of a gather or scatter row.
struct row_shape {
    const sve_row_info* row;
    uint32_t lane = 0, mem = 0;  // register and memory element, bytes
    bool sign = false;
    std::string form;            // VI, VS, XVS, YVS, SV, XSV, YSV
    bool scaled() const { return form.find("SV") != std::string::npos; }
    bool sext_offset() const { return form[0] == 'X'; }
    bool low32() const { return lane == 4 || form[0] == 'X' || form[0] == 'Y'; }
};

// The rows of one access kind whose addresses come from vector lanes.
inline std::vector<row_shape> vector_addressed_rows(sve_access kind) {
    static const char* const forms[] = {"", "SI", "LSS", "VI", "VS", "XVS", "YVS", "SV", "XSV", "YSV"};
    std::vector<row_shape> out;
    for (const sve_row_info& r : sve_rows) {
        if (r.access != kind || !vector_addressed(r)) continue;
        row_shape s;
        s.row = &r;
        s.lane = uint32_t(sve_row_elem_bytes(r));
        s.mem = uint32_t(r.mem_bytes);
        s.sign = r.type[0] == 'S';
        s.form = forms[r.address];
        out.push_back(s);
    }
    return out;
}

// An anonymous mapping below 4 GiB, for the 32-bit vector-of-bases forms.
struct low_memory {
    static constexpr size_t SIZE = 64 << 10;
    uint8_t* bytes = nullptr;
    low_memory() {
        for (uint64_t hint = 0x30000000; hint < 0xF0000000 && !bytes; hint += 0x10000000) {
            void* m = mmap(reinterpret_cast<void*>(hint), SIZE, PROT_READ | PROT_WRITE,
                           MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0);
            if (m != MAP_FAILED && uint64_t(m) + SIZE <= (1ull << 32)) bytes = static_cast<uint8_t*>(m);
            else if (m != MAP_FAILED) munmap(m, SIZE);
        }
    }
    ~low_memory() {
        if (bytes) munmap(bytes, SIZE);
    }
    uint8_t* middle() const { return bytes + SIZE / 2; }
};

// Little-endian element access of a register or of memory.
inline uint64_t get_le(const uint8_t* p, uint32_t bytes) {
    uint64_t v = 0;
    std::memcpy(&v, p, bytes);
    return v;
}
inline void put_le(uint8_t* p, uint32_t bytes, uint64_t v) { std::memcpy(p, &v, bytes); }
inline uint64_t extend(uint64_t v, uint32_t from_bytes, bool sign) {
    if (from_bytes == 8) return v;
    uint32_t sh = 64 - 8 * from_bytes;
    return sign ? uint64_t(int64_t(v << sh) >> sh) : (v << sh) >> sh;
}
inline uint64_t lane_mask(uint32_t bytes) { return bytes == 8 ? ~0ull : (1ull << (8 * bytes)) - 1; }

// Tracing on for the life of the object, with an empty record list.
struct traced {
    traced() {
        clear_captured_records();
        enable_trace = true;
    }
    ~traced() { enable_trace = false; }
};

// Bundle flags of record i of k: 7 alone, then 3, 2..., 6.
inline uint32_t bundle_flags(size_t i, size_t k) {
    return (i == 0 ? 1u : 0u) | 2u | (i + 1 == k ? 4u : 0u);
}

// One gather or scatter set up on low memory: the word, the state, and the address each lane
// should use.
struct vector_case {
    uint32_t word;
    cpu_state s;
    uint64_t addr[80];
    bool active[80];
};

inline vector_case make_case(const row_shape& sh, uint8_t* middle, test_rng& r, int k, int offset_range,
                             uint32_t max_reg = 32) {
    vector_case c;
    random_state(c.s, r);
    mem_fields f;
    f.zt = r.below(32);
    f.pg = r.below(8);
    f.rn = r.below(max_reg);
    f.rm = r.below(max_reg);
    const uint32_t n = 80 / sh.lane;
    uint64_t base = uint64_t(middle) + r.below(64);
    bool vi = sh.form == "VI";
    if (k % 3 == 0) (vi ? f.rn : f.rm) = f.zt;  // destination is also the address vector
    uint32_t zv = vi ? f.rn : f.rm;
    if (!vi) {
        if (f.rn == 31) c.s.sp = base; else c.s.x[f.rn] = base;
    }
    uint64_t scale = sh.scaled() ? sh.mem : 1;
    for (uint32_t e = 0; e < n; e++) {
        c.active[e] = r.below(10) < 7;
        c.s.p[f.pg][e * sh.lane] = c.active[e] ? uint8_t(1 | (r.next() & 0xFE)) : uint8_t(r.next() & 0xFE);
        uint64_t lane;
        if (vi) {
            lane = base + r.below(uint32_t(offset_range));
            c.addr[e] = lane + f.rm * sh.mem;
        } else {
            int64_t off = sh.sext_offset() ? int64_t(r.below(uint32_t(offset_range))) - offset_range / 2
                                           : int64_t(r.below(uint32_t(offset_range)));
            lane = uint64_t(off);
            if (sh.lane == 8 && sh.low32()) lane = (r.next() << 32) | uint32_t(off);  // high half ignored
            c.addr[e] = base + uint64_t(off) * scale;
        }
        put_le(c.s.z[zv] + e * sh.lane, sh.lane, lane);
    }
    c.word = mem_word(*sh.row, f);
    return c;
}


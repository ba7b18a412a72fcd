// The decode maps, the lookup of a word's handler, and the library's one static constructor.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>

#include "sve/decode/sve_emulator.h"
#include "sve/memory/fault.h"

namespace {

typedef std::map<int32_t, sve_handler_t> decode_map;

#define MAP(m, n) decode_map decode_map__##m;
#include "sve/decode/generated/decode_maps.inc"
#undef MAP

// The maps in search order: descending key width, and within one width as listed.
decode_map* const maps_in_order[SVE_DECODE_MAPS] = {
#define MAP(m, n) &decode_map__##m,
#include "sve/decode/generated/decode_maps.inc"
#undef MAP
};

struct map_source {
    const char* name;
    int rows;
};
const map_source map_sources[SVE_DECODE_MAPS] = {
#define MAP(m, n) {"decode_map__" #m, n},
#include "sve/decode/generated/decode_maps.inc"
#undef MAP
};

sve_map_info map_infos[SVE_DECODE_MAPS];

// decode_map__31_21__15_10 has the ranges 31:21 and 15:10.
sve_map_info parse_map_name(const map_source& src) {
    sve_map_info info = {};
    info.name = src.name;
    info.rows = src.rows;
    const char* p = src.name + std::strlen("decode_map__");
    while (*p) {
        char* end;
        int hi = int(std::strtol(p, &end, 10));
        int lo = int(std::strtol(end + 1, &end, 10));
        info.hi[info.nranges] = hi;
        info.lo[info.nranges] = lo;
        info.nranges++;
        for (int b = lo; b <= hi; b++) info.mask |= 1u << b;
        p = *end ? end + 2 : end;
    }
    return info;
}

}  // namespace

const sve_map_info& sve_map(int map) { return map_infos[map]; }

int32_t sve_map_key(int map, uint32_t w) {
    const sve_map_info& m = map_infos[map];
    uint32_t key = 0;
    for (int i = 0; i < m.nranges; i++) {
        int width = m.hi[i] - m.lo[i] + 1;
        uint32_t part = width == 32 ? w : (w >> m.lo[i]) & ((1u << width) - 1);
        key = width == 32 ? part : (key << width) | part;
    }
    return int32_t(key);
}

uint32_t sve_row_word(const sve_row_info& row, uint32_t operands) {
    const sve_map_info& m = map_infos[row.map];
    uint32_t w = operands & ~m.mask;
    uint32_t key = uint32_t(row.key);
    for (int i = m.nranges - 1; i >= 0; i--) {
        int width = m.hi[i] - m.lo[i] + 1;
        uint32_t part = width == 32 ? key : key & ((1u << width) - 1);
        w |= width == 32 ? part : part << m.lo[i];
        key = width == 32 ? 0 : key >> width;
    }
    return w;
}

sve_handler_t get_sve_handler(uint32_t word) {
    for (int i = 0; i < SVE_DECODE_MAPS; i++) {
        const decode_map& m = *maps_in_order[i];
        auto it = m.find(sve_map_key(i, word));
        if (it != m.end()) return it->second;
    }
    return nullptr;
}

namespace {

// Runs when the library is loaded, after the maps above are constructed.
struct library_init {
    library_init() {
        page_size = sysconf(_SC_PAGESIZE);
        for (int i = 0; i < SVE_DECODE_MAPS; i++) map_infos[i] = parse_map_name(map_sources[i]);
        for (const sve_row_info& r : sve_rows) (*maps_in_order[r.map])[r.key] = r.handler;
        SVEInitialize();
    }
} library_init_instance;

}  // namespace

// The handlers, one per decode row, generated from the row table and the forms.
#include <cstddef>
#include <cstdio>

#include "sve/core/all_ops.h"
#include "sve/core/sve_emulator.h"

namespace {

enum { ESZ_0 = 0, ESZ_1 = 1, ESZ_2 = 2, ESZ_3 = 3, ESZ_4 = 4, ESZ__ = sf::ESZ_NONE };

// Entry of a row whose operation is not written yet.
[[maybe_unused]] __attribute__((noinline)) aarch64_decode_rc unimplemented(cpu_state* s, uint32_t w, const char* name) {
    std::fprintf(stderr, "Unimplemented instruction: [  %tx:\t %08x\t %s  ]\n", (ptrdiff_t)s->pc, w, name);
    return RC_UNIMPLEMENTED;
}

}  // namespace

namespace sve_handlers {

#define HANDLER_S_NOGEN(Name, E, SF, OP, GF) \
    static aarch64_decode_rc Name(cpu_state* s, uint32_t w) { return SF::template run<&OP, E>(s, w); }
#define HANDLER_F_NOGEN(Name, E, SF, OP, GF) \
    static aarch64_decode_rc Name(cpu_state* s, uint32_t w) { return sf::host_fpsr<SF>::template run<&OP, E>(s, w); }
#define GENERIC_OF(Name, E, GF) \
    static aarch64_decode_rc gen_##Name(cpu_state* s, uint32_t w) { return GF::template run<&::Name, E>(s, w); }
#define HANDLER_S(Name, E, SF, OP, GF) HANDLER_S_NOGEN(Name, E, SF, OP, GF) GENERIC_OF(Name, E, GF)
#define HANDLER_F(Name, E, SF, OP, GF) HANDLER_F_NOGEN(Name, E, SF, OP, GF) GENERIC_OF(Name, E, GF)
#define HANDLER_G(Name, E, SF, OP, GF) \
    static aarch64_decode_rc Name(cpu_state* s, uint32_t w) { return GF::template run<&::Name, E>(s, w); }
#define HANDLER_P(Name, E, SF, OP, GF) \
    static aarch64_decode_rc Name(cpu_state*, uint32_t) { return RC_DONE; }
#define HANDLER_S_TODO(Name, E, SF, OP, GF)                 \
    static aarch64_decode_rc Name(cpu_state* s, uint32_t w) { \
        s->insn = w;                                           \
        return unimplemented(s, w, #Name);                     \
    }
#define HANDLER_F_TODO HANDLER_S_TODO
#define HANDLER_G_TODO(Name, E, SF, OP, GF) \
    static aarch64_decode_rc Name(cpu_state* s, uint32_t w) { return unimplemented(s, w, #Name); }

#define ROW(map, key, Name, tier, esz, SF, OP, GF) HANDLER_##tier(Name, ESZ_##esz, SF, OP, GF)
#include "sve/core/decode_rows.inc"
#undef ROW

}  // namespace sve_handlers

namespace {
enum map_index {
#define MAP(m, n) M_##m,
#include "sve/core/decode_maps.inc"
#undef MAP
};

#define TIER_S 'S', true
#define TIER_S_NOGEN 'S', true
#define TIER_S_TODO 'S', false
#define TIER_F 'F', true
#define TIER_F_NOGEN 'F', true
#define TIER_F_TODO 'F', false
#define TIER_G 'G', true
#define TIER_G_TODO 'G', false
#define TIER_P 'P', true
#define GEN_S(Name) &sve_handlers::gen_##Name
#define GEN_F(Name) &sve_handlers::gen_##Name
#define GEN_S_NOGEN(Name) nullptr
#define GEN_F_NOGEN(Name) nullptr
#define GEN_S_TODO(Name) nullptr
#define GEN_F_TODO(Name) nullptr
#define GEN_G(Name) nullptr
#define GEN_G_TODO(Name) nullptr
#define GEN_P(Name) nullptr
}  // namespace

#define OPNAME(op) #op
#define ROW(map, key, Name, tier, esz, SF, OP, GF) \
    {M_##map, int32_t(key), #Name, TIER_##tier, OPNAME(OP)[0] == '_' ? nullptr : OPNAME(OP), &sve_handlers::Name, GEN_##tier(Name)},
const sve_row_info sve_rows[SVE_DECODE_ROWS] = {
#include "sve/core/decode_rows.inc"
};
#undef ROW

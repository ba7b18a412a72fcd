// Vector integer arithmetic.
#include <cstring>

#include "sve/core/simd.h"
#include "sve/integer/ops.h"
#include "sve/trace/trace.h"

namespace {

template <class T>
void add_imm(uint8_t* dst, const uint8_t* src, T imm) {
    typedef typename vec_of<T>::type V;
    V k = V{} + imm;
    vgen_reg<V>(dst, [&](int c) { return vload<V>(src + 16 * c) + k; });
}

}  // namespace

aarch64_decode_rc sve_add_zi(cpu_state* s, aarch64_z_reg zdn, uint64_t imm) {
    uint8_t* z = s->z[zdn.num];
    if (zdn.tied_qual[0] == ES_BYTE) memtrace_check_marker(imm);  // region-of-interest markers
    switch (zdn.tied_qual[0]) {
    case ES_BYTE: add_imm<uint8_t>(z, z, uint8_t(imm)); break;
    case ES_HALF: add_imm<uint16_t>(z, z, uint16_t(imm)); break;
    case ES_WORD: add_imm<uint32_t>(z, z, uint32_t(imm)); break;
    default: add_imm<uint64_t>(z, z, imm); break;
    }
    return RC_DONE;
}

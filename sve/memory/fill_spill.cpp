// ldr and str of whole Z and P registers. Not predicated, not traced. A P register's memory
// image has one bit per vector byte: bit j of byte k is the predicate of vector byte 8k + j.
#include "sve/memory/access.h"

namespace {

// base + imm * bytes, the product formed in 32 bits.
inline uint64_t fill_address(uint64_t base, int64_t imm, uint32_t bytes) {
    return base + uint64_t(int64_t(int32_t(uint32_t(imm) * bytes)));
}
inline uint64_t fill_address(const cpu_state* s, aarch64_i_rsp_reg xn, int imm, uint32_t bytes) {
    return fill_address(read_xsp(s, xn), imm, bytes);
}

}  // namespace

aarch64_decode_rc sve_ldr_zri(cpu_state* s, aarch64_z_reg zt, aarch64_i_rsp_reg xn, int64_t imm) {
    std::memcpy(s->z[zt.num], reinterpret_cast<const void*>(fill_address(s, xn, imm, SVE_VL_BYTES)), SVE_VL_BYTES);
    return RC_DONE;
}

aarch64_decode_rc sve_str_zri(cpu_state* s, aarch64_z_reg zt, aarch64_i_rsp_reg xn, int64_t imm) {
    std::memcpy(reinterpret_cast<void*>(fill_address(s, xn, imm, SVE_VL_BYTES)), s->z[zt.num], SVE_VL_BYTES);
    return RC_DONE;
}

aarch64_decode_rc sve_ldr_pri(cpu_state* s, aarch64_p_reg pt, aarch64_i_rsp_reg xn, int64_t imm) {
    uint64_t addr = fill_address(s, xn, imm, SVE_PL_BYTES);
    uint8_t* p = s->p[pt.num];
    for (int k = 0; k < SVE_PL_BYTES; k++) {
        uint8_t bits = load_app<uint8_t>(addr + k);
        for (int j = 0; j < 8; j++) p[8 * k + j] = (bits >> j) & 1;
    }
    return RC_DONE;
}

aarch64_decode_rc sve_str_pri(cpu_state* s, aarch64_p_reg pt, aarch64_i_rsp_reg xn, int64_t imm) {
    uint64_t addr = fill_address(s, xn, imm, SVE_PL_BYTES);
    const uint8_t* p = s->p[pt.num];
    for (int k = 0; k < SVE_PL_BYTES; k++) {
        uint8_t bits = 0;
        for (int j = 0; j < 8; j++) bits |= uint8_t((p[8 * k + j] & 1) << j);
        store_app<uint8_t>(addr + k, bits);
    }
    return RC_DONE;
}

// Generic tier: vl_words * 8 bytes of Z, vl_words bytes of P.
VecV VecU64FillSI(uint64_t xn, int64_t imm, CpuContext* c) {
    uint32_t bytes = vl_bytes(c);
    uint64_t addr = fill_address(xn, imm, bytes);
    VecV r;
    for (uint32_t i = 0; i < bytes; i++) r.b[i] = ReadMemLib1(addr + i, 0, nullptr, c);
    return r;
}

void VecU64SpillSI(VecV zt, uint64_t xn, int64_t imm, CpuContext* c) {
    uint32_t bytes = vl_bytes(c);
    uint64_t addr = fill_address(xn, imm, bytes);
    for (uint32_t i = 0; i < bytes; i++) WriteMemLib1(zt.b[i], addr + i, c);
}

PredV VecPFillSI(uint64_t xn, int64_t imm, CpuContext* c) {
    uint32_t bytes = vl_bytes(c) / 8;
    uint64_t addr = fill_address(xn, imm, bytes);
    PredV r = {};
    for (uint32_t k = 0; k < bytes; k++) r.w[k / 8] |= uint64_t(ReadMemLib1(addr + k, 0, nullptr, c)) << (8 * (k % 8));
    return r;
}

void VecPSpillSI(PredV pt, uint64_t xn, int64_t imm, CpuContext* c) {
    uint32_t bytes = vl_bytes(c) / 8;
    uint64_t addr = fill_address(xn, imm, bytes);
    for (uint32_t k = 0; k < bytes; k++) WriteMemLib1(uint8_t(pt.w[k / 8] >> (8 * (k % 8))), addr + k, c);
}

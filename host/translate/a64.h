// AArch64 encodings that the translator emits: general-register arithmetic, loads and stores,
// branches, and the Advanced SIMD operations on whole 16-byte registers. Register numbers are
// plain 0..31 (31 is sp or zr as the instruction takes it); `sz` is an element size code (0 byte,
// 1 half, 2 word, 3 double); `fsz` 0 single, 1 double.
#pragma once

#include <cstdint>

namespace a64 {

constexpr uint32_t SP = 31, ZR = 31;
enum cond : uint32_t { EQ = 0, NE = 1, HS = 2, LO = 3, MI = 4, PL = 5, HI = 8, LS = 9, GE = 10, LT = 11, GT = 12, LE = 13 };

// ---- general registers ----
inline uint32_t add_imm(uint32_t d, uint32_t n, uint32_t imm12, bool lsl12 = false) {
    return 0x91000000u | (lsl12 ? 1u << 22 : 0) | (imm12 << 10) | (n << 5) | d;
}
inline uint32_t sub_imm(uint32_t d, uint32_t n, uint32_t imm12, bool lsl12 = false) {
    return 0xD1000000u | (lsl12 ? 1u << 22 : 0) | (imm12 << 10) | (n << 5) | d;
}
inline uint32_t add_reg(uint32_t d, uint32_t n, uint32_t m, uint32_t lsl = 0) {
    return 0x8B000000u | (m << 16) | (lsl << 10) | (n << 5) | d;
}
inline uint32_t sub_reg(uint32_t d, uint32_t n, uint32_t m) { return 0xCB000000u | (m << 16) | (n << 5) | d; }
inline uint32_t subs_reg(uint32_t d, uint32_t n, uint32_t m, bool x) {
    return (x ? 0xEB000000u : 0x6B000000u) | (m << 16) | (n << 5) | d;
}
inline uint32_t cmp_reg(uint32_t n, uint32_t m) { return subs_reg(ZR, n, m, true); }
inline uint32_t movz(uint32_t d, uint32_t imm16, uint32_t hw = 0) { return 0xD2800000u | (hw << 21) | (imm16 << 5) | d; }
inline uint32_t movk(uint32_t d, uint32_t imm16, uint32_t hw) { return 0xF2800000u | (hw << 21) | (imm16 << 5) | d; }
inline uint32_t movn(uint32_t d, uint32_t imm16, uint32_t hw = 0) { return 0x92800000u | (hw << 21) | (imm16 << 5) | d; }
inline uint32_t csel(uint32_t d, uint32_t n, uint32_t m, cond c) { return 0x9A800000u | (m << 16) | (c << 12) | (n << 5) | d; }
inline uint32_t mov_reg(uint32_t d, uint32_t m) { return 0xAA0003E0u | (m << 16) | d; }
// and / eor / orr with the bitmask immediate N:immr:imms
inline uint32_t and_bits(uint32_t d, uint32_t n, uint32_t nrs) { return 0x92000000u | (nrs << 10) | (n << 5) | d; }
inline uint32_t eor_bits(uint32_t d, uint32_t n, uint32_t nrs) { return 0xD2000000u | (nrs << 10) | (n << 5) | d; }
// lsl xd, xn, #s
inline uint32_t lsl_imm(uint32_t d, uint32_t n, uint32_t s) {
    return 0xD3400000u | (((64 - s) & 63) << 16) | ((63 - s) << 10) | (n << 5) | d;
}
inline uint32_t mrs_nzcv(uint32_t t) { return 0xD53B4200u | t; }
inline uint32_t msr_nzcv(uint32_t t) { return 0xD51B4200u | t; }
inline uint32_t mrs_tpidr(uint32_t t) { return 0xD53BD040u | t; }

inline uint32_t ldr_x(uint32_t t, uint32_t n, uint32_t off) { return 0xF9400000u | ((off / 8) << 10) | (n << 5) | t; }
inline uint32_t str_x(uint32_t t, uint32_t n, uint32_t off) { return 0xF9000000u | ((off / 8) << 10) | (n << 5) | t; }
inline uint32_t ldrb(uint32_t t, uint32_t n, uint32_t off) { return 0x39400000u | (off << 10) | (n << 5) | t; }
inline uint32_t ldp_x(uint32_t t1, uint32_t t2, uint32_t n, int off) {
    return 0xA9400000u | ((uint32_t(off / 8) & 0x7F) << 15) | (t2 << 10) | (n << 5) | t1;
}
inline uint32_t stp_x(uint32_t t1, uint32_t t2, uint32_t n, int off) {
    return 0xA9000000u | ((uint32_t(off / 8) & 0x7F) << 15) | (t2 << 10) | (n << 5) | t1;
}

// ---- branches (offsets in words) ----
inline uint32_t b(int32_t words) { return 0x14000000u | (uint32_t(words) & 0x03FFFFFFu); }
inline uint32_t b_cond(cond c, int32_t words) { return 0x54000000u | ((uint32_t(words) & 0x7FFFF) << 5) | c; }
inline uint32_t cbnz_w(uint32_t t, int32_t words) { return 0x35000000u | ((uint32_t(words) & 0x7FFFF) << 5) | t; }
inline uint32_t cbnz_x(uint32_t t, int32_t words) { return 0xB5000000u | ((uint32_t(words) & 0x7FFFF) << 5) | t; }

// ---- SIMD loads and stores: q (16 bytes), d (8), s (4), h (2), b (1) at a scaled offset ----
inline uint32_t ldr_v(int bytes, uint32_t t, uint32_t n, uint32_t off) {
    switch (bytes) {
    case 16: return 0x3DC00000u | ((off / 16) << 10) | (n << 5) | t;
    case 8: return 0xFD400000u | ((off / 8) << 10) | (n << 5) | t;
    case 4: return 0xBD400000u | ((off / 4) << 10) | (n << 5) | t;
    case 2: return 0x7D400000u | ((off / 2) << 10) | (n << 5) | t;
    default: return 0x3D400000u | (off << 10) | (n << 5) | t;
    }
}
inline uint32_t str_v(int bytes, uint32_t t, uint32_t n, uint32_t off) { return ldr_v(bytes, t, n, off) & ~(1u << 22); }
inline uint32_t ldr_q(uint32_t t, uint32_t n, uint32_t off) { return ldr_v(16, t, n, off); }
inline uint32_t str_q(uint32_t t, uint32_t n, uint32_t off) { return str_v(16, t, n, off); }
inline uint32_t ldr_q_literal(uint32_t t, int32_t words) { return 0x9C000000u | ((uint32_t(words) & 0x7FFFF) << 5) | t; }

// ---- Advanced SIMD, 128-bit ----
inline uint32_t three(uint32_t base, uint32_t sz, uint32_t d, uint32_t n, uint32_t m) {
    return base | (sz << 22) | (m << 16) | (n << 5) | d;
}
constexpr uint32_t ADD = 0x4E208400u, SUB = 0x6E208400u, MUL = 0x4E209C00u, MLA = 0x4E209400u, MLS = 0x6E209400u;
constexpr uint32_t CMHI = 0x6E203400u, CMHS = 0x6E203C00u, CMGT = 0x4E203400u, CMGE = 0x4E203C00u, CMEQ = 0x6E208C00u;
constexpr uint32_t CMTST = 0x4E208C00u;
// the logical ones take no size (their size field is part of the opcode)
constexpr uint32_t AND = 0x4E201C00u, BIC = 0x4E601C00u, ORR = 0x4EA01C00u, ORN = 0x4EE01C00u, EOR = 0x6E201C00u;
constexpr uint32_t BSL = 0x6E601C00u, BIT = 0x6EA01C00u, BIF = 0x6EE01C00u;
// floating point: the size bit is bit 22 (`three` with sz 0 or 1)
constexpr uint32_t FADD = 0x4E20D400u, FSUB = 0x4EA0D400u, FMUL = 0x6E20DC00u, FDIV = 0x6E20FC00u;
constexpr uint32_t FMLA = 0x4E20CC00u, FMLS = 0x4EA0CC00u;
constexpr uint32_t FCMEQ = 0x4E20E400u, FCMGE = 0x6E20E400u, FCMGT = 0x6EA0E400u;
inline uint32_t logic(uint32_t op, uint32_t d, uint32_t n, uint32_t m) { return op | (m << 16) | (n << 5) | d; }
inline uint32_t mov_v(uint32_t d, uint32_t n) { return logic(ORR, d, n, n); }
inline uint32_t not_v(uint32_t d, uint32_t n) { return 0x6E205800u | (n << 5) | d; }

// shifts by an immediate within elements of size code sz
inline uint32_t shl(uint32_t sz, uint32_t d, uint32_t n, uint32_t s) {
    return 0x4F005400u | (((8u << sz) + s) << 16) | (n << 5) | d;
}
inline uint32_t sshr(uint32_t sz, uint32_t d, uint32_t n, uint32_t s) {
    return 0x4F000400u | (((16u << sz) - s) << 16) | (n << 5) | d;
}
inline uint32_t ushr(uint32_t sz, uint32_t d, uint32_t n, uint32_t s) {
    return 0x6F000400u | (((16u << sz) - s) << 16) | (n << 5) | d;
}
// dup vd.<sz>, wn/xn
inline uint32_t dup_gpr(uint32_t sz, uint32_t d, uint32_t n) { return 0x4E000C00u | ((1u << sz) << 16) | (n << 5) | d; }
// movi vd.16b, #imm8
inline uint32_t movi_16b(uint32_t d, uint32_t imm8) {
    return 0x4F00E400u | ((imm8 >> 5) << 16) | ((imm8 & 31) << 5) | d;
}
// umov xd, vn.d[i]
inline uint32_t umov_d(uint32_t d, uint32_t n, uint32_t i) { return 0x4E083C00u | (i << 20) | (n << 5) | d; }

}  // namespace a64

// The per-thread architectural state record, the register handles through which handlers name
// registers to operations, element sizes, typed immediates and the result code.
#pragma once

#include <cstddef>
#include <cstdint>

// Vector length of this build, from the build's SVE_VL_BITS setting (640 bits by default).
#ifndef SVE_BUILD_VL_BITS
#define SVE_BUILD_VL_BITS 640
#endif
constexpr int SVE_VL_BITS = SVE_BUILD_VL_BITS;
static_assert(SVE_VL_BITS % 128 == 0 && SVE_VL_BITS >= 128 && SVE_VL_BITS <= 2048,
              "the vector length is a multiple of 128 bits from 128 to 2048");
constexpr int SVE_VL_BYTES = SVE_VL_BITS / 8;
// A P register packed into memory (ldr/str of P) takes one bit per vector byte.
constexpr int SVE_PL_BYTES = SVE_VL_BYTES / 8;

struct cpu_state {
    uint64_t x[31];  // x0 to x30
    uint64_t sp;     // stands where x[31] would be
    uint64_t pc;     // address of the instruction being emulated
    uint64_t nzcv;   // N bit 31, Z bit 30, C bit 29, V bit 28
    uint32_t fpsr;
    uint32_t fpcr;   // as last written by the application
    alignas(16) uint8_t z[32][SVE_VL_BYTES];
    uint8_t p[16][SVE_VL_BYTES];  // one byte per vector byte, only bit 0 counts
    uint8_t ffr[SVE_VL_BYTES];
    uint64_t insn;   // word of the last specialised-tier instruction, zero-extended
};

// The inline save and reload code addresses these fields by displacement.
static_assert(offsetof(cpu_state, x) == 0);
static_assert(offsetof(cpu_state, sp) == 248);
static_assert(offsetof(cpu_state, pc) == 256);
static_assert(offsetof(cpu_state, nzcv) == 264);
static_assert(offsetof(cpu_state, fpsr) == 272);
static_assert(offsetof(cpu_state, fpcr) == 276);
static_assert(offsetof(cpu_state, z) == 288);
static_assert(offsetof(cpu_state, z) % 16 == 0 && SVE_VL_BYTES % 16 == 0);
static_assert(offsetof(cpu_state, p) == 288 + 32 * SVE_VL_BYTES);
static_assert(offsetof(cpu_state, ffr) == 288 + 48 * SVE_VL_BYTES);
static_assert(offsetof(cpu_state, insn) == 288 + 49 * SVE_VL_BYTES && sizeof(cpu_state::insn) == 8);

enum element_size : uint32_t {
    ES_BYTE = 0,
    ES_HALF = 1,
    ES_WORD = 2,
    ES_DOUBLE = 3,
    ES_QUAD = 4,  // only the Z handles of dup (indexed), quadword form
};

// Qualifier codes of the handles.
enum : uint32_t {
    ZQ_B = 0, ZQ_H = 1, ZQ_S = 2, ZQ_D = 3, ZQ_Q = 4, ZQ_NONE = 5,
    PQ_B = 0, PQ_H = 1, PQ_S = 2, PQ_D = 3, PQ_M = 4, PQ_Z = 5, PQ_BARE = 6, PQ_NONE = 7,
    RQ_8 = 0, RQ_16 = 1, RQ_W = 2, RQ_X = 3, RQ_NONE = 4,
};

struct aarch64_z_reg {
    uint32_t num;
    uint32_t qual;
    uint32_t tied_qual[2];
    static const char* const zname[32];
    static const char* const zname_b[32];
    static const char* const zname_h[32];
    static const char* const zname_s[32];
    static const char* const zname_d[32];
};

struct aarch64_p_reg {
    uint32_t num;
    uint32_t qual;
    uint32_t tied_qual[2];
    static const char* const pname[16];
    static const char* const pname_m[16];
    static const char* const pname_z[16];
    static const char* const pname_b[16];
    static const char* const pname_h[16];
    static const char* const pname_s[16];
    static const char* const pname_d[16];
};

// General register; number 31 is the zero register.
struct aarch64_i_reg {
    uint32_t num;
    uint32_t qual;
    uint32_t tied_qual[2];
    static const char* const wname[32];
    static const char* const xname[32];
};

// General register; number 31 is the stack pointer.
struct aarch64_i_rsp_reg {
    uint32_t num;
    uint32_t qual;
    static const char* const wname[32];
    static const char* const xname[32];
};

// An 8-bit floating-point immediate (bits 12:5) in its three ready forms.
struct aarch64_sve_fp_dup_imm {
    uint16_t h;
    uint32_t s;
    uint64_t d;
};

// The i1 selector (bit 5) of fadd, fsub, fsubr, fmul with an immediate.
struct aarch64_sve_fp_arith_imm {
    uint8_t i1;
};

// A logical immediate decoded from N:immr:imms and replicated to 64 bits.
struct aarch64_sve_logical64_imm {
    uint64_t mask;
};

enum aarch64_decode_rc : int {
    RC_DONE = 0,
    RC_UNIMPLEMENTED = 2,
};

typedef aarch64_decode_rc (*sve_handler_t)(cpu_state* state, uint32_t word);

// Element size helpers.
constexpr int esize_bytes(uint32_t s) { return 1 << s; }
constexpr int elements_of(uint32_t s) { return SVE_VL_BYTES >> s; }

// Register 31 rules, applied by the user of a handle.
inline uint64_t read_xzr(const cpu_state* st, aarch64_i_reg r) { return r.num == 31 ? 0 : st->x[r.num]; }
inline void write_xzr(cpu_state* st, aarch64_i_reg r, uint64_t v) {
    if (r.num != 31) st->x[r.num] = v;
}
inline uint64_t read_xsp(const cpu_state* st, aarch64_i_rsp_reg r) { return r.num == 31 ? st->sp : st->x[r.num]; }
inline void write_xsp(cpu_state* st, aarch64_i_rsp_reg r, uint64_t v) {
    if (r.num == 31) st->sp = v; else st->x[r.num] = v;
}

// AArch64 encodings of the elements of a rewritten sequence. Framework elements (slots, TLS,
// the stolen register, the call) become short instruction runs that address the thread's
// host_thread from TPIDR_EL0; application elements become the one instruction they stand for.
#include "host/encode.h"

#include <cstddef>

namespace {

constexpr uint32_t X16 = 16, X17 = 17, SP = 31;

// Register number of an operand: x, w and q registers by their number; sp and zr are 31.
int num(reg_id_t r) {
    if (r >= DR_REG_X0 && r <= DR_REG_X30) return r - DR_REG_X0;
    if (r >= DR_REG_W0 && r <= DR_REG_W30) return r - DR_REG_W0;
    if (r >= DR_REG_Q0 && r <= DR_REG_Q31) return r - DR_REG_Q0;
    if (r == DR_REG_XSP || r == DR_REG_XZR || r == DR_REG_WZR) return 31;
    return -1;
}

bool is_q(reg_id_t r) { return r >= DR_REG_Q0 && r <= DR_REG_Q31; }
bool is_w(reg_id_t r) { return (r >= DR_REG_W0 && r <= DR_REG_W30) || r == DR_REG_WZR; }

int sysreg_field(reg_id_t r) {
    switch (r) {
    case DR_REG_NZCV: return 0xDA10;
    case DR_REG_FPCR: return 0xDA20;
    case DR_REG_FPSR: return 0xDA21;
    default: return -1;
    }
}

uint32_t add_imm(uint32_t d, uint32_t n, uint32_t imm, bool lsl12) {
    return 0x91000000u | (lsl12 ? 1u << 22 : 0) | (imm << 10) | (n << 5) | d;
}

struct emitter {
    uint32_t* out;
    int n = 0;
    void put(uint32_t w) { out[n++] = w; }

    // reg = the address of this thread's host_thread
    void thread_block(uint32_t reg, const host_code_env& env) {
        put(0xD53BD040u | reg);  // mrs reg, tpidr_el0
        put(add_imm(reg, reg, uint32_t(env.thread_offset >> 12) & 0xFFF, true));
        put(add_imm(reg, reg, uint32_t(env.thread_offset) & 0xFFF, false));
    }
    // ldr/str of a 64-bit register at an 8-byte aligned offset below 32 KiB
    void ldr_x(uint32_t t, uint32_t n, uint32_t off) { put(0xF9400000u | ((off / 8) << 10) | (n << 5) | t); }
    void str_x(uint32_t t, uint32_t n, uint32_t off) { put(0xF9000000u | ((off / 8) << 10) | (n << 5) | t); }
    // stur/ldur of a 64-bit register at a small negative offset
    // sp moved by a 12-bit immediate (no memory touched); sub is add with bit 30 set
    void sub_sp(uint32_t imm) { put(add_imm(SP, SP, imm, false) | (1u << 30)); }
    void add_sp(uint32_t imm) { put(add_imm(SP, SP, imm, false)); }
    void mov_imm64(uint32_t d, uint64_t v) {
        put(0xD2800000u | (uint32_t(v & 0xFFFF) << 5) | d);  // movz
        for (uint32_t hw = 1; hw < 4; hw++) put(0xF2800000u | (hw << 21) | (uint32_t((v >> (16 * hw)) & 0xFFFF) << 5) | d);
    }
};

// A load or store of one register at base + disp, unsigned scaled offset form.
int mem_single(emitter& e, bool load, reg_id_t r, const opnd_t& m) {
    int t = num(r), n = num(m.reg);
    if (t < 0 || n < 0 || m.disp < 0) return -1;
    uint32_t scale, base;
    if (is_q(r) && m.size == OPSZ_16) {
        scale = 16, base = load ? 0x3DC00000u : 0x3D800000u;
    } else if (m.size == OPSZ_8 && !is_w(r)) {
        scale = 8, base = load ? 0xF9400000u : 0xF9000000u;
    } else if (m.size == OPSZ_4) {
        scale = 4, base = load ? 0xB9400000u : 0xB9000000u;
    } else {
        return -1;
    }
    if (uint32_t(m.disp) % scale != 0 || uint32_t(m.disp) / scale > 0xFFF) return -1;
    e.put(base | ((uint32_t(m.disp) / scale) << 10) | (uint32_t(n) << 5) | uint32_t(t));
    return e.n;
}

// A pair of 64-bit registers at base + disp, signed scaled offset form.
int mem_pair(emitter& e, bool load, reg_id_t r1, reg_id_t r2, const opnd_t& m) {
    int t1 = num(r1), t2 = num(r2), n = num(m.reg);
    if (t1 < 0 || t2 < 0 || n < 0 || m.size != OPSZ_16 || m.disp % 8 != 0 || m.disp < -512 || m.disp > 504) return -1;
    uint32_t imm7 = uint32_t(m.disp / 8) & 0x7F;
    e.put((load ? 0xA9400000u : 0xA9000000u) | (imm7 << 15) | (uint32_t(t2) << 10) | (uint32_t(n) << 5) | uint32_t(t1));
    return e.n;
}

}  // namespace

int host_encode_element(const instr_t* in, const host_code_env& env, uint32_t* out) {
    emitter e{out};
    const uint32_t slots = offsetof(host_thread, slots), tls = offsetof(host_thread, tls);
    switch (in->opcode) {
    case OP_host_emulation_start:
    case OP_host_emulation_end:
        return 0;
    case OP_host_save_slot: {
        int r = num(in->src[0].reg);
        if (r < 0 || r == 31) return -1;
        uint32_t s = uint32_t(r) == X16 ? X17 : X16;  // a scratch register, kept below sp meanwhile
        e.sub_sp(HOST_SCRATCH_BELOW_SP);
        e.str_x(s, SP, 0);
        e.thread_block(s, env);
        e.str_x(uint32_t(r), s, slots + 8 * uint32_t(in->src[1].value));
        e.ldr_x(s, SP, 0);
        e.add_sp(HOST_SCRATCH_BELOW_SP);
        return e.n;
    }
    case OP_host_restore_slot:
    case OP_host_read_tls: {
        int r = num(in->dst[0].reg);
        if (r < 0 || r == 31) return -1;
        uint32_t off = in->opcode == OP_host_read_tls ? tls : slots;
        e.thread_block(uint32_t(r), env);
        e.ldr_x(uint32_t(r), uint32_t(r), off + 8 * uint32_t(in->src[0].value));
        return e.n;
    }
    case OP_host_get_stolen: {  // mov xr, x28: no register is stolen
        int r = num(in->dst[0].reg);
        if (r < 0) return -1;
        e.put(0xAA1C03E0u | uint32_t(r));
        return e.n;
    }
    case OP_host_set_stolen: {  // mov x28, xr
        int r = num(in->src[0].reg);
        if (r < 0) return -1;
        e.put(0xAA0003FCu | (uint32_t(r) << 16));
        return e.n;
    }
    case OP_host_call: {
        // The arguments, then the record's FPCR brought up to date, then the call on the
        // thread's emulator stack (unless sp is on it already), with the old sp and the word's
        // address (x1) at the top of the new frame. x14 to x17 are free: the sequence has saved
        // every register, and the call clobbers them anyway.
        if (in->nsrc > 7) return -1;
        for (int i = 1; i < in->nsrc; i++) e.mov_imm64(uint32_t(i - 1), uint64_t(in->src[i].value));
        e.thread_block(X16, env);
        e.ldr_x(15, X16, offsetof(host_thread, fpcr_field));
        e.put(0xB400006Fu);  // cbz x15, +3
        e.put(0xD53B440Eu);  // mrs x14, fpcr
        e.put(0xB90001EEu);  // str w14, [x15]
        e.ldr_x(X16, X16, offsetof(host_thread, emu_top));
        e.put(add_imm(X17, SP, 0, false));  // mov x17, sp
        e.put(0xB40000B0u);                 // cbz x16, +5
        e.put(0xCB11020Fu);                 // sub x15, x16, x17
        e.put(0xF14001FFu | uint32_t(HOST_EMULATOR_STACK_BYTES >> 12) << 10);  // cmp x15, #bytes
        e.put(0x54000043u);                 // b.lo +2: on the emulator stack already
        e.put(add_imm(SP, X16, 0, false));  // mov sp, x16
        e.put(0xA9BF07F1u);                 // stp x17, x1, [sp, #-16]!
        e.mov_imm64(X16, uint64_t(in->src[0].value));
        e.put(0xD63F0200u);  // blr x16
        e.ldr_x(X17, SP, 0);
        e.put(add_imm(SP, X17, 0, false));  // mov sp, x17
        return e.n;
    }
    case OP_add: {
        int d = num(in->dst[0].reg), n = num(in->src[0].reg);
        int64_t imm = in->src[1].value;
        if (d < 0 || n < 0 || imm < 0 || imm > 0xFFF || (in->nsrc > 3 && in->src[3].value != 0)) return -1;
        e.put(add_imm(uint32_t(d), uint32_t(n), uint32_t(imm), false));
        return e.n;
    }
    case OP_mrs:
    case OP_msr: {
        bool to_sys = in->opcode == OP_msr;
        int field = sysreg_field(to_sys ? in->dst[0].reg : in->src[0].reg);
        int t = num(to_sys ? in->src[0].reg : in->dst[0].reg);
        if (field < 0 || t < 0) return -1;
        e.put((to_sys ? 0xD5100000u : 0xD5300000u) | (uint32_t(field) << 5) | uint32_t(t));
        return e.n;
    }
    case OP_str: return mem_single(e, false, in->src[0].reg, in->dst[0]);
    case OP_ldr: return mem_single(e, true, in->dst[0].reg, in->src[0]);
    case OP_stp: return mem_pair(e, false, in->src[0].reg, in->src[1].reg, in->dst[0]);
    case OP_ldp: return mem_pair(e, true, in->dst[0].reg, in->dst[1].reg, in->src[0]);
    default: return -1;
    }
}

uint32_t host_encode_branch(uintptr_t from, uintptr_t to) {
    int64_t delta = int64_t(to) - int64_t(from);
    if (delta % 4 != 0 || delta < -(int64_t(1) << 27) || delta >= (int64_t(1) << 27)) return 0;
    return 0x14000000u | (uint32_t(delta >> 2) & 0x03FFFFFFu);
}

// The trap stage: a rewritten sequence carried out element by element against the signal
// context of the SVE word, and the way back from a sequence's saves to the registers the
// program had before the word.
#include <unistd.h>

#include <cstring>

#include "host/runtime.h"

namespace {

int mem_bytes(opnd_size_t size) {
    switch (size) {
    case OPSZ_1: return 1;
    case OPSZ_2: return 2;
    case OPSZ_4: return 4;
    case OPSZ_8: return 8;
    case OPSZ_16: return 16;
    default: return 0;
    }
}

reg_t read_reg(machine& m, reg_id_t r) {
    auto& mc = m.uc->uc_mcontext;
    if (r >= DR_REG_X0 && r <= DR_REG_X30) return mc.regs[r - DR_REG_X0];
    if (r >= DR_REG_W0 && r <= DR_REG_W30) return uint32_t(mc.regs[r - DR_REG_W0]);
    if (r == DR_REG_XSP) return mc.sp;
    if (r == DR_REG_NZCV) return mc.pstate & 0xF0000000u;
    if (r == DR_REG_FPSR) return m.fp->fpsr;
    if (r == DR_REG_FPCR) return m.fp->fpcr;
    return 0;  // xzr, wzr
}

void write_reg(machine& m, reg_id_t r, reg_t v) {
    auto& mc = m.uc->uc_mcontext;
    if (r >= DR_REG_X0 && r <= DR_REG_X30) mc.regs[r - DR_REG_X0] = v;
    else if (r >= DR_REG_W0 && r <= DR_REG_W30) mc.regs[r - DR_REG_W0] = uint32_t(v);
    else if (r == DR_REG_XSP) mc.sp = v;
    else if (r == DR_REG_NZCV) mc.pstate = (mc.pstate & ~0xF0000000ull) | (v & 0xF0000000u);
    else if (r == DR_REG_FPSR) m.fp->fpsr = uint32_t(v);
    else if (r == DR_REG_FPCR) m.fp->fpcr = uint32_t(v);
}

byte* address(machine& m, const opnd_t& mem) {
    return reinterpret_cast<byte*>(read_reg(m, mem.reg) + int64_t(mem.disp));
}

// One register to or from memory: 16 bytes for a Q register, else the operand's size.
void store_reg(machine& m, reg_id_t r, byte* at, int bytes) {
    if (r >= DR_REG_Q0 && r <= DR_REG_Q31) {
        std::memcpy(at, &m.fp->vregs[r - DR_REG_Q0], 16);
        return;
    }
    reg_t v = read_reg(m, r);
    std::memcpy(at, &v, bytes);
}

void load_reg(machine& m, reg_id_t r, const byte* at, int bytes) {
    if (r >= DR_REG_Q0 && r <= DR_REG_Q31) {
        std::memcpy(&m.fp->vregs[r - DR_REG_Q0], at, 16);
        return;
    }
    reg_t v = 0;
    std::memcpy(&v, at, bytes);
    write_reg(m, r, v);
}

typedef void (*call6_t)(reg_t, reg_t, reg_t, reg_t, reg_t, reg_t);

// Carries out one element of a rewritten sequence. Returns false for an element that the trap
// stage does not know, which ends the process: the sequence would be half done.
bool execute(machine& m, instr_t* in) {
    switch (in->opcode) {
    case OP_host_save_slot:
        m.thread->slots[in->src[1].value] = read_reg(m, in->src[0].reg);
        return true;
    case OP_host_restore_slot:
        write_reg(m, in->dst[0].reg, m.thread->slots[in->src[0].value]);
        return true;
    case OP_host_get_stolen:  // no register is stolen: x28 holds the application's value
        write_reg(m, in->dst[0].reg, read_reg(m, DR_REG_X28));
        return true;
    case OP_host_set_stolen:
        write_reg(m, DR_REG_X28, read_reg(m, in->src[0].reg));
        return true;
    case OP_host_read_tls:
        write_reg(m, in->dst[0].reg, reg_t(m.thread->tls[in->src[0].value]));
        return true;
    case OP_host_call: {
        reg_t a[6] = {};
        for (int i = 1; i < in->nsrc && i <= 6; i++) a[i - 1] = reg_t(in->src[i].value);
        reinterpret_cast<call6_t>(in->src[0].value)(a[0], a[1], a[2], a[3], a[4], a[5]);
        return true;
    }
    case OP_host_emulation_start:
    case OP_host_emulation_end:
        return true;
    case OP_add:  // add xd, xn, #imm (shift 0)
        write_reg(m, in->dst[0].reg, read_reg(m, in->src[0].reg) + reg_t(in->src[1].value));
        return true;
    case OP_mrs:
    case OP_msr:
        write_reg(m, in->dst[0].reg, read_reg(m, in->src[0].reg));
        return true;
    case OP_str:
        store_reg(m, in->src[0].reg, address(m, in->dst[0]), mem_bytes(in->dst[0].size));
        return true;
    case OP_ldr:
        load_reg(m, in->dst[0].reg, address(m, in->src[0]), mem_bytes(in->src[0].size));
        return true;
    case OP_stp: {
        int half = mem_bytes(in->dst[0].size) / 2;
        store_reg(m, in->src[0].reg, address(m, in->dst[0]), half);
        store_reg(m, in->src[1].reg, address(m, in->dst[0]) + half, half);
        return true;
    }
    case OP_ldp: {
        int half = mem_bytes(in->src[0].size) / 2;
        load_reg(m, in->dst[0].reg, address(m, in->src[0]), half);
        load_reg(m, in->dst[1].reg, address(m, in->src[0]) + half, half);
        return true;
    }
    default:
        return false;
    }
}

// ---- Where the saves of a sequence put the program's registers ----------------------------------

// A register of the program as the saves see it: x0 to x30, sp, NZCV, FPSR, Q0 to Q31.
enum : int { K_SP = 31, K_NZCV, K_FPSR, K_Q0, K_COUNT = K_Q0 + 32 };

int key_of(reg_id_t r) {
    if (r >= DR_REG_X0 && r <= DR_REG_X30) return r - DR_REG_X0;
    if (r >= DR_REG_W0 && r <= DR_REG_W30) return r - DR_REG_W0;
    if (r == DR_REG_XSP) return K_SP;
    if (r == DR_REG_NZCV) return K_NZCV;
    if (r == DR_REG_FPSR) return K_FPSR;
    if (r >= DR_REG_Q0 && r <= DR_REG_Q31) return K_Q0 + (r - DR_REG_Q0);
    return -1;
}

// What a machine register holds while the saves run: a register of the program (its key), a
// TLS field's value (TLS_BASE + index), or something else.
constexpr int OTHER = -1, TLS_BASE = 1000;

struct save_map {
    const byte* at[K_COUNT];  // where each register of the program was saved, or null
    int holds[K_COUNT];       // indexed by key: what that machine register holds now
};

void note_store(save_map& s, const host_thread* t, reg_id_t reg, const opnd_t& mem, int offset) {
    int base = key_of(mem.reg), k = key_of(reg);
    if (base < 0 || k < 0 || s.holds[base] < TLS_BASE) return;
    int what = s.holds[k];
    if (what < 0 || what >= TLS_BASE || s.at[what]) return;
    s.at[what] = static_cast<const byte*>(t->tls[s.holds[base] - TLS_BASE]) + mem.disp + offset;
}

}  // namespace

fpsimd_record* host_find_fpsimd(ucontext_t* uc) {
    byte* p = reinterpret_cast<byte*>(uc->uc_mcontext.__reserved);
    byte* end = p + sizeof uc->uc_mcontext.__reserved;
    while (p + 8 <= end) {
        auto* head = reinterpret_cast<uint32_t*>(p);
        if (head[0] == FPSIMD_MAGIC_WORD) return reinterpret_cast<fpsimd_record*>(p);
        if (head[0] == 0 || head[1] == 0) break;
        p += head[1];
    }
    return nullptr;
}

void host_run_sequence(machine& m, const sequence* s) {
    for (int i = 0; i < s->n; i++) {
        if (!execute(m, s->elems[i])) {
            dr_fprintf(our_stderr, "SVE host: cannot carry out element %d (opcode %d) of the sequence at %p\n", i,
                       s->elems[i]->opcode, reinterpret_cast<void*>(m.uc->uc_mcontext.pc));
            _exit(70);
        }
    }
}

// It runs on a copy of the context, so the application's registers are not touched.
void host_sync_fpcr(machine& m) {
    if (!host_fpcr_watch) return;
    ucontext_t copy = *m.uc;
    copy.uc_mcontext.regs[0] = m.fp->fpcr;
    machine c = {&copy, m.fp, m.thread};
    host_run_sequence(c, host_fpcr_watch);
}

// Follows the elements before the call the way the registers flow: a save to a slot or a store
// through a register that holds a TLS field (the record) tells where that register of the program
// went. The call and what follows it have not changed those places when a load or store of the
// word faults.
bool host_restore_before_word(const sequence* s, const host_thread* t, ucontext_t* uc) {
    save_map map;
    for (int k = 0; k < K_COUNT; k++) map.at[k] = nullptr, map.holds[k] = k;
    int i = 0;
    for (; i < s->n && s->elems[i]->opcode != OP_host_call; i++) {
        const instr_t* in = s->elems[i];
        int d = in->ndst > 0 ? key_of(in->dst[0].reg) : -1;
        switch (in->opcode) {
        case OP_host_save_slot: {
            int k = key_of(in->src[0].reg);
            if (k >= 0 && map.holds[k] >= 0 && map.holds[k] < TLS_BASE && !map.at[map.holds[k]])
                map.at[map.holds[k]] = reinterpret_cast<const byte*>(&t->slots[in->src[1].value]);
            break;
        }
        case OP_host_get_stolen:
            if (d >= 0) map.holds[d] = 28;
            break;
        case OP_host_read_tls:
            if (d >= 0) map.holds[d] = TLS_BASE + int(in->src[0].value);
            break;
        case OP_add:
        case OP_mrs:
            if (d >= 0) {
                int n = key_of(in->src[0].reg);
                map.holds[d] = (n >= 0 && (in->opcode == OP_mrs || in->src[1].value == 0)) ? map.holds[n] : OTHER;
            }
            break;
        case OP_str:
            note_store(map, t, in->src[0].reg, in->dst[0], 0);
            break;
        case OP_stp:
            note_store(map, t, in->src[0].reg, in->dst[0], 0);
            note_store(map, t, in->src[1].reg, in->dst[0], mem_bytes(in->dst[0].size) / 2);
            break;
        default:
            for (int j = 0; j < in->ndst; j++)
                if (key_of(in->dst[j].reg) >= 0) map.holds[key_of(in->dst[j].reg)] = OTHER;
        }
    }
    fpsimd_record* fp = host_find_fpsimd(uc);
    if (i == s->n || !fp) return false;
    for (int k = 0; k < K_COUNT; k++)
        if (!map.at[k]) return false;
    auto& mc = uc->uc_mcontext;
    for (int r = 0; r < 31; r++) std::memcpy(&mc.regs[r], map.at[r], 8);
    std::memcpy(&mc.sp, map.at[K_SP], 8);
    uint64_t nzcv;
    std::memcpy(&nzcv, map.at[K_NZCV], 8);
    mc.pstate = (mc.pstate & ~0xF0000000ull) | (nzcv & 0xF0000000u);
    std::memcpy(&fp->fpsr, map.at[K_FPSR], 4);
    for (int q = 0; q < 32; q++) std::memcpy(&fp->vregs[q], map.at[K_Q0 + q], 16);
    return true;
}

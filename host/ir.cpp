// Instruction lists, instructions and operands of the host layer. Nodes come from a private
// mmap arena under a spin lock, so that lists can be built inside the SIGILL handler, where
// malloc is not safe to call.
#include <sys/mman.h>

#include <atomic>
#include <cstring>

#include "host/include/dr_host.h"

namespace {

std::atomic_flag arena_lock = ATOMIC_FLAG_INIT;
byte* arena_next = nullptr;
byte* arena_end = nullptr;
instr_t* free_instrs = nullptr;

struct arena_guard {
    arena_guard() { while (arena_lock.test_and_set(std::memory_order_acquire)) {} }
    ~arena_guard() { arena_lock.clear(std::memory_order_release); }
};

void* arena_alloc_locked(size_t size) {
    size = (size + 15) & ~size_t(15);
    if (arena_next == nullptr || size_t(arena_end - arena_next) < size) {
        const size_t chunk = 1 << 20;
        void* m = mmap(nullptr, chunk, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (m == MAP_FAILED) return nullptr;
        arena_next = static_cast<byte*>(m);
        arena_end = arena_next + chunk;
    }
    void* p = arena_next;
    arena_next += size;
    return p;
}

instr_t* new_instr() {
    arena_guard g;
    instr_t* in = free_instrs;
    if (in) free_instrs = in->next;
    else in = static_cast<instr_t*>(arena_alloc_locked(sizeof(instr_t)));
    std::memset(in, 0, sizeof *in);
    return in;
}

instr_t* make(int opcode, int ndst, int nsrc) {
    instr_t* in = new_instr();
    in->opcode = opcode;
    in->app = true;
    in->ndst = uint8_t(ndst);
    in->nsrc = uint8_t(nsrc);
    return in;
}

opnd_t opnd_of(uint8_t kind) {
    opnd_t o;
    std::memset(&o, 0, sizeof o);
    o.kind = kind;
    return o;
}

reg_id_t xreg(uint32_t n) { return reg_id_t(n == 31 ? int(DR_REG_XZR) : int(DR_REG_X0 + n)); }

}  // namespace

void* host_arena_alloc(size_t size) {
    arena_guard g;
    return arena_alloc_locked(size);
}

instrlist_t* instrlist_create(void*) {
    auto* l = static_cast<instrlist_t*>(host_arena_alloc(sizeof(instrlist_t)));
    l->first = l->last = nullptr;
    return l;
}

void instrlist_clear_and_destroy(void* drcontext, instrlist_t* ilist) {
    for (instr_t* in = ilist->first; in;) {
        instr_t* next = in->next;
        instr_destroy(drcontext, in);
        in = next;
    }
    ilist->first = ilist->last = nullptr;
}

instr_t* instrlist_first(instrlist_t* ilist) { return ilist->first; }
instr_t* instrlist_last(instrlist_t* ilist) { return ilist->last; }

instr_t* instrlist_first_app(instrlist_t* ilist) {
    instr_t* in = ilist->first;
    while (in && !in->app) in = in->next;
    return in;
}

void instrlist_append(instrlist_t* ilist, instr_t* instr) {
    instr->prev = ilist->last;
    instr->next = nullptr;
    if (ilist->last) ilist->last->next = instr;
    else ilist->first = instr;
    ilist->last = instr;
}

void instrlist_preinsert(instrlist_t* ilist, instr_t* where, instr_t* instr) {
    if (where == nullptr) {
        instrlist_append(ilist, instr);
        return;
    }
    instr->next = where;
    instr->prev = where->prev;
    if (where->prev) where->prev->next = instr;
    else ilist->first = instr;
    where->prev = instr;
}

void instrlist_remove(instrlist_t* ilist, instr_t* instr) {
    if (instr->prev) instr->prev->next = instr->next;
    else ilist->first = instr->next;
    if (instr->next) instr->next->prev = instr->prev;
    else ilist->last = instr->prev;
    instr->prev = instr->next = nullptr;
}

instr_t* instr_create(void*) {
    instr_t* in = new_instr();
    in->app = true;
    return in;
}

void instr_destroy(void*, instr_t* instr) {
    arena_guard g;
    instr->next = free_instrs;
    free_instrs = instr;
}

instr_t* instr_get_next(instr_t* instr) { return instr->next; }

instr_t* instr_get_next_app(instr_t* instr) {
    instr_t* in = instr->next;
    while (in && !in->app) in = in->next;
    return in;
}

bool instr_is_app(instr_t* instr) { return instr->app; }
byte* instr_get_raw_bits(instr_t* instr) { return instr->raw; }

void instr_set_raw_bits(instr_t* instr, byte* addr, uint32_t length) {
    instr->raw = addr;
    instr->raw_len = length;
    if (instr->translation == nullptr) instr->translation = addr;
}

void instr_set_raw_bits_valid(instr_t* instr, bool valid) { instr->raw_valid = valid; }
app_pc instr_get_app_pc(instr_t* instr) { return instr->translation; }

instr_t* instr_set_translation(instr_t* instr, app_pc addr) {
    instr->translation = addr;
    return instr;
}

app_pc instr_get_translation(instr_t* instr) { return instr->translation; }
int instr_get_opcode(instr_t* instr) { return instr->opcode; }
int instr_num_dsts(instr_t* instr) { return instr->ndst; }
int instr_num_srcs(instr_t* instr) { return instr->nsrc; }
opnd_t instr_get_dst(instr_t* instr, uint32_t pos) { return pos < instr->ndst ? instr->dst[pos] : opnd_of(OPND_KIND_NULL); }
opnd_t instr_get_src(instr_t* instr, uint32_t pos) { return pos < instr->nsrc ? instr->src[pos] : opnd_of(OPND_KIND_NULL); }

instr_t* instr_create_1dst_1src(void*, int opcode, opnd_t dst, opnd_t src) {
    instr_t* in = make(opcode, 1, 1);
    in->dst[0] = dst;
    in->src[0] = src;
    return in;
}

instr_t* instr_create_1dst_2src(void*, int opcode, opnd_t dst, opnd_t src1, opnd_t src2) {
    instr_t* in = make(opcode, 1, 2);
    in->dst[0] = dst;
    in->src[0] = src1;
    in->src[1] = src2;
    return in;
}

instr_t* instr_create_2dst_1src(void*, int opcode, opnd_t dst1, opnd_t dst2, opnd_t src) {
    instr_t* in = make(opcode, 2, 1);
    in->dst[0] = dst1;
    in->dst[1] = dst2;
    in->src[0] = src;
    return in;
}

instr_t* instr_create_1dst_4src(void*, int opcode, opnd_t dst, opnd_t src1, opnd_t src2, opnd_t src3, opnd_t src4) {
    instr_t* in = make(opcode, 1, 4);
    in->dst[0] = dst;
    in->src[0] = src1;
    in->src[1] = src2;
    in->src[2] = src3;
    in->src[3] = src4;
    return in;
}

opnd_t opnd_create_reg(reg_id_t r) {
    opnd_t o = opnd_of(OPND_KIND_REG);
    o.reg = r;
    return o;
}

opnd_t opnd_create_base_disp(reg_id_t base_reg, reg_id_t index_reg, int, int disp, opnd_size_t data_size) {
    opnd_t o = opnd_of(OPND_KIND_BASE_DISP);
    o.reg = base_reg;
    o.index = index_reg;
    o.disp = disp;
    o.size = data_size;
    return o;
}

opnd_t opnd_create_immed_int(int64_t i, opnd_size_t data_size) {
    opnd_t o = opnd_of(OPND_KIND_IMMED_INT);
    o.value = i;
    o.size = data_size;
    return o;
}

opnd_t opnd_add_flags(opnd_t opnd, dr_opnd_flags_t flags) {
    opnd.flags = uint16_t(opnd.flags | flags);
    return opnd;
}

bool opnd_is_reg(opnd_t opnd) { return opnd.kind == OPND_KIND_REG; }
bool opnd_is_base_disp(opnd_t opnd) { return opnd.kind == OPND_KIND_BASE_DISP; }
bool opnd_is_immed_int(opnd_t opnd) { return opnd.kind == OPND_KIND_IMMED_INT; }
reg_id_t opnd_get_reg(opnd_t opnd) { return opnd.kind == OPND_KIND_REG ? opnd.reg : reg_id_t(DR_REG_NULL); }
reg_id_t opnd_get_base(opnd_t opnd) { return opnd.kind == OPND_KIND_BASE_DISP ? opnd.reg : reg_id_t(DR_REG_NULL); }
int opnd_get_disp(opnd_t opnd) { return opnd.disp; }
int64_t opnd_get_immed_int(opnd_t opnd) { return opnd.value; }
opnd_size_t opnd_get_size(opnd_t opnd) { return opnd.size; }
dr_opnd_flags_t opnd_get_flags(opnd_t opnd) { return dr_opnd_flags_t(opnd.flags); }

// System registers of msr/mrs, as op0:op1:CRn:CRm:op2 (bits 20:5 of the word).
constexpr uint32_t SYSREG_NZCV = 0xDA10, SYSREG_FPCR = 0xDA20, SYSREG_FPSR = 0xDA21;

static reg_id_t sysreg(uint32_t word) {
    switch ((word >> 5) & 0xFFFF) {
    case SYSREG_NZCV: return DR_REG_NZCV;
    case SYSREG_FPCR: return DR_REG_FPCR;
    case SYSREG_FPSR: return DR_REG_FPSR;
    default: return DR_REG_INVALID;
    }
}

void host_decode(instr_t* in, uint32_t w) {
    in->ndst = in->nsrc = 0;
    in->opcode = OP_UNDECODED;
    if ((w & 0xFFF00000u) == 0xD5100000u) {  // msr <sysreg>, xt
        in->opcode = OP_msr;
        in->ndst = in->nsrc = 1;
        in->dst[0] = opnd_create_reg(sysreg(w));
        in->src[0] = opnd_create_reg(xreg(w & 31));
    } else if ((w & 0xFFF00000u) == 0xD5300000u) {  // mrs xt, <sysreg>
        in->opcode = OP_mrs;
        in->ndst = in->nsrc = 1;
        in->dst[0] = opnd_create_reg(xreg(w & 31));
        in->src[0] = opnd_create_reg(sysreg(w));
    } else if ((w & 0xFC000000u) == 0x14000000u) {
        in->opcode = OP_b;
    } else if ((w & 0xFC000000u) == 0x94000000u) {
        in->opcode = OP_bl;
    } else if ((w & 0xFF000010u) == 0x54000000u) {
        in->opcode = OP_bcond;
    } else if ((w & 0x7E000000u) == 0x34000000u) {
        in->opcode = (w & 0x01000000u) ? OP_cbnz : OP_cbz;
    } else if ((w & 0x7E000000u) == 0x36000000u) {
        in->opcode = (w & 0x01000000u) ? OP_tbnz : OP_tbz;
    } else if ((w & 0xFE000000u) == 0xD6000000u) {
        uint32_t opc = (w >> 21) & 0xF;
        in->opcode = opc == 2 ? OP_ret : opc == 1 ? OP_blr : OP_br;
    } else if ((w & 0xFFE0001Fu) == 0xD4000001u) {
        in->opcode = OP_svc;
    }
}

instrlist_t* host_build_block(void* drcontext, const uint32_t* words, app_pc pc, int n) {
    instrlist_t* bb = instrlist_create(drcontext);
    for (int i = 0; i < n; i++) {
        instr_t* in = instr_create(drcontext);
        instr_set_raw_bits(in, const_cast<byte*>(reinterpret_cast<const byte*>(words + i)), 4);
        instr_set_raw_bits_valid(in, true);
        instr_set_translation(in, pc + 4 * i);
        host_decode(in, words[i]);
        instrlist_append(bb, in);
    }
    return bb;
}

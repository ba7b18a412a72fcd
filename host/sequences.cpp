// The sequences that the client's block event made of SVE words, kept per word address for the
// life of the process, and the blocks that are built to get them.
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

#include "host/runtime.h"

sequence* host_fpcr_watch;

namespace {

constexpr int CACHE_BITS = 16;
constexpr size_t CACHE_SIZE = size_t(1) << CACHE_BITS;
cache_entry* cache;  // open addressing, insert only; null seq with a pc: not an SVE word
pthread_mutex_t build_lock = PTHREAD_MUTEX_INITIALIZER;

// Where the FPCR watch stores the value: an offset into the record of a TLS field.
int fpcr_tls_index = -1;
int64_t fpcr_disp;

size_t slot_of(uintptr_t pc) { return (pc >> 2) * 0x9E3779B97F4A7C15ull >> (64 - CACHE_BITS); }

void insert(uintptr_t pc, sequence* seq) {
    for (size_t i = slot_of(pc), k = 0; k < CACHE_SIZE; i = (i + 1) & (CACHE_SIZE - 1), k++) {
        uintptr_t p = cache[i].pc.load(std::memory_order_relaxed);
        if (p == pc) return;
        if (p == 0) {
            cache[i].seq.store(seq, std::memory_order_relaxed);
            cache[i].pc.store(pc, std::memory_order_release);
            return;
        }
    }
}

sequence* copy_sequence(instr_t* first, instr_t* stop) {
    int n = 0;
    for (instr_t* in = first; in != stop; in = in->next) n++;
    auto* s = static_cast<sequence*>(host_arena_alloc(sizeof(sequence) + sizeof(instr_t*) * n));
    s->n = 0;
    for (instr_t* in = first; in != stop; in = in->next) s->elems[s->n++] = in;
    return s;
}

// Every emulation region of a rewritten block goes into the cache under its application pc.
// The instructions stay in the arena for the life of the process.
void keep_sequences(instrlist_t* bb) {
    for (instr_t* in = bb->first; in; in = in->next) {
        if (in->opcode != OP_host_emulation_start) continue;
        instr_t* end = in->next;
        while (end && end->opcode != OP_host_emulation_end) end = end->next;
        if (!end) break;
        insert(uintptr_t(in->src[0].value), copy_sequence(in, end->next));
        in = end;
    }
}

// Words of the block that starts at `pc`: up to the first branch, at most 32, and not beyond
// the page (the next page may not be mapped).
int block_length(const uint32_t* pc) {
    uintptr_t page_end = (uintptr_t(pc) | (uintptr_t(sysconf(_SC_PAGESIZE)) - 1)) + 1;
    int n = 0;
    instr_t probe;
    while (n < 32 && uintptr_t(pc + n) < page_end) {
        host_decode(&probe, pc[n++]);
        int op = probe.opcode;
        if (op == OP_b || op == OP_bl || op == OP_bcond || op == OP_cbz || op == OP_cbnz || op == OP_tbz ||
            op == OP_tbnz || op == OP_br || op == OP_blr || op == OP_ret || op == OP_svc)
            break;
    }
    return n;
}

}  // namespace

void host_cache_init() {
    void* m = mmap(nullptr, sizeof(cache_entry) * CACHE_SIZE, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    cache = static_cast<cache_entry*>(m);
}

cache_entry* host_lookup(uintptr_t pc) {
    for (size_t i = slot_of(pc), k = 0; k < CACHE_SIZE; i = (i + 1) & (CACHE_SIZE - 1), k++) {
        uintptr_t p = cache[i].pc.load(std::memory_order_acquire);
        if (p == pc) return &cache[i];
        if (p == 0) return nullptr;
    }
    return nullptr;
}

void host_lock_builds(bool lock) {
    if (lock)
        pthread_mutex_lock(&build_lock);
    else
        pthread_mutex_unlock(&build_lock);
}

cache_entry* host_find_or_build(host_thread* t, uintptr_t pc) {
    if (cache_entry* e = host_lookup(pc)) return e;
    host_lock_builds(true);
    if (!host_lookup(pc)) {
        const auto* words = reinterpret_cast<const uint32_t*>(pc);
        instrlist_t* bb = host_build_block(t, words, reinterpret_cast<app_pc>(pc), block_length(words));
        host_run_bb_events(t, bb, reinterpret_cast<app_pc>(pc));
        keep_sequences(bb);
        if (!host_lookup(pc)) insert(pc, nullptr);  // not an SVE word: remembered as such
    }
    host_lock_builds(false);
    return host_lookup(pc);
}

// The client's rewriting of a lone `msr fpcr, x0`: what it puts in front of the msr, and the
// TLS field and offset of the store of x0 into the record.
void host_learn_fpcr_watch(host_thread* t) {
    static const uint32_t msr_fpcr_x0 = 0xD51B4400;
    instrlist_t* bb = host_build_block(t, &msr_fpcr_x0, reinterpret_cast<app_pc>(const_cast<uint32_t*>(&msr_fpcr_x0)), 1);
    host_run_bb_events(t, bb, nullptr);
    instr_t* msr = instrlist_first_app(bb);
    while (msr && msr->opcode != OP_msr) msr = instr_get_next_app(msr);
    if (!msr || bb->first == msr) return;
    host_fpcr_watch = copy_sequence(bb->first, msr);
    int tls_in[DR_REG_X30 + 1];
    for (int& i : tls_in) i = -1;
    for (instr_t* in = bb->first; in != msr; in = in->next) {
        if (in->opcode == OP_host_read_tls && in->dst[0].reg >= DR_REG_X0 && in->dst[0].reg <= DR_REG_X30)
            tls_in[in->dst[0].reg] = int(in->src[0].value);
        if (in->opcode == OP_str && in->src[0].reg == DR_REG_W0 && in->dst[0].size == OPSZ_4 &&
            in->dst[0].reg >= DR_REG_X0 && in->dst[0].reg <= DR_REG_X30 && tls_in[in->dst[0].reg] >= 0) {
            fpcr_tls_index = tls_in[in->dst[0].reg];
            fpcr_disp = in->dst[0].disp;
        }
    }
}

uint32_t* host_fpcr_field_of(const host_thread* t) {
    if (fpcr_tls_index < 0 || !t->tls[fpcr_tls_index]) return nullptr;
    return reinterpret_cast<uint32_t*>(static_cast<byte*>(t->tls[fpcr_tls_index]) + fpcr_disp);
}

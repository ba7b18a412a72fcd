// The translate stage in the host: a trampoline for a run of consecutive SVE words of a block.
// Words the translator takes become inline code that shares one set-up of scratch registers;
// the others keep the client's sequence (save, call, reload). Every word of the run becomes a
// branch into the trampoline: the first to its start, the others to an entry of their own. A
// load or store of a translated word leaves for the word's sequence when an element is inactive
// or the thread records a region, and a fault inside it is sent there too (host_translated_fault).
#include <dlfcn.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "host/encode.h"
#include "host/runtime.h"
#include "host/translate/a64.h"
#include "host/translate/translate.h"

bool host_translate_enabled;
std::atomic<uint64_t> host_translated_words, host_called_words, host_merged_runs;

namespace {

typedef int (*word_row_fn)(uint32_t);
typedef const bool* (*trace_flag_fn)();

xl_env env;
uintptr_t thread_offset;
const sve_row_info* rows;
word_row_fn word_row;
trace_flag_fn trace_flag;

// Where a fault inside a run's inline code goes: the scratch registers to put back and the
// word's sequence to carry it out again.
struct fault_site {
    uintptr_t lo, hi, resume;
    xl_regs regs;
};
constexpr int MAX_SITES = 1 << 14;
fault_site sites[MAX_SITES];
std::atomic<int> n_sites;

constexpr int MAX_RUN = 16;
constexpr int MAX_CODE = 1 << 15;

struct run_word {
    cache_entry* e;
    const sequence* s;
    xl_word x;
    int seg;  // its set-up among the run's, or -1: it keeps its sequence
    int entry, start, after, slow, plain, called;
    bool inline_entry;
    int lo, hi;
};

uint32_t word_of(const sequence* s) {
    for (int i = 0; i < s->n; i++)
        if (s->elems[i]->opcode == OP_host_call && s->elems[i]->nsrc > 1) return uint32_t(s->elems[i]->src[1].value);
    return 0;
}

// The TLS field the sequence reads the record from: the translated code reads it too.
bool learn_record_field(const sequence* s) {
    if (env.record_tp) return true;
    for (int i = 0; i < s->n; i++) {
        if (s->elems[i]->opcode != OP_host_read_tls) continue;
        uintptr_t off = thread_offset + offsetof(host_thread, tls) + 8 * uintptr_t(s->elems[i]->src[0].value);
        if (off >= (uintptr_t(1) << 24) || off % 8) return false;
        env.record_tp = uint32_t(off);
        return true;
    }
    return false;
}

bool append_sequence(xl_emitter& em, const sequence* s) {
    int n = em.n;
    if (n + 4096 > em.max || !host_encode_sequence(s, em.out, n, em.max)) return false;
    em.n = n;
    return true;
}

// Elements [from, to) of a sequence.
bool append_elements(xl_emitter& em, const sequence* s, int from, int to) {
    for (int i = from; i < to; i++) {
        if (em.n + HOST_MAX_ELEMENT_WORDS > em.max) return false;
        int k = host_encode_element(s->elems[i], host_code_environment(), em.out + em.n);
        if (k < 0) return false;
        em.n += k;
    }
    return true;
}

// The element of the call: before it the saves, after it the reloads.
int call_index(const sequence* s) {
    for (int i = 0; i < s->n; i++)
        if (s->elems[i]->opcode == OP_host_call) return i;
    return -1;
}

}  // namespace

void host_setup_translate_stage(void* client, uintptr_t offset) {
    // The instruction mix is counted in the emulation call: while it is asked for, every word
    // keeps the call (the patch stage's trampolines).
    const char* stats = getenv("SVE_STATS");
    if (stats && *stats) return;
    rows = static_cast<const sve_row_info*>(dlsym(client, "sve_rows"));
    word_row = reinterpret_cast<word_row_fn>(dlsym(client, "sve_word_row"));
    trace_flag = reinterpret_cast<trace_flag_fn>(dlsym(client, "sve_trace_flag"));
    uintptr_t flag_off = offset + offsetof(host_thread, trace_flag);
    if (!rows || !word_row || !trace_flag || flag_off >= (uintptr_t(1) << 24) || offset % 8) return;
    thread_offset = offset;
    env.vl = host_vl_bytes;
    env.features = uint32_t(host_real_hwcap()) & XL_HAS_DOTPROD;
    env.trace_tp = uint32_t(flag_off);
    host_translate_enabled = true;
    host_translate_thread_init(&this_thread);
}

void host_translate_thread_init(host_thread* t) {
    if (trace_flag) t->trace_flag = trace_flag();
}

bool host_translate_run(uintptr_t pc, const sequence* first) {
    if (!learn_record_field(first)) return false;
    run_word w[MAX_RUN];
    int n = 0;
    for (; n < MAX_RUN; n++) {
        cache_entry* e = host_lookup(pc + 4 * uintptr_t(n));
        const sequence* s = n == 0 ? first : e ? e->seq.load(std::memory_order_relaxed) : nullptr;
        if (n > 0 && (!e || !s || e->patched)) break;
        uint32_t word = word_of(s);
        int row = word_row(word);
        w[n] = {};
        w[n].e = e, w[n].s = s;
        w[n].x = xl_select(row >= 0 ? &rows[row] : nullptr, word, env);
    }
    // Consecutive translated words share a set-up while enough scratch registers stay free.
    xl_regs regs[MAX_RUN];
    int n_seg = 0;
    uint32_t uses = 0;
    int ng = 0, nv = 0;
    for (int k = 0; k < n; k++) {
        w[k].seg = -1;
        if (!w[k].x.form) continue;
        bool joined = false;
        if (k > 0 && w[k - 1].seg >= 0) {
            xl_regs r;
            uint32_t u = uses | w[k].x.uses;
            int g = ng > w[k].x.ng ? ng : w[k].x.ng, v = nv > w[k].x.nv ? nv : w[k].x.nv;
            if (xl_pick_regs(u, g, v, r)) {
                regs[n_seg - 1] = r, uses = u, ng = g, nv = v;
                joined = true;
            }
        }
        if (!joined) {
            uses = w[k].x.uses, ng = w[k].x.ng, nv = w[k].x.nv;
            if (!xl_pick_regs(uses, ng, nv, regs[n_seg])) {
                w[k].x.form = nullptr;
                continue;
            }
            n_seg++;
        }
        w[k].seg = n_seg - 1;
    }

    static uint32_t buf[MAX_CODE];
    xl_emitter em(buf, MAX_CODE);
    for (int k = 0; k < n; k++) {
        w[k].entry = em.new_label(), w[k].start = em.new_label(), w[k].after = em.new_label();
        w[k].slow = em.new_label(), w[k].plain = em.new_label(), w[k].called = em.new_label();
    }
    int open = -1;
    int pending = -1;  // the label behind the previous translated word: its way out comes back there
    for (int k = 0; k < n; k++) {
        if (w[k].seg >= 0) {
            int body = -1;
            if (pending >= 0 && open == w[k].seg && xl_guards_carry(w[k - 1].x, w[k].x)) {
                body = em.new_label();
                em.branch(a64::b(0), body);  // past the guards that the previous word's passed
            }
            if (pending >= 0) em.bind(pending), pending = -1;
            if (open != w[k].seg) {
                if (open >= 0) xl_epilogue(em, regs[open], env);
                em.bind(w[k].entry);
                w[k].inline_entry = true;
                xl_prologue(em, regs[w[k].seg], env);
                open = w[k].seg;
            }
            em.bind(w[k].start);
            w[k].lo = em.n;
            xl_emit(em, w[k].x, regs[open], env, w[k].slow, body, w[k].after);
            w[k].hi = em.n;
            pending = w[k].after;
        } else {
            if (pending >= 0) em.bind(pending), pending = -1;
            // Consecutive called words share the saves of the first and the reloads of the last:
            // the emulation call of each reads and writes the record, where the state stays.
            if (open >= 0) xl_epilogue(em, regs[open], env);
            open = -1;
            int call = call_index(w[k].s);
            if (call < 0) return false;
            bool first_called = k == 0 || w[k - 1].seg >= 0, last_called = k == n - 1 || w[k + 1].seg >= 0;
            em.bind(w[k].start);
            if (first_called) {
                em.bind(w[k].entry);
                w[k].inline_entry = true;
            }
            if (!append_elements(em, w[k].s, first_called ? 0 : call, call + 1)) return false;
            em.bind(w[k].called);
            if (last_called && !append_elements(em, w[k].s, call + 1, w[k].s->n)) return false;
        }
    }
    if (pending >= 0) em.bind(pending);
    if (open >= 0) xl_epilogue(em, regs[open], env);
    int back = em.n;
    em.put(0);  // b behind the last word, once the trampoline has its place
    for (int k = 0; k < n; k++) {
        if (w[k].seg < 0) {
            if (!w[k].inline_entry) {  // a called word inside a group: its own saves, then the group's way on
                em.bind(w[k].entry);
                if (!append_elements(em, w[k].s, 0, call_index(w[k].s) + 1)) return false;
                em.branch(a64::b(0), w[k].called);
            }
            continue;
        }
        if (w[k].x.memory) {  // the way out: undo the set-up, the word's sequence, set up again
            em.bind(w[k].slow);
            xl_epilogue(em, regs[w[k].seg], env);
            em.bind(w[k].plain);
            if (!append_sequence(em, w[k].s)) return false;
            xl_prologue(em, regs[w[k].seg], env);
            em.branch(a64::b(0), w[k].after);
        }
        if (!w[k].inline_entry) {
            em.bind(w[k].entry);
            xl_prologue(em, regs[w[k].seg], env);
            em.branch(a64::b(0), w[k].start);
        }
    }
    int total = em.finish();
    if (total < 0) return false;
    uint32_t* code = host_code_space(pc, size_t(total) * 4 + 16);
    if (!code) return false;
    // literals want their 16 bytes aligned: the chunk hands out 4-byte steps
    while (uintptr_t(code) % 16) code++;
    std::memcpy(code, buf, size_t(total) * 4);
    code[back] = host_encode_branch(uintptr_t(code + back), pc + 4 * uintptr_t(n));
    if (!code[back]) return false;
    __builtin___clear_cache(reinterpret_cast<char*>(code), reinterpret_cast<char*>(code + total));
    auto at = [&](int label) { return uintptr_t(code + em.labels[label]); };
    for (int k = 0; k < n; k++) {
        if (w[k].seg < 0 || !w[k].x.memory) continue;
        int i = n_sites.load(std::memory_order_relaxed);
        if (i == MAX_SITES) return false;
        sites[i] = {uintptr_t(code + w[k].lo), uintptr_t(code + w[k].hi), at(w[k].plain), regs[w[k].seg]};
        n_sites.store(i + 1, std::memory_order_release);
    }
    host_trampoline_words.fetch_add(uint64_t(total), std::memory_order_relaxed);
    if (n > 1) host_merged_runs.fetch_add(1, std::memory_order_relaxed);
    // the later words first: the first one opens the run to other threads
    for (int k = n - 1; k >= 0; k--) {
        if (k > 0) w[k].e->patched = true;
        if (!host_redirect(pc + 4 * uintptr_t(k), k == 0 ? uintptr_t(code) : at(w[k].entry))) return false;
        (w[k].seg >= 0 ? host_translated_words : host_called_words).fetch_add(1, std::memory_order_relaxed);
    }
    return true;
}

bool host_translated_fault(ucontext_t* uc) {
    if (!host_translate_enabled) return false;
    uintptr_t pc = uc->uc_mcontext.pc;
    int n = n_sites.load(std::memory_order_acquire);
    for (int i = 0; i < n; i++) {
        const fault_site& s = sites[i];
        if (pc < s.lo || pc >= s.hi) continue;
        fpsimd_record* fp = host_find_fpsimd(uc);
        if (!fp) return false;
        uint64_t gpr[32];
        std::memcpy(gpr, uc->uc_mcontext.regs, 31 * 8);
        gpr[31] = uc->uc_mcontext.sp;
        xl_undo_setup(s.regs, gpr, fp->vregs);
        std::memcpy(uc->uc_mcontext.regs, gpr, 31 * 8);
        uc->uc_mcontext.sp = gpr[31];
        uc->uc_mcontext.pc = s.resume;
        return true;
    }
    return false;
}

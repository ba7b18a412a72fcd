// The host runtime: loaded into the application (LD_PRELOAD), it plays the
// framework's part. It loads the client named by SVE_HOST_CLIENT, calls dr_client_main with the
// arguments of SVE_HOST_CLIENT_ARGS, gives threads their events, and on each SIGILL of an SVE
// word carries out, against the signal context, the sequence that the client's block event put
// in place of that word (trap stage). What the client made of a word is kept per word address.
// Then it encodes the sequence as machine code into a trampoline within branch range and
// replaces the SVE word by a branch to it (patch stage), so that later executions do not trap.
// SVE_HOST_STAGE=trap keeps every word in the trap stage.
#include <dlfcn.h>
#include <errno.h>
#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <ucontext.h>
#include <unistd.h>

#include <atomic>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <string>

#include "host/encode.h"
#include "host/include/dr_host.h"
#include "host/include/droption.h"
#include "host/include/drreg.h"

void* host_arena_alloc(size_t size);

namespace {

// ---- Framework state -------------------------------------------------------------------------

thread_local __attribute__((tls_model("initial-exec"))) host_thread this_thread;

constexpr int MAX_EVENTS = 8;
void (*thread_init_events[MAX_EVENTS])(void*);
void (*thread_exit_events[MAX_EVENTS])(void*);
void (*exit_events[MAX_EVENTS])(void);
int n_thread_init, n_thread_exit, n_exit;

struct bb_event {
    drmgr_xform_cb_t fn;
    int priority;
};
bb_event bb_events[MAX_EVENTS];
int n_bb_events;
int n_tls_fields;
reg_id_t stolen_reg = DR_REG_X28;
pthread_key_t thread_key;
bool log_enabled;
bool client_loaded;
std::atomic<uint64_t> trap_count;
std::atomic<uint32_t> patch_count;
std::atomic<uint64_t> trampoline_words;  // machine words written into trampolines, branch back included

template <class F>
bool add_event(F* list, int& n, F fn) {
    if (n == MAX_EVENTS) return false;
    list[n++] = fn;
    return true;
}

template <class F>
bool remove_event(F* list, int& n, F fn) {
    for (int i = 0; i < n; i++) {
        if (list[i] != fn) continue;
        for (int j = i + 1; j < n; j++) list[j - 1] = list[j];
        n--;
        return true;
    }
    return false;
}

// ---- The signal context ----------------------------------------------------------------------

constexpr uint32_t FPSIMD_MAGIC_WORD = 0x46508001;
struct fpsimd_record {
    uint32_t magic, size;
    uint32_t fpsr, fpcr;
    __uint128_t vregs[32];
};

fpsimd_record* find_fpsimd(ucontext_t* uc) {
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

// The registers that a rewritten sequence reads and writes: the general registers, sp and
// NZCV of the interrupted code, and its FP/SIMD record.
struct machine {
    ucontext_t* uc;
    fpsimd_record* fp;
    host_thread* thread;
};

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

// ---- What the client made of each SVE word ----------------------------------------------------

struct sequence {
    int n;
    instr_t* elems[1];
};

constexpr int CACHE_BITS = 16;
constexpr size_t CACHE_SIZE = size_t(1) << CACHE_BITS;
struct cache_entry {
    std::atomic<uintptr_t> pc;
    std::atomic<sequence*> seq;
    bool patched;  // tried by the patch stage (under build_lock)
};
cache_entry* cache;  // open addressing, insert only; null seq with a pc: not an SVE word
pthread_mutex_t build_lock = PTHREAD_MUTEX_INITIALIZER;
sequence* fpcr_watch;  // what the client puts in front of `msr fpcr, x0`

size_t slot_of(uintptr_t pc) { return (pc >> 2) * 0x9E3779B97F4A7C15ull >> (64 - CACHE_BITS); }

cache_entry* lookup(uintptr_t pc) {
    for (size_t i = slot_of(pc), k = 0; k < CACHE_SIZE; i = (i + 1) & (CACHE_SIZE - 1), k++) {
        uintptr_t p = cache[i].pc.load(std::memory_order_acquire);
        if (p == pc) return &cache[i];
        if (p == 0) return nullptr;
    }
    return nullptr;
}

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

// ---- The patch stage ---------------------------------------------------------------------------

bool patch_enabled;
host_code_env code_env;

struct code_chunk {
    uintptr_t next, end;
};
constexpr int MAX_CHUNKS = 256;
constexpr size_t CHUNK_BYTES = size_t(1) << 20;
constexpr int64_t BRANCH_REACH = int64_t(120) << 20;  // below the 128 MiB of `b`, with room
code_chunk chunks[MAX_CHUNKS];
int n_chunks;

bool in_reach(uintptr_t a, uintptr_t b) {
    int64_t d = int64_t(a) - int64_t(b);
    return d > -BRANCH_REACH && d < BRANCH_REACH;
}

// `bytes` of executable memory that a branch at `pc` reaches, or null.
uint32_t* code_space(uintptr_t pc, size_t bytes) {
    for (int i = 0; i < n_chunks; i++) {
        code_chunk& c = chunks[i];
        if (c.end - c.next >= bytes && in_reach(c.next, pc) && in_reach(c.next + bytes, pc)) {
            auto* p = reinterpret_cast<uint32_t*>(c.next);
            c.next += bytes;
            return p;
        }
    }
    if (n_chunks == MAX_CHUNKS || bytes > CHUNK_BYTES) return nullptr;
    // Candidate places below and above the code, nearest first.
    uintptr_t base = pc & ~(CHUNK_BYTES - 1);
    for (int k = 1; k < 100; k++) {
        uintptr_t hint = (k & 1) ? base - CHUNK_BYTES * uintptr_t((k + 1) / 2 * 4)
                                 : base + CHUNK_BYTES * uintptr_t(k / 2 * 4 + 2);
        void* m = mmap(reinterpret_cast<void*>(hint), CHUNK_BYTES, PROT_READ | PROT_WRITE | PROT_EXEC,
                       MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (m == MAP_FAILED) continue;
        uintptr_t a = uintptr_t(m);
        if (!in_reach(a, pc) || !in_reach(a + CHUNK_BYTES, pc)) {
            munmap(m, CHUNK_BYTES);
            continue;
        }
        chunks[n_chunks++] = {a + bytes, a + CHUNK_BYTES};
        return static_cast<uint32_t*>(m);
    }
    return nullptr;
}

// Appends the machine code of a sequence; false if an element has no encoding.
bool encode_sequence(const sequence* s, uint32_t* buf, int& n, int max) {
    for (int i = 0; i < s->n; i++) {
        if (n + HOST_MAX_ELEMENT_WORDS > max) return false;
        int k = host_encode_element(s->elems[i], code_env, buf + n);
        if (k < 0) return false;
        n += k;
    }
    return true;
}

// The trampoline of the SVE word at `pc`: the FPCR watch with the live FPCR (x0 kept on the
// stack meanwhile), the sequence, and a branch back behind the word. Then the word becomes a
// branch to it. False leaves the word as it is, to the trap stage.
bool patch(uintptr_t pc, const sequence* s) {
    constexpr int MAX_WORDS = 2048;
    static uint32_t buf[MAX_WORDS];
    int n = 0;
    if (fpcr_watch) {
        buf[n++] = 0xD10043FFu;  // sub sp, sp, #16
        buf[n++] = 0xF90003E0u;  // str x0, [sp]
        buf[n++] = 0xD53B4400u;  // mrs x0, fpcr
        if (!encode_sequence(fpcr_watch, buf, n, MAX_WORDS - 8)) return false;
        buf[n++] = 0xF94003E0u;  // ldr x0, [sp]
        buf[n++] = 0x910043FFu;  // add sp, sp, #16
    }
    if (!encode_sequence(s, buf, n, MAX_WORDS - 1)) return false;
    uint32_t* code = code_space(pc, size_t(n + 1) * 4);
    if (!code) return false;
    uint32_t back = host_encode_branch(uintptr_t(code + n), pc + 4);
    uint32_t there = host_encode_branch(pc, uintptr_t(code));
    if (!back || !there) return false;
    std::memcpy(code, buf, size_t(n) * 4);
    code[n] = back;
    trampoline_words.fetch_add(uint64_t(n + 1), std::memory_order_relaxed);
    __builtin___clear_cache(reinterpret_cast<char*>(code), reinterpret_cast<char*>(code + n + 1));
    uintptr_t page = pc & ~(uintptr_t(sysconf(_SC_PAGESIZE)) - 1);
    if (mprotect(reinterpret_cast<void*>(page), size_t(sysconf(_SC_PAGESIZE)), PROT_READ | PROT_WRITE | PROT_EXEC)) return false;
    __atomic_store_n(reinterpret_cast<uint32_t*>(pc), there, __ATOMIC_RELEASE);
    mprotect(reinterpret_cast<void*>(page), size_t(sysconf(_SC_PAGESIZE)), PROT_READ | PROT_EXEC);
    __builtin___clear_cache(reinterpret_cast<char*>(pc), reinterpret_cast<char*>(pc + 4));
    return true;
}

void setup_patch_stage() {
    const char* stage = getenv("SVE_HOST_STAGE");
    if (stage && (std::strcmp(stage, "trap") == 0 || std::strcmp(stage, "1") == 0)) return;
    uintptr_t offset = uintptr_t(&this_thread) - uintptr_t(__builtin_thread_pointer());
    if (offset >= (uintptr_t(1) << 24)) return;  // not reachable with two adds
    code_env.thread_offset = offset;
    patch_enabled = true;
}

void thread_init(host_thread* t) {
    t->initialised = true;
    pthread_setspecific(thread_key, t);
    host_run_thread_events(t, true);
}

void thread_exit(host_thread* t) {
    if (!t->initialised || t->exited) return;
    t->exited = true;
    host_run_thread_events(t, false);
}

void thread_key_destructor(void* t) { thread_exit(static_cast<host_thread*>(t)); }

void default_action(int sig) {
    struct sigaction sa = {};
    sa.sa_handler = SIG_DFL;
    sigemptyset(&sa.sa_mask);
    sigaction(sig, &sa, nullptr);
}

void run_sequence(machine& m, const sequence* s) {
    for (int i = 0; i < s->n; i++) {
        if (!execute(m, s->elems[i])) {
            dr_fprintf(our_stderr, "SVE host: cannot carry out element %d (opcode %d) of the sequence at %p\n", i,
                       s->elems[i]->opcode, reinterpret_cast<void*>(m.uc->uc_mcontext.pc));
            _exit(70);
        }
    }
}

// The FPCR watch of the client, carried out with the live FPCR as the written value: the
// record's fpcr then equals the application's FPCR. It runs on a copy of the context, so the
// application's registers are not touched.
void sync_fpcr(machine& m) {
    if (!fpcr_watch) return;
    ucontext_t copy = *m.uc;
    copy.uc_mcontext.regs[0] = m.fp->fpcr;
    machine c = {&copy, m.fp, m.thread};
    run_sequence(c, fpcr_watch);
}

void sigill_handler(int sig, siginfo_t*, void* context) {
    auto* uc = static_cast<ucontext_t*>(context);
    uintptr_t pc = uc->uc_mcontext.pc;
    trap_count.fetch_add(1, std::memory_order_relaxed);
    host_thread* t = &this_thread;
    if (!t->initialised) thread_init(t);
    cache_entry* e = lookup(pc);
    if (!e) {
        pthread_mutex_lock(&build_lock);
        if (!lookup(pc)) {
            const auto* words = reinterpret_cast<const uint32_t*>(pc);
            instrlist_t* bb = host_build_block(t, words, reinterpret_cast<app_pc>(pc), block_length(words));
            host_run_bb_events(t, bb, reinterpret_cast<app_pc>(pc));
            keep_sequences(bb);
            if (!lookup(pc)) insert(pc, nullptr);  // not an SVE word: remembered as such
        }
        pthread_mutex_unlock(&build_lock);
        e = lookup(pc);
    }
    sequence* s = e ? e->seq.load(std::memory_order_relaxed) : nullptr;
    machine m = {uc, find_fpsimd(uc), t};
    if (!s || !m.fp) {
        // An undefined instruction that is not SVE: it runs again and meets the default action.
        default_action(sig);
        return;
    }
    sync_fpcr(m);
    run_sequence(m, s);
    uc->uc_mcontext.pc = pc + 4;
    if (patch_enabled && !e->patched) {
        pthread_mutex_lock(&build_lock);
        if (!e->patched) {
            e->patched = true;
            if (patch(pc, s)) patch_count.fetch_add(1, std::memory_order_relaxed);
        }
        pthread_mutex_unlock(&build_lock);
    }
}

void learn_fpcr_watch(host_thread* t) {
    static const uint32_t msr_fpcr_x0 = 0xD51B4400;
    instrlist_t* bb = host_build_block(t, &msr_fpcr_x0, reinterpret_cast<app_pc>(const_cast<uint32_t*>(&msr_fpcr_x0)), 1);
    host_run_bb_events(t, bb, nullptr);
    instr_t* msr = instrlist_first_app(bb);
    while (msr && msr->opcode != OP_msr) msr = instr_get_next_app(msr);
    if (msr && bb->first != msr) fpcr_watch = copy_sequence(bb->first, msr);
}

void process_exit() {
    thread_exit(&this_thread);
    for (int i = 0; i < n_exit; i++) exit_events[i]();
    if (log_enabled)
        dr_fprintf(our_stderr, "SVE host: %llu traps, %u words patched\n", (unsigned long long)trap_count.load(),
                   patch_count.load());
    if (log_enabled && patch_count.load())
        dr_fprintf(our_stderr, "SVE host: %llu trampoline words, %.1f a patched word\n",
                   (unsigned long long)trampoline_words.load(), double(trampoline_words.load()) / patch_count.load());
}

// Splits the client's argument string at spaces.
int split_args(char* s, const char** argv, int max) {
    int n = 0;
    for (char* tok = strtok(s, " "); tok && n < max; tok = strtok(nullptr, " ")) argv[n++] = tok;
    return n;
}

__attribute__((constructor)) void host_start() {
    log_enabled = getenv("SVE_HOST_LOG") != nullptr;
    pthread_key_create(&thread_key, thread_key_destructor);
    void* m = mmap(nullptr, sizeof(cache_entry) * CACHE_SIZE, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    cache = static_cast<cache_entry*>(m);
    const char* client = getenv("SVE_HOST_CLIENT");
    if (!client || !*client) return;  // linked into a program that drives the interface itself

    struct sigaction sa = {};
    sa.sa_sigaction = sigill_handler;
    sigemptyset(&sa.sa_mask);
    sa.sa_flags = SA_SIGINFO | SA_RESTART | SA_NODEFER;
    sigaction(SIGILL, &sa, nullptr);

    void* lib = dlopen(client, RTLD_NOW | RTLD_GLOBAL);
    if (!lib) {
        dr_fprintf(our_stderr, "SVE host: cannot load the client %s: %s\n", client, dlerror());
        _exit(127);
    }
    typedef void (*client_main_t)(client_id_t, int, const char**);
    auto client_main = reinterpret_cast<client_main_t>(dlsym(lib, "dr_client_main"));
    if (!client_main) {
        dr_fprintf(our_stderr, "SVE host: %s has no dr_client_main\n", client);
        _exit(127);
    }
    static std::string args;
    const char* env_args = getenv("SVE_HOST_CLIENT_ARGS");
    args = env_args ? env_args : "";
    const char* argv[64] = {client};
    int argc = 1 + split_args(args.data(), argv + 1, 63);
    client_main(0, argc, argv);
    client_loaded = true;
    learn_fpcr_watch(&this_thread);
    setup_patch_stage();
    thread_init(&this_thread);
    atexit(process_exit);
}

}  // namespace

// Threads made with pthread_create get their init events before their first instruction, since
// in the patch stage their SVE words may never trap.
struct thread_start {
    void* (*fn)(void*);
    void* arg;
};

static void* start_thread(void* p) {
    thread_start st = *static_cast<thread_start*>(p);
    free(p);
    if (!this_thread.initialised) thread_init(&this_thread);
    return st.fn(st.arg);
}

// ---- The interface -------------------------------------------------------------------------

file_t our_stderr_file(void) { return 2; }

void dr_set_client_name(const char*, const char*) {}

const char* dr_get_application_name(void) { return program_invocation_short_name; }

bool dr_register_exit_event(void (*func)(void)) { return add_event(exit_events, n_exit, func); }
bool dr_unregister_exit_event(void (*func)(void)) { return remove_event(exit_events, n_exit, func); }

ssize_t dr_fprintf(file_t f, const char* fmt, ...) {
    char buf[1024];
    va_list ap;
    va_start(ap, fmt);
    int n = vsnprintf(buf, sizeof buf, fmt, ap);
    va_end(ap);
    if (n < 0) return -1;
    if (size_t(n) >= sizeof buf) n = sizeof buf - 1;
    return write(f, buf, size_t(n));
}

void dr_log(void*, uint32_t, uint32_t level, const char* fmt, ...) {
    if (!log_enabled || level > 1) return;
    char buf[1024];
    va_list ap;
    va_start(ap, fmt);
    int n = vsnprintf(buf, sizeof buf, fmt, ap);
    va_end(ap);
    if (n > 0) {
        ssize_t r = write(2, buf, size_t(n) < sizeof buf ? size_t(n) : sizeof buf - 1);
        (void)r;
    }
}

void dr_abort(void) { _exit(1); }

void* dr_get_current_drcontext(void) { return &this_thread; }

void* dr_thread_alloc(void*, size_t size) {
    void* m = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return m == MAP_FAILED ? nullptr : m;
}

void dr_thread_free(void*, void* mem, size_t size) { munmap(mem, size); }

reg_id_t dr_get_stolen_reg(void) { return stolen_reg; }

static instr_t* meta(int opcode, int ndst, int nsrc) {
    instr_t* in = instr_create(nullptr);
    in->app = false;
    in->opcode = opcode;
    in->ndst = uint8_t(ndst);
    in->nsrc = uint8_t(nsrc);
    return in;
}

bool dr_insert_get_stolen_reg_value(void*, instrlist_t* ilist, instr_t* where, reg_id_t reg) {
    instr_t* in = meta(OP_host_get_stolen, 1, 0);
    in->dst[0] = opnd_create_reg(reg);
    instrlist_preinsert(ilist, where, in);
    return true;
}

bool dr_insert_set_stolen_reg_value(void*, instrlist_t* ilist, instr_t* where, reg_id_t reg) {
    instr_t* in = meta(OP_host_set_stolen, 0, 1);
    in->src[0] = opnd_create_reg(reg);
    instrlist_preinsert(ilist, where, in);
    return true;
}

void dr_save_reg(void*, instrlist_t* ilist, instr_t* where, reg_id_t reg, dr_spill_slot_t slot) {
    instr_t* in = meta(OP_host_save_slot, 0, 2);
    in->src[0] = opnd_create_reg(reg);
    in->src[1] = opnd_create_immed_int(slot, OPSZ_4);
    instrlist_preinsert(ilist, where, in);
}

void dr_restore_reg(void*, instrlist_t* ilist, instr_t* where, reg_id_t reg, dr_spill_slot_t slot) {
    instr_t* in = meta(OP_host_restore_slot, 1, 1);
    in->dst[0] = opnd_create_reg(reg);
    in->src[0] = opnd_create_immed_int(slot, OPSZ_4);
    instrlist_preinsert(ilist, where, in);
}

reg_t dr_read_saved_reg(void* drcontext, dr_spill_slot_t slot) {
    return static_cast<host_thread*>(drcontext)->slots[slot];
}

void dr_write_saved_reg(void* drcontext, dr_spill_slot_t slot, reg_t value) {
    static_cast<host_thread*>(drcontext)->slots[slot] = value;
}

void dr_insert_call_tarnel(void*, instrlist_t* ilist, instr_t* where, app_pc app, void* callee, uint32_t num_args,
                           ...) {
    instr_t* in = meta(OP_host_call, 0, 1 + int(num_args < HOST_MAX_SRCS ? num_args : HOST_MAX_SRCS - 1));
    in->src[0] = opnd_create_immed_int(int64_t(callee), OPSZ_8);
    va_list ap;
    va_start(ap, num_args);
    for (int i = 1; i < in->nsrc; i++) in->src[i] = va_arg(ap, opnd_t);
    va_end(ap);
    in->translation = app;
    instrlist_preinsert(ilist, where, in);
}

bool drmgr_init(void) { return true; }
void drmgr_exit(void) {}
bool drmgr_register_thread_init_event(void (*func)(void*)) { return add_event(thread_init_events, n_thread_init, func); }
bool drmgr_register_thread_exit_event(void (*func)(void*)) { return add_event(thread_exit_events, n_thread_exit, func); }

bool drmgr_register_bb_app2app_event(drmgr_xform_cb_t func, drmgr_priority_t* priority) {
    if (!func || n_bb_events == MAX_EVENTS) return false;
    int prio = priority ? priority->priority : 0;
    int i = n_bb_events++;
    while (i > 0 && bb_events[i - 1].priority > prio) {  // lower priorities run first
        bb_events[i] = bb_events[i - 1];
        i--;
    }
    bb_events[i] = {func, prio};
    return true;
}

bool drmgr_unregister_bb_app2app_event(drmgr_xform_cb_t func) {
    for (int i = 0; i < n_bb_events; i++) {
        if (bb_events[i].fn != func) continue;
        for (int j = i + 1; j < n_bb_events; j++) bb_events[j - 1] = bb_events[j];
        n_bb_events--;
        return true;
    }
    return false;
}

int drmgr_register_tls_field(void) { return n_tls_fields < HOST_TLS_FIELDS ? n_tls_fields++ : -1; }
bool drmgr_unregister_tls_field(int idx) { return idx >= 0 && idx < n_tls_fields; }

void* drmgr_get_tls_field(void* drcontext, int idx) {
    if (idx < 0 || idx >= n_tls_fields) return nullptr;
    return static_cast<host_thread*>(drcontext)->tls[idx];
}

bool drmgr_set_tls_field(void* drcontext, int idx, void* value) {
    if (idx < 0 || idx >= n_tls_fields) return false;
    static_cast<host_thread*>(drcontext)->tls[idx] = value;
    return true;
}

bool drmgr_insert_read_tls_field(void*, int idx, instrlist_t* ilist, instr_t* where, reg_id_t reg) {
    if (idx < 0 || idx >= n_tls_fields) return false;
    instr_t* in = meta(OP_host_read_tls, 1, 1);
    in->dst[0] = opnd_create_reg(reg);
    in->src[0] = opnd_create_immed_int(idx, OPSZ_4);
    instrlist_preinsert(ilist, where, in);
    return true;
}

bool drmgr_insert_emulation_start(void*, instrlist_t* ilist, instr_t* where, emulated_instr_t* instr) {
    if (!instr || instr->size < sizeof(emulated_instr_t)) return false;
    instr_t* in = meta(OP_host_emulation_start, 0, 1);
    in->src[0] = opnd_create_immed_int(int64_t(instr->pc), OPSZ_8);
    instrlist_preinsert(ilist, where, in);
    return true;
}

void drmgr_insert_emulation_end(void*, instrlist_t* ilist, instr_t* where) {
    instrlist_preinsert(ilist, where, meta(OP_host_emulation_end, 0, 0));
}

drreg_status_t drreg_exit(void) { return DRREG_SUCCESS; }

bool droption_parser_t::parse_argv(unsigned int, int argc, const char* argv[], std::string* error_msg, int* last_index) {
    int i = 1;
    bool ok = true;
    for (; i < argc; i++) {
        if (std::strcmp(argv[i], "--") == 0) break;
        if (error_msg) *error_msg = std::string("Unknown option: ") + argv[i];
        ok = false;
        break;
    }
    if (last_index) *last_index = i;
    return ok;
}

void host_run_bb_events(void* drcontext, instrlist_t* bb, app_pc tag) {
    for (int i = 0; i < n_bb_events; i++) bb_events[i].fn(drcontext, tag, bb, false, false);
}

void host_set_stolen_reg(reg_id_t reg) { stolen_reg = reg; }
void* host_thread_context(void) { return &this_thread; }

void host_run_thread_events(void* drcontext, bool init) {
    auto* t = static_cast<host_thread*>(drcontext);
    if (init) {
        for (int i = 0; i < n_thread_init; i++) thread_init_events[i](t);
    } else {
        for (int i = 0; i < n_thread_exit; i++) thread_exit_events[i](t);
    }
}

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attr, void* (*fn)(void*), void* arg) {
    typedef int (*create_t)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static create_t next = reinterpret_cast<create_t>(dlsym(RTLD_NEXT, "pthread_create"));
    if (!client_loaded) return next(thread, attr, fn, arg);
    auto* st = static_cast<thread_start*>(malloc(sizeof(thread_start)));
    if (!st) return EAGAIN;
    *st = {fn, arg};
    int rc = next(thread, attr, start_thread, st);
    if (rc != 0) free(st);
    return rc;
}

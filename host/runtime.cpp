// The host runtime: loaded into the application (LD_PRELOAD), it plays the framework's part. It
// loads the client named by SVE_HOST_CLIENT, calls dr_client_main with the arguments of
// SVE_HOST_CLIENT_ARGS, gives threads their events and their emulator stacks, and on each SIGILL
// of an SVE word carries out, against the signal context, the sequence that the client's block
// event put in place of that word (trap stage, trap.cpp), then patches the word (patch.cpp).
#include <dlfcn.h>
#include <errno.h>
#include <link.h>
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "host/encode.h"
#include "host/runtime.h"

thread_local __attribute__((tls_model("initial-exec"))) host_thread this_thread;
bool host_log_enabled;
bool host_client_loaded;
std::atomic<uint64_t> host_trap_count;
std::atomic<uint32_t> host_patch_count;
std::atomic<uint64_t> host_trampoline_words;  // machine words written into trampolines, branch back included

namespace {

pthread_key_t thread_key;
uintptr_t client_lo, client_hi;           // the client's text
std::atomic<uint64_t> deepest_stack_use;  // bytes of the emulator stacks ever used, at thread exits

// The emulator stack of the thread, below it a guard page; it is the thread's alternate signal
// stack too, so that the trap stage and the signal layer run there whatever the program's stack.
void give_emulator_stack(host_thread* t) {
    if (t->emu_top) return;
    size_t page = size_t(sysconf(_SC_PAGESIZE));
    void* m = mmap(nullptr, HOST_EMULATOR_STACK_BYTES + page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE,
                   -1, 0);
    if (m == MAP_FAILED) return;
    mprotect(m, page, PROT_NONE);
    t->emu_base = uintptr_t(m) + page;
    t->emu_top = t->emu_base + HOST_EMULATOR_STACK_BYTES;
    stack_t ss = {};
    ss.ss_sp = reinterpret_cast<void*>(t->emu_base);
    ss.ss_size = HOST_EMULATOR_STACK_BYTES;
    host_real_sigaltstack(&ss, nullptr);
}

// The deepest use of the stack: its pages start zero, and whatever ran there left marks.
void note_stack_use(const host_thread* t) {
    if (!t->emu_base) return;
    const auto* w = reinterpret_cast<const uint64_t*>(t->emu_base);
    size_t n = HOST_EMULATOR_STACK_BYTES / 8, i = 0;
    while (i < n && w[i] == 0) i++;
    uint64_t used = (n - i) * 8, seen = deepest_stack_use.load();
    while (used > seen && !deepest_stack_use.compare_exchange_weak(seen, used)) {
    }
}

void thread_exit(host_thread* t) {
    if (!t->initialised || t->exited) return;
    t->exited = true;
    host_run_thread_events(t, false);
    t->fpcr_field = nullptr;
    if (host_log_enabled) note_stack_use(t);
}

// A thread that ends gives its emulator stack back; nothing runs on it by then.
void release_emulator_stack(host_thread* t) {
    if (!t->emu_top) return;
    stack_t off = {};
    off.ss_flags = SS_DISABLE;
    host_real_sigaltstack(&off, nullptr);
    size_t page = size_t(sysconf(_SC_PAGESIZE));
    void* m = reinterpret_cast<void*>(t->emu_base - page);
    t->emu_top = t->emu_base = 0;
    munmap(m, HOST_EMULATOR_STACK_BYTES + page);
}

void thread_key_destructor(void* p) {
    auto* t = static_cast<host_thread*>(p);
    thread_exit(t);
    release_emulator_stack(t);
}

void process_exit() {
    thread_exit(&this_thread);
    host_run_exit_events();
    if (!host_log_enabled) return;
    dr_fprintf(our_stderr, "SVE host: %llu traps, %u words patched\n", (unsigned long long)host_trap_count.load(),
               host_patch_count.load());
    if (host_patch_count.load())
        dr_fprintf(our_stderr, "SVE host: %llu trampoline words, %.1f a patched word\n",
                   (unsigned long long)host_trampoline_words.load(),
                   double(host_trampoline_words.load()) / host_patch_count.load());
    if (host_translate_enabled)
        dr_fprintf(our_stderr, "SVE host: %llu words translated, %llu words called, %llu runs merged\n",
                   (unsigned long long)host_translated_words.load(), (unsigned long long)host_called_words.load(),
                   (unsigned long long)host_merged_runs.load());
    dr_fprintf(our_stderr, "SVE host: deepest emulator stack use %llu bytes of %llu\n",
               (unsigned long long)deepest_stack_use.load(), (unsigned long long)HOST_EMULATOR_STACK_BYTES);
}

// Splits the client's argument string at spaces.
int split_args(char* s, const char** argv, int max) {
    int n = 0;
    for (char* tok = strtok(s, " "); tok && n < max; tok = strtok(nullptr, " ")) argv[n++] = tok;
    return n;
}

// The executable segment of the loaded object at `base`.
int find_text(dl_phdr_info* info, size_t, void* data) {
    auto* base = static_cast<uintptr_t*>(data);
    if (info->dlpi_addr != base[0]) return 0;
    for (int i = 0; i < info->dlpi_phnum; i++) {
        const ElfW(Phdr)& ph = info->dlpi_phdr[i];
        if (ph.p_type != PT_LOAD || !(ph.p_flags & PF_X)) continue;
        base[1] = info->dlpi_addr + ph.p_vaddr;
        base[2] = base[1] + ph.p_memsz;
        return 1;
    }
    return 0;
}

__attribute__((constructor)) void host_start() {
    host_log_enabled = getenv("SVE_HOST_LOG") != nullptr;
    pthread_key_create(&thread_key, thread_key_destructor);
    host_cache_init();
    host_signal_calls_start();
    const char* client = getenv("SVE_HOST_CLIENT");
    if (!client || !*client) return;  // linked into a program that drives the interface itself

    host_signals_start(client);
    give_emulator_stack(&this_thread);
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
    auto vl_bytes = static_cast<const int*>(dlsym(lib, "sve_vl_bytes"));
    if (!vl_bytes || *vl_bytes < 16 || *vl_bytes > 256 || *vl_bytes % 16) {
        dr_fprintf(our_stderr, "SVE host: %s gives no vector length (sve_vl_bytes)\n", client);
        _exit(127);
    }
    host_vl_bytes = *vl_bytes;
    Dl_info where;
    uintptr_t text[3] = {};
    if (dladdr(reinterpret_cast<void*>(client_main), &where)) {
        text[0] = uintptr_t(where.dli_fbase);
        dl_iterate_phdr(find_text, text);
    }
    client_lo = text[1], client_hi = text[2];
    host_signals_client_loaded(client_lo, client_hi);

    static std::string args;
    const char* env_args = getenv("SVE_HOST_CLIENT_ARGS");
    args = env_args ? env_args : "";
    const char* argv[64] = {client};
    int argc = 1 + split_args(args.data(), argv + 1, 63);
    client_main(0, argc, argv);
    host_client_loaded = true;
    host_learn_fpcr_watch(&this_thread);
    host_thread_init(&this_thread);
    host_setup_patch_stage(lib);
    atexit(process_exit);
}

// Threads made with pthread_create get their init events before their first instruction, since
// in the patch stage their SVE words may never trap; they start with the mask of their creator.
struct thread_start {
    void* (*fn)(void*);
    void* arg;
    host_thread_signals signals;
};

void* start_thread(void* p) {
    thread_start st = *static_cast<thread_start*>(p);
    free(p);
    host_signals_set_this_thread(st.signals);
    if (!this_thread.initialised) host_thread_init(&this_thread);
    return st.fn(st.arg);
}

}  // namespace

void host_thread_init(host_thread* t) {
    t->initialised = true;
    give_emulator_stack(t);
    pthread_setspecific(thread_key, t);
    host_run_thread_events(t, true);
    t->fpcr_field = host_fpcr_field_of(t);
    host_translate_thread_init(t);
}

bool host_in_client(uintptr_t pc) { return pc >= client_lo && pc < client_hi; }

bool host_sve_trap(ucontext_t* uc) {
    uintptr_t pc = uc->uc_mcontext.pc;
    host_trap_count.fetch_add(1, std::memory_order_relaxed);
    host_thread* t = &this_thread;
    if (!t->initialised) host_thread_init(t);
    cache_entry* e = host_find_or_build(t, pc);
    sequence* s = e ? e->seq.load(std::memory_order_relaxed) : nullptr;
    machine m = {uc, host_find_fpsimd(uc), t};
    if (!s || !m.fp) return false;
    host_sync_fpcr(m);
    uintptr_t outer = t->trap_pc;
    t->trap_pc = pc;
    host_run_sequence(m, s);
    t->trap_pc = outer;
    uc->uc_mcontext.pc = pc + 4;
    if (host_patch_enabled && !e->patched) {
        host_lock_builds(true);
        if (!e->patched) {
            e->patched = true;
            if (host_patch(pc, s)) host_patch_count.fetch_add(1, std::memory_order_relaxed);
        }
        host_lock_builds(false);
    }
    return true;
}

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attr, void* (*fn)(void*), void* arg) {
    typedef int (*create_t)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static create_t next = reinterpret_cast<create_t>(dlsym(RTLD_NEXT, "pthread_create"));
    if (!host_client_loaded) return next(thread, attr, fn, arg);
    auto* st = static_cast<thread_start*>(malloc(sizeof(thread_start)));
    if (!st) return EAGAIN;
    *st = {fn, arg, host_signals_of_this_thread()};
    int rc = next(thread, attr, start_thread, st);
    if (rc != 0) free(st);
    return rc;
}

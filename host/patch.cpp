// The patch stage: a rewritten sequence encoded as machine code into a trampoline within branch
// range, and the SVE word replaced by a branch to it, so that later executions do not trap.
// SVE_HOST_STAGE=trap keeps every word in the trap stage, SVE_HOST_STAGE=patch gives every word
// the client's sequence; otherwise (translate, or nothing said) runs of words are translated.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "host/encode.h"
#include "host/runtime.h"

bool host_patch_enabled;

namespace {

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

}  // namespace

// `bytes` of executable memory that a branch at `pc` reaches, or null.
uint32_t* host_code_space(uintptr_t pc, size_t bytes) {
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
bool host_encode_sequence(const sequence* s, uint32_t* buf, int& n, int max) {
    for (int i = 0; i < s->n; i++) {
        if (n + HOST_MAX_ELEMENT_WORDS > max) return false;
        int k = host_encode_element(s->elems[i], code_env, buf + n);
        if (k < 0) return false;
        n += k;
    }
    return true;
}

const host_code_env& host_code_environment() { return code_env; }

bool host_redirect(uintptr_t pc, uintptr_t to) {
    uint32_t there = host_encode_branch(pc, to);
    if (!there) return false;
    uintptr_t page = pc & ~(uintptr_t(sysconf(_SC_PAGESIZE)) - 1);
    if (mprotect(reinterpret_cast<void*>(page), size_t(sysconf(_SC_PAGESIZE)), PROT_READ | PROT_WRITE | PROT_EXEC)) return false;
    __atomic_store_n(reinterpret_cast<uint32_t*>(pc), there, __ATOMIC_RELEASE);
    mprotect(reinterpret_cast<void*>(page), size_t(sysconf(_SC_PAGESIZE)), PROT_READ | PROT_EXEC);
    __builtin___clear_cache(reinterpret_cast<char*>(pc), reinterpret_cast<char*>(pc + 4));
    return true;
}

// The trampoline of the SVE word at `pc`: the sequence (its call brings the record's FPCR up to
// date) and a branch back behind the word. Then the word becomes a branch to it. False leaves
// the word as it is, to the trap stage.
bool host_patch(uintptr_t pc, const sequence* s) {
    if (host_translate_enabled && host_translate_run(pc, s)) return true;  // else the word's sequence alone
    constexpr int MAX_WORDS = 2048;
    static uint32_t buf[MAX_WORDS];
    int n = 0;
    if (!host_encode_sequence(s, buf, n, MAX_WORDS - 1)) return false;
    uint32_t* code = host_code_space(pc, size_t(n + 1) * 4);
    if (!code) return false;
    uint32_t back = host_encode_branch(uintptr_t(code + n), pc + 4);
    if (!back) return false;
    std::memcpy(code, buf, size_t(n) * 4);
    code[n] = back;
    host_trampoline_words.fetch_add(uint64_t(n + 1), std::memory_order_relaxed);
    __builtin___clear_cache(reinterpret_cast<char*>(code), reinterpret_cast<char*>(code + n + 1));
    return host_redirect(pc, uintptr_t(code));
}

void host_setup_patch_stage(void* client) {
    const char* stage = getenv("SVE_HOST_STAGE");
    if (stage && (std::strcmp(stage, "trap") == 0 || std::strcmp(stage, "1") == 0)) return;
    bool translate = !stage || std::strcmp(stage, "patch") != 0;
    uintptr_t offset = uintptr_t(&this_thread) - uintptr_t(__builtin_thread_pointer());
    if (offset >= (uintptr_t(1) << 24)) return;  // not reachable with two adds
    code_env.thread_offset = offset;
    // Without the place of the record's FPCR the trampoline could not keep it up to date.
    if (host_fpcr_watch && !host_fpcr_field_of(&this_thread)) return;
    host_patch_enabled = true;
    if (translate) host_setup_translate_stage(client, offset);
}

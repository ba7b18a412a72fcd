// Fuzz target: any word and any state must give a defined result. Every specialised row is
// also run through its generic counterpart, and the two results must agree bit for bit.
#include "tests/fuzz/fuzz_word.h"

#include <sys/mman.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "tests/support/rows.h"
#include "tests/support/state_util.h"

namespace {

bool sandbox_ready() {
    static const bool ready = [] {
        void* want = reinterpret_cast<void*>(FUZZ_SANDBOX_BASE);
        void* got = mmap(want, FUZZ_SANDBOX_BYTES, PROT_READ | PROT_WRITE,
                         MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0);
        if (got == want) return true;
        if (got != MAP_FAILED) munmap(got, FUZZ_SANDBOX_BYTES);
        std::fprintf(stderr, "fuzz: sandbox not mapped at %#llx, memory rows skipped\n",
                     (unsigned long long)FUZZ_SANDBOX_BASE);
        return false;
    }();
    return ready;
}

uint64_t in_window(uint64_t v) { return FUZZ_WINDOW_BASE + (v & FUZZ_WINDOW_MASK); }

// Base and index registers, and the lanes a gather or scatter forms addresses from, are
// reduced into the window; any sum or scaled index of them stays inside the sandbox.
void confine_addresses(cpu_state& s, int lanes) {
    for (uint64_t& x : s.x) x = in_window(x);
    s.sp = in_window(s.sp);
    if (lanes != 32 && lanes != 64) return;
    for (auto& z : s.z)
        for (int i = 0; i < SVE_VL_BYTES; i += lanes / 8) {
            uint64_t v = 0;
            std::memcpy(&v, z + i, lanes / 8);
            v = in_window(v);
            std::memcpy(z + i, &v, lanes / 8);
        }
}

uint32_t read_le(const uint8_t* d, size_t size, size_t at, int bytes) {
    uint32_t v = 0;
    for (int i = 0; i < bytes; i++)
        if (at + i < size) v |= uint32_t(d[at + i]) << (8 * i);
    return v;
}

[[noreturn]] void fail(const char* what, const char* row, uint32_t word, const std::string& detail) {
    std::fprintf(stderr, "fuzz: %s: row %s word %08x: %s\n", what, row, word, detail.c_str());
    std::abort();
}

}  // namespace

size_t fuzz_seed_input(uint8_t* out, int row, uint32_t operands, uint64_t seed) {
    out[0] = uint8_t(row);
    out[1] = uint8_t(row >> 8);
    for (int i = 0; i < 4; i++) out[2 + i] = uint8_t(operands >> (8 * i));
    out[6] = 0;
    for (int i = 0; i < 8; i++) out[7 + i] = uint8_t(seed >> (8 * i));
    return FUZZ_HEADER_BYTES;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const int row_index = int(read_le(data, size, 0, 2) % SVE_DECODE_ROWS);
    const uint32_t operands = read_le(data, size, 2, 4);
    const uint32_t flags = read_le(data, size, 6, 1);
    const uint64_t seed = read_le(data, size, 7, 4) | uint64_t(read_le(data, size, 11, 4)) << 32;

    uint32_t word;
    const sve_row_info* row = nullptr;
    sve_handler_t handler;
    if (flags & 1) {
        word = operands;
        handler = get_sve_handler(word);
        if (!handler) return 0;  // native code: nothing to emulate
        for (const sve_row_info& r : sve_rows)
            if (r.handler == handler) row = &r;
    } else {
        row = &sve_rows[row_index];
        word = sve_row_word(*row, operands);
        handler = get_sve_handler(word);
        if (handler != row->handler) fail("decode", row->name, word, "word decodes to another row");
    }
    if (!row) fail("decode", "?", word, "handler of no row");
    // An unimplemented row only prints its message; the other rows are what is worth the time.
    if (!row->implemented) return 0;
    const char* name = row->name;

    cpu_state a;
    test_rng rng(seed);
    random_state(a, rng);
    uint8_t* raw = reinterpret_cast<uint8_t*>(&a);
    for (size_t i = FUZZ_HEADER_BYTES; i < size && i - FUZZ_HEADER_BYTES < offsetof(cpu_state, insn); i++)
        raw[i - FUZZ_HEADER_BYTES] ^= data[i];
    // Predicate bytes only ever hold 0 or 1; the application can set only the defined FPCR
    // bits, and the flags live in the top nibble of nzcv.
    for (auto& p : a.p)
        for (auto& b : p) b &= 1;
    for (auto& b : a.ffr) b &= 1;
    a.fpcr = ((flags >> 1) & 3) << 22 | ((flags >> 3) & 1) << 24 | ((flags >> 4) & 1) << 25 |
             ((flags >> 5) & 1) << 26 | ((flags >> 6) & 1) << 19;
    a.nzcv &= 0xF0000000u;
    a.fpsr &= 0x0800009Fu;
    a.insn = 0;

    const bool memory = accesses_memory(*row);
    if (memory) {
        if (!sandbox_ready()) return 0;
        confine_addresses(a, 8 * sve_row_elem_bytes(*row));
    }

    cpu_state b = a;
    int rc = handler(&a, word);
    if (rc != RC_DONE) fail("return code", name, word, std::to_string(rc));

    if (row->generic) {
        int rg = row->generic(&b, word);
        if (rg != RC_DONE) fail("generic return code", name, word, std::to_string(rg));
        std::string d = state_diff(a, b, false);
        if (!d.empty()) fail("tiers differ", name, word, d);
    }
    return 0;
}

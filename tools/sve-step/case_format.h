// The case and result records exchanged by the conformance generator, the oracle runner and
// sve-step. Plain little-endian records, no dependency on the emulator, so that the oracle
// runner (built for SVE hardware) can include it too. tools/sve-step/README.md describes them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <sys/mman.h>

namespace conf {

constexpr uint32_t CASE_MAGIC = 0x43455653;    // "SVEC"
constexpr uint32_t RESULT_MAGIC = 0x52455653;  // "SVER"

// The vector length of the build (SVE_VL_BITS); every runner of one comparison uses the same.
#ifndef SVE_BUILD_VL_BITS
#define SVE_BUILD_VL_BITS 640
#endif
constexpr int VL = SVE_BUILD_VL_BITS / 8;  // vector length in bytes
constexpr int PL = VL / 8;   // predicate length in bytes (one bit per vector byte)

// The data buffer: mapped at the same fixed address by every runner, below 4 GiB so that
// 32-bit address lanes can reach it, with unmapped guard pages on both sides.
constexpr uint64_t BUF_ADDR = 0x10000000;
constexpr uint32_t BUF_SIZE = 0x10000;
constexpr uint32_t GUARD = 0x10000;

// Architectural state as the hardware holds it: P registers and FFR one bit per vector byte.
struct wire_state {
    uint64_t x[31];
    uint64_t sp;
    uint64_t nzcv;
    uint32_t fpcr;
    uint32_t fpsr;
    uint8_t z[32][VL];
    uint8_t p[16][PL];
    uint8_t ffr[PL];
    uint8_t pad[8 - (17 * PL) % 8];  // to a multiple of 8 bytes, explicitly (never 0)
};
// The oracle's assembly addresses the fields by these displacements (the same formulas are in
// tools/oracle/oracle_entry.S).
static_assert(offsetof(wire_state, sp) == 248);
static_assert(offsetof(wire_state, nzcv) == 256);
static_assert(offsetof(wire_state, fpcr) == 264);
static_assert(offsetof(wire_state, fpsr) == 268);
static_assert(offsetof(wire_state, z) == 272);
static_assert(offsetof(wire_state, p) == 272 + 32 * VL);
static_assert(offsetof(wire_state, ffr) == 272 + 32 * VL + 16 * PL);
static_assert(sizeof(wire_state) == 272 + 32 * VL + 17 * PL + 8 - (17 * PL) % 8);

struct case_header {
    uint32_t magic;     // CASE_MAGIC
    uint32_t word;      // the instruction word to execute
    int32_t row;        // index into the decode rows, -1 if none (informational)
    uint32_t buf_seed;  // the data buffer's contents before the case: fill_buffer(buf_seed)
    uint32_t flags;     // CF_* bits, for the comparison only
    uint32_t pad;
};

enum : uint32_t {
    CF_EDGE = 1,  // the case's accesses were placed across the end of the data buffer
};

// Outcome of one case.
enum : int32_t {
    ST_DONE = 0,          // executed; positive values are the handler's return code
    ST_SIGILL = -4,       // the word was rejected (illegal instruction)
    ST_SIGBUS = -7,
    ST_SIGSEGV = -11,
};

struct result_header {
    uint32_t magic;     // RESULT_MAGIC
    uint32_t word;
    int32_t row;
    int32_t status;     // ST_* or the handler's return code
    uint32_t nchanged;  // number of buffer_change records after the state
    uint32_t pad;
};

// One byte of the buffer that differs from its contents before the case.
struct buffer_change {
    uint32_t offset;
    uint32_t value;
};

// Contents of the buffer before a case: splitmix64 of the seed, eight bytes at a time.
inline void fill_buffer(uint8_t* buf, uint32_t seed) {
    uint64_t s = seed * 0x2545F4914F6CDD1Dull + 1;
    for (uint32_t i = 0; i < BUF_SIZE; i += 8) {
        uint64_t z = (s += 0x9E3779B97F4A7C15ull);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        z ^= z >> 31;
        std::memcpy(buf + i, &z, 8);
    }
}

// Records the bytes of `now` that differ from `before`; returns their number.
inline uint32_t diff_buffer(const uint8_t* before, const uint8_t* now, buffer_change* out, uint32_t max) {
    uint32_t n = 0;
    for (uint32_t i = 0; i < BUF_SIZE; i += 8) {
        if (std::memcmp(before + i, now + i, 8) == 0) continue;
        for (uint32_t j = i; j < i + 8; j++)
            if (before[j] != now[j] && n < max) out[n++] = {j, now[j]};
    }
    return n;
}

// The data buffer of a runner: mapped at BUF_ADDR between guard pages, filled for each case
// and put back after it.
struct case_buffer {
    uint8_t* buf = nullptr;
    uint8_t before[BUF_SIZE];
    buffer_change changes[BUF_SIZE];
    uint32_t seed = 0;
    bool filled = false;

    bool map() {
        void* area = mmap(reinterpret_cast<void*>(BUF_ADDR - GUARD), BUF_SIZE + 2 * GUARD, PROT_NONE,
                          MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0);
        if (area != reinterpret_cast<void*>(BUF_ADDR - GUARD) ||
            mprotect(reinterpret_cast<void*>(BUF_ADDR), BUF_SIZE, PROT_READ | PROT_WRITE))
            return false;
        buf = reinterpret_cast<uint8_t*>(BUF_ADDR);
        return true;
    }
    // Contents for a case with this seed (refilled only when the seed changes).
    void prepare(uint32_t s) {
        if (filled && seed == s) return;
        fill_buffer(before, s);
        std::memcpy(buf, before, BUF_SIZE);
        seed = s;
        filled = true;
    }
    // Records what the case changed into `changes` and undoes it; returns the count.
    uint32_t finish() {
        uint32_t n = diff_buffer(before, buf, changes, BUF_SIZE);
        for (uint32_t i = 0; i < n; i++) buf[changes[i].offset] = before[changes[i].offset];
        return n;
    }
};

}  // namespace conf

// Differential check against a processor with SVE at 80 bytes (the oracle): every load, store,
// replicate, fill and spill row runs as a real instruction and through the emulator, from the
// same registers and memory, and the Z and P registers and the memory must agree.
//
// The real instruction runs inside a small piece of generated code that loads the Z, P and
// general registers from a block, executes the word, and stores Z and P back. Only AArch64
// under the oracle can run it.
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <regex>

#include "tests/memory/capture.h"
#include "tests/memory/mem_rows.h"
#include "tests/memory2/mem2_util.h"

namespace {

// Registers of the generated code: x28 holds the block, x27 the current array.
struct oracle_block {
    uint64_t x[31];
    uint64_t z_area;  // address of 32 x 80 bytes
    uint64_t p_area;  // address of 16 x 10 bytes, architectural predicate layout
};
constexpr uint32_t SCRATCH_FIRST = 27;  // operands of the words stay below this register

struct code_buffer {
    uint32_t* words = nullptr;
    int n = 0;
    void emit(uint32_t w) { words[n++] = w; }
};

uint32_t ldr_x(uint32_t rt, uint32_t rn, uint32_t byte_off) { return 0xF9400000u | (byte_off / 8) << 10 | rn << 5 | rt; }
// ldr / str of Z or P register `reg` at [x27, #imm, mul vl].
uint32_t fill_word(bool store, bool pred, uint32_t reg, uint32_t imm) {
    uint32_t w = (store ? 0xE5800000u : 0x85800000u) | (pred ? 0 : 0x4000u);
    return w | ((imm >> 3) & 63) << 16 | (imm & 7) << 10 | 27u << 5 | reg;
}

// Generated: save x19..x30, x28 = block, load Z, P, x0..x26, the word, store Z and P, restore.
typedef void (*oracle_fn)(oracle_block*);
oracle_fn build(code_buffer& c, uint32_t word) {
    c.n = 0;
    c.emit(0xA9BA53F3);  // stp x19, x20, [sp, #-96]!
    c.emit(0xA9015BF5);  // stp x21, x22, [sp, #16]
    c.emit(0xA90263F7);  // stp x23, x24, [sp, #32]
    c.emit(0xA9036BF9);  // stp x25, x26, [sp, #48]
    c.emit(0xA90473FB);  // stp x27, x28, [sp, #64]
    c.emit(0xA9057BFD);  // stp x29, x30, [sp, #80]
    c.emit(0xAA0003FC);  // mov x28, x0
    c.emit(ldr_x(27, 28, 8 * 31));
    for (uint32_t z = 0; z < 32; z++) c.emit(fill_word(false, false, z, z));
    c.emit(ldr_x(27, 28, 8 * 32));
    for (uint32_t p = 0; p < 16; p++) c.emit(fill_word(false, true, p, p));
    for (uint32_t r = 0; r < SCRATCH_FIRST; r++) c.emit(ldr_x(r, 28, 8 * r));
    c.emit(word);
    c.emit(ldr_x(27, 28, 8 * 31));
    for (uint32_t z = 0; z < 32; z++) c.emit(fill_word(true, false, z, z));
    c.emit(ldr_x(27, 28, 8 * 32));
    for (uint32_t p = 0; p < 16; p++) c.emit(fill_word(true, true, p, p));
    c.emit(0xA9457BFD);  // ldp x29, x30, [sp, #80]
    c.emit(0xA94473FB);  // ldp x27, x28, [sp, #64]
    c.emit(0xA9436BF9);  // ldp x25, x26, [sp, #48]
    c.emit(0xA94263F7);  // ldp x23, x24, [sp, #32]
    c.emit(0xA9415BF5);  // ldp x21, x22, [sp, #16]
    c.emit(0xA8C653F3);  // ldp x19, x20, [sp], #96
    c.emit(0xD65F03C0);  // ret
    __builtin___clear_cache(reinterpret_cast<char*>(c.words), reinterpret_cast<char*>(c.words + c.n));
    return reinterpret_cast<oracle_fn>(c.words);
}

// The memory rows this branch implements, by name.
bool checked_row(const std::string& n) {
    static const std::regex re(
        "Vec\\w+(C(Load|Store)(NT)?\\d(SIZ|LSSZ)|E[234](Load|Store)\\d(SIZ|LSSZ)|LoadDup\\dQ?(SIZ|SSZ)|FillSI|SpillSI)");
    return std::regex_match(n, re);
}


// Runs `w` on the processor from the registers of `s`, leaving Z and P in the two areas.
void run_on_processor(code_buffer& code, uint32_t w, const cpu_state& s, uint8_t (&z_area)[32][80],
                      uint8_t (&p_area)[16][10]) {
    oracle_block b;
    std::memcpy(b.x, s.x, sizeof b.x);
    std::memcpy(z_area, s.z, sizeof z_area);
    for (int p = 0; p < 16; p++)
        for (int i = 0; i < 10; i++) {
            uint8_t v = 0;
            for (int j = 0; j < 8; j++) v |= uint8_t((s.p[p][8 * i + j] & 1) << j);
            p_area[p][i] = v;
        }
    b.z_area = uint64_t(z_area);
    b.p_area = uint64_t(p_area);
    build(code, w)(&b);
}

// Z and P of the emulator against those of the processor: "" or the first difference.
std::string processor_diff(const cpu_state& emu, const uint8_t (&z_area)[32][80], const uint8_t (&p_area)[16][10]) {
    for (int z = 0; z < 32; z++)
        if (std::memcmp(z_area[z], emu.z[z], 80) != 0) {
            std::string d = "z" + std::to_string(z) + " bytes (processor/emulator)";
            for (int i = 0; i < 80; i++) {
                char b[16];
                snprintf(b, sizeof b, " %02x/%02x", z_area[z][i], emu.z[z][i]);
                d += b;
            }
            return d;
        }
    for (int p = 0; p < 16; p++)
        for (int i = 0; i < 80; i++)
            if (((p_area[p][i / 8] >> (i % 8)) & 1) != (emu.p[p][i] & 1))
                return "p" + std::to_string(p) + " byte " + std::to_string(i);
    return "";
}

}  // namespace

TEST(Oracle, MemoryRowsAgreeWithTheProcessor) {
    code_buffer code;
    void* m = mmap(nullptr, 1 << 16, PROT_READ | PROT_WRITE | PROT_EXEC, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(m, MAP_FAILED);
    code.words = static_cast<uint32_t*>(m);
    static test_memory work, initial, after_emulator;
    static uint8_t z_area[32][80], p_area[16][10];
    test_rng r(0x0AC1E);
    int rows = 0;
    for (const sve_row_info& row : sve_rows) {
        if (!checked_row(row.name)) continue;
        rows++;
        bool pred_fill = std::string(row.name).find("VecP") == 0;
        for (int k = 0; k < 30; k++) {
            cpu_state s;
            random_state(s, r);
            initial.fill(r);
            mem_fields f;
            f.zt = r.below(pred_fill ? 16 : 32);
            f.pg = r.below(8);
            f.rn = r.below(SCRATCH_FIRST);
            f.rm = r.below(SCRATCH_FIRST);
            if (f.rm == f.rn) f.rm = (f.rn + 1) % SCRATCH_FIRST;
            if (std::string(row.name).find("Fill") != std::string::npos ||
                std::string(row.name).find("Spill") != std::string::npos) {
                uint32_t imm9 = uint32_t(int(r.below(41)) - 20);  // high six bits at 21:16, low three at 12:10
                f.pg = imm9 & 7;
                f.rm = (imm9 >> 3) & 63;
            }
            uint32_t w = mem_word(row, f);
            // Base in the middle of the buffer, index small: every form stays inside it.
            s.x[f.rn] = uint64_t(work.middle()) + r.below(64);
            if (f.rm < SCRATCH_FIRST && f.rm != f.rn) s.x[f.rm] = r.below(64);

            cpu_state emu = s;
            std::memcpy(work.bytes, initial.bytes, test_memory::SIZE);
            ASSERT_EQ(row.handler(&emu, w), RC_DONE) << row.name;
            std::memcpy(after_emulator.bytes, work.bytes, test_memory::SIZE);

            std::memcpy(work.bytes, initial.bytes, test_memory::SIZE);
            run_on_processor(code, w, s, z_area, p_area);

            ASSERT_EQ(processor_diff(emu, z_area, p_area), "") << row.name << " word " << std::hex << w;
            ASSERT_EQ(std::memcmp(work.bytes, after_emulator.bytes, test_memory::SIZE), 0)
                << row.name << " memory, word " << std::hex << w;
        }
    }
    // Non-fault and first-fault loads stay out: the architecture lets a processor give up on any
    // element but the first, and the oracle does so on readable memory.
    EXPECT_EQ(rows, 144);  // 96 contiguous, replicate, fill and spill; 48 structure
    munmap(m, 1 << 16);
}

// Gathers and scatters, with their vectors of offsets or bases in memory below 4 GiB.
TEST(Oracle, GathersAndScattersAgreeWithTheProcessor) {
    code_buffer code;
    void* m = mmap(nullptr, 1 << 16, PROT_READ | PROT_WRITE | PROT_EXEC, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(m, MAP_FAILED);
    code.words = static_cast<uint32_t*>(m);
    low_memory low;
    ASSERT_NE(low.bytes, nullptr);
    static uint8_t initial[low_memory::SIZE], after_emulator[low_memory::SIZE];
    static uint8_t z_area[32][80], p_area[16][10];
    auto rows = vector_addressed_rows("Load", false);
    auto stores = vector_addressed_rows("Store", false);
    rows.insert(rows.end(), stores.begin(), stores.end());
    ASSERT_EQ(rows.size(), 102u);
    test_rng r(0x6a7);
    for (const row_shape& sh : rows) {
        for (int k = 0; k < 20; k++) {
            for (auto& b : initial) b = uint8_t(r.next());
            vector_case c = make_case(sh, low.middle(), r, k, 64, SCRATCH_FIRST);
            cpu_state emu = c.s;
            std::memcpy(low.bytes, initial, low_memory::SIZE);
            ASSERT_EQ(sh.row->handler(&emu, c.word), RC_DONE) << sh.row->name;
            std::memcpy(after_emulator, low.bytes, low_memory::SIZE);
            std::memcpy(low.bytes, initial, low_memory::SIZE);
            run_on_processor(code, c.word, c.s, z_area, p_area);
            ASSERT_EQ(processor_diff(emu, z_area, p_area), "") << sh.row->name << " word " << std::hex << c.word;
            ASSERT_EQ(std::memcmp(low.bytes, after_emulator, low_memory::SIZE), 0)
                << sh.row->name << " memory, word " << std::hex << c.word;
        }
    }
    munmap(m, 1 << 16);
}

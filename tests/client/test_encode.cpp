// Machine code of the patch stage: each element of a rewritten sequence against the words that
// the GNU assembler gives for the same instructions.
#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

#include "host/encode.h"

namespace {

// The expected words below assume this layout of the per-thread block.
static_assert(offsetof(host_thread, slots) == 0);
static_assert(offsetof(host_thread, tls) == 72);
static_assert(offsetof(host_thread, fpcr_field) == 144);
static_assert(offsetof(host_thread, emu_top) == 152);
static_assert(HOST_EMULATOR_STACK_BYTES == 64 << 12);

opnd_t X27(int disp, opnd_size_t size) { return opnd_create_base_disp(DR_REG_X27, DR_REG_NULL, 0, disp, size); }
opnd_t R(int r) { return opnd_create_reg(reg_id_t(r)); }
opnd_t imm(int64_t v) { return opnd_create_immed_int(v, OPSZ_4); }

instr_t* meta(int opcode, std::vector<opnd_t> dsts, std::vector<opnd_t> srcs) {
    instr_t* in = instr_create(nullptr);
    in->opcode = opcode;
    in->app = false;
    in->ndst = uint8_t(dsts.size());
    in->nsrc = uint8_t(srcs.size());
    for (size_t i = 0; i < dsts.size(); i++) in->dst[i] = dsts[i];
    for (size_t i = 0; i < srcs.size(); i++) in->src[i] = srcs[i];
    return in;
}

struct Case {
    const char* text;
    instr_t* in;
    std::vector<uint32_t> words;  // from aarch64-linux-gnu-as; empty: no encoding
};

TEST(Encode, ElementsMatchTheAssembler) {
    const host_code_env env = {0x1010};
    opnd_t shift = opnd_add_flags(imm(0), DR_OPND_IS_SHIFT);
    const Case cases[] = {
        {"str x26, [x27, #248]", instr_create_1dst_1src(nullptr, OP_str, X27(248, OPSZ_8), R(DR_REG_X26)), {0xf9007f7a}},
        {"str w26, [x27, #272]", instr_create_1dst_1src(nullptr, OP_str, X27(272, OPSZ_4), R(DR_REG_W26)), {0xb901137a}},
        {"str q5, [x27, #688]", instr_create_1dst_1src(nullptr, OP_str, X27(688, OPSZ_16), R(DR_REG_Q0 + 5)), {0x3d80af65}},
        {"ldr q31, [x27, #2768]", instr_create_1dst_1src(nullptr, OP_ldr, R(DR_REG_Q31), X27(2768, OPSZ_16)), {0x3dc2b77f}},
        {"ldr w26, [x27, #272]", instr_create_1dst_1src(nullptr, OP_ldr, R(DR_REG_W26), X27(272, OPSZ_4)), {0xb941137a}},
        {"ldr x26, [x27, #264]", instr_create_1dst_1src(nullptr, OP_ldr, R(DR_REG_X26), X27(264, OPSZ_8)), {0xf940877a}},
        {"stp x0, x1, [x27]", instr_create_1dst_2src(nullptr, OP_stp, X27(0, OPSZ_16), R(DR_REG_X0), R(DR_REG_X1)), {0xa9000760}},
        {"stp x29, x30, [x27, #232]", instr_create_1dst_2src(nullptr, OP_stp, X27(232, OPSZ_16), R(DR_REG_X29), R(DR_REG_X30)), {0xa90efb7d}},
        {"ldp x24, x25, [x27, #192]", instr_create_2dst_1src(nullptr, OP_ldp, R(DR_REG_X24), R(DR_REG_X25), X27(192, OPSZ_16)), {0xa94c6778}},
        {"add x26, sp, #0", instr_create_1dst_4src(nullptr, OP_add, R(DR_REG_X26), R(DR_REG_XSP), imm(0), shift, imm(0)), {0x910003fa}},
        {"add sp, x26, #0", instr_create_1dst_4src(nullptr, OP_add, R(DR_REG_XSP), R(DR_REG_X26), imm(0), shift, imm(0)), {0x9100035f}},
        {"mrs x26, nzcv", instr_create_1dst_1src(nullptr, OP_mrs, R(DR_REG_X26), R(DR_REG_NZCV)), {0xd53b421a}},
        {"msr nzcv, x26", instr_create_1dst_1src(nullptr, OP_msr, R(DR_REG_NZCV), R(DR_REG_X26)), {0xd51b421a}},
        {"mrs x26, fpsr", instr_create_1dst_1src(nullptr, OP_mrs, R(DR_REG_X26), R(DR_REG_FPSR)), {0xd53b443a}},
        {"msr fpsr, x26", instr_create_1dst_1src(nullptr, OP_msr, R(DR_REG_FPSR), R(DR_REG_X26)), {0xd51b443a}},
        {"str w5, [x21, #276]", instr_create_1dst_1src(nullptr, OP_str, opnd_create_base_disp(DR_REG_X21, DR_REG_NULL, 0, 276, OPSZ_4), R(DR_REG_W5)), {0xb90116a5}},
        {"str wzr, [x21, #276]", instr_create_1dst_1src(nullptr, OP_str, opnd_create_base_disp(DR_REG_X21, DR_REG_NULL, 0, 276, OPSZ_4), R(DR_REG_WZR)), {0xb90116bf}},
        {"get stolen: mov x27, x28", meta(OP_host_get_stolen, {R(DR_REG_X27)}, {}), {0xaa1c03fb}},
        {"set stolen: mov x28, x27", meta(OP_host_set_stolen, {}, {R(DR_REG_X27)}), {0xaa1b03fc}},
        {"read tls field 0 into x27", meta(OP_host_read_tls, {R(DR_REG_X27)}, {imm(0)}),
         {0xd53bd05b, 0x9140077b, 0x9100437b, 0xf940277b}},
        {"restore x27 from slot 9", meta(OP_host_restore_slot, {R(DR_REG_X27)}, {imm(9)}),
         {0xd53bd05b, 0x9140077b, 0x9100437b, 0xf940277b}},
        {"save x26 to slot 1", meta(OP_host_save_slot, {}, {R(DR_REG_X26), imm(1)}),
         {0xd10803ff, 0xf90003f0, 0xd53bd050, 0x91400610, 0x91004210, 0xf900061a, 0xf94003f0, 0x910803ff}},
        {"markers take no code", meta(OP_host_emulation_start, {}, {imm(0)}), {}},
        // No encoding: misaligned or out-of-range displacements, other opcodes.
        {"str x26, [x27, #250]", instr_create_1dst_1src(nullptr, OP_str, X27(250, OPSZ_8), R(DR_REG_X26)), {}},
        {"stp x0, x1, [x27, #512]", instr_create_1dst_2src(nullptr, OP_stp, X27(512, OPSZ_16), R(DR_REG_X0), R(DR_REG_X1)), {}},
        {"add x26, sp, #4096", instr_create_1dst_4src(nullptr, OP_add, R(DR_REG_X26), R(DR_REG_XSP), imm(4096), shift, imm(0)), {}},
        {"ret", instr_create(nullptr), {}},
    };
    for (const Case& c : cases) {
        uint32_t out[HOST_MAX_ELEMENT_WORDS] = {};
        int n = host_encode_element(c.in, env, out);
        bool encodable = !c.words.empty() || c.in->opcode == OP_host_emulation_start;
        if (!encodable) {
            EXPECT_EQ(n, -1) << c.text;
            continue;
        }
        ASSERT_EQ(n, int(c.words.size())) << c.text;
        for (int i = 0; i < n; i++) EXPECT_EQ(out[i], c.words[size_t(i)]) << c.text << ", word " << i;
    }
}

// The call: arguments, the record's FPCR from the live one, the switch to the emulator stack
// unless sp is on it already, the old sp and the word's address at the top, the callee, and back.
TEST(Encode, CallRunsOnTheEmulatorStack) {
    instr_t* call = meta(OP_host_call, {}, {opnd_create_immed_int(0x0000123456789ABCll, OPSZ_8), imm(0x2520C065),
                                            opnd_create_immed_int(0x400000, OPSZ_8)});
    const std::vector<uint32_t> expected = {
        0xd2980ca0, 0xf2a4a400, 0xf2c00000, 0xf2e00000,  // mov x0, #0x2520c065
        0xd2800001, 0xf2a00801, 0xf2c00001, 0xf2e00001,  // mov x1, #0x400000
        0xd53bd050, 0x91400210, 0x91000210,              // x16 = the thread's block
        0xf9404a0f, 0xb400006f, 0xd53b440e, 0xb90001ee,  // ldr x15, [x16, #144]; cbz x15, 1f; mrs x14, fpcr; str w14, [x15]
        0xf9404e10, 0x910003f1, 0xb40000b0,              // 1: ldr x16, [x16, #152]; mov x17, sp; cbz x16, 2f
        0xcb11020f, 0xf14101ff, 0x54000043, 0x9100021f,  // sub x15, x16, x17; cmp x15, #64, lsl #12; b.lo 2f; mov sp, x16
        0xa9bf07f1,                                      // 2: stp x17, x1, [sp, #-16]!
        0xd2935790, 0xf2aacf10, 0xf2c24690, 0xf2e00010,  // mov x16, #0x123456789abc
        0xd63f0200, 0xf94003f1, 0x9100023f,              // blr x16; ldr x17, [sp]; mov sp, x17
    };
    uint32_t out[HOST_MAX_ELEMENT_WORDS];
    ASSERT_EQ(host_encode_element(call, {0}, out), int(expected.size()));
    for (size_t i = 0; i < expected.size(); i++) EXPECT_EQ(out[i], expected[i]) << "word " << i;
}

TEST(Encode, BranchesWithinReach) {
    struct B { uintptr_t from, to; uint32_t word; };
    const B cases[] = {
        {0x1000, 0x2000, 0x14000400},             // b +0x1000
        {0x2000, 0x1000, 0x17fffc00},             // b -0x1000
        {0x10000000, 0x10000000 + (1 << 27) - 4, 0x15ffffff},
        {0x10000000, 0x10000000 + (1 << 27), 0},  // out of reach
        {0x1000, 0x1002, 0},                      // not a word
    };
    for (const B& b : cases) EXPECT_EQ(host_encode_branch(b.from, b.to), b.word) << std::hex << b.from << " -> " << b.to;
}

}  // namespace

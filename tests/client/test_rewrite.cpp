// The client on instruction lists: the replacement sequence of an SVE word, the FPCR watch,
// blocks that stay as they are, the run-time entry, the start-up arguments and the fatal checks.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <string>
#include <vector>

#include "dr_host.h"
#include "sve/decode/sve_emulator.h"

extern "C" void dr_client_main(client_id_t id, int argc, const char* argv[]);

namespace {

constexpr uint32_t NOP = 0xD503201F;
constexpr uint32_t ADD_Z5_B_3 = 0x2520C065;      // add z5.b, z5.b, #3
constexpr uint32_t SEL_Z1_S = 0x05A4C861;        // sel z1.s, p2, z3.s, z4.s
constexpr uint32_t ADD_X0_X0_1 = 0x91000400;     // add x0, x0, #1
constexpr uint32_t RET = 0xD65F03C0;
constexpr uint32_t MRS_X0_FPCR = 0xD53B4400;
constexpr uint32_t MSR_FPCR_X5 = 0xD51B4405;
constexpr uint32_t MSR_FPCR_X21 = 0xD51B4415;
constexpr uint32_t MSR_FPCR_XZR = 0xD51B441F;
constexpr uint32_t MSR_FPSR_X5 = 0xD51B4425;
constexpr uint32_t MSR_NZCV_X5 = 0xD51B4205;

// Record layout as the inline code addresses it.
constexpr int SP_DISP = 248, NZCV_DISP = 264, FPSR_DISP = 272, FPCR_DISP = 276, Z_DISP = 288;

app_pc fake_pc(int i) { return reinterpret_cast<app_pc>(uintptr_t(0x400000 + 4 * i)); }

std::string reg(reg_id_t r) {
    if (r >= DR_REG_X0 && r <= DR_REG_X30) return "x" + std::to_string(r - DR_REG_X0);
    if (r >= DR_REG_W0 && r <= DR_REG_W30) return "w" + std::to_string(r - DR_REG_W0);
    if (r >= DR_REG_Q0 && r <= DR_REG_Q31) return "q" + std::to_string(r - DR_REG_Q0);
    switch (r) {
    case DR_REG_XSP: return "sp";
    case DR_REG_XZR: return "xzr";
    case DR_REG_WZR: return "wzr";
    case DR_REG_NZCV: return "nzcv";
    case DR_REG_FPSR: return "fpsr";
    case DR_REG_FPCR: return "fpcr";
    default: return "r?" + std::to_string(r);
    }
}

int bytes(opnd_size_t s) { return s == OPSZ_4 ? 4 : s == OPSZ_8 ? 8 : s == OPSZ_16 ? 16 : -1; }

std::string mem(opnd_t o) {
    return "[" + reg(opnd_get_base(o)) + "+" + std::to_string(opnd_get_disp(o)) + "]/" + std::to_string(bytes(opnd_get_size(o)));
}

// One line per element of a list, in the words of the framework's operations.
std::string describe(instr_t* in) {
    int op = instr_get_opcode(in);
    auto src = [&](int i) { return instr_get_src(in, i); };
    auto dst = [&](int i) { return instr_get_dst(in, i); };
    switch (op) {
    case OP_host_emulation_start: return "emulation_start";
    case OP_host_emulation_end: return "emulation_end";
    case OP_host_save_slot: return "save " + reg(opnd_get_reg(src(0))) + " slot" + std::to_string(opnd_get_immed_int(src(1)));
    case OP_host_restore_slot: return "restore " + reg(opnd_get_reg(dst(0))) + " slot" + std::to_string(opnd_get_immed_int(src(0)));
    case OP_host_get_stolen: return "get_stolen " + reg(opnd_get_reg(dst(0)));
    case OP_host_set_stolen: return "set_stolen " + reg(opnd_get_reg(src(0)));
    case OP_host_read_tls: return "read_tls " + reg(opnd_get_reg(dst(0)));
    case OP_host_call: return "call";
    case OP_add: {
        bool shift_flag = opnd_get_flags(src(2)) & DR_OPND_IS_SHIFT;
        return "add " + reg(opnd_get_reg(dst(0))) + ", " + reg(opnd_get_reg(src(0))) + ", #" +
               std::to_string(opnd_get_immed_int(src(1))) + (shift_flag ? ", shift " : ", noshift ") +
               std::to_string(opnd_get_immed_int(src(2))) + " " + std::to_string(opnd_get_immed_int(src(3)));
    }
    case OP_str: return "str " + reg(opnd_get_reg(src(0))) + ", " + mem(dst(0));
    case OP_ldr: return "ldr " + reg(opnd_get_reg(dst(0))) + ", " + mem(src(0));
    case OP_stp: return "stp " + reg(opnd_get_reg(src(0))) + ", " + reg(opnd_get_reg(src(1))) + ", " + mem(dst(0));
    case OP_ldp: return "ldp " + reg(opnd_get_reg(dst(0))) + ", " + reg(opnd_get_reg(dst(1))) + ", " + mem(src(0));
    case OP_mrs: return "mrs " + reg(opnd_get_reg(dst(0))) + ", " + reg(opnd_get_reg(src(0)));
    case OP_msr: return "msr " + reg(opnd_get_reg(dst(0))) + ", " + reg(opnd_get_reg(src(0)));
    default: return "native " + std::to_string(*reinterpret_cast<uint32_t*>(instr_get_raw_bits(in)));
    }
}

// The replacement of an SVE word, element by element, as the rewriting contract lays it down.
std::vector<std::string> expected_sequence() {
    std::vector<std::string> e = {"emulation_start", "save x26 slot1", "save x27 slot2", "get_stolen x27",
                                  "save x27 slot3", "read_tls x27", "add x26, sp, #0, shift 0 0",
                                  "str x26, [x27+" + std::to_string(SP_DISP) + "]/8"};
    for (int r = 0; r < 26; r += 2)
        e.push_back("stp x" + std::to_string(r) + ", x" + std::to_string(r + 1) + ", [x27+" + std::to_string(8 * r) + "]/16");
    e.push_back("stp x29, x30, [x27+232]/16");
    for (int q = 0; q < 32; q++) e.push_back("str q" + std::to_string(q) + ", [x27+" + std::to_string(Z_DISP + 80 * q) + "]/16");
    e.push_back("mrs x26, nzcv");
    e.push_back("str x26, [x27+" + std::to_string(NZCV_DISP) + "]/8");
    e.push_back("mrs x26, fpsr");
    e.push_back("str w26, [x27+" + std::to_string(FPSR_DISP) + "]/4");
    e.push_back("call");
    e.push_back("read_tls x27");
    e.push_back("ldr w26, [x27+" + std::to_string(FPSR_DISP) + "]/4");
    e.push_back("msr fpsr, x26");
    e.push_back("ldr x26, [x27+" + std::to_string(NZCV_DISP) + "]/8");
    e.push_back("msr nzcv, x26");
    for (int q = 0; q < 32; q++) e.push_back("ldr q" + std::to_string(q) + ", [x27+" + std::to_string(Z_DISP + 80 * q) + "]/16");
    for (int r = 0; r < 26; r += 2)
        e.push_back("ldp x" + std::to_string(r) + ", x" + std::to_string(r + 1) + ", [x27+" + std::to_string(8 * r) + "]/16");
    e.push_back("ldp x29, x30, [x27+232]/16");
    e.push_back("ldr x26, [x27+" + std::to_string(SP_DISP) + "]/8");
    e.push_back("add sp, x26, #0, shift 0 0");
    for (const char* s : {"restore x27 slot3", "set_stolen x27", "restore x27 slot2", "restore x26 slot1", "emulation_end"})
        e.push_back(s);
    return e;
}

// The client is started once for the process; the cases below share it.
class Client : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        static bool started = false;
        if (started) return;
        started = true;
        setenv("SVE_TRACE_FILE", "/dev/null", 1);
        const char* argv[] = {"libmemtrace_sve_640.so"};
        dr_client_main(0, 1, argv);
        host_run_thread_events(host_thread_context(), true);
    }

    std::vector<uint32_t> words;
    instrlist_t* rewrite(std::vector<uint32_t> w) {
        words = std::move(w);
        instrlist_t* bb = host_build_block(host_thread_context(), words.data(), fake_pc(0), int(words.size()));
        host_run_bb_events(host_thread_context(), bb, fake_pc(0));
        return bb;
    }
    static std::vector<instr_t*> elements(instrlist_t* bb) {
        std::vector<instr_t*> v;
        for (instr_t* in = instrlist_first(bb); in; in = instr_get_next(in)) v.push_back(in);
        return v;
    }
};

TEST_F(Client, SveWordBecomesTheFullSequenceInOrder) {
    instrlist_t* bb = rewrite({NOP, ADD_Z5_B_3, NOP});
    std::vector<instr_t*> all = elements(bb);
    std::vector<std::string> want = expected_sequence();
    ASSERT_EQ(want.size(), 117u);
    ASSERT_EQ(all.size(), 2 + want.size());
    EXPECT_EQ(instr_get_app_pc(all.front()), fake_pc(0));
    EXPECT_EQ(instr_get_app_pc(all.back()), fake_pc(2));
    for (size_t i = 0; i < want.size(); i++) {
        instr_t* in = all[i + 1];
        EXPECT_EQ(describe(in), want[i]) << "element " << i + 1;
        if (instr_is_app(in)) {
            EXPECT_EQ(instr_get_translation(in), fake_pc(1)) << "element " << i + 1;
        }
    }
}

TEST_F(Client, CallCarriesWordPcAndHandlerAsImmediates) {
    struct Case { uint32_t word; };
    for (Case c : {Case{ADD_Z5_B_3}, Case{SEL_Z1_S}}) {
        instrlist_t* bb = rewrite({c.word});
        instr_t* call = nullptr;
        for (instr_t* in : elements(bb))
            if (instr_get_opcode(in) == OP_host_call) call = in;
        ASSERT_NE(call, nullptr);
        ASSERT_EQ(instr_num_srcs(call), 4);
        EXPECT_EQ(instr_get_translation(call), fake_pc(0));
        EXPECT_EQ(uint32_t(opnd_get_immed_int(instr_get_src(call, 1))), c.word);
        EXPECT_EQ(opnd_get_size(instr_get_src(call, 1)), OPSZ_4);
        EXPECT_EQ(opnd_get_immed_int(instr_get_src(call, 2)), int64_t(uintptr_t(fake_pc(0))));
        EXPECT_EQ(opnd_get_size(instr_get_src(call, 2)), OPSZ_8);
        EXPECT_EQ(opnd_get_immed_int(instr_get_src(call, 3)), int64_t(uintptr_t(get_sve_handler(c.word))));
        EXPECT_EQ(opnd_get_size(instr_get_src(call, 3)), OPSZ_8);
    }
}

TEST_F(Client, EverySveWordOfABlockGetsItsOwnSequence) {
    instrlist_t* bb = rewrite({ADD_Z5_B_3, SEL_Z1_S, NOP, ADD_Z5_B_3});
    std::vector<instr_t*> all = elements(bb);
    ASSERT_EQ(all.size(), 3 * 117u + 1);
    int starts = 0;
    for (instr_t* in : all) starts += instr_get_opcode(in) == OP_host_emulation_start;
    EXPECT_EQ(starts, 3);
    EXPECT_EQ(describe(all[116]), "emulation_end");  // the first sequence ends
    EXPECT_EQ(describe(all[117]), "emulation_start");  // and the second begins right behind it
    EXPECT_EQ(instr_get_app_pc(all[2 * 117]), fake_pc(2));
}

TEST_F(Client, BlocksWithoutSveWordsOrFpcrWritesStayUnchanged) {
    const std::vector<std::vector<uint32_t>> blocks = {
        {NOP}, {ADD_X0_X0_1, NOP, RET}, {MRS_X0_FPCR}, {MSR_FPSR_X5, MSR_NZCV_X5}};
    for (const auto& b : blocks) {
        instrlist_t* bb = rewrite(b);
        std::vector<instr_t*> all = elements(bb);
        ASSERT_EQ(all.size(), b.size());
        for (size_t i = 0; i < b.size(); i++) {
            EXPECT_TRUE(instr_is_app(all[i]));
            EXPECT_EQ(instr_get_app_pc(all[i]), fake_pc(int(i)));
        }
    }
}

TEST_F(Client, FpcrWritesGetAStoreOfTheValueInFront) {
    struct Case {
        uint32_t msr;
        const char* scratch;
        const char* value;
    };
    const Case cases[] = {{MSR_FPCR_X5, "x21", "w5"}, {MSR_FPCR_X21, "x22", "w21"}, {MSR_FPCR_XZR, "x21", "wzr"}};
    for (const Case& c : cases) {
        instrlist_t* bb = rewrite({NOP, c.msr});
        std::vector<instr_t*> all = elements(bb);
        std::string s = c.scratch;
        std::vector<std::string> want = {"save " + s + " slot3", "read_tls " + s,
                                         "str " + std::string(c.value) + ", [" + s + "+" + std::to_string(FPCR_DISP) + "]/4",
                                         "restore " + s + " slot3"};
        ASSERT_EQ(all.size(), 2 + want.size()) << c.value;
        for (size_t i = 0; i < want.size(); i++) EXPECT_EQ(describe(all[i + 1]), want[i]);
        EXPECT_EQ(instr_get_translation(all[3]), fake_pc(1));
        EXPECT_EQ(instr_get_opcode(all[5]), OP_msr) << "the msr itself stays, last";
    }
}

// The run-time entry: the call element's callee, driven with a handler of the test's own.
cpu_state* seen_state;
uint32_t seen_word;
uint64_t seen_x26, seen_x27, seen_x28, seen_pc;
aarch64_decode_rc fake_handler(cpu_state* s, uint32_t w) {
    seen_state = s;
    seen_word = w;
    seen_x26 = s->x[26];
    seen_x27 = s->x[27];
    seen_x28 = s->x[28];
    seen_pc = s->pc;
    s->x[27] = 0x2727;  // as rdvl x27 would
    return RC_UNIMPLEMENTED;
}

TEST_F(Client, EmulateInstructionPassesSlotsAndReportsFailure) {
    instrlist_t* bb = rewrite({ADD_Z5_B_3});
    instr_t* call = nullptr;
    for (instr_t* in : elements(bb))
        if (instr_get_opcode(in) == OP_host_call) call = in;
    ASSERT_NE(call, nullptr);
    auto emulate = reinterpret_cast<void (*)(uint32_t, unsigned char*, sve_handler_t)>(opnd_get_immed_int(instr_get_src(call, 0)));
    void* dc = host_thread_context();
    dr_write_saved_reg(dc, SPILL_SLOT_2, 26);
    dr_write_saved_reg(dc, SPILL_SLOT_3, 27);
    dr_write_saved_reg(dc, SPILL_SLOT_4, 28);
    uint32_t code[1] = {SEL_Z1_S};
    testing::internal::CaptureStderr();
    emulate(0x12345678, reinterpret_cast<unsigned char*>(code), fake_handler);
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(seen_word, 0x12345678u);
    EXPECT_EQ(seen_pc, uint64_t(uintptr_t(code)));
    EXPECT_EQ(seen_x26, 26u);
    EXPECT_EQ(seen_x27, 27u);
    EXPECT_EQ(seen_x28, 28u);
    EXPECT_EQ(dr_read_saved_reg(dc, SPILL_SLOT_3), 0x2727u);
    EXPECT_EQ(dr_read_saved_reg(dc, SPILL_SLOT_2), 26u);
    char want[128];
    snprintf(want, sizeof want, "Error: failed to emulate SVE instruction 0x%08x at PC %p\n", SEL_Z1_S, (void*)code);
    EXPECT_EQ(err, want);
}

// Start-up in a child process of a death test.
void start_client(std::vector<const char*> args) {
    setenv("SVE_TRACE_FILE", "/dev/null", 1);
    args.insert(args.begin(), "libmemtrace_sve_640.so");
    dr_client_main(0, int(args.size()), args.data());
}

// Ends with status 0 if dr_client_main returns.
void start_with(std::vector<const char*> args) {
    start_client(std::move(args));
    _exit(0);
}

TEST(ClientStart, ArgumentsAreNoneOrEndAtDoubleDash) {
    GTEST_FLAG_SET(death_test_style, "fast");
    EXPECT_EXIT(start_with({}), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(start_with({"--"}), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(start_with({"--", "-x"}), testing::ExitedWithCode(0), "");
}

TEST(ClientStart, AnyOtherArgumentIsAUsageError) {
    GTEST_FLAG_SET(death_test_style, "fast");
    struct Case { std::vector<const char*> args; const char* text; };
    const Case cases[] = {
        {{"-x", "--"}, "^SVE emulation client usage error: Unknown option: -x\n$"},
        {{"-x"}, "^SVE emulation client usage error: Unknown option: -x\n$"},
        {{"--trace", "f"}, "^SVE emulation client usage error: Unknown option: --trace\n$"},
        {{"plain"}, "^SVE emulation client usage error: Unknown option: plain\n$"},
    };
    for (const Case& c : cases) EXPECT_EXIT(start_with(c.args), testing::ExitedWithCode(1), c.text);
}

TEST(ClientFatal, StolenRegisterOtherThanX28) {
    GTEST_FLAG_SET(death_test_style, "fast");
    EXPECT_EXIT(
        {
            start_client({});
            host_set_stolen_reg(DR_REG_X18);
            uint32_t w[] = {ADD_Z5_B_3};
            instrlist_t* bb = host_build_block(host_thread_context(), w, fake_pc(0), 1);
            host_run_bb_events(host_thread_context(), bb, fake_pc(0));
            _exit(0);
        },
        testing::ExitedWithCode(1),
        "^ASSERT FAILURE: [^:]*sve_client.cpp:[0-9]+: dr_get_stolen_reg\\(\\) == DR_REG_X28 \\(\\)\n$");
}

TEST(ClientFatal, ThreadExitWithoutRecord) {
    GTEST_FLAG_SET(death_test_style, "fast");
    EXPECT_EXIT(
        {
            start_client({});
            host_thread fresh = {};
            host_run_thread_events(&fresh, false);
            _exit(0);
        },
        testing::ExitedWithCode(1), "^ASSERT FAILURE: [^:]*sve_client.cpp:[0-9]+: data != __null \\(\\)\n$");
}

}  // namespace

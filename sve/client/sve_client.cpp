// The SVE emulation client: start-up and shut-down, per-thread state records, the block event
// that replaces each SVE word by an inline save / call / reload sequence, and the run-time entry
// that the sequence calls. With SVE_STATS set it also counts the emulated instructions
// (stats.h).
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string>

#include "dr_api.h"
#include "drmgr.h"
#include "drreg.h"
#include "droption.h"
#include "sve/client/stats.h"
#include "sve/core/sve_emulator.h"
#include "sve/memory/trace.h"

#define SVE_CLIENT_ASSERT(cond, msg)                                                                     \
    do {                                                                                                 \
        if (!(cond)) {                                                                                   \
            dr_fprintf(our_stderr, "ASSERT FAILURE: %s:%d: %s (%s)\n", __FILE__, __LINE__, #cond, msg); \
            dr_abort();                                                                                  \
        }                                                                                                \
    } while (0)

extern "C" {
__attribute__((visibility("default"))) int _USES_DR_VERSION_ = 701;
// The vector length of this library, which the host runtime reports to the program (prctl).
__attribute__((visibility("default"))) extern const int sve_vl_bytes = SVE_VL_BYTES;

// For a host that translates words itself: the index in sve_rows of the word's row, or -1 for a
// word that is not SVE.
__attribute__((visibility("default"))) int sve_word_row(uint32_t word) {
    sve_handler_t h = get_sve_handler(word);
    for (int i = 0; h && i < SVE_DECODE_ROWS; i++)
        if (sve_rows[i].handler == h) return i;
    return -1;
}

// The calling thread's flag that is set while it records a region of interest: its loads and
// stores must then go through the emulator, which traces them.
__attribute__((visibility("default"))) const bool* sve_trace_flag() { return &enable_trace; }
}

static int tls_idx = -1;
static int stats_tls_idx = -1;  // the thread's stats_thread, when counting

static dr_emit_flags_t event_instruction_change(void* drcontext, void* tag, instrlist_t* bb, bool for_trace,
                                                bool translating);

static drmgr_priority_t priority = {sizeof(drmgr_priority_t), "emulate_instruction", nullptr, nullptr, 0};

// Called by the inline sequence for each execution of an SVE word, with every application
// register already in the record except x26, x27 and x28, which wait in the spill slots.
static void emulate_instruction(uint32_t word, unsigned char* pc, sve_handler_t handler) {
    (void)word;
    void* drcontext = dr_get_current_drcontext();
    auto* state = static_cast<cpu_state*>(drmgr_get_tls_field(drcontext, tls_idx));
    state->pc = reinterpret_cast<uint64_t>(pc);
    state->x[26] = dr_read_saved_reg(drcontext, SPILL_SLOT_2);
    state->x[27] = dr_read_saved_reg(drcontext, SPILL_SLOT_3);
    state->x[28] = dr_read_saved_reg(drcontext, SPILL_SLOT_4);
    if (handler(state, word) != RC_DONE) {
        uint32_t at_pc;
        std::memcpy(&at_pc, pc, sizeof at_pc);
        std::fprintf(stderr, "Error: failed to emulate SVE instruction 0x%08x at PC %p\n", at_pc, (void*)pc);
    }
    if (stats_enabled)
        stats_count(static_cast<stats_thread*>(drmgr_get_tls_field(drcontext, stats_tls_idx)), state->pc, word);
    dr_write_saved_reg(drcontext, SPILL_SLOT_2, state->x[26]);
    dr_write_saved_reg(drcontext, SPILL_SLOT_3, state->x[27]);
    dr_write_saved_reg(drcontext, SPILL_SLOT_4, state->x[28]);
}

static void event_thread_init(void* drcontext) {
    void* record = dr_thread_alloc(drcontext, sizeof(cpu_state));
    if (!drmgr_set_tls_field(drcontext, tls_idx, record)) SVE_CLIENT_ASSERT(false, "");
    if (stats_enabled) {
        auto* table = static_cast<stats_thread*>(dr_thread_alloc(drcontext, sizeof(stats_thread)));
        SVE_CLIENT_ASSERT(table != nullptr, "");
        std::memset(table, 0, sizeof *table);
        stats_thread_start(table);
        if (!drmgr_set_tls_field(drcontext, stats_tls_idx, table)) SVE_CLIENT_ASSERT(false, "");
    }
}

static void event_thread_exit(void* drcontext) {
    void* data = drmgr_get_tls_field(drcontext, tls_idx);
    SVE_CLIENT_ASSERT(data != __null, "");
    dr_thread_free(drcontext, data, sizeof(cpu_state));
    if (stats_enabled) {
        auto* table = static_cast<stats_thread*>(drmgr_get_tls_field(drcontext, stats_tls_idx));
        SVE_CLIENT_ASSERT(table != nullptr, "");
        stats_thread_end(table);
        dr_thread_free(drcontext, table, sizeof(stats_thread));
    }
}

static void event_exit() {
    dr_log(nullptr, 0xFFFFFF, 1, "SVE client exiting\n");
    sve_exit();
    if (!drmgr_unregister_bb_app2app_event(event_instruction_change)) SVE_CLIENT_ASSERT(false, "");
    if (drreg_exit() != DRREG_SUCCESS) SVE_CLIENT_ASSERT(false, "");
    drmgr_exit();
    if (stats_enabled) stats_finish();
}

extern "C" __attribute__((visibility("default"))) void dr_client_main(client_id_t, int argc, const char* argv[]) {
    dr_set_client_name("Tarnel SVE emulation client", "https://github.com/tarnel/sve-emulation/issues");
    std::string parse_err;
    int last_index = 0;
    if (!droption_parser_t::parse_argv(DROPTION_SCOPE_CLIENT, argc, argv, &parse_err, &last_index)) {
        dr_fprintf(our_stderr, "SVE emulation client usage error: %s\n", parse_err.c_str());
        dr_abort();
    }
    if (!stats_configure(parse_err)) {
        dr_fprintf(our_stderr, "SVE emulation client usage error: %s\n", parse_err.c_str());
        dr_abort();
    }
    if (!drmgr_init()) SVE_CLIENT_ASSERT(false, "");
    drmgr_register_thread_init_event(event_thread_init);
    drmgr_register_thread_exit_event(event_thread_exit);
    dr_register_exit_event(event_exit);
    if (!drmgr_register_bb_app2app_event(event_instruction_change, &priority)) SVE_CLIENT_ASSERT(false, "");
    tls_idx = drmgr_register_tls_field();
    if (tls_idx == -1) SVE_CLIENT_ASSERT(false, "");
    if (stats_enabled) {
        stats_tls_idx = drmgr_register_tls_field();
        if (stats_tls_idx == -1) SVE_CLIENT_ASSERT(false, "");
    }
    if (!sve_init(0, dr_get_application_name())) SVE_CLIENT_ASSERT(false, "");
    dr_log(nullptr, 0xFFFFFF, 1, "SVE client initializing\n");
}

// ---- Block rewriting ------------------------------------------------------------------------

namespace {

// A field of the record, addressed through x27.
opnd_t field(int disp, opnd_size_t size) { return opnd_create_base_disp(DR_REG_X27, DR_REG_NULL, 0, disp, size); }

reg_id_t xr(int n) { return reg_id_t(DR_REG_X0 + n); }

struct inserter {
    void* drcontext;
    instrlist_t* bb;
    instr_t* where;
    app_pc pc;

    // An application instruction of the sequence: faults in it are faults of the SVE word.
    void app(instr_t* in) {
        instr_set_translation(in, pc);
        instrlist_preinsert(bb, where, in);
    }
    void str(int disp, opnd_size_t size, reg_id_t src) {
        app(instr_create_1dst_1src(drcontext, OP_str, field(disp, size), opnd_create_reg(src)));
    }
    void ldr(reg_id_t dst, int disp, opnd_size_t size) {
        app(instr_create_1dst_1src(drcontext, OP_ldr, opnd_create_reg(dst), field(disp, size)));
    }
    void stp(int disp, reg_id_t a, reg_id_t b) {
        app(instr_create_1dst_2src(drcontext, OP_stp, field(disp, OPSZ_16), opnd_create_reg(a), opnd_create_reg(b)));
    }
    void ldp(reg_id_t a, reg_id_t b, int disp) {
        app(instr_create_2dst_1src(drcontext, OP_ldp, opnd_create_reg(a), opnd_create_reg(b), field(disp, OPSZ_16)));
    }
    // add dst, src, #0: the move that can read and write sp.
    void move_sp(reg_id_t dst, reg_id_t src) {
        app(instr_create_1dst_4src(drcontext, OP_add, opnd_create_reg(dst), opnd_create_reg(src),
                                   opnd_create_immed_int(0, OPSZ_4),
                                   opnd_add_flags(opnd_create_immed_int(0, OPSZ_4), DR_OPND_IS_SHIFT),
                                   opnd_create_immed_int(0, OPSZ_4)));
    }
    void mrs(reg_id_t dst, reg_id_t sysreg) {
        app(instr_create_1dst_1src(drcontext, OP_mrs, opnd_create_reg(dst), opnd_create_reg(sysreg)));
    }
    void msr(reg_id_t sysreg, reg_id_t src) {
        app(instr_create_1dst_1src(drcontext, OP_msr, opnd_create_reg(sysreg), opnd_create_reg(src)));
    }
    void read_record(reg_id_t reg) {
        if (!drmgr_insert_read_tls_field(drcontext, tls_idx, bb, where, reg)) SVE_CLIENT_ASSERT(false, "");
    }
};

constexpr int X_OFF = offsetof(cpu_state, x);
constexpr int SP_OFF = offsetof(cpu_state, sp);
constexpr int NZCV_OFF = offsetof(cpu_state, nzcv);
constexpr int FPSR_OFF = offsetof(cpu_state, fpsr);
constexpr int FPCR_OFF = offsetof(cpu_state, fpcr);
constexpr int Z_OFF = offsetof(cpu_state, z);

void replace_sve_instruction(void* drcontext, instrlist_t* bb, instr_t* instr, uint32_t word, sve_handler_t handler) {
    SVE_CLIENT_ASSERT(dr_get_stolen_reg() == DR_REG_X28, "");
    app_pc pc = instr_get_app_pc(instr);
    inserter ins = {drcontext, bb, instr, pc};

    instr_t* emulated = instr_create(drcontext);
    instr_set_raw_bits(emulated, pc, 4);
    instr_set_raw_bits_valid(emulated, true);
    emulated_instr_t descriptor;
    descriptor.size = sizeof(emulated_instr_t);
    descriptor.pc = pc;
    descriptor.instr = emulated;
    drmgr_insert_emulation_start(drcontext, bb, instr, &descriptor);

    dr_save_reg(drcontext, bb, instr, DR_REG_X26, SPILL_SLOT_2);
    dr_save_reg(drcontext, bb, instr, DR_REG_X27, SPILL_SLOT_3);
    dr_insert_get_stolen_reg_value(drcontext, bb, instr, DR_REG_X27);
    dr_save_reg(drcontext, bb, instr, DR_REG_X27, SPILL_SLOT_4);
    ins.read_record(DR_REG_X27);

    ins.move_sp(DR_REG_X26, DR_REG_XSP);
    ins.str(SP_OFF, OPSZ_8, DR_REG_X26);
    for (int r = 0; r < 26; r += 2) ins.stp(X_OFF + 8 * r, xr(r), xr(r + 1));
    ins.stp(X_OFF + 8 * 29, DR_REG_X29, DR_REG_X30);
    for (int q = 0; q < 32; q++) ins.str(Z_OFF + SVE_VL_BYTES * q, OPSZ_16, reg_id_t(DR_REG_Q0 + q));
    ins.mrs(DR_REG_X26, DR_REG_NZCV);
    ins.str(NZCV_OFF, OPSZ_8, DR_REG_X26);
    ins.mrs(DR_REG_X26, DR_REG_FPSR);
    ins.str(FPSR_OFF, OPSZ_4, DR_REG_W26);

    dr_insert_call_tarnel(drcontext, bb, instr, pc, reinterpret_cast<void*>(emulate_instruction), 3,
                          opnd_create_immed_int(int64_t(word), OPSZ_4),
                          opnd_create_immed_int(int64_t(reinterpret_cast<uintptr_t>(pc)), OPSZ_8),
                          opnd_create_immed_int(int64_t(reinterpret_cast<uintptr_t>(handler)), OPSZ_8));

    ins.read_record(DR_REG_X27);
    ins.ldr(DR_REG_W26, FPSR_OFF, OPSZ_4);
    ins.msr(DR_REG_FPSR, DR_REG_X26);
    ins.ldr(DR_REG_X26, NZCV_OFF, OPSZ_8);
    ins.msr(DR_REG_NZCV, DR_REG_X26);
    for (int q = 0; q < 32; q++) ins.ldr(reg_id_t(DR_REG_Q0 + q), Z_OFF + SVE_VL_BYTES * q, OPSZ_16);
    for (int r = 0; r < 26; r += 2) ins.ldp(xr(r), xr(r + 1), X_OFF + 8 * r);
    ins.ldp(DR_REG_X29, DR_REG_X30, X_OFF + 8 * 29);
    ins.ldr(DR_REG_X26, SP_OFF, OPSZ_8);
    ins.move_sp(DR_REG_XSP, DR_REG_X26);

    dr_restore_reg(drcontext, bb, instr, DR_REG_X27, SPILL_SLOT_4);
    dr_insert_set_stolen_reg_value(drcontext, bb, instr, DR_REG_X27);
    dr_restore_reg(drcontext, bb, instr, DR_REG_X27, SPILL_SLOT_3);
    dr_restore_reg(drcontext, bb, instr, DR_REG_X26, SPILL_SLOT_2);
    drmgr_insert_emulation_end(drcontext, bb, instr);

    instrlist_remove(bb, instr);
    instr_destroy(drcontext, instr);
}

// In front of an application `msr fpcr, xN`: the value goes into the record's fpcr too.
void watch_fpcr_write(void* drcontext, instrlist_t* bb, instr_t* instr) {
    if (instr_get_opcode(instr) != OP_msr || instr_num_dsts(instr) != 1) return;
    opnd_t dst = instr_get_dst(instr, 0);
    if (!opnd_is_reg(dst) || opnd_get_reg(dst) != DR_REG_FPCR) return;
    reg_id_t src = opnd_get_reg(instr_get_src(instr, 0));
    reg_id_t scratch = src == DR_REG_X21 ? DR_REG_X22 : DR_REG_X21;
    reg_id_t src32 = src == DR_REG_XZR ? reg_id_t(DR_REG_WZR) : reg_id_t(DR_REG_W0 + (src - DR_REG_X0));
    dr_save_reg(drcontext, bb, instr, scratch, SPILL_SLOT_4);
    if (!drmgr_insert_read_tls_field(drcontext, tls_idx, bb, instr, scratch)) SVE_CLIENT_ASSERT(false, "");
    instr_t* store = instr_create_1dst_1src(drcontext, OP_str,
                                            opnd_create_base_disp(scratch, DR_REG_NULL, 0, FPCR_OFF, OPSZ_4),
                                            opnd_create_reg(src32));
    instr_set_translation(store, instr_get_app_pc(instr));
    instrlist_preinsert(bb, instr, store);
    dr_restore_reg(drcontext, bb, instr, scratch, SPILL_SLOT_4);
}

}  // namespace

static dr_emit_flags_t event_instruction_change(void* drcontext, void*, instrlist_t* bb, bool, bool) {
    instr_t* next;
    for (instr_t* instr = instrlist_first_app(bb); instr != nullptr; instr = next) {
        next = instr_get_next_app(instr);
        uint32_t word;
        std::memcpy(&word, instr_get_raw_bits(instr), sizeof word);
        if (sve_handler_t handler = get_sve_handler(word)) {
            replace_sve_instruction(drcontext, bb, instr, word, handler);
        } else {
            watch_fpcr_write(drcontext, bb, instr);
        }
    }
    return DR_EMIT_DEFAULT;
}

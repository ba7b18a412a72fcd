// The subset of the instrumentation framework's published interface that the SVE client uses,
// with the framework's names, argument orders and enumerator values, on AArch64 Linux.
// The project's host layer (host/) implements it.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>

#define DR_API extern "C"

typedef unsigned char byte;
typedef byte* app_pc;
typedef uint64_t reg_t;
typedef int client_id_t;
typedef int file_t;
typedef uint16_t reg_id_t;
typedef unsigned char opnd_size_t;

struct instr_t;
struct instrlist_t;

// Registers of AArch64, in the framework's order.
enum {
    DR_REG_NULL = 0,
    DR_REG_INVALID,
    DR_REG_X0, DR_REG_X1, DR_REG_X2, DR_REG_X3, DR_REG_X4, DR_REG_X5, DR_REG_X6, DR_REG_X7,
    DR_REG_X8, DR_REG_X9, DR_REG_X10, DR_REG_X11, DR_REG_X12, DR_REG_X13, DR_REG_X14, DR_REG_X15,
    DR_REG_X16, DR_REG_X17, DR_REG_X18, DR_REG_X19, DR_REG_X20, DR_REG_X21, DR_REG_X22, DR_REG_X23,
    DR_REG_X24, DR_REG_X25, DR_REG_X26, DR_REG_X27, DR_REG_X28, DR_REG_X29, DR_REG_X30,
    DR_REG_XSP, DR_REG_XZR,
    DR_REG_W0, DR_REG_W1, DR_REG_W2, DR_REG_W3, DR_REG_W4, DR_REG_W5, DR_REG_W6, DR_REG_W7,
    DR_REG_W8, DR_REG_W9, DR_REG_W10, DR_REG_W11, DR_REG_W12, DR_REG_W13, DR_REG_W14, DR_REG_W15,
    DR_REG_W16, DR_REG_W17, DR_REG_W18, DR_REG_W19, DR_REG_W20, DR_REG_W21, DR_REG_W22, DR_REG_W23,
    DR_REG_W24, DR_REG_W25, DR_REG_W26, DR_REG_W27, DR_REG_W28, DR_REG_W29, DR_REG_W30,
    DR_REG_WSP, DR_REG_WZR,
    DR_REG_Q0, DR_REG_Q31 = DR_REG_Q0 + 31,
    DR_REG_D0, DR_REG_D31 = DR_REG_D0 + 31,
    DR_REG_S0, DR_REG_S31 = DR_REG_S0 + 31,
    DR_REG_H0, DR_REG_H31 = DR_REG_H0 + 31,
    DR_REG_B0, DR_REG_B31 = DR_REG_B0 + 31,
    DR_REG_NZCV, DR_REG_FPCR, DR_REG_FPSR,
};

// Operand sizes.
enum {
    OPSZ_NA = 0,
    OPSZ_0, OPSZ_1, OPSZ_2, OPSZ_4, OPSZ_6, OPSZ_8, OPSZ_10, OPSZ_16, OPSZ_32,
};

// Operand flags.
enum dr_opnd_flags_t {
    DR_OPND_DEFAULT = 0x00,
    DR_OPND_NEGATED = 0x01,
    DR_OPND_IS_SHIFT = 0x02,
    DR_OPND_IS_EXTEND = 0x04,
};

// Opcodes of the instructions that the client creates or looks at.
enum {
    OP_INVALID = 0, OP_UNDECODED, OP_CONTD, OP_LABEL,
    OP_add, OP_b, OP_bl, OP_bcond, OP_br, OP_blr, OP_cbnz, OP_cbz, OP_ldp, OP_ldr, OP_mrs, OP_msr,
    OP_ret, OP_stp, OP_str, OP_svc, OP_tbnz, OP_tbz,
    OP_AFTER_LAST,
    OP_LAST = OP_AFTER_LAST - 1,
};

enum dr_emit_flags_t {
    DR_EMIT_DEFAULT = 0,
    DR_EMIT_STORE_TRANSLATIONS = 0x01,
};

enum dr_spill_slot_t {
    SPILL_SLOT_1 = 0, SPILL_SLOT_2 = 1, SPILL_SLOT_3 = 2, SPILL_SLOT_4 = 3, SPILL_SLOT_5 = 4,
    SPILL_SLOT_6 = 5, SPILL_SLOT_7 = 6, SPILL_SLOT_8 = 7, SPILL_SLOT_9 = 8,
    SPILL_SLOT_MAX = SPILL_SLOT_9,
};

// An operand: a register, a base-plus-displacement memory reference or an immediate.
enum { OPND_KIND_NULL = 0, OPND_KIND_REG, OPND_KIND_BASE_DISP, OPND_KIND_IMMED_INT };
struct opnd_t {
    uint8_t kind;
    opnd_size_t size;
    uint16_t flags;
    reg_id_t reg;  // register, or the base of a memory reference
    reg_id_t index;
    int32_t disp;
    int64_t value;  // immediate
};

DR_API file_t our_stderr_file(void);
#define our_stderr (our_stderr_file())
#define STDERR our_stderr

// Start-up, events, diagnostics.
DR_API void dr_set_client_name(const char* name, const char* report_URL);
DR_API const char* dr_get_application_name(void);
DR_API bool dr_register_exit_event(void (*func)(void));
DR_API bool dr_unregister_exit_event(void (*func)(void));
DR_API ssize_t dr_fprintf(file_t f, const char* fmt, ...) __attribute__((format(printf, 2, 3)));
DR_API void dr_log(void* drcontext, uint32_t mask, uint32_t level, const char* fmt, ...)
    __attribute__((format(printf, 4, 5)));
DR_API void dr_abort(void) __attribute__((noreturn));

// Threads, heap, slots, the stolen register.
DR_API void* dr_get_current_drcontext(void);
DR_API void* dr_thread_alloc(void* drcontext, size_t size);
DR_API void dr_thread_free(void* drcontext, void* mem, size_t size);
DR_API reg_id_t dr_get_stolen_reg(void);
DR_API bool dr_insert_get_stolen_reg_value(void* drcontext, instrlist_t* ilist, instr_t* instr, reg_id_t reg);
DR_API bool dr_insert_set_stolen_reg_value(void* drcontext, instrlist_t* ilist, instr_t* instr, reg_id_t reg);
DR_API void dr_save_reg(void* drcontext, instrlist_t* ilist, instr_t* where, reg_id_t reg, dr_spill_slot_t slot);
DR_API void dr_restore_reg(void* drcontext, instrlist_t* ilist, instr_t* where, reg_id_t reg, dr_spill_slot_t slot);
DR_API reg_t dr_read_saved_reg(void* drcontext, dr_spill_slot_t slot);
DR_API void dr_write_saved_reg(void* drcontext, dr_spill_slot_t slot, reg_t value);

// The call with immediate arguments whose instructions all translate to `app`.
DR_API void dr_insert_call_tarnel(void* drcontext, instrlist_t* ilist, instr_t* where, app_pc app, void* callee,
                                  uint32_t num_args, ...);

// Instruction lists.
DR_API instrlist_t* instrlist_create(void* drcontext);
DR_API void instrlist_clear_and_destroy(void* drcontext, instrlist_t* ilist);
DR_API instr_t* instrlist_first(instrlist_t* ilist);
DR_API instr_t* instrlist_first_app(instrlist_t* ilist);
DR_API instr_t* instrlist_last(instrlist_t* ilist);
DR_API void instrlist_append(instrlist_t* ilist, instr_t* instr);
DR_API void instrlist_preinsert(instrlist_t* ilist, instr_t* where, instr_t* instr);
DR_API void instrlist_remove(instrlist_t* ilist, instr_t* instr);

// Instructions.
DR_API instr_t* instr_create(void* drcontext);
DR_API void instr_destroy(void* drcontext, instr_t* instr);
DR_API instr_t* instr_get_next(instr_t* instr);
DR_API instr_t* instr_get_next_app(instr_t* instr);
DR_API bool instr_is_app(instr_t* instr);
DR_API byte* instr_get_raw_bits(instr_t* instr);
DR_API void instr_set_raw_bits(instr_t* instr, byte* addr, uint32_t length);
DR_API void instr_set_raw_bits_valid(instr_t* instr, bool valid);
DR_API app_pc instr_get_app_pc(instr_t* instr);
DR_API instr_t* instr_set_translation(instr_t* instr, app_pc addr);
DR_API app_pc instr_get_translation(instr_t* instr);
DR_API int instr_get_opcode(instr_t* instr);
DR_API int instr_num_dsts(instr_t* instr);
DR_API int instr_num_srcs(instr_t* instr);
DR_API opnd_t instr_get_dst(instr_t* instr, uint32_t pos);
DR_API opnd_t instr_get_src(instr_t* instr, uint32_t pos);
DR_API instr_t* instr_create_1dst_1src(void* drcontext, int opcode, opnd_t dst, opnd_t src);
DR_API instr_t* instr_create_1dst_2src(void* drcontext, int opcode, opnd_t dst, opnd_t src1, opnd_t src2);
DR_API instr_t* instr_create_2dst_1src(void* drcontext, int opcode, opnd_t dst1, opnd_t dst2, opnd_t src);
DR_API instr_t* instr_create_1dst_4src(void* drcontext, int opcode, opnd_t dst, opnd_t src1, opnd_t src2,
                                       opnd_t src3, opnd_t src4);

// Operands.
DR_API opnd_t opnd_create_reg(reg_id_t r);
DR_API opnd_t opnd_create_base_disp(reg_id_t base_reg, reg_id_t index_reg, int scale, int disp, opnd_size_t data_size);
DR_API opnd_t opnd_create_immed_int(int64_t i, opnd_size_t data_size);
DR_API opnd_t opnd_add_flags(opnd_t opnd, dr_opnd_flags_t flags);
DR_API bool opnd_is_reg(opnd_t opnd);
DR_API bool opnd_is_base_disp(opnd_t opnd);
DR_API bool opnd_is_immed_int(opnd_t opnd);
DR_API reg_id_t opnd_get_reg(opnd_t opnd);
DR_API reg_id_t opnd_get_base(opnd_t opnd);
DR_API int opnd_get_disp(opnd_t opnd);
DR_API int64_t opnd_get_immed_int(opnd_t opnd);
DR_API opnd_size_t opnd_get_size(opnd_t opnd);
DR_API dr_opnd_flags_t opnd_get_flags(opnd_t opnd);

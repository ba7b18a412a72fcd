// The host layer's own view of instruction lists: what the framework calls (spills, TLS reads,
// markers, the call) stand in a list as meta instructions with the opcodes below, so that the
// runtime can carry a rewritten sequence out, and tests can read it.
#pragma once

#include "dr_api.h"
#include "drmgr.h"

enum {
    OP_host_first = 1000,
    OP_host_save_slot = OP_host_first,  // src[0] register, src[1] immediate slot
    OP_host_restore_slot,               // dst[0] register, src[0] immediate slot
    OP_host_get_stolen,                 // dst[0] register
    OP_host_set_stolen,                 // src[0] register
    OP_host_read_tls,                   // dst[0] register, src[0] immediate field index
    OP_host_call,                       // src[0] immediate callee, src[1..] immediate arguments
    OP_host_emulation_start,            // src[0] immediate application pc
    OP_host_emulation_end,
};

constexpr int HOST_MAX_SRCS = 8;

struct instr_t {
    instr_t* prev;
    instr_t* next;
    int opcode;
    bool app;  // an application instruction (false: meta, inserted by the framework)
    bool raw_valid;
    uint8_t ndst, nsrc;
    uint32_t raw_len;
    byte* raw;         // the bytes of an application instruction
    app_pc translation;
    opnd_t dst[2];
    opnd_t src[HOST_MAX_SRCS];
};

struct instrlist_t {
    instr_t* first;
    instr_t* last;
};

// Per-thread framework data: what a drcontext points to.
constexpr int HOST_TLS_FIELDS = 8;
struct host_thread {
    reg_t slots[SPILL_SLOT_MAX + 1];
    void* tls[HOST_TLS_FIELDS];
    bool initialised;
    bool exited;
    // The emulation call of the patch stage reads these three.
    uint32_t* fpcr_field;  // where the thread's record keeps FPCR, or null
    uintptr_t emu_top;     // top of the thread's emulator stack, 0 without one
    uintptr_t emu_base;
    uintptr_t trap_pc;     // the SVE word that the trap stage is carrying out, else 0
    const bool* trace_flag;  // the client's flag of a recording region (translated loads and stores read it)
};

// An instruction list of `n` application words at `pc`, decoded as far as the client needs.
DR_API instrlist_t* host_build_block(void* drcontext, const uint32_t* words, app_pc pc, int n);
// The registered bb_app2app events, in order of priority, over `bb`.
DR_API void host_run_bb_events(void* drcontext, instrlist_t* bb, app_pc tag);
// Test hooks: the register that the framework reports as stolen, and a drcontext for the caller.
DR_API void host_set_stolen_reg(reg_id_t reg);
DR_API void* host_thread_context(void);
// Decodes the opcode and operands the client looks at: msr/mrs and the ends of blocks.
DR_API void host_decode(instr_t* instr, uint32_t word);
// Runs the registered thread init (or exit) events for `drcontext`, a host_thread of the caller.
DR_API void host_run_thread_events(void* drcontext, bool init);

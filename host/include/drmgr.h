// The manager extension: events in phases, per-thread fields, emulation markers.
#pragma once

#include "dr_api.h"

typedef dr_emit_flags_t (*drmgr_xform_cb_t)(void* drcontext, void* tag, instrlist_t* bb, bool for_trace,
                                            bool translating);

struct drmgr_priority_t {
    size_t struct_size;
    const char* name;
    const char* before;
    const char* after;
    int priority;
};

// The descriptor of an application instruction that an inline sequence stands for.
struct emulated_instr_t {
    size_t size;
    app_pc pc;
    instr_t* instr;
    // The framework's later versions add flags here; this version has three fields.
};
static_assert(sizeof(emulated_instr_t) == 24);

DR_API bool drmgr_init(void);
DR_API void drmgr_exit(void);
DR_API bool drmgr_register_thread_init_event(void (*func)(void* drcontext));
DR_API bool drmgr_register_thread_exit_event(void (*func)(void* drcontext));
DR_API bool drmgr_register_bb_app2app_event(drmgr_xform_cb_t func, drmgr_priority_t* priority);
DR_API bool drmgr_unregister_bb_app2app_event(drmgr_xform_cb_t func);
DR_API int drmgr_register_tls_field(void);
DR_API bool drmgr_unregister_tls_field(int idx);
DR_API void* drmgr_get_tls_field(void* drcontext, int idx);
DR_API bool drmgr_set_tls_field(void* drcontext, int idx, void* value);
DR_API bool drmgr_insert_read_tls_field(void* drcontext, int idx, instrlist_t* ilist, instr_t* where, reg_id_t reg);
DR_API bool drmgr_insert_emulation_start(void* drcontext, instrlist_t* ilist, instr_t* where, emulated_instr_t* instr);
DR_API void drmgr_insert_emulation_end(void* drcontext, instrlist_t* ilist, instr_t* where);

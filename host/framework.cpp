// The framework's interface that the client uses, as the host layer implements it: the event
// registry, logging, per-thread memory and storage, spill slots, and the meta instructions that
// stand for the framework's inserts in an instruction list.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>

#include "host/include/droption.h"
#include "host/include/drreg.h"
#include "host/runtime.h"

namespace {

constexpr int MAX_EVENTS = 8;
void (*thread_init_events[MAX_EVENTS])(void*);
void (*thread_exit_events[MAX_EVENTS])(void*);
void (*exit_events[MAX_EVENTS])(void);
int n_thread_init, n_thread_exit, n_exit;

struct bb_event {
    drmgr_xform_cb_t fn;
    int priority;
};
bb_event bb_events[MAX_EVENTS];
int n_bb_events;
int n_tls_fields;
reg_id_t stolen_reg = DR_REG_X28;

template <class F>
bool add_event(F* list, int& n, F fn) {
    if (n == MAX_EVENTS) return false;
    list[n++] = fn;
    return true;
}

template <class F>
bool remove_event(F* list, int& n, F fn) {
    for (int i = 0; i < n; i++) {
        if (list[i] != fn) continue;
        for (int j = i + 1; j < n; j++) list[j - 1] = list[j];
        n--;
        return true;
    }
    return false;
}

}  // namespace

void host_run_exit_events() {
    for (int i = 0; i < n_exit; i++) exit_events[i]();
}

file_t our_stderr_file(void) { return 2; }

void dr_set_client_name(const char*, const char*) {}

const char* dr_get_application_name(void) { return program_invocation_short_name; }

bool dr_register_exit_event(void (*func)(void)) { return add_event(exit_events, n_exit, func); }
bool dr_unregister_exit_event(void (*func)(void)) { return remove_event(exit_events, n_exit, func); }

ssize_t dr_fprintf(file_t f, const char* fmt, ...) {
    char buf[1024];
    va_list ap;
    va_start(ap, fmt);
    int n = vsnprintf(buf, sizeof buf, fmt, ap);
    va_end(ap);
    if (n < 0) return -1;
    if (size_t(n) >= sizeof buf) n = sizeof buf - 1;
    return write(f, buf, size_t(n));
}

void dr_log(void*, uint32_t, uint32_t level, const char* fmt, ...) {
    if (!host_log_enabled || level > 1) return;
    char buf[1024];
    va_list ap;
    va_start(ap, fmt);
    int n = vsnprintf(buf, sizeof buf, fmt, ap);
    va_end(ap);
    if (n > 0) {
        ssize_t r = write(2, buf, size_t(n) < sizeof buf ? size_t(n) : sizeof buf - 1);
        (void)r;
    }
}

void dr_abort(void) { _exit(1); }

void* dr_get_current_drcontext(void) { return &this_thread; }

void* dr_thread_alloc(void*, size_t size) {
    void* m = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return m == MAP_FAILED ? nullptr : m;
}

void dr_thread_free(void*, void* mem, size_t size) { munmap(mem, size); }

reg_id_t dr_get_stolen_reg(void) { return stolen_reg; }

static instr_t* meta(int opcode, int ndst, int nsrc) {
    instr_t* in = instr_create(nullptr);
    in->app = false;
    in->opcode = opcode;
    in->ndst = uint8_t(ndst);
    in->nsrc = uint8_t(nsrc);
    return in;
}

bool dr_insert_get_stolen_reg_value(void*, instrlist_t* ilist, instr_t* where, reg_id_t reg) {
    instr_t* in = meta(OP_host_get_stolen, 1, 0);
    in->dst[0] = opnd_create_reg(reg);
    instrlist_preinsert(ilist, where, in);
    return true;
}

bool dr_insert_set_stolen_reg_value(void*, instrlist_t* ilist, instr_t* where, reg_id_t reg) {
    instr_t* in = meta(OP_host_set_stolen, 0, 1);
    in->src[0] = opnd_create_reg(reg);
    instrlist_preinsert(ilist, where, in);
    return true;
}

void dr_save_reg(void*, instrlist_t* ilist, instr_t* where, reg_id_t reg, dr_spill_slot_t slot) {
    instr_t* in = meta(OP_host_save_slot, 0, 2);
    in->src[0] = opnd_create_reg(reg);
    in->src[1] = opnd_create_immed_int(slot, OPSZ_4);
    instrlist_preinsert(ilist, where, in);
}

void dr_restore_reg(void*, instrlist_t* ilist, instr_t* where, reg_id_t reg, dr_spill_slot_t slot) {
    instr_t* in = meta(OP_host_restore_slot, 1, 1);
    in->dst[0] = opnd_create_reg(reg);
    in->src[0] = opnd_create_immed_int(slot, OPSZ_4);
    instrlist_preinsert(ilist, where, in);
}

reg_t dr_read_saved_reg(void* drcontext, dr_spill_slot_t slot) {
    return static_cast<host_thread*>(drcontext)->slots[slot];
}

void dr_write_saved_reg(void* drcontext, dr_spill_slot_t slot, reg_t value) {
    static_cast<host_thread*>(drcontext)->slots[slot] = value;
}

void dr_insert_call_tarnel(void*, instrlist_t* ilist, instr_t* where, app_pc app, void* callee, uint32_t num_args,
                           ...) {
    instr_t* in = meta(OP_host_call, 0, 1 + int(num_args < HOST_MAX_SRCS ? num_args : HOST_MAX_SRCS - 1));
    in->src[0] = opnd_create_immed_int(int64_t(callee), OPSZ_8);
    va_list ap;
    va_start(ap, num_args);
    for (int i = 1; i < in->nsrc; i++) in->src[i] = va_arg(ap, opnd_t);
    va_end(ap);
    in->translation = app;
    instrlist_preinsert(ilist, where, in);
}

bool drmgr_init(void) { return true; }
void drmgr_exit(void) {}
bool drmgr_register_thread_init_event(void (*func)(void*)) { return add_event(thread_init_events, n_thread_init, func); }
bool drmgr_register_thread_exit_event(void (*func)(void*)) { return add_event(thread_exit_events, n_thread_exit, func); }

bool drmgr_register_bb_app2app_event(drmgr_xform_cb_t func, drmgr_priority_t* priority) {
    if (!func || n_bb_events == MAX_EVENTS) return false;
    int prio = priority ? priority->priority : 0;
    int i = n_bb_events++;
    while (i > 0 && bb_events[i - 1].priority > prio) {  // lower priorities run first
        bb_events[i] = bb_events[i - 1];
        i--;
    }
    bb_events[i] = {func, prio};
    return true;
}

bool drmgr_unregister_bb_app2app_event(drmgr_xform_cb_t func) {
    for (int i = 0; i < n_bb_events; i++) {
        if (bb_events[i].fn != func) continue;
        for (int j = i + 1; j < n_bb_events; j++) bb_events[j - 1] = bb_events[j];
        n_bb_events--;
        return true;
    }
    return false;
}

int drmgr_register_tls_field(void) { return n_tls_fields < HOST_TLS_FIELDS ? n_tls_fields++ : -1; }
bool drmgr_unregister_tls_field(int idx) { return idx >= 0 && idx < n_tls_fields; }

void* drmgr_get_tls_field(void* drcontext, int idx) {
    if (idx < 0 || idx >= n_tls_fields) return nullptr;
    return static_cast<host_thread*>(drcontext)->tls[idx];
}

bool drmgr_set_tls_field(void* drcontext, int idx, void* value) {
    if (idx < 0 || idx >= n_tls_fields) return false;
    static_cast<host_thread*>(drcontext)->tls[idx] = value;
    return true;
}

bool drmgr_insert_read_tls_field(void*, int idx, instrlist_t* ilist, instr_t* where, reg_id_t reg) {
    if (idx < 0 || idx >= n_tls_fields) return false;
    instr_t* in = meta(OP_host_read_tls, 1, 1);
    in->dst[0] = opnd_create_reg(reg);
    in->src[0] = opnd_create_immed_int(idx, OPSZ_4);
    instrlist_preinsert(ilist, where, in);
    return true;
}

bool drmgr_insert_emulation_start(void*, instrlist_t* ilist, instr_t* where, emulated_instr_t* instr) {
    if (!instr || instr->size < sizeof(emulated_instr_t)) return false;
    instr_t* in = meta(OP_host_emulation_start, 0, 1);
    in->src[0] = opnd_create_immed_int(int64_t(instr->pc), OPSZ_8);
    instrlist_preinsert(ilist, where, in);
    return true;
}

void drmgr_insert_emulation_end(void*, instrlist_t* ilist, instr_t* where) {
    instrlist_preinsert(ilist, where, meta(OP_host_emulation_end, 0, 0));
}

drreg_status_t drreg_exit(void) { return DRREG_SUCCESS; }

bool droption_parser_t::parse_argv(unsigned int, int argc, const char* argv[], std::string* error_msg, int* last_index) {
    int i = 1;
    bool ok = true;
    for (; i < argc; i++) {
        if (std::strcmp(argv[i], "--") == 0) break;
        if (error_msg) *error_msg = std::string("Unknown option: ") + argv[i];
        ok = false;
        break;
    }
    if (last_index) *last_index = i;
    return ok;
}

void host_run_bb_events(void* drcontext, instrlist_t* bb, app_pc tag) {
    for (int i = 0; i < n_bb_events; i++) bb_events[i].fn(drcontext, tag, bb, false, false);
}

void host_set_stolen_reg(reg_id_t reg) { stolen_reg = reg; }
void* host_thread_context(void) { return &this_thread; }

void host_run_thread_events(void* drcontext, bool init) {
    auto* t = static_cast<host_thread*>(drcontext);
    if (init) {
        for (int i = 0; i < n_thread_init; i++) thread_init_events[i](t);
    } else {
        for (int i = 0; i < n_thread_exit; i++) thread_exit_events[i](t);
    }
}


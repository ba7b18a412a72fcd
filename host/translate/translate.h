// The translate stage's translator: SVE words whose row it knows become Advanced SIMD code that
// works on the thread's state record directly, 16 bytes at a time (chunk 0 of a Z register is its
// V register, chunks 1.. are in the record), unrolled for the client's vector length. The forms
// are chosen by rules over the row metadata of the decoder (forms.cpp); a run of words shares
// one set-up of scratch registers (run.cpp and the host's patch stage).
#pragma once

#include <cstdint>

#include "sve/decode/sve_emulator.h"

// Where the translated code finds what it needs, and the length it is made for.
struct xl_env {
    int vl;              // vector length in bytes, 16 to 256
    uint32_t record_tp;  // offset from TPIDR_EL0 of the word that holds the thread's cpu_state pointer
    uint32_t trace_tp;   // offset from TPIDR_EL0 of the word that holds a pointer to the thread's
                         // trace flag (non-zero while a region of interest records), or 0: none
    uint32_t features;   // what the processor has beyond Advanced SIMD (XL_HAS_*)
};
// Optional Advanced SIMD instructions: complex multiply-add (FEAT_FCMA), dot products
// (FEAT_DotProd); AT_HWCAP bits of the same names.
constexpr uint32_t XL_HAS_DOTPROD = 1u << 20;

// Machine code under construction: words, labels, branches to labels and 16-byte literals put
// behind the code. Fixed capacity; `failed` once anything did not fit or reach.
struct xl_emitter {
    static constexpr int MAX_LABELS = 256, MAX_FIXUPS = 1024, MAX_LITERALS = 256;
    xl_emitter(uint32_t* buf, int capacity) : out(buf), max(capacity) {}
    uint32_t* out;
    int max;
    int n = 0;
    bool failed = false;
    int labels[MAX_LABELS];
    int nlabels = 0;
    struct fixup {
        int at, label;
        bool literal;
    } fixups[MAX_FIXUPS];
    int nfixups = 0;
    uint8_t literals[MAX_LITERALS][16];
    int nliterals = 0;

    void put(uint32_t w) {
        if (n < max) out[n++] = w;
        else failed = true;
    }
    int new_label() {
        if (nlabels == MAX_LABELS) return failed = true, 0;
        labels[nlabels] = -1;
        return nlabels++;
    }
    void bind(int label) { labels[label] = n; }
    // A branch (b, b.cond, cbz/cbnz: the offset field is filled in at the end) to a label.
    void branch(uint32_t w, int label);
    // ldr qt, =bytes
    void literal_q(uint32_t t, const uint8_t bytes[16]);
    // Puts the literals behind the code and resolves every branch; the number of words, or -1.
    int finish();
};

// The registers that the set-up of a run gives the translated words: the record pointer, scratch
// general registers and scratch V registers (all saved just above the moved sp), and sp moved
// down by XL_SP_BIAS meanwhile.
constexpr int XL_SP_BIAS = 512;
constexpr int XL_MAX_G = 4, XL_MAX_V = 4;
struct xl_regs {
    uint32_t rec;
    uint32_t g[XL_MAX_G];
    uint32_t v[XL_MAX_V];
    int ng, nv;
};

struct xl_form;
// What the translator makes of one word.
struct xl_word {
    const xl_form* form;  // null: the word keeps the call
    const sve_row_info* row;
    uint32_t word;
    uint32_t uses;        // registers the word names (bit per number; general and vector alike)
    int ng, nv;           // scratch registers its code needs
    bool memory;          // it has a way out to the call (slow label): loads, stores, and forms
                          // that take only an all-true governing predicate
    bool any_predicate;   // a memory form that keeps inactive elements inline too (given a resume label)
    bool traced;          // it leaves for the call while the thread records a region of interest
};

// The form of a word of `row` at this length, if the translator has one.
xl_word xl_select(const sve_row_info* row, uint32_t word, const xl_env& env);
// Emits the word's code; `slow` is the label of its way out to the call (memory forms), `body`
// (or -1) a label to bind between their guards and their work, `resume` (or -1) the label behind
// the word where a way of its own for inactive elements comes back (without it, they take the call).
void xl_emit(xl_emitter& e, const xl_word& w, const xl_regs& r, const xl_env& env, int slow, int body = -1,
             int resume = -1);
// Whether the guards of a memory word that passed hold for the next one too (the same governing
// predicate, elements no smaller, and neither changes it or the trace flag): the next one's
// work can follow the first one's directly, while its guards stay for the way back from the call.
bool xl_guards_carry(const xl_word& prev, const xl_word& next);
// The scratch registers of a run whose words name `uses`, or false when too few are free.
bool xl_pick_regs(uint32_t uses, int ng, int nv, xl_regs& r);
// Set-up of the scratch registers and the record pointer, and its undoing.
void xl_prologue(xl_emitter& e, const xl_regs& r, const xl_env& env);
void xl_epilogue(xl_emitter& e, const xl_regs& r, const xl_env& env);
// The program's registers back from a set-up run interrupted at a fault: the scratch registers
// from their saves above the moved sp, sp moved back. `gpr` are x0..x30 and sp (index 31),
// `vregs` the 32 V registers.
void xl_undo_setup(const xl_regs& r, uint64_t gpr[32], __uint128_t vregs[32]);

// Every translated form, for tests and the host's log.
int xl_form_count();
const char* xl_form_name(const xl_form* f);

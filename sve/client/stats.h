// The instruction mix: how often each SVE instruction of the application runs, per thread and
// per region of interest, reported at process exit (sve-run --stats).
//
// Each thread counts into its own fixed table, keyed by the instruction's address and the
// thread's current region, allocated at thread start: the counting takes no lock, makes no
// atomic access and allocates nothing. A thread's table is merged into the process-wide counts
// when the thread ends (or at process exit for threads still running), under a lock.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "include/sve_roi.h"

// One counted instruction of one region of one thread. An empty slot has pc 0.
struct stats_slot {
    uint64_t pc;
    uint32_t word;    // the instruction word (the code at pc may be patched by then)
    uint32_t region;  // 0 outside every region, else the thread's region number, from 1
    uint64_t count;
};

constexpr uint32_t STATS_SLOTS = 1u << 13;                // a power of two
constexpr uint32_t STATS_SLOT_LIMIT = STATS_SLOTS / 4 * 3;  // beyond this load, probing grows long

struct stats_thread {
    uint32_t region;   // the current region, 0 outside
    uint32_t regions;  // regions this thread has started
    uint32_t thread;   // the thread's number in the order threads started, the first 0
    uint32_t used;     // slots in use
    uint32_t trace_id;  // the thread in trace records: the low 32 bits of pthread_self()
    uint64_t dropped;  // executions of instructions that found the table full
    stats_slot slot[STATS_SLOTS];
};

inline uint32_t stats_hash(uint64_t pc, uint32_t region) {
    return uint32_t(((pc >> 2) ^ (uint64_t(region) << 40)) * 0x9E3779B97F4A7C15ull >> 32) & (STATS_SLOTS - 1);
}

// Counts one execution of `word` at `pc`. A start marker opens the thread's next region and
// counts in it (a second start opens a new region too); a stop marker counts in the region it
// closes.
inline void stats_count(stats_thread* t, uint64_t pc, uint32_t word) {
    uint32_t marker = word & ~0x1Fu;
    if (marker == SVE_ROI_START_WORD) t->region = ++t->regions;
    uint32_t region = t->region;
    if (marker == SVE_ROI_STOP_WORD) t->region = 0;
    for (uint32_t i = stats_hash(pc, region);; i = (i + 1) & (STATS_SLOTS - 1)) {
        stats_slot& s = t->slot[i];
        if (s.pc == pc && s.region == region) {
            s.count++;
            return;
        }
        if (s.pc != 0) continue;
        if (t->used == STATS_SLOT_LIMIT) {
            t->dropped++;
            return;
        }
        t->used++;
        s = {pc, word, region, 1};
        return;
    }
}

// ---- Process-wide --------------------------------------------------------------------------

enum stats_format { stats_text, stats_csv, stats_json };

// Set once at start-up from the environment: SVE_STATS=text|csv|json turns counting on, and
// SVE_STATS_FILE names the report file (%p the process id, %r the MPI rank); standard error
// without it. Hidden: the test in emulate_instruction is one load, not one through the GOT.
extern __attribute__((visibility("hidden"))) bool stats_enabled;

// Reads the environment. False with a one-line `error` for a format it does not know.
bool stats_configure(std::string& error);
// A new thread's table (zeroed, from `alloc`), numbered and registered.
void stats_thread_start(stats_thread* t);
// Merges a thread's counts into the process-wide counts and unregisters its table.
void stats_thread_end(stats_thread* t);
// Merges the tables of threads still running and writes the report.
void stats_finish();

// ---- The report ----------------------------------------------------------------------------

// Merged counts: one entry per thread, region and instruction.
struct stats_entry {
    uint32_t thread;
    uint32_t trace_id;
    uint32_t region;
    uint64_t pc;
    uint32_t word;
    uint64_t count;
};

// Where an address lies: "function+0xOFF" (with " [object]" outside the main program), and the
// function alone ("function [object]").
struct stats_place {
    std::string location;
    std::string function;
};
typedef stats_place (*stats_locator)(uint64_t pc, void* ctx);

// The readable form of an instruction word: its decode row's mnemonic and operand kinds.
const char* stats_form(uint32_t word);

// Writes the report of `entries` (plus `dropped` executions that no table slot took).
void stats_write_report(FILE* out, stats_format format, const std::vector<stats_entry>& entries, uint64_t dropped,
                        stats_locator locate, void* ctx);

// The file name for a pattern: %p the process id, %r the rank (OMPI_COMM_WORLD_RANK, PMI_RANK,
// PMIX_RANK or SLURM_PROCID, the first that is set; 0 without any), %% a percent sign.
std::string stats_file_name(const char* pattern, long pid);

// Places of the application's addresses, from the symbol tables of the loaded objects
// (dl_iterate_phdr): a locator and its context, built at exit.
struct stats_symbols;
stats_symbols* stats_symbols_load();
void stats_symbols_free(stats_symbols* s);
stats_place stats_locate(uint64_t pc, void* symbols);

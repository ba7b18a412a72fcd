// Names of instruction addresses, function+offset, from the application's ELF file (--binary),
// for the tables of summary and cache.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/sve-trace/command.h"
#include "tools/elf_symbols/elf_symbols.h"

namespace sve_trace {

struct pc_names {
    bool on = false;  // a binary was given
    elf_symbols syms;
    uint64_t bias = 0;  // load address of a position-independent program
};

// Reads the binary of --binary, if any. False with the error printed (status 1).
bool load_pc_names(const context& c, const options& opt, pc_names& n);

// Sets the load address: --base, or the guess from the busiest addresses (first in `pcs`).
void settle_bias(pc_names& n, const options& opt, const std::vector<uint64_t>& pcs);

// Settles the load address from `pcs` (busiest first) and prints the title of an instruction
// table: "instructions by WHAT (shown of all)" and the load address. Returns the rows to show.
size_t instruction_title(FILE* o, pc_names& n, const options& opt, const std::vector<uint64_t>& pcs, const char* what);

// "function+0xOFF", or "?" for an address outside every function.
std::string pc_name(const pc_names& n, uint64_t pc);

}  // namespace sve_trace

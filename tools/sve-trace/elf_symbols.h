// Function names of an ELF64 little-endian program (the AArch64 application of a trace), read
// from its .symtab and .dynsym without any library, on any host.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace sve_trace {

struct elf_symbol {
    uint64_t address;
    uint64_t size;  // 0 when the symbol table gives none
    std::string name;
};

struct elf_symbols {
    bool position_independent = false;  // ET_DYN: loaded at an address chosen at run time
    uint64_t text_low = 0, text_high = 0;  // executable segments, as linked
    std::vector<elf_symbol> functions;    // sorted by address, duplicates removed
};

// False with a one-line `error` when the file cannot be read or is not an ELF64 little-endian file.
bool load_elf_symbols(const char* path, elf_symbols& out, std::string& error);

// "name+0xOFF" (or "name" at offset 0) for a linked address, "" when no function holds it.
std::string symbolize(const elf_symbols& syms, uint64_t linked_address);

// The load bias of a position-independent program, guessed from the traced instruction
// addresses: the page-aligned bias, within reach of the executable segments, under which the most
// addresses fall inside a function. 0 for a program linked at a fixed address, or when the
// addresses already lie in the linked range.
uint64_t guess_load_bias(const elf_symbols& syms, const std::vector<uint64_t>& pcs);

}  // namespace sve_trace

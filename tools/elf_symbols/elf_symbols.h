// Function names of an ELF64 little-endian program or shared library (the AArch64 application of
// a trace, the objects of a running process), read from its .symtab and .dynsym without any
// library, on any host.
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

// An executable segment as linked, with its bytes from the file.
struct elf_code {
    uint64_t address;
    std::vector<uint8_t> bytes;
};

struct elf_symbols {
    bool position_independent = false;  // ET_DYN: loaded at an address chosen at run time
    bool aarch64 = false;
    uint64_t text_low = 0, text_high = 0;  // executable segments, as linked
    uint64_t load_align = 4096;            // largest alignment of a loaded segment
    std::vector<elf_code> code;
    std::vector<elf_symbol> functions;    // sorted by address, duplicates removed
};

// False with a one-line `error` when the file cannot be read or is not an ELF64 little-endian file.
bool load_elf_symbols(const char* path, elf_symbols& out, std::string& error);

// "name+0xOFF" (or "name" at offset 0) for a linked address, "" when no function holds it.
std::string symbolize(const elf_symbols& syms, uint64_t linked_address);

// The load bias of a position-independent program, guessed from the traced instruction
// addresses. Every bias aligned as the loader aligns the program and within reach of the
// executable segments is tried; the winner puts the most addresses on SVE instruction words (for
// an AArch64 program), then the most inside functions. 0 for a program linked at a fixed address.
uint64_t guess_load_bias(const elf_symbols& syms, const std::vector<uint64_t>& pcs);

}  // namespace sve_trace

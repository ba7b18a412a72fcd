#include "tools/elf_symbols/elf_symbols.h"

#include <cxxabi.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace sve_trace {

namespace {

// The parts of the ELF64 structures used here, at their fixed offsets.
constexpr uint16_t ET_DYN = 3, EM_AARCH64 = 183;
constexpr uint32_t PT_LOAD = 1, PF_X = 1;
constexpr uint32_t SHT_SYMTAB = 2, SHT_DYNSYM = 11;
constexpr uint8_t STT_FUNC = 2, STT_GNU_IFUNC = 10;
constexpr uint16_t SHN_UNDEF = 0;

// ELF files here are little-endian: assemble values byte by byte, whatever the host.
template <class T>
T get(const std::vector<uint8_t>& b, uint64_t off) {
    uint64_t x = 0;
    for (size_t i = 0; i < sizeof(T) && off + i < b.size(); i++) x |= uint64_t(b[off + i]) << (8 * i);
    return T(x);
}

// C++ names as the programmer wrote them; anything else unchanged.
std::string demangle(const std::string& name) {
    if (name.rfind("_Z", 0) != 0) return name;
    int status = 0;
    char* d = abi::__cxa_demangle(name.c_str(), nullptr, nullptr, &status);
    std::string r = status == 0 && d ? d : name;
    std::free(d);
    return r;
}

bool in_file(const std::vector<uint8_t>& b, uint64_t off, uint64_t len) {
    return off <= b.size() && len <= b.size() - off;
}

}  // namespace

bool load_elf_symbols(const char* path, elf_symbols& out, std::string& error) {
    FILE* f = std::fopen(path, "rb");
    if (!f) {
        error = std::string(path) + ": " + std::strerror(errno);
        return false;
    }
    std::vector<uint8_t> b;
    long size = std::fseek(f, 0, SEEK_END) == 0 ? std::ftell(f) : -1;
    if (size > 0 && std::fseek(f, 0, SEEK_SET) == 0) {
        b.resize(size_t(size));
        b.resize(std::fread(b.data(), 1, b.size(), f));
    }
    std::fclose(f);
    if (b.size() < 64 || std::memcmp(b.data(), "\x7f" "ELF", 4) != 0) {
        error = std::string(path) + ": not an ELF file";
        return false;
    }
    if (b[4] != 2 || b[5] != 1) {
        error = std::string(path) + ": not a 64-bit little-endian ELF file";
        return false;
    }
    out = elf_symbols{};
    out.position_independent = get<uint16_t>(b, 16) == ET_DYN;
    out.aarch64 = get<uint16_t>(b, 18) == EM_AARCH64;

    uint64_t phoff = get<uint64_t>(b, 32), shoff = get<uint64_t>(b, 40);
    uint16_t phentsize = get<uint16_t>(b, 54), phnum = get<uint16_t>(b, 56);
    uint16_t shentsize = get<uint16_t>(b, 58), shnum = get<uint16_t>(b, 60);

    bool any_text = false;
    for (uint16_t i = 0; i < phnum && in_file(b, phoff + uint64_t(i) * phentsize, 56); i++) {
        uint64_t ph = phoff + uint64_t(i) * phentsize;
        if (get<uint32_t>(b, ph) != PT_LOAD) continue;
        uint64_t align = get<uint64_t>(b, ph + 48);
        if (align > out.load_align && (align & (align - 1)) == 0 && align <= (1ull << 30)) out.load_align = align;
        if (!(get<uint32_t>(b, ph + 4) & PF_X)) continue;
        uint64_t offset = get<uint64_t>(b, ph + 8), filesz = get<uint64_t>(b, ph + 32);
        uint64_t lo = get<uint64_t>(b, ph + 16), hi = lo + get<uint64_t>(b, ph + 40);
        if (in_file(b, offset, filesz))
            out.code.push_back({lo, std::vector<uint8_t>(b.begin() + long(offset), b.begin() + long(offset + filesz))});
        out.text_low = any_text ? std::min(out.text_low, lo) : lo;
        out.text_high = any_text ? std::max(out.text_high, hi) : hi;
        any_text = true;
    }

    for (uint16_t i = 0; i < shnum && in_file(b, shoff + uint64_t(i) * shentsize, 64); i++) {
        uint64_t sh = shoff + uint64_t(i) * shentsize;
        uint32_t type = get<uint32_t>(b, sh + 4);
        if (type != SHT_SYMTAB && type != SHT_DYNSYM) continue;
        uint64_t off = get<uint64_t>(b, sh + 24), size = get<uint64_t>(b, sh + 32);
        uint32_t link = get<uint32_t>(b, sh + 40);
        uint64_t entsize = get<uint64_t>(b, sh + 56);
        uint64_t strsh = shoff + uint64_t(link) * shentsize;
        if (entsize < 24 || !in_file(b, off, size) || link >= shnum || !in_file(b, strsh, 64)) continue;
        uint64_t stroff = get<uint64_t>(b, strsh + 24), strsize = get<uint64_t>(b, strsh + 32);
        if (!in_file(b, stroff, strsize)) continue;
        for (uint64_t e = off; e + 24 <= off + size; e += entsize) {
            uint32_t name = get<uint32_t>(b, e);
            uint8_t info = b[e + 4];
            uint16_t shndx = get<uint16_t>(b, e + 6);
            uint64_t value = get<uint64_t>(b, e + 8), sz = get<uint64_t>(b, e + 16);
            uint8_t kind = info & 0xF;
            if ((kind != STT_FUNC && kind != STT_GNU_IFUNC) || shndx == SHN_UNDEF || name >= strsize) continue;
            const char* s = reinterpret_cast<const char*>(b.data() + stroff + name);
            size_t len = strnlen(s, strsize - name);
            out.functions.push_back({value, sz, demangle(std::string(s, len))});
        }
    }
    std::sort(out.functions.begin(), out.functions.end(), [](const elf_symbol& x, const elf_symbol& y) {
        return x.address != y.address ? x.address < y.address : x.size > y.size;
    });
    // .symtab and .dynsym repeat each other: keep one entry per address.
    out.functions.erase(std::unique(out.functions.begin(), out.functions.end(),
                                    [](const elf_symbol& x, const elf_symbol& y) { return x.address == y.address; }),
                        out.functions.end());
    return true;
}

namespace {

const elf_symbol* find_function(const elf_symbols& syms, uint64_t a) {
    auto it = std::upper_bound(syms.functions.begin(), syms.functions.end(), a,
                               [](uint64_t v, const elf_symbol& s) { return v < s.address; });
    if (it == syms.functions.begin()) return nullptr;
    const elf_symbol& s = *(it - 1);
    if (s.size != 0) return a < s.address + s.size ? &s : nullptr;
    // No size: the function runs to the next symbol, within the executable segments.
    return a < syms.text_high ? &s : nullptr;
}

}  // namespace

std::string symbolize(const elf_symbols& syms, uint64_t a) {
    const elf_symbol* s = find_function(syms, a);
    if (!s) return "";
    if (a == s->address) return s->name;
    char off[32];
    std::snprintf(off, sizeof off, "+0x%llx", (unsigned long long)(a - s->address));
    return s->name + off;
}

namespace {

// Whether the linked address holds an instruction word of the SVE encoding space (bits 28:25
// are 0010), where every traced instruction of an AArch64 program lies.
bool on_sve_word(const elf_symbols& syms, uint64_t a) {
    for (const elf_code& c : syms.code) {
        if (a < c.address || a - c.address + 4 > c.bytes.size()) continue;
        const uint8_t* p = c.bytes.data() + (a - c.address);
        uint32_t w = uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
        return (w >> 25 & 0xF) == 0x2;
    }
    return false;
}

}  // namespace

uint64_t guess_load_bias(const elf_symbols& syms, const std::vector<uint64_t>& pcs) {
    if (!syms.position_independent || pcs.empty() || syms.text_high <= syms.text_low) return 0;
    // Score: SVE words first, functions second.
    auto score = [&](uint64_t bias) {
        uint64_t sve = 0, in_function = 0;
        for (uint64_t pc : pcs) {
            if (pc < bias) continue;
            sve += syms.aarch64 && on_sve_word(syms, pc - bias);
            in_function += find_function(syms, pc - bias) != nullptr;
        }
        return sve << 32 | in_function;
    };
    uint64_t best = 0, best_score = score(0);
    // The lowest traced pc lies in the executable segments: try every aligned bias that puts it there.
    const uint64_t step = syms.load_align;
    uint64_t low = *std::min_element(pcs.begin(), pcs.end());
    uint64_t first = low - std::min(low, syms.text_high), last = low - std::min(low, syms.text_low);
    first &= ~(step - 1);
    for (uint64_t bias = first; bias <= last && (bias - first) / step < 65536; bias += step) {
        uint64_t sc = score(bias);
        if (sc > best_score) best_score = sc, best = bias;
    }
    return best;
}

}  // namespace sve_trace

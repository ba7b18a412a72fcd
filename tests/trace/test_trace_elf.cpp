// Function names from the symbol table of an AArch64 program, against nm's listing of the same
// file, and the instruction words that sve_roi.h emits.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <map>
#include <sstream>

#include "tests/trace/trace_util.h"
#include "tools/elf_symbols/elf_symbols.h"

using namespace trace_test;
using namespace sve_trace;

#ifdef TRACE_FIXTURES

namespace {

struct nm_symbol {
    uint64_t address, size;
};

// "ADDRESS SIZE TYPE NAME" lines of nm -S, functions (t, T) only.
std::map<std::string, nm_symbol> read_nm(const std::string& path) {
    std::map<std::string, nm_symbol> m;
    std::ifstream in(path);
    for (std::string l; std::getline(in, l);) {
        std::istringstream ws(l);
        std::string a, s, t, name;
        if (!(ws >> a >> s >> t >> name) || (t != "T" && t != "t")) continue;
        m[name] = {std::stoull(a, nullptr, 16), std::stoull(s, nullptr, 16)};
    }
    return m;
}

char hex_buf[32];
const char* hex(uint64_t v) {
    std::snprintf(hex_buf, sizeof hex_buf, "0x%016llx", (unsigned long long)v);
    return hex_buf;
}

}  // namespace

TEST(TraceElf, AddressesResolveAsNmSays) {
    for (const char* leaf : {"elf_fixed", "elf_pie"}) {
        std::string path = std::string(TRACE_FIXTURES) + "/" + leaf;
        std::map<std::string, nm_symbol> nm = read_nm(path + ".nm");
        ASSERT_TRUE(nm.count("known_function") && nm.count("another_function") && nm.count("sve_kernel")) << leaf;
        elf_symbols syms;
        std::string error;
        ASSERT_TRUE(load_elf_symbols(path.c_str(), syms, error)) << error;
        EXPECT_EQ(syms.position_independent, std::string(leaf) == "elf_pie");
        for (const char* fn : {"known_function", "another_function", "main", "sve_kernel"}) {
            const nm_symbol& s = nm[fn];
            ASSERT_GE(s.size, 8u) << fn;
            EXPECT_EQ(symbolize(syms, s.address), fn) << leaf;
            EXPECT_EQ(symbolize(syms, s.address + 4), std::string(fn) + "+0x4") << leaf;
            char last[64];
            std::snprintf(last, sizeof last, "%s+0x%llx", fn, (unsigned long long)(s.size - 4));
            EXPECT_EQ(symbolize(syms, s.address + s.size - 4), last) << leaf;
            // Just past the end: another function or none, never this one.
            EXPECT_EQ(symbolize(syms, s.address + s.size).rfind(std::string(fn) + "+", 0), std::string::npos);
        }
        EXPECT_EQ(symbolize(syms, 0x7fff00000000ull), "");
    }
}

// A position-independent program is found where the loader put it: the traced addresses land
// on the SVE words of sve_kernel only under the right bias.
TEST(TraceElf, LoadBiasOfPositionIndependentProgram) {
    std::string bin = std::string(TRACE_FIXTURES) + "/elf_pie";
    std::map<std::string, nm_symbol> nm = read_nm(bin + ".nm");
    elf_symbols syms;
    std::string error;
    ASSERT_TRUE(load_elf_symbols(bin.c_str(), syms, error)) << error;
    EXPECT_TRUE(syms.aarch64);
    const uint64_t k = nm["sve_kernel"].address;
    for (uint64_t bias : {0x5500000000ull, 0xaaaaaaab0000ull, 0xffff80000000ull, 0x10000ull}) {
        EXPECT_EQ(guess_load_bias(syms, {bias + k + 4, bias + k, bias + k + 8}), bias) << std::hex << bias;
    }
    // A program linked at a fixed address is never moved.
    elf_symbols fixed;
    ASSERT_TRUE(load_elf_symbols((std::string(TRACE_FIXTURES) + "/elf_fixed").c_str(), fixed, error));
    EXPECT_EQ(guess_load_bias(fixed, {0x5500000000ull + k}), 0u);
}

// The summary names the function of each instruction address, for a program linked at a fixed
// address and for a position-independent one loaded elsewhere (guessed or given load address).
TEST(TraceElf, SummaryNamesFunctions) {
    struct run {
        const char* leaf;
        uint64_t bias;
        bool give_base;
    } runs[] = {{"elf_fixed", 0, false}, {"elf_pie", 0x5500000000ull, false}, {"elf_pie", 0xaaaaaaab0000ull, true}};
    for (const run& u : runs) {
        std::string bin = std::string(TRACE_FIXTURES) + "/" + u.leaf;
        std::map<std::string, nm_symbol> nm = read_nm(bin + ".nm");
        uint64_t k = nm["sve_kernel"].address + u.bias;
        std::string path = write_file("elf.bin", trace_bytes({rec(1, 5, 1, 0x1000, 80, k + 4),
                                                              rec(2, 5, 1, 0x2000, 40, k + 4),
                                                              rec(3, 5, 0, 0x3000, 16, k + 8),
                                                              rec(4, 5, 1, 0x4000, 8, k)}));
        std::vector<std::string> args = {"summary", path, "--binary", bin};
        if (u.give_base) args.insert(args.end(), {"--base", std::to_string(u.bias)});
        run_result r = run_tool(args);
        ASSERT_EQ(r.status, 0) << r.err;
        // Patterns: k + 4 steps from 0x1000 to 0x2000, the others have one record each.
        std::string line1 = std::string(hex(k + 4)) + "           2             120               0  stride 4096   "
                                                      "  sve_kernel+0x4";
        std::string line2 = std::string(hex(k + 8)) + "           1               0              16  -             "
                                                      "  sve_kernel+0x8";
        std::string line3 = std::string(hex(k)) + "           1               8               0  -             "
                                                  "  sve_kernel\n";
        EXPECT_NE(r.out.find(line1), std::string::npos) << u.leaf << "\n" << r.out;
        EXPECT_NE(r.out.find(line2), std::string::npos) << u.leaf << "\n" << r.out;
        EXPECT_NE(r.out.find(line3), std::string::npos) << u.leaf << "\n" << r.out;
        EXPECT_LT(r.out.find(line1), r.out.find(line2)) << "sorted by traffic";
        EXPECT_LT(r.out.find(line2), r.out.find(line3)) << "sorted by traffic";
        EXPECT_EQ(r.out.find("loaded at") != std::string::npos, u.bias != 0) << r.out;
        // The cache model names them the same way; k + 4 touches lines 0x40 and 0x41 (80 bytes
        // at 0x1000) and 0x80 (40 bytes at 0x2000), all for the first time.
        args[0] = "cache";
        run_result k2 = run_tool(args);
        ASSERT_EQ(k2.status, 0) << k2.err;
        EXPECT_NE(k2.out.find(std::string(hex(k + 4)) + "             3             3  100.00%"), std::string::npos)
            << k2.out;
        EXPECT_NE(k2.out.find("sve_kernel+0x4\n"), std::string::npos) << k2.out;
        EXPECT_NE(k2.out.find("sve_kernel+0x8\n"), std::string::npos) << k2.out;
        unlink(path.c_str());
    }
}

// The words between the markers of roi_fixture.c, in order, and none when disabled.
TEST(TraceRoi, MacrosEmitTheMarkerWords) {
    const std::vector<uint32_t> want = {0x2520E023, 0x2520E043, 0x2520E020, 0x2520E040, 0x2520E03F, 0x2520E051};
    for (const char* variant : {"c", "cxx", "off"}) {
        std::string text = read_file(std::string(TRACE_FIXTURES) + "/roi_" + variant + ".text");
        ASSERT_GE(text.size(), 8u) << variant;
        ASSERT_EQ(text.size() % 4, 0u);
        std::vector<uint32_t> found;
        for (size_t i = 0; i < text.size(); i += 4) {
            uint32_t w = uint32_t(uint8_t(text[i])) | uint32_t(uint8_t(text[i + 1])) << 8 |
                         uint32_t(uint8_t(text[i + 2])) << 16 | uint32_t(uint8_t(text[i + 3])) << 24;
            if ((w & 0xFFFFFF80u) == 0x2520E000u) found.push_back(w);  // any add zN.b immediate, shifted
        }
        if (std::string(variant) == "off")
            EXPECT_TRUE(found.empty());
        else
            EXPECT_EQ(found, want) << variant;
    }
}

#else
TEST(TraceElf, FixturesNeedTheAArch64Toolchain) { GTEST_SKIP() << "aarch64-linux-gnu tools not found"; }
#endif

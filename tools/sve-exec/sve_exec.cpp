// sve-exec: runs SVE instruction words, given in hex, on a state and prints what changed.
//
//   sve-exec [--vl BITS] [--seed N] [--set REG=VALUE]... WORD...
//
// It works at the vector length of its build; --vl runs the sve-exec of another length.
// The state starts zeroed (or random with --seed). --set takes x0..x30, sp, nzcv, fpcr, fpsr,
// zN (a 64-bit value replicated over the register), pN (0 or 1 into every byte) and ffr.
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "sve/core/sve_emulator.h"
#include "vl_dispatch.h"

namespace {

uint64_t rng_state;
uint64_t next_random() {
    uint64_t z = (rng_state += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
}

bool set_register(cpu_state& s, const std::string& spec) {
    size_t eq = spec.find('=');
    if (eq == std::string::npos) return false;
    std::string reg = spec.substr(0, eq);
    uint64_t v = std::strtoull(spec.c_str() + eq + 1, nullptr, 0);
    int n = reg.size() > 1 ? std::atoi(reg.c_str() + 1) : -1;
    if (reg == "sp") s.sp = v;
    else if (reg == "nzcv") s.nzcv = v;
    else if (reg == "fpcr") s.fpcr = uint32_t(v);
    else if (reg == "fpsr") s.fpsr = uint32_t(v);
    else if (reg == "ffr") std::memset(s.ffr, int(v & 1), sizeof s.ffr);
    else if (reg[0] == 'x' && n >= 0 && n < 31) s.x[n] = v;
    else if (reg[0] == 'z' && n >= 0 && n < 32)
        for (int i = 0; i < SVE_VL_BYTES; i += 8) std::memcpy(s.z[n] + i, &v, 8);
    else if (reg[0] == 'p' && n >= 0 && n < 16) std::memset(s.p[n], int(v & 1), SVE_VL_BYTES);
    else return false;
    return true;
}

void print_bytes(const char* name, const uint8_t* b, int n) {
    std::printf("  %-5s", name);
    for (int i = n - 1; i >= 0; i--) std::printf("%02x%s", b[i], i % 16 == 0 && i ? " " : "");
    std::printf("\n");
}

void print_changes(const cpu_state& a, const cpu_state& b) {
    for (int i = 0; i < 31; i++)
        if (a.x[i] != b.x[i]) std::printf("  x%-4d%016" PRIx64 " -> %016" PRIx64 "\n", i, a.x[i], b.x[i]);
    if (a.sp != b.sp) std::printf("  sp   %016" PRIx64 " -> %016" PRIx64 "\n", a.sp, b.sp);
    if (a.nzcv != b.nzcv) std::printf("  nzcv %08" PRIx64 " -> %08" PRIx64 "\n", a.nzcv, b.nzcv);
    if (a.fpsr != b.fpsr) std::printf("  fpsr %08x -> %08x\n", a.fpsr, b.fpsr);
    char name[8];
    for (int i = 0; i < 32; i++)
        if (std::memcmp(a.z[i], b.z[i], SVE_VL_BYTES)) {
            std::snprintf(name, sizeof name, "z%d", i);
            print_bytes(name, b.z[i], SVE_VL_BYTES);
        }
    for (int i = 0; i < 16; i++)
        if (std::memcmp(a.p[i], b.p[i], SVE_VL_BYTES)) {
            std::snprintf(name, sizeof name, "p%d", i);
            print_bytes(name, b.p[i], SVE_VL_BYTES);
        }
    if (std::memcmp(a.ffr, b.ffr, SVE_VL_BYTES)) print_bytes("ffr", b.ffr, SVE_VL_BYTES);
}

const char* row_name(uint32_t w) {
    sve_handler_t h = get_sve_handler(w);
    for (const sve_row_info& r : sve_rows)
        if (r.handler == h) return r.name;
    return "?";
}

}  // namespace

int main(int argc, char** argv) {
    dispatch_vl("sve-exec", argc, argv, SVE_VL_BITS);
    static cpu_state s;
    int status = 0;
    for (int i = 1; i < argc; i++) {
        std::string a = argv[i];
        if (a == "--help" || a == "-h") {
            std::printf("usage: sve-exec [--vl BITS] [--seed N] [--set REG=VALUE]... WORD...\n"
                        "Runs SVE instruction words (hex) on a zeroed or random state and prints what changed,\n"
                        "at a vector length of %d bits (--vl: the sve-exec-BITS installed beside this one).\n",
                        SVE_VL_BITS);
            return 0;
        } else if (a == "--seed" && i + 1 < argc) {
            rng_state = std::strtoull(argv[++i], nullptr, 0);
            uint8_t* p = reinterpret_cast<uint8_t*>(&s);
            for (size_t k = 0; k < sizeof s; k++) p[k] = uint8_t(next_random());
            for (auto& pr : s.p) for (auto& b : pr) b &= 1;
            for (auto& b : s.ffr) b &= 1;
        } else if (a == "--set" && i + 1 < argc) {
            if (!set_register(s, argv[++i])) {
                std::fprintf(stderr, "sve-exec: cannot set '%s'\n", argv[i]);
                return 2;
            }
        } else {
            char* end;
            uint32_t w = uint32_t(std::strtoul(argv[i], &end, 16));
            if (*end) {
                std::fprintf(stderr, "sve-exec: '%s' is not a hexadecimal word\n", argv[i]);
                return 2;
            }
            sve_handler_t h = get_sve_handler(w);
            if (!h) {
                std::printf("%08x: not an SVE instruction of this emulator\n", w);
                status = 1;
                continue;
            }
            cpu_state before = s;
            s.pc = 0x400000;
            std::fflush(stdout);
            aarch64_decode_rc rc = h(&s, w);
            std::printf("%08x %s: %s\n", w, row_name(w), rc == RC_DONE ? "done" : "not implemented");
            s.pc = before.pc;
            print_changes(before, s);
            if (rc != RC_DONE) status = 1;
        }
    }
    return status;
}

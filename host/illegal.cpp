// Undefined instructions that end the process: the one line said about them, and the half-
// precision instructions among them, which SVE programs may use on processors that lack them.
#include <dlfcn.h>
#include <sys/auxv.h>

#include <cstdio>
#include <cstring>

#include "host/runtime.h"

namespace {

constexpr unsigned long HWCAP_HALF = (1ul << 9) | (1ul << 10);  // HWCAP_FPHP, HWCAP_ASIMDHP

// Encoding classes with a half-precision form, as mask and value of the fixed bits.
struct encoding_class {
    uint32_t mask, value;
};
constexpr encoding_class HALF_PRECISION[] = {
    {0x7FC00000, 0x1EC00000},  // scalar FP data processing and conversions, ftype 11
    {0xFFC00000, 0x1FC00000},  // scalar FP three sources, ftype 11
    {0x9F60C400, 0x0E400400},  // vector three same (FP16)
    {0xDF60C400, 0x5E400400},  // scalar three same (FP16)
    {0x9F7E0C00, 0x0E780800},  // vector two-register miscellaneous (FP16)
    {0xDF7E0C00, 0x5E780800},  // scalar two-register miscellaneous (FP16)
    {0xBF7FFC00, 0x0E30C800},  // fmaxnmv/fminnmv .h
    {0xBF7FFC00, 0x0E30F800},  // fmaxv/fminv .h
    {0xFF7FFC00, 0x5E30C800},  // fmaxnmp/fminnmp h
    {0xFF7FFC00, 0x5E30D800},  // faddp h
    {0xFF7FFC00, 0x5E30F800},  // fmaxp/fminp h
    {0x9FC0F400, 0x0F001000},  // fmla by element .h
    {0x9FC0F400, 0x0F005000},  // fmls by element .h
    {0x9FC0F400, 0x0F009000},  // fmul/fmulx by element .h
    {0xDFC0F400, 0x5F001000},  // scalar fmla by element h
    {0xDFC0F400, 0x5F005000},  // scalar fmls by element h
    {0xDFC0F400, 0x5F009000},  // scalar fmul/fmulx by element h
    {0xBFF8FC00, 0x0F00FC00},  // fmov (vector, immediate) .h
    {0x9FF0FC00, 0x0F10E400},  // scvtf/ucvtf fixed point .h
    {0x9FF0FC00, 0x0F10FC00},  // fcvtzs/fcvtzu fixed point .h
    {0xDFF0FC00, 0x5F10E400},  // scalar scvtf/ucvtf fixed point h
    {0xDFF0FC00, 0x5F10FC00},  // scalar fcvtzs/fcvtzu fixed point h
};

}  // namespace

bool host_is_half_precision(uint32_t word) {
    for (const encoding_class& c : HALF_PRECISION)
        if ((word & c.mask) == c.value) return true;
    return false;
}

void host_report_illegal(uintptr_t pc) {
    uint32_t word;
    std::memcpy(&word, reinterpret_cast<const void*>(pc), sizeof word);
    char where[256] = "";
    Dl_info d;
    if (dladdr(reinterpret_cast<void*>(pc), &d)) {
        if (d.dli_sname && d.dli_saddr) {
            std::snprintf(where, sizeof where, " (%s+0x%lx)", d.dli_sname, (unsigned long)(pc - uintptr_t(d.dli_saddr)));
        } else if (d.dli_fname) {
            const char* base = std::strrchr(d.dli_fname, '/');
            std::snprintf(where, sizeof where, " (%s+0x%lx)", base ? base + 1 : d.dli_fname,
                          (unsigned long)(pc - uintptr_t(d.dli_fbase)));
        }
    }
    if (host_is_half_precision(word) && (host_real_hwcap() & HWCAP_HALF) != HWCAP_HALF)
        dr_fprintf(our_stderr,
                   "SVE host: illegal instruction 0x%08x at 0x%lx%s: half precision, which this processor lacks "
                   "(SVE programs may use it)\n",
                   word, (unsigned long)pc, where);
    else
        dr_fprintf(our_stderr, "SVE host: illegal instruction 0x%08x at 0x%lx%s: neither this processor nor the emulator has it\n",
                   word, (unsigned long)pc, where);
}

#include "tools/sve-trace/pc_names.h"

#include <algorithm>
#include <cinttypes>

namespace sve_trace {

bool load_pc_names(const context& c, const options& opt, pc_names& n) {
    if (opt.binary.empty()) return true;
    std::string error;
    if (!load_elf_symbols(opt.binary.c_str(), n.syms, error)) {
        std::fprintf(c.err, "sve-trace: %s\n", error.c_str());
        return false;
    }
    n.on = true;
    return true;
}

void settle_bias(pc_names& n, const options& opt, const std::vector<uint64_t>& pcs) {
    n.bias = opt.base;
    if (!n.on || opt.have_base) return;
    std::vector<uint64_t> sample(pcs.begin(), pcs.begin() + std::min<size_t>(pcs.size(), 256));
    n.bias = guess_load_bias(n.syms, sample);
}

size_t instruction_title(FILE* o, pc_names& n, const options& opt, const std::vector<uint64_t>& pcs, const char* what) {
    settle_bias(n, opt, pcs);
    size_t shown = opt.top > 0 ? std::min(pcs.size(), size_t(opt.top)) : pcs.size();
    std::fprintf(o, "\ninstructions by %s (%zu of %zu)", what, shown, pcs.size());
    if (n.bias) std::fprintf(o, ", %s loaded at 0x%" PRIx64, opt.binary.c_str(), n.bias);
    std::fprintf(o, "\n");
    return shown;
}

std::string pc_name(const pc_names& n, uint64_t pc) {
    std::string name = pc >= n.bias ? symbolize(n.syms, pc - n.bias) : "";
    return name.empty() ? "?" : name;
}

}  // namespace sve_trace

// dump and csv: one line per record, in file order.
#include <cinttypes>

#include "tools/sve-trace/command.h"

namespace sve_trace {
namespace {

const char* flags_name(uint32_t f) {
    switch (f) {
        case 0: return "-";
        case 3: return "first";
        case 2: return "member";
        case 6: return "last";
        case 7: return "single";
        default: return nullptr;
    }
}

}  // namespace

int cmd_list(const context& c, bool csv) {
    FILE* o = c.out;
    if (csv)
        std::fprintf(o, "count,thread,access,address,size,pc,flags\n");
    else
        std::fprintf(o, "%12s  %-10s  %-6s  %-18s  %8s  %-18s  %s\n", "count", "thread", "access", "address",
                     "size", "pc", "bundle");
    std::string error;
    bool ok = each_record(c, [&](const sve_mem_ref_t& r) {
        const char* access = is_start(r) ? "start" : is_stop(r) ? "stop" : r.type == memaccess_read ? "read" : "write";
        const char* f = flags_name(r.flags);
        char fbuf[16];
        if (!f) std::snprintf(fbuf, sizeof fbuf, "0x%x", r.flags), f = fbuf;
        if (csv) {
            if (is_marker(r))
                std::fprintf(o, "%" PRIu64 ",,%s,,,,\n", r.count, access);
            else
                std::fprintf(o, "%" PRIu64 ",0x%08x,%s,0x%" PRIx64 ",%" PRIu64 ",0x%" PRIx64 ",%s\n", r.count,
                             r.thread_id, access, r.address, r.size, r.pc, f);
        } else if (is_marker(r)) {
            std::fprintf(o, "%12" PRIu64 "  %-10s  ---- region %s ----\n", r.count, "-", access);
        } else {
            std::fprintf(o, "%12" PRIu64 "  0x%08x  %-6s  0x%016" PRIx64 "  %8" PRIu64 "  0x%016" PRIx64 "  %s\n",
                         r.count, r.thread_id, access, r.address, r.size, r.pc, f);
        }
    }, error);
    return ok ? 0 : file_error(c, error);
}

}  // namespace sve_trace

// dump and csv: one line per record, in file order or in count order, of the whole trace or of
// one thread or region.
#include <cinttypes>

#include "tools/sve-trace/command.h"
#include "tools/sve-trace/count_order.h"
#include "tools/sve-trace/regions.h"

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

const char* access_name(const sve_mem_ref_t& r) {
    if (is_start(r)) return "start";
    if (is_stop(r)) return "stop";
    if (is_thread_record(r)) return "thread";
    return r.type == memaccess_read ? "read" : "write";
}

// `per_thread`: markers name their thread (version 2).
void print_record(FILE* o, const sve_mem_ref_t& r, bool csv, bool per_thread) {
    const char* access = access_name(r);
    const char* f = flags_name(r.flags);
    char fbuf[16], thread[16] = "";
    if (!f) std::snprintf(fbuf, sizeof fbuf, "0x%x", r.flags), f = fbuf;
    // A marker of a version 1 file names no thread.
    uint32_t t = !is_meta(r) ? r.thread_id : per_thread ? record_thread(r) : 0;
    if (t || !is_meta(r)) std::snprintf(thread, sizeof thread, "0x%08x", t);
    if (csv) {
        if (is_thread_record(r))  // the kernel thread id in the size column, as in the file
            std::fprintf(o, "%" PRIu64 ",%s,thread,,%" PRIu64 ",,\n", r.count, thread, record_kernel_tid(r));
        else if (is_marker(r))
            std::fprintf(o, "%" PRIu64 ",%s,%s,,,,\n", r.count, thread, access);
        else
            std::fprintf(o, "%" PRIu64 ",%s,%s,0x%" PRIx64 ",%" PRIu64 ",0x%" PRIx64 ",%s\n", r.count, thread, access,
                         r.address, r.size, r.pc, f);
    } else if (is_thread_record(r)) {
        std::fprintf(o, "%12" PRIu64 "  %-10s  ---- thread, kernel tid %" PRIu64 " ----\n", r.count, thread,
                     record_kernel_tid(r));
    } else if (is_marker(r)) {
        std::fprintf(o, "%12" PRIu64 "  %-10s  ---- region %s ----\n", r.count, t ? thread : "-", access);
    } else {
        std::fprintf(o, "%12" PRIu64 "  %s  %-6s  0x%016" PRIx64 "  %8" PRIu64 "  0x%016" PRIx64 "  %s\n", r.count,
                     thread, access, r.address, r.size, r.pc, f);
    }
}

}  // namespace

int cmd_list(const context& c, const options& opt, bool csv) {
    std::string error;
    regions reg;
    selection sel;
    int status = 0;
    bool filtered = opt.have_thread || opt.region;
    if ((filtered || opt.sort_count) && !find_regions(c, reg, error)) return file_error(c, error);
    if (filtered && !make_selection(c, opt, reg, sel, status)) return status;

    FILE* o = c.out;
    if (csv)
        std::fprintf(o, "count,thread,access,address,size,pc,flags\n");
    else
        std::fprintf(o, "%12s  %-10s  %-6s  %-18s  %8s  %-18s  %s\n", "count", "thread", "access", "address",
                     "size", "pc", "bundle");
    auto each = [&](const sve_mem_ref_t& r) {
        if (!filtered || sel.wants(r)) print_record(o, r, csv, c.s->header.version >= 2);
    };
    bool ok = opt.sort_count ? each_record_by_count(c, reg, each, error) : each_record(c, each, error);
    return ok ? 0 : file_error(c, error);
}

}  // namespace sve_trace

// reuse: the histogram of reuse distances of cache lines, in power-of-two buckets.
#include <cinttypes>
#include <vector>

#include "tools/sve-trace/cache_model.h"
#include "tools/sve-trace/command.h"
#include "tools/sve-trace/count_order.h"
#include "tools/sve-trace/regions.h"
#include "tools/sve-trace/reuse_distance.h"

namespace sve_trace {

int cmd_reuse(const context& c, const options& opt) {
    FILE* o = c.out;
    std::string error;
    regions reg;
    selection sel;
    int status = 0;
    if (!read_selection(c, opt, reg, sel, status)) return status;

    unsigned shift = 0;
    while ((uint64_t(1) << shift) < opt.line) shift++;
    reuse_tracker tracker;
    std::vector<uint64_t> buckets(65);
    uint64_t touches = 0, first = 0;
    if (!each_record_by_count(c, reg, [&](const sve_mem_ref_t& r) {
            if (is_meta(r) || !sel.wants(r)) return;
            uint64_t line = r.address >> shift;
            for (uint64_t i = lines_spanned(r.address, r.size, shift); i > 0; i--, line++) {
                uint64_t d = touch(tracker, line);
                touches++;
                if (d == FIRST_TOUCH)
                    first++;
                else
                    buckets[distance_bucket(d)]++;
            }
        }, error))
        return file_error(c, error);

    std::fprintf(o, "trace         %s\n", c.s->path.c_str());
    std::fprintf(o, "lines         %" PRIu64 " bytes; %" PRIu64 " touches of %" PRIu64 " distinct lines\n", opt.line,
                 touches, first);
    print_selection(o, sel);
    std::fprintf(o, "\nreuse distance: distinct other lines touched since the line's last touch\n");
    std::fprintf(o, "  %-24s  %12s  %7s  %10s\n", "distance", "touches", "share", "cumulative");
    size_t top = 0;
    for (size_t k = 0; k < buckets.size(); k++)
        if (buckets[k]) top = k + 1;
    uint64_t sum = 0;
    auto share = [&](uint64_t n) { return touches ? 100.0 * double(n) / double(touches) : 0.0; };
    for (size_t k = 0; k < top; k++) {
        char range[48];
        uint64_t lo = k ? uint64_t(1) << (k - 1) : 0, hi = k ? (uint64_t(1) << (k - 1)) * 2 - 1 : 0;
        if (lo == hi)
            std::snprintf(range, sizeof range, "%" PRIu64, lo);
        else
            std::snprintf(range, sizeof range, "%" PRIu64 "-%" PRIu64, lo, hi);
        sum += buckets[k];
        std::fprintf(o, "  %-24s  %12" PRIu64 "  %6.2f%%  %9.2f%%\n", range, buckets[k], share(buckets[k]), share(sum));
    }
    std::fprintf(o, "  %-24s  %12" PRIu64 "  %6.2f%%\n", "first touch", first, share(first));
    return 0;
}

}  // namespace sve_trace

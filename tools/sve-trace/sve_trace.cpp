// The command line of sve-trace. Every command streams the records, in one or a few passes over
// the file; only the tables (regions, threads, instruction addresses, cache lines) and the
// plot's pixel grid grow, never with the number of records.
#include "tools/sve-trace/sve_trace.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "tools/sve-trace/command.h"

namespace sve_trace {

int file_error(const context& c, const std::string& what) {
    std::fprintf(c.err, "sve-trace: %s: %s\n", c.s->path.c_str(), what.c_str());
    return 1;
}

namespace {

const char USAGE[] =
    "usage: sve-trace COMMAND FILE [OPTIONS]\n"
    "Reads a memory trace written by the SVE emulator's companion library.\n"
    "\n"
    "commands:\n"
    "  dump FILE [--thread T] [--region R] [--sort count]\n"
    "                            one line per record: count, thread, access, address, size, pc,\n"
    "                            bundle flags; markers as region start and stop, thread records\n"
    "                            with their kernel thread id; in file order or in count order\n"
    "  csv FILE [--thread T] [--region R] [--sort count]\n"
    "                            the same as CSV, with a header line\n"
    "  summary FILE... [--binary PROGRAM] [--base ADDRESS] [--top N] [--thread T] [--region R]\n"
    "                            records and bytes read and written, per region, per thread and\n"
    "                            per instruction address (the N busiest, default 20, 0 for all)\n"
    "                            with its access pattern; with the application's ELF file,\n"
    "                            function names and offsets (--base: load address of a\n"
    "                            position-independent program, guessed when not given); several\n"
    "                            files (one per process or rank): each, then the totals\n"
    "  plot FILE -o OUT.svg [--region R] [--thread T] [--from C] [--to C] [--addr-from A]\n"
    "       [--addr-to A] [--view points|density]\n"
    "                            SVG picture of addresses against record order, one colour per\n"
    "                            thread; a heat map of records per pixel when they outnumber the\n"
    "                            pixels (or as --view says); --from/--to and --addr-from/--addr-to\n"
    "                            zoom on record counts and addresses\n"
    "  cache FILE [--l1 SIZE:WAYS:LINE] [--l2 SIZE:WAYS:LINE] [--binary PROGRAM] [--base ADDRESS]\n"
    "        [--top N] [--thread T] [--region R]\n"
    "                            LRU cache simulation in count order (default --l1 64K:4:64\n"
    "                            --l2 1M:8:64, --l2 0 for one level): hits and misses in total,\n"
    "                            per region, per thread and per instruction\n"
    "  reuse FILE [--line N] [--thread T] [--region R]\n"
    "                            histogram of reuse distances of N-byte cache lines (default 64):\n"
    "                            distinct other lines touched between two touches of a line\n"
    "\n"
    "  --thread T                a thread_id, or the kernel thread id of a thread record\n"
    "  --region R                region R as summary numbers them, from 1\n"
    "  --help                    this text\n"
    "  --version                 the version of the tool and of the trace format it reads\n"
    "\n"
    "Exit status: 0 done, 1 the file cannot be read as a trace, 2 a bad command line.\n";

int usage_error(FILE* err, const std::string& what) {
    std::fprintf(err, "sve-trace: %s (try sve-trace --help)\n", what.c_str());
    return 2;
}

bool parse_number(const char* s, uint64_t& v) {
    if (!*s) return false;
    char* end;
    errno = 0;
    v = std::strtoull(s, &end, 0);
    return *end == 0 && errno == 0 && s[0] != '-';
}

// A size with an optional K, M or G suffix (powers of 1024).
bool parse_size(const std::string& s, uint64_t& v) {
    if (s.empty()) return false;
    std::string digits = s;
    int shift = 0;
    char last = s.back();
    if (last == 'K' || last == 'k') shift = 10;
    if (last == 'M' || last == 'm') shift = 20;
    if (last == 'G' || last == 'g') shift = 30;
    if (shift) digits.pop_back();
    if (!parse_number(digits.c_str(), v) || v > (uint64_t(1) << 40) >> shift) return false;
    v <<= shift;
    return true;
}

bool power_of_two(uint64_t v) { return v && !(v & (v - 1)); }

// SIZE:WAYS:LINE, or 0 for no level. The line is a power of two; size / (ways * line) sets.
std::string parse_cache(const std::string& s, cache_shape& c) {
    if (s == "0") {
        c = cache_shape{};
        return "";
    }
    size_t a = s.find(':'), b = a == std::string::npos ? a : s.find(':', a + 1);
    if (b == std::string::npos) return "needs SIZE:WAYS:LINE, not '" + s + "'";
    if (!parse_size(s.substr(0, a), c.size) || !parse_size(s.substr(a + 1, b - a - 1), c.ways) ||
        !parse_size(s.substr(b + 1), c.line))
        return "needs numbers in SIZE:WAYS:LINE, not '" + s + "'";
    if (!power_of_two(c.line)) return "needs a line size that is a power of two, not '" + s + "'";
    if (c.ways == 0 || c.ways > 1024 || c.size % (c.ways * c.line) != 0 || c.size == 0)
        return "needs a size that is a multiple of WAYS * LINE (1 to 1024 ways), not '" + s + "'";
    return "";
}

// Options and the commands that take them; "" for every command that reads one trace.
struct option_use {
    const char* name;
    const char* commands;
};
const option_use OPTIONS[] = {
    {"--binary", "summary cache"}, {"--base", "summary cache"}, {"--top", "summary cache"},
    {"--thread", "dump csv summary plot cache reuse"}, {"--region", "dump csv summary plot cache reuse"},
    {"--sort", "dump csv"}, {"-o", "plot"}, {"--output", "plot"}, {"--from", "plot"}, {"--to", "plot"},
    {"--addr-from", "plot"}, {"--addr-to", "plot"}, {"--view", "plot"}, {"--l1", "cache"}, {"--l2", "cache"},
    {"--line", "reuse"},
};
const char* const COMMANDS[] = {"dump", "csv", "summary", "plot", "cache", "reuse"};

bool takes(const std::string& command, const std::string& option) {
    for (const option_use& o : OPTIONS) {
        if (option != o.name) continue;
        std::string list = std::string(" ") + o.commands + " ";
        return list.find(" " + command + " ") != std::string::npos;
    }
    return false;
}

// Parses the options after the command. Returns 0, or the status of a usage error (printed).
int parse_options(const std::vector<std::string>& args, options& opt, FILE* err) {
    for (size_t i = 1; i < args.size(); i++) {
        const std::string& a = args[i];
        if (a.size() < 2 || a[0] != '-') {
            if (!opt.files.empty() && opt.command != "summary")
                return usage_error(err, "unexpected argument '" + a + "'");
            opt.files.push_back(a);
            continue;
        }
        if (!takes(opt.command, a)) return usage_error(err, "unknown option '" + a + "' for " + opt.command);
        if (i + 1 >= args.size()) return usage_error(err, "option '" + a + "' needs a value");
        const std::string val = args[++i];
        uint64_t v = 0;
        bool text = a == "--binary" || a == "-o" || a == "--output" || a == "--sort" || a == "--view" ||
                    a == "--l1" || a == "--l2";
        if (!text && !parse_number(val.c_str(), v))
            return usage_error(err, "option '" + a + "' needs a number, not '" + val + "'");
        if (a == "--binary") opt.binary = val;
        else if (a == "-o" || a == "--output") opt.output = val;
        else if (a == "--base") opt.base = v, opt.have_base = true;
        else if (a == "--top") opt.top = long(std::min<uint64_t>(v, 1u << 30));
        else if (a == "--thread") opt.thread = v, opt.have_thread = true;
        else if (a == "--region") {
            if (v == 0 || v > (1u << 30)) return usage_error(err, "regions are numbered from 1");
            opt.region = long(v);
        } else if (a == "--sort") {
            if (val != "count" && val != "file") return usage_error(err, "--sort takes count or file, not '" + val + "'");
            opt.sort_count = val == "count";
        } else if (a == "--view") {
            if (val != "points" && val != "density" && val != "auto")
                return usage_error(err, "--view takes points, density or auto, not '" + val + "'");
            opt.view = val;
        } else if (a == "--from") opt.from = v;
        else if (a == "--to") opt.to = v;
        else if (a == "--addr-from") opt.addr_from = v;
        else if (a == "--addr-to") opt.addr_to = v;
        else if (a == "--l1" || a == "--l2") {
            std::string why = parse_cache(val, a == "--l1" ? opt.l1 : opt.l2);
            if (!why.empty()) return usage_error(err, "option '" + a + "' " + why);
        } else if (a == "--line") {
            if (!power_of_two(v) || v > (1u << 30)) return usage_error(err, "--line needs a power of two");
            opt.line = v;
        }
    }
    if (opt.files.empty()) return usage_error(err, opt.command + " needs a trace file");
    if (opt.command == "plot" && opt.output.empty()) return usage_error(err, "plot needs an output file: -o OUT.svg");
    if (opt.from > opt.to || opt.addr_from > opt.addr_to)
        return usage_error(err, "an empty range: --from/--addr-from above --to/--addr-to");
    if (opt.command == "cache" && opt.l1.size == 0) return usage_error(err, "cache needs a first level: --l1");
    return 0;
}

// Runs the command on one open trace.
int run_command(const context& c, const options& opt, file_totals& totals) {
    if (opt.command == "dump" || opt.command == "csv") return cmd_list(c, opt, opt.command == "csv");
    if (opt.command == "summary") return cmd_summary(c, opt, totals);
    if (opt.command == "plot") return cmd_plot(c, opt);
    if (opt.command == "cache") return cmd_cache(c, opt);
    return cmd_reuse(c, opt);
}

}  // namespace
}  // namespace sve_trace

int sve_trace_main(int argc, char** argv, FILE* out, FILE* err) {
    using namespace sve_trace;
    if (argc < 2) {
        std::fputs(USAGE, err);
        return 2;
    }
    options opt;
    std::vector<std::string> args(argv + 1, argv + argc);
    for (const std::string& a : args) {
        if (a == "--help" || a == "-h") {
            std::fputs(USAGE, out);
            return 0;
        }
        if (a == "--version") {
            std::fprintf(out, "sve-trace %s (trace format versions %u to %u)\n", SVE_TRACE_VERSION_STRING,
                         SVE_TRACE_VERSION_MIN, SVE_TRACE_VERSION);
            return 0;
        }
    }
    opt.command = args[0];
    bool known = false;
    for (const char* name : COMMANDS) known |= opt.command == name;
    if (!known) return usage_error(err, "unknown command '" + opt.command + "'");
    if (int rc = parse_options(args, opt, err)) return rc;

    static trace_stream s;  // a large chunk buffer: not on the stack
    std::vector<file_totals> totals;
    int rc = 0;
    for (const std::string& file : opt.files) {
        s = trace_stream{};
        context c{out, err, &s};
        std::string error;
        if (opt.files.size() > 1 && !totals.empty()) std::fprintf(out, "\n");
        totals.emplace_back();
        int status = open_trace(s, file.c_str(), error) ? run_command(c, opt, totals.back()) : file_error(c, error);
        close_trace(s);
        if (status) {
            rc = status;
            totals.pop_back();
        }
    }
    if (opt.files.size() > 1 && rc == 0) print_file_totals(out, totals);
    std::fflush(out);
    return rc;
}

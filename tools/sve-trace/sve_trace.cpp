// The command line of sve-trace. Every command streams the records, in one or a few passes over
// the file; only the summary tables (regions, threads, instruction addresses) and the plot's
// pixel grid grow, never with the number of records.
#include "tools/sve-trace/sve_trace.h"

#include <cerrno>
#include <cstdlib>
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
    "  dump FILE                 one line per record: count, thread, access, address, size, pc,\n"
    "                            bundle flags; region markers as region start and stop\n"
    "  csv FILE                  the same as CSV, with a header line\n"
    "  summary FILE [--binary PROGRAM] [--base ADDRESS] [--top N]\n"
    "                            records and bytes read and written, per region, per thread and\n"
    "                            per instruction address (the N busiest, default 20, 0 for all);\n"
    "                            with the application's ELF file, function names and offsets\n"
    "                            (--base: load address of a position-independent program,\n"
    "                            guessed when not given)\n"
    "  plot FILE -o OUT.svg [--region N]\n"
    "                            SVG picture of addresses against record order, reads and writes\n"
    "                            in two colours; region N (from 1) or, without it, the whole trace\n"
    "\n"
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
            std::fprintf(out, "sve-trace %s (trace format version %u)\n", SVE_TRACE_VERSION_STRING, SVE_TRACE_VERSION);
            return 0;
        }
    }
    opt.command = args[0];
    if (opt.command != "dump" && opt.command != "csv" && opt.command != "summary" && opt.command != "plot")
        return usage_error(err, "unknown command '" + opt.command + "'");
    for (size_t i = 1; i < args.size(); i++) {
        const std::string& a = args[i];
        auto value = [&]() -> const char* { return i + 1 < args.size() ? args[++i].c_str() : nullptr; };
        bool summary = opt.command == "summary", plot = opt.command == "plot";
        uint64_t v;
        if (a.size() > 1 && a[0] == '-') {
            const char* val = nullptr;
            bool known = (summary && (a == "--binary" || a == "--base" || a == "--top")) ||
                         (plot && (a == "-o" || a == "--output" || a == "--region"));
            if (!known) return usage_error(err, "unknown option '" + a + "' for " + opt.command);
            if (!(val = value())) return usage_error(err, "option '" + a + "' needs a value");
            if (a == "--binary") opt.binary = val;
            else if (a == "-o" || a == "--output") opt.output = val;
            else if (!parse_number(val, v))
                return usage_error(err, "option '" + a + "' needs a number, not '" + val + "'");
            else if (a == "--base") opt.base = v, opt.have_base = true;
            else if (a == "--top") opt.top = long(std::min<uint64_t>(v, 1u << 30));
            else if (v == 0 || v > (1u << 30)) return usage_error(err, "regions are numbered from 1");
            else opt.region = long(v);
        } else if (opt.file.empty()) {
            opt.file = a;
        } else {
            return usage_error(err, "unexpected argument '" + a + "'");
        }
    }
    if (opt.file.empty()) return usage_error(err, opt.command + " needs a trace file");
    if (opt.command == "plot" && opt.output.empty()) return usage_error(err, "plot needs an output file: -o OUT.svg");

    static trace_stream s;  // a large chunk buffer: not on the stack
    s = trace_stream{};
    context c{out, err, &s};
    std::string error;
    int rc;
    if (!open_trace(s, opt.file.c_str(), error)) {
        rc = file_error(c, error);
    } else if (opt.command == "dump" || opt.command == "csv") {
        rc = cmd_list(c, opt.command == "csv");
    } else if (opt.command == "summary") {
        rc = cmd_summary(c, opt);
    } else {
        rc = cmd_plot(c, opt);
    }
    close_trace(s);
    std::fflush(out);
    return rc;
}

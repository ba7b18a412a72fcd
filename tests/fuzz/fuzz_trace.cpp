// Fuzz target for the trace reader: any bytes, read as a trace file (and as the application's
// ELF file for the symbol lookup) by every command, must give a result or a one-line error,
// never a crash.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "tools/sve-trace/sve_trace.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::string path = "/tmp/sve_fuzz_trace." + std::to_string(getpid());
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) return 0;
    std::fwrite(data, 1, size, f);
    std::fclose(f);
    static FILE* sink = std::fopen("/dev/null", "w");
    const char* p = path.c_str();
    const char* runs[][10] = {
        {"sve-trace", "summary", p, nullptr},
        {"sve-trace", "summary", p, "--binary", p, nullptr},
        {"sve-trace", "summary", p, p, "--region", "1", nullptr},
        {"sve-trace", "dump", p, nullptr},
        {"sve-trace", "dump", p, "--sort", "count", "--region", "1", nullptr},
        {"sve-trace", "csv", p, "--thread", "0", nullptr},
        {"sve-trace", "plot", p, "-o", "/dev/null", nullptr},
        {"sve-trace", "plot", p, "-o", "/dev/null", "--view", "density", "--addr-from", "4096", nullptr},
        {"sve-trace", "cache", p, "--l1", "1K:2:64", "--l2", "4K:4:128", "--binary", p, nullptr},
        {"sve-trace", "reuse", p, "--line", "16", nullptr},
    };
    for (auto& r : runs) {
        int argc = 0;
        while (r[argc]) argc++;
        int status = sve_trace_main(argc, const_cast<char**>(r), sink, sink);
        if (status < 0 || status > 2) {
            std::fprintf(stderr, "sve-trace %s: status %d\n", r[1], status);
            std::abort();
        }
    }
    return 0;
}

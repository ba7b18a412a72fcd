// --vl N for a tool built for one vector length. The tool of another length is the same tool
// built with -DSVE_VL_BITS=N and installed beside it as NAME-N (sve-exec-128, ...); the tool of
// the default build answers for its own length under its plain name too.
#pragma once

#include <errno.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

// Takes --vl N (or --vl=N) out of argv. A length other than `own_bits` replaces the process with
// the tool of that length beside this one; an invalid length or a missing tool ends it with one
// line and status 2. Returns when the length is the tool's own or not given.
inline void dispatch_vl(const char* tool, int& argc, char** argv, int own_bits) {
    int bits = own_bits, out = 1;
    for (int i = 1; i < argc; i++) {
        const char* value = nullptr;
        if (!std::strcmp(argv[i], "--vl") && i + 1 < argc) value = argv[++i];
        else if (!std::strncmp(argv[i], "--vl=", 5)) value = argv[i] + 5;
        if (!value) {
            argv[out++] = argv[i];
            continue;
        }
        char* end;
        long n = std::strtol(value, &end, 10);
        if (*end || end == value || n < 128 || n > 2048 || n % 128) {
            std::fprintf(stderr, "%s: vector length %s: give bits, a multiple of 128 from 128 to 2048\n", tool, value);
            std::exit(2);
        }
        bits = int(n);
    }
    argc = out;
    argv[argc] = nullptr;
    if (bits == own_bits) return;
    char self[4096];
    ssize_t len = readlink("/proc/self/exe", self, sizeof self - 1);
    std::string dir = len > 0 ? std::string(self, size_t(len)) : std::string(argv[0]);
    dir = dir.substr(0, dir.rfind('/') + 1);
    std::string other = dir + tool + "-" + std::to_string(bits);
    argv[0] = const_cast<char*>(other.c_str());
    execv(other.c_str(), argv);
    if (errno == ENOEXEC) {  // an AArch64 program on another host: through qemu, as sve-run does
        char** q = static_cast<char**>(std::calloc(size_t(argc) + 4, sizeof(char*)));
        const char* head[] = {"qemu-aarch64", "-L", "/usr/aarch64-linux-gnu"};
        for (int i = 0; i < 3; i++) q[i] = const_cast<char*>(head[i]);
        for (int i = 0; i < argc; i++) q[3 + i] = argv[i];
        execvp(q[0], q);
    }
    std::fprintf(stderr, "%s: no %s for a vector length of %d bits (%s; build with -DSVE_VL_BITS=%d)\n", tool, tool,
                 bits, other.c_str(), bits);
    std::exit(2);
}

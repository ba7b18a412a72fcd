// Names of trace files: the patterns of SVE_TRACE_FILE and how they become a path.
//
//   %p  the process id
//   %r  the process's rank in an MPI job, from the launcher's environment (launcher_rank)
//   %%  a single %
// Any other % sequence stays as it is.
#pragma once

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

// The name used when the program executes a start marker and no name was given.
constexpr const char* SVE_TRACE_DEFAULT_NAME = "sve_trace.%p.bin";

// The MPI rank as the launcher passes it: Open MPI, MPICH and Intel MPI (PMI), PMIx, Slurm, in
// this order of preference. A process that none of them started is a job of one: rank "0".
inline const char* launcher_rank() {
    static const char* const vars[] = {"OMPI_COMM_WORLD_RANK", "PMI_RANK", "PMIX_RANK", "SLURM_PROCID"};
    for (const char* v : vars) {
        const char* value = std::getenv(v);
        if (value && *value) return value;
    }
    return "0";
}

// Expands `pattern` into `out` (of `out_bytes`). False when the result does not fit.
inline bool expand_trace_name(const char* pattern, int pid, const char* rank, char* out, size_t out_bytes) {
    char pid_text[16];
    std::snprintf(pid_text, sizeof pid_text, "%d", pid);
    size_t n = 0;
    for (const char* p = pattern; *p; p++) {
        const char* piece = p;
        size_t len = 1;
        if (p[0] == '%' && p[1] == 'p') {
            piece = pid_text;
            len = std::strlen(pid_text);
            p++;
        } else if (p[0] == '%' && p[1] == 'r') {
            piece = rank;
            len = std::strlen(rank);
            p++;
        } else if (p[0] == '%' && p[1] == '%') {
            p++;
        }
        if (n + len >= out_bytes) return false;
        std::memcpy(out + n, piece, len);
        n += len;
    }
    if (n >= out_bytes) return false;
    out[n] = '\0';
    return true;
}

// Does the pattern name a file per process by itself?
inline bool names_process(const char* pattern) {
    for (const char* p = pattern; *p; p++) {
        if (p[0] == '%' && p[1] == '%') {
            p++;
            continue;
        }
        if (p[0] == '%' && p[1] == 'p') return true;
    }
    return false;
}

// sve-trace: reads the memory trace files of the SVE emulator. The whole command line in one
// call, so the tests run the tool in process: output goes to `out`, messages to `err`.
#pragma once

#include <cstdio>

#define SVE_TRACE_VERSION_STRING "1.0"

// Exit status: 0 done, 1 a file that cannot be read as a trace, 2 a bad command line.
int sve_trace_main(int argc, char** argv, FILE* out, FILE* err);

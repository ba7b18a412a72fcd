#include "tools/sve-trace/sve_trace.h"

int main(int argc, char** argv) { return sve_trace_main(argc, argv, stdout, stderr); }

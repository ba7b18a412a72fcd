// Fault containment: the signal handler of the emulator, the guarded regions of reads that may
// fault, and the byte probe.
//
// The fault region and its jump buffer are per thread, and the probe does not change the
// process's signal actions while SVESigHandler is in place: it raises a per-thread flag that
// SVESigHandler looks at. So any number of threads may be in guarded reads and probes at once,
// each seeing its own faults.
#pragma once

#include <csetjmp>
#include <csignal>
#include <cstdint>

// The page size, stored by the library's static constructor: first-fault loads probe page by page.
extern "C++" long page_size;

// Installs SVESigHandler for SIGSEGV and SIGBUS and sets up the process-wide generic context.
// Called by the library's static constructor; a second call changes nothing.
void SVEInitialize();

// The handler of SIGSEGV and SIGBUS. A fault inside a guarded read of this thread continues at
// sveFaultJB; a SIGSEGV of this thread's probe skips the probing load; anything else is the
// application's fault: the default actions come back, a message is printed, and the access
// runs again and ends the process.
void SVESigHandler(int sig, siginfo_t* info, void* context);

// Non-zero while this thread's guarded read has its probing loads under way.
extern thread_local constinit uint32_t SVEFaultRegion;
// Where a contained fault of this thread continues. The guarded reads fill it without the
// signal mask; the handler restores the mask of the interrupted read before it jumps.
extern thread_local constinit sigjmp_buf sveFaultJB;

// Whether the byte at `addr` can be read. Only the char form exists.
template <class T>
bool addr_is_readable(volatile T* addr);
template <>
bool addr_is_readable<char>(volatile char* addr);

// Flags of every signal action installed here: SA_SIGINFO | SA_RESTART | SA_NODEFER.
constexpr int SVE_SIGACTION_FLAGS = 0x50000004;

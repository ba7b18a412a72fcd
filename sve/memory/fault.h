// Fault containment: the process-wide signal handler and the guarded regions of the emulator.
#pragma once

// Installs the signal handling of the emulator and sets up the process-wide generic context.
// Called once, by the library's static constructor.
void SVEInitialize();

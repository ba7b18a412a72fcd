#include "sve/memory/primitives.h"

namespace {

template <class T>
T read_lib(uint64_t addr, bool* fault) {
    if (!fault) return load_app<T>(addr);
    SVEInitialize();  // the handler that leaves a guarded read must be in place (once; then a no-op)
    // The signal mask is not saved here (that would be a system call for every element): the
    // handler puts back the mask of the moment of the fault, which is this one.
    if (sigsetjmp(sveFaultJB, 0)) {
        *fault = true;
        return 0;
    }
    SVEFaultRegion = 1;
    // Touch both ends: an element that straddles into an unreadable page faults here.
    (void)*reinterpret_cast<volatile const uint8_t*>(addr);
    (void)*reinterpret_cast<volatile const uint8_t*>(addr + sizeof(T) - 1);
    SVEFaultRegion = 0;
    return load_app<T>(addr);
}

}  // namespace

bool GuardedTouchAll(uint64_t* addrs, uint32_t count) {
    SVEInitialize();
    if (sigsetjmp(sveFaultJB, 0)) return false;  // mask restored by the handler, as in read_lib
    SVEFaultRegion = 1;
    for (uint32_t i = 0; i < count; i++) (void)*reinterpret_cast<volatile const uint8_t*>(addrs[i]);
    SVEFaultRegion = 0;
    return true;
}

unsigned char ReadMemLib1(uint64_t addr, int, bool* fault, CpuContext*) { return read_lib<uint8_t>(addr, fault); }
unsigned short ReadMemLib2(uint64_t addr, int, bool* fault, CpuContext*) { return read_lib<uint16_t>(addr, fault); }
unsigned int ReadMemLib4(uint64_t addr, int, bool* fault, CpuContext*) { return read_lib<uint32_t>(addr, fault); }
unsigned long ReadMemLib8(uint64_t addr, int, bool* fault, CpuContext*) { return read_lib<uint64_t>(addr, fault); }

void WriteMemLib1(unsigned char value, uint64_t addr, CpuContext*) { store_app(addr, value); }
void WriteMemLib2(unsigned short value, uint64_t addr, CpuContext*) { store_app(addr, value); }
void WriteMemLib4(unsigned int value, uint64_t addr, CpuContext*) { store_app(addr, value); }
void WriteMemLib8(unsigned long value, uint64_t addr, CpuContext*) { store_app(addr, value); }

uint64_t ReadMem(uint64_t, int, int, bool* fault, CpuContext*) {
    *fault = false;
    return 0;
}
uint64_t ReadMemSim(uint64_t, int, int, bool* fault, bool, CpuContext*) {
    *fault = false;
    return 0;
}
void WriteMem(uint64_t, uint64_t, int, CpuContext*) {}
void WriteMemSim(uint64_t, uint64_t, int, bool, CpuContext*) {}

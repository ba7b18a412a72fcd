// How emulated instructions reach application memory. The specialised tier dereferences
// application addresses itself; the generic tier goes through the ReadMemLib and WriteMemLib
// families, whose reads can be guarded against faults.
#pragma once

#include <cstdint>
#include <cstring>

#include "sve/core/generic.h"
#include "sve/memory/fault.h"

// Reads of 1, 2, 4, 8 bytes. A null `fault` gives a plain read. Otherwise the read is guarded: a
// fault sets *fault and gives 0, and a successful read leaves *fault as it was. `no_fault` is
// part of the interface and not consulted.
unsigned char ReadMemLib1(uint64_t addr, int no_fault, bool* fault, CpuContext* c);
unsigned short ReadMemLib2(uint64_t addr, int no_fault, bool* fault, CpuContext* c);
unsigned int ReadMemLib4(uint64_t addr, int no_fault, bool* fault, CpuContext* c);
unsigned long ReadMemLib8(uint64_t addr, int no_fault, bool* fault, CpuContext* c);

// Guarded touch of the bytes at addrs[0..count-1]: true when every one of them can be read. One
// guarded region for all of them, so that a load whose elements are all readable pays for one
// jump buffer rather than one per element; a fault ends the touch and gives false.
bool GuardedTouchAll(uint64_t* addrs, uint32_t count);

// Plain writes of 1, 2, 4, 8 bytes.
void WriteMemLib1(unsigned char value, uint64_t addr, CpuContext* c);
void WriteMemLib2(unsigned short value, uint64_t addr, CpuContext* c);
void WriteMemLib4(unsigned int value, uint64_t addr, CpuContext* c);
void WriteMemLib8(unsigned long value, uint64_t addr, CpuContext* c);

// Entry points for a host that keeps memory of its own. This system keeps none: the reads store
// false through `fault` and give 0, the writes do nothing.
uint64_t ReadMem(uint64_t addr, int size, int no_fault, bool* fault, CpuContext* c);
uint64_t ReadMemSim(uint64_t addr, int size, int no_fault, bool* fault, bool sim, CpuContext* c);
void WriteMem(uint64_t value, uint64_t addr, int size, CpuContext* c);
void WriteMemSim(uint64_t value, uint64_t addr, int size, bool sim, CpuContext* c);

// The ReadMemLib / WriteMemLib member of an unsigned element type, for templates over the element.
template <class T>
struct mem_lib {
    static T read(uint64_t a, bool* f, CpuContext* c, int no_fault = 0) {
        if constexpr (sizeof(T) == 1) return ReadMemLib1(a, no_fault, f, c);
        else if constexpr (sizeof(T) == 2) return ReadMemLib2(a, no_fault, f, c);
        else if constexpr (sizeof(T) == 4) return ReadMemLib4(a, no_fault, f, c);
        else return ReadMemLib8(a, no_fault, f, c);
    }
    static void write(T v, uint64_t a, CpuContext* c) {
        if constexpr (sizeof(T) == 1) WriteMemLib1(v, a, c);
        else if constexpr (sizeof(T) == 2) WriteMemLib2(v, a, c);
        else if constexpr (sizeof(T) == 4) WriteMemLib4(v, a, c);
        else WriteMemLib8(v, a, c);
    }
};

// Plain access of the specialised tier: one load or store of the element's width at an
// application address, no alignment requirement.
template <class T>
inline T load_app(uint64_t addr) {
    T v;
    std::memcpy(&v, reinterpret_cast<const void*>(addr), sizeof v);
    return v;
}
template <class T>
inline void store_app(uint64_t addr, T v) {
    std::memcpy(reinterpret_cast<void*>(addr), &v, sizeof v);
}

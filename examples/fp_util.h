// Helpers of the floating-point examples: FPCR access and a hash of result arrays.
#pragma once
#include <stddef.h>
#include <stdint.h>

static inline uint64_t fpcr_read(void) { uint64_t v; __asm__ volatile("mrs %0, fpcr" : "=r"(v)); return v; }
static inline void fpcr_write(uint64_t v) { __asm__ volatile("msr fpcr, %0" :: "r"(v)); }

// FNV-1a over the bytes of an array: one line of output stands for a whole result.
static inline uint32_t hash(const void* p, size_t n) {
    const unsigned char* s = p;
    uint32_t h = 2166136261u;
    for (size_t i = 0; i < n; i++) h = (h ^ s[i]) * 16777619u;
    return h;
}

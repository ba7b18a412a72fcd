/*
 * sve_roi.h: region-of-interest markers for programs run under the SVE emulator.
 *
 * The emulator writes a memory trace of the SVE loads and stores a thread executes between a
 * start marker and a stop marker. The markers are two reserved encodings of the SVE
 * "add zN.b, zN.b, #imm, lsl #8":
 *
 *   SVE_ROI_START(n)   the word 0x2520E020 + n   (add zn.b, zn.b, #1, lsl #8)
 *   SVE_ROI_STOP(n)    the word 0x2520E040 + n   (add zn.b, zn.b, #2, lsl #8)
 *
 * n is a Z register number, 0 to 31, and must be a constant of the compilation. The register
 * keeps its value: the emulator completes the marker as an addition of zero. Regions belong to
 * the thread that runs the start marker; a second start opens a new region, and each marker
 * appears in the trace as a record of its own (see `sve-trace summary`).
 * SVE_ROI_BEGIN() and SVE_ROI_END() are the same markers on z0.
 *
 * Example:
 *
 *     #include <sve_roi.h>
 *
 *     void saxpy(float a, const float *x, float *y, long n)
 *     {
 *         SVE_ROI_BEGIN();
 *         for (long i = 0; i < n; i++)       // vectorised with -march=armv8.2-a+sve
 *             y[i] += a * x[i];
 *         SVE_ROI_END();
 *     }
 *
 * Real SVE hardware: the markers are reserved encodings and raise SIGILL on a processor that
 * executes SVE itself. For builds meant to run there without the emulator, define
 * SVE_ROI_DISABLE (e.g. -DSVE_ROI_DISABLE) and the macros compile to nothing. They also
 * compile to nothing when the target is not AArch64, so that shared sources build anywhere.
 *
 * Usable from C and C++. The markers are volatile asm with a memory clobber, so the compiler
 * neither removes them nor moves memory accesses across them.
 */
#ifndef SVE_ROI_H
#define SVE_ROI_H

#define SVE_ROI_START_WORD 0x2520E020u
#define SVE_ROI_STOP_WORD 0x2520E040u

#if defined(SVE_ROI_DISABLE) || !defined(__aarch64__)

#define SVE_ROI_START(n) ((void)0)
#define SVE_ROI_STOP(n) ((void)0)

#else

/* Emits the 32-bit instruction word base + n. A register number outside 0 to 31 fails to
 * compile (a negative array size) instead of turning into another instruction. */
#define SVE_ROI_MARKER_(base, n)                                                          \
    do {                                                                                  \
        typedef char sve_roi_register_0_to_31_[((n) >= 0 && (n) <= 31) ? 1 : -1]          \
            __attribute__((unused));                                                      \
        __asm__ __volatile__(".inst %c0 + %c1" ::"i"(base), "i"(n) : "memory");            \
    } while (0)

#define SVE_ROI_START(n) SVE_ROI_MARKER_(SVE_ROI_START_WORD, n)
#define SVE_ROI_STOP(n) SVE_ROI_MARKER_(SVE_ROI_STOP_WORD, n)

#endif

#define SVE_ROI_BEGIN() SVE_ROI_START(0)
#define SVE_ROI_END() SVE_ROI_STOP(0)

#endif /* SVE_ROI_H */

/* Small vectorisable loops of the kinds compilers meet, built twice from this one source: with
 * SVE (-march=armv8.2-a+sve) and with Advanced SIMD only (-march=armv8.2-a).
 *
 *   kernels NAME|all|list N REPS [TRIALS]
 *
 * For each kernel (NAME, or every one in turn): one untimed call (under sve-run it traps once
 * on every SVE word and patches it), then TRIALS timed runs of REPS calls on N elements
 * (clock_gettime around the repetitions, so process start-up is not in the figure), and one line
 *
 *   NAME KIND CHECKSUM VALUE NS
 *
 * KIND is exact (both builds must give the same bits) or fp (see below); CHECKSUM a 64-bit
 * FNV-1a hash of every output buffer and result, bit for bit; VALUE the sum of the outputs as a
 * double, for comparing floating-point kernels whose rounding may
 * legitimately differ between builds; NS the best trial's nanoseconds per element.
 * Every kernel's output depends only on its inputs, so neither the checksum nor the work of one
 * call depends on REPS or TRIALS.
 *
 * count_begin() and count_end() bracket the repetitions of each trial (not the clock reads):
 * an instruction counter finds the instructions of REPS calls between the two. */
#include <math.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#define KERNEL __attribute__((noinline, noclone)) static void
/* Set-up and checking code stays scalar, so that only the kernels use vector instructions. */
#define SCALAR __attribute__((noinline, optimize("no-tree-vectorize")))

/* Inputs. */
static float *fa, *fb;
static double *da, *db;
static int32_t *ia, *ib, *idx;
static int16_t *sa, *sb;
static int8_t *ca, *cb;
static uint8_t *str;
/* Outputs. */
static float* fo;
static double* dout;
static int32_t* io;
static int64_t ri;
static double rf;
static int grid; /* side of the square grids of the 2-D kernels: floor(sqrt(N)) */

/* ---- streams and triads ---- */
KERNEL copy_f32(int n) { for (int i = 0; i < n; i++) fo[i] = fa[i]; }
KERNEL scale_f32(int n) { for (int i = 0; i < n; i++) fo[i] = 3.0f * fa[i]; }
KERNEL add_f32(int n) { for (int i = 0; i < n; i++) fo[i] = fa[i] + fb[i]; }
KERNEL triad_f32(int n) { for (int i = 0; i < n; i++) fo[i] = fa[i] + 1.5f * fb[i]; }
KERNEL daxpy_f64(int n) { for (int i = 0; i < n; i++) dout[i] = 2.5 * da[i] + db[i]; }

/* ---- reductions ---- */
KERNEL sum_i32(int n) {
    uint32_t s = 0;
    for (int i = 0; i < n; i++) s += (uint32_t)ia[i];
    ri = s;
}
KERNEL sum_f32(int n) {
    float s = 0;
    for (int i = 0; i < n; i++) s += fa[i];
    rf = s;
}
KERNEL dot_f64(int n) {
    double s = 0;
    for (int i = 0; i < n; i++) s += da[i] * db[i];
    rf = s;
}
KERNEL max_i32(int n) {
    int32_t m = INT32_MIN;
    for (int i = 0; i < n; i++) m = ia[i] > m ? ia[i] : m;
    ri = m;
}
KERNEL min_f32(int n) {
    float m = INFINITY;
    for (int i = 0; i < n; i++) m = fminf(m, fa[i]);
    rf = m;
}
KERNEL count_if_i32(int n) {
    int c = 0;
    for (int i = 0; i < n; i++) c += ia[i] > 100;
    ri = c;
}
KERNEL dot_i8(int n) {
    int32_t s = 0;
    for (int i = 0; i < n; i++) s += (int32_t)ca[i] * (int32_t)cb[i];
    ri = s;
}

/* ---- strided and indexed accesses ---- */
/* Through restrict parameters: without them the compiler must assume that the stores may
 * change the indices, and keeps the loop scalar. */
KERNEL gather_f32_loop(float* restrict o, const float* restrict a, const int32_t* restrict x, int n) {
    for (int i = 0; i < n; i++) o[i] = a[x[i]];
}
KERNEL gather_f32(int n) { gather_f32_loop(fo, fa, idx, n); }
KERNEL scatter_i32_loop(int32_t* restrict o, const int32_t* restrict a, const int32_t* restrict x, int n) {
    for (int i = 0; i < n; i++) o[x[i]] = a[i];
}
KERNEL scatter_i32(int n) { scatter_i32_loop(io, ia, idx, n); }
KERNEL stride2_f32(int n) { for (int i = 0; i < n; i++) fo[i] = fa[2 * i] + fa[2 * i + 1]; }
KERNEL stride3_i32(int n) {
    for (int i = 0; i < n; i++) io[i] = ia[3 * i] + 2 * ia[3 * i + 1] + 3 * ia[3 * i + 2];
}
KERNEL reverse_i32(int n) { for (int i = 0; i < n; i++) io[i] = ia[n - 1 - i]; }

/* ---- conditional updates ---- */
KERNEL cond_f32(int n) {
    for (int i = 0; i < n; i++)
        if (fa[i] > 0.0f) fo[i] = fa[i] * fb[i];
}
KERNEL absdiff_i32(int n) {
    for (int i = 0; i < n; i++) io[i] = ia[i] > ib[i] ? ia[i] - ib[i] : ib[i] - ia[i];
}
KERNEL clamp_i32(int n) {
    for (int i = 0; i < n; i++) {
        int32_t v = ia[i] * 3;
        io[i] = v < -1000 ? -1000 : v > 1000 ? 1000 : v;
    }
}

/* ---- loops with an early exit ---- */
KERNEL find_i32(int n) {
    int32_t key = ia[n - 3];
    int i = 0;
    while (i < n && ia[i] != key) i++;
    ri = i;
}
KERNEL strlen_u8(int n) {
    (void)n;
    const uint8_t* p = str;
    while (*p) p++;
    ri = p - str;
}

/* ---- 2-D and matrix ---- */
KERNEL stencil5_f32(int n) {
    (void)n;
    int m = grid;
    for (int i = 1; i < m - 1; i++)
        for (int j = 1; j < m - 1; j++)
            fo[i * m + j] = 0.25f * (fa[(i - 1) * m + j] + fa[(i + 1) * m + j] + fa[i * m + j - 1] +
                                     fa[i * m + j + 1]) - fa[i * m + j];
}
KERNEL matvec_f32(int n) {
    (void)n;
    int m = grid;
    for (int i = 0; i < m; i++) {
        float s = 0;
        for (int j = 0; j < m; j++) s += fa[i * m + j] * fb[j];
        fo[i] = s;
    }
}

/* ---- recurrences and histograms ---- */
KERNEL prefix_i32(int n) {
    int32_t s = 0;
    for (int i = 0; i < n; i++) io[i] = s += ia[i];
}
KERNEL histogram_u8(int n) {
    for (int b = 0; b < 256; b++) io[b] = 0;
    for (int i = 0; i < n; i++) io[(uint8_t)ca[i]]++;
}

/* ---- narrow integers, conversions, bits ---- */
KERNEL widen_i16(int n) { for (int i = 0; i < n; i++) io[i] = (int32_t)sa[i] * (int32_t)sb[i] + sa[i]; }
KERNEL convert_f32(int n) { for (int i = 0; i < n; i++) fo[i] = (float)ia[i] * 0.5f; }
KERNEL bits_u32(int n) {
    for (int i = 0; i < n; i++) io[i] = (int32_t)(((uint32_t)ia[i] >> 3) ^ ((uint32_t)ib[i] << 5));
}

/* ---- complex ---- */
KERNEL complex_mul_f32(int n) {
    for (int i = 0; i < n; i++) {
        float ar = fa[2 * i], ai = fa[2 * i + 1], br = fb[2 * i], bi = fb[2 * i + 1];
        fo[2 * i] = ar * br - ai * bi;
        fo[2 * i + 1] = ar * bi + ai * br;
    }
}

/* EXACT: the Advanced SIMD build must give the same bits; FP: only the value, within a
 * tolerance (the compiler may fuse a multiply and an add in one build and not in the other, and
 * sums run in another order). */
enum { EXACT, FP };
static const struct kernel {
    const char* name;
    void (*run)(int n);
    int kind;
} kernels[] = {
    {"copy_f32", copy_f32, EXACT},       {"scale_f32", scale_f32, EXACT},
    {"add_f32", add_f32, EXACT},         {"triad_f32", triad_f32, FP},
    {"daxpy_f64", daxpy_f64, FP},        {"sum_i32", sum_i32, EXACT},
    {"sum_f32", sum_f32, FP},            {"dot_f64", dot_f64, FP},
    {"max_i32", max_i32, EXACT},         {"min_f32", min_f32, EXACT},
    {"count_if_i32", count_if_i32, EXACT}, {"dot_i8", dot_i8, EXACT},
    {"gather_f32", gather_f32, EXACT},   {"scatter_i32", scatter_i32, EXACT},
    {"stride2_f32", stride2_f32, EXACT}, {"stride3_i32", stride3_i32, EXACT},
    {"reverse_i32", reverse_i32, EXACT}, {"cond_f32", cond_f32, EXACT},
    {"absdiff_i32", absdiff_i32, EXACT}, {"clamp_i32", clamp_i32, EXACT},
    {"find_i32", find_i32, EXACT},       {"strlen_u8", strlen_u8, EXACT},
    {"stencil5_f32", stencil5_f32, FP},  {"matvec_f32", matvec_f32, FP},
    {"prefix_i32", prefix_i32, EXACT},   {"histogram_u8", histogram_u8, EXACT},
    {"widen_i16", widen_i16, EXACT},     {"convert_f32", convert_f32, EXACT},
    {"bits_u32", bits_u32, EXACT},       {"complex_mul_f32", complex_mul_f32, FP},
};
#define KERNEL_COUNT (int)(sizeof kernels / sizeof kernels[0])

static void* buffer(size_t bytes) {
    void* p = aligned_alloc(64, (bytes + 63) / 64 * 64);
    if (!p) {
        fprintf(stderr, "kernels: out of memory\n");
        exit(1);
    }
    memset(p, 0, bytes);
    return p;
}

static uint64_t seed = 0x9E3779B97F4A7C15u;
SCALAR static uint32_t next(void) {
    seed = seed * 6364136223846793005u + 1442695040888963407u;
    return (uint32_t)(seed >> 33);
}

/* Inputs of mixed signs and magnitudes. Floating-point values are multiples of 1/256 in
 * [-4, 4): products and short sums of them are exact, so whether a build fuses a multiply with
 * an add does not change elementwise results; long sums may still round differently. */
SCALAR static void fill(int n) {
    size_t wide = 3 * (size_t)n + 16;
    fa = buffer(wide * 4), fb = buffer(wide * 4), da = buffer(wide * 8), db = buffer(wide * 8);
    ia = buffer(wide * 4), ib = buffer(wide * 4), idx = buffer(wide * 4);
    sa = buffer(wide * 2), sb = buffer(wide * 2), ca = buffer(wide), cb = buffer(wide), str = buffer(wide);
    fo = buffer(wide * 4), dout = buffer(wide * 8), io = buffer(wide * 4);
    for (size_t i = 0; i < wide; i++) {
        fa[i] = (float)((int)(next() % 2048) - 1024) / 256.0f;
        fb[i] = (float)((int)(next() % 2048) - 1024) / 256.0f;
        da[i] = (double)((int)(next() % 2048) - 1024) / 256.0;
        db[i] = (double)((int)(next() % 2048) - 1024) / 256.0;
        ia[i] = (int32_t)(next() % 2001) - 1000;
        ib[i] = (int32_t)(next() % 2001) - 1000;
        sa[i] = (int16_t)((int)(next() % 4001) - 2000);
        sb[i] = (int16_t)((int)(next() % 4001) - 2000);
        ca[i] = (int8_t)next();
        cb[i] = (int8_t)next();
        str[i] = (uint8_t)(1 + next() % 255);
    }
    str[n - 1] = 0;
    /* A permutation of 0..n-1 for the gather and the scatter. */
    for (int i = 0; i < n; i++) idx[i] = i;
    for (int i = n - 1; i > 0; i--) {
        int j = (int)(next() % (uint32_t)(i + 1)), t = idx[i];
        idx[i] = idx[j], idx[j] = t;
    }
    /* ia[n - 3] first found at n - 3 by find_i32: a near-full scan. */
    ia[n - 3] = 5000;
}

SCALAR static void clear_outputs(int n) {
    size_t wide = 3 * (size_t)n + 16;
    memset(fo, 0, wide * 4), memset(dout, 0, wide * 8), memset(io, 0, wide * 4);
    ri = 0, rf = 0;
}

SCALAR static uint64_t fnv(uint64_t h, const void* p, size_t bytes) {
    const uint8_t* b = p;
    for (size_t i = 0; i < bytes; i++) h = (h ^ b[i]) * 1099511628211u;
    return h;
}

SCALAR static void check(int n, uint64_t* hash, double* value) {
    size_t wide = 3 * (size_t)n + 16;
    uint64_t h = 14695981039346656037u;
    h = fnv(h, fo, wide * 4), h = fnv(h, dout, wide * 8), h = fnv(h, io, wide * 4);
    h = fnv(h, &ri, sizeof ri), h = fnv(h, &rf, sizeof rf);
    double v = (double)ri + rf;
    for (size_t i = 0; i < wide; i++) v += (double)fo[i] + dout[i] + (double)io[i];
    *hash = h, *value = v;
}

/* Empty calls that bracket the measured repetitions, found by name in instruction traces. */
__attribute__((noinline)) void count_begin(void) { __asm__ volatile("" ::: "memory"); }
__attribute__((noinline)) void count_end(void) { __asm__ volatile("" ::: "memory"); }

static double now(void) {
    struct timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return (double)t.tv_sec + 1e-9 * (double)t.tv_nsec;
}

static void measure(const struct kernel* k, int n, long reps, int trials) {
    clear_outputs(n);
    k->run(n);
    double best = 1e30;
    for (int t = 0; t < trials; t++) {
        double start = now();
        count_begin();
        for (long r = 0; r < reps; r++) k->run(n);
        count_end();
        double time = now() - start;
        if (time < best) best = time;
    }
    uint64_t hash;
    double value;
    check(n, &hash, &value);
    printf("%-16s %-5s %016llx %.17g %.3f\n", k->name, k->kind == EXACT ? "exact" : "fp",
           (unsigned long long)hash, value, reps > 0 ? best * 1e9 / ((double)reps * n) : 0.0);
    fflush(stdout);
}

static int usage(void) {
    fprintf(stderr, "usage: kernels NAME|all|list N REPS [TRIALS] (N >= 64, REPS >= 0, TRIALS >= 1)\n");
    return 2;
}

int main(int argc, char** argv) {
    if (argc == 2 && strcmp(argv[1], "list") == 0) {
        for (int i = 0; i < KERNEL_COUNT; i++) printf("%s\n", kernels[i].name);
        return 0;
    }
    if (argc < 4 || argc > 5) return usage();
    char* end;
    long n = strtol(argv[2], &end, 10);
    if (*end || n < 64 || n > (1 << 24)) return usage();
    long reps = strtol(argv[3], &end, 10);
    if (*end || reps < 0) return usage();
    long trials = argc == 5 ? strtol(argv[4], &end, 10) : 3;
    if ((argc == 5 && *end) || trials < 1) return usage();
    const struct kernel* only = NULL;
    if (strcmp(argv[1], "all") != 0) {
        for (int i = 0; i < KERNEL_COUNT; i++)
            if (strcmp(argv[1], kernels[i].name) == 0) only = &kernels[i];
        if (!only) {
            fprintf(stderr, "kernels: no kernel %s (kernels list names them)\n", argv[1]);
            return 2;
        }
    }
    grid = (int)sqrt((double)n);
    fill((int)n);
    for (int i = 0; i < KERNEL_COUNT; i++)
        if (!only || only == &kernels[i]) measure(&kernels[i], (int)n, reps, (int)trials);
    return 0;
}

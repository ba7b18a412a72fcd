/* The instruction forms that SVE loops execute most (the kernel set's profile), each run on
 * many register states, with its result printed: the same program under the reference and
 * under sve-run must print the same lines (check_against_oracle compares them).
 *
 * Each case loads z0 to z3 from random bytes, p0 and p1 from a predicate pattern (all true,
 * all false, a first part, random), x1 and x2 (loop bounds), x4 (a data area of random bytes)
 * and x5 (a small index), clears FPSR, runs its instructions, and prints one line: the case,
 * the state number, z0 in hex, and a hash of z1, z2, p2, NZCV, FPSR, x8 and the data area. */
#include <stdint.h>
#include <stdio.h>
#include <string.h>

#define STATES 12
#define PL (VL_BYTES / 8)
/* The input record: z0..z3, then p0 and p1 at 4 vectors (predicate offset 32 in PL units),
 * then x1 and x2, then the data area. */
#define IN_P (4 * VL_BYTES)
#define IN_X (IN_P + 32)
#define IN_DATA 1024
#define DATA_BYTES (8 * VL_BYTES)
/* The output record: z0, z1, z2, p2, NZCV, FPSR, x8. */
#define OUT_P (3 * VL_BYTES)
#define OUT_X (OUT_P + PL)

static uint8_t in[IN_DATA + DATA_BYTES] __attribute__((aligned(64)));
static uint8_t out[OUT_X + 24] __attribute__((aligned(64)));
static uint64_t seed = 0x9E3779B97F4A7C15u;

static uint64_t next(void) {
    seed ^= seed << 13;
    seed ^= seed >> 7;
    seed ^= seed << 17;
    return seed;
}

/* Loads the state, runs SETUP and INSN, stores the results. x4 is the data area, x5 an index
 * below 8, x1 and x2 from the record. */
#define CASE(fn, setup, insn)                                                                   \
    static void fn(void) {                                                                      \
        __asm__ volatile("ptrue p7.b\n"                                                         \
                         "ld1b {z0.b}, p7/z, [%[in]]\n"                                         \
                         "ld1b {z1.b}, p7/z, [%[in], #1, mul vl]\n"                             \
                         "ld1b {z2.b}, p7/z, [%[in], #2, mul vl]\n"                             \
                         "ld1b {z3.b}, p7/z, [%[in], #3, mul vl]\n"                             \
                         "ldr p0, [%[in], #32, mul vl]\n"                                       \
                         "ldr p1, [%[in], #33, mul vl]\n"                                       \
                         "pfalse p2.b\n"                                                        \
                         "ldp x1, x2, [%[x]]\n"                                                 \
                         "mov x4, %[data]\n"                                                    \
                         "and x5, x1, #7\n"                                                     \
                         "mov x8, #0\n"                                                         \
                         "msr fpsr, xzr\n"                                                      \
                         "cmp x1, x1\n" setup "\n" insn "\n"                                    \
                         "mrs x6, nzcv\n"                                                       \
                         "mrs x7, fpsr\n"                                                       \
                         "st1b {z0.b}, p7, [%[out]]\n"                                          \
                         "st1b {z1.b}, p7, [%[out], #1, mul vl]\n"                              \
                         "st1b {z2.b}, p7, [%[out], #2, mul vl]\n"                              \
                         "str p2, [%[out], #24, mul vl]\n"                                      \
                         "stp x6, x7, [%[outx]]\n"                                              \
                         "str x8, [%[outx], #16]\n"                                             \
                         :                                                                      \
                         : [in] "r"(in), [x] "r"(in + IN_X), [data] "r"(in + IN_DATA),          \
                           [out] "r"(out), [outx] "r"(out + OUT_X)                              \
                         : "x1", "x2", "x4", "x5", "x6", "x7", "x8", "v0", "v1", "v2", "v3",    \
                           "z0", "z1", "z2", "z3", "p0", "p1", "p2", "p7", "memory", "cc");      \
    }

/* Small indices for gathers and scatters: element offsets 0..15 of the data area. */
#define SMALL_Z3 "and z3.s, z3.s, #15"

CASE(c_ld1w_lss, "", "ld1w {z0.s}, p0/z, [x4, x5, lsl #2]")
CASE(c_st1w_lss, "", "st1w {z1.s}, p0, [x4, x5, lsl #2]")
CASE(c_ld1d_lss, "", "ld1d {z0.d}, p0/z, [x4, x5, lsl #3]")
CASE(c_st1d_lss, "", "st1d {z1.d}, p0, [x4, x5, lsl #3]")
CASE(c_ld1sh_lss, "", "ld1sh {z0.s}, p0/z, [x4, x5, lsl #1]")
CASE(c_ld1b_lss, "", "ld1b {z0.b}, p0/z, [x4, x5]")
CASE(c_ld1w_si, "", "ld1w {z0.s}, p0/z, [x4, #1, mul vl]")
CASE(c_st1w_si, "", "st1w {z1.s}, p0, [x4, #2, mul vl]")
CASE(c_ld2w, "", "ld2w {z0.s, z1.s}, p0/z, [x4, #2, mul vl]")
CASE(c_ld3w, "", "ld3w {z0.s, z1.s, z2.s}, p0/z, [x4, #3, mul vl]")
CASE(c_gather, SMALL_Z3, "ld1w {z0.s}, p0/z, [x4, z3.s, sxtw #2]")
CASE(c_scatter, SMALL_Z3, "st1w {z1.s}, p0, [x4, z3.s, sxtw #2]")
CASE(c_whilelo_ws, "", "whilelo p2.s, w1, w2")
CASE(c_whilelo_xs, "", "whilelo p2.s, x1, x2")
CASE(c_whilelo_wd, "", "whilelo p2.d, w1, w2")
CASE(c_whilelo_wb, "", "whilelo p2.b, w1, w2")
CASE(c_fadd_s, "", "fadd z0.s, z1.s, z2.s")
CASE(c_fadd_d, "", "fadd z0.d, z1.d, z2.d")
CASE(c_fmul_s, "", "fmul z0.s, z1.s, z2.s")
CASE(c_fmul_d, "", "fmul z0.d, z1.d, z2.d")
CASE(c_fmul_sm, "", "fmul z0.s, p0/m, z0.s, z1.s")
CASE(c_fmul_imm, "", "fmul z0.s, p0/m, z0.s, #2.0")
CASE(c_fmad_s, "", "fmad z0.s, p0/m, z1.s, z2.s")
CASE(c_fmad_d, "", "fmad z0.d, p0/m, z1.d, z2.d")
CASE(c_fmla_s, "", "fmla z0.s, p0/m, z1.s, z2.s")
CASE(c_fnmsb_s, "", "fnmsb z0.s, p0/m, z1.s, z2.s")
CASE(c_fcmla_0, "", "fcmla z0.s, p0/m, z1.s, z2.s, #0")
CASE(c_fcmla_90, "", "fcmla z0.s, p0/m, z1.s, z2.s, #90")
CASE(c_fadda_s, "", "fadda s0, p0, s0, z1.s")
CASE(c_fadda_d, "", "fadda d0, p0, d0, z1.d")
CASE(c_fminnm_s, "", "fminnm z0.s, p0/m, z0.s, z1.s")
CASE(c_fminnmv_s, "", "fminnmv s0, p0, z1.s")
CASE(c_fcmgt_0, "", "fcmgt p2.s, p0/z, z1.s, #0.0")
CASE(c_scvtf_s, "", "scvtf z0.s, p0/m, z1.s")
CASE(c_add_m, "", "add z0.s, p0/m, z0.s, z1.s")
CASE(c_add_imm, "", "add z0.s, z0.s, #7")
CASE(c_sub, "", "sub z0.s, z1.s, z2.s")
CASE(c_sub_m, "", "sub z0.s, p0/m, z0.s, z1.s")
CASE(c_mul_m, "", "mul z0.s, p0/m, z0.s, z1.s")
CASE(c_mla, "", "mla z0.s, p0/m, z1.s, z2.s")
CASE(c_smax, "", "smax z0.s, p0/m, z0.s, z1.s")
CASE(c_smin, "", "smin z0.s, p0/m, z0.s, z1.s")
CASE(c_smaxv, "", "smaxv s0, p0, z1.s")
CASE(c_uaddv, "", "uaddv d0, p0, z1.s")
CASE(c_eor_d, "", "eor z0.d, z1.d, z2.d")
CASE(c_lsl_imm, "", "lsl z0.s, z1.s, #3")
CASE(c_lsr_imm, "", "lsr z0.s, z1.s, #5")
CASE(c_adr, "", "adr z0.s, [z1.s, z2.s, lsl #1]")
CASE(c_rev, "", "rev z0.s, z1.s")
CASE(c_sel, "", "sel z0.b, p0, z1.b, z2.b")
CASE(c_sdot, "", "sdot z0.s, z1.b, z2.b")
CASE(c_cmpgt, "", "cmpgt p2.s, p0/z, z0.s, z1.s")
CASE(c_cmpge, "", "cmpge p2.s, p0/z, z0.s, z1.s")
CASE(c_orr_p, "", "orr p2.b, p0/z, p0.b, p1.b")
CASE(c_movprfx, "", "movprfx z0, z3\n add z0.s, p0/m, z0.s, z1.s")
CASE(c_movprfx_m, "", "movprfx z0.s, p0/m, z3.s\n sub z0.s, p0/m, z0.s, z1.s")
CASE(c_dup_imm, "", "mov z0.s, #-3")
CASE(c_fdup, "", "fmov z0.s, #1.5")
CASE(c_dup_w, "", "mov z0.s, w1")
CASE(c_ptrue, "", "ptrue p2.s, vl7")
CASE(c_cntw, "", "cntw x8, all, mul #3")
CASE(c_cntb, "", "cntb x8")
/* A run of neighbouring words, as in a loop body: one trampoline may hold them together. */
CASE(c_loop_body, "", "ld1w {z0.s}, p0/z, [x4, x5, lsl #2]\n fmul z0.s, z0.s, z1.s\n"
                      "st1w {z0.s}, p0, [x4, x5, lsl #2]\n incw x5\n whilelo p2.s, x5, x2")

static const struct {
    const char* name;
    void (*run)(void);
} cases[] = {
#define C(fn) {#fn + 2, fn}
    C(c_ld1w_lss), C(c_st1w_lss), C(c_ld1d_lss), C(c_st1d_lss), C(c_ld1sh_lss), C(c_ld1b_lss),
    C(c_ld1w_si), C(c_st1w_si), C(c_ld2w), C(c_ld3w), C(c_gather), C(c_scatter),
    C(c_whilelo_ws), C(c_whilelo_xs), C(c_whilelo_wd), C(c_whilelo_wb), C(c_fadd_s), C(c_fadd_d),
    C(c_fmul_s), C(c_fmul_d), C(c_fmul_sm), C(c_fmul_imm), C(c_fmad_s), C(c_fmad_d), C(c_fmla_s),
    C(c_fnmsb_s), C(c_fcmla_0), C(c_fcmla_90), C(c_fadda_s), C(c_fadda_d), C(c_fminnm_s),
    C(c_fminnmv_s), C(c_fcmgt_0), C(c_scvtf_s), C(c_add_m), C(c_add_imm), C(c_sub), C(c_sub_m),
    C(c_mul_m), C(c_mla), C(c_smax), C(c_smin), C(c_smaxv), C(c_uaddv), C(c_eor_d), C(c_lsl_imm),
    C(c_lsr_imm), C(c_adr), C(c_rev), C(c_sel), C(c_sdot), C(c_cmpgt), C(c_cmpge), C(c_orr_p),
    C(c_movprfx), C(c_movprfx_m), C(c_dup_imm), C(c_fdup), C(c_dup_w), C(c_ptrue), C(c_cntw),
    C(c_cntb), C(c_loop_body),
#undef C
};

/* State k: random vectors (some lanes made special floating-point values), a predicate
 * pattern by k % 4, loop bounds around the vector's lanes, sometimes near the top of w. */
static void make_state(int k) {
    for (size_t i = 0; i < sizeof in; i += 8) {
        uint64_t r = next();
        memcpy(in + i, &r, 8);
    }
    static const uint32_t special[] = {0x7fc00000, 0xff800000, 0x80000000, 0x00000001, 0x7f7fffff, 0x3f800000};
    for (int lane = 0; lane < 4 * VL_BYTES / 4; lane += 3)
        if (next() % 4 == 0) memcpy(in + 4 * lane, &special[next() % 6], 4);
    for (int p = 0; p < 2; p++) {
        uint8_t* pred = in + IN_P + p * PL;
        switch ((k + p) % 4) {
        case 0: memset(pred, 0xff, PL); break;
        case 1: memset(pred, 0, PL); break;
        case 2: {
            int bits = (int)(next() % (8 * PL));
            memset(pred, 0, PL);
            for (int b = 0; b < bits; b++) pred[b / 8] |= (uint8_t)(1u << (b % 8));
            break;
        }
        default: break; /* random */
        }
    }
    uint64_t x1 = next() % 48, x2 = next() % 48;
    if (k % 6 == 5) x1 = 0xfffffff0u, x2 = 0xffffffffu;
    memcpy(in + IN_X, &x1, 8);
    memcpy(in + IN_X + 8, &x2, 8);
}

static uint64_t fnv(const uint8_t* p, size_t n, uint64_t h) {
    for (size_t i = 0; i < n; i++) h = (h ^ p[i]) * 0x100000001b3u;
    return h;
}

int main(void) {
    for (size_t c = 0; c < sizeof cases / sizeof cases[0]; c++) {
        for (int k = 0; k < STATES; k++) {
            make_state(k);
            memset(out, 0, sizeof out);
            cases[c].run();
            uint64_t h = fnv(out + VL_BYTES, sizeof out - VL_BYTES, 0xcbf29ce484222325u);
            h = fnv(in + IN_DATA, DATA_BYTES, h);
            printf("%-12s %2d ", cases[c].name, k);
            for (int i = VL_BYTES - 1; i >= 0; i--) printf("%02x", out[i]);
            printf(" %016llx\n", (unsigned long long)h);
        }
    }
    return 0;
}

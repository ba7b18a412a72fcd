// Compiled vector loops run word by word: the SVE words through get_sve_handler and their
// handlers, the few scalar and Advanced SIMD words of the loops by a small interpreter here.
// Each loop must give the result of the same loop written in plain C++, for lengths that end
// on, before and after a vector boundary, so the loop runs from its first iteration through its
// tail.
//
// The words are from
//   aarch64-linux-gnu-gcc -O3 -march=armv8.2-a+sve -msve-vector-bits=scalable -c loop.c
//   aarch64-linux-gnu-objdump -d loop.o
// of
//   int sum_u8(const unsigned char* a, int n) {
//       int s = 0;
//       for (int i = 0; i < n; i++) s += a[i];
//       return s;
//   }
//   int last_above(const int* a, int n, int t) {
//       int last = -1;
//       for (int i = 0; i < n; i++) if (a[i] > t) last = i;
//       return last;
//   }
#include "tests/predicate/pred_test_util.h"

namespace {

const uint32_t sum_u8_words[] = {
    0x7100003f,  // cmp     w1, #0x0
    0x540001cd,  // b.le    +0x38
    0xd2800002,  // mov     x2, #0x0
    0x04a0e3e3,  // cntw    x3
    0x25a10fe0,  // whilelo p0.s, wzr, w1
    0x2538c000,  // mov     z0.b, #0
    0x2518e3e1,  // ptrue   p1.b
    0xa4424001,  // ld1b    {z1.s}, p0/z, [x0, x2]      <- loop
    0x8b030042,  // add     x2, x2, x3
    0x04800020,  // add     z0.s, p0/m, z0.s, z1.s
    0x25a10c40,  // whilelo p0.s, w2, w1
    0x54ffff81,  // b.ne    loop (b.any)
    0x04812400,  // uaddv   d0, p1, z0.s
    0x1e260000,  // fmov    w0, s0
    0xd65f03c0,  // ret
    0x1e2703e0,  // fmov    s0, wzr
    0x1e260000,  // fmov    w0, s0
    0xd65f03c0,  // ret
};

const uint32_t last_above_words[] = {
    0x7100003f,  // cmp     w1, #0x0
    0x5400020d,  // b.le    +0x40
    0x2f000401,  // mvni    v1.2s, #0x0
    0xd2800003,  // mov     x3, #0x0
    0x04a0e3e4,  // cntw    x4
    0x05a03843,  // mov     z3.s, w2
    0x25a10fe0,  // whilelo p0.s, wzr, w1
    0x04a14000,  // index   z0.s, #0, #1
    0xa5434002,  // ld1w    {z2.s}, p0/z, [x0, x3, lsl #2]   <- loop
    0x24838051,  // cmpgt   p1.s, p0/z, z2.s, z3.s
    0x8b040063,  // add     x3, x3, x4
    0x05ab8401,  // clastb  s1, p1, s1, z0.s
    0x25a10c60,  // whilelo p0.s, w3, w1
    0x04b0c3e0,  // incw    z0.s
    0x54ffff41,  // b.ne    loop (b.any)
    0x1e260020,  // fmov    w0, s1
    0xd65f03c0,  // ret
    0x2f000401,  // mvni    v1.2s, #0x0
    0x1e260020,  // fmov    w0, s1
    0xd65f03c0,  // ret
};

bool condition(uint32_t cond, uint64_t nzcv) {
    bool n = nzcv >> 31 & 1, z = nzcv >> 30 & 1, c = nzcv >> 29 & 1, v = nzcv >> 28 & 1, r;
    switch (cond >> 1) {
    case 0: r = z; break;
    case 1: r = c; break;
    case 2: r = n; break;
    case 3: r = v; break;
    case 4: r = c && !z; break;
    case 5: r = n == v; break;
    case 6: r = n == v && !z; break;
    default: r = true; break;
    }
    return (cond & 1) && cond != 15 ? !r : r;
}

// Runs the function in `code` from its first word until ret. SVE words go to their handlers;
// the scalar and Advanced SIMD words that these loops contain are carried out here.
int run(cpu_state& s, const uint32_t* code, size_t n_words, int* sve_executed) {
    size_t pc = 0;
    int steps = 0;
    *sve_executed = 0;
    while (pc < n_words && steps++ < 100000) {
        uint32_t w = code[pc];
        s.pc = 0x400000 + 4 * pc;
        if (sve_handler_t h = get_sve_handler(w)) {
            EXPECT_EQ(h(&s, w), RC_DONE) << std::hex << w;
            ++*sve_executed;
        } else if ((w & 0xFF000010) == 0x54000000) {  // b.cond
            if (condition(w & 15, s.nzcv)) {
                pc += int64_t(int32_t(w << 8) >> 13);
                continue;
            }
        } else if ((w & 0xFFC0001F) == 0x7100001F) {  // cmp wn, #imm12
            uint32_t a = uint32_t(s.x[w >> 5 & 31]), b = w >> 10 & 0xFFF, r = a - b;
            uint64_t f = (uint64_t(r >> 31) << 31) | (uint64_t(r == 0) << 30) | (uint64_t(a >= b) << 29) |
                         (uint64_t(((a ^ b) & (a ^ r)) >> 31) << 28);
            s.nzcv = f;
        } else if ((w & 0xFFE00000) == 0xD2800000) {  // mov xd, #imm16
            s.x[w & 31] = w >> 5 & 0xFFFF;
        } else if ((w & 0xFFE0FC00) == 0x8B000000) {  // add xd, xn, xm
            s.x[w & 31] = s.x[w >> 5 & 31] + s.x[w >> 16 & 31];
        } else if ((w & 0xFFFFFC00) == 0x1E260000) {  // fmov wd, sn
            uint32_t v;
            std::memcpy(&v, s.z[w >> 5 & 31], 4);
            s.x[w & 31] = v;
        } else if ((w & 0xFFFFFFE0) == 0x1E2703E0) {  // fmov sd, wzr: the whole 128-bit register
            std::memset(s.z[w & 31], 0, 16);
        } else if ((w & 0xFFFFFFE0) == 0x2F000400) {  // mvni vd.2s, #0
            std::memset(s.z[w & 31], 0xFF, 8);
            std::memset(s.z[w & 31] + 8, 0, 8);
        } else if (w == 0xD65F03C0) {  // ret
            return int(uint32_t(s.x[0]));
        } else {
            ADD_FAILURE() << "word the interpreter does not know: " << std::hex << w;
            return 0;
        }
        pc++;
    }
    ADD_FAILURE() << "ran off the code";
    return 0;
}

const int lengths[] = {0, 1, 7, 19, 20, 21, 39, 40, 41, 80, 101, 1000};

}  // namespace

TEST(CompiledLoop, SumOfBytes) {
    test_rng rng(21);
    for (int n : lengths) {
        std::vector<uint8_t> a(n + 64);
        for (auto& b : a) b = uint8_t(rng.next());
        int want = 0;
        for (int i = 0; i < n; i++) want += a[i];
        cpu_state s;
        random_state(s, rng);
        s.x[0] = uint64_t(a.data());
        s.x[1] = uint64_t(uint32_t(n)) | 0xABCD00000000ull;  // w1: the upper half is not looked at
        int sve = 0;
        EXPECT_EQ(run(s, sum_u8_words, std::size(sum_u8_words), &sve), want) << "n = " << n;
        // cntw, whilelo, mov, ptrue; ld1b, add, whilelo per iteration of 20 elements; uaddv.
        int iterations = (n + 19) / 20;
        EXPECT_EQ(sve, n > 0 ? 5 + 3 * iterations : 0) << "n = " << n;
    }
}

TEST(CompiledLoop, LastElementAboveThreshold) {
    test_rng rng(22);
    for (int n : lengths)
        for (int t : {-1000, 0, 1 << 30}) {
            std::vector<int32_t> a(n + 32);
            for (auto& x : a) x = int32_t(rng.next() % 2001) - 1000;
            if (n > 2 && t == 0) a[n - 1] = 5;  // a hit in the tail
            int want = -1;
            for (int i = 0; i < n; i++)
                if (a[i] > t) want = i;
            cpu_state s;
            random_state(s, rng);
            s.x[0] = uint64_t(a.data());
            s.x[1] = uint32_t(n);
            s.x[2] = uint32_t(t);
            int sve = 0;
            EXPECT_EQ(run(s, last_above_words, std::size(last_above_words), &sve), want) << "n = " << n << " t = " << t;
        }
}

// Tier agreement of the specialised floating-point rows across FPCR modes, on FP-biased operands.
// On AArch64 the specialised tier runs on the processor's FP unit under a hardware FPCR set to
// the record's fpcr, and the generic tier on the software library: two independent
// implementations. Elsewhere both run the library through different element loops and forms.
#include <gtest/gtest.h>

#include <string>

#include "tests/fpvector/fp_util.h"
#include "tests/support/rows.h"

namespace {

// RMode, FZ, DN, FZ16 and AHP in every combination that matters, plus trap enables (ignored).
uint32_t random_fpcr(test_rng& r) {
    uint32_t c = rmode(int(r.below(4)));
    if (r.below(3) == 0) c |= C_FZ;
    if (r.below(3) == 0) c |= C_DN;
    if (r.below(4) == 0) c |= C_FZ16;
    if (r.below(4) == 0) c |= C_AHP;
    return c;
}

// Values on which a host FP unit can compute the AArch64 result itself: mostly ordinary numbers
// (exact and inexact results, zeros, equal operands), with a few near the bottom and the top of
// the range so that some instructions still take the library.
uint64_t fp_ordinary(test_rng& r, int bytes) {
    int M = bytes == 4 ? 23 : 52;
    uint64_t bias = bytes == 4 ? 127 : 1023, emax = 2 * bias;
    uint64_t sign = uint64_t(r.below(2)) << (bytes * 8 - 1), frac = r.next() & ((1ull << M) - 1);
    auto pack = [&](uint64_t e, uint64_t f) { return sign | e << M | f; };
    switch (r.below(40)) {
    case 0: return sign;                                           // ±0
    case 1: return pack(1 + r.below(2), frac);                     // smallest normals
    case 2: return pack(emax - r.below(2), frac);                  // near overflow
    case 3: return pack(bias / 2 + r.below(4), frac);              // products that underflow
    case 4: case 5: case 6: return pack(bias + r.below(3), 0);     // 1, 2, 4
    default:
        if (r.below(2)) return pack(bias - 4 + r.below(8), frac & ~((1ull << (M - 4)) - 1));  // short mantissas
        return pack(bias - 30 + r.below(60), frac);
    }
}

bool is_host_arith_row(const sve_row_info& r) {
    const std::string n = r.name;
    if (n == "VecF32FromS4VM" || n == "VecS32_4FromFVM" || n == "VecD64ExtndFVM") return true;
    if (n.rfind("VecF32", 0) != 0 && n.rfind("VecD64", 0) != 0) return false;
    for (const char* k : {"AddV", "SubV", "SubRV", "MulVV", "MulVI", "DivV", "DivRV", "SqrtVM", "FMAVVVM", "FMSVVVM",
                          "FNMAVVVM", "FNMSVVVM", "FMADDVVVM", "FMSUBVVVM", "FNMADDVVVM", "FNMSUBVVVM", "Cmp", "MaxVVM",
                          "MaxNumVVM", "MinNumVVM"})
        if (n.find(k) != std::string::npos) return true;
    return false;
}

// Runs every row that `pick` accepts through both tiers, 300 random states each, whose Z
// registers `fill` sets (it gets the row's element size); returns the number of rows.
template <class Pick, class Fill>
int check_tiers(uint64_t seed, Pick&& pick, Fill&& fill) {
    int rows = 0;
    for (const sve_row_info& r : sve_rows) {
        if (!r.generic || !pick(r)) continue;
        rows++;
        test_rng rng(seed + uint64_t(&r - sve_rows));
        std::string name = r.name;
        bool single = name.find("F32") != std::string::npos || name.find("32_4") != std::string::npos;
        int esz_bytes = name.find("F16") != std::string::npos ? 2 : single ? 4 : 8;
        int failures = 0;
        for (int k = 0; k < 300 && failures < 3; k++) {
            cpu_state a;
            fill(a, rng, esz_bytes);
            for (auto& b : a.ffr) b &= 1;
            a.fpcr = random_fpcr(rng);
            a.fpsr = rng.below(4) == 0 ? uint32_t(rng.next()) & 0xF800009Fu : 0;
            cpu_state b = a;
            uint32_t w = sve_row_word(r, uint32_t(rng.next()));
            EXPECT_EQ(run_handler(r.handler, a, w), RC_DONE) << r.name;
            EXPECT_EQ(r.generic(&b, w), RC_DONE) << r.name;
            std::string d = state_diff(a, b, false);
            if (!d.empty()) failures++;
            EXPECT_EQ(d, "") << r.name << " word " << std::hex << w << " fpcr " << b.fpcr << " (specialised vs generic)";
        }
    }
    return rows;
}

}  // namespace

// The same agreement on operands where the specialised tier of a host with a vector FP unit
// keeps its own results (x86-64: whole instructions on SSE), across rounding modes and FZ.
TEST(FpTiers, SpecialisedAndGenericAgreeOnOrdinaryOperands) {
    int rows = check_tiers(0x0DD17000, is_host_arith_row, [](cpu_state& a, test_rng& rng, int bytes) {
        random_state(a, rng);
        for (auto& z : a.z)
            for (int i = 0; i < SVE_VL_BYTES; i += bytes) {
                uint64_t v = fp_ordinary(rng, bytes);
                std::memcpy(z + i, &v, bytes);
            }
    });
    EXPECT_GE(rows, 2 * 27);
}

TEST(FpTiers, SpecialisedAndGenericAgreeAcrossFpcr) {
    int rows = check_tiers(0xF1007000, floating_point_elements, [](cpu_state& a, test_rng& rng, int esz_bytes) {
        int bytes = esz_bytes > 2 && rng.below(3) == 0 ? esz_bytes / 2 : esz_bytes;
        fp_random_state(a, rng, bytes);
    });
    EXPECT_EQ(rows, count_rows([](const sve_row_info& r) { return r.generic && floating_point_elements(r); }));
    std::printf("floating-point tier agreement checked on %d rows\n", rows);
}

// Tier agreement of the specialised floating-point rows across FPCR modes, on FP-biased operands.
// On AArch64 the specialised tier runs on the processor's FP unit under a hardware FPCR set to
// the record's fpcr, and the generic tier on the software library: two independent
// implementations. Elsewhere both run the library through different element loops and forms.
#include <gtest/gtest.h>

#include <string>

#include "tests/fpvector/fp_util.h"

namespace {

bool is_fp_row(const std::string& n) {
    for (const char* k : {"VecF16", "VecF32", "VecD64", "VecF64", "VecH32", "VecH64", "VecS16_", "VecU16_", "VecS32_",
                          "VecU32_", "VecS64_", "VecU64_"})
        if (n.rfind(k, 0) == 0) return true;
    return false;
}

// RMode, FZ, DN, FZ16 and AHP in every combination that matters, plus trap enables (ignored).
uint32_t random_fpcr(test_rng& r) {
    uint32_t c = rmode(int(r.below(4)));
    if (r.below(3) == 0) c |= C_FZ;
    if (r.below(3) == 0) c |= C_DN;
    if (r.below(4) == 0) c |= C_FZ16;
    if (r.below(4) == 0) c |= C_AHP;
    return c;
}

}  // namespace

TEST(FpTiers, SpecialisedAndGenericAgreeAcrossFpcr) {
    int rows = 0;
    for (const sve_row_info& r : sve_rows) {
        if (!r.generic || !is_fp_row(r.name)) continue;
        rows++;
        test_rng rng(0xF1007000 + uint64_t(&r - sve_rows));
        std::string name = r.name;
        int esz_bytes = name.find("F16") != std::string::npos ? 2 : name.find("F32") != std::string::npos ? 4 : 8;
        int failures = 0;
        for (int k = 0; k < 300 && failures < 3; k++) {
            cpu_state a;
            int bytes = esz_bytes > 2 && rng.below(3) == 0 ? esz_bytes / 2 : esz_bytes;
            fp_random_state(a, rng, bytes);
            for (auto& b : a.ffr) b &= 1;
            a.fpcr = random_fpcr(rng);
            a.fpsr = rng.below(4) == 0 ? uint32_t(rng.next()) & 0xF800009Fu : 0;
            cpu_state b = a;
            uint32_t w = sve_row_word(r, uint32_t(rng.next()));
            ASSERT_EQ(run_handler(r.handler, a, w), RC_DONE) << r.name;
            ASSERT_EQ(r.generic(&b, w), RC_DONE) << r.name;
            std::string d = state_diff(a, b, false);
            if (!d.empty()) failures++;
            EXPECT_EQ(d, "") << r.name << " word " << std::hex << w << " fpcr " << b.fpcr << " (specialised vs generic)";
        }
    }
    EXPECT_GT(rows, 0);
    std::printf("floating-point tier agreement checked on %d rows\n", rows);
}

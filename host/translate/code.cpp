// The machine-code side of the translator: the emitter's labels and literals, and the set-up of
// the scratch registers around a run of translated words.
#include <cstring>

#include "host/translate/a64.h"
#include "host/translate/translate.h"

void xl_emitter::branch(uint32_t w, int label) {
    if (nfixups == MAX_FIXUPS) return void(failed = true);
    fixups[nfixups++] = {n, label, false};
    put(w);
}

void xl_emitter::literal_q(uint32_t t, const uint8_t bytes[16]) {
    int k = 0;
    while (k < nliterals && std::memcmp(literals[k], bytes, 16) != 0) k++;
    if (k == nliterals) {
        if (nliterals == MAX_LITERALS) return void(failed = true);
        std::memcpy(literals[nliterals++], bytes, 16);
    }
    if (nfixups == MAX_FIXUPS) return void(failed = true);
    fixups[nfixups++] = {n, k, true};
    put(a64::ldr_q_literal(t, 0));
}

int xl_emitter::finish() {
    int pool = -1;
    if (nliterals) {
        while ((n & 3) != 0) put(0xD503201Fu);  // nop up to 16 bytes (the buffer is 16-aligned)
        pool = n;
        for (int k = 0; k < nliterals; k++)
            for (int i = 0; i < 4; i++) {
                uint32_t w;
                std::memcpy(&w, literals[k] + 4 * i, 4);
                put(w);
            }
    }
    if (failed) return -1;
    for (int i = 0; i < nfixups; i++) {
        const fixup& f = fixups[i];
        int target = f.literal ? pool + 4 * f.label : labels[f.label];
        if (target < 0) return -1;
        int32_t d = target - f.at;
        uint32_t w = out[f.at];
        if ((w & 0xFC000000u) == 0x14000000u) {  // b
            w |= uint32_t(d) & 0x03FFFFFFu;
        } else {  // b.cond, cbz/cbnz, ldr literal: imm19 at bit 5
            if (d < -(1 << 18) || d >= (1 << 18)) return -1;
            w |= (uint32_t(d) & 0x7FFFFu) << 5;
        }
        out[f.at] = w;
    }
    return n;
}

namespace {

// Where the scratch V registers wait below the moved sp, behind the general ones: on the stack
// rather than in the record, so that a signal handler that runs SVE code meanwhile keeps them.
constexpr uint32_t V_SLOTS = 48;
static_assert(V_SLOTS >= 8 * (XL_MAX_G + 1) && V_SLOTS + 16 * XL_MAX_V <= XL_SP_BIAS, "the saves fit the bias");
uint32_t v_slot(int i) { return V_SLOTS + 16 * uint32_t(i); }

// Candidates, the intra-procedure-call registers first, then other caller-saved ones.
constexpr uint32_t G_ORDER[] = {16, 17, 15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0};
constexpr uint32_t V_ORDER[] = {31, 30, 29, 28, 27, 26, 25, 24, 23, 22, 21, 20, 19, 18, 17, 16};

}  // namespace

bool xl_pick_regs(uint32_t uses, int ng, int nv, xl_regs& r) {
    r.ng = ng, r.nv = nv;
    int k = 0;
    uint32_t taken = uses;
    for (uint32_t g : G_ORDER) {
        if (k > ng) break;
        if (taken & (1u << g)) continue;
        taken |= 1u << g;
        if (k == 0) r.rec = g;
        else r.g[k - 1] = g;
        k++;
    }
    if (k <= ng) return false;
    k = 0;
    for (uint32_t v : V_ORDER) {
        if (k == nv) break;
        if (uses & (1u << v)) continue;
        r.v[k++] = v;
    }
    return k == nv;
}

// sp moves down first, so that a signal arriving meanwhile does not overwrite the saved
// registers; the record pointer comes from the thread's TLS word.
void xl_prologue(xl_emitter& e, const xl_regs& r, const xl_env& env) {
    using namespace a64;
    e.put(sub_imm(SP, SP, XL_SP_BIAS));
    uint32_t all[XL_MAX_G + 1] = {r.rec};
    for (int i = 0; i < r.ng; i++) all[i + 1] = r.g[i];
    int n = r.ng + 1;
    for (int i = 0; i < n; i += 2)
        e.put(i + 1 < n ? stp_x(all[i], all[i + 1], SP, 8 * i) : str_x(all[i], SP, uint32_t(8 * i)));
    e.put(mrs_tpidr(r.rec));
    if (env.record_tp >> 12) e.put(add_imm(r.rec, r.rec, (env.record_tp >> 12) & 0xFFF, true));
    e.put(ldr_x(r.rec, r.rec, env.record_tp & 0xFFF));
    for (int i = 0; i < r.nv; i++) e.put(str_q(r.v[i], SP, v_slot(i)));
}

void xl_epilogue(xl_emitter& e, const xl_regs& r, const xl_env&) {
    using namespace a64;
    for (int i = 0; i < r.nv; i++) e.put(ldr_q(r.v[i], SP, v_slot(i)));
    uint32_t all[XL_MAX_G + 1] = {r.rec};
    for (int i = 0; i < r.ng; i++) all[i + 1] = r.g[i];
    int n = r.ng + 1;
    for (int i = 0; i < n; i += 2)
        e.put(i + 1 < n ? ldp_x(all[i], all[i + 1], SP, 8 * i) : ldr_x(all[i], SP, uint32_t(8 * i)));
    e.put(add_imm(SP, SP, XL_SP_BIAS));
}

void xl_undo_setup(const xl_regs& r, uint64_t gpr[32], __uint128_t vregs[32]) {
    const auto* below = reinterpret_cast<const uint64_t*>(gpr[31]);
    for (int i = 0; i < r.nv; i++) std::memcpy(&vregs[r.v[i]], reinterpret_cast<const uint8_t*>(below) + v_slot(i), 16);
    gpr[r.rec] = below[0];
    for (int i = 0; i < r.ng; i++) gpr[r.g[i]] = below[i + 1];
    gpr[31] += XL_SP_BIAS;
}

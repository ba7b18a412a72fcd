// Predicate logic, breaks and partitions: and/bic/eor/orr/orn/nor/nand with and without flags,
// sel, brka/brkb/brkn/brkpa/brkpb, pfirst, pnext, ptrue/ptrues, pfalse, rdffr with a governing
// predicate, and the predicate permutes (rev, punpklo/hi, zip, uzp, trn).
//
// The sequential operations have one core over byte lanes (one byte, 0 or 1, per vector byte):
// the specialised tier runs it on the whole registers, the generic tier on the lanes of a
// PredV spread into bytes.
#include <cstring>
#include <initializer_list>

#include "sve/core/simd.h"
#include "sve/integer/perm_core.h"
#include "sve/integer/pred_flags.h"
#include "sve/integer/pred_ops.h"

namespace {

using namespace permute_core;

constexpr int MAX_LANES = 256;

// Logical operators, on bytes of the specialised tier and on PredV words alike.
struct l_and { template <class T> static T f(T n, T m) { return n & m; } };
struct l_bic { template <class T> static T f(T n, T m) { return n & ~m; } };
struct l_eor { template <class T> static T f(T n, T m) { return n ^ m; } };
struct l_orr { template <class T> static T f(T n, T m) { return n | m; } };
struct l_orn { template <class T> static T f(T n, T m) { return n | ~m; } };
struct l_nor { template <class T> static T f(T n, T m) { return ~(n | m); } };
struct l_nand { template <class T> static T f(T n, T m) { return ~(n & m); } };

// Active bytes get the operation (bit 0), inactive ones 0 (zeroing) or the old byte of Pd.
template <class Op>
aarch64_decode_rc logic_pppp(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn, aarch64_p_reg pm) {
    const bool zeroing = pg.qual == PQ_Z;
    const v16u8 zero = {};
    vgen_reg<v16u8>(s->p[pd.num], [&](int c) {
        v16u8 act = (v16u8)((vload<v16u8>(s->p[pg.num] + 16 * c) & 1) != 0);
        v16u8 r = Op::f(vload<v16u8>(s->p[pn.num] + 16 * c), vload<v16u8>(s->p[pm.num] + 16 * c)) & 1;
        v16u8 old = zeroing ? zero : vload<v16u8>(s->p[pd.num] + 16 * c);
        return (r & act) | (old & ~act);
    });
    return RC_DONE;
}

template <class Op>
PredV logic_gen(const PredV& pg, const PredV& pn, const PredV& pm) {
    PredV r;
    for (int i = 0; i < 4; i++) r.w[i] = Op::f(pn.w[i], pm.w[i]) & pg.w[i];
    return r;
}

// The result of a flag-setting form, tested against the governing predicate at byte granularity.
PredV with_flags(const PredV& pg, const PredV& r, CpuContext* c) {
    PredSetNZCV(pg, r, 8, c);
    return r;
}

// Last lane of n with bit 0 set, or -1.
int last_set(const uint8_t* p, uint32_t n) {
    for (int i = int(n) - 1; i >= 0; i--)
        if (p[i] & 1) return i;
    return -1;
}

// brka (after) / brkb: active lanes true up to the first active lane true in Pn, that lane
// included (brka) or not (brkb). Inactive lanes 0, or the old Pd lane when merging.
void brk_core(uint8_t* d, const uint8_t* old, const uint8_t* pg, const uint8_t* pn, bool merge, bool after, uint32_t n) {
    bool run = true;
    for (uint32_t i = 0; i < n; i++) {
        if (pg[i] & 1) {
            if (!after && run) run = !(pn[i] & 1);
            d[i] = run;
            if (after && run) run = !(pn[i] & 1);
        } else {
            d[i] = merge ? old[i] : 0;
        }
    }
}

// brkn: Pdm stays if Pn is true at the last active lane of Pg, otherwise it is cleared.
bool brkn_keeps(const uint8_t* pg, const uint8_t* pn, uint32_t n) {
    int last = last_set(pg, n);
    return last >= 0 && (pn[last] & 1);
}

// brkpa (after) / brkpb: starts true when Pn is true at the last active lane of Pg, and breaks at
// the first active lane true in Pm, that lane included (brkpa) or not (brkpb).
void brkp_core(uint8_t* d, const uint8_t* pg, const uint8_t* pn, const uint8_t* pm, bool after, uint32_t n) {
    bool run = brkn_keeps(pg, pn, n);
    for (uint32_t i = 0; i < n; i++) {
        if (pg[i] & 1) {
            if (!after && (pm[i] & 1)) run = false;
            d[i] = run;
            if (after && (pm[i] & 1)) run = false;
        } else {
            d[i] = 0;
        }
    }
}

// pnext: the first element active in Pg after the last true element of Pdn (elements of size
// code s, n lanes).
void pnext_core(uint8_t* d, const uint8_t* pdn, const uint8_t* pg, uint32_t s, uint32_t n) {
    uint32_t ne = n >> s, start = 0;
    for (uint32_t e = ne; e > 0; e--)
        if (pdn[(e - 1) << s] & 1) {
            start = e;
            break;
        }
    std::memset(d, 0, n);
    for (uint32_t e = start; e < ne; e++)
        if (pg[e << s] & 1) {
            d[e << s] = 1;
            break;
        }
}

// punpklo / punpkhi: each lane of one half of Pn as a 16-bit slot of the result.
void punpk_core(uint8_t* d, const uint8_t* pn, bool high, uint32_t n) {
    uint32_t h = n / 2, base = high ? h : 0;
    for (uint32_t i = 0; i < h; i++) {
        d[2 * i] = pn[base + i] & 1;
        d[2 * i + 1] = 0;
    }
}

// The lanes of up to four packed predicates as bytes, for the generic tier.
struct lanes {
    uint32_t n;
    uint8_t b[4][MAX_LANES];
    lanes(const CpuContext* c, std::initializer_list<PredV> ps) : n(vl_bytes(c)) {
        int k = 0;
        for (const PredV& p : ps) pred_to_bytes(b[k++], p, n);
    }
    PredV pred(int k) const { return bytes_to_pred(b[k], n); }
};

PredV brk_gen(const PredV& old, const PredV& pg, const PredV& pn, bool merge, bool after, const CpuContext* c) {
    lanes l(c, {old, pg, pn});
    brk_core(l.b[3], l.b[0], l.b[1], l.b[2], merge, after, l.n);
    return l.pred(3);
}

PredV brkn_gen(const PredV& pg, const PredV& pn, const PredV& pdm, const CpuContext* c) {
    lanes l(c, {pg, pn});
    return brkn_keeps(l.b[0], l.b[1], l.n) ? pdm : PredV{{0, 0, 0, 0}};
}

PredV brkp_gen(const PredV& pg, const PredV& pn, const PredV& pm, bool after, const CpuContext* c) {
    lanes l(c, {pg, pn, pm});
    brkp_core(l.b[3], l.b[0], l.b[1], l.b[2], after, l.n);
    return l.pred(3);
}

PredV pnext_gen(const PredV& pdn, const PredV& pg, uint32_t s, CpuContext* c) {
    lanes l(c, {pdn, pg});
    pnext_core(l.b[2], l.b[0], l.b[1], s, l.n);
    PredV r = l.pred(2);
    PredSetNZCV(pg, r, 8 << s, c);
    return r;
}

PredV ptrue_gen(uint64_t pattern, uint32_t s, const CpuContext* c) {
    uint32_t bits = 8u << s;
    return pred_first(VecTrueILength(uint32_t(pattern), elem_count(c, bits)), bits);
}

// Predicate permutes of the generic tier: the same cores on the lanes as element slots.
template <perm_kind K, class T>
PredV permute_pred(const PredV& pn, const PredV& pm, const CpuContext* c) {
    lanes l(c, {pn, pm});
    permute_elems<K, T>(l.b[2], l.b[0], l.b[1], l.n / sizeof(T));
    return l.pred(2);
}

template <class T>
PredV rev_pred(const PredV& pn, const CpuContext* c) {
    lanes l(c, {pn});
    rev_core<T>(l.b[1], l.b[0], l.n / sizeof(T));
    return l.pred(1);
}

PredV punpk_gen(const PredV& pn, bool high, const CpuContext* c) {
    lanes l(c, {pn});
    punpk_core(l.b[1], l.b[0], high, l.n);
    return l.pred(1);
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Specialised operations.
aarch64_decode_rc sve_and_pppp(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn, aarch64_p_reg pm) {
    return logic_pppp<l_and>(s, pd, pg, pn, pm);
}
aarch64_decode_rc sve_bic_pppp(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn, aarch64_p_reg pm) {
    return logic_pppp<l_bic>(s, pd, pg, pn, pm);
}
aarch64_decode_rc sve_eor_pppp(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn, aarch64_p_reg pm) {
    return logic_pppp<l_eor>(s, pd, pg, pn, pm);
}
aarch64_decode_rc sve_orr_pppp(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn, aarch64_p_reg pm) {
    return logic_pppp<l_orr>(s, pd, pg, pn, pm);
}
aarch64_decode_rc sve_nor_pppp(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn, aarch64_p_reg pm) {
    return logic_pppp<l_nor>(s, pd, pg, pn, pm);
}

aarch64_decode_rc sve_sel_pppp(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn, aarch64_p_reg pm) {
    vgen_reg<v16u8>(s->p[pd.num], [&](int c) {
        v16u8 act = (v16u8)((vload<v16u8>(s->p[pg.num] + 16 * c) & 1) != 0);
        return (vload<v16u8>(s->p[pn.num] + 16 * c) & act) | (vload<v16u8>(s->p[pm.num] + 16 * c) & ~act);
    });
    return RC_DONE;
}

aarch64_decode_rc sve_rdffr_pp(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pg) {
    vgen_reg<v16u8>(s->p[pd.num], [&](int c) { return vload<v16u8>(s->ffr + 16 * c) & vload<v16u8>(s->p[pg.num] + 16 * c) & 1; });
    return RC_DONE;
}

aarch64_decode_rc sve_brka_ppp(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn) {
    uint8_t tmp[SVE_VL_BYTES];
    brk_core(tmp, s->p[pd.num], s->p[pg.num], s->p[pn.num], pg.qual == PQ_M, true, SVE_VL_BYTES);
    std::memcpy(s->p[pd.num], tmp, SVE_VL_BYTES);
    return RC_DONE;
}
aarch64_decode_rc sve_brkb_ppp(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn) {
    uint8_t tmp[SVE_VL_BYTES];
    brk_core(tmp, s->p[pd.num], s->p[pg.num], s->p[pn.num], pg.qual == PQ_M, false, SVE_VL_BYTES);
    std::memcpy(s->p[pd.num], tmp, SVE_VL_BYTES);
    return RC_DONE;
}

// brkn and brkns: Pdm is kept or cleared in place; brkns then tests it against all lanes.
static aarch64_decode_rc sve_brkn(cpu_state* s, aarch64_p_reg pdm, aarch64_p_reg pg, aarch64_p_reg pn, bool flags) {
    if (!brkn_keeps(s->p[pg.num], s->p[pn.num], SVE_VL_BYTES)) std::memset(s->p[pdm.num], 0, SVE_VL_BYTES);
    if (flags) {
        char all[SVE_VL_BYTES];
        std::memset(all, 1, SVE_VL_BYTES);
        sve_ptest<signed char>(s, all, (const char*)s->p[pdm.num]);
    }
    return RC_DONE;
}
aarch64_decode_rc sve_brkn_ppp(cpu_state* s, aarch64_p_reg pdm, aarch64_p_reg pg, aarch64_p_reg pn) {
    return sve_brkn(s, pdm, pg, pn, false);
}
aarch64_decode_rc sve_brkns_ppp(cpu_state* s, aarch64_p_reg pdm, aarch64_p_reg pg, aarch64_p_reg pn) {
    return sve_brkn(s, pdm, pg, pn, true);
}

static aarch64_decode_rc sve_brkpb(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn, aarch64_p_reg pm, bool flags) {
    uint8_t tmp[SVE_VL_BYTES];
    brkp_core(tmp, s->p[pg.num], s->p[pn.num], s->p[pm.num], false, SVE_VL_BYTES);
    if (flags) sve_ptest<signed char>(s, (const char*)s->p[pg.num], (const char*)tmp);
    std::memcpy(s->p[pd.num], tmp, SVE_VL_BYTES);
    return RC_DONE;
}
aarch64_decode_rc sve_brkpb_pppp(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn, aarch64_p_reg pm) {
    return sve_brkpb(s, pd, pg, pn, pm, false);
}
aarch64_decode_rc sve_brkpbs_pppp(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pg, aarch64_p_reg pn, aarch64_p_reg pm) {
    return sve_brkpb(s, pd, pg, pn, pm, true);
}

aarch64_decode_rc sve_pfalse_p(cpu_state* s, aarch64_p_reg pd) {
    std::memset(s->p[pd.num], 0, SVE_VL_BYTES);
    return RC_DONE;
}

aarch64_decode_rc sve_ptrue_pi(cpu_state* s, aarch64_p_reg pd, uint64_t pattern) {
    fill_first(s->p[pd.num], VecTrueILength(pattern, SVE_VL_BYTES >> pd.qual), pd.qual);
    return RC_DONE;
}

aarch64_decode_rc sve_pnext_pp(cpu_state* s, aarch64_p_reg pdn, aarch64_p_reg pg) {
    uint8_t tmp[SVE_VL_BYTES];
    uint32_t size = pdn.tied_qual[0];
    pnext_core(tmp, s->p[pdn.num], s->p[pg.num], size, SVE_VL_BYTES);
    const char *g = (const char*)s->p[pg.num], *r = (const char*)tmp;
    switch (size) {
    case ES_BYTE: sve_ptest<signed char>(s, g, r); break;
    case ES_HALF: sve_ptest<short>(s, g, r); break;
    case ES_WORD: sve_ptest<int>(s, g, r); break;
    default: sve_ptest<long>(s, g, r); break;
    }
    std::memcpy(s->p[pdn.num], tmp, SVE_VL_BYTES);
    return RC_DONE;
}

aarch64_decode_rc sve_rev_pp(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pn) {
    rev_regs(s->p[pd.num], s->p[pn.num], pd.qual);
    return RC_DONE;
}

aarch64_decode_rc sve_punpklo_pp(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pn) {
    uint8_t tmp[SVE_VL_BYTES];
    punpk_core(tmp, s->p[pn.num], false, SVE_VL_BYTES);
    std::memcpy(s->p[pd.num], tmp, SVE_VL_BYTES);
    return RC_DONE;
}
aarch64_decode_rc sve_punpkhi_pp(cpu_state* s, aarch64_p_reg pd, aarch64_p_reg pn) {
    uint8_t tmp[SVE_VL_BYTES];
    punpk_core(tmp, s->p[pn.num], true, SVE_VL_BYTES);
    std::memcpy(s->p[pd.num], tmp, SVE_VL_BYTES);
    return RC_DONE;
}

PCORE_PERMUTE_OP(sve_zip1_ppp, aarch64_p_reg, p, ZIP1)
PCORE_PERMUTE_OP(sve_zip2_ppp, aarch64_p_reg, p, ZIP2)
PCORE_PERMUTE_OP(sve_uzp1_ppp, aarch64_p_reg, p, UZP1)

// ---------------------------------------------------------------------------------------------
// Generic functions.
#define PL_DEF_LOGIC(Name, Op)                                                                                  \
    PredV VecP##Name##PPZ(PredV pg, PredV pn, PredV pm, CpuContext*) { return logic_gen<Op>(pg, pn, pm); }       \
    PredV VecP##Name##FlgPPZ(PredV pg, PredV pn, PredV pm, CpuContext* c) {                                     \
        return with_flags(pg, logic_gen<Op>(pg, pn, pm), c);                                                    \
    }
PL_DEF_LOGIC(And, l_and)
PL_DEF_LOGIC(Bic, l_bic)
PL_DEF_LOGIC(Xor, l_eor)
PL_DEF_LOGIC(Or, l_orr)
PL_DEF_LOGIC(OrN, l_orn)
PL_DEF_LOGIC(Nor, l_nor)
PL_DEF_LOGIC(Nand, l_nand)

PredV VecPSelPP(PredV pg, PredV pn, PredV pm, CpuContext*) {
    PredV r;
    for (int i = 0; i < 4; i++) r.w[i] = (pn.w[i] & pg.w[i]) | (pm.w[i] & ~pg.w[i]);
    return r;
}

PredV VecPActualP(PredV pg, CpuContext* c) { return logic_gen<l_and>(pg, c->ffr, pg); }
PredV VecPActualFlgP(PredV pg, CpuContext* c) { return with_flags(pg, VecPActualP(pg, c), c); }

PredV VecPBreakAPZ(PredV pg, PredV pn, CpuContext* c) { return brk_gen(pg, pg, pn, false, true, c); }
PredV VecPBreakBPZ(PredV pg, PredV pn, CpuContext* c) { return brk_gen(pg, pg, pn, false, false, c); }
PredV VecPBreakAPM(PredV pd, PredV pg, PredV pn, CpuContext* c) { return brk_gen(pd, pg, pn, true, true, c); }
PredV VecPBreakBPM(PredV pd, PredV pg, PredV pn, CpuContext* c) { return brk_gen(pd, pg, pn, true, false, c); }
PredV VecPBreakAFlgPZ(PredV pg, PredV pn, CpuContext* c) { return with_flags(pg, VecPBreakAPZ(pg, pn, c), c); }
PredV VecPBreakBFlgPZ(PredV pg, PredV pn, CpuContext* c) { return with_flags(pg, VecPBreakBPZ(pg, pn, c), c); }
PredV VecPBreakNextPZ(PredV pg, PredV pn, PredV pdm, CpuContext* c) { return brkn_gen(pg, pn, pdm, c); }
PredV VecPBreakNextFlgPZ(PredV pg, PredV pn, PredV pdm, CpuContext* c) {
    return with_flags(pred_all(c), brkn_gen(pg, pn, pdm, c), c);
}
PredV VecPBreakPrevAPZ(PredV pg, PredV pn, PredV pm, CpuContext* c) { return brkp_gen(pg, pn, pm, true, c); }
PredV VecPBreakPrevBPZ(PredV pg, PredV pn, PredV pm, CpuContext* c) { return brkp_gen(pg, pn, pm, false, c); }
PredV VecPBreakPrevAFlgPZ(PredV pg, PredV pn, PredV pm, CpuContext* c) {
    return with_flags(pg, brkp_gen(pg, pn, pm, true, c), c);
}
PredV VecPBreakPrevBFlgPZ(PredV pg, PredV pn, PredV pm, CpuContext* c) {
    return with_flags(pg, brkp_gen(pg, pn, pm, false, c), c);
}

PredV VecPFalse(CpuContext*) { return PredV{{0, 0, 0, 0}}; }

PredV VecPSetFirstActiveP(PredV pg, PredV pdn, CpuContext* c) {
    PredV r = pdn;
    int first = FindFirstActive(pg, 8, c);
    if (first >= 0) pred_set(r, uint32_t(first), 8, true);
    return with_flags(pg, r, c);
}

PredV VecPUnpackLoP(PredV pn, CpuContext* c) { return punpk_gen(pn, false, c); }
PredV VecPUnpackHiP(PredV pn, CpuContext* c) { return punpk_gen(pn, true, c); }

#define PL_DEF_SIZED(T, E)                                                                                          \
    PredV Vec##T##TrueI(uint64_t pattern, CpuContext* c) { return ptrue_gen(pattern, E, c); }                        \
    PredV Vec##T##TrueFlgI(uint64_t pattern, CpuContext* c) {                                                       \
        PredV r = ptrue_gen(pattern, E, c);                                                                         \
        PredSetNZCV(r, r, 8 << E, c);                                                                               \
        return r;                                                                                                   \
    }                                                                                                               \
    PredV Vec##T##GenNextP(PredV pdn, PredV pg, CpuContext* c) { return pnext_gen(pdn, pg, E, c); }                  \
    PredV Vec##T##ReverseP(PredV pn, CpuContext* c) { return rev_pred<elem_t<E>>(pn, c); }                           \
    PredV Vec##T##Zip1PP(PredV pn, PredV pm, CpuContext* c) { return permute_pred<ZIP1, elem_t<E>>(pn, pm, c); }     \
    PredV Vec##T##Zip2PP(PredV pn, PredV pm, CpuContext* c) { return permute_pred<ZIP2, elem_t<E>>(pn, pm, c); }     \
    PredV Vec##T##Uzp1PP(PredV pn, PredV pm, CpuContext* c) { return permute_pred<UZP1, elem_t<E>>(pn, pm, c); }     \
    PredV Vec##T##Uzp2PP(PredV pn, PredV pm, CpuContext* c) { return permute_pred<UZP2, elem_t<E>>(pn, pm, c); }     \
    PredV Vec##T##Trn1PP(PredV pn, PredV pm, CpuContext* c) { return permute_pred<TRN1, elem_t<E>>(pn, pm, c); }     \
    PredV Vec##T##Trn2PP(PredV pn, PredV pm, CpuContext* c) { return permute_pred<TRN2, elem_t<E>>(pn, pm, c); }
PRED_P_TYPES(PL_DEF_SIZED)

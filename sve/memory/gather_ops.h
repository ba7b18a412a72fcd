// Gathers and scatters (a vector of addresses or of offsets), first-fault gathers, structure
// loads and stores, non-fault and first-fault contiguous loads, and the FFR instructions: the
// operations of both tiers and the operand forms of their handlers.
#pragma once

#include <cstdint>

#include "sve/core/forms.h"

// Address forms of gathers and scatters. On 32-bit lanes an offset or base is the 32-bit lane,
// zero-extended unless the form sign-extends; on 64-bit lanes VS, SV and VI use all 64 bits and
// the X and Y forms the low 32 bits, sign- and zero-extended. The S forms scale the offset by
// the memory element; VI adds imm * memory element to a vector of bases.
enum sve_addr_form : int { VI, VS, XVS, YVS, SV, XSV, YSV };

// Gathers and scatters: Zt 4:0, Pg 12:10, and Zn 9:5 with imm5 20:16 (vector plus immediate),
// or Xn|sp 9:5 with Zm 20:16 (scalar plus vector). zpzr and zprz differ in argument order only.
using sf_gather_zpzi = sf::sform<sf::Z<0>, sf::P<10, 3, PQ_Z>, sf::Z<5>, sf::UImm<16, 5>>;
using sf_gather_zpzr = sf::sform<sf::Z<0>, sf::P<10, 3, PQ_Z>, sf::Z<16>, sf::Rsp<5>>;
using sf_gather_zprz = sf::sform<sf::Z<0>, sf::P<10, 3, PQ_Z>, sf::Rsp<5>, sf::Z<16>>;
using sf_scatter_zpzi = sf::sform<sf::Z<0>, sf::P<10, 3, PQ_BARE>, sf::Z<5>, sf::UImm<16, 5>>;
using sf_scatter_zpzr = sf::sform<sf::Z<0>, sf::P<10, 3, PQ_BARE>, sf::Z<16>, sf::Rsp<5>>;
using sf_scatter_zprz = sf::sform<sf::Z<0>, sf::P<10, 3, PQ_BARE>, sf::Rsp<5>, sf::Z<16>>;
using gf_gather_zpzi = sf::gform<sf::DZ<0>, sf::P<10, 3, PQ_Z>, sf::Z<5>, sf::UImm<16, 5>>;
using gf_gather_zpzr = sf::gform<sf::DZ<0>, sf::P<10, 3, PQ_Z>, sf::Z<16>, sf::Rsp<5>>;
using gf_gather_zprz = sf::gform<sf::DZ<0>, sf::P<10, 3, PQ_Z>, sf::Rsp<5>, sf::Z<16>>;
using gf_scatter_zpzi = sf::gform<sf::DNone, sf::Z<0>, sf::P<10, 3, PQ_BARE>, sf::Z<5>, sf::UImm<16, 5>>;
using gf_scatter_zpzr = sf::gform<sf::DNone, sf::Z<0>, sf::P<10, 3, PQ_BARE>, sf::Z<16>, sf::Rsp<5>>;
using gf_scatter_zprz = sf::gform<sf::DNone, sf::Z<0>, sf::P<10, 3, PQ_BARE>, sf::Rsp<5>, sf::Z<16>>;

#define SVE_GATHER_LOADS(X) \
    X(sve_ld1sb_s_zpzi, VecS32Load1VIZ, int8_t, uint32_t, VI) \
    X(sve_ld1sb_s_uxtw_zpzr, VecS32Load1VSZ, int8_t, uint32_t, VS) \
    X(sve_ld1sb_s_sxtw_zpzr, VecS32Load1XVSZ, int8_t, uint32_t, XVS) \
    X(sve_ld1sh_s_uxtw_scaled_zprz, VecS32Load2SVZ, int16_t, uint32_t, SV) \
    X(sve_ld1sh_s_zpzi, VecS32Load2VIZ, int16_t, uint32_t, VI) \
    X(sve_ld1sh_s_uxtw_zpzr, VecS32Load2VSZ, int16_t, uint32_t, VS) \
    X(sve_ld1sh_s_sxtw_scaled_zprz, VecS32Load2XSVZ, int16_t, uint32_t, XSV) \
    X(sve_ld1sh_s_sxtw_zpzr, VecS32Load2XVSZ, int16_t, uint32_t, XVS) \
    X(sve_ld1sb_d_zpzi, VecS64Load1VIZ, int8_t, uint64_t, VI) \
    X(sve_ld1sb_d_zpzr, VecS64Load1VSZ, int8_t, uint64_t, VS) \
    X(sve_ld1sb_d_sxtw_zpzr, VecS64Load1XVSZ, int8_t, uint64_t, XVS) \
    X(sve_ld1sb_d_uxtw_zpzr, VecS64Load1YVSZ, int8_t, uint64_t, YVS) \
    X(sve_ld1sh_d_scaled_zprz, VecS64Load2SVZ, int16_t, uint64_t, SV) \
    X(sve_ld1sh_d_zpzi, VecS64Load2VIZ, int16_t, uint64_t, VI) \
    X(sve_ld1sh_d_zpzr, VecS64Load2VSZ, int16_t, uint64_t, VS) \
    X(sve_ld1sh_d_sxtw_scaled_zprz, VecS64Load2XSVZ, int16_t, uint64_t, XSV) \
    X(sve_ld1sh_d_sxtw_zpzr, VecS64Load2XVSZ, int16_t, uint64_t, XVS) \
    X(sve_ld1sh_d_uxtw_scaled_zprz, VecS64Load2YSVZ, int16_t, uint64_t, YSV) \
    X(sve_ld1sh_d_uxtw_zpzr, VecS64Load2YVSZ, int16_t, uint64_t, YVS) \
    X(sve_ld1sw_d_scaled_zprz, VecS64Load4SVZ, int32_t, uint64_t, SV) \
    X(sve_ld1sw_d_zpzi, VecS64Load4VIZ, int32_t, uint64_t, VI) \
    X(sve_ld1sw_d_zpzr, VecS64Load4VSZ, int32_t, uint64_t, VS) \
    X(sve_ld1sw_d_sxtw_scaled_zprz, VecS64Load4XSVZ, int32_t, uint64_t, XSV) \
    X(sve_ld1sw_d_sxtw_zpzr, VecS64Load4XVSZ, int32_t, uint64_t, XVS) \
    X(sve_ld1sw_d_uxtw_scaled_zprz, VecS64Load4YSVZ, int32_t, uint64_t, YSV) \
    X(sve_ld1sw_d_uxtw_zpzr, VecS64Load4YVSZ, int32_t, uint64_t, YVS) \
    X(sve_ld1b_s_zpzi, VecU32Load1VIZ, uint8_t, uint32_t, VI) \
    X(sve_ld1b_s_uxtw_zpzr, VecU32Load1VSZ, uint8_t, uint32_t, VS) \
    X(sve_ld1b_s_sxtw_zpzr, VecU32Load1XVSZ, uint8_t, uint32_t, XVS) \
    X(sve_ld1h_s_uxtw_scaled_zprz, VecU32Load2SVZ, uint16_t, uint32_t, SV) \
    X(sve_ld1h_s_zpzi, VecU32Load2VIZ, uint16_t, uint32_t, VI) \
    X(sve_ld1h_s_uxtw_zpzr, VecU32Load2VSZ, uint16_t, uint32_t, VS) \
    X(sve_ld1h_s_sxtw_scaled_zprz, VecU32Load2XSVZ, uint16_t, uint32_t, XSV) \
    X(sve_ld1h_s_sxtw_zpzr, VecU32Load2XVSZ, uint16_t, uint32_t, XVS) \
    X(sve_ld1w_uxtw_scaled_zprz, VecU32Load4SVZ, uint32_t, uint32_t, SV) \
    X(sve_ld1w_zpzi, VecU32Load4VIZ, uint32_t, uint32_t, VI) \
    X(sve_ld1w_uxtw_zpzr, VecU32Load4VSZ, uint32_t, uint32_t, VS) \
    X(sve_ld1w_sxtw_scaled_zprz, VecU32Load4XSVZ, uint32_t, uint32_t, XSV) \
    X(sve_ld1w_sxtw_zpzr, VecU32Load4XVSZ, uint32_t, uint32_t, XVS) \
    X(sve_ld1b_d_zpzi, VecU64Load1VIZ, uint8_t, uint64_t, VI) \
    X(sve_ld1b_d_zpzr, VecU64Load1VSZ, uint8_t, uint64_t, VS) \
    X(sve_ld1b_d_sxtw_zpzr, VecU64Load1XVSZ, uint8_t, uint64_t, XVS) \
    X(sve_ld1b_d_uxtw_zpzr, VecU64Load1YVSZ, uint8_t, uint64_t, YVS) \
    X(sve_ld1h_d_scaled_zprz, VecU64Load2SVZ, uint16_t, uint64_t, SV) \
    X(sve_ld1h_d_zpzi, VecU64Load2VIZ, uint16_t, uint64_t, VI) \
    X(sve_ld1h_d_zpzr, VecU64Load2VSZ, uint16_t, uint64_t, VS) \
    X(sve_ld1h_d_sxtw_scaled_zprz, VecU64Load2XSVZ, uint16_t, uint64_t, XSV) \
    X(sve_ld1h_d_sxtw_zpzr, VecU64Load2XVSZ, uint16_t, uint64_t, XVS) \
    X(sve_ld1h_d_uxtw_scaled_zprz, VecU64Load2YSVZ, uint16_t, uint64_t, YSV) \
    X(sve_ld1h_d_uxtw_zpzr, VecU64Load2YVSZ, uint16_t, uint64_t, YVS) \
    X(sve_ld1w_d_scaled_zprz, VecU64Load4SVZ, uint32_t, uint64_t, SV) \
    X(sve_ld1w_d_zpzi, VecU64Load4VIZ, uint32_t, uint64_t, VI) \
    X(sve_ld1w_d_zpzr, VecU64Load4VSZ, uint32_t, uint64_t, VS) \
    X(sve_ld1w_d_sxtw_scaled_zprz, VecU64Load4XSVZ, uint32_t, uint64_t, XSV) \
    X(sve_ld1w_d_sxtw_zpzr, VecU64Load4XVSZ, uint32_t, uint64_t, XVS) \
    X(sve_ld1w_d_uxtw_scaled_zprz, VecU64Load4YSVZ, uint32_t, uint64_t, YSV) \
    X(sve_ld1w_d_uxtw_zpzr, VecU64Load4YVSZ, uint32_t, uint64_t, YVS) \
    X(sve_ld1d_scaled_zprz, VecU64Load8SVZ, uint64_t, uint64_t, SV) \
    X(sve_ld1d_zpzi, VecU64Load8VIZ, uint64_t, uint64_t, VI) \
    X(sve_ld1d_zpzr, VecU64Load8VSZ, uint64_t, uint64_t, VS) \
    X(sve_ld1d_sxtw_scaled_zprz, VecU64Load8XSVZ, uint64_t, uint64_t, XSV) \
    X(sve_ld1d_sxtw_zpzr, VecU64Load8XVSZ, uint64_t, uint64_t, XVS) \
    X(sve_ld1d_uxtw_scaled_zprz, VecU64Load8YSVZ, uint64_t, uint64_t, YSV) \
    X(sve_ld1d_uxtw_zpzr, VecU64Load8YVSZ, uint64_t, uint64_t, YVS)

#define SVE_SCATTER_STORES(X) \
    X(sve_st1b_s_zpzi, VecU32Store1VIZ, uint8_t, uint32_t, VI) \
    X(sve_st1b_s_uxtw_zpzr, VecU32Store1VSZ, uint8_t, uint32_t, VS) \
    X(sve_st1b_s_sxtw_zpzr, VecU32Store1XVSZ, uint8_t, uint32_t, XVS) \
    X(sve_st1h_s_uxtw_scaled_zprz, VecU32Store2SVZ, uint16_t, uint32_t, SV) \
    X(sve_st1h_s_zpzi, VecU32Store2VIZ, uint16_t, uint32_t, VI) \
    X(sve_st1h_s_uxtw_zpzr, VecU32Store2VSZ, uint16_t, uint32_t, VS) \
    X(sve_st1h_s_sxtw_scaled_zprz, VecU32Store2XSVZ, uint16_t, uint32_t, XSV) \
    X(sve_st1h_s_sxtw_zpzr, VecU32Store2XVSZ, uint16_t, uint32_t, XVS) \
    X(sve_st1w_uxtw_scaled_zprz, VecU32Store4SVZ, uint32_t, uint32_t, SV) \
    X(sve_st1w_zpzi, VecU32Store4VIZ, uint32_t, uint32_t, VI) \
    X(sve_st1w_uxtw_zpzr, VecU32Store4VSZ, uint32_t, uint32_t, VS) \
    X(sve_st1w_sxtw_scaled_zprz, VecU32Store4XSVZ, uint32_t, uint32_t, XSV) \
    X(sve_st1w_sxtw_zpzr, VecU32Store4XVSZ, uint32_t, uint32_t, XVS) \
    X(sve_st1b_d_zpzi, VecU64Store1VIZ, uint8_t, uint64_t, VI) \
    X(sve_st1b_d_zpzr, VecU64Store1VSZ, uint8_t, uint64_t, VS) \
    X(sve_st1b_d_sxtw_zpzr, VecU64Store1XVSZ, uint8_t, uint64_t, XVS) \
    X(sve_st1b_d_uxtw_zpzr, VecU64Store1YVSZ, uint8_t, uint64_t, YVS) \
    X(sve_st1h_d_scaled_zprz, VecU64Store2SVZ, uint16_t, uint64_t, SV) \
    X(sve_st1h_d_zpzi, VecU64Store2VIZ, uint16_t, uint64_t, VI) \
    X(sve_st1h_d_zpzr, VecU64Store2VSZ, uint16_t, uint64_t, VS) \
    X(sve_st1h_d_sxtw_scaled_zprz, VecU64Store2XSVZ, uint16_t, uint64_t, XSV) \
    X(sve_st1h_d_sxtw_zpzr, VecU64Store2XVSZ, uint16_t, uint64_t, XVS) \
    X(sve_st1h_d_uxtw_scaled_zprz, VecU64Store2YSVZ, uint16_t, uint64_t, YSV) \
    X(sve_st1h_d_uxtw_zpzr, VecU64Store2YVSZ, uint16_t, uint64_t, YVS) \
    X(sve_st1w_d_scaled_zprz, VecU64Store4SVZ, uint32_t, uint64_t, SV) \
    X(sve_st1w_d_zpzi, VecU64Store4VIZ, uint32_t, uint64_t, VI) \
    X(sve_st1w_d_zpzr, VecU64Store4VSZ, uint32_t, uint64_t, VS) \
    X(sve_st1w_d_sxtw_scaled_zprz, VecU64Store4XSVZ, uint32_t, uint64_t, XSV) \
    X(sve_st1w_d_sxtw_zpzr, VecU64Store4XVSZ, uint32_t, uint64_t, XVS) \
    X(sve_st1w_d_uxtw_scaled_zprz, VecU64Store4YSVZ, uint32_t, uint64_t, YSV) \
    X(sve_st1w_d_uxtw_zpzr, VecU64Store4YVSZ, uint32_t, uint64_t, YVS) \
    X(sve_st1d_scaled_zprz, VecU64Store8SVZ, uint64_t, uint64_t, SV) \
    X(sve_st1d_zpzi, VecU64Store8VIZ, uint64_t, uint64_t, VI) \
    X(sve_st1d_zpzr, VecU64Store8VSZ, uint64_t, uint64_t, VS) \
    X(sve_st1d_sxtw_scaled_zprz, VecU64Store8XSVZ, uint64_t, uint64_t, XSV) \
    X(sve_st1d_sxtw_zpzr, VecU64Store8XVSZ, uint64_t, uint64_t, XVS) \
    X(sve_st1d_uxtw_scaled_zprz, VecU64Store8YSVZ, uint64_t, uint64_t, YSV) \
    X(sve_st1d_uxtw_zpzr, VecU64Store8YVSZ, uint64_t, uint64_t, YVS)

#define SVE_FIRST_FAULT_GATHERS(X) \
    X(VecS32LoadFF1VIZ, int8_t, uint32_t, VI) \
    X(VecS32LoadFF1VSZ, int8_t, uint32_t, VS) \
    X(VecS32LoadFF1XVSZ, int8_t, uint32_t, XVS) \
    X(VecS32LoadFF2SVZ, int16_t, uint32_t, SV) \
    X(VecS32LoadFF2VIZ, int16_t, uint32_t, VI) \
    X(VecS32LoadFF2VSZ, int16_t, uint32_t, VS) \
    X(VecS32LoadFF2XSVZ, int16_t, uint32_t, XSV) \
    X(VecS32LoadFF2XVSZ, int16_t, uint32_t, XVS) \
    X(VecS64LoadFF1VIZ, int8_t, uint64_t, VI) \
    X(VecS64LoadFF1VSZ, int8_t, uint64_t, VS) \
    X(VecS64LoadFF1XVSZ, int8_t, uint64_t, XVS) \
    X(VecS64LoadFF1YVSZ, int8_t, uint64_t, YVS) \
    X(VecS64LoadFF2SVZ, int16_t, uint64_t, SV) \
    X(VecS64LoadFF2VIZ, int16_t, uint64_t, VI) \
    X(VecS64LoadFF2VSZ, int16_t, uint64_t, VS) \
    X(VecS64LoadFF2XSVZ, int16_t, uint64_t, XSV) \
    X(VecS64LoadFF2XVSZ, int16_t, uint64_t, XVS) \
    X(VecS64LoadFF2YSVZ, int16_t, uint64_t, YSV) \
    X(VecS64LoadFF2YVSZ, int16_t, uint64_t, YVS) \
    X(VecS64LoadFF4SVZ, int32_t, uint64_t, SV) \
    X(VecS64LoadFF4VIZ, int32_t, uint64_t, VI) \
    X(VecS64LoadFF4VSZ, int32_t, uint64_t, VS) \
    X(VecS64LoadFF4XSVZ, int32_t, uint64_t, XSV) \
    X(VecS64LoadFF4XVSZ, int32_t, uint64_t, XVS) \
    X(VecS64LoadFF4YSVZ, int32_t, uint64_t, YSV) \
    X(VecS64LoadFF4YVSZ, int32_t, uint64_t, YVS) \
    X(VecU32LoadFF1VIZ, uint8_t, uint32_t, VI) \
    X(VecU32LoadFF1VSZ, uint8_t, uint32_t, VS) \
    X(VecU32LoadFF1XVSZ, uint8_t, uint32_t, XVS) \
    X(VecU32LoadFF2SVZ, uint16_t, uint32_t, SV) \
    X(VecU32LoadFF2VIZ, uint16_t, uint32_t, VI) \
    X(VecU32LoadFF2VSZ, uint16_t, uint32_t, VS) \
    X(VecU32LoadFF2XSVZ, uint16_t, uint32_t, XSV) \
    X(VecU32LoadFF2XVSZ, uint16_t, uint32_t, XVS) \
    X(VecU32LoadFF4SVZ, uint32_t, uint32_t, SV) \
    X(VecU32LoadFF4VIZ, uint32_t, uint32_t, VI) \
    X(VecU32LoadFF4VSZ, uint32_t, uint32_t, VS) \
    X(VecU32LoadFF4XSVZ, uint32_t, uint32_t, XSV) \
    X(VecU32LoadFF4XVSZ, uint32_t, uint32_t, XVS) \
    X(VecU64LoadFF1VIZ, uint8_t, uint64_t, VI) \
    X(VecU64LoadFF1VSZ, uint8_t, uint64_t, VS) \
    X(VecU64LoadFF1XVSZ, uint8_t, uint64_t, XVS) \
    X(VecU64LoadFF1YVSZ, uint8_t, uint64_t, YVS) \
    X(VecU64LoadFF2SVZ, uint16_t, uint64_t, SV) \
    X(VecU64LoadFF2VIZ, uint16_t, uint64_t, VI) \
    X(VecU64LoadFF2VSZ, uint16_t, uint64_t, VS) \
    X(VecU64LoadFF2XSVZ, uint16_t, uint64_t, XSV) \
    X(VecU64LoadFF2XVSZ, uint16_t, uint64_t, XVS) \
    X(VecU64LoadFF2YSVZ, uint16_t, uint64_t, YSV) \
    X(VecU64LoadFF2YVSZ, uint16_t, uint64_t, YVS) \
    X(VecU64LoadFF4SVZ, uint32_t, uint64_t, SV) \
    X(VecU64LoadFF4VIZ, uint32_t, uint64_t, VI) \
    X(VecU64LoadFF4VSZ, uint32_t, uint64_t, VS) \
    X(VecU64LoadFF4XSVZ, uint32_t, uint64_t, XSV) \
    X(VecU64LoadFF4XVSZ, uint32_t, uint64_t, XVS) \
    X(VecU64LoadFF4YSVZ, uint32_t, uint64_t, YSV) \
    X(VecU64LoadFF4YVSZ, uint32_t, uint64_t, YVS) \
    X(VecU64LoadFF8SVZ, uint64_t, uint64_t, SV) \
    X(VecU64LoadFF8VIZ, uint64_t, uint64_t, VI) \
    X(VecU64LoadFF8VSZ, uint64_t, uint64_t, VS) \
    X(VecU64LoadFF8XSVZ, uint64_t, uint64_t, XSV) \
    X(VecU64LoadFF8XVSZ, uint64_t, uint64_t, XVS) \
    X(VecU64LoadFF8YSVZ, uint64_t, uint64_t, YSV) \
    X(VecU64LoadFF8YVSZ, uint64_t, uint64_t, YVS)

// Declarations by address form: the specialised operation and the generic function of a stem.
#define SVE_GATHER_ARGS_VI(X) aarch64_z_reg zn, unsigned int imm
#define SVE_GATHER_ARGS_VS(X) aarch64_z_reg zm, aarch64_i_rsp_reg xn
#define SVE_GATHER_ARGS_XVS SVE_GATHER_ARGS_VS
#define SVE_GATHER_ARGS_YVS SVE_GATHER_ARGS_VS
#define SVE_GATHER_ARGS_SV(X) aarch64_i_rsp_reg xn, aarch64_z_reg zm
#define SVE_GATHER_ARGS_XSV SVE_GATHER_ARGS_SV
#define SVE_GATHER_ARGS_YSV SVE_GATHER_ARGS_SV
#define SVE_GATHER_GARGS_VI(X) VecV zn, uint64_t imm
#define SVE_GATHER_GARGS_VS(X) VecV zm, uint64_t xn
#define SVE_GATHER_GARGS_XVS SVE_GATHER_GARGS_VS
#define SVE_GATHER_GARGS_YVS SVE_GATHER_GARGS_VS
#define SVE_GATHER_GARGS_SV(X) uint64_t xn, VecV zm
#define SVE_GATHER_GARGS_XSV SVE_GATHER_GARGS_SV
#define SVE_GATHER_GARGS_YSV SVE_GATHER_GARGS_SV

#define SVE_DECLARE_GATHER(op, stem, T, U, F)                                                         \
    aarch64_decode_rc op(cpu_state* s, aarch64_z_reg zt, aarch64_p_reg pg, SVE_GATHER_ARGS_##F(_)); \
    VecV stem(PredV pg, SVE_GATHER_GARGS_##F(_), CpuContext* c);
#define SVE_DECLARE_SCATTER(op, stem, T, U, F)                                                        \
    aarch64_decode_rc op(cpu_state* s, aarch64_z_reg zt, aarch64_p_reg pg, SVE_GATHER_ARGS_##F(_)); \
    void stem(VecV zt, PredV pg, SVE_GATHER_GARGS_##F(_), CpuContext* c);
#define SVE_DECLARE_FIRST_FAULT_GATHER(stem, T, U, F) VecV stem(PredV pg, SVE_GATHER_GARGS_##F(_), CpuContext* c);

SVE_GATHER_LOADS(SVE_DECLARE_GATHER)
SVE_SCATTER_STORES(SVE_DECLARE_SCATTER)
SVE_FIRST_FAULT_GATHERS(SVE_DECLARE_FIRST_FAULT_GATHER)

// Structure loads and stores (ld2..ld4, st2..st4): N registers from Zt, wrapping after z31, and
// N elements side by side in memory for each lane. The operations are wrappers of two templates
// whose last argument is an offset in elements from Xn.
template <class T, class U, int N>
aarch64_decode_rc sve_ldN_zpri(cpu_state* s, aarch64_z_reg zt, aarch64_p_reg pg, aarch64_i_rsp_reg xn,
                               int64_t offset);
template <class T, class U, int N>
aarch64_decode_rc sve_stN_zpri(cpu_state* s, aarch64_z_reg zt, aarch64_p_reg pg, aarch64_i_rsp_reg xn,
                               int64_t offset);

// N vectors as one value of the generic tier.
template <int N>
struct VecList {
    VecV v[N];
};

namespace sf {
// The register list Zt, Zt+1, ... Zt+N-1 (mod 32), as a source and as a destination.
template <int LO, int N>
struct ZList {
    template <int ESZ> static VecList<N> gget(const cpu_state* s, uint32_t w) {
        VecList<N> l;
        for (int r = 0; r < N; r++) l.v[r] = load_vec(s, (fld(w, LO, 5) + r) % 32);
        return l;
    }
};
template <int LO, int N>
struct DZList {
    template <int ESZ> static void put(cpu_state* s, uint32_t w, const VecList<N>& l) {
        for (int r = 0; r < N; r++) store_vec(s, (fld(w, LO, 5) + r) % 32, l.v[r]);
    }
};
}  // namespace sf

#define SVE_STRUCTURE_FORMS(N)                                                                                   \
    using gf_ld##N##_zpri = sf::gform<sf::DZList<0, N>, sf::P<10, 3, PQ_Z>, sf::Rsp<5>, sf::SImm<16, 4>>;         \
    using gf_ld##N##_zprr = sf::gform<sf::DZList<0, N>, sf::P<10, 3, PQ_Z>, sf::Rsp<5>, sf::R<16>>;               \
    using gf_st##N##_zpri = sf::gform<sf::DNone, sf::ZList<0, N>, sf::P<10, 3, PQ_BARE>, sf::Rsp<5>, sf::SImm<16, 4>>; \
    using gf_st##N##_zprr = sf::gform<sf::DNone, sf::ZList<0, N>, sf::P<10, 3, PQ_BARE>, sf::Rsp<5>, sf::R<16>>;
SVE_STRUCTURE_FORMS(2)
SVE_STRUCTURE_FORMS(3)
SVE_STRUCTURE_FORMS(4)

// X(N, mnemonic letter, stem prefix, element bytes, element type).
#define SVE_STRUCTURES(X)                                                                                \
    X(2, b, VecU8, 1, signed char) X(2, h, VecU16, 2, short) X(2, w, VecU32, 4, int) X(2, d, VecU64, 8, long) \
    X(3, b, VecU8, 1, signed char) X(3, h, VecU16, 2, short) X(3, w, VecU32, 4, int) X(3, d, VecU64, 8, long) \
    X(4, b, VecU8, 1, signed char) X(4, h, VecU16, 2, short) X(4, w, VecU32, 4, int) X(4, d, VecU64, 8, long)

#define SVE_DECLARE_STRUCTURE(N, m, pre, n, T)                                                                  \
    aarch64_decode_rc sve_ld##N##m##_zpri(cpu_state* s, aarch64_z_reg zt, aarch64_p_reg pg, aarch64_i_rsp_reg xn, \
                                          int imm);                                                              \
    aarch64_decode_rc sve_ld##N##m##_scaled_zprr(cpu_state* s, aarch64_z_reg zt, aarch64_p_reg pg,                \
                                                 aarch64_i_rsp_reg xn, aarch64_i_reg xm);                        \
    aarch64_decode_rc sve_st##N##m##_zpri(cpu_state* s, aarch64_z_reg zt, aarch64_p_reg pg, aarch64_i_rsp_reg xn, \
                                          int imm);                                                              \
    aarch64_decode_rc sve_st##N##m##_scaled_zprr(cpu_state* s, aarch64_z_reg zt, aarch64_p_reg pg,                \
                                                 aarch64_i_rsp_reg xn, aarch64_i_reg xm);                        \
    VecList<N> pre##E##N##Load##n##SIZ(PredV pg, uint64_t xn, int64_t imm, CpuContext* c);                       \
    VecList<N> pre##E##N##Load##n##LSSZ(PredV pg, uint64_t xn, uint64_t xm, CpuContext* c);                      \
    void pre##E##N##Store##n##SIZ(VecList<N> zt, PredV pg, uint64_t xn, int64_t imm, CpuContext* c);             \
    void pre##E##N##Store##n##LSSZ(VecList<N> zt, PredV pg, uint64_t xn, uint64_t xm, CpuContext* c);
SVE_STRUCTURES(SVE_DECLARE_STRUCTURE)

// Non-fault loads: X(mnemonic, stem, memory element, register element).
#define SVE_NONFAULT_LOADS(X)                            \
    X(ldnf1b, VecU8CLoadNF1SIZ, uint8_t, uint8_t)        \
    X(ldnf1b_h, VecU16CLoadNF1SIZ, uint8_t, uint16_t)    \
    X(ldnf1b_s, VecU32CLoadNF1SIZ, uint8_t, uint32_t)    \
    X(ldnf1b_d, VecU64CLoadNF1SIZ, uint8_t, uint64_t)    \
    X(ldnf1h, VecU16CLoadNF2SIZ, uint16_t, uint16_t)     \
    X(ldnf1h_s, VecU32CLoadNF2SIZ, uint16_t, uint32_t)   \
    X(ldnf1h_d, VecU64CLoadNF2SIZ, uint16_t, uint64_t)   \
    X(ldnf1w, VecU32CLoadNF4SIZ, uint32_t, uint32_t)     \
    X(ldnf1w_d, VecU64CLoadNF4SIZ, uint32_t, uint64_t)   \
    X(ldnf1d, VecU64CLoadNF8SIZ, uint64_t, uint64_t)     \
    X(ldnf1sb_h, VecS16CLoadNF1SIZ, int8_t, uint16_t)    \
    X(ldnf1sb_s, VecS32CLoadNF1SIZ, int8_t, uint32_t)    \
    X(ldnf1sb_d, VecS64CLoadNF1SIZ, int8_t, uint64_t)    \
    X(ldnf1sh_s, VecS32CLoadNF2SIZ, int16_t, uint32_t)   \
    X(ldnf1sh_d, VecS64CLoadNF2SIZ, int16_t, uint64_t)   \
    X(ldnf1sw_d, VecS64CLoadNF4SIZ, int32_t, uint64_t)

// First-fault contiguous loads with a specialised operation: X(mnemonic, stem, memory, register).
#define SVE_FIRST_FAULT_SPECIALISED(X)                     \
    X(ldff1b, VecU8CLoadFF1LSSZ, uint8_t, uint8_t)         \
    X(ldff1b_h, VecU16CLoadFF1LSSZ, uint8_t, uint16_t)     \
    X(ldff1b_s, VecU32CLoadFF1LSSZ, uint8_t, uint32_t)     \
    X(ldff1b_d, VecU64CLoadFF1LSSZ, uint8_t, uint64_t)     \
    X(ldff1w, VecU32CLoadFF4LSSZ, uint32_t, uint32_t)      \
    X(ldff1w_d, VecU64CLoadFF4LSSZ, uint32_t, uint64_t)    \
    X(ldff1d, VecU64CLoadFF8LSSZ, uint64_t, uint64_t)
// ... and those of the generic tier only: X(stem, memory, register).
#define SVE_FIRST_FAULT_GENERIC(X)              \
    X(VecU16CLoadFF2LSSZ, uint16_t, uint16_t)   \
    X(VecU32CLoadFF2LSSZ, uint16_t, uint32_t)   \
    X(VecU64CLoadFF2LSSZ, uint16_t, uint64_t)   \
    X(VecS16CLoadFF1LSSZ, int8_t, uint16_t)     \
    X(VecS32CLoadFF1LSSZ, int8_t, uint32_t)     \
    X(VecS64CLoadFF1LSSZ, int8_t, uint64_t)     \
    X(VecS32CLoadFF2LSSZ, int16_t, uint32_t)    \
    X(VecS64CLoadFF2LSSZ, int16_t, uint64_t)    \
    X(VecS64CLoadFF4LSSZ, int32_t, uint64_t)

// The generic non-fault load also takes the old destination: lanes that cannot be read keep it.
using gf_ldnf_zpri = sf::gform<sf::DZ<0>, sf::Z<0>, sf::P<10, 3, PQ_Z>, sf::Rsp<5>, sf::SImm<16, 4>>;

#define SVE_DECLARE_NONFAULT(mn, stem, T, U)                                                                       \
    aarch64_decode_rc sve_##mn##_zpri(cpu_state* s, aarch64_z_reg zt, aarch64_p_reg pg, aarch64_i_rsp_reg xn, int imm); \
    VecV stem(VecV zt, PredV pg, uint64_t xn, int64_t imm, CpuContext* c);
#define SVE_DECLARE_FIRST_FAULT(mn, stem, T, U)                                                        \
    aarch64_decode_rc sve_##mn##_scaled_zprr(cpu_state* s, aarch64_z_reg zt, aarch64_p_reg pg,         \
                                             aarch64_i_rsp_reg xn, aarch64_i_reg xm);                  \
    VecV stem(PredV pg, uint64_t xn, uint64_t xm, CpuContext* c);
#define SVE_DECLARE_FIRST_FAULT_GENERIC(stem, T, U) VecV stem(PredV pg, uint64_t xn, uint64_t xm, CpuContext* c);
SVE_NONFAULT_LOADS(SVE_DECLARE_NONFAULT)
SVE_FIRST_FAULT_SPECIALISED(SVE_DECLARE_FIRST_FAULT)
SVE_FIRST_FAULT_GENERIC(SVE_DECLARE_FIRST_FAULT_GENERIC)

// FFR: setffr, wrffr Pn (Pn 8:5), rdffr Pd (Pd 3:0).
using sf_setffr = sf::sform<>;
using gf_setffr = sf::gform<sf::DNone>;
using sf_wrffr = sf::sform<sf::P<5, 4, PQ_B>>;
using gf_wrffr = sf::gform<sf::DNone, sf::P<5, 4, PQ_B>>;
using sf_rdffr_p = sf::sform<sf::P<0, 4, PQ_B>>;
using gf_rdffr_p = sf::gform<sf::DP<0>>;
aarch64_decode_rc sve_setffr(cpu_state* s);
aarch64_decode_rc sve_wrffr_p(cpu_state* s, aarch64_p_reg pn);
aarch64_decode_rc sve_rdffr_p(cpu_state* s, aarch64_p_reg pd);
void VecPClearFFSR(CpuContext* c);
void VecPWriteFFSRP(PredV pn, CpuContext* c);
PredV VecPReadFFSRP(CpuContext* c);

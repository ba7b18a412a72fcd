// Predicate logic, loop control, permutes and reductions, both tiers, and their forms.
#pragma once

#include "sve/core/forms.h"

// sel zd.t, pg, zn.t, zm.t: Zd 4:0, Pg 13:10, Zn 9:5, Zm 20:16.
using sf_sel_zpzz = sf::sform<sf::Z<0>, sf::P<10, 4, PQ_BARE>, sf::Z<5>, sf::Z<16>>;
using gf_sel_zpzz = sf::gform<sf::DZ<0>, sf::P<10, 4, PQ_BARE>, sf::Z<5>, sf::Z<16>>;

aarch64_decode_rc sve_sel_zpzz(cpu_state* s, aarch64_z_reg zd, aarch64_p_reg pg, aarch64_z_reg zn, aarch64_z_reg zm);

VecV VecU8SelVV(PredV pg, VecV zn, VecV zm, CpuContext* c);
VecV VecU16SelVV(PredV pg, VecV zn, VecV zm, CpuContext* c);
VecV VecU32SelVV(PredV pg, VecV zn, VecV zm, CpuContext* c);
VecV VecU64SelVV(PredV pg, VecV zn, VecV zm, CpuContext* c);

// Integer vector operations: arithmetic, logic, shifts and compares, both tiers, and their forms.
#pragma once

#include "sve/core/forms.h"
#include "sve/integer/pred_flags.h"
#include "sve/integer/wide_int.h"

// add zdn.t, zdn.t, #imm{, lsl #8}: Zdn 4:0, immediate 13:5.
using sf_zdn_imm8sh = sf::sform<sf::Zt<0>, sf::Imm8Sh>;
using gf_zdn_imm8sh = sf::gform<sf::DZ<0>, sf::Z<0>, sf::Imm8Sh>;

aarch64_decode_rc sve_add_zi(cpu_state* s, aarch64_z_reg zdn, uint64_t imm);

VecV VecU8AddVIX(VecV zdn, uint64_t imm, CpuContext* c);
VecV VecU16AddVIX(VecV zdn, uint64_t imm, CpuContext* c);
VecV VecU32AddVIX(VecV zdn, uint64_t imm, CpuContext* c);
VecV VecU64AddVIX(VecV zdn, uint64_t imm, CpuContext* c);

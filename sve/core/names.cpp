// Register name tables of the handle types.
#include "sve/core/cpu_state.h"

#define N8(p, s) p "0" s, p "1" s, p "2" s, p "3" s, p "4" s, p "5" s, p "6" s, p "7" s
#define N16(p, s) N8(p, s), p "8" s, p "9" s, p "10" s, p "11" s, p "12" s, p "13" s, p "14" s, p "15" s
#define N31(p, s)                                                                                     \
    N16(p, s), p "16" s, p "17" s, p "18" s, p "19" s, p "20" s, p "21" s, p "22" s, p "23" s,        \
        p "24" s, p "25" s, p "26" s, p "27" s, p "28" s, p "29" s, p "30" s
#define N32(p, s) N31(p, s), p "31" s

const char* const aarch64_z_reg::zname[32] = {N32("z", "")};
const char* const aarch64_z_reg::zname_b[32] = {N32("z", ".b")};
const char* const aarch64_z_reg::zname_h[32] = {N32("z", ".h")};
const char* const aarch64_z_reg::zname_s[32] = {N32("z", ".s")};
const char* const aarch64_z_reg::zname_d[32] = {N32("z", ".d")};
const char* const aarch64_p_reg::pname[16] = {N16("p", "")};
const char* const aarch64_p_reg::pname_m[16] = {N16("p", "/m")};
const char* const aarch64_p_reg::pname_z[16] = {N16("p", "/z")};
const char* const aarch64_p_reg::pname_b[16] = {N16("p", ".b")};
const char* const aarch64_p_reg::pname_h[16] = {N16("p", ".h")};
const char* const aarch64_p_reg::pname_s[16] = {N16("p", ".s")};
const char* const aarch64_p_reg::pname_d[16] = {N16("p", ".d")};
const char* const aarch64_i_reg::wname[32] = {N31("w", ""), "wzr"};
const char* const aarch64_i_reg::xname[32] = {N31("x", ""), "xzr"};
const char* const aarch64_i_rsp_reg::wname[32] = {N31("w", ""), "illegal"};
const char* const aarch64_i_rsp_reg::xname[32] = {N31("x", ""), "sp"};

// Comparison of our results with the oracle's, case by case, under the reviewed list of
// deviations.
#pragma once

#include <cstdint>
#include <cstdio>
#include <regex>
#include <string>
#include <vector>

#include "tools/sve-step/case_format.h"

namespace conf {

// Parts of the state a deviation can exempt from the comparison.
enum : uint32_t {
    FLD_X = 1, FLD_SP = 2, FLD_NZCV = 4, FLD_FPSR = 8, FLD_FPCR = 16,
    FLD_Z = 32, FLD_P = 64, FLD_FFR = 128, FLD_MEM = 256,
    FLD_STATUS = 512,  // a fault of the oracle where ours completes (nothing more is compared)
};

enum deviation_cond { DC_ALWAYS, DC_EDGE, DC_ORACLE_FFR };

// Condition flags of a case as the comparison sees them: the CF_* bits of its header, and this.
constexpr uint32_t CF_ORACLE_FFR = 1u << 16;  // the oracle cleared an FFR lane that was set

// CF_ORACLE_FFR of a case, from its input state and the oracle's result.
uint32_t oracle_ffr_flag(const wire_state& in, const wire_state& oracle);

struct deviation {
    std::regex rows;  // matched against the whole handler name
    std::string rows_text;
    uint32_t fields;
    deviation_cond cond;
    std::vector<int> vl_bits;  // the vector lengths it holds at; empty: every length
    bool not_pow2 = false;     // holds at every length that is not a power of two
    std::string reason;
};

// Parses the deviation list: one entry a line, `ROWS FIELDS CONDITION # reason`, where ROWS is
// a regular expression over handler names, FIELDS a comma list of x, sp, nzcv, fpsr, fpcr, z,
// p, ffr, mem, status, and CONDITION `always`, `edge` or `oracle-ffr`. An optional fourth
// word `vl=LIST` limits the entry to some vector lengths: a comma list of lengths in bits and
// `npow2` (every length that is not a power of two). Blank and `#` lines are comments. On an error
// returns false with a message naming the line.
bool parse_deviations(const std::string& text, std::vector<deviation>& out, std::string& error);

// Whether an entry holds at a vector length (in bits).
bool holds_at(const deviation& d, int vl_bits);
// Fields exempted for a case of the named row, at a vector length (by default the build's).
uint32_t exempt_fields(const std::vector<deviation>& devs, const std::string& row_name, uint32_t case_flags,
                       int vl_bits = VL * 8);

struct case_result {
    result_header h;
    wire_state s;
    std::vector<buffer_change> changes;
};

bool read_result(FILE* f, case_result& r);

enum case_verdict { CV_AGREE, CV_DIFFER, CV_REJECTED };

// Compares one case. `before` is the case's buffer before execution, `lane_bytes` the element
// width used to name a differing lane. On a difference, `what` names the first one.
case_verdict compare_case(const case_header& ch, const case_result& oracle,
                          const case_result& ours, const uint8_t* before, int lane_bytes, uint32_t exempt,
                          std::string& what);

}  // namespace conf

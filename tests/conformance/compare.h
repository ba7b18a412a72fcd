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
};

enum deviation_cond { DC_ALWAYS, DC_EDGE };

struct deviation {
    std::regex rows;  // matched against the whole handler name
    std::string rows_text;
    uint32_t fields;
    deviation_cond cond;
    std::string reason;
};

// Parses the deviation list: one entry a line, `ROWS FIELDS CONDITION # reason`, where ROWS is
// a regular expression over handler names, FIELDS a comma list of x, sp, nzcv, fpsr, fpcr, z,
// p, ffr, mem, and CONDITION `always` or `edge`. Blank and `#` lines are comments. On an error
// returns false with a message naming the line.
bool parse_deviations(const std::string& text, std::vector<deviation>& out, std::string& error);

// Fields exempted for a case of the named row.
uint32_t exempt_fields(const std::vector<deviation>& devs, const std::string& row_name, uint32_t case_flags);

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

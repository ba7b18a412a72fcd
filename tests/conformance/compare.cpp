#include "tests/conformance/compare.h"

#include <algorithm>
#include <cinttypes>
#include <cstdarg>
#include <cstdlib>
#include <sstream>

namespace conf {

namespace {

std::string fmt(const char* f, ...) __attribute__((format(printf, 1, 2)));
std::string fmt(const char* f, ...) {
    char buf[256];
    va_list ap;
    va_start(ap, f);
    vsnprintf(buf, sizeof buf, f, ap);
    va_end(ap);
    return buf;
}

const char* signal_name(int32_t st) {
    switch (st) {
    case ST_SIGILL: return "SIGILL";
    case ST_SIGSEGV: return "SIGSEGV";
    case ST_SIGBUS: return "SIGBUS";
    default: return "signal";
    }
}

std::string status_text(int32_t st) { return st < 0 ? signal_name(st) : fmt("rc %d", st); }

uint64_t lane(const uint8_t* z, int bytes, int e) {
    uint64_t v = 0;
    std::memcpy(&v, z + e * bytes, bytes);
    return v;
}

// First differing bit of two predicates, as "byte i".
int first_bit_diff(const uint8_t* a, const uint8_t* b) {
    for (int i = 0; i < VL; i++)
        if (((a[i / 8] ^ b[i / 8]) >> (i % 8)) & 1) return i;
    return -1;
}

// Value of buffer byte `off` after a case, from its change list.
uint8_t byte_after(const std::vector<buffer_change>& ch, size_t& k, uint32_t off, const uint8_t* before) {
    while (k < ch.size() && ch[k].offset < off) k++;
    return k < ch.size() && ch[k].offset == off ? uint8_t(ch[k].value) : before[off];
}

std::string compare_states(const wire_state& o, const wire_state& u, int lane_bytes, uint32_t exempt) {
    if (!(exempt & FLD_X))
        for (int i = 0; i < 31; i++)
            if (o.x[i] != u.x[i])
                return fmt("x%d: oracle %#" PRIx64 " ours %#" PRIx64, i, o.x[i], u.x[i]);
    if (!(exempt & FLD_SP) && o.sp != u.sp) return fmt("sp: oracle %#" PRIx64 " ours %#" PRIx64, o.sp, u.sp);
    if (!(exempt & FLD_NZCV) && o.nzcv != u.nzcv)
        return fmt("nzcv: oracle %#" PRIx64 " ours %#" PRIx64, o.nzcv, u.nzcv);
    if (!(exempt & FLD_FPSR) && o.fpsr != u.fpsr) return fmt("fpsr: oracle %#x ours %#x", o.fpsr, u.fpsr);
    if (!(exempt & FLD_FPCR) && o.fpcr != u.fpcr) return fmt("fpcr: oracle %#x ours %#x", o.fpcr, u.fpcr);
    if (!(exempt & FLD_Z))
        for (int r = 0; r < 32; r++)
            for (int e = 0; e < VL / lane_bytes; e++)
                if (lane(o.z[r], lane_bytes, e) != lane(u.z[r], lane_bytes, e))
                    return fmt("z%d lane %d (%d bytes): oracle %#" PRIx64 " ours %#" PRIx64, r, e, lane_bytes,
                               lane(o.z[r], lane_bytes, e), lane(u.z[r], lane_bytes, e));
    if (!(exempt & FLD_P))
        for (int r = 0; r < 16; r++)
            if (int i = first_bit_diff(o.p[r], u.p[r]); i >= 0)
                return fmt("p%d byte %d: oracle %d ours %d", r, i, (o.p[r][i / 8] >> (i % 8)) & 1,
                           (u.p[r][i / 8] >> (i % 8)) & 1);
    if (!(exempt & FLD_FFR))
        if (int i = first_bit_diff(o.ffr, u.ffr); i >= 0)
            return fmt("ffr byte %d: oracle %d ours %d", i, (o.ffr[i / 8] >> (i % 8)) & 1, (u.ffr[i / 8] >> (i % 8)) & 1);
    return {};
}

std::string compare_memory(const case_result& o, const case_result& u, const uint8_t* before) {
    size_t i = 0, j = 0, ko = 0, ku = 0;
    while (i < o.changes.size() || j < u.changes.size()) {
        uint32_t off = UINT32_MAX;
        if (i < o.changes.size()) off = o.changes[i].offset;
        if (j < u.changes.size() && u.changes[j].offset < off) off = u.changes[j].offset;
        uint8_t a = byte_after(o.changes, ko, off, before), b = byte_after(u.changes, ku, off, before);
        if (a != b)
            return fmt("mem %#" PRIx64 ": oracle %02x ours %02x (was %02x)", BUF_ADDR + off, a, b, before[off]);
        while (i < o.changes.size() && o.changes[i].offset <= off) i++;
        while (j < u.changes.size() && u.changes[j].offset <= off) j++;
    }
    return {};
}

}  // namespace

bool parse_deviations(const std::string& text, std::vector<deviation>& out, std::string& error) {
    static const struct { const char* name; uint32_t bit; } names[] = {
        {"x", FLD_X}, {"sp", FLD_SP}, {"nzcv", FLD_NZCV}, {"fpsr", FLD_FPSR}, {"fpcr", FLD_FPCR},
        {"z", FLD_Z}, {"p", FLD_P}, {"ffr", FLD_FFR}, {"mem", FLD_MEM}, {"status", FLD_STATUS},
    };
    std::istringstream in(text);
    std::string line;
    for (int no = 1; std::getline(in, line); no++) {
        size_t hash = line.find('#');
        std::string body = line.substr(0, hash), reason = hash == std::string::npos ? "" : line.substr(hash + 1);
        std::istringstream ls(body);
        std::string rows, fields, cond, vls, extra;
        if (!(ls >> rows)) continue;
        if (!(ls >> fields >> cond) || ((ls >> vls) && (ls >> extra)) ||
            reason.find_first_not_of(" \t") == std::string::npos) {
            error = fmt("line %d: expected ROWS FIELDS CONDITION [vl=LIST] # reason", no);
            return false;
        }
        deviation d;
        if (!vls.empty()) {
            if (vls.compare(0, 3, "vl=") != 0 || vls.size() == 3) {
                error = fmt("line %d: expected vl=LIST after the condition", no);
                return false;
            }
            std::istringstream vs(vls.substr(3));
            for (std::string v; std::getline(vs, v, ',');) {
                char* end = nullptr;
                long bits = std::strtol(v.c_str(), &end, 10);
                if (v == "npow2") {
                    d.not_pow2 = true;
                } else if (v.empty() || *end || bits < 128 || bits > 2048 || bits % 128) {
                    error = fmt("line %d: '%s' is not a vector length (a multiple of 128 from 128 to 2048)", no, v.c_str());
                    return false;
                } else {
                    d.vl_bits.push_back(int(bits));
                }
            }
        }
        d.rows_text = rows;
        try {
            d.rows = std::regex(rows);
        } catch (const std::regex_error&) {
            error = fmt("line %d: bad row pattern", no);
            return false;
        }
        d.fields = 0;
        std::istringstream fs(fields);
        for (std::string f; std::getline(fs, f, ',');) {
            uint32_t bit = 0;
            for (auto& n : names)
                if (f == n.name) bit = n.bit;
            if (!bit) {
                error = fmt("line %d: unknown field '%s'", no, f.c_str());
                return false;
            }
            d.fields |= bit;
        }
        if (cond == "always") d.cond = DC_ALWAYS;
        else if (cond == "edge") d.cond = DC_EDGE;
        else if (cond == "oracle-ffr") d.cond = DC_ORACLE_FFR;
        else {
            error = fmt("line %d: unknown condition '%s'", no, cond.c_str());
            return false;
        }
        d.reason = reason;
        out.push_back(std::move(d));
    }
    return true;
}

bool holds_at(const deviation& d, int vl_bits) {
    if (d.vl_bits.empty() && !d.not_pow2) return true;
    if (d.not_pow2 && (vl_bits & (vl_bits - 1)) != 0) return true;
    return std::find(d.vl_bits.begin(), d.vl_bits.end(), vl_bits) != d.vl_bits.end();
}

uint32_t exempt_fields(const std::vector<deviation>& devs, const std::string& row_name, uint32_t case_flags, int vl_bits) {
    uint32_t f = 0;
    for (const deviation& d : devs) {
        if (!holds_at(d, vl_bits)) continue;
        if (d.cond == DC_EDGE && !(case_flags & CF_EDGE)) continue;
        if (d.cond == DC_ORACLE_FFR && !(case_flags & CF_ORACLE_FFR)) continue;
        if (std::regex_match(row_name, d.rows)) f |= d.fields;
    }
    return f;
}

uint32_t oracle_ffr_flag(const wire_state& in, const wire_state& oracle) {
    for (int i = 0; i < PL; i++)
        if (in.ffr[i] & ~oracle.ffr[i]) return CF_ORACLE_FFR;
    return 0;
}

bool read_result(FILE* f, case_result& r) {
    if (std::fread(&r.h, sizeof r.h, 1, f) != 1 || r.h.magic != RESULT_MAGIC) return false;
    if (std::fread(&r.s, sizeof r.s, 1, f) != 1 || r.h.nchanged > BUF_SIZE) return false;
    r.changes.resize(r.h.nchanged);
    return std::fread(r.changes.data(), sizeof(buffer_change), r.h.nchanged, f) == r.h.nchanged;
}

case_verdict compare_case(const case_header& ch, const case_result& oracle,
                          const case_result& ours, const uint8_t* before, int lane_bytes, uint32_t exempt,
                          std::string& what) {
    what.clear();
    if (oracle.h.word != ch.word || ours.h.word != ch.word) {
        what = "result records out of step with the cases";
        return CV_DIFFER;
    }
    if (oracle.h.status == ST_SIGILL) return CV_REJECTED;
    if ((exempt & FLD_STATUS) && oracle.h.status < 0 && ours.h.status == ST_DONE) return CV_AGREE;
    if (oracle.h.status != ours.h.status) {
        what = fmt("status: oracle %s ours %s", status_text(oracle.h.status).c_str(), status_text(ours.h.status).c_str());
        return CV_DIFFER;
    }
    if (oracle.h.status != ST_DONE) return CV_AGREE;  // the same fault on both sides
    what = compare_states(oracle.s, ours.s, lane_bytes, exempt);
    if (what.empty() && !(exempt & FLD_MEM)) what = compare_memory(oracle, ours, before);
    return what.empty() ? CV_AGREE : CV_DIFFER;
}

}  // namespace conf

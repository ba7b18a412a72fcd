// The instruction mix report: the merged counts by instruction form, by function, by region and
// by instruction, each with its share of the total, as text, CSV or JSON; and the places of
// addresses in the loaded objects.
#include <link.h>
#include <unistd.h>

#include <algorithm>
#include <cinttypes>
#include <cstring>
#include <map>

#include "sve/client/stats.h"
#include "sve/core/sve_emulator.h"
#include "tools/elf_symbols/elf_symbols.h"

// ---- Instruction forms ---------------------------------------------------------------------

namespace {

// One readable form per decode row, in the row table's order (generated at build time).
const char* const row_forms[] = {
#include "row_forms.inc"
};
static_assert(sizeof row_forms / sizeof row_forms[0] == SVE_DECODE_ROWS, "one form per decode row");

}  // namespace

const char* stats_form(uint32_t word) {
    uint32_t marker = word & ~0x1Fu;
    if (marker == SVE_ROI_START_WORD) return "region start marker";
    if (marker == SVE_ROI_STOP_WORD) return "region stop marker";
    // The row that decodes the word: in the first map, in search order, that holds its key.
    int found = -1;
    for (int i = 0; i < SVE_DECODE_ROWS; i++) {
        const sve_row_info& r = sve_rows[i];
        if ((found < 0 || r.map < sve_rows[found].map) && sve_map_key(r.map, word) == r.key) found = i;
    }
    return found < 0 ? "(not an SVE instruction)" : row_forms[found];
}

// ---- Places of addresses -------------------------------------------------------------------

struct stats_symbols {
    struct object {
        std::string path, label;  // label: empty for the main program, else the file's base name
        uint64_t base;
        std::vector<std::pair<uint64_t, uint64_t>> segments;  // loaded, as run-time addresses
        bool tried = false, ok = false;
        sve_trace::elf_symbols syms;
    };
    std::vector<object> objects;
};

namespace {

int add_object(dl_phdr_info* info, size_t, void* data) {
    auto* s = static_cast<stats_symbols*>(data);
    stats_symbols::object o;
    bool main_program = s->objects.empty();
    o.path = main_program || !info->dlpi_name || !*info->dlpi_name ? "/proc/self/exe" : info->dlpi_name;
    if (!main_program) {
        const char* name = info->dlpi_name ? info->dlpi_name : "";
        const char* slash = std::strrchr(name, '/');
        o.label = slash ? slash + 1 : name;
    }
    o.base = info->dlpi_addr;
    for (int i = 0; i < info->dlpi_phnum; i++) {
        const ElfW(Phdr)& ph = info->dlpi_phdr[i];
        if (ph.p_type == PT_LOAD) o.segments.push_back({o.base + ph.p_vaddr, o.base + ph.p_vaddr + ph.p_memsz});
    }
    s->objects.push_back(std::move(o));
    return 0;
}

}  // namespace

stats_symbols* stats_symbols_load() {
    auto* s = new stats_symbols;
    dl_iterate_phdr(add_object, s);
    return s;
}

void stats_symbols_free(stats_symbols* s) { delete s; }

stats_place stats_locate(uint64_t pc, void* ctx) {
    auto* s = static_cast<stats_symbols*>(ctx);
    char hex[32];
    for (stats_symbols::object& o : s->objects) {
        bool inside = false;
        for (const auto& seg : o.segments) inside |= pc >= seg.first && pc < seg.second;
        if (!inside) continue;
        if (!o.tried) {
            std::string error;
            o.tried = true;
            o.ok = sve_trace::load_elf_symbols(o.path.c_str(), o.syms, error);
        }
        std::string suffix = o.label.empty() ? "" : " [" + o.label + "]";
        std::string at = o.ok ? sve_trace::symbolize(o.syms, pc - o.base) : "";
        if (at.empty()) {
            std::snprintf(hex, sizeof hex, "+0x%" PRIx64, pc - o.base);
            std::string object = o.label.empty() ? "[program]" : "[" + o.label + "]";
            return {object + hex, "(no symbol)" + suffix};
        }
        size_t plus = at.rfind("+0x");
        return {at + suffix, (plus == std::string::npos ? at : at.substr(0, plus)) + suffix};
    }
    std::snprintf(hex, sizeof hex, "0x%" PRIx64, pc);
    return {hex, "(no object)"};
}

// ---- The report ----------------------------------------------------------------------------

namespace {

struct line {
    std::string name;  // form, function, region, or the instruction's address
    uint64_t count = 0;
    // Instructions and regions: their own columns.
    uint64_t pc = 0;
    std::string location, form;
    long thread = -1, region = -1;
};

std::vector<line> sorted(std::map<std::string, line>& m) {
    std::vector<line> v;
    for (auto& kv : m) v.push_back(kv.second);
    std::stable_sort(v.begin(), v.end(), [](const line& a, const line& b) { return a.count > b.count; });
    return v;
}

double share(uint64_t count, uint64_t total) { return total ? 100.0 * double(count) / double(total) : 0.0; }

std::string csv_field(const std::string& s) {
    if (s.find_first_of(",\"\n") == std::string::npos) return s;
    std::string out = "\"";
    for (char c : s) out += c == '"' ? std::string("\"\"") : std::string(1, c);
    return out + "\"";
}

std::string json_string(const std::string& s) {
    std::string out = "\"";
    for (char c : s) {
        if (c == '"' || c == '\\') out += '\\', out += c;
        else if (uint8_t(c) < 0x20) {
            char u[8];
            std::snprintf(u, sizeof u, "\\u%04x", c);
            out += u;
        } else out += c;
    }
    return out + "\"";
}

struct section {
    const char* title;  // text heading
    const char* key;    // CSV section and JSON member
    const char* what;   // column of the name
    std::vector<line> lines;
};

void write_text(FILE* out, uint64_t total, const std::vector<section>& sections) {
    std::fprintf(out, "SVE instruction mix: %" PRIu64 " instructions emulated\n", total);
    for (const section& s : sections) {
        std::fprintf(out, "\n%s\n%14s %8s  %s\n", s.title, "count", "share", s.what);
        for (const line& l : s.lines) {
            std::string name = l.name;
            for (const std::string* part : {&l.location, &l.form})
                if (!part->empty()) name += "  " + *part;
            std::fprintf(out, "%14" PRIu64 " %7.2f%%  %s\n", l.count, share(l.count, total), name.c_str());
        }
    }
}

void write_csv(FILE* out, uint64_t total, const std::vector<section>& sections) {
    std::fprintf(out, "section,name,thread,region,pc,location,form,count,share\n");
    std::fprintf(out, "total,all,,,,,,%" PRIu64 ",100.0000\n", total);
    for (const section& s : sections)
        for (const line& l : s.lines) {
            std::string thread = l.thread >= 0 ? std::to_string(l.thread) : "";
            std::string region = l.region >= 0 ? std::to_string(l.region) : "";
            char pc[32] = "";
            if (l.pc) std::snprintf(pc, sizeof pc, "0x%" PRIx64, l.pc);
            std::fprintf(out, "%s,%s,%s,%s,%s,%s,%s,%" PRIu64 ",%.4f\n", s.key, csv_field(l.name).c_str(),
                         thread.c_str(), region.c_str(), pc, csv_field(l.location).c_str(),
                         csv_field(l.form).c_str(), l.count, share(l.count, total));
        }
}

void write_json(FILE* out, uint64_t total, const std::vector<section>& sections) {
    std::fprintf(out, "{\n  \"total\": %" PRIu64, total);
    for (const section& s : sections) {
        std::fprintf(out, ",\n  \"%s\": [", s.key);
        const char* sep = "\n";
        for (const line& l : s.lines) {
            std::fprintf(out, "%s    {\"name\": %s", sep, json_string(l.name).c_str());
            if (l.thread >= 0) std::fprintf(out, ", \"thread\": %ld", l.thread);
            if (l.region >= 0) std::fprintf(out, ", \"region\": %ld", l.region);
            if (l.pc) std::fprintf(out, ", \"pc\": \"0x%" PRIx64 "\"", l.pc);
            if (!l.location.empty()) std::fprintf(out, ", \"location\": %s", json_string(l.location).c_str());
            if (!l.form.empty()) std::fprintf(out, ", \"form\": %s", json_string(l.form).c_str());
            std::fprintf(out, ", \"count\": %" PRIu64 ", \"share\": %.4f}", l.count, share(l.count, total));
            sep = ",\n";
        }
        std::fprintf(out, "%s]", s.lines.empty() ? "" : "\n  ");
    }
    std::fprintf(out, "\n}\n");
}

}  // namespace

void stats_write_report(FILE* out, stats_format format, const std::vector<stats_entry>& entries, uint64_t dropped,
                        stats_locator locate, void* ctx) {
    std::map<std::string, line> forms, functions, regions, instructions;
    std::map<std::string, std::map<std::string, line>> region_forms;  // by the key of `regions`
    std::map<uint64_t, stats_place> places;
    std::map<uint32_t, const char*> forms_of;  // a word's row is searched once
    uint64_t total = dropped;
    for (const stats_entry& e : entries) {
        total += e.count;
        auto p = places.find(e.pc);
        if (p == places.end()) p = places.emplace(e.pc, locate(e.pc, ctx)).first;
        auto known = forms_of.find(e.word);
        if (known == forms_of.end()) known = forms_of.emplace(e.word, stats_form(e.word)).first;
        const char* form = known->second;

        line& f = forms[form];
        f.name = form;
        f.count += e.count;

        line& fn = functions[p->second.function];
        fn.name = p->second.function;
        fn.count += e.count;

        // Regions in thread and region order: the key sorts as numbers do.
        char key[48];
        std::snprintf(key, sizeof key, "%010u %010u", e.region ? e.thread : 0u, e.region);
        line& r = regions[key];
        // A thread by its number and by its id in trace records (sve-trace's thread column).
        char thread[48];
        std::snprintf(thread, sizeof thread, "thread %u (0x%08x), region %u", e.thread, e.trace_id, e.region);
        r.name = e.region ? thread : "outside regions";
        r.thread = e.region ? long(e.thread) : -1;
        r.region = e.region;
        r.count += e.count;
        line& rf = region_forms[key][form];
        rf.name = r.name;
        rf.thread = r.thread;
        rf.region = r.region;
        rf.form = form;
        rf.count += e.count;

        std::snprintf(key, sizeof key, "%016" PRIx64, e.pc);
        line& in = instructions[key];
        char hex[32];
        std::snprintf(hex, sizeof hex, "0x%" PRIx64, e.pc);
        in.name = hex;
        in.pc = e.pc;
        in.location = p->second.location;
        in.form = form;
        in.count += e.count;
    }
    if (dropped) {
        const char* unplaced = "(not counted apart: the thread's table was full)";
        for (auto* m : {&forms, &functions, &regions, &instructions, &region_forms[unplaced]}) {
            line& l = (*m)[unplaced];
            l.name = unplaced;
            l.count = dropped;
        }
    }
    std::vector<section> sections = {
        {"By instruction form:", "forms", "form", sorted(forms)},
        {"By function:", "functions", "function", sorted(functions)},
        {"By region of interest:", "regions", "region", {}},
        {"By region and form:", "region_forms", "region  form", {}},
        {"By instruction:", "instructions", "address  function+offset  form", sorted(instructions)},
    };
    // Regions in thread and region order; within a region, forms by count.
    for (auto& kv : regions) sections[2].lines.push_back(kv.second);
    for (auto& kv : region_forms)
        for (line& l : sorted(kv.second)) sections[3].lines.push_back(l);
    if (format == stats_csv) write_csv(out, total, sections);
    else if (format == stats_json) write_json(out, total, sections);
    else write_text(out, total, sections);
}

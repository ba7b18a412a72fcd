// sve-conform: the two native halves of the conformance run (scripts/conformance).
//
//   sve-conform gen [--cases N] [--rows REGEX] [--seed S] CASES
//       writes N cases for every decode row whose handler name matches REGEX (searched).
//   sve-conform compare [--verbose] CASES ORACLE OURS DEVIATIONS
//       compares the result files case by case and prints the report for the rows in CASES.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "tests/conformance/case_gen.h"
#include "tests/conformance/compare.h"

namespace {

int usage() {
    std::fprintf(stderr,
                 "usage: sve-conform gen [--cases N] [--rows REGEX] [--seed S] CASES\n"
                 "       sve-conform compare [--verbose] CASES ORACLE OURS DEVIATIONS\n");
    return 2;
}

int gen(int argc, char** argv) {
    int cases = 4;
    uint64_t seed = 1;
    std::string rows = ".*";
    const char* out = nullptr;
    for (int i = 0; i < argc; i++) {
        std::string a = argv[i];
        if (a == "--cases" && i + 1 < argc) cases = std::atoi(argv[++i]);
        else if (a == "--seed" && i + 1 < argc) seed = std::strtoull(argv[++i], nullptr, 0);
        else if (a == "--rows" && i + 1 < argc) rows = argv[++i];
        else if (!out && a[0] != '-') out = argv[i];
        else return usage();
    }
    if (!out) return usage();
    FILE* f = std::fopen(out, "wb");
    if (!f) {
        std::perror(out);
        return 1;
    }
    std::regex re(rows);
    for (int r = 0; r < SVE_DECODE_ROWS; r++) {
        if (!std::regex_search(sve_rows[r].name, re)) continue;
        for (int i = 0; i < cases; i++) {
            conf::gen_case c = conf::generate_case(r, seed, i);
            std::fwrite(&c, sizeof c, 1, f);
        }
    }
    return std::fclose(f) ? 1 : 0;
}

struct row_tally {
    int cases = 0, agree = 0, rejected = 0, differ = 0;
    std::string first_diff, first_reject;
};

int compare(int argc, char** argv) {
    bool verbose = false;
    std::vector<const char*> files;
    for (int i = 0; i < argc; i++) {
        if (!std::strcmp(argv[i], "--verbose")) verbose = true;
        else files.push_back(argv[i]);
    }
    if (files.size() != 4) return usage();
    FILE* fc = std::fopen(files[0], "rb");
    FILE* fo = std::fopen(files[1], "rb");
    FILE* fu = std::fopen(files[2], "rb");
    std::ifstream fd(files[3]);
    if (!fc || !fo || !fu || !fd) {
        std::fprintf(stderr, "sve-conform: cannot open an input file\n");
        return 1;
    }
    std::stringstream text;
    text << fd.rdbuf();
    std::vector<conf::deviation> devs;
    std::string error;
    if (!conf::parse_deviations(text.str(), devs, error)) {
        std::fprintf(stderr, "sve-conform: %s: %s\n", files[3], error.c_str());
        return 1;
    }
    std::vector<row_tally> tally(SVE_DECODE_ROWS);
    static uint8_t before[conf::BUF_SIZE];
    conf::gen_case c;
    conf::case_result o, u;
    long ncases = 0;
    while (std::fread(&c, sizeof c, 1, fc) == 1) {
        if (c.h.magic != conf::CASE_MAGIC || c.h.row < 0 || c.h.row >= SVE_DECODE_ROWS) {
            std::fprintf(stderr, "sve-conform: malformed case %ld\n", ncases);
            return 1;
        }
        if (!conf::read_result(fo, o) || !conf::read_result(fu, u)) {
            std::fprintf(stderr, "sve-conform: result files end early, at case %ld\n", ncases);
            return 1;
        }
        row_tally& t = tally[c.h.row];
        const sve_row_info& row = sve_rows[c.h.row];
        t.cases++;
        ncases++;
        if (!row.implemented) continue;
        conf::fill_buffer(before, c.h.buf_seed);
        conf::row_traits tr = conf::traits_of(row);
        int lane_bytes = tr.elem_bytes >= 1 && tr.elem_bytes <= 8 ? tr.elem_bytes : 8;
        std::string what;
        switch (conf::compare_case(c.h, o, u, before, lane_bytes, conf::exempt_fields(devs, row.name, c.h.flags | conf::oracle_ffr_flag(c.s, o.s)), what)) {
        case conf::CV_AGREE: t.agree++; break;
        case conf::CV_REJECTED:
            if (!t.rejected++) t.first_reject = std::to_string(t.cases - 1);
            break;
        case conf::CV_DIFFER:
            if (!t.differ++) {
                char head[96];
                std::snprintf(head, sizeof head, "case %d word %08x seed %u%s: ", t.cases - 1, c.h.word, c.h.buf_seed,
                              c.h.flags & conf::CF_EDGE ? " (edge)" : "");
                t.first_diff = head + what;
            }
            break;
        }
    }
    int agree = 0, differ = 0, unimpl = 0, rejected = 0, rows = 0;
    for (int r = 0; r < SVE_DECODE_ROWS; r++) {
        const row_tally& t = tally[r];
        if (!t.cases) continue;
        rows++;
        const char* name = sve_rows[r].name;
        if (!sve_rows[r].implemented) {
            unimpl++;
            if (verbose) std::printf("unimplemented %s\n", name);
        } else if (t.differ) {
            differ++;
            std::printf("differ   %s (%d of %d cases): %s\n", name, t.differ, t.cases, t.first_diff.c_str());
        } else if (!t.agree) {
            rejected++;
            std::printf("rejected %s (all %d cases)\n", name, t.cases);
        } else {
            // Reserved encodings inside a row: the oracle rejects those cases, the others agree.
            agree++;
            if (t.rejected)
                std::printf("agree    %s (%d cases; %d rejected by the oracle, first case %s)\n", name, t.cases,
                            t.rejected, t.first_reject.c_str());
            else if (verbose)
                std::printf("agree    %s (%d cases)\n", name, t.cases);
        }
    }
    std::printf("conformance: %d agree, %d differ, %d unimplemented, %d rejected of %d rows\n", agree, differ, unimpl,
                rejected, rows);
    return differ ? 3 : 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) return usage();
    if (!std::strcmp(argv[1], "gen")) return gen(argc - 2, argv + 2);
    if (!std::strcmp(argv[1], "compare")) return compare(argc - 2, argv + 2);
    return usage();
}

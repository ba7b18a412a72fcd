// Runs the fuzz target over files and folders of inputs, without the fuzzing engine, so that
// every build (and every compiler) checks the committed corpus. `--make-corpus DIR` writes
// one seed input per decode row.
#include <dirent.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "sve/decode/sve_emulator.h"
#include "tests/fuzz/fuzz_word.h"

namespace {

std::vector<std::string> inputs_of(const std::string& path) {
    struct stat st;
    if (stat(path.c_str(), &st) != 0) return {};
    if (!S_ISDIR(st.st_mode)) return {path};
    std::vector<std::string> out;
    if (DIR* d = opendir(path.c_str())) {
        while (dirent* e = readdir(d))
            if (e->d_name[0] != '.') out.push_back(path + "/" + e->d_name);
        closedir(d);
    }
    return out;
}

int make_corpus(const char* dir) {
    mkdir(dir, 0755);
    for (int r = 0; r < SVE_DECODE_ROWS; r++) {
        uint8_t buf[FUZZ_HEADER_BYTES];
        uint64_t h = 0x9E3779B97F4A7C15ull * uint64_t(r + 1);
        size_t n = fuzz_seed_input(buf, r, uint32_t(h >> 32), h ^ (h >> 29));
        std::string path = std::string(dir) + "/" + sve_rows[r].name;
        FILE* f = std::fopen(path.c_str(), "wb");
        if (!f || std::fwrite(buf, 1, n, f) != n) {
            std::fprintf(stderr, "cannot write %s\n", path.c_str());
            return 1;
        }
        std::fclose(f);
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 3 && std::strcmp(argv[1], "--make-corpus") == 0) return make_corpus(argv[2]);
    if (argc < 2) {
        std::fprintf(stderr, "usage: fuzz_replay INPUT|DIR... | --make-corpus DIR\n");
        return 2;
    }
    std::vector<bool> row_seen(SVE_DECODE_ROWS);
    size_t count = 0;
    for (int i = 1; i < argc; i++) {
        for (const std::string& path : inputs_of(argv[i])) {
            FILE* f = std::fopen(path.c_str(), "rb");
            if (!f) continue;
            std::vector<uint8_t> data;
            uint8_t chunk[4096];
            size_t n;
            while ((n = std::fread(chunk, 1, sizeof chunk, f)) > 0) data.insert(data.end(), chunk, chunk + n);
            std::fclose(f);
            LLVMFuzzerTestOneInput(data.data(), data.size());
            if (data.size() >= 2 && !(data.size() > 6 && (data[6] & 1)))
                row_seen[(data[0] | data[1] << 8) % SVE_DECODE_ROWS] = true;
            count++;
        }
    }
    int missing = 0;
    for (int r = 0; r < SVE_DECODE_ROWS; r++)
        if (!row_seen[r]) {
            if (missing++ < 10) std::fprintf(stderr, "no input selects row %s\n", sve_rows[r].name);
        }
    std::fprintf(stderr, "replayed %zu inputs, %d rows without an input\n", count, missing);
    return count == 0 || missing ? 1 : 0;
}

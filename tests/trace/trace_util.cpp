#include "tests/trace/trace_util.h"

#include <unistd.h>

#include <cstring>
#include <sstream>

#include "tools/sve-trace/sve_trace.h"

namespace trace_test {

namespace {
void put(std::string& s, uint64_t v, int bytes) {
    for (int i = 0; i < bytes; i++) s += char(v >> (8 * i));
}
std::string slurp(FILE* f) {
    std::string s;
    std::rewind(f);
    char buf[4096];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, f)) > 0) s.append(buf, n);
    std::fclose(f);
    return s;
}
}  // namespace

std::string trace_bytes(const std::vector<sve_mem_ref_t>& records, const std::string& name, uint32_t version,
                        uint32_t record_bytes, const char* magic) {
    std::string s(magic, 8);
    uint32_t padded = uint32_t((name.size() + 7) / 8 * 8);
    put(s, version, 4);
    put(s, 40 + padded, 4);
    put(s, 80, 4);
    put(s, record_bytes, 4);
    put(s, 4242, 4);
    put(s, name.size(), 4);
    put(s, records.size(), 8);
    s += name;
    s.append(padded - name.size(), '\0');
    for (const sve_mem_ref_t& r : records) {
        put(s, r.count, 8);
        put(s, r.thread_id, 4);
        put(s, r.flags, 4);
        put(s, uint32_t(r.type), 4);
        uint32_t reserved = 0xA5A5A5A5u;
        bool meta = r.thread_id == roi_start_id || r.thread_id == roi_stop_id || r.thread_id == trace_thread_id;
        if (version >= 2 && meta) std::memcpy(&reserved, r.reserved, 4);
        put(s, reserved, 4);
        put(s, r.size, 8);
        put(s, r.address, 8);
        put(s, r.pc, 8);
    }
    return s;
}

std::string temp_path(const std::string& leaf) {
    return "/tmp/sve_trace_test_" + std::to_string(getpid()) + "_" + leaf;
}

std::string write_file(const std::string& leaf, const std::string& bytes) {
    std::string path = temp_path(leaf);
    FILE* f = std::fopen(path.c_str(), "wb");
    std::fwrite(bytes.data(), 1, bytes.size(), f);
    std::fclose(f);
    return path;
}

std::string read_file(const std::string& path) {
    FILE* f = std::fopen(path.c_str(), "rb");
    return f ? slurp(f) : std::string();
}

run_result run_tool(const std::vector<std::string>& args) {
    std::vector<char*> argv{const_cast<char*>("sve-trace")};
    for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    FILE* out = std::tmpfile();
    FILE* err = std::tmpfile();
    int status = sve_trace_main(int(argv.size() - 1), argv.data(), out, err);
    std::fflush(out);
    std::fflush(err);
    return {status, slurp(out), slurp(err)};
}

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> v;
    std::istringstream in(text);
    for (std::string l; std::getline(in, l);) v.push_back(l);
    return v;
}

std::vector<std::string> table_row(const std::string& out, const std::string& title, const std::string& key) {
    bool in = false;
    for (const std::string& l : lines(out)) {
        if (l.rfind(title, 0) == 0) in = true;
        else if (l.empty()) in = false;
        if (!in) continue;
        std::istringstream ws(l);
        std::vector<std::string> f;
        for (std::string w; ws >> w;) f.push_back(w);
        if (!f.empty() && f[0] == key) return f;
    }
    return {};
}

}  // namespace trace_test

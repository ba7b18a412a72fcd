// The trace reader on files made byte by byte: both format versions, the slots a writer reserved
// but never filled, and damaged files.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "tools/sve-trace/trace_stream.h"

namespace {

sve_mem_ref_t memory_record(uint64_t count, uint32_t thread) {
    sve_mem_ref_t r = {};
    r.count = count;
    r.thread_id = thread;
    r.type = memaccess_read;
    r.size = 80;
    r.address = 0x1000 * count;
    r.pc = 0x400000 + count;
    return r;
}

// A file: the header (with `slots` in its count field), the name, the records, `extra` zero bytes.
std::string make_file(uint32_t version, const std::string& name, uint64_t slots, const std::vector<sve_mem_ref_t>& recs,
                      size_t extra = 0) {
    sve_trace_header h = {};
    std::memcpy(h.magic, SVE_TRACE_MAGIC, 8);
    h.version = version;
    h.name_bytes = uint32_t(name.size());
    h.header_bytes = uint32_t(40 + (name.size() + 7) / 8 * 8);
    h.vl_bytes = 80;
    h.record_bytes = 48;
    h.pid = 77;
    h.records = slots;
    std::string bytes(reinterpret_cast<const char*>(&h), sizeof h);
    bytes += name;
    bytes.resize(h.header_bytes, '\0');
    bytes.append(reinterpret_cast<const char*>(recs.data()), recs.size() * sizeof(sve_mem_ref_t));
    bytes.append(extra, '\0');
    return bytes;
}

std::string write_temp(const std::string& bytes) {
    static int n = 0;
    std::string path = "/tmp/sve_trace_reader_" + std::to_string(getpid()) + "_" + std::to_string(n++) + ".bin";
    FILE* f = std::fopen(path.c_str(), "wb");
    std::fwrite(bytes.data(), 1, bytes.size(), f);
    std::fclose(f);
    return path;
}

}  // namespace

TEST(TraceReader, ReadsBothVersions) {
    sve_mem_ref_t start = {}, stop = {}, thread = {};
    start.count = 1;
    start.thread_id = roi_start_id;
    stop.count = 4;
    stop.thread_id = roi_stop_id;
    thread.thread_id = trace_thread_id;
    thread.size = 4321;
    uint32_t sender = 0xABCD;
    std::memcpy(start.reserved, &sender, 4);
    std::memcpy(stop.reserved, &sender, 4);
    std::memcpy(thread.reserved, &sender, 4);
    const sve_mem_ref_t unwritten = {};

    struct {
        const char* what;
        std::string bytes;
        std::vector<uint64_t> counts;  // of the records read, in order
    } cases[] = {
        // Version 1: the count field is 0 (the writer died) or right; the size decides.
        {"v1, count 0", make_file(1, "app", 0, {start, memory_record(2, 5), memory_record(3, 5), stop}), {1, 2, 3, 4}},
        {"v1, count set", make_file(1, "app", 4, {start, memory_record(2, 5), memory_record(3, 5), stop}), {1, 2, 3, 4}},
        // Version 2: the header's slots decide; unwritten slots and trailing room are skipped.
        {"v2", make_file(2, "app", 5, {thread, start, memory_record(2, sender), memory_record(3, sender), stop}),
         {0, 1, 2, 3, 4}},
        {"v2, holes and room",
         make_file(2, "application", 8,
                   {thread, start, memory_record(2, sender), unwritten, unwritten, memory_record(3, sender), stop, unwritten},
                   48 * 100),
         {0, 1, 2, 3, 4}},
        {"v2, nothing written", make_file(2, "", 3, {unwritten, unwritten, unwritten}, 4096), {}},
        {"v2, slots beyond the count are ignored", make_file(2, "x", 2, {start, memory_record(2, 1), memory_record(3, 1)}),
         {1, 2}},
    };
    for (const auto& c : cases) {
        std::string path = write_temp(c.bytes);
        sve_trace::trace_contents t;
        std::string error;
        ASSERT_TRUE(sve_trace::read_trace_file(path.c_str(), t, error)) << c.what << ": " << error;
        unlink(path.c_str());
        std::vector<uint64_t> counts;
        for (const auto& r : t.records) counts.push_back(r.count);
        EXPECT_EQ(counts, c.counts) << c.what;
        EXPECT_EQ(t.header.pid, 77u) << c.what;
    }
    // What the helpers see in a version 2 file.
    EXPECT_TRUE(sve_trace::is_thread_record(thread) && sve_trace::is_meta(thread) && !sve_trace::is_marker(thread));
    EXPECT_EQ(sve_trace::record_thread(thread), sender);
    EXPECT_EQ(sve_trace::record_kernel_tid(thread), 4321u);
    EXPECT_EQ(sve_trace::record_thread(stop), sender);
    EXPECT_TRUE(is_unwritten_slot(unwritten));
    EXPECT_FALSE(is_unwritten_slot(thread));  // count 0, but a thread record
}

TEST(TraceReader, RefusesDamagedFiles) {
    std::vector<sve_mem_ref_t> two = {memory_record(1, 1), memory_record(2, 1)};
    std::string v1 = make_file(1, "app", 0, two), v2 = make_file(2, "app", 2, two);
    struct {
        const char* what;
        std::string bytes;
        const char* error_start;
    } cases[] = {
        {"v1 partial record", v1.substr(0, v1.size() - 5), "truncated: 1 whole record, then a partial record of 43 bytes"},
        {"v2 fewer slots than counted", v2.substr(0, v2.size() - 48), "truncated: the header counts 2 records, the file holds 1"},
        {"bad magic", "X" + v2.substr(1), "not a trace file"},
        {"short header", v2.substr(0, 20), "truncated header"},
        {"empty", "", "empty file"},
        {"version 3", make_file(3, "app", 2, two), "trace format version 3"},
    };
    for (const auto& c : cases) {
        std::string path = write_temp(c.bytes);
        sve_trace::trace_contents t;
        std::string error;
        EXPECT_FALSE(sve_trace::read_trace_file(path.c_str(), t, error)) << c.what;
        unlink(path.c_str());
        EXPECT_EQ(error.rfind(c.error_start, 0), 0u) << c.what << ": " << error;
    }
}

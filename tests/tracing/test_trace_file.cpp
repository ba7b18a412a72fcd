// End to end: instructions inside a region, through the real companion library, into a trace
// file that is read back. The records must arrive byte for byte as the emulator built them.
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <string>

#include "tools/sve-trace/trace_stream.h"
#include "sve/decode/sve_emulator.h"

namespace {
aarch64_decode_rc run(cpu_state& s, uint32_t word, uint64_t pc) {
    s.pc = pc;
    return get_sve_handler(word)(&s, word);
}
}  // namespace

TEST(TraceFile, RegionOfLoadsAndStores) {
    std::string path = "/tmp/sve_trace_file_" + std::to_string(getpid()) + ".bin";
    setenv("SVE_TRACE_FILE", path.c_str(), 1);
    ASSERT_TRUE(sve_init(0, "trace_file_test"));
    static uint8_t data[256];
    cpu_state s = {};
    s.x[1] = uint64_t(data);
    s.p[0][0] = s.p[0][4] = s.p[0][12] = 1;  // .s lanes 0, 1, 3
    std::memset(s.p[2], 1, SVE_VL_BYTES);

    ASSERT_EQ(run(s, 0xA540A020, 0x1000), RC_DONE);  // ld1w {z0.s}, p0/z, [x1]: outside, no record
    ASSERT_EQ(run(s, 0x2520E025, 0x1004), RC_DONE);  // start marker (z5)
    ASSERT_EQ(run(s, 0xA540A020, 0x1008), RC_DONE);  // ld1w: two records
    ASSERT_EQ(run(s, 0xE400E820, 0x100C), RC_DONE);  // st1b {z0.b}, p2, [x1]: one record of 80
    ASSERT_EQ(run(s, 0x2520E045, 0x1010), RC_DONE);  // stop marker
    ASSERT_EQ(run(s, 0xE400E820, 0x1014), RC_DONE);  // outside again
    sve_exit();
    unsetenv("SVE_TRACE_FILE");

    sve_trace::trace_contents c;
    std::string error;
    ASSERT_TRUE(sve_trace::read_trace_file(path.c_str(), c, error)) << error;
    unlink(path.c_str());
    EXPECT_EQ(c.app_name, "trace_file_test");
    EXPECT_EQ(c.header.version, 2u);
    const uint32_t self = uint32_t(uint64_t(pthread_self()));
    // The thread announces itself first: its id and its kernel thread id.
    ASSERT_EQ(c.records.size(), 6u);
    ASSERT_TRUE(sve_trace::is_thread_record(c.records[0]));
    EXPECT_EQ(sve_trace::record_thread(c.records[0]), self);
    EXPECT_EQ(sve_trace::record_kernel_tid(c.records[0]), uint64_t(gettid()));
    c.records.erase(c.records.begin());
    struct want {
        uint32_t thread;
        int32_t type;
        uint64_t address, size, pc;
    } wants[] = {
        {roi_start_id, 0, 0, 0, 0},
        {self, memaccess_read, uint64_t(data), 8, 0x1008},
        {self, memaccess_read, uint64_t(data) + 12, 4, 0x1008},
        {self, memaccess_write, uint64_t(data), 80, 0x100C},
        {roi_stop_id, 0, 0, 0, 0},
    };
    for (int i = 0; i < 5; i++) {
        const sve_mem_ref_t& r = c.records[i];
        EXPECT_EQ(r.thread_id, wants[i].thread) << i;
        EXPECT_EQ(int32_t(r.type), wants[i].type) << i;
        EXPECT_EQ(r.address, wants[i].address) << i;
        EXPECT_EQ(r.size, wants[i].size) << i;
        EXPECT_EQ(r.pc, wants[i].pc) << i;
        EXPECT_EQ(r.flags, 0u) << i;
        if (i) {
            EXPECT_GT(r.count, c.records[i - 1].count) << i;
        }
    }
    // Both markers name the thread that executed them.
    EXPECT_EQ(sve_trace::record_thread(c.records[0]), self);
    EXPECT_EQ(sve_trace::record_thread(c.records[4]), self);
}

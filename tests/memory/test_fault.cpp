// Fault containment: guarded reads, probes, several threads at once, and uncontained faults.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <thread>
#include <vector>

#include "sve/memory/primitives.h"
#include "tests/support/capture.h"

namespace {

sigset_t current_mask() {
    sigset_t m;
    sigprocmask(SIG_SETMASK, nullptr, &m);
    return m;
}

bool same_mask(const sigset_t& a, const sigset_t& b) {
    for (int sig = 1; sig < 32; sig++)
        if (sigismember(&a, sig) != sigismember(&b, sig)) return false;
    return true;
}

void* segv_action() {
    struct sigaction sa;
    sigaction(SIGSEGV, nullptr, &sa);
    return reinterpret_cast<void*>(sa.sa_sigaction);
}

struct Fault : testing::Test {
    void SetUp() override { SVEInitialize(); }
};

}  // namespace

TEST_F(Fault, InitializeInstallsTheHandlerOnce) {
    struct sigaction sa;
    sigaction(SIGBUS, nullptr, &sa);
    EXPECT_EQ(reinterpret_cast<void*>(sa.sa_sigaction), reinterpret_cast<void*>(&SVESigHandler));
    EXPECT_EQ(sa.sa_flags & (SA_SIGINFO | SA_RESTART | SA_NODEFER), SA_SIGINFO | SA_RESTART | SA_NODEFER);
    EXPECT_EQ(segv_action(), reinterpret_cast<void*>(&SVESigHandler));
    SVEInitialize();
    EXPECT_EQ(segv_action(), reinterpret_cast<void*>(&SVESigHandler));
    EXPECT_EQ(ctxt, &cpu_ctxt);
    EXPECT_EQ(cpu_ctxt.vl_words, 2u);
}

TEST_F(Fault, GuardedReadsOfReadableMemory) {
    guarded_pages g(1);
    const uint8_t bytes[8] = {0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88};
    uint8_t* at = g.hole() - 8;
    std::memcpy(at, bytes, 8);
    for (bool start : {false, true}) {  // a successful read leaves *fault as it was
        bool fault = start;
        EXPECT_EQ(ReadMemLib1(uint64_t(at), 0, &fault, nullptr), 0x11u);
        EXPECT_EQ(ReadMemLib2(uint64_t(at), 1, &fault, nullptr), 0x2211u);
        EXPECT_EQ(ReadMemLib4(uint64_t(at + 4), 0, &fault, nullptr), 0x88776655u);
        EXPECT_EQ(ReadMemLib8(uint64_t(at), 0, &fault, nullptr), 0x8877665544332211ull);
        EXPECT_EQ(fault, start);
    }
    EXPECT_EQ(ReadMemLib4(uint64_t(at), 0, nullptr, nullptr), 0x44332211u);
    WriteMemLib2(0xBEEF, uint64_t(at + 1), nullptr);
    EXPECT_EQ(ReadMemLib4(uint64_t(at), 0, nullptr, nullptr), 0x44BEEF11u);
}

TEST_F(Fault, GuardedReadsThatFault) {
    guarded_pages g(1);
    sigset_t before = current_mask();
    struct tcase {
        int width;
        long offset;  // from the start of the unreadable page
    } cases[] = {{8, -4}, {8, -1}, {4, -2}, {2, -1}, {1, 0}, {8, 0}, {4, 100}};
    for (auto& c : cases) {
        for (int again = 0; again < 2; again++) {  // right after one another
            bool fault = false;
            uint64_t a = uint64_t(g.hole() + c.offset);
            uint64_t v = 1;
            switch (c.width) {
            case 1: v = ReadMemLib1(a, 0, &fault, nullptr); break;
            case 2: v = ReadMemLib2(a, 0, &fault, nullptr); break;
            case 4: v = ReadMemLib4(a, 0, &fault, nullptr); break;
            default: v = ReadMemLib8(a, 0, &fault, nullptr); break;
            }
            EXPECT_TRUE(fault) << c.width << " at " << c.offset;
            EXPECT_EQ(v, 0u);
            EXPECT_EQ(SVEFaultRegion, 0u);
            EXPECT_TRUE(same_mask(before, current_mask()));
        }
    }
}

// A fault that reaches SVESigHandler through another action, one that blocks SIGSEGV and SIGUSR1
// while it runs (the way a framework forwards signals), still leaves the guarded read with the
// signal mask of its start.
void forward_to_emulator(int sig, siginfo_t* info, void* context) { SVESigHandler(sig, info, context); }

TEST_F(Fault, GuardedReadRestoresTheMaskUnderAForwardingAction) {
    guarded_pages g(1);
    struct sigaction fwd = {}, old;
    fwd.sa_sigaction = forward_to_emulator;
    fwd.sa_flags = SA_SIGINFO;  // no SA_NODEFER: SIGSEGV is blocked inside the handler
    sigemptyset(&fwd.sa_mask);
    sigaddset(&fwd.sa_mask, SIGUSR1);
    sigaction(SIGSEGV, &fwd, &old);
    sigset_t usr2, before_block;
    sigemptyset(&usr2);
    sigaddset(&usr2, SIGUSR2);
    pthread_sigmask(SIG_BLOCK, &usr2, &before_block);  // a mask of the application's own
    sigset_t before = current_mask();
    for (int again = 0; again < 2; again++) {
        bool fault = false;
        EXPECT_EQ(ReadMemLib4(uint64_t(g.hole()), 0, &fault, nullptr), 0u);
        EXPECT_TRUE(fault);
        sigset_t now = current_mask();
        EXPECT_TRUE(same_mask(before, now));
        EXPECT_FALSE(sigismember(&now, SIGSEGV));
        EXPECT_FALSE(sigismember(&now, SIGUSR1));
        EXPECT_TRUE(sigismember(&now, SIGUSR2));
    }
    sigaction(SIGSEGV, &old, nullptr);
    pthread_sigmask(SIG_SETMASK, &before_block, nullptr);
}

TEST_F(Fault, ProbeTellsReadableFromNot) {
    guarded_pages g(1);
    void* action = segv_action();
    EXPECT_TRUE(addr_is_readable<char>(reinterpret_cast<volatile char*>(g.base)));
    EXPECT_TRUE(addr_is_readable<char>(reinterpret_cast<volatile char*>(g.hole() - 1)));
    EXPECT_FALSE(addr_is_readable<char>(reinterpret_cast<volatile char*>(g.hole())));
    EXPECT_FALSE(addr_is_readable<char>(reinterpret_cast<volatile char*>(g.hole() + 77)));
    EXPECT_TRUE(addr_is_readable<char>(reinterpret_cast<volatile char*>(g.base + 5)));
    EXPECT_EQ(segv_action(), action) << "the probe leaves the SIGSEGV action as it found it";
}

TEST_F(Fault, ProbeWorksWhenTheApplicationReplacedTheHandler) {
    guarded_pages g(1);
    struct sigaction mine = {}, saved;
    mine.sa_handler = SIG_IGN;  // a fault under this action ends the process
    sigaction(SIGSEGV, &mine, &saved);
    bool unreadable = addr_is_readable<char>(reinterpret_cast<volatile char*>(g.hole()));
    bool readable = addr_is_readable<char>(reinterpret_cast<volatile char*>(g.base));
    struct sigaction after;
    sigaction(SIGSEGV, &saved, &after);
    EXPECT_FALSE(unreadable);
    EXPECT_TRUE(readable);
    EXPECT_EQ(after.sa_handler, SIG_IGN) << "the application's action is given back";
}

TEST_F(Fault, HostEntryPointsKeepNoMemory) {
    bool fault = true;
    EXPECT_EQ(ReadMem(0, 8, 0, &fault, nullptr), 0u);
    EXPECT_FALSE(fault);
    fault = true;
    EXPECT_EQ(ReadMemSim(0, 4, 1, &fault, true, nullptr), 0u);
    EXPECT_FALSE(fault);
    WriteMem(1, 0, 8, nullptr);  // would fault if it touched address 0
    WriteMemSim(1, 0, 8, true, nullptr);
}

TEST_F(Fault, ManyThreadsAtOnce) {
    guarded_pages g(1);
    g.base[10] = 0x5A;
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; t++) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 2000; i++) {
                bool bad = (i + t) % 2 == 0;
                bool fault = false;
                uint64_t a = bad ? uint64_t(g.hole() + (i % 64)) : uint64_t(g.base + 10);
                uint8_t v = ReadMemLib1(a, 0, &fault, nullptr);
                if (fault != bad || (!bad && v != 0x5A)) wrong++;
                bool readable = addr_is_readable<char>(reinterpret_cast<volatile char*>(a));
                if (readable == bad) wrong++;
            }
        });
    }
    for (auto& th : threads) th.join();
    EXPECT_EQ(wrong.load(), 0);
}

using FaultDeathTest = Fault;

TEST_F(FaultDeathTest, UncontainedLoadEndsTheProcessWithSigsegv) {
    guarded_pages g(1);
    EXPECT_EXIT(
        {
            cpu_state s = {};
            s.p[0][0] = 1;  // one active byte lane, on the unreadable page
            s.x[1] = uint64_t(g.hole());
            run_word(&s, 0xA400A020);  // ld1b {z0.b}, p0/z, [x1]
            std::exit(0);
        },
        testing::KilledBySignal(SIGSEGV),
        "tarnel's SVESigHandler caught signal SIGSEGV from the process being emulated, passing it to the default "
        "signal handler.");
}

TEST_F(FaultDeathTest, UncontainedSigbusEndsTheProcessWithSigbus) {
    char path[] = "/tmp/sve_sigbus_XXXXXX";
    int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(ftruncate(fd, 16), 0);
    long page = sysconf(_SC_PAGESIZE);
    // The second page of the mapping lies wholly beyond the end of the file.
    uint8_t* m = static_cast<uint8_t*>(mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0));
    ASSERT_NE(m, MAP_FAILED);
    unlink(path);
    EXPECT_EXIT(
        {
            cpu_state s = {};
            std::memset(s.p[0], 1, SVE_VL_BYTES);
            s.x[1] = uint64_t(m + page);
            run_word(&s, 0xA400A020);  // ld1b {z0.b}, p0/z, [x1]
            std::exit(0);
        },
        testing::KilledBySignal(SIGBUS), "caught signal SIGBUS from the process being emulated");
    munmap(m, 2 * page);
    close(fd);
}

TEST_F(FaultDeathTest, AllFalsePredicateOnUnmappedBaseNeitherFaultsNorTraces) {
    guarded_pages g(1);
    cpu_state s = {};
    std::memset(s.z[0], 0xAB, SVE_VL_BYTES);
    s.x[1] = uint64_t(g.hole());
    enable_trace = true;
    clear_captured_records();
    EXPECT_EQ(run_word(&s, 0xA400A020), RC_DONE);  // ld1b {z0.b}, p0/z, [x1]: zeroes z0
    EXPECT_EQ(run_word(&s, 0xE400E020), RC_DONE);  // st1b {z0.b}, p0, [x1]
    enable_trace = false;
    for (int i = 0; i < SVE_VL_BYTES; i++) ASSERT_EQ(s.z[0][i], 0) << i;
    EXPECT_TRUE(captured_records().empty());
}

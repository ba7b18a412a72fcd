// libmemtrace_sve_utils: receives the emulator's trace records and writes them to a trace file.
//
// Every thread fills a buffer of its own and writes it to the file with one append when it is
// full, when the thread ends, and at sve_exit. Appends of whole buffers to a file opened with
// O_APPEND do not interleave, so the hot path takes no lock: a record costs one atomic increment
// (incr_count) and a copy into the thread's buffer.
//
// A child made by fork gets a trace file of its own (see reopen_in_child): it never writes into
// the parent's file, and the records the parent had buffered at the fork stay the parent's.
#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "companion/trace_file.h"
#include "sve/memory/trace.h"

namespace {

constexpr uint32_t RECORDS_PER_BUFFER = 1024;

// A thread's buffer. Buffers are never freed: when a thread ends its buffer is flushed and
// released, and the next new thread takes it over.
struct thread_buffer {
    std::atomic<bool> owned{false};
    thread_buffer* next = nullptr;
    uint32_t used = 0;
    sve_mem_ref_t rec[RECORDS_PER_BUFFER];
};

std::atomic<uint64_t> counter{0};
std::atomic<int> trace_fd{-1};
std::atomic<uint64_t> records_written{0};
std::atomic<thread_buffer*> all_buffers{nullptr};
char trace_app_name[256];  // of sve_init, for the header of a child's file
char trace_path[4096];     // the file being written

void write_all(int fd, const void* data, size_t bytes) {
    const char* p = static_cast<const char*>(data);
    while (bytes > 0) {
        ssize_t n = write(fd, p, bytes);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return;  // the disk is full or the file is gone: nothing better to do
        p += n;
        bytes -= size_t(n);
    }
}

void flush(thread_buffer* b) {
    int fd = trace_fd.load(std::memory_order_acquire);
    if (b->used == 0) return;
    if (fd >= 0) {
        write_all(fd, b->rec, b->used * sizeof(sve_mem_ref_t));
        records_written.fetch_add(b->used, std::memory_order_relaxed);
    }
    b->used = 0;
}

thread_buffer* claim_buffer() {
    for (thread_buffer* b = all_buffers.load(std::memory_order_acquire); b; b = b->next) {
        bool expected = false;
        if (!b->owned.load(std::memory_order_relaxed) && b->owned.compare_exchange_strong(expected, true)) return b;
    }
    thread_buffer* b = static_cast<thread_buffer*>(std::calloc(1, sizeof(thread_buffer)));
    if (!b) return nullptr;
    new (b) thread_buffer;
    b->owned.store(true, std::memory_order_relaxed);
    thread_buffer* head = all_buffers.load(std::memory_order_relaxed);
    do b->next = head;
    while (!all_buffers.compare_exchange_weak(head, b, std::memory_order_release, std::memory_order_relaxed));
    return b;
}

// The calling thread's buffer, flushed and released when the thread ends.
struct thread_slot {
    thread_buffer* buf = nullptr;
    ~thread_slot() {
        if (!buf) return;
        flush(buf);
        buf->owned.store(false, std::memory_order_release);
    }
};
thread_local thread_slot slot;

void close_trace() {
    int fd = trace_fd.load(std::memory_order_acquire);
    if (fd < 0) return;
    for (thread_buffer* b = all_buffers.load(std::memory_order_acquire); b; b = b->next) flush(b);
    uint64_t n = records_written.load();
    // pwrite on a descriptor in append mode would append: leave append mode first.
    fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) & ~O_APPEND);
    pwrite(fd, &n, sizeof n, offsetof(sve_trace_header, records));
    trace_fd.store(-1, std::memory_order_release);
    close(fd);
}

// A process that ends without sve_exit still gets its records written.
struct at_unload {
    ~at_unload() { close_trace(); }
} at_unload_instance;

// Creates the trace file at `path` and writes its header; false (with a message) if it cannot.
bool open_trace(const char* path, const char* name) {
    int fd = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0644);
    if (fd < 0) {
        std::fprintf(stderr, "memtrace_sve_utils: cannot create trace file %s: %s\n", path, std::strerror(errno));
        return false;
    }
    sve_trace_header h = {};
    std::memcpy(h.magic, SVE_TRACE_MAGIC, sizeof h.magic);
    h.version = SVE_TRACE_VERSION;
    h.name_bytes = uint32_t(std::strlen(name));
    h.header_bytes = uint32_t(sizeof h + (h.name_bytes + 7) / 8 * 8);
    h.vl_bytes = SVE_VL_BYTES;
    h.record_bytes = sizeof(sve_mem_ref_t);
    h.pid = uint32_t(getpid());
    write_all(fd, &h, sizeof h);
    write_all(fd, name, h.name_bytes);
    static const char zeros[8] = {};
    write_all(fd, zeros, h.header_bytes - sizeof h - h.name_bytes);
    std::snprintf(trace_path, sizeof trace_path, "%s", path);
    records_written.store(0);
    trace_fd.store(fd, std::memory_order_release);
    return true;
}

// In the child of a fork (one thread, a copy of the parent's memory): the records buffered at
// the fork are the parent's, which writes them itself, so they are dropped here; the inherited
// descriptor is the parent's file, so it is closed without touching the file, and the child
// traces into a file named after the parent's with ".<child pid>" added.
void reopen_in_child() {
    int fd = trace_fd.exchange(-1);
    if (fd < 0) return;
    close(fd);
    for (thread_buffer* b = all_buffers.load(std::memory_order_relaxed); b; b = b->next) b->used = 0;
    char path[sizeof trace_path + 16];
    std::snprintf(path, sizeof path, "%s.%d", trace_path, int(getpid()));
    open_trace(path, trace_app_name);
}

}  // namespace

extern "C" bool sve_init(int, const char* app_name) {
    if (trace_fd.load() >= 0) return true;
    char path_buf[64];
    const char* path = std::getenv("SVE_TRACE_FILE");
    if (!path || !*path) {
        std::snprintf(path_buf, sizeof path_buf, "sve_trace.%d.bin", int(getpid()));
        path = path_buf;
    }
    const char* name = app_name ? app_name : "";
    std::snprintf(trace_app_name, sizeof trace_app_name, "%s", name);
    static bool fork_handler = false;
    if (!fork_handler) fork_handler = pthread_atfork(nullptr, nullptr, reopen_in_child) == 0;
    return open_trace(path, name);
}

extern "C" void sve_exit() { close_trace(); }

extern "C" uint64_t incr_count() { return counter.fetch_add(1, std::memory_order_relaxed) + 1; }

void trace_mem(const sve_mem_ref_t& ref) {
    thread_slot& s = slot;
    if (!s.buf) {
        if (trace_fd.load(std::memory_order_relaxed) < 0) return;
        s.buf = claim_buffer();
        if (!s.buf) return;
    }
    thread_buffer* b = s.buf;
    b->rec[b->used++] = ref;
    if (b->used == RECORDS_PER_BUFFER) flush(b);
}

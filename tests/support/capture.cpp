#include "tests/support/capture.h"

#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <mutex>

namespace {
std::mutex records_lock;
std::vector<sve_mem_ref_t> records;
std::atomic<uint64_t> counter{0};
}  // namespace

extern "C" uint64_t incr_count() { return ++counter; }
void trace_mem(const sve_mem_ref_t& r) {
    std::lock_guard<std::mutex> g(records_lock);
    records.push_back(r);
}

std::vector<sve_mem_ref_t> captured_records() {
    std::lock_guard<std::mutex> g(records_lock);
    return records;
}
void clear_captured_records() {
    std::lock_guard<std::mutex> g(records_lock);
    records.clear();
}

guarded_pages::guarded_pages(size_t readable_pages) {
    size_t page = size_t(sysconf(_SC_PAGESIZE));
    readable = readable_pages * page;
    void* m = mmap(nullptr, readable + page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    base = static_cast<uint8_t*>(m);
    mprotect(base + readable, page, PROT_NONE);
}
guarded_pages::~guarded_pages() { munmap(base, readable + size_t(sysconf(_SC_PAGESIZE))); }

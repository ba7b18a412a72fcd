#include "tools/sve-trace/count_order.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <functional>

namespace sve_trace {

namespace {

constexpr size_t RUN_BUFFER = 64;     // records read at a time from each run
constexpr size_t SCAN_BUFFER = 4096;  // records read at a time by the scan for runs

using heap_less = std::greater<std::pair<uint64_t, uint32_t>>;  // a min-heap

// A slot that a writer reserved and never filled is all zero; every record has a count or a
// thread id (a thread record has count 0).
bool filled(const sve_mem_ref_t& r) { return r.count != 0 || r.thread_id != 0; }

// Reads up to `n` slots from position `at`; false with `error` when the file is shorter.
bool read_slots(const count_merge& m, uint64_t at, size_t n, std::vector<sve_mem_ref_t>& buf, std::string& error) {
    buf.resize(n);
    size_t want = n * sizeof(sve_mem_ref_t);
    ssize_t got = pread(m.fd, buf.data(), want, off_t(m.first_byte + at * sizeof(sve_mem_ref_t)));
    if (got != ssize_t(want)) {
        error = got < 0 ? std::strerror(errno) : "the file changed while it was read";
        return false;
    }
    return true;
}

// The next filled slots of a run into its buffer (none left: an empty buffer).
bool refill(count_merge& m, count_merge::run& r, std::string& error) {
    r.pos = 0;
    r.buf.clear();
    while (r.buf.empty() && r.next < r.end) {
        size_t n = size_t(std::min<uint64_t>(RUN_BUFFER, r.end - r.next));
        if (!read_slots(m, r.next, n, r.buf, error)) return false;
        r.next += n;
        r.buf.erase(std::remove_if(r.buf.begin(), r.buf.end(), [](const sve_mem_ref_t& x) { return !filled(x); }),
                    r.buf.end());
    }
    return true;
}

}  // namespace

bool start_merge(const context& c, count_merge& m, std::string& error) {
    if (c.s->file_bytes == 0) {
        error = "records out of count order can only be sorted in a regular file";
        return false;
    }
    m.fd = fileno(c.s->file);
    m.first_byte = c.s->header.header_bytes;
    const uint64_t slots = c.s->records;
    // The runs: a new one wherever a count falls below the last filled slot's.
    std::vector<uint64_t> bounds = {0};
    std::vector<sve_mem_ref_t> buf;
    uint64_t last = 0;
    bool any = false;
    for (uint64_t at = 0; at < slots; at += buf.size()) {
        if (!read_slots(m, at, size_t(std::min<uint64_t>(SCAN_BUFFER, slots - at)), buf, error)) return false;
        for (size_t i = 0; i < buf.size(); i++) {
            if (!filled(buf[i])) continue;
            if (any && buf[i].count < last) bounds.push_back(at + i);
            last = buf[i].count, any = true;
        }
    }
    bounds.push_back(slots);
    for (size_t i = 0; i + 1 < bounds.size(); i++) {
        m.runs.push_back({bounds[i], bounds[i + 1], {}, 0});
        if (!refill(m, m.runs.back(), error)) return false;
        if (!m.runs.back().buf.empty()) m.heap.push_back({m.runs.back().buf[0].count, uint32_t(i)});
    }
    std::make_heap(m.heap.begin(), m.heap.end(), heap_less());
    return true;
}

const sve_mem_ref_t* next_by_count(count_merge& m, std::string& error) {
    if (m.heap.empty()) return nullptr;
    std::pop_heap(m.heap.begin(), m.heap.end(), heap_less());
    count_merge::run& r = m.runs[m.heap.back().second];
    m.held = r.buf[r.pos++];  // a copy: the refill below overwrites the buffer
    if (r.pos == r.buf.size() && !refill(m, r, error)) return nullptr;
    if (r.buf.empty()) {
        m.heap.pop_back();
    } else {
        m.heap.back().first = r.buf[r.pos].count;
        std::push_heap(m.heap.begin(), m.heap.end(), heap_less());
    }
    return &m.held;
}

}  // namespace sve_trace

#include "tools/sve-trace/trace_stream.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>

namespace sve_trace {

namespace {

// Above this size a read shows its progress when stderr is a terminal.
constexpr uint64_t PROGRESS_BYTES = 64ull << 20;

std::string plural(uint64_t n, const char* word) {
    return std::to_string(n) + " " + word + (n == 1 ? "" : "s");
}

void show_progress(trace_stream& s) {
    if (!s.progress || s.records == 0) return;
    int percent = int(s.records_read * 100 / s.records);
    if (percent == s.last_percent) return;
    s.last_percent = percent;
    std::fprintf(stderr, "\rsve-trace: %s: %3d%%", s.path.c_str(), percent);
    if (percent == 100) std::fprintf(stderr, "\r\033[K");
    std::fflush(stderr);
}

}  // namespace

bool open_trace(trace_stream& s, const char* path, std::string& error) {
    s.path = path;
    s.file = std::fopen(path, "rb");
    if (!s.file) {
        error = std::strerror(errno);
        return false;
    }
    struct stat st;
    bool regular = fstat(fileno(s.file), &st) == 0 && S_ISREG(st.st_mode);
    if (regular && st.st_size == 0) {
        error = "empty file, not a trace";
        return false;
    }
    size_t got = std::fread(&s.header, 1, sizeof s.header, s.file);
    if (got == 0) {
        error = "empty file, not a trace";
        return false;
    }
    // The magic first: a short file of another kind is another format, not a truncated trace.
    if (std::memcmp(s.header.magic, SVE_TRACE_MAGIC, got < 8 ? got : 8) != 0) {
        error = "not a trace file (bad magic)";
        return false;
    }
    if (got < sizeof s.header) {
        error = "truncated header: " + plural(got, "byte") + ", the header alone has 40";
        return false;
    }
    const sve_trace_header& h = s.header;
    if (h.version < SVE_TRACE_VERSION_MIN || h.version > SVE_TRACE_VERSION) {
        error = "trace format version " + std::to_string(h.version) + ", this tool reads versions " +
                std::to_string(SVE_TRACE_VERSION_MIN) + " to " + std::to_string(SVE_TRACE_VERSION);
        return false;
    }
    if (h.record_bytes != sizeof(sve_mem_ref_t)) {
        error = "records of " + std::to_string(h.record_bytes) + " bytes, expected " +
                std::to_string(sizeof(sve_mem_ref_t));
        return false;
    }
    if (h.header_bytes < sizeof h + h.name_bytes || h.header_bytes % 8 != 0 || h.name_bytes > (1u << 20) ||
        h.header_bytes > sizeof h + h.name_bytes + 4096) {
        error = "corrupt header (header size " + std::to_string(h.header_bytes) + ", name length " +
                std::to_string(h.name_bytes) + ")";
        return false;
    }
    std::string rest(h.header_bytes - sizeof h, '\0');
    if (std::fread(rest.data(), 1, rest.size(), s.file) != rest.size()) {
        error = "truncated header: the application name is cut short";
        return false;
    }
    s.app_name.assign(rest.data(), h.name_bytes);
    if (h.version >= 2) {
        // The header counts the slots; the file may be longer (room reserved by a writer that
        // never finished), never shorter.
        s.records = h.records;
        s.records_known = true;
    }
    if (regular) {
        s.file_bytes = uint64_t(st.st_size);
        uint64_t body = s.file_bytes - h.header_bytes;
        if (h.version >= 2 && body / sizeof(sve_mem_ref_t) < s.records) {
            error = "truncated: the header counts " + plural(s.records, "record") + ", the file holds " +
                    plural(body / sizeof(sve_mem_ref_t), "whole record");
            return false;
        }
        if (h.version < 2) {
            s.records = body / sizeof(sve_mem_ref_t);
            s.records_known = true;
            if (body % sizeof(sve_mem_ref_t) != 0) {
                error = "truncated: " + plural(s.records, "whole record") + ", then a partial record of " +
                        plural(body % sizeof(sve_mem_ref_t), "byte");
                return false;
            }
        }
        s.progress = s.file_bytes >= PROGRESS_BYTES && isatty(2);
    }
    return true;
}

bool rewind_trace(trace_stream& s, std::string& error) {
    if (!s.started) return true;  // still at the first record: a pipe can be read once
    if (std::fseek(s.file, long(s.header.header_bytes), SEEK_SET) != 0) {
        error = "cannot read the file twice (not a regular file?)";
        return false;
    }
    s.records_read = 0;
    s.last_percent = -1;
    return true;
}

size_t read_chunk(trace_stream& s, std::string& error) {
    s.started = true;
    const size_t capacity = sizeof s.chunk / sizeof(sve_mem_ref_t);
    for (;;) {
        size_t want = capacity;
        if (s.records_known && s.records - s.records_read < want) want = size_t(s.records - s.records_read);
        if (want == 0) return 0;
        size_t bytes = std::fread(s.chunk, 1, want * sizeof(sve_mem_ref_t), s.file);
        size_t n = bytes / sizeof(sve_mem_ref_t);
        if (bytes % sizeof(sve_mem_ref_t) != 0 && std::feof(s.file)) {
            // Only a stream of unknown size gets here: a regular file was checked at the start.
            error = "truncated: " + plural(s.records_read + n, "whole record") + ", then a partial record of " +
                    plural(bytes % sizeof(sve_mem_ref_t), "byte");
            return 0;
        }
        if (bytes == 0 && std::ferror(s.file)) {
            error = std::strerror(errno);
            return 0;
        }
        if (n == 0 && s.records_known) {
            error = "truncated: the header counts " + plural(s.records, "record") + ", the stream holds " +
                    plural(s.records_read, "whole record");
            return 0;
        }
        s.records_read += n;
        show_progress(s);
        size_t kept = 0;
        for (size_t i = 0; i < n; i++)
            if (!is_unwritten_slot(s.chunk[i])) s.chunk[kept++] = s.chunk[i];
        if (kept || n == 0) return kept;
    }
}

void close_trace(trace_stream& s) {
    if (s.file) std::fclose(s.file);
    s.file = nullptr;
}

bool read_trace_file(const char* path, trace_contents& out, std::string& error) {
    error.clear();
    std::unique_ptr<trace_stream> s(new trace_stream);  // its chunk is too big for a stack
    bool ok = open_trace(*s, path, error);
    if (ok) {
        out.header = s->header;
        out.app_name = s->app_name;
        out.records.clear();
        size_t n;
        while ((n = read_chunk(*s, error)) > 0) out.records.insert(out.records.end(), s->chunk, s->chunk + n);
        ok = error.empty();
    }
    close_trace(*s);
    return ok;
}

}  // namespace sve_trace

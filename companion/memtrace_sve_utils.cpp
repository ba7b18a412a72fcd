// libmemtrace_sve_utils: receives the emulator's trace records and writes them to a trace file.
//
// The file is a shared mapping, grown in chunks. A thread claims a block of record slots at a
// time (under a lock) and then copies each record straight into the file's pages: no buffer of
// the process ever needs writing out, so the records are in the file however the process ends
// (exit, _exit, a fatal signal, exec). The header's record count lives in the mapping too and is
// raised before a block is handed out, so it is right at any moment; slots that a thread claimed
// but did not fill stay zero, and readers skip them (see README.md).
//
// The file is created only when a name is given (SVE_TRACE_FILE) or, under the default name, at
// the first record; a file already being written by a living process is never shared: this
// process then writes under a name with its pid added. A file that cannot be created costs one
// warning, and the program runs on untraced.
//
// A child made by fork gets a trace file of its own (see reopen_in_child).
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "companion/trace_file.h"
#include "companion/trace_name.h"
#include "sve/memory/trace.h"

namespace {

constexpr uint64_t BLOCK_RECORDS = 64;       // slots a thread claims at a time
constexpr uint64_t CHUNK_RECORDS = 65536;    // slots per mapping: 3 MiB, a multiple of any page size
constexpr uint64_t CHUNK_BYTES = CHUNK_RECORDS * sizeof(sve_mem_ref_t);
constexpr uint32_t MAX_CHUNKS = 16384;       // 48 GiB of records
static_assert(CHUNK_RECORDS % BLOCK_RECORDS == 0, "a block never spans two mappings");
constexpr size_t PATH_BYTES = 4096;

enum trace_state { not_opened, opened, closed };

// The file being written. Changed only under `lock`.
struct trace_output {
    int fd = -1;
    uint32_t header_bytes = 0;
    sve_trace_header* header = nullptr;  // in the mapping of chunk 0
    sve_mem_ref_t* chunk[MAX_CHUNKS];    // the records of each mapped chunk
    char path[PATH_BYTES + 32];          // the file
};

pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
std::atomic<int> state{closed};
// Raised whenever the file changes (open, close, fork), so that threads drop their blocks.
std::atomic<uint32_t> generation{1};
trace_output out;
char name_pattern[PATH_BYTES];  // SVE_TRACE_FILE, or the default name
char trace_app_name[256];       // of sve_init, for the header of a later or a child's file
std::atomic<uint64_t> counter{0};

// The calling thread's block of slots in the file of generation `gen`.
struct thread_trace {
    sve_mem_ref_t* next;
    uint32_t left;
    uint32_t gen;  // the file's generation when the thread last claimed a block; 0 = none
};
thread_local thread_trace this_thread;

uint32_t self_id() { return uint32_t(uint64_t(pthread_self())); }

void warn(const char* what, const char* path, int err) {
    std::fprintf(stderr, "memtrace_sve_utils: %s %s: %s; the program runs on untraced\n", what, path,
                 std::strerror(err));
}

// Gives the file room up to the end of chunk `c` and maps that chunk. On disks that support it
// the space is reserved, so that a full disk shows here and not as SIGBUS on a later store. The
// mapping is populated at once: one call instead of a read fault per page on the hot path.
bool map_chunk(uint32_t c) {
    off_t start = off_t(out.header_bytes + c * CHUNK_BYTES);
    off_t end = start + off_t(CHUNK_BYTES);
    int err = posix_fallocate(out.fd, start, off_t(CHUNK_BYTES));
    if (err == EOPNOTSUPP || err == EINVAL) err = ftruncate(out.fd, end) == 0 ? 0 : errno;
    if (err) {
        warn("cannot extend the trace file", out.path, err);
        return false;
    }
    long page = sysconf(_SC_PAGESIZE);
    off_t aligned = start & ~off_t(page - 1);
    size_t skip = size_t(start - aligned);
    void* m = mmap(nullptr, CHUNK_BYTES + skip, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_POPULATE, out.fd, aligned);
    if (m == MAP_FAILED) {
        warn("cannot map the trace file", out.path, errno);
        return false;
    }
    out.chunk[c] = reinterpret_cast<sve_mem_ref_t*>(static_cast<char*>(m) + skip);
    if (c == 0) out.header = static_cast<sve_trace_header*>(m);
    return true;
}

// Is the trace file open as `fd` written by a living process? Its pid is stored in `pid`.
bool writer_alive(int fd, int& pid) {
    sve_trace_header h;
    if (pread(fd, &h, sizeof h, 0) != ssize_t(sizeof h) || std::memcmp(h.magic, SVE_TRACE_MAGIC, 8) != 0) return false;
    pid = int(h.pid);
    if (pid <= 0) return false;
    return kill(pid_t(h.pid), 0) == 0 || errno == EPERM;
}

enum place_result { placed, taken, place_failed };

// Gives the prepared (locked) file `tmp` the name `path`, unless a living process writes there.
// A file left by a process that has ended is replaced. The writer holds a lock on its file, which
// settles races between processes that start at once; a process that replaced itself by exec has
// lost its lock but is still alive, so its file is kept too.
place_result place_file(const char* tmp, const char* path, int& owner) {
    for (int attempt = 0; attempt < 16; attempt++) {
        if (link(tmp, path) == 0) {
            unlink(tmp);
            return placed;
        }
        if (errno != EEXIST) {
            // No hard links here (some file systems): take the name only if it is free.
            if (errno != EPERM && errno != EOPNOTSUPP) return place_failed;
            if (access(path, F_OK) == 0) return taken;
            return rename(tmp, path) == 0 ? placed : place_failed;
        }
        int fd = open(path, O_RDWR | O_CLOEXEC);
        if (fd < 0) {
            if (errno == ENOENT) continue;  // gone meanwhile: try again
            return taken;                   // someone else's file that this process may not write
        }
        struct flock fl = {};
        fl.l_type = F_WRLCK;
        fl.l_whence = SEEK_SET;
        bool locked = fcntl(fd, F_SETLK, &fl) == 0;
        struct stat a, b;
        bool same = fstat(fd, &a) == 0 && stat(path, &b) == 0 && a.st_dev == b.st_dev && a.st_ino == b.st_ino;
        if (!same) {  // replaced meanwhile: look again
            close(fd);
            continue;
        }
        owner = 0;
        bool alive = writer_alive(fd, owner);  // reads the writer's pid in either case
        if (!locked || alive) {
            close(fd);
            return taken;
        }
        bool ok = rename(tmp, path) == 0;
        close(fd);
        return ok ? placed : place_failed;
    }
    return taken;
}

// Creates this process's trace file under `path` (or `path`.<pid>, `path`.<pid>.2, ... when a
// living process writes `path`), maps its first chunk and writes the header. Under `lock`.
bool open_output(const char* path) {
    // The file is made beside its name and then linked into place, which only suits a regular
    // file. A name that stands for something else (/dev/null, a terminal, a pipe) is never
    // replaced and gets no file beside it: the null device silently takes nothing, anything
    // else gets one warning.
    struct stat st;
    if (stat(path, &st) == 0 && !S_ISREG(st.st_mode)) {
        struct stat null_dev;
        bool is_null = S_ISCHR(st.st_mode) && stat("/dev/null", &null_dev) == 0 && S_ISCHR(null_dev.st_mode) &&
                       st.st_rdev == null_dev.st_rdev;
        if (!is_null) warn("cannot trace into", path, S_ISDIR(st.st_mode) ? EISDIR : EINVAL);
        return false;
    }
    char tmp[PATH_BYTES + 32];
    int pid = int(getpid());
    std::snprintf(tmp, sizeof tmp, "%s.%d.tmp", path, pid);
    out.fd = open(tmp, O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (out.fd < 0) {
        warn("cannot create trace file", path, errno);
        return false;
    }
    struct flock fl = {};
    fl.l_type = F_WRLCK;
    fl.l_whence = SEEK_SET;
    fcntl(out.fd, F_SETLK, &fl);
    std::memset(out.chunk, 0, sizeof out.chunk);
    uint32_t name_bytes = uint32_t(std::strlen(trace_app_name));
    out.header_bytes = uint32_t(sizeof(sve_trace_header) + (name_bytes + 7) / 8 * 8);
    std::snprintf(out.path, sizeof out.path, "%s", tmp);
    if (!map_chunk(0)) {
        close(out.fd);
        unlink(tmp);
        return false;
    }
    sve_trace_header& h = *out.header;
    std::memcpy(h.magic, SVE_TRACE_MAGIC, sizeof h.magic);
    h.version = SVE_TRACE_VERSION;
    h.header_bytes = out.header_bytes;
    h.vl_bytes = SVE_VL_BYTES;
    h.record_bytes = sizeof(sve_mem_ref_t);
    h.pid = uint32_t(pid);
    h.name_bytes = name_bytes;
    h.records = 0;
    std::memcpy(reinterpret_cast<char*>(&h) + sizeof h, trace_app_name, name_bytes);

    char name[PATH_BYTES + 32];
    int owner = 0, err = EEXIST;
    for (int k = 0; k < 100; k++) {
        if (k == 0) std::snprintf(name, sizeof name, "%s", path);
        else if (k == 1) std::snprintf(name, sizeof name, "%s.%d", path, pid);
        else std::snprintf(name, sizeof name, "%s.%d.%d", path, pid, k);
        int owner_k = 0;
        place_result r = place_file(tmp, name, owner_k);
        if (k == 0) owner = owner_k;
        if (r == taken) continue;
        if (r == place_failed) {
            err = errno;
            break;
        }
        std::snprintf(out.path, sizeof out.path, "%s", name);
        if (k > 0)
            std::fprintf(stderr, "memtrace_sve_utils: trace file %s is being written by process %d; this one writes %s\n",
                         path, owner, name);
        return true;
    }
    warn("cannot create trace file", path, err);
    close(out.fd);
    unlink(tmp);
    return false;
}

// Opens the file named by `pattern` for this process. Under `lock`.
void open_pattern(const char* pattern) {
    char path[PATH_BYTES];
    if (!expand_trace_name(pattern, int(getpid()), launcher_rank(), path, sizeof path)) {
        warn("cannot create trace file", pattern, ENAMETOOLONG);
        state.store(closed);
        return;
    }
    generation.fetch_add(1);
    state.store(open_output(path) ? opened : closed);
}

// Ends the file: its size becomes exactly the claimed slots. Threads that still hold a block may
// finish storing into it, which stays inside the file; the mappings are kept for them. Under `lock`.
void close_output() {
    if (state.load() != opened) return;
    generation.fetch_add(1);
    state.store(closed);
    // Should this fail, the size stays a whole chunk; the header still says how many slots count.
    int rc = ftruncate(out.fd, off_t(out.header_bytes + out.header->records * sizeof(sve_mem_ref_t)));
    (void)rc;
    close(out.fd);
    out.fd = -1;
}

// Hands the calling thread a block of slots, opening the file under the default name first if
// none is open yet. A thread's first slot in a file holds its thread record.
bool claim_block(thread_trace& t) {
    if (state.load(std::memory_order_relaxed) == closed) return false;
    pthread_mutex_lock(&lock);
    if (state.load() == not_opened) open_pattern(name_pattern);
    bool ok = state.load() == opened;
    uint32_t gen = generation.load();
    bool first_in_file = t.gen != gen;
    if (ok) {
        uint64_t first = out.header->records;
        uint32_t c = uint32_t(first / CHUNK_RECORDS);
        if (c >= MAX_CHUNKS) {
            std::fprintf(stderr, "memtrace_sve_utils: trace file %s is full; later records are dropped\n", out.path);
            close_output();
            ok = false;
        } else if (!out.chunk[c] && !map_chunk(c)) {
            close_output();
            ok = false;
        } else {
            out.header->records = first + BLOCK_RECORDS;
            t.next = out.chunk[c] + first % CHUNK_RECORDS;
            t.left = BLOCK_RECORDS;
            t.gen = gen;
        }
    }
    pthread_mutex_unlock(&lock);
    if (!ok) return false;
    if (first_in_file) {
        sve_mem_ref_t& r = *t.next++;
        t.left--;
        uint32_t self = self_id();
        r.thread_id = trace_thread_id;
        std::memcpy(r.reserved, &self, sizeof self);
        r.size = uint64_t(syscall(SYS_gettid));
    }
    return true;
}

// A process that ends without sve_exit still gets an exact file size and a closed file.
struct at_unload {
    ~at_unload() {
        pthread_mutex_lock(&lock);
        close_output();
        pthread_mutex_unlock(&lock);
    }
} at_unload_instance;

void before_fork() { pthread_mutex_lock(&lock); }
void after_fork_parent() { pthread_mutex_unlock(&lock); }

// In the child of a fork (one thread, a copy of the parent's memory): the parent's file and
// mappings are the parent's, so the child leaves them alone and traces into a file of its own:
// the pattern again when it names a file per process (%p), else the parent's name with
// ".<child pid>" added. A child whose parent had not opened a file yet opens one lazily too.
void reopen_in_child() {
    pthread_mutex_init(&lock, nullptr);
    generation.fetch_add(1);
    if (state.load() != opened) return;
    close(out.fd);
    out.fd = -1;
    state.store(closed);
    if (names_process(name_pattern)) {
        open_pattern(name_pattern);
        return;
    }
    char path[sizeof out.path + 16];
    std::snprintf(path, sizeof path, "%s.%d", out.path, int(getpid()));
    state.store(open_output(path) ? opened : closed);
}

}  // namespace

extern "C" bool sve_init(int, const char* app_name) {
    static bool fork_handlers = false;
    if (!fork_handlers) fork_handlers = pthread_atfork(before_fork, after_fork_parent, reopen_in_child) == 0;
    pthread_mutex_lock(&lock);
    if (state.load() != opened) {
        std::snprintf(trace_app_name, sizeof trace_app_name, "%s", app_name ? app_name : "");
        const char* given = std::getenv("SVE_TRACE_FILE");
        std::snprintf(name_pattern, sizeof name_pattern, "%s", given && *given ? given : SVE_TRACE_DEFAULT_NAME);
        if (given && *given) open_pattern(name_pattern);
        else state.store(not_opened);
    }
    pthread_mutex_unlock(&lock);
    return true;
}

extern "C" void sve_exit() {
    pthread_mutex_lock(&lock);
    close_output();
    pthread_mutex_unlock(&lock);
}

extern "C" uint64_t incr_count() { return counter.fetch_add(1, std::memory_order_relaxed) + 1; }

void trace_mem(const sve_mem_ref_t& ref) {
    thread_trace& t = this_thread;
    if ((t.left == 0 || t.gen != generation.load(std::memory_order_relaxed)) && !claim_block(t)) return;
    sve_mem_ref_t* r = t.next++;
    t.left--;
    *r = ref;
    if (ref.thread_id == roi_start_id || ref.thread_id == roi_stop_id) {
        uint32_t self = self_id();
        std::memcpy(r->reserved, &self, sizeof self);
    }
}

// The instruction mix, process-wide: configuration from the environment, the registry of the
// threads' tables, merging, and the report at exit.
#include "sve/client/stats.h"

#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <map>
#include <tuple>

__attribute__((visibility("hidden"))) bool stats_enabled;

namespace {

stats_format format = stats_text;
// From the environment, which outlives the report (a string object here could be destroyed
// before the exit event runs). Null or empty: standard error.
const char* file_pattern;

// Threads whose tables are live (beyond MAX_LIVE at once a thread's counts join only when it
// ends), and the counts of those that ended. Only thread start and end and the exit take the lock.
pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
constexpr int MAX_LIVE = 4096;
stats_thread* live[MAX_LIVE];
int n_live;
uint32_t next_thread;
bool finished;
std::map<std::tuple<uint32_t, uint32_t, uint64_t>, stats_entry>* merged;
uint64_t dropped;

void merge_locked(const stats_thread* t) {
    if (!merged) merged = new std::map<std::tuple<uint32_t, uint32_t, uint64_t>, stats_entry>;
    for (const stats_slot& s : t->slot) {
        if (s.pc == 0) continue;
        stats_entry& e = (*merged)[{t->thread, s.region, s.pc}];
        e = {t->thread, t->trace_id, s.region, s.pc, s.word, e.count + s.count};
    }
    dropped += t->dropped;
}

// fork: the child reports what it runs itself. Its tables (the forking thread's and those of
// threads that do not exist in the child) and the merged counts come from the parent: cleared.
void before_fork() { pthread_mutex_lock(&lock); }
void after_fork_parent() { pthread_mutex_unlock(&lock); }
void after_fork_child() {
    for (int i = 0; i < n_live; i++) {
        std::memset(live[i]->slot, 0, sizeof live[i]->slot);
        live[i]->used = 0;
        live[i]->dropped = 0;
    }
    if (merged) merged->clear();
    dropped = 0;
    pthread_mutex_init(&lock, nullptr);
}

}  // namespace

bool stats_configure(std::string& error) {
    const char* f = std::getenv("SVE_STATS");
    if (!f || !*f) return true;
    if (std::strcmp(f, "text") == 0) format = stats_text;
    else if (std::strcmp(f, "csv") == 0) format = stats_csv;
    else if (std::strcmp(f, "json") == 0) format = stats_json;
    else {
        error = std::string("SVE_STATS is ") + f + ", not text, csv or json";
        return false;
    }
    const char* file = std::getenv("SVE_STATS_FILE");
    file_pattern = file;
    stats_enabled = true;
    pthread_atfork(before_fork, after_fork_parent, after_fork_child);
    return true;
}

void stats_thread_start(stats_thread* t) {
    pthread_mutex_lock(&lock);
    t->thread = next_thread++;
    t->trace_id = uint32_t(pthread_self());
    if (n_live < MAX_LIVE) live[n_live++] = t;
    pthread_mutex_unlock(&lock);
}

void stats_thread_end(stats_thread* t) {
    pthread_mutex_lock(&lock);
    for (int i = 0; i < n_live; i++) {
        if (live[i] != t) continue;
        live[i] = live[--n_live];
        break;
    }
    // A thread that ends after the report has nothing left to add to.
    if (!finished) merge_locked(t);
    pthread_mutex_unlock(&lock);
}

void stats_finish() {
    pthread_mutex_lock(&lock);
    // Threads still running: their counts so far.
    for (int i = 0; i < n_live; i++) merge_locked(live[i]);
    n_live = 0;
    finished = true;
    std::vector<stats_entry> entries;
    if (merged)
        for (const auto& kv : *merged) entries.push_back(kv.second);
    pthread_mutex_unlock(&lock);

    FILE* out = stderr;
    std::string name;
    if (file_pattern && *file_pattern) {
        name = stats_file_name(file_pattern, long(getpid()));
        out = std::fopen(name.c_str(), "w");
        if (!out) {
            std::fprintf(stderr, "SVE stats: cannot write %s: %s\n", name.c_str(), std::strerror(errno));
            return;
        }
    }
    stats_symbols* symbols = stats_symbols_load();
    stats_write_report(out, format, entries, dropped, stats_locate, symbols);
    stats_symbols_free(symbols);
    if (out != stderr) std::fclose(out);
    else std::fflush(stderr);
}

std::string stats_file_name(const char* pattern, long pid) {
    std::string out;
    for (const char* p = pattern; *p; p++) {
        if (*p != '%' || (p[1] != 'p' && p[1] != 'r' && p[1] != '%')) {
            out += *p;
            continue;
        }
        p++;
        if (*p == '%') {
            out += '%';
        } else if (*p == 'p') {
            out += std::to_string(pid);
        } else {
            const char* rank = nullptr;
            for (const char* var : {"OMPI_COMM_WORLD_RANK", "PMI_RANK", "PMIX_RANK", "SLURM_PROCID"})
                if (!rank && (rank = std::getenv(var)) && !*rank) rank = nullptr;
            out += rank ? rank : "0";
        }
    }
    return out;
}

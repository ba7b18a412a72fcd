// The instruction mix's parts: the per-thread table (regions from markers, a full table), the
// readable forms of instruction words, the report file names, and the report's totals.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <regex>

#include "sve/client/stats.h"
#include "sve/core/sve_emulator.h"

// A function of the test program itself, for the places of addresses.
extern "C" __attribute__((noinline)) int stats_test_function(int x) { return x * 3 + 1; }

namespace {

constexpr uint32_t ADD = 0x04A20021;    // add z1.s, z1.s, z2.s
constexpr uint32_t START = 0x2520E020;  // add z0.b, z0.b, #1, lsl #8
constexpr uint32_t STOP = 0x2520E040;   // add z0.b, z0.b, #2, lsl #8

std::unique_ptr<stats_thread> new_table() {
    auto t = std::make_unique<stats_thread>();
    std::memset(t.get(), 0, sizeof(stats_thread));
    return t;
}

// (pc, region) -> count of every used slot.
std::map<std::pair<uint64_t, uint32_t>, uint64_t> counts(const stats_thread& t) {
    std::map<std::pair<uint64_t, uint32_t>, uint64_t> m;
    for (const stats_slot& s : t.slot)
        if (s.pc) m[{s.pc, s.region}] += s.count;
    return m;
}

struct event {
    uint64_t pc;
    uint32_t word;
};

struct table_case {
    const char* what;
    std::vector<event> run;
    std::map<std::pair<uint64_t, uint32_t>, uint64_t> want;
    uint32_t regions, region_after;
};

TEST(StatsTable, RegionsFollowTheMarkers) {
    const table_case cases[] = {
        {"outside", {{0x100, ADD}, {0x100, ADD}, {0x104, ADD}, {0x100, ADD}}, {{{0x100, 0}, 3}, {{0x104, 0}, 1}}, 0, 0},
        {"start and stop belong to their region",
         {{0x10, START}, {0x100, ADD}, {0x20, STOP}, {0x100, ADD}},
         {{{0x10, 1}, 1}, {{0x100, 1}, 1}, {{0x20, 1}, 1}, {{0x100, 0}, 1}},
         1, 0},
        {"a second start opens a new region",
         {{0x10, START}, {0x100, ADD}, {0x10, START}, {0x100, ADD}, {0x100, ADD}, {0x20, STOP}},
         {{{0x10, 1}, 1}, {{0x100, 1}, 1}, {{0x10, 2}, 1}, {{0x100, 2}, 2}, {{0x20, 2}, 1}},
         2, 0},
        {"a stop with no region open counts outside",
         {{0x20, STOP}, {0x100, ADD}},
         {{{0x20, 0}, 1}, {{0x100, 0}, 1}},
         0, 0},
        {"markers on other registers", {{0x10, START + 31}, {0x100, ADD}, {0x20, STOP + 5}},
         {{{0x10, 1}, 1}, {{0x100, 1}, 1}, {{0x20, 1}, 1}}, 1, 0},
        // add z0.b, z0.b, #0, lsl #8 and add z0.h, z0.h, #1, lsl #8 are plain additions.
        {"near misses are no markers", {{0x10, 0x2520E000}, {0x14, 0x2560E020}, {0x18, 0x2520E060}},
         {{{0x10, 0}, 1}, {{0x14, 0}, 1}, {{0x18, 0}, 1}}, 0, 0},
        {"left open", {{0x10, START}, {0x100, ADD}}, {{{0x10, 1}, 1}, {{0x100, 1}, 1}}, 1, 1},
    };
    for (const table_case& c : cases) {
        auto t = new_table();
        for (const event& e : c.run) stats_count(t.get(), e.pc, e.word);
        EXPECT_EQ(counts(*t), c.want) << c.what;
        EXPECT_EQ(t->regions, c.regions) << c.what;
        EXPECT_EQ(t->region, c.region_after) << c.what;
        EXPECT_EQ(t->dropped, 0u) << c.what;
        EXPECT_EQ(t->used, c.want.size()) << c.what;
    }
}

TEST(StatsTable, WordIsKeptPerSlot) {
    auto t = new_table();
    stats_count(t.get(), 0x100, ADD);
    stats_count(t.get(), 0x104, 0xA540A000);
    std::map<uint64_t, uint32_t> words;
    for (const stats_slot& s : t->slot)
        if (s.pc) words[s.pc] = s.word;
    EXPECT_EQ(words, (std::map<uint64_t, uint32_t>{{0x100, ADD}, {0x104, 0xA540A000}}));
}

TEST(StatsTable, FullTableCountsTheRestAsDropped) {
    auto t = new_table();
    // Addresses that collide in the hash as well as ones that don't: every fourth word.
    for (uint64_t i = 0; i < STATS_SLOT_LIMIT; i++) stats_count(t.get(), 0x400000 + 4 * i, ADD);
    EXPECT_EQ(t->used, STATS_SLOT_LIMIT);
    for (int i = 0; i < 5; i++) stats_count(t.get(), 0x900000 + 4 * i, ADD);  // new: no room
    stats_count(t.get(), 0x400000, ADD);                                      // known: counted
    stats_count(t.get(), 0x400000 + 4 * (STATS_SLOT_LIMIT - 1), ADD);
    EXPECT_EQ(t->dropped, 5u);
    auto m = counts(*t);
    EXPECT_EQ(m.size(), size_t(STATS_SLOT_LIMIT));
    EXPECT_EQ((m[{0x400000, 0}]), 2u);
    EXPECT_EQ((m[{0x400000 + 4 * (STATS_SLOT_LIMIT - 1), 0}]), 2u);
}

// Forms as the architecture writes the instructions, with register numbers and immediates
// replaced by their kind.
TEST(StatsForms, KnownWords) {
    const std::pair<uint32_t, const char*> cases[] = {
        {0xA540A000, "ld1w {z.s}, p/z, [x, #imm, mul vl]"},  // ld1w {z0.s}, p0/z, [x0]
        {0xA54A4000, "ld1w {z.s}, p/z, [x, x, lsl #2]"},     // ld1w {z0.s}, p0/z, [x0, x10, lsl #2]
        {0xE540E000, "st1w {z.s}, p, [x, #imm, mul vl]"},    // st1w {z0.s}, p0, [x0]
        {0x65A00000, "fmla z.s, p/m, z.s, z.s"},
        {ADD, "add z.s, z.s, z.s"},
        {0x25A0C023, "add z.s, z.s, #imm"},                  // add z3.s, z3.s, #1
        {0x04A14004, "index z.s, #imm, #imm"},               // index z4.s, #0, #1
        {0x25A00C20, "whilelo p.s, w, w"},                   // whilelo p0.s, w1, w0
        {0x25A01C20, "whilelo p.s, x, x"},                   // whilelo p0.s, x1, x0
        {0x05A5C861, "sel z.s, p, z.s, z.s"},                // sel z1.s, p2, z3.s, z5.s
        {0x252C9000, "setffr"},
        {START, "region start marker"},
        {STOP + 7, "region stop marker"},
        {0xD503201F, "(not an SVE instruction)"},            // nop
    };
    for (const auto& [word, form] : cases) EXPECT_STREQ(stats_form(word), form) << std::hex << word;
}

// Every row has a form of its own kind: a mnemonic, and no register numbers left.
TEST(StatsForms, EveryRowHasAShape) {
    std::regex numbered(R"(\b[zpxwv][0-9]+\b)");
    for (const sve_row_info& row : sve_rows) {
        const char* form = stats_form(sve_row_word(row, 0));
        ASSERT_NE(form, nullptr);
        EXPECT_FALSE(std::regex_search(form, numbered)) << row.name << ": " << form;
        EXPECT_STRNE(form, "(not an SVE instruction)") << row.name;
    }
}

TEST(StatsFileName, Patterns) {
    struct file_case {
        const char* pattern;
        const char* ompi;
        const char* pmi;
        const char* slurm;
        const char* want;
    };
    const file_case cases[] = {
        {"stats.txt", nullptr, nullptr, nullptr, "stats.txt"},
        {"stats.%p.txt", nullptr, nullptr, nullptr, "stats.4321.txt"},
        {"s.%r.%p", nullptr, nullptr, nullptr, "s.0.4321"},
        {"s.%r", nullptr, "3", "9", "s.3"},
        {"s.%r", "5", "3", "9", "s.5"},
        {"s.%r", nullptr, nullptr, "9", "s.9"},
        {"s.%r", "", "7", nullptr, "s.7"},  // an empty variable is not a rank
        {"100%%.%p", nullptr, nullptr, nullptr, "100%.4321"},
        {"a%xb%", nullptr, nullptr, nullptr, "a%xb%"},
    };
    auto set = [](const char* var, const char* value) {
        if (value) setenv(var, value, 1);
        else unsetenv(var);
    };
    unsetenv("PMIX_RANK");
    for (const file_case& c : cases) {
        set("OMPI_COMM_WORLD_RANK", c.ompi);
        set("PMI_RANK", c.pmi);
        set("SLURM_PROCID", c.slurm);
        EXPECT_EQ(stats_file_name(c.pattern, 4321), c.want) << c.pattern;
    }
    set("OMPI_COMM_WORLD_RANK", nullptr);
    set("PMI_RANK", nullptr);
    set("SLURM_PROCID", nullptr);
    setenv("PMIX_RANK", "11", 1);
    EXPECT_EQ(stats_file_name("%r", 1), "11");
    unsetenv("PMIX_RANK");
}

stats_place fake_place(uint64_t pc, void*) {
    return {"f" + std::to_string(pc >> 8) + "+0x" + std::to_string(pc & 0xFF), "f" + std::to_string(pc >> 8)};
}

std::string report(stats_format format, const std::vector<stats_entry>& entries, uint64_t dropped) {
    char* buf = nullptr;
    size_t len = 0;
    FILE* f = open_memstream(&buf, &len);
    stats_write_report(f, format, entries, dropped, fake_place, nullptr);
    std::fclose(f);
    std::string s(buf, len);
    std::free(buf);
    return s;
}

// Lines of the text report that end in `name`, as counts.
std::vector<uint64_t> text_counts(const std::string& text, const std::string& name) {
    std::vector<uint64_t> out;
    std::regex line("^ +([0-9]+) +[0-9.]+%  " + name + "$", std::regex::multiline);
    for (auto it = std::sregex_iterator(text.begin(), text.end(), line); it != std::sregex_iterator(); ++it)
        out.push_back(std::stoull((*it)[1]));
    return out;
}

TEST(StatsReport, SectionsAddUpAndDroppedCountsShow) {
    // Two threads; the same instruction in and outside a region is one line by form, function
    // and address, and two by region.
    const std::vector<stats_entry> entries = {
        {0, 0xa1, 0, 0x100, ADD, 10},
        {0, 0xa1, 1, 0x100, ADD, 5},
        {1, 0xb2, 1, 0x104, 0xA540A000, 7},
        {1, 0xb2, 0, 0x200, START, 1},
    };
    std::string text = report(stats_text, entries, 3);
    EXPECT_NE(text.find("SVE instruction mix: 26 instructions emulated\n"), std::string::npos) << text;
    EXPECT_EQ(text_counts(text, "add z\\.s, z\\.s, z\\.s"), std::vector<uint64_t>{15});
    EXPECT_EQ(text_counts(text, "f1"), std::vector<uint64_t>{22});
    EXPECT_EQ(text_counts(text, "outside regions"), std::vector<uint64_t>{11});
    EXPECT_EQ(text_counts(text, "thread 0 \\(0x000000a1\\), region 1"), std::vector<uint64_t>{5});
    EXPECT_EQ(text_counts(text, "thread 1 \\(0x000000b2\\), region 1"), std::vector<uint64_t>{7});
    EXPECT_EQ(text_counts(text, "0x100  f1\\+0x0  add z\\.s, z\\.s, z\\.s"), std::vector<uint64_t>{15});
    // The dropped executions stand in every section, so that each adds up to the total.
    EXPECT_EQ(text_counts(text, "\\(not counted apart: the thread's table was full\\)"),
              (std::vector<uint64_t>{3, 3, 3, 3, 3}));
    // Forms within each region.
    EXPECT_EQ(text_counts(text, "thread 0 \\(0x000000a1\\), region 1  add z\\.s, z\\.s, z\\.s"),
              std::vector<uint64_t>{5});
    EXPECT_EQ(text_counts(text, "outside regions  add z\\.s, z\\.s, z\\.s"), std::vector<uint64_t>{10});
    EXPECT_EQ(text_counts(text, "outside regions  region start marker"), std::vector<uint64_t>{1});
    // Shares: 15 of 26.
    EXPECT_NE(text.find("  57.69%  add z.s, z.s, z.s\n"), std::string::npos) << text;
}

TEST(StatsReport, CsvQuotesFieldsWithCommas) {
    std::string csv = report(stats_csv, {{0, 0xa1, 0, 0x100, ADD, 4}}, 0);
    EXPECT_NE(csv.find("\nforms,\"add z.s, z.s, z.s\",,,,,,4,100.0000\n"), std::string::npos) << csv;
    EXPECT_NE(csv.find("\ninstructions,0x100,,,0x100,f1+0x0,\"add z.s, z.s, z.s\",4,100.0000\n"), std::string::npos)
        << csv;
    EXPECT_NE(csv.find("\nregions,outside regions,,0,,,,4,100.0000\n"), std::string::npos) << csv;
}

// Places come from the loaded objects' symbol tables: the program's own functions by name and
// offset, a shared library's with its file name, and addresses outside every object as such.
TEST(StatsPlaces, ProgramLibraryAndNowhere) {
    stats_symbols* symbols = stats_symbols_load();
    uint64_t own = reinterpret_cast<uint64_t>(&stats_test_function);
    stats_place p = stats_locate(own, symbols);
    EXPECT_EQ(p.function, "stats_test_function");
    EXPECT_EQ(p.location, "stats_test_function");
    p = stats_locate(own + 4, symbols);
    EXPECT_EQ(p.location, "stats_test_function+0x4");
    EXPECT_EQ(p.function, "stats_test_function");

    uint64_t libc = reinterpret_cast<uint64_t>(dlsym(RTLD_DEFAULT, "getpid"));
    ASSERT_NE(libc, 0u);
    p = stats_locate(libc + 8, symbols);
    EXPECT_TRUE(std::regex_match(p.location, std::regex(R"(\S*getpid\+0x8 \[libc\.so\.6\])"))) << p.location;
    EXPECT_TRUE(std::regex_match(p.function, std::regex(R"(\S*getpid \[libc\.so\.6\])"))) << p.function;

    p = stats_locate(0x10, symbols);
    EXPECT_EQ(p.location, "0x10");
    EXPECT_EQ(p.function, "(no object)");
    stats_symbols_free(symbols);
}

}  // namespace

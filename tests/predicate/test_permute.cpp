// Permutes and data movement, element by element from their definitions: zip, uzp, trn, tbl,
// ext, splice, compact, insr, dup (indexed), unpacks and adr. Words are from the GNU assembler.
#include <string>

#include "tests/predicate/pred_test_util.h"

namespace {
// z2 and z3 hold distinct values in every byte, so any misplaced element shows.
cpu_state sources() {
    cpu_state s = clean_state();
    for (int i = 0; i < SVE_VL_BYTES; i++) {
        s.z[1][i] = uint8_t(0xC0 ^ i);
        s.z[2][i] = uint8_t(i);
        s.z[3][i] = uint8_t(0x80 + i);
    }
    return s;
}
}  // namespace

// Each row: word, element size, and where element e of the result comes from: the element of
// z2 (src 2), of z3 (src 3), of the old z1 (src 1), or zero (src 0).
TEST(Permute, ElementPlacement) {
    struct from {
        int src, elem;
    };
    struct row {
        const char* what;
        uint32_t word;
        int esz;
        from (*f)(int e, int n);
    } rows[] = {
        {"zip2 .d starts at element 5", 0x05e36441, 3, [](int e, int) { return from{2 + (e & 1), 5 + e / 2}; }},
        {"uzp1 .d", 0x05e36841, 3, [](int e, int n) { return e < n / 2 ? from{2, 2 * e} : from{3, 2 * (e - n / 2)}; }},
        {"trn1 .d has 5 pairs", 0x05e37041, 3, [](int e, int) { return from{2 + (e & 1), e & ~1}; }},
        {"ext #0", 0x05200041, 0, [](int e, int) { return from{1, e}; }},
        {"ext #79", 0x05291c41, 0, [](int e, int) { return e == 0 ? from{1, 79} : from{2, e - 1}; }},
        {"ext #80", 0x052a0041, 0, [](int e, int) { return from{1, e}; }},
        {"ext #255", 0x053f1c41, 0, [](int e, int) { return from{1, e}; }},
        {"insr wzr", 0x05243be1, 0, [](int e, int) { return e == 0 ? from{0, 0} : from{1, e - 1}; }},
        {"dup .q[3]", 0x05f02041, 4, [](int, int) { return from{2, 3}; }},
        {"dup .s[15]", 0x05fc2041, 2, [](int, int) { return from{2, 15}; }},
    };
    for (const row& r : rows) {
        cpu_state s = sources();
        cpu_state old = s;
        exec(s, r.word);
        int eb = 1 << r.esz, n = SVE_VL_BYTES / eb;
        for (int e = 0; e < n; e++) {
            from f = r.f(e, n);
            for (int b = 0; b < eb; b++)
                ASSERT_EQ(s.z[1][e * eb + b], f.src ? old.z[f.src][f.elem * eb + b] : 0) << r.what << " element " << e;
        }
    }
}

TEST(Permute, Zip1ReadsItsSourcesBeforeWriting) {
    cpu_state s = sources();
    exec(s, 0x05206000);  // zip1 z0.b, z0.b, z0.b
    for (int i = 0; i < SVE_VL_BYTES; i++) s.z[0][i] = uint8_t(i);
    exec(s, 0x05206000);
    for (int i = 0; i < SVE_VL_BYTES; i++) ASSERT_EQ(s.z[0][i], i / 2) << i;
}

// zip, uzp and trn of Z and P registers at every element size, also with the destination one
// of the sources and with both sources the same register. Element e of the result comes from
// element k of the first (n) or the second (m) source, as the architecture defines them.
TEST(Permute, ZipUzpTrnEverySizeAndAliasing) {
    struct kind {
        const char* name;
        uint32_t op;  // bits 12:10
        void (*at)(int e, int n, bool& second, int& k);
    } kinds[] = {
        {"Zip1", 0, [](int e, int, bool& sec, int& k) { sec = e & 1, k = e / 2; }},
        {"Zip2", 1, [](int e, int n, bool& sec, int& k) { sec = e & 1, k = n / 2 + e / 2; }},
        {"Uzp1", 2, [](int e, int n, bool& sec, int& k) { sec = e >= n / 2, k = 2 * (sec ? e - n / 2 : e); }},
        {"Uzp2", 3, [](int e, int n, bool& sec, int& k) { sec = e >= n / 2, k = 2 * (sec ? e - n / 2 : e) + 1; }},
        {"Trn1", 4, [](int e, int, bool& sec, int& k) { sec = e & 1, k = e & ~1; }},
        {"Trn2", 5, [](int e, int, bool& sec, int& k) { sec = e & 1, k = e | 1; }},
    };
    struct regs {
        int d, n, m;
    } reg_sets[] = {{1, 2, 3}, {2, 2, 3}, {3, 2, 3}, {2, 2, 2}};
    for (bool pred : {false, true}) {
        for (const kind& k : kinds) {
            for (int esz = 0; esz < 4; esz++) {
                for (const regs& r : reg_sets) {
                    uint32_t base = pred ? 0x05204000u : 0x05206000u;
                    uint32_t w = base | uint32_t(esz) << 22 | uint32_t(r.m) << 16 | k.op << 10 | uint32_t(r.n) << 5 | uint32_t(r.d);
                    std::string what = std::string(pred ? "P " : "Z ") + k.name + " size " + std::to_string(esz) +
                                       " d" + std::to_string(r.d) + " n" + std::to_string(r.n) + " m" + std::to_string(r.m);
                    const sve_row_info* row = nullptr;
                    for (const sve_row_info& i : sve_rows)
                        if (i.handler == get_sve_handler(w)) row = &i;
                    ASSERT_NE(row, nullptr) << what;
                    ASSERT_NE(std::string(row->name).find(std::string(k.name) + (pred ? "PP" : "VV")), std::string::npos)
                        << what << " decodes as " << row->name;
                    cpu_state s = sources();
                    for (int i = 0; i < SVE_VL_BYTES; i++) {  // every byte distinct, or 0/1 in P
                        s.p[2][i] = uint8_t((i * 7 + 3) % 5 < 2);
                        s.p[3][i] = uint8_t((i * 3 + 1) % 7 < 3);
                    }
                    cpu_state old = s;
                    exec(s, w);
                    const uint8_t* n_src = pred ? old.p[r.n] : old.z[r.n];
                    const uint8_t* m_src = pred ? old.p[r.m] : old.z[r.m];
                    const uint8_t* got = pred ? s.p[r.d] : s.z[r.d];
                    int eb = 1 << esz, n = SVE_VL_BYTES / eb;
                    for (int e = 0; e < n; e++) {
                        bool second;
                        int from;
                        k.at(e, n, second, from);
                        for (int b = 0; b < eb; b++)
                            ASSERT_EQ(got[e * eb + b], (second ? m_src : n_src)[from * eb + b]) << what << " element " << e;
                    }
                }
            }
        }
    }
}

TEST(Permute, TableLookup) {
    for (bool alias : {false, true}) {
        cpu_state s = sources();
        int zm = alias ? 1 : 3;  // tbl z1.b, {z2.b}, z3.b or z1.b
        for (int e = 0; e < SVE_VL_BYTES; e++) s.z[zm][e] = uint8_t(e == 0 ? 80 : e == 1 ? 79 : e == 2 ? 255 : 79 - e);
        exec(s, alias ? 0x05213041 : 0x05233041);
        EXPECT_EQ(s.z[1][0], 0) << "index 80";
        EXPECT_EQ(s.z[1][1], 79) << "index 79";
        EXPECT_EQ(s.z[1][2], 0) << "index 255";
        for (int e = 3; e < SVE_VL_BYTES; e++) ASSERT_EQ(s.z[1][e], 79 - e) << e;
    }
    cpu_state s = sources();
    set_z<uint32_t>(s, 3, [](int e) { return e == 0 ? 20u : e == 1 ? 19u : 0xFFFFFFFFu; });
    set_z<uint32_t>(s, 2, [](int e) { return 1000u + e; });
    exec(s, 0x05a33041);  // tbl z1.s, {z2.s}, z3.s
    EXPECT_EQ(zget<uint32_t>(s, 1, 0), 0u);
    EXPECT_EQ(zget<uint32_t>(s, 1, 1), 1019u);
    EXPECT_EQ(zget<uint32_t>(s, 1, 2), 0u);
}

TEST(Permute, SpliceAndCompact) {
    auto in = [](std::vector<int> l) {
        return [l](int e) {
            for (int x : l)
                if (x == e) return true;
            return false;
        };
    };
    struct row {
        const char* what;
        std::vector<int> active;
        int first, last;  // segment of z1 that comes first, or first > last for none
    } rows[] = {
        {"all false gives zm", {}, 1, 0},
        {"only the last element", {79}, 79, 79},
        {"first and last copy all of zdn", {0, 79}, 0, 79},
        {"inactive elements in between are copied", {3, 10}, 3, 10},
    };
    for (const row& r : rows) {
        cpu_state s = sources();
        cpu_state old = s;
        set_pred(s, 2, 0, in(r.active));
        exec(s, 0x052c8861);  // splice z1.b, p2, z1.b, z3.b
        int k = 0;
        for (int e = r.first; e <= r.last; e++) ASSERT_EQ(s.z[1][k++], old.z[1][e]) << r.what;
        for (int e = 0; k < SVE_VL_BYTES; e++) ASSERT_EQ(s.z[1][k++], old.z[3][e]) << r.what;
    }
    cpu_state s = sources();
    set_z<uint32_t>(s, 3, [](int e) { return 500u + e; });
    exec(s, 0x05a18861);  // compact z1.s, p2, z3.s with p2 all false
    for (int e = 0; e < 20; e++) ASSERT_EQ(zget<uint32_t>(s, 1, e), 0u);
    set_pred(s, 2, 2, in({1, 5, 19}));
    exec(s, 0x05a18861);
    uint32_t want[20] = {501, 505, 519};
    for (int e = 0; e < 20; e++) ASSERT_EQ(zget<uint32_t>(s, 1, e), want[e]) << e;
    std::memset(s.p[2], 1, SVE_VL_BYTES);
    exec(s, 0x05a18861);  // all active: a copy
    for (int e = 0; e < 20; e++) ASSERT_EQ(zget<uint32_t>(s, 1, e), 500u + e) << e;
}

TEST(Permute, InsertFromGeneralRegister) {
    cpu_state s = sources();
    cpu_state old = s;
    s.x[2] = 0x1122334455667788ull;
    exec(s, 0x05e43841);  // insr z1.d, x2
    EXPECT_EQ(zget<uint64_t>(s, 1, 0), 0x1122334455667788ull);
    for (int e = 1; e < 10; e++) EXPECT_EQ(zget<uint64_t>(s, 1, e), zget<uint64_t>(old, 1, e - 1));
}

TEST(Permute, Unpacks) {
    cpu_state s = sources();
    exec(s, 0x05733841);  // uunpkhi z1.h, z2.b
    for (int e = 0; e < 40; e++) ASSERT_EQ(zget<uint16_t>(s, 1, e), 40 + e);
    set_z<int32_t>(s, 2, [](int e) { return e % 2 ? -e : e; });
    exec(s, 0x05f03841);  // sunpklo z1.d, z2.s
    for (int e = 0; e < 10; e++) ASSERT_EQ(zget<int64_t>(s, 1, e), e % 2 ? -e : e);
}

TEST(Permute, Addresses) {
    cpu_state s = sources();
    set_z<uint64_t>(s, 2, [](int e) { return 0x1000ull * e; });
    set_z<uint64_t>(s, 3, [](int e) { return 0xFFFFFFFF00000000ull | uint32_t(-e); });
    cpu_state t = s;
    exec(s, 0x04e3ac41);  // adr z1.d, [z2.d, z3.d, lsl #3]
    for (int e = 0; e < 10; e++) ASSERT_EQ(zget<uint64_t>(s, 1, e), 0x1000ull * e + (zget<uint64_t>(t, 3, e) << 3));
    exec(t, 0x0423a441);  // adr z1.d, [z2.d, z3.d, sxtw #1]
    for (int e = 0; e < 10; e++) ASSERT_EQ(zget<uint64_t>(t, 1, e), 0x1000ull * e - 2 * e) << e;
}

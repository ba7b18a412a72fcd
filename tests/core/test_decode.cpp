// The decode maps: their sizes, their first rows, the lookup order and the invariant that no
// word matches two rows.
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>

#include "sve/decode/sve_emulator.h"
#include "tests/support/state_util.h"

namespace {

struct map_expectation {
    const char* name;
    int key_bits;
    const char* first_handler;
    const char* first_pattern;  // x for the operand bits outside the key
};

// Search order, key widths and first rows, as the decoder is documented.
const map_expectation kMaps[] = {
    {"decode_map__31_0", 32, "VecPClearFFSR", "00100101001011001001000000000000"},
    {"decode_map__31_9__4_0", 28, "VecPWriteFFSRP", "00100101001010001001000xxxx00000"},
    {"decode_map__31_4", 28, "VecPFalse", "0010010100011000111001000000xxxx"},
    {"decode_map__31_14__9_9__4_0", 24, "VecPTestPZ", "001001010101000011xxxx0xxxx00000"},
    {"decode_map__31_9__4_4", 24, "VecPUnpackLoP", "00000101001100000100000xxxx0xxxx"},
    {"decode_map__31_10__4_4", 23, "VecP8TrueI", "0010010100011000111000xxxxx0xxxx"},
    {"decode_map__31_9", 23, "VecS8QIncrSCount4PS", "00100101001010001000100xxxxxxxxx"},
    {"decode_map__31_13__9_6", 23, "VecF16AddVIM", "0110010101011000100xxx0000xxxxxx"},
    {"decode_map__31_21__15_10__4_0", 22, "VecU32CTermEQ", "00100101101xxxxx001000xxxxx00000"},
    {"decode_map__31_10", 22, "VecU32SpecialMoveV", "0000010000100000101111xxxxxxxxxx"},
    {"decode_map__31_13__9_8", 21, "VecS8ShrVIM", "0000010000000000100xxx01xxxxxxxx"},
    {"decode_map__31_11", 21, "VecS64VLX", "000001001011111101010xxxxxxxxxxx"},
    {"decode_map__31_24__21_10", 20, "VecU128ExtDupVI", "00000101xx110000001000xxxxxxxxxx"},
    {"decode_map__31_20__15_9__4_4", 20, "VecP8Zip1PP", "000001010010xxxx0100000xxxx0xxxx"},
    {"decode_map__31_14__9_9__4_4", 20, "VecPBreakAPZ", "001001010001000001xxxx0xxxx0xxxx"},
    {"decode_map__31_13__4_4", 20, "VecF16CmpGEV0Z", "0110010101010000001xxxxxxxx0xxxx"},
    {"decode_map__31_13__9_9", 20, "VecS16ShrVIM", "0000010000000000100xxx1xxxxxxxxx"},
    {"decode_map__31_14__9_9", 19, "VecU8SCountP", "001001010010000010xxxx0xxxxxxxxx"},
    {"decode_map__31_19__15_10", 19, "VecS8ShrVIX", "0000010000101xxx100100xxxxxxxxxx"},
    {"decode_map__31_24__21_21__19_10", 19, "VecU64ExtDupVI", "00000101xx1x1000001000xxxxxxxxxx"},
    {"decode_map__31_13", 19, "VecU8AddVVM", "0000010000000000000xxxxxxxxxxxxx"},
    {"decode_map__31_17__15_13", 18, "VecF16FCADDVVM", "011001000100000x100xxxxxxxxxxxxx"},
    {"decode_map__31_14", 18, "VecU8AddVIX", "001001010010000011xxxxxxxxxxxxxx"},
    {"decode_map__31_23__21_13", 18, "VecS64ShrVIM", "000001001x000000100xxxxxxxxxxxxx"},
    {"decode_map__31_20__15_10", 18, "VecU8CountVLSI", "000001000010xxxx111000xxxxxxxxxx"},
    {"decode_map__31_24__21_21__18_10", 18, "VecU32ExtDupVI", "00000101xx1xx100001000xxxxxxxxxx"},
    {"decode_map__31_21__15_10__4_4", 18, "VecS8While4LTSS", "00100101001xxxxx000001xxxxx0xxxx"},
    {"decode_map__31_24__21_21__17_10", 17, "VecU16ExtDupVI", "00000101xx1xxx10001000xxxxxxxxxx"},
    {"decode_map__31_21__15_10", 17, "VecU8AddVVX", "00000100001xxxxx000000xxxxxxxxxx"},
    {"decode_map__31_21__15_11", 16, "VecS64AddVLX", "00000100001xxxxx01010xxxxxxxxxxx"},
    {"decode_map__31_20__15_14__9_9__4_4", 16, "VecPAndPPZ", "001001010000xxxx01xxxx0xxxx0xxxx"},
    {"decode_map__31_24__21_21__16_10", 16, "VecU8ExtDupVI", "00000101xx1xxxx1001000xxxxxxxxxx"},
    {"decode_map__31_23__21_21__15_10", 16, "VecS64ShrVIX", "000001001x1xxxxx100100xxxxxxxxxx"},
    {"decode_map__31_21__15_13__4_4", 15, "VecU8CmpFlgGEVVZ", "00100100000xxxxx000xxxxxxxx0xxxx"},
    {"decode_map__31_21__15_12", 15, "VecF16FCMLAVVVIX", "01100100101xxxxx0001xxxxxxxxxxxx"},
    {"decode_map__31_20__15_13", 15, "VecF16DupIM", "000001010101xxxx110xxxxxxxxxxxxx"},
    {"decode_map__31_21__15_13", 14, "VecS8MLAVVVM", "00000100000xxxxx010xxxxxxxxxxxxx"},
    {"decode_map__31_20__15_14", 14, "VecS8DupIZ", "000001010001xxxx00xxxxxxxxxxxxxx"},
    {"decode_map__31_18", 14, "VecU64OrVIX", "00000101000000xxxxxxxxxxxxxxxxxx"},
    {"decode_map__31_22__15_13__4_4", 14, "VecPFillSI", "1000010110xxxxxx000xxxxxxxx0xxxx"},
    {"decode_map__31_21__15_14", 13, "VecU8SelVV", "00000101001xxxxx11xxxxxxxxxxxxxx"},
    {"decode_map__31_21__13_13__4_4", 13, "VecU8CmpFlgGEVIZ", "00100100001xxxxxxx0xxxxxxxx0xxxx"},
    {"decode_map__31_22__15_13", 13, "VecU8LoadDup1SIZ", "1000010001xxxxxx100xxxxxxxxxxxxx"},
    {"decode_map__31_21__15_15", 12, "VecF16FCMLAVVVM", "01100100010xxxxx0xxxxxxxxxxxxxxx"},
};

uint32_t pattern_bits(const char* p, uint32_t* mask) {
    uint32_t v = 0, m = 0;
    for (int i = 0; i < 32; i++) {
        int bit = 31 - i;
        if (p[i] != 'x') m |= 1u << bit;
        if (p[i] == '1') v |= 1u << bit;
    }
    *mask = m;
    return v;
}

const sve_row_info* row_by_name(const std::string& n) {
    for (const sve_row_info& r : sve_rows)
        if (n == r.name) return &r;
    return nullptr;
}

}  // namespace

TEST(Decode, MapsInSearchOrderWithTheirSizes) {
    ASSERT_EQ(sizeof kMaps / sizeof kMaps[0], size_t(SVE_DECODE_MAPS));
    int total = 0;
    int last_width = 33;
    for (int i = 0; i < SVE_DECODE_MAPS; i++) {
        const sve_map_info& m = sve_map(i);
        EXPECT_STREQ(m.name, kMaps[i].name);
        EXPECT_EQ(__builtin_popcount(m.mask), kMaps[i].key_bits) << m.name;
        EXPECT_LE(kMaps[i].key_bits, last_width) << "maps are searched by descending key width";
        last_width = kMaps[i].key_bits;
        int rows = 0;
        for (const sve_row_info& r : sve_rows) rows += r.map == i;
        EXPECT_EQ(m.rows, rows) << m.name;
        EXPECT_GT(rows, 0) << m.name;
        total += rows;
    }
    EXPECT_EQ(total, 1483);
}

TEST(Decode, FirstRowOfEachMap) {
    for (int i = 0; i < SVE_DECODE_MAPS; i++) {
        const sve_row_info* first = nullptr;
        for (const sve_row_info& r : sve_rows)
            if (r.map == i && (!first || uint32_t(r.key) < uint32_t(first->key))) first = &r;
        ASSERT_NE(first, nullptr);
        EXPECT_STREQ(first->name, kMaps[i].first_handler);
        uint32_t mask;
        uint32_t want = pattern_bits(kMaps[i].first_pattern, &mask);
        EXPECT_EQ(mask, sve_map(i).mask) << kMaps[i].name;
        EXPECT_EQ(sve_row_word(*first, 0) & mask, want) << kMaps[i].name;
    }
}

TEST(Decode, TierCounts) {
    std::map<char, int> tiers;
    std::set<std::string> names;
    for (const sve_row_info& r : sve_rows) {
        tiers[r.tier]++;
        names.insert(r.name);
        EXPECT_EQ(r.op != nullptr, r.tier == 'S' || r.tier == 'F') << r.name;
    }
    EXPECT_EQ(tiers['S'], 706);
    EXPECT_EQ(tiers['F'], 97);
    EXPECT_EQ(tiers['G'], 644);
    EXPECT_EQ(tiers['P'], 36);
    EXPECT_EQ(names.size(), 1483u) << "every handler name stands once";
}

// For any two rows there is a bit that both keys cover and on which their patterns differ.
TEST(Decode, NoWordMatchesTwoRows) {
    std::vector<uint32_t> mask(SVE_DECODE_ROWS), pat(SVE_DECODE_ROWS);
    for (int i = 0; i < SVE_DECODE_ROWS; i++) {
        mask[i] = sve_map(sve_rows[i].map).mask;
        pat[i] = sve_row_word(sve_rows[i], 0);
    }
    int overlaps = 0;
    for (int i = 0; i < SVE_DECODE_ROWS; i++)
        for (int j = i + 1; j < SVE_DECODE_ROWS; j++)
            if (((pat[i] ^ pat[j]) & mask[i] & mask[j]) == 0) {
                if (++overlaps < 10) ADD_FAILURE() << sve_rows[i].name << " and " << sve_rows[j].name << " overlap";
            }
    EXPECT_EQ(overlaps, 0);
}

TEST(Decode, EveryRowIsFoundFromItsWords) {
    test_rng rng(1);
    for (const sve_row_info& r : sve_rows) {
        uint32_t hi = sve_row_word(r, 0) >> 24;
        EXPECT_TRUE(hi == 0x04 || hi == 0x05 || hi == 0x24 || hi == 0x25 || hi == 0x44 || hi == 0x64 ||
                    hi == 0x65 || hi == 0x84 || hi == 0x85 || hi == 0xA4 || hi == 0xA5 || hi == 0xC4 ||
                    hi == 0xC5 || hi == 0xE4 || hi == 0xE5)
            << r.name << " outside the SVE encoding space";
        for (uint32_t ops : {0u, ~0u, uint32_t(rng.next()), uint32_t(rng.next()), uint32_t(rng.next())}) {
            uint32_t w = sve_row_word(r, ops);
            ASSERT_EQ(sve_map_key(r.map, w), r.key) << r.name;
            ASSERT_EQ(get_sve_handler(w), r.handler) << r.name << " word " << std::hex << w;
        }
    }
}

TEST(Decode, LookupEdgeCases) {
    EXPECT_EQ(get_sve_handler(0x252C9000), row_by_name("VecPClearFFSR")->handler);
    EXPECT_EQ(get_sve_handler(0x252C9001), nullptr);
    EXPECT_EQ(sve_map_key(22, 0x2520C005), 0x9483);  // decode_map__31_14
    EXPECT_STREQ(sve_map(22).name, "decode_map__31_14");
    EXPECT_EQ(get_sve_handler(0x2520C005), row_by_name("VecU8AddVIX")->handler);
    // A load with bit 31 set: negative key only in the first map, found further on.
    EXPECT_LT(sve_map_key(0, 0xA540A020), 0);
    EXPECT_EQ(get_sve_handler(0xA540A020), row_by_name("VecU32CLoad4SIZ")->handler);
    EXPECT_EQ(get_sve_handler(0), nullptr);
    EXPECT_EQ(get_sve_handler(0xD503201F), nullptr);  // nop
    EXPECT_EQ(get_sve_handler(0x8B020020), nullptr);  // add x0, x1, x2
    EXPECT_EQ(get_sve_handler(0x4E228420), nullptr);  // add v0.16b, v1.16b, v2.16b
}

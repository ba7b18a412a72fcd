// Constant tables of the estimates and the accelerator operations.
#include "sve/fp/lib/fplib.h"

namespace fplib_tables {

// Entry i < 128: RecipSqrtEstimate(128 + i); entry 128 + j: RecipSqrtEstimate(256 + 2j), low
// 8 bits (the 9-bit estimate always has its top bit set).
const unsigned char recip_sqrt_estimate[256] = {
    255, 253, 251, 249, 247, 245, 243, 242, 240, 238, 236, 234, 233, 231, 229, 228,
    226, 224, 223, 221, 219, 218, 216, 215, 213, 212, 210, 209, 207, 206, 204, 203,
    201, 200, 198, 197, 196, 194, 193, 192, 190, 189, 188, 186, 185, 184, 183, 181,
    180, 179, 178, 176, 175, 174, 173, 172, 170, 169, 168, 167, 166, 165, 164, 163,
    162, 160, 159, 158, 157, 156, 155, 154, 153, 152, 151, 150, 149, 148, 147, 146,
    145, 144, 143, 142, 141, 140, 140, 139, 138, 137, 136, 135, 134, 133, 132, 131,
    131, 130, 129, 128, 127, 126, 126, 125, 124, 123, 122, 121, 121, 120, 119, 118,
    118, 117, 116, 115, 114, 114, 113, 112, 111, 111, 110, 109, 109, 108, 107, 106,
    105, 104, 103, 101, 100, 99, 97, 96, 95, 93, 92, 91, 90, 88, 87, 86,
    85, 84, 82, 81, 80, 79, 78, 77, 76, 75, 74, 72, 71, 70, 69, 68,
    67, 66, 65, 64, 63, 62, 61, 60, 60, 59, 58, 57, 56, 55, 54, 53,
    52, 51, 51, 50, 49, 48, 47, 46, 46, 45, 44, 43, 42, 42, 41, 40,
    39, 38, 38, 37, 36, 35, 35, 34, 33, 33, 32, 31, 30, 30, 29, 28,
    28, 27, 26, 26, 25, 24, 24, 23, 22, 22, 21, 20, 20, 19, 19, 18,
    17, 17, 16, 16, 15, 14, 14, 13, 13, 12, 11, 11, 10, 10, 9, 9,
    8, 8, 7, 6, 6, 5, 5, 4, 4, 3, 3, 2, 2, 1, 1, 0,
};

const unsigned short ftmad_coeff16[16] = {
    0x3C00, 0xB155, 0x2030, 0x0000, 0x0000, 0x0000, 0x0000, 0x0000,
    0x3C00, 0xB800, 0x293A, 0x0000, 0x0000, 0x0000, 0x0000, 0x0000,
};
const unsigned int ftmad_coeff32[16] = {
    0x3F800000, 0xBE2AAAAB, 0x3C088886, 0xB95008B9, 0x36369D6D, 0x00000000, 0x00000000, 0x00000000,
    0x3F800000, 0xBF000000, 0x3D2AAAA6, 0xBAB60705, 0x37CD37CC, 0x00000000, 0x00000000, 0x00000000,
};
const unsigned long ftmad_coeff64[16] = {
    0x3FF0000000000000, 0xBFC5555555555543, 0x3F8111111110F30C, 0xBF2A01A019B92FC6,
    0x3EC71DE351F3D22B, 0xBE5AE5E2B60F7B91, 0x3DE5D8408868552F, 0x0000000000000000,
    0x3FF0000000000000, 0xBFE0000000000000, 0x3FA5555555555536, 0xBF56C16C16C13A0B,
    0x3EFA01A019B1E8D8, 0xBE927E4F7282F468, 0x3E21EE96D2641B13, 0xBDA8F76380FBB401,
};

// Fraction bits of 2^(i/32) in half precision, of 2^(i/64) in single and double precision.
const unsigned int fexpa_table16[32] = {
    0, 22, 45, 69, 93, 117, 142, 168, 194, 220, 248, 276, 304, 333, 363, 393,
    424, 456, 488, 521, 555, 590, 625, 661, 698, 736, 774, 814, 854, 895, 937, 980,
};
const unsigned int fexpa_table32[64] = {
    0x000000, 0x0164d2, 0x02cd87, 0x043a29, 0x05aac3, 0x071f62, 0x08980f, 0x0a14d5,
    0x0b95c2, 0x0d1adf, 0x0ea43a, 0x1031dc, 0x11c3d3, 0x135a2b, 0x14f4f0, 0x16942d,
    0x1837f0, 0x19e046, 0x1b8d3a, 0x1d3eda, 0x1ef532, 0x20b051, 0x227043, 0x243516,
    0x25fed7, 0x27cd94, 0x29a15b, 0x2b7a3a, 0x2d583f, 0x2f3b79, 0x3123f6, 0x3311c4,
    0x3504f3, 0x36fd92, 0x38fbaf, 0x3aff5b, 0x3d08a4, 0x3f179a, 0x412c4d, 0x4346cd,
    0x45672a, 0x478d75, 0x49b9be, 0x4bec15, 0x4e248c, 0x506334, 0x52a81e, 0x54f35b,
    0x5744fd, 0x599d16, 0x5bfbb8, 0x5e60f5, 0x60ccdf, 0x633f89, 0x65b907, 0x68396a,
    0x6ac0c7, 0x6d4f30, 0x6fe4ba, 0x728177, 0x75257d, 0x77d0df, 0x7a83b3, 0x7d3e0c,
};
const unsigned long fexpa_table64[64] = {
    0x0000000000000ul, 0x02c9a3e778061ul, 0x059b0d3158574ul, 0x0874518759bc8ul,
    0x0b5586cf9890ful, 0x0e3ec32d3d1a2ul, 0x11301d0125b51ul, 0x1429aaea92de0ul,
    0x172b83c7d517bul, 0x1a35beb6fcb75ul, 0x1d4873168b9aaul, 0x2063b88628cd6ul,
    0x2387a6e756238ul, 0x26b4565e27cddul, 0x29e9df51fdee1ul, 0x2d285a6e4030bul,
    0x306fe0a31b715ul, 0x33c08b26416fful, 0x371a7373aa9cbul, 0x3a7db34e59ff7ul,
    0x3dea64c123422ul, 0x4160a21f72e2aul, 0x44e086061892dul, 0x486a2b5c13cd0ul,
    0x4bfdad5362a27ul, 0x4f9b2769d2ca7ul, 0x5342b569d4f82ul, 0x56f4736b527daul,
    0x5ab07dd485429ul, 0x5e76f15ad2148ul, 0x6247eb03a5585ul, 0x6623882552225ul,
    0x6a09e667f3bcdul, 0x6dfb23c651a2ful, 0x71f75e8ec5f74ul, 0x75feb564267c9ul,
    0x7a11473eb0187ul, 0x7e2f336cf4e62ul, 0x82589994cce13ul, 0x868d99b4492edul,
    0x8ace5422aa0dbul, 0x8f1ae99157736ul, 0x93737b0cdc5e5ul, 0x97d829fde4e50ul,
    0x9c49182a3f090ul, 0xa0c667b5de565ul, 0xa5503b23e255dul, 0xa9e6b5579fdbful,
    0xae89f995ad3adul, 0xb33a2b84f15fbul, 0xb7f76f2fb5e47ul, 0xbcc1e904bc1d2ul,
    0xc199bdd85529cul, 0xc67f12e57d14bul, 0xcb720dcef9069ul, 0xd072d4a07897cul,
    0xd5818dcfba487ul, 0xda9e603db3285ul, 0xdfc97337b9b5ful, 0xe502ee78b3ff6ul,
    0xea4afa2a490daul, 0xefa1bee615a27ul, 0xf50765b6e4540ul, 0xfa7c1819e90d8ul,
};

}  // namespace fplib_tables

// One fuzz case: an instruction word and a machine state, built from arbitrary bytes.
#pragma once

#include <cstddef>
#include <cstdint>

// Layout of an input (missing bytes read as zero):
//   0-1   row index, little-endian, taken modulo the number of rows
//   2-5   operand bits of the row's word, or the whole word in raw mode
//   6     flags: bit 0 raw mode (the word is decoded as it stands, native words included),
//         bits 1-2 rounding mode, bit 3 FZ, bit 4 DN, bit 5 AHP, bit 6 FZ16
//   7-14  seed of the random state
//   15-   bytes XORed over the state record from its first byte
constexpr size_t FUZZ_HEADER_BYTES = 15;

// Memory operations are confined to this buffer: address registers and address lanes are
// reduced into a window at its start, so every access the encodings can form lands inside.
constexpr uint64_t FUZZ_SANDBOX_BASE = 0x100000;
constexpr uint64_t FUZZ_SANDBOX_BYTES = 16u << 20;
constexpr uint64_t FUZZ_WINDOW_BASE = FUZZ_SANDBOX_BASE + 0x10000;
constexpr uint64_t FUZZ_WINDOW_MASK = 0x7fff;

// Writes the seed input that selects `row` with the given operand bits and state seed.
size_t fuzz_seed_input(uint8_t* out, int row, uint32_t operands, uint64_t seed);

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

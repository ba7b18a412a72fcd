#!/usr/bin/env python3
"""Tests of kernel_runs: the parsing and agreement rules on made-up input, and the instruction
count under qemu on loops whose length is known from their code.

  test_kernel_runs.py ORACLE_BENCH KERNELS_SVE
"""
import os
import sys
import unittest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import kernel_runs  # noqa: E402

ORACLE_BENCH = KERNELS_SVE = None


def result(name, kind, checksum, value):
    return kernel_runs.Result([name, kind, checksum, repr(value), "1.0"])


class Parsing(unittest.TestCase):
    def test_parse_keeps_kernel_lines_only(self):
        text = ("SVE host: 12 traps\n"
                "copy_f32         exact 00000000000000aa -1.5 3.25\n"
                "dot_f64          fp    00000000000000bb 2 0.5\n"
                "a b c d e\n")
        got = [(k.name, k.kind, k.checksum, k.value, k.ns) for k in kernel_runs.parse(text)]
        self.assertEqual(got, [("copy_f32", "exact", "00000000000000aa", -1.5, 3.25),
                               ("dot_f64", "fp", "00000000000000bb", 2.0, 0.5)])

    def test_region_lengths(self):
        cases = [
            # (lines, lengths): instructions strictly between the return of count_begin and the
            # entry of count_end.
            ([(10, "count_begin"), (20, "count_end")], [9]),
            ([(10, "count_begin"), (11, "count_end"), (50, "count_begin"), (90, "count_end")], [0, 39]),
            # A second line of count_begin (its return after its entry) starts the region.
            ([(10, "count_begin"), (11, "count_begin"), (15, "count_end"), (16, "count_end")], [3]),
            ([(10, "count_begin")], []),
            ([(5, "count_end"), (10, "count_begin"), (12, "count_end")], [1]),
        ]
        for lines, want in cases:
            self.assertEqual(kernel_runs.region_lengths(lines), want, lines)


class Agreement(unittest.TestCase):
    def test_cases(self):
        same = "0123456789abcdef"
        other = "fedcba9876543210"
        cases = [
            # (kind, emulated, reference, neon checksum, neon value, failures)
            ("exact", same, same, same, 1.0, 0),
            ("exact", other, same, same, 1.0, 1),       # the emulator is wrong
            ("exact", same, same, other, 1.0, 1),       # the builds differ on an exact kernel
            ("fp", same, same, other, 1.0 + 1e-8, 0),   # within the tolerance
            ("fp", same, same, other, 1.0 + 1e-4, 1),   # outside it
            ("fp", other, same, same, 1.0, 1),          # the emulator must match bit for bit
        ]
        for kind, emu, ref, neon, neon_value, failures in cases:
            bad = kernel_runs.agree(result("k", kind, emu, 1.0), result("k", kind, ref, 1.0),
                                    result("k", kind, neon, neon_value))
            self.assertEqual(len(bad), failures, (kind, emu, ref, neon, neon_value, bad))


class Counting(unittest.TestCase):
    def test_loop_of_sixteen_plus_two(self):
        # oracle_bench's loops hold 16 copies of an instruction, subs and b.ne: natively (SVE
        # under the reference) 18 instructions per iteration, whatever the instruction. Its
        # count mode runs each loop with 5 and with 15 iterations between the markers.
        lengths = kernel_runs.region_lengths(kernel_runs.traced_lines(kernel_runs.REFERENCE + [ORACLE_BENCH, "count"],
                                                                      "count_begin|count_end"))
        self.assertGreater(len(lengths), 20)
        self.assertEqual(len(lengths) % 2, 0)
        for i in range(0, len(lengths), 2):
            self.assertEqual(lengths[i + 1] - lengths[i], 10 * 18, i // 2)

    def test_repetitions_add_equal_counts(self):
        # The region around the repetitions grows by the same count per repetition: nothing
        # outside the repetitions is counted but the few instructions of the loop's set-up.
        counts = []
        for reps in (0, 1, 2, 3):
            lines = kernel_runs.traced_lines(kernel_runs.REFERENCE + [KERNELS_SVE, "copy_f32", "200", str(reps), "1"],
                                             "count_begin|count_end")
            counts.append(kernel_runs.region_lengths(lines))
        self.assertEqual([len(c) for c in counts], [1, 1, 1, 1])
        step = counts[2][0] - counts[1][0]
        self.assertGreater(step, 20)
        self.assertEqual(counts[3][0] - counts[2][0], step)
        self.assertLessEqual(counts[0][0], 4)
        self.assertLessEqual(counts[1][0] - step, 4)

if __name__ == "__main__":
    ORACLE_BENCH, KERNELS_SVE = sys.argv[1], sys.argv[2]
    unittest.main(argv=sys.argv[:1], verbosity=2)

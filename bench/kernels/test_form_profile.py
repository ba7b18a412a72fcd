#!/usr/bin/env python3
"""The arithmetic and parsing of form_profile.py on made-up input, worked out by hand."""
import os
import sys
import tempfile
import unittest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import form_profile  # noqa: E402


class Combine(unittest.TestCase):
    # Two kernels: a 300-instruction one and a 100-instruction one, and one without SVE code.
    KERNELS = {
        "k1": {"ld1w": 150, "whilelo": 100, "fadd": 50},
        "k2": {"ld1w": 20, "fadda": 80},
        "scalar": {},
    }

    def test_rows(self):
        rows = form_profile.combine(self.KERNELS)
        # form, count, share, cumulative, kernels, mean share per kernel: ld1w is 170 of 400
        # (42.5%), its shares 50% and 20% average to 35%; fadda is 80% of k2 and absent from
        # k1, mean 40%. The kernel without SVE code does not dilute the means.
        want = [("ld1w", 170, 42.5, 42.5, 2, 35.0),
                ("whilelo", 100, 25.0, 67.5, 1, 100.0 / 3 / 2),
                ("fadda", 80, 20.0, 87.5, 1, 40.0),
                ("fadd", 50, 12.5, 100.0, 1, 50.0 / 3 / 2)]
        self.assertEqual(len(rows), len(want))
        for got, exp in zip(rows, want):
            self.assertEqual(got[:2], exp[:2])
            self.assertEqual(got[4], exp[4])
            for g, e in zip(got[2:4] + got[5:], exp[2:4] + exp[5:]):
                self.assertAlmostEqual(g, e)

    def test_ties_by_form(self):
        rows = form_profile.combine({"k": {"b": 5, "a": 5, "c": 7}})
        self.assertEqual([r[0] for r in rows], ["c", "a", "b"])

    def test_top_forms(self):
        cases = [  # counts, k, expected (form, count, share)
            ({"x": 1, "y": 3}, 1, [("y", 3, 75.0)]),
            ({"x": 2, "y": 2, "z": 4}, 2, [("z", 4, 50.0), ("x", 2, 25.0)]),
            ({"x": 5}, 5, [("x", 5, 100.0)]),
        ]
        for counts, k, want in cases:
            self.assertEqual(form_profile.top_forms(counts, k), want)


class Parsing(unittest.TestCase):
    def write(self, text):
        f = tempfile.NamedTemporaryFile("w", suffix=".txt", delete=False)
        f.write(text)
        f.close()
        self.addCleanup(os.unlink, f.name)
        return f.name

    def test_handlers_by_form(self):
        path = self.write('// Generated: one form per row.\n'
                          '"setffr",  // VecPClearFFSR\n'
                          '"mov z.d, #imm",  // VecS64DupI\n'
                          '"mov z.d, #imm",  // VecS64DupMaskI\n')
        got = form_profile.handlers_by_form(path)
        self.assertEqual(got, {"setffr": ["VecPClearFFSR"], "mov z.d, #imm": ["VecS64DupI", "VecS64DupMaskI"]})
        self.assertEqual(form_profile.handler_names(got, "mov z.d, #imm"), "VecS64DupI/VecS64DupMaskI")
        self.assertEqual(form_profile.handler_names(got, "unknown"), "?")

    def test_tiers(self):
        path = self.write("# map key handler tier\n"
                          "  31_0  0x252C9000 VecPClearFFSR  S P memory\n"
                          "  31_13 0x32CC1    VecF32AddReduceAV G F32 fp\n")
        tiers = form_profile.tiers_by_handler(path)
        self.assertEqual(tiers, {"VecPClearFFSR": "S", "VecF32AddReduceAV": "G"})
        handlers = {"f": ["VecPClearFFSR", "VecF32AddReduceAV"]}
        self.assertEqual(form_profile.tier_letters(handlers, tiers, "f"), "GS")

    def test_form_counts_adds_repeated_names(self):
        stats = {"forms": [{"name": "a", "count": 2}, {"name": "b", "count": 1}, {"name": "a", "count": 3}]}
        self.assertEqual(form_profile.form_counts(stats), {"a": 5, "b": 1})


if __name__ == "__main__":
    unittest.main()

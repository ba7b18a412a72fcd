#!/usr/bin/env python3
"""The parsing and attribution of call_path.py on made-up maps and logs."""
import io
import os
import sys
import unittest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import call_path  # noqa: E402

MAPS = """\
5500000000-5500001000 r-xp 00000000 fe:00 1 /bin/prog
54ffc00000-54ffd00000 rwxp 00000000 00:00 0
5502870000-550287f000 r-xp 00000000 fe:00 2 /lib/libsve_host.so
5502f40000-550327b000 r-xp 00001000 fe:00 3 /lib/libmemtrace_sve_640.so
5503300000-5503301000 rw-p 00000000 00:00 0
"""


class Parts(unittest.TestCase):
    def test_read_maps(self):
        maps = call_path.read_maps(MAPS + "not a mapping line\n")
        self.assertEqual(len(maps), 5)
        # By start address, whatever the order of the lines.
        self.assertEqual([m[0] for m in maps], [0x54ffc00000, 0x5500000000, 0x5502870000, 0x5502f40000, 0x5503300000])
        self.assertEqual(maps[1], (0x5500000000, 0x5500001000, "/bin/prog", 0, "r-xp"))
        self.assertEqual(maps[0][2], "")
        self.assertEqual(maps[3][3], 0x1000)

    def test_part_of(self):
        cases = [  # path, symbol, permissions, expected part
            ("", "", "rwxp", "trampoline"),
            ("/bin/prog", "run_0x1", "r-xp", "patched word"),
            ("/lib/libmemtrace_sve_640.so", "PLT", "r-xp", "linkage stubs"),
            ("/lib/libsve_host.so", "PLT", "r-xp", "linkage stubs"),
            ("/lib/libsve_host.so", "dr_read_saved_reg", "r-xp", "host functions"),
            ("/lib/libmemtrace_sve_640.so", "_ZL19emulate_instructionjPh", "r-xp", "client entry"),
            ("/lib/libmemtrace_sve_640.so", "_ZN12sve_handlers12VecU32AddVVX", "r-xp", "handler and operation"),
            ("/lib/libc.so.6", "memcpy", "r-xp", "other (libc.so.6)"),
        ]
        for path, symbol, perms, want in cases:
            self.assertEqual(call_path.part_of(path, symbol, perms, "/bin/prog"), want, (path, symbol))

    def test_classify_uses_file_offsets(self):
        maps = call_path.read_maps(MAPS)
        # Symbol tables by file address: the client's mapping starts at file offset 0x1000, so
        # pc 0x5502f40010 is file address 0x1010, inside emulate_instruction (0x1000..0x1100).
        cache = {"/lib/libmemtrace_sve_640.so": ([0x800, 0x1000, 0x1100], ["PLT", "_ZL19emulate_instruction", "Vec"]),
                 "/lib/libsve_host.so": ([0x0], ["dr_get_current_drcontext"]), "/bin/prog": ([0x0], ["main"])}
        pcs = [0x54ffc00010, 0x54ffc00014, 0x5502f40010, 0x5502f40100, 0x5502870004, 0x5500000100, 0x5503300000, 0x10]
        got = call_path.classify(pcs, maps, cache, "/bin/prog")
        self.assertEqual(dict(got), {"trampoline": 2, "client entry": 1, "handler and operation": 1,
                                     "host functions": 1, "patched word": 1, "other (anonymous)": 1,
                                     "other (unmapped)": 1})


class Regions(unittest.TestCase):
    def test_counted_regions(self):
        log = io.StringIO(
            "Trace 0: 0x1 [00001001/0000005500000010/00000001/00000201] main\n"
            "Trace 0: 0x1 [00001001/0000005500000020/00000001/00000201] count_begin\n"
            "Trace 0: 0x1 [00001001/0000005500000030/00000001/00000201] run\n"
            "something else qemu logs\n"
            "Trace 0: 0x1 [00001001/00000054ffc00000/00000001/00000201] \n"
            "Trace 0: 0x1 [00001001/0000005500000040/00000001/00000201] count_end\n"
            "Trace 0: 0x1 [00001001/0000005500000050/00000001/00000201] main\n"
            "Trace 0: 0x1 [00001001/0000005500000020/00000001/00000201] count_begin\n"
            "Trace 0: 0x1 [00001001/0000005500000024/00000001/00000201] count_begin\n"
            "Trace 0: 0x1 [00001001/0000005500000040/00000001/00000201] count_end\n"
            "Trace 0: 0x1 [00001001/0000005500000040/00000001/00000201] count_end\n")
        self.assertEqual(call_path.counted_regions(log), [[0x5500000030, 0x54ffc00000], []])


if __name__ == "__main__":
    unittest.main()

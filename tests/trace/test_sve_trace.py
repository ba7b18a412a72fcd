"""The Python reader of trace files against files written here with struct, field by field, in
the companion's format: header fields, the memory-mapped records, markers, threads and regions."""

import os
import struct
import sys
import tempfile
import unittest

try:
    import numpy as np
except ImportError:
    print("numpy is missing (Debian package python3-numpy)")
    sys.exit(77)  # skipped

import sve_trace

TA, TB = 0x1111AAAA, 0x2222BBBB


def record(count, thread, type_=1, address=0, size=0, pc=0, flags=0, reserved=0xA5A5A5A5):
    return struct.pack("<QIIIIQQQ", count, thread, flags, type_, reserved, size, address, pc)


def start(count, thread=0):
    return record(count, 0xFFFFFFFF, 0, reserved=thread)


def stop(count, thread=0):
    return record(count, 0xFFFFFFFE, 0, reserved=thread)


def thread_record(thread, tid):
    return record(0, 0xFFFFFFFD, 0, size=tid, reserved=thread)


def trace_file(records, version=2, name=b"py_app", header_records=None, extra=b""):
    padded = (len(name) + 7) // 8 * 8
    head = struct.pack("<8sIIIIIIQ", b"SVETRACE", version, 40 + padded, 80, 48, 777, len(name),
                       len(records) if header_records is None else header_records)
    f = tempfile.NamedTemporaryFile(suffix=".trace", delete=False)
    f.write(head + name + b"\0" * (padded - len(name)) + b"".join(records) + extra)
    f.close()
    return f.name


class TraceReader(unittest.TestCase):
    def setUp(self):
        self.paths = []

    def tearDown(self):
        for p in self.paths:
            os.unlink(p)

    def make(self, *args, **kwargs):
        self.paths.append(trace_file(*args, **kwargs))
        return self.paths[-1]

    def test_header_and_records_in_place(self):
        recs = [record(1, TA, 1, 0x1000, 80, 0x400), record(2, TA, 0, 0xFFFF000000000008, 8, 0x404, 7)]
        t = sve_trace.open_trace(self.make(recs, version=1))
        self.assertEqual((t.version, t.vl_bytes, t.pid, t.app_name, t.header_bytes), (1, 80, 777, "py_app", 48))
        self.assertIsInstance(t.records, np.memmap)  # mapped, not read into memory
        self.assertEqual(t.records.offset, 48)
        self.assertEqual(t.records.dtype.itemsize, 48)
        self.assertEqual(t.records["address"].tolist(), [0x1000, 0xFFFF000000000008])
        self.assertEqual(t.records["size"].tolist(), [80, 8])
        self.assertEqual(t.records["type"].tolist(), [1, 0])
        self.assertEqual(t.records["flags"].tolist(), [0, 7])
        self.assertEqual(t.records["pc"].tolist(), [0x400, 0x404])

    def test_threads_and_regions_version_2(self):
        # B's block first. A: start 1, reads 2 and 4, stop 6, read 8 outside; B: start 3, writes
        # 5 and 7, never stopped. An unfilled (zero) slot ends B's block.
        recs = [thread_record(TB, 202), start(3, TB), record(5, TB, 0, 0x9000, 16), record(7, TB, 0, 0x9010, 16),
                b"\0" * 48,
                thread_record(TA, 101), start(1, TA), record(2, TA, 1, 0x1000, 80), record(4, TA, 1, 0x1050, 80),
                stop(6, TA), record(8, TA, 1, 0x5000, 8)]
        t = sve_trace.open_trace(self.make(recs))
        self.assertEqual(t.threads(), {TA: 101, TB: 202})
        self.assertEqual(len(t.memory()), 5)  # no markers, thread records or empty slot
        self.assertEqual(t.markers()["count"].tolist(), [1, 3, 6])
        self.assertEqual(t.regions(), [sve_trace.Region(1, TA, 1, 6, True), sve_trace.Region(2, TB, 3, None, False)])
        self.assertEqual(t.region_records(1)["count"].tolist(), [2, 4])
        self.assertEqual(t.region_records(2)["count"].tolist(), [5, 7])
        self.assertEqual(t.region_records(0)["count"].tolist(), [8])

    def test_regions_version_1_cut_every_thread(self):
        # Markers without threads: 1..3 (ended by the next start), 3..6 (stopped).
        recs = [start(3), record(5, TB, 0, 0x9000, 16), record(7, TB, 0, 0x9010, 16),
                start(1), record(2, TA, 1, 0x1000, 80), record(4, TA, 1, 0x1050, 80), stop(6), record(8, TA, 1, 0, 8)]
        t = sve_trace.open_trace(self.make(recs, version=1))
        self.assertEqual(t.regions(), [sve_trace.Region(1, 0, 1, 3, False), sve_trace.Region(2, 0, 3, 6, True)])
        self.assertEqual(t.region_records(1)["count"].tolist(), [2])
        self.assertEqual(t.region_records(2)["count"].tolist(), [4, 5])
        self.assertEqual(t.threads(), {})

    def test_slots_counted_by_the_header(self):
        # Version 2: room after the counted slots is not read.
        recs = [record(1, TA, 1, 0x10, 8), record(2, TA, 1, 0x20, 8)]
        t = sve_trace.open_trace(self.make(recs, header_records=2, extra=record(3, TA, 1, 0x30, 8)))
        self.assertEqual(t.records["count"].tolist(), [1, 2])
        with self.assertRaisesRegex(ValueError, "truncated"):
            sve_trace.open_trace(self.make(recs, header_records=3))

    def test_bad_files(self):
        with self.assertRaisesRegex(ValueError, "version 3"):
            sve_trace.open_trace(self.make([record(1, TA)], version=3))
        bad = self.make([])
        with open(bad, "r+b") as f:
            f.write(b"NOTATRACE")
        with self.assertRaisesRegex(ValueError, "not a trace"):
            sve_trace.open_trace(bad)
        self.assertEqual(len(sve_trace.open_trace(self.make([])).memory()), 0)


if __name__ == "__main__":
    unittest.main()

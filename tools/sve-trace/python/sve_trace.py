"""Reads the memory traces of the SVE emulator as NumPy arrays.

The records are memory-mapped in place (numpy.memmap at the header's offset), so a trace of any
size opens at once and costs memory only for what is used:

    import sve_trace
    t = sve_trace.open_trace("app.trace")
    mem = t.memory()                       # the memory records, a structured array
    reads = mem[mem["type"] == sve_trace.READ]
    for r in t.regions():                  # regions of interest, per thread in version 2
        print(r.number, hex(r.thread), r.begin, r.end, len(t.region_records(r.number)))

Record fields: count, thread_id, flags, type (0 write, 1 read), reserved, size, address, pc.
Regions follow the rule of sve-trace: a region of thread T holds T's memory records from a start
marker sent by T to T's next marker; in a version 1 file markers name no thread and cut the
records of every thread. Regions are numbered from 1 in the order of their start markers.
"""

import collections
import os
import struct

import numpy as np

RECORD = np.dtype([
    ("count", "<u8"), ("thread_id", "<u4"), ("flags", "<u4"), ("type", "<u4"),
    ("reserved", "<u4"), ("size", "<u8"), ("address", "<u8"), ("pc", "<u8"),
])
assert RECORD.itemsize == 48

MAGIC = b"SVETRACE"
VERSIONS = (1, 2)
HEADER = struct.Struct("<8sIIIIIIQ")  # magic, version, header bytes, vector length, record
                                      # bytes, pid, name length, records
START, STOP, THREAD = 0xFFFFFFFF, 0xFFFFFFFE, 0xFFFFFFFD  # thread_id of the records without access
WRITE, READ = 0, 1

Region = collections.namedtuple("Region", "number thread begin end stopped")
Region.__doc__ = ("A region of interest: its number (from 1), the thread that started it (0 in a "
                  "version 1 file), the counts of its start marker and of the marker that ends it "
                  "(None when the trace ends inside it), and whether a stop marker ended it.")


class Trace:
    """A trace file: the header fields and the records as a memory-mapped structured array."""

    def __init__(self, path):
        self.path = path
        with open(path, "rb") as f:
            head = f.read(HEADER.size)
            if len(head) < HEADER.size or head[:8] != MAGIC:
                raise ValueError(f"{path}: not a trace file")
            (_, self.version, self.header_bytes, self.vl_bytes, record_bytes, self.pid, name_bytes,
             self.header_records) = HEADER.unpack(head)
            if self.version not in VERSIONS:
                raise ValueError(f"{path}: trace format version {self.version}, this module reads "
                                 f"versions {VERSIONS[0]} to {VERSIONS[-1]}")
            if record_bytes != RECORD.itemsize or self.header_bytes < HEADER.size + name_bytes:
                raise ValueError(f"{path}: corrupt header")
            self.app_name = f.read(name_bytes).decode("utf-8", "replace")
        body = os.path.getsize(path) - self.header_bytes
        slots = body // RECORD.itemsize
        if self.version >= 2:  # the header counts the slots; the file may hold more, never fewer
            if slots < self.header_records:
                raise ValueError(f"{path}: truncated: the header counts {self.header_records} "
                                 f"records, the file holds {slots}")
            slots = self.header_records
        # A file with no records cannot be mapped: an empty array of the same type instead.
        self.records = (np.memmap(path, dtype=RECORD, mode="r", offset=self.header_bytes, shape=(slots,))
                        if slots else np.zeros(0, dtype=RECORD))
        self._regions = None

    # Kinds of records, as boolean masks over self.records.
    def written_mask(self):
        """Slots that hold a record (a version 2 writer may leave zero slots unfilled)."""
        r = self.records
        return (r["count"] != 0) | (r["thread_id"] != 0)

    def memory_mask(self):
        t = self.records["thread_id"]
        return self.written_mask() & (t != START) & (t != STOP) & (t != THREAD)

    def memory(self):
        """The memory records, in file order."""
        return self.records[self.memory_mask()]

    def markers(self):
        """The start and stop markers, in count order."""
        t = self.records["thread_id"]
        m = self.records[(t == START) | (t == STOP)]
        return m[np.argsort(m["count"], kind="stable")]

    def marker_thread(self, marker):
        """The thread that sent a marker (version 2), 0 in a version 1 file."""
        return int(marker["reserved"]) if self.version >= 2 else 0

    def threads(self):
        """{thread_id: kernel thread id} from the thread records (version 2)."""
        r = self.records[self.records["thread_id"] == THREAD]
        return {int(x["reserved"]): int(x["size"]) for x in r}

    def regions(self):
        """The regions of interest, numbered as sve-trace summary numbers them."""
        if self._regions is None:
            self._regions = []
            last = {}  # thread -> index of the region it has open
            for m in self.markers():
                thread = self.marker_thread(m)
                k = last.pop(thread, None)
                if k is not None:
                    self._regions[k] = self._regions[k]._replace(end=int(m["count"]),
                                                                  stopped=bool(m["thread_id"] == STOP))
                if m["thread_id"] == START:
                    last[thread] = len(self._regions)
                    self._regions.append(Region(len(self._regions) + 1, thread, int(m["count"]), None, False))
        return self._regions

    def region_of(self):
        """For every slot, the number of the region that holds it; 0 outside every region and
        for records without a memory access."""
        out = np.zeros(len(self.records), dtype=np.int64)
        memory = self.memory_mask()
        counts = self.records["count"]
        threads = self.records["thread_id"]
        for thread in {r.thread for r in self.regions()}:
            # This thread's markers in count order, each with its region number (0 for a stop).
            ms = [(m["count"], 0) for m in self.markers() if self.marker_thread(m) == thread]
            starts = {r.begin: r.number for r in self.regions() if r.thread == thread}
            mcounts = np.array([c for c, _ in ms], dtype=np.uint64)
            mregion = np.array([starts.get(int(c), 0) for c, _ in ms], dtype=np.int64)
            chosen = memory if self.version < 2 else memory & (threads == thread)
            idx = np.searchsorted(mcounts, counts[chosen], side="left") - 1
            out[chosen] = np.where(idx >= 0, mregion[np.maximum(idx, 0)], 0)
        return out

    def region_records(self, number):
        """The memory records of region `number` (0: outside every region), in count order (a
        copy)."""
        r = self.records[(self.region_of() == number) & self.memory_mask()]
        return r[np.argsort(r["count"], kind="stable")]


def open_trace(path):
    """Opens a trace file; ValueError when it is not a trace this module reads."""
    return Trace(path)

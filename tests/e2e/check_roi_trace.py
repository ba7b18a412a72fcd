# Checks the trace of examples/roi.c: one start marker, then the 100-element int32 copy loop at
# 20 lanes per vector = 5 iterations, each one 80-byte read of src and one 80-byte write of dst,
# in ascending addresses, all reads from one pc and all writes from another, then one stop
# marker. Nothing from the copy outside the region.
import struct
import sys

data = open(sys.argv[1], "rb").read()
assert data[:8] == b"SVETRACE", "bad magic"
version, header_size, vl, rec_size = struct.unpack_from("<IIII", data, 8)
assert vl == 80 and rec_size == 48, (vl, rec_size)
end = len(data) - 47
if version >= 2:  # the header counts the record slots; the file may be longer
    end = header_size + 48 * struct.unpack_from("<Q", data, 32)[0]
slots = [struct.unpack_from("<QIIiIQQQ", data, off) for off in range(header_size, end, 48)]
# Leave out slots never written (all zero) and the thread record of version 2.
recs = [r for r in slots if (r[0], r[1]) != (0, 0) and r[1] != 0xFFFFFFFD]
errors = []
def check(cond, what):
    if not cond:
        errors.append(what)
check(len(recs) == 12, "12 records, found %d" % len(recs))
if len(recs) == 12:
    check(recs[0][1] == 0xFFFFFFFF and recs[-1][1] == 0xFFFFFFFE, "markers first and last")
    body = recs[1:-1]
    reads = [r for r in body if r[3] == 1]
    writes = [r for r in body if r[3] == 0]
    check([r[3] for r in body] == [1, 0] * 5, "read, write alternate")
    check(all(r[5] == 80 and r[2] == 0 for r in body), "linear records of 80 bytes")
    for name, rs in (("reads", reads), ("writes", writes)):
        check(all(rs[i + 1][6] - rs[i][6] == 80 for i in range(len(rs) - 1)), name + " ascend by 80")
        check(len({r[7] for r in rs}) == 1, name + " from one pc")
    check(len({r[1] for r in body}) == 1, "one thread")
    counts = [r[0] for r in recs]
    check(counts == sorted(counts) and len(set(counts)) == len(counts), "counts increase")
for e in errors:
    print("roi trace:", e)
sys.exit(1 if errors else 0)

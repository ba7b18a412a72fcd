# check_roi_trace.py TRACE VL_BYTES: checks the trace of examples/roi.c at that vector length:
# one start marker, then the 100-element int32 copy loop (400 bytes) in ceil(400 / VL_BYTES)
# iterations, each one read of src and one write of dst of a whole vector, the last of what is
# left (its predicate from whilelo), in ascending addresses, all reads from one pc and all writes
# from another, then one stop marker. Nothing from the copy outside the region.
import struct
import sys

data = open(sys.argv[1], "rb").read()
want_vl = int(sys.argv[2])
iterations = -(-400 // want_vl)
sizes = [want_vl] * (iterations - 1) + [400 - want_vl * (iterations - 1)]
assert data[:8] == b"SVETRACE", "bad magic"
version, header_size, vl, rec_size = struct.unpack_from("<IIII", data, 8)
assert vl == want_vl and rec_size == 48, (vl, want_vl, rec_size)
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
check(len(recs) == 2 * iterations + 2, "%d records, found %d" % (2 * iterations + 2, len(recs)))
if len(recs) == 2 * iterations + 2:
    check(recs[0][1] == 0xFFFFFFFF and recs[-1][1] == 0xFFFFFFFE, "markers first and last")
    body = recs[1:-1]
    reads = [r for r in body if r[3] == 1]
    writes = [r for r in body if r[3] == 0]
    check([r[3] for r in body] == [1, 0] * iterations, "read, write alternate")
    check(all(r[2] == 0 for r in body), "linear records")
    for name, rs in (("reads", reads), ("writes", writes)):
        check([r[5] for r in rs] == sizes, name + " of %s bytes" % sizes)
        check(all(rs[i + 1][6] - rs[i][6] == want_vl for i in range(len(rs) - 1)), name + " ascend by a vector")
        check(len({r[7] for r in rs}) == 1, name + " from one pc")
    check(len({r[1] for r in body}) == 1, "one thread")
    counts = [r[0] for r in recs]
    check(counts == sorted(counts) and len(set(counts)) == len(counts), "counts increase")
for e in errors:
    print("roi trace:", e)
sys.exit(1 if errors else 0)

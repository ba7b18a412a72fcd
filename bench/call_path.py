#!/usr/bin/env python3
"""Where the AArch64 instructions of one emulated SVE instruction go, in a stage of sve-run.

call_path.py BUILD_DIR [--stage STAGE] [--only REGEX]

Runs oracle_bench's count mode (BUILD_DIR/bench/oracle_bench count: each instruction of the
benchmark set in a loop of 16 copies, with 5 and with 15 iterations between count_begin and
count_end) under BUILD_DIR/bin/sve-run in that stage, with qemu logging every instruction
(kernel_runs.QEMU_TRACE_ENV), and puts each instruction executed in the counted loops into a
part by the mapping and the symbol that hold it: the patched word in the program (its branch
to the trampoline), the trampolines (the host's anonymous executable pages), the client's entry `emulate_instruction`, the procedure linkage stubs (calls
between libraries), the host layer's functions that the client calls, and the rest of the
client library (the handler and the operations it calls). The difference of the two loop
lengths, over 160 emulated instructions, gives one instruction's share of each part exactly.
"""
import argparse
import bisect
import collections
import os
import re
import subprocess
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)) + "/kernels")
import kernel_runs  # noqa: E402

PC = re.compile(r"\[[0-9a-f]+/([0-9a-f]+)/")


def read_maps(text):
    """(start, end, path or "", file offset, permissions) of each mapping of /proc/self/maps, by
    start address."""
    out = []
    for line in text.splitlines():
        f = line.split()
        if len(f) < 5 or "-" not in f[0]:
            continue
        lo, hi = (int(x, 16) for x in f[0].split("-"))
        out.append((lo, hi, f[5] if len(f) > 5 else "", int(f[2], 16), f[1]))
    return sorted(out)


def symbols(path):
    """Sorted (address, name) of a shared library's symbols, with its procedure linkage table
    as the pseudo-symbol "PLT"."""
    out = set()
    for args in (["-D", "--defined-only"], ["--defined-only"]):
        r = subprocess.run(["aarch64-linux-gnu-nm"] + args + [path], capture_output=True, text=True)
        for line in r.stdout.splitlines():
            f = line.split(None, 2)
            if len(f) == 3:
                out.add((int(f[0], 16), f[2]))
    r = subprocess.run(["aarch64-linux-gnu-objdump", "-h", path], capture_output=True, text=True)
    for line in r.stdout.splitlines():
        f = line.split()
        if len(f) > 4 and f[1] in (".plt", ".plt.sec"):
            start, size = int(f[3], 16), int(f[2], 16)
            out = {(a, n) for a, n in out if not start <= a < start + size}
            out |= {(start, "PLT"), (start + size, "(after the PLT)")}
    return sorted(out)


def part_of(path, symbol, perms, program):
    """The part of the call path that an instruction belongs to."""
    if not path and "x" in perms:
        return "trampoline"
    if path == program:
        return "patched word"
    name = os.path.basename(path)
    if symbol == "PLT":
        return "linkage stubs"
    if name.startswith("libsve_host"):
        return "host functions"
    if name.startswith("libmemtrace_sve_"):
        return "client entry" if "emulate_instruction" in symbol else "handler and operation"
    return "other (%s)" % (name or "anonymous")


def classify(pcs, maps, cache, program):
    """Counts per part of a list of program counters."""
    starts = [m[0] for m in maps]
    out = collections.Counter()
    for pc in pcs:
        i = bisect.bisect_right(starts, pc) - 1
        if i < 0 or pc >= maps[i][1]:
            out["other (unmapped)"] += 1
            continue
        lo, _, path, offset, perms = maps[i]
        symbol = ""
        if path:
            if path not in cache:
                table = symbols(path)
                cache[path] = ([a for a, _ in table], [n for _, n in table])
            addresses, names = cache[path]
            j = bisect.bisect_right(addresses, pc - lo + offset) - 1
            symbol = names[j] if j >= 0 else ""
        out[part_of(path, symbol, perms, program)] += 1
    return out


def counted_regions(log):
    """The program counters of each region between count_begin and count_end, in order, from
    qemu's exec log (one line per instruction)."""
    regions, current, inside = [], [], False
    for line in log:
        if not line.startswith("Trace"):
            continue
        if line.endswith("count_begin\n"):
            inside, current = True, []
            continue
        if line.endswith("count_end\n"):
            if inside:
                regions.append(current)
            inside = False
            continue
        if inside:
            m = PC.search(line)
            if m:
                current.append(int(m.group(1), 16))
    return regions


def main():
    ap = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    ap.add_argument("build")
    ap.add_argument("--stage", default="patch")
    ap.add_argument("--only", default="", help="regular expression: only the instructions it finds")
    a = ap.parse_args()
    build = os.path.abspath(a.build)
    prog = os.path.join(build, "bench", "oracle_bench")
    sve_run = os.path.join(build, "bin", "sve-run")
    texts = re.findall(r'BENCH_INSN\("([^"]+)"',
                       open(os.path.join(os.path.dirname(os.path.abspath(__file__)), "instructions.inc")).read())
    read, write = os.pipe()
    env = dict(os.environ, **kernel_runs.QEMU_TRACE_ENV, QEMU_LOG_FILENAME="/proc/self/fd/%d" % write)
    proc = subprocess.Popen([sve_run, "--stage", a.stage, prog, "count"], stdout=subprocess.PIPE,
                            stderr=subprocess.DEVNULL, env=env, pass_fds=(write,), text=True, cwd="/tmp")
    os.close(write)
    with os.fdopen(read) as log:
        regions = counted_regions(log)
    maps = read_maps(proc.stdout.read())
    proc.wait()
    if len(regions) != 2 * len(texts):
        sys.exit("call_path: %d counted regions, %d expected" % (len(regions), 2 * len(texts)))
    cache = {}
    parts = ["patched word", "trampoline", "client entry", "linkage stubs", "host functions", "handler and operation"]
    print("AArch64 instructions per emulated instruction in the %s stage, by part of the call path" % a.stage)
    print("(oracle_bench's loops of 16 copies under sve-run; the loop's subs and b.ne left out):")
    print("%-42s %7s" % ("instruction", "total") + "".join(" %10s" % p.split()[0] for p in parts) + "  other")
    print("(patched: the word's branch; client: emulate_instruction; linkage: PLT stubs; host: the host")
    print("layer's functions that the client calls; handler: the handler and the operations it calls)")
    for i, text in enumerate(texts):
        if a.only and not re.search(a.only, text):
            continue
        short, long = (classify(regions[2 * i + k], maps, cache, prog) for k in (0, 1))
        diff = {k: (long[k] - short[k]) / 160.0 for k in set(long) | set(short)}
        diff["patched word"] = diff.get("patched word", 0.0) - 2 / 16.0  # subs and b.ne of each iteration
        total = sum(diff.values())
        rest = {k: v for k, v in diff.items() if k not in parts and abs(v) > 1e-9}
        print("%-42s %7.1f" % (text, total) + "".join(" %10.1f" % diff.get(p, 0.0) for p in parts) +
              "  " + ", ".join("%s %.1f" % kv for kv in sorted(rest.items())))


if __name__ == "__main__":
    main()

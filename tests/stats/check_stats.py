#!/usr/bin/env python3
"""End-to-end checks of sve-run --stats.

check_stats.py regions SVE_RUN PROGRAM [--stage S]   counts of tests/stats/regions.c, JSON and CSV
check_stats.py matmul SVE_RUN PROGRAM                counts of examples/matmul.c from its loops
check_stats.py output SVE_RUN PROGRAM                text on stderr, file names, nothing when off
check_stats.py fork SVE_RUN PROGRAM                  a forked child reports its own counts
"""
import csv
import glob
import json
import os
import re
import subprocess
import sys
import tempfile

failures = []


def check(cond, what):
    if not cond:
        failures.append(what)
        print("FAIL:", what)


def run(sve_run, args, env=None, cwd=None):
    p = subprocess.run([sve_run] + args, capture_output=True, text=True, env=env, cwd=cwd)
    return p.returncode, p.stdout, p.stderr


def stats_of(sve_run, prog, fmt, stage="patch", prog_args=()):
    """Runs PROG with --stats into a file; returns (status, stdout, parsed report)."""
    with tempfile.TemporaryDirectory() as d:
        out = os.path.join(d, "stats." + fmt)
        status, stdout, stderr = run(sve_run, ["--stage", stage, "--stats=" + out, "--stats-format=" + fmt, prog]
                                     + list(prog_args))
        check(os.path.exists(out), "no statistics file for %s (stderr: %s)" % (fmt, stderr[-500:]))
        text = open(out).read() if os.path.exists(out) else ""
    return status, stdout, text


SECTIONS = ["forms", "functions", "regions", "region_forms", "instructions"]


def parse_json(text):
    d = json.loads(text)
    return d["total"], {s: [(e["name"], e.get("thread"), e.get("region"), e.get("location"), e.get("form"),
                             e["count"], e["share"]) for e in d[s]] for s in SECTIONS}


def parse_csv(text):
    rows = list(csv.DictReader(text.splitlines()))
    total = [int(r["count"]) for r in rows if r["section"] == "total"]
    check(len(total) == 1, "one total row in the CSV")
    out = {s: [] for s in SECTIONS}
    for r in rows:
        if r["section"] in out:
            out[r["section"]].append((r["name"], int(r["thread"]) if r["thread"] else None,
                                      int(r["region"]) if r["region"] else None, r["location"] or None,
                                      r["form"] or None, int(r["count"]), float(r["share"])))
    return total[0] if total else 0, out


def check_sums(total, sections, label):
    """Every section adds up to the total, and each share is its count over the total."""
    for s in SECTIONS:
        check(sum(e[5] for e in sections[s]) == total, "%s: %s add up to the total %d" % (label, s, total))
        for e in sections[s]:
            check(abs(e[6] - 100.0 * e[5] / total) < 0.001, "%s: share of %s" % (label, e[0]))


def by_name(entries):
    return {e[0]: e[5] for e in entries}


def regions(sve_run, prog, stage):
    # The expected counts are derived in regions.c from its source.
    reports = {}
    for fmt, parse in (("json", parse_json), ("csv", parse_csv)):
        status, stdout, text = stats_of(sve_run, prog, fmt, stage)
        check(status == 0 and stdout == "done\n", "the program runs as without statistics (%d %r)" % (status, stdout))
        total, sections = parse(text)
        check_sums(total, sections, fmt)
        reports[fmt] = (total, sections)
        check(total == 390, "%s: total %d, expected 390" % (fmt, total))
        forms = by_name(sections["forms"])
        for form in ("add z.s, z.s, z.s", "add z.s, z.s, #imm", "index z.s, #imm, #imm"):
            check(forms.get(form) == 126, "%s: %s runs 126 times, got %s" % (fmt, form, forms.get(form)))
        check(forms.get("region start marker") == 6 and forms.get("region stop marker") == 6,
              "%s: six start and six stop markers" % fmt)
        functions = by_name(sections["functions"])
        check(functions.get("work") == 378 and functions.get("worker") == 8 and functions.get("main") == 4,
              "%s: by function work 378, worker 8, main 4: %s" % (fmt, functions))
        regs = sections["regions"]
        outside = [e[5] for e in regs if e[2] == 0]
        check(outside == [46], "%s: 46 outside regions, got %s" % (fmt, outside))
        main = sorted((e[2], e[5]) for e in regs if e[1] == 0 and e[2])
        check(main == [(1, 22), (2, 14)], "%s: main thread's regions 22 and 14, got %s" % (fmt, main))
        workers = [e for e in regs if e[1] not in (None, 0) and e[2]]
        check(sorted(e[5] for e in workers) == [32, 62, 92, 122] and all(e[2] == 1 for e in workers)
              and len({e[1] for e in workers}) == 4,
              "%s: one region per worker thread, 32, 62, 92, 122: %s" % (fmt, workers))
        # Forms per region: main's two regions, the workers' by their size, and outside.
        rf = {}
        for e in sections["region_forms"]:
            rf.setdefault((e[1], e[2]), {})[e[4]] = e[5]
        body = ("add z.s, z.s, z.s", "add z.s, z.s, #imm", "index z.s, #imm, #imm")
        want = {(0, 1): dict({f: 7 for f in body}, **{"region start marker": 1}),
                (0, 2): dict({f: 4 for f in body}, **{"region start marker": 1, "region stop marker": 1}),
                (None, 0): dict({f: 15 for f in body}, **{"region stop marker": 1})}
        for k, v in want.items():
            check(rf.get(k) == v, "%s: forms of region %s: %s, got %s" % (fmt, k, v, rf.get(k)))
        sizes = sorted(tuple(sorted(v.items())) for k, v in rf.items() if k[0] not in (None, 0))
        check(sizes == sorted(tuple(sorted(dict({f: 10 * n for f in body}, **{"region start marker": 1,
                                                                               "region stop marker": 1}).items()))
                              for n in (1, 2, 3, 4)), "%s: forms of the workers' regions: %s" % (fmt, sizes))
        work = [e for e in sections["instructions"] if e[3] and e[3].startswith("work+0x")]
        check(len(work) == 3 and all(e[5] == 126 for e in work), "%s: three instructions in work, 126 each" % fmt)
    if len(reports) == 2:
        j, c = reports["json"][1], reports["csv"][1]
        # Thread numbers follow the order in which threads start, which differs between runs.
        key = {s: (lambda x: x[:6]) for s in SECTIONS}
        key["regions"] = lambda x: (x[1] == 0, x[2], x[5])
        key["region_forms"] = lambda x: (x[1] == 0, x[2], x[4], x[5])
        for s in SECTIONS:
            check(sorted(map(key[s], j[s])) == sorted(map(key[s], c[s])), "JSON and CSV agree on " + s)


def matmul(sve_run, prog):
    # matmul.c: N = 70; a vector holds 80 / 4 = 20 floats, so each row loop over j (70 columns)
    # takes ceil(70 / 20) = 4 vector iterations, the last with 10 active lanes.
    #  - product() updates c[i][j] += s * b[k][j] for every (i, k): 70 * 70 * 4 = 19600 vector
    #    multiply-adds (fmla or fmad), however the compiler arranges the k loop.
    #  - every update reads b's row, one contiguous ld1w per vector iteration: at least 19600;
    #    c's row is read at most once more per update: at most 2 * 19600.
    #  - s = a[i][k] is broadcast once per (i, k): 4900.
    #  - A repetition count of 2 runs product() twice: each of its instructions runs exactly twice
    #    as often, and main's counts stay.
    runs = {}
    for reps in ("1", "2"):
        status, stdout, text = stats_of(sve_run, prog, "json", prog_args=[reps])
        check(status == 0 and stdout.startswith("trace "), "matmul runs (%d)" % status)
        total, sections = parse_json(text)
        check_sums(total, sections, "matmul " + reps)
        runs[reps] = (total, sections)
        check([(e[0], e[5]) for e in sections["regions"]] == [("outside regions", total)],
              "matmul has no regions: all counts outside")
    total, sections = runs["1"]
    product = [e for e in sections["instructions"] if e[3].startswith("product+")]
    def count(pred):
        return sum(e[5] for e in product if pred(e[4]))
    fma = count(lambda f: f.startswith("fmla z.s") or f.startswith("fmad z.s"))
    check(fma == 19600, "product: 19600 multiply-adds, got %d" % fma)
    loads = count(lambda f: f.startswith("ld1w {z.s}, p/z, [x"))
    check(19600 <= loads <= 2 * 19600, "product: between 19600 and 39200 row loads, got %d" % loads)
    broadcast = count(lambda f: f.startswith("ld1rw") or f.startswith("mov z.s, s") or f.startswith("mov z.s, w"))
    check(broadcast == 4900, "product: 4900 broadcasts of a[i][k], got %d" % broadcast)
    functions = by_name(sections["functions"])
    check(functions.get("product") == sum(e[5] for e in product), "the function line of product sums its instructions")
    twice = {e[0]: e[5] for e in runs["2"][1]["instructions"]}
    for e in sections["instructions"]:
        want = e[5] * (2 if e[3].startswith("product+") else 1)
        check(twice.get(e[0]) == want, "with 2 repetitions %s (%s) runs %d times, got %s" % (e[3], e[4], want,
                                                                                              twice.get(e[0])))


def output(sve_run, prog):
    # Text on standard error; the program's own output unchanged.
    status, stdout, stderr = run(sve_run, ["--stats", prog])
    check(status == 0 and stdout == "done\n", "text report: program output unchanged")
    check("SVE instruction mix: 390 instructions emulated\n" in stderr, "text report on stderr: %s" % stderr[:300])
    m = re.search(r"^ +(\d+) +([\d.]+)%  outside regions$", stderr, re.M)
    check(m is not None and m.group(1) == "46" and m.group(2) == "11.79", "text line of the outside count")
    # Without --stats nothing is reported.
    status, stdout, stderr = run(sve_run, [prog])
    check(status == 0 and "SVE instruction mix" not in stderr, "no report without --stats")
    # File names: %p the process id, %r the rank from the MPI launcher's variables.
    with tempfile.TemporaryDirectory() as d:
        env = dict(os.environ, PMI_RANK="3")
        env.pop("OMPI_COMM_WORLD_RANK", None)
        status, _, stderr = run(sve_run, ["--stats=stats.%r.%p.txt", prog], env=env, cwd=d)
        names = glob.glob(os.path.join(d, "stats.3.*.txt"))
        check(len(names) == 1 and re.fullmatch(r"stats\.3\.\d+\.txt", os.path.basename(names[0])),
              "file name with rank and pid: %s" % os.listdir(d))
        check("SVE instruction mix" not in stderr, "a report in a file leaves stderr alone")
    # A format the client does not know, set by hand: its usage error, and the program never runs.
    status, stdout, stderr = run(sve_run, [prog], env=dict(os.environ, SVE_STATS="xml"))
    check(status != 0 and stdout == "" and
          stderr == "SVE emulation client usage error: SVE_STATS is xml, not text, csv or json\n",
          "client usage error for SVE_STATS=xml: %d %r" % (status, stderr))
    # User errors: one line and status 2 before the program runs.
    for args, msg in ((["--stats-format=xml", "--stats"], "--stats-format takes text, csv or json, not xml"),
                      (["--stats=/nonexistent/dir/s.txt"], "cannot write the statistics file")):
        status, stdout, stderr = run(sve_run, args + [prog])
        check(status == 2 and stdout == "" and msg in stderr and stderr.count("\n") == 1,
              "usage error %s: %d %r" % (args, status, stderr))


def fork(sve_run, prog):
    # Counts derived in fork.c: the parent 21, the child 15, in files named by their pids.
    with tempfile.TemporaryDirectory() as d:
        status, stdout, stderr = run(sve_run, ["--stats=%s/s.%%p.json" % d, "--stats-format=json", prog])
        check(status == 0 and stdout == "child ok\n", "fork.c runs (%d %r %r)" % (status, stdout, stderr))
        totals = []
        for name in glob.glob(os.path.join(d, "s.*.json")):
            total, sections = parse_json(open(name).read())
            check_sums(total, sections, "fork")
            totals.append(total)
        check(sorted(totals) == [15, 21], "parent 21 and child 15 in two files, got %s" % totals)


def main():
    mode, sve_run, prog = sys.argv[1:4]
    stage = sys.argv[5] if len(sys.argv) > 5 and sys.argv[4] == "--stage" else "patch"
    {"regions": lambda: regions(sve_run, prog, stage), "matmul": lambda: matmul(sve_run, prog),
     "output": lambda: output(sve_run, prog), "fork": lambda: fork(sve_run, prog)}[mode]()
    if failures:
        print("%d check(s) failed" % len(failures))
        sys.exit(1)


if __name__ == "__main__":
    main()

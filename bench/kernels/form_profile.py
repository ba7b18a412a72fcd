#!/usr/bin/env python3
"""The dynamic instruction-form profile of the kernel set: which SVE instruction forms the
kernels execute, and how often.

form_profile.py BUILD_DIR [--size N] [--reps R] [--top K] [--per-kernel P] [-o FILE]

Runs every kernel of BUILD_DIR/bench/kernels/kernels_sve (an aarch64 build) once under
BUILD_DIR/bin/sve-run with `--stats-format=json` (one trial of R repetitions on N elements, after
the program's untimed call), adds up the counts of each instruction form over the kernels and
prints one row per form, most executed first: the decode row's handler (several where rows
share a form), the form, its count, its share of all emulated instructions and the cumulative
share, the number of kernels using it and its mean share per kernel (each kernel weighs the
same there, as in a geometric mean over kernels). Then, per kernel, its top forms.
"""
import argparse
import json
import os
import subprocess
import sys
import tempfile


def handlers_by_form(row_forms_path):
    """form -> list of handler names, from the client's generated row_forms.inc, whose lines
    read `"form",  // Handler`, one per decode row."""
    out = {}
    for line in open(row_forms_path):
        line = line.strip()
        if not line.startswith('"') or "//" not in line:
            continue
        text, handler = line.rsplit("//", 1)
        form = text.strip().rstrip(",").strip()
        form = json.loads(form)  # the C string has no escapes beyond JSON's
        out.setdefault(form, []).append(handler.strip())
    return out


def tiers_by_handler(rows_path):
    """handler -> tier letter (S specialised, F host FP unit, G generic only, P prefetch), from
    the decode row table."""
    out = {}
    for line in open(rows_path):
        fields = line.split()
        if len(fields) > 3 and not fields[0].startswith("#"):
            out[fields[2]] = fields[3]
    return out


def form_counts(stats):
    """{form: count} of one --stats-format=json report."""
    out = {}
    for entry in stats["forms"]:
        out[entry["name"]] = out.get(entry["name"], 0) + entry["count"]
    return out


def combine(per_kernel):
    """Rows of the profile from {kernel: {form: count}}, most executed form first (ties by
    form): tuples (form, count, share %, cumulative share %, kernels using it, mean share %
    per kernel over the kernels with SVE instructions)."""
    total, used, shares = {}, {}, {}
    kernels = [k for k, c in per_kernel.items() if sum(c.values()) > 0]
    for k in kernels:
        counts = per_kernel[k]
        kernel_total = sum(counts.values())
        for form, n in counts.items():
            total[form] = total.get(form, 0) + n
            used[form] = used.get(form, 0) + 1
            shares[form] = shares.get(form, 0.0) + 100.0 * n / kernel_total
    grand = sum(total.values())
    rows, cumulative = [], 0
    for form, n in sorted(total.items(), key=lambda fc: (-fc[1], fc[0])):
        cumulative += n
        rows.append((form, n, 100.0 * n / grand, 100.0 * cumulative / grand, used[form],
                     shares[form] / len(kernels)))
    return rows


def top_forms(counts, k):
    """The k most executed forms of one kernel: (form, count, share %)."""
    total = sum(counts.values())
    best = sorted(counts.items(), key=lambda fc: (-fc[1], fc[0]))[:k]
    return [(f, n, 100.0 * n / total) for f, n in best]


def handler_names(handlers, form):
    names = handlers.get(form, ["?"])
    return names[0] if len(names) == 1 else "/".join(names[:3]) + ("/..." if len(names) > 3 else "")


def tier_letters(handlers, tiers, form):
    return "".join(sorted(set(tiers.get(h, "?") for h in handlers.get(form, ["?"]))))


def report(per_kernel, handlers, tiers, top, per_kernel_top, header):
    lines = [header, ""]
    rows = combine(per_kernel)
    grand = sum(r[1] for r in rows)
    lines.append("All kernels: %d emulated SVE instructions, %d forms (top %d below)." %
                 (grand, len(rows), min(top, len(rows))))
    lines.append("")
    lines.append("tier: S specialised, F specialised on the host FP unit, G generic only; krn: kernels "
                 "using the form; mean%: its mean share over the kernels with SVE code")
    lines.append("")
    lines.append("%4s  %-26s %-4s %-44s %10s %7s %7s %4s %7s" %
                 ("rank", "handler", "tier", "form", "count", "share%", "cum%", "krn", "mean%"))
    for i, (form, n, share, cum, used, mean) in enumerate(rows[:top]):
        lines.append("%4d  %-26s %-4s %-44s %10d %7.2f %7.2f %4d %7.2f" %
                     (i + 1, handler_names(handlers, form), tier_letters(handlers, tiers, form), form, n,
                      share, cum, used, mean))
    lines.append("")
    lines.append("Per kernel, top %d forms (count, share of the kernel's SVE instructions):" % per_kernel_top)
    for kernel, counts in per_kernel.items():
        total = sum(counts.values())
        if total == 0:
            lines.append("%s: no SVE instructions" % kernel)
            continue
        parts = ["%s [%s] %.1f%%" % (f, handler_names(handlers, f), s) for f, n, s in top_forms(counts, per_kernel_top)]
        lines.append("%s (%d): %s" % (kernel, total, "; ".join(parts)))
    return "\n".join(lines) + "\n"


def run_kernel(sve_run, program, kernel, size, reps, env):
    with tempfile.TemporaryDirectory() as tmp:
        path = os.path.join(tmp, "stats.json")
        r = subprocess.run([sve_run, "--stats=" + path, "--stats-format=json", program, kernel,
                            str(size), str(reps), "1"], capture_output=True, text=True, env=env)
        if r.returncode != 0 or not os.path.exists(path):
            sys.exit("form_profile: %s failed (status %d): %s" % (kernel, r.returncode, r.stderr.strip()))
        return form_counts(json.load(open(path)))


def main():
    ap = argparse.ArgumentParser(description="dynamic SVE instruction-form profile of the kernel set")
    ap.add_argument("build", help="an aarch64 build directory")
    ap.add_argument("--size", type=int, default=1024)
    ap.add_argument("--reps", type=int, default=2)
    ap.add_argument("--top", type=int, default=80)
    ap.add_argument("--per-kernel", type=int, default=5)
    ap.add_argument("-o", "--output", help="write the table here (default standard output)")
    a = ap.parse_args()
    sve_run = os.path.join(a.build, "bin", "sve-run")
    program = os.path.join(a.build, "bench", "kernels", "kernels_sve")
    row_forms = os.path.join(a.build, "sve", "client", "row_forms.inc")
    for path in (sve_run, program, row_forms):
        if not os.path.exists(path):
            sys.exit("form_profile: %s is missing (build the sve-run and kernels_sve targets)" % path)
    env = dict(os.environ)
    names = subprocess.run([sve_run, program, "list"], capture_output=True, text=True, env=env,
                           check=True).stdout.split()
    per_kernel = {k: run_kernel(sve_run, program, k, a.size, a.reps, env) for k in names}
    header = ("Dynamic SVE instruction forms of bench/kernels (kernels_sve, N = %d, 1 + %d calls per "
              "kernel, --stats-format=json)" % (a.size, a.reps))
    rows = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "sve", "decode", "rows.txt")
    text = report(per_kernel, handlers_by_form(row_forms), tiers_by_handler(rows), a.top, a.per_kernel, header)
    if a.output:
        with open(a.output, "w") as f:
            f.write(text)
    else:
        sys.stdout.write(text)


if __name__ == "__main__":
    main()

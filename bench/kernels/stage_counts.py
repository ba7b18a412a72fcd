#!/usr/bin/env python3
"""AArch64 instructions executed per emulated SVE instruction, per kernel, in each host stage
(the kernel's own scalar instructions, counted under the reference, left out), exact, from traced
runs of one repetition at N = 1024, as scripts/bench counts the patch stage.

  bench/kernels/stage_counts.py [--stages patch,translate] [KERNEL...]   (default: every kernel)

Runs build/aarch64's kernels_sve under its sve-run with SVE_HOST_STAGE set to each stage."""
import json
import os
import sys
import tempfile

import kernel_runs

root = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
build = os.path.join(root, "build/aarch64")
sve = os.path.join(build, "bench/kernels/kernels_sve")
sve_run = os.path.join(build, "bin/sve-run")


def main(argv):
    stages = ["patch", "translate"]
    if argv[:1] == ["--stages"]:
        stages, argv = argv[1].split(","), argv[2:]
    names = argv or kernel_runs.run([sve_run, sve, "list"])[1].stdout.split()
    scratch = tempfile.TemporaryDirectory()
    print("%-16s %8s" % ("kernel", "SVE") + "".join(" %10s" % s for s in stages))
    for name in names:
        args = [name, "1024", "1", "1"]
        stats = os.path.join(scratch.name, "stats.json")
        kernel_runs.run([sve_run, "--stats=" + stats, "--stats-format=json", sve] + args, cwd=scratch.name)
        per_function = {f["name"]: f["count"] for f in json.load(open(stats))["functions"]}
        n_sve = (per_function.get(name, 0) + per_function.get(name + "_loop", 0)) / 2.0
        markers = "count_begin|count_end"
        ref = kernel_runs.region_lengths(kernel_runs.traced_lines(kernel_runs.REFERENCE + [sve] + args, markers))
        row = "%-16s %8.0f" % (name, n_sve)
        for stage in stages:
            env = dict(os.environ, SVE_HOST_STAGE=stage)
            ins = kernel_runs.region_lengths(kernel_runs.traced_lines([sve_run, sve] + args, markers, env=env,
                                                                      cwd=scratch.name))
            row += " %10s" % ("%.1f" % ((ins[0] - (ref[0] - n_sve)) / n_sve) if n_sve and ins and ref else "-")
        print(row, flush=True)


if __name__ == "__main__":
    main(sys.argv[1:])

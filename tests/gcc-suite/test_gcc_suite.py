#!/usr/bin/env python3
"""The decisions of scripts/gcc-suite: which GCC tests it takes and with which options (from their
dg directives), what counts as an SVE binary, and the word at which a program died of SIGILL.
Usage: test_gcc_suite.py GCC_SUITE_SCRIPT UNDEFINED_PROGRAM (tests/e2e/undefined.c, built)"""
import importlib.machinery
import importlib.util
import os
import sys
import tempfile

loader = importlib.machinery.SourceFileLoader("gcc_suite", sys.argv[1])
spec = importlib.util.spec_from_loader("gcc_suite", loader)
suite = importlib.util.module_from_spec(spec)
loader.exec_module(suite)

RUN = '/* { dg-do run { target aarch64_sve_hw } } */\n'
# source text, suite, expected skip reason (None: taken), expected options
CASES = [
    (RUN + '/* { dg-options "-O2 -ftree-vectorize" } */', "sve", None, ["-O2", "-ftree-vectorize"]),
    (RUN + '/* { dg-options "-O2 --save-temps -fdump-tree-vect-details" } */', "sve", None, ["-O2"]),
    (RUN + '/* { dg-options "-O2 -msve-vector-bits=256" } */', "sve", "fixed vector length", []),
    (RUN + '/* { dg-options "-O2 -msve-vector-bits=scalable" } */', "sve", None, ["-O2", "-msve-vector-bits=scalable"]),
    ('/* { dg-do run { target aarch64_sve256_hw } } */', "sve", "fixed vector length or another target", []),
    ('/* { dg-do run { target { aarch64_sve1024_hw } } } */', "sve", "fixed vector length or another target", []),
    (RUN + '/* { dg-options "-O2 -march=armv8.2-a+sve2" } */', "sve", "needs more than armv8.2-a+sve", []),
    (RUN + '/* { dg-options "-O2 -march=armv8-a+sve" } */', "sve", None, ["-O2", "-march=armv8-a+sve"]),
    (RUN + '/* { dg-require-effective-target aarch64_sve_i8mm_ok } */', "sve", "needs more than armv8.2-a+sve", []),
    ('/* { dg-do compile } */\n/* { dg-options "-O2" } */', "sve", "not a run test", []),
    ('int main() { return 0; }', "sve", "not a run test", []),
    # gcc.dg/vect: no dg-do means a run test with the driver's default options.
    ('/* { dg-require-effective-target vect_int } */\nint main() {}', "vect", None, suite.VECT_DEFAULTS),
    ('/* { dg-do compile } */', "vect", "not a run test", []),
    ('/* { dg-do run { target { ! aarch64*-*-* } } } */', "vect", "not a run test", []),
    ('/* { dg-additional-options "-mavx2" { target { i?86-*-* x86_64-*-* } } } */\n'
     '/* { dg-additional-options "-fno-trapping-math" { target aarch64*-*-* } } */', "vect", None,
     suite.VECT_DEFAULTS + ["-fno-trapping-math"]),
    ('/* { dg-options "-O3 -fno-common" } */\n/* { dg-additional-options "-ffast-math" } */', "vect", None,
     ["-O3", "-fno-common", "-ffast-math"]),
    (RUN + '/* { dg-options "-O2" { target aarch64_sve256_hw } } */', "sve", "fixed vector length", []),
    ('/* { dg-do run } */\n/* { dg-require-effective-target avx512f_runtime } */', "vect", "another target", []),
    # Quotes inside an option string, as in gcc.dg/vect/pr63530.c.
    ('/* { dg-additional-options "-funroll-loops --param \\"max-completely-peeled-insns=400\\"" } */', "vect",
     None, suite.VECT_DEFAULTS + ["-funroll-loops", "--param", "max-completely-peeled-insns=400"]),
]

failed = 0
with tempfile.TemporaryDirectory() as tmp:
    for i, (text, kind, want_skip, want_flags) in enumerate(CASES):
        path = os.path.join(tmp, "t%d.c" % i)
        with open(path, "w") as f:
            f.write(text + "\n")
        skip, flags, _ = suite.classify_source("t", path, kind)
        if skip != want_skip or (skip is None and flags != want_flags):
            print("FAIL case %d (%s): got %r %r, want %r %r" % (i, kind, skip, flags, want_skip, want_flags))
            failed = 1
    # dg-additional-sources names sibling files.
    path = os.path.join(tmp, "s.c")
    with open(path, "w") as f:
        f.write(RUN + '/* { dg-additional-sources "a.c b.c" } */\n')
    if suite.classify_source("t", path, "sve")[2] != ["a.c", "b.c"]:
        print("FAIL: additional sources not taken")
        failed = 1

# The SVE operand pattern: z and p registers and ffr, not the names of other registers.
for line, want in [("\tld1w\t{z0.s}, p0/z, [x0]", True), ("\tptrue\tp3.b", True), ("\trdffr\tp0.b", True),
                   ("\tmov\tz31.d, z2.d", True), ("\tfadd\th0, h0, h1", False), ("\tadd\tx0, x1, x2", False),
                   ("\tbl\t400 <zero_fill>", False)]:
    if bool(suite.SVE_OPERAND.search(line)) != want:
        print("FAIL: SVE operand pattern on %r" % line)
        failed = 1

# Undefined words by kind: SVE space, scalar and vector half precision, others.
for word, want in [(0x04A00000, "SVE word"), (0x2520E020, "SVE word"), (0x1EE02800, "half-precision word"),
                   (0x1E202800, "word 1e202800"), (0x0E401400, "half-precision word"),
                   (0x0E20D400, "word 0e20d400"), (0x0EF8F800, "half-precision word"), (0x00000007, "word 00000007")]:
    if suite.word_kind(word) != want:
        print("FAIL: word %08x is %r, want %r" % (word, suite.word_kind(word), want))
        failed = 1

# The word of a SIGILL death, read back through qemu's core file of the program: undefined.c
# runs "udf #7" without arguments and the unallocated SVE word 0x04008008 with "sve".
undefined = os.path.abspath(sys.argv[2])
for args, want in [([], 0x00000007), (["sve"], 0x04008008)]:
    with tempfile.TemporaryDirectory() as tmp:
        status, _, _ = suite.run(["qemu-aarch64", "-L", "/usr/aarch64-linux-gnu", "-cpu", "cortex-a72", undefined]
                                 + args, 60, cwd=tmp, cores=True)
        cores = [f for f in os.listdir(tmp) if f.endswith(".core")]
        word = suite.sigill_word(os.path.join(tmp, cores[0]), undefined) if cores else None
        if status != 132 or word != want:
            print("FAIL: SIGILL word of undefined %s: status %d, word %s" % (args, status, word))
            failed = 1
print("gcc-suite decisions: %d directive cases" % len(CASES) if not failed else "gcc-suite decisions: failures")
sys.exit(failed)

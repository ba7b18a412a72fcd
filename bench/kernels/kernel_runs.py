"""Running the kernel programs (kernels.c) and reading their lines: shared by the checksum test
and scripts/bench."""
import os
import subprocess
import tempfile

QEMU = ["qemu-aarch64", "-L", "/usr/aarch64-linux-gnu"]
# The reference: SVE at 80 bytes, as the emulator.
REFERENCE = QEMU + ["-cpu", "max,sve-default-vector-length=80"]
# A processor without SVE, for the Advanced SIMD build.
NEON = QEMU + ["-cpu", "neoverse-n1"]
# Relative tolerance of the value of a floating-point kernel between the SVE and the Advanced
# SIMD builds: sums in another order and multiply-adds fused in one build only move the last
# bits of single precision results.
FP_TOLERANCE = 1e-6
# qemu's environment for a log with one "Trace" line per AArch64 instruction executed: one
# instruction per translated block, no chaining of blocks, the log of every block executed.
QEMU_TRACE_ENV = {"QEMU_SINGLESTEP": "1", "QEMU_LOG": "exec,nochain"}


class Result:
    def __init__(self, fields):
        self.name, self.kind, self.checksum = fields[0], fields[1], fields[2]
        self.value, self.ns = float(fields[3]), float(fields[4])


def parse(text):
    """The kernels' lines in order of the program's table: a list of Result."""
    out = []
    for line in text.splitlines():
        fields = line.split()
        if len(fields) == 5 and fields[1] in ("exact", "fp"):
            out.append(Result(fields))
    return out


def run(cmd, env=None, cwd=None):
    """Runs a kernel program; (list of Result, the completed process)."""
    r = subprocess.run(cmd, capture_output=True, text=True, env=env, cwd=cwd)
    return parse(r.stdout), r


def agree(emulated, reference, neon):
    """Mismatches of one kernel: the emulated SVE build must give the reference's bits; the
    Advanced SIMD build the same bits for exact kernels, the value within FP_TOLERANCE for
    floating-point ones. A list of messages, empty when all agree."""
    bad = []
    if emulated.checksum != reference.checksum:
        bad.append("%s: checksum %s under sve-run, %s under the reference (value %r, %r)" %
                   (emulated.name, emulated.checksum, reference.checksum, emulated.value, reference.value))
    if neon.kind == "exact" and neon.checksum != reference.checksum:
        bad.append("%s: checksum %s in the Advanced SIMD build, %s in the SVE build under the reference" %
                   (neon.name, neon.checksum, reference.checksum))
    if neon.kind == "fp" and abs(neon.value - reference.value) > FP_TOLERANCE * max(1.0, abs(reference.value)):
        bad.append("%s: value %r in the Advanced SIMD build, %r in the SVE build under the reference" %
                   (neon.name, neon.value, reference.value))
    return bad


def traced_lines(cmd, pattern, env=None, cwd=None):
    """Runs cmd (qemu-aarch64 or sve-run, which runs qemu-aarch64) with qemu translating one
    instruction per block, chaining none and logging the start of every block it executes, so
    that the log has exactly one "Trace" line for each AArch64 instruction executed, in order;
    the line ends with the name of the main program's function holding the instruction (nothing
    for the emulator's libraries, the trampolines and the C library). The log goes through a
    pipe to grep, which keeps only the lines whose function name matches pattern (an extended
    regular expression), with their line numbers: the difference of two line numbers is the
    number of instructions executed in between, exactly, whatever ran there, and the log is
    never stored. Returns a list of (line number, function name)."""
    read, write = os.pipe()
    env = dict(env or os.environ, **QEMU_TRACE_ENV, QEMU_LOG_FILENAME="/proc/self/fd/%d" % write)
    with tempfile.TemporaryFile("w+") as kept:  # a file, not a pipe: grep never waits for a reader
        grep = subprocess.Popen(["grep", "-n", "-E", r"\] (%s)$" % pattern], stdin=read, stdout=kept)
        os.close(read)
        try:
            subprocess.run(cmd, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, env=env, cwd=cwd,
                           pass_fds=(write,), check=True)
        finally:
            os.close(write)
            grep.wait()
        kept.seek(0)
        out = kept.read()
    lines = []
    for line in out.splitlines():
        number, text = line.split(":", 1)
        lines.append((int(number), text.rsplit("] ", 1)[1]))
    return lines


def region_lengths(lines):
    """Instructions executed strictly between each count_begin and the following count_end
    (kernels.c), in order: the last line of count_begin's code is its return, the first of
    count_end's its entry."""
    out, begin = [], None
    for number, name in lines:
        if name == "count_begin":
            begin = number
        elif name == "count_end" and begin is not None:
            out.append(number - begin - 1)
            begin = None
    return out

"""Running the kernel programs (kernels.c) and reading their lines: shared by the checksum test
and scripts/bench."""
import subprocess

QEMU = ["qemu-aarch64", "-L", "/usr/aarch64-linux-gnu"]
# The reference: SVE at 80 bytes, as the emulator.
REFERENCE = QEMU + ["-cpu", "max,sve-default-vector-length=80"]
# A processor without SVE, for the Advanced SIMD build.
NEON = QEMU + ["-cpu", "neoverse-n1"]
# Relative tolerance of the value of a floating-point kernel between the SVE and the Advanced
# SIMD builds: sums in another order and multiply-adds fused in one build only move the last
# bits of single precision results.
FP_TOLERANCE = 1e-6


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

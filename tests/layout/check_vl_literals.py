#!/usr/bin/env python3
"""Looks for numbers in the emulation core that would tie it to one vector length.

    check_vl_literals.py ROOT ALLOWED

Scans the sources under ROOT/sve (C++, assembly, Python) for the constants of the 640-bit
length (80 bytes, 640 bits, 5 chunks of 16 bytes, 10 predicate bytes or 8-byte words, the
state record's 4208-byte offset) written as numbers instead of derived from SVE_VL_BYTES.
Every hit must be listed in ALLOWED as `path: text` (the path relative to ROOT, the text a part
of the line), after review; a listed line that no longer exists is reported too, so the list
stays true. Exit status 0 when clean, 1 with one line for each finding.
"""
import os
import re
import sys

SUSPECT = re.compile(r"\b(80|640|4208)\b|80-byte|\b(unroll|SVE_CHUNKS\s*=)\s*(5|10)\b|\[(5|10|20|40)\]|[/*] *(5|10|20|40)\b")
SUFFIXES = (".h", ".cpp", ".inc", ".S", ".py", ".txt")


def main():
    root, allowed_path = sys.argv[1], sys.argv[2]
    allowed = []
    with open(allowed_path) as f:
        for line in f:
            line = line.rstrip("\n")
            if not line.strip() or line.startswith("#"):
                continue
            path, _, text = line.partition(": ")
            allowed.append([path, text, False])
    findings = []
    for dirpath, dirs, files in os.walk(os.path.join(root, "sve")):
        dirs.sort()
        for name in sorted(files):
            if not name.endswith(SUFFIXES) or name == "rows.txt":
                continue
            full = os.path.join(dirpath, name)
            rel = os.path.relpath(full, root)
            with open(full, errors="replace") as f:
                for no, line in enumerate(f, 1):
                    if not SUSPECT.search(line):
                        continue
                    hit = [a for a in allowed if a[0] == rel and a[1] in line]
                    for a in hit:
                        a[2] = True
                    if not hit:
                        findings.append(f"{rel}:{no}: a length-bound number: {line.strip()}")
    for path, text, used in allowed:
        if not used:
            findings.append(f"{allowed_path}: '{path}: {text}' matches no line any more")
    for line in findings:
        print(line)
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main())

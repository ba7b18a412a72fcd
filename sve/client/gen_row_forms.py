#!/usr/bin/env python3
"""Writes the readable form of every decode row, for the instruction mix of the client.

gen_row_forms.py DECODE_ROWS OBJDUMP OUT

Reads the rows of the decode row table (only the first three columns count: map, key,
handler), makes a few instruction words of each row (its key with several operand patterns),
disassembles them with the AArch64 objdump and turns register numbers into their kind and
immediates into `#imm`: `ld1w {z.s}, p/z, [x, #imm, mul vl]`. A row whose words objdump does
not know gets its handler name. OUT holds one C string per row, in the table's order.
"""
import re
import struct
import subprocess
import sys
import tempfile

# Operand patterns: the bits of a word outside its map's key take these values. Irregular ones
# first: they give different numbers to different register fields, where equal numbers could
# make objdump print an alias (sel with Zm = Zd is `mov z.s, p/m, z.s`). All zeros and all ones
# only when no irregular pattern gives a word of the row.
IRREGULAR = [0x12345678, 0x9E3779B9, 0x6A09E667, 0xBB67AE85, 0x3C6EF372, 0xA54FF53A, 0x510E527F]
PATTERNS = IRREGULAR + [0x00000000, 0xFFFFFFFF]


def read_rows(path):
    """(map, key, handler) of each row of the table, in order; the maps in their first-seen order."""
    rows, maps = [], []
    for line in open(path):
        line = line.strip()
        if not line or line.startswith("#"):
            continue
        fields = line.split()
        m, key, handler = fields[0], int(fields[1], 0), fields[2]
        if m not in maps:
            maps.append(m)
        rows.append((m, key, handler))
    return rows, maps


def ranges(map_name):
    """Bit ranges of a map's key, most significant first: 31_13__9_6 -> [(31, 13), (9, 6)]."""
    out = []
    for part in map_name.split("__"):
        hi, lo = part.split("_")
        out.append((int(hi), int(lo)))
    return out


def mask_of(rs):
    m = 0
    for hi, lo in rs:
        m |= ((1 << (hi - lo + 1)) - 1) << lo
    return m


def key_of(rs, word):
    key = 0
    for hi, lo in rs:
        width = hi - lo + 1
        key = (key << width) | ((word >> lo) & ((1 << width) - 1))
    return key


def word_of(rs, key, operands):
    w = operands & ~mask_of(rs) & 0xFFFFFFFF
    for hi, lo in reversed(rs):
        width = hi - lo + 1
        w |= (key & ((1 << width) - 1)) << lo
        key >>= width
    return w


def disassemble(objdump, words):
    with tempfile.NamedTemporaryFile(suffix=".bin") as f:
        f.write(b"".join(struct.pack("<I", w) for w in words))
        f.flush()
        text = subprocess.run([objdump, "-D", "-b", "binary", "-m", "aarch64", f.name],
                              capture_output=True, text=True, check=True).stdout
    out = {}
    for line in text.splitlines():
        m = re.match(r"\s*([0-9a-f]+):\s+[0-9a-f]{8}\s+(.*)$", line)
        if m:
            out[int(m.group(1), 16) // 4] = m.group(2).strip()
    return [out.get(i, "") for i in range(len(words))]


REG_KINDS = [
    (r"\bz\d+\b", "z"), (r"\bp\d+\b", "p"), (r"\b(x\d+|xzr|sp)\b", "x"), (r"\b(w\d+|wzr|wsp)\b", "w"),
    (r"\b[bhsdq]\d+\b", lambda m: m.group(0)[0]), (r"\bv\d+\b", "v"),
]
PATTERN_NAMES = r"\b(pow2|vl\d+|mul[34]|all)\b"
PREFETCH_OPS = r"\b(pld|pst)l[123](keep|strm)\b"


def shape(text):
    """The operand shape of one disassembled instruction, or None if objdump did not know it."""
    text = text.split("//")[0].split(";")[0].strip()
    if not text or text.startswith(".inst") or "undefined" in text:
        return None
    parts = text.split(None, 1)
    mnemonic, ops = parts[0], parts[1] if len(parts) > 1 else ""
    for pattern, kind in REG_KINDS:
        ops = re.sub(pattern, kind, ops)
    ops = re.sub(PATTERN_NAMES, "pattern", ops)
    ops = re.sub(PREFETCH_OPS, "prfop", ops)
    ops = re.sub(r"#\d+, (?=pattern)", "#imm, ", ops)
    # Immediates, but not the fixed shift amounts of an addressing form (`[x, x, lsl #2]`).
    number = r"#-?(0x[0-9a-f]+|\d+(\.\d+)?(e[-+]?\d+)?)"
    ops = re.sub(r"(?<!lsl )(?<!lsr )(?<!asr )(?<!uxtw )(?<!sxtw )" + number, "#imm", ops)
    ops = re.sub(r"(?<=[a-z.\]])\[\d+\]", "[imm]", ops)
    if re.fullmatch(r"ptrues?|cnt[bhwd]|(sq|uq)?(inc|dec)[bhwd]", mnemonic):
        ops = re.sub(r"(?<!mul )#imm", "pattern", ops)  # a pattern without a name: still a pattern
    return (mnemonic + " " + ops).strip()


def main():
    rows_path, objdump, out_path = sys.argv[1:4]
    rows, maps = read_rows(rows_path)
    map_ranges = {m: ranges(m) for m in maps}
    keys = {m: set() for m in maps}
    for m, key, _ in rows:
        keys[m].add(key)

    def row_of(word):
        """The (map, key) that decodes `word`: the first map in search order that holds its key."""
        for m in maps:
            k = key_of(map_ranges[m], word)
            if k in keys[m]:
                return m, k
        return None

    words = [word_of(map_ranges[m], key, p) for m, key, _ in rows for p in PATTERNS]
    texts = disassemble(objdump, words)
    forms = []
    for i, (m, key, handler) in enumerate(rows):
        candidates = []
        for j in range(len(PATTERNS)):
            w = words[i * len(PATTERNS) + j]
            s = shape(texts[i * len(PATTERNS) + j])
            if s and row_of(w) == (m, key):
                candidates.append((j < len(IRREGULAR), s))
        if not candidates:
            forms.append(handler)
            continue
        if any(irregular for irregular, _ in candidates):
            candidates = [c for c in candidates if c[0]]
        # The shape most patterns agree on; among equals the fullest (optional operands shown).
        shapes = [s for _, s in candidates]
        forms.append(max(shapes, key=lambda x: (shapes.count(x), len(x.split(",")), -shapes.index(x))))
    with open(out_path, "w") as f:
        f.write("// Generated by sve/client/gen_row_forms.py from sve/decode/rows.txt: one form per row.\n")
        for (m, key, handler), form in zip(rows, forms):
            f.write('"%s",  // %s\n' % (form.replace("\\", "\\\\").replace('"', '\\"'), handler))


if __name__ == "__main__":
    main()

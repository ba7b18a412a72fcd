#!/usr/bin/env python3
"""Makes C++ from the decode row table (sve/decode/rows.txt).

  gen_rows.py [--root DIR] [--table FILE] [--check]

Writes, under DIR (default: the source tree):
  sve/decode/generated/decode_counts.h    the numbers of maps and rows
  sve/decode/generated/decode_maps.inc    the maps in search order with their row counts
  sve/decode/generated/handlers.h         declarations of the handlers
  sve/decode/generated/handlers_<family>.cpp  one handler per row of the family
  sve/decode/generated/rows.cpp           the row metadata (sve_rows)
  sve/<family dir>/generated/functions.h  declarations of the functions that an element loop
                                          template makes (generic functions, and memory operations)
  sve/<family dir>/generated/<file>.inc   their definitions, included by <file>.cpp behind the
                                          templates
  sve/<family dir>/generated/<family>_declarations.h
                                          declarations of the family's other operations and
                                          generic functions (those written by hand), each with the
                                          type of its row's form
--check writes nothing and exits 1 when a file would change (a test runs it).
--format aligns the columns of rows.txt and writes nothing else.
"""
import os
import re
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
SOURCE_ROOT = os.path.dirname(os.path.dirname(HERE))

FAMILIES = ["integer", "predicate", "memory", "fp"]
# Where a family's operations live: its header for the handlers, the folder of its generated
# generic functions.
FAMILY_HEADERS = {
    "integer": ["sve/integer/ops.h"],
    "predicate": ["sve/integer/pred_flags.h", "sve/integer/pred_ops.h"],
    "memory": ["sve/memory/ops.h"],
    "fp": ["sve/fp/vector/ops.h"],
}
FAMILY_DIR = {"integer": "sve/integer", "predicate": "sve/integer", "memory": "sve/memory", "fp": "sve/fp/vector"}

# Element size code of a type token: the number in it is the element width in bits.
ESZ_NAME = {0: "ES_BYTE", 1: "ES_HALF", 2: "ES_WORD", 3: "ES_DOUBLE", 4: "ES_QUAD", None: "forms::ESZ_NONE"}
ACCESS = re.compile(r"^(load|load_ff|load_nf|store|fill|spill|prefetch)/(0|1|2|4|8)/(SI|LSS|VI|VS|XVS|YVS|SV|XSV|YSV)$")
TYPE_TOKEN = re.compile(r"^(U|S|F|D|B|H|P)(8|16|32|64|128)?$")

# Element loop templates, by name: the file that holds the template (and includes the generated
# definitions, sve/<dir>/generated/<home>.inc), the result type and the parameters of the
# functions that it makes (a generic function takes the context last). {1} in a result or
# parameter type stands for the template's second argument. A generic template g_x with a
# specialised counterpart s_x makes the row's specialised operation too.
SHAPES = {
    # sve/integer/int_generic.cpp
    "g_binary": ("int_generic", "VecV", "VecV zn, VecV zm"),
    "g_wide": ("int_generic", "VecV", "VecV zn, VecV zm"),
    "g_imm": ("int_generic", "VecV", "VecV zn, uint64_t imm"),
    "g_binary_m": ("int_generic", "VecV", "VecV zdn, PredV pg, VecV zm"),
    "g_wide_m": ("int_generic", "VecV", "VecV zdn, PredV pg, VecV zm"),
    "g_imm_m": ("int_generic", "VecV", "VecV zdn, PredV pg, uint64_t imm"),
    "g_unary_m": ("int_generic", "VecV", "VecV zd, PredV pg, VecV zn"),
    "g_ternary_m": ("int_generic", "VecV", "VecV zd, PredV pg, VecV za, VecV zb"),
    "g_compare": ("int_generic", "PredV", "PredV pg, VecV zn, VecV zm"),
    "g_compare_wide": ("int_generic", "PredV", "PredV pg, VecV zn, VecV zm"),
    "g_compare_imm": ("int_generic", "PredV", "PredV pg, VecV zn, int64_t imm"),
    # sve/fp/vector/arith.cpp
    "g_bin_m": ("arith", "VecV", "VecV zdn, PredV pg, VecV zm"),
    "g_bin_x": ("arith", "VecV", "VecV zn, VecV zm"),
    "g_un_m": ("arith", "VecV", "VecV zd, PredV pg, VecV zn"),
    "g_un_x": ("arith", "VecV", "VecV zn"),
    "g_fma_m": ("arith", "VecV", "VecV zda, PredV pg, VecV zn, VecV zm"),
    "g_fmad_m": ("arith", "VecV", "VecV zdn, PredV pg, VecV zm, VecV za"),
    "g_cmp": ("arith", "PredV", "PredV pg, VecV zn, VecV zm"),
    "g_cmp0": ("arith", "PredV", "PredV pg, VecV zn"),
    "g_arith_imm_m": ("arith", "VecV", "VecV zdn, PredV pg, uint64_t imm"),
    # sve/memory/contiguous.cpp
    "g_load_si": ("contiguous", "VecV", "PredV pg, uint64_t xn, int64_t imm"),
    "g_load_ss": ("contiguous", "VecV", "PredV pg, uint64_t xn, uint64_t xm"),
    "g_store_si": ("contiguous", "void", "VecV zt, PredV pg, uint64_t xn, int64_t imm"),
    "g_store_ss": ("contiguous", "void", "VecV zt, PredV pg, uint64_t xn, uint64_t xm"),
    "s_load_si": ("contiguous", "aarch64_decode_rc", "cpu_state* s, %s, int imm"),
    "s_load_ss": ("contiguous", "aarch64_decode_rc", "cpu_state* s, %s, aarch64_i_reg xm"),
    "s_store_si": ("contiguous", "aarch64_decode_rc", "cpu_state* s, %s, int imm"),
    "s_store_ss": ("contiguous", "aarch64_decode_rc", "cpu_state* s, %s, aarch64_i_reg xm"),
    # sve/memory/replicate.cpp
    "g_load_dup": ("replicate", "VecV", "PredV pg, uint64_t xn, uint64_t imm"),
    "s_load_dup": ("replicate", "aarch64_decode_rc", "cpu_state* s, %s, unsigned int imm"),
    "g_load_dup_quad_si": ("replicate", "VecV", "PredV pg, uint64_t xn, int64_t imm"),
    "g_load_dup_quad_ss": ("replicate", "VecV", "PredV pg, uint64_t xn, uint64_t xm"),
    # sve/memory/structure.cpp
    "g_load_struct_si": ("structure", "VecList<{1}>", "PredV pg, uint64_t xn, int64_t imm"),
    "g_load_struct_ss": ("structure", "VecList<{1}>", "PredV pg, uint64_t xn, uint64_t xm"),
    "g_store_struct_si": ("structure", "void", "VecList<{1}> zt, PredV pg, uint64_t xn, int64_t imm"),
    "g_store_struct_ss": ("structure", "void", "VecList<{1}> zt, PredV pg, uint64_t xn, uint64_t xm"),
    "s_load_struct_si": ("structure", "aarch64_decode_rc", "cpu_state* s, %s, int imm"),
    "s_load_struct_ss": ("structure", "aarch64_decode_rc", "cpu_state* s, %s, aarch64_i_reg xm"),
    "s_store_struct_si": ("structure", "aarch64_decode_rc", "cpu_state* s, %s, int imm"),
    "s_store_struct_ss": ("structure", "aarch64_decode_rc", "cpu_state* s, %s, aarch64_i_reg xm"),
    # sve/memory/first_fault.cpp
    "g_load_nf": ("first_fault", "VecV", "VecV zt, PredV pg, uint64_t xn, int64_t imm"),
    "s_load_nf": ("first_fault", "aarch64_decode_rc", "cpu_state* s, %s, int imm"),
    "g_load_ff": ("first_fault", "VecV", "PredV pg, uint64_t xn, uint64_t xm"),
    "s_load_ff": ("first_fault", "aarch64_decode_rc", "cpu_state* s, %s, aarch64_i_reg xm"),
    # sve/memory/gather_scatter.cpp
    "g_gather_vi": ("gather_scatter", "VecV", "PredV pg, VecV zn, uint64_t imm"),
    "g_gather_vs": ("gather_scatter", "VecV", "PredV pg, VecV zm, uint64_t xn"),
    "g_gather_sv": ("gather_scatter", "VecV", "PredV pg, uint64_t xn, VecV zm"),
    "g_scatter_vi": ("gather_scatter", "void", "VecV zt, PredV pg, VecV zn, uint64_t imm"),
    "g_scatter_vs": ("gather_scatter", "void", "VecV zt, PredV pg, VecV zm, uint64_t xn"),
    "g_scatter_sv": ("gather_scatter", "void", "VecV zt, PredV pg, uint64_t xn, VecV zm"),
    "s_gather_vi": ("gather_scatter", "aarch64_decode_rc", "cpu_state* s, %s, aarch64_z_reg zn, unsigned int imm"),
    "s_gather_vs": ("gather_scatter", "aarch64_decode_rc", "cpu_state* s, %s, aarch64_z_reg zm, aarch64_i_rsp_reg xn"),
    "s_gather_sv": ("gather_scatter", "aarch64_decode_rc", "cpu_state* s, %s, aarch64_i_rsp_reg xn, aarch64_z_reg zm"),
    "s_scatter_vi": ("gather_scatter", "aarch64_decode_rc", "cpu_state* s, %s, aarch64_z_reg zn, unsigned int imm"),
    "s_scatter_vs": ("gather_scatter", "aarch64_decode_rc", "cpu_state* s, %s, aarch64_z_reg zm, aarch64_i_rsp_reg xn"),
    "s_scatter_sv": ("gather_scatter", "aarch64_decode_rc", "cpu_state* s, %s, aarch64_i_rsp_reg xn, aarch64_z_reg zm"),
}
# Templates whose address form is written once for contiguous and structure accesses
# (sve/memory/access.h): the row's template stands for the shared one over its file's access class,
# g_load_struct_si<int8_t,2> for g_load_si<structure_access<int8_t, 2>>, and the specialised loads
# and stores of a form are one template: s_store_si<uint8_t,uint8_t> is
# s_si<contiguous_access<uint8_t, uint8_t>, true>.
SHARED_ADDRESS_FORMS = {}
for _form in ("load_si", "load_ss", "store_si", "store_ss"):
    for _access, _name in (("contiguous_access", _form), ("structure_access", _form.replace("_", "_struct_"))):
        SHARED_ADDRESS_FORMS["g_" + _name] = ("g_" + _form, _access, "")
        SHARED_ADDRESS_FORMS["s_" + _name] = ("s_" + _form[-2:], _access, ", true" if "store" in _form else ", false")

# Specialised memory operations begin with the transfer register, the predicate and (but for the
# vector-addressed forms) the base register: %s above.
for _name, (_home, _ret, _params) in list(SHAPES.items()):
    if "%s" in _params:
        _regs = "aarch64_z_reg zt, aarch64_p_reg pg" + ("" if _name.startswith(("s_gather", "s_scatter")) else ", aarch64_i_rsp_reg xn")
        SHAPES[_name] = (_home, _ret, _params % _regs)

GENERATED = "// Generated by sve/decode/gen_rows.py from sve/decode/rows.txt: edit those, not this file.\n"


class Row:
    def __init__(self, index, fields, line):
        if len(fields) != 11:
            sys.exit("rows.txt:%d: %d columns, 11 expected" % (line, len(fields)))
        (self.map, key, self.name, self.tier, self.type, self.family, self.sform, self.op, self.gform,
         self.generic, access) = fields
        self.access, self.mem_bytes, self.address = "none", 0, "none"
        if access != "-":
            m = ACCESS.match(access)
            if not m:
                sys.exit("rows.txt:%d: access %s is not kind/bytes/address" % (line, access))
            self.access, self.mem_bytes, self.address = m.group(1), int(m.group(2)), m.group(3)
        self.index = index
        self.key = int(key, 16)
        m = TYPE_TOKEN.match(self.type)
        if not m or not self.name.startswith("Vec" + self.type):
            sys.exit("rows.txt:%d: type %s does not begin the name %s" % (line, self.type, self.name))
        self.esz = {"8": 0, "16": 1, "32": 2, "64": 3, "128": 4}.get(m.group(2))
        if self.tier not in "SFGP" or self.family not in FAMILIES:
            sys.exit("rows.txt:%d: unknown tier or family" % line)
        if (self.tier in "SF") != (self.op != "-"):
            sys.exit("rows.txt:%d: a specialised row names its operation, no other does" % line)
        if self.generic != "-":
            tmpl = self.generic.split("<", 1)[0]
            if tmpl not in SHAPES:
                sys.exit("rows.txt:%d: unknown element loop template %s" % (line, tmpl))


def read_rows(path):
    rows = []
    with open(path) as f:
        for n, line in enumerate(f, 1):
            text = line.split("#", 1)[0].strip()
            if text:
                rows.append(Row(len(rows), text.split(), n))
    return rows


def maps_in_order(rows):
    order, counts = [], {}
    for r in rows:
        if r.map in counts and order[-1] != r.map:
            sys.exit("rows.txt: the rows of map %s do not stand together" % r.map)
        if r.map not in counts:
            order.append(r.map)
            counts[r.map] = 0
        counts[r.map] += 1
    return order, counts


def map_ranges(name):
    return [tuple(int(b) for b in part.split("_")) for part in name.split("__")]


def key_width(name):
    return sum(hi - lo + 1 for hi, lo in map_ranges(name))


def check_table(rows, order):
    widths = [key_width(m) for m in order]
    if widths != sorted(widths, reverse=True):
        sys.exit("rows.txt: maps are not in descending key width")
    seen = set()
    for r in rows:
        if r.name in seen:
            sys.exit("rows.txt: handler %s twice" % r.name)
        seen.add(r.name)
    for m in order:
        keys = [r.key for r in rows if r.map == m]
        if keys != sorted(keys) or len(set(keys)) != len(keys):
            sys.exit("rows.txt: keys of map %s are not ascending" % m)


def esz_arg(r):
    return ESZ_NAME[r.esz]


def generic_args(tmpl_call):
    """'g_binary_m<uint8_t,op_add>' -> 'g_binary_m<uint8_t, op_add>' (nested <> kept)."""
    out, depth = [], 0
    for ch in tmpl_call:
        out.append(ch)
        if ch == "<":
            depth += 1
        elif ch == ">":
            depth -= 1
        elif ch == "," and depth == 1:
            out.append(" ")
    return "".join(out)


def param_names(params):
    return ", ".join(p.split()[-1] for p in params.split(", ") if p)


def gen_decode_counts(order, rows):
    return (GENERATED + "// The number of decode maps and of rows.\n#pragma once\n\n"
            "constexpr int SVE_DECODE_MAPS = %d;\nconstexpr int SVE_DECODE_ROWS = %d;\n" % (len(order), len(rows)))


def gen_decode_maps(order, counts):
    out = [GENERATED, "// The decode maps in search order: MAP(name, number of rows).\n\n"]
    for m in order:
        out.append("MAP(%s, %d)\n" % (m, counts[m]))
    return "".join(out)


def gen_handlers_h(rows):
    out = [GENERATED, "// The handlers, one per decode row; gen_ names the generic counterpart of a specialised row.\n"
           "// They are reached through the decode maps and sve_rows only, and the library does not export them.\n",
           "#pragma once\n\n#include \"sve/core/cpu_state.h\"\n\n",
           "#pragma GCC visibility push(hidden)\nnamespace sve_handlers {\n"]
    for fam in FAMILIES:
        out.append("\n// %s\n" % fam)
        for r in rows:
            if r.family != fam:
                continue
            out.append("aarch64_decode_rc %s(cpu_state* s, uint32_t w);\n" % r.name)
            if r.tier in "SF":
                out.append("aarch64_decode_rc gen_%s(cpu_state* s, uint32_t w);\n" % r.name)
    out.append("\n}  // namespace sve_handlers\n#pragma GCC visibility pop\n")
    return "".join(out)


def gen_handlers_cpp(rows, fam):
    out = [GENERATED,
           "// Handlers of the %s rows: each extracts its operands through the row's form and calls one\n"
           "// operation (specialised tier) or the generic function behind the generic frame.\n" % fam,
           "#include \"sve/decode/generated/handlers.h\"\n",
           "".join("#include \"%s\"\n" % h for h in FAMILY_HEADERS[fam]) + "\n",
           "namespace sve_handlers {\n\n"]
    for r in rows:
        if r.family != fam:
            continue
        e = esz_arg(r)
        if r.tier == "S":
            out.append("aarch64_decode_rc %s(cpu_state* s, uint32_t w) { return %s::run<&%s, %s>(s, w); }\n"
                       % (r.name, r.sform, r.op, e))
        elif r.tier == "F":
            out.append("aarch64_decode_rc %s(cpu_state* s, uint32_t w) { return forms::host_fpsr<%s>::run<&%s, %s>(s, w); }\n"
                       % (r.name, r.sform, r.op, e))
        elif r.tier == "G":
            out.append("aarch64_decode_rc %s(cpu_state* s, uint32_t w) { return %s::run<&::%s, %s>(s, w); }\n"
                       % (r.name, r.gform, r.name, e))
        else:
            out.append("aarch64_decode_rc %s(cpu_state*, uint32_t) { return RC_DONE; }\n" % r.name)
        if r.tier in "SF":
            out.append("aarch64_decode_rc gen_%s(cpu_state* s, uint32_t w) { return %s::run<&::%s, %s>(s, w); }\n"
                       % (r.name, r.gform, r.name, e))
    out.append("\n}  // namespace sve_handlers\n")
    return "".join(out)


def c_string(s):
    return "nullptr" if s == "-" else '"%s"' % s


def transfer_registers(r):
    """The registers a load or store transfers: N for the structure templates (their second
    argument), else 1."""
    if r.generic.startswith(("g_load_struct", "g_store_struct")):
        return int(template_args(r.generic)[1])
    return 1


def gen_rows_cpp(rows, order):
    index = {m: i for i, m in enumerate(order)}
    out = [GENERATED, "// The row metadata, in table order.\n",
           "#include \"sve/decode/generated/handlers.h\"\n",
           "#include \"sve/decode/sve_emulator.h\"\n\n",
           "const sve_row_info sve_rows[SVE_DECODE_ROWS] = {\n"]
    for r in rows:
        gen = "&sve_handlers::gen_%s" % r.name if r.tier in "SF" else "nullptr"
        out.append("    {%d, int32_t(0x%X), \"%s\", '%s', true, %s, &sve_handlers::%s, %s, SVE_FAMILY_%s, %d, \"%s\", "
                   "SVE_ACCESS_%s, %d, SVE_ADDRESS_%s, %d},\n"
                   % (index[r.map], r.key, r.name, r.tier, c_string(r.op), r.name, gen, r.family.upper(),
                      -1 if r.esz is None else r.esz, r.type, r.access.upper(), r.mem_bytes, r.address.upper(),
                      transfer_registers(r)))
    out.append("};\n")
    return "".join(out)


def template_args(call):
    """Top-level template arguments of 'g_x<a,b<c>,d>'."""
    inner = call[call.index("<") + 1:-1]
    args, depth, cur = [], 0, ""
    for ch in inner:
        if ch == "," and depth == 0:
            args.append(cur)
            cur = ""
            continue
        depth += ch == "<"
        depth -= ch == ">"
        cur += ch
    return args + [cur]


def made_functions(r):
    """(template, name, result type, parameters, call) of each function the row's template makes:
    the generic function and, where the template has a specialised counterpart, the operation."""
    tmpl = r.generic.split("<", 1)[0]
    args = template_args(r.generic)
    out = []
    for t, name in ((tmpl, r.name), ("s_" + tmpl[2:], r.op if r.tier in "SF" else None)):
        if name is None or t not in SHAPES:
            continue
        home, ret, params = SHAPES[t]
        ret, params = ret.replace("{1}", args[1] if len(args) > 1 else ""), params.replace("{1}", args[1] if len(args) > 1 else "")
        call = generic_args(t + r.generic[len(tmpl):])
        if t in SHARED_ADDRESS_FORMS:
            shared, access, store = SHARED_ADDRESS_FORMS[t]
            call = "%s<%s%s%s>" % (shared, access, call[len(t):], store)
        out.append((home, name, ret, params, call, t.startswith("g_")))
    return out


def gen_functions_h(rows, fams):
    out = [GENERATED, "// Declarations of the functions that the row table makes from element loop templates.\n",
           "#pragma once\n\n#include \"sve/core/generic.h\"\n\n"]
    seen = set()
    for r in rows:
        if r.family in fams and r.generic != "-":
            for home, name, ret, params, call, generic in made_functions(r):
                if name in seen:
                    continue
                seen.add(name)
                out.append("%s %s(%s%s);\n" % (ret, name, params, ", CpuContext* c" if generic else ""))
    return "".join(out)


def gen_function_defs(rows, fams, home):
    out = [GENERATED, "// Definitions of the functions that the row table makes from the templates of %s.cpp, which\n"
           "// includes this file behind them.\n\n" % home]
    seen = {}
    for r in rows:
        if r.family in fams and r.generic != "-":
            for h, name, ret, params, call, generic in made_functions(r):
                if h != home:
                    continue
                if name in seen:
                    if seen[name] != call:
                        sys.exit("rows.txt: %s is made by both %s and %s" % (name, seen[name], call))
                    continue
                seen[name] = call
                ctx = ", CpuContext* c" if generic else ""
                names = param_names(params) + (", c" if generic else "")
                ret_kw = "" if ret == "void" else "return "
                out.append("%s %s(%s%s) { %s%s(%s); }\n" % (ret, name, params, ctx, ret_kw, call, names))
    return "".join(out)


def declarations_path(fam):
    return "%s/generated/%s_declarations.h" % (FAMILY_DIR[fam], fam)


def gen_declarations_h(rows, fam):
    """The operations and generic functions of the family's rows that no element loop template
    makes: each is declared with the function type of the row's form (sform::op_type,
    gform::fn_type), so that the declaration is exactly what the handler calls."""
    made = {name for r in rows if r.generic != "-" for _, name, _, _, _, _ in made_functions(r)}
    out = [GENERATED, "// Declarations of the %s operations and generic functions written by hand, each with the\n"
           "// function type of its row's form: `sf_x::op_type sve_y;` declares\n"
           "// aarch64_decode_rc sve_y(cpu_state*, <the handles and immediates of sf_x>).\n"
           "// The family's header includes this file after its forms.\n#pragma once\n" % fam]
    ops, generic = [], []
    seen = set()
    for r in rows:
        if r.family != fam:
            continue
        if r.tier in "SF" and r.op not in made and r.op not in seen:
            seen.add(r.op)
            ops.append("%s::op_type %s;\n" % (r.sform, r.op))
        if r.tier != "P" and r.generic == "-" and r.name not in seen:
            seen.add(r.name)
            generic.append("%s::fn_type %s;\n" % (r.gform, r.name))
    if ops:
        out.append("\n// Specialised operations.\n")
        out.extend(ops)
    if generic:
        out.append("\n// Generic functions.\n")
        out.extend(generic)
    return "".join(out)


def outputs(rows):
    order, counts = maps_in_order(rows)
    check_table(rows, order)
    files = {
        "sve/decode/generated/decode_counts.h": gen_decode_counts(order, rows),
        "sve/decode/generated/decode_maps.inc": gen_decode_maps(order, counts),
        "sve/decode/generated/handlers.h": gen_handlers_h(rows),
        "sve/decode/generated/rows.cpp": gen_rows_cpp(rows, order),
    }
    for fam in FAMILIES:
        files["sve/decode/generated/handlers_%s.cpp" % fam] = gen_handlers_cpp(rows, fam)
        files[declarations_path(fam)] = gen_declarations_h(rows, fam)
    by_dir = {}
    for fam in FAMILIES:
        by_dir.setdefault(FAMILY_DIR[fam], []).append(fam)
    for d, fams in by_dir.items():
        homes = sorted({SHAPES[r.generic.split("<", 1)[0]][0] for r in rows if r.family in fams and r.generic != "-"})
        if homes:
            files[d + "/generated/functions.h"] = gen_functions_h(rows, fams)
        for home in homes:
            files[d + "/generated/%s.inc" % home] = gen_function_defs(rows, fams, home)
    return files


def format_table(path):
    """Pads every column of the rows to one width; comments and blank lines stay."""
    lines = open(path).read().rstrip("\n").split("\n")
    rows = [l.split() for l in lines if l.strip() and not l.lstrip().startswith("#")]
    header = next(i for i, l in enumerate(lines) if l.startswith("# map "))
    names = lines[header][1:].split()
    widths = [max(len(r[i]) for r in rows + [names]) for i in range(len(names))]
    out = []
    for i, l in enumerate(lines):
        if i == header:
            out.append("# " + " ".join(n.ljust(w) for n, w in zip(names, widths)).rstrip())
        elif l.strip() and not l.lstrip().startswith("#"):
            out.append("  " + " ".join(f.ljust(w) for f, w in zip(l.split(), widths)).rstrip())
        else:
            out.append(l)
    with open(path, "w") as f:
        f.write("\n".join(out) + "\n")


def main():
    if "--format" in sys.argv:
        format_table(os.path.join(HERE, "rows.txt"))
        return 0
    root = SOURCE_ROOT
    check = "--check" in sys.argv
    if "--root" in sys.argv:
        root = sys.argv[sys.argv.index("--root") + 1]
    table = os.path.join(HERE, "rows.txt")
    if "--table" in sys.argv:
        table = sys.argv[sys.argv.index("--table") + 1]
    rows = read_rows(table)
    stale = []
    for rel, text in outputs(rows).items():
        path = os.path.join(root, rel)
        old = open(path).read() if os.path.exists(path) else None
        if old == text:
            continue
        stale.append(rel)
        if not check:
            os.makedirs(os.path.dirname(path), exist_ok=True)
            with open(path, "w") as f:
                f.write(text)
    if check and stale:
        print("out of date (run gen_rows.py): " + " ".join(stale))
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())

#!/usr/bin/env python3
"""Holds a built libmipo.so.1 to what hosts were promised about the file itself.

usage: check_library_file.py READELF OBJDUMP LIBRARY LEVEL [TEXT THAT MUST NOT APPEAR ...]
"""
import re
import subprocess
import sys

EXPORTS = {"mipo_global_specialized_ctx"}
HOST_IMPORTS = {"hostierr", "brep_decode"}  # sqrt and pow join them with the first kernel that uses them
LIBC_IMPORTS = {"memcpy", "memset", "memcmp", "frexp", "sched_yield", "printf", "__assert_fail"}
RELRO_SECTIONS = {".data.rel.ro", ".dynamic", ".got", ".got.plt"}
FUSED = re.compile(r"\t(v?fn?m(add|sub|addsub|subadd)\w*|fml[as]l?2?|fcmla|bfmla\w*|bfdot)\b")

readelf, objdump, library, level, *forbidden = sys.argv[1:]
problems = []


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True, errors="replace").stdout


def expect(condition, problem):
    if not condition:
        problems.append(problem)


dynamic = output(readelf, "-dW", library)
needed = re.findall(r"\(NEEDED\).*\[(.*)\]", dynamic)
expect(needed == ["libc.so.6"], f"needs {needed}, and not libc alone")
expect(re.findall(r"\(SONAME\).*\[(.*)\]", dynamic) == ["libmipo.so.1"], "the soname is not libmipo.so.1")
expect("NOW" in dynamic, "relocations are not done at load, so the record stays writable")
for tag in ("INIT", "FINI", "INIT_ARRAY", "FINI_ARRAY", "PREINIT_ARRAY", "TEXTREL", "RPATH", "RUNPATH"):
    expect(f"({tag})" not in dynamic, f"has a dynamic entry {tag}")

exports, imports = set(), set()
for line in output(readelf, "--dyn-syms", "-W", library).splitlines():
    fields = line.split()
    if len(fields) < 8 or not fields[0].endswith(":") or fields[4] not in ("GLOBAL", "WEAK"):
        continue
    name = fields[7].split("@")[0]
    if fields[6] == "UND":
        imports.add(name)
    else:
        exports.add(name)
        expect((fields[3], fields[2]) == ("OBJECT", "704"), f"{name} is {fields[3]} of {fields[2]} bytes")
expect(exports == EXPORTS, f"exports {sorted(exports)}")
expect(imports - LIBC_IMPORTS == HOST_IMPORTS, f"leaves {sorted(imports - LIBC_IMPORTS)} to its host")

sections = output(readelf, "-SW", library)
for name, flags in re.findall(r"\] (\S+)\s+\S+\s+[0-9a-f]+ [0-9a-f]+ [0-9a-f]+ [0-9a-f]+\s+([A-Z]+)?", sections):
    expect("W" not in flags or name in RELRO_SECTIONS, f"section {name} stays writable")
segments = output(readelf, "-lW", library)
expect("GNU_RELRO" in segments, "has no relro segment")
expect(not re.search(r"GNU_STACK\s.*\sRWE\s", segments), "asks for an executable stack")
relro = re.search(r"GNU_RELRO\s+0x\w+ (0x\w+) 0x\w+ 0x\w+ (0x\w+)", segments)
writable = [(int(a, 16), int(m, 16)) for a, m in re.findall(r"LOAD\s+0x\w+ (0x\w+) 0x\w+ 0x\w+ (0x\w+) RW ", segments)]
if relro:
    start, end = int(relro[1], 16), int(relro[1], 16) + int(relro[2], 16)
    for address, size in writable:
        expect(start <= address and address + size <= end, "writable memory lies outside of the relro segment")

notes = output(readelf, "-nW", library)
described = re.search(r"mipo\s+0x0*8\s.*?description data: ([0-9a-f ]+)", notes, re.S)
text = bytes.fromhex(described[1]).split(b"\0")[0].decode() if described else None
expect(text == level, f"the note says it was built for {text}, and not for {level}")

fused = FUSED.search(output(objdump, "-d", "--no-show-raw-insn", library))
expect(fused is None, f"has fused instructions, as {fused and fused[1]}")

with open(library, "rb") as file:
    contents = file.read()
for word in forbidden:
    expect(word.encode() not in contents, f"contains the text {word}")

for problem in problems:
    print(f"{library}: {problem}")
sys.exit(1 if problems else 0)

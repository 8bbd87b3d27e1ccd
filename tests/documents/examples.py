#!/usr/bin/env python3
"""Takes the examples out of the documents, so that they are compiled and run as they stand there.

usage: examples.py sources FOLDER DOCUMENT...     writes FOLDER/examples.cpp, and FOLDER/example_N.c for each C program
       examples.py run MIPO SOURCE DOCUMENT...    runs the shell blocks that call the program, in a scratch folder

A block of C is a whole program. A block of C++ is the body of a function after `using namespace mipo::host` in which
use(values...) takes what is shown. A block without a language in which a line begins with mipo is a shell script; the
others are pictures, lists of files and commands that build.
"""
import os
import pathlib
import re
import subprocess
import sys
import tempfile

PROGRAM = re.compile(r"^(?:build/release/bin/)?mipo(?= )", re.M)


def blocks(documents):
    """(name, language, text) of every fenced block."""
    for document in documents:
        text = pathlib.Path(document).read_text()
        for match in re.finditer(r"^```(\w*)\n(.*?)^```$", text, re.M | re.S):
            line = text.count("\n", 0, match.start()) + 1
            yield f"{document}:{line}", match[1], match[2]


def write_sources(folder, documents):
    folder = pathlib.Path(folder)
    cpp, programs = [], []
    for name, language, text in blocks(documents):
        if language == "cpp":
            test = re.sub(r"\W", "_", name)
            cpp.append(f'TEST(Documents, {test}) {{\n#line {int(name.split(":")[1]) + 1} "{name.split(":")[0]}"\n{text}}}\n')
        elif language == "c":
            programs.append(text)
        elif language:
            sys.exit(f"{name}: a block of {language}: nothing here compiles or runs that")
    prelude = (pathlib.Path(__file__).parent / "prelude.h").name
    (folder / "examples.cpp").write_text(f'#include "documents/{prelude}"\n\n' + "\n".join(cpp))
    for number, text in enumerate(programs, 1):
        (folder / f"example_{number}.c").write_text(text)
    print(len(programs))


def run(program, source, documents):
    failed = ran = 0
    with tempfile.TemporaryDirectory() as scratch:
        os.symlink(pathlib.Path(source, "data").resolve(), pathlib.Path(scratch, "data"))
        for name, language, text in blocks(documents):
            if language or not PROGRAM.search(text):
                continue
            script = PROGRAM.sub(str(pathlib.Path(program).resolve()), text.replace("build/release/bin/", ""))
            script = script.replace("&& mipo ", f"&& {pathlib.Path(program).resolve()} ")
            done = subprocess.run(["bash", "-euc", script], cwd=scratch, stdin=subprocess.DEVNULL,
                                  stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
            ran += 1
            if done.returncode != 0:
                failed += 1
                print(f"{name}: exit code {done.returncode}\n{done.stdout}")
    print(f"{ran} blocks of commands, {failed} failed")
    sys.exit(failed != 0 or ran == 0)


if len(sys.argv) > 3 and sys.argv[1] == "sources":
    write_sources(sys.argv[2], sys.argv[3:])
elif len(sys.argv) > 4 and sys.argv[1] == "run":
    run(sys.argv[2], sys.argv[3], sys.argv[4:])
else:
    sys.exit(__doc__)

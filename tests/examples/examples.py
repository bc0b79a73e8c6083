#!/usr/bin/env python3
"""The examples that open the public headers.

examples.py write FOLDER HEADER...      writes them as routines: examples.c, examplesincpp.cpp, and their list examplelist.h
examples.py check PROGRAM HEADER...     runs each header's example and compares what it prints with what the header says"""

import difflib
import os
import re
import subprocess
import sys
import tempfile
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "docs/reference"))
from headerexample import HeaderExample, without_stars

# What an example takes for granted: the library, and the C library where it prints, calculates and allocates.
includes = {
    "c": ["pelta/host.h", "pelta/pelta.h", "math.h", "stdio.h", "stdlib.h", "string.h"],
    "cpp": ["pelta/host.h", "pelta/pelta.h", "algorithm", "cmath", "cstdio", "cstdlib"],
}


class Example:
    """The example in a header's first comment."""

    def __init__(self, header):
        self.header = Path(header)
        self.family = self.header.stem
        lines = without_stars(self.header.read_text().split("\n"))
        found = HeaderExample(lines)
        if not found.language:
            sys.exit(f"{header}: has no example: a line ' * Example:' in its first comment")
        self.language, self.code, self.output = found.language, found.code, found.output
        self.first_line = len(found.before) + 2

    def routine(self):
        linkage = 'extern "C" ' if self.language == "cpp" else ""
        return (f'{linkage}void example_{self.family}(void);\n{linkage}void example_{self.family}(void) {{\n'
                f'#line {self.first_line} "{self.header}"\n' + "\n".join(self.code) + "\n}\n")


def write(folder, headers):
    examples = [Example(header) for header in headers]
    for language, name in (("c", "examples.c"), ("cpp", "examplesincpp.cpp")):
        lead = "".join(f"#include <{name}>\n" for name in includes[language])
        Path(folder, name).write_text(lead + "\n" + "\n".join(one.routine() for one in examples if one.language == language))
    entries = "".join(f"EXAMPLE({example.family})\n" for example in examples)
    Path(folder, "examplelist.h").write_text(entries)


def says_the_same(expected, line):
    """Three dots stand for what differs from run to run."""
    return re.fullmatch(".*".join(re.escape(part) for part in expected.split("...")), line) is not None


def printed_by(program, family):
    with tempfile.TemporaryDirectory() as folder:
        Path(folder, "linux/lib").mkdir(parents=True)
        setting = dict(os.environ, PELTA_HOME=folder, PROMAX_SCRATCH_HOME=folder, LOGNAME="alice")
        ran = subprocess.run([program, family], cwd=folder, env=setting, stdout=subprocess.PIPE, text=True)
    lines = [line.rstrip() for line in ran.stdout.split("\n") if line.strip()]
    return lines + ([f"(ended with {ran.returncode})"] if ran.returncode else [])


def check(program, headers):
    all_right = True
    for example in map(Example, headers):
        printed = printed_by(program, example.family)
        if len(printed) != len(example.output) or not all(map(says_the_same, example.output, printed)):
            print("\n".join(difflib.unified_diff(example.output, printed, str(example.header), "printed", lineterm="")))
            all_right = False
    sys.exit(0 if all_right else 1)


if __name__ == "__main__":
    {"write": write, "check": check}[sys.argv[1]](sys.argv[2], sys.argv[3:])

#!/usr/bin/python3
"""Checks that the programs and files that docs/releasing.md names exist, and that the programs can be run."""

import os
import re
import sys

PROGRAM = re.compile(r"`((?:scripts|tests|\.ci)/[^ `]+)(?: [^`]*)?`")
FILE = re.compile(r"`((?:[a-z]+/)?(?:CMakeLists\.txt|CHANGELOG\.md|changelog))`")


def main():
    source = sys.argv[1]
    with open(os.path.join(source, "docs/releasing.md"), encoding="utf-8") as file:
        text = file.read()
    programs, files = set(PROGRAM.findall(text)), set(FILE.findall(text))
    faults = [f"{name}: no program" for name in programs if not os.access(os.path.join(source, name), os.X_OK)]
    faults += [f"{name}: no file" for name in files if not os.path.isfile(os.path.join(source, name))]
    with open(os.path.join(source, "tests/docs/CMakeLists.txt"), encoding="utf-8") as file:
        declared = file.read()
    faults += [f"docs.{name}: no test" for name in re.findall(r"`docs\.(\w+)`", text) if f"docs_test({name} " not in declared]
    print(*faults, f"{len(programs)} programs, {len(files)} files", sep="\n")
    sys.exit(1 if faults or len(programs) < 5 or len(files) < 3 else 0)


main()

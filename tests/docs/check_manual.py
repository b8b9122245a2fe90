#!/usr/bin/python3
"""Compares the tool's manual page with the tool's own help, and lets the formatter search all pages for faults."""

import glob
import importlib.machinery
import importlib.util
import os
import re
import subprocess
import sys

SOURCE, TOOL = sys.argv[1:]

loader = importlib.machinery.SourceFileLoader("manual", f"{SOURCE}/scripts/manual")
manual = importlib.util.module_from_spec(importlib.util.spec_from_loader("manual", loader))
loader.exec_module(manual)


def faults_of(path):
    """Returns the formatter's messages about a page. Warnings are faults."""
    with open(path, encoding="utf-8") as page:
        other = re.fullmatch(r"\.so man\d/(\S+)\n", page.read())
    if other:
        return "" if os.path.exists(f"{SOURCE}/man/{other.group(1)}") else f"{path} leads to no page\n"
    return subprocess.run(["groff", "-man", "-ww", "-Tutf8", "-z", path], text=True, capture_output=True,
                          check=True).stderr


def main():
    faults = [faults_of(path) for path in glob.glob(f"{SOURCE}/man/*.[1-8]")]
    with open(f"{SOURCE}/man/scada-sensors.1", encoding="utf-8") as page:
        if page.read() != manual.page(TOOL):
            faults.append("man/scada-sensors.1 is not what the tool says of itself: run scripts/manual\n")
    sys.exit("".join(faults) or 0)


main()

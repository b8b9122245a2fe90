#!/usr/bin/python3
"""Builds the reference documentation and finds symbols without a comment, including those that doxygen does not report."""

import glob
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as ElementTree


def documented(element):
    return any("".join(element.find(part).itertext()).strip() for part in ("briefdescription", "detaileddescription"))


def symbols(directory):
    """Returns name and element of each namespace and class of ours, and of each member that a host can use."""
    for path in glob.glob(f"{directory}/xml/*.xml"):
        for compound in ElementTree.parse(path).getroot().iter("compounddef"):
            name = compound.findtext("compoundname")
            if not name.startswith("Kelvra"):
                continue
            yield name, compound
            for member in compound.iter("memberdef"):
                arguments = member.findtext("argsstring") or ""
                if member.get("prot") != "private" and not arguments.endswith("=delete"):
                    yield f"{name}::{member.findtext('name')}{arguments}", member


def main():
    source = sys.argv[1]
    with tempfile.TemporaryDirectory() as directory:
        subprocess.run([f"{source}/scripts/reference", directory], check=True)
        found = list(symbols(directory))
    bare = [name for name, element in found if not documented(element)]
    print(*bare, f"{len(found)} symbols, {len(bare)} without a comment", sep="\n")
    sys.exit(1 if bare or not found else 0)


main()

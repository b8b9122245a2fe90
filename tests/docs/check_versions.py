#!/usr/bin/python3
"""Compares every place that states the version with the one place that sets it, CMakeLists.txt."""

import os
import re
import shlex
import subprocess
import sys

# The file, in the source or the build directory, and the text around the version.
STATED = [
    ("source", "man/scada-sensors.1", r'^\.TH \S+ 1 \S+ "scada-sensors (\S+)"'),
    ("source", "man/codec-runner-duktape.1", r'^\.TH \S+ 1 \S+ "scada-sensors (\S+)"'),
    ("source", "man/scada-sensors-definition.5", r'^\.TH \S+ 5 \S+ "scada-sensors (\S+)"'),
    ("source", "man/scada-sensors-map.5", r'^\.TH \S+ 5 \S+ "scada-sensors (\S+)"'),
    ("source", "CHANGELOG.md", r"\A# Changelog\n\n(?:## Unreleased\n(?:(?!## ).*\n)*)?## (\S+)"),
    ("source", "debian/changelog", r"\Ascada-sensors \(([^)-]+)(?:-[^)]+)?\)"),
    ("build", "scada-sensors.pc", r"^Version: (\S+)$"),
    ("build", "kelvra-support.pc", r"^Version: (\S+)$"),
    ("build", "scada-sensors-config-version.cmake", r'^set\(PACKAGE_VERSION "(\S+)"\)$'),
]


def stated(path, pattern):
    with open(path, encoding="utf-8") as file:
        found = re.search(pattern, file.read(), flags=re.MULTILINE)
    return found.group(1) if found else None


def versions(directories, tool):
    for directory, file, pattern in STATED:
        yield file, stated(os.path.join(directories[directory], file), pattern)
    yield "scada-sensors --version", subprocess.run([*shlex.split(tool), "--version"], text=True, capture_output=True,
                                                    check=True).stdout.removeprefix("scada-sensors ").rstrip("\n")


def soname(library):
    dynamic = subprocess.run(["readelf", "-d", library], text=True, capture_output=True, check=True,
                             env=dict(os.environ, LC_ALL="C")).stdout
    return re.search(r"\(SONAME\).*\[(.*)\]", dynamic).group(1)


def major_versions(directories, libraries):
    """A library's major version is in its soname and in the name of its package."""
    with open(os.path.join(directories["source"], "debian/control"), encoding="utf-8") as file:
        control = file.read()
    for library in libraries:
        name = os.path.basename(library)
        stem = name.split(".so")[0]
        yield f"soname of {name}", re.sub(rf"^{stem}\.so\.", "", soname(library))
        yield f"package of {name}", stated_package(control, stem)


def stated_package(control, stem):
    found = re.search(rf"^Package: {stem}(\d+)$", control, flags=re.MULTILINE)
    return found.group(1) if found else None


def main():
    source, build, tool, *libraries = sys.argv[1:]
    directories = {"source": source, "build": build}
    version = stated(os.path.join(source, "CMakeLists.txt"), r"^project\(scada-sensors VERSION ([0-9.]+) ")
    places = [(place, value, version) for place, value in versions(directories, tool)]
    places += [(place, value, version.split(".")[0]) for place, value in major_versions(directories, libraries)]
    faults = [f"{place}: {value}, expected {expected}" for place, value, expected in places if value != expected]
    print(*faults, f"{len(places)} places, version {version}", sep="\n")
    sys.exit(1 if faults else 0)


main()

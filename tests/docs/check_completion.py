#!/usr/bin/python3
"""Holds the shell completion against what the tool says of itself."""

import os
import subprocess
import sys
import tempfile

import tool_help

SOURCE, TOOL = sys.argv[1:]
faults = []


def offered(*words, directory="/"):
    """Returns what is offered for the last of the words."""
    result = subprocess.run(
        ["bash", f"{SOURCE}/tests/docs/complete.bash", f"{SOURCE}/tools/scada-sensors/completion.bash", *words],
        text=True, capture_output=True, check=True, cwd=directory)
    if result.stderr:
        faults.append(result.stderr)
    return sorted(result.stdout.split())


def check(expected, *words, directory="/"):
    found = offered(*words, directory=directory)
    if found != sorted(expected):
        faults.append(f"scada-sensors {' '.join(words)}: offered {found}, expected {sorted(expected)}")


def check_options(before, arguments):
    check(arguments, *before, "--")
    for option, word in arguments.items():
        if "|" in word:
            check(word.split("|"), *before, option, "")


def check_commands():
    commands = tool_help.commands(TOOL)
    everywhere = dict(tool_help.global_arguments(TOOL).options)
    check({name.split()[0] for name in commands}, "")
    check({name.split()[1] for name in commands if " " in name}, "db", "")
    check_options([], everywhere)
    del everywhere["--version"]
    check_options(["db"], everywhere)
    for name, arguments in commands.items():
        check_options(name.split(), arguments.options | everywhere)


def check_words():
    check(["resolve", "remove"], "re")
    check(["--dry-run"], "install", "upload", "--dr")
    check(["--storage"], "--db", "7", "list", "--sto")
    check(["list"], "--custom-dir", "=", "custom", "li")
    check(["custom"], "list", "--storage", "=", "cu")
    check(["set"], "--json", "db", "--db", "7", "s")
    check([], "--db", "")
    check([], "show", "")


def check_files():
    with tempfile.TemporaryDirectory() as directory:
        os.mkdir(f"{directory}/upload")
        open(f"{directory}/uploaded.json", "w").close()
        for words in (["install", "up"], ["install", "--dry-run", "up"], ["check", "up"], ["list", "--custom-dir", "up"]):
            check(["upload"], *words, directory=directory)
        check(["upload", "uploaded.json"], "--map", "up", directory=directory)


check_commands()
check_words()
check_files()
sys.exit("\n".join(faults) if faults else 0)

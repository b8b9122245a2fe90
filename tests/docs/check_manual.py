#!/usr/bin/python3
"""Holds the manual pages against what the tool says of itself, and lets the formatter look for faults in them."""

import glob
import re
import subprocess
import sys

import tool_help


def formatted(page):
    """Returns the page with its lines unbroken; tags of an indent of 3, what they mean of 6. Warnings are failures."""
    result = subprocess.run(["groff", "-man", "-ww", "-Tutf8", "-P-cbou", "-rIN=3n", "-rLL=500n", page], text=True,
                            capture_output=True, check=True)
    if result.stderr:
        sys.exit(result.stderr)
    return result.stdout


def entries_of(text, title):
    """Returns tag and meaning of each entry of a section."""
    section = re.search(rf"^{title}\n((?:   .*\n|\n)*)", text, flags=re.MULTILINE).group(1)
    return re.findall(r"^ {3}(\S.*)\n {6}(\S.*)$", section, flags=re.MULTILINE)


def facts_of_entry(tag, meaning):
    """Returns operands, options with their values, and the defaults, which are what stands alone in parentheses."""
    declared = re.findall(r"(--[a-z-]+)(?: ([A-Za-z0-9|]+))?", tag)
    rest = re.sub(r"--[a-z-]+(?: [A-Za-z0-9|]+)?", "", tag)
    return re.findall(r"[A-Z_]+", rest), dict(declared), re.findall(r"\(([^()\s]+)\)", meaning)


def facts_of_help(arguments):
    return arguments.operands, arguments.options, list(arguments.defaults.values())


def check_equal(what, manual, tool, faults):
    if manual != tool:
        faults.append(f"{what}: the manual has\n    {manual}\nand the tool\n    {tool}")


def check_commands(page, tool, faults):
    entries = entries_of(page, "COMMANDS")
    in_manual = {re.match("[a-z ]*[a-z]", tag).group(): facts_of_entry(tag, meaning) for tag, meaning in entries}
    in_tool = {name: facts_of_help(arguments) for name, arguments in tool_help.commands(tool).items()}
    for name in sorted(in_manual.keys() | in_tool.keys()):
        check_equal(name, in_manual.get(name), in_tool.get(name), faults)
    check_equal("synopses", [tag for tag, _ in entries if not tag.startswith("db ")], tool_help.synopses(tool), faults)


def check_options(page, tool, faults):
    in_manual = {tag.removeprefix("-h, ").split()[0]: facts_of_entry(tag, meaning)
                 for tag, meaning in entries_of(page, "OPTIONS")}
    arguments = tool_help.global_arguments(tool)
    in_tool = {name: ([], {name: word}, [arguments.defaults[name]] if name in arguments.defaults else [])
               for name, word in arguments.options.items()}
    for name in sorted(in_manual.keys() | in_tool.keys()):
        check_equal(name, in_manual.get(name), in_tool.get(name), faults)


def check_exit_codes(page, tool, faults):
    section = page[page.index("\nEXIT STATUS\n"):page.index("\nSEE ALSO\n")]
    check_equal("exit status", re.findall(r"^   (\d+  .*)\.$", section, flags=re.MULTILINE), tool_help.exit_codes(tool),
                faults)


def main():
    source, tool = sys.argv[1:]
    pages = {path: formatted(path) for path in glob.glob(f"{source}/man/*.[1-8]")}
    page = pages[f"{source}/man/scada-sensors.1"]
    faults = []
    check_commands(page, tool, faults)
    check_options(page, tool, faults)
    check_exit_codes(page, tool, faults)
    sys.exit("\n".join(faults) if faults else 0)


main()

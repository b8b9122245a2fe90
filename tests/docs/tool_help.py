"""What the tool says of itself: its commands, their operands and options, defaults and exit codes."""

import re
import shlex
import subprocess


# A line of a help text. A long argument has only one space before its description.
ARGUMENT = re.compile(
    r"  (?:(-[a-z]),)?(--[a-z-]+|[A-Z_]+)"
    r"(?: (\[.* \.\.\.|[A-Z_]+(?::(?:{\S*}|[A-Z]+))?(?: in \[[^]]*\])?(?: \.\.\.)?))?"  # operands, or a value
    r"(?:=(\S+))?"
    r"(?: REQUIRED| (?:Excludes|Needs): \S+)*"
    r"(?: +(\S.*))?$")


class Arguments:
    """The arguments of a command: operands in order; options with the word for their value, or its choices, or nothing;
    the default and the short name of each that has one; the descriptions of all."""

    def __init__(self):
        self.operands, self.options, self.defaults, self.short, self.descriptions = [], {}, {}, {}, {}


def help_of(tool, *command):
    return subprocess.run([*shlex.split(tool), *command, "--help"], text=True, capture_output=True, check=True).stdout


def section_of(text, title):
    """Returns the lines of a section of a help text, up to the next line without an indent."""
    found = re.search(rf"^{title}:\n((?:  .*\n?)*)", text, flags=re.MULTILINE)
    return found.group(1).splitlines() if found else []


def value_of(declared):
    """Splits a value as the help declares it, `S`, `N:UINT in [0 - 255]=2` or `TYPE:{a,b}=a`, into word and default."""
    declared, _, default = declared.partition("=")
    choices = re.search(r"{(.*)}", declared)
    return (choices.group(1).replace(",", "|") if choices else declared.partition(":")[0]), default


def arguments_of(text, *titles):
    arguments = Arguments()
    name = None
    for line in [line for title in titles for line in section_of(text, title)]:
        found = ARGUMENT.match(line)
        if not found:  # a description on a separate line
            arguments.descriptions[name] += line.strip()
            continue
        short, name, declared, default, description = found.groups()
        if declared and declared.startswith("["):  # the words as a user types them
            name = re.sub(r"^\[(.*)\]$", r"\1", declared.removesuffix(" ..."))
        arguments.descriptions[name] = description or ""
        if short:
            arguments.short[name] = short
        word, inner = value_of(declared or "")
        if name.startswith("-"):
            arguments.options[name] = word
        else:
            arguments.operands.append(name)
        if default or inner:
            arguments.defaults[name] = default or inner
    return arguments


def global_arguments(tool):
    return arguments_of(help_of(tool), "Options", "Options of every command")


def commands(tool):
    """Returns the arguments of each command, --help left out; operations of the database are commands of two words."""
    named = {}
    for line in section_of(help_of(tool), "Commands"):
        command = line.split()[0]
        text = help_of(tool, command)
        operations = [operation.split()[0] for operation in section_of(text, "Operations")]
        for words in [[command, operation] for operation in operations] or [[command]]:
            named[" ".join(words)] = arguments_of(help_of(tool, *words), "Positionals", "Options")
            del named[" ".join(words)].options["--help"], named[" ".join(words)].descriptions["--help"]
    return named


def summaries(tool):
    """Returns the first line of the help of each command."""
    return {name: help_of(tool, *name.split()).splitlines()[0] for name in commands(tool)}


def synopsis_of(tool, name, arguments):
    """Returns the synopsis of a command as the main help has it; that of an operation is made of its arguments."""
    for synopsis in synopses(tool):
        if synopsis.split()[0] == name:
            return synopsis
    usage = re.search(r"^Usage: scada-sensors (.*)$", help_of(tool, *name.split()), flags=re.MULTILINE).group(1)
    options = " ".join(f"[{option} {value}]" for option, value in arguments.options.items())
    return usage.replace("[OPTIONS] ", "") + (f" {options}" if options else "")


def synopses(tool):
    """Returns the synopsis of each command as the main help has it, but for those that only name their operations."""
    lines = [re.split("  +", line.strip())[0] for line in section_of(help_of(tool), "Commands")]
    return [line for line in lines if not line.endswith(" ...")]


def exit_codes(tool):
    return [line.strip() for line in section_of(help_of(tool), "Exit status")]

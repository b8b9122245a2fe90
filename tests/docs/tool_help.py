"""What the tool says of itself: its commands, their operands and options, defaults and exit codes."""

import re
import shlex
import subprocess


class Arguments:
    """The arguments of a command: operands in order; options with the word for their value, or its choices, or nothing;
    the default of each that has one."""

    def __init__(self):
        self.operands, self.options, self.defaults = [], {}, {}


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
    for line in [line for title in titles for line in section_of(text, title)]:
        found = re.match(r"  (?:-h,)?(--[a-z-]+|[A-Z_]+)(?: (\S.*?))?(?:=(\S+))?(?:  .*)?$", line)
        if not found:
            continue  # a description that has a line of its own
        name, declared, default = found.groups()
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
            del named[" ".join(words)].options["--help"]
    return named


def synopses(tool):
    """Returns the synopsis of each command as the main help has it, but for those that only name their operations."""
    lines = [re.split("  +", line.strip())[0] for line in section_of(help_of(tool), "Commands")]
    return [line for line in lines if not line.endswith(" ...")]


def exit_codes(tool):
    return [line.strip() for line in section_of(help_of(tool), "Exit status")]

#!/usr/bin/python3
"""Runs the shell blocks of a document in order, in one shell, and compares the text blocks after them with the output.

The shell starts in a copy of a checkout's content after a build. The command scada-sensors is that of a device: the device's
fixed paths lead to the examples, and a database server answers.
"""

import os
import re
import shutil
import subprocess
import sys
import tempfile

import database_server

# These build and test the tree, including this test, so they are not run from within; .ci/run has a gate for each.
GATES = {
    "README.md": ["scripts/demo", "scripts/test"],
    "docs/first-sensor.md": ["scripts/demo"],
}

LANGUAGES = {"sh", "text", "json", "cpp", "js"}

MARK = "@@@ block "

DEVICE_TOOL = """#!/bin/sh
given=" $* "
case $given in *" --root "*) exec {tool} --codec-runner={root}/bin/codec-runner "$@" ;; esac
for option in --default-dir={root}/default --custom-dir={root}/custom --staging-dir={root}/staging \\
  --map={root}/sensors_map.json --socket={root}/redis.sock --codec-runner={root}/bin/codec-runner; do
  case $given in *" ${{option%%=*}} "*) ;; *) set -- "$option" "$@" ;; esac
done
exec {tool} "$@"
"""


def fail(text):
    sys.exit("run_blocks: " + text)


def blocks_of(path):
    """Returns (language, text, follows) for each fenced block; follows: only blank lines since the block before."""
    blocks, fence, text, follows, before = [], None, "", False, ""
    for number, line in enumerate(open(path, encoding="utf-8"), 1):
        if fence is not None and line.startswith("```"):
            blocks.append((fence, text, follows))
            fence, follows = None, True
        elif fence is not None:
            text += line
        elif line.startswith("```"):
            fence, text = line[3:].strip(), ""
            if fence not in LANGUAGES:
                fail(f"{path}:{number}: a block of the language [{fence}]")
        elif line.startswith("    ") and not before.strip():
            fail(f"{path}:{number}: an indented block; fence it")
        elif line.strip():
            follows = False
        before = line
    return blocks


def without_gates(document, script, source):
    """Returns the script without the commands that are gates; each of them must occur and be one."""
    gates = open(os.path.join(source, ".ci/run"), encoding="utf-8").read()
    for command in GATES.get(document, []):
        script, count = re.subn(rf"^{command}( +#.*)?$", ":", script, flags=re.MULTILINE)
        if count == 0:
            fail(f"{command} is listed as a gate, but {document} does not run it")
        if not re.search(rf"^ *gate \S+ {command}$", gates, flags=re.MULTILINE):
            fail(f"{command} is not a gate of .ci/run")
    return script


def write_program(path, text):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "w", encoding="utf-8") as program:
        program.write(text)
    os.chmod(path, 0o755)


def make_runner(root, runner):
    """Copies the runner: its user may not enter every directory of a build."""
    *emulator, program = runner.split()
    os.chmod(root, 0o755)
    os.makedirs(f"{root}/bin")
    shutil.copy(program, f"{root}/bin/codec-runner-duktape")
    write_program(f"{root}/bin/codec-runner", f"#!/bin/sh\nexec {' '.join(emulator)} {root}/bin/codec-runner-duktape\n")


def make_device(root, source, tool):
    examples = os.path.join(source, "examples")
    shutil.copytree(f"{examples}/storages/default", f"{root}/default")
    shutil.copytree(f"{examples}/storages/custom", f"{root}/custom")
    shutil.copy(f"{examples}/sensors_map.json", root)
    write_program(f"{root}/bin/scada-sensors", DEVICE_TOOL.format(root=root, tool=tool))


def make_checkout(root, source, tool, example, runner):
    shutil.copytree(os.path.join(source, "examples"), f"{root}/checkout/examples")
    programs = f"{root}/checkout/build/release"
    write_program(f"{programs}/tools/scada-sensors/scada-sensors",
                  f'#!/bin/sh\nexec {tool} --codec-runner {root}/bin/codec-runner "$@"\n')
    directory = example[:example.rindex("/")]
    for host in "resolve-sensor", "uplink-host":
        write_program(f"{programs}/examples/{host}", f'#!/bin/sh\nexec {directory}/{host} "$@"\n')
    # An emulator has no filter for system calls, and the runner says so.
    write_program(f"{programs}/runners/duktape/codec-runner-duktape",
                  f"#!/bin/sh\n{runner} \"$@\" | sed 's/\"filter\":false,//'\n")


def outputs_of(root, script):
    """Runs the script; returns what each of its parts printed."""
    environment = dict(os.environ, PATH=f"{root}/bin:" + os.environ["PATH"], HOME=root, LC_ALL="C.UTF-8")
    shell = subprocess.run(["sh", "-eu", "-c", script], cwd=f"{root}/checkout", env=environment, text=True,
                           stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    if shell.returncode != 0:
        fail(f"exit status {shell.returncode} after\n{shell.stdout}")
    return re.split(f"^{MARK}.*\n", shell.stdout.replace(root, "/tmp/device"), flags=re.MULTILINE)[1:]


def compare(document, blocks, outputs):
    """Compares each text block that directly follows a shell block with that block's output; returns how many."""
    compared, shells = 0, iter(outputs)
    for (language, text, _), after in zip(blocks, blocks[1:] + [("", "", False)]):
        if language != "sh":
            continue
        output = next(shells)
        if after[0] != "text" or not after[2]:
            continue
        compared += 1
        if output != after[1]:
            fail(f"{document}: after\n{text}was printed\n{output}where the document has\n{after[1]}")
    return compared


def main():
    source, document, tool, example, runner = sys.argv[1:]
    blocks = blocks_of(os.path.join(source, document))
    scripts = [text for language, text, _ in blocks if language == "sh"]
    script = without_gates(document, "".join(f"echo '{MARK}{i}'\n{text}" for i, text in enumerate(scripts)), source)
    with tempfile.TemporaryDirectory() as root:
        make_runner(root, runner)
        make_device(root, source, tool)
        make_checkout(root, source, tool, example, runner)
        with database_server.running_in(root):
            outputs = outputs_of(root, script)
        compared = compare(document, blocks, outputs)
    print(f"{document}: {len(scripts)} shell blocks ran, {compared} outputs compared")


main()

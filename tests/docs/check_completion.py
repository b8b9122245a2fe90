#!/usr/bin/python3
"""Compares the shell completion with the tool's own help."""

import json
import os
import pathlib
import shlex
import shutil
import subprocess
import sys
import tempfile

import tool_help

SOURCE, TOOL = sys.argv[1:]
STORAGES = f"{SOURCE}/examples/storages"
faults = []


def offered(*words, directory="/"):
    """Returns the completions of the last word."""
    completion = f"{SOURCE}/tools/scada-sensors/commands/completion.bash"
    with tempfile.TemporaryDirectory() as programs:
        program = f"{programs}/scada-sensors"
        with open(program, "w") as script:
            script.write(f'#!/bin/sh\nexec {shlex.join(shlex.split(TOOL))} "$@"\n')
        os.chmod(program, 0o755)
        result = subprocess.run(
            ["bash", f"{SOURCE}/tests/docs/complete.bash", completion, *words], text=True, capture_output=True,
            check=True, cwd=directory, env={**os.environ, "PATH": f"{programs}:{os.environ['PATH']}"})
    if result.stderr:
        faults.append(result.stderr)
    return sorted(result.stdout.splitlines())


def names_in(storage):
    return {str(file.relative_to(storage).with_suffix("")) for file in pathlib.Path(storage).glob("*/*/*.json")}


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
    check(["read", "recover", "remove", "report", "resolve"], "re")
    check(["--dry-run"], "install", "upload", "--dr")
    check(["--wait", "--watch"], "read", "lora", "--wa")
    check(["--wait"], "doctor", "lora", "--wa")
    check(["--storage"], "--db", "7", "list", "--sto")
    check(["list"], "--custom-dir", "=", "custom", "li")
    check(["custom"], "list", "--storage", "=", "cu")
    check(["both", "custom", "default"], "list", "--storage", "=")
    check(["set"], "--json", "db", "--db", "7", "s")
    check([], "--db", "")
    check([], "list", "")


def check_names():
    device = ["--default-dir", f"{STORAGES}/default", "--custom-dir", "=", f"{STORAGES}/custom",
              "--map", f"{SOURCE}/examples/sensors_map.json"]
    custom = names_in(f"{STORAGES}/custom")
    every = names_in(f"{STORAGES}/default") | custom
    check(every, *device, "show", "")
    check(custom, *device, "remove", "")
    check(names_in(f"{STORAGES}/default") & custom, *device, "diff", "")
    check([], *device, "diff", "lora/demo/th1", "")
    check(custom, *device, "remove", "--yes", "lora/x/y", "")
    check([name for name in every if name.startswith("lora/demo/")], *device, "show", "lora/demo/")
    with open(f"{STORAGES}/custom/lora/demo/th1.json") as file:
        properties = json.load(file)["properties"]
    check(properties, *device, "show", "lora/demo/th1", "")
    check(["02a1f00000007411"], *device, "resolve", "lora", "02a1f00000007411")
    check(properties, *device, "resolve", "lora", "02A1F00000007411", "")
    check([], *device, "resolve", "lora", "02A1F00000007411", "temperature", "")
    check(["02a1f00000007411"], *device, "decode", "lora", "02a1f00000007411")
    check([], *device, "decode", "lora", "02A1F00000007411", "")


def check_image():
    with tempfile.TemporaryDirectory() as image:
        shutil.copytree(f"{STORAGES}/custom", f"{image}/usr/share/sensors")
        os.makedirs(f"{image}/var/config/scada")
        os.symlink("/usr/share/sensors", f"{image}/var/config/scada/sensors")
        check(names_in(f"{STORAGES}/custom"), "--root", image, "show", "")
        check(names_in(f"{STORAGES}/custom"), "--custom-dir", "/usr/share/sensors", "--root", "=", image, "show", "")
        check([], "--root", f"{image}/usr", "show", "")


def check_quoting():
    with tempfile.TemporaryDirectory() as storage:
        for model in ("a b", "c:d"):
            os.makedirs(f"{storage}/lora/{model[0]}")
            open(f"{storage}/lora/{model[0]}/{model}.json", "w").close()
        check(["lora/a/a\\ b", "lora/c/c:d"], "--default-dir", storage, "show", "")
        # For the shell, the part before the colon is another word.
        check(["d"], "--default-dir", storage, "show", "lora/c/c", ":", "")


def check_files():
    with tempfile.TemporaryDirectory() as directory:
        os.mkdir(f"{directory}/upload")
        open(f"{directory}/uploaded.json", "w").close()
        for words in (["install", "up"], ["install", "--dry-run", "up"], ["check", "up"], ["list", "--custom-dir", "up"]):
            check(["upload"], *words, directory=directory)
        for words in (["report", "up"], ["export", "up"], ["--map", "up"]):
            check(["upload", "uploaded.json"], *words, directory=directory)
        check(["upload", "uploaded.json"], "--map", "=", "up", directory=directory)
        check(["upload"], "--custom-dir", "=", directory=directory)


check_commands()
check_words()
check_names()
check_image()
check_quoting()
check_files()
sys.exit("\n".join(faults) if faults else 0)

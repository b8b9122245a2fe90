#!/usr/bin/python3
"""Tries the settings of docs/linting.md: the expression for the tool's messages against real ones, the schemas against files."""

import fnmatch
import json
import os
import re
import shlex
import subprocess
import sys
import tempfile

import jsonschema

GOOD = '{"properties": {"a": {"type": "float"}}, "decoder": "a.js"}'
# Each fault with the line, the column, the severity and the rule that a reader of the messages must get.
BAD = {
    "type.json": ('{"decoder": "a.js",\n "properties": {"a": {"type": "flaot"}}}', 2, 31, "warning", "schema/enum"),
    "syntax.json": ('{\n  "properties": 1 2\n}', 2, 19, "error", "definition/syntax"),
    "decoder.json": ('{"properties": {}, "decoder": "../a.js"}', 1, 31, "error", "definition/bad-decoder-path"),
    "property.json": ('{"decoder": "a.js", "properties": {"a]: b [c/d]": 1}}', 1, 51, "warning",
                      "definition/property-not-an-object"),
}
INSTALLED = "/usr/share/scada-sensors/"


def settings_of(page):
    """Returns the JSON blocks of the page: the association of schemas, and the task."""
    blocks = re.findall(r"^```json\n(.*?)^```", open(page, encoding="utf-8").read(), re.MULTILINE | re.DOTALL)
    association, task = (json.loads(block) for block in blocks)
    return association["json.schemas"], task["tasks"][0]


def write(path, text):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)


def make_repository(root):
    for name, text in [("good.json", GOOD), ("a.js", ""), *((name, row[0]) for name, row in BAD.items())]:
        write(f"{root}/lora/mine/{name}", text)


def output_of(task, tool, root):
    words = shlex.split(task["command"])
    assert words[0] == "scada-sensors", words
    return subprocess.run([*shlex.split(tool), *words[1:], "--no-codec"], cwd=root, text=True, capture_output=True)


def faults_of_messages(task, result):
    if result.returncode != 1:
        yield f"exit status {result.returncode}: {result.stderr}"
    pattern = task["problemMatcher"]["pattern"]
    found = {}
    for line in result.stdout.splitlines():
        match = re.search(pattern["regexp"], line)
        if match:
            file, number, column, severity, rule = (match.group(pattern[part])
                                                    for part in ("file", "line", "column", "severity", "code"))
            found[os.path.normpath(file)] = int(number), int(column), severity, rule
    expected = {f"lora/mine/{name}": row[1:] for name, row in BAD.items()}
    if found != expected:
        yield f"the expression finds {found}, and not {expected}, in\n{result.stdout}"


def faults_of_association(association, source, root):
    for entry in association:
        path = entry["url"].replace(INSTALLED, source + "/")
        if not entry["url"].startswith(INSTALLED) or not os.path.exists(path):
            yield f"there is no schema {entry['url']}"
            return
    schema = jsonschema.Draft202012Validator(json.load(open(association[0]["url"].replace(INSTALLED, source + "/"))))
    for name, accepted in ("good.json", True), ("type.json", False):
        if not any(fnmatch.fnmatch(f"lora/mine/{name}", glob) for glob in association[0]["fileMatch"]):
            yield f"the association does not take {name}"
        if schema.is_valid(json.load(open(f"{root}/lora/mine/{name}"))) != accepted:
            yield f"the schema judges {name} in another way"


def main():
    source, tool = sys.argv[1:]
    association, task = settings_of(f"{source}/docs/linting.md")
    with tempfile.TemporaryDirectory() as root:
        os.chmod(root, 0o755)
        make_repository(root)
        faults = [*faults_of_messages(task, output_of(task, tool, root)), *faults_of_association(association, source, root)]
    print(*faults, f"{len(BAD)} messages, {len(association)} schemas", sep="\n")
    sys.exit(1 if faults else 0)


main()

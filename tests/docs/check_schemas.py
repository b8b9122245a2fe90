#!/usr/bin/python3
"""Compares the JSON Schemas with the library: both judge every sample of tests/data; the table explains each difference.

The tool enforces the schema of definitions by itself: it judges definitions that were changed by chance as another validator
does.
"""

import copy
import glob
import json
import os
import random
import shlex
import shutil
import subprocess
import sys
import tempfile

import jsonschema

LENIENT = "the library's reader takes what is not strict JSON"
FILES = "a schema does not see whether the decoder is a file"
MEMBERS = "the library hands out a property's members as they are; hosts rely on name, unit and type"
EXAMPLES = "the library hands out examples as they are; the tool runs the decoder on them"
KEYS = "a schema does not compare the keys of elements"

# Each sample that only one of the two accepts, and the reason.
DIFFERENCES = {
    "invalid/definition-decoder-file-missing.json": FILES,
    "invalid/definition-decoder-is-directory.json": FILES,
    "invalid/list-sensor-twice-in-other-case.json": KEYS,
    "invalid/list-sensor-twice.json": KEYS,
    "valid/definition-examples-byte-too-large.json": EXAMPLES,
    "valid/definition-examples-empty-output.json": EXAMPLES,
    "valid/definition-examples-half-a-byte.json": EXAMPLES,
    "valid/definition-examples-input-missing.json": EXAMPLES,
    "valid/definition-examples-is-object.json": EXAMPLES,
    "valid/definition-examples-output-and-throws.json": EXAMPLES,
    "valid/definition-examples-time-without-day.json": EXAMPLES,
    "valid/definition-property-members-of-other-types.json": MEMBERS,
    "valid/definition-with-byte-order-mark.json": LENIENT,
    "valid/definition-with-comments.json": LENIENT,
    "valid/definition-with-text-after-the-value.json": LENIENT,
    "valid/definition-with-trailing-comma.json": LENIENT,
    "valid/list-with-byte-order-mark.json": LENIENT,
    "valid/list-with-comments.json": LENIENT,
    "valid/list-with-text-after-the-value.json": LENIENT,
    "valid/list-with-trailing-comma.json": LENIENT,
}


def schema_of(source, name):
    schema = json.load(open(f"{source}/schemas/{name}.schema.json", encoding="utf-8"))
    jsonschema.Draft202012Validator.check_schema(schema)
    return jsonschema.Draft202012Validator(schema)


def schema_accepts(schema, path):
    try:
        return schema.is_valid(json.load(open(path, encoding="utf-8")))
    except json.JSONDecodeError:
        return False


def run(tool, *arguments):
    return subprocess.run([*shlex.split(tool), *arguments], text=True, capture_output=True)


def definition_accepted(tool, storage, path):
    name = "lora/" + os.path.basename(os.path.dirname(path)) + "/" + os.path.basename(path)[:-len(".json")]
    return run(tool, "--default-dir", storage, "--custom-dir", "", "show", name).returncode == 0


def list_accepted(tool, path):
    result = run(tool, "--default-dir", "", "--custom-dir", "", "--map", path, "sensors")
    return result.returncode == 0 and result.stderr == ""


def verdicts(source, tool, storage):
    """Returns for each sample whether the schema and whether the library accepts it."""
    definition, sensors = schema_of(source, "definition"), schema_of(source, "sensors-map")
    for path in sorted(glob.glob(f"{source}/tests/data/*/*.json")):
        sample = os.path.relpath(path, f"{source}/tests/data")
        if os.path.basename(path).startswith("definition-"):
            yield sample, schema_accepts(definition, path), definition_accepted(tool, storage, path)
        else:
            yield sample, schema_accepts(sensors, path), list_accepted(tool, path)


def bad_definitions(source):
    """Returns a text for each sample definition of examples/ that the schema refuses, or that has too few examples."""
    schema = schema_of(source, "definition")
    for path in sorted(glob.glob(f"{source}/examples/**/lora/*/*.json", recursive=True)):
        if not schema_accepts(schema, path):
            yield f"{path}: the schema refuses it"
        elif len(json.load(open(path, encoding="utf-8")).get("examples", [])) < 3:
            yield f"{path}: fewer than three examples"


# What the tool finds beside the schema.
BEYOND = ["definition/decoder-missing", "definition/property-not-an-object"]

PIECES = [None, True, False, 0, -1, 255, 256, 1.5, 2.0, "", "x", "float", "flaot", "00 D7", "\t0ad7 ", "0", "../x", "a\n",
          "2024-05-01T10:00:00Z", "2024-05-01T10:00:00.123+02:00", "2024-05-01", [], [1], [1.5], [256], ["x"], {}, {"data": {}},
          {"errors": []}, {"errors": "x"}, {"properties": {}}, {"type": "bool"}, {"input": {"fPort": 1, "bytes": ""}}]
NAMES = ["properties", "decoder", "examples", "type", "name", "unit", "min", "max", "values", "input", "output", "throws", "data",
         "errors", "warnings", "fPort", "bytes", "recvTime", "description", "other"]


def containers_of(value):
    """Returns each object and array in the value, itself included."""
    if isinstance(value, (dict, list)):
        yield value
        for part in list(value.values()) if isinstance(value, dict) else value:
            yield from containers_of(part)


def change(document, chance):
    """Changes one member or item of the document."""
    container = chance.choice(list(containers_of(document)))
    piece = copy.deepcopy(chance.choice(PIECES))
    if isinstance(container, dict):
        name = chance.choice(NAMES + list(container))
        if name in container and chance.random() < 0.3:
            del container[name]
        else:
            container[name] = piece
    elif container and chance.random() < 0.7:
        container[chance.randrange(len(container))] = piece
    else:
        container.append(piece)


def changed_definitions(source, count):
    chance = random.Random(1)
    samples = [json.load(open(path, encoding="utf-8"))
               for path in sorted(glob.glob(f"{source}/examples/**/lora/*/*.json", recursive=True))]
    for _ in range(count):
        document = copy.deepcopy(chance.choice(samples))
        document.pop("decoder", None)
        for _ in range(chance.randrange(4)):
            change(document, chance)
        yield document


def judged_otherwise(source, tool, storage):
    """Returns a text for each changed definition that the tool and the other validator do not judge alike."""
    schema = schema_of(source, "definition")
    documents = {f"d{i}": document for i, document in enumerate(changed_definitions(source, 2000))}
    os.makedirs(f"{storage}/lora/changed")
    for name, document in documents.items():
        with open(f"{storage}/lora/changed/{name}.json", "w", encoding="utf-8") as file:
            json.dump(document, file)
    answer = run(tool, "--default-dir", storage, "--custom-dir", "", "check", "--no-codec", "--json")
    faulty = {os.path.basename(finding["file"])[:-len(".json")]
              for finding in json.loads(answer.stdout)["result"]["findings"]
              if finding["rule"].split("/")[0] in ("schema", "definition") and finding["rule"] not in BEYOND}
    refused = {name for name, document in documents.items() if not schema.is_valid(document)}
    if not 300 < len(refused) < 1700:
        yield f"{len(refused)} of {len(documents)} changed definitions are refused: too few of one kind"
    for name in sorted(faulty ^ refused):
        verdict = "finds a fault" if name in faulty else "finds no fault"
        yield f"the tool {verdict} in {json.dumps(documents[name])}"


def faults_of(samples):
    """Returns the faults of the verdicts and of the table of differences, one text each."""
    differing = set()
    for sample, by_schema, by_library in samples:
        if by_library != sample.startswith("valid/"):
            yield f"{sample}: the library {'accepts' if by_library else 'refuses'} it"
        if by_schema != by_library:
            differing.add(sample)
    for sample in sorted(differing - set(DIFFERENCES)):
        yield f"{sample}: schema and library differ"
    for sample in sorted(set(DIFFERENCES) - differing):
        yield f"{sample}: listed as a difference, but there is none"


def main():
    source, tool = sys.argv[1:]
    sys.setrecursionlimit(10000)  # samples are nested as deep as the library can read
    with tempfile.TemporaryDirectory() as storage:
        for folder in ("valid", "invalid"):
            shutil.copytree(f"{source}/tests/data/{folder}", f"{storage}/lora/{folder}")
        samples = list(verdicts(source, tool, storage))
    with tempfile.TemporaryDirectory() as storage:
        os.chmod(storage, 0o755)
        faults = [*faults_of(samples), *bad_definitions(source), *judged_otherwise(source, tool, storage)]
    print(*faults, f"{len(samples)} samples, {len(DIFFERENCES)} differences listed", sep="\n")
    sys.exit(1 if faults or not samples else 0)


main()

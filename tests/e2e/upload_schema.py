"""docs/upload.schema.json, and what was uploaded held against it."""

import functools
import json
import pathlib

SCHEMA_FILE = pathlib.Path(__file__).resolve().parents[2] / "docs" / "upload.schema.json"


@functools.cache
def schema():
    return json.loads(SCHEMA_FILE.read_text(encoding="utf-8"))


@functools.cache
def _validator(definition):
    from jsonschema import Draft202012Validator  # here, because loading it takes longer than many a test

    return Draft202012Validator(schema()["$defs"][definition] if definition else schema())


def faults(value, definition=None):
    """One line for each thing that is wrong with an upload, or with a value of a definition that refers to no other."""
    return sorted(f"{error.json_path}: {error.message}" for error in _validator(definition).iter_errors(value))


def check(uploads):
    for number, upload in enumerate(uploads):
        found = faults(upload)
        assert not found, "\n".join([f"upload {number} is not as docs/upload.schema.json says:", *found, json.dumps(upload)])

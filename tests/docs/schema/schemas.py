"""The schemas of docs/schema, as strict as the tests want them: a member that no schema has is wrong."""

import json
import os
import sys
from pathlib import Path

try:
    import jsonschema
except ImportError:  # The first Python of the path may be another one than Debian's, which has it.
    DEBIAN_PYTHON = "/usr/bin/python3"
    if os.path.realpath(sys.executable) == os.path.realpath(DEBIAN_PYTHON):
        sys.exit("jsonschema is missing; scripts/setup.sh installs it")
    os.execv(DEBIAN_PYTHON, [DEBIAN_PYTHON, *sys.argv])

FOLDER = Path(__file__).resolve().parents[3] / "docs" / "schema"
ERROR = "kxrtc.error"


def strict(schema):
    """`schema`, in which no object has members that are not listed."""
    if isinstance(schema, list):
        return [strict(one) for one in schema]
    if not isinstance(schema, dict):
        return schema
    result = {name: strict(value) for name, value in schema.items()}
    if isinstance(schema.get("properties"), dict) and "additionalProperties" not in schema:
        result["additionalProperties"] = False
    return result


def load(name):
    return json.loads((FOLDER / f"{name}.json").read_text())


def names():
    return sorted(path.stem for path in FOLDER.glob("*.json"))


class Validators:
    def __init__(self):
        self._by_name = {name: jsonschema.Draft202012Validator(strict(load(name))) for name in names()}

    def problems(self, name, value):
        """What is wrong with `value` by the schema of that name, in short lines."""
        if name not in self._by_name:
            return [f"there is no schema {name}"]
        errors = list(self._by_name[name].iter_errors(value))
        # Of "one of these", what the likeliest one says.
        deepest = [jsonschema.exceptions.best_match([error]) for error in errors]
        return [f"{name}: {'/'.join(map(str, error.absolute_path)) or 'the whole'}: {error.message[:300]}"
                for error in deepest]

    def problems_of_output(self, command, value):
        """The same for a value that `command` printed."""
        if not isinstance(value, dict) or not ({"document", "event"} & value.keys()):
            return [f"neither a document nor an event: {json.dumps(value)[:200]}"]
        if "document" in value:
            return self.problems(value["document"], value)
        if value["event"] == "error":
            return self.problems(ERROR, value)
        found = ["an event of no subcommand that has some"]
        for name in names():
            if load(name).get("oneOf") and f" {name.split('.')[1]} " in command:
                found = self.problems(name, value)
                if not found:
                    break
        return found

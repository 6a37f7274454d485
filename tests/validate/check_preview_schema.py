#!/usr/bin/env python3
"""Checks preview documents against the preview document's JSON Schema with an independent
validator (python3-jsonschema): every example must be valid; each planted document in
tests/validate/documents must be valid or invalid as listed here, so that a schema that lets a
broken document through, or refuses a good one, fails.

usage: check_preview_schema.py SCHEMA EXAMPLES_DIR DOCUMENTS_DIR
"""
import json
import os
import sys

import jsonschema

# Documents the library refuses for the JSON kind of a value: the schema must refuse them too.
# Text that is not JSON is refused before any schema can look at it.
REFUSED_BY_KIND = {
    "root_array.json", "expires_array.json", "section_title_array.json", "tile_title_array.json",
    "action_data_array.json", "display_until_array.json", "play_array_skyvane.json",
}
NOT_JSON = {"syntax_missing_comma.json", "not_json.txt", "empty.json"}
# JSON is UTF-8 text: a reader that holds to that refuses a document with bytes that are not,
# where the library's reader keeps them ('pelmoctl validate' warns for each such text).
NOT_UTF8 = {"not_utf8.json"}
# The schema describes the documented kinds, so it also flags values the reader only passes
# over or converts: sections given as an object, an action given as an array for an ordinary
# module, a fraction in an integer column (the store keeps its whole part).
STRICTER_THAN_THE_READER = {"sections_object.json", "play_array_ordinary.json", "integer_changed.json"}
# A schema cannot count tiles over all sections nor compare content keys between items: these
# documents are broken, yet valid against the schema ('pelmoctl validate' finds them).
BEYOND_A_SCHEMA = {
    "shared_tile_key.json", "shared_section_key.json", "tiles_201.json", "tiles_300.json", "tiles_301.json",
    "tiles_301_plinth.json",
}


def main():
    schema_path, examples_dir, documents_dir = sys.argv[1:4]
    with open(schema_path, encoding="utf-8") as schema_file:
        schema = json.load(schema_file)
    jsonschema.Draft202012Validator.check_schema(schema)
    validator = jsonschema.Draft202012Validator(schema)
    failures = []

    def verdict(path):
        try:
            with open(path, encoding="utf-8") as document_file:
                document = json.load(document_file)
        except ValueError:
            return "not JSON"
        errors = sorted(validator.iter_errors(document), key=lambda e: list(e.absolute_path))
        return "invalid: " + errors[0].message if errors else "valid"

    examples = sorted(name for name in os.listdir(examples_dir) if name.endswith(".json"))
    if not examples:
        failures.append("no examples found in " + examples_dir)
    for name in examples:
        result = verdict(os.path.join(examples_dir, name))
        if result != "valid":
            failures.append("example %s: %s" % (name, result))

    for name in sorted(os.listdir(documents_dir)):
        if name == "MANIFEST":
            continue
        result = verdict(os.path.join(documents_dir, name))
        if name in NOT_JSON or name in NOT_UTF8:
            expected = "not JSON"
        elif name in REFUSED_BY_KIND or name in STRICTER_THAN_THE_READER:
            expected = "invalid"
        else:
            expected = "valid"
        if not result.startswith(expected):
            failures.append("%s: expected %s, got %s" % (name, expected, result))
        else:
            print("%-28s %s" % (name, result))

    for line in failures:
        print("FAIL " + line)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())

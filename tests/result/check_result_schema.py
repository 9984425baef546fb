#!/usr/bin/env python3
"""Checks VALDRN result documents against docs/result.schema.json.

Usage: check_result_schema.py SCHEMA [DOCUMENT|FOLDER ...]
A folder is searched for files named result.json. Fails when a document
breaks the schema, when none is found, and when the schema itself is not a
valid schema."""
import json
import os
import sys

import jsonschema


def documents(paths):
    for path in paths:
        if os.path.isdir(path):
            for folder, _, names in sorted(os.walk(path)):
                for name in sorted(names):
                    if name == 'result.json':
                        yield os.path.join(folder, name)
        else:
            yield path


def main(argv):
    with open(argv[1], encoding='utf-8') as schema_file:
        schema = json.load(schema_file)
    validator_class = jsonschema.validators.validator_for(schema)
    validator_class.check_schema(schema)
    validator = validator_class(schema)
    checked = 0
    failed = 0
    for path in documents(argv[2:]):
        with open(path, encoding='utf-8') as document_file:
            document = json.load(document_file)
        errors = sorted(validator.iter_errors(document), key=lambda e: list(e.path))
        for error in errors:
            print('%s: %s at %s' % (path, error.message, '/'.join(str(p) for p in error.path)))
        failed += 1 if errors else 0
        checked += 1
    print('%d result documents checked, %d break the schema' % (checked, failed))
    return 0 if checked and not failed else 1


if __name__ == '__main__':
    sys.exit(main(sys.argv))

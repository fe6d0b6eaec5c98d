#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-3-Clause
"""Holds each line of a file against a JSON schema: validateJson.py SCHEMA FILE

Prints "LINE: valid" or "LINE: what is wrong" for each; the exit code is 0 when all lines are valid, 1 otherwise, 77 when
there is no validator.
"""
import json
import sys

try:
    from jsonschema import Draft202012Validator
except ImportError:
    print("no python3-jsonschema of version 4 or newer")
    sys.exit(77)


def fault(validator, line):
    """What is wrong with the line, or None."""
    try:
        value = json.loads(line)
    except ValueError as error:
        return f"no JSON: {error}"
    errors = list(validator.iter_errors(value))
    return errors[0].message if errors else None


def main():
    with open(sys.argv[1], encoding="utf-8") as file:
        schema = json.load(file)
    Draft202012Validator.check_schema(schema)
    validator = Draft202012Validator(schema)
    with open(sys.argv[2], "rb") as file:
        faults = [fault(validator, line.decode("utf-8")) for line in file.read().split(b"\n")[:-1]]
    for number, text in enumerate(faults, 1):
        print(f"{number}: {text or 'valid'}")
    return 1 if not faults or any(faults) else 0


sys.exit(main())

#!/usr/bin/env python3
"""usage: check_formats.py PROGRAM SOURCE_DIR

Holds what kestrix check says about every case against the JSON Schemas and against its output as SARIF:
a schema refuses a file exactly when the checker finds something there that a schema can know.
"""
import json
import os
import subprocess
import sys

import jsonschema

# Findings about one file as such, which are not a matter of names, texts or other places.
KNOWN_TO_SCHEMAS = {"root-type", "value-type", "value-converted", "unknown-member", "array-too-long", "num-in-rules",
                    "segment-without-rules", "entry-incomplete"}
UNREADABLE = {"json-syntax", "json-lenient", "json-extra-text"}
BEYOND_SCHEMAS = {"entry_empty_id.match.json"}  # only separators, in a text that is not empty

program, source = sys.argv[1:]
cases = os.path.join(source, "tests", "data-check")
failures = []


def run(arguments, folder):
    result = subprocess.run([program, "check", *arguments], cwd=folder, capture_output=True, check=False)
    return result.stdout.decode()


def expect(condition, text):
    if not condition:
        failures.append(text)


def validators():
    for name in ("match_rule", "assemble_rule"):
        with open(os.path.join(source, "docs", "schema", name + ".schema.json"), encoding="utf-8") as file:
            schema = json.load(file)
        jsonschema.Draft7Validator.check_schema(schema)
        yield jsonschema.Draft7Validator(schema)


def check_sarif(log, findings, where):
    """The parts of the format that its readers rely on, and the same findings in the same order."""
    expect(log["version"] == "2.1.0" and len(log["runs"]) == 1, where + ": not a SARIF 2.1.0 log")
    rules = log["runs"][0]["tool"]["driver"]["rules"]
    results = []
    for result in log["runs"][0]["results"]:
        expect(rules[result["ruleIndex"]]["id"] == result["ruleId"], where + ": rule index")
        place = result["locations"][0]["physicalLocation"]
        region = place["region"]
        results.append({
            "code": result["ruleId"], "severity": result["level"], "message": result["message"]["text"],
            "file": place["artifactLocation"]["uri"], "line": region["startLine"], "column": region["startColumn"],
            "endLine": region["endLine"], "endColumn": region["endColumn"]})
        for change in [change for fix in result.get("fixes", []) for change in fix["artifactChanges"]]:
            replacement = change["replacements"][0]
            deleted = replacement["deletedRegion"]
            results[-1]["fix"] = {
                "line": deleted["startLine"], "column": deleted["startColumn"], "endLine": deleted["endLine"],
                "endColumn": deleted["endColumn"], "text": replacement["insertedContent"]["text"]}
        expect((region["startLine"], region["startColumn"]) <= (region["endLine"], region["endColumn"]),
               where + ": ends before it begins")
    expect(results == findings, where + ": SARIF and JSON differ")


def check_case(files, folder, schemas):
    findings = json.loads(run(["--format", "json", *files], folder))["findings"]
    check_sarif(json.loads(run(["--format", "sarif", *files], folder)), findings, " ".join(files))
    for file, schema in zip(files, schemas):
        codes = {finding["code"] for finding in findings if finding["file"] == file}
        if codes & UNREADABLE or file in BEYOND_SCHEMAS:
            continue
        with open(os.path.join(folder, file), encoding="utf-8") as stream:
            is_valid = schema.is_valid(json.load(stream))
        expect(is_valid == (not codes & KNOWN_TO_SCHEMAS),
               f"{file}: the schema {'takes' if is_valid else 'refuses'} it, the checker says {sorted(codes)}")


both = list(validators())
count = 0
with open(os.path.join(cases, "expected.txt"), encoding="utf-8") as transcript:
    for line in transcript:
        words = line.split()
        if words[:3] != ["$", "kestrix", "check"] or len(words) != 5 or words[3].startswith("-") or "none" in words:
            continue
        check_case(words[3:], cases, both)
        count += 1
check_case(["match_rule.json", "assemble_rule.json"], os.path.join(source, "examples", "rules"), both)
expect(count > 90, f"only {count} cases")
print("\n".join(failures) or f"{count} cases and the examples agree")
sys.exit(1 if failures else 0)

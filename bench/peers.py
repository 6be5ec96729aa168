#!/usr/bin/env python3
"""Times kestrix beside what a user would take instead: whole processes on the same log and the same rules.

usage: peers.py KESTRIX DIR [RUNS]

DIR is what `kestrix_bench --write DIR` wrote. Each peer runs in turn with kestrix; the figure is the peer's time divided by
that of kestrix, pair by pair: the median with the smallest and the largest.
"""

import json
import re
import statistics
import subprocess
import sys
import time
from pathlib import Path

WORKLOADS = {"1": "1 keyword", "2": "50 keywords", "3": "10 expressions with text", "4": "5 expressions without"}


def quoted(text):
    """The text as an expression that all peers understand."""
    return re.sub(r"([][.^$*+?(){}|\\])", r"\\\1", text)


def read_rules(directory):
    """The rules as (keyword expression, parameter expression), plain keywords quoted."""
    entry = json.loads((directory / "match_rule.json").read_text())["featureFrame"]
    return [(rule["keyWords"][3:] if rule["keyWords"].startswith("@R@") else quoted(rule["keyWords"]), rule["v_value"])
            for rule in entry["segmentRule"]]


def extended(expression):
    """The expression in the dialect of grep -E."""
    return expression.replace("\\d", "[0-9]").replace("\\s", "[[:space:]]")


def slashed(expression):
    return expression.replace("/", "\\/")


def perl(rules):
    tests = "\n".join(f"  elsif (/{slashed(k)}/) {{ push @found, $1 if /{slashed(v)}/ }}" for k, v in rules)
    return ["perl", "-ne", "if (0) {}\n" + tests + "\nEND { print scalar @found }"]


def python(rules):
    program = (
        "import re, sys\n"
        f"rules = [(re.compile(k).search, re.compile(v).search) for k, v in {rules!r}]\n"
        "found = []\n"
        "for line in open(sys.argv[1], encoding='latin-1'):\n"
        "    for key, value in rules:\n"
        "        if key(line):\n"
        "            match = value(line)\n"
        "            if match: found.append(match.group(1))\n"
        "            break\n"
        "print(len(found))\n")
    return ["python3", "-c", program]


def mtail(rules, directory):
    program = "counter found\n" + "\n".join(f"/{slashed(k)}/ {{\n  found++\n}}" for k, _ in rules)
    path = directory / "rules.mtail"
    path.write_text(program + "\n")
    return ["mtail", "--one_shot", "--progs", str(path), "--logs"]


def lnav(rules):
    return ["lnav", "-n", "-c", ":filter-in " + "|".join(f"(?:{k})" for k, _ in rules)]


def commands(rules, directory):
    patterns = [part for key, _ in rules for part in ("-e", key)]
    return {
        "grep -E": ["grep", "-E"] + [part if part == "-e" else extended(part) for part in patterns],
        "ripgrep": ["rg", "--no-config", "-j1"] + patterns,
        "perl": perl(rules),
        "python3": python(rules),
        "mtail": mtail(rules, directory),
        "lnav": lnav(rules),
    }


def seconds(command):
    begin = time.perf_counter()
    # Output goes through a pipe: some programs stop at the first match when it goes nowhere.
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, stdin=subprocess.DEVNULL)
    spent = time.perf_counter() - begin
    if done.returncode not in (0, 1) or b"compile failed" in done.stderr:
        sys.exit(f"{command[0]} failed: {done.stderr.decode(errors='replace')}")
    return spent


def main():
    if len(sys.argv) not in (3, 4):
        sys.exit(__doc__.strip())
    kestrix, directory = sys.argv[1], Path(sys.argv[2])
    runs = int(sys.argv[3]) if len(sys.argv) == 4 else 5
    log = str(directory / "log.txt")
    table = {}
    for number in WORKLOADS:
        rules_dir = directory / number
        own = [kestrix, "analyze", log, "--config", str(rules_dir), "--event", "bench", "--json"]
        for peer, command in commands(read_rules(rules_dir), rules_dir).items():
            print(f"{WORKLOADS[number]}: {peer}", file=sys.stderr)
            seconds(own)
            ratios = [seconds(command + [log]) / seconds(own) for _ in range(runs)]
            table.setdefault(peer, []).append(
                f"{statistics.median(ratios):.1f} ({min(ratios):.1f} - {max(ratios):.1f})")
    print("| peer / kestrix | " + " | ".join(WORKLOADS.values()) + " |")
    print("| --- |" + " ---: |" * len(WORKLOADS))
    for peer, cells in table.items():
        print(f"| {peer} | " + " | ".join(cells) + " |")


if __name__ == "__main__":
    main()

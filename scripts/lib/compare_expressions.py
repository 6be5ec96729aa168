"""Judges what tests/regex/compare_expressions.cpp has printed, built with GNU's standard library and with LLVM's."""
import sys
from collections import Counter
from urllib.parse import unquote_to_bytes

SUBJECTS = 8
SHOWN = 5  # faults of a kind


def decode(word):
    return unquote_to_bytes(word.removesuffix("."))


def cases(path):
    with open(path, encoding="ascii") as lines:
        for line in lines:
            words = line.split()
            expression, kind, issue, compiles = words[:4]
            assert len(words) == 4 + 3 * SUBJECTS, line
            yield expression, kind, issue, compiles == "takes", list(zip(*[iter(words[4:])] * 3))


def without_group(answer):
    return answer.rsplit("/", 1)[0]


def may_differ_from_gnu(expression, ours, gnu):
    """GNU's library keeps what a group captured in an earlier round of a loop, takes "\\cA" for "A", and the place of a
    look-ahead for the beginning of the line; LLVM's does as ECMAScript says."""
    is_cleared = ours.endswith("/.") and without_group(ours) == without_group(gnu)
    return is_cleared or b"\\c" in expression or (b"^" in expression and b"(?" in expression)


counts = Counter()
faults = Counter()


def fault(what, *details):
    faults[what] += 1
    if faults[what] <= SHOWN:
        print(what + ":", *details)


for gnu, llvm in zip(cases(sys.argv[1]), cases(sys.argv[2]), strict=True):
    assert gnu[:3] == llvm[:3], (gnu, llvm)
    expression, kind = decode(gnu[0]), gnu[1]
    counts[kind] += 1
    if kind == "own" and not (gnu[3] and llvm[3]):
        fault("searched, but a library refuses it", expression)
    if kind == "left" and gnu[3] and not llvm[3]:
        fault("only warned about, but the device refuses it", expression)
    if kind == "fault" and gnu[3] and llvm[3]:
        counts["called not portable, but both take it"] += 1
    for (subject, ours, by_gnu), (_, ours_llvm, by_llvm) in zip(gnu[4], llvm[4]):
        subject = decode(subject)
        if kind == "left" and by_llvm not in ("-", "slow") and by_gnu not in ("-", "slow"):
            counts["answers of what is left"] += 1
            counts["of these, LLVM's ends the process"] += by_llvm == "ends"
            counts["of these, others from GNU's"] += by_llvm not in ("ends", by_gnu)
        if kind != "own":
            continue
        counts["own answers"] += 1
        counts["of these, LLVM's would end the process"] += by_llvm == "ends"
        if ours != ours_llvm:
            fault("the library differs with itself", expression, subject, ours, ours_llvm)
        # LLVM's library, version 14 for one, overlooks an empty match at the end of a subject.
        overlooked = by_llvm == "none" and ours.startswith(f"{len(subject)}/./")
        if by_llvm not in ("-", "ends", "slow", ours) and not overlooked:
            fault("other answer than LLVM's", expression, subject, ours, by_llvm)
        if by_gnu not in ("-", "ends", "slow", ours):
            counts["of these, GNU's differ as documented"] += 1
            if not may_differ_from_gnu(expression, ours, by_gnu):
                fault("other answer than GNU's", expression, subject, ours, by_gnu)

for name, count in counts.items():
    print(f"{count:8} {name}")
if sum(counts[kind] for kind in ("own", "left", "fault")) == 0 or counts["own answers"] == 0:
    sys.exit("nothing was compared")
if faults:
    sys.exit(f"faults: {dict(faults)}")

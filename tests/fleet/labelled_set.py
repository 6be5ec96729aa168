#!/usr/bin/python3
"""usage: labelled_set.py PROGRAM

How well each way of grouping finds the bugs behind logs: makes logs of 30 bugs, analyses them, and prints how many of
the pairs of logs that a grouping puts together are of one bug (precision), and how many of the pairs of one bug it puts
together (recall), without and with the file that --suggest-skip proposes.
"""

import json
import random
import subprocess
import sys
import tempfile
from collections import Counter
from pathlib import Path

BUGS, LOGS = 30, 20
RULES = Path(__file__).parent.parent / "data-fleet" / "old"
NOISE = ["libcore.Abort.raise", "libcore.Assert.fail", "libcore.Report.dump"]
LOOP = ["platform.Activity.start", "platform.Looper.once", "platform.Looper.loop", "platform.Main.main"]


def stack_of(bug, source):
    """The bug's own frames below a few that several bugs share, as one occurrence has them."""
    own = random.Random(bug)
    frames = [f"app.part{own.randrange(6)}.Class{own.randrange(40)}.call{own.randrange(200)}" for _ in range(6)]
    if source.random() < 0.25:  # another compiler puts a frame into its caller
        del frames[source.randrange(1, 5)]
    noise = NOISE[:source.randrange(4)] if bug % 3 else []  # how deep the reporting was
    shared = [f"app.common.Service{bug % 5}.handle"]
    build = source.randrange(3)  # shifts the lines
    return [frame + place_of(frame, build, source) for frame in noise + frames + shared + LOOP]


def place_of(frame, build, source):
    """File and line, or for some an address in a library that has no lines."""
    if source.random() < 0.1:
        return f"(lib.so:0x{source.getrandbits(40):x})"
    return f"({frame.split('.')[-2]}.kt:{100 + len(frame) + build})"


def write_logs(folder):
    source = random.Random(7)
    for bug in range(BUGS):
        for log in range(LOGS):
            frames = "".join(f"\tat {frame}\n" for frame in stack_of(bug, source))
            head = f"03-04 09:{source.randrange(60):02}:00 Process: bug{bug}, PID: {source.randrange(30000)}\n"
            (folder / f"bug{bug}-{log}.txt").write_text(f"{head}java.lang.IllegalStateException: failed\n{frames}")


def pairs(counts):
    return sum(count * (count - 1) // 2 for count in counts)


def by_process(way):
    """The same way of grouping with the bug's name in front of each value."""
    return ["--by", "PROCESS,FINGERPRINT", *way[2:]] if "--by" in way else ["--by", "PROCESS", *way]


def count_by_bug(found, labelled):
    """Logs of each group, or of several that look alike, and of each bug in it."""
    leader = {group["value"]: alike["groups"][0]["value"] for alike in found.get("alike", {}).get("sets", [])
              for group in alike["groups"]}
    together, right = Counter(), Counter()
    for group in labelled:
        bug, value = group["value"].split("\n", 1)
        together[leader.get(value, value)] += group["count"]
        right[leader.get(value, value), bug] += group["count"]
    return together, right


def main(program):
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        (folder / "logs").mkdir()
        write_logs(folder / "logs")
        run = lambda *words: subprocess.run([program, *map(str, words)], check=True, capture_output=True).stdout
        results = folder / "results.ndjson"
        results.write_bytes(run("batch", folder / "logs", "--config", RULES, "--event", "crash"))
        skips = folder / "skips"
        skips.write_bytes(run("groups", results, "--suggest-skip"))
        sys.stdout.write(skips.read_text())

        groups = lambda *way: json.loads(run("groups", results, "--format", "json", *way))
        of_bugs = pairs(group["count"] for group in groups("--by", "PROCESS")["groups"])
        print(f"{'grouping':32} groups precision recall   F1")
        scores = {}
        ways = [["--by", "FINGERPRINT"], ["--skip", skips]]
        for top in (1, 2, 3, 5):
            ways += [["--top", top], ["--top", top, "--skip", skips]]
        for way in ways + [[*way, "--like"] for way in (ways[0], ways[2], ways[3], ways[5])]:
            together, right = count_by_bug(groups(*way), groups(*by_process(way))["groups"])
            precision, recall = pairs(right.values()) / max(1, pairs(together.values())), pairs(right.values()) / of_bugs
            title = " ".join(str(word) for word in way).replace(str(folder) + "/", "")
            scores[title] = 2 * precision * recall / max(1e-9, precision + recall)
            print(f"{title:32} {len(together):6} {precision:9.2f} {recall:6.2f} {scores[title]:4.2f}")
        if not scores["--top 1 --skip skips"] > scores["--top 1"]:
            sys.exit("skipping what --suggest-skip proposes does not help")
        if not scores["--by FINGERPRINT --like"] > 0.85:
            sys.exit("groups that look alike are not those of a bug")
        if "^app" in skips.read_text():
            sys.exit("--suggest-skip proposes a frame of the bugs' own")


if __name__ == "__main__":
    main(*sys.argv[1:])

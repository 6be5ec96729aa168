#!/usr/bin/python3
"""Spreads `kestrix batch` over the workers of a Dask cluster.

    find /srv/logs -type f | LC_ALL=C sort | dask_batch.py SCHEDULER batch --config /srv/rules --event java_crash

Reads paths from standard input, one a line, and prints the lines of `kestrix batch` in their order: byte for byte those
of one run over the list. A part whose worker is lost goes to another worker. Program, rules and logs have to be at the
same paths on all machines.
"""

import collections
import itertools
import os
import subprocess
import sys

from distributed import Client

PROGRAM = os.environ.get("KESTRIX", "kestrix")
PATHS_PER_PART = int(os.environ.get("PATHS_PER_PART", "500"))


def analyse(command, paths):
    run = subprocess.run([*command, "-j", "1", "-"], input=paths, capture_output=True, check=False)
    if run.returncode > 1:  # 1: a log has an "error", which its line tells
        raise RuntimeError(run.stderr.decode(errors="replace"))
    return run.stdout


def parts(paths):
    while part := list(itertools.islice(paths, PATHS_PER_PART)):
        yield b"".join(part)


def main(scheduler, *arguments):
    with Client(scheduler) as client:
        waiting = collections.deque()
        most = 4 * max(1, sum(client.nthreads().values()))  # parts whose output waits for its turn
        for part in parts(sys.stdin.buffer):
            waiting.append(client.submit(analyse, [PROGRAM, *arguments], part, pure=False))
            if len(waiting) >= most:
                sys.stdout.buffer.write(waiting.popleft().result())
                sys.stdout.buffer.flush()
        while waiting:
            sys.stdout.buffer.write(waiting.popleft().result())


if __name__ == "__main__":
    main(*sys.argv[1:])

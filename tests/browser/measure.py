#!/usr/bin/python3
"""usage: measure.py PROGRAM

Prints how long people wait: from a save of the rules to the changed page of `kestrix live`, for a small and for a large
log; for the pages of many logs to open; for a screen of lines of a long log to be drawn.
"""
import json
import os
import pathlib
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

from selenium.webdriver.support.ui import WebDriverWait

from browser import start_browser

EXAMPLES = pathlib.Path(__file__).resolve().parents[2] / "examples"
SAVES = 50
FILLER = "04-17 09:41:01.{:03} 1312 1340 I ActivityTaskManager: START u0 {{cmp=com.example.tidebook/.chart.Chart}} {}\n"

# Notes when what a save has changed is on the screen.
WATCH = """
window.shownAt = 0;
new MutationObserver(() => requestAnimationFrame(() => setTimeout(() => { window.shownAt = Date.now(); })))
  .observe(document.documentElement, { attributes: true, attributeFilter: ["data-version"] });"""


def wait(browser, condition):
    return WebDriverWait(browser, 30, 0.005).until(lambda each: each.execute_script(f"return {condition}"))


def write_log(path, size):
    """A log of about that size, with the crash at its end."""
    crash = (EXAMPLES / "logs/java_crash.txt").read_text(encoding="utf-8")
    lines = []
    length = len(crash)
    while length < size:
        lines.append(FILLER.format(len(lines) % 1000, len(lines)))
        length += len(lines[-1])
    path.write_text("".join(lines) + crash, encoding="utf-8")


def measure_saves(browser, program, scratch, size):
    folder = scratch / f"live{size}"
    shutil.copytree(EXAMPLES / "rules", folder / "rules")
    write_log(folder / "log.txt", size)
    match = folder / "rules/match_rule.json"
    text = match.read_text(encoding="utf-8")
    desk = subprocess.Popen([program, "live", "log.txt", "--config", "rules", "--event", "java_crash"], cwd=folder,
                            text=True, stdout=subprocess.PIPE)
    try:
        browser.get(desk.stdout.readline().strip())
        wait(browser, "document.documentElement.dataset.settled")
        browser.execute_script(WATCH)
        times = []
        for i in range(SAVES):
            new = match.with_suffix(".new")
            new.write_text(text.replace("Process: @&@", "process: @&@", 1) if i % 2 == 0 else text, encoding="utf-8")
            saved = time.time()
            new.replace(match)
            times.append(wait(browser, "window.shownAt") - saved * 1000)
            version = browser.execute_script("window.shownAt = 0; return document.documentElement.dataset.version")
            wait(browser, f"document.documentElement.dataset.settled === '{version}'")
        print(f"save to changed page, log of {size // 1000} KB, {SAVES} saves: {statistics.median(times):.0f} ms (median), "
              f"{max(times):.0f} ms (worst)")
    finally:
        browser.get("about:blank")
        desk.kill()
        desk.wait()


def page_of(program, scratch, *arguments, stdin=None):
    page = scratch / "page.html"
    subprocess.run([program, *arguments, "--format", "html", "-o", page], check=False, input=stdin)
    return page


def measure_opening(browser, page, what):
    times = []
    for _ in range(7):
        browser.get("about:blank")
        browser.get(page.as_uri())
        times.append(browser.execute_script("const [entry] = performance.getEntriesByType('navigation'); "
                                            "return entry.domComplete;"))
    print(f"{what}, {page.stat().st_size // 1000} KB: opens in {statistics.median(times):.0f} ms (median of 7), "
          f"{max(times):.0f} ms (worst)")


def measure_many_logs(browser, program, scratch):
    results = {"REASON": "java.lang.IllegalStateException: no table", "STACK": "a.B.c(B.java:1)\r\n" * 20}
    lines = "".join(json.dumps({"path": f"logs/{i}.txt", "event": "java_crash",
                                "results": dict(results, FINGERPRINT=f"{i % 3000:064x}")}) + "\n" for i in range(10000))
    measure_opening(browser, page_of(program, scratch, "groups", stdin=lines.encode()), "groups of 10,000 logs")
    logs = scratch / "logs"
    logs.mkdir()
    crash = (EXAMPLES / "logs/java_crash.txt").read_text(encoding="utf-8")
    for i in range(10000):
        (logs / f"{i}.txt").write_text(crash.replace("parseHeight", f"parse{i % 300}"), encoding="utf-8")
    new = scratch / "edited"
    shutil.copytree(EXAMPLES / "rules", new)
    match = new / "match_rule.json"
    text = match.read_text(encoding="utf-8").replace("Process: @&@", "process: @&@", 1)
    match.write_text(text.replace(r"\\bat [^ ()]+", r"\\bat [^ ()]+chart[^ ()]+", 1), encoding="utf-8")
    event = ("--event", "java_crash")
    measure_opening(browser, page_of(program, scratch, "diff", "--old", EXAMPLES / "rules", "--new", new, *event, logs),
                    "comparison of 10,000 logs")
    measure_opening(browser, page_of(program, scratch, "coverage", "--config", EXAMPLES / "rules", *event, logs),
                    "coverage of 10,000 logs")


def measure_lines(browser, program, scratch):
    log = scratch / "long.txt"
    crash = (EXAMPLES / "logs/java_crash.txt").read_text(encoding="utf-8")
    log.write_text("".join(FILLER.format(i % 1000, i) for i in range(100000)) + crash, encoding="utf-8")
    page = page_of(program, scratch, "explain", log, "--config", EXAMPLES / "rules", "--event", "java_crash")
    measure_opening(browser, page, "log of 100,000 lines")
    times = browser.execute_script("""
      const pane = document.getElementById("lines");
      const times = [];
      for (let i = 0; i < 500; ++i) {
        const from = performance.now();
        pane.scrollTop = i * 3989;
        view.draw();
        pane.offsetHeight;
        times.push(performance.now() - from);
      }
      return times;""")
    print(f"a screen of its lines: {statistics.median(times):.1f} ms (median of 500), {max(times):.1f} ms (worst)")


def main():
    program = os.path.abspath(sys.argv[1])
    with tempfile.TemporaryDirectory() as scratch_name:
        scratch = pathlib.Path(scratch_name)
        browser = start_browser(scratch)
        try:
            for size in (40_000, 2_000_000):
                measure_saves(browser, program, scratch, size)
            measure_lines(browser, program, scratch)
            measure_many_logs(browser, program, scratch)
        finally:
            browser.quit()


if __name__ == "__main__":
    main()

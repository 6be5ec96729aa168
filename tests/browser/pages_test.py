#!/usr/bin/python3
"""usage: pages_test.py PROGRAM AXE

Loads the pages that the program makes into a headless Chromium and uses them as a reader would. AXE is the script of
axe-core, which looks for what keeps people from using a page.
"""
import http.client
import json
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest
import urllib.parse

from selenium import webdriver
from selenium.common.exceptions import StaleElementReferenceException
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import WebDriverWait

from browser import start_browser

EXAMPLES = pathlib.Path(__file__).resolve().parents[2] / "examples"
EVENTS = ("app_not_responding", "java_crash", "kernel_panic", "native_crash")

# What a page would run if it took text for markup; each sets window.ran.
RUNNING = ("<script>window.ran = 1</script>", "<img src=x onerror=\"window.ran = 2\">",
           "</script><script>window.ran = 3</script>", "<!--<script>window.ran = 4</script>-->",
           "<svg onload=\"window.ran = 5\">", "</title><script>window.ran = 6</script>", "${window.ran = 7}")


def rules(event, *texts, skip=0):
    """The two rule files: a rule for each text, which is its keyword and makes a result of the line."""
    entry = {"featureId": f"F_{event}_1", "dirOrFile": "/data", "subcataLog": ".*", "skip": skip, "rules": [],
             "segmentRule": []}
    for i, text in enumerate(texts):
        entry["segmentRule" if i else "rules"].append({"name": f"r{i}{text}", "keyWords": text, "v_line": "(.*)"})
    templates = {f"R{i}{text}": f"r{i}{text}.v_line" for i, text in enumerate(texts)}
    return {"featureFrame": entry}, {event: {f"F_{event}_1": templates}}


class Page(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.scratch = pathlib.Path(tempfile.mkdtemp())
        cls.addClassCleanup(shutil.rmtree, cls.scratch, ignore_errors=True)
        cls.browser = start_browser(cls.scratch)
        cls.addClassCleanup(cls.browser.quit)

    def tearDown(self):
        self.assertEqual([], self.browser.get_log("browser"), "the browser complains")

    def run_program(self, *arguments, status=0, stdin=None):
        page = self.scratch / "page.html"
        page.unlink(missing_ok=True)
        command = [PROGRAM, *arguments, "--format", "html", "-o", page]
        self.assertEqual(status, subprocess.run(command, check=False, input=stdin).returncode)
        return page

    def make(self, log, config, event, *arguments, status=0):
        return self.run_program("explain", log, "--config", config, "--event", event, *arguments, status=status)

    def write_rules(self, folder, contents):
        config = self.scratch / folder
        config.mkdir(exist_ok=True)
        for name, content in zip(("match_rule", "assemble_rule"), contents):
            (config / (name + ".json")).write_text(json.dumps(content), encoding="utf-8")
        return config

    def make_own(self, lines, *texts, **options):
        config = self.write_rules("rules", rules("own", *texts, **options))
        log = self.scratch / "log"
        log.write_bytes(b"".join(line + b"\n" for line in lines))
        return self.make(log, config, "own")

    def change_rules(self):
        config = self.scratch / "changed"
        shutil.copytree(EXAMPLES / "rules", config, dirs_exist_ok=True)
        match = config / "match_rule.json"
        text = match.read_text(encoding="utf-8").replace("Process: @&@, PID: ", "process: @&@, PID: ", 1)
        match.write_text(text.replace(r"\\bat [^ ()]+\\([^()]*\\)|Caused", r"\\bat [^ ()]+chart[^()]+\\([^()]*\\)|Caused", 1),
                         encoding="utf-8")
        return config

    def open(self, page, selected=""):
        self.browser.get("about:blank")  # else only the hash might change
        self.browser.get(f"{page.as_uri()}#{selected}" if isinstance(page, pathlib.Path) else page)

    def script(self, script, *arguments):
        return self.browser.execute_script(script, *arguments)

    def all(self, selector):
        return self.browser.find_elements(By.CSS_SELECTOR, selector)

    def one(self, selector):
        found = self.all(selector)
        self.assertEqual(1, len(found), selector)
        return found[0]

    def wait(self, until, what):
        return WebDriverWait(self.browser, 20, 0.05, [StaleElementReferenceException]).until(lambda _: until(), what)

    def shown(self):
        """The lines in sight, by their numbers."""
        return self.script("""return Object.fromEntries([...document.querySelectorAll(".line")].map(
          (row) => [row.dataset.line, row.querySelector(".text").textContent]))""")

    def marks(self, line):
        return self.script("return [...document.querySelectorAll(`#row-${arguments[0]} mark`)].map((m) => m.textContent)",
                           line)

    def click(self, element):
        self.script("arguments[0].scrollIntoView({block: 'center'})", element)
        element.click()

    def press(self, *keys):
        webdriver.ActionChains(self.browser).send_keys(*keys).perform()

    def assert_usable(self, what):
        """What axe finds of serious faults, in the light and in the dark."""
        for scheme in ("light", "dark"):
            self.browser.execute_cdp_cmd("Emulation.setEmulatedMedia", {
                "features": [{"name": "prefers-color-scheme", "value": scheme},
                             {"name": "prefers-reduced-motion", "value": "reduce"}]})
            self.browser.execute_cdp_cmd("Runtime.evaluate", {"expression": AXE})
            faults = self.browser.execute_async_script("""
              const done = arguments[arguments.length - 1];
              axe.run(document, {resultTypes: ["violations"]}).then(({violations}) => done(violations
                .filter(({impact}) => impact === "serious" || impact === "critical")
                .map(({id, nodes}) => [id, nodes.slice(0, 3).map(({html, failureSummary}) =>
                  html.slice(0, 200) + " " + failureSummary)])));""")
            self.assertEqual([], faults, f"{what}, {scheme}")


class OneLog(Page):
    def test_result_leads_to_its_line_and_line_to_verdicts(self):
        for event in EVENTS:
            with self.subTest(event):
                log = EXAMPLES / "logs" / f"{event}.txt"
                expected = json.loads((EXAMPLES / "expected" / f"{event}.json").read_text(encoding="utf-8"))
                self.open(self.make(log, EXAMPLES / "rules", event))
                lines = log.read_text(encoding="utf-8").splitlines()
                for number, text in self.shown().items():
                    self.assertEqual(lines[int(number) - 1], text)
                self.assertTrue(self.all(".line.used mark"), "opens where a rule took something")
                top = self.one("#top").text
                self.assertIn(expected["FST_FRAME"], top)
                self.assertIn(expected["FINGERPRINT"][:12], top)
                self.assertNotIn(expected["FINGERPRINT"], self.one("body").text)
                for key in self.all("#results a.key"):
                    name = key.text
                    self.script("arguments[0].click()", key)  # the card may lie over it
                    walk = [step.text.split()[0] for step in self.all("#card > div:not(details) .walk > li")]
                    if name in expected:
                        self.assertEqual(["template", "record", "rule"], walk[:3], name)
                        self.assertIn("line", walk, name)
                        self.assertEqual(1, len(self.all(".line.picked")), name)
                self.script("go(''); view.pane.scrollTop = 0; view.draw()")
                self.click(self.all(".line.used")[0])
                self.assertTrue(self.all("#card .verdicts .good"))
                self.assertNotRegex(self.one("#card").text, r"\b(null|undefined)\b")
                told = len(self.all("#card .verdicts > li"))
                self.assertEqual(self.script("return story.table.rules.length"), told)
                self.script("document.querySelector('#rules h3 a.chip').click()")
                self.assertEqual(1, len(self.all("article.picked")))

    def test_taken_text_is_marked_where_it_was_taken(self):
        page = self.make_own(["\U0001f600 \xe9 at 7 of 7".encode(), b"x"], "at")
        match = json.loads((self.scratch / "rules/match_rule.json").read_text(encoding="utf-8"))
        match["featureFrame"]["rules"][0]["v_line"] = r"of (\d)"
        (self.scratch / "rules/match_rule.json").write_text(json.dumps(match), encoding="utf-8")
        page = self.make(self.scratch / "log", self.scratch / "rules", "own")
        self.open(page)
        self.assertEqual(["7"], self.marks(1))
        before = self.script("return document.querySelector('#row-1 mark').previousSibling.textContent")
        self.assertEqual("\U0001f600 \xe9 at 7 of ", before)

    def test_missing_result_names_the_edit(self):
        config = self.write_rules("rules", rules("own", "process"))
        (self.scratch / "log").write_bytes(b"Process: tidebook\n")
        self.open(self.make(self.scratch / "log", config, "own", "--key", "R0process", status=1))
        self.assertIn("only case differs", self.one("#card .edit").text)
        self.assertIn("missing", self.one("#card").text)

    def test_address_keeps_the_selection(self):
        self.open(self.make(EXAMPLES / "logs/java_crash.txt", EXAMPLES / "rules", "java_crash"), "key-ROOT_CAUSE")
        self.assertEqual("31", self.one(".line.picked").get_attribute("data-line"))
        self.click(self.one("#row-12"))
        self.browser.refresh()
        self.assertEqual("12", self.one(".line.picked").get_attribute("data-line"))
        self.browser.back()
        self.wait(lambda: self.one(".line.picked").get_attribute("data-line") == "31", "back")

    def test_keyboard_alone(self):
        self.open(self.make(EXAMPLES / "logs/java_crash.txt", EXAMPLES / "rules", "java_crash"))
        self.press("n")
        self.assertEqual("4", self.one(".line.picked").get_attribute("data-line"))
        self.one("#lines").send_keys(Keys.ARROW_DOWN)
        self.assertEqual("5", self.one(".line.picked").get_attribute("data-line"))
        self.assertEqual("row-5", self.one("#lines").get_attribute("aria-activedescendant"))
        self.one("#lines").send_keys(Keys.SHIFT, Keys.ARROW_DOWN, Keys.ARROW_DOWN, Keys.ARROW_UP, Keys.ARROW_UP, Keys.ARROW_UP)
        self.assertEqual(["4", "5"], [row.get_attribute("data-line") for row in self.all(".line.picked")])
        self.assertIn("Lines 4 to 5", self.one("#card").text)
        self.one("#lines").send_keys("/")
        self.press("Caused by", Keys.ENTER)
        self.assertEqual("1 of 3", self.one("#found").text)
        self.press(Keys.ENTER, Keys.ENTER, Keys.ENTER)
        self.assertEqual("1 of 3", self.one("#found").text)
        self.one("#find-before").click()
        self.assertEqual("3 of 3", self.one("#found").text)
        width = self.script("return document.getElementById('story').offsetWidth")
        self.one("#story-splitter").send_keys(Keys.ARROW_LEFT)
        self.assertEqual(width + 24, self.script("return document.getElementById('story').offsetWidth"))
        self.press(Keys.ESCAPE)
        self.assertFalse(self.one("#card").is_displayed())

    def test_everybody_can_use_it(self):
        page = self.make(EXAMPLES / "logs/java_crash.txt", EXAMPLES / "rules", "java_crash")
        for selected in ("", "line-11", "key-ROOT_CAUSE"):
            self.open(page, selected)
            self.assert_usable(selected)

    def test_narrow_window(self):
        self.addCleanup(self.browser.execute_cdp_cmd, "Emulation.clearDeviceMetricsOverride", {})
        self.browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                                     {"width": 390, "height": 800, "deviceScaleFactor": 1, "mobile": True})
        self.open(self.make(EXAMPLES / "logs/java_crash.txt", EXAMPLES / "rules", "java_crash"), "line-31")
        self.assertLessEqual(self.script("return document.documentElement.scrollWidth"), 390)
        self.assertTrue(self.one(".line.picked").is_displayed())
        top = self.script("const {top} = document.getElementById('card').getBoundingClientRect(); return top")
        self.assertTrue(0 < top < 600, "the card is in sight")
        self.assert_usable("narrow")
        page = self.run_program("diff", "--old", EXAMPLES / "rules", "--new", self.change_rules(), "--event", "java_crash",
                                EXAMPLES / "logs", status=1)
        self.open(page)
        self.assertLessEqual(self.script("return document.documentElement.scrollWidth"), 390)
        self.assert_usable("narrow comparison")

    def test_100000_lines(self):
        lines = [b"line %d of a log that goes on and on, with text to fill it up" % i for i in range(1, 100001)]
        for i in range(20000, 90000, 5):
            lines[i - 1] += b" hit"
        lines[10] = b"head"
        self.open(self.make_own(lines, "head", "hit", skip=100000))
        self.assertLess(self.script("return document.querySelectorAll('*').length"), 6000)
        self.one("#wanted").send_keys(":60123", Keys.ENTER)
        self.assertEqual("60123", self.one(".line.picked").get_attribute("data-line"))
        self.assertIn("too large for this page", self.one("#card").text)
        self.one("#wanted").clear()
        self.one("#wanted").send_keys("LINE 77777 of", Keys.ENTER)
        self.wait(lambda: self.one(".line.picked").get_attribute("data-line") == "77777", "found")
        slow = self.script("""
          const pane = document.getElementById("lines");
          let worst = 0;
          for (let i = 0; i < 200; ++i) {
            const from = performance.now();
            pane.scrollTop = i * 9973;
            view.draw();
            pane.offsetHeight;
            worst = Math.max(worst, performance.now() - from);
          }
          return worst;""")
        self.assertLess(slow, 200, "ms for a screen of lines")

    def test_largest_log(self):
        lines = [b"x" * 1023] * (32 * 1024)
        lines[10] = b"head"
        lines[20000 - 1] = b"rare"
        lines[5] = lines[0] * 10
        del lines[-10:]
        page = self.make_own(lines, "head", "rare", skip=100000)
        self.assertLess(page.stat().st_size, 1000000)
        self.open(page, "line-20000")
        self.assertEqual("20000", self.one(".line.picked").get_attribute("data-line"))
        self.assertIn("the log is large", self.one("#log-note").text)
        self.assertTrue(self.script("return story.lines[0].textOf(6).includes('bytes more')"))
        self.assertTrue(self.script("return story.lines[0].rowOf(15000) < 0"))


class Hostile(Page):
    def test_text_never_runs(self):
        lines = [f"{i} {text}".encode() for i, text in enumerate(RUNNING)]
        lines.append(b"\xff\xc3 <script>\0\x1b[31m" + "\u202ereversed\u2066\u2028.".encode() + b"\r")
        self.open(self.make_own(lines, *RUNNING))
        expected = {str(i + 1): f"{i} {text}" for i, text in enumerate(RUNNING)}
        expected["8"] = "\ufffd\ufffd <script>\u2400\u241b[31m\u2426reversed\u2426\u2426."
        self.assertEqual(expected, self.shown())
        keys = self.script("""return [...story.keys.map(({key}) => resultKey(key)), ...story.table.orders.keys(),
          ...[1, 2, 3, 4, 5, 6, 7, 8].map((line) => `line-${line}`)]""")
        for key in keys:
            self.script("select(arguments[0])", key)
        self.assertEqual([], self.all("img, svg, header script, main script"))
        self.assertEqual(3, len(self.all("script")))
        self.assertIsNone(self.script("return window.ran ?? null"))

    def test_policy_lets_nothing_else_run(self):
        self.open(self.make_own([b"x"], "x"))
        self.script("""
          const script = document.createElement("script");
          script.textContent = "window.ran = 1";
          document.body.append(script);
          const image = document.createElement("img");
          image.src = "data:image/gif;base64,R0lGODlhAQABAAAAACw=";
          document.body.append(image);""")
        self.assertIsNone(self.script("return window.ran ?? null"))
        complaints = " ".join(entry["message"] for entry in self.browser.get_log("browser"))
        self.assertIn("script-src", complaints)
        self.assertIn("img-src", complaints)

    def test_logs_without_lines_and_runs(self):
        empty = self.scratch / "empty"
        empty.touch()
        self.open(self.make(empty, EXAMPLES / "rules", "java_crash", status=1), "line-1")
        self.assertIn("empty", self.one("#lines").text)
        self.open(self.make(EXAMPLES / "logs/java_crash.txt", EXAMPLES / "rules", "kernel_panic", status=1))
        self.assertEqual(41, self.script("return story.lines[0].rows"))
        self.assertIn("Nothing found", self.one("#top").text)


class Reports(Page):
    def write_logs(self, count):
        folder = self.scratch / "many"
        shutil.rmtree(folder, ignore_errors=True)
        folder.mkdir()
        text = (EXAMPLES / "logs/java_crash.txt").read_text(encoding="utf-8")
        for i in range(count):
            (folder / f"{i}.txt").write_text(text.replace("parseHeight", f"parse{i % 5}"), encoding="utf-8")
        return folder

    def test_comparison(self):
        page = self.run_program("diff", "--old", EXAMPLES / "rules", "--new", self.change_rules(), "--event", "java_crash",
                                "--like", "--explain", self.scratch / "pages of it", self.write_logs(12), status=1)
        self.open(page)
        self.assertIn("12 of 12 logs differ", self.one("#top").text)
        self.assertIn("5 groups merged into", self.one("article.card").text)
        self.assertIn("12 moved to another group", self.one("main").text.replace("\n", " "))
        self.assertIn("under " + str(EXAMPLES / "rules") + " 4 of 5 do", self.one("main").text)
        self.click(self.one("#log-list li:first-child summary"))
        self.assertIn("PROCESS", self.one("#log-list li:first-child details").text)
        links = [link.get_attribute("href") for link in self.all("#log-list li:first-child details a")]
        self.assertEqual(2, len(links))
        for link, has_process in zip(links, (True, False)):
            self.open(link)
            self.assertEqual(has_process, "PROCESS" in self.script("return Object.keys(story.result)"))
        self.assertEqual(24, len(list((self.scratch / "pages of it").iterdir())))
        self.open(page)
        self.one(".filters input").send_keys("/7.txt")
        self.assertEqual("1 of 12 logs", self.one("#shown").text)
        self.assert_usable("comparison")
        self.open(self.run_program("diff", "--old", EXAMPLES / "rules", "--new", self.change_rules(), "--event", "java_crash",
                                   "--by", "REASON", self.write_logs(12), status=1))
        self.assertIn("12 of 12 logs differ", self.one("#top").text)
        self.assertNotIn("moved to another group", self.one("main").text)

    def test_groups_and_coverage(self):
        logs = self.write_logs(12)
        lines = subprocess.run([PROGRAM, "batch", logs, "--config", EXAMPLES / "rules", "--event", "java_crash"],
                               check=True, capture_output=True).stdout
        self.open(self.run_program("groups", "--like", "--explain", self.scratch / "group pages", "--config", EXAMPLES / "rules",
                                   stdin=lines))
        self.assertIn("5 groups of 12 logs", self.one("#top").text)
        self.assertEqual(6, len(self.all("article.card")))  # with that of the look-alikes
        self.assertIn("4 of 5 groups look like a larger one", self.one("main").text)
        self.assertIn("Unable to start activity", self.all("article.card")[0].text)
        self.assert_usable("groups")
        self.open(self.script("return document.querySelector('article.card .logs a').href"))
        self.assertIn("Unable to start activity", self.one("#top").text)
        self.open(self.run_program("coverage", logs, "--config", EXAMPLES / "rules", "--event", "java_crash", status=1))
        self.assertIn("never fired", self.one("#top").text)
        self.assertEqual("12", self.all("#rules .count")[0].text)
        self.assert_usable("coverage")

    def test_text_never_runs(self):
        self.make_own([text.encode() for text in RUNNING], *RUNNING)
        before = self.write_rules("before", rules("own", "window"))
        for arguments in (("diff", "--old", before, "--new", self.scratch / "rules"), ("coverage", "--config", before)):
            self.open(self.run_program(*arguments, "--event", "own", self.scratch / "log",
                                       status=1 if arguments[0] == "diff" else 0))
            self.script("document.querySelectorAll('details').forEach((each) => { each.open = true; })")
            self.assertEqual([], self.all("img, svg, main script"))
            self.assertIsNone(self.script("return window.ran ?? null"))

    def test_ten_thousand_logs_open_at_once(self):
        results = {"FINGERPRINT": "", "REASON": "java.lang.IllegalStateException: no table", "STACK": "a.B.c(B.java:1)\r\n" * 20}
        lines = "".join(json.dumps({"path": f"logs/{i}.txt", "event": "java_crash",
                                    "results": dict(results, FINGERPRINT=f"{i % 3000:064x}")}) + "\n" for i in range(10000))
        page = self.run_program("groups", stdin=lines.encode())
        self.open(page)
        took = self.script("const [entry] = performance.getEntriesByType('navigation'); return entry.domComplete;")
        self.assertLess(took, 3000, "ms to open; a busy machine is given its time")
        self.assertIn("3,000 groups of 10,000 logs", self.one("#top").text)


class Live(Page):
    def setUp(self):
        self.folder = self.scratch / "live"
        shutil.rmtree(self.folder, ignore_errors=True)
        shutil.copytree(EXAMPLES / "rules", self.folder / "rules")
        shutil.copytree(EXAMPLES / "logs", self.folder / "logs")
        self.match = self.folder / "rules/match_rule.json"
        self.text = self.match.read_text(encoding="utf-8")

    def tearDown(self):
        super().tearDown()
        self.browser.get("about:blank")  # before the desk is gone

    def start(self, *logs):
        desk = subprocess.Popen([PROGRAM, "live", *logs, "--config", "rules"], cwd=self.folder, text=True,
                                stdout=subprocess.PIPE)
        self.addCleanup(desk.stdout.close)
        self.addCleanup(desk.wait)
        self.addCleanup(desk.kill)
        return desk, desk.stdout.readline().strip()

    def save(self, text):
        """As an editor that writes a new file and gives it the name of the old one."""
        new = self.match.with_suffix(".new")
        new.write_text(text, encoding="utf-8")
        new.replace(self.match)

    def status(self):
        return self.one("#status").text

    def load(self, address):
        self.open(address)
        self.wait(lambda: self.script("return document.documentElement.dataset.settled") is not None, "loads")

    def test_a_save_arrives_and_the_place_is_kept(self):
        desk, address = self.start("logs/java_crash.txt")
        self.load(address)
        self.click(self.one("#row-12"))
        self.wait(lambda: self.all("#card .verdicts .good"), "verdicts")
        self.save(self.text.replace("Process: @&@, PID: ", "process: @&@, PID: ", 1))
        self.wait(lambda: "3 lost" in self.status(), self.status())
        self.assertEqual("12", self.one(".line.picked").get_attribute("data-line"))
        self.assertEqual(3, len(self.all("#results .tag.bad")))
        self.save(self.text[:-40])
        self.wait(lambda: "not valid JSON" in self.status(), self.status())
        self.assertTrue(self.all("#story.stale"))
        self.wait(lambda: self.all("#findings .finding.error"), "findings")
        self.save(self.text)
        self.wait(lambda: "3 gained" in self.status(), self.status())
        self.assertFalse(self.all(".stale"))
        self.save(self.text.replace("Process: @&@, PID: ", "@R@Process: (", 1))  # ends the process that it runs in
        self.wait(lambda: self.all("#story.stale"), self.status())
        self.save(self.text)
        self.wait(lambda: not self.all(".stale"), self.status())
        self.assert_usable("live")
        desk.send_signal(signal.SIGINT)
        self.assertEqual(0, desk.wait(10))
        self.wait(lambda: "has ended" in self.status(), self.status())
        self.assertTrue(self.shown())
        self.browser.get_log("browser")  # of a connection that is gone

    def test_lines_become_rules(self):
        _, address = self.start("logs/java_crash.txt", "logs/kernel_panic.txt")
        self.load(address)
        self.wait(lambda: len(self.all("#logs button")) == 2, "logs")
        for log, first, last in ((0, 4, 10), (1, 20, 24)):
            self.all("#logs button")[log].click()
            self.wait(lambda: self.script("return story.log") == self.all("#logs button")[log].get_attribute("title"), "log")
            self.script("select(lineKey(0, arguments[0]))", first)
            self.script("view.scrollTo(arguments[0])", last)
            webdriver.ActionChains(self.browser).key_down(Keys.SHIFT).click(self.one(f"#row-{last}")).key_up(
                Keys.SHIFT).perform()
            self.assertIn(f"Lines {first} to {last}", self.one("#card").text)
            self.assertEqual(last - first + 1, len(self.all(".line.picked")))
            self.click(self.one("#card .suggest button"))
            self.wait(lambda: self.all("#card .suggest details"), "suggestions")
            asked = subprocess.run([PROGRAM, "suggest", f"logs/{EVENTS[1 if log == 0 else 2]}.txt", "--lines",
                                    f"{first}-{last}", "--config", "rules", "--event", EVENTS[1 if log == 0 else 2],
                                    "--format", "json"], cwd=self.folder, check=True, capture_output=True).stdout
            best = json.loads(asked)["suggestions"]
            self.assertEqual(len(best), len(self.all("#card .suggest details")))
            told = self.script("return document.querySelector('#card .suggest code').textContent")
            self.assertEqual(best[0]["match"].strip(), told.strip())
        self.assert_usable("suggestions")

    def test_findings_and_places_of_rules(self):
        noted = self.folder / "noted"
        editor = self.folder / "editor"
        editor.write_text(f'#!/bin/sh\necho "$@" >{noted}\n', encoding="utf-8")
        editor.chmod(0o755)
        _, address = self.start("logs/java_crash.txt", "--editor", f"{editor} {{file}}:{{line}}")
        self.load(address)
        frame = r"\\bat [^ ()]+\\([^()]*\\)|Caused"
        self.save(self.text.replace(frame, r"\\bat [^ ()]+chart[^()]+\\([^()]*\\)|Caused", 1).replace(
            '"v_name": "Process: ', '"v_extra": "x(y)", "v_name": "Process: ', 1))
        self.wait(lambda: self.all("#results .sides .old"), "the stack as it was")
        self.assertTrue(self.all("#results .sides .side-head"))
        self.wait(lambda: self.all("#rules article .finding"), "findings beside their rule")
        item = self.one("#rules article:has(.finding)")
        self.assertIn("process.v_extra", item.text)
        line = 1 + self.match.read_text(encoding="utf-8").split('"v_extra"')[0].count("\n")
        item.find_element(By.CSS_SELECTOR, ".finding .place").click()
        self.wait(noted.exists, "the editor runs")
        self.wait(lambda: noted.read_text(encoding="utf-8").endswith("\n"), "the editor has run")
        self.assertEqual(f"{self.match}:{line}\n", noted.read_text(encoding="utf-8"))
        self.open("about:blank")
        _, address = self.start("logs/java_crash.txt")
        self.load(address)
        link = self.all("#rules article a.place")[0].get_attribute("href")
        self.assertRegex(link, rf"^vscode://file{self.match}:\d+$")

    def test_list_of_logs(self):
        _, address = self.start(*sorted(f"logs/{event}.txt" for event in EVENTS))
        self.load(address)
        self.wait(lambda: len(self.all("#logs button")) == 4, "logs")
        self.assertEqual(list(EVENTS), [each.text.splitlines()[2].split()[0] for each in self.all("#logs button")])
        self.one("#logs button[aria-current=true]").send_keys(Keys.ARROW_DOWN)
        self.wait(lambda: "RuntimeException" in self.one("#top").text, "chosen")
        self.save(self.text.replace("Process: @&@, PID: ", "process: @&@, PID: ", 1))
        self.wait(lambda: "by this save" in self.all("#logs button")[1].text, "change in the list")
        self.assertNotIn("by this save", self.all("#logs button")[3].text)
        self.assert_usable("list of logs")

    def test_many_saves_and_two_pages(self):
        _, address = self.start("logs/java_crash.txt")
        self.load(address)
        first = self.browser.current_window_handle
        self.browser.switch_to.new_window("tab")
        second = self.browser.current_window_handle
        self.load(address)
        for i in range(20):
            self.save(self.text.replace("Process: @&@", f"Process{i}: @&@", 1))
            time.sleep(0.05)
        self.save(self.text.replace("Process: @&@, PID: ", "Nothing", 1))
        for handle in (first, second):
            self.browser.switch_to.window(handle)
            self.wait(lambda: "Nothing" in self.one("#rules").text, "the last save arrives")
        self.browser.close()
        self.browser.switch_to.window(first)

    def test_hostile_log(self):
        (self.folder / "logs/odd.txt").write_text("E AndroidRuntime: FATAL EXCEPTION: " + "".join(RUNNING) + "\u202e\x1b\n",
                                                  encoding="utf-8")
        _, address = self.start("logs/odd.txt")
        self.load(address)
        self.assertIn(RUNNING[0], self.one("#lines").text)
        self.assertIsNone(self.script("return window.ran ?? null"))
        self.assertEqual([], self.all("img, svg, main script"))

    def test_strangers_are_refused(self):
        desk, address = self.start("logs/java_crash.txt")
        url = urllib.parse.urlparse(address)
        token = url.path.strip("/")

        def status(path, method="GET", **headers):
            connection = http.client.HTTPConnection("127.0.0.1", url.port)
            connection.request(method, path, headers=headers)
            result = connection.getresponse().status
            connection.close()
            return result

        cases = (("", 200, {}), ("story?log=0", 200, {}), ("story?log=1", 404, {}), ("story?log=-1", 404, {}),
                 ("verdicts?log=0&line=0", 404, {}), ("suggest?log=0&first=1", 404, {}),
                 ("suggest?log=2&first=1&last=2", 404, {}), ("../../etc/passwd", 404, {}), ("match_rule.json", 404, {}),
                 ("", 403, {"Host": "evil.example"}), ("", 403, {"Host": f"evil.example:{url.port}"}),
                 ("", 403, {"Origin": "http://evil.example"}), ("edit?file=0&line=1", 404, {"method": "POST"}))
        for path, expected, headers in cases:
            with self.subTest(path=path, **headers):
                self.assertEqual(expected, status(f"/{token}/{path}", **headers))
        for path in ("/", "/story?log=0", f"/{'0' * len(token)}/", f"/{token}", f"/x{token}/"):
            self.assertEqual(403, status(path), path)
        second = subprocess.run([PROGRAM, "live", "logs/java_crash.txt", "--config", "rules", "--port", str(url.port)],
                                cwd=self.folder, check=False, capture_output=True, text=True)
        self.assertEqual((2, True), (second.returncode, "it is in use" in second.stderr))
        inodes = {line.split()[9] for line in pathlib.Path("/proc/net/tcp").read_text().splitlines()[1:]
                  if line.split()[1].endswith(f":{url.port:04X}") and line.split()[3] == "0A"
                  and not line.split()[1].startswith("0100007F")}
        self.assertEqual(set(), inodes, "no other address is listened at")


if __name__ == "__main__":
    AXE = pathlib.Path(sys.argv.pop()).read_text(encoding="utf-8")
    PROGRAM = os.path.abspath(sys.argv.pop())
    unittest.main()

#!/usr/bin/python3
"""usage: pages_test.py PROGRAM

Loads the pages that kestrix explain and diff make into a headless Chromium and uses them as a reader would.
"""
import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

from selenium import webdriver
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import WebDriverWait

EXAMPLES = pathlib.Path(__file__).resolve().parents[2] / "examples"
EVENTS = ("app_not_responding", "java_crash", "kernel_panic", "native_crash")

# What a page would run if it took text for markup; each sets window.ran.
RUNNING = ("<script>window.ran = 1</script>", "<img src=x onerror=\"window.ran = 2\">",
           "</script><script>window.ran = 3</script>", "<!--<script>window.ran = 4</script>-->",
           "<svg onload=\"window.ran = 5\">", "\u2028window.ran = 6;//", "${window.ran = 7}")

# Whether an element begins where its pane shows it, not behind what stands fast above it.
IS_IN_VIEW = """
  const box = arguments[0].getBoundingClientRect();
  const pane = arguments[0].closest("#lines, #story").getBoundingClientRect();
  const card = document.getElementById("selection").getBoundingClientRect();
  const top = arguments[0].closest("#story") && card.height ? card.bottom : pane.top;
  return box.height > 0 && box.top >= top - 1 && box.top < Math.min(pane.bottom, innerHeight);"""


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
        options = Options()
        for argument in ("--headless=new", f"--user-data-dir={cls.scratch}/profile", "--window-size=1280,900",
                         "--disable-dev-shm-usage"):
            options.add_argument(argument)
        if os.geteuid() == 0:
            options.add_argument("--no-sandbox")
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        cls.browser = webdriver.Chrome(service=Service(shutil.which("chromedriver")), options=options)
        cls.addClassCleanup(cls.browser.quit)

    def tearDown(self):
        self.assertEqual([], self.browser.get_log("browser"), "the browser complains")

    def run_program(self, *arguments, status=0):
        page = self.scratch / "page.html"
        page.unlink(missing_ok=True)
        command = [PROGRAM, *arguments, "--format", "html", "-o", page]
        self.assertEqual(status, subprocess.run(command, check=False).returncode)
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

    def open(self, page, selected=""):
        self.browser.get("about:blank")  # else only the hash might change
        self.browser.get(f"{page.as_uri()}#{selected}")

    def run_script(self, script, *arguments):
        return self.browser.execute_script(script, *arguments)

    def all(self, selector):
        return self.browser.find_elements(By.CSS_SELECTOR, selector)

    def one(self, selector):
        found = self.all(selector)
        self.assertEqual(1, len(found), selector)
        return found[0]

    def texts(self):
        return self.run_script(
            "return [...document.querySelectorAll('.line .text')].map((text) => text.firstChild?.data ?? '')")

    def hash(self):
        return self.run_script("return location.hash")

    def picked(self, selector, key):
        """The one highlighted element for a hash, once the page has taken it in."""
        WebDriverWait(self.browser, 10).until(
            lambda _: self.hash() == key and self.all(selector), f"{key} is not selected in {selector}")
        element = self.one(selector)
        self.assertTrue(self.run_script(IS_IN_VIEW, element), f"{key}: not in view")
        return element

    def click(self, element):
        self.run_script("arguments[0].scrollIntoView({block: 'center'})", element)
        element.click()


class Examples(Page):
    def test_lines_and_rules_lead_to_each_other(self):
        for event in EVENTS:
            log = EXAMPLES / "logs" / f"{event}.txt"
            page = self.make(log, EXAMPLES / "rules", event)
            with self.subTest(event):
                self.open(page)
                self.assertEqual(log.read_text(encoding="utf-8").splitlines(), self.texts())
                marked = self.all(".line.marked")
                self.assertTrue(marked)
                for row in marked:
                    chips = {chip.get_attribute("hash") for chip in row.find_elements(By.CSS_SELECTOR, ".chip")}
                    self.click(row.find_element(By.CSS_SELECTOR, ".number"))
                    self.picked(".line.picked", "#line-" + row.get_attribute("data-line"))
                    linked = {"#" + rule.get_attribute("data-key") for rule in self.all("article.linked")}
                    self.assertLessEqual(chips, linked)
                    self.assertTrue(self.run_script(IS_IN_VIEW, self.all("#story .linked")[0]))
                for rule in self.all("article h3 a"):
                    key = rule.get_attribute("hash")
                    self.click(rule)
                    self.picked("article.picked", key)
                    lines = self.run_script("return items.get(arguments[0].slice(1)).lines", key)
                    if lines:
                        row = self.one(".line.picked")
                        self.assertEqual(str(lines[0]), row.get_attribute("data-line"))
                        self.assertTrue(self.run_script(IS_IN_VIEW, row))

    def test_story_is_that_of_the_library(self):
        event = "java_crash"
        expected = json.loads((EXAMPLES / "expected" / f"{event}.json").read_text(encoding="utf-8"))
        self.open(self.make(EXAMPLES / "logs" / f"{event}.txt", EXAMPLES / "rules", event))
        table = self.all("#sections table")[0]
        shown = self.run_script("""
          const rows = [...arguments[0].rows].map((row) => [...row.cells].map((cell) => cell.textContent));
          return Object.fromEntries(rows);""", table)
        self.assertEqual({key: value if isinstance(value, str) else "\n".join(value)
                          for key, value in expected.items()}, shown)
        header = self.one("header").text
        for key in ("FST_FRAME", "SEC_FRAME", "LAST_FRAME", "FINGERPRINT"):
            self.assertIn(expected[key], header)
        self.click(next(link for link in table.find_elements(By.TAG_NAME, "a") if link.text == "ROOT_CAUSE"))
        self.picked("article.picked", "#template-0-5")
        self.assertEqual(["31"], [row.get_attribute("data-line") for row in self.all(".line.picked")])
        self.click(self.one("[data-key=frame-12] a"))
        self.assertIn("is in the stack: kept", self.one("#selection").text)

    def test_address_keeps_the_selection(self):
        page = self.make(EXAMPLES / "logs" / "java_crash.txt", EXAMPLES / "rules", "java_crash")
        self.open(page, "rule-0-4")
        self.picked("article.picked", "#rule-0-4")
        self.one(".line[data-line='12'] .number").send_keys(Keys.ENTER)
        self.picked(".line.picked", "#line-12")
        self.browser.refresh()
        self.picked(".line.picked", "#line-12")
        self.browser.back()
        self.picked("article.picked", "#rule-0-4")

    def test_narrow_window(self):
        self.addCleanup(self.browser.set_window_size, 1280, 900)
        self.browser.set_window_size(500, 900)
        self.open(self.make(EXAMPLES / "logs" / "java_crash.txt", EXAMPLES / "rules", "java_crash"), "line-31")
        self.picked(".line.picked", "#line-31")
        self.assertTrue(self.run_script(IS_IN_VIEW, self.one("article.linked[data-key=rule-0-4]")))
        self.assertLessEqual(self.run_script("return document.documentElement.scrollWidth"), 500)


    def test_run_that_reads_another_log(self):
        self.make_own([b"one", b"two"], "one")  # for the log
        frames, sections = rules("own", "two")
        frames["featureFrame"].update(dirOrFile=str(self.scratch / "log"), subcataLog="")
        frames["featureFrame2"] = dict(rules("own", "three")[0]["featureFrame"], featureId="F_own_2",
                                       dirOrFile=str(self.scratch), subcataLog="other")
        sections["own"]["F_own_2"] = {"T": "r0three.v_line"}
        config = self.write_rules("rules", (frames, sections))
        (self.scratch / "other").write_bytes(b"zero\nthree\n")
        self.open(self.make(os.path.relpath(self.scratch / "other"), config, "own", "--check-path"))
        self.assertEqual(["zero", "three"], self.texts())
        for key, texts in (("rule-0-0", ["one", "two"]), ("rule-1-0", ["zero", "three"])):
            self.click(self.one(f"article h3 a[href='#{key}']"))
            self.picked("article.picked", "#" + key)
            self.assertEqual(texts, self.texts())
            self.assertEqual("2", self.one(".line.picked").get_attribute("data-line"))


class Hostile(Page):
    def test_text_never_runs(self):
        lines = [f"{i} {text}".encode() for i, text in enumerate(RUNNING)]
        lines.append(b"\xff\xc3 \xed\xa0\x80 <script>\0\x1b[31m\r")
        self.open(self.make_own(lines, *RUNNING))
        expected = [f"{i} {text}" for i, text in enumerate(RUNNING)]
        expected.append("\ufffd\ufffd \ufffd\ufffd\ufffd <script>\u2400\u241b[31m")
        self.assertEqual(expected, self.texts())
        self.assertGreater(len(self.all(".line.marked")), 4)
        for key in self.run_script("return [...items.keys(), ...[1, 2, 3, 4, 5, 6, 7].map((line) => `line-${line}`)]"):
            self.run_script("select(arguments[0])", key)
        self.assertEqual([], self.all("img, svg, header script, main script"))
        self.assertEqual(2, len(self.all("script")))
        self.assertIsNone(self.run_script("return window.ran ?? null"))

    def test_text_never_runs_in_a_comparison(self):
        self.make_own([text.encode() for text in RUNNING], *RUNNING)
        before = self.write_rules("before", rules("own", "window"))
        self.open(self.run_program("diff", "--old", before, "--new", self.scratch / "rules", "--event", "own",
                                   self.scratch / "log", status=1))
        self.assertIn(RUNNING[0], self.one("body").text)
        self.assertEqual([], self.all("script, img, svg"))
        self.assertIsNone(self.run_script("return window.ran ?? null"))

    def test_policy_lets_nothing_else_run(self):
        self.open(self.make_own([b"x"], "x"))
        self.run_script("""
          const script = document.createElement("script");
          script.textContent = "window.ran = 1";
          document.body.append(script);
          const image = document.createElement("img");
          image.src = "data:image/gif;base64,R0lGODlhAQABAAAAACw=";
          document.body.append(image);""")
        self.assertIsNone(self.run_script("return window.ran ?? null"))
        complaints = " ".join(entry["message"] for entry in self.browser.get_log("browser"))
        self.assertIn("script-src", complaints)
        self.assertIn("img-src", complaints)

    def test_logs_without_lines_and_runs(self):
        empty = self.scratch / "empty"
        empty.touch()
        self.open(self.make(empty, EXAMPLES / "rules", "java_crash", status=1), "line-1")
        self.assertIn("empty", self.one("#lines").text)
        self.open(self.make(EXAMPLES / "logs" / "java_crash.txt", EXAMPLES / "rules", "no_such_type", status=1))
        self.assertEqual(41, len(self.all(".line")))
        self.assertIn("nothing found", self.one("header").text)


class Large(Page):
    def elements(self):
        return self.run_script("return document.querySelectorAll('*').length")

    def test_100000_lines(self):
        lines = [b"line %d of a log that goes on and on, with text to fill it up" % i for i in range(1, 100001)]
        for i in range(20000, 90000, 5):
            lines[i - 1] += b" hit"
        lines[10] = b"head"
        lines[95000 - 1] = b"rare"
        self.open(self.make_own(lines, "head", "hit", "rare", skip=100000))
        self.assertLess(self.elements(), 10000)
        self.assertIn("100,000 lines", self.one("#log-note").text)
        self.assertTrue(self.all(".line[data-line='95000'].marked"))
        before = len(self.all(".line"))
        for place in (0, -1):
            self.click(self.all(".fold button")[place])
        self.assertEqual(before + 400, len(self.all(".line")))
        self.one("#wanted").send_keys("60123", Keys.ENTER)
        self.picked(".line.picked", "#line-60123")
        self.one("#wanted").clear()
        self.one("#wanted").send_keys("LINE 77777 of", Keys.ENTER)
        self.picked(".line.picked", "#line-77777")
        self.one("#wanted").send_keys("!", Keys.ENTER)
        self.assertEqual("not found", self.one("#found").text)
        self.assertLess(self.elements(), 12000)

    def test_largest_log(self):
        lines = [b"x" * 1023] * (32 * 1024)
        lines[10] = b"head"
        lines[20000 - 1] = b"rare"
        lines[5] = lines[0] * 10
        del lines[-10:]
        page = self.make_own(lines, "head", "rare", skip=100000)
        self.assertLess(page.stat().st_size, 1000000)
        self.open(page, "line-20000")
        self.picked(".line.picked", "#line-20000")
        self.assertIn("The log is large", self.one("#log-note").text)
        self.assertIn("bytes more", self.one(".line[data-line='6']").text)
        self.assertIn("not in this page", self.one("#lines").text)


if __name__ == "__main__":
    PROGRAM = os.path.abspath(sys.argv.pop())
    unittest.main()

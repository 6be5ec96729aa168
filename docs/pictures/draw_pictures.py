#!/usr/bin/python3
"""usage: draw_pictures.py PROGRAM FOLDER [--all]

Draws each page that the program makes of the example logs and rules, as a PNG in FOLDER. --all draws them as people
see them: in a wide and in a narrow window, light and dark.
"""
import contextlib
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

from selenium import webdriver
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.support.ui import WebDriverWait

EXAMPLES = pathlib.Path(__file__).resolve().parents[2] / "examples"
METHODS = ("parseHeight", "parseTime", "parseHeight", "parseDate", "parseHeight", "skipHeader", "parseHeight")


def write_logs(folder):
    """The example logs, some of them as they would come from many devices."""
    shutil.copytree(EXAMPLES / "logs", folder / "logs")
    crash = (EXAMPLES / "logs/java_crash.txt").read_text(encoding="utf-8")
    tombstone = (EXAMPLES / "logs/native_crash.txt").read_text(encoding="utf-8")
    (folder / "fleet").mkdir()
    for i in range(36):
        text = crash.replace("parseHeight", METHODS[i % len(METHODS)]).replace("7421", str(7000 + 13 * i))
        if i % 9 == 4:
            text = text.replace("FATAL EXCEPTION", "FATAL exception")  # which no rule knows
        (folder / f"fleet/crash_{i:02}.txt").write_text(text, encoding="utf-8")
    for i in range(8):
        (folder / f"fleet/tombstone_{i:02}.txt").write_text(tombstone, encoding="utf-8")


def edit_rules(folder):
    """A later state of the rules, in which a keyword is misspelt and the stack takes fewer frames."""
    shutil.copytree(EXAMPLES / "rules", folder / "rules")
    shutil.copytree(EXAMPLES / "rules", folder / "edited")
    match = folder / "edited/match_rule.json"
    text = match.read_text(encoding="utf-8").replace("Process: @&@, PID: ", "process: @&@, PID: ", 1)
    frame = r"\\bat [^ ()]+\\([^()]*\\)|Caused"
    match.write_text(text.replace(frame, r"\\bat [^ ()]+chart[^()]+\\([^()]*\\)|Caused", 1), encoding="utf-8")


class Painter:
    def __init__(self, program, folder):
        self.program = program
        self.folder = folder
        options = Options()
        for argument in ("--headless=new", f"--user-data-dir={folder}/profile", "--hide-scrollbars",
                         "--disable-dev-shm-usage", "--force-color-profile=srgb"):
            options.add_argument(argument)
        if os.geteuid() == 0:
            options.add_argument("--no-sandbox")
        self.browser = webdriver.Chrome(service=Service(shutil.which("chromedriver")), options=options)

    def run(self, *arguments, stdin=None):
        return subprocess.run([self.program, *arguments], cwd=self.folder, input=stdin, check=False,
                              stdout=subprocess.PIPE).stdout

    def page(self, name, *arguments, stdin=None):
        self.run(*arguments, "--format", "html", "-o", f"{name}.html", stdin=stdin)
        return (self.folder / f"{name}.html").as_uri()

    def wait(self, condition):
        WebDriverWait(self.browser, 20, 0.05).until(lambda browser: browser.execute_script(f"return {condition}"))

    @contextlib.contextmanager
    def live(self):
        """The address of a live page; its rules are edited as soon as it is there."""
        rules = self.folder / "rules"
        shutil.copytree(EXAMPLES / "rules", rules, dirs_exist_ok=True)
        logs = [f"logs/{log.name}" for log in sorted((self.folder / "logs").iterdir())]
        desk = subprocess.Popen([self.program, "live", *logs, "--config", "rules"], cwd=self.folder, text=True,
                                stdout=subprocess.PIPE)
        try:
            self.browser.get(desk.stdout.readline().strip())
            self.wait("document.documentElement.dataset.settled")
            self.browser.execute_script("document.querySelectorAll('#logs button')[1].click()")
            self.wait("story.log.includes('java_crash')")
            shutil.copy(self.folder / "edited/match_rule.json", rules)
            self.wait("document.querySelector('#logs .tag.warn')")
            yield
        finally:
            self.browser.get("about:blank")
            desk.kill()
            desk.wait()
            desk.stdout.close()

    def look(self, width, height, scheme):
        self.browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
            "width": width, "height": height, "deviceScaleFactor": 1, "mobile": width < 500})
        self.browser.execute_cdp_cmd("Emulation.setEmulatedMedia", {
            "features": [{"name": "prefers-color-scheme", "value": scheme},
                         {"name": "prefers-reduced-motion", "value": "reduce"}]})

    def draw(self, path):
        self.browser.execute_async_script("requestAnimationFrame(() => requestAnimationFrame(arguments[0]))")
        self.browser.save_screenshot(str(path))


def main():
    program, target = os.path.abspath(sys.argv[1]), pathlib.Path(sys.argv[2])
    draws_all = "--all" in sys.argv[3:]
    views = [(width, height, scheme) for width, height in ((1440, 900), (390, 844)) for scheme in ("light", "dark")]
    with tempfile.TemporaryDirectory() as scratch:
        folder = pathlib.Path(scratch)
        write_logs(folder)
        edit_rules(folder)
        painter = Painter(program, folder)

        java = ["--config", "rules", "--event", "java_crash"]
        lines = painter.run("batch", "fleet", *java)
        pages = {
            "explain": painter.page("explain", "explain", "logs/java_crash.txt", *java) + "#key-ROOT_CAUSE",
            "diff": painter.page("diff", "diff", "--explain", "pages", "--old", "rules", "--new", "edited", "--event", "java_crash", "fleet"),
            "groups": painter.page("groups", "groups", stdin=lines),
            "coverage": painter.page("coverage", "coverage", "fleet", *java),
        }
        try:
            for view in views if draws_all else [(1280, 800, "light")]:
                suffix = f"-{view[0]}-{view[2]}" if draws_all else ""
                painter.look(*view)
                for name, address in pages.items():
                    painter.browser.get("about:blank")
                    painter.browser.get(address)
                    painter.draw(target / f"{name}{suffix}.png")
                with painter.live():
                    painter.draw(target / f"live{suffix}.png")
        finally:
            painter.browser.quit()


if __name__ == "__main__":
    main()

"""The browser in which pages are tried."""
import os
import shutil

from selenium import webdriver
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service


def start_browser(scratch):
    """A Chromium without a window, whose profile lies in the folder and whose console can be read."""
    options = Options()
    for argument in ("--headless=new", f"--user-data-dir={scratch}/profile", "--window-size=1280,900",
                     "--disable-dev-shm-usage"):
        options.add_argument(argument)
    if os.geteuid() == 0:
        options.add_argument("--no-sandbox")
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    return webdriver.Chrome(service=Service(shutil.which("chromedriver")), options=options)

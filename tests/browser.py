"""Debian's chromium without a window."""

import os
import shutil

BOUND = 60  # seconds after which a page that does not load has failed


def why_not():
    """Why there is no browser here; empty where there is one."""
    try:
        import selenium  # noqa: F401
    except ImportError:
        return "no selenium (package python3-selenium)"
    for program in ("chromium", "chromedriver"):
        if not shutil.which(program):
            return f"no {program} (packages chromium, chromium-driver)"
    return ""


def start():
    from selenium import webdriver
    from selenium.webdriver.chrome.service import Service

    options = webdriver.ChromeOptions()
    options.binary_location = shutil.which("chromium")
    arguments = ["--headless=new", "--disable-gpu", "--disable-dev-shm-usage", "--window-size=1400,900",
                 "--force-device-scale-factor=1", "--disable-background-networking"]
    if os.geteuid() == 0:
        arguments.append("--no-sandbox")  # chromium's own sandbox refuses root
    for argument in arguments:
        options.add_argument(argument)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    driver = webdriver.Chrome(service=Service(shutil.which("chromedriver")), options=options)
    driver.set_page_load_timeout(BOUND)
    driver.set_script_timeout(BOUND)
    return driver

"""A browser without a window, and pages that `mrp replay` made.

Nothing here waits for a time to pass: a page is ready when it has loaded, and what a test does to it
is done when the call returns.
"""

import json
import os
import subprocess
import sys

import pytest

sys.path.insert(0, os.path.join(os.path.dirname(__file__), ".."))
import browser

ROOT = os.path.abspath(os.path.join(os.path.dirname(__file__), "../.."))
MRP = os.environ.get("MRP", os.path.join(ROOT, "build/bin/mrp"))


def pytest_collection_modifyitems(items):
    reason = browser.why_not()
    if reason:
        for item in items:
            item.add_marker(pytest.mark.skip(reason=reason))


@pytest.fixture(scope="session")
def chromium():
    driver = browser.start()
    yield driver
    driver.quit()


class Replay:
    """One run: its page, its lines as JSON and its text."""

    def __init__(self, folder, inputs, options):
        self.page = os.path.join(folder, "page.html")
        environment = {**os.environ, "DISABLE_LEAVE_ALL_RANDOMIZATION": "1"}

        def mrp(*more):
            return subprocess.run([MRP, "replay", *inputs, *options, *more], check=True, cwd=ROOT, env=environment,
                                  capture_output=True, text=True).stdout

        lines = mrp("--json", "--html", self.page).splitlines()
        *self.lines, self.state = [json.loads(line) for line in lines]
        self.text = lambda: mrp()


@pytest.fixture
def replay(tmp_path):
    return lambda inputs, *options: Replay(tmp_path, [inputs], options)


class Page:
    def __init__(self, driver, url):
        self.driver = driver
        driver.get(url)
        assert self.js("return document.documentElement.dataset.ready") == "true", self.errors()
        self.canvas = driver.find_element("id", "picture")

    def js(self, script, *arguments):
        return self.driver.execute_script(script, *arguments)

    def errors(self):
        return [entry["message"] for entry in self.driver.get_log("browser")]

    def drawn(self, kind):
        return self.js("return mrpPage.drawn().filter((one) => one.kind === arguments[0])", kind)

    def look(self, begin, end):
        """Puts seconds into view."""
        self.js("mrpPage.view.timeIs(arguments[0] * 1e9, arguments[1] * 1e9); mrpPage.app.moved()", begin, end)

    def mouse(self, x, y, click=False):
        """Moves the pointer to a place of the picture."""
        from selenium.webdriver import ActionChains

        size = self.canvas.size
        chain = ActionChains(self.driver, duration=0).move_to_element_with_offset(
            self.canvas, round(x - size["width"] / 2), round(y - size["height"] / 2))
        (chain.click() if click else chain).perform()

    def press(self, *keys):
        from selenium.webdriver import ActionChains

        for key in keys:
            ActionChains(self.driver).send_keys(key).perform()

    def text(self, element):
        return self.js("return document.getElementById(arguments[0]).innerText", element)


@pytest.fixture
def page(chromium):
    opened = []

    def show(replayed):
        opened.append(Page(chromium, "file://" + replayed.page))
        return opened[-1]

    yield show
    for one in opened:
        assert one.errors() == []

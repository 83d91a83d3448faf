#!/usr/bin/env python3
"""The page of an estimate, opened in a headless browser.

  page_test.py REPORT.html HOSTILE.html EDITS.html    prints "ok NAME" or "FAILED NAME: why" for each test
  page_test.py --make-hostile-folders DIR  makes the tree of the second page

The first page is that of a tree with the folders docs (with deep in it) and pictures, from
which a rule leaves the folder out. The second one is that of folders whose names try to be
more than names. The third one is the first one after an edit that leaves out the folder
pictures. Needs chromedriver and Chromium.
"""

import http.client
import json
import pathlib
import re
import subprocess
import sys
import tempfile

START_LIMIT = 60  # seconds
HOSTILE_NAMES = [
    "&lt;img src=x onerror=document.title=1&gt;",
    "${document.title=1}",
    "';document.title=1;'",
    "`+(document.title=1)+`",
    "javascript_document.title=1",
    "\u202egpj.exe",
    "\u2028document.title=1",
]
ARGUMENTS = [
    "--headless", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--disable-quic", "--no-first-run",
    "--disable-background-networking", "--disable-component-update", "--disable-sync", "--window-size=1200,900",
]


class Browser:
    """One session of a chromedriver of its own."""

    def __init__(self, profile):
        self.driver = subprocess.Popen(["chromedriver", "--port=0"], stdout=subprocess.PIPE, text=True)
        for line in self.driver.stdout:
            started = re.search(r"started successfully on port (\d+)", line)
            if started:
                break
        else:
            raise RuntimeError("chromedriver did not start")
        self.port = int(started.group(1))
        options = {"args": ARGUMENTS + [f"--user-data-dir={profile}"]}
        wanted = {"goog:chromeOptions": options, "goog:loggingPrefs": {"browser": "ALL"}}
        self.session = ""
        made = self.call("POST", "/session", {"capabilities": {"alwaysMatch": wanted}})
        self.session = "/session/" + made["sessionId"]

    def call(self, method, path, body=None):
        connection = http.client.HTTPConnection("localhost", self.port, timeout=START_LIMIT)
        connection.request(method, self.session + path, json.dumps(body) if body is not None else None)
        answer = json.loads(connection.getresponse().read())["value"]
        if isinstance(answer, dict) and "error" in answer:
            raise RuntimeError(answer["message"])
        return answer

    def close(self):
        try:
            if self.session:
                self.call("DELETE", "")
        finally:
            self.driver.terminate()
            self.driver.wait(START_LIMIT)

    def run(self, script):
        return self.call("POST", "/execute/sync", {"script": script, "args": []})

    def click(self, css):
        element = self.call("POST", "/element", {"using": "css selector", "value": css})
        self.call("POST", f"/element/{next(iter(element.values()))}/click", {})

    def texts(self, css):
        return self.run(f"return [...document.querySelectorAll({json.dumps(css)})].map(found => found.textContent)")

    def scheme(self, name):
        media = {"features": [{"name": "prefers-color-scheme", "value": name}]}
        self.call("POST", "/goog/cdp/execute", {"cmd": "Emulation.setEmulatedMedia", "params": media})

    def size(self, width, height):
        self.call("POST", "/window/rect", {"width": width, "height": height})


def expect(got, wanted):
    if got != wanted:
        raise AssertionError(f"got {got!r}, wanted {wanted!r}")


def it_draws_without_errors_and_asks_no_network(browser):
    expect([entry["message"] for entry in browser.call("POST", "/se/log", {"type": "browser"})], [])
    expect(browser.run("return performance.getEntriesByType('resource').length"), 0)
    expect(sorted(browser.texts("#map .tile .name")), ["docs", "pictures"])


def the_tiles_fill_the_map_without_lying_over_each_other(browser):
    boxes = browser.run("""return [...document.querySelectorAll('#map .tile')].map(tile => {
        const box = tile.getBoundingClientRect(); return [box.left, box.top, box.right, box.bottom]; })""")
    area = sum((right - left) * (bottom - top) for left, top, right, bottom in boxes)
    whole = browser.run("const map = document.getElementById('map'); return map.clientWidth * map.clientHeight")
    expect(abs(area - whole) < whole * 0.01, True)
    for i, one in enumerate(boxes):
        for other in boxes[:i]:
            apart = one[0] >= other[2] - 1 or other[0] >= one[2] - 1 or one[1] >= other[3] - 1 or other[1] >= one[3] - 1
            expect(apart, True)


def a_click_into_a_folder_shows_what_is_in_it(browser):
    browser.click("#map .tile[title^='docs']")
    expect(browser.texts("#path [aria-current]"), ["docs"])
    expect(sorted(browser.texts("#map .tile .name")), ["deep", "files and smaller folders"])
    expect(sorted(browser.texts("#table tbody tr td:first-child")), ["deep", "files and smaller folders"])


def escape_and_the_path_lead_back(browser):
    browser.click("#map .tile[title^='docs']")
    browser.run("dispatchEvent(new KeyboardEvent('keydown', {key: 'Escape'}))")
    expect(sorted(browser.texts("#map .tile .name")), ["docs", "pictures"])
    browser.click("#path button")
    expect(browser.texts("#path [aria-current]"), ["All drives"])


def the_table_is_sorted_by_the_column_that_is_clicked(browser):
    names = "#table tbody td:first-child"
    expect(browser.texts(names), ["pictures", "docs"])
    browser.click("#table th:first-child button")
    expect(browser.texts(names), ["docs", "pictures"])
    browser.click("#table th:first-child button")
    expect(browser.texts(names), ["pictures", "docs"])
    browser.click("#table th:nth-child(2) button")
    expect(browser.texts("#table th[aria-sort='descending']"), ["Files"])
    expect(browser.texts(names), ["docs", "pictures"])


def the_rule_that_leaves_something_out_is_named(browser):
    browser.click("#tabs button:nth-child(3)")
    rules = browser.texts("#table tbody td:first-child")
    expect(len(rules), 1)
    expect(rules[0].startswith("exclude ") and rules[0].endswith("out\\"), True)


def tiles_have_the_colour_of_the_kind_that_takes_the_most_room(browser):
    expect(browser.texts("#legend > span"), ["documents", "pictures"])
    colours = browser.run("""return ['docs', 'pictures'].map(name => getComputedStyle(
        document.querySelector(`#map .tile[title^='${name}']`)).backgroundColor)""")
    expect(colours[0] != colours[1], True)
    swatches = browser.run("""return [...document.querySelectorAll('#legend .swatch')].map(swatch =>
        swatch.style.getPropertyValue('--hue'))""")
    tiles = browser.run("""return ['docs', 'pictures'].map(name =>
        document.querySelector(`#map .tile[title^='${name}']`).style.getPropertyValue('--hue'))""")
    expect(tiles, swatches)


def a_nested_tile_has_its_size(browser):
    expect("deep200 B" in browser.texts("#map .tile i"), True)


def the_bars_of_a_table_stand_below_each_other(browser):
    for tab in (1, 2):
        browser.click(f"#tabs button:nth-child({tab})")
        lefts = browser.run("""return [...document.querySelectorAll('#table td .bar')].map(bar =>
            Math.round(bar.getBoundingClientRect().left))""")
        expect(len(lefts) > 1, True)
        expect(len(set(lefts)), 1)


def edits_are_in_the_headline_and_near_the_top_with_what_they_change(browser):
    browser.call("POST", "/url", {"url": pathlib.Path(sys.argv[3]).resolve().as_uri()})
    expect(browser.texts("h1"), ["What the selection would hold with one edit"])
    expect(browser.texts("#edits tr:first-child td")[0], "the selection as it is")
    edit = browser.texts("#edits tr:last-child td")
    expect(edit[0].startswith("without ") and edit[0].endswith("pictures\\"), True)
    expect(edit[3], "\u22122.93 KiB")
    expect(browser.run("""return document.getElementById('edits').getBoundingClientRect().top <
        document.getElementById('map').getBoundingClientRect().top"""), True)


def what_an_edit_leaves_out_is_no_rule(browser):
    browser.call("POST", "/url", {"url": pathlib.Path(sys.argv[3]).resolve().as_uri()})
    browser.click("#tabs button:nth-child(3)")
    rows = browser.texts("#table tbody td:first-child")
    expect(sorted(row.startswith("edit") for row in rows), [False, True])


def it_says_that_advanced_filters_are_not_asked(browser):
    expect("advanced filters are not asked" in browser.texts("#about")[0], True)


def it_follows_light_and_dark(browser):
    def background():
        return browser.run("return getComputedStyle(document.body).backgroundColor")

    browser.scheme("light")
    light = background()
    browser.scheme("dark")
    expect(background() != light, True)


def nothing_sticks_out_of_a_small_window(browser):
    browser.size(500, 800)
    expect(browser.run("return document.documentElement.scrollWidth <= document.documentElement.clientWidth"), True)
    expect(browser.run("return document.querySelectorAll('#map .tile').length"), 2)


def hostile_names_are_nothing_but_names(browser):
    browser.call("POST", "/url", {"url": pathlib.Path(sys.argv[2]).resolve().as_uri()})
    expect([entry["message"] for entry in browser.call("POST", "/se/log", {"type": "browser"})], [])
    expect(browser.run("return document.title") == "1", False)
    expect(browser.run("return document.querySelectorAll('img, iframe, a[href^=javascript]').length"), 0)
    expect(sorted(browser.texts("#table tbody tr td:first-child")), sorted(HOSTILE_NAMES))
    expect(sorted(browser.texts("#map .tile .name")), sorted(HOSTILE_NAMES))


def make_hostile_folders(place):
    for name in HOSTILE_NAMES:
        folder = pathlib.Path(place) / name
        folder.mkdir(parents=True)
        (folder / "file.bin").write_bytes(bytes(1000))


TESTS = [
    it_draws_without_errors_and_asks_no_network,
    the_tiles_fill_the_map_without_lying_over_each_other,
    a_click_into_a_folder_shows_what_is_in_it,
    escape_and_the_path_lead_back,
    the_table_is_sorted_by_the_column_that_is_clicked,
    the_rule_that_leaves_something_out_is_named,
    tiles_have_the_colour_of_the_kind_that_takes_the_most_room,
    a_nested_tile_has_its_size,
    the_bars_of_a_table_stand_below_each_other,
    edits_are_in_the_headline_and_near_the_top_with_what_they_change,
    what_an_edit_leaves_out_is_no_rule,
    it_says_that_advanced_filters_are_not_asked,
    it_follows_light_and_dark,
    nothing_sticks_out_of_a_small_window,
    hostile_names_are_nothing_but_names,
]


def main():
    if sys.argv[1] == "--make-hostile-folders":
        make_hostile_folders(sys.argv[2])
        return 0
    page = pathlib.Path(sys.argv[1]).resolve().as_uri()
    failed = 0
    with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as profile:
        browser = Browser(profile)
        try:
            for test in TESTS:
                try:
                    browser.size(1200, 900)
                    browser.call("POST", "/url", {"url": page})
                    test(browser)
                    print("ok", test.__name__)
                except (AssertionError, RuntimeError, StopIteration) as why:
                    failed += 1
                    print(f"FAILED {test.__name__}: {why}")
        finally:
            browser.close()
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())

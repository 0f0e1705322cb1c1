# SPDX-License-Identifier: MIT
"""Checks reports of a blind scan in a headless Chromium, as a person would use them.

usage: report_page_check.py [--states] PAGE...

Prints a line for every property; exits with 1 if one of them is not as it should be. With --states
the pages must hold found, missed and unexpected transponders.
"""

import argparse
import json
import pathlib
import re
import sys
import tempfile

from selenium import webdriver
from selenium.common.exceptions import TimeoutException
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.actions.wheel_input import ScrollOrigin
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import WebDriverWait

STATES = ("found", "missed", "unexpected")


class Check:
    """One page in the browser, and what was wrong with it."""

    def __init__(self, driver, path):
        self.driver = driver
        self.path = path
        self.failures = 0
        driver.get("about:blank")
        for log in ("browser", "performance"):  # of the browser's own first page
            driver.get_log(log)
        self.open()

    def open(self):
        self.driver.get(self.path.resolve().as_uri())

    def expect(self, what, condition, details=""):
        if condition:
            return
        self.failures += 1
        print(f"not ok  {self.path.name}: {what}{': ' if details != '' else ''}{details}")

    def script(self, text, *arguments):
        return self.driver.execute_script(text, *arguments)

    def script_within(self, seconds, text, *arguments):
        try:
            return WebDriverWait(self.driver, seconds, 0.05).until(
                lambda driver: driver.execute_script(text, *arguments))
        except TimeoutException:
            return False

    def all(self, selector):
        return self.driver.find_elements(By.CSS_SELECTOR, selector)

    def one(self, selector):
        return self.driver.find_element(By.CSS_SELECTOR, selector)

    # What the page holds.

    def rows(self):
        return self.script("""return [...document.querySelectorAll('tbody tr')].map((row) => ({
            index: Number(row.dataset.index), state: row.className.split(' ')[0],
            leg: Number(row.querySelector('a').getAttribute('href').slice('#leg-'.length)),
            mhz: Number(row.cells[0].dataset.value)}))""")

    def marks(self):
        return self.script("""return [...document.querySelectorAll('g.mark')].map((mark) => ({
            index: Number(mark.dataset.index), state: mark.classList[1],
            leg: Number(mark.closest('figure').dataset.leg), shown: mark.style.display !== 'none',
            x: mark.querySelector('.head').getCTM().e}))""")

    def range(self, leg):
        low, high = self.script(
            "const p = document.querySelectorAll('svg.picture')[arguments[0]].dataset;"
            "return [Number(p.low), Number(p.high)]", leg)
        return low, high


def check_marks(check):
    rows = {row["index"]: row for row in check.rows()}
    marks = check.marks()
    check.expect("there are rows", rows)
    check.expect("as many marks as rows", len(marks) == len(rows), f"{len(marks)}, {len(rows)}")
    check.expect("a mark for every row", {mark["index"] for mark in marks} == set(rows))
    for mark in marks:
        row = rows[mark["index"]]
        same = mark["state"] == row["state"] and mark["leg"] == row["leg"]
        check.expect("row and mark agree", same, f"{mark}, {row}")
    for leg in {row["leg"] for row in rows.values()}:
        low, high = check.range(leg)
        box = check.script(
            "const r = document.querySelector(`#clip-${arguments[0]} rect`).attributes;"
            "return [Number(r.x.value), Number(r.width.value)]", leg)
        for mark in (mark for mark in marks if mark["leg"] == leg):
            x = box[0] + (rows[mark["index"]]["mhz"] - low) / (high - low) * box[1]
            check.expect("a mark stands at its frequency", abs(mark["x"] - x) < 1,
                         f"{rows[mark['index']]['mhz']} MHz at {mark['x']}, not {x}")
            check.expect("all marks are in view at first", mark["shown"], mark)


def natural(text):
    return [(0, int(part), "") if part.isdigit() else (1, 0, part.casefold())
            for part in re.findall(r"\d+|[^\d\W]+", text)]


def check_sorting(check):
    def cells(column):
        return check.script("""return [...document.querySelectorAll('tbody tr')].map((row) => {
            const cell = row.cells[arguments[0]];
            return [Number(row.dataset.index), cell.dataset.value ?? null, cell.textContent]})""",
                            column)

    headers = len(check.all("thead th"))
    for column in range(headers):
        name = check.all("thead th button")[column].text
        numeric = "number" in check.all("thead th")[column].get_attribute("class")
        before = sorted(row[0] for row in cells(column))
        for order, direction in (("ascending", 1), ("descending", -1)):
            check.all("thead th button")[column].click()
            said = [header.get_attribute("aria-sort") for header in check.all("thead th")]
            wanted = [order if i == column else "none" for i in range(headers)]
            check.expect(f"{name}: aria-sort is {order}", said == wanted, said)
            rows = cells(column)
            check.expect(f"{name}: no row is lost", sorted(row[0] for row in rows) == before)
            texts = [row[2] for row in rows]
            filled = [row for row in rows if row[2] != ""]
            check.expect(f"{name}: cells without a value come last", texts[len(filled):] ==
                         [""] * (len(rows) - len(filled)))
            keys = [float(row[1]) if numeric else natural(row[2]) for row in filled]
            check.expect(f"{name}: rows are {order}", keys == sorted(keys, reverse=direction < 0),
                         texts)
    check.expect("a column sorts by numbers", any(
        "number" in header.get_attribute("class") for header in check.all("thead th")))


def check_zoom(check):
    check.open()
    whole = check.range(0)
    picture = check.one("svg.picture")
    section = check.one("section.leg")

    def press(name):
        section.find_element(By.CLASS_NAME, name).click()

    def expect_narrower(how, outer):
        low, high = check.range(0)
        inside = outer[0] - 1e-3 <= low < high <= outer[1] + 1e-3
        narrower = high - low < (outer[1] - outer[0]) * 0.9
        check.expect(f"{how} narrows the range", inside and narrower, f"{low}..{high} of {outer}")

    def expect_whole(how):
        check.expect(f"{how} shows the whole range", check.range(0) == whole, check.range(0))

    press("zoom-in")
    expect_narrower("a button", whole)
    zoomed = check.range(0)
    press("pan-right")
    panned = check.range(0)
    check.expect("a button pans", panned[0] > zoomed[0] and
                 abs((panned[1] - panned[0]) - (zoomed[1] - zoomed[0])) < 1e-3, panned)
    press("pan-left")
    check.expect("a button pans back", check.range(0) == zoomed, check.range(0))
    press("reset")
    expect_whole("the reset button")
    press("zoom-in")
    press("zoom-out")
    expect_whole("zooming out again")

    wheel = ScrollOrigin.from_element(picture)
    ActionChains(check.driver).scroll_from_origin(wheel, 0, -200).perform()
    expect_narrower("the wheel", whole)
    ActionChains(check.driver).double_click(picture).perform()
    expect_whole("a double click")
    ActionChains(check.driver).scroll_from_origin(wheel, 0, -200).perform()
    low, high = check.range(0)
    shown = next(row for row in check.rows() if row["leg"] == 0 and low < row["mhz"] < high)
    head = check.one(f"g.mark[data-index='{shown['index']}'] .head")
    ActionChains(check.driver).double_click(head).perform()
    expect_whole("a double click on a mark")

    width = picture.size["width"]
    ActionChains(check.driver).move_to_element_with_offset(picture, -width // 4, 20) \
        .click_and_hold().move_by_offset(width // 8, 0).move_by_offset(width // 8, 0).release() \
        .perform()
    expect_narrower("dragging a range", whole)
    low, high = check.range(0)
    span = whole[1] - whole[0]
    check.expect("dragging shows the range dragged", abs(high - sum(whole) / 2) < span * 0.03 and
                 abs((high - low) / span - 0.26) < 0.02, (low, high))
    hidden = [mark for mark in check.marks() if mark["leg"] == 0 and not mark["shown"]]
    check.expect("marks outside the range are out of sight", hidden)
    check.expect("there are as many marks when zoomed", len(check.marks()) == len(check.rows()))

    picture.send_keys("0")
    expect_whole("key 0")
    picture.send_keys("+")
    expect_narrower("key +", whole)
    zoomed = check.range(0)
    picture.send_keys(Keys.ARROW_RIGHT)
    check.expect("an arrow key pans", check.range(0)[0] > zoomed[0], check.range(0))
    picture.send_keys("-")
    expect_whole("key -")


def check_links(check):
    check.open()
    first = check.rows()[0]
    row = check.one(f"tr[data-index='{first['index']}']")
    mark = check.one(f"g.mark[data-index='{first['index']}']")

    def has(element, name):
        return name in element.get_attribute("class").split()

    # By its side, away from the link in its first cell.
    ActionChains(check.driver).move_to_element(row.find_elements(By.TAG_NAME, "td")[1]).perform()
    check.expect("hovering over a row lifts its mark", has(mark, "hovered"))
    ActionChains(check.driver).move_to_element(mark.find_element(By.CLASS_NAME, "head")).perform()
    check.expect("hovering over a mark lifts its row", has(row, "hovered"))
    tip = check.one(f"figure[data-leg='{first['leg']}'] .tip")
    check.expect("hovering over a mark tells its frequency",
                 tip.is_displayed() and f"{first['mhz']:.3f} MHz" in tip.text, tip.text)
    ActionChains(check.driver).click().perform()
    check.expect("clicking a mark selects its row",
                 has(row, "selected") and row.get_attribute("aria-current") == "true")
    check.expect("clicking a mark brings its row into view", check.script_within(2, """
        const box = arguments[0].getBoundingClientRect();
        return box.top >= 0 && box.bottom <= innerHeight""", row))

    last = max((r for r in check.rows() if r["leg"] == first["leg"]), key=lambda r: r["mhz"])
    section = check.one(f"#leg-{first['leg']}")
    for _ in range(5):
        section.find_element(By.CLASS_NAME, "zoom-in").click()
    for _ in range(200):
        if not section.find_element(By.CLASS_NAME, "pan-left").is_enabled():
            break
        section.find_element(By.CLASS_NAME, "pan-left").click()
    check.one(f"tr[data-index='{last['index']}']").find_elements(By.TAG_NAME, "td")[1].click()
    low, high = check.range(first["leg"])
    check.expect("clicking a row brings its mark into view", low <= last["mhz"] <= high,
                 f"{last['mhz']} in {low}..{high}")
    check.expect("one row is selected at a time", len(check.all("tr.selected")) == 1 and
                 has(check.one("tr.selected"), "selected") and
                 check.one("tr.selected").get_attribute("data-index") == str(last["index"]))


def check_states(check):
    check.open()
    rows = check.rows()
    counts = {state: sum(row["state"] == state for row in rows) for state in STATES}
    check.expect("found, missed and unexpected ones are there", all(counts.values()), counts)
    looks = {}
    for state in STATES:
        shown = len(check.all(f"g.mark.{state}"))
        check.expect(f"as many {state} marks as rows", shown == counts[state], shown)
        legend = check.one(f".legend .{state} strong").text
        check.expect(f"the legend counts the {state} ones", legend == str(counts[state]), legend)
        if shown:
            looks[state] = check.script("""
                const mark = document.querySelector(`g.mark.${arguments[0]}`);
                const [head, stem] = ['.head', '.stem'].map((part) => mark.querySelector(part));
                return [head.getAttribute('d'), getComputedStyle(head).stroke,
                        getComputedStyle(stem).strokeDasharray]""", state)
    for a, b in (("found", "missed"), ("found", "unexpected"), ("missed", "unexpected")):
        if a in looks and b in looks:
            check.expect(f"{a} and {b} marks differ in outline and colour",
                         looks[a][0] != looks[b][0] and looks[a][1] != looks[b][1], looks)


def luminance(colour):
    def linear(part):
        return part / 12.92 if part <= 0.03928 else ((part + 0.055) / 1.055) ** 2.4

    red, green, blue = (linear(int(part) / 255) for part in re.findall(r"\d+", colour)[:3])
    return 0.2126 * red + 0.7152 * green + 0.0722 * blue


def contrast(a, b):
    high, low = sorted((luminance(a), luminance(b)), reverse=True)
    return (high + 0.05) / (low + 0.05)


def check_colours(check):
    backgrounds = []
    for scheme in ("light", "dark"):
        check.driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {
            "features": [{"name": "prefers-color-scheme", "value": scheme}]})
        colours = check.script("""
            const style = (selector, property) => {
              const element = document.querySelector(selector);
              return element === null ? null : getComputedStyle(element)[property];
            };
            return {page: style('body', 'backgroundColor'),
              card: style('section', 'backgroundColor'),
              text: style('body', 'color'), subtitle: style('.subtitle', 'color'),
              tally: style('.tally', 'color'), scale: style('.picture text', 'fill'),
              found: style('g.found text', 'fill'), missed: style('g.missed text', 'fill'),
              unexpected: style('g.unexpected text', 'fill')}""")
        card = colours.pop("card")
        backgrounds.append(colours.pop("page"))
        for name, colour in colours.items():
            for ground in (card, backgrounds[-1]):
                if colour is not None:
                    ratio = contrast(colour, ground)
                    check.expect(f"{name} can be read on a {scheme} screen", ratio >= 4.5,
                                 f"contrast {ratio:.2f}")
    check.expect("a dark screen gets a dark page", luminance(backgrounds[0]) > 0.5 and
                 luminance(backgrounds[1]) < 0.1, backgrounds)
    check.driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": []})


def check_structure(check):
    check.expect("one main heading", len(check.all("h1")) == 1)
    check.expect("a language", check.one("html").get_attribute("lang") == "en")
    for button in check.all("button"):
        check.expect("a button has a name", button.accessible_name != "")
    for figure in check.all("figure svg.picture"):
        check.expect("a picture has a name", figure.get_attribute("aria-label"))
    identifiers = check.script("return [...document.querySelectorAll('[id]')].map((e) => e.id)")
    check.expect("identifiers are unique", len(identifiers) == len(set(identifiers)), identifiers)


def overlaps(check, selector):
    """Pairs of boxes that overlap in a picture, by more than the blur of a line."""
    return check.script("""
        const pairs = [];
        for (const figure of document.querySelectorAll('figure')) {
            const boxes = [...figure.querySelectorAll(arguments[0])]
                .filter((element) => getComputedStyle(element).visibility !== 'hidden')
                .map((element) => element.getBoundingClientRect()).filter((box) => box.width > 0);
            boxes.forEach((a, i) => boxes.slice(i + 1).forEach((b) => {
                if (Math.min(a.right, b.right) - Math.max(a.left, b.left) > 0.75 &&
                    Math.min(a.bottom, b.bottom) - Math.max(a.top, b.top) > 0.75) {
                    pairs.push([figure.dataset.leg, Math.round(a.left), Math.round(b.left)]);
                }
            }));
        }
        return pairs.slice(0, 5)""", selector)


def check_alignment(check, width):
    """The tools of all pictures stand alike, between the picture's own edges."""
    places = check.script("""
        return [...document.querySelectorAll('section.leg')].map((leg) => {
            const figure = leg.querySelector('figure').getBoundingClientRect();
            const buttons = [...leg.querySelectorAll('.tools button')]
                .map((button) => button.getBoundingClientRect());
            const range = leg.querySelector('.range').getBoundingClientRect();
            return {
                title: leg.querySelector('h2').getBoundingClientRect().left - figure.left,
                tops: [...new Set(buttons.map((box) => Math.round(box.top - figure.top)))],
                left: Math.min(range.left, buttons[0].left) - figure.left,
                right: figure.right - buttons.at(-1).right}})""")
    for place in places:
        check.expect(f"{width}: a title begins where its picture does", abs(place["title"]) < 1,
                     place)
        check.expect(f"{width}: the buttons stand in one row", len(place["tops"]) == 1, place)
        if width > 640:
            check.expect(f"{width}: the buttons end where the picture does",
                         abs(place["right"]) < 1, place)
        if width <= 960:
            check.expect(f"{width}: the range begins where the picture does",
                         abs(place["left"]) < 1, place)
    check.expect(f"{width}: all buttons stand alike",
                 len({(place["tops"][0], round(place["right"])) for place in places}) == 1, places)


def check_paper(check):
    """As on A4 between Chromium's usual margins."""
    width, height = 717, 1046
    check.driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
        "width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})
    check.driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {"media": "print"})
    check.open()
    check.script("dispatchEvent(new Event('beforeprint'))")
    outside = check.script("""return [...document.querySelectorAll('th, td, svg, dd, p')]
        .filter((element) => element.getBoundingClientRect().right > arguments[0] + 0.5)
        .map((element) => `${element.tagName}.${element.className}`).slice(0, 5)""", width)
    check.expect("fits on A4", not outside, outside)
    check.expect("no mark overlaps another on paper", not overlaps(check, ".mark .head"),
                 overlaps(check, ".mark .head"))
    bottoms = check.script("""return [...document.querySelectorAll('section.leg')]
        .map((leg) => leg.getBoundingClientRect().bottom)""")
    check.expect("four pictures fit on the first page", bottoms[:4][-1] < height, bottoms)
    check.script("dispatchEvent(new Event('afterprint'))")
    check.driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {"media": ""})
    check.driver.execute_cdp_cmd("Emulation.clearDeviceMetricsOverride", {})


def check_widths(check):
    for width in (320, 390, 768, 1024, 1220, 1280, 1920):
        check.driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
            "width": width, "height": 800, "deviceScaleFactor": 1, "mobile": width < 800})
        check.open()
        outside = check.script("""
            return [...document.body.querySelectorAll('*')]
                .filter((element) => !element.closest('svg') &&
                    element.getBoundingClientRect().right > arguments[0] + 0.5)
                .map((element) => `${element.tagName}.${element.className}`).slice(0, 5)""", width)
        scrolls = check.script("return document.documentElement.scrollWidth > innerWidth")
        check.expect(f"{width} pixels are wide enough", not scrolls and not outside, outside)
        check_alignment(check, width)
        for what in (".mark .head", ".mark text"):
            pairs = overlaps(check, what) if width >= 390 else []
            check.expect(f"{width}: no {what} overlaps another", not pairs, pairs)
        if width == 390:
            check_marks(check)
            check_sorting(check)
            check.one(".zoom-in").click()
            check.expect("zooms on a phone", check.one(".reset").is_enabled())
    check.driver.execute_cdp_cmd("Emulation.clearDeviceMetricsOverride", {})


def check_silence(check):
    entries = [f"{entry['level']}: {entry['message']}"
               for entry in check.driver.get_log("browser")]
    check.expect("the console is empty", not entries, entries)
    requests = [json.loads(entry["message"])["message"]
                for entry in check.driver.get_log("performance")]
    urls = {request["params"]["request"]["url"].split("#")[0] for request in requests
            if request["method"] == "Network.requestWillBeSent"}
    check.expect("nothing but the page itself is asked for",
                 {url for url in urls if not url.startswith("data:")} ==
                 {check.path.resolve().as_uri()}, urls)


def browser(profile):
    options = webdriver.ChromeOptions()
    for option in ("headless", "no-sandbox", "disable-gpu", "no-first-run",
                   "force-prefers-reduced-motion", "disable-background-networking",
                   "disable-component-update", "disable-sync",
                   "window-size=1280,900", f"user-data-dir={profile}"):
        options.add_argument(f"--{option}")
    options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
    return webdriver.Chrome(options=options, service=Service("/usr/bin/chromedriver"))


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--states", action="store_true")
    parser.add_argument("pages", nargs="+", type=pathlib.Path)
    arguments = parser.parse_args()
    checks = [check_marks, check_structure, check_sorting, check_zoom, check_links, check_colours,
              check_widths, check_paper, *([check_states] if arguments.states else []), check_silence]
    failures = 0
    with tempfile.TemporaryDirectory() as profile:
        driver = browser(profile)
        try:
            for path in arguments.pages:
                check = Check(driver, path)
                for step in checks:
                    step(check)
                failures += check.failures
                if check.failures == 0:
                    print(f"ok      {path.name}: {len(check.rows())} rows and marks")
        finally:
            driver.quit()
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())

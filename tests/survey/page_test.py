#!/usr/bin/python3
"""The page of a survey in a browser: it fetches nothing, says what the document says, sorts, filters, and can be read
by everybody.

usage: page_test.py BIN ROOT AXE [PICTURES]
  AXE       the script of axe-core, which examines a page's accessibility
  PICTURES  folder that gets a picture of the page in light and in dark
"""
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile

import fleet

try:
    from selenium import webdriver
    from selenium.webdriver.common.by import By
except ImportError:
    print("SKIPPED: page_test: package python3-selenium is missing")
    sys.exit(77)

BIN, ROOT, AXE = map(pathlib.Path, sys.argv[1:4])
KINDS = {"damaged": "damaged", "notMerged": "not merged", "forced": "overwritten"}
NUMBERS = ["moved", "kept", "alreadyThere", "forced", "never"]
failures = []


def expect(is_good, what):
    if not is_good:
        failures.append(what)


def survey_of_a_fleet(folder):
    """The page, and the document of the same survey."""
    command = ["bladesim", "--state", f"{folder}/state", "vxcfg", "store", "create", "--defaults",
               f"{ROOT}/samples/personality-5.2.1.cfg"]
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL)
    fleet.main(f"{folder}/state", ROOT / "samples", f"{folder}/fleet", 200, 2026)
    page = pathlib.Path(folder, "survey.html")
    # From the folder, so that the pictures show names alone.
    done = subprocess.run(["vxcfg", "survey", "--format", "json", "--html", page,
                           (ROOT / "samples/personality-5.3.0.cfg").resolve(), "fleet"],
                          cwd=folder, stdout=subprocess.PIPE, text=True, check=False)
    return page, json.loads(done.stdout)


def browse(page, scripts):
    options = webdriver.ChromeOptions()
    options.binary_location = "/usr/bin/chromium"
    for argument in ["--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--no-first-run",
                     "--window-size=1280,1400"]:
        options.add_argument(argument)
    options.add_experimental_option("prefs", {"profile.managed_default_content_settings.javascript": 1 if scripts else 2})
    options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
    browser = webdriver.Chrome(options=options)
    browser.get(page.as_uri())
    return browser


def rows(browser, table, shown=False):
    return browser.execute_script(
        "return [...document.querySelectorAll('#' + arguments[0] + ' tbody tr')].filter(r => !arguments[1] || !r.hidden)"
        ".map(r => [...r.cells].map(c => c.innerText.trim()))", table, shown)


def column_order(values, is_number):
    """Digits by their number, as a reader expects it."""
    if is_number:
        return [int(value) for value in values]
    return [[int(part) if part.isdigit() else part.lower() for part in re.split(r"(\d+)", value)] for value in values]


def check_numbers(browser, survey):
    wanted = [[str(setting[name]) for name in NUMBERS] for setting in survey["settings"]]
    found = rows(browser, "settings-table")
    expect([row[1:6] for row in found] == wanted and wanted, "the numbers of settings are not the document's")
    expect([row[0].split(" in ")[0] for row in found] == [setting["key"] for setting in survey["settings"]],
           "the settings are not the document's")
    expect([row[:3] for row in rows(browser, "look-table")] ==
           [[blade["blade"], KINDS[blade["kind"]], blade["why"]] for blade in survey["look"]],
           "the blades that need a look are not the document's")
    expect([row[2] for row in rows(browser, "versions-table")] == [str(one["blades"]) for one in survey["versions"]],
           "the versions are not the document's")
    heading = browser.find_element(By.TAG_NAME, "h1").text
    expect(f" {survey['blades']['surveyed']} blade" in heading, "the heading counts other blades")


def check_sorting(browser):
    for heading in browser.find_elements(By.CSS_SELECTOR, "thead th:not([data-unsorted])"):
        table = heading.find_element(By.XPATH, "ancestor::table").get_attribute("id")
        column, name = int(heading.get_property("cellIndex")), heading.text
        is_number = "number" in heading.get_attribute("class").split()
        before = sorted(rows(browser, table))
        for _ in range(2):
            heading.find_element(By.TAG_NAME, "button").click()
            order = heading.get_attribute("aria-sort")
            values = column_order([row[column] for row in rows(browser, table)], is_number)
            expect(values == sorted(values, reverse=order == "descending"), f"{table}: {name} is not {order}")
            expect(order == ("descending" if is_number else "ascending") or _ == 1, f"{name} begins {order}")
        expect(sorted(rows(browser, table)) == before, f"{table}: sorting loses rows")


def check_filter(browser, table, word):
    field = browser.find_element(By.CSS_SELECTOR, f"input[data-for={table}]")
    field.send_keys(word)
    everything, shown = rows(browser, table), rows(browser, table, shown=True)
    wanted = [row for row in everything if any(word.lower() in cell.lower() for cell in row)]
    expect(0 < len(shown) < len(everything) and shown == wanted, f"{table}: the filter {word} shows {len(shown)}")
    status = field.find_element(By.XPATH, "ancestor::p//*[@role='status']").text
    expect(status == f"{len(shown)} of {len(everything)}", f"{table}: the filter says {status}")
    field.clear()


def check_requests(browser, page):
    errors = [entry["message"] for entry in browser.get_log("browser") if entry["level"] in ("SEVERE", "WARNING")]
    expect(errors == [], f"the console says {errors}")
    events = [json.loads(entry["message"])["message"] for entry in browser.get_log("performance")]
    urls = {event["params"]["request"]["url"] for event in events if event["method"] == "Network.requestWillBeSent"}
    expect(urls == {page.as_uri()}, f"the page asks for {urls}")


def check_access(browser, scheme):
    browser.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": [{"name": "prefers-color-scheme", "value": scheme}]})
    browser.execute_script(AXE.read_text())
    found = browser.execute_async_script("axe.run().then(arguments[arguments.length - 1])")
    expect(len(found["passes"]) > 10, f"{scheme}: axe examined next to nothing")
    for violation in found["violations"]:
        failures.append(f"{scheme}: {violation['id']}: {violation['nodes'][0]['html'][:100]}")
    if len(sys.argv) > 4:
        browser.save_screenshot(f"{sys.argv[4]}/survey-{scheme}.png")


def main():
    os.environ["PATH"] = f"{BIN.resolve()}:{os.environ['PATH']}"
    with tempfile.TemporaryDirectory() as folder:
        page, survey = survey_of_a_fleet(folder)
        check(page, survey)
    print("\n".join(failures + [f"page_test: {len(survey['settings'])} settings, {len(failures)} failed"]))
    return 1 if failures else 0


def check(page, survey):
    browser = browse(page, scripts=True)
    try:
        check_numbers(browser, survey)
        check_requests(browser, page)
        for scheme in ("light", "dark"):
            check_access(browser, scheme)
        check_sorting(browser)
        check_filter(browser, "settings-table", survey["settings"][0]["key"].rsplit(".", 1)[1])
        check_filter(browser, "look-table", survey["look"][0]["why"])
    finally:
        browser.quit()
    browser = browse(page, scripts=False)
    try:
        expect(browser.find_elements(By.CSS_SELECTOR, "thead button") == [], "scripts are not off")
        check_numbers(browser, survey)
    finally:
        browser.quit()

sys.exit(main())

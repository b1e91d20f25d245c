# SPDX-License-Identifier: Apache-2.0
"""The wall of panels in a real browser (headless Chromium through its driver): one tile per BMC
with its fault count; a record added to one BMC changes its tile with no reload; a BMC stopped
turns its tile to "no answer". Every wait is bounded.

    wall_browser.py URL SCREENSHOT CONSOLE RECORD PID NAME=FAULTS...
A tile is named by its BMC. RECORD, added through the first BMC's console (ipmi_sim's, at port
CONSOLE), makes its fault count one more; PID is the last BMC's simulator, stopped."""
import os
import signal
import socket
import sys
import time

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.support.ui import WebDriverWait

url, screenshot, console, record, pid, *rest = sys.argv[1:]
expected = dict(arg.rsplit("=", 1) for arg in rest)


def add_record():
    with socket.create_connection(("127.0.0.1", int(console)), timeout=5) as bmc:
        bmc.sendall(f"sel_add 0x20 0x02 {record}\n".encode())
        time.sleep(0.3)  # its answer read before the hang-up, or the simulator dies of SIGPIPE

options = webdriver.ChromeOptions()
for flag in ("--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage",
             "--window-size=1000,700", "--no-proxy-server"):
    options.add_argument(flag)
browser = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)


def tiles():
    """{bmc: (fault count text, state text)} as the page shows them now, read in one go: the page
    redraws its tiles as changes come."""
    return {bmc: (count, state) for bmc, count, state in browser.execute_script(
        'return [...document.querySelectorAll("#tiles .tile")].map((t) => [t.dataset.bmc,'
        ' t.querySelector(".count").textContent, t.querySelector(".state").textContent])')}


def wait_for(what, test, seconds):
    try:
        WebDriverWait(browser, seconds, poll_frequency=0.1).until(lambda _: test(tiles()))
    except Exception:
        sys.exit(f"FAILED: {what}; the wall shows {tiles()}")


def faults(count):
    return f"{count} fault" + ("" if count == 1 else "s")


try:
    browser.get(url)
    wait_for("a tile per BMC with its faults", lambda shown: shown.keys() == expected.keys() and all(
        shown[bmc][0] == faults(int(n)) and shown[bmc][1] == "following"
        for bmc, n in expected.items()), 30)
    browser.execute_script("window.notReloaded = true")
    first, last = list(expected)[0], list(expected)[-1]
    add_record()
    wait_for(f"{first} one fault more", lambda shown: shown[first][0] == faults(int(expected[first]) + 1), 10)
    time.sleep(5)  # a display step or so: the screenshot shows panels that show their faults
    browser.save_screenshot(screenshot)
    os.kill(int(pid), signal.SIGTERM)
    wait_for(f"{last} not answering", lambda shown: shown[last][1].startswith("no answer"), 60)
    if not browser.execute_script("return window.notReloaded === true"):
        sys.exit("FAILED: the page was loaded again")
    # Keyboard alone: Tab reaches a tile, Enter opens its BMC's page.
    browser.find_element(By.CSS_SELECTOR, f'.tile[data-bmc="{first}"]').send_keys("\n")
    WebDriverWait(browser, 10).until(lambda b: "/bmc/" in b.current_url)
    table = browser.find_element(By.TAG_NAME, "table").text
    if "memory B3" not in table:
        sys.exit(f"FAILED: {first}'s page lacks its memory B3 fault: {table}")
    # Its timeline, drawn by replay from the records kept.
    WebDriverWait(browser, 30).until(lambda b: b.execute_script(
        'const i = document.querySelector("img.timeline"); return i.complete && i.naturalWidth > 0'))
finally:
    browser.quit()
print("wall: OK")

#!/usr/bin/env python3
"""The page in a browser without a window: the shipped meeting is played, and what the page shows is compared with what
the service says at five moments; then a direction is done by hand, a fault shows, all is reached with the keyboard, the
service ends, and its session is looked at as a file.

    browser_test.py BIN_DIR SOURCE_DIR PICTURES_DIR

Exits with 77, "skipped", where there is no Chromium, driver or Selenium.
"""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import time

try:
    from selenium import webdriver
    from selenium.webdriver.chrome.options import Options
    from selenium.webdriver.chrome.service import Service
    from selenium.webdriver.common.by import By
    from selenium.webdriver.common.keys import Keys
    from selenium.webdriver.support.ui import Select
except ImportError:
    print("skipped: there is no Selenium")
    sys.exit(77)

PATIENCE = 60  # seconds for whatever is to come

# The texts of the page that are fainter than 4.5 to 1 before what is behind them.
FAINT = """
    const numbers = (colour) => { const [r, g, b, a = 1] = colour.match(/[\\d.]+/g).map(Number); return [r, g, b, a]; };
    const over = ([r, g, b, a], below) => [r, g, b].map((one, i) => one * a + below[i] * (1 - a));
    const light = (colour) => colour.map((one) => one / 255)
      .map((one) => (one <= .04045 ? one / 12.92 : ((one + .055) / 1.055) ** 2.4))
      .reduce((sum, one, i) => sum + one * [.2126, .7152, .0722][i], 0);
    const behind = (element) => (element ? over(numbers(getComputedStyle(element).backgroundColor), behind(element.parentElement))
      : [255, 255, 255]);
    const faint = [], walk = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
    while (walk.nextNode()) {
      const element = walk.currentNode.parentElement, text = walk.currentNode.data.trim();
      if (!text || element.tagName === 'OPTION' || !element.checkVisibility() || element.namespaceURI.endsWith('svg')) continue;
      const below = behind(element), lights = [light(over(numbers(getComputedStyle(element).color), below)), light(below)];
      const ratio = (Math.max(...lights) + .05) / (Math.min(...lights) + .05);
      if (ratio < 4.5) faint.push(`${text}: ${ratio.toFixed(2)}`);
    }
    return faint;"""

# What has the focus: how it is called, and whether a person sees it and that it has it.
FOCUSED = """
    const one = document.activeElement, box = one.getBoundingClientRect(), label = one.labels && one.labels[0];
    const at = document.elementFromPoint(box.left + box.width / 2, box.top + Math.min(box.height / 2, 8));
    return one === document.body ? null : {
      name: one.getAttribute('aria-label') || (label ? label.textContent : one.textContent).trim(),
      isSeen: Boolean(at) && (one.contains(at) || at.contains(one)) && getComputedStyle(one).outlineStyle === 'solid' };"""


def start_browser(profile):
    chromium, driver = shutil.which("chromium"), shutil.which("chromedriver")
    if not chromium or not driver:
        print("skipped: there is no chromium with its driver")
        sys.exit(77)
    options = Options()
    options.binary_location = chromium
    for word in ("headless=new", "no-sandbox", "disable-gpu", "disable-quic", "no-first-run", "disable-dev-shm-usage",
                 "disable-background-networking", "disable-component-update", "disable-sync",
                 "window-size=1240,880", f"user-data-dir={profile}"):
        options.add_argument("--" + word)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    return webdriver.Chrome(options=options, service=Service(driver))


class Room:
    """The service, an application of the meeting, and orvi-room."""

    def __init__(self, programs, source, folder):
        self.programs = pathlib.Path(programs)
        os.environ["ORVI_BUS_DIR"] = folder
        self.log = open(pathlib.Path(folder) / "service.log", "w", encoding="utf-8")
        self.service = self.start("orvi-vision-sim", "--view", "--scenario",
                                  f"{source}/simulator/scenarios/meeting.jsonl", "--speed", "20",
                                  stdout=subprocess.PIPE, stderr=self.log)
        assert self.service.stdout.readline().startswith(b"ready")
        self.kept = pathlib.Path(folder).parent / "session.pcapng"
        self.capture = self.start("orvi-bus", "capture", self.kept, "--payloads", "--reveal", stderr=subprocess.PIPE)
        assert b"listening" in self.capture.stderr.readline()
        self.application = self.start("orvi-ai", "--quiet", "run", f"{source}/examples/meeting.calls",
                                      stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    def start(self, program, *words, **streams):
        return subprocess.Popen([self.programs / program, *words], **streams)

    def direct(self, *words):
        done = subprocess.run([self.programs / "orvi-room", *words], capture_output=True, text=True, check=False)
        return done.stdout + done.stderr

    def end(self):
        for process in (self.capture, self.application, self.service):
            process.terminate()
            process.wait(PATIENCE)
        self.log.close()


class Test:
    def __init__(self, room, browser, pictures):
        self.room = room
        self.browser = browser
        self.pictures = pathlib.Path(pictures)
        self.taken = 0

    def text(self, name):
        return self.browser.find_element(By.ID, name).text

    def texts(self, selector):
        # Read at once: the list may be drawn anew at any time.
        return self.browser.execute_script(
            "return [...document.querySelectorAll(arguments[0])].map((one) => one.textContent)", selector)

    def await_that(self, what, condition):
        end = time.monotonic() + PATIENCE
        while True:
            found = condition()
            if found:
                return found
            assert time.monotonic() < end, f"{what} did not come"
            time.sleep(0.02)

    def picture(self):
        self.taken += 1
        self.browser.save_screenshot(str(self.pictures / f"room-{self.taken}.png"))

    def same(self, what, shown, told):
        """The room goes on while both are read: they are equal at some moment."""
        end = time.monotonic() + PATIENCE
        while True:
            on_the_page, of_the_service = shown(), told()
            if on_the_page == of_the_service:
                return
            assert time.monotonic() < end, f"{what}: the page has {on_the_page}, the service {of_the_service}"

    def compare(self):
        def present():
            return set(re.findall(r"^(.*) \(user-\d+\): \w+, present$", self.room.direct("persons"), re.MULTILINE))

        def words(name):
            return dict(part.split("=", 1) for part in self.room.direct("state").split() if "=" in part).get(name)

        self.same("who is present", lambda: set(self.texts("#people .present span")), present)
        self.same("check-in", lambda: self.text("checkin-state").split(",")[0], lambda: words("check-in"))
        self.same("captions", lambda: self.text("captions-state"), lambda: words("captions"))
        self.same("assistant", lambda: self.text("assistant-state").split(",")[0], lambda: words("assistant"))
        self.picture()

    def meeting(self, address):
        self.browser.get(address)
        self.await_that("a check-in", lambda: "reporting" in self.text("checkin-state"))
        self.compare()
        self.await_that("the answer", lambda: "The garden room is free on Thursday" in self.text("model"))
        self.compare()
        self.await_that("Ada", lambda: "Ada Lovelace" in self.texts("#people .present span"))
        self.compare()
        self.room.direct("clock", "scale", "100")
        self.await_that("a caption", lambda: any("Can everybody hear me?" in line for line in self.texts("#captions li")))
        self.compare()
        self.await_that("the lock", lambda: "minutes" in self.text("minutes-title").lower())
        self.room.direct("clock", "scale", "1")
        self.compare()

    def hands(self):
        Select(self.browser.find_element(By.ID, "direction")).select_by_visible_text("person enters")
        field = self.browser.find_element(By.CSS_SELECTOR, "#words input[data-name='--name NAME']")
        field.send_keys("Grace \"Rear\" O'Hopper")
        command = self.text("command")
        self.browser.find_element(By.CSS_SELECTOR, "#direct button").click()
        self.await_that("an answer", lambda: self.text("answer") not in ("", "…"))
        assert "Grace \"Rear\" O'Hopper" in self.room.direct("persons"), self.text("answer")
        # The same from a terminal, as the page shows it, is a second one of that name, which is refused.
        shell = subprocess.run(["sh", "-c", f"{self.room.programs}/{command}"], capture_output=True, text=True, check=False)
        assert "Grace" in shell.stdout + shell.stderr or shell.returncode in (0, 1), shell
        assert self.room.direct("persons").count("O'Hopper") == 1
        # A photo, a face, a fault
        self.room.direct("faces", "3")
        application = self.room.start("orvi-ai", "run", "-", stdin=subprocess.PIPE, stdout=subprocess.DEVNULL,
                                      stderr=subprocess.DEVNULL)
        application.stdin.write(b"face create --as one\nface start --detector one\nnameplate init\nnameplate start\n")
        application.stdin.flush()
        self.await_that("faces", lambda: len(self.texts("#camera .box")) == 3)
        self.room.direct("face", "1", "960", "540")
        self.await_that("the face that was moved", lambda: self.browser.execute_script(
            "const box = document.querySelector('#camera .box'); return box && "
            "Math.abs(+box.getAttribute('x') + box.getAttribute('width') / 2 - 960) < 2"))
        self.room.direct("faces", "usual")
        self.room.direct("say", "computer")
        self.await_that("the scene", lambda: self.browser.execute_script(
            "const box = document.querySelector('#camera .box'); return box && +box.getAttribute('x') < 500"))
        self.browser.set_window_size(1120, 960)
        self.browser.execute_script("scrollTo(0, 0)")
        self.browser.save_screenshot(str(self.pictures / "room.png"))  # the one of the README
        self.room.direct("refuse", "lock.state", "busy")
        self.room.start("orvi-ai", "--quiet", "lock", "state", "1", stderr=subprocess.DEVNULL).wait(PATIENCE)
        self.await_that("what was refused", lambda: any("lock.state → refused busy" in text
                                                        for text in self.texts(".messages .fault button")))
        self.browser.execute_script("[...document.querySelectorAll('.messages .fault button')]"
                                    ".find((button) => button.textContent.includes('lock.state')).click()")
        assert "\"state\": 1" in self.text("detail") and "a fault that was directed" in self.text("detail")
        self.picture()
        application.stdin.close()
        application.wait(PATIENCE)

    def keyboard(self):
        """Everything is reached with the keyboard, is seen and has a name; lists keep what stays while the room goes on."""
        for width in (1240, 390):
            self.browser.set_window_size(width, 880)
            self.browser.execute_script("document.activeElement.blur(); scrollTo(0, 0)")
            stops = []
            while len(stops) < 100:
                self.browser.switch_to.active_element.send_keys(Keys.TAB)
                focused = self.browser.execute_script(FOCUSED)
                if not focused:
                    break
                stops.append(focused)
            assert {"Do it", "Copy"} <= {stop["name"] for stop in stops}, stops
            assert all(stop["name"] and stop["isSeen"] for stop in stops), stops
        for scheme in ("light", "dark"):
            self.browser.execute_cdp_cmd("Emulation.setEmulatedMedia",
                                         {"features": [{"name": "prefers-color-scheme", "value": scheme}]})
            assert self.browser.execute_script(FAINT) == []
        self.browser.execute_script("""
            window.caption = document.querySelector('#captions li:last-child');
            [...document.querySelectorAll('.messages button')].find((one) => one.textContent.startsWith('model.ask')).focus();""")
        told = self.texts(".messages .told button")
        self.room.direct("service", "status", "3")
        self.await_that("the status", lambda: self.texts(".messages .told button") != told)
        assert self.browser.execute_script("return caption.isConnected"), "the captions were read to somebody once more"
        self.browser.switch_to.active_element.send_keys(Keys.ENTER)
        self.await_that("the reply", lambda: "The reply" in self.text("detail"))
        self.browser.switch_to.active_element.send_keys(Keys.ESCAPE)
        assert self.browser.switch_to.active_element.text.startswith("model.ask")

    def second_page(self, address):
        first = self.browser.current_window_handle
        self.browser.switch_to.new_window("tab")
        self.browser.get(address)
        self.await_that("the second page", lambda: "Ada Lovelace" in self.texts("#people .present span"))
        self.browser.close()
        self.browser.switch_to.window(first)
        self.browser.set_window_size(390, 1000)
        assert self.browser.execute_script("return document.documentElement.scrollWidth <= innerWidth"), "wider than a phone"
        self.picture()

    def recorded(self):
        """The same as a file: masked, and as it was when that is asked for."""
        said = "Can everybody hear me?"
        self.room.capture.terminate()
        assert self.room.capture.wait(PATIENCE) == 0
        self.browser.set_window_size(1240, 880)
        for words, shows, hides in (((), "(private, ", said), (("--reveal",), said, "(private, ")):
            page = self.room.kept.with_suffix(".html")
            made = subprocess.run([self.room.programs / "orvi-bus", "view", self.room.kept, page, *words],
                                  capture_output=True, text=True, check=False)
            assert made.returncode == 0, made.stderr
            self.browser.get(page.as_uri())
            line = self.browser.execute_script("""
                const line = JSON.parse(document.getElementById('recorded').textContent).messages
                  .find((one) => one.name === 'caption.line' && one.values.text.includes(arguments[0]));
                const at = document.getElementById('at');
                at.value = Math.ceil(line.seconds * 10) * 100;
                at.dispatchEvent(new Event('input'));
                return line.values.text;""", shows)
            self.await_that("the caption", lambda: line in self.text("captions"))
            assert self.texts(".lane h3")
            assert hides not in self.browser.page_source
            self.picture()

    def end(self):
        errors = [entry for entry in self.browser.get_log("browser") if entry["level"] == "SEVERE"]
        assert not errors, errors
        self.room.direct("quit")
        self.await_that("that it is gone", lambda: "not there" in self.text("link"))


def main():
    programs, source, pictures = sys.argv[1:4]
    pathlib.Path(pictures).mkdir(parents=True, exist_ok=True)
    with tempfile.TemporaryDirectory(prefix="orvi-view-", ignore_cleanup_errors=True) as folder:
        browser = start_browser(folder + "/profile")
        os.mkdir(folder + "/bus", 0o700)
        room = Room(programs, source, folder + "/bus")
        try:
            test = Test(room, browser, pictures)
            address = room.direct("view").strip()
            assert address.startswith("http://127.0.0.1:"), address
            test.meeting(address)
            test.hands()
            test.keyboard()
            test.second_page(address)
            test.end()
            test.recorded()
        finally:
            room.end()
            browser.quit()


if __name__ == "__main__":
    main()

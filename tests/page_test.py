#!/usr/bin/env python3
"""The live front panel in a browser. page_test.py BUILD [CASE ...]"""
import http.client
import json
import os
import re
import signal
import socket
import subprocess
import sys
import threading
import time
import unittest

from web_test import INDICATORS, ZELCTL, ZELSIM, Server, eventually, load_tests, on_switch, run, zelsim

try:
    from selenium import webdriver
    from selenium.common.exceptions import StaleElementReferenceException, WebDriverException
    from selenium.webdriver.chrome.service import Service
    from selenium.webdriver.common.action_chains import ActionChains
    from selenium.webdriver.common.by import By
    from selenium.webdriver.common.keys import Keys
except ImportError:
    webdriver = None

SHOWN = "return document.querySelector(arguments[0])?.checkVisibility() ?? false"


@unittest.skipIf(webdriver is None, "python3-selenium and chromium-driver are not installed")
class Page(Server):
    @classmethod
    def setUpClass(cls):
        options = webdriver.ChromeOptions()
        # Chromium without its windows: it starts in a third of the time.
        options.binary_location = "/usr/lib/chromium/chromium-headless-shell"
        for option in ("no-sandbox", "disable-gpu", "in-process-gpu", "disable-quic", "no-first-run",
                       "disable-sync", "disable-background-networking", "disable-component-update",
                       "window-size=1440,900"):
            options.add_argument("--" + option)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        cls.browser = webdriver.Chrome(options=options, service=Service("/usr/bin/chromedriver"))
        cls.addClassCleanup(cls.browser.quit)

    def setUp(self):
        super().setUp()
        Page.first_port = str(self.port)  # what the browser keeps of the page is kept for this address
        self.browser.get_log("browser")  # which ends what others left
        self.browser.execute_cdp_cmd("Emulation.clearDeviceMetricsOverride", {})

    def open(self, query):
        self.browser.get(self.address + query)
        self.find("[data-part=port0]")

    def watch_requests(self, query=""):
        self.open("?tab=requests" + query)
        self.find("#requests-empty code")
        # The page is live a little earlier than its stream of requests.
        eventually(lambda: on_switch(ZELCTL, "temperature") and self.text("#requests-told"))

    def update(self, words):
        """A firmware update in the chip's time, of a file of `words` times 8 bytes."""
        image = f"{self.home}/firmware.bin"
        with open(image, "wb") as file:
            file.write(b"zelboard" * words)
        command = (ZELSIM, "run", "--chip-times", "--", ZELCTL, "firmware", "write", image, "--partition", "2")
        return subprocess.Popen(command, stdout=subprocess.DEVNULL)

    def on_page(self, script, *values):
        """The page draws anew at any time: what is read or clicked there is found and used in one step."""
        return self.evaluate("call()", script, values)

    def comes(self, script, *values):
        """Waits until a script gives something on the page. The page itself looks again and again: a question costs more."""
        looks = """(async () => {
            for (let end = performance.now() + 500; performance.now() < end; await new Promise((done) => setTimeout(done, 30))) {
                if (call()) return true;
            }
            return false;
        })()"""

        def is_there():
            try:
                return self.evaluate(looks, script, values)
            except WebDriverException:  # the page is left for another one
                return False

        eventually(is_there)

    def evaluate(self, expression, script, values):
        """`call` in the expression is the script, with the values as its arguments."""
        call = f"const call = () => (function () {{ {script} }}).apply(window, {json.dumps(values)});"
        answer = self.browser.execute_cdp_cmd("Runtime.evaluate", {
            "expression": f"{{ {call} {expression} }}", "awaitPromise": True, "returnByValue": True, "userGesture": True})
        self.assertNotIn("exceptionDetails", answer, script)
        return answer["result"].get("value")

    def find(self, selector):
        self.comes("return document.querySelector(arguments[0]) !== null", selector)

    def element(self, selector):
        self.find(selector)
        return self.browser.find_element(By.CSS_SELECTOR, selector)

    def click(self, selector):
        self.comes("const found = document.querySelector(arguments[0]); found?.click(); return found !== null", selector)

    def focus(self, selector):
        self.comes("document.querySelector(arguments[0])?.focus(); return document.activeElement.matches(arguments[0])", selector)

    def is_there(self, selector):
        return self.on_page("return document.querySelector(arguments[0]) !== null", selector)

    def goes(self, selector):
        self.comes("return document.querySelector(arguments[0]) === null", selector)

    def is_shown(self, selector):
        return self.on_page(SHOWN, selector)

    def shows(self, selector):
        self.comes(SHOWN, selector)

    def hides(self, selector):
        self.comes(SHOWN.replace("return ", "return !(") + ")", selector)

    def text(self, selector):
        return self.on_page("return document.querySelector(arguments[0])?.innerText ?? ''", selector)

    def says(self, selector, words):
        self.comes("return document.querySelector(arguments[0])?.innerText.includes(arguments[1])", selector, words)

    def property(self, selector, name):
        self.find(selector)
        return self.on_page("return document.querySelector(arguments[0])[arguments[1]]", selector, name)

    def holds(self, selector, value):
        self.comes("return document.querySelector(arguments[0])?.value === arguments[1]", selector, value)

    def pointer(self):
        """Moves in one step. By default it would take a quarter of a second and many steps for each move."""
        return ActionChains(self.browser, duration=20)

    def hover(self, selector):
        def is_reached():
            try:
                self.pointer().move_to_element(self.element(selector)).perform()
                return True
            except StaleElementReferenceException:
                return False

        eventually(is_reached)

    def keys(self, *keys):
        ActionChains(self.browser).send_keys(*keys).perform()

    def resize(self, width, height):
        self.browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                                     {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})

    def select(self, part):
        self.click(f"[data-part={part}]")

    def assert_no_complaints(self):
        log = [entry["message"] for entry in self.browser.get_log("browser") if entry["level"] == "SEVERE"]
        self.assertEqual([line for line in log if "status of 4" not in line], [])

    def test_four_things_that_happen_on_a_switch(self):
        self.open("")
        # A module is chosen for a cage, and a program sees it.
        self.select("port5")
        self.click("#inspector [data-key=plugging] button")
        self.click("#catalogue [data-key='1g-lx']")
        self.find("[data-part=port5][aria-label^='Port 5: 1g-lx']")
        self.assertIn("ZL-1G-LX", on_switch(ZELCTL, "sfp", "show", "5"))
        # A program sets an LED.
        on_switch(ZELCTL, "led", "set", "ring-master", "blink")
        self.find("use#ring-master[href='#blinking']")
        # Lamps of the lamp test have their curves behind those of the six LEDs.
        on_switch(ZELCTL, "lamp-test", "1")
        self.find("[data-strip=leds] .lanes svg:nth-child(n+7) path[d*=V]")
        # A supply is pulled, and a daemon's alarm LED turns red.
        with subprocess.Popen((ZELSIM, "run", "--", INDICATORS, "--period", "0.1"), stdout=subprocess.DEVNULL) as daemon:
            self.find("use#alarm[href='#off']")
            self.select("supply2")
            self.click("#inspector [value=failed]")
            self.find("use#alarm[href='#alert']")
            daemon.terminate()
        # A firmware update colours the map while it runs.
        self.click("#tab-flash")
        with self.update(800000) as update:
            self.find("[data-sector='288']:is(.full, .part)")
            self.assertIsNone(update.poll(), "the map had no colour before the end")
            self.says("#writing", "Writing Image 2")
            # All of the map is seen, also below the bar.
            self.resize(1440, 900)
            self.shows("#writing-now")
            eventually(lambda: self.on_page("const view = document.querySelector('#view-flash'); return view.scrollHeight <= view.clientHeight"))
            # How far the file is stands where nobody needs to scroll, whatever tab is open.
            self.click("#tab-requests")
            self.says("#writing-now", "firmware.bin by zelctl")
            self.says("#writing-now", " of 6.1 MB · ")
            self.says("#writing-now", " left")
            self.find("#lines li.flash")
            # The open sheet of a narrow page hides the bar, and has one of its own.
            self.resize(390, 844)
            self.shows("#sheet-writing")
            self.assertIn(" of 6.1 MB · ", self.text("#sheet-writing"))
            self.kill_inside_a_write(update)
        self.hides("#sheet-writing")
        # Above the map stands that the update was not done.
        self.comes("return RegExp(arguments[0]).test(document.querySelector('#writing').textContent)",
                   r"^Last written: Image 2 at 0x\w+; zelctl\[\d+\] ended in .*, after \d+ of 6400000 bytes of firmware.bin$")
        self.resize(1440, 900)
        self.hides("#writing-now")
        self.assert_no_complaints()

    def put(self, selector, value, event="input"):
        self.find(selector)
        self.on_page("const field = document.querySelector(arguments[0]); field.value = arguments[1];"
                     "field.dispatchEvent(new Event(arguments[2], {bubbles: true}))", selector, value, event)

    def choose(self, selector, value):
        self.put(selector, value, "change")

    def fill(self, form, field, value, event="input"):
        self.put(f"[data-key='{form}'] [name={field}]", value, event)

    def type_in(self, form, field, *keys):
        """Replaces what a field of a form holds, with the keyboard."""
        self.find(f"[data-key='{form}'] [name={field}]")
        self.on_page("const field = document.querySelector(arguments[0]); field.focus(); field.select()",
                     f"[data-key='{form}'] [name={field}]")
        self.keys(*keys)

    def board_now(self):
        board = json.loads(zelsim("show --json"))
        del board["i2c"]["clock"], board["paused_us"]
        return board

    def test_what_is_destroyed_is_asked_for_and_named(self):
        self.open("")
        zelsim("plug 3 1g-sx")
        on_switch(ZELCTL, "flash", "erase", "0x1200000", "--yes")
        self.find("[data-part=port3][aria-label*='1g-sx']")
        for where, act, named in ((None, "#inspector .apart button:nth-of-type(1)", "1g-sx in port 3"),
                                  (None, "#inspector .apart button:nth-of-type(2)", "1 sector erase"),
                                  ("[data-part=slot1]", "#inspector [value=none]", "1g-sx in port 3"),
                                  (None, "#inspector [value=none]", "Undo brings the board and its modules back"),
                                  ("#tab-commands", "[data-key='flash erase'] button", "1 sector erase"),
                                  (None, "[data-key=reset] button", "1g-sx in port 3")):
            with self.subTest(act=act):
                if where:
                    self.click(where)
                before = zelsim("show --json").split('"clock"')[0]
                self.click(act)
                self.says("dialog.confirm[open]", named)
                self.keys(Keys.ESCAPE)
                self.goes("dialog[open]")
                self.assertEqual(zelsim("show --json").split('"clock"')[0], before)
        # Forms begin with what holds. Of a module it is what is set, though its laser is off and no light is there.
        zelsim("set los 3 1")
        self.find("[data-part=port3][aria-label*='no light']")
        for form, set_to in (("set tx-power", "-6"), ("set bias", "6"), ("set rx-power", "-7")):
            zelsim(f"{form} 3 {set_to}")
            self.fill(form, "port", "3")
            eventually(lambda: float(self.property(f"[data-key='{form}'] [name=value]", "value")) == float(set_to))
        for form, field, value in (("set rtc", "state", "present"), ("set supply", "state", "ac"), ("set lm75", "state", "present"),
                                   ("fit", "board", "sfp"), ("set busy", "value", "0"), ("reset", "flash", "false")):
            self.assertEqual(self.property(f"[data-key='{form}'] [name={field}]", "value"), value, form)
        # A control whose act was not done shows what holds.
        self.find("#inspector [value=sfp]:checked")
        # So does a field where nothing was chosen when another slot, supply or port is. What was chosen stays.
        zelsim("set supply 2 failed")
        self.find("[data-part=supply2][aria-label*='failed']")
        for form, field, value, then in (("set supply", "state", "dc", {"state": "dc"}), ("set supply", "supply", "2", {"state": "dc"}),
                                         ("set supply", "state", "", {"state": ""}), ("set supply", "supply", "1", {"state": "ac"}),
                                         ("set supply", "supply", "2", {"state": "failed"}), ("fit", "slot", "2", {"board": "copper"}),
                                         ("fit", "slot", "3", {"board": "none"}), ("set voltage", "port", "3", {"value": "3.3"})):
            self.fill(form, field, value, "change")
            for name, holds in then.items():
                self.holds(f"[data-key='{form}'] [name={name}]", holds)
        # What was typed stays and is sent when the port is typed after it. A field without it follows with every letter.
        value = "[data-key='set rx-power'] [name=value]"
        zelsim("plug 5 1g-sx")
        zelsim("set rx-power 5 -9")
        self.type_in("set rx-power", "port")
        for key, holds in (("5", "-9"), ("2", ""), (Keys.BACKSPACE, "-9"), (Keys.BACKSPACE, ""), ("3", "-7")):
            self.keys(key)
            self.holds(value, holds)
        self.type_in("set rx-power", "value", "-22")
        self.type_in("set rx-power", "port", "5")
        self.element("[data-key='set rx-power'] button").click()
        eventually(lambda: "zelsim set rx-power 5 -22" in self.text("#notices"))
        # A form that is done keeps its port until another part is selected. What is typed after Enter replaces it.
        port = "[data-key='set rx-power'] [name=port]"
        eventually(lambda: (self.property(port, "value"), self.property(value, "value")) == ("5", "-22"))
        self.fill("set rx-power", "value", "-21")
        self.type_in("set rx-power", "port", "5", Keys.ENTER, "3")
        self.says("#notices", "zelsim set rx-power 5 -21")
        eventually(lambda: (self.property(port, "value"), self.property(value, "value")) == ("3", "-7"))
        self.fill("set rx-power", "value", "-8")
        self.click("[data-key='set rx-power'] button")
        self.says("#notices", "zelsim set rx-power 3 -8")
        for part, then in (("port5", "5"), ("slot1", "3")):
            self.select(part)
            self.holds(port, then)
        zelsim("unplug 5")
        # A form that changes nothing says so, and one for a port without such a thing does not ask for a value.
        before = self.board_now()
        for form, at, why in (("plug", "3", "It is so already"), ("set rx-power", "3", "It is so already"), ("plug", "9", "port: 9 has no cage"),
                              ("set tx-fault", "17", "port: 17 has no cage"), ("set link", "3", "port: 3 has no copper link"),
                              ("set voltage", "5", "port: 5 has no module"), ("plug", "99", "'99' is not"), ("plug", "5", "module: missing")):
            self.fill(form, "port", at)
            self.click(f"[data-key='{form}'] button")
            self.says(f"[data-key='{form}'] .refusal", why)
        self.assertEqual(self.board_now(), before)
        self.fill("set link", "port", "8")
        # A question that is answered with Keep leaves what holds; the slot stays chosen.
        for field, value in (("slot", "1"), ("board", "copper")):
            self.fill("fit", field, value)
        self.click("[data-key=fit] button")
        self.says("dialog.confirm[open]", "1g-sx in port 3")
        self.keys(Keys.ESCAPE)
        self.holds("[data-key=fit] [name=board]", "sfp")
        self.assertEqual(self.property("[data-key=fit] [name=slot]", "value"), "1")
        # A cable has another end where there is one.
        self.assertEqual(self.property("[data-key='set link'] [name=speed]", "value"), "1000")
        self.fill("set link", "port", "")
        self.holds("[data-key='set link'] [name=speed]", "")
        # A list keeps its entries while one of them is chosen.
        self.fill("plug", "port", "5")
        self.holds("[data-key=plug] [name=module]", "")
        entries = "return [...document.querySelector('[data-key=plug] [name=module]').options].map((one) => one.value)"
        before = self.on_page(entries)
        self.focus("[data-key=plug] [name=module]")
        self.keys(Keys.ARROW_DOWN)
        self.holds("[data-key=plug] [name=module]", before[1])
        self.assertEqual(self.on_page(entries), before)
        # A state that was saved meanwhile is asked for, and one that does not exist is not.
        zelsim("save before")
        zelsim("plug 4 1g-lx")
        for form, state, named in (("save", "before", "Save over “before”?"), ("load", "before", "1g-lx in port 4")):
            self.fill(form, "state", state)
            self.click(f"[data-key={form}] button")
            self.says("dialog.confirm[open]", named)
            self.keys(Keys.ESCAPE)
            self.goes("dialog[open]")
        self.fill("load", "state", "nosuch")
        self.click("[data-key=load] button")
        self.says("[data-key=load] .refusal", "nosuch")
        self.goes("dialog[open]")
        # A module of a file does not come back.
        with open(f"{self.home}/odd", "wb") as file:
            file.write(bytes(256))
        zelsim(f"plug 5 {self.home}/odd")
        self.find("[data-part=port5][aria-label*='odd']")
        self.click("#inspector [value=none]")
        self.says("dialog.confirm[open]", "It cannot be undone: odd is not in the catalogue")
        self.keys(Keys.ESCAPE)
        self.goes("dialog[open]")
        # Where nothing goes, the question says so.
        zelsim("flash erase")
        self.keys(Keys.ESCAPE)
        self.click("#tab-flash")
        self.says("#flash-scale", "no sector was erased yet")
        self.click("#inspector .apart button:nth-of-type(2)")
        self.says("dialog.confirm[open]", "The flash is erased already.")
        self.keys(Keys.ESCAPE)
        self.goes("dialog[open]")
        # A sector that cannot be read says why, until it can.
        self.on_page("window.take = fetch; window.fetch = (...all) => all[0].includes('flash/bytes') ? Promise.reject() : take(...all)")
        self.click("[data-sector='0']")
        self.says("#inspector .refusal", "no connection to zelsim serve")
        self.on_page("window.fetch = take")
        self.says("#inspector .hex", "ff ff")

    def test_questions_say_who_is_writing(self):
        self.open("")
        with self.update(800000) as update:
            self.says("#writing-now", " of 6.1 MB · ")
            warning = "dialog.confirm[open] .warning"
            for button in "12":
                self.click(f"#inspector .apart button:nth-of-type({button})")
                self.says(warning, "] is writing Image 2 (")
                self.assertTrue(self.text(warning).startswith("zelctl["))
                before = self.text("dialog.confirm")
                eventually(lambda: self.text("dialog.confirm") != before)
                self.keys(Keys.ESCAPE)
                self.goes("dialog[open]")
            # Others know it, too.
            writing = json.loads(self.ask("/api/flash")[1])["writing"]
            self.assertEqual((writing["program"][:7], writing["region"]), ("zelctl[", "Image 2"))
            self.stop_inside_a_write(update)
            self.assertIn("zelctl[", self.ask("/api/save", '{"state": "now"}')[1])
            self.keys("s")
            self.find("#states input:focus")
            self.keys("now", Keys.ENTER)
            self.says("#states form .refusal", "is in a request: try again when it is done")
            update.send_signal(signal.SIGCONT)
            zelsim("set supply 2 dc")
            self.says("#foot", "set supply 2 dc")
            self.shows("#states form .refusal")
            self.keys(Keys.ESCAPE)
            # What was written before the erase is gone.
            self.click("#inspector .apart button:nth-of-type(2)")
            self.click("dialog.confirm .danger")
            eventually(lambda: " of 6.1 MB" not in self.text("#writing-now"))
            self.says("#writing-now", " written")
            self.assertIsNone(update.poll(), "the update ended before")
            # What was refused because of it goes with it.
            self.keys("s")
            self.says("#states form .refusal", "is in a request")
            update.kill()
        self.goes("#states form .refusal")

    def test_refusals_disconnection_and_missing_boards(self):
        self.open("")
        zelsim("plug 3 1g-sx")
        self.find("[data-part=port3][aria-label*='1g-sx']")
        self.select("port3")
        self.find("#inspector [name=los3]")
        # The module is gone between the look and the click.
        zelsim("delete")
        self.find("#board-view.away")
        eventually(lambda: re.match(r"default: Since \d\d:\d\d:\d\d: no board", self.text("#trouble")))
        self.comes("return document.querySelectorAll('#bar-acts button:disabled').length === 3")
        zelsim("create --slots sfp,copper,none")
        self.goes("#board-view.away")
        zelsim("fit 1 none")
        self.says("#inspector", "no board in slot 1")
        self.find("[data-part=port3][aria-label*='no board in slot 1']")
        # A refusal stands beside its control, inside the window, and goes with its cause.
        self.select("slot3")
        self.click("#tab-commands")
        form = "[data-key=unplug] "
        self.find(form + "[name=port]")
        self.on_page("document.querySelector(arguments[0]).value = '26'", form + "[name=port]")
        self.click(form + "button[type=submit]")
        self.says(form + ".refusal", "port: 26 has no module")
        zelsim("plug 26 10g-sr")
        self.goes(form + ".refusal")
        # The server ends and comes back.
        self.select("port26")
        self.focus("[name=los26]")
        self.end()
        self.find("#board-view.away")
        self.says("#trouble", "No connection since")
        # Nothing acts on the board until it is back. Then the focus is where it was.
        acting = "return document.querySelectorAll('#inspector :is([data-acts], input):enabled, #commands button:enabled').length"
        eventually(lambda: self.on_page(acting) == 0)
        looks = "return getComputedStyle(document.querySelector('[name=los26] + span')).opacity"
        self.assertLess(float(self.on_page(looks)), 0.6)
        self.start(str(self.port))
        self.goes("#board-view.away")
        eventually(lambda: self.on_page("return document.activeElement.name") == "los26")

    def test_a_refusal_stays_until_its_cause_goes(self):
        zelsim("fail i2c:BufRead@0x9e --result busy")
        self.open("?tab=requests&result=fault")
        standing = "fault 1 strikes first at all of 'i2c:BufRead@0x9"
        strikes = lambda: json.loads(self.ask("/api/faults")[1])["faults"][0]["hits"]

        def stays(place):
            self.says(place, standing)
            before = strikes()
            zelsim(f"set temperature {20 + before % 50}")
            eventually(lambda: strikes() > before + 2)
            self.assertIn(standing, self.text(place))

        with subprocess.Popen((ZELSIM, "run", "--", ZELCTL, "monitor"), stdout=subprocess.DEVNULL) as monitor:
            self.click("#lines li.struck .line")
            self.press("#lines .details button", "Fail the next one")
            stays("#lines .details .refusal")
            self.click("#tab-faults")
            for name, value in (("node", "i2c"), ("request", "BufRead"), ("from", "0x9e")):
                self.choose(f"#fault-form [name={name}]", value)
            self.says("#fault-form code", "i2c:BufRead@0x9e")
            self.click("#fault-form .main")
            stays("#fault-form .refusal")
            zelsim("heal 1")
            self.goes("#fault-form .refusal")
            self.click("#tab-requests")
            self.goes("#lines .details .refusal")
            monitor.terminate()

    def test_a_server_that_hangs_is_noticed(self):
        self.open("")
        zelsim("plug 26 10g-sr")
        self.select("port26")
        self.find("#inspector [name=los26]")
        clock = lambda: self.text("[data-strip=clock]")
        self.addCleanup(self.server.send_signal, signal.SIGCONT)
        self.server.send_signal(signal.SIGSTOP)
        self.click("#inspector [name=los26][value='1']")
        self.find("#board-view.away")
        self.says("#trouble", "Nothing has come from zelsim serve since")
        # The act on the way ends, and says that it may still be done.
        self.says("#inspector [data-key=refusal-los26]", "may still do this")
        self.goes("#inspector .pending")
        stopped = clock()
        # It tells when the server was heard last, as the line does.
        minutes, seconds = re.search(r"since \d\d:(\d\d):(\d\d)", self.text("#trouble")).groups()
        at, second = re.search(r"\d\d:(\d\d):(\d\d) UTC", stopped).groups()
        apart = (60 * (int(minutes) - int(at)) + int(seconds) - int(second)) % 3600
        self.assertIn(apart, (0, 1, 2, 3599))
        time.sleep(1.5)
        self.assertEqual(clock(), stopped)
        self.server.send_signal(signal.SIGCONT)
        self.goes("#board-view.away")
        self.goes("#inspector .refusal")
        eventually(lambda: clock() != stopped)
        self.hides("#trouble")

    def test_a_page_that_slept_raises_no_alarm(self):
        self.browser.execute_cdp_cmd("Page.setBypassCSP", {"enabled": True})
        self.watch_with_own_stream()
        self.on_page("window.alarms = 0; const trouble = document.querySelector('#trouble');"
                     "new MutationObserver(() => { alarms += trouble.hidden ? 0 : 1; }).observe(trouble, {attributes: true});")
        # Page and server sleep together, as on a machine that is suspended: the page waits for somebody who never answers.
        self.server.send_signal(signal.SIGSTOP)
        with socket.create_server(("127.0.0.1", 0)) as other:
            threading.Timer(8, other.close).start()
            self.on_page("const request = new XMLHttpRequest(); request.open('GET', arguments[0], false); try { request.send(); } catch {}",
                         f"http://127.0.0.1:{other.getsockname()[1]}")
        time.sleep(1.5)
        self.server.send_signal(signal.SIGCONT)
        self.assertEqual(self.on_page("return alarms"), 0)

    def test_the_clock_of_a_quiet_board_is_right_at_once(self):
        self.open("")
        wrong = "return (Date.now() - Date.parse(document.querySelector('[data-strip=clock]').innerText" \
                ".replace('Clock ', '').replace(/\\s+(?=\\d\\d:)/, 'T').replace(' UTC', 'Z'))) / 1000"
        time.sleep(4)
        self.open("")
        self.says("[data-strip=clock]", "UTC")
        late = self.on_page(wrong)
        self.assertTrue(-1.5 < late < 2.5, late)

    def test_the_line_that_says_why_moves_and_covers_nothing(self):
        self.open("")
        self.end()
        self.says("#trouble", "default: No connection since")
        self.says("#requests-empty", "Nothing is recorded until the board is there again.")
        places = "const trouble = document.querySelector('#trouble'); const panel = document.querySelector('#panel');" \
                 "const {bottom} = trouble.getBoundingClientRect(); const top = () => panel.getBoundingClientRect().top;" \
                 "const before = top(); trouble.hidden = true; const without = top(); trouble.hidden = false;" \
                 "return [before === without, bottom <= before, innerWidth]"
        for width in (360, 390, 768, 1440):
            self.resize(width, 900)
            eventually(lambda: self.on_page(places) == [True, True, width])

    def refuse_port_5(self, port=55):
        """Acts on port 5 go to a port that is none, or has no cage, whatever the page knows."""
        self.on_page(r"""window.real = fetch; const [port] = arguments; const moved = (body) => body.replace(/"port":("?)5\b/, `"port":$1${port}`);
                     window.fetch = (path, options) => real(path, options?.body ? {...options, body: moved(options.body)} : options)""", port)

    def test_refusals_are_seen_where_the_act_was(self):
        self.open("")
        # A module that is placed on a port without a cage.
        self.keys("c")
        self.find("#catalogue input:focus")
        self.click("#catalogue [data-key='1g-lx']")
        self.find(".placing #panel")
        self.click("[data-part=port9]")
        self.says("#inspector [data-key=refusal-plug9]", "port: 9 has no cage")
        # The only module that is found is chosen by Enter.
        self.keys("c")
        self.find("#catalogue input:focus")
        self.keys("1g-lx", Keys.ENTER)
        self.find(".placing #panel")
        self.keys(Keys.ESCAPE, Keys.ESCAPE)
        # One port of several: the others are done, and a change elsewhere leaves the refusal.
        for line in ("plug 5 1g-sx", "plug 6 1g-sx", "plug 24 10g-sr"):
            zelsim(line)
        self.find("[data-part=port24][aria-label*='10g-sr']")
        self.select("port5")
        self.find("#inspector [name=los5]")
        self.refuse_port_5()
        self.click("#inspector [name=los5][value='1']")
        self.says("#inspector [data-key=refusal-los5]", "'55' is not")
        zelsim("set los 24 1")
        self.find("[data-part=port24][aria-label*='no light']")
        self.shows("#inspector [data-key=refusal-los5]")
        # A slider goes back to what holds.
        before = self.property("[name=rx_power5]", "value")
        self.put("[name=rx_power5]", "-30")
        self.says("#inspector [data-key=refusal-rx_power5]", "'55' is not")
        self.holds("[name=rx_power5]", before)
        # A slider that has the focus follows what is done elsewhere, and a key goes on from there.
        self.on_page("window.fetch = real")
        for name, line, values in (("temperature5", "set module-temperature 5", (50, 50.5, 20, 20.5)),
                                   ("voltage5", "set voltage 5", (3.1, 3.11, 3.4, 3.41))):
            slider = f"#inspector [name={name}]"
            self.find(slider)
            self.focus(slider)
            at = lambda: float(self.property(slider, "value"))
            before = at()
            self.keys(Keys.RIGHT)
            eventually(lambda: at() > before)
            self.says("#notices", f"zelsim {line}")
            for to, then in (values[:2], values[2:]):
                zelsim(f"{line} {to}")
                eventually(lambda: at() == to)
                self.keys(Keys.RIGHT)
                self.says("#notices", f"zelsim {line} {then}")
                eventually(lambda: at() == then)
            self.keys("u")
            eventually(lambda: at() == values[2])
            self.keys(Keys.RIGHT)
            eventually(lambda: at() == values[3])
        # While it is dragged it stays under the pointer.
        self.on_page("document.querySelector('#inspector [name=voltage5]').scrollIntoView({block: 'center'})")
        self.pointer().click_and_hold(self.element("#inspector [name=voltage5]")).move_by_offset(20, 0).perform()
        eventually(lambda: at() != values[3] and self.text("#notices") == f"zelsim set voltage 5 {at():g}")
        held = at()
        zelsim("set voltage 5 3.05")
        time.sleep(0.3)
        self.assertEqual(at(), held)
        self.pointer().release().perform()
        eventually(lambda: at() == 3.05)
        self.focus("[data-part=port6]")
        self.keys(Keys.SPACE)
        self.refuse_port_5(9)
        self.click("#inspector [name=los-all][value='1']")
        self.says("#inspector [data-key=refusal-los-all]", "1 of 2 refused: port: 9 has no cage")
        self.find("[data-part=port6][aria-label*='no light']")

    def test_why_there_is_no_stream(self):
        self.end()
        self.words = ()
        self.start(str(self.port))
        # The rack has a help, too.
        self.browser.get(self.address)
        self.find("#rack-view .rack li")
        self.keys("?")
        self.find("#help[open]")
        # Trouble first; by name where the address says so.
        for name in ("b10", "b2", "a1"):
            zelsim("create " + name)
        zelsim("set supply 1 failed --board b2")
        zelsim("fail i2c --board b10")
        names = "return [...document.querySelectorAll('.rack b')].map((one) => one.innerText)"
        eventually(lambda: self.on_page(names) == ["b2", "b10", "a1", "default"])
        self.choose(".sorting", "name")
        # What goes with a board is named; where nothing was saved there is no word of it.
        zelsim("plug 24 10g-sr --board a1")
        zelsim("save kept --board b2")
        for name, named, other in (("a1", "10g-sr in port 24", "saved state"), ("b2", "1 saved state: kept", "module")):
            self.click(f"[aria-label='Delete board {name}']")
            self.says("dialog.confirm[open]", named)
            self.assertNotIn(other, self.text("dialog.confirm[open]"))
            self.keys(Keys.ESCAPE)
            self.goes("dialog.confirm[open]")
        are_by_name = lambda: self.on_page(names) == ["a1", "b2", "b10", "default"]
        eventually(are_by_name)
        self.browser.refresh()
        eventually(are_by_name)
        # The first stop of the tab key leads to the boards. A refusal stands beside its form; a board that was made has the focus.
        self.find("#boards li")
        self.focus(".skip")
        self.assertEqual(self.text(".skip"), "To the boards")
        self.keys(Keys.ENTER)
        eventually(lambda: self.on_page("return document.activeElement.id") == "boards")
        make = "document.querySelector('#rack-view form input').value = arguments[0]; document.querySelector('#rack-view form .main').click()"
        self.on_page(make, "b2")
        self.says("#rack-view form .refusal", "cannot make board b2: it exists already")
        self.on_page(make, "bench")
        eventually(lambda: self.on_page("return document.activeElement.closest('li')?.dataset.key") == "board-bench")
        self.goes("#rack-view .refusal")
        self.assertIn("Open", self.text("[data-key=board-bench]"))
        # A search that would hide it ends. Whoever opens it and comes back is there again.
        self.choose("#rack-view [type=search]", "b2")
        eventually(lambda: self.on_page(names) == ["b2"])
        self.on_page(make, "rig")
        rig = "return document.activeElement.closest('li')?.dataset.key"
        eventually(lambda: self.on_page(rig) == "board-rig")
        self.assertEqual(self.property("#rack-view [type=search]", "value"), "")
        self.keys(Keys.ENTER)
        self.find("[data-part=port0]")
        self.browser.back()
        eventually(lambda: self.on_page(rig) == "board-rig")
        # A board that goes while there is no server is gone.
        self.end()
        zelsim("delete rig")
        self.start(str(self.port))
        eventually(lambda: self.on_page(names) == ["a1", "b2", "b10", "bench", "default"])
        self.browser.get(self.address + "?board=nosuch")
        self.says("#trouble", "No board nosuch (make it with: zelsim create nosuch).")
        self.find("#trouble a[href='/']")
        zelsim("create nosuch")
        self.hides("#trouble")
        # As many streams as can be, when the page's own has ended.
        self.browser.get("about:blank")
        streams = []

        def are_all_taken():
            stream = http.client.HTTPConnection("127.0.0.1", self.port, timeout=60)
            stream.request("GET", "/api/events?board=default")
            if stream.getresponse().status == 200:
                streams.append(stream)
            else:
                stream.close()
            return len(streams) == 64

        eventually(are_all_taken)
        self.browser.get(self.address + "?board=default")
        self.says("#trouble", "Too many pages are open")
        for stream in streams:
            stream.sock.shutdown(socket.SHUT_RDWR)
            stream.close()
        self.find("[data-part=port0]")
        self.hides("#trouble")

    def test_a_board_of_another_version_is_told_so(self):
        self.end()
        self.words = ()
        zelsim("create old")
        with open(f"{os.environ['ZELSIM_HOME']}/old/state", "r+b") as state:
            state.seek(8)
            state.write(b"\x01")
        self.start(str(self.port))
        why = "oard old cannot be opened: the state file has the version of another zelsim"
        self.browser.get(self.address)
        self.says("[data-key=board-old]", why)
        self.browser.get(self.address + "?board=old")
        self.says("#trouble", why)

    def test_a_finger_drags_a_slider_and_scrolls_over_it(self):
        zelsim("plug 3 1g-sx")
        self.browser.execute_cdp_cmd("Emulation.setTouchEmulationEnabled", {"enabled": True, "maxTouchPoints": 1})
        self.addCleanup(self.browser.execute_cdp_cmd, "Emulation.setTouchEmulationEnabled", {"enabled": False})
        self.resize(390, 844)
        self.open("?select=port3")
        slider = "#inspector [name=temperature3]"
        self.find("#inspector [data-key=identification]")
        set_to = lambda: float(zelsim("get diagnostics.3.temperature"))
        # The controls are a sheet of their own, which scrolls; beyond its end the page does.
        scrolled = "scrollY + document.querySelector('#inspector').scrollTop"

        def touch(kind, *points):
            points = [{"x": x, "y": y} for x, y in points]
            self.browser.execute_cdp_cmd("Input.dispatchTouchEvent", {"type": kind, "touchPoints": points})

        for right, down, changes, scrolls in ((120, 4, True, False), (40, 150, False, True)):
            before = set_to()
            place = self.on_page("const slider = document.querySelector(arguments[0]); slider.scrollIntoView({block: 'center'});"
                                 "const {x, y, height} = slider.getBoundingClientRect(); return [x, y + height / 2, " + scrolled + "]", slider)
            x, y, top = place
            touch("touchStart", (x + 60, y))
            for step in range(1, 11):
                touch("touchMove", (x + 60 + right * step / 10, y + down * step / 10))
            touch("touchEnd")
            eventually(lambda: (abs(self.on_page("return " + scrolled) - top) > 60) == scrolls)
            eventually(lambda: float(self.property(slider, "value")) == set_to() and (set_to() != before) == changes)

    def test_an_act_on_several_ports_is_undone_as_one(self):
        for port in (1, 3, 5):
            zelsim(f"plug {port} 1g-sx")
        self.open("?select=port1,port3,port5&tab=activity")
        dark = "return document.querySelectorAll(\"[data-part][aria-label*='no light']\").length"
        for undo in (lambda: self.keys("u"), lambda: self.click("#foot button[title='Undo (u)']")):
            self.click("#inspector [name=los-all][value='1']:not(:checked)")
            self.says("#foot", "ports 1, 3, 5: set loss-of-signal 1")
            eventually(lambda: self.on_page(dark) == 3)
            undo()
            self.says("#foot", "undone: ports 1, 3, 5")
            eventually(lambda: self.on_page(dark) == 0)
        # A page that is loaded anew knows it, too.
        self.click("#inspector [name=los-all][value='1']:not(:checked)")
        eventually(lambda: self.on_page(dark) == 3)
        self.browser.refresh()
        self.says("#foot", "ports 1, 3, 5: set loss-of-signal 1")
        self.keys("u")
        self.says("#foot", "undone: ports 1, 3, 5")
        eventually(lambda: self.on_page(dark) == 0)
        # What is undone comes back by the undo of its own line, and then that can be undone.
        self.click("#activity [aria-label^='Undo: undone: ports']")
        self.says("#foot", "redone: ports 1, 3, 5")
        eventually(lambda: self.on_page(dark) == 3)
        self.keys("u")
        self.says("#foot", "undone: ports 1, 3, 5")
        self.keys("u")
        self.find("[data-part=port5][aria-label*='empty']")

    def test_back_leads_to_what_was_looked_at(self):
        self.open("?tab=requests")
        for step in ("[data-part=port3]", "#tab-flash", "[data-part=supply2]", "#tab-faults"):
            self.click(step)
        self.click("#tab-requests")
        self.focus("#requests-text")
        self.keys("busy", Keys.TAB)
        for part, tab in (("supply2", "faults"), ("supply2", "flash"), ("port3", "flash"), ("port3", "requests")):
            self.browser.back()
            self.find(f"[data-part={part}][aria-pressed=true]")
            self.find(f"#tab-{tab}[aria-selected=true]")
        self.browser.back()
        self.says("#inspector h2", "Board default")
        self.browser.forward()
        self.find("[data-part=port3][aria-pressed=true]")
        # The arrow keys go through the tabs in one step.
        self.focus("#tab-requests")
        self.keys(Keys.ARROW_RIGHT, Keys.ARROW_RIGHT, Keys.ARROW_RIGHT)
        self.find("#tab-activity[aria-selected=true]")
        self.browser.back()
        self.says("#inspector h2", "Board default")

    def test_a_fault_by_chance(self):
        self.open("")
        self.click("#tab-faults")
        for name, value in (("count", ""), ("probability", "0.25"), ("seed", "7")):
            self.put(f"#fault-form input[name={name}]", value)
        self.says("#fault-form code", "--probability 0.25 --seed 7")
        self.click("#fault-form .main")
        self.says("#fault-table", "by chance: 25 %, seed 7")
        fault = json.loads(zelsim("show --json"))["faults"][0]
        self.assertEqual((fault["probability"], fault["seed"]), (0.25, 7))

    def test_arrow_keys_choose_and_enter_does(self):
        self.open("?select=supply1")
        self.focus("#inspector [value=ac]")
        self.keys(Keys.ARROW_RIGHT, Keys.ARROW_RIGHT)
        self.find("#inspector .moved [value=failed]:checked:focus")
        self.keys(Keys.TAB)
        self.find("#inspector [value=ac]:checked")
        self.focus("#inspector [value=ac]")
        self.keys(Keys.ARROW_LEFT, Keys.ENTER)
        self.says("#foot", "zelsim set supply 1 none")
        self.assertEqual(len([line for line in json.loads(zelsim("show --json"))["supplies"] if line["type"] == "none"]), 1)
        self.assertEqual(self.on_page("return document.querySelectorAll('#foot .told').length"), 1)

    def focused(self):
        return self.on_page("return document.activeElement.getAttribute('aria-label') || document.activeElement.id")

    def test_tabs_are_filled_however_they_are_reached(self):
        zelsim("plug 3 1g-sx")
        tabs = [("activity", 4, "#activity li"), ("commands", 5, "#commands form"), ("faults", 3, "#fault-form select")]
        ways = [lambda name, _: self.open(f"?tab={name}"), lambda name, _: self.click(f"#tab-{name}"), lambda _, number: self.keys(str(number))]
        for _ in ways:
            for way, (name, number, content) in zip(ways, tabs):
                way(name, number)
                self.shows(content)
            tabs.append(tabs.pop(0))

    def test_focus_stays_near_what_goes(self):
        self.open("")
        self.keys("s", Keys.ESCAPE)
        eventually(lambda: self.focused() == "Front panel")
        for target in ("i2c", "gpio"):
            zelsim(f"fail {target}")
        for change in ("plug 3 1g-sx", "plug 5 1g-lx"):
            zelsim(change)
        for tab, first, then in (("faults", "Clear fault 1", ("Clear fault 2", "tab-faults")),
                                 ("activity", "Undo: zelsim plug 5 1g-lx", ("Undone: zelsim plug 5 1g-lx",))):
            self.click("#tab-" + tab)
            button = f"#view-{tab} [aria-label='{first}']"
            self.find(button)
            self.focus(button)
            for name in then:
                self.keys(Keys.ENTER)
                eventually(lambda: self.focused() == name)

    def acts(self):
        """The acts that the activity shows, the last one first."""
        return self.on_page("return [...document.querySelectorAll('#activity code')].map((one) => one.innerText)")

    def test_no_row_of_a_list_lies_on_the_next(self):
        for line in ("plug 3 1g-sx", "set los 3 1", "set supply 2 failed", "set lm75 absent", "fail gpio --skip 77",
                     "fail i2c:BufRead@0x9e --result busy --count 300000 --skip 3000 --probability 0.25 --seed 1234567"):
            zelsim(line)
        acts = [{"action": "set busy", "value": value} for value in (1, 0)]
        self.assertEqual(self.ask("/api/together", json.dumps({"acts": acts, "title": "a long title " * 20}))[0], 200)
        wrong = """const box = (node) => { const range = document.createRange(); range.selectNodeContents(node);
            return range.getBoundingClientRect(); };
            const bottom = (row) => Math.max(...[row, ...row.querySelectorAll(':not(.what *)')]
                .filter((one) => one.checkVisibility()).map((one) => one.getBoundingClientRect().bottom));
            const rows = [...document.querySelectorAll(arguments[0])].filter((row) => row.checkVisibility());
            const onNext = rows.filter((row, i) => i > 0 && bottom(rows[i - 1]) > row.getBoundingClientRect().top + 1);
            const touches = (parts) => parts.some((part, i) => i > 0 && box(part).top < box(parts[i - 1]).bottom - 1 &&
                box(part).bottom > box(parts[i - 1]).top + 1 && box(part).left < box(parts[i - 1]).right + 4 &&
                box(part).right > box(parts[i - 1]).left - 4);
            const inRow = rows.filter((row) => touches([...row.querySelectorAll(':scope > .time, :scope > .program')]));
            return rows.length < 2 ? 'none' : [...onNext, ...inRow].map((row) => row.innerText)"""
        self.open("")
        for tab, rows in ((None, ".troubles > li"), ("activity", "#activity > li"), ("faults", "#fault-table tr"), ("requests", "#lines > li")):
            if tab:
                self.click(f"#tab-{tab}")
            for width in (390, 768, 1024, 2560):
                with self.subTest(width=width, tab=tab):
                    self.resize(width, 900)
                    eventually(lambda: self.on_page(wrong, rows) != "none" or (tab == "requests" and on_switch(ZELCTL, "ports") and False))
                    self.assertEqual(self.on_page(wrong, rows), [])

    def test_the_activity_stays_under_the_pointer(self):
        self.open("?tab=activity")
        acts = ["zelsim set supply 2 dc", "zelsim set busy 1", "zelsim set temperature 52"]
        for line in reversed(acts):
            zelsim(line.removeprefix("zelsim "))
        eventually(lambda: self.acts() == acts)
        self.hover("#activity [aria-label='Undo: zelsim set busy 1']")
        zelsim("set settle 7")
        self.says("#activity-new", "1 new")
        self.assertEqual(self.acts(), acts)
        # A click does what its row says, and once.
        for _ in range(3):
            self.pointer().click().perform()
        self.says("#activity-new", "2 new")
        self.find("#activity [aria-label='Undone: zelsim set busy 1']")
        self.assertEqual(self.acts(), acts)
        self.hover("#tab-activity")
        acts = ["undone: set busy 1", "zelsim set settle 7", *acts]
        eventually(lambda: self.acts() == acts)
        # So does a key, and the focus stays.
        self.focus("#activity [aria-label='Undo: zelsim set temperature 52']")
        self.keys(Keys.ENTER, Keys.ENTER)
        self.says("#activity-new", "1 new")  # if the next act came before it, nothing would be undone
        zelsim("set temperature 30")
        self.says("#activity-new", "2 new")
        self.assertEqual(self.acts(), acts)
        self.assertEqual(self.focused(), "Undone: zelsim set temperature 52")
        self.click("#activity-new")
        eventually(lambda: self.acts() == ["zelsim set temperature 30", "undone: set temperature 52", *acts])
        # In the line at the bottom a second click meets the act that the first has undone.
        self.hover("#foot button[title='Undo (u)']")
        self.pointer().double_click().perform()
        self.says("#foot .undo", "Undone")
        self.hover("#tab-activity")
        self.says("#foot", "undone: set temperature 30")
        self.assertEqual(len(self.acts()), 8)

    def undo_elsewhere(self, undoes, newest, title, action, **fields):
        body = {"acts": [{"action": action, **fields}], "title": "undone: " + title, "whole": True, "undoes": undoes,
                "newest": newest}
        self.assertEqual(self.ask("/api/together", json.dumps(body))[0], 200)

    def module_in(self, port):
        """Empty while there is no cage."""
        asked = subprocess.run((ZELSIM, "get", f"cages.{port}.module"), stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        return asked.stdout.strip()

    def test_the_log_says_what_can_be_undone(self):
        self.open("?tab=activity")
        # What another page has undone is undone here, too.
        for line in ("set busy 1", "set settle 7", "set settle 7"):
            zelsim(line)
        self.undo_elsewhere(2, 3, "set settle 7", "set settle", milliseconds=200)
        self.find("#activity [aria-label='Undone: zelsim set settle 7']")
        zelsim("save here")
        eventually(lambda: self.acts()[0] == "zelsim save here")
        self.keys("u")
        self.says("#foot", "undone: set busy 1")
        self.says("#foot .refusal", "Undone is zelsim set busy 1: zelsim save here came later and cannot be undone.")
        self.click("#bar-acts [title='Undo the last act (u)']")
        self.says("#bar-acts .refusal", "The last act, zelsim save here, cannot be undone.")
        # An act of another page comes in between.
        zelsim("set busy 1")
        self.find("#activity [aria-label='Undo: zelsim set busy 1']:not([aria-disabled])")
        self.goes("#bar-acts .refusal")
        self.on_page("""const real = fetch; const [body] = arguments; window.fetch = async (path, options) => {
                     window.fetch = real; await real('/api/together', {method: 'POST', body}); return real(path, options)}""",
                     json.dumps({"acts": [{"action": "set busy", "value": 0}], "title": "undone: set busy 1", "undoes": 7}))
        self.click("#bar-acts [title='Undo the last act (u)']")
        self.says("#bar-acts .refusal", "zelsim set busy 1 is undone already")
        time.sleep(0.2)
        self.shows("#bar-acts .refusal")
        # An act whose things were changed again waits for the later one.
        for line in ("plug 1 1g-cx", "plug 3 1g-sx", "set los 3 1", "plug 1 10g-lr", "plug 1 10g-lr", "fit 3 sfp"):
            zelsim(line)
        self.find("#activity [aria-label='Undo: zelsim fit 3 sfp']")  # an act that comes after a refusal ends it
        for earlier, later in (("plug 1 1g-cx", "plug 1 10g-lr"), ("plug 3 1g-sx", "set loss-of-signal 3 1")):
            button = f"#activity [aria-label='Undo: zelsim {earlier}'][aria-disabled]"
            self.find(button)
            self.assertEqual(self.property(button, "title"), f"Undo the later act first: zelsim {later}")
            self.click(button)
            self.says("#activity .refusal", later)
        self.assertEqual(self.module_in(1), "10g-lr")
        self.assertEqual(len(self.on_page("return document.querySelectorAll('#activity .undo[aria-disabled]')")), 5)
        self.click("#activity [aria-label='Undo: zelsim plug 1 10g-lr']")
        self.click("#activity [aria-label='Undo: zelsim plug 1 1g-cx']:not([aria-disabled])")
        eventually(lambda: self.module_in(1) == "-")
        # A fault that was cleared comes back as another one.
        for line in ("fail gpio", "heal 1"):
            zelsim(line)
        self.find("#activity [aria-label='Undo: zelsim heal 1']")
        self.keys("u")
        self.says("#foot", "undone: heal 1")
        self.keys("u")
        self.says("#foot", "undone: fit 3 sfp")
        # A refusal stands beside its entry.
        zelsim("plug 5 1g-sx")
        self.refuse_port_5()
        self.click("#activity [aria-label='Undo: zelsim plug 5 1g-sx']")
        self.says("#activity li:has([aria-label='Undo: zelsim plug 5 1g-sx']) .refusal", "'55' is not")
        self.goes("#foot .refusal")

    def test_what_an_undo_brings_back_of_a_board(self):
        zelsim("plug 3 1g-sx")
        on_switch(ZELCTL, "cage", "3", "--tx-disable", "off")
        self.open("?select=slot1")
        self.click("#inspector [value=none]")
        self.says("dialog.confirm[open]", "modules back; their transmitters are then off")
        self.click("dialog.confirm .danger")
        self.says("#foot", "fit 1 none")
        self.keys("u")
        eventually(lambda: self.module_in(3) == "1g-sx")
        self.assertEqual(zelsim("get cages.3.tx_disable").strip(), "1")

    def test_no_undo_goes_back_beyond_a_reset(self):
        zelsim("save here")
        self.open("?tab=activity")
        for line, why in (("reset", "zelsim reset cannot be undone"), ("load here", "zelsim load here cannot be undone"),
                          ("delete", "Since the board was made there is nothing to undo")):
            for earlier in ("plug 25 10g-sr", "set settle 7", "unplug 25"):
                zelsim(earlier)
            self.find("#activity [aria-label='Undo: zelsim unplug 25']")
            zelsim(line)
            if line == "delete":
                zelsim("create --slots sfp,copper,none")
            self.goes("#activity .undo")
            self.keys("u")
            self.says("#foot .refusal", why)
            # What comes then can be undone, up to there.
            zelsim("set busy 1")
            self.goes("#foot .refusal")
            self.keys("u", "u")
            self.says("#foot .refusal", why)
            self.assertEqual(self.module_in(25), "-")
        # A reason goes with the next act that gives another one.
        zelsim("reset")
        self.says("#foot", "zelsim reset")
        self.goes("#foot .refusal")

    def test_states_by_keyboard(self):
        self.open("")
        zelsim("save before")
        self.keys("s")
        # The focus stays in the list.
        forget = "#states [data-key=before] .danger"
        self.focus(forget)
        self.keys(Keys.ENTER)
        self.find("dialog.confirm[open]")
        self.keys(Keys.TAB, Keys.ENTER)
        self.goes(forget)
        self.find("#states input:focus")
        # A bad name is said in words.
        self.keys("two words", Keys.ENTER)
        self.says("#states form .refusal", "'two words' is no name (letters, digits,")
        self.keys("s")
        self.goes("#states form .refusal")

    def test_going_back_loses_the_sectors_that_differ(self):
        self.open("?select=sector300")
        self.says("#inspector .hex", "ff ff")
        image = f"{self.home}/image"
        with open(image, "wb") as file:
            file.write(b"kept")

        def write(address):
            on_switch(ZELCTL, "flash", "write", address, image, "--yes")

        def question():
            self.keys("s")
            self.click("#states [data-key=here] button")
            self.says("dialog.confirm[open]", "Go back to “here”?")
            return self.text("dialog.confirm[open]")

        write("0x400000")
        zelsim("plug 1 1g-sx")
        zelsim("save here")
        self.assertIn("The board is as it was saved.", question())
        self.keys(Keys.ESCAPE, Keys.ESCAPE)
        zelsim("plug 3 1g-lx")
        zelsim("fail gpio --count 1")
        write("0x500000")
        eventually(lambda: json.loads(self.ask("/api/flash/difference?state=here")[1])["sectors"] == [80])
        asked = question()
        self.assertIn("1 sector of the flash", asked)
        self.assertIn("1 module: 1g-lx in port 3\n1 fault\n", asked)
        # A program that goes on meanwhile is followed.
        zelsim("heal")
        write("0x600000")
        self.says("dialog.confirm[open]", "2 sectors of the flash")

    def test_alarms_that_hold_and_those_that_were(self):
        self.open("")
        zelsim("plug 3 1g-sx")
        self.select("port3")
        told = "#inspector [data-key=tx_power] small"
        self.says(told, "low alarm: below −11.5 dBm, as the transmitter is off")
        self.find("#inspector [data-key=tx_power].explained")
        on_switch(ZELCTL, "cage", "3", "--tx-disable", "off")
        self.says(told, "within −9.5 to −3 dBm; low alarm latched")
        # On the panel stand the alarms that hold, by a sign and in words.
        self.goes("[data-block=slot1] use[href^='#sign-'][href$=w]")
        for value, sign, words in (("-60", "low", "module temperature: low alarm"), ("110", "high", "module temperature: high alarm")):
            zelsim(f"set module-temperature 3 {value}")
            self.find(f"[data-block=slot1] use[href='#sign-{sign}']")
            self.find(f"[data-part=port3][aria-label*='{words}']")
        self.find("#inspector [data-key=temperature].bad")
        # A warning has a sign of its own.
        for value, sign in (("-8", "low"), ("78", "high")):
            zelsim(f"set module-temperature 3 {value}")
            self.find(f"[data-block=slot1] use[href='#sign-warn-{sign}']")
            self.find(f"[data-part=port3][aria-label*='module temperature: {sign} warning']")
            self.goes(f"[data-block=slot1] use[href='#sign-{sign}']")

    def test_what_is_wrong_is_listed_and_leads_there(self):
        self.open("")
        self.says("#inspector .all-well", "All is well")
        zelsim("plug 3 1g-sx")
        on_switch(ZELCTL, "cage", "3", "--tx-disable", "off")
        on_switch(ZELCTL, "led", "set", "alarm", "on")
        for act in ("set los 3 1", "set supply 1 none", "set supply 2 failed", "set lm75 absent", "fail i2c:BufRead@0x9e"):
            zelsim(act)
        for key, words, there in (("led-alarm", "lit", "LED ALM"), ("supply1", "pulled", "Supply 1"),
                                  ("supply2", "AC failed", "Supply 2"), ("port3", "no light", "Port 3"),
                                  ("sensor", "absent", "Temperature sensor")):
            self.says(f"[data-key=trouble-{key}]", words)
            self.click(f"[data-key=trouble-{key}] button")
            self.says("#inspector h2", there)
            self.keys(Keys.ESCAPE)
        self.click("#tab-activity")
        self.click("[data-key=trouble-fault1] button")
        self.shows("#fault-table table")

    def test_numbers_that_grow_move_nothing(self):
        self.watch_with_own_stream()
        places = "return [...document.querySelectorAll('.reading')].map((one) => one.offsetLeft)"

        def places_at(rate):
            self.say({"rate": rate})
            shows = "return document.querySelector('[data-strip=requests] .value').innerText"
            eventually(lambda: self.on_page(shows) == f"{rate:,}/s" or self.say({"rate": rate}))
            return self.on_page(places)

        self.assertEqual(places_at(7), places_at(12943))

    def test_the_requests_are_drawn_near_what_is_seen(self):
        self.watch_requests()
        on_switch(ZELCTL, "ports")

        def numbers():
            return self.on_page("return [...document.querySelectorAll('#lines > li')].map((line) => Number(line.dataset.number))")

        def told():
            return int(self.text("#requests-told") or 0)

        def is_scrolled_to_the_first():
            self.on_page("document.querySelector('#lines').scrollTop = 0")
            return numbers()[:1] == [1]

        eventually(lambda: told() > 200)
        eventually(lambda: numbers()[-1:] == [told()])
        self.assertLessEqual(len(numbers()), 80)
        # Whoever scrolls up sees the earlier ones, and new ones wait.
        eventually(is_scrolled_to_the_first)
        drawn = len(numbers())
        on_switch(ZELCTL, "temperature")
        self.click("#requests-new:not([hidden])")
        eventually(lambda: len(numbers()) < drawn)
        eventually(lambda: numbers()[-1] == told())

    def test_the_requests_stay_at_the_newest(self):
        def is_at_newest():
            return self.on_page("const list = document.querySelector('#lines'); const last = list.lastChild?.dataset.number;"
                                "return last > 0 && last === document.querySelector('#requests-told').innerText &&"
                                "list.scrollHeight - list.scrollTop - list.clientHeight < 2")

        self.watch_requests()
        seen = 0
        for width, height in ((1440, 900), (1440, 720), (1440, 1300), (900, 700), (1440, 900)):
            self.resize(width, height)
            on_switch(ZELCTL, "ports")
            eventually(lambda: int(self.text("#requests-told") or 0) > seen)
            eventually(is_at_newest)
            seen = int(self.text("#requests-told"))

    def test_the_requests_are_one_stop_of_the_tab_key(self):
        self.watch_requests()
        on_switch(ZELCTL, "ports")
        eventually(lambda: int(self.text("#requests-told") or 0) > 50)
        number = "return Number(document.activeElement.parentNode.dataset.number ?? -1)"
        stops = "return document.querySelectorAll('#lines[tabindex=\"0\"], #lines .line[tabindex=\"0\"]').length"
        self.focus("#lines")
        self.keys(Keys.ARROW_UP)
        newest = self.on_page(number)
        self.assertGreater(newest, 50)
        for key, where in ((Keys.ARROW_UP, newest - 1), (Keys.HOME, 1), (Keys.ARROW_DOWN, 2)):
            self.keys(key)
            self.assertEqual(self.on_page(number), where)
            self.assertEqual(self.on_page(stops), 1)
        self.keys(Keys.END)
        newest = self.on_page(number)
        self.keys(Keys.ENTER)
        self.find("#lines .details")
        # A line that is read keeps the focus while others come.
        on_switch(ZELCTL, "temperature")
        self.shows("#requests-new")
        self.assertEqual(self.on_page(number), newest)
        self.click("#requests-new")
        eventually(lambda: self.on_page("return document.activeElement.id") == "lines")

    def test_the_filter_keeps_what_is_shown(self):
        self.watch_requests("&regex=1")
        on_switch(ZELCTL, "ports")
        eventually(lambda: int(self.text("#requests-told") or 0) > 200)
        self.focus("#requests-text")
        shown = "const {top} = document.querySelector('#lines').getBoundingClientRect();" \
                "return [top, ...[...document.querySelectorAll('#lines > li')].map((line) => line.dataset.number)]"
        self.keys("Buf")
        self.says("#requests-told", " of ")
        before = self.on_page(shown)
        # An expression that is not complete changes nothing, and Escape leaves the field with it.
        self.keys("([")
        self.says("#requests-told", "not valid")
        self.says("#requests-wrong", "unterminated character class")
        self.shows("#requests-wrong")
        self.assertEqual(self.on_page(shown), before)
        self.keys(Keys.ESCAPE)
        self.find("#lines:focus")
        self.assertEqual(self.property("#requests-text", "value"), "Buf([")
        # An opened line stays in view.
        self.click("#lines > li:nth-last-child(3) .line")
        in_view = "const line = document.querySelector('#lines [aria-expanded=true]'); const {top, bottom} = line.getBoundingClientRect();" \
                  "return innerHeight === arguments[0] && top >= 0 && bottom < innerHeight + 1"
        for width, height in ((1024, 700), (1440, 900), (1000, 640)):
            self.resize(width, height)
            eventually(lambda: self.on_page(in_view, height))

    def watch_with_own_stream(self, query=""):
        """The page's stream of events is within reach: `say` sends on it what the server would."""
        keep = "delete window.SharedWorker; const Source = EventSource;" \
               "window.EventSource = class extends Source { constructor(...all) { super(...all); window.source = this; } }"
        script = self.browser.execute_cdp_cmd("Page.addScriptToEvaluateOnNewDocument", {"source": keep})
        self.addCleanup(self.browser.execute_cdp_cmd, "Page.removeScriptToEvaluateOnNewDocument", script)
        self.watch_requests(query)

    def begin_anew(self):
        """Another stream begins, after one without requests."""
        for tab, ends in (("flash", "false"), ("requests", "true")):
            self.click("#tab-" + tab)
            eventually(lambda: self.on_page(f"return source.url.endsWith('&requests') === {ends}"))

    def say(self, news):
        self.on_page("source.onmessage({data: arguments[0]})", json.dumps(news, separators=(",", ":")))

    def requests_come(self, lines, first=100000):
        self.say({"requests": [{"n": n, "line": line, "result": 0, "us": 5, "program": "prog", "pid": 7, **more}
                               for n, (line, more) in enumerate(lines, first)]})

    def press(self, selector, text):
        self.comes("const found = [...document.querySelectorAll(arguments[0])].find((one) => one.innerText === arguments[1]);"
                   "found?.click(); return found !== undefined", selector, text)

    def test_what_is_found_is_shown_and_saved_as_it_is_shown(self):
        zelsim("plug 3 1g-sx")
        self.watch_with_own_stream("&text=page+A0h")
        on_switch(ZELCTL, "sfp", "show", "3")
        self.says("#lines .what", "BufRead")
        # A line leads to the port that it names.
        self.click("#lines li .line")
        self.click("#lines .details button[title='Select it']")
        self.find("[data-part=port3][aria-pressed=true]")
        self.says("#inspector h2", "Port 3")
        self.click("[data-key=clear]")
        self.requests_come([("gpio 0x51 GetSpeedLed {port=26 value=0} -> {port=26 value=1}", {"reads": "speed led of port 26"}),
                            ("i2c 0x05 BufRead addr=0xa0 len=2 -> 03 04", {"reads": "page A0h of the module in port 3"})])
        # What is looked for may be in several texts of a line, and in words that the line shows only then.
        for text, marks, shown in (("led of", "led of", 1), ("read page a0h", "Read|page A0h", 1), ("port", "port|port|port|port", 2)):
            self.put("#requests-text", text)
            eventually(lambda: self.on_page("return document.querySelectorAll('#lines > li').length") == shown)
            marked = "return [...document.querySelectorAll('#lines mark')].map((one) => one.innerText).join('|')"
            eventually(lambda: self.on_page(marked) == marks)
        self.on_page("URL.createObjectURL = (saved) => { window.saved = saved; return '#'; }; HTMLAnchorElement.prototype.click = () => {}")
        self.click("[data-key=download]")
        saved = self.on_page("return saved.text()")
        self.assertEqual(saved, "prog[7] gpio 0x51 GetSpeedLed {port=26 value=0} -> {port=26 value=1} speed led of port 26 = ok (5 µs)\n"
                                "prog[7] i2c 0x05 BufRead page A0h of the module in port 3 addr=0xa0 len=2 -> 03 04 = ok (5 µs)\n")

    def test_failures_and_changes_outlast_the_others(self):
        self.watch_with_own_stream()
        self.click("[data-key=clear]")
        reads = ("i2c 0x05 BufRead addr=0x9e len=2 -> 1e 00", {})
        failure = (reads[0], {"result": 0xFFFF})
        struck = (reads[0], {"fault": 1})
        change = (reads[0], {"changed": "temperature: 30.0 °C → 31.0 °C"})
        self.requests_come([failure, struck, change] + 3000 * [reads])
        self.requests_come(3000 * [reads], 200000)
        self.says("#requests-told", "5000")
        for result, count in (("failed", "1 of 5002"), ("fault", "1 of 5002"), ("=FW_FAIL", "1 of 5002"), ("changed", "1 of 5001")):
            self.choose("[data-key=filter-result]", result)
            self.says("#requests-told", count)
            eventually(lambda: self.on_page("return document.querySelectorAll('#lines > li').length") == 1)
        # The activity leads to one of them.
        self.choose("[data-key=filter-result]", "")
        self.say({"activity": [{"id": 1, "at": int(1000 * time.time()), "who": "prog[7]", "text": "reads it", "undo": [],
                                "request": 100002}]})
        self.press("#foot button", "Show the request")
        self.says("#lines .line[aria-expanded=true]", "31.0 °C")
        # Another stream begins with what is kept.
        self.choose("[data-key=filter-result]", "")
        self.begin_anew()
        self.says("#requests-empty", "2 failures of before are kept.")
        self.press("#requests-empty button", "Only failures")
        self.says("#requests-told", "1 of ")
        # What the server sends once more is there once.
        self.requests_come([failure])
        self.find("#lines li")
        self.says("#tab-requests", "1 failed")
        self.assertEqual(self.on_page("return document.querySelectorAll('#lines > li').length"), 1)
        for count in (1500, 1501):
            self.requests_come(count * [failure])
            self.says("#tab-requests", f"{count} failed")
            self.begin_anew()
            self.says("#requests-told", "1000 of ")
        self.click("[data-key=clear]")
        self.choose("[data-key=filter-result]", "failed")
        eventually(lambda: self.text("#requests-told") == "")
        # Nobody wants requests any more as soon as the page that did is gone.
        self.on_page("const feed = performance.getEntriesByType('resource').find(({name}) => name.endsWith('/feed.js')).name;"
                     "import(feed).then(({serve}) => { const {port1, port2} = new MessageChannel(); serve(port2);"
                     "window.other = port1; other.postMessage({query: 'board=', requests: true}); })")
        eventually(lambda: self.on_page("return Boolean(window.other)"))
        self.click("#tab-flash")
        self.on_page("setTimeout(() => other.postMessage('ends'), 100)")
        eventually(lambda: self.on_page("return !source.url.endsWith('&requests')"))

    def test_a_program_that_notices_is_shown(self):
        zelsim("plug 5 1g-sx")
        self.watch_requests("&select=port5")
        with subprocess.Popen((ZELSIM, "run", "--", ZELCTL, "monitor"), stdout=subprocess.DEVNULL) as monitor:
            eventually(lambda: int(self.text("#requests-told") or 0) > 50)
            self.click("#inspector [name=los5][value='1']")
            self.says("#foot", "reads port 5: signal → no light")
            monitor.terminate()
        # Both stand in the line at the bottom, which makes no page wider than its window.
        for width in (390, 360):
            self.resize(width, 844)
            eventually(lambda: self.on_page("return document.documentElement.scrollWidth") <= width)
            self.assertGreater(min(self.on_page("return [...document.querySelectorAll('#foot .told')].map((one) => one.clientWidth)")), 60)
        self.resize(1440, 900)
        # The tab is left and opened again before its stream has ended, and begins anew: the line stays open.
        self.on_page("document.querySelector('#tab-faults').click(); setTimeout(() => "
                     "[...document.querySelectorAll('#foot button')].find((one) => one.innerText === 'Show the request').click())")
        time.sleep(1)
        self.says("#lines .changed .line[aria-expanded=true]", "port 5: signal → no light")
        self.says("#lines .changed .details", "Reads signals of slot 1")
        self.assert_no_complaints()

    def test_the_card_keeps_out_of_the_way(self):
        self.open("")
        self.hover("[data-part=port5]")
        self.shows("#card")
        self.pointer().click().perform()
        self.hides("#card")
        self.hover("[data-part=port6]")
        self.shows("#card")
        self.keys("c")
        self.hides("#card")
        self.keys(Keys.ESCAPE)
        # Escape ends a drag.
        for target in ("2", "6"):
            self.click("#bar-acts button")
            self.shows("#catalogue [data-key='1g-lx']")
            module = self.element("#catalogue [data-key='1g-lx']")
            self.pointer().click_and_hold(module).move_to_element(self.element(f"[data-part=port{target}]")).perform()
            self.find(".place.target")
            self.keys(Keys.ESCAPE)
            self.goes(".ghost, .place.target")
            self.pointer().release().perform()
            self.goes(".placing #panel")
            self.shows("#catalogue")
            self.keys(Keys.ESCAPE)
        self.assertNotIn("1g-lx", zelsim("show --json"))

    def test_by_keyboard_alone(self):
        self.open("")
        self.keys("p", Keys.ARROW_RIGHT, Keys.ENTER)
        self.find("[data-part=port2][aria-pressed=true]")
        self.keys("c")
        self.find("#catalogue input:focus")
        self.keys("1g-lx", Keys.TAB, Keys.ENTER)
        self.find(".placing #panel")
        self.keys(Keys.ARROW_RIGHT, Keys.ENTER)
        self.find("[data-part=port4][aria-label*='1g-lx']:focus")
        self.keys("u")
        self.find("[data-part=port4][aria-label*='empty']")
        self.keys("c")
        self.find("#catalogue input:focus")
        self.keys("1g-lx", Keys.TAB, Keys.ENTER)
        self.find(".placing #panel")
        self.keys(Keys.ARROW_RIGHT, Keys.ARROW_DOWN, Keys.ENTER)
        self.find("[data-part=port7][aria-label*='1g-lx']:focus")
        self.assertEqual(zelsim("get cages.7.module").strip(), "1g-lx")
        # The arrow keys lead from the search into the catalogue, and back.
        self.keys("c")
        self.find("#catalogue input:focus")
        for key, place in ((Keys.ARROW_DOWN, 0), (Keys.ARROW_RIGHT, 1), (Keys.ARROW_DOWN, 3), (Keys.ARROW_LEFT, 2), (Keys.ARROW_UP, 0)):
            self.keys(key)
            self.assertEqual(self.on_page("return [...document.querySelectorAll('.module')].indexOf(document.activeElement)"), place)
        self.keys(Keys.ARROW_UP)
        self.find("#catalogue input:focus")
        self.keys(Keys.ESCAPE)
        for key, open_one in (("?", "#help"), ("s", "#states")):
            self.keys(key)
            self.find(open_one + "[open]")
            self.keys(Keys.ESCAPE)
            self.goes("dialog[open]")
        self.keys("3")
        self.find("#tab-faults[aria-selected=true]:focus")
        self.assertIn("tab=faults", self.browser.current_url)
        self.assertNotEqual(self.on_page("return document.activeElement.tagName"), "BODY")

    def test_the_arrow_keys_on_the_panel(self):
        """The same moves at each width: along the rows of ports over all slots, up to the headers, left to LEDs and supplies."""
        # A port without a board has no place: its slot is marked.
        self.open("?select=port20")
        self.find("[data-part=slot3].holds-selected")
        self.keys(Keys.ESCAPE)
        right, left, up, down = Keys.ARROW_RIGHT, Keys.ARROW_LEFT, Keys.ARROW_UP, Keys.ARROW_DOWN
        moves = ((right, ("port0", "port2", "port4", "port6", "port8", "port10", "port12", "port14", "port24", "port26", "port26")),
                 (left, ("port27", "port25", "port15", "port13", "port11", "port9", "port7", "port5", "port3", "port1", "supply2",
                         "supply1", "supply1")),
                 (left, ("port0", "led-power2", "led-system", "led-system")), (right, ("slot1", "slot2", "slot3", "slot3")),
                 (up, ("port3", "port2", "slot1", "slot1")), (up, ("port27", "port26", "port26")), (up, ("port14", "slot2")),
                 (down, ("slot2", "port8", "port9", "port9")), (down, ("slot3", "slot3")),
                 (down, ("led-ring-master", "led-ring-fail", "supply2", "supply2")),
                 (up, ("supply1", "led-power1", "led-alarm", "led-system")), (right, ("supply2", "port1")),
                 (right, ("led-ring-master", "port0")))
        self.on_page("addEventListener('keyup', () => window.passed.push(document.activeElement.dataset.part))")
        for width, height in ((1440, 900), (768, 1024), (390, 844)):
            self.resize(width, height)
            for key, (first, *then) in moves:
                self.find(f"[data-part={first}]")
                self.on_page("document.querySelector(arguments[0]).focus(); window.passed = []", f"[data-part={first}]")
                self.keys(key * len(then))
                self.assertEqual(self.on_page("return window.passed"), then, (width, first))
        # Three ports are selected for one act.
        self.keys("p", Keys.SPACE, right, Keys.SPACE, right, Keys.SPACE)
        self.says("#inspector", "ports 0, 2, 4.")

    def test_a_module_is_dragged_and_the_address_remembers(self):
        self.open("?tab=flash&select=slot9,sector512,port6")
        self.find("#tab-flash[aria-selected=true]")
        self.find("[data-part=port6][aria-pressed=true]")
        self.click("#bar-acts button")
        module = self.element("#catalogue [data-key='100fx']")
        self.pointer().drag_and_drop(module, self.element("[data-part=port6]")).perform()
        self.find("[data-part=port6][aria-label*='100fx']")
        # Where nothing can be plugged it is said why.
        self.click("#bar-acts button")
        for target, place, words in (("[data-part=port9]", "#inspector [data-key=refusal-plug9]", "port: 9 has no cage"),
                                     ("#strip", "#catalogue [role=status]", "100fx was dropped beside the cages")):
            module = self.element("#catalogue [data-key='100fx']")
            self.pointer().drag_and_drop(module, self.element(target)).perform()
            self.says(place, words)
        for width, height in ((390, 844), (768, 1024), (1024, 768), (1440, 900)):
            self.resize(width, height)
            size = self.on_page(
                "const {width, height} = document.querySelector('[data-part=port6]').getBoundingClientRect();"
                "return [width, height, document.documentElement.scrollWidth, document.documentElement.scrollHeight]")
            self.assertGreaterEqual(min(size[:2]), 24)
            self.assertLessEqual(size[2], width)
            self.assertTrue(width < 1024 or size[3] <= height, size)

    def test_a_narrow_page_scrolls_downwards_only(self):
        zelsim("fit 3 sfp")
        sideways = """const scrolls = ({scrollWidth, clientWidth}) => scrollWidth > clientWidth && clientWidth > 1;
            const isOutside = ({left, right}) => left < 0 || right > document.documentElement.clientWidth;
            const all = [...document.querySelectorAll('#board-view, #board-view *, #catalogue *, #foot, #bar')].filter((one) => one.checkVisibility());
            return [document.documentElement, ...all].filter((one) => scrolls(one) && getComputedStyle(one).overflowX !== 'visible')
                .concat([...document.querySelectorAll('.block, .place')].filter((one) => isOutside(one.getBoundingClientRect())))
                .map((one) => one.id || one.dataset.part || one.className)"""
        smallest = """const sizes = (selector, read) => [...document.querySelectorAll(selector)].map(read);
            return [sizes('.place.port', (port) => Math.min(port.offsetWidth, port.offsetHeight)),
                    sizes('#panel text', (text) => parseFloat(getComputedStyle(text).fontSize) * text.getCTM().a)]
                .map((some) => Math.min(...some))"""
        covered = """const part = document.querySelector('[data-part=' + arguments[0] + ']').getBoundingClientRect();
            const top = (selector) => document.querySelector(selector).getBoundingClientRect().top;
            return part.bottom > Math.min(top('#inspector'), top('#foot')) ||
                part.top < document.querySelector('#bar').getBoundingClientRect().bottom"""
        for width, height in ((360, 640), (390, 844), (640, 800)):
            with self.subTest(width=width):
                self.resize(width, height)
                self.open("?select=port23")
                self.find("#inspector.chosen [data-key=plugging]")
                eventually(lambda: not self.on_page(covered, "port23"))
                self.keys(Keys.ESCAPE)
                self.goes("#inspector.chosen")
                self.assertEqual(self.on_page(sideways), [])
                port, text = self.on_page(smallest)
                self.assertGreaterEqual(port, 24)
                self.assertGreaterEqual(text, 7)
                # What is tapped is seen together with its controls, and so is what the arrow keys come to.
                for part in ("port23", "port8", "led-system"):
                    self.select(part)
                    eventually(lambda: self.is_shown(".closes-sheet") and not self.on_page(covered, part))
                self.focus(".closes-sheet")
                self.keys(Keys.ENTER)
                self.assertEqual(self.on_page("return document.activeElement.dataset.part"), "led-system")
                self.focus("[data-part=port0]")
                for _ in range(9):
                    self.keys(Keys.ARROW_RIGHT)
                    part = self.on_page("return document.activeElement.dataset.part")
                    eventually(lambda: not self.on_page(covered, part))
                self.assertEqual(self.on_page(sideways), [])
                self.select("port23")
                self.keys("c")
                self.find("#catalogue .module")
                self.assertEqual(self.on_page(sideways), [])
                # While a port is chosen for a module the panel is seen.
                self.press("#catalogue .module b", "1g-lx")
                for _ in range(3):
                    self.keys(Keys.ARROW_DOWN)
                part = self.on_page("return document.activeElement.dataset.part")
                self.assertFalse(self.on_page(covered.replace("#inspector", "#catalogue"), part), part)
                self.keys(Keys.ESCAPE, Keys.ESCAPE)
                self.click("#tab-flash")
                self.click("[data-sector='300']")
                self.shows("#inspector .hex")
                self.assertEqual(self.on_page(sideways), [])
                self.click(".closes-sheet")
                self.says("#inspector h2", "Board default")

    def test_a_narrow_page_opens_its_tabs_as_a_sheet(self):
        self.resize(390, 844)
        # An address with a tab opens its sheet, and so does a reload.
        self.open("?tab=faults")
        self.shows("#fault-form select")
        self.browser.refresh()
        self.shows("#fault-form select")
        self.click(".close-sheet")
        self.browser.refresh()
        self.find("[data-part=port0]")
        self.hides("#fault-form")
        self.hides("#requests-text")
        self.goes("#dock [aria-selected=true]")
        for way in (lambda: self.click(".close-sheet"), lambda: self.keys(Keys.ESCAPE)):
            self.click("#tab-faults")
            self.shows("#fault-form select")
            self.assertEqual(self.on_page("const {width, height} = document.querySelector('#dock').getBoundingClientRect();"
                                          "return [width === document.documentElement.clientWidth, height]"), [True, 844])
            way()
            self.hides("#fault-form")
            self.assertEqual(self.on_page("return document.activeElement.id"), "tab-faults")
        # A tap on a port leads to its controls, above the line at the bottom.
        zelsim("plug 5 1g-sx")
        self.find("[data-part=port5][aria-label*='1g-sx']")
        self.on_page("scrollTo(0, 0)")
        self.select("port5")
        seen = "const controls = document.querySelector('#inspector [data-key=plugging]')?.getBoundingClientRect();" \
               "const foot = document.querySelector('#foot').getBoundingClientRect();" \
               "const port = document.querySelector('[data-part=port5]').getBoundingClientRect();" \
               "return Boolean(controls) && controls.bottom <= foot.top && port.bottom > 90"
        eventually(lambda: self.on_page(seen))
        self.shows("#foot .time")
        # A counter that grows moves no tab.
        places = "return [...document.querySelectorAll('[role=tab]')].map((tab) => [tab.offsetLeft, tab.offsetTop, tab.offsetHeight])"
        before = self.on_page(places)
        self.assertEqual(len({top for _, top, _ in before}), 1)
        zelsim("fail gpio --count 1000")
        self.says("#tab-faults", "1")
        self.assertEqual(self.on_page(places), before)
        zelsim("heal")
        # The lists of the filter stand behind a button.
        self.click("#tab-requests")
        eventually(lambda: self.is_shown("#requests-text") and not self.is_shown("[data-key=filter-node]"))
        self.click(".opens-filter")
        self.shows("[data-key=filter-node]")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[2:])

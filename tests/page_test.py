#!/usr/bin/env python3
"""The live front panel in a browser. page_test.py BUILD [CASE ...]"""
import json
import os
import subprocess
import sys
import tempfile
import time
import unittest

from web_test import INDICATORS, ZELCTL, ZELSIM, Server, eventually, on_switch, run, zelsim

try:
    from selenium import webdriver
    from selenium.webdriver.chrome.service import Service
    from selenium.webdriver.common.action_chains import ActionChains
    from selenium.webdriver.common.by import By
    from selenium.webdriver.common.keys import Keys
except ImportError:
    webdriver = None


@unittest.skipIf(webdriver is None, "python3-selenium and chromium-driver are not installed")
class Page(Server):
    @classmethod
    def setUpClass(cls):
        options = webdriver.ChromeOptions()
        profile = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        cls.addClassCleanup(profile.cleanup)
        for option in ("headless=new", "no-sandbox", "disable-gpu", "disable-quic", "no-first-run", "disable-sync",
                       "disable-background-networking", "disable-component-update", "window-size=1440,900",
                       f"user-data-dir={profile.name}"):
            options.add_argument("--" + option)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        cls.browser = webdriver.Chrome(options=options, service=Service("/usr/bin/chromedriver"))
        cls.addClassCleanup(cls.browser.quit)

    def setUp(self):
        super().setUp()
        self.browser.get_log("browser")  # which ends what others left
        self.browser.execute_cdp_cmd("Emulation.clearDeviceMetricsOverride", {})
        self.open("")

    def open(self, query):
        self.browser.get(self.address + query)
        self.find("[data-part=port0]")

    def find(self, selector):
        found = []
        eventually(lambda: found.extend(self.browser.find_elements(By.CSS_SELECTOR, selector)) or found)
        return found[0]

    def click(self, selector):
        self.browser.execute_script("arguments[0].click()", self.find(selector))

    def is_there(self, selector):
        return bool(self.browser.find_elements(By.CSS_SELECTOR, selector))

    def keys(self, *keys):
        for key in keys:
            ActionChains(self.browser).send_keys(key).perform()

    def select(self, part):
        self.click(f"[data-part={part}]")

    def assert_no_complaints(self):
        log = [entry["message"] for entry in self.browser.get_log("browser") if entry["level"] == "SEVERE"]
        self.assertEqual([line for line in log if "status of 4" not in line], [])

    def test_four_things_that_happen_on_a_switch(self):
        # A module is chosen for a cage, and a program sees it.
        self.select("port5")
        self.click("#inspector [data-key=plugging] button")
        self.click("#catalogue [data-key='1g-lx']")
        self.find("[data-part=port5][aria-label^='Port 5: 1g-lx']")
        self.assertIn("ZL-1G-LX", on_switch(ZELCTL, "sfp", "show", "5"))
        # A program sets a LED.
        on_switch(ZELCTL, "led", "set", "ring-master", "blink")
        self.find("use#ring-master[href='#blinking']")
        # A supply is pulled, and a daemon's alarm LED turns red.
        with subprocess.Popen((ZELSIM, "run", "--", INDICATORS, "--period", "0.1"), stdout=subprocess.DEVNULL) as daemon:
            self.find("use#alarm[href='#off']")
            self.select("supply2")
            self.click("#inspector [value=failed]")
            self.find("use#alarm[href='#alert']")
            daemon.terminate()
        # A firmware update colours the map while it runs.
        self.click("#tab-flash")
        image = f"{self.home}/firmware.bin"
        with open(image, "wb") as file:
            file.write(b"zelboard" * 40000)
        with subprocess.Popen((ZELSIM, "run", "--chip-times", "--", ZELCTL, "firmware", "write", image, "--partition", "2"),
                              stdout=subprocess.DEVNULL) as update:
            self.find("[data-sector='288']:is(.full, .part)")
            self.assertIsNone(update.poll(), "the map had no colour before the end")
            eventually(lambda: "Writing Image 2" in self.find("#writing").text)
            eventually(lambda: "KB/s; the rest of the region would take" in self.find("#writing").text)
            self.click("#tab-requests")
            self.find("#lines li.flash")
            update.kill()
        self.assert_no_complaints()

    def test_what_is_destroyed_is_asked_for_and_named(self):
        zelsim("plug 3 1g-sx")
        on_switch(ZELCTL, "flash", "erase", "0x1200000", "--yes")
        self.find("[data-part=port3][aria-label*='1g-sx']")
        self.click("#tab-commands")
        self.find("[data-key='flash erase']")
        for where, act, named in ((None, "#inspector .apart button:nth-of-type(1)", "1g-sx in port 3"),
                                  (None, "#inspector .apart button:nth-of-type(2)", "1 sector erase"),
                                  ("slot1", "#inspector [value=none]", "1g-sx in port 3"),
                                  (None, "[data-key='flash erase'] button", "1 sector erase"),
                                  (None, "[data-key=reset] button", "1g-sx in port 3")):
            with self.subTest(act=act):
                if where:
                    self.select(where)
                before = zelsim("show --json").split('"clock"')[0]
                self.click(act)
                self.assertIn(named, self.find("dialog.confirm[open]").text)
                self.keys(Keys.ESCAPE)
                eventually(lambda: not self.is_there("dialog[open]"))
                self.assertEqual(zelsim("show --json").split('"clock"')[0], before)
        # Forms begin with what holds.
        for form, field, value in (("set rtc", "state", "present"), ("set supply", "state", "ac"), ("set lm75", "state", "present"),
                                   ("fit", "board", "sfp"), ("set busy", "value", "0"), ("reset", "flash", "false")):
            self.assertEqual(self.find(f"[data-key='{form}'] [name={field}]").get_attribute("value"), value, form)
        # A control whose act was not done shows what holds.
        self.assertTrue(self.find("#inspector [value=sfp]").is_selected())

    def test_refusals_disconnection_and_missing_boards(self):
        zelsim("plug 3 1g-sx")
        self.find("[data-part=port3][aria-label*='1g-sx']")
        self.select("port3")
        self.find("#inspector [name=los3]")
        # The module is gone between the look and the click.
        zelsim("delete")
        self.find("#board-view.away")
        self.assertRegex(self.find("#trouble").text, r"^Since \d\d:\d\d:\d\d: no board")
        eventually(lambda: len(self.browser.find_elements(By.CSS_SELECTOR, "#bar-acts button:disabled")) == 3)
        zelsim("create --slots sfp,copper,none")
        eventually(lambda: not self.is_there("#board-view.away"))
        zelsim("fit 1 none")
        eventually(lambda: "no board in slot 1" in self.find("#inspector").text)
        self.assertIn("no board in slot 1", self.find("[data-part=port3]").get_attribute("aria-label"))
        # A refusal stands beside its control, inside the window, and goes with its cause.
        self.select("slot3")
        self.click("#tab-commands")
        form = "[data-key=unplug] "
        self.browser.execute_script("arguments[0].value = '26'", self.find(form + "[name=port]"))
        self.click(form + "button[type=submit]")
        self.assertIn("port 26", self.find(form + ".refusal").text)
        zelsim("plug 26 10g-sr")
        eventually(lambda: not self.is_there(form + ".refusal"))
        # The server ends and comes back.
        self.end()
        self.find("#board-view.away")
        self.assertIn("No connection since", self.find("#trouble").text)
        self.start(str(self.port))
        eventually(lambda: not self.is_there("#board-view.away"))

    def focused(self):
        return self.browser.execute_script("return document.activeElement.getAttribute('aria-label') || document.activeElement.id")

    def test_tabs_are_filled_however_they_are_reached(self):
        zelsim("plug 3 1g-sx")
        for name, number, content in (("activity", 4, "#activity li"), ("commands", 5, "#commands form"), ("faults", 3, "#fault-form select")):
            for way in (lambda: self.open(f"?tab={name}"), lambda: self.click(f"#tab-{name}"), lambda: self.keys(str(number))):
                with self.subTest(tab=name):
                    self.open("?tab=requests")
                    way()
                    eventually(lambda: self.find(content).is_displayed())

    def test_focus_stays_near_what_goes(self):
        self.keys("s", Keys.ESCAPE)
        eventually(lambda: self.focused() == "Front panel")
        for target in ("i2c", "gpio"):
            zelsim(f"fail {target}")
        for change in ("plug 3 1g-sx", "plug 5 1g-lx"):
            zelsim(change)
        undo = "Undo: zelsim "
        for tab, first, then in (("faults", "Clear fault 1", ("Clear fault 2", "tab-faults")),
                                 ("activity", undo + "plug 5 1g-lx", (undo + "plug 3 1g-sx",))):
            self.click("#tab-" + tab)
            button = self.find(f"#view-{tab} [aria-label='{first}']")
            self.browser.execute_script("arguments[0].focus()", button)
            for name in then:
                self.keys(Keys.ENTER)
                eventually(lambda: self.focused() == name)

    def test_alarms_that_hold_and_those_that_were(self):
        zelsim("plug 3 1g-sx")
        self.select("port3")
        told = "#inspector [data-key=tx_power] small"
        eventually(lambda: "low alarm: below −11.5 dBm" in self.find(told).text)
        on_switch(ZELCTL, "cage", "3", "--tx-disable", "off")
        eventually(lambda: "within −9.5 dBm to −3 dBm; low alarm latched" in self.find(told).text)

    def test_the_requests_are_drawn_near_what_is_seen(self):
        self.open("?tab=requests")
        self.find("#requests-empty code")
        for _ in range(3):
            on_switch(ZELCTL, "ports")
        lines = lambda: self.browser.find_elements(By.CSS_SELECTOR, "#lines > li")
        first = lambda: int(lines()[0].get_attribute("data-number"))
        eventually(lambda: int(self.find("#requests-told").text or 0) > 200)
        self.assertLessEqual(len(lines()), 80)
        # Whoever scrolls up sees the earlier ones, and new ones wait.
        while first() > 1:
            self.browser.execute_script("document.querySelector('#lines').scrollTop = 0")
        drawn = len(lines())
        on_switch(ZELCTL, "ports")
        self.click("#requests-new:not([hidden])")
        self.assertLess(len(lines()), drawn)
        self.assertEqual(lines()[-1].get_attribute("data-number"), self.find("#requests-told").text)

    def test_the_card_keeps_out_of_the_way(self):
        def hover(part):
            ActionChains(self.browser).move_to_element(self.find(f"[data-part={part}]")).perform()

        hover("port5")
        eventually(lambda: self.find("#card").is_displayed())
        ActionChains(self.browser).click().perform()
        eventually(lambda: not self.find("#card").is_displayed())
        hover("port6")
        eventually(lambda: self.find("#card").is_displayed())
        self.keys("c")
        eventually(lambda: not self.find("#card").is_displayed())

    def test_by_keyboard_alone(self):
        self.keys("p", Keys.ARROW_RIGHT, Keys.ENTER)
        self.find("[data-part=port2][aria-pressed=true]")
        self.keys("c")
        self.find("#catalogue input:focus")
        self.keys("1g-lx", Keys.TAB, Keys.ENTER)
        self.find("#panel.placing")
        self.keys(Keys.ARROW_RIGHT, Keys.ENTER)
        self.find("[data-part=port4][aria-label*='1g-lx']:focus")
        self.keys("u")
        self.find("[data-part=port4][aria-label*='empty']")
        self.keys("c")
        self.find("#catalogue input:focus")
        self.keys("1g-lx", Keys.TAB, Keys.ENTER)
        self.find("#panel.placing")
        self.keys(Keys.ARROW_RIGHT, Keys.ARROW_DOWN, Keys.ENTER)
        self.find("[data-part=port7][aria-label*='1g-lx']:focus")
        self.assertEqual(zelsim("get cages.7.module").strip(), "1g-lx")
        for key, open_one in (("?", "#help"), ("s", "#states")):
            self.keys(key)
            self.find(open_one + "[open]")
            self.keys(Keys.ESCAPE)
            eventually(lambda: not self.is_there("dialog[open]"))
        self.keys("3")
        self.find("#tab-faults[aria-selected=true]:focus")
        self.assertIn("tab=faults", self.browser.current_url)
        self.assertNotEqual(self.browser.execute_script("return document.activeElement.tagName"), "BODY")

    def test_a_module_is_dragged_and_the_address_remembers(self):
        self.click("#bar-acts button")
        module = self.find("#catalogue [data-key='100fx']")
        ActionChains(self.browser).drag_and_drop(module, self.find("[data-part=port6]")).perform()
        self.find("[data-part=port6][aria-label*='100fx']")
        self.open("?tab=flash&select=port6")
        self.find("#tab-flash[aria-selected=true]")
        self.find("[data-part=port6][aria-pressed=true]")
        for width, height in ((390, 844), (768, 1024), (1024, 768), (1440, 900)):
            self.browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                                         {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})
            size = self.browser.execute_script(
                "const {width, height} = document.querySelector('[data-part=port6]').getBoundingClientRect();"
                "return [width, height, document.documentElement.scrollWidth, document.documentElement.scrollHeight]")
            self.assertGreaterEqual(min(size[:2]), 24)
            self.assertLessEqual(size[2], width)
            self.assertTrue(width < 1024 or size[3] <= height, size)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[2:])

#!/usr/bin/env python3
"""The live front panel: its interface, and its page in a browser. web_test.py BUILD [CASE ...]"""
import http.client
import json
import os
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time
import unittest

try:
    from selenium import webdriver
    from selenium.webdriver.chrome.service import Service
    from selenium.webdriver.common.by import By
except ImportError:
    webdriver = None

BUILD = os.path.abspath(sys.argv[1])
ZELSIM = f"{BUILD}/bin/zelsim"
# The programs on the board are those that are shipped, from the build beside a sanitised one.
SHIPPED = f"{BUILD}/plain" if os.path.isdir(f"{BUILD}/plain") else BUILD
ZELCTL, INDICATORS = f"{SHIPPED}/bin/zelctl", f"{SHIPPED}/examples/indicators"
PATIENCE = 60


def eventually(holds):
    end = time.monotonic() + PATIENCE
    while not holds():
        if time.monotonic() > end:
            raise AssertionError("never came true")
        time.sleep(0.01)


def run(*words, **options):
    return subprocess.run(words, check=True, capture_output=True, text=True, **options).stdout


def on_switch(*words):
    return run(ZELSIM, "run", "--fast", "--", *words)


class Server(unittest.TestCase):
    """A fresh board and its server for each case."""

    options = ()

    def setUp(self):
        home = tempfile.TemporaryDirectory()
        self.addCleanup(home.cleanup)
        self.home = os.environ["ZELSIM_HOME"] = home.name
        run(ZELSIM, "create", "--slots", "sfp,copper,none")
        self.server = subprocess.Popen((ZELSIM, "serve", "--port", "0", *self.options), stdout=subprocess.PIPE, text=True)
        self.address = self.server.stdout.readline().strip()
        self.port = int(self.address.split(":")[2].split("/")[0])
        self.addCleanup(self.end)

    def end(self):
        self.server.send_signal(signal.SIGINT)
        self.assertEqual(self.server.wait(PATIENCE), 0)
        self.server.stdout.close()

    def ask(self, path, body=None, **headers):
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=PATIENCE)
        headers = {name.replace("_", "-"): value for name, value in headers.items()}
        connection.request("GET" if body is None else "POST", path, body, headers)
        answer = connection.getresponse()
        text = answer.read().decode()
        connection.close()
        return answer.status, text

    def act(self, action, **fields):
        status, text = self.ask("/api/" + action, json.dumps(fields))
        self.assertEqual(status, 200, text)
        return json.loads(text)["done"]


class Interface(Server):
    def test_documents_are_those_of_zelsim(self):
        self.act("plug", port=5, module="1g-lx")
        self.act("fail", node="i2c:BufRead@0x40", result="busy", count=3)
        for path, command in (("board", ("show",)), ("modules", ("modules",)), ("faults", ("fail", "--list"))):
            document = json.loads(self.ask("/api/" + path)[1])
            shown = json.loads(run(ZELSIM, *command, "--json"))
            for each in (document, shown):
                each.get("i2c", {}).pop("clock", None)
            self.assertEqual(document, shown)
        self.assertEqual(self.ask("/panel.svg")[1], run(ZELSIM, "panel", "--svg", "-"))
        self.assertEqual(json.loads(self.ask("/api/module?port=5")[1])["decoded"]["part_number"], "ZL-1G-LX")

    def test_every_command_is_an_action(self):
        examples = {"slot": "1", "board": "sfp", "port": "5", "module": "copper", "node": "gpio", "byte": "7", "byte1": "0x7",
                    "celsius": "71.5", "time": "2026-03-15T14:30:45", "milliseconds": 3}
        for row in json.loads(self.ask("/api/actions")[1])["actions"]:
            fields = {field["field"]: (field["values"] or [examples.get(field["field"])])[-1] for field in row["fields"]
                      if not field["optional"]}
            self.assertTrue(self.act(row["action"].replace(" ", "/"), **fields).startswith("zelsim " + row["action"]))
        self.assertEqual(self.act("reset", flash=True), "zelsim reset --flash")

    def test_what_is_refused(self):
        page = f"http://127.0.0.1:{self.port}"
        for status, named, path, body, headers in (
                (400, "port: '28' ", "plug", '{"port": 28, "module": "10g"}', {}),
                (400, "port: missing", "plug", '{"module": "10g"}', {}),
                (400, "port: neither", "unplug", '{"port": [5]}', {}),
                (400, "module: '/etc/passwd'", "plug", '{"port": 5, "module": "/etc/passwd"}', {}),
                (400, "board: 'gold'", "fit", '{"slot": 1, "board": "gold"}', {}),
                (400, "celsius: '1e9'", "set/temperature", '{"celsius": "1e9"}', {}),
                (400, "result: 'maybe'", "fail", '{"node": "gpio", "result": "maybe"}', {}),
                (400, "node: missing", "fail", "{}", {}),
                (400, "flash: ", "reset", '{"flash": 7}', {}),
                (400, "colour: no field", "heal", '{"colour": 1}', {}),
                (400, "name: no field", "reset", '{"name": "other"}', {}),
                (400, "body: ", "heal", "[]", {}),
                (400, "body: ", "heal", '{"a"', {}),
                (413, "body: ", "heal", " " * 70000, {}),
                (400, "action: 'set' ", "set", "{}", {}),
                (400, "action: 'run' ", "run", "{}", {}),
                (400, "port: '99'", "module?port=99", None, {}),
                (409, "port: port 5 ", "unplug", '{"port": 5}', {}),
                (409, "port: port 9 ", "plug", '{"port": 9, "module": "10g"}', {}),
                (404, "path: ", "nothing", None, {}),
                (403, "host: 'evil.example", "board", None, {"Host": f"evil.example:{self.port}"}),
                (403, "host: '10.0.0.1", "heal", "{}", {"Host": "10.0.0.1"}),
                (403, "origin: ", "heal", "{}", {"Origin": "http://evil.example"}),
                (403, "origin: ", "heal", "{}", {"Origin": "null"}),
                (403, "origin: ", "board", None, {"Sec_Fetch_Site": "cross-site"}),
                (200, "", "heal", "{}", {"Origin": page}),
                (200, "", "heal", "", {"Host": f"localhost:{self.port}"})):
            with self.subTest(path=path, body=body and body[:40], headers=headers):
                found, text = self.ask("/api/" + path, body, **headers)
                self.assertEqual(found, status, text)
                self.assertIn(f'"error": "{named}' if named else "done", text)

    def test_wrong_command_lines_are_one_line(self):
        for status, named, words in ((1, "--port", ("--port", str(self.port))), (2, "--port", ("--port", "66000")),
                                     (2, "--token", ("--listen", "0.0.0.0")), (2, "--token", ("--token", "a b")),
                                     (1, "--listen", ("--listen", "192.0.2.1", "--token", "12345678"))):
            ended = subprocess.run((ZELSIM, "serve", *words), capture_output=True, text=True, timeout=PATIENCE)
            self.assertEqual((ended.returncode, ended.stderr.count("\n"), named in ended.stderr), (status, 1, True), ended)

    def test_twenty_pages_and_two_hundred_changes_a_second(self):
        pages = [socket.create_connection(("127.0.0.1", self.port)) for _ in range(20)]
        last = [{} for _ in pages]

        def read(page, news):
            with page.makefile(encoding="utf-8") as lines:
                for line in lines:
                    if line.startswith("data: "):
                        news.update(json.loads(line[6:]))

        for page, news in zip(pages, last):
            page.sendall(b"GET /api/events?requests HTTP/1.1\r\nHost: localhost\r\n\r\n")
            threading.Thread(target=read, args=(page, news), daemon=True).start()
        for number in range(400):
            self.act("set/settle", milliseconds=number)
        eventually(lambda: all(news.get("board", {}).get("settle_ms") == 399 for news in last))
        with open(f"/proc/{self.server.pid}/status", encoding="utf-8") as status:
            peak = next(int(line.split()[1]) for line in status if line.startswith("VmHWM"))
        if "__asan_init" not in run("nm", "-D", f"{BUILD}/lib/zelboard/zelboard-web"):
            self.assertLess(peak, 64 * 1024)
        for page in pages[:10]:
            page.shutdown(socket.SHUT_RDWR)
            page.close()
        run(ZELSIM, "delete")
        eventually(lambda: all("no board" in (news["gone"] or "") for news in last[10:]))
        run(ZELSIM, "create")
        eventually(lambda: all(news["gone"] is None for news in last[10:]))


class Token(Server):
    options = ("--token", "correct-horse")

    def test_every_request_needs_it(self):
        path = "/" + self.address.split("/", 3)[3]
        for status, where, headers in ((401, "/", {}), (401, "/api/events", {}), (401, "/?token=wrong-horse", {}),
                                       (303, path, {}), (200, "/api/board", {"Authorization": "Bearer correct-horse"}),
                                       (200, "/", {"Cookie": f"a=b; zelboard-{self.port}=correct-horse"}),
                                       (401, "/", {"Cookie": f"zelboard-{self.port}=correct"})):
            self.assertEqual(self.ask(where, **headers)[0], status, where)


@unittest.skipIf(webdriver is None, "python3-selenium and chromium-driver are not installed")
class Page(Server):
    def setUp(self):
        super().setUp()
        options = webdriver.ChromeOptions()
        profile = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        self.addCleanup(profile.cleanup)
        for option in ("headless=new", "no-sandbox", "disable-gpu", "disable-quic", "no-first-run", "disable-sync",
                       "disable-background-networking", "disable-component-update", f"user-data-dir={profile.name}"):
            options.add_argument("--" + option)
        self.browser = webdriver.Chrome(options=options, service=Service("/usr/bin/chromedriver"))
        self.addCleanup(self.browser.quit)
        self.browser.get(self.address)

    def find(self, selector):
        found = []
        eventually(lambda: found.extend(self.browser.find_elements(By.CSS_SELECTOR, selector)) or found)
        return found[0]

    def click(self, selector):
        self.browser.execute_script("arguments[0].click()", self.find(selector))

    def test_four_things_that_happen_on_a_switch(self):
        # A module is clicked into a cage, and a program sees it.
        self.click("[aria-label='Port 5: empty']")
        self.click("[title^='ZL-1G-LX']")
        self.find("[aria-label^='Port 5: 1g-lx']")
        self.assertIn("ZL-1G-LX", on_switch(ZELCTL, "sfp", "show", "5"))
        # A program sets a LED.
        on_switch(ZELCTL, "led", "set", "ring-master", "blink")
        self.find("use#ring-master[href='#blinking']")
        # A supply is pulled, and a daemon's alarm LED turns red.
        with subprocess.Popen((ZELSIM, "run", "--", INDICATORS, "--period", "0.1"), stdout=subprocess.DEVNULL) as daemon:
            self.find("use#alarm[href='#off']")
            self.click("[aria-label^='Supply 2']")
            self.click("#selection [value=failed]")
            self.find("use#alarm[href='#on'][color='#ff5f57']")
            daemon.terminate()
        # A firmware update colours the map while it runs.
        self.click("#tab-flash")
        image = f"{self.home}/firmware.bin"
        with open(image, "wb") as file:
            file.write(b"zelboard" * 40000)
        with subprocess.Popen((ZELSIM, "run", "--chip-times", "--", ZELCTL, "firmware", "write", image, "--partition", "2"),
                              stdout=subprocess.DEVNULL) as update:
            self.find("#map .cell:nth-child(289):is(.used, .part)")
            self.assertIsNone(update.poll(), "the map had no colour before the end")
            self.click("#tab-requests")
            self.find("#lines li.flash")
            update.kill()
        run(ZELSIM, "delete")
        eventually(lambda: "no board" in self.find("#gone").text)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[2:])

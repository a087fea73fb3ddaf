#!/usr/bin/env python3
"""The live front panel as programs see it: its interface. web_test.py BUILD [CASE ...]"""
import http.client
import json
import os
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time
import unittest
import urllib.request

BUILD = os.path.abspath(sys.argv[1])
SERVER = f"{BUILD}/bin/zelsim"
# The programs on the board are those that are shipped, from the build beside a sanitised one.
SHIPPED = f"{BUILD}/plain" if os.path.isdir(f"{BUILD}/plain") else BUILD
ZELSIM = f"{SHIPPED}/bin/zelsim"
ZELCTL, INDICATORS = f"{SHIPPED}/bin/zelctl", f"{SHIPPED}/examples/indicators"
PATIENCE = 60
MADE = "the board was made"


def eventually(holds):
    end = time.monotonic() + PATIENCE
    while not holds():
        if time.monotonic() > end:
            raise AssertionError("never came true")
        time.sleep(0.03)


def run(*words, **options):
    return subprocess.run(words, check=True, capture_output=True, text=True, **options).stdout


def zelsim(line):
    return run(ZELSIM, *line.split())


def on_switch(*words, board="default"):
    return run(ZELSIM, "run", "--fast", "--board", board, "--", *words)


class Server(unittest.TestCase):
    """A fresh board and its server for each case."""

    words = ("default",)
    first_port = "0"

    def setUp(self):
        home = tempfile.TemporaryDirectory()
        self.addCleanup(home.cleanup)
        self.home = os.environ["ZELSIM_HOME"] = home.name
        zelsim("create --slots sfp,copper,none")
        self.start(self.first_port)

    def start(self, port):
        words = ("prlimit", "--nofile=300:", SERVER, "serve", *self.words, "--port", port)
        self.server = subprocess.Popen(words, stdout=subprocess.PIPE, text=True)
        self.address = self.server.stdout.readline().strip()
        self.port = int(self.address.rpartition(":")[2].split("/")[0])
        self.addCleanup(self.end)

    def end(self):
        if self.server.returncode is None:
            self.server.send_signal(signal.SIGINT)
            self.assertEqual(self.server.wait(PATIENCE), 0)
            self.assertEqual(self.server.stdout.read(), "")
        self.server.stdout.close()

    def stop_inside_a_write(self, writer):
        """Stops a program that writes to the flash in the middle of a write. Between two of them it leaves nothing unfinished."""

        def stands_inside():
            writer.send_signal(signal.SIGSTOP)
            saved = subprocess.run((ZELSIM, "save", "meanwhile"), capture_output=True, text=True, check=False)
            if f"[{writer.pid}] is in a request" in saved.stderr:
                return True
            writer.send_signal(signal.SIGCONT)
            return False

        eventually(stands_inside)

    def kill_inside_a_write(self, writer):
        self.stop_inside_a_write(writer)
        writer.kill()

    def ask(self, path, body=None, **headers):
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=PATIENCE)
        headers = {"Accept-Encoding": "gzip, br", **{name.replace("_", "-"): value for name, value in headers.items()}}
        connection.request("GET" if body is None else "POST", path, body, headers)
        answer = connection.getresponse()
        text = answer.read().decode()
        connection.close()
        return answer.status, text

    def act(self, action, **fields):
        status, text = self.ask("/api/" + action, json.dumps(fields))
        self.assertEqual(status, 200, text)
        return json.loads(text)["done"]

    def follow(self, news, query=""):
        """Reads the stream of events into `news`: parts as they are last, logs as a whole."""
        page = socket.create_connection(("127.0.0.1", self.port))
        page.sendall(f"GET /api/events?{query} HTTP/1.1\r\nHost: localhost\r\n\r\n".encode())

        def read():
            with page.makefile(encoding="utf-8") as lines:
                for line in lines:
                    if line.startswith("event: "):
                        news["event"] = line[7:-1]
                    if not line.startswith("data: "):
                        continue
                    for name, value in json.loads(line[6:]).items():
                        is_log = name in ("activity", "requests")
                        news[name] = news.get(name, []) + value if is_log else value

        threading.Thread(target=read, daemon=True).start()
        return page


class Interface(Server):
    def test_documents_are_those_of_zelsim(self):
        self.act("plug", port=5, module="1g-lx")
        self.act("fail", node="i2c:BufRead@0x40", result="busy", count=3)
        self.act("save", state="before")
        for path, command in (("board?board=default", "show"), ("modules", "modules"), ("faults", "fail --list"),
                              ("requests", "fail --requests"), ("states", "states")):
            document = json.loads(self.ask("/api/" + path)[1])
            shown = json.loads(zelsim(command + " --json"))
            for each in (document, shown):
                each.get("i2c", {}).pop("clock", None)
            self.assertEqual(document, shown)
        self.assertEqual(self.ask("/panel.svg")[1], zelsim("panel --svg -"))
        self.assertEqual(json.loads(self.ask("/api/boards")[1]), {"boards": [{"board": "default"}]})
        self.assertEqual(json.loads(self.ask("/api/server")[1]), {"board": "default", "rack": False})
        # A link on another site may lead to the first page, which is asked for anew each time; its files stay.
        page = self.ask("/", Sec_Fetch_Site="cross-site")[1]
        safe = ["default-src 'self'; base-uri 'none'; form-action 'none'; object-src 'none'; frame-ancestors 'none'", "no-referrer", "nosniff"]
        for path, kept, kind in (("/", "no-store", "text/html; charset=utf-8"), ("/panel.svg", "no-store", "image/svg+xml"),
                                 ("/api/board", "no-store", "application/json"),
                                 (page.partition('modulepreload" href="')[2].partition('"')[0], "private, max-age=31536000, immutable", "text/javascript; charset=utf-8")):
            with urllib.request.urlopen(f"http://127.0.0.1:{self.port}{path}", timeout=PATIENCE) as answer:
                self.assertEqual([answer.headers[name] for name in ("Cache-Control", "Content-Type", "Content-Security-Policy", "Referrer-Policy", "X-Content-Type-Options")], [kept, kind, *safe])
        # A connection that stays has one answer to each request.
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=PATIENCE)
        self.addCleanup(connection.close)
        for part in "modules", "states", "faults":
            connection.request("GET", "/api/" + part)
            self.assertIn(part, json.loads(connection.getresponse().read()))
        zelsim("heal")
        module = json.loads(self.ask("/api/module?port=5")[1])
        for part, words, others in (("decoded", "sfp show 5 --json", "port class code link"), ("diagnostics", "sfp dom 5 --json", "port vendor part_number")):
            shown = json.loads(on_switch(ZELCTL, *words.split()))
            self.assertEqual(module[part], {name: value for name, value in shown.items() if name not in others.split()})
        self.assertEqual((module["port"], module["page"] + module["diagnostics_page"]),
                         (5, json.loads(on_switch(ZELCTL, "sfp", "dump", "5", "--json"))["data"]))
        with open(f"{self.home}/image", "wb") as file:
            file.write(b"x" * 300)
        for words in ("erase", "0x210000"), ("write", "0x210000", file.name):
            on_switch(ZELCTL, "flash", *words, "--yes")
        # A board that was made with the flash of another one has bytes that no program has written.
        with open(f"{self.home}/default/flash.inverted", "r+b") as file:
            file.write(b"x")
        flash = json.loads(self.ask("/api/flash")[1])
        sectors, writing = flash.pop("sectors"), flash.pop("writing")
        self.assertEqual(flash, json.loads(zelsim("flash stats --json")))
        self.assertEqual({name: [(place, count) for place, count in enumerate(counts) if count] for name, counts in sectors.items()},
                         {"erases": [(33, 1)], "used": [(0, 1), (33, 2)]})
        self.assertEqual((writing or {"region": "Image 1"})["region"], "Image 1")
        self.act("plug", port=0, module="copper")
        self.assertEqual(json.loads(self.ask("/api/module?port=0")[1]).keys(), {"port", "decoded", "page"})
        news = {}
        self.follow(news, "rack")  # shows the one board that there is
        names = {f"led-{name}" for name in json.loads(zelsim("get panel --json"))} | {"temperature", "supply1", "supply2", "faults", "busy", "rate", "lamp-5.1", "lamp-13.1", "lamp-6.1"}
        eventually(lambda: "board" in news and names <= json.loads(self.ask("/api/history")[1])["series"].keys())

    def test_every_command_is_an_action(self):
        examples = {"slot": "1", "board": "sfp", "port": "5", "module": "10g-sr", "node": "gpio", "byte": "7",
                    "byte1": "0x7", "celsius": "71.5", "time": "2026-03-15T14:30:45", "milliseconds": 3, "state": "s",
                    "value": "1"}
        rows = json.loads(self.ask("/api/actions")[1])["actions"]
        fields = {row["action"]: {field["field"]: (field["optional"], field["option"]) for field in row["fields"]} for row in rows}
        needed, left_out, option = (False, False), (True, False), (True, True)
        self.assertEqual([fields[action] for action in ("fail", "heal", "reset", "set link")], [
            {"node": needed, **dict.fromkeys(("result", "count", "skip", "probability", "seed"), option)}, {"fault": left_out},
            {"flash": option}, {"port": needed, "speed": needed, "duplex": left_out}])
        for row in rows:
            fields = {field["field"]: (field["values"] or [examples.get(field["field"])])[-1] for field in row["fields"]
                      if not field["optional"]}
            if row["action"].startswith("set module-"):
                self.act("plug", port=5, module="1g-lx")
            if row["action"] == "set link":
                self.act("plug", port=5, module="copper")
            self.assertTrue(self.act(row["action"].replace(" ", "/"), **fields).startswith("zelsim " + row["action"]))
        self.assertEqual([self.act("reset", flash=flash) for flash in (True, False)], ["zelsim reset --flash", "zelsim reset"])

    def test_what_is_refused(self):
        page = f"http://127.0.0.1:{self.port}"
        self.act("set/supply", supply=1, state="none")
        for status, named, path, body, headers in (
                (400, "port: '28' ", "plug", '{"port": 28, "module": "10g"}', {}),
                (400, 'port: missing"', "plug", '{"module": "10g"}', {}),
                (400, 'port: neither a text nor a number"', "unplug", '{"port": [5]}', {}),
                (400, "module: '/etc/passwd' is not in the catalogue", "plug", '{"port": 5, "module": "/etc/passwd"}', {}),
                (400, "board: 'gold'", "fit", '{"slot": 1, "board": "gold"}', {}),
                (400, "celsius: '1e9'", "set/temperature", '{"celsius": "1e9"}', {}),
                (400, "result: 'maybe'", "fail", '{"node": "gpio", "result": "maybe"}', {}),
                (400, "value: '2'", "set/busy", '{"value": 2}', {}),
                (400, "node: missing", "fail", "{}", {}),
                (400, "flash: '7' is not one of false|true", "reset", '{"flash": 7}', {}),
                (400, "colour: no field of this action", "heal", '{"colour": 1}', {}),
                (400, "name: no field", "reset", '{"name": "other"}', {}),
                (400, "state: '../x'", "save", '{"state": "../x"}', {}),
                (400, "state: neither a text nor a number", "save", '{"state": null}', {}),
                (409, "state: no state 'x'", "load", '{"state": "x"}', {}),
                (400, "board: this server shows 'default' alone", "board?board=other", None, {}),
                (400, "board: this server", "create", '{"board": "other"}', {}),
                (400, "state: ''", "flash/difference", None, {}),
                (409, "state: no state 'x' can be read", "flash/difference?state=x", None, {}),
                (400, "size: '70000'", "flash/bytes?start=0&size=70000", None, {}),
                (400, "size: '0'", "flash/bytes?start=0&size=0", None, {}),
                (400, "start: '33554432'", "flash/bytes?start=33554432&size=1", None, {}),
                (400, "size: '2' is not a number from 1 to 1\"", "flash/bytes?start=33554431&size=2", None, {}),
                (400, "body: not a JSON object", "heal", "[]", {}),
                (400, "body: not a JSON object", "heal", '{"a"', {}),
                (413, "body: longer than 64 KiB", "heal", " " * 70000, {}),
                (400, "action: there is no action 'set'", "set", "{}", {}),
                (400, "action: there is no action 'run'", "run", "{}", {}),
                (400, "port: '28'", "module?port=28", None, {}),
                (409, "port: 27 has no module", "module?port=27", None, {}),
                (409, "port: 5 ", "unplug", '{"port": 5}', {}),
                (409, "state: supply 1 is pulled", "set/supply", '{"supply": 1, "state": "failed"}', {}),
                (409, "port: 9 ", "plug", '{"port": 9, "module": "10g"}', {}),
                (409, "port: 9 ", "set/loss-of-signal", '{"port": 9, "value": 1}', {}),
                (409, "port: 17 ", "set/txfault", '{"port": 17, "value": 1}', {}),
                (409, "port: 5 ", "set/link", '{"port": 5, "speed": "100"}', {}),
                (404, "path: nothing is at /api/nothing", "nothing", None, {}),
                (403, f"host: 'evil.example:{self.port}' is not a name of this server (zelsim serve --host NAME allows a name)", "board", None,
                 {"Host": f"evil.example:{self.port}"}),
                (403, "host: '[::2]:80' ", "board", None, {"Host": "[::2]:80"}),
                (403, "host: '10.0.0.1", "heal", "{}", {"Host": "10.0.0.1"}),
                (403, "origin: 'http://evil.example' is not this server's page", "heal", "{}", {"Origin": "http://evil.example"}),
                (403, "origin: ", "heal", "{}", {"Origin": "null"}),
                (403, "origin: ", "board", None, {"Sec_Fetch_Site": "cross-site"}),
                (200, "", "heal", "{}", {"Sec_Fetch_Site": "same-origin"}),
                (200, "", "heal", "{}", {"Host": "[::1]:80"}),
                (200, "", "heal", "{}", {"Origin": page}),
                (200, "", "heal", "", {"Host": f"localhost:{self.port}"})):
            with self.subTest(path=path, body=body and body[:40], headers=headers):
                found, text = self.ask("/api/" + path, body, **headers)
                self.assertEqual(found, status, text)
                self.assertIn(f'"error": "{named}' if named else "done", text.replace('{"error":"', '{"error": "'))

    def test_a_server_that_was_stopped_goes_on(self):
        self.addCleanup(self.server.send_signal, signal.SIGCONT)
        for _ in range(5):
            self.server.send_signal(signal.SIGSTOP)
            # Meanwhile many connect.
            for _ in range(50):
                self.addCleanup(socket.create_connection(("127.0.0.1", self.port), timeout=PATIENCE / 4).close)
            self.server.send_signal(signal.SIGCONT)
            self.assertEqual(self.ask("/api/heal", "")[0], 200)

    def test_wrong_command_lines_are_one_line(self):
        short = f"{self.home}/short"
        with open(short, "w", encoding="utf-8") as file:
            file.write("short")
        used = f"port {self.port}: Address already in use"
        for status, named, line in ((1, "127.0.0.1 " + used, f"--port {self.port}"), (2, "--port", "--port 66000"),
                                    (1, "localhost " + used, f"--listen localhost --port {self.port}"),
                                    (2, "--token: required to listen on 0.0.0.0, where others can", "--listen 0.0.0.0"),
                                    (2, "--token", "--token a"), (2, "--token-file:", "--token-file /none"),
                                    (2, "--token-file:", "--token-file " + short), (2, "--token-file", "--token-file /dev/null"),
                                    (1, "--listen: cannot listen on 192.0.2.1 port 8080: ", "--listen 192.0.2.1 --token 12345678")):
            ended = subprocess.run((ZELSIM, "serve", *line.split()), capture_output=True, text=True, timeout=PATIENCE)
            self.assertEqual((ended.returncode, ended.stderr.count("\n"), named in ended.stderr), (status, 1, True), ended)

    def test_twenty_pages_and_two_hundred_changes_a_second(self):
        last = [{} for _ in range(20)]
        pages = [self.follow(news, "requests") for news in last]
        for number in range(200):
            self.act("set/settle", milliseconds=number)
        eventually(lambda: all(news.get("board", {}).get("settle_ms") == 199 for news in last))
        with open(f"/proc/{self.server.pid}/status", encoding="utf-8") as status:
            peak = next(int(line.split()[1]) for line in status if line.startswith("VmHWM"))
        if "__asan_init" not in run("nm", "-D", f"{BUILD}/lib/zelboard/zelboard-web"):
            self.assertLess(peak, 64 * 1024)
        for page in pages[:10]:
            page.shutdown(socket.SHUT_RDWR)
            page.close()
        zelsim("delete")
        eventually(lambda: all("no board" in (news["gone"] or "") for news in last[10:]))
        zelsim("create")
        eventually(lambda: all(news["gone"] is None for news in last[10:]))

    def test_a_server_with_nothing_to_tell_rests(self):
        def processor_time():
            with open(f"/proc/{self.server.pid}/stat", encoding="utf-8") as status:
                return sum(map(int, status.read().rpartition(")")[2].split()[11:13])) / os.sysconf("SC_CLK_TCK")

        for wanted in ("", "requests"):
            news = {}
            self.follow(news, wanted)
            eventually(lambda: self.ask("/api/faults")[0] == 200 and "board" in news)
            before = processor_time()
            time.sleep(1)
            self.assertLess(processor_time() - before, 0.1, wanted)

    def test_requests_and_activity_name_who_and_what(self):
        news = {}
        self.follow(news, "requests")
        eventually(lambda: "board" in news)
        # Requests are recorded soon after the first page wants them. A program may have any name.
        quoted = f'{self.home}/"zelctl"'
        os.symlink(ZELCTL, quoted)
        eventually(lambda: on_switch(quoted, "led", "get", "alarm") and "requests" in news)
        self.act("plug", port=5, module="1g-lx")
        for call in "gpio:SetRingMasterLed", "flash:lseek":
            zelsim(f"fail {call} --count 1")
        on_switch("sh", "-c", f"{ZELCTL} led set alarm on; ! {ZELCTL} led set ring-master on && ! {ZELCTL} sfp show 25 && ! {ZELCTL} flash read T 1")
        eventually(lambda: any("flash lseek" in line["line"] for line in news.get("requests", [])))
        good, struck, pause, seek = (next(line for line in news["requests"] if name in line["line"])
                                     for name in ("SetAlarmLed", "SetRingMasterLed", "pause", "flash lseek"))
        self.assertEqual((good["program"], good["result"], good["before"]), ("zelctl", 0, "01"))
        self.assertEqual(good.keys(), {"at", "n", "pid", "program", "us", "line", "result", "before"})
        self.assertEqual((struck["result"], struck["fault"], pause["result"]), (65535, 1, None))
        self.assertEqual((seek["result"], seek["error"], seek["fault"]), (-1, "EIO", 2))
        eventually(lambda: any("alarm" in entry.get("text", "") for entry in news["activity"]))
        found = {entry.get("command") or entry["text"]: entry for entry in news["activity"]}
        self.assertEqual(found["zelsim plug 5 1g-lx"]["who"], "page")
        self.assertEqual(found["zelsim plug 5 1g-lx"]["undo"], ["unplug 5"])
        self.assertEqual(found["zelsim fail gpio:SetRingMasterLed --count 1"]["who"], "shell")
        self.assertTrue(found["LED alarm: off → on"]["who"].startswith("zelctl["))

    def test_acts_and_what_programs_change_are_told_in_their_order(self):
        news = {}
        self.follow(news)
        eventually(lambda: "board" in news)
        steps = f"{ZELSIM} set settle $number; debugCmd sgpio_set 5 1 $((number % 2))"
        on_switch("sh", "-c", f"{ZELSIM} fail --list; for number in 1 2 3 4 5 6 7 8; do {steps}; done")
        eventually(lambda: len(news.get("activity", [])) >= 17)
        self.assertEqual(["command" in entry for entry in news["activity"][1:]], [True, False] * 8)

    def test_history_is_kept_while_no_page_is_open(self):
        def told(name):
            return [value for _, value in json.loads(self.ask("/api/history")[1])["series"].get(name, [])]

        eventually(lambda: told("temperature") == [25])
        for line in ("set temperature 40", "set supply 2 failed", "set supply 1 none", "set busy 1", "fail gpio:SetRingMasterLed"):
            zelsim(line)
        on_switch(ZELCTL, "led", "set", "alarm", "blink")
        eventually(lambda: told("led-alarm") == [0, 2])
        for line in ("set lm75 absent", "set temperature 60", "set busy 0"):
            zelsim(line)
        eventually(lambda: on_switch(ZELCTL, "ports") and told("busy") == [0, 1, 0] and any(told("rate")))
        self.assertEqual([told(name) for name in ("temperature", "supply1", "supply2", "faults")], [[25, 40], [1, 0], [1, 0], [0, 1]])
        self.assertLess(abs(json.loads(self.ask("/api/history")[1])["now"] / 1000 - time.time()), PATIENCE)

    def test_what_a_program_reads_anew_is_told(self):
        for line in ("plug 3 1g-sx", "plug 26 10g-sr"):
            zelsim(line)
        news = {}
        self.follow(news, "requests")
        eventually(lambda: "board" in news)
        eventually(lambda: on_switch(ZELCTL, "led", "get", "alarm") and "requests" in news)

        def reads():
            seen = len(news["requests"])
            for words in (("ports",), ("temperature",), ("power",)):
                on_switch(ZELCTL, *words)
            on_switch(ZELCTL, "led", "get", "ring-fail")
            eventually(lambda: any("GetRingFailLed" in line["line"] for line in news["requests"][seen:]))
            return news["requests"][seen:]

        reads()
        self.assertEqual([line for line in reads() if "changed" in line], [])
        for line in ("set los 3 1", "set los 26 1", "set supply 1 failed", "set temperature 40.5", "fit 3 sfp"):
            zelsim(line)
        changed = [line for line in reads() if "changed" in line]
        self.assertEqual({(line["line"].split()[2], line["reads"], line["changed"]) for line in changed}, {
            ("BufRead", "signals of slot 1", "port 3: signal → no light"),
            ("BufRead", "signals of ports 24 to 27", "port 26: signal → no light"),
            ("GetSocRegister", "signals of ports 24 to 27", "port 26: signal → no light"),
            ("GetPowerStatus", "supplies", "supply 1: good → not good"),
            ("GetBoardType", "board type of slot 3", "board type of slot 3: none → sfp"),
            ("GetBoardAlive", "board alive of slot 3", "board alive of slot 3: 0 → 1"),
            ("BufRead", "temperature", "temperature: 25.0 °C → 40.5 °C")})
        eventually(lambda: json.loads(self.ask("/api/history")[1])["series"]["temperature"][-1][1] == 40.5)
        told = {entry["request"]: (entry["who"], entry["text"]) for entry in news["activity"] if "request" in entry}
        self.assertEqual(told, {line["n"]: (f"zelctl[{line['pid']}]", "reads " + line["changed"]) for line in changed if "BoardAlive" not in line["line"]})
        # A module that is plugged is told as this, and not as a transmitter that was mended.
        zelsim("plug 4 1g-sx")
        changes = ", ".join(line["changed"] for line in reads() if "changed" in line)
        self.assertIn("port 4: no module → module", changes)
        self.assertNotIn("transmit fault", changes)
        # What a request was to read is told when it fails, and no value.
        zelsim("fail i2c:BufRead@0x9e --count 1")
        subprocess.run((ZELSIM, "run", "--fast", "--", ZELCTL, "temperature"), capture_output=True, check=False)
        eventually(lambda: any("fault" in line for line in news["requests"]))
        failed, = (line for line in news["requests"] if "fault" in line)
        self.assertEqual((failed["reads"], "values" in failed, "changed" in failed), ("temperature", False, False))

    def look_at_light(self, light):
        """A program looks at port 3 after the light has come or gone."""
        zelsim(f"set los 3 {1 - light}")
        on_switch(ZELCTL, "ports")

    def noticed(self, news, change):
        begins = f"reads port 3: {change}"
        return [entry for entry in news.get("activity", []) if entry.get("text", "").startswith(begins)]

    def test_who_notices_is_told_though_no_page_shows_the_requests(self):
        zelsim("plug 3 1g-sx")
        news = {}
        self.follow(news)
        eventually(lambda: "board" in news)

        def is_noticed():
            self.look_at_light(light=1)
            self.look_at_light(light=0)
            return self.noticed(news, "signal → no light")

        eventually(is_noticed)
        self.assertNotIn("requests", news)
        # A page that shows the requests later has the one in which it was noticed.
        entry = self.noticed(news, "signal → no light")[0]
        later = {}
        self.follow(later, "requests")
        eventually(lambda: "requests" in later)
        line = next(line for line in later["requests"] if line["n"] == entry["request"])
        self.assertEqual("reads " + line["changed"], entry["text"])
        self.assertEqual(int(line["at"]), entry["at"])
        self.assertTrue(all("changed" in line for line in later["requests"] if line["n"] < entry["request"]))

    def test_what_nobody_followed_is_told_with_no_false_time(self):
        zelsim("plug 3 1g-sx")
        news = {}
        page = self.follow(news, "requests")
        eventually(lambda: self.look_at_light(light=1) or "requests" in news)
        page.shutdown(socket.SHUT_RDWR)
        page.close()
        time.sleep(4)  # then the server has seen that the page is gone
        self.look_at_light(light=0)
        again = {}
        began = time.time() * 1000
        self.follow(again, "requests")
        eventually(lambda: "board" in again)

        def is_fresh(line):
            return int(line.get("at", 0)) >= began and "signals of slot 1" in str(line)

        # A program may be done before the server follows the board again.
        eventually(lambda: on_switch(ZELCTL, "ports") and any(map(is_fresh, again.get("requests", []))))
        zelsim("set los 3 0")

        def is_noticed():
            on_switch(ZELCTL, "ports")
            return self.noticed(again, "no light → signal")

        eventually(is_noticed)
        self.assertEqual([entry for entry in self.noticed(again, "signal → no light") if entry["at"] > began], [])

    def test_requests_that_are_not_shown_are_counted(self):
        class Highest(dict):
            """News that keep the highest rate, too."""

            def __setitem__(self, name, value):
                super().__setitem__(name, value)
                super().__setitem__("highest", max(self.get("rate", 0), self.get("highest", 0)))

        news = Highest()
        self.follow(news, "requests")
        eventually(lambda: "board" in news)
        eventually(lambda: on_switch(ZELCTL, "led", "get", "alarm") and "requests" in news)
        self.ask_for_supplies(40000, "os.write(flash, os.read(flash, 1))", every=2)
        eventually(lambda: any(line.get("missed") for line in news["requests"]))
        told = sum(bool(re.search("GetPowerStatus|flash read|flash write", line.get("line", ""))) for line in news["requests"])
        self.assertLess(told + sum(line.get("missed", 0) for line in news["requests"]), 60000 + 10)
        eventually(lambda: on_switch(ZELCTL, "led", "get", "alarm") and sum(1 + line.get("missed", 0) for line in news["requests"]) > 60000 - 10)
        self.assertFalse([line for line in news["requests"] if "failures" in line])
        eventually(lambda: news["highest"] > 100)
        eventually(lambda: (news["rate"], json.loads(self.ask("/api/history")[1])["series"]["rate"][-1][1]) == (0, 0))
        for request in "GetPowerStatus", "flash read":
            self.assertGreater(sum(line["us"] for line in news["requests"] if request in line.get("line", "")), 0)

    def ask_for_supplies(self, times, other="fcntl.ioctl(gpio, 0x40012455, status)", every=1000):
        """One request in a thousand, or in `every`, is another one: by itself one that the driver does not know."""
        on_switch("python3", "-c", "import fcntl, os\ngpio = os.open('/dev/zel_gpio', os.O_RDWR)\n"
                  "flash = os.open('/dev/zel_spi_flash', os.O_RDWR)\nstatus = bytearray(1)\n"
                  f"for i in range({times}):\n  try: fcntl.ioctl(gpio, 0x40012498, status) if i % {every} else {other}\n  except OSError: pass")

    def test_a_burst_is_whole_and_of_a_flood_what_matters_is_told(self):
        news = {}
        self.follow(news, "requests")
        eventually(lambda: "board" in news)
        eventually(lambda: on_switch(ZELCTL, "led", "get", "alarm") and "requests" in news)

        def lines(words):
            return [line for line in news["requests"] if words in line.get("line", "")]

        on_switch(ZELCTL, "flash", "erase", "T", "--yes")
        eventually(lambda: lines("EraseSector 0x01ff0000"))
        # A look at all ports, of which one request fails; then some thousand requests.
        zelsim("fail i2c:GetBoardAlive --skip 150 --count 1")
        subprocess.run([ZELSIM, "run", "--fast", "--", ZELCTL, "ports"], capture_output=True)
        eventually(lambda: [line["fault"] for line in lines("GetBoardAlive") if line.get("fault")] == [1])
        self.ask_for_supplies(3500)
        eventually(lambda: len(lines("GetPowerStatus")) == 3496)
        self.assertFalse([line for line in news["requests"] if "missed" in line])
        self.assertEqual(lines("GetPowerStatus"), sorted(lines("GetPowerStatus"), key=lambda line: line["at"]))
        # Floods, in which a request fails, a fault gives another result, and an answer changes.
        for skip in (4000, 30000):
            zelsim(f"fail gpio:GetPowerStatus --skip {skip} --count 1")
        zelsim("fail gpio:GetPowerStatus --skip 20000 --count 1 --result 0")
        self.ask_for_supplies(60000)
        zelsim("set supply 2 failed")
        self.ask_for_supplies(60000, "os.pread(flash, 1, -1)")
        eventually(lambda: sum("result" in line and line["result"] != 0 for line in lines("GetPowerStatus")) == 2)
        for request, error, times in ("0x55", "ENOTTY", 4 + 60), ("flash read", "EINVAL", 60):
            eventually(lambda: sum((line.get("result"), line.get("error")) == (-1, error) for line in lines(request)) == times)
        eventually(lambda: sum("fault" in line for line in lines("GetPowerStatus")) == 3)
        eventually(lambda: any("missed" in line for line in news["requests"]))
        # Of a burst that is over, the last 4000.
        seen = len(lines("GetPowerStatus"))
        self.ask_for_supplies(4100)
        eventually(lambda: len(lines("GetPowerStatus")) > seen + 3900)


class Changes(Server):
    # Sets the alarm LED to each digit of its arguments, and does the other arguments as command lines.
    PROGRAM = '''
import fcntl, os, subprocess, sys
gpio = os.open("/dev/zel_gpio", os.O_RDWR)
for act in sys.argv[2:]:
    if act in "012":
        fcntl.ioctl(gpio, 0x40012482, bytes([int(act)]))
    else:
        subprocess.run([sys.argv[1], *act.split()], check=True)
print(os.getpid())
'''

    def make(self, *acts):
        return f"python3[{on_switch('python3', '-c', self.PROGRAM, ZELSIM, *acts).strip()}]"

    def told(self, news):
        made, *rest = news.get("activity") or [{"who": "zelsim", "text": MADE}]
        self.assertEqual((made["who"], made["text"]), ("zelsim", MADE))
        changes = [entry for entry in rest if "request" not in entry]  # what programs only read is told, too
        return [(entry["who"], entry.get("text") or entry["command"]) for entry in changes]

    def test_all_stand_in_their_order_with_who_made_them(self):
        who = self.make("1", "plug 5 1g-sx", "0", "2", "unplug 5", "1", "reset", "1", "1", "0")
        made = [(who, "LED alarm: off → on"), ("shell", "zelsim plug 5 1g-sx"), (who, "LED alarm: on → off"),
                (who, "LED alarm: off → blinking"), ("shell", "zelsim unplug 5"), (who, "LED alarm: blinking → on"),
                ("shell", "zelsim reset"), (who, "LED alarm: off → on"), (who, "LED alarm: on → off")]
        news = {}
        self.follow(news)
        eventually(lambda: len(self.told(news)) == len(made))
        self.assertEqual(self.told(news), made)
        self.assertEqual([entry.get("barrier") for entry in news["activity"]], [True] + [None] * 6 + [True] + [None] * 2)
        # While somebody looks, far faster than anybody looks.
        who = self.make(*"10" * 100, "set settle 7", *"10" * 100)
        eventually(lambda: len(self.told(news)) >= len(made) + 401)
        new = [(who, text) for _ in range(100) for text in ("LED alarm: off → on", "LED alarm: on → off")]
        self.assertEqual(self.told(news)[len(made):], [*new, ("shell", "zelsim set settle 7"), *new])
        # What the board no longer has is counted. It has room for one act that is so long.
        act = f"flash load {os.path.abspath(__file__):/>3970}"  # its last letter is alone in the next place
        self.server.send_signal(signal.SIGSTOP)
        who = self.make(*"10" * 300)
        zelsim(act)
        zelsim(act)
        self.server.send_signal(signal.SIGCONT)
        eventually(lambda: self.told(news)[-1] == ("shell", "zelsim " + act))
        kept = [("zelsim", "earlier acts are no longer in the board's log"), ("zelsim", "88 changes are no longer in the board's log"),
                *[(who, "LED alarm: off → on"), (who, "LED alarm: on → off")] * 256, ("shell", "zelsim " + act)]
        self.assertEqual(self.told(news)[-515:], kept)
        times = [entry["at"] for entry in news["activity"]]
        self.assertEqual(times, sorted(times))
        late = {}
        self.follow(late)
        eventually(lambda: "activity" in late)
        self.assertEqual(late["activity"][-515:], news["activity"][-515:])

    def test_who_looks_late_is_told_all_that_the_board_has_kept(self):
        for number in range(40):
            zelsim(f"set settle {number}")
        who = self.make(*"10" * 300)
        news = {}
        self.follow(news)
        acts = [("shell", f"zelsim set settle {number}") for number in range(8, 40)]
        eventually(lambda: self.told(news) == [*acts, *[(who, "LED alarm: off → on"), (who, "LED alarm: on → off")] * 256])

    def test_who_only_reads_signs_nothing(self):
        zelsim("plug 3 1g-sx")
        zelsim("plug 4 1g-sx")
        news = {}
        self.follow(news)
        done = threading.Event()

        def read():
            while not done.is_set():
                subprocess.run((ZELSIM, "run", "--fast", "--", ZELCTL, "sfp", "list"), capture_output=True, check=False)

        reader = threading.Thread(target=read)
        reader.start()
        try:
            made = set()
            for _ in range(3):
                for line in ("set temperature 40", "set supply 2 failed", "set busy 1", "set busy 0", "fit 1 copper",
                             "fit 1 sfp", "plug 3 1g-sx"):
                    zelsim(line)
                made |= {self.make("2", "1", "0")}
        finally:
            done.set()
            reader.join()
        eventually(lambda: sum(who in made for who, _ in self.told(news)) == 9)
        signers = {who for who, _ in self.told(news)}
        self.assertEqual(signers, made | {"shell"})

    def test_what_programs_change_is_told_in_words(self):
        image = f"{self.home}/image"
        with open(image, "wb") as file:
            file.write(b"x" * 70000)
        zelsim("plug 5 1g-lx")
        zelsim("plug 6 copper")
        on_switch("bash", "-c", "debugCmd sgpio_set 1 1 1; true")  # the position of the alarm LED, before the LED is set
        # The LEDs, and the positions in the chain: what follows there says the same.
        leds = {"system": (1, 3), "alarm": (1, 1), "ring master": (2, 1), "ring fail": (2, 3), "power 1": (0, 1), "power 2": (0, 3),
                "speed 24": (12, 1), "speed 25": (12, 3), "speed 26": (4, 1), "speed 27": (4, 3)}
        for led, (group, bit) in leds.items():
            word = led.replace("ring ", "ring-").replace(" ", "")
            on_switch("sh", "-c", f"{ZELCTL} led set {word} blink && debugCmd sgpio_set {group} {bit} 2")
        for words in ("relay set 1", "cage 5 --tx-disable off", "lamp-test 1", "lamp-test 3", "clock set 2030-01-02T03:04:05"):
            on_switch(ZELCTL, *words.split())
        news = {}
        self.follow(news)
        eventually(lambda: any("clock" in text for _, text in self.told(news)))
        told = [(who.split("[")[0], text) for who, text in self.told(news)]
        self.assertEqual(told[2:-1], [
            ("debugCmd", "serial GPIO 1.1: off → on"),
            *(("zelctl", f"LED {led}: off → blinking") for led in leds),
            ("zelctl", "alarm relay: open → closed"), ("zelctl", "port 5: transmitter on"),
            ("zelctl", "lamp test, serial GPIO 5.3: off → on"), ("zelctl", "lamp test, serial GPIO 5.3: on → off")])
        self.assertRegex(told[-1][1], "clock: 20.* → 2030-01-02T03:04:05")
        # Two programs that write to the flash at once: each signs its own bytes.
        writers = [subprocess.Popen((ZELSIM, "run", "--fast", "--", ZELCTL, "flash", "write", start, image, "--yes"),
                                    stdout=subprocess.DEVNULL) for start in ("0x400000", "0x1400000")]
        self.assertEqual([writer.wait() for writer in writers], [0, 0])
        eventually(lambda: sum("bytes written" in text for _, text in self.told(news)) == 2)
        sums = {who: text for who, text in self.told(news) if "bytes written" in text}
        self.assertEqual(len(sums), 2)
        for text in sums.values():
            self.assertRegex(text, "flash, .*: 0 sectors erased, 70000 bytes written")

    # Sends requests to the nodes: a line is a node, the request's number and the first bytes of its record. "bus" is a
    # transfer on the I2C bus: its number, address, offset and bytes. A line of debugCmd is run.
    RAW = '''
import fcntl, os, sys
nodes = {name: os.open("/dev/zel_" + name, os.O_RDWR) for name in ("gpio", "i2c", "spi_flash")}
for line in sys.stdin:
    node, number, *parts = line.split()
    if node == "debugCmd":
        os.system(line)
        continue
    record = bytearray(140)
    values = [int(part, 16) for part in parts]
    if node == "bus":
        address, offset, *values = values
        record[128:137] = bytes((len(values), address, 0, 0, offset, 0, 0, 0, 1))
    record[:len(values)] = bytes(values)
    fcntl.ioctl(nodes["i2c" if node == "bus" else node], 0x40012400 + int(number, 16), record)
'''
    CHANGES = (
        ("gpio 84 1", "alarm relay: open → closed"), ("gpio 95 1", "reset flag: 0 → 1"),
        ("gpio d6 1", "diagnostics flag: 0 → 1"), ("gpio d8 1", "flash access flag: 0 → 1"),
        ("gpio 9c 1", "watchdog toggling: off → on"), ("gpio 9d 1", "watchdog toggling: on → off"),
        ("gpio 97 a5", "I/O value: 0x0 → 0xa5"), ("gpio db 1", "debug mode of the GPIO driver: 0 → 1"),
        ("i2c db 1", "debug mode of the I2C driver: 0 → 1"), ("spi_flash db 1", "debug mode of the flash driver: 0 → 1"),
        ("i2c b3 1", "I2C bus held: 0 → 1"), ("i2c b4", "I2C bus held: 1 → 0"),
        ("i2c c7 1", "clock failure flag: 0 → 1"), ("i2c c8 1", "temperature failure flag: 0 → 1"),
        ("i2c c3 1 0", "board alive in slot 1: 1 → 0"), ("i2c c3 3 1", "board alive in slot 3: 0 → 1"),
        ("i2c c3 1 1", "board alive in slot 1: 0 → 1"), ("gpio 86 2 1", "LED power 2: off → on"),
        ("gpio 92 18 1", "LED speed 24: off → on"), ("gpio 92 1b 2", "LED speed 27: off → blinking"),
        ("gpio 82 1", "LED alarm: off → on"), ("gpio 8a 2\ndebugCmd sgpio_set 1 1 1", "LED ring master: off → blinking"),
        ("debugCmd sgpio_set 1 1 2", "serial GPIO 1.1: on → blinking"), ("bus b1 4c 2 fe", "I/O output 0: 0xff → 0xfe"),
        ("bus b1 4c 3 3f", "I/O output 1: 0x80 → 0x3f"), ("bus b1 40 2 40", "port 0: transmitter on"),
        ("bus b1 78 1 20", "port 26: transmitter on"), ("bus b1 78 1 2", "port 26: transmitter off"), ("", "port 27: transmitter on"),
        ("bus b1 9e 2 46 0", "temperature sensor, register 2: 0x4b00 → 0x4600"),
        ("gpio 88 0\nbus b1 ac 4 5 61", "port 0: register 4 of the PHY: 0x1e1 → 0x561"),
        ("gpio e1 0 3 2 0 7 0 0 0", "SoC register 0x20300: 0x0 → 0x7"), ("gpio 9b 1", "SoC register 0x20300: 0x7 → 0x107"),
        ("debugCmd sw_register_set 0x5000010 0xff", "switch-chip register 0x5000010: 0x0 → 0xff"),
        ("debugCmd phy_register_set 25 0x1f 0x1234", "port 25: PHY register 0x1f: 0x0 → 0x1234"),
        ("debugCmd sgpio_set 15 5 1", "serial GPIO 15.5: off → on"), ("debugCmd sgpio_set 0 0 1", "serial GPIO 0.0: off → on"),
        ("debugCmd sgpio_set 6 1 2", "lamp test, serial GPIO 6.1: off → blinking"), ("gpio 99 1", "hardware reset"))
    READS = (
        ("gpio 81", "system led", "0"), ("gpio 87 2", "power led of supply 2", "1"), ("gpio 93 1b", "speed led of port 27", "2"),
        ("gpio 98", "supplies", "supply 1: good, supply 2: good"), ("gpio d5", None, None),
        ("gpio e0 10 81 1 0", "signals of ports 24 to 27",
         "port 24: signal, port 25: no light, port 26: no light, port 27: signal"),
        ("gpio e0 0 3 2 0", "register of the SoC", None), ("i2c 96 1", "board type of slot 1", "sfp"),
        ("i2c 96 3", "board type of slot 3", "none"), ("i2c b2", "busy", "0"), ("i2c c2 3", "board alive of slot 3", "1"),
        ("bus b0 40 0 0", "signals of slot 1", "port 0: module, port 0: transmitter good, port 0: transmitter on, "
         "port 1: no module, port 1: transmit fault, port 1: transmitter off"),
        ("bus b0 40 2 0", "driven signals of slot 1", "port 0: transmitter on, port 1: transmitter off"),
        ("bus b0 40 4 0", "polarity of the signals of slot 1", None),
        ("bus b0 40 6 0", "directions of the signals of slot 1", None),
        ("bus b0 4c 0 0 0", "I/O lines of the main board", None), ("bus b0 4c 2 0", "driven I/O lines of the main board", None),
        ("bus b0 7a 0 0", "signals of ports 24 to 27", "port 24: signal, port 24: module, port 25: no light, port 25: no module, "
         "port 26: no light, port 26: no module, port 27: signal, port 27: module"),
        ("bus b0 9e 0 0 0", "temperature", "25.0 °C"), ("bus b0 9e 1 0", "temperature sensor", None),
        ("bus b0 9e 0 0", "temperature sensor", None),
        ("bus b0 60 0 0", "clock chip", None), ("bus b0 6e 0 0", "clock chip", None), ("gpio 88 1b", None, None),
        ("bus b0 a0 0 0 0 0 0 0 0 0 0 0", "page A0h of the module in port 27", "bytes: 0304071000000000"),
        ("bus b0 a2 60 0", "page A2h of the module in port 27", "bytes: 23"), ("gpio 88 0", None, None),
        ("bus b0 ac 2 0 0", "copper PHY of the module in port 0", "bytes: 0141"), ("spi_flash da", "chip index", "0"))

    def test_each_request_is_told_in_words(self):
        def send(*rows):
            lines = "\n".join(row[0] for row in rows if row[0])
            program = (ZELSIM, "run", "--fast", "--", "python3", "-c", self.RAW)
            subprocess.run(program, input=lines, text=True, check=True, stdout=subprocess.DEVNULL)

        for line in ("plug 0 copper", "plug 24 10g-sr", "plug 27 10g-sr"):
            zelsim(line)
        news = {}
        self.follow(news, "requests")
        eventually(lambda: "board" in news)
        eventually(lambda: on_switch(ZELCTL, "led", "get", "alarm") and "requests" in news)
        send(("bus b0 a0 0 0",), *self.CHANGES[:-1])
        send(*self.READS, self.CHANGES[-1])
        eventually(lambda: "HardwareReset" in news["requests"][-1]["line"])
        begin = next(i for i, line in enumerate(news["requests"]) if "GetSystemLed" in line["line"])
        self.assertIn("page A0h of the module in the selected cage", [line.get("reads") for line in news["requests"][:begin]])
        lines = news["requests"][begin:-1]
        self.assertEqual([(line.get("reads"), line.get("values")) for line in lines], [row[1:] for row in self.READS])
        self.assertEqual({line["program"] for line in lines}, {"python3"})
        # The bytes of a transfer stand in its line.
        self.assertEqual(["before" in line for line in lines], ["BufRead" not in line["line"] for line in lines])
        eventually(lambda: ("python3", "hardware reset") in [(who.split("[")[0], text) for who, text in self.told(news)])
        changes = [text for who, text in self.told(news) if who.startswith("python3[")]
        self.assertEqual(changes, [row[1] for row in self.CHANGES])

    def test_an_update_ends_before_what_its_program_does_next(self):
        image = f"{self.home}/image"
        with open(image, "wb") as file:
            file.write(b"x" * 60000)
        news = {}
        self.follow(news)
        for _ in range(2):
            on_switch(ZELCTL, "firmware", "write", image, "--partition", "2", "--yes")
        once = ["flash access flag: 0 → 1", "flash, Image 2: begins to erase",
                "flash, Image 2: 1 sector erased, 60000 bytes written", "flash access flag: 1 → 0"]
        eventually(lambda: len(self.told(news)) >= 8)
        self.assertEqual([text for _, text in self.told(news)], once * 2)
        times = [entry["at"] for entry in news["activity"]]
        self.assertEqual(times, sorted(times))

    # Does a step for each line of standard input, and answers it. What was read last is what is written.
    WRITER = '''
import fcntl, os, sys
flash, gpio = os.open("/dev/zel_spi_flash", os.O_RDWR), os.open("/dev/zel_gpio", os.O_RDWR)
files = {}
def read(name, size):
    global last
    last = files[name].read(int(size))
def at(address): os.lseek(flash, int(address, 16), os.SEEK_SET)
def write(size): os.write(flash, last[:int(size)])
def led(state): fcntl.ioctl(gpio, 0x40012482, bytes([int(state)]))
def copy(name, size):
    for _ in range(0, int(size), 4096):
        read(name, 4096)
        write(4096)
for line in sys.stdin:
    for step in line.split(";"):
        act, *words = step.split()
        if act == "open": files[words[0]] = open(sys.argv[1] + "/" + words[0], *words[1:] or ["rb"], buffering=0)
        elif act == "close": files.pop(words[0]).close()
        elif act == "seek": files[words[0]].seek(int(words[1]))
        else: {"read": read, "at": at, "write": write, "copy": copy, "led": led}[act](*words)
    print("done", flush=True)
'''
    # Steps of the program, and what is told then: the region, what was written there, the rest of it; the file and how much
    # of it is written. A file is named where it is certain.
    WRITINGS = (
        # The first: whoever begins to look takes a process that has just ended for one that writes.
        ("something else behind it", (
            ("open a; at 0x200000; copy a 8192", ("Image 1", 8192, 0xbfe000, "a", 8192)), ("led 1; led 0", None))),
        ("one file", (
            ("open a; at 0x200000; copy a 8192", ("Image 1", 8192, 0xbfe000, "a", 8192)),
            ("at 0x203000; seek a 12288; copy a 4096; read a 4096; close a; write 4096", ("Image 1", 15904, 0xbfb1e0, "a", 20000)))),
        ("a file to each of two regions", (
            ("open a; at 0x200000; copy a 20480", ("Image 1", 20000, 0xbfb1e0, "a", 20000)),
            ("close a; open b; at 0x1200000; copy b 4096", ("Image 2", 4096, 0xbff000, "b", 4096)))),
        ("two files to one region", (
            ("open a; at 0x200000; copy a 20480", ("Image 1", 20000, 0xbfb1e0, "a", 20000)),
            ("close a; open b; at 0x210000; copy b 4096", ("Image 1", 24096, 0xbef000, "b", 4096)))),
        ("a file across the end of a region", (
            ("open a; at 0xfe000; copy a 4096", ("Bootloader", 4096, 0x1000, "a", 4096)),
            ("copy a 8192", ("Environment", 4096, 0xf000, "a", 12288)))),
        ("another file was read a little", (
            ("open b; read b 4096; open a; at 0; copy a 8192", ("Bootloader", 8192, 0xfe000, "a", 8192)),)),
        ("another file is read faster", (
            ("open b; open a; at 0x200000; copy a 4096; read b 16384; copy a 4096", ("Image 1", 8192, 0xbfe000, "a", 8192)),)),
        ("another file is read in step", (
            ("open a; read a 8192; close a; open b; at 0x200000; write 8192; read b 8192", ("Image 1", 8192, 0xbfe000, None)),)),
        ("a file that is closed before its end", (
            ("open a; at 0x200000; copy a 8192", ("Image 1", 8192, 0xbfe000, "a", 8192)),
            ("read a 4096; close a; write 4096", ("Image 1", 12288, 0xbfd000, "a", 12288)))),
        ("a file from its middle on", (("open a; seek a 4096; at 0x200000; copy a 8192", ("Image 1", 8192, 0xbfe000, None)),)),
        ("other bytes behind those of the file", (
            ("open a; at 0x200000; copy a 8192", ("Image 1", 8192, 0xbfe000, "a", 8192)),
            ("open b; copy b 4096", ("Image 1", 12288, 0xbfd000, None)))),
        ("a file that is open twice", (
            ("open a; open link; read link 8192; at 0x1ffe000; copy a 8192", ("Test Area", 8192, 0, "a", 8192)),)),
        ("a file that may be written", (("open a r+b; at 0x200000; copy a 8192", ("Image 1", 8192, 0xbfe000, None)),)),
        ("a file that was read long before", (
            ("open long; read long 8192; at 0x200000; write 8192; read long 1048577", ("Image 1", 8192, 0xbfe000, None)),)),
        ("two files that are alike", (
            ("open a; open twin; read twin 8192; at 0x200000; copy a 8192", ("Image 1", 8192, 0xbfe000, None)),)),
        ("too little to know", (("open a; at 0x200000; read a 256; write 256", ("Image 1", 256, 0xbfff00, None)),)))

    def writer(self, *words):
        program = [ZELSIM, "run", *words, "--", "python3", "-c", self.WRITER, self.home]
        return subprocess.Popen(program, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)

    def do(self, writer, steps):
        writer.stdin.write(steps + "\n")
        writer.stdin.flush()
        self.assertEqual(writer.stdout.readline(), "done\n")

    def make_files(self):
        content = {name: bytes((i * i + first + i // 256) % 251 for i in range(20000)) for name, first in (("a", 0), ("b", 7))}
        content.update(twin=content["a"], long=content["a"] * 60)
        os.symlink("a", f"{self.home}/link")
        for name, data in content.items():
            with open(f"{self.home}/{name}", "wb") as file:
                file.write(data)

    def test_what_is_written_where_and_of_which_file(self):
        self.make_files()
        news = {}
        self.follow(news)

        def told(writing):
            if writing is None:
                return None
            file = (writing["file"], writing["done"]) if "file" in writing else (None,)
            return (writing["region"], writing["written"], writing["left"], *file)

        def is_told(rows, seen):
            zelsim("flash erase")
            with self.writer("--fast") as writer:
                for steps, expected in rows:
                    self.do(writer, steps)
                    end = time.monotonic() + 2
                    while told(news.get("writing")) != expected and time.monotonic() < end:
                        time.sleep(0.03)
                    # Whoever begins to look now sees the same, but no file that is closed.
                    anew = told(json.loads(self.ask("/api/flash")[1])["writing"])
                    seen[:] = steps, told(news.get("writing")), anew
                    is_closed = "; close" in steps
                    is_right = seen[1] == expected and anew in (expected, is_closed and (*expected[:3], None))
                    if not is_right:
                        break
                writer.stdin.close()
            eventually(lambda: news["writing"] is None)
            return is_right

        # A machine that is busy may be so slow that a writing is over in between.
        for name, rows in self.WRITINGS:
            seen = []
            with self.subTest(name):
                self.assertTrue(any(is_told(rows, seen) for _ in range(4)), seen)
        texts = {text for _, text in self.told(news)}
        self.assertLessEqual({"flash, Bootloader: begins to write", "flash, Bootloader: 0 sectors erased, 8192 bytes written",
                              "flash, Environment: 0 sectors erased, 4096 bytes written"}, texts)

    def test_a_file_that_was_not_certain_is_not_named_later(self):
        self.make_files()
        news = {}
        self.follow(news)
        zelsim("flash erase")
        with self.writer("--fast") as writer:
            self.do(writer, "open a; open twin; at 0x200000; read twin 4096; copy a 4096")
            eventually(lambda: (news.get("writing") or {}).get("written") == 4096)
            self.do(writer, "close a; read twin 4096; write 4096")
            eventually(lambda: (news["writing"] or {}).get("written") == 8192)
            self.assertNotIn("file", news["writing"])
            zelsim("flash erase")
            eventually(lambda: news["written_sector"] is None)
            self.assertEqual((news["writing"] or {"written": 0})["written"], 0)
            writer.stdin.close()

    def test_the_sector_that_was_written_last_is_told(self):
        self.make_files()
        news = {}
        self.follow(news)
        eventually(lambda: "written_sector" in news)
        self.assertIsNone(news["written_sector"])
        with self.writer("--fast") as writer:
            self.do(writer, "open a; read a 16")
            # The third one makes its sector no fuller.
            for address, sector in (("0x1200000", 288), ("0xe00000", 224), ("0x1200010", 288), ("0xdffff0", 223)):
                self.do(writer, f"at {address}; write 16")
                eventually(lambda: news["written_sector"] == sector)
            writer.stdin.close()
        used = lambda: {sector: pages for sector, pages in enumerate(news["sectors"]["used"]) if pages}
        eventually(lambda: used() == {223: 1, 224: 1, 288: 1})
        on_switch(ZELCTL, "flash", "erase", "0xdf0000", "--sectors", "2", "--yes")
        sums = {f"flash, {region}: 1 sector erased, 0 bytes written" for region in ("Image 1", "DB1")}
        eventually(lambda: (used(), news["written_sector"]) == ({288: 1}, 224))
        eventually(lambda: {text for _, text in self.told(news)} >= sums)
        for back in f"flash load {self.home}/a", "load here":
            zelsim(back)
            eventually(lambda: (used(), news["written_sector"]) == ({0: 79}, None))
            zelsim("save here")
            on_switch(ZELCTL, "flash", "erase", "0", "--yes")
            eventually(lambda: (used(), news["written_sector"]) == ({}, 0))

    def test_a_writing_that_was_not_done_is_told(self):
        self.make_files()
        inside = "ended in the middle of a write or an erase"
        long = "open a; at 0x200000; " + "seek a 4096; read a 8192; write 8192; " * 500
        for words, steps, done, expected, then in (
                ("--fast", "open a; at 0x200000; copy a 8192", 8192, None, "flash erase"),
                ("--chip-times", long, None, inside, "flash erase"),
                ("--chip-times", long, None, inside, f"run --fast -- {ZELCTL} flash erase 0x200000 --yes")):
            zelsim("flash erase")
            news = {}
            self.follow(news)
            with self.subTest(steps=steps[:40], then=then), self.writer(words) as writer:
                if done:
                    self.do(writer, steps)
                else:
                    writer.stdin.write(steps + "\n")
                    writer.stdin.flush()
                eventually(lambda: news.get("writing") and news["writing"]["written"] and news["writing"].get("done") == done)
                who = news["writing"]["program"]
                if expected:
                    self.kill_inside_a_write(writer)
                else:
                    writer.kill()
            sums = []
            eventually(lambda: sums.extend(text for by, text in self.told(news) if by == who and "bytes written" in text) or sums)
            self.assertEqual(sums[0].split("; ")[1:], [expected] if expected else [])
            eventually(lambda: news["writing"] is None and news["broken_off"] == (expected and f"{who} {expected}"))
            zelsim(then)
            eventually(lambda: news["broken_off"] is None)


class Board(Server):
    def test_reset_goes_back_to_how_the_board_was_made(self):
        made = zelsim("get slots")
        image = f"{self.home}/image"
        with open(image, "wb") as file:
            file.write(b"kept")
        zelsim(f"flash load {image}")
        for back in (lambda: zelsim("reset"), lambda: self.act("reset")):
            zelsim("fit 1 none")
            zelsim("fit 3 sfp")
            zelsim("plug 17 1g-sx")
            back()
            self.assertEqual(zelsim("get slots"), made)
            self.assertEqual(self.ask("/api/flash/bytes?start=0&size=4")[1].count("6b657074"), 1)

    def test_what_was_before_a_reset_a_load_or_another_board_is_told_apart(self):
        news = {}
        self.follow(news)
        made = time.time()
        for line in ("plug 5 1g-sx", "save here", "unplug 5", "load here", "unplug 5", "reset default"):
            zelsim(line)
        on_switch(ZELCTL, "flash", "erase", "0x200000", "--yes")
        eventually(lambda: len(news.get("activity", [])) == 9)
        time.sleep(0.05)
        zelsim("delete")
        eventually(lambda: news["gone"] and news["written_sector"] is None)
        zelsim("create")
        zelsim("set settle 7")
        eventually(lambda: len(news["activity"]) == 11)
        self.assertIsNone(news["written_sector"])
        told = [entry.get("command") or entry["text"] for entry in news["activity"] if "barrier" in entry]
        self.assertEqual(told, [MADE, "zelsim load here", "zelsim reset", MADE])
        times = [entry["at"] for entry in news["activity"]]
        self.assertEqual(times, sorted(times))
        self.assertTrue(0 < made * 1000 - times[0] < PATIENCE * 1000)
        self.assertGreater(times[9], times[8])
        # Whoever looks later finds no way back from there.
        late = {}
        self.follow(late)
        eventually(lambda: len(late.get("activity", [])) == 11)
        self.assertEqual([entry.get("undo") for entry in late["activity"]], [None] * 10 + [["set settle 200"]])

    def test_a_saved_state_comes_back_as_a_whole(self):
        def state():
            board = json.loads(zelsim("show --json"))
            del board["i2c"]["clock"], board["paused_us"]
            return board, run("sh", "-c", f"{ZELSIM} flash save - --region 'Image 2' | sha256sum")

        zelsim("plug 5 1g-lx")
        zelsim("set los 5 1")
        zelsim("fail i2c:BufRead@0x9e")
        on_switch(ZELCTL, "flash", "erase", "0x1200000", "--yes")
        before = state()
        zelsim("save here")
        def difference():
            return json.loads(self.ask("/api/flash/difference?state=here")[1])

        same = {"state": "here", "sectors": [], "erases": 0, "modules": [], "faults": [], "parts": []}
        self.assertEqual(difference(), same)
        for line, differs in (("set clock 2026-03-15T14:30:45", {"parts": ["i2c"]}), ("fail gpio", {"faults": [2], "parts": ["faults"]}),
                              ("set settle 7", {"parts": ["settle_ms"]}), ("plug 0 1g-sx", {"modules": [0]}), ("plug 27 1g-sx", {"modules": [27]})):
            zelsim(line)
            for part, value in differs.items():
                self.assertEqual(difference()[part], value)
            zelsim("load here")
            self.assertEqual(difference(), same)
        image = f"{self.home}/image"
        with open(image, "wb") as file:
            file.write(b"zelboard")
        # What a program sets for a moment is no difference.
        on_switch(ZELCTL, "sfp", "show", "5")
        self.assertEqual(difference(), same)
        for address in "0x30000", "0x1200000", "0x1ff0000":
            on_switch(ZELCTL, "flash", "erase", address, "--yes")
            on_switch(ZELCTL, "flash", "write", address, image, "--yes")
        found = difference()
        self.assertEqual((found["sectors"], found["erases"], found["modules"]), ([3, 288, 511], 3, []))
        zelsim("reset --flash")
        self.assertNotEqual(state(), before)
        zelsim("load here")
        self.assertEqual(state(), before)
        with open(image, "wb") as file:
            file.write(b"zelboard" * 60000)
        write = ("run", "--chip-times", "--", ZELCTL, "firmware", "write", image, "--partition", "2")
        with subprocess.Popen((ZELSIM, *write), stdout=subprocess.DEVNULL) as update:
            eventually(lambda: json.loads(zelsim("flash stats --json"))["flash"]["erases"] > 2)
            self.assertNotIn("gpio", difference()["parts"])
            self.stop_inside_a_write(update)
            refused = subprocess.run((ZELSIM, "load", "here"), capture_output=True, text=True, check=False)
            self.assertTrue("in a request" in refused.stderr and refused.returncode == 1, refused)
            update.kill()
        zelsim("load here")  # what was killed in a request holds nobody up
        self.assertEqual(state(), before)
        os.truncate(f"{self.home}/default/states/here/flash.inverted", 65535)
        self.assertIn("the flash image cannot be read", self.ask("/api/flash/difference?state=here")[1])
        zelsim("forget here")
        self.assertEqual(json.loads(zelsim("states --json")), {"states": []})

    def test_each_act_can_be_undone(self):
        for line in ("plug 3 copper", "plug 24 10g-sr", "set rx-power 24 -5", "set loss-of-signal 24 1", "set tx-fault 24 1",
                     "set supply 1 failed", "set link 9 down"):
            zelsim(line)
        module = f"{self.home}/module"  # without page A2h
        zelsim(f"run --fast -- {ZELCTL} sfp dump 24 --page a0 --raw -o {module}")
        alone = {"fit 2 none": ["fit 2 copper", "set link 9 down full"], "set clock 2030-01-02T03:04:05": ["set clock host"]}
        for line in ("plug 5 1g-lx", "set voltage 24 3.2", "set module-temperature 24 -3.5", f"plug 24 {module}", "unplug 24", "unplug 3", "plug 3 1g-sx", "fit 1 none", "set supply 2 failed", "set temperature 71.5",
                     "set rtc absent", "set lm75 absent", "set loss-of-signal 3 1", "set loss-of-signal 6 0", "set link 3 100 half", "set link 9 10",
                     "set supply 1 none", *alone, "fail i2c:BufRead@0x40 --result busy --skip 2",
                     "fail gpio --probability 0.25 --seed 7",
                     "set io 1 2", "set busy 1", "set settle 7", "set chip-index 3", "set reset-key 1", "set reset-process 3"):
            with self.subTest(line=line):
                before = json.loads(self.ask("/api/board")[1])
                zelsim(line)
                news = {}
                page = self.follow(news)
                eventually(lambda: any(entry.get("command") == "zelsim " + line
                                       for entry in news.get("activity", [])))
                if "24" not in line:
                    self.assertNotIn(" 24", " ".join(news["activity"][-1]["undo"]))
                if line in alone:
                    self.assertEqual(news["activity"][-1]["undo"], alone[line])
                for undo in news["activity"][-1]["undo"]:
                    zelsim(undo)
                page.close()
                after = json.loads(self.ask("/api/board")[1])
                for each in (before, after):
                    del each["i2c"]["clock"], each["paused_us"]
                self.assertEqual(before, after)
        for line in (f"plug 5 {module}", "unplug 5", "fail flash", "fail gpio --probability 0.25 --seed 7",
                     "fail i2c --count 1 --skip 2"):
            zelsim(line)
        first = json.loads(zelsim("fail --list --json"))["faults"][0]["fault"]
        zelsim(f"heal {first}")
        news = {}
        page = self.follow(news)
        eventually(lambda: any(entry.get("command") == f"zelsim heal {first}" for entry in news.get("activity", [])))
        zelsim("heal")
        eventually(lambda: news["activity"][-1].get("command") == "zelsim heal")
        page.close()
        undo = "fail gpio --result 65535 --probability 0.25 --seed 7"
        self.assertEqual([entry["undo"] for entry in news["activity"][-2:]],
                         [["fail flash --result 65535"], [undo, "fail i2c --result 65535 --count 1 --skip 2"]])
        self.assertNotIn("undo", news["activity"][-6])  # the module is in no catalogue

    # Reads the status of the supplies until a file is there. Prints how often supply 2 was good.
    WATCH = '''
import fcntl, os, sys
gpio = os.open("/dev/zel_gpio", os.O_RDWR)
status = bytearray(1)
good = 0
print("reads", flush=True)
while not os.path.exists(sys.argv[1]):
    fcntl.ioctl(gpio, 0x40012498, status)
    good += status[0] >> 7
print(good)
'''

    def together(self, *acts, **how):
        status, text = self.ask("/api/together", json.dumps({"acts": acts, **how}))
        return status, json.loads(text)

    def state(self):
        board = json.loads(zelsim("show --json"))
        del board["i2c"]["clock"], board["paused_us"]
        return board

    def test_no_program_sees_the_board_between_acts_that_are_one(self):
        zelsim("set supply 2 failed")
        end = f"{self.home}/end"
        with subprocess.Popen((ZELSIM, "run", "--fast", "--", "python3", "-c", self.WATCH, end), stdout=subprocess.PIPE,
                              text=True) as program:
            self.assertEqual(program.stdout.readline(), "reads\n")
            for kind in ("dc", "ac") * 50:
                acts = [{"action": "set supply", "supply": 2, "state": state} for state in (kind, "failed")]
                self.assertEqual(self.together(*acts)[0], 200)
            with open(end, "wb"):
                pass
            self.assertEqual(program.stdout.readline(), "0\n")

    def test_an_act_is_undone_once(self):
        news = {}
        self.follow(news)
        back = {"action": "set settle", "milliseconds": 200}
        for line in ("set settle 7", "flash load /dev/null --region 0+1", "plug 5 1g-sx", "plug 5 1g-sx", "flash erase", "save x", "forget x"):
            zelsim(line)
        eventually(lambda: len(news.get("activity", [])) == 8)
        self.assertEqual([(entry.get("act"), entry.get("final"), "undo" in entry, "undoes" in entry) for entry in news["activity"]],
                         [(None, None, False, False), (1, None, True, False), (2, True, False, False), (3, None, True, False),
                          (4, None, False, False), *((act, True, False, False) for act in (5, 6, 7))])
        # Of requests at the same moment one is done.
        answers = []
        def undo():
            answers.append(self.together(back, undoes=1, newest=7, title="undone: set settle 7"))
        together = [threading.Thread(target=undo) for _ in range(8)]
        for each in together:
            each.start()
        for each in together:
            each.join()
        passed = ["zelsim flash load /dev/null --region '0+1'", "zelsim flash erase", "zelsim save x", "zelsim forget x"]
        done = {"done": ["zelsim set settle 200"], "refused": [], "passed": passed}
        self.assertEqual([answer for answer in answers if answer[0] == 200], [(200, done)])
        self.assertEqual([answer for answer in answers if answer[0] != 200], [(409, {"error": "zelsim set settle 7 is undone already"})] * 7)
        eventually(lambda: news["activity"][-1].get("undoes") == 1)
        self.assertEqual((len(news["activity"]), news["activity"][-1]["act"]), (9, 8))
        # An act that nobody knew of comes first.
        zelsim("set settle 9")
        came = "nothing is undone: zelsim set settle 9 came in between"
        for meant, why in ({"undoes": 8, "newest": 8}, came), ({"undoes": 3}, "nothing is undone: zelsim plug 5 1g-sx came in between"), \
                          ({"undoes": 9, "newest": 10}, "nothing is undone: the board was made anew in between"):
            self.assertEqual(self.together(back, **meant), (409, {"error": why}))
        self.assertEqual(zelsim("get settle_ms").strip(), "9")
        # Several that were one have their title, or are named all.
        for newest, title, named in (9, "", "zelsim set settle 200; set busy 0"), (10, "back", "back"):
            self.together(back, {"action": "set busy", "value": 0}, title=title)
            self.assertEqual(self.together(back, undoes=newest), (409, {"error": f"nothing is undone: {named} came in between"}))
        self.assertEqual(self.together(back, undoes=3, newest=11)[1]["passed"], [])
        for _ in range(25):
            self.together(back)
        self.assertEqual(self.together(back, undoes=1), (409, {"error": "this act is undone already"}))

    def test_several_acts_are_one(self):
        ports = (3, 24, 25, 26, 27)
        for port in ports:
            zelsim(f"plug {port} 1g-sx")
        news = {}
        self.follow(news)
        eventually(lambda: len(news.get("activity", [])) == 1 + len(ports))
        before = self.state()
        # The commands and the way back are longer than one entry of the board has room for.
        acts = []
        for port in ports:
            acts += [{"action": "unplug", "port": port}]
            acts += [{"action": "plug", "port": port, "module": module} for module in ("1g-lx", "10g-lr")]
            acts += [{"action": "set rx-power", "port": port, "value": -7}]
            acts += [{"action": "set loss-of-signal", "port": port, "value": 1}]
        self.assertEqual(self.together(*acts, title="undone: all")[1]["refused"], [])
        eventually(lambda: len(news["activity"]) == len(ports) + 2)
        entry = news["activity"][-1]
        self.assertEqual((entry["title"], entry["who"], len(entry["commands"])), ("undone: all", "page", len(acts)))
        self.assertEqual(entry["commands"][-1], "zelsim set loss-of-signal 27 1")
        for undo in entry["undo"]:
            zelsim(undo)
        self.assertEqual(self.state(), before)
        # Where one is refused all is as it was, or the others are done.
        acts = [{"action": "set busy", "value": 1}, {"action": "unplug", "port": 9}, {"action": "set settle", "milliseconds": 7}]
        refusal = {"error": "port: 9 has no module"}
        self.assertEqual(self.together(*acts, whole=True), (409, refusal))
        self.assertEqual(self.state(), before)
        status, answer = self.together(*acts)
        self.assertEqual((status, answer["refused"]), (200, [{"act": 1, **refusal}]))
        eventually(lambda: news["activity"][-1].get("commands") == ["zelsim set busy 1", "zelsim set settle 7"])
        self.assertEqual((news["activity"][-1]["undo"], "title" in news["activity"][-1]), (["set busy 0", "set settle 200"], False))
        # Where all are refused nothing was done.
        done = len(news["activity"])
        self.assertEqual(len(self.together({"action": "unplug", "port": 9}, title="nothing")[1]["refused"]), 1)
        self.together({"action": "set settle", "milliseconds": 8})
        eventually(lambda: news["activity"][-1].get("command") == "zelsim set settle 8")
        self.assertEqual(len(news["activity"]), done + 1)
        dark = {"action": "set loss-of-signal", "port": 24, "value": 0}
        self.assertEqual(self.together(*[dark] * 400, title="t" * 1000)[0], 200)
        eventually(lambda: news["activity"][-1].get("title") == "t" * 1000)
        number, kind = "acts: not a list of 1 to 400 actions", "body: a value has the wrong type"
        for why, body in ((number, {}), (number, {"acts": [dark] * 401}), (number, {"acts": dark}), ("undoes: not the number of an act", {"acts": acts, "undoes": 0}),
                          (kind, {"acts": acts, "undoes": "1"}), ("acts: one has no action", {"acts": [{}]}), ("action: 'reset' is done alone", {"acts": [{"action": "reset"}]}),
                          *(("title: not one line of at most 1000 bytes", {"acts": acts, "title": title}) for title in ("a\nb", "t" * 1001)),
                          (kind, {"acts": [{"action": 1}]})):
            status, text = self.ask("/api/together", json.dumps(body))
            self.assertEqual((status, json.loads(text)["error"]), (400, why))


class Limits(Server):
    refusals = {"400 Bad Request": b"request: not understood", "413 Payload Too Large": b"body: longer than 64 KiB",
                "408 Request Timeout": b"request: not whole within 5 seconds",
                "431 Request Header Fields Too Large": b"request: its head is longer than 8 KiB"}

    def head(self, line, rest=b""):
        connection = socket.create_connection(("127.0.0.1", self.port), timeout=PATIENCE)
        connection.sendall(line.encode() + b"\r\nHost: localhost\r\n" + rest)
        return connection

    def status(self, connection):
        """The status of the answer: whoever waited until the end of its time gets 408, whoever waits for ever fails."""
        with connection.makefile("rb") as answer:
            line = answer.readline().decode().strip().partition(" ")[2]
            if line in self.refusals:
                body = b'{"error":"%s"}\n' % self.refusals[line]
                self.assertEqual(answer.read().decode(), "Connection: close\r\nCache-Control: no-store\r\nContent-Type: application/json\r\n"
                                 f"Content-Length: {len(body)}\r\n\r\n{body.decode()}")
        return int(line[:3] or 0)

    def test_bodies(self):
        quiet = {}
        self.follow(quiet)
        chunk = b"1000\r\n" + b" " * 0x1000 + b"\r\n"
        chunked = b"Transfer-Encoding: chunked\r\n\r\n"
        for name, status, rest in (("none", 200, b"\r\n"),
                                   ("chunked", 200, chunked + b"2;" + b"x" * 62 + b"\r\n{}\r\n0\r\n\r\n"),
                                   ("the longest", 200, b"content-length:\t65536 \r\nContent-Type: application/x-www-form-urlencoded\r\n\r\n" + b"{}".ljust(65536)),
                                   ("the longest chunk", 200, chunked + b"10000 ;x=y\r\n" + b"{}".ljust(65536) + b"\r\n0\r\n\r\n"),
                                   ("no number", 400, b"Content-Length: 2x\r\n\r\n{}"),
                                   ("no value", 400, b"Content-Length: \r\n\r\n"),
                                   ("a long line", 400, chunked + b"2;" + b"x" * 63 + b"\r\n"),
                                   ("a line without end", 400, chunked + b"2;" + b"x" * 70),
                                   ("long chunks", 413, chunked + chunk * 17),
                                   ("one chunk too long", 413, chunked + b"fffffff\r\n"),
                                   ("no chunk", 400, chunked + b"zz\r\n"),
                                   ("a chunk without its end", 400, chunked + b"2\r\n{}zz0\r\n\r\n"),
                                   ("fields behind", 400, chunked + b"2\r\n{}\r\n0\r\nX: y\r\n\r\n"),
                                   ("two lengths", 400, b"Content-Length: 2\r\n" + chunked + b"2\r\n{}\r\n0\r\n\r\n"),
                                   ("too long", 413, b"Content-Length: 65537\r\n\r\n"),
                                   ("long head", 431, b"X: " + b"x" * 9000 + b"\r\n\r\n")):
            with self.subTest(name=name), self.head("POST /api/heal HTTP/1.1", rest) as connection:
                self.assertEqual(self.status(connection), status)
        with self.head("BREW / HTTP/1.1", b"Connection: close\r\n\r\n") as connection, connection.makefile() as answer:
            connection.settimeout(10)  # one that does not end is kept for longer
            self.assertIn('"error": "request: not understood"', answer.read())
        eventually(lambda: quiet.get("event") == "alive")  # meanwhile there was no news

    def test_a_body_is_awaited_when_the_client_waits_for_leave(self):
        connection = socket.create_connection(("127.0.0.1", self.port), timeout=PATIENCE)
        with connection, connection.makefile("rb") as answer:
            for length, body in ((b"Content-Length: 2", b"{}"), (b"Transfer-Encoding: chunked", b"2\r\n{}\r\n0\r\n\r\n")):
                connection.sendall(b"POST /api/heal HTTP/1.1\r\nHost: localhost\r\nExpect: 100-continue\r\n" + length + b"\r\n\r\n")
                self.assertEqual((answer.readline(), answer.readline()), (b"HTTP/1.1 100 Continue\r\n", b"\r\n"))
                self.ask("/api/faults")  # meanwhile the leave is not given anew
                connection.sendall(body)
                self.assertEqual(answer.readline(), b"HTTP/1.1 200 OK\r\n")
                self.assertIn(b"}\n", iter(answer.readline, b""))

    def test_requests_that_come_together_are_answered_in_their_order(self):
        asked = "".join(f"\r\nGET /api/flash/bytes?start={start}&size=1 HTTP/1.1\r\nHost: localhost\r\n" for start in range(20))
        with self.head("GET / HTTP/1.1", f"{asked}Connection: close\r\n\r\n".encode()) as connection, connection.makefile() as answer:
            connection.settimeout(10)
            self.assertEqual(re.findall(r'"start": (\d+)', answer.read()), [str(start) for start in range(20)])

    def test_slow_clients_and_many_streams_stop_nobody(self):
        late = socket.create_connection(("127.0.0.1", self.port), timeout=PATIENCE)
        for seconds, text in ((3, b"POST /api/heal HTTP/1.1\r\nHost: localhost\r\nContent-Length: 2\r\n\r\n"), (6, b"{}")):
            threading.Timer(seconds, late.sendall, (text,)).start()
        slow = [self.head("GET /api/board HTTP/1.1") for _ in range(100)]
        streams = [self.head("GET /api/events HTTP/1.1", b"\r\n") for _ in range(500)]
        answers = [self.status(stream) for stream in streams]
        self.assertEqual((answers.count(200), answers.count(503)), (64, 500 - 64))
        self.assertIn("events: too many pages are open", self.ask("/api/events")[1])
        for _ in range(20):
            for connection in slow:
                try:
                    connection.sendall(b"x")
                except OSError:
                    pass  # its time was over
            self.assertEqual(self.ask("/api/heal", "")[0], 200)
        self.assertEqual(self.status(slow[0]), 408)
        self.assertEqual(self.status(late), 200)  # a request has its time from its first byte on
        for connection in (late, *slow, *streams):
            connection.close()

        def is_admitted():
            with self.head("GET /api/events HTTP/1.1", b"\r\n") as stream:
                return self.status(stream) == 200

        eventually(is_admitted)
        eventually(lambda: len(os.listdir(f"/proc/{self.server.pid}/fd")) < 100)  # all of these are closed

    def test_clients_that_never_read_stop_nobody(self):
        def slowest():
            times = []
            for _ in range(20):
                began = time.monotonic()
                self.assertEqual(self.ask("/panel.svg")[0], 200)
                times.append(time.monotonic() - began)
            return max(times)

        asked = b"GET /api/flash/bytes?start=0&size=65536 HTTP/1.1\r\nHost: localhost\r\n\r\n"
        slow, *deaf = [socket.socket() for _ in range(81)]  # more than there are workers
        for connection in deaf + [slow]:
            connection.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
            connection.connect(("127.0.0.1", self.port))
            connection.sendall(b"GET / HTTP/1.1\r\nHost: localhost\r\n\r\n" * 200 if connection is not slow else asked * 9 + asked[:-2] + b"Connection: close\r\n\r\n")
        for _ in range(3):  # from when they are busy to when their sockets take no more
            self.assertLess(slowest(), 1)
            time.sleep(0.5)
        # Answers that are larger than the sockets come as a whole to whoever takes them slowly.
        text = slow.recv(500000, socket.MSG_WAITALL)
        time.sleep(0.7)
        while piece := slow.recv(100000):
            text += piece
        self.assertEqual(text.count(b"ff" * 65536), 10)
        for connection in deaf + [slow]:
            connection.close()


class Listening(Server):
    words = ("default", "--listen", "0.0.0.0", "--host", "lab.example", "--host", "Board")

    def setUp(self):
        os.environ["ZELSIM_TOKEN"] = "correct-horse"
        self.addCleanup(os.environ.pop, "ZELSIM_TOKEN")
        super().setUp()

    def test_names_and_secret(self):
        names = ["board", *(name for name in run("hostname", "-I").split() if ":" not in name)]
        others = [self.server.stdout.readline().strip() for _ in names]
        self.assertEqual(self.address, f"http://lab.example:{self.port}/?token=correct-horse")
        self.assertCountEqual(others, [f"http://{name}:{self.port}/?token=correct-horse" for name in names])
        with open(f"/proc/{self.server.pid}/cmdline", "rb") as words:
            self.assertNotIn(b"horse", words.read())
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=PATIENCE)
        self.addCleanup(connection.close)
        connection.request("GET", "/?tab=faults&token=correct-horse")
        answer = connection.getresponse()
        self.assertEqual((answer.getheader("Location"), answer.getheader("Set-Cookie")),
                         ("/?tab=faults", f"zelboard-{self.port}=correct-horse; HttpOnly; SameSite=Strict; Path=/"))
        bearer = {"Authorization": "Bearer correct-horse"}
        cookie = f"a=b; zelboard-{self.port}=correct-horse"
        for status, where, headers in (
                (401, "/", {}), (401, "/api/events", {}), (401, "/?token=correct-house", {}), (401, "/?token=borrect-horse", {}),
                (303, "/?token=correct-horse", {}), (200, "/api/board", bearer), (200, "/", {"Cookie": cookie}),
                (401, "/", {"Cookie": cookie[:-3]}), (200, "/api/board", {"Host": "LAB.example:1", **bearer}),
                (200, "/api/board", {"Host": "board", **bearer}), (403, "/api/board", {"Host": "other.example", **bearer}),
                (200, "/api/board", {"Host": "203.145.67.89", **bearer}), (200, "/", {"Host": "[2001:db8::1]:1", **bearer}),
                (403, "/api/board", {"Host": "192.0.2.1.example", **bearer})):
            found, text = self.ask(where, **headers)
            self.assertEqual(found, status, where)
            self.assertEqual(("--host" in text, "token: missing or wrong" in text), (status == 403, status == 401))
        # With IPv6 it has further addresses.
        if os.path.exists("/proc/net/if_inet6"):
            self.end()
            self.words = ("default", "--listen", "::")
            self.start("0")
            names = [f"[{name}]" if ":" in name else name for name in run("hostname", "-I").split() or ["127.0.0.1"]]
            self.assertEqual(self.ask("/api/board", Host="192.0.2.1", **bearer)[0], 200)
            self.server.send_signal(signal.SIGINT)
            self.assertCountEqual([self.address, *self.server.stdout.read().split()], [f"http://{name}:{self.port}/?token=correct-horse" for name in names])
        # A server at one address is known by it. It makes its board if that is missing.
        self.end()
        run("sh", "-c", f"echo from-a-file >{self.home}/token")
        self.words = ("fresh", "--listen", "127.0.0.2", "--token-file", f"{self.home}/token")
        self.start("0")
        for status, host in (200, "127.0.0.2"), (200, f"127.0.0.2:{self.port}"), (200, "127.0.0.1"), (403, "127.0.0.3"):
            connection = http.client.HTTPConnection("127.0.0.2", self.port, timeout=PATIENCE)
            self.addCleanup(connection.close)
            connection.request("GET", "/api/board", headers={"Host": host, "Authorization": "Bearer from-a-file"})
            self.assertEqual(connection.getresponse().status, status, host)


class Rack(Server):
    words = ()

    def is_followed(self):
        with open(f"/proc/{self.server.pid}/maps", encoding="utf-8") as maps:
            return f"{self.home}/default/state" in maps.read()

    def test_histories_begin_before_anybody_looks(self):
        eventually(self.is_followed)
        # A page that comes then gets the board at once, though nothing has changed.
        news = {}
        self.follow(news, "board=default")
        eventually(lambda: "board" in news)
        time.sleep(0.3)
        later = {}  # is told how old that is
        self.follow(later, "board=default")
        eventually(lambda: "board" in later)
        self.assertTrue(300 <= later["board_age"] < PATIENCE * 1000, later["board_age"])

    def test_boards_are_made_followed_and_deleted(self):
        os.symlink("loop", f"{self.home}/loop")
        news = {}
        self.follow(news, "rack")
        for number in range(3):
            self.assertEqual(self.act("create", board=f"lab{number}", slots="sfp"), f"zelsim create lab{number} --slots sfp")
        self.assertEqual(self.ask("/api/create", '{"board": "lab1"}')[0], 409)
        for action, name in ("create", "../x"), ("create", ""), ("delete", ""):
            self.assertEqual(self.ask("/api/" + action, json.dumps({"board": name}))[0], 400)
        self.assertIn('"board: missing: a name"', self.ask("/api/create", '{"board": 1}')[1])
        self.assertEqual([self.ask(f"/{path}")[0] for path in ("panel.svg?board=lab2", "panel.svg?board=lab9", "api/history?board=lab2",
                                                               "api/history?board=lab9", "panel.svg?board=..")], [200, 404, 200, 409, 400])
        self.assertEqual(json.loads(self.ask("/api/boards")[1]), json.loads(zelsim("list --json")))
        status, text = self.ask("/api/create", '{"board": "lab9", "slots": 5}')
        self.assertEqual((status, json.loads(text)), (400, {"error": "slots: not a text"}))
        self.assertEqual(self.ask("/api/plug?board=lab1", '{"port": 1, "module": "1g-sx"}')[0], 200)
        zelsim("set los 1 1 --board lab1")
        zelsim("set supply 1 none --board lab1")
        zelsim("set supply 2 failed --board lab1")
        on_switch(ZELCTL, "led", "set", "alarm", "on", board="lab1")
        # A module in alarm has warnings, too: it is counted once.
        for line in ("fit 2 sfp", "plug 8 1g-sx", "plug 9 1g-sx", "plug 10 dac", "plug 11 1g-sx", "plug 12 1g-sx", "set module-temperature 8 99",
                     "set rx-power 11 3", "set rx-power 12 1",
                     "set module-temperature 9 77", "set tx-fault 10 1", "set temperature 40", "fail i2c", "set busy 1",
                     "set rtc absent"):
            zelsim(line + " --board lab1")
        told = {"modules": 6, "module_alarms": 2, "module_warnings": 2, "without_light": 1, "transmit_faults": 1,
                "failed_supplies": 1, "pulled_supplies": 1, "faults": 1, "temperature": 40, "sensor_present": True,
                "clock_present": False, "bus_held": True, "alarm": True}
        eventually(lambda: told.items() <= news.get("board:lab1", {}).items())
        # The picture changes with its version alone.
        version = news["board:lab1"]["version"]
        self.assertEqual(news["board:lab1"].keys(), {*told, "version"})
        zelsim("set temperature 41 --board lab1")
        eventually(lambda: (news["board:lab1"]["temperature"], news["board:lab1"]["version"]) == (41, version))
        zelsim("set busy 0 --board lab1")
        zelsim("unplug 10 --board lab1")
        eventually(lambda: news["board:lab1"]["version"] != version)
        shutil.rmtree(f"{self.home}/lab0")
        zelsim("create lab0")
        zelsim("set temperature 41 --board lab0")
        eventually(lambda: (news["board:lab0"] or {}).get("temperature") == 41)
        self.assertEqual(self.act("delete", board="lab2"), "zelsim delete lab2")
        eventually(lambda: news["board:lab2"] is None)
        self.assertEqual(json.loads(self.ask("/api/board?board=lab1")[1])["board"], "lab1")
        self.assertEqual(self.ask("/api/events?board=lab2")[0], 404)


def load_tests(_loader, tests, _pattern):
    """All cases, or with PART=2/3 in the environment every third, from the second: several runs share the work."""
    part, parts = map(int, os.environ.get("PART", "1/1").split("/"))
    cases = [case for suite in tests for case in suite]
    return unittest.TestSuite(cases[part - 1::parts])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[2:])

"""Takes the pictures of the live panel for README and docs, from the real page: screenshot.py BUILD FOLDER [WIDTH ...].

With widths it takes pictures of every state of the page at each of them, dark and light, to be looked at.
"""
import os
import subprocess
import sys
import tempfile
import time

from selenium import webdriver
from selenium.webdriver.chrome.service import Service

BUILD, FOLDER = (os.path.abspath(path) for path in sys.argv[1:3])
WIDTHS = [int(width) for width in sys.argv[3:]]
HEIGHTS = {390: 844, 768: 1024, 1024: 768, 1440: 900, 2560: 1440}
MODULES = {1: "1g-sx", 3: "1g-lx", 5: "copper", 6: "100fx", 24: "10g-sr", 25: "dac", 27: "10g-lr"}


def zelsim(*words):
    subprocess.run((f"{BUILD}/bin/zelsim", *words), check=True, stdout=subprocess.DEVNULL)


def zelctl(*words, check=True):
    subprocess.run((f"{BUILD}/bin/zelsim", "run", "--board", "lab", "--fast", "--", f"{BUILD}/bin/zelctl", *words), check=check,
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def arrange(folder):
    """A switch in use: light and none, a fault, a failed supply and what a daemon makes of it, two updates."""
    zelsim("create", "lab", "--slots", "sfp,copper,none")
    for port, module in MODULES.items():
        zelsim("plug", str(port), module, "--board", "lab")
        if port not in (25, 6):
            zelctl("cage", str(port), "--tx-disable", "off")
    for line in ("set los 3 1", "set txfault 27 1", "set supply 2 failed", "set temperature 41.5"):
        zelsim(*line.split(), "--board", "lab")
    zelctl("led", "set", "ring-master", "blink")
    for led in ("system", "power1", "alarm"):
        zelctl("led", "set", led, "on")
    zelctl("relay", "set", "1")
    image = f"{folder}/firmware.bin"
    with open(image, "wb") as file:
        file.write(b"zelboard firmware\n" * 330000)
    for sector in range(24):
        for _ in range(sector % 5):
            zelctl("flash", "erase", hex(0x1200000 + 0x10000 * sector), "--yes")
    for size, partition in ((5900000, 1), (3300000, 2)):
        os.truncate(image, size)
        zelctl("firmware", "write", image, "--partition", str(partition))
    return image


class Camera:
    def __init__(self, home):
        options = webdriver.ChromeOptions()
        for option in ("headless=new", "no-sandbox", "disable-gpu", "disable-quic", "no-first-run", "disable-sync",
                       "hide-scrollbars", "disable-background-networking", "disable-component-update",
                       f"user-data-dir={home}/browser"):
            options.add_argument("--" + option)
        self.browser = webdriver.Chrome(options=options, service=Service("/usr/bin/chromedriver"))

    def size(self, width, height, scheme="dark"):
        self.browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                                     {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})
        self.browser.execute_cdp_cmd("Emulation.setEmulatedMedia",
                                     {"features": [{"name": "prefers-color-scheme", "value": scheme}]})

    def take(self, name, *scripts):
        for script in scripts:
            self.browser.execute_script(script)
            time.sleep(0.6)
        self.browser.save_screenshot(os.path.join(FOLDER, name + ".png"))


def click(selector):
    return f"document.querySelector({selector!r}).click()"


def serve(*words):
    server = subprocess.Popen((f"{BUILD}/bin/zelsim", "serve", *words, "--port", "0"), stdout=subprocess.PIPE, text=True)
    return server, server.stdout.readline().strip()


def for_docs(camera, address, image):
    camera.size(1440, 900)
    camera.browser.get(address + "?board=lab&select=port5&tab=flash")
    time.sleep(2)
    command = (f"{BUILD}/bin/zelsim", "run", "--board", "lab", "--chip-times", "--", f"{BUILD}/bin/zelctl", "firmware", "write", image,
               "--partition", "2", "--yes")
    with subprocess.Popen(command, stdout=subprocess.DEVNULL) as update:
        time.sleep(25)
        camera.take("live-panel")
        update.kill()
    camera.browser.get(address + "?board=lab&select=port3&tab=requests")
    time.sleep(2)
    zelsim("fail", "i2c:BufRead@0x9e", "--result", "busy", "--board", "lab")
    for words in (("ports",), ("temperature",)):
        zelctl(*words, check=False)
    zelsim("heal", "--board", "lab")
    time.sleep(1)
    camera.take("live-panel-requests", "document.querySelector('#lines .failed .line').click()")
    for number in range(1, 6):
        zelsim("create", f"bench{number}", "--slots", "sfp,sfp,none")
        zelsim("plug", str(number), "1g-sx", "--board", f"bench{number}")
    zelsim("set", "los", "4", "1", "--board", "bench4")
    camera.browser.get(address)
    time.sleep(3)
    camera.take("live-panel-rack")


def for_eyes(camera, address, width):
    height = HEIGHTS.get(width, 900)
    for scheme in ("dark", "light"):
        camera.size(width, height, scheme)
        for state, query in (("port", "select=port3&tab=requests"), ("board", "tab=flash"), ("sector", "select=sector288&tab=flash"),
                             ("faults", "select=port27&tab=faults"), ("several", "select=port1,port3,port5&tab=activity"),
                             ("commands", "select=slot3&tab=commands")):
            camera.browser.get(f"{address}?board=lab&{query}")
            time.sleep(1.5)
            if state == "port":
                zelctl("ports")
            camera.take(f"{width}-{scheme}-{state}")


with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as home:
    os.environ["ZELSIM_HOME"] = f"{home}/boards"
    firmware = arrange(home)
    server, page = serve()
    camera = Camera(home)
    try:
        if not WIDTHS:
            for_docs(camera, page, firmware)
        for one in WIDTHS:
            for_eyes(camera, page, one)
    finally:
        camera.browser.quit()
        server.terminate()
        server.wait()

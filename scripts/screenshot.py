"""Takes the picture of the live panel for the README, from the real page: screenshot.py BUILD FILE.PNG."""
import os
import subprocess
import sys
import tempfile
import time

from selenium import webdriver
from selenium.webdriver.chrome.service import Service

BUILD, PICTURE = (os.path.abspath(path) for path in sys.argv[1:])
SIZE = (1280, 860)
MODULES = {1: "1g-sx", 3: "1g-lx", 5: "copper", 6: "100fx", 24: "10g-sr", 25: "dac", 27: "10g-lr"}


def zelsim(*words):
    subprocess.run((f"{BUILD}/bin/zelsim", *words), check=True, stdout=subprocess.DEVNULL)


def zelctl(*words):
    zelsim("run", "--fast", "--", f"{BUILD}/bin/zelctl", *words)


def arrange(folder):
    """A switch in use: light and none, a fault, a failed supply and what a daemon makes of it, two updates."""
    zelsim("create", "--slots", "sfp,copper,none")
    for port, module in MODULES.items():
        zelsim("plug", str(port), module)
        if port not in (25, 6):
            zelctl("cage", str(port), "--tx-disable", "off")
    zelsim("set", "los", "3", "1")
    zelsim("set", "txfault", "27", "1")
    zelsim("set", "supply", "2", "failed")
    zelsim("set", "temperature", "41.5")
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


with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as home:
    os.environ["ZELSIM_HOME"] = f"{home}/boards"
    arrange(home)
    options = webdriver.ChromeOptions()
    for option in ("headless=new", "no-sandbox", "disable-gpu", "disable-quic", "no-first-run", "disable-sync",
                   "hide-scrollbars", "disable-background-networking", "disable-component-update", f"user-data-dir={home}/browser",
                   f"window-size={SIZE[0]},{SIZE[1]}"):
        options.add_argument("--" + option)
    server = subprocess.Popen((f"{BUILD}/bin/zelsim", "serve", "--port", "0"), stdout=subprocess.PIPE, text=True)
    browser = webdriver.Chrome(options=options, service=Service("/usr/bin/chromedriver"))
    try:
        browser.set_window_size(*SIZE)
        browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                                {"width": SIZE[0], "height": SIZE[1], "deviceScaleFactor": 1, "mobile": False})
        browser.get(server.stdout.readline().strip())
        time.sleep(2)
        browser.execute_script("document.querySelector('#tab-flash').click();"
                               "document.querySelector('[aria-label^=\"Port 5:\"]').click()")
        time.sleep(1)
        browser.save_screenshot(PICTURE)
    finally:
        browser.quit()
        server.terminate()
        server.wait()

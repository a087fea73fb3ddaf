"""Draws the board from what the library knows of it: pictures.py BUILD FOLDER.

Rows of the exported tables say where each cage's signals are; calls traced on a virtual switch say which slot a port belongs
to and at which addresses the other chips answer; the flash's regions are those that zelctl lists.
"""
import ctypes
import json
import os
import re
import subprocess
import sys
import tempfile

PORTS = 28
SEGMENT = 0x1000000
SECTOR = 0x10000
HUES = "blue green amber violet".split()  # of slots 1 to 3 and, as HUES[-1], of the main board
# A card of its own under each picture, so that it reads on light and dark pages alike.
STYLE = """
text { font: 13px system-ui, "DejaVu Sans", sans-serif; fill: #1f2328 }
.title { font-size: 17px; font-weight: 600 } .small { font-size: 11px } .soft { fill: #59636e }
.mono { font-family: ui-monospace, "DejaVu Sans Mono", monospace } .middle { text-anchor: middle } .end { text-anchor: end }
.card { fill: #ffffff; stroke: #d1d9e0 } .plain { fill: #f6f8fa; stroke: #c3ccd5 } .wire { fill: none; stroke: #818b98; stroke-width: 2 }
.free { fill: none; stroke: #c3ccd5; stroke-dasharray: 3 3 }
.blue { fill: #d8ebff; stroke: #0969da } .green { fill: #d2f4dc; stroke: #1a7f37 }
.amber { fill: #ffe9c2; stroke: #b35900 } .violet { fill: #ecdfff; stroke: #8250df }
@media (prefers-color-scheme: dark) {
  text { fill: #f0f6fc } .soft { fill: #9da7b3 }
  .card { fill: #0d1117; stroke: #3d444d } .plain { fill: #1a2029; stroke: #4a525c } .wire { stroke: #7d8590 } .free { stroke: #4a525c }
  .blue { fill: #11305c; stroke: #58a6ff } .green { fill: #12381f; stroke: #3fb950 }
  .amber { fill: #48300a; stroke: #e3a13b } .violet { fill: #38235c; stroke: #b083f0 }
}
"""


class Picture:
    def __init__(self, width, height, title):
        self.width = width
        self.height = height
        self.title = title
        self.parts = []
        self.box(1, 1, width - 2, height - 2, "card", 10)
        self.text(24, 36, title, "title")

    def box(self, x, y, width, height, style, radius=5):
        self.parts.append(f'<rect class="{style}" x="{x}" y="{y}" width="{width}" height="{height}" rx="{radius}"/>')

    def text(self, x, y, words, style=""):
        safe = str(words).replace("&", "&amp;").replace("<", "&lt;")
        self.parts.append(f'<text class="{style}" x="{x}" y="{y}">{safe}</text>')

    def wire(self, path):
        self.parts.append(f'<path class="wire" d="{path}"/>')

    def svg(self):
        head = (f'<svg xmlns="http://www.w3.org/2000/svg" width="{self.width}" height="{self.height}" '
                f'viewBox="0 0 {self.width} {self.height}" role="img">\n<title>{self.title}</title>\n<style>{STYLE}</style>\n')
        return head + "\n".join(self.parts) + "\n</svg>\n"


class Board:
    """What the library knows of the board."""

    def __init__(self, build):
        self.build = build
        self.zelsim = f"{build}/bin/zelsim"
        self.library = ctypes.CDLL(f"{build}/lib/libzelboard.so")
        columns = {"present": "sfp_presnt", "fault": "sfp_txfault", "tx off": "sfp_txenable", "no light": "sfp_los"}
        self.pins = {}  # (expander, byte, bit): (port, signal)
        for signal, name in columns.items():
            table = (ctypes.c_uint8 * 3 * PORTS).in_dll(self.library, name)
            for port, (address, register, mask) in enumerate(table):
                # A 16-bit expander has two registers of each kind, input and output, an 8-bit one has one.
                byte = register % 2 if address < 0x70 else 0
                self.pins[address, byte, mask.bit_length() - 1] = (port, signal)
        soc = (ctypes.c_uint32 * 2 * PORTS).in_dll(self.library, "sfp_los_gpio")
        self.soc = {port: (address, mask.bit_length() - 1) for port, (address, mask) in enumerate(soc) if address}
        self.slots = [self.slot(port) for port in range(PORTS)]
        self.regions = json.loads(self.on_switch(f"{build}/bin/zelctl", "flash", "regions", "--json"))

    def on_switch(self, *program, trace="/dev/null"):
        return subprocess.run([self.zelsim, "run", "--fast", f"--trace={trace}", "--", *program], check=True,
                              stdout=subprocess.PIPE, text=True).stdout

    def trace(self, function, *arguments):
        """What one call makes the drivers do."""
        call = (f"import ctypes; b = ctypes.create_string_buffer(99); "
                f"ctypes.CDLL({self.library._name!r}).{function}({', '.join(arguments)})")
        with tempfile.NamedTemporaryFile("r") as file:
            self.on_switch(sys.executable, "-c", call, trace=file.name)
            return file.read()

    def slot(self, port):
        asked = re.search(r"GetBoardType {slot=(\d)", self.trace("IsSwitchPortExist", str(port)))
        return int(asked[1]) if asked else 0

    def addresses(self, function, *arguments):
        found = re.findall(r"addr=(0x\w\w)", self.trace(function, *arguments))
        return sorted({int(address, 16) for address in found})

    def ports_of(self, slot):
        return [port for port in range(PORTS) if self.slots[port] == slot]

    def expanders_of(self, slot):
        return sorted({address for (address, _, _), (port, _) in self.pins.items() if self.slots[port] == slot})

    def cages_of(self, expander):
        ports = sorted({port for (address, _, _), (port, _) in self.pins.items() if address == expander})
        return f"{ports[0]} to {ports[-1]}"


def name_of(slot):
    return f"slot {slot}" if slot else "main board"


def ports(board):
    picture = Picture(880, 268, "Ports and slots, as on the front panel")
    x = 24
    for slot in (1, 2, 3, 0):
        hue = HUES[slot - 1]
        numbers = board.ports_of(slot)
        columns = len(numbers) // 2
        width = 52 * columns + 16
        picture.box(x, 56, width, 136, "plain", 8)
        kind = "daughter board" if slot else "10G"
        picture.text(x + 10, 76, f"{name_of(slot)}: {kind}", "small")
        for place, port in enumerate(numbers):
            left = x + 10 + 52 * (place // 2)
            top = 86 + 50 * (place % 2)
            picture.box(left, top, 44, 42, hue)
            picture.text(left + 22, top + 27, port, "middle")
        lists = ", ".join(f"0x{address:02X}" for address in board.expanders_of(slot))
        picture.text(x + 2, 214, f"ports {numbers[0]} to {numbers[-1]}", "small")
        picture.text(x + 2, 232, "expanders", "small soft")
        picture.text(x + 2, 249, lists, "small mono")
        x += width + 12
    return picture


def expanders(board):
    order = [(slot, address) for slot in (1, 2, 3, 0) for address in board.expanders_of(slot)]
    rows = [(slot, address, byte) for slot, address in order for byte in (range(2) if address < 0x70 else range(1))]
    signals = dict(zip(("present", "fault", "tx off", "no light"), HUES))
    picture = Picture(880, 86 + 30 * len(rows) + 4 * 30 + 26, "Cage signals: which pin of which expander")
    for place, (signal, hue) in enumerate(signals.items()):
        picture.box(474 + 100 * place, 22, 18, 18, hue)
        picture.text(498 + 100 * place, 36, signal)
    y = 50
    before = None
    for slot, address, byte in rows:
        if slot != before:
            y += 30
            picture.text(24, y - 8, name_of(slot))
            for bit in range(8):
                picture.text(164 + 86 * (7 - bit) + 41, y - 8, f"bit {bit}", "small soft middle")
            before = slot
        picture.text(24, y + 18, f"0x{address:02X}" + (f"  byte {byte}" if address < 0x70 else ""), "mono")
        for bit in range(8):
            port, signal = board.pins.get((address, byte, bit), (None, None))
            left = 164 + 86 * (7 - bit)
            picture.box(left, y, 82, 26, signals[signal] if signal else "free")
            if signal:
                picture.text(left + 41, y + 17, f"{port} {signal}", "small middle")
        y += 30
    register, _ = list(board.soc.values())[0]
    bits = [bit for _, bit in board.soc.values()]
    picture.text(24, y + 26, f"Ports {min(board.soc)} to {max(board.soc)}: loss of signal is read from SoC register "
                 f"0x{register:X}, bits {min(bits)} to {max(bits)}; the pins of 0x7A carry it too.", "small soft")
    picture.text(24, y + 46, "A pin that reads 1 means: no module, fault, transmitter off, no light.", "small soft")
    return picture


def listed(addresses, between):
    return between.join(f"0x{address:02X}" for address in addresses)


def draw_drivers(picture, board):
    drivers = [(24, "/dev/zel_gpio", ["front-panel LEDs, alarm relay", "supplies, watchdog, reset", "flags, SoC registers",
                                      "selection of one SFP cage"]),
               (240, "/dev/zel_i2c", ["the I2C bus below", "which slots are fitted", "what is known of clock", "and temperature"]),
               (456, "/dev/zel_spi_flash", ["N25Q256A, 32 MiB", f"{len(board.regions)} regions in", "512 sectors of 64 KiB"]),
               (672, "debugCmd", ["serial-GPIO chain:", "mirrored LEDs", "switch chip and", "its PHYs"])]
    picture.wire("M440 96 V116 M116 136 V116 H764 V136 M332 116 V136 M548 116 V136")
    for x, name, lines in drivers:
        picture.box(x, 136, 184, 110, "plain")
        picture.text(x + 12, 158, name, "mono")
        for row, line in enumerate(lines):
            picture.text(x + 12, 178 + 17 * row, line, "small soft")


def draw_expanders(picture, board):
    """The expanders on the I2C bus, from the left. Returns where they end."""
    x = 24
    for slot in (1, 2, 3, 0):
        addresses = board.expanders_of(slot)
        height = 30 + 38 * len(addresses)
        picture.wire(f"M{x + 74} 300 V322")
        picture.box(x, 322, 148, height, HUES[slot - 1], 8)
        picture.text(x + 12, 343, name_of(slot) + ": expanders", "small")
        for row, address in enumerate(addresses):
            picture.text(x + 12, 370 + 38 * row, f"0x{address:02X}", "mono")
            picture.text(x + 62, 370 + 38 * row, f"ports {board.cages_of(address)}", "small soft")
        x += 162
    return x


def draw_chips(picture, board, x):
    chips = [(board.addresses("FW_GetExpenderIO", "b"), "input lines"), (board.addresses("FW_PollRtc"), "clock, S-35390A"),
             (board.addresses("FW_PollTemperature"), "temperature, LM75")]
    picture.wire(f"M{x + 92} 300 V322")
    picture.box(x, 322, 184, 30 + 38 * len(chips), "plain", 8)
    picture.text(x + 12, 343, "main board: other chips", "small")
    for row, (addresses, name) in enumerate(chips):
        picture.text(x + 12, 366 + 38 * row, listed(addresses, ", "), "mono")
        picture.text(x + 12, 382 + 38 * row, name, "small soft")


def draw_module(picture, board):
    addresses = board.addresses("FW_Get_SFP_Speed", "0", "b")
    modules = [address for address in addresses if address not in board.expanders_of(1)]
    picture.wire("M332 500 V524 M332 500 H14 V300 H24")
    picture.box(24, 524, 832, 42, "plain", 8)
    picture.text(36, 550, listed(modules, " and "), "mono")
    picture.text(150, 550, "the module in the one cage of the 28 that is selected: its memory, and its PHY if it is a copper module")


def buses(board):
    subprocess.run([board.zelsim, "fit", "1", "sfp"], check=True)
    subprocess.run([board.zelsim, "plug", "0", "copper"], check=True)
    picture = Picture(880, 590, "Drivers, buses and chips")
    picture.box(290, 56, 300, 40, "plain")
    picture.text(440, 81, "a program, with libzelboard.so", "middle")
    draw_drivers(picture, board)
    picture.wire("M332 246 V300 M24 300 H856")
    picture.text(28, 290, "I2C bus, addresses in 8-bit form", "small soft")
    end = draw_expanders(picture, board)
    draw_chips(picture, board, end)
    draw_module(picture, board)
    return picture


class Piece:
    """A piece of the flash: a region, or unused space between regions."""

    def __init__(self, start, end, region=None):
        self.start = start
        self.end = end
        self.region = region
        self.height = 26 + 3 * ((end - start) // SECTOR).bit_length()

    def size(self):
        size = (self.end - self.start) // 1024
        return f"{size // 1024} MiB" if size % 1024 == 0 else f"{size} KiB"


def pieces_of(board, base):
    """The pieces of the segment that begins at `base`."""
    pieces = []
    at = base
    for region in board.regions:
        if not base <= region["start"] < base + SEGMENT:
            continue
        if region["start"] > at:
            pieces.append(Piece(at, region["start"]))
        pieces.append(Piece(region["start"], region["end"], region["region"]))
        at = region["end"]
    if at < base + SEGMENT:
        pieces.append(Piece(at, base + SEGMENT))
    return pieces


def without_number(region):
    return re.sub(r" ?[12]$", "", region)


def draw_segment(picture, x, base, pieces, styles, room):
    """A segment of the flash: its pieces with their names, and beside them true to scale."""
    y = 78
    for piece in pieces:
        style = styles[without_number(piece.region)] if piece.region else "free"
        middle = y + piece.height // 2 + 5
        picture.text(x + 64, middle, f"0x{piece.start:X}", "small mono end")
        picture.box(x + 74, y, 248, piece.height, style)
        picture.text(x + 86, middle, piece.region or "unused", "" if piece.region else "small soft")
        picture.text(x + 310, middle, piece.size(), "small end")
        top = (piece.start - base) * room // SEGMENT
        bottom = (piece.end - base) * room // SEGMENT
        picture.box(x + 348, 78 + top, 44, max(bottom - top, 1), style, 0)
        y += piece.height + 4


def flash(board):
    styles = {}  # a region and its twin have one colour
    for region in board.regions:
        styles.setdefault(without_number(region["region"]), HUES[len(styles) % len(HUES)])
    segments = [("lower", 24, 0), ("upper", 454, SEGMENT)]
    pieces = {base: pieces_of(board, base) for _, _, base in segments}
    room = max(sum(piece.height + 4 for piece in column) for column in pieces.values())
    picture = Picture(880, 112 + room, "The flash: 32 MiB in two segments")
    for name, x, base in segments:
        picture.text(x + 74, 66, f"{name} segment", "small soft")
        picture.text(x + 336, 66, "true to scale", "small soft")
        draw_segment(picture, x, base, pieces[base], styles, room)
    picture.text(24, room + 98, "Heights on the left grow with the size's logarithm. Each address is that of the first byte.", "small soft")
    return picture


def draw_panel(board, file):
    """The front panel of a switch with something going on."""
    tool = f"{board.build}/bin/zelctl"
    modules = {0: "1g-sx", 2: "1g-lx", 3: "copper", 5: "1g-sx", 16: "100fx", 19: "1g-lx", 24: "10g-sr", 25: "dac", 26: "10g-lr"}
    simulate = ["create --slots sfp,copper,sfp panel"] + [f"plug {port} {name}" for port, name in modules.items()]
    for words in simulate + ["set rx-power 2 -21.5", "set los 5 1", "set txfault 26 1", "set supply 2 failed"]:
        subprocess.run([board.zelsim, *words.split(), *([] if "create" in words else ["--board", "panel"])], check=True)
    leds = ["system on", "power1 on", "alarm on", "ring-master on", "speed24 on", "speed25 blink"]
    for words in [f"cage {port} --tx-disable off" for port in modules if port != 19] + [f"led set {led}" for led in leds]:
        subprocess.run([board.zelsim, "run", "--fast", "--board", "panel", "--", tool, *words.split()], check=True)
    subprocess.run([board.zelsim, "panel", "--board", "panel", "--svg", file], check=True)


def main():
    build, folder = sys.argv[1:]
    with tempfile.TemporaryDirectory() as boards:
        os.environ["ZELSIM_HOME"] = boards
        board = Board(os.path.abspath(build))
        for draw in (ports, expanders, buses, flash):
            with open(os.path.join(folder, draw.__name__ + ".svg"), "w", encoding="utf-8") as file:
                file.write(draw(board).svg())
        draw_panel(board, os.path.join(folder, "panel.svg"))


if __name__ == "__main__":
    main()

#!/usr/bin/env python3
"""A report tells what the board is like, changes nothing there, and keeps secrets: report_test.py BUILD."""
import gzip
import io
import json
import os
import re
import signal
import subprocess
import sys
import tarfile
import tempfile
import time
import zlib

BUILD = sys.argv[1]
ZELSIM, ZELCTL = f"{BUILD}/bin/zelsim", f"{BUILD}/bin/zelctl"
BOARD = ["create --slots sfp,copper,sfp", "plug 3 copper", "plug 5 1g-lx", "plug 16 100fx", "plug 24 10g-sr",
         "plug 27 dac", "set supply 1 ac", "set supply 2 ac", "set supply 2 failed", "set temperature 41.5", "set loss-of-signal 24 1", "set tx-fault 5 1",
         "set reset-key 1"]
OPERATED = ["led set alarm blink", "led set speed25 on", "relay set 1", "flags set diagnostic on", "cage 3 --tx-disable off",
            "clock poll", "register set 0x20300 0x100", "env set pwrmode pwr2ac", "env set WIFI_KEY hunter2hunter2",
            "env set AdminPassword correct-horse", "env set ntp_server 10.0.0.1", "env set snmp_community inner-circle",
            "identity name EDGE-1", "mac-backup set 00:11:22:33:44:55", "flags set diagnostic off"]
SECRETS = (b"hunter2hunter2", b"correct-horse", b"inner-circle")
# What may stand in the trace: questions, the selection of a cage, and the chip's return to its lower half after a read.
HARMLESS = re.compile(r"pause |gpio 0x.. (Get|SelectCage)|i2c 0x.. (Get|BufRead)|debugCmd phy_register_get "
                      r"|flash( 0x..)? (Get|SelectLowerSegment|read|lseek)")
FAULTS = ["i2c --result busy", "i2c:open", "i2c:BufRead@0xa0", "gpio:open", "gpio", "flash:read", "flash:open",
          "flash:read --skip 40 --count 3", "any:open"]


def zelsim(words):
    return subprocess.run([ZELSIM, *words.split()], check=True, capture_output=True).stdout


def zelctl(*words, trace=(), **how):
    return subprocess.run([ZELSIM, "run", "--fast", *trace, "--", ZELCTL, *words], capture_output=True, **how)


def report(*options, trace=()):
    done = zelctl("report", "-o", "-", *options, trace=trace)
    assert done.returncode == 0, done.stderr
    content = gzip.decompress(done.stdout)
    with tarfile.open(fileobj=io.BytesIO(content), mode="r:") as archive:
        files = {name.split("/", 1)[1]: archive.extractfile(name).read() for name in archive.getnames()}
        folder = archive.getnames()[0].split("/")[0]
        assert len(done.stdout) * 4 < sum(map(len, files.values())), "it is hardly compressed"
        assert {(member.uname, member.gname) for member in archive.getmembers()} == {("root", "root")}
    # Mode, owner, group and version as every reader knows them.
    assert content[100:124] + content[257:265] == b"0000644\0" + b"0000000\0" * 2 + b"ustar\x0000", content[:512]
    data = json.loads(files["report.json"])
    host = re.sub("[^A-Za-z0-9.]", "-", os.uname().nodename)
    assert folder == f"zelboard-report-{host}-{re.sub('[-:]', '', data['created'])}", folder
    return files, data, done


def report_in_spite_of(*faults, options=()):
    """The report, and what else was not read than the 78 PHY registers. debugCmd, which starts anew for each, fails at once."""
    for fault in ("debugCmd", *faults):
        zelsim(f"fail {fault}")
    files, data, done = report(*options)
    zelsim("heal")
    rows = data["not_read"]
    assert b"Not read" in files["summary.txt"] and (b"environment.bin" in files["summary.txt"]) == ("environment.bin" in files)
    assert done.stderr.decode() == f"zelctl: {len(rows)} things could not be read: the report says which, and why\n"
    for row in rows:
        assert re.search("[a-z]{3}", row["why"]) and row["what"].encode() in files["summary.txt"], (faults, row)
    not_read = [row for row in rows if "switch port" not in row["what"]]
    return files, data, not_read


def whole_board():
    before = json.loads(zelsim("show --json"))
    image = zelsim("flash save -")
    options = ("--flash", "--redact", "SNMP_*")
    trace = f"{os.environ['ZELSIM_HOME']}/trace"
    files, data, done = report(*options, trace=(f"--trace={trace}",))
    assert not done.stderr, done
    for line in open(trace, encoding="utf-8"):
        assert HARMLESS.match(line), f"a report writes: {line}"
    after = json.loads(zelsim("show --json"))
    assert after["gpio"]["selected_cage"] == 27
    for kept in before, after:
        kept["gpio"]["selected_cage"] = kept["i2c"]["clock"] = None
        kept["paused_us"] = 0
    assert before == after and zelsim("flash save -") == image

    assert (data["format"], data["version"], data["not_read"]) == ("zelboard-report", 1, []), data["not_read"]
    for slot, board in zip(data["slots"], before["slots"]):
        assert (slot["slot"], slot["board"], slot["alive"]) == (board["slot"], board["board"], board["alive"])
    by_port = {row["port"]: row for row in data["ports"]}
    for cage in before["cages"]:
        row = by_port[cage["port"]]
        assert [row[key] for key in ("presence_line", "tx_disable", "tx_fault", "loss_of_signal")] == \
               [cage[key] for key in ("presence_line", "tx_disable", "tx_fault", "loss_of_signal")], (row, cage)
    assert [led["value"] for led in data["leds"]] == [before["panel"][key] for key in (
        "system alarm power_1 power_2 ring_master ring_fail speed_24 speed_25 speed_26 speed_27").split()]
    assert data["power_status"] == before["gpio"]["power_status"] and data["relay"] == before["panel"]["relay"]
    assert [supply["type"] for supply in data["supplies"]] == ["AC", "AC"] and [supply["good"] for supply in data["supplies"]] == [True, False]
    assert data["power"]["supply_2_good"] is False and data["reset"]["reset_key"] == 1
    assert data["temperature"]["chip"]["degrees"] == 41.5 and data["watchdog"]["enabled"]
    assert data["identity"]["model"] == "EDGE-1-AC2" and data["mac_backup"]["text"] == "00:11:22:33:44:55"

    assert [module["port"] for module in data["modules"]] == [3, 5, 16, 24, 27]
    for module in data["modules"]:
        zelctl("sfp", "dump", str(module["port"]), "-o", f"{trace}.page")
        assert files[module["a0"]] == open(f"{trace}.page", "rb").read()[:256]
    assert data["modules"][0]["phy"][1]["value"] == 0x0141 and data["modules"][1]["phy"] is None
    assert [row["register"] for row in data["modules"][0]["phy"]] == [0, 2, 3, 4, 5, 9, 15, 17, 27]

    # Secrets are nowhere; all else of the flash is there, and the environment is whole.
    for secret in SECRETS:
        assert secret in image and not any(secret in content for content in files.values()), secret
    environment = files["environment.bin"]
    assert data["flash"]["content"] == "flash.bin"
    assert files["flash.bin"] == image[:0x100000] + environment + image[0x110000:]
    assert int.from_bytes(environment[:4], "little") == zlib.crc32(environment[4:])
    values = {row["name"]: row["value"] for row in data["environment"]["variables"]}
    assert values == {"pwrmode": "pwr2ac", "WIFI_KEY": "***", "AdminPassword": "***", "ntp_server": "10.0.0.1",
                      "snmp_community": "***"}, values
    assert b"ntp_server=10.0.0.1\0" in environment and b"EDGE-1" in files["summary.txt"]


def remains_of_older_lists():
    """Behind a shorter list that another program has written stands the end of the longer one that was there before."""
    body = b"a=1\0\0" + b"old_pass=hunter2hunter2\0"
    body += bytes(65532 - len(body))
    path = f"{os.environ['ZELSIM_HOME']}/environment"
    open(path, "wb").write(zlib.crc32(body).to_bytes(4, "little") + body)
    zelsim(f"flash load {path} --region Environment")
    files, data, _ = report("--flash")
    assert data["environment"]["state"] == "valid" and data["redacted"]["remains"]
    assert not any(b"hunter2" in content for content in files.values())


# A fault, and what can be read in spite of it.
REMAIN = [("i2c", lambda data: data["identity"]["power_byte"] is not None and data["identity"]["model"] is None),
          ("flash:read@0x100000-0x10ffff", lambda data: data["power"]["supply_2"] == "AC" and data["power"]["alarm"] is None),
          ("any --result refused", lambda data: data["identity"] is None and data["power"] is None)]

# A fault of debugCmd, how many of 78 rows are left, and how many things were not read.
PHY_FAULTS = [("--result nonsense", 0, 4), ("--skip 30 --count 2", 76, 2), ("--skip 76", 76, 2)]
# A driver may stop answering at any place of the report: what it was asked for is missing then, but never the archive.
BREAKS = ["flash --skip 45", "flash --skip 60 --count 1", "i2c --skip 90", "any --probability 0.1 --seed 3"]


def drivers_that_break():
    for fault in BREAKS:
        report_in_spite_of(fault)
    files, data, not_read = report_in_spite_of("flash:GetChipIndex --skip 40", options=("--flash",))
    assert data["flash"]["regions"] or not_read
    assert "flash.bin" not in files or not any(secret in files["flash.bin"] for secret in SECRETS)
    # Nobody tells where the secrets stand, in a flash that can be read.
    files, _, not_read = report_in_spite_of("flash:GetChipIndex --skip 40 --count 20", options=("--flash",))
    assert "flash.bin" not in files and "'content of the flash', 'why': 'without the place of" in str(not_read), not_read


def drivers_that_fail():
    for fault, remains in REMAIN:
        _, data, _ = report_in_spite_of(fault)
        assert remains(data), (fault, data["identity"], data["power"])
    assert len(report_in_spite_of("flash:read --result 5", options=("--flash",))[2]) < 30
    # What a module has latched, and a module that does not answer, are in the summary.
    zelsim("set module-temperature 24 77")
    zelsim("set module-temperature 24 30")
    summary = report_in_spite_of("i2c:BufRead@0xa2 --count 1")[0]["summary.txt"].decode()
    modules = summary[summary.index("\nModules\n"):summary.index("\nFlash\n")]
    assert re.search(r"\n5 .* not read ", modules) and re.search(r"\n24 .* temperature high warning latched", modules), modules
    assert re.search(r"\n27 .* no diagnostics ", modules) and "reset_key      pressed" in summary, summary
    for fault, rows, missing in PHY_FAULTS:
        zelsim(f"fail debugCmd {fault}")
        _, data, done = report()
        assert (len(data["switch_phys"]), len(data["not_read"])) == (rows, missing), (fault, data["not_read"])
        assert done.stderr.count(b"\n") == 1, done.stderr
        zelsim("heal")
    for fault in FAULTS:
        assert report_in_spite_of(fault)[2], fault
    files, data, _ = report_in_spite_of("flash:read@0x200000-0x21ffff", options=("--flash",))
    assert [(row["start"], row["end"]) for row in data["flash"]["unread"]] == [(0x200000, 0x220000)], data["flash"]
    assert len(files["flash.bin"]) == 0x2000000 and [row["image"] for row in data["flash"]["images"]] == [2]
    nowhere = subprocess.run([ZELCTL, "report", "-o", "-"], capture_output=True)
    assert nowhere.returncode == 0 and len(nowhere.stdout) > 1000


def holds(process, number):
    """zelctl has begun, and holds the signal until it can end well. From then on it ignores broken pipes."""

    def has(field, one):
        return int(fields[field], 16) >> (one - 1) & 1 == 1

    with open(f"/proc/{process.pid}/status", encoding="ascii") as status:
        fields = dict(line.split(":", 1) for line in status)
    return fields["Name"].strip() == "zelctl" and has("SigBlk", number) and has("SigIgn", signal.SIGPIPE)


def half_files(folder):
    os.chdir(folder)
    zelsim("fail debugCmd")
    assert zelctl("report", "-o", "/dev/full", "--flash").returncode == 1
    slow = subprocess.Popen([ZELSIM, "run", "--", ZELCTL, "report"], stderr=subprocess.PIPE, text=True)
    while not holds(slow, signal.SIGINT):
        time.sleep(0.01)
    slow.send_signal(signal.SIGINT)
    assert "interrupted: no report was written, and nothing was changed\n" in slow.communicate()[1]
    assert os.listdir(folder) == []
    assert zelctl("report").returncode == 0
    (name,) = os.listdir(folder)
    assert os.stat(name).st_mode & 0o777 == 0o600
    for pattern in "", "[a", "]a[", "[]", "[a][!]":
        refused = zelctl("report", "--redact", pattern, "-o", "-")
        assert refused.returncode == 2 and b"--redact: " in refused.stderr, (pattern, refused)
    assert re.fullmatch(r"zelboard-report-.*-\d{8}T\d{6}Z\.tar\.gz", name), name


with tempfile.TemporaryDirectory() as home, tempfile.TemporaryDirectory() as work:
    os.environ["ZELSIM_HOME"] = home
    for step in BOARD:
        zelsim(step)
    for step in OPERATED:
        assert zelctl(*step.split()).returncode == 0, step
    whole_board()
    remains_of_older_lists()
    drivers_that_fail()
    drivers_that_break()
    half_files(work)

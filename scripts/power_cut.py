"""What a power cut leaves in the flash: each operation is killed at each of its driver calls.

It also runs on the virtual switch: to prepare the flash, as the program that is killed, and to look afterwards.
"""
import ctypes
import os
import shutil
import subprocess
import sys

OLD = bytes(range(1, 201)) * 3
NEW = bytes(range(200, 0, -1)) * 4
IMAGES = {"old": OLD * 130, "new": NEW * 100}  # two sectors, the second one in part


def library(build):
    return ctypes.CDLL(os.path.join(build, "lib", "libzelboard.so"))


def store(zel, work, operation, which):
    data = {"old": OLD, "new": NEW}[which]
    if operation == "Gen database":
        return zel.FW_WriteGenDatabase(data, len(data), 1)
    if operation == "shared database":
        return zel.FW_WriteSharedDatabase(data, len(data))
    if operation == "environment variable":
        return zel.FW_SpiFlash_EnvAdd(b"bootdelay", which.encode())
    if operation == "identity name":
        return zel.FW_SpiFlash_WriteCustomName(which.encode(), 0)
    path = os.path.join(work, which + ".bin")
    return zel.FW_FlashCopy(os.open(path, os.O_RDONLY), 1)


def loaded(zel, read):
    data = ctypes.c_void_p()
    length = ctypes.c_uint32()
    if read(ctypes.byref(data), ctypes.byref(length)) != 0:
        return None
    return ctypes.string_at(data.value, length.value)


def name_of(value, old, new):
    if value == new:
        return "new"
    if value == old:
        return "old"
    return "nothing"


def held(zel, operation):
    """What the library's read functions find in the flash: old, new or nothing."""
    if operation == "Gen database":
        return name_of(loaded(zel, lambda data, length: zel.FW_ReadGenDatabase(data, length, 1)), OLD, NEW)
    if operation == "shared database":
        return name_of(loaded(zel, zel.FW_ReadSharedDatabase), OLD, NEW)
    if operation == "environment variable":
        region = ctypes.create_string_buffer(0x10000)
        assert zel.FW_SpiFlashEnvRead(region) == 0
        stored = int.from_bytes(region.raw[:4], "little")
        entry = region.raw[4:].split(b"\0")[0]
        good = zel.FW_crc32(region.raw[4:], 65532) & 0xFFFFFFFF == stored
        return name_of(entry if good else None, b"bootdelay=old", b"bootdelay=new")
    if operation == "identity name":
        name = ctypes.create_string_buffer(36)
        assert zel.FW_SpiFlash_GetCustomName(name) == 0
        return name_of(name.value.split(b"-")[0], b"old", b"new")
    good = [which for which, image in IMAGES.items() if zel.FW_CheckCRC(1, zel.FW_crc32(image, len(image)), len(image)) == 0]
    return good[0] if good else "nothing"


OPERATIONS = ["Gen database", "shared database", "environment variable", "identity name", "partition copy"]


def on_switch(build, *arguments, **options):
    command = [os.path.join(build, "bin", "zelsim"), "run", "--fast", *options.get("flags", []), "--"]
    command += [sys.executable, __file__, build, *arguments]
    return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, timeout=60)


def sim(build, *arguments):
    subprocess.run([os.path.join(build, "bin", "zelsim"), *arguments], check=True, stdout=subprocess.DEVNULL)


def cut(build, work, operation, call):
    """Kills the operation at its driver call number `call`. Returns whether it was killed, and what the switch then holds.

    It was not killed if it ended before that call.
    """
    board = os.path.join(work, "default")
    shutil.rmtree(board)
    shutil.copytree(os.path.join(work, "prepared"), board)
    sim(build, "fail", "any", "--skip", str(call), "--count", "1", "--result", "killed")
    killed = on_switch(build, "store", work, operation).returncode != 0
    sim(build, "heal")
    looked = on_switch(build, "look", work, operation)
    assert looked.returncode == 0, (operation, call, looked)
    return killed, looked.stdout.decode().split()[-1]


def sweep(build, work, operation):
    """Rows of (first call, last call, what is held)."""
    sim(build, "create", "default")
    assert on_switch(build, "prepare", work, operation).returncode == 0
    os.rename(os.path.join(work, "default"), os.path.join(work, "prepared"))
    os.mkdir(os.path.join(work, "default"))  # cut() replaces this folder
    rows = []
    call = 0
    while True:
        killed, value = cut(build, work, operation, call)
        if not killed:
            break
        call += 1
        if rows and rows[-1][2] == value:
            rows[-1][1] = call
        else:
            rows.append([call, call, value])
    assert value == "new", (operation, value)
    shutil.rmtree(os.path.join(work, "prepared"))
    shutil.rmtree(os.path.join(work, "default"))
    return rows


def on_the_switch(role, zel, work, operation):
    if role == "look":
        print("\n" + held(zel, operation))
    else:
        status = store(zel, work, operation, "old" if role == "prepare" else "new")
        sys.exit(status != 0)


def main():
    build, *rest = sys.argv[1:]
    if len(rest) == 3:
        role, work, operation = rest
        on_the_switch(role, library(build), work, operation)
        return
    work, = rest
    for which, image in IMAGES.items():
        with open(os.path.join(work, which + ".bin"), "wb") as file:
            file.write(image)
    print("| operation | cut at driver call | the switch then holds |\n|---|---|---|")
    for operation in OPERATIONS:
        for first, last, value in sweep(build, work, operation):
            print(f"| {operation} | {first} to {last} | {value} |", flush=True)


main()

"""What libc calls do with the nodes of a virtual switch: libc_calls.py ZELSIM, run by zelsim on a fresh board `nodes`."""
import ctypes
import errno
import fcntl
import json
import os
import signal
import subprocess
import sys

libc = ctypes.CDLL(None, use_errno=True)
for name in "fopen", "freopen", "fdopen":
    getattr(libc, name).restype = ctypes.c_void_p
gpio, chip = os.open("/dev/zel_gpio", os.O_RDWR), os.open("/dev/zel_spi_flash", os.O_RDWR)
END = 0x2000000
other = os.memfd_create("other")

def error(work, *arguments):
    try:
        return work(*arguments)
    except OSError as failure:
        return errno.errorcode[failure.errno]

def request(fd, number, value=0):
    return fcntl.ioctl(fd, 0x40012400 + number, value)

for expected, work, *arguments in (
        ("ENOTTY", fcntl.ioctl, gpio, 0x40012500, b"x"), ("ENOTTY", fcntl.ioctl, gpio, 0x40022481, b"x"), ("ENOTTY", request, gpio, 0x7f, b"x"),
        ("EFAULT", request, gpio, 0x81, 4095), ("EINVAL", os.read, gpio, 1), ("EINVAL", os.write, gpio, b"x"),
        ("EINVAL", os.pread, gpio, 1, 0), ("EINVAL", os.pwrite, gpio, b"x", 0), ("EINVAL", os.readv, gpio, [bytearray(1)]),
        ("EINVAL", os.writev, gpio, [b"x"]), ("ESPIPE", os.lseek, gpio, 0, 0), ("EINVAL", os.ftruncate, gpio, 0),
        ("EINVAL", os.ftruncate, chip, 0), ("EINVAL", os.lseek, chip, 0, os.SEEK_DATA), ("EINVAL", os.lseek, chip, -1, 0),
        (END, os.lseek, chip, 0, os.SEEK_END), (b"", os.read, chip, 1), ("ENOSPC", os.write, chip, b"x"),
        ("ENOSPC", os.pwrite, chip, b"x", END), (2, os.pwrite, chip, b"xyz", END - 2), (b"xy", os.pread, chip, 9, END - 2),
        ("EBADF", request, os.open("/dev/zel_spi_flash", os.O_RDONLY), 0xd1),
        ("EINVAL", request, chip, 0xd1), (END - 1, os.lseek, chip, -1, os.SEEK_END), (0, request, chip, 0xd1),
        (b"\xff", os.pread, chip, 9, END - 1), (0, os.lseek, chip, 0, 0), (0, os.readv, chip, [bytearray(0)]),
        (2, os.writev, chip, [b"", b"ab", b"cd"]), (2, os.lseek, chip, 0, 1), (1, os.readv, chip, [bytearray(1), bytearray(2)]), (b"ab\xff", os.pread, chip, 3, 0),
        ("EINVAL", os.pwrite, chip, b"x", -2), (256, os.pwrite, chip, bytes(256), 0x7010), (b"\0\xff", os.pread, chip, 2, 0x70ff),
        ("EINVAL", os.sendfile, 1, chip, 0, 1), ("EINVAL", os.sendfile, chip, 0, None, 1),
        (True, os.access, "/dev/zel_i2c", os.R_OK), (False, os.access, "/dev/zel_spi", os.R_OK),
        (END, lambda: os.stat("/dev/zel_spi_flash").st_size), (0, lambda: os.stat("/dev/zel_gpio").st_size),
        (1, lambda: os.write(libc.creat(b"/dev/zel_spi_flash", 0o600), b"a")), (b"ab", os.pread, chip, 2, 0),
        (3, os.writev, other, [b"pq", b"r"]), (1, os.pwrite, other, b"P", 0), (b"Pqr", os.pread, other, 9, 0), (1, os.lseek, other, 1, 0),
        (2, os.readv, other, [bytearray(1), bytearray(9)]), (2, os.sendfile, other, other, 0, 2), (None, os.ftruncate, other, 4), (b"PqrP", os.pread, other, 9, 0)):
    found = error(work, *arguments)
    assert found == expected, (work, arguments, expected, found)

# The driver selects the upper segment for an access whose last byte is there.
for access, what, at, upper in ((os.pread, 1, 0xffffff, 0), (os.pread, 2, 0xffffff, 1), (os.pread, 1, END, 0),
        (os.pwrite, b"x", 0x1000000, 1), (lambda fd, _, at: os.lseek(fd, at, 0) and request(fd, 0xd1), None, 0x1000000, 1)):
    request(chip, 0xdd)
    access(chip, what, at)
    found = os.popen(f"{sys.argv[1]} get flash.extended_address --board nodes").read()
    assert int(found) == upper, (access, at, found)

# A duplicate of a node's descriptor is a node, too. A number that was closed is none.
for number in (os.dup(chip), os.dup2(chip, 50), os.dup2(chip, 51, inheritable=False), fcntl.fcntl(chip, fcntl.F_DUPFD, 52),
               fcntl.fcntl(chip, fcntl.F_DUPFD_CLOEXEC, 53), libc.dup2(chip, chip), os.dup2(chip, 0)):
    assert os.pread(number, 2, 0) == b"ab", number
CLOEXEC = 4
for first, last, flags, left in ((50, 51, 0, (52, 53)), (52, 99, CLOEXEC, (52, 53)), (53, 53, 0, (52,))):
    assert libc.close_range(first, last, flags) == 0
    for number in left:
        assert os.pread(number, 2, 0) == b"ab", (first, last, number)

def reused(fd, close):
    """A file that gets the number of a node is no node."""
    close()
    numbers = []
    while fd not in numbers:
        numbers.append(os.open("/proc/self/comm", os.O_RDONLY))
    assert os.pread(fd, 6, 0) == b"python", fd

reused(51, lambda: None)
reused(52, lambda: libc.closefrom(52))
stream = ctypes.c_void_p(libc.fopen(b"/dev/zel_gpio", b"r"))
reused(libc.fileno(stream), lambda: libc.fclose(stream))
for mode, access in ((b"r", os.O_RDONLY), (b"r+", os.O_RDWR), (b"w", os.O_WRONLY), (b"a", os.O_WRONLY), (b"re", os.O_RDONLY), (b"w+", os.O_RDWR)):
    stream = ctypes.c_void_p(libc.fopen(b"/dev/zel_spi_flash", mode))
    fd = libc.fileno(stream)
    assert fcntl.fcntl(fd, fcntl.F_GETFL) & os.O_ACCMODE == access, mode
    assert (fcntl.fcntl(fd, fcntl.F_GETFD) == fcntl.FD_CLOEXEC) == (b"e" in mode), mode
    text = ctypes.create_string_buffer(2)
    assert libc.fread(text, 1, 2, stream) == (0 if access == os.O_WRONLY else 2), mode
    assert text.raw == (b"\0\0" if access == os.O_WRONLY else b"ab"), mode
    assert libc.fseek(stream, -3, 2) == 0 and libc.ftell(stream) == END - 3 and libc.fseek(stream, 0x2000, 0) == 0
    assert libc.fwrite(b"xy", 1, 2, stream) == (0 if access == os.O_RDONLY else 2), mode
    reused(fd, lambda: libc.fclose(stream))
assert os.pread(chip, 3, 0x2000) == b"xy\xff"
COMM, FLASH = (b"/proc/self/comm", b"py"), (b"/dev/zel_spi_flash", b"ab")
for first, (path, expected) in ((None, FLASH), (COMM[0], FLASH), (b"/dev/zel_gpio", COMM), (FLASH[0], COMM)):
    stream = ctypes.c_void_p(libc.fopen(first, b"r") if first else libc.fdopen(os.dup(chip), b"r"))
    number = libc.fileno(stream)
    stream = ctypes.c_void_p(libc.freopen(path, b"r", stream)) if first else stream
    assert libc.fileno(stream) == number, (first, path)
    assert libc.fseek(stream, 0, 0) == 0 and libc.fread(text, 1, 2, stream) == 2 and text.raw == expected, (text.raw, expected)
    assert os.pread(libc.fileno(stream), 2, 0) == expected

# What a program says goes to the flash, if its standard error stands there.
os.lseek(chip, 0x5000, 0)
assert subprocess.run(("cat", "none"), stderr=chip, check=False).returncode == 1
assert os.pread(chip, 5, 0x5000) == b"cat: "

# Other names of the same calls: fortified ones, and those of large files.
READ_WRITE, HERE, PATH = os.O_RDWR, -100, b"/dev/zel_spi_flash"
os.close(0)  # the first one gets this number
for place, (opens, *words) in enumerate(((libc.__open_2, PATH, READ_WRITE), (libc.__open64_2, PATH, READ_WRITE), (libc.__openat_2, HERE, PATH, READ_WRITE),
                                         (libc.__openat64_2, HERE, PATH, READ_WRITE), (libc.openat, HERE, PATH, READ_WRITE),
                                         (libc.openat64, HERE, PATH, READ_WRITE), (libc.creat64, PATH, 0o600))):
    assert libc.pwrite(opens(*words), b"pw%d" % place, 3, 0x6000 + 4 * place) == 3, opens
assert os.pread(chip, 28, 0x6000) == b"pw0\xffpw1\xffpw2\xffpw3\xffpw4\xffpw5\xffpw6\xff"
os.lseek(chip, 0, 0)
for fd, expected in ((chip, b"ab"), (os.open("/proc/self/comm", os.O_RDONLY), b"py")):
    for reads in (lambda room: libc.__read_chk(fd, text, 2, room), lambda room: libc.__pread_chk(fd, text, 2, 0, room),
                  lambda room: libc.__pread64_chk(fd, text, 2, 0, room)):
        text.raw = b"--"
        assert reads(2) == 2 and text.raw == expected, fd
        # It reads no more than its buffer has room for.
        child = os.fork()
        if child == 0:
            os._exit(reads(1))
        assert os.WTERMSIG(os.waitpid(child, 0)[1]) == signal.SIGABRT, fd

# What a call becomes under each fault: an open, a request, a read, a write and a seek.
batch = subprocess.Popen((sys.argv[1], "batch"), stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)

def zelsim(line):
    print(json.dumps({"words": [*line.split(), "--board", "nodes"]}), file=batch.stdin, flush=True)
    answer = json.loads(batch.stdout.readline())
    assert answer["status"] == 0, (line, answer)

def probe():
    opened = error(os.open, "/dev/zel_gpio", os.O_RDWR)
    return ("open" if isinstance(opened, int) else opened, error(request, gpio, 0x81, bytearray(1)), error(os.pread, chip, 2, 0),
            error(os.pwrite, chip, b"12", 0x3000), error(os.lseek, chip, 5, 0))

for fault, *expected in (
        ("gpio", "open", 65535, b"ab", 2, 5), ("gpio --result 7", "open", 7, b"ab", 2, 5),
        ("gpio:GetSystemLed --result busy", "open", 0xfffa, b"ab", 2, 5), ("gpio:GetAlarmLed", "open", 0, b"ab", 2, 5),
        ("any --result 1", "open", 1, b"a", 1, "EIO"), ("any --result busy", "open", 0xfffa, "EBUSY", "EBUSY", "EBUSY"),
        ("any --result refused", "open", "EIO", "EIO", "EIO", "EIO"), ("any --result closed", "ENXIO", 0, b"ab", 2, 5),
        ("i2c:open", "open", 0, b"ab", 2, 5), ("gpio:open", "ENXIO", 0, b"ab", 2, 5),
        ("gpio:open --result busy", "EBUSY", 0, b"ab", 2, 5), ("gpio:open --result refused", "EIO", 0, b"ab", 2, 5),
        ("flash:read", "open", 0, "EIO", 2, 5), ("flash:read --result 9", "open", 0, b"ab", 2, 5), ("flash:write --result 1", "open", 0, b"ab", 1, 5),
        ("flash:lseek", "open", 0, b"ab", 2, "EIO"), ("flash@0x3001 --result refused", "open", 0, b"ab", "EIO", 5),
        ("flash@0x3002-0x4000 --result refused", "open", 0, b"ab", 2, 5),
        ("flash@1-4 --result refused", "open", 0, "EIO", 2, 5), ("flash@2-5 --result refused", "open", 0, b"ab", 2, "EIO")):
    zelsim("fail " + fault)
    found = probe()
    assert found == tuple(expected), (fault, expected, found)
    zelsim("heal")
for address in "0x50000", "0x5ffff":  # the ends of the sector
    zelsim("fail flash:EraseSector@" + address)
    os.lseek(chip, 0x50001, 0)
    assert request(chip, 0xd1) == 0xffff, address
    zelsim("heal")

batch.communicate()

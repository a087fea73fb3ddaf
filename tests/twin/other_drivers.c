// Drivers that share nothing with the virtual switch: few requests, answered from a few variables. They differ from it on
// purpose; twin_test.py knows where.
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

enum { kGpio = 500, kI2c, kFlash, kEnd };  // descriptors that nobody else has
enum { kFlashSize = 0x2000000 };

static uint8_t leds[256];
static uint8_t *flash;
static int64_t position;

static void *next(const char *name) { return dlsym(RTLD_NEXT, name); }

static int node_of(const char *path) {
  if (strcmp(path, "/dev/zel_gpio") == 0) return kGpio;
  if (strcmp(path, "/dev/zel_i2c") == 0) return kI2c;
  if (strcmp(path, "/dev/zel_spi_flash") == 0) return kFlash;
  return 0;
}

int open(const char *path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  int mode = va_arg(arguments, int);
  va_end(arguments);
  int node = node_of(path);
  position = node == kFlash ? 0 : position;
  return node != 0 ? node : ((int (*)(const char *, int, ...))next("open"))(path, flags, mode);
}

int close(int fd) { return fd >= kGpio && fd < kEnd ? 0 : ((int (*)(int))next("close"))(fd); }

static int gpio(unsigned number, uint8_t *record) {
  switch (number) {
    case 0x82:  // SetAlarmLed
    case 0x84:  // SetAlarmRelay
      leds[number + 1] = record[0];
      return 0;
    case 0x83:
    case 0x85:
      record[0] = leds[number];
      return 0;
    case 0x98:  // GetPowerStatus: two good supplies, the second one DC
      record[0] = 0xe8;
      return 0;
    case 0x9a:  // GetResetKey: pressed
      record[0] = 1;
      return 0;
    default:  // changes its record, and fails with an error that has no name
      record[0] ^= 0x80;
      errno = 524;
      return -1;
  }
}

// A sensor alone is on the bus.
static int i2c(unsigned number, uint8_t *record) {
  if (number == 0x96) return record[1] = record[0] == 1 ? 2 : 0, 0;  // GetBoardType
  if (number != 0xb0) return 0xffff;
  if (record[129] != 0x9e) return 0xfffa;
  record[0] = 26;
  record[1] = 0x80;
  return 0;
}

int ioctl(int fd, unsigned long request, ...) {
  va_list arguments;
  va_start(arguments, request);
  uint8_t *record = va_arg(arguments, uint8_t *);
  va_end(arguments);
  if (fd == kGpio) return gpio(request & 0xff, record);
  if (fd == kI2c) return i2c(request & 0xff, record);
  if (fd == kFlash) return 0;
  return ((int (*)(int, unsigned long, ...))next("ioctl"))(fd, request, record);
}

static uint8_t *contents(void) {
  if (flash == NULL) {
    flash = malloc(kFlashSize);
    memset(flash, 0xff, kFlashSize);
    flash[0x123456] = 0x5a;
  }
  return flash;
}

off_t lseek(int fd, off_t offset, int whence) {
  if (fd == kFlash) return position = offset;
  return ((off_t(*)(int, off_t, int))next("lseek"))(fd, offset, whence);
}

ssize_t read(int fd, void *data, size_t size) {
  if (fd != kFlash) return ((ssize_t(*)(int, void *, size_t))next("read"))(fd, data, size);
  memcpy(data, contents() + position, size);
  position += (int64_t)size;
  return (ssize_t)size;
}

ssize_t write(int fd, const void *data, size_t size) {
  if (fd != kFlash) return ((ssize_t(*)(int, const void *, size_t))next("write"))(fd, data, size);
  memcpy(contents() + position, data, size);
  position += (int64_t)size;
  return (ssize_t)size;
}

int system(const char *command) {
  (void)command;
  return 0x300;  // a tool that ends with 3
}

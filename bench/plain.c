/* Four calls of the library as one would write them by hand in C, as a yardstick for its instructions per call.
 * What the library does through its exported functions is an exported function here, too. */
#include <fcntl.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <unistd.h>

#define REQUEST(number) (0x40012400UL | (number))
#define FAIL 0xFFFFu
#define ABSENT 0xFFFDu
#define NOT_SFP 0xFFFCu

uint32_t plain_get_system_led(uint8_t *led) {
  uint8_t record = 0;
  int fd = open("/dev/zel_gpio", O_RDWR);
  if (fd < 0) return FAIL;
  int result = ioctl(fd, REQUEST(0x81), &record);
  *led = record;
  close(fd);
  return (uint32_t)result;
}

uint32_t plain_set_system_led(uint32_t wanted) {
  uint8_t value = (uint8_t)wanted;
  uint8_t current = 0;
  plain_get_system_led(&current);
  if (current == value) return 0;
  int fd = open("/dev/zel_gpio", O_RDWR);
  if (fd < 0) return FAIL;
  if (value > 2) {
    close(fd);
    return FAIL;
  }
  int result = ioctl(fd, REQUEST(0x80), &value);
  close(fd);
  char line[128] = {0};
  snprintf(line, sizeof line, "debugCmd sgpio_set %d %d %d\n", 1, 3, value);
  int status = system(line);
  (void)status;
  return (uint32_t)result;
}

struct transfer {
  uint8_t data[128], len, addr, reserved1[2];
  uint32_t offset;
  uint8_t offset_len, reserved2[3];
};

uint32_t plain_i2c_read(uint8_t addr, uint32_t offset, uint32_t offset_len, uint8_t len, void *buf) {
  struct transfer record = {{0}, len, addr, {0}, offset, (uint8_t)offset_len, {0}};
  if (offset_len > 4 || len > sizeof record.data) return FAIL;
  int fd = open("/dev/zel_i2c", O_RDWR);
  if (fd < 0) return FAIL;
  int result = ioctl(fd, REQUEST(0xB0), &record);
  close(fd);
  memcpy(buf, record.data, len);
  usleep(5000);
  return (uint32_t)result;
}

uint32_t plain_i2c_write(uint8_t addr, uint32_t offset, uint32_t offset_len, uint8_t len, const void *buf) {
  struct transfer record = {{0}, len, addr, {0}, offset, (uint8_t)offset_len, {0}};
  if (offset_len > 4 || len > sizeof record.data) return FAIL;
  memcpy(record.data, buf, len);
  int fd = open("/dev/zel_i2c", O_RDWR);
  if (fd < 0) return FAIL;
  int result = ioctl(fd, REQUEST(0xB1), &record);
  close(fd);
  usleep(5000);
  return (uint32_t)result;
}

static uint32_t ask_slot(unsigned long number, uint32_t slot, uint8_t *value) {
  uint8_t record[2] = {(uint8_t)slot, 0};
  int fd = open("/dev/zel_i2c", O_RDWR);
  if (fd < 0) return FAIL;
  int result = ioctl(fd, REQUEST(number), record);
  close(fd);
  *value = record[1];
  return (uint32_t)result;
}

uint32_t plain_get_alive(uint32_t slot, uint8_t *alive) { return ask_slot(0xC2, slot, alive); }

uint32_t plain_get_board(uint32_t slot, uint8_t *type) {
  if (slot < 1 || slot > 3) return FAIL;
  uint8_t found = 0, alive = 0;
  uint32_t result = ask_slot(0x96, slot, &found);
  if (result == FAIL) return FAIL;
  plain_get_alive(slot, &alive);
  *type = alive ? found : 0;
  return alive ? result : ABSENT;
}

uint32_t plain_port_exists(uint32_t port) {
  uint8_t type = 1;
  return port >= 24 || plain_get_board(port / 8 + 1, &type) != ABSENT;
}

const char *plain_has_cage(uint32_t port) {
  int cages[3];
  for (uint32_t slot = 0; slot < 3; slot++) {
    uint8_t type = 1;
    uint32_t result = plain_get_board(slot + 1, &type);
    cages[slot] = type != 1 && result != ABSENT;
  }
  if (port < 24) return cages[port / 8] ? "1" : "0";
  return port < 28 ? "1" : "0";
}

static const uint8_t tx_disable_line[28][3] = {[3] = {0x40, 3, 0x40}};

static uint32_t refuse(uint32_t port) {
  if (!plain_port_exists(port)) return ABSENT;
  return plain_has_cage(port)[0] == '0' ? NOT_SFP : 0;
}

uint32_t plain_get_tx_disable(uint32_t port, uint8_t *disable) {
  uint32_t result = refuse(port);
  if (result) return result;
  const uint8_t *line = tx_disable_line[port];
  uint8_t byte = 0;
  result = plain_i2c_read(line[0], line[1], 1, 1, &byte);
  if (!result) *disable = (byte & line[2]) == line[2];
  return result;
}

uint32_t plain_set_tx_disable(uint32_t port, uint32_t disable) {
  uint32_t result = refuse(port);
  if (result) return result;
  if (disable > 1) return FAIL;
  const uint8_t *line = tx_disable_line[port];
  uint8_t byte = 0;
  for (int tries = 0; tries < 5; tries++) {
    result = plain_i2c_read(line[0], line[1], 1, 1, &byte);
    if (!result) break;
  }
  if (result) return result;
  byte = (uint8_t)(disable ? byte | line[2] : byte & ~line[2]);
  for (int writes = 0; writes < 100; writes++) {
    for (int tries = 0; tries < 5; tries++) {
      result = plain_i2c_write(line[0], line[1], 1, 1, &byte);
      if (!result) break;
    }
    if (result) return result;
    uint8_t state = 0;
    result = plain_get_tx_disable(port, &state);
    if (state == disable) return result;
  }
  return FAIL;
}

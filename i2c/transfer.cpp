#include "i2c/transfer.h"

#include <stddef.h>
#include <string.h>

#include "board/request.h"
#include "zelboard/i2c.h"

namespace zel {
namespace {

struct i2c_xfer {
  uint8_t data[FW_I2C_LEN_MAX];
  uint8_t len;
  uint8_t addr;  // 8-bit form
  uint8_t reserved1[2];
  uint32_t offset;
  uint8_t offset_len;
  uint8_t reserved2[3];
};
static_assert(sizeof(i2c_xfer) == 140 && offsetof(i2c_xfer, offset) == 132 && offsetof(i2c_xfer, offset_len) == 136);

constexpr useconds_t kPause = 5000;  // after every request, so that slow devices keep up

/// Addresses a record; false for a transfer that it cannot hold. Only one without data may come without a buffer.
bool address(i2c_xfer &record, uint8_t addr, uint32_t offset, uint32_t offset_len, uint8_t len, const void *buf) {
  if (offset_len > FW_I2C_OFFSET_LEN_MAX || len > sizeof record.data || (buf == nullptr && len != 0)) return false;
  record.len = len;
  record.addr = addr;
  record.offset = offset;
  record.offset_len = static_cast<uint8_t>(offset_len);
  return true;
}

uint32_t read_device(uint8_t addr, uint32_t offset, uint32_t offset_len, uint8_t len, void *buf) {
  i2c_xfer record{};
  if (!address(record, addr, offset, offset_len, len, buf)) return FW_FAIL;
  return request(kReadDevice, record, [&] {
    if (len != 0) memcpy(buf, record.data, len);
    usleep(kPause);
  });
}

}  // namespace

uint32_t i2c_offset_read(uint8_t addr, uint32_t offset, uint8_t len, void *buf) {
  return read_device(addr, offset, 1, len, buf);
}

}  // namespace zel

uint32_t FW_I2C_BufRead(uint8_t addr, uint32_t offset, uint32_t offset_len, uint8_t len, void *buf) {
  return zel::read_device(addr, offset, offset_len, len, buf);
}

uint32_t FW_I2C_BufWrite(uint8_t addr, uint32_t offset, uint32_t offset_len, uint8_t len, const void *buf) {
  zel::i2c_xfer record{};
  if (!zel::address(record, addr, offset, offset_len, len, buf)) return FW_FAIL;
  if (len != 0) memcpy(record.data, buf, len);
  return zel::request(zel::kWriteDevice, record, [] { usleep(zel::kPause); });
}

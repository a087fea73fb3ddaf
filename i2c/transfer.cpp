// Buffered I2C transfers: one record for both directions.
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

/// Whether the record can carry the transfer. Only a transfer without data may come without a buffer.
bool fits(uint32_t offset_len, uint8_t len, const void *buf) {
  if (offset_len > FW_I2C_OFFSET_LEN_MAX || len > FW_I2C_LEN_MAX) return false;
  return buf != nullptr || len == 0;
}

i2c_xfer make_record(uint8_t addr, uint32_t offset, uint32_t offset_len, uint8_t len) {
  i2c_xfer record{};
  record.len = len;
  record.addr = addr;
  record.offset = offset;
  record.offset_len = static_cast<uint8_t>(offset_len);
  return record;
}

}  // namespace
}  // namespace zel

uint32_t FW_I2C_BufRead(uint8_t addr, uint32_t offset, uint32_t offset_len, uint8_t len, void *buf) {
  if (!zel::fits(offset_len, len, buf)) return FW_FAIL;
  zel::i2c_xfer record = zel::make_record(addr, offset, offset_len, len);
  const zel::Answer answer = zel::request(zel::kBufRead, &record);
  if (!answer.made) return FW_FAIL;
  if (len != 0) memcpy(buf, record.data, len);
  usleep(zel::kPause);
  return answer.result;
}

uint32_t FW_I2C_BufWrite(uint8_t addr, uint32_t offset, uint32_t offset_len, uint8_t len, const void *buf) {
  if (!zel::fits(offset_len, len, buf)) return FW_FAIL;
  zel::i2c_xfer record = zel::make_record(addr, offset, offset_len, len);
  if (len != 0) memcpy(record.data, buf, len);
  const zel::Answer answer = zel::request(zel::kBufWrite, &record);
  if (!answer.made) return FW_FAIL;
  usleep(zel::kPause);
  return answer.result;
}

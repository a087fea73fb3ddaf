#include <zelboard/zelboard.h>

#include "tool.h"

struct Status {
  uint32_t code;
  const char *name;
  const char *meaning;
};
constexpr Status kStatuses[] = {
    {0, "ok", ""},
    {FW_FAIL, "FW_FAIL", "no answer, or refused"},
    {FW_NOT_SET, "FW_NOT_SET", "nothing stored"},
    {FW_ABSENT, "FW_ABSENT", "does not answer"},
    {FW_NOT_SFP, "FW_NOT_SFP", "no SFP cage"},
    {FW_I2C_BUSY, "FW_I2C_BUSY", "the I2C bus is busy"},
    {FW_REFUSED, "FW_REFUSED", "failed, or refused by the kernel or by the diagnostic flags"}};

static Status find(uint32_t code) {
  for (const Status &status : kStatuses)
    if (status.code == code) return status;
  return {code, nullptr, "the driver's own failure code"};
}

constexpr std::pair<const char *, uint32_t (*)(uint8_t *)> kProbes[] = {
    {"/dev/zel_gpio", FW_GetSystemLed}, {"/dev/zel_i2c", FW_Get_I2C_Busy}, {"/dev/zel_spi_flash", FW_FlashGetIndex}};

std::string statusName(uint32_t status) {
  const char *name = find(status).name;
  return name != nullptr ? name : format("0x%08X", status);
}

void require(uint32_t status, const std::string &what) {
  if (status == 0) return;
  if (status == FW_FAIL) requireBoard();
  throw Failure{statusName(status) + ": " + what + ": " + find(status).meaning, status};
}

void requirePort(uint32_t status, uint32_t port) {
  const uint32_t slot = port / 8 + 1;
  if (status == FW_ABSENT) throw Failure{format("FW_ABSENT: no daughter board in slot %u", slot), status};
  if (status == FW_NOT_SFP)
    throw Failure{format("FW_NOT_SFP: port %u has no SFP cage: copper board in slot %u", port, slot), status};
  require(status, format("port %u", port));
}

uint8_t byteOf(const std::function<uint32_t(uint8_t *byte)> &read, const std::string &what) {
  uint8_t byte = 0;
  require(read(&byte), what);
  return byte;
}

void requireBoard() {
  constexpr uint8_t kUntouched = 0xA5;
  std::string closed;
  for (const auto &[node, read] : kProbes) {
    // A read whose node opened writes its byte, whatever the result (the flash driver's, unless it answers FW_FAIL).
    uint8_t byte = kUntouched;
    if (read(&byte) == FW_FAIL && byte == kUntouched) closed += (closed.empty() ? "" : ", ") + std::string(node);
  }
  if (!closed.empty())
    throw Failure{"FW_FAIL: " + closed + " cannot be opened; without the board, use: zelsim run -- zelctl ...",
                  FW_FAIL};
}

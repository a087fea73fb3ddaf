#include <fcntl.h>
#include <unistd.h>
#include <zelboard/zelboard.h>

#include <cstring>

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
    {FW_I2C_BUSY, "FW_I2C_BUSY", "busy"},
    {FW_REFUSED, "FW_REFUSED", "failed, or refused by the kernel or by the diagnostic flags"}};

static Status status_row(uint32_t code) {
  for (const Status &status : kStatuses) {
    if (status.code == code) return status;
  }
  return {code, nullptr, "the driver's own failure code"};
}

std::string status_name(uint32_t status) {
  const char *name = status_row(status).name;
  return name != nullptr ? name : format("0x%08X", status);
}

void require(uint32_t status, const std::string &what) {
  if (status == 0) return;
  if (status == FW_FAIL) require_board(what + ": ");
  throw Failure{status_name(status) + ": " + what + ": " + status_row(status).meaning, status};
}

uint8_t byte_of(const std::function<uint32_t(uint8_t *byte)> &read, const std::string &what) {
  uint8_t byte = 0;
  require(read(&byte), what);
  return byte;
}

void require_gpio_driver() { byte_of(FW_GetSystemLed, "GPIO driver"); }

void require_flash_driver() { byte_of(FW_FlashGetIndex, "flash driver"); }

/** @return 0, or errno of the open */
static int error_of_opening(const char *node) {
  const int fd = open(node, O_RDWR | O_CLOEXEC);
  if (fd < 0) return errno;
  close(fd);
  return 0;
}

void require_board(const std::string &before) {
  std::string closed;
  int first_error = 0;
  for (const char *node : {"/dev/zel_gpio", "/dev/zel_i2c", "/dev/zel_spi_flash"}) {
    const int error = error_of_opening(node);
    if (error == 0) continue;
    if (first_error == 0) first_error = error;
    add_item(closed, node);
  }
  if (closed.empty()) return;
  const char *advice = first_error == ENOENT ? "; without the board, use: zelsim run -- zelctl ..." : "";
  throw Failure{"FW_FAIL: " + before + closed + " cannot be opened: " + std::strerror(first_error) + advice, FW_FAIL};
}

static std::optional<Failure> postponed;

void postpone(const Failure &failure) {
  if (!postponed) postponed = failure;
}

std::optional<Failure> take_postponed() { return std::exchange(postponed, std::nullopt); }

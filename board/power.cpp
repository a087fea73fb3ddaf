// Power supervision: what the driver reports of the supplies, against what the boot environment declares.
#include "board/request.h"
#include "zelboard/board.h"
#include "zelboard/flash.h"

namespace {

constexpr zel::Request kPowerStatus{zel::kGpio, 0x98};

// Power status byte.
constexpr uint8_t kTwoSupplies = 0x08;
constexpr uint8_t kFirstIsDc = 0x10, kSecondIsDc = 0x20, kBothDc = kFirstIsDc | kSecondIsDc;
constexpr uint8_t kBothGood = 0x40 | 0x80;

enum PowerMode : uint8_t { kAcAndDc, kTwoAc, kTwoDc, kOneDc, kOneAc, kNotConfigured };

PowerMode fitted_mode(uint8_t status) {
  if ((status & kTwoSupplies) == 0) return (status & kFirstIsDc) != 0 ? kOneDc : kOneAc;
  switch (status & kBothDc) {
    case 0:
      return kTwoAc;
    case kBothDc:
      return kTwoDc;
    default:
      return kAcAndDc;
  }
}

bool two_supplies_expected(uint32_t configured, uint8_t status) {
  if (configured == kNotConfigured) return (status & kTwoSupplies) != 0;
  return configured <= kTwoDc;
}

}  // namespace

uint32_t FW_GetPowerConf(uint32_t supply, uint8_t *conf) {
  if (supply < 1 || supply > 2) return FW_FAIL;
  struct {
    uint8_t supply, conf;
  } record{static_cast<uint8_t>(supply), 0};
  return zel::request({zel::kGpio, 0x89}, record, [&] { *conf = record.conf; });
}

uint32_t FW_GetPowerMode(uint8_t *mode) {
  const uint32_t configured = FW_Pwr_Flag();
  if (configured != kNotConfigured) {
    *mode = static_cast<uint8_t>(configured);
    return 0;
  }
  uint8_t status = 0;
  return zel::request(kPowerStatus, status, [&] { *mode = fitted_mode(status); });
}

uint32_t FW_GetPowerAlarm(uint8_t *alarm) {
  uint8_t status = 0;
  return zel::request_then(kPowerStatus, status, [&] {
    const bool expected = two_supplies_expected(FW_Pwr_Flag(), status);
    *alarm = expected && (status & kBothGood) != kBothGood;
  });
}

// Power supervision: what the driver reports of the supplies, against what the boot environment declares.
#include "board/request.h"
#include "zelboard/board.h"
#include "zelboard/flash.h"

namespace zel {
namespace {

// Power status byte.
constexpr uint8_t kTwoSupplies = 0x08;
constexpr uint8_t kFirstIsDc = 0x10;
constexpr uint8_t kSecondIsDc = 0x20;
constexpr uint8_t kBothGood = 0x40 | 0x80;

uint8_t fitted_mode(uint8_t status) {
  const bool first_dc = (status & kFirstIsDc) != 0;
  const bool second_dc = (status & kSecondIsDc) != 0;
  if ((status & kTwoSupplies) == 0) return first_dc ? FW_POWER_ONE_DC : FW_POWER_ONE_AC;
  if (first_dc != second_dc) return FW_POWER_AC_DC;
  return first_dc ? FW_POWER_TWO_DC : FW_POWER_TWO_AC;
}

bool has_two_supplies(uint32_t mode) {
  return mode == FW_POWER_AC_DC || mode == FW_POWER_TWO_AC || mode == FW_POWER_TWO_DC;
}

bool two_supplies_expected(uint32_t configured, uint8_t status) {
  if (configured == FW_POWER_NOT_CONFIGURED) return (status & kTwoSupplies) != 0;
  return has_two_supplies(configured);
}

}  // namespace
}  // namespace zel

uint32_t FW_GetPowerConf(uint32_t supply, uint8_t *conf) {
  if (supply < FW_SUPPLY_FIRST || supply > FW_SUPPLY_LAST) return FW_FAIL;
  return zel::get_selected(zel::kGetPowerConf, supply, conf);
}

uint32_t FW_GetPowerMode(uint8_t *mode) {
  const uint32_t configured = FW_Pwr_Flag();
  if (configured != FW_POWER_NOT_CONFIGURED) {
    *mode = static_cast<uint8_t>(configured);
    return 0;
  }
  uint8_t status = 0;
  const zel::Answer answer = zel::request(zel::kGetPowerStatus, &status);
  return answer.hand_out(mode, zel::fitted_mode(status));
}

uint32_t FW_GetPowerAlarm(uint8_t *alarm) {
  uint8_t status = 0;
  const zel::Answer answer = zel::request(zel::kGetPowerStatus, &status);
  if (!answer.made) return FW_FAIL;  // the environment is not read for nothing
  const bool expected = zel::two_supplies_expected(FW_Pwr_Flag(), status);
  *alarm = expected && (status & zel::kBothGood) != zel::kBothGood;
  return answer.result;
}

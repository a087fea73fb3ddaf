// Raw access to the registers of a module's copper PHY.
#include <stdio.h>

#include <optional>

#include "i2c/register.h"
#include "sfp/copper.h"
#include "sfp/module_class.h"
#include "zelboard/i2c.h"
#include "zelboard/ports.h"
#include "zelboard/sfp.h"

namespace zel {
namespace {

constexpr uint8_t kAdvertisement = 4;

/// What differs between the three register functions.
struct AccessRules {
  bool busy_is_empty;     // true: a busy bus counts as an empty cage
  const char *busy_line;  // printed for a busy bus; null if busy_is_empty
  uint32_t not_copper;    // result for a module without a PHY
};

// Programs look for these texts: the spelling stays.
constexpr AccessRules kShow{.busy_is_empty = false, .busy_line = "I2C Bus busy", .not_copper = 0};
constexpr AccessRules kSet{.busy_is_empty = true, .busy_line = nullptr, .not_copper = 0};
constexpr AccessRules kGet{.busy_is_empty = false, .busy_line = "I2C bus busy", .not_copper = FW_FAIL};

/// Gets a copper module ready for register access. Returns nothing if a register can be accessed, else the result that
/// ends the call.
std::optional<uint32_t> prepare_access(uint32_t port, const AccessRules &rules) {
  FW_SFP_mDelay(kSettle);
  if (const uint32_t failed = FW_SfpSel(port); failed != 0) return failed;
  BaseId id{};
  if (const uint32_t failed = read_register(FW_SFP_MEMORY, 0, sizeof id.byte, id.byte); failed != 0) {
    if (failed == FW_I2C_BUSY && !rules.busy_is_empty) {
      puts(rules.busy_line);
      return FW_I2C_BUSY;
    }
    printf("SFP %d non exist! \n", static_cast<int>(port));
    return FW_FAIL;
  }
  if (!id.copper()) {
    puts("This is not 1000BaseT module");
    return rules.not_copper;
  }
  FW_SFP_mDelay(kSettle);
  if (const uint32_t failed = switch_transmitter_on(port); failed != 0) return failed;
  return std::nullopt;
}

/// Reads a register. The transfer reads two registers; the first one is the wanted one.
uint32_t read_phy(uint32_t reg, uint16_t *value) {
  uint8_t bytes[4] = {};
  const uint32_t result = read_register(FW_SFP_PHY, reg, sizeof bytes, bytes);
  if (result == 0) *value = register_value(bytes);
  return result;
}

}  // namespace
}  // namespace zel

uint32_t FW_Show_SFP_SGMII_Reg(uint32_t port, uint32_t reg) {
  if (const auto ended = zel::prepare_access(port, zel::kShow)) return *ended;
  uint16_t value = 0;
  if (const uint32_t failed = zel::read_phy(reg, &value); failed != 0) return failed;
  printf("SFP port-%d reg-%d(0x%02x) value=0x%04x\n", static_cast<int>(port), static_cast<int>(reg), reg, value);
  return 0;
}

uint32_t FW_Set_SFP_SGMII_Reg(uint32_t port, uint32_t reg, uint16_t value) {
  if (const auto ended = zel::prepare_access(port, zel::kSet)) return *ended;
  const uint8_t bytes[2] = {static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value)};
  return zel::write_register(FW_SFP_PHY, reg, sizeof bytes, bytes);
}

uint32_t FW_Get_SFP_SGMII_Reg(uint32_t port, uint32_t reg, uint16_t *value) {
  if (const auto ended = zel::prepare_access(port, zel::kGet)) return *ended;
  return zel::read_phy(reg, value);
}

uint32_t FW_SFP_PHY_Fail_Chk(uint32_t port, uint16_t expected, uint16_t *value) {
  if (const uint32_t failed = FW_SfpSel(port); failed != 0) return failed;
  uint16_t found = 0;
  if (zel::read_phy(zel::kAdvertisement, &found) != 0) return 0;  // an unreadable PHY is not reported
  *value = found;
  return found != expected;
}

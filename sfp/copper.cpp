#include "sfp/copper.h"

#include <stdio.h>

#include "i2c/register.h"
#include "zelboard/i2c.h"
#include "zelboard/ports.h"
#include "zelboard/sfp.h"

namespace zel {
namespace {

constexpr uint16_t kTransmitterSettle = 200;  // ms
constexpr uint8_t kPhyIdentifier = 4;         // registers 2 and 3 in a read from register 0

}  // namespace

uint32_t note_busy(uint32_t result, const char *line) {
  if (result == FW_I2C_BUSY && line != nullptr) puts(line);
  return result;
}

uint32_t switch_transmitter_on(uint32_t port, const char *busy_line) {
  uint8_t disabled = 1;
  if (const uint32_t failed = FW_GetPortSfpTxDisable(port, &disabled); failed != 0) {
    return note_busy(failed, busy_line);
  }
  if (disabled != 1) return 0;
  if (const uint32_t failed = FW_SetPortSfpTxDisable(port, 0); failed != 0) {
    return note_busy(failed, busy_line);
  }
  FW_SFP_mDelay(kTransmitterSettle);
  return 0;
}

uint32_t bring_copper_up(uint32_t port, const char *line, uint32_t set_sgmii, uint8_t verbose, CopperState *state) {
  // Programs look for these texts: the spelling stays.
  const char *const bus_busy = verbose != 0 ? "I2C Bus Busy" : nullptr;
  const char *const transmitter_busy = verbose != 0 ? "IC Bus busy" : nullptr;
  FW_SFP_mDelay(kSettle);
  if (verbose != 0) puts(line);
  if (const uint32_t failed = switch_transmitter_on(port, transmitter_busy); failed != 0) return failed;
  if (const uint32_t failed = read_register(FW_SFP_PHY, 0, sizeof state->phy, state->phy); failed != 0) {
    return note_busy(failed, bus_busy);
  }
  const uint32_t result = FW_SFP_SGMII_Set(port, &state->phy[kPhyIdentifier], &state->sgmii_cisco, set_sgmii, verbose);
  return note_busy(result, bus_busy);
}

}  // namespace zel

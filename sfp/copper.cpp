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

uint32_t note_busy(uint32_t result, uint8_t verbose, const char *line) {
  if (result == FW_I2C_BUSY && verbose != 0) puts(line);
  return result;
}

uint32_t switch_transmitter_on(uint32_t port) {
  uint8_t disabled = 1;
  if (const uint32_t failed = FW_GetPortSfpTxDisable(port, &disabled); failed != 0) return failed;
  if (disabled != 1) return 0;
  if (const uint32_t failed = FW_SetPortSfpTxDisable(port, 0); failed != 0) return failed;
  FW_SFP_mDelay(kTransmitterSettle);
  return 0;
}

uint32_t bring_copper_up(uint32_t port, const char *line, uint32_t set_sgmii, uint8_t verbose, CopperState *state) {
  static constexpr char kTransmitterBusy[] = "IC Bus busy";  // programs look for it: the spelling stays
  FW_SFP_mDelay(kSettle);
  if (verbose != 0) puts(line);
  if (const uint32_t failed = switch_transmitter_on(port); failed != 0) {
    return note_busy(failed, verbose, kTransmitterBusy);
  }
  if (const uint32_t failed = read_register(FW_SFP_PHY, 0, sizeof state->phy, state->phy); failed != 0) {
    return note_busy(failed, verbose, kBusBusy);
  }
  const uint32_t result = FW_SFP_SGMII_Set(port, &state->phy[kPhyIdentifier], &state->is_marvell, set_sgmii, verbose);
  return note_busy(result, verbose, kBusBusy);
}

}  // namespace zel

// The copper PHY inside a 1000BASE-T module, and the steps that bring one up.
#pragma once

#include <stdint.h>

namespace zel {

inline constexpr char kBusBusy[] = "I2C Bus Busy";  // programs look for it: the spelling stays

inline constexpr uint16_t kSettle = 50;  // ms, before a PHY is used; register functions also wait before the selection

/// A 16-bit register as the PHY sends it, high byte first.
inline uint16_t register_value(const uint8_t *bytes) { return static_cast<uint16_t>((bytes[0] << 8) | bytes[1]); }

/// Prints `line` if the bus was busy and `verbose` is not 0; returns the result.
uint32_t note_busy(uint32_t result, uint8_t verbose, const char *line);

/// Switches a module's transmitter on. If it was off, waits 200 ms for the PHY. The transmitter stays on. Returns 0 or the
/// failed step's result.
uint32_t switch_transmitter_on(uint32_t port);

struct CopperState {
  uint8_t phy[16];     // registers 0 to 7
  uint8_t is_marvell;  // 1 = yes; FW_SFP_SGMII_Set answers it in `sgmii_cisco`
};

/// Waits 50 ms, switches the transmitter on if it is off, reads PHY registers 0 to 7, and sets SGMII mode if
/// `set_sgmii` is 1. If `verbose` is not 0, prints `line` after the wait, and then the steps. Returns 0 or the failed
/// step's result.
uint32_t bring_copper_up(uint32_t port, const char *line, uint32_t set_sgmii, uint8_t verbose, CopperState *state);

}  // namespace zel

// SGMII on the copper PHY: recognised by its identifier, programmed, and asked for its link.
#include <stdio.h>

#include "board/cage_check.h"
#include "i2c/register.h"
#include "sfp/copper.h"
#include "zelboard/i2c.h"
#include "zelboard/ports.h"
#include "zelboard/sfp.h"

namespace zel {
namespace {

constexpr uint8_t kStatusRegister = 17;  // PHY-specific status
constexpr uint16_t kLinkUp = 1 << 10;    // real-time link

// Where FW_SFP_SGMII_Set reads the PHY's identifier if the caller has none.
constexpr uint8_t kIdentifierOffset = 0x60;

/// Register 2 = 0x0141, register 3 = 0x0CCx: any revision.
bool is_marvell(const uint8_t *id) {
  const uint16_t register2 = register_value(id);
  const uint16_t register3 = register_value(id + 2);
  return register2 == 0x0141 && (register3 & 0xFFF0) == 0x0CC0;
}

struct RegisterWrite {
  uint8_t reg;
  uint8_t value[2];  // high byte first
};

constexpr RegisterWrite kSgmiiSequence[] = {
    {27, {0x90, 0x84}},  // extended status: hardware configuration mode 0100
    {9, {0x0E, 0x00}},   // 1000BASE-T control: advertise full duplex only
    {0, {0x81, 0x40}},   // control: software reset, 1000 Mb/s, full duplex, auto-negotiation off
    {4, {0x0D, 0xE1}},   // advertisement: 10 and 100 Mb/s, half and full duplex, pause and asymmetric pause
    {0, {0x91, 0x40}},   // control: software reset with auto-negotiation
};

struct Speed {
  uint8_t code;
  const char *line;  // null = reserved
};

// Indexed by status bits 15-13: speed and duplex.
constexpr Speed kSpeeds[] = {{FW_LINK_10_HALF, "SFP RJ45 Speed 10 Half"},
                             {FW_LINK_10_FULL, "SFP RJ45 Speed 10 Full"},
                             {FW_LINK_100_HALF, "SFP RJ45 Speed 100 Half"},
                             {FW_LINK_100_FULL, "SFP RJ45 Speed 100 Full"},
                             {FW_LINK_1000, "SFP RJ45 Speed 1G Full"},
                             {FW_LINK_1000, "SFP RJ45 Speed 1G Full"},
                             {FW_LINK_RESERVED, nullptr},
                             {FW_LINK_RESERVED, nullptr}};

void say(uint8_t verbose, const char *line) {
  if (verbose != 0) puts(line);
}

/// Result 0 for a Marvell PHY. Otherwise the result ends the call, and the line names the failed test.
struct PhyCheck {
  uint32_t result;
  const char *line;
};

/// FW_ABSENT and FW_NOT_SFP of FW_SFP_SGMII_Support count as supported, too: only 0 refuses.
PhyCheck check_phy(uint32_t port, const uint8_t *phy_id) {
  if (phy_id != nullptr) {
    if (FW_SFP_SGMII_Support(port, phy_id) == 0) return {FW_FAIL, "FW_SFP_SGMII_Support3:FALSE"};
    return {};
  }
  uint8_t id[4] = {};
  if (const uint32_t failed = read_register(FW_SFP_PHY, kIdentifierOffset, sizeof id, id); failed != 0) {
    return {failed, "FW_SFP_SGMII_Support1:FALSE"};
  }
  if (FW_SFP_SGMII_Support(port, id) == 0) return {FW_FAIL, "FW_SFP_SGMII_Support2:FALSE"};
  return {};
}

uint32_t program_sgmii() {
  for (const RegisterWrite &write : kSgmiiSequence) {
    const uint32_t failed = write_register(FW_SFP_PHY, write.reg, sizeof write.value, write.value);
    if (failed != 0) return failed;
  }
  return 0;
}

}  // namespace
}  // namespace zel

uint32_t FW_SFP_SGMII_Support(uint32_t port, const uint8_t *phy_id) {
  if (const uint32_t refusal = zel::check_cage(port); refusal != 0) return refusal;
  const bool supported = zel::is_marvell(phy_id);
  if (i2c_debug_mode == 1) puts(supported ? "Marvell PHY" : "NOT Marvell PHY");
  return supported;
}

uint32_t FW_SFP_SGMII_Set(uint32_t port, const uint8_t *phy_id, uint8_t *sgmii_cisco, uint32_t set_sgmii,
                          uint8_t verbose) {
  if (const uint32_t failed = FW_SfpSel(port); failed != 0) return failed;
  if (const zel::PhyCheck check = zel::check_phy(port, phy_id); check.result != 0) {
    zel::say(verbose, check.line);
    *sgmii_cisco = 0;
    return check.result;
  }
  zel::say(verbose, "Setting SGMII MODE");
  if (set_sgmii == 1) {
    if (const uint32_t failed = zel::program_sgmii(); failed != 0) return failed;
  }
  *sgmii_cisco = 1;
  return 0;
}

uint32_t FW_SFP_SGMII_Get_Status(uint32_t port, uint8_t *link, uint8_t *speed, uint8_t verbose) {
  if (const uint32_t failed = FW_SfpSel(port); failed != 0) return failed;
  uint8_t bytes[4] = {};
  const uint32_t failed = zel::read_register(FW_SFP_PHY, zel::kStatusRegister, sizeof bytes, bytes);
  // Programs look for these texts: the spelling stays.
  if (failed != 0) return zel::note_busy(failed, verbose, "I2C Busy Busy");
  const uint16_t status = zel::register_value(bytes);
  *link = (status & zel::kLinkUp) != 0;
  if (*link == 0) {
    zel::say(verbose, "SFP RJ45 Link down");
    return 0;
  }
  zel::say(verbose, "SFP RJ45 Link up");

  const zel::Speed &found = zel::kSpeeds[status >> 13];
  *speed = found.code;
  if (found.line == nullptr) {
    if (verbose != 0) printf("SFP RJ45 Unnkown speed, status reg=0x%04x\n", status);
    return FW_FAIL;
  }
  zel::say(verbose, found.line);
  return 0;
}

// Register access: SoC registers through the GPIO driver, switch-chip and PHY registers through debugCmd.
#include <stdio.h>

#include "board/command.h"
#include "board/request.h"
#include "zelboard/board.h"

namespace zel {
namespace {

// Bits 19-12 of an SoC register's address are one of these blocks, bits 31-24 are 0. The other bits are ignored.
constexpr uint32_t kBlockMask = 0xFF0FF000;
constexpr uint8_t kSocBlocks[] = {0x01, 0x08, 0x10, 0x11, 0x12, 0x13, 0x18, 0x20, 0x21, 0x22, 0x23,
                                  0x40, 0x41, 0x71, 0x72, 0x73, 0x75, 0x76, 0x77, 0xD0, 0xF0};

}  // namespace
}  // namespace zel

uint32_t CheckSpecialReg(uint32_t address) {
  for (const uint32_t block : zel::kSocBlocks) {
    if ((address & zel::kBlockMask) == block << 12) return FW_REGISTER_SOC;
  }
  return FW_REGISTER_SWITCH;
}

uint32_t FW_GetSpecialRegister(uint32_t address, uint32_t *value) {
  const uint32_t mode = CheckSpecialReg(address);
  printf("reg_mode=%d\n", static_cast<int>(mode));
  if (mode == FW_REGISTER_SOC) {
    zel::SocRegister record{address, 0};
    const zel::Answer answer = zel::request(zel::kGetSocRegister, &record);
    return answer.hand_out(value, record.value);
  }
  zel::run_command("debugCmd sw_register_get %x\n", address);
  return 1;
}

uint32_t FW_SetSpecialRegister(uint32_t address, uint32_t value) {
  if (CheckSpecialReg(address) == FW_REGISTER_SOC) {
    zel::SocRegister record{address, value};
    return zel::request(zel::kSetSocRegister, &record).result;
  }
  zel::run_command("debugCmd sw_register_set %x %x\n", address, value);
  return 0;
}

uint32_t FW_SetPhyRegister(uint32_t port, uint32_t reg, uint32_t value) {
  if (port > FW_PHY_PORT_LAST) return FW_FAIL;
  zel::run_command("debugCmd phy_register_set %d %x %x\n", port, reg, value);
  return 1;
}

uint32_t FW_ShowPhyRegister(uint32_t port, uint32_t reg) {
  if (port > FW_PHY_PORT_LAST) return FW_FAIL;
  zel::run_command("debugCmd phy_register_get %d %x\n", port, reg);
  return 1;
}

// Identification pages and PHY registers: every module that a customer may plug.
#include "fake_board.h"
#include "zelboard/i2c.h"
#include "zelboard/sfp.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fake::Input input(data, size);
  fake::Board &board = fake::reset();
  board.failing_call = input.byte();
  board.failure = board.failing_call % 2 != 0 ? -1 : static_cast<int>(FW_I2C_BUSY);
  const uint32_t port = input.byte() % 28;
  const uint8_t verbose = input.byte();
  const uint8_t reg = input.byte();
  i2c_debug_mode = input.byte();
  board.board_type = input.byte();
  board.expander = input.byte();
  for (uint8_t &byte : board.phy) byte = input.byte();
  for (uint8_t &byte : board.page) byte = input.byte();

  uint8_t speed = FW_SFP_NOT_A_MODULE;
  uint8_t link = 0;
  uint8_t link_speed = 0;
  uint16_t value = 0;
  FW_Show_SFP_Moudle(port, verbose & 1, verbose);
  FW_Get_SFP_Speed(port, &speed);
  fake::require(speed <= FW_SFP_COPPER_SERDES || speed == FW_SFP_NOT_A_MODULE);
  FW_SFP_SGMII_Get_Status(port, &link, &link_speed, verbose);
  fake::require(link <= 1 && link_speed <= 5);
  FW_Show_SFP_SGMII_Reg(port, reg);
  FW_Set_SFP_SGMII_Reg(port, reg, 0);
  FW_Get_SFP_SGMII_Reg(port, reg, &value);
  FW_SFP_PHY_Fail_Chk(port, 0, &value);
  FW_PollRtc();
  FW_PollTemperature();
  fake::check_released();
  return 0;
}

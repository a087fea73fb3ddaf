// Register access, watchdog status and power supervision.
#include "board_test.h"

namespace {

using Registers = BoardTest;
using Power = BoardTest;

TEST_F(Registers, SocBlocksAreToldByTheAddressAlone) {
  uint32_t blocks = 0, squares = 0;  // the squares tell one set of as many blocks from another
  for (uint32_t block = 0; block < 256; ++block) {
    const bool soc = CheckSpecialReg(block << 12) == 0;
    if (soc) ++blocks, squares += block * block;
    for (const uint32_t other_bits : {0xFFFU, 0xF00000U, 0x1000000U, 0x80000FFFU})
      EXPECT_EQ(CheckSpecialReg(block << 12 | other_bits) == 0, soc && other_bits >> 24 == 0) << block;
  }
  EXPECT_EQ(std::pair(blocks, squares), std::pair(21U, 196314U));
}

TEST_F(Registers, AccessOnTheWire) {
  static uint32_t value;
  const auto get_soc = [] { return FW_GetSpecialRegister(0x20300, &value); };
  const auto set_soc = [] { return FW_SetSpecialRegister(0xD18004, 0x12345678); };
  const auto get_switch = [] { return FW_GetSpecialRegister(0xA00000F, &value); };
  const auto set_switch = [] { return FW_SetSpecialRegister(0x85000010, 0x89ABCDEF); };
  const auto set_phy = [] { return FW_SetPhyRegister(25, 0x16, 0xFFFF); };
  const auto show_phy = [] { return FW_ShowPhyRegister(10, 0x1A); };
  constexpr uint32_t kKept = 0xEEEEEEEE;
  const std::string line = "print reg_mode=", soc = "gpio e0 0003020000000000";
  // call, what fails, result, out, events, what the driver fills
  const std::tuple<uint32_t (*)(), const char *, uint32_t, uint32_t, std::string, uint32_t> cases[] = {
      {get_soc, "", 0x77, 0x89ABCDEF, line + "0\\n\n" + soc + ">00030200efcdab89 = 77\n", 0x89ABCDEF},
      {get_soc, "ioctl", 0xFFFFFFFF, 0, line + "0\\n\n" + soc + " = ffffffff\n", 0},
      {get_soc, "open", FW_FAIL, kKept, line + "0\\n\n", 0},
      {set_soc, "", 0x77, kKept, "gpio e1 0480d10078563412 = 77\n", 0},
      {set_soc, "open", FW_FAIL, kKept, "", 0},
      {get_switch, "system", 1, kKept, line + "1\\n\nshell debugCmd sw_register_get a00000f\n", 0},
      {set_switch, "system", 0, kKept, "shell debugCmd sw_register_set 85000010 89abcdef\n", 0},
      {set_phy, "system", 1, kKept, "shell debugCmd phy_register_set 25 16 ffff\n", 0},
      {show_phy, "system", 1, kKept, "shell debugCmd phy_register_get 10 1a\n", 0},
      {[] { return FW_ShowPhyRegister(26, 0) & FW_SetPhyRegister(26, 0, 0); }, "", FW_FAIL, kKept, "", 0},
      {FW_Show_Wdt_Status, "", 0, kKept, soc + ">0003020000010000 = 77\nputs Watch Dog Enabled\n", 0x100},
      {FW_Show_Wdt_Status, "", 0, kKept, soc + ">00030200fffeffff = 77\nputs Watch Dog Disabled\n", 0xFFFFFEFF},
      {FW_Show_Wdt_Status, "open", FW_FAIL, kKept, "", 0},
  };
  for (const auto &[call, failing, expected, out, events, filled] : cases) {
    wire::on_request([f = filled](const wire::Request &request) {
      if (request.number == 0xE0) static_cast<uint32_t *>(request.record)[1] = f;
      return 0x77;
    });
    uint32_t result = 1;
    value = kKept;
    wire::fail_call(failing, 1);
    EXPECT_EQ(trace(call, &result, {"open", "close"}), events) << failing;
    EXPECT_TRUE(result == expected && value == out) << events << failing << result << " " << value;
  }
}

/// What a question answers, and which it asked first, the driver or the boot environment.
std::string asked(uint32_t (*question)(uint8_t *)) {
  uint8_t out[3] = {0xEE, 0xEE, 0xEE};
  uint32_t result = 1;
  const std::string events = trace([&] { return question(&out[1]); }, &result);
  const size_t driver = events.find("gpio 98"), flash = events.find("read flash");
  const char *const order = driver == flash ? "" : driver < flash ? "driver, env " : "env ";
  char text[40];
  snprintf(text, sizeof text, "%s%x/%x%x%x", order, result, out[0], out[1], out[2]);
  return text;
}

TEST_F(Power, ModeAndAlarmFromConfigurationAndStatus) {
  // pwrmode ("": not touched), status, mode, alarm
  const std::tuple<const char *, uint8_t, std::string, std::string> cases[] = {
      {"", 0x00, "4", "0"},       {"", 0x10, "3", "0"},       {"", 0x27, "4", "0"},       {"", 0x08, "1", "1"},
      {"", 0x18, "0", "1"},       {"", 0x28, "0", "1"},       {"", 0x38, "2", "1"},       {"", 0x48, "1", "1"},
      {"", 0x88, "1", "1"},       {"", 0xC8, "1", "0"},       {"pwrad", 0xC0, "0", "0"},  {"pwr2ac", 0x00, "1", "1"},
      {"pwr2dc", 0x80, "2", "1"}, {"pwr1dc", 0x08, "3", "0"}, {"pwr1ac", 0x48, "4", "0"}, {"pwr1AC", 0x18, "0", "1"}};
  for (const auto &[pwrmode, status, mode, alarm] : cases) {
    wire::reset();
    ASSERT_EQ(*pwrmode != 0 ? FW_SpiFlash_EnvAdd("pwrmode", pwrmode) : 0, 0U);
    const std::string how = FW_Pwr_Flag() != 5 ? "env 0/ee" : "env 77/ee";
    wire::on_request([s = status](const wire::Request &request) -> std::optional<int> {
      if (request.node != "gpio" || request.number != 0x98) return std::nullopt;
      *static_cast<uint8_t *>(request.record) = s;
      return 0x77;
    });
    EXPECT_EQ(asked(FW_GetPowerMode), how + mode + "ee") << pwrmode << +status;
    EXPECT_EQ(asked(FW_GetPowerAlarm), "driver, env 77/ee" + alarm + "ee") << pwrmode << +status;
  }
  wire::reset();
  ASSERT_EQ(FW_SpiFlash_EnvAdd("pwrmode", "none"), 0U);
  sim("fail gpio --result refused");
  EXPECT_EQ(asked(FW_GetPowerMode) + asked(FW_GetPowerAlarm), "env ffffffff/ee4eedriver, env ffffffff/ee0ee");
  sim("heal");
  sim("fail gpio --result closed");
  EXPECT_EQ(asked(FW_GetPowerMode) + asked(FW_GetPowerAlarm), "env ffff/eeeeeeffff/eeeeee");
  EXPECT_EQ(FW_SetAlarmRelay(2), FW_FAIL);
}

}  // namespace

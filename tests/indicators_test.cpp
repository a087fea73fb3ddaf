// The request frame, LEDs, relay, lamp test, flags and reset on the wire.
#include <fcntl.h>
#include <unistd.h>

#include "board_test.h"

namespace {

using Frame = BoardTest;
using Indicators = BoardTest;
using Byte = uint8_t *;

/// Checks one request as sent; of a read the driver fills the record's last byte.
void check_frame(const std::string &sent, bool reads, const std::function<uint32_t(Byte)> &call) {
  const std::string node = sent.substr(0, sent.find(' ')), record = sent.substr(sent.rfind(' ') + 1);
  const std::string filled = reads ? ">" + record.substr(0, record.size() - 2) + "5a" : "",
                    end = "\nclose " + node + "\n";
  wire::on_request([&](const wire::Request &request) {
    if (reads) static_cast<Byte>(request.record)[record.size() / 2 - 1] = 0x5A;
    return 0x1234;
  });
  const auto check = [&](const std::string &events, uint32_t expected, int delivered) {
    uint8_t out[2] = {0xEE, 0xEE};
    uint32_t result = 0;
    EXPECT_EQ(trace([&] { return call(out); }, &result), "open " + node + " rw" + events);
    EXPECT_TRUE(result == expected && out[0] == (reads ? delivered : 0xEE) && out[1] == 0xEE) << sent << result;
  };
  check("\n" + sent + filled + " = 1234" + end, 0x1234, 0x5A);
  wire::fail_call("ioctl", 1);
  check("\n" + sent + " = ffffffff" + end, 0xFFFFFFFF, 0);
  wire::fail_call("open", 1);
  check(" failed\n", FW_FAIL, 0xEE);
  wire::reset();
}

TEST_F(Frame, OpensRequestsDeliversAndCloses) {
  const std::pair<const char *, uint32_t (*)(Byte)> reads[] = {
      {"gpio 81 00", FW_GetSystemLed},   {"gpio 83 00", FW_GetAlarmLed},   {"gpio 8b 00", FW_GetRingMasterLed},
      {"gpio 8d 00", FW_GetRingFailLed}, {"gpio 85 00", FW_GetAlarmRelay}, {"gpio 94 00", FW_RstProcGet},
      {"i2c b2 00", FW_Get_I2C_Busy},    {"i2c c0 00", FW_GetRTC_Alive},   {"i2c c1 00", FW_GetLM75_Alive}};
  for (const auto &[sent, read] : reads) check_frame(sent, true, read);
  check_frame("gpio 87 0200", true, [](Byte out) { return FW_GetPowerLed(2, out); });
  check_frame("gpio 93 1b00", true, [](Byte out) { return FW_GetSfp10gSpeedLed(27, out); });
  check_frame("gpio 89 0100", true, [](Byte out) { return FW_GetPowerConf(1, out); });
  check_frame("i2c c2 0700", true, [](Byte out) { return FW_GetDau_Alive(0x107, out); });
  check_frame("i2c c3 0709", false, [](Byte) { return FW_SetDau_Alive(0x107, 0x109); });
  const std::pair<const char *, uint32_t (*)()> commands[] = {
      {"gpio d5 00", FW_GetSystemDiagFlag}, {"gpio 99 00", FW_HwReset},         {"gpio 9b 00", FW_Wdt_Enable},
      {"gpio 9c 00", FW_Wdt_Toggle},        {"gpio 9d 00", FW_Wdt_Toggle_Stop}, {"i2c b4", FW_ReflashI2CBus}};
  for (const auto &[sent, run] : commands) check_frame(sent, false, [r = run](Byte) { return r(); });
  const std::pair<const char *, uint32_t (*)(uint32_t)> words[] = {{"gpio 84 00", FW_SetAlarmRelay},
                                                                   {"gpio 95 00", FW_RstFlagSet},
                                                                   {"gpio 97 00", FW_SetIOVal},
                                                                   {"gpio d6 01", FW_SetSystemDiagFlag},
                                                                   {"gpio d8 01", FW_SetFlashAccessFlag}};
  for (const auto &[sent, set] : words) check_frame(sent, false, [s = set](Byte) { return s(0x100); });
  const std::pair<const char *, uint32_t (*)(uint8_t)> bytes[] = {{"gpio db ff", FW_SetDebug_Gpio},
                                                                  {"i2c db ff", FW_SetDebug_I2C},
                                                                  {"i2c b3 ff", FW_Set_I2C_Busy},
                                                                  {"i2c c7 ff", FW_RTC_Fail_Set},
                                                                  {"i2c c8 ff", FW_Tempereature_Fail_Set}};
  for (const auto &[sent, set] : bytes) check_frame(sent, false, [s = set](Byte) { return s(0xFF); });
}

TEST_F(Frame, DescriptorZeroIsOneLikeAnother) {
  const int standard_input = dup(0);
  close(0);
  uint8_t led = 0xEE;
  EXPECT_TRUE(FW_GetSystemLed(&led) == 0 && led == 0);
  EXPECT_EQ(fcntl(0, F_GETFD), -1) << "closed again";
  dup2(standard_input, 0);
  close(standard_input);
}

TEST_F(Frame, AnswersThatAreNotTheRequestsResult) {
  uint32_t key = 0xEEEEEEEE, flag = 1;
  sim("set reset-key 1");
  EXPECT_EQ(trace([&] { return FW_GetRstKey(&key); }), "open gpio rw\ngpio 9a 00>01 = 0\nclose gpio\n");
  EXPECT_TRUE(key == 1 && FW_SetFlashAccessFlag(1) == 0 && FW_GetFlashAccessFlag() == 1);
  wire::fail_call("ioctl", 1);
  EXPECT_EQ(trace(FW_GetFlashAccessFlag, &flag), "open gpio rw\ngpio d7 00 = ffffffff\nclose gpio\n");
  EXPECT_EQ(flag, 0U);
  wire::fail_call("open", 1);
  EXPECT_EQ(result_of(FW_GetFlashAccessFlag), FW_FAIL);
  EXPECT_TRUE(FW_SetDiagNoOperationFlag(0x500) == 0 && FW_GetDiagNoOperationFlag() == 1);
}

TEST_F(Frame, DebugModeIsReadIntoTheExportedByte) {
  const auto read = [](uint32_t (*get)(), int result, int mode) {  // a negative mode: the driver leaves the byte
    wire::on_request([=](const wire::Request &request) {
      if (mode >= 0) *static_cast<Byte>(request.record) = static_cast<uint8_t>(mode);
      return result;
    });
    return trace(get, nullptr, {"open", "close"});
  };
  const auto check = [&](const std::string &dc, const std::string &line, uint32_t (*get)()) {
    EXPECT_EQ(read(get, 0, 2), dc + "00>02 = 0\n" + line + "on\n");
    EXPECT_EQ(read(get, -1, -1), dc + "02 = ffffffff\n" + line + "on\n");
    EXPECT_EQ(read(get, 7, 0), dc + "02>00 = 7\n" + line + "off\n");
    EXPECT_EQ(read(get, 0xFFFF, 1), dc + "00>01 = ffff\n");
  };
  check("gpio dc ", "puts GPIO debug_mode is ", FW_GetDebug_Gpio);
  check("i2c dc ", "puts I2C debug_mode is ", FW_GetDebug_I2C);
  check("flash dc ", "puts spi flash debug_mode is ", FW_GetDebug_SpiFlash);
  EXPECT_TRUE(debug_mode == 1 && i2c_debug_mode == 1 && spiflash_debug_mode == 1);
  wire::fail_call("open", 1);
  EXPECT_EQ(trace(FW_GetDebug_Gpio) + trace(FW_GetDebug_I2C), "open gpio rw failed\nopen i2c rw failed\n");
}

TEST_F(Indicators, EachLedHasItsRequestsAndChainPosition) {
  const struct {
    const char *get, *set, *selector, *position;
    bool always;  // whatever the mirror argument
    uint32_t (*call)(uint32_t selector, uint32_t value, uint32_t mirror);
  } leds[] = {
      {"81 ", "80 ", "", "1 3", true, [](uint32_t, uint32_t v, uint32_t) { return FW_SetSystemLed(v); }},
      {"83 ", "82 ", "", "1 1", true, [](uint32_t, uint32_t v, uint32_t) { return FW_SetAlarmLed(v); }},
      {"87 ", "86 ", "01", "0 1", false, FW_SetPowerLed},
      {"87 ", "86 ", "02", "0 3", false, FW_SetPowerLed},
      {"8b ", "8a ", "", "2 1", false, [](uint32_t, uint32_t v, uint32_t m) { return FW_SetRingMasterLed(v, m); }},
      {"8d ", "8c ", "", "2 3", false, [](uint32_t, uint32_t v, uint32_t m) { return FW_SetRingFailLed(v, m); }},
      {"93 ", "92 ", "18", "12 1", false, FW_SetSfp10gSpeedLed},
      {"93 ", "92 ", "19", "12 3", false, FW_SetSfp10gSpeedLed},
      {"93 ", "92 ", "1a", "4 1", false, FW_SetSfp10gSpeedLed},
      {"93 ", "92 ", "1b", "4 3", false, FW_SetSfp10gSpeedLed},
  };
  for (const auto &led : leds) {
    const std::string which = led.selector, get = "gpio " + (led.get + which), set = "gpio " + (led.set + which);
    const std::string line = std::string("shell debugCmd sgpio_set ") + led.position;
    const auto seen = [&, number = static_cast<uint32_t>(std::stoi("0" + which, nullptr, 16))](uint32_t value,
                                                                                               uint32_t mirror) {
      return trace([&] { return led.call(number, value, mirror); }, nullptr, {"open"});
    };
    const std::string end = " = 0\nclose gpio\n";
    EXPECT_EQ(seen(2, 1), get + "00" + end + set + "02" + end + line + " 2\n");
    EXPECT_EQ(seen(1, 0x101), get + "00>" + which + "02" + end + set + "01" + end + (led.always ? line + " 1\n" : ""));
  }
}

TEST_F(Indicators, SetsUnneededAndFailingAndLampTests) {
  const std::string line = "shell debugCmd sgpio_set ";
  const std::string off = line + "5 1 0\n" + line + "13 1 0\n" + line + "5 3 0\n" + line + "6 1 0\n";
  // call, nth system call that fails (0: none), result, opens
  const std::tuple<uint32_t (*)(), int, uint32_t, int, std::string> cases[] = {
      {[] { return FW_SetSystemLed(0x100); }, 0, 0, 1, "gpio 81 00 = 0\n"},
      {[] { return FW_SetSystemLed(3); }, 0, FW_FAIL, 2, "gpio 81 00 = 0\n"},
      {[] { return FW_SetAlarmLed(0); }, 1, 0, 1, ""},
      {[] { return FW_SetAlarmLed(2); }, 2, 0, 2, "gpio 83 00 = ffffffff\ngpio 82 02 = 0\n" + line + "1 1 2\n"},
      {[] { return FW_SetAlarmLed(1); }, 3, FW_FAIL, 2, "gpio 83 00>02 = 0\n"},
      {[] { return FW_SetAlarmLed(1); }, 4, ~0U, 2, "gpio 83 00>02 = 0\ngpio 82 01 = ffffffff\n" + line + "1 1 1\n"},
      {[] { return FW_SetPowerLed(1, 0, 1); }, 1, 0, 1, ""},
      {[] { return FW_SetPowerLed(1, 1, 1); }, 3, FW_FAIL, 2, "gpio 87 0100 = 0\n"},
      {[] { return FW_SetPowerLed(1, 1, 1); }, 4, ~0U, 2,
       "gpio 87 0100 = 0\ngpio 86 0101 = ffffffff\n" + line + "0 1 1\n"},
      {[] { return FW_SetAlarmRelay(2); }, 0, FW_FAIL, 1, ""},
      {[] { return FW_SetPowerLed(3, 0, 1) & FW_SetPowerLed(1, 0x100, 1) & FW_GetPowerLed(0, nullptr); }, 0, FW_FAIL, 0,
       ""},
      {[] { return FW_SetSfp10gSpeedLed(28, 1, 1) & FW_GetSfp10gSpeedLed(23, nullptr); }, 0, FW_FAIL, 0, ""},
      {[] { return FW_GetPowerConf(0, nullptr) & FW_GetPowerConf(3, nullptr) & FW_LedTest(4); }, 0, FW_FAIL, 0, ""},
      {[] { return FW_LedTest(0) | FW_LedTest(1) | FW_LedTest(2) | FW_LedTest(3); }, 0, 0, 0,
       off + line + "5 1 1\n" + line + "13 1 1\n" + off + line + "5 3 1\n" + off + line + "6 1 1\n" + off},
      {FW_SystemReset, 0, 0, 0, ""},
  };
  for (const auto &[call, failing, expected, opens, events] : cases) {
    uint32_t result = 1;
    wire::fail_call(failing != 0 ? "any" : "", failing);
    EXPECT_EQ(trace(call, &result, {"open", "close"}), events);
    EXPECT_TRUE(result == expected && wire::calls("open") == opens && wire::open_descriptors() == 0)
        << events << result;
  }
}

}  // namespace

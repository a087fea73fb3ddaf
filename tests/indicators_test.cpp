// LEDs, relay, lamp test, flags, reset and watchdog on the wire.
#include "board_test.h"

namespace {

using Indicators = BoardTest;

struct Case {
  const char *name;
  uint32_t (*call)();
  uint32_t result;
  const char *events;
};

TEST_F(Indicators, SetFormsOnTheWire) {
  const Case cases[] = {
      {"system LED on", [] { return FW_SetSystemLed(1); }, 0,
       "open gpio rw\ngpio 81 00 = 0\nclose gpio\nopen gpio rw\ngpio 80 01 = 0\nclose gpio\n"
       "shell debugCmd sgpio_set 1 3 1\n"},
      {"system LED already on, low byte counts", [] { return FW_SetSystemLed(0x101); }, 0,
       "open gpio rw\ngpio 81 00>01 = 0\nclose gpio\n"},
      {"system LED above 2", [] { return FW_SetSystemLed(3); }, FW_FAIL,
       "open gpio rw\ngpio 81 00>01 = 0\nclose gpio\nopen gpio rw\nclose gpio\n"},
      {"ring fail, mirror 2", [] { return FW_SetRingFailLed(1, 2); }, 0,
       "open gpio rw\ngpio 8d 00 = 0\nclose gpio\nopen gpio rw\ngpio 8c 01 = 0\nclose gpio\n"},
      {"speed LED of port 26", [] { return FW_SetSfp10gSpeedLed(26, 1, 1); }, 0,
       "open gpio rw\ngpio 93 1a00 = 0\nclose gpio\nopen gpio rw\ngpio 92 1a01 = 0\nclose gpio\n"
       "shell debugCmd sgpio_set 4 1 1\n"},
      {"supply 3", [] { return FW_SetPowerLed(3, 1, 1); }, FW_FAIL, ""},
      {"power LED above 2", [] { return FW_SetPowerLed(1, 0x100, 1); }, FW_FAIL, ""},
      {"relay above 1", [] { return FW_SetAlarmRelay(2); }, FW_FAIL, "open gpio rw\nclose gpio\n"},
  };
  for (const Case &c : cases) {
    uint32_t result = 0;
    EXPECT_EQ(trace(c.call, &result), c.events) << c.name;
    EXPECT_EQ(result, c.result) << c.name;
  }
}

}  // namespace

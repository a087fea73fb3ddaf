#include "records.h"

struct Led {
  const char *name;
  uint32_t (*get)(uint32_t selector, uint8_t *value);
  uint32_t (*set)(uint32_t selector, uint32_t value, uint32_t mirror);
  uint32_t selector;  // supply or port, where the call takes one
};

/** Calls without a selector, and those without a mirror besides. */
template <auto Call, class... Arguments>
static uint32_t plain(uint32_t, Arguments... arguments) {
  return Call(arguments...);
}
template <auto Call>
static uint32_t always(uint32_t, uint32_t value, uint32_t) {
  return Call(value);
}

constexpr Led kLeds[] = {
    {"system", plain<FW_GetSystemLed>, always<FW_SetSystemLed>, 0},
    {"alarm", plain<FW_GetAlarmLed>, always<FW_SetAlarmLed>, 0},
    {"power1", FW_GetPowerLed, FW_SetPowerLed, 1},
    {"power2", FW_GetPowerLed, FW_SetPowerLed, 2},
    {"ring-master", plain<FW_GetRingMasterLed>, plain<FW_SetRingMasterLed>, 0},
    {"ring-fail", plain<FW_GetRingFailLed>, plain<FW_SetRingFailLed>, 0},
    {"speed24", FW_GetSfp10gSpeedLed, FW_SetSfp10gSpeedLed, 24},
    {"speed25", FW_GetSfp10gSpeedLed, FW_SetSfp10gSpeedLed, 25},
    {"speed26", FW_GetSfp10gSpeedLed, FW_SetSfp10gSpeedLed, 26},
    {"speed27", FW_GetSfp10gSpeedLed, FW_SetSfp10gSpeedLed, 27},
};

static_assert(std::size(kLeds) == kLedCount);

static uint32_t which, value;
static bool mirror;

const char *led_name(uint32_t led) { return kLeds[led].name; }

uint8_t led_state(uint32_t led) {
  const auto get = [&](uint8_t *state) { return kLeds[led].get(kLeds[led].selector, state); };
  return byte_of(get, std::string("LED ") + kLeds[led].name);
}

static Json led_record(uint32_t led) {
  return record("led", kLeds[led].name, "state", name_of("off|on|blink", led_state(led)));
}

/** The library counts an unreadable LED as off. */
static void set_led() {
  const Led &led = kLeds[which];
  require(led.set(led.selector, value, mirror), std::string("LED ") + led.name);
  if (value == FW_LED_OFF && led_state(which) != value)
    throw Failure{std::string("LED ") + led.name + " did not take the value"};
}

Json leds() {
  Json rows = Json::array();
  for (uint32_t led = 0; led < kLedCount; ++led) rows.push_back(led_record(led));
  return rows;
}

Json relay() { return record("relay", byte_of(FW_GetAlarmRelay, "alarm relay")); }

void add_indicator_commands(App &app) {
  Choices names;
  for (const Led &led : kLeds) names.emplace_back(led.name, static_cast<uint32_t>(names.size()));
  App *led = group(app, "led", "Front-panel LEDs", "led set alarm blink", "list", [] { show(leds()); });
  App *get = command(*led, "get", "One LED", "led get system", [] { show(led_record(which)); });
  App *set = command(*led, "set", "Sets one LED", "led set power1 on --mirror", set_led);
  for (App *leaf : {get, set}) choice(leaf, "NAME", which, "LED", names);
  choice(set, "VALUE", value, "State", {{"off", FW_LED_OFF}, {"on", FW_LED_ON}, {"blink", FW_LED_BLINK}});
  flag(set, "--mirror", mirror, "Set the serial-GPIO chain too (the system and alarm LEDs always do)");

  App *contact = group(app, "relay", "Alarm relay", "relay set 1", "get", [] { show(relay()); });
  set = command(*contact, "set", "Switches the relay", "relay set 0",
                [] { require(FW_SetAlarmRelay(value), "alarm relay"); });
  number(set, "STATE", value, "0 or 1", 0, 1);
  App *test = command(app, "lamp-test", "Lights test positions of the serial-GPIO chain", "lamp-test 1", [] {
    require_board();
    require(FW_LedTest(value), "lamp test");
    require_debug_command("lamp test");
  });
  number(test, "MODE", value, "0 to 2: one of the groups; 3: none", 0, 3);
}

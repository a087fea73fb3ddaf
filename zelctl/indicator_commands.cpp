#include <memory>

#include "records.h"

struct Led {
  const char *name;
  uint32_t (*get)(uint32_t which, uint8_t *value);
  uint32_t (*set)(uint32_t which, uint32_t value, uint32_t mirror);
  uint32_t which;  // supply or port, where the library's call takes one
};

/* The library's calls for a single LED, in the form of the calls for one of several LEDs. */

template <auto Get>
static uint32_t get_single(uint32_t, uint8_t *value) {
  return Get(value);
}
template <auto Set>
static uint32_t set_single(uint32_t, uint32_t value, uint32_t mirror) {
  return Set(value, mirror);
}
/** For LEDs that the library always sets on the serial-GPIO chain, too. */
template <auto Set>
static uint32_t set_mirrored(uint32_t, uint32_t value, uint32_t) {
  return Set(value);
}

constexpr Led kLeds[] = {
    {"system", get_single<FW_GetSystemLed>, set_mirrored<FW_SetSystemLed>, 0},
    {"alarm", get_single<FW_GetAlarmLed>, set_mirrored<FW_SetAlarmLed>, 0},
    {"power1", FW_GetPowerLed, FW_SetPowerLed, FW_SUPPLY_FIRST},
    {"power2", FW_GetPowerLed, FW_SetPowerLed, FW_SUPPLY_LAST},
    {"ring-master", get_single<FW_GetRingMasterLed>, set_single<FW_SetRingMasterLed>, 0},
    {"ring-fail", get_single<FW_GetRingFailLed>, set_single<FW_SetRingFailLed>, 0},
    {"speed24", FW_GetSfp10gSpeedLed, FW_SetSfp10gSpeedLed, FW_PORT_FIRST_10G},
    {"speed25", FW_GetSfp10gSpeedLed, FW_SetSfp10gSpeedLed, FW_PORT_FIRST_10G + 1},
    {"speed26", FW_GetSfp10gSpeedLed, FW_SetSfp10gSpeedLed, FW_PORT_FIRST_10G + 2},
    {"speed27", FW_GetSfp10gSpeedLed, FW_SetSfp10gSpeedLed, FW_PORT_FIRST_10G + 3},
};
static_assert(std::size(kLeds) == kLedCount);

std::string led_name(uint32_t led) { return kLeds[led].name; }

uint8_t led_state(uint32_t led) {
  const Led &row = kLeds[led];
  return byte_of([&row](uint8_t *state) { return row.get(row.which, state); }, std::string("LED ") + row.name);
}

static Json led_record(uint32_t led) {
  return record("led", led_name(led), "state", name_of(kLedStates, led_state(led)));
}

Json leds() {
  Json rows = Json::array();
  for (uint32_t led = 0; led < kLedCount; ++led) rows.push_back(led_record(led));
  return rows;
}

Json relay() { return record("relay", byte_of(FW_GetAlarmRelay, "alarm relay")); }

struct LedOptions {
  uint32_t led = 0;
  uint32_t value = 0;
  bool mirror = false;
};

/** To the library, an LED that it cannot read is off: to set it to off, it then sends nothing and returns success. So
 *  the LED is read here. */
static void set_led(const LedOptions &options) {
  const Led &row = kLeds[options.led];
  const std::string what = std::string("LED ") + row.name;
  require(row.set(row.which, options.value, options.mirror ? FW_MIRROR : 0), what);
  require_debug_command(
      what, "the LED is set, but perhaps not the serial-GPIO chain; setting the same value again sends nothing");
  if (options.value == FW_LED_OFF && led_state(options.led) != FW_LED_OFF)
    throw Failure{what + " did not take the value"};
}

static void add_leds(App &app) {
  Choices names;
  for (uint32_t led = 0; led < kLedCount; ++led) names.emplace_back(led_name(led), led);
  const auto options = std::make_shared<LedOptions>();
  App *family = group(app, "led", "Front-panel LEDs", "led set alarm blink", "list", [] { show(leds()); });
  App *get = command(*family, "get", "One LED", "led get system", [options] { show(led_record(options->led)); });
  add_choice(get, "LED", options->led, "LED", names);
  App *set = command(*family, "set", "Sets one LED", "led set power1 on --mirror",
                     holding_signals([options] { set_led(*options); }));
  add_choice(set, "LED", options->led, "LED", names);
  add_choice(set, "VALUE", options->value, "State", {{"off", FW_LED_OFF}, {"on", FW_LED_ON}, {"blink", FW_LED_BLINK}});
  add_flag(set, "--mirror", options->mirror, "Set the serial-GPIO chain too (the system and alarm LEDs always do)");
}

static void add_relay(App &app) {
  const auto state = std::make_shared<uint32_t>();
  App *family = group(app, "relay", "Alarm relay", "relay set 1", "get", [] { show(relay()); });
  App *set = command(*family, "set", "Switches the relay", "relay set 0",
                     holding_signals([state] { require(FW_SetAlarmRelay(*state), "alarm relay"); }));
  add_number(set, "STATE", *state, "0 or 1", 0, 1);
}

/** First all lamps go off, then those of the group go on: one line of debugCmd for each. */
static void test_lamps(uint32_t mode) {
  require_board();
  require(FW_LedTest(mode), "lamp test");
  require_debug_command("lamp test", "the lamps may be set in part");
}

static void add_lamp_test(App &app) {
  const auto mode = std::make_shared<uint32_t>();
  App *test = command(app, "lamp-test", "Lights test positions of the serial-GPIO chain, which gives no answer",
                      "lamp-test 1", holding_signals([mode] { test_lamps(*mode); }));
  add_number(test, "MODE", *mode, "0 to 2: one of the groups; 3: none", 0, 3);
}

void add_indicator_commands(App &app) {
  add_leds(app);
  add_relay(app);
  add_lamp_test(app);
}

#include "records.h"

namespace zelctl {

namespace {

struct Led {
  const char *name;
  uint32_t (*get)(uint32_t selector, uint8_t *value);
  uint32_t (*set)(uint32_t selector, uint32_t value, uint32_t mirror);
  uint32_t selector;  // supply or port, where the call takes one
};

template <uint32_t (*Get)(uint8_t *)>
uint32_t getOne(uint32_t, uint8_t *value) {
  return Get(value);
}
template <uint32_t (*Set)(uint32_t)>
uint32_t setOne(uint32_t, uint32_t value, uint32_t) {
  return Set(value);
}
template <uint32_t (*Set)(uint32_t, uint32_t)>
uint32_t setMirrored(uint32_t, uint32_t value, uint32_t mirror) {
  return Set(value, mirror);
}

constexpr Led kLeds[] = {
    {"system", getOne<FW_GetSystemLed>, setOne<FW_SetSystemLed>, 0},
    {"alarm", getOne<FW_GetAlarmLed>, setOne<FW_SetAlarmLed>, 0},
    {"power1", FW_GetPowerLed, FW_SetPowerLed, 1},
    {"power2", FW_GetPowerLed, FW_SetPowerLed, 2},
    {"ring-master", getOne<FW_GetRingMasterLed>, setMirrored<FW_SetRingMasterLed>, 0},
    {"ring-fail", getOne<FW_GetRingFailLed>, setMirrored<FW_SetRingFailLed>, 0},
    {"speed24", FW_GetSfp10gSpeedLed, FW_SetSfp10gSpeedLed, 24},
    {"speed25", FW_GetSfp10gSpeedLed, FW_SetSfp10gSpeedLed, 25},
    {"speed26", FW_GetSfp10gSpeedLed, FW_SetSfp10gSpeedLed, 26},
    {"speed27", FW_GetSfp10gSpeedLed, FW_SetSfp10gSpeedLed, 27},
};

uint32_t which, value;
bool mirror;

Json ledRecord(const Led &led) {
  constexpr const char *kStates[] = {"off", "on", "blink"};
  uint8_t state = 0;
  require(led.get(led.selector, &state), std::string("LED ") + led.name);
  return record("led", led.name, "state", state < std::size(kStates) ? kStates[state] : std::to_string(state));
}

void setLed() {
  require(kLeds[which].set(kLeds[which].selector, value, mirror), std::string("LED ") + kLeds[which].name);
}

}  // namespace

Json leds() {
  Json rows = Json::array();
  for (const Led &led : kLeds) rows.push_back(ledRecord(led));
  return rows;
}

Json relay() {
  return record("relay", byteOf(FW_GetAlarmRelay, "alarm relay"));
}

void addIndicatorCommands(CLI::App &app) {
  Choices names;
  for (const Led &led : kLeds) names.emplace_back(led.name, static_cast<uint32_t>(names.size()));
  const auto list = [] { show(leds()); };
  CLI::App *led = command(app, "led", "Front-panel LEDs", "led set alarm blink", list);
  command(*led, "list", "All LEDs", "led list --json", list);
  CLI::App *get = command(*led, "get", "One LED", "led get system", [] { show(ledRecord(kLeds[which])); });
  CLI::App *set = command(*led, "set", "Sets one LED", "led set power1 on --mirror", setLed);
  for (CLI::App *leaf : {get, set}) choice(leaf, "NAME", which, "LED", names);
  choice(set, "VALUE", value, "State", {{"off", 0}, {"on", 1}, {"blink", 2}, {"0", 0}, {"1", 1}, {"2", 2}});
  set->add_flag("--mirror", mirror, "Set the serial-GPIO chain too (the system and alarm LEDs always do)");

  const auto get_relay = [] { show(relay()); };
  CLI::App *contact = command(app, "relay", "Alarm relay", "relay set 1", get_relay);
  command(*contact, "get", "The relay's state", "relay get", get_relay);
  const auto set_relay = [] { require(FW_SetAlarmRelay(value), "alarm relay"); };
  number(command(*contact, "set", "Switches the relay", "relay set 0", set_relay), "STATE", value, "0 or 1", 0, 1);

  const auto test = [] {
    requireBoard();
    require(FW_LedTest(value), "lamp test");
  };
  number(command(app, "lamp-test", "Lights test positions of the serial-GPIO chain", "lamp-test 1", test), "MODE",
         value, "0 to 2: one of the groups; 3: none", 0, 3);
}

}  // namespace zelctl

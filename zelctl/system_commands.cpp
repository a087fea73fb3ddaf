#include "records.h"

constexpr uint32_t kAnyWord = 0xFFFFFFFF;

static uint32_t which, address, port, reg, value;

/** A flag that comes back as the call's own result: all but 0 and 1 are failures. */
static bool flag_of(uint32_t result, const char *what) {
  if (result > 1) require(result, what);
  return result != 0;
}

/** What debugCmd printed, less the library's line before it. */
static std::string answer_of(std::string text, const std::string &what) {
  if (text.starts_with("reg_mode=")) text.erase(0, text.find('\n') + 1);
  text.erase(text.find_last_not_of('\n') + 1);
  if (text.empty()) throw Failure{what + ": debugCmd printed no value"};
  return text;
}

static void get_register() {
  require_board();
  const std::string what = format("register 0x%X", address);
  const Printed printed = printed_by([] { return FW_GetSpecialRegister(address, &value); });
  require_debug_command(what);
  if (CheckSpecialReg(address) != 0)
    return show(record("address", address, "class", "switch-chip", "debugCmd", answer_of(printed.text, what)));
  require(printed.status, what);
  show(record("address", address, "class", "soc", "value", value));
}

static void set_register() {
  require_board();
  require(FW_SetSpecialRegister(address, value), format("register 0x%X", address));
  require_debug_command(format("register 0x%X", address));
}

static void set_phy_register() {
  require_board();
  FW_SetPhyRegister(port, reg, value);
  require_debug_command(format("PHY of port %u", port));
}

static void set_flag() { require(which == 0 ? FW_SetSystemDiagFlag(value) : FW_SetFlashAccessFlag(value), "flag"); }

static void show_watchdog() {
  show(watchdog());
  if (settings.verbose) FW_Show_Wdt_Status();
}

static void add_watchdog(App &app) {
  App *dog = group(app, "watchdog", "Hardware watchdog", "watchdog enable", "status", show_watchdog);
  command(*dog, "flag", "Tells whether the boot environment has it started", "watchdog flag",
          [] { show(record("start_at_boot", ask_environment(FW_Wdt_Flag) == 1)); });
  command(*dog, "enable", "Enables it", "watchdog enable", [] { require(FW_Wdt_Enable(), "watchdog"); });
  command(*dog, "toggle", "Toggles it", "watchdog toggle", [] { require(FW_Wdt_Toggle(), "watchdog"); });
  command(*dog, "stop", "Stops toggling", "watchdog stop", [] { require(FW_Wdt_Toggle_Stop(), "watchdog"); });
}

Json flags() {
  const bool diagnostic = flag_of(FW_GetSystemDiagFlag(), "diagnostic flag");
  // 0 is also what a request that fails gives: the one before has shown that the driver answers.
  return record("diagnostic", diagnostic, "flash-access", flag_of(FW_GetFlashAccessFlag(), "flash-access flag"));
}

Json reset_key() {
  uint32_t key = 0;
  require(FW_GetRstKey(&key), "reset key");
  return record("reset_key", key, "reset_process", byte_of(FW_RstProcGet, "reset process"));
}

Json watchdog() {
  constexpr uint32_t kWatchdogRegister = 0x20300, kEnabled = 0x100;
  uint32_t word = 0;
  require(FW_GetSpecialRegister(kWatchdogRegister, &word), "watchdog register");
  return record("enabled", (word & kEnabled) != 0);
}

constexpr const char *kPowerModes = "AC and DC|two AC|two DC|one DC|one AC|by hardware";

uint8_t supply_conf(uint32_t supply) {
  return byte_of([=](uint8_t *conf) { return FW_GetPowerConf(supply, conf); }, format("supply %u", supply));
}

Json power() {
  const auto read = [](uint32_t (*question)(uint8_t *), const char *what) {
    uint8_t answer = 0;
    byte_of(FW_GetSystemLed, "GPIO driver");  // without it the environment is not asked
    require(ask_environment([&] { return question(&answer); }), what);
    return answer;
  };
  const uint8_t mode = read(FW_GetPowerMode, "power mode"), alarm = read(FW_GetPowerAlarm, "power alarm");
  Json power = record("mode", name_of(kPowerModes, mode), "configured",
                      name_of(kPowerModes, ask_environment(FW_Pwr_Flag)), "alarm", alarm != 0);
  for (uint32_t supply = FW_SUPPLY_FIRST; supply <= FW_SUPPLY_LAST; ++supply) {
    power[format("supply_%u", supply)] = name_of("none|AC|DC", supply_conf(supply));
  }
  return power;
}

Json phy_register(uint32_t of_port, uint32_t of_reg) {
  require_board();
  const Printed printed = printed_by([=] { return FW_ShowPhyRegister(of_port, of_reg); });
  require_debug_command(format("PHY of port %u", of_port));
  return record("port", of_port, "register", of_reg, "debugCmd",
                answer_of(printed.text, format("PHY of port %u", of_port)));
}

void add_system_commands(App &app) {
  add_watchdog(app);
  App *family =
      group(app, "flags", "System flags of all processes", "flags set diagnostic on", "show", [] { show(flags()); });
  App *set = command(*family, "set", "Sets a flag", "flags set diagnostic on", set_flag);
  choice(set, "NAME", which, "Flag", {{"diagnostic", 0}, {"flash-access", 1}});
  choice(set, "STATE", value, "State", kOnOff);
  command(app, "reset-key", "The reset key", "reset-key", [] { show(reset_key()); });
  command(app, "power", "Power mode and alarm, supply configurations", "power", [] { show(power()); });

  family = command(app, "register", "SoC and switch-chip registers", "register get 0x20300");
  App *get = command(*family, "get", "Reads a register", "register get 0x5000010", get_register);
  set = command(*family, "set", "Writes a register", "register set 0x5000010 0xab", set_register);
  for (App *leaf : {get, set}) number(leaf, "ADDRESS", address, "Register address", 0, kAnyWord);
  number(set, "VALUE", value, "Value", 0, kAnyWord);

  family = command(app, "phy", "Registers of the switch ports' PHYs", "phy get 3 1");
  get = command(*family, "get", "Reads a PHY register", "phy get 3 1", [] { show(phy_register(port, reg)); });
  set = command(*family, "set", "Writes a PHY register", "phy set 3 0x16 0x1", set_phy_register);
  for (App *leaf : {get, set}) {
    number(leaf, "PORT", port, "Switch port", 0, 25);
    number(leaf, "REGISTER", reg, "PHY register", 0, 31);
  }
  number(set, "VALUE", value, "Value", 0, 0xFFFF);
}

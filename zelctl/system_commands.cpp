#include <memory>

#include "records.h"

/* ---- watchdog ---- */

Json watchdog() {
  constexpr uint32_t kEnabled = 0x100;
  uint32_t word = 0;
  require(FW_GetSpecialRegister(kWatchdogRegister, &word), "watchdog register");
  return record("enabled", (word & kEnabled) != 0);
}

static void show_watchdog() {
  show(watchdog());
  if (settings.verbose) FW_Show_Wdt_Status();
}

static void show_watchdog_flag() { show(record("start_at_boot", ask_environment(FW_Wdt_Flag) == 1)); }

static void add_watchdog(App &app) {
  App *family = group(app, "watchdog", "Hardware watchdog", "watchdog enable", "status", show_watchdog);
  command(*family, "flag", "Whether the boot environment starts it", "watchdog flag", show_watchdog_flag);
  command(*family, "enable", "Enables it", "watchdog enable", [] { require(FW_Wdt_Enable(), "watchdog"); });
  command(*family, "toggle", "Toggles it", "watchdog toggle", [] { require(FW_Wdt_Toggle(), "watchdog"); });
  command(*family, "stop", "Stops toggling", "watchdog stop", [] { require(FW_Wdt_Toggle_Stop(), "watchdog"); });
}

/* ---- flags of all processes ---- */

/** For a call that returns a flag, 0 or 1. A larger result is the status of a failure. */
static bool flag_of(uint32_t result, const char *what) {
  if (result > 1) require(result, what);
  return result == 1;
}

Json flags() {
  const bool diagnostic = flag_of(FW_GetSystemDiagFlag(), "diagnostic flag");
  // This call also returns 0 if its request fails. But the question before has shown that the driver answers.
  const bool flash_access = flag_of(FW_GetFlashAccessFlag(), "flash-access flag");
  return record("diagnostic", diagnostic, "flash_access_flag", flash_access);
}

struct FlagOptions {
  uint32_t flag = 0;
  uint32_t state = 0;
};

static void add_flags(App &app) {
  enum { kDiagnostic, kFlashAccess };
  const auto options = std::make_shared<FlagOptions>();
  App *family =
      group(app, "flags", "System flags of all processes", "flags set diagnostic on", "show", [] { show(flags()); });
  App *set = command(*family, "set", "Sets a flag", "flags set diagnostic on", [options] {
    const auto store = options->flag == kDiagnostic ? FW_SetSystemDiagFlag : FW_SetFlashAccessFlag;
    require(store(options->state), "flag");
  });
  choice(set, "NAME", options->flag, "Flag", {{"diagnostic", kDiagnostic}, {"flash_access_flag", kFlashAccess}},
         {{"flash-access", kFlashAccess}});
  choice(set, "STATE", options->state, "State", kOnOff);
}

Json reset_key() {
  uint32_t key = 0;
  require(FW_GetRstKey(&key), "reset key");
  return record("reset_key", key, "reset_process", byte_of(FW_RstProcGet, "reset process"));
}

/* ---- power ---- */

uint8_t supply_conf(uint32_t supply) {
  return byte_of([=](uint8_t *conf) { return FW_GetPowerConf(supply, conf); }, format("supply %u", supply));
}

static uint8_t ask_power(uint32_t (*question)(uint8_t *answer), const char *what) {
  uint8_t answer = 0;
  byte_of(FW_GetSystemLed, "GPIO driver");  // throws if it does not answer: then the library reads no environment
  require(ask_environment([&] { return question(&answer); }), what);
  return answer;
}

Json power() {
  constexpr const char *kModes = "AC and DC|two AC|two DC|one DC|one AC|by hardware";
  const uint8_t mode = ask_power(FW_GetPowerMode, "power mode");
  const uint8_t alarm = ask_power(FW_GetPowerAlarm, "power alarm");
  const uint32_t configured = ask_environment(FW_Pwr_Flag);
  Json power = record("mode", name_of(kModes, mode), "configured", name_of(kModes, configured), "alarm", alarm != 0);
  for (uint32_t supply = FW_SUPPLY_FIRST; supply <= FW_SUPPLY_LAST; ++supply)
    power[format("supply_%u", supply)] = name_of("none|AC|DC", supply_conf(supply));
  return power;
}

void add_system_commands(App &app) {
  add_watchdog(app);
  add_flags(app);
  command(app, "reset-key", "The reset key", "reset-key", [] { show(reset_key()); });
  command(app, "power", "Power mode and alarm, supply configurations", "power", [] { show(power()); });
}

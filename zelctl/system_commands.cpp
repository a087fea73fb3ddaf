#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

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
  command(*family, "enable", "Enables it", "watchdog enable",
          holding_signals([] { require(FW_Wdt_Enable(), "watchdog"); }));
  command(*family, "toggle", "Toggles it", "watchdog toggle",
          holding_signals([] { require(FW_Wdt_Toggle(), "watchdog"); }));
  command(*family, "stop", "Stops toggling", "watchdog stop",
          holding_signals([] { require(FW_Wdt_Toggle_Stop(), "watchdog"); }));
}

/* ---- flags of all processes ---- */

/** A flag that a call returns: 0 = off, any other = on. FW_FAIL and FW_REFUSED are failures. */
static bool flag_of(uint32_t result, const char *what) {
  if (result == FW_FAIL || result == FW_REFUSED) require(result, what);
  return result != 0;
}

bool flash_is_being_written() {
  const uint32_t flag = FW_GetFlashAccessFlag();
  return flag != 0 && flag != FW_FAIL;
}

Json flags() {
  const bool diagnostic = flag_of(FW_GetSystemDiagFlag(), "diagnostic flag");
  // This call returns 0 also when its request fails, and the library has no other call. The question above has shown
  // that the driver answers.
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
  App *set = command(*family, "set", "Sets a flag", "flags set diagnostic on", holding_signals([options] {
    const auto store = options->flag == kDiagnostic ? FW_SetSystemDiagFlag : FW_SetFlashAccessFlag;
    require(store(options->state), "flag");
  }));
  add_choice(set, "NAME", options->flag, "Flag", {{"diagnostic", kDiagnostic}, {"flash_access_flag", kFlashAccess}},
             {{"flash-access", kFlashAccess}});
  add_choice(set, "STATE", options->state, "State", kOnOff);
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

uint32_t gpio_request(uint8_t number, uint8_t *record) {
  const int fd = open("/dev/zel_gpio", O_RDWR | O_CLOEXEC);
  if (fd < 0) return FW_FAIL;
  const int result = ioctl(fd, _IOW('$', number, uint8_t), record);
  close(fd);
  return static_cast<uint32_t>(result);
}

/** The library derives mode and alarm from the power status, but has no call that returns it. Only the status tells which
 *  of two supplies is bad. */
uint8_t power_status() {
  constexpr uint8_t kGetPowerStatus = 0x98;
  uint8_t status = 0;
  require(gpio_request(kGetPowerStatus, &status), "power status");
  return status;
}

bool supply_is_good(uint8_t status, uint32_t supply) {
  constexpr unsigned kFirstIsGood = 0x40;  // the second supply's bit is the next one
  const unsigned good = kFirstIsGood << (supply - FW_SUPPLY_FIRST);
  return (status & good) != 0;
}

static uint8_t ask_power(uint32_t (*question)(uint8_t *answer), const char *what) {
  uint8_t answer = 0;
  require_gpio_driver();  // if it does not answer, the library reads no environment
  require(ask_environment([&] { return question(&answer); }), what);
  return answer;
}

constexpr const char *kPowerModes = "AC and DC|two AC|two DC|one DC|one AC|by hardware";

static Json power_mode() { return name_of(kPowerModes, ask_power(FW_GetPowerMode, "power mode")); }
static Json configured_mode() { return name_of(kPowerModes, ask_environment(FW_Pwr_Flag)); }
static Json power_alarm() { return ask_power(FW_GetPowerAlarm, "power alarm") != 0; }

template <uint32_t Supply>
static Json supply_type() {
  return name_of(kSupplyTypes, supply_conf(Supply));
}

/** Null if there is no such supply. */
template <uint32_t Supply>
static Json goodness() {
  const bool is_fitted = supply_conf(Supply) != 0;
  return is_fitted ? Json(supply_is_good(power_status(), Supply)) : Json();
}

std::span<const Part> power_parts() {
  static constexpr Part kParts[] = {{"mode", "power mode", power_mode},
                                    {"configured", "configured power mode", configured_mode},
                                    {"alarm", "power alarm", power_alarm},
                                    {"supply_1", "supply 1", supply_type<1>},
                                    {"supply_1_good", "state of supply 1", goodness<1>},
                                    {"supply_2", "supply 2", supply_type<2>},
                                    {"supply_2_good", "state of supply 2", goodness<2>}};
  return kParts;
}

Json power() { return whole(power_parts()); }

void add_system_commands(App &app) {
  add_watchdog(app);
  add_flags(app);
  command(app, "reset-key", "The reset key", "reset-key", [] { show(reset_key()); });
  command(app, "power", "Power mode and alarm, configuration of each supply, whether it is good", "power",
          [] { show(power()); });
}

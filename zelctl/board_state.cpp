#include "board_state.h"

#include <algorithm>

using Answer = std::optional<double>;

/** Keys of what is asked once; an expander's register has its address and number. */
enum Question : uint32_t { kSlot = 0x10000, kSocRegister = 0x80000000 };

double Round::once(uint32_t key, const std::function<double()> &question) {
  if (!answers_.contains(key)) {
    try {
      answers_[key] = question();
    } catch (const Failure &failure) {
      answers_[key] = failure;
    }
  }
  if (const Failure *failure = std::get_if<Failure>(&answers_[key])) throw *failure;
  return std::get<double>(answers_[key]);
}

static Answer led(Round &, uint32_t which) { return led_state(which); }

static Answer relay_state(Round &, uint32_t) { return byte_of(FW_GetAlarmRelay, "alarm relay"); }

static Answer key(Round &, uint32_t) { return reset_key()["reset_key"].get<double>(); }

static Answer alarm(Round &round, uint32_t) {
  uint8_t alarmed = 0;
  byte_of(FW_GetSystemLed, "GPIO driver");  // without it the environment is not asked
  round.asked = Flash;
  const uint32_t status = ask_environment([&] { return FW_GetPowerAlarm(&alarmed); });
  round.asked = Gpio;
  require(status, "power alarm");
  return alarmed;
}

static Answer supply(Round &, uint32_t which) { return supply_conf(which); }

static Answer watchdog_state(Round &, uint32_t) { return watchdog()["enabled"] == true; }

static Answer clock_state(Round &, uint32_t) { return byte_of(FW_GetRTC_Alive, "real-time clock") != 0; }

static Answer sensor(Round &, uint32_t) { return byte_of(FW_GetLM75_Alive, "temperature sensor") != 0; }

static Answer degrees(Round &, uint32_t) { return sensed_degrees(); }

static Answer board_in(Round &round, uint32_t slot) {
  return round.once(kSlot + slot, [=] { return static_cast<int>(fitted_in(slot)); });
}

static bool level(Round &round, const sfp_signal &signal) {
  const auto byte = static_cast<uint32_t>(round.once(signal.address << 8U | signal.reg, [&] {
    return byte_of([&](uint8_t *lines) { return FW_I2C_BufRead(signal.address, signal.reg, 1, 1, lines); },
                   format("expander 0x%02X", signal.address));
  }));
  return (byte & signal.mask) == signal.mask;
}

static Answer module(Round &round, uint32_t port) {
  if (port < kDaughterPorts && board_in(round, port / kPortsPerSlot + 1) != static_cast<int>(Fitted::Cages)) return 0;
  return !level(round, sfp_presnt[port]);  // a module pulls the line low
}

/** Without a module the other lines mean nothing. */
template <sfp_signal (&Table)[FW_PORTS]>
static Answer signal(Round &round, uint32_t port) {
  if (module(round, port) == 0) return {};
  return level(round, Table[port]);
}

static Answer light(Round &round, uint32_t port) {
  if (port < kDaughterPorts || module(round, port) == 0) return signal<sfp_los>(round, port);
  const sfp_soc_signal &signal = sfp_los_gpio[port];
  round.asked = Gpio;
  const auto word = static_cast<uint32_t>(round.once(kSocRegister + signal.address, [&] {
    uint32_t value = 0;
    require(FW_GetSpecialRegister(signal.address, &value), format("register 0x%X", signal.address));
    return value;
  }));
  return (word & signal.mask) != 0;
}

constexpr const char *kEnvironmentStates = "valid|erased|damaged",
                     *kDatabases = "gen 1|gen 2|custom 1|custom 2|shared 1",
                     *kVerdicts = "valid|empty|damaged|holds data, no checksum";

static Answer environment_state(Round &, uint32_t) { return index_in(kEnvironmentStates, environment()["state"]); }

static Answer database(Round &round, uint32_t which) {
  if (round.databases.is_null()) round.databases = databases();
  return index_in(kVerdicts, round.databases[which]["verdict"]);
}

/** The boards come before what is on them. */
constexpr Watched kWatched[] = {
    {"led %s", "off|on|blink", "led_state", "What a front-panel LED shows, 1 = this.", Gpio, 0, kLedCount - 1, led},
    {"relay", "open|closed", "alarm_relay_state", "State of the alarm relay, 0 or 1.", Gpio, 0, 0, relay_state},
    {"reset key", "released|pressed", "reset_key_pressed", "Whether the reset key is pressed.", Gpio, 0, 0, key},
    {"power alarm", "off|on", "power_alarm", "Whether a supply that should be there is missing or has failed.", Gpio, 0,
     0, alarm, "on"},
    {"supply %s", "", "power_supply_configuration", "The driver's configuration byte of a power supply.", Gpio,
     FW_SUPPLY_FIRST, FW_SUPPLY_LAST, supply, "none", "none|ac|dc"},
    {"watchdog", "disabled|enabled", "watchdog_enabled", "Whether the hardware watchdog is enabled.", Gpio, 0, 0,
     watchdog_state},
    {"clock", "lost|ok", "clock_alive", "Whether the real-time clock answers its driver.", I2c, 0, 0, clock_state,
     "lost"},
    {"temperature sensor", "lost|ok", "temperature_sensor_alive", "Whether the temperature sensor answers its driver.",
     I2c, 0, 0, sensor, "lost"},
    {kTemperature, "normal|hot", "temperature_celsius", "Temperature of the board.", I2c, 0, 0, degrees, "hot"},
    {"slot %s board", "none|copper|sfp", "slot_board", "Daughter board in a slot, 1 = this.", I2c, FW_SLOT_FIRST,
     FW_SLOT_LAST, board_in},
    {"port %s module", "out|in", "port_module_present", "Whether a module is in the port's cage.", I2c, 0, FW_PORT_LAST,
     module},
    {"port %s light", "ok|lost", "port_loss_of_signal", "Whether the port's module receives no light.", I2c, 0,
     FW_PORT_LAST, light, "lost"},
    {"port %s fault", "no|yes", "port_transmitter_fault", "Whether the port's module reports a transmitter fault.", I2c,
     0, FW_PORT_LAST, signal<sfp_txfault>, "yes"},
    {"port %s transmitter", "on|off", "port_transmitter_disabled",
     "Whether the transmitter of the port's module is switched off.", I2c, 0, FW_PORT_LAST, signal<sfp_txenable>},
    {"boot environment", kEnvironmentStates, "boot_environment_state",
     "Whether the boot environment agrees with its checksum, 1 = this.", Flash, 0, 0, environment_state},
    {"database %s", kVerdicts, "partition_table_state",
     "How a database agrees with its entry in the partition table, 1 = this.", Flash, 0, 4, database},
};

static Reading blank(const Watched &what, uint32_t which) {
  const std::string subject = what.subject;
  const size_t place = subject.find(" %s");
  const std::string label = place == std::string::npos ? "" : subject.substr(0, place);
  Reading reading{&what, label, "", subject, label.empty() ? subject : label, split(what.states), {}, ""};
  if (label.empty()) return reading;
  reading.which = what.read == led        ? led_name(which)
                  : what.read == database ? split(kDatabases)[which]
                                          : std::to_string(which);
  reading.subject = format(what.subject, reading.which.c_str());
  if (label == "slot") reading.source = "slot " + reading.which;
  if (label == "port")
    reading.source = which < kDaughterPorts ? format("slot %u", which / kPortsPerSlot + 1) : "10G cages";
  return reading;
}

std::vector<Reading> read_board(Round &round, bool flash_too) {
  std::vector<Reading> readings;
  for (const Watched &what : kWatched) {
    if (what.driver == Flash && !flash_too) continue;
    for (uint32_t which = what.first; which <= what.last; ++which) {
      Reading reading = blank(what, which);
      round.asked = what.driver;
      try {
        if (what.driver == Flash && FW_GetFlashAccessFlag() == 1) throw Failure{"the flash is being written"};
        reading.value = what.read(round, which);
        if (!reading.value) continue;
      } catch (const Failure &failure) {
        reading.silence = failure.what();
        round.up[round.asked] = false;
      }
      readings.push_back(reading);
    }
  }
  return readings;
}

static std::string named(const std::vector<std::string> &names, double value) {
  const auto place = static_cast<size_t>(value);
  return place < names.size() ? names[place] : format("%g", value);
}

std::string Reading::state() const { return named(states, *value); }

std::string Reading::word() const { return states.empty() ? named(split(what->words), *value) : state(); }

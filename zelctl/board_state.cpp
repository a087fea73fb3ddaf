#include "board_state.h"

#include <algorithm>

using Answer = std::optional<double>;

double Round::once(const std::string &key, const std::function<double()> &question) {
  if (!answers_.contains(key)) {
    try {
      answers_[key] = question();
    } catch (const Failure &failure) {
      answers_[key] = failure;
    }
  }
  const auto &answer = answers_[key];
  if (const Failure *failure = std::get_if<Failure>(&answer)) throw *failure;
  return std::get<double>(answer);
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
  return round.once(format("slot %u", slot), [=] { return static_cast<int>(fitted_in(slot)); });
}

/** One read of an expander serves all signals in its register. */
static bool level(Round &round, const sfp_signal &signal) {
  const std::string key = format("expander 0x%02X register %u", signal.address, signal.reg);
  const double byte = round.once(key, [&] {
    const auto read = [&](uint8_t *lines) { return FW_I2C_BufRead(signal.address, signal.reg, 1, 1, lines); };
    return byte_of(read, format("expander 0x%02X", signal.address));
  });
  return (static_cast<uint32_t>(byte) & signal.mask) == signal.mask;
}

static bool has_cage(Round &round, uint32_t port) {
  if (port >= FW_PORT_FIRST_10G) return true;
  return board_in(round, slot_of(port)) == static_cast<int>(Fitted::Cages);
}

static Answer module(Round &round, uint32_t port) {
  if (!has_cage(round, port)) return 0;
  return !level(round, sfp_presnt[port]);  // a module pulls the line low
}

/** Without a module the other lines mean nothing. */
template <sfp_signal (&Table)[FW_PORTS]>
static Answer signal(Round &round, uint32_t port) {
  if (module(round, port) == 0) return {};
  return level(round, Table[port]);
}

static Answer light(Round &round, uint32_t port) {
  if (port < FW_PORT_FIRST_10G) return signal<sfp_los>(round, port);
  if (module(round, port) == 0) return {};
  const sfp_soc_signal &signal = sfp_los_gpio[port];
  const std::string what = format("register 0x%X", signal.address);
  round.asked = Gpio;
  const double word = round.once(what, [&] {
    uint32_t value = 0;
    require(FW_GetSpecialRegister(signal.address, &value), what);
    return value;
  });
  return (static_cast<uint32_t>(word) & signal.mask) != 0;
}

constexpr const char *kEnvironmentStates = "valid|erased|damaged";
constexpr const char *kVerdicts = "valid|empty|damaged|holds data, no checksum";

static Answer environment_state(Round &, uint32_t) { return index_in(kEnvironmentStates, environment()["state"]); }

/** Copy `which` of all: its verdict is asked once, with all the others'. */
static Answer database(Round &round, uint32_t which) {
  if (round.databases.is_null()) round.databases = databases();
  return index_in(kVerdicts, round.databases[which]["verdict"]);
}

/** The boards come before what is on them. */
constexpr Watched kWatched[] = {
    {"led %s", "off|on|blink", "led_state", "What a front-panel LED shows, 1 = this.", Gpio, 0, kLedCount - 1, led, "",
     "", led_name},
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
     "How a database agrees with its entry in the partition table, 1 = this.", Flash, 0, kDatabaseCopies - 1, database,
     "", "", database_name},
};

/** Who answers for it: the board in its slot, the main board's cages, or the thing itself. */
static std::string source_of(const Watched &what, const std::string &label, uint32_t which) {
  if (label.empty()) return what.subject;
  if (label == "slot") return format("slot %u", which);
  if (label == "port") return which < FW_PORT_FIRST_10G ? format("slot %u", slot_of(which)) : "10G cages";
  return label;
}

/** A reading without its value. */
static Reading reading_of(const Watched &what, uint32_t which) {
  const std::string subject = what.subject;
  const size_t place = subject.find(" %s");
  Reading reading;
  reading.what = &what;
  reading.subject = subject;
  reading.states = split(what.states);
  if (place != std::string::npos) {
    reading.label = subject.substr(0, place);
    reading.which = what.name(which);
    reading.subject = format(what.subject, reading.which.c_str());
  }
  reading.source = source_of(what, reading.label, which);
  return reading;
}

std::vector<Reading> read_board(Round &round, bool flash_too) {
  std::vector<Reading> readings;
  for (const Watched &what : kWatched) {
    if (what.driver == Flash && !flash_too) continue;
    for (uint32_t which = what.first; which <= what.last; ++which) {
      Reading reading = reading_of(what, which);
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

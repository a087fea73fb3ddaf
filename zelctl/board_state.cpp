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

static Answer alarm(Round &, uint32_t) {
  uint8_t alarmed = 0;
  require_gpio_driver();  // if it does not answer, the library reads no environment
  const auto ask_alarm = [&] { return FW_GetPowerAlarm(&alarmed); };
  const uint32_t status = ask_driver(Flash, [&] { return ask_environment(ask_alarm); });
  require(status, "power alarm");
  return alarmed;
}

static Answer configuration(Round &, uint32_t which) { return supply_conf(which); }

constexpr const char *kSupplyStates = "none|ac|dc|failed|other";

/** Configuration bytes that the library does not know are "other". */
static Answer supply(Round &round, uint32_t which) {
  constexpr uint32_t kAc = 1;
  constexpr uint32_t kDc = 2;
  constexpr uint32_t kFailed = 3;
  constexpr uint32_t kOther = 4;
  const uint32_t conf = supply_conf(which);
  if (conf == 0) return 0;
  const double status = round.once("power status", [] { return power_status(); });
  if (!supply_is_good(static_cast<uint8_t>(status), which)) return kFailed;
  const bool has_word = conf == kAc || conf == kDc;
  return has_word ? conf : kOther;
}

static Answer watchdog_state(Round &, uint32_t) { return watchdog()["enabled"] == true; }

static Answer clock_state(Round &, uint32_t) { return byte_of(FW_GetRTC_Alive, "real-time clock") != 0; }

static Answer sensor(Round &, uint32_t) { return byte_of(FW_GetLM75_Alive, "temperature sensor") != 0; }

static Answer degrees(Round &, uint32_t) { return sensed_degrees(); }

static Answer board_in(Round &round, uint32_t slot) {
  return round.once(format("slot %u", slot), [=] { return static_cast<int>(fitted_in(slot)); });
}

/** The level of a line. A register of an expander is read once for all lines in it. */
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

static bool has_module(Round &round, uint32_t port) {
  if (!has_cage(round, port)) return false;
  return !level(round, sfp_presnt[port]);  // a module pulls the line low
}

static Answer module(Round &round, uint32_t port) { return has_module(round, port); }

/** The level of a line of a cage. Without a module it means nothing. */
template <sfp_signal (&Table)[FW_PORTS]>
static Answer signal(Round &round, uint32_t port) {
  if (!has_module(round, port)) return {};
  return level(round, Table[port]);
}

static Answer light(Round &round, uint32_t port) {
  if (port < FW_PORT_FIRST_10G) return signal<sfp_los>(round, port);
  if (!has_module(round, port)) return {};
  const sfp_soc_signal &signal = sfp_los_gpio[port];
  const std::string what = format("register 0x%X", signal.address);
  const auto read_register = [&] {
    uint32_t value = 0;
    require(FW_GetSpecialRegister(signal.address, &value), what);
    return value;
  };
  const double word = ask_driver(Gpio, [&] { return round.once(what, read_register); });
  return (static_cast<uint32_t>(word) & signal.mask) != 0;
}

constexpr const char *kEnvironmentStates = "valid|erased|damaged";
constexpr const char *kVerdicts = "valid|empty|damaged|holds data, no checksum";

static Answer environment_state(Round &, uint32_t) { return index_in(kEnvironmentStates, environment()["state"]); }

/** The first call reads all databases. */
static Answer database(Round &round, uint32_t which) {
  if (round.databases.is_null()) round.databases = databases();
  return index_in(kVerdicts, round.databases[which]["verdict"]);
}

/** The boards come before the things on them. */
constexpr Watched kWatchedThings[] = {
    {.subject = "led %s",
     .states = "off|on|blink",
     .metric = "led_state",
     .help = "What a front-panel LED shows, 1 = this.",
     .driver = Gpio,
     .last = kLedCount - 1,
     .read = led,
     .name = led_name},
    {.subject = "relay",
     .states = "open|closed",
     .metric = "alarm_relay_state",
     .help = "State of the alarm relay, 0 or 1.",
     .driver = Gpio,
     .read = relay_state},
    {.subject = "reset key",
     .states = "released|pressed",
     .metric = "reset_key_pressed",
     .help = "Whether the reset key is pressed.",
     .driver = Gpio,
     .read = key},
    {.subject = "power alarm",
     .states = "off|on",
     .trouble = "on",
     .metric = "power_alarm",
     .help = "Whether a supply that should be there is missing or has failed.",
     .driver = Gpio,
     .read = alarm},
    {.subject = "supply %s",
     .states = "",
     .metric = "power_supply_configuration",
     .help = "The driver's configuration byte of a power supply.",
     .driver = Gpio,
     .first = FW_SUPPLY_FIRST,
     .last = FW_SUPPLY_LAST,
     .read = configuration,
     .makes_events = false},
    {.subject = "supply %s",
     .states = kSupplyStates,
     .trouble = "none|failed",
     .metric = "power_supply_state",
     .help = "State of a power supply, 1 = this.",
     .driver = Gpio,
     .first = FW_SUPPLY_FIRST,
     .last = FW_SUPPLY_LAST,
     .read = supply},
    {.subject = "watchdog",
     .states = "disabled|enabled",
     .metric = "watchdog_enabled",
     .help = "Whether the hardware watchdog is enabled.",
     .driver = Gpio,
     .read = watchdog_state},
    {.subject = "clock",
     .states = "lost|ok",
     .trouble = "lost",
     .metric = "clock_alive",
     .help = "Whether the real-time clock answers its driver.",
     .driver = I2c,
     .read = clock_state},
    {.subject = "temperature sensor",
     .states = "lost|ok",
     .trouble = "lost",
     .metric = "temperature_sensor_alive",
     .help = "Whether the temperature sensor answers its driver.",
     .driver = I2c,
     .read = sensor},
    {.subject = "temperature",
     .states = "normal|hot",
     .trouble = "hot",
     .metric = "temperature_celsius",
     .help = "Temperature of the board.",
     .driver = I2c,
     .read = degrees,
     .has_threshold = true},
    {.subject = "slot %s board",
     .states = "none|copper|sfp",
     .metric = "slot_board",
     .help = "Daughter board in a slot, 1 = this.",
     .driver = I2c,
     .first = FW_SLOT_FIRST,
     .last = FW_SLOT_LAST,
     .read = board_in},
    {.subject = "port %s module",
     .states = "out|in",
     .metric = "port_module_present",
     .help = "Whether a module is in the port's cage.",
     .driver = I2c,
     .last = FW_PORT_LAST,
     .read = module},
    {.subject = "port %s light",
     .states = "ok|lost",
     .trouble = "lost",
     .metric = "port_loss_of_signal",
     .help = "Whether the port's module receives no light.",
     .driver = I2c,
     .last = FW_PORT_LAST,
     .read = light},
    {.subject = "port %s fault",
     .states = "no|yes",
     .trouble = "yes",
     .metric = "port_transmitter_fault",
     .help = "Whether the port's module reports a transmitter fault.",
     .driver = I2c,
     .last = FW_PORT_LAST,
     .read = signal<sfp_txfault>},
    {.subject = "port %s transmitter",
     .states = "on|off",
     .metric = "port_transmitter_disabled",
     .help = "Whether the transmitter of the port's module is switched off.",
     .driver = I2c,
     .last = FW_PORT_LAST,
     .read = signal<sfp_txenable>},
    {.subject = "boot environment",
     .states = kEnvironmentStates,
     .metric = "boot_environment_state",
     .help = "Whether the boot environment agrees with its checksum, 1 = this.",
     .driver = Flash,
     .read = environment_state},
    {.subject = "database %s",
     .states = kVerdicts,
     .metric = "partition_table_state",
     .help = "How a database agrees with its entry in the partition table, 1 = this.",
     .driver = Flash,
     .last = kDatabaseCopies - 1,
     .read = database,
     .name = database_name},
};

/** The part of the board that answers: the board in the slot, the main board's cages, or the thing itself. */
static Source source_of(const Watched &what, const std::string &label, uint32_t which) {
  const auto slot_source = [](uint32_t slot) {
    const std::string number = std::to_string(slot);
    return Source{"slot " + number, "slot", number};
  };
  if (label.empty()) return {what.subject, "", ""};
  if (label == "slot") return slot_source(which);
  if (label != "port") return {label, "", ""};
  return which < FW_PORT_FIRST_10G ? slot_source(slot_of(which)) : Source{"10G cages", "", ""};
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

/** Reads the value, or the reason why there is none. @return false if there is nothing to read */
static bool read_value(Round &round, const Watched &what, uint32_t which, Reading &reading) {
  const auto read = [&] {
    if (what.driver == Flash && flash_is_being_written()) throw Failure{"the flash is being written"};
    return what.read(round, which);
  };
  try {
    reading.value = ask_driver(what.driver, read);
    return reading.value.has_value();
  } catch (const SilentDriver &silent) {
    reading.silence = silent.what();
    round.up[silent.driver] = false;
    return true;
  }
}

std::vector<Reading> read_board(Round &round, bool flash_too) {
  std::vector<Reading> readings;
  for (const Watched &what : kWatchedThings) {
    if (what.driver == Flash && !flash_too) continue;
    for (uint32_t which = what.first; which <= what.last; ++which) {
      Reading reading = reading_of(what, which);
      const bool is_there = read_value(round, what, which, reading);
      if (is_there) readings.push_back(reading);
    }
  }
  return readings;
}

/** The name at place `value`, or the value as a number. */
static std::string named(const std::vector<std::string> &names, double value) {
  const auto place = static_cast<size_t>(value);
  if (place < names.size()) return names[place];
  return format("%g", value);
}

std::string Reading::state() const { return named(states, *value); }

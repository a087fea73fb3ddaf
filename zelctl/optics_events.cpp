#include <cstring>

#include "optics.h"

/** A quantity whose standing in its limits makes events. */
struct WatchedQuantity {
  const char *key;
  Watched watched;
};
/** The states of an event are standings. These things have no metric and no reader of their own: `read_optics` reads. */
constexpr WatchedQuantity quantity(const char *key, const char *subject) {
  Watched watched{};
  watched.subject = subject;
  watched.states = kStandings;
  watched.driver = I2c;
  return {key, watched};
}
constexpr WatchedQuantity kWatched[] = {
    quantity("temperature", "port %s temperature"),
    quantity("voltage", "port %s voltage"),
    quantity("bias", "port %s bias"),
    quantity("tx_power", "port %s tx power"),
    quantity("rx_power", "port %s rx power"),
};
static_assert(std::size(kWatched) == kQuantities);

static const Measurement &measurement_of(const Optics &optics, const WatchedQuantity &quantity) {
  for (const Measurement &measurement : optics.diagnostics.measured) {
    if (std::strcmp(measurement.key, quantity.key) == 0) return measurement;
  }
  throw std::logic_error(std::string("no quantity ") + quantity.key);
}

/** Without limits there is nothing to cross. If the laser is off, its bias and its power make no events. */
static bool is_watched(const Optics &optics, const Measurement &measurement) {
  const std::string key = measurement.key;
  const bool of_laser = key == "bias" || key == "tx_power";
  if (of_laser && optics.laser_is_off) return false;
  return measurement.limited && optics.diagnostics.ready;
}

/** A reading without its value. */
static Reading blank(const std::string &port, const std::string &source, const WatchedQuantity &quantity) {
  Reading reading{};
  reading.what = &quantity.watched;
  reading.label = "port";
  reading.which = port;
  reading.subject = format(quantity.watched.subject, port.c_str());
  reading.source = source;
  reading.states = split(kStandings);
  return reading;
}

/** The readings of a module that does not answer. Their last known states stay. */
static std::vector<Reading> silent(const std::string &port, const std::string &source, const std::string &why) {
  std::vector<Reading> readings;
  for (const WatchedQuantity &quantity : kWatched) {
    readings.push_back(blank(port, source, quantity));
    readings.back().silence = why;
  }
  return readings;
}

static std::vector<Reading> readings_of(const Optics &optics) {
  if (!optics.silence.empty()) return silent(optics.which, optics.source, optics.silence);
  std::vector<Reading> readings;
  for (const WatchedQuantity &quantity : kWatched) {
    const Measurement &measurement = measurement_of(optics, quantity);
    if (!is_watched(optics, measurement)) continue;
    const Standing standing = standing_of(measurement);
    Reading reading = blank(optics.which, optics.source, quantity);
    reading.value = static_cast<double>(standing);
    reading.trouble = standing != Standing::Normal;
    reading.detail = measured_text(measurement, measurement.value);
    readings.push_back(reading);
  }
  return readings;
}

void add_optics(Round &round, std::vector<Reading> &readings) {
  std::vector<Reading> added;
  const auto add = [&](const std::vector<Reading> &more) { added.insert(added.end(), more.begin(), more.end()); };
  for (const Reading &reading : readings) {
    const bool presence_unknown = is_module_reading(reading) && !reading.value;
    if (presence_unknown) add(silent(reading.which, reading.source, reading.silence));
  }
  for (const Optics &optics : read_optics(round, readings, Flags::Left)) add(readings_of(optics));
  readings.insert(readings.end(), added.begin(), added.end());
}

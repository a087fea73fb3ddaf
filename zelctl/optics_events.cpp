#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "optics.h"

/** A quantity whose standing in its limits makes events. */
struct WatchedQuantity {
  const char *key;
  Watched watched;
};
/** The states of such an event are standings. `metric` and `read` stay empty: `read_optics` reads all quantities at
 *  once, and `optics_metrics` has their metrics. */
constexpr WatchedQuantity quantity(const char *key, const char *subject) {
  Watched watched{};
  watched.subject = subject;
  watched.states = kStandings;
  watched.trouble = "low warning|high warning|low alarm|high alarm";
  watched.driver = I2c;
  return {key, watched};
}
constexpr WatchedQuantity kWatchedQuantities[] = {
    quantity("temperature", "port %s temperature"),
    quantity("voltage", "port %s voltage"),
    quantity("bias", "port %s bias"),
    quantity("tx_power", "port %s tx power"),
    quantity("rx_power", "port %s rx power"),
};
static_assert(std::size(kWatchedQuantities) == kQuantities);

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
  return measurement.has_limits && is_known(measurement) && optics.diagnostics.ready;
}

/* A value that has crossed a threshold is back only when it is inside by a margin: 1 degree Celsius, 0.5 dB of a power,
 * 1 % of the others. The margin is at most a quarter of the distance to the opposite threshold. */

struct Margin {
  double degrees = 0;
  double factor = 1;
};

static Margin margin_of(const Measurement &measurement) {
  constexpr double kHalfDecibel = 1.122;
  constexpr double kPercent = 1.01;
  if (measurement.is_power) return {.factor = kHalfDecibel};
  if (measurement.key == std::string("temperature")) return {.degrees = 1};
  return {.factor = kPercent};
}

static Standing standing_after(Standing before, const Measurement &measurement) {
  const Margin margin = margin_of(measurement);
  const double most = std::max((measurement.high_warning - measurement.low_warning) / 4, 0.0);
  const auto above = [&](double limit) { return std::min(limit * margin.factor + margin.degrees, limit + most); };
  const auto below = [&](double limit) { return std::max(limit / margin.factor - margin.degrees, limit - most); };
  const bool was_low = before == Standing::LowWarning || before == Standing::LowAlarm;
  const bool was_high = before == Standing::HighWarning || before == Standing::HighAlarm;
  Measurement moved = measurement;
  if (was_low) moved.low_warning = above(measurement.low_warning);
  if (was_high) moved.high_warning = below(measurement.high_warning);
  if (before == Standing::LowAlarm) moved.low_alarm = above(measurement.low_alarm);
  if (before == Standing::HighAlarm) moved.high_alarm = below(measurement.high_alarm);
  return standing_of(moved);
}

/** The value with as many decimals as show on which side of a threshold it is. */
static std::string telling_text(const Measurement &measurement) {
  constexpr int kMost = 4;
  std::string text;
  for (int more = 0; more <= kMost; ++more) {
    text = measured_text(measurement, measurement.value, more);
    const double shown = std::strtod(text.c_str(), nullptr);
    Measurement rounded = measurement;
    rounded.value = measurement.is_power ? std::pow(10, shown / 10) : shown;
    if (standing_of(rounded) == standing_of(measurement)) break;
  }
  return text;
}

/** The name of the standing now, if the standing before had this name. */
static std::string settled_name(const std::string &before, const Measurement &measurement) {
  const auto known = index_in(kStandings, before);
  const Standing standing = known ? static_cast<Standing>(*known) : Standing::Normal;
  return name_of(kStandings, static_cast<uint32_t>(standing_after(standing, measurement)));
}

/** A reading without its value. */
static Reading blank(const std::string &port, const Source &source, const WatchedQuantity &quantity) {
  Reading reading{};
  reading.what = &quantity.watched;
  reading.label = "port";
  reading.which = port;
  reading.subject = format(quantity.watched.subject, port.c_str());
  reading.source = source;
  reading.states = split(quantity.watched.states);
  return reading;
}

/** The readings of a module that does not answer. Their last known states stay. */
static std::vector<Reading> silent_readings(const std::string &port, const Source &source, const std::string &why) {
  std::vector<Reading> readings;
  for (const WatchedQuantity &quantity : kWatchedQuantities) {
    readings.push_back(blank(port, source, quantity));
    readings.back().silence = why;
  }
  return readings;
}

static std::vector<Reading> readings_of(const Optics &optics) {
  if (!optics.silence.empty()) return silent_readings(optics.which, optics.source, optics.silence);
  std::vector<Reading> readings;
  if (!optics.measures) return readings;
  for (const WatchedQuantity &quantity : kWatchedQuantities) {
    const Measurement &measurement = measurement_of(optics, quantity);
    if (!is_watched(optics, measurement)) continue;
    Reading reading = blank(optics.which, optics.source, quantity);
    reading.value = static_cast<double>(standing_of(measurement));
    reading.settled = [measurement](const std::string &before) { return settled_name(before, measurement); };
    reading.detail = telling_text(measurement);
    readings.push_back(reading);
  }
  return readings;
}

void add_optics(Round &round, std::vector<Reading> &readings) {
  std::vector<Reading> added;
  const auto add = [&](const std::vector<Reading> &more) { added.insert(added.end(), more.begin(), more.end()); };
  for (const Reading &reading : readings) {
    const bool presence_unknown = is_module_reading(reading) && !reading.value;
    if (presence_unknown) add(silent_readings(reading.which, reading.source, reading.silence));
  }
  for (const Optics &optics : read_optics(round, readings, Flags::Left)) add(readings_of(optics));
  readings.insert(readings.end(), added.begin(), added.end());
}

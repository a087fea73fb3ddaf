#include <cstring>

#include "optics.h"

/** Bias and power of a laser that is off are no event of their own, and without limits there is nothing to cross. */
static bool is_watched(const Optics &optics, const Measurement &measurement) {
  const bool of_laser = std::strcmp(measurement.key, "bias") == 0 || std::strcmp(measurement.key, "tx_power") == 0;
  return measurement.limited && optics.diagnostics.ready && !(of_laser && optics.laser_is_off);
}

/** What the events are of; their words come from the standing. */
constexpr Watched of_module(const char *subject) { return {subject, kStandings, "", "", I2c, 0, 0, nullptr}; }
constexpr Watched kWatched[] = {of_module("port %s temperature"), of_module("port %s voltage"),
                                of_module("port %s bias"), of_module("port %s tx power"),
                                of_module("port %s rx power")};

static Reading blank(const std::string &port, const std::string &source, size_t quantity) {
  Reading reading{};
  reading.what = &kWatched[quantity];
  reading.label = "port";
  reading.which = port;
  reading.subject = format(reading.what->subject, port.c_str());
  reading.source = source;
  reading.states = split(kStandings);
  return reading;
}

/** What does not answer keeps the state that was last known. */
static std::vector<Reading> silent(const std::string &port, const std::string &source, const std::string &why) {
  std::vector<Reading> readings;
  for (size_t quantity = 0; quantity < std::size(kWatched); ++quantity) {
    readings.push_back(blank(port, source, quantity));
    readings.back().silence = why;
  }
  return readings;
}

static std::vector<Reading> readings_of(const Optics &optics) {
  if (!optics.silence.empty()) return silent(optics.which, optics.source, optics.silence);
  std::vector<Reading> readings;
  for (size_t quantity = 0; quantity < std::size(kWatched); ++quantity) {
    const Measurement &measurement = optics.diagnostics.measured[quantity];
    if (!is_watched(optics, measurement)) continue;
    Reading reading = blank(optics.which, optics.source, quantity);
    reading.value = static_cast<double>(standing_of(measurement));
    reading.trouble = standing_of(measurement) != Standing::Normal;
    reading.detail = measured_text(measurement, measurement.value);
    readings.push_back(reading);
  }
  return readings;
}

void add_optics(Round &round, std::vector<Reading> &readings) {
  std::vector<Reading> added;
  const auto add = [&](const std::vector<Reading> &more) { added.insert(added.end(), more.begin(), more.end()); };
  for (const Reading &reading : readings) {
    const bool unknown = reading.subject == "port " + reading.which + " module" && !reading.value;
    if (unknown) add(silent(reading.which, reading.source, reading.silence));
  }
  for (const Optics &optics : read_optics(round, readings, Flags::Left)) add(readings_of(optics));
  readings.insert(readings.end(), added.begin(), added.end());
}

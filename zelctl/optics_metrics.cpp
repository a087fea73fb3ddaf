#include "metrics.h"
#include "optics.h"

/** Metrics of a quantity, in base units. */
struct QuantityMetric {
  const char *key, *unit, *what;
};
constexpr QuantityMetric kMetrics[] = {{"temperature", "celsius", "Temperature of the module"},
                                       {"voltage", "volts", "Supply voltage of the module"},
                                       {"bias", "amperes", "Bias current of the module's laser"},
                                       {"tx_power", "watts", "Optical power that the module transmits"},
                                       {"rx_power", "watts", "Optical power that the module receives"}};

using Samples = std::vector<std::string>;

static std::string labels(const Optics &optics, const std::string &more = "") {
  return "port=\"" + optics.which + "\"" + (more.empty() ? "" : "," + more);
}

static void add_limits(const Optics &optics, const Measurement &measurement, Samples &samples) {
  if (!measurement.limited) return;
  const std::pair<const char *, double> limits[] = {{"low_alarm", measurement.low_alarm},
                                                    {"low_warning", measurement.low_warning},
                                                    {"high_warning", measurement.high_warning},
                                                    {"high_alarm", measurement.high_alarm}};
  for (const auto &[level, value] : limits) {
    const std::string label = format("level=\"%s\"", level);
    samples.push_back(sample(labels(optics, label), value / measurement.per_base_unit));
  }
}

/** A flag that the module has raised since the last look, or a value that is beyond the limit now. */
static void add_flags(const Optics &optics, const Measurement &measurement, Samples &alarms, Samples &warnings) {
  const bool can_tell = measurement.limited || optics.diagnostics.has_flags;
  if (!can_tell) return;
  const bool limited = measurement.limited;
  const double value = measurement.value;
  const auto add = [&](Samples &samples, const char *level, bool raised) {
    const std::string label = format("quantity=\"%s\",level=\"%s\"", measurement.key, level);
    samples.push_back(sample(labels(optics, label), raised ? 1 : 0));
  };
  add(alarms, "high", measurement.high_alarm_flag || (limited && value > measurement.high_alarm));
  add(alarms, "low", measurement.low_alarm_flag || (limited && value < measurement.low_alarm));
  add(warnings, "high", measurement.high_warning_flag || (limited && value > measurement.high_warning));
  add(warnings, "low", measurement.low_warning_flag || (limited && value < measurement.low_warning));
}

std::string optics_metrics(const std::vector<Optics> &modules) {
  Samples values[std::size(kMetrics)], limits[std::size(kMetrics)], alarms, warnings;
  for (const Optics &optics : modules) {
    if (!optics.silence.empty() || !optics.diagnostics.ready) continue;
    for (size_t i = 0; i < std::size(kMetrics); ++i) {
      const Measurement &measurement = optics.diagnostics.measured[i];
      values[i].push_back(sample(labels(optics), measurement.value / measurement.per_base_unit));
      add_limits(optics, measurement, limits[i]);
      add_flags(optics, measurement, alarms, warnings);
    }
  }
  std::string text;
  for (size_t i = 0; i < std::size(kMetrics); ++i) {
    const auto &[key, unit, what] = kMetrics[i];
    text += metric(format("sfp_%s_%s", key, unit), std::string(what) + ".", values[i]);
    text +=
        metric(format("sfp_%s_threshold_%s", key, unit), std::string(what) + ": thresholds of the module.", limits[i]);
  }
  text +=
      metric("sfp_alarm", "Whether the module's alarm flag is set, or the value beyond its alarm threshold.", alarms);
  text += metric("sfp_warning", "Whether the module's warning flag is set, or the value beyond its warning threshold.",
                 warnings);
  return text;
}

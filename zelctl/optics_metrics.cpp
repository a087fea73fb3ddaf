#include "metrics.h"
#include "optics.h"

/** The metrics of a quantity, in base units. */
struct QuantityMetric {
  const char *key;
  const char *unit;
  const char *what;
};
constexpr QuantityMetric kMetrics[] = {
    {"temperature", "celsius", "Temperature of the module"},
    {"voltage", "volts", "Supply voltage of the module"},
    {"bias", "amperes", "Bias current of the module's laser"},
    {"tx_power", "watts", "Optical power that the module transmits"},
    {"rx_power", "watts", "Optical power that the module receives"},
};
static_assert(std::size(kMetrics) == kQuantities);

using Samples = std::vector<std::string>;

/** @param more  further labels */
static std::string labels(const Optics &optics, const std::string &more = "") {
  const std::string port = "port=\"" + optics.which + "\"";
  return more.empty() ? port : port + "," + more;
}

/** A text as a label's value. */
static std::string quoted(const std::string &text) {
  std::string safe;
  for (const char c : escaped(text)) {
    const bool is_special = c == '"' || c == '\\';
    if (is_special) safe += '\\';
    safe += c;
  }
  return "\"" + safe + "\"";
}

static std::string info_labels(const Optics &optics) {
  return labels(optics, "vendor=" + quoted(optics.vendor) + ",part_number=" + quoted(optics.part_number) +
                            ",serial_number=" + quoted(optics.serial_number));
}

static void add_threshold(const Optics &optics, const Measurement &measurement, const char *level, double value,
                          Samples &samples) {
  const std::string label = format("level=\"%s\"", level);
  samples.push_back(sample_line(labels(optics, label), value / measurement.per_base_unit));
}

static void add_thresholds(const Optics &optics, const Measurement &measurement, Samples &samples) {
  if (!measurement.has_limits) return;
  add_threshold(optics, measurement, "low_alarm", measurement.low_alarm, samples);
  add_threshold(optics, measurement, "low_warning", measurement.low_warning, samples);
  add_threshold(optics, measurement, "high_warning", measurement.high_warning, samples);
  add_threshold(optics, measurement, "high_alarm", measurement.high_alarm, samples);
}

static void add_flag_sample(const Optics &optics, const Measurement &measurement, const char *level, bool raised,
                            Samples &samples) {
  const std::string label = format("quantity=\"%s\",level=\"%s\"", measurement.key, level);
  samples.push_back(sample_line(labels(optics, label), raised ? 1 : 0));
}

static void add_flag_samples(const Optics &optics, const Measurement &measurement, Samples &alarms, Samples &warnings) {
  const bool can_tell = measurement.has_limits || optics.diagnostics.has_flags;
  if (!can_tell) return;
  const Crossed crossed = limits_crossed(measurement);
  add_flag_sample(optics, measurement, "high", crossed.high_alarm, alarms);
  add_flag_sample(optics, measurement, "low", crossed.low_alarm, alarms);
  add_flag_sample(optics, measurement, "high", crossed.high_warning, warnings);
  add_flag_sample(optics, measurement, "low", crossed.low_warning, warnings);
}

/** Metrics of one quantity: the values of all modules, then their thresholds. */
static std::string metrics_of(const QuantityMetric &row, const Samples &values, const Samples &thresholds) {
  const std::string what = row.what;
  return metric_text(format("sfp_%s_%s", row.key, row.unit), what + ".", values) +
         metric_text(format("sfp_%s_threshold_%s", row.key, row.unit), what + ": thresholds of the module.",
                     thresholds);
}

std::string optics_metrics(const std::vector<Optics> &modules) {
  constexpr const char *kAlarmHelp = "Whether the module's alarm flag is set, or the value beyond its alarm threshold.";
  constexpr const char *kWarningHelp =
      "Whether the module's warning flag is set, or the value beyond its warning threshold.";
  std::string text;
  Samples alarms;
  Samples warnings;
  std::map<std::string, Samples> values;
  std::map<std::string, Samples> thresholds;
  Samples answering;
  Samples info;
  for (const Optics &optics : modules) {
    const bool answers = optics.silence.empty();
    answering.push_back(sample_line(labels(optics), answers));
    if (!answers) continue;
    info.push_back(sample_line(info_labels(optics), 1));
    const bool has_values = optics.measures && optics.diagnostics.ready;
    if (!has_values) continue;
    for (const Measurement &measurement : optics.diagnostics.measured) {
      const double value = measurement.value / measurement.per_base_unit;
      if (is_known(measurement)) values[measurement.key].push_back(sample_line(labels(optics), value));
      add_thresholds(optics, measurement, thresholds[measurement.key]);
      add_flag_samples(optics, measurement, alarms, warnings);
    }
  }
  for (const QuantityMetric &row : kMetrics) text += metrics_of(row, values[row.key], thresholds[row.key]);
  return text + metric_text("sfp_success", "Whether the memory of a port's module could be read.", answering) +
         metric_text("sfp_info", "The module in a port, always 1.", info) +
         metric_text("sfp_alarm", kAlarmHelp, alarms) + metric_text("sfp_warning", kWarningHelp, warnings);
}

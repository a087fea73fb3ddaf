#include "metrics.h"

#include <ctime>
#include <memory>

#include "optics.h"

std::string metric_text(const std::string &name, const std::string &help, const std::vector<std::string> &samples) {
  if (samples.empty()) return "";
  std::string text = "# HELP zelboard_" + name + " " + help + "\n# TYPE zelboard_" + name + " gauge\n";
  for (const std::string &line : samples) text += "zelboard_" + name + line + "\n";
  return text;
}

std::string sample_line(const std::string &labels, double value) {
  const std::string shown = labels.empty() ? "" : "{" + labels + "}";
  return shown + format(" %.15g", value);
}

/** A thing with two states has one sample, 0 or 1. A thing with more has one for each state, 1 for the present one. */
static std::vector<std::string> samples_of(const Reading &reading) {
  std::string label;
  if (!reading.label.empty()) label = reading.label + "=\"" + reading.which + "\"";
  if (reading.states.size() <= 2) return {sample_line(label, *reading.value)};
  if (!label.empty()) label += ",";
  std::vector<std::string> samples;
  for (const std::string &state : reading.states) {
    const bool is_present = reading.state() == state;
    samples.push_back(sample_line(label + "state=\"" + state + "\"", is_present));
  }
  return samples;
}

/** The metrics of all readings. Readings of one metric stand together. */
static std::string metrics_of(const std::vector<Reading> &readings) {
  std::string text;
  size_t first = 0;
  while (first < readings.size()) {
    const Watched *what = readings[first].what;
    std::vector<std::string> samples;
    size_t next = first;
    while (next < readings.size() && readings[next].what == what) {
      const Reading &reading = readings[next];
      if (reading.value) {
        for (const std::string &line : samples_of(reading)) samples.push_back(line);
      }
      ++next;
    }
    text += metric_text(what->metric, what->help, samples);
    first = next;
  }
  return text;
}

static std::string drivers_up(const Round &round) {
  std::vector<std::string> samples;
  for (size_t driver = 0; driver < std::size(kDrivers); ++driver)
    samples.push_back(sample_line(format("driver=\"%s\"", kDrivers[driver]), round.up[driver]));
  return metric_text("up", "Whether a driver answered all questions.", samples);
}

static std::string subsystems_read(const std::vector<Reading> &readings, const std::vector<Optics> &modules) {
  std::map<std::string, bool> whole;
  for (const Reading &reading : readings) {
    whole.emplace(reading.source.name, true);
    if (!reading.value) whole[reading.source.name] = false;
  }
  for (const Optics &module : modules) {
    // If only the module is silent, it is no subsystem of this table: sfp_success shows it.
    const auto subsystem = whole.find(module.source.name);
    if (!module.silence.empty() && subsystem != whole.end()) subsystem->second = false;
  }
  std::vector<std::string> samples;
  for (const auto &[source, good] : whole) samples.push_back(sample_line("subsystem=\"" + source + "\"", good));
  return metric_text("subsystem_success", "Whether all of a subsystem could be read. What could not has no sample.",
                     samples);
}

static std::string metrics_text() {
  Round round;
  const std::vector<Reading> readings = read_board(round, true);
  const std::vector<Optics> optics = read_optics(round, readings, Flags::Read);
  const auto now = static_cast<double>(std::time(nullptr));
  return metrics_of(readings) + optics_metrics(optics) + drivers_up(round) + subsystems_read(readings, optics) +
         metric_text("collection_timestamp_seconds", "When the board was read, in seconds since 1970.",
                     {sample_line("", now)}) +
         "# EOF\n";
}

static void write_metrics(const std::string &path) {
  if (settings.json) refuse_argument("--json", "does not go with metrics, which have a format of their own");
  const std::string text = metrics_text();
  write_output(path.empty() ? "-" : path, bytes_of(text), "--output");
}

void add_metrics_command(App &app) {
  const auto path = std::make_shared<std::string>();
  App *metrics =
      command(app, "metrics", "The board's state as metrics for Prometheus; clears modules' latched flags",
              "metrics --output /var/lib/prometheus/node-exporter/zelboard.prom", [path] { write_metrics(*path); });
  add_output_option(metrics, *path);
  optics_option(metrics, Flags::Read);
}

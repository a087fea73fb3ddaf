#include "metrics.h"

#include <ctime>
#include <memory>

#include "optics.h"

std::string metric(const std::string &name, const std::string &help, const std::vector<std::string> &samples) {
  if (samples.empty()) return "";
  std::string text = "# HELP zelboard_" + name + " " + help + "\n# TYPE zelboard_" + name + " gauge\n";
  for (const std::string &sample : samples) text += "zelboard_" + name + sample + "\n";
  return text;
}

std::string sample(const std::string &labels, double value) {
  return (labels.empty() ? "" : "{" + labels + "}") + format(" %.15g", value);
}

/** Two states are 0 and 1. More than two make a sample for each of them, 1 for the present one. */
static std::vector<std::string> samples_of(const Reading &reading) {
  std::string label;
  if (!reading.label.empty()) label = reading.label + "=\"" + reading.which + "\"";
  if (reading.states.size() <= 2) return {sample(label, *reading.value)};
  if (!label.empty()) label += ",";
  std::vector<std::string> samples;
  for (const std::string &state : reading.states)
    samples.push_back(sample(label + "state=\"" + state + "\"", reading.state() == state));
  return samples;
}

/** The metrics of the table, in its order. */
static std::string metrics_of(const std::vector<Reading> &readings) {
  std::string text;
  std::vector<std::string> samples;
  const Watched *what = nullptr;
  const auto finish = [&] {
    if (what != nullptr) text += metric(what->metric, what->help, samples);
    samples.clear();
  };
  for (const Reading &reading : readings) {
    if (reading.what != what) finish();
    what = reading.what;
    if (!reading.value) continue;
    for (const std::string &line : samples_of(reading)) samples.push_back(line);
  }
  finish();
  return text;
}

static std::string drivers_up(const Round &round) {
  std::vector<std::string> samples;
  for (size_t driver = 0; driver < std::size(kDrivers); ++driver)
    samples.push_back(sample(format("driver=\"%s\"", kDrivers[driver]), round.up[driver]));
  return metric("up", "Whether a driver answered all questions.", samples);
}

static std::string subsystems_read(const std::vector<Reading> &readings, const std::vector<Optics> &modules) {
  std::map<std::string, bool> whole;
  for (const Reading &reading : readings) {
    bool &good = whole.emplace(reading.source, true).first->second;
    if (!reading.value) good = false;
  }
  for (const Optics &module : modules) {
    if (!module.silence.empty()) whole[module.source] = false;
  }
  std::vector<std::string> samples;
  for (const auto &[source, good] : whole) samples.push_back(sample("subsystem=\"" + source + "\"", good));
  return metric("subsystem_success", "Whether all of a subsystem could be read. What could not has no sample.",
                samples);
}

static std::string metrics_text() {
  Round round;
  const std::vector<Reading> readings = read_board(round, true);
  const std::vector<Optics> modules = read_optics(round, readings, Flags::Read);
  const auto now = static_cast<double>(std::time(nullptr));
  return metrics_of(readings) + optics_metrics(modules) + drivers_up(round) + subsystems_read(readings, modules) +
         metric("collection_timestamp_seconds", "When the board was read, in seconds since 1970.", {sample("", now)}) +
         "# EOF\n";
}

static void write_metrics(const std::string &path) {
  if (settings.json) refuse_argument("--json", "does not go with metrics, which have a format of their own");
  const std::string text = metrics_text();
  write_output(path.empty() ? "-" : path, bytes_of(text), "--output");
}

void add_metrics_command(App &app) {
  const auto path = std::make_shared<std::string>();
  App *metrics = command(app, "metrics", "The board's state as metrics for Prometheus",
                         "metrics --output /var/lib/prometheus/node-exporter/zelboard.prom",
                         announced([path] { write_metrics(*path); }));
  output_option(metrics, *path);
  optics_option(metrics);
}

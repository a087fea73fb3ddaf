#include <ctime>

#include "board_state.h"

static std::string path;

/** One metric: its help and type, and a sample for each value that is there. */
static std::string metric(const std::string &name, const std::string &help, const std::vector<std::string> &samples) {
  if (samples.empty()) return "";
  std::string text = "# HELP zelboard_" + name + " " + help + "\n# TYPE zelboard_" + name + " gauge\n";
  for (const std::string &sample : samples) text += "zelboard_" + name + sample + "\n";
  return text;
}

static std::string sample(const std::string &labels, double value) {
  return (labels.empty() ? "" : "{" + labels + "}") + format(" %.15g", value);
}

/** More than two states make a sample for each of them. */
static void add_samples(const Reading &reading, std::vector<std::string> &samples) {
  const std::string label = reading.label.empty() ? "" : reading.label + "=\"" + reading.which + "\"";
  if (reading.states.size() <= 2) return samples.push_back(sample(label, *reading.value));
  for (const std::string &state : reading.states)
    samples.push_back(sample(label + (label.empty() ? "" : ",") + "state=\"" + state + "\"", reading.state() == state));
}

static std::string samples_of_board() {
  Round round;
  const std::vector<Reading> readings = read_board(round, true);
  std::map<std::string, bool> answered;
  std::string text;
  for (size_t first = 0, end = 0; first < readings.size(); first = end) {
    const Watched &what = *readings[first].what;
    std::vector<std::string> samples;
    for (; end < readings.size() && readings[end].what == &what; ++end) {
      const Reading &reading = readings[end];
      answered.emplace(reading.source, true).first->second &= reading.value.has_value();
      if (reading.value) add_samples(reading, samples);
    }
    text += metric(what.metric, what.help, samples);
  }
  std::vector<std::string> up, success;
  for (size_t driver = 0; driver < std::size(kDrivers); ++driver)
    up.push_back(sample(format("driver=\"%s\"", kDrivers[driver]), round.up[driver]));
  for (const auto &[source, good] : answered) success.push_back(sample("subsystem=\"" + source + "\"", good));
  return text + metric("up", "Whether a driver answered all that it was asked.", up) +
         metric("subsystem_success", "Whether all of a subsystem could be read; what could not has no sample.",
                success) +
         metric("collection_timestamp_seconds", "When the board was read, in seconds since 1970.",
                {sample("", static_cast<double>(std::time(nullptr)))}) +
         "# EOF\n";
}

static void write_metrics() {
  if (settings.json) refuse_argument("--json", "does not go with metrics, which have a format of their own");
  const std::string text = samples_of_board();
  write_output(path.empty() ? "-" : path, bytes_of(text), "--output");
}

void add_metrics_command(App &app) {
  App *metrics = command(app, "metrics", "The board's state as metrics for Prometheus",
                         "metrics --output /var/lib/prometheus/node-exporter/zelboard.prom", write_metrics);
  output_option(metrics, path);
}

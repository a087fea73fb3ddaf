#include "optics_bar.h"

#include <algorithm>
#include <cmath>

constexpr const char *kRed = "\033[31m";
constexpr const char *kYellow = "\033[33m";
constexpr const char *kGreen = "\033[32m";
constexpr const char *kPlain = "\033[0m";

// A line: name and value, a gap, the bar in its frame, a gap, the state.
constexpr int kNameWidth = 13;
constexpr int kValueWidth = 12;
constexpr size_t kGap = 2;
constexpr size_t kFrame = 2;
constexpr size_t kStateWidth = 12;  // of the longest one

static const char *colour_of(Standing standing) {
  switch (standing) {
    case Standing::LowAlarm:
    case Standing::HighAlarm:
      return kRed;
    case Standing::LowWarning:
    case Standing::HighWarning:
      return kYellow;
    case Standing::Normal:
      return kGreen;
    case Standing::NoLimits:
    case Standing::Unknown:
      break;
  }
  return kPlain;
}

static std::string coloured(const std::string &text, Standing standing) {
  return colourful() ? colour_of(standing) + text + kPlain : text;
}

double people_number(const Measurement &measurement, double value) {
  const double number = measurement.is_power ? dbm(value) : value;
  constexpr double kSteps = 1e4;
  return std::round(number * kSteps) / kSteps + 0.0;  // minus zero becomes zero
}

/** The scale of a bar. It begins below the lowest threshold and ends above the highest one. */
struct Scale {
  double first;
  double step;
  size_t width;

  double at(size_t place) const { return first + (static_cast<double>(place) + 0.5) * step; }
  size_t place_of(double number) const {
    const double place = std::floor((number - first) / step);
    return static_cast<size_t>(std::clamp(place, 0.0, static_cast<double>(width - 1)));
  }
};

static Scale scale_of(const Measurement &measurement, size_t width) {
  constexpr double kMargin = 0.15;
  const double low = people_number(measurement, measurement.low_alarm);
  const double high = people_number(measurement, measurement.high_alarm);
  const double span = std::max(high - low, 1e-6);
  const double step = span * (1 + 2 * kMargin) / static_cast<double>(width);
  return {low - kMargin * span, step, width};
}

/** The value that a number on the scale stands for. */
static double value_on_scale(const Measurement &measurement, double number) {
  if (!measurement.is_power) return number;
  return std::pow(10, number / 10);  // mW of dBm
}

static char mark_of(Standing standing) {
  switch (standing) {
    case Standing::LowWarning:
    case Standing::HighWarning:
      return '=';
    case Standing::LowAlarm:
    case Standing::HighAlarm:
      return '#';
    case Standing::Normal:
    case Standing::NoLimits:
    case Standing::Unknown:
      break;
  }
  return '-';
}

/** Each place of the bar has the mark and the colour of its standing. The value is the 'O'. */
static std::string bar(const Measurement &measurement, size_t width) {
  const Scale scale = scale_of(measurement, width);
  const size_t marked = scale.place_of(people_number(measurement, measurement.value));
  std::string text;
  for (size_t place = 0; place < width; ++place) {
    if (place == marked) {
      text += coloured("O", standing_of(measurement));
      continue;
    }
    Measurement here = measurement;
    here.value = value_on_scale(measurement, scale.at(place));
    const Standing standing = standing_of(here);
    text += coloured(std::string(1, mark_of(standing)), standing);
  }
  return "[" + text + "]";
}

void draw_measurement(const Measurement &measurement) {
  constexpr size_t kOneLine = 76;  // columns
  constexpr size_t kWidest = 72;
  constexpr size_t kNarrowest = 20;
  const Standing standing = standing_of(measurement);
  const std::string state = coloured(standing_name(measurement), standing);
  const std::string value = format("%*s", kValueWidth, measured_text(measurement, measurement.value).c_str());
  const std::string line = format("%-*s", kNameWidth, measurement.name) + coloured(value, standing);
  const bool has_bar = measurement.has_limits && is_known(measurement);
  if (!has_bar) {
    std::fprintf(out, "%s  %s\n", line.c_str(), standing_name(measurement).c_str());
  } else if (columns() >= kOneLine) {
    constexpr size_t kBesideBar = kNameWidth + kValueWidth + kGap + kFrame + kGap + kStateWidth;
    const size_t width = std::min(columns() - kBesideBar, kWidest);
    std::fprintf(out, "%s  %s  %s\n", line.c_str(), bar(measurement, width).c_str(), state.c_str());
  } else {
    const size_t width = std::max(columns(), kNarrowest) - kFrame;
    std::fprintf(out, "%s  %s\n%s\n", line.c_str(), state.c_str(), bar(measurement, width).c_str());
  }
}

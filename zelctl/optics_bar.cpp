#include "optics_bar.h"

#include <algorithm>
#include <cmath>

constexpr const char *kRed = "\033[31m", *kYellow = "\033[33m", *kGreen = "\033[32m", *kPlain = "\033[0m";
constexpr int kNameWidth = 13, kValueWidth = 12;

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
  return std::round(number * kSteps) / kSteps;
}

/** The bar's scale: from somewhat below the lowest threshold to somewhat above the highest one. */
struct Scale {
  double first, step;
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

/** Alarm '#', warning '=', normal '-', the value 'O': it reads without colours, too. */
static std::string bar(const Measurement &measurement, size_t width) {
  const Scale scale = scale_of(measurement, width);
  const size_t marked = scale.place_of(people_number(measurement, measurement.value));
  std::string text;
  for (size_t place = 0; place < width; ++place) {
    Measurement here = measurement;
    const double number = scale.at(place);
    here.value = measurement.is_power ? std::pow(10, number / 10) : number;
    const Standing standing = place == marked ? standing_of(measurement) : standing_of(here);
    char mark = '-';
    if (standing == Standing::LowWarning || standing == Standing::HighWarning) mark = '=';
    if (standing == Standing::LowAlarm || standing == Standing::HighAlarm) mark = '#';
    if (place == marked) mark = 'O';
    text += coloured(std::string(1, mark), standing);
  }
  return "[" + text + "]";
}

void draw_measurement(const Measurement &measurement) {
  constexpr size_t kOneLine = 76, kWidest = 72, kFrame = 2;
  const std::string value = measured_text(measurement, measurement.value);
  const std::string state = standing_name(measurement);
  const std::string shown = coloured(format("%*s", kValueWidth, value.c_str()), standing_of(measurement));
  std::string line = format("%-*s", kNameWidth, measurement.name) + shown;
  const size_t columns_left = columns();
  if (!measurement.limited) {
    std::fprintf(out, "%s  %s\n", line.c_str(), state.c_str());
  } else if (columns_left >= kOneLine) {
    constexpr size_t kAround = kNameWidth + kValueWidth + 2 + kFrame + 2 + 12;  // gaps, and the longest state
    const size_t width = std::min(columns_left - kAround, kWidest);
    std::fprintf(out, "%s  %s  %s\n", line.c_str(), bar(measurement, width).c_str(),
                 coloured(state, standing_of(measurement)).c_str());
  } else {
    const size_t width = std::max<size_t>(columns_left, 20) - kFrame;
    std::fprintf(out, "%s  %s\n%s\n", line.c_str(), coloured(state, standing_of(measurement)).c_str(),
                 bar(measurement, width).c_str());
  }
}

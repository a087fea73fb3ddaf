#include "findings.h"

#include <cmath>

#include "tool.h"

namespace zelsim::tool {
namespace {

// The tolerances of VolatileText.
constexpr int64_t kClockTolerance = 60;        // seconds; a chip gains or loses some in a month
constexpr double kTemperatureTolerance = 2.0;  // degrees Celsius

}  // namespace

void Findings::add(const std::string &field, const std::string &recorded, const std::string &model) {
  if (recorded != model) found_.push_back({field, recorded, model});
}

void Findings::add_clock(const std::string &field, int64_t recorded, int64_t model) {
  if (recorded == model) return;
  bool is_near = std::abs(recorded - model) <= kClockTolerance;
  if (is_near) {
    tolerate(kClockValue);
  } else {
    add(field, time_text(recorded), time_text(model));
  }
}

void Findings::add_degrees(const std::string &field, double recorded, double model) {
  if (recorded == model) return;
  bool is_near = std::abs(recorded - model) <= kTemperatureTolerance;
  if (is_near) {
    tolerate(kTemperatureValue);
  } else {
    add(field, format("%.1f", recorded), format("%.1f", model));
  }
}

}  // namespace zelsim::tool

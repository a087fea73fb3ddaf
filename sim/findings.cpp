#include "findings.h"

#include <cmath>

#include "tool.h"

namespace zelsim::tool {

void Findings::add(const std::string &field, const std::string &recorded, const std::string &model) {
  if (recorded != model) found_.push_back({field, recorded, model});
}

void Findings::add_clock(const std::string &field, int64_t recorded, int64_t model) {
  if (recorded == model) return;
  auto distance = static_cast<double>(std::abs(recorded - model));
  bool is_near = distance <= kVolatileTexts[kClockValue].limit;
  if (is_near) {
    tolerate(kClockValue);
  } else {
    add(field, time_text(recorded), time_text(model));
  }
}

void Findings::add_degrees(const std::string &field, double recorded, double model) {
  if (recorded == model) return;
  bool is_near = std::abs(recorded - model) <= kVolatileTexts[kTemperatureValue].limit;
  if (is_near) {
    tolerate(kTemperatureValue);
  } else {
    add(field, format("%.1f", recorded), format("%.1f", model));
  }
}

}  // namespace zelsim::tool

#include "history.h"

#include "../../cli/panel_layout.h"
#include "indicators.h"
#include "trace.h"

namespace zelsim::web {
namespace {

constexpr int64_t kKeptMs = 300000;
constexpr size_t kMostPoints = 600;  // of a value that changes all the time

int64_t now_ms() { return host_time_us() / 1000; }

}  // namespace

// The first point tells the value at the beginning of the time that is kept. It goes when the second one is older than that.
bool History::is_first_over(const std::deque<Point> &points, int64_t now_ms) {
  if (points.size() < 2) return false;
  return points[1].at_ms < now_ms - kKeptMs || points.size() > kMostPoints;
}

void History::record(const std::string &name, double value) {
  std::lock_guard lock(mutex_);
  std::deque<Point> &points = series_[name];
  if (!points.empty() && points.back().value == value) return;
  int64_t now = now_ms();
  points.push_back({now, value});
  while (is_first_over(points, now)) points.pop_front();
}

void History::look(const Board &board) {
  if (board.i2c.sensor_present != 0) record("temperature", degrees_of(board.i2c.sensor.value[kSensorTemperature]));
  for (unsigned i = 0; i < kSupplies; ++i) {
    bool is_good = board.supply[i] != Supply::None && board.supply_good[i] != 0;
    record("supply" + std::to_string(i + 1), is_good ? 1 : 0);
  }
  for (const tool::Indicator &indicator : tool::kIndicators)
    record(std::string("led-") + indicator.key, indicator.state(board.gpio));
  for (const panel_layout::TestLamp &lamp : panel_layout::kTestLamps)
    record("lamp-" + std::to_string(lamp.group) + '.' + std::to_string(lamp.bit), board.chain[lamp.group][lamp.bit]);
  record("faults", board.rule_count);
  record("busy", board.i2c.busy);
}

Json History::document() const {
  std::lock_guard lock(mutex_);
  Json series = Json::object();
  for (const auto &[name, points] : series_) {
    Json pairs = Json::array();
    for (const Point &point : points) pairs.push_back({point.at_ms, point.value});
    series[name] = std::move(pairs);
  }
  return {{"now", now_ms()}, {"series", series}};
}

}  // namespace zelsim::web

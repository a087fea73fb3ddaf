#pragma once

#include <deque>
#include <map>
#include <mutex>
#include <string>

#include "state.h"
#include "tool.h"

namespace zelsim::web {

/** The last minutes of some values of a board: for each value its changes, with their times. */
class History {
 public:
  void look(const Board &board);
  void record(const std::string &name, double value);
  /** The time now, and by name the pairs of time and value. Times are milliseconds since 1970. */
  Json document() const;

 private:
  struct Point {
    int64_t at_ms;
    double value;
  };
  static bool is_first_over(const std::deque<Point> &points, int64_t now_ms);

  mutable std::mutex mutex_ = {};
  std::map<std::string, std::deque<Point>> series_ = {};
};

}  // namespace zelsim::web

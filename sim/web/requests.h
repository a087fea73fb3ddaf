#pragma once

#include <chrono>
#include <memory>

#include "attached.h"
#include "news.h"

namespace zelsim::web {

/** What programs ask of a board's drivers. They record it only while it is asked for again and again. */
class Requests {
 public:
  /** Adds what was recorded since to the log, and asks for more. @return true when there was something */
  bool take(const std::shared_ptr<const Attached> &attached, News &news);

  /** Puts the number of requests a second, once a second. @return true when it has changed */
  bool count_rate(const std::shared_ptr<const Attached> &attached, News &news);

 private:
  using Clock = std::chrono::steady_clock;
  std::shared_ptr<const Attached> attached_ = {};  // whose records `position_` counts
  uint32_t position_ = 0;
  std::shared_ptr<const Attached> counted_ = {};  // whose requests `requests_` are
  uint32_t requests_ = 0;
  uint64_t rate_ = 0;
  Clock::time_point counted_at_ = {};
};

}  // namespace zelsim::web

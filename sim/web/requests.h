#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "attached.h"
#include "news.h"

namespace zelsim::web {

/** The requests that programs make. Programs record them only as long as somebody asks for more. */
class Requests {
 public:
  /** Adds the requests since the last call to the log, and asks for more. @return true if there were some */
  bool take(const std::shared_ptr<const Attached> &attached, News &news);

  /** Puts the number of requests a second, once a second. @return true when it has changed */
  bool count_rate(const std::shared_ptr<const Attached> &attached, News &news);

 private:
  using Clock = std::chrono::steady_clock;
  std::optional<std::string> take_bytes(const std::shared_ptr<const Attached> &attached);

  std::shared_ptr<const Attached> attached_ = {};  // whose records `position_` counts
  uint32_t position_ = 0;
  std::shared_ptr<const Attached> counted_ = {};  // whose requests `requests_` are
  uint32_t requests_ = 0;
  uint64_t rate_ = 0;
  Clock::time_point counted_at_ = {};
};

}  // namespace zelsim::web

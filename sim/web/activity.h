#pragma once

#include <chrono>
#include <memory>

#include "attached.h"
#include "news.h"

namespace zelsim::web {

/** Tells every change of a board: what was done to it, by its own log, and what programs changed, by comparing. */
class Activity {
 public:
  /** @param now  a copy of the board that is attached */
  void look(const std::shared_ptr<const Attached> &attached, std::unique_ptr<Board> now, News &news);
  /** Something goes on whose end is told once nothing changes any more. */
  bool is_waiting() const { return !writer_.empty(); }

 private:
  using Clock = std::chrono::steady_clock;
  void add(News &news, int64_t at_us, const std::string &who, const std::string &command, const std::string &text,
           const std::string &undo);
  bool tell_acts(const Board &now, News &news);
  void tell_changes(const Board &now, News &news);
  void tell_flash(const Board &now, News &news);

  std::shared_ptr<const Attached> attached_ = {};  // of which `before_` is the state
  std::unique_ptr<Board> before_;
  uint32_t acts_ = 0;  // that are told
  uint64_t entries_ = 0;
  // What is being written to the flash.
  Clock::time_point written_at_ = {};
  uint64_t erased_ = 0, programmed_ = 0;
  std::string writer_, region_;
};

}  // namespace zelsim::web

#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "attached.h"
#include "news.h"

namespace zelsim::web {

/** Tells the changes of a board. The board's log has what was done to it; a comparison shows what programs changed. */
class Activity {
 public:
  /** @param now  a copy of the board that is attached */
  void look(const std::shared_ptr<const Attached> &attached, std::unique_ptr<Board> now, News &news);
  /** Tells that a program has read something anew.
   *  @param request  its number in the list of requests */
  void tell_reading(const TraceRecord &record, const std::string &changed, uint64_t request, News &news);
  /** True while a program writes to the flash: the end of it is told when nothing has changed for a while. */
  bool is_waiting() const { return !writer_.empty(); }

 private:
  using Clock = std::chrono::steady_clock;
  /** A line of the activity. */
  struct Entry {
    int64_t at_us;
    std::string who;
    std::string command = {};  // of zelsim
    std::string text = {};     // else what happened
    std::string undo = {};     // commands, separated by semicolons
    uint64_t request = 0;      // number of the request that is told; 0: none
  };
  void add(News &news, const Entry &entry);
  bool tell_acts(const Board &now, News &news);
  void tell_leds(const Board &now, News &news);
  void tell_transmitters(const Board &now, News &news);
  void tell_changes(const Board &now, News &news);
  void tell_flash(const Board &now, News &news);
  void begin_writing(const Board &now, bool erases, News &news);
  void end_writing(News &news);

  std::shared_ptr<const Attached> attached_ = {};
  std::unique_ptr<Board> before_;  // the board at the last look
  uint32_t acts_ = 0;              // number of acts that are told
  uint64_t entries_ = 0;
  // The writing to the flash that goes on.
  Clock::time_point written_at_ = {};
  uint64_t erased_ = 0;      // sectors
  uint64_t programmed_ = 0;  // bytes
  std::string writer_;       // empty: nobody writes
  std::string region_;
};

}  // namespace zelsim::web

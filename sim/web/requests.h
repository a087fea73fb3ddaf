#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "activity.h"
#include "attached.h"
#include "history.h"
#include "news.h"
#include "readings.h"

namespace zelsim::web {

/** Which requests go into the log. */
enum class Listing {
  Noticing,  // only those in which a program has noticed something
  All,
};

/** The requests that programs make. Programs record them only as long as somebody asks for more. */
class Requests {
 public:
  /** Takes the requests since the last call, and asks for more. Adds them to the log a few times a second, those of a flood at
   *  its end or once a second: each time costs time that programs want. Of a flood the log gets the last lines, and of the
   *  others those that failed, that a fault struck, or whose answer has changed. What a program reads anew is told in the
   *  activity, too.
   *  @return true if something was told */
  bool take(const std::shared_ptr<const Attached> &attached, Listing listing, News &news, Activity &activity);

  /** Tells what was taken, and asks for no more. What programs have read until now is forgotten: nobody knows what they read
   *  until the requests are taken again. */
  void pause(News &news, Activity &activity);

 private:
  using Clock = std::chrono::steady_clock;
  /** Records that were found at one look. */
  struct Taken {
    std::string bytes = {};
    uint32_t made = 0;             // requests that were made meanwhile
    bool misses_more = false;      // there was no room for all that followed
    bool misses_failures = false;  // not even for those that failed
  };
  void begin_following(const std::shared_ptr<const Attached> &attached);
  void take_bytes(const std::shared_ptr<const Attached> &attached);
  bool is_due() const;
  bool tell_taken(News &news, Activity &activity);
  bool tell(const Taken &taken, News &news, Activity &activity);
  bool tell(const TracedCall &call, News &news, Activity &activity);
  bool leave_out_repeated(const TraceRecord &record, std::string_view bytes);
  bool tell_missed(uint32_t missed, bool may_have_failed, News &news) const;

  std::shared_ptr<const Attached> attached_ = {};  // whose records `position_` counts
  uint32_t position_ = 0;
  uint32_t made_before_ = 0;  // requests that were made until `position_`
  Readings readings_ = {};
  Listing listing_ = Listing::All;
  uint64_t count_ = 0;              // of the calls in the log so far
  std::vector<Taken> untold_ = {};  // not in the log yet
  size_t untold_bytes_ = 0;
  size_t to_leave_out_ = 0;           // how many of the calls that are told now may still be left out
  uint32_t left_out_ = 0;             // requests that were left out since the last line
  Clock::time_point next_look_ = {};  // not before
  Clock::time_point untold_since_ = {};
  Clock::time_point taken_at_ = {};  // when something was found last
  Clock::time_point told_at_ = {};
};

/** How many requests programs make in a second. */
class RequestRate {
 public:
  /** Puts the number once a second. @return true when it has changed */
  bool count(const std::shared_ptr<const Attached> &attached, News &news, History &history);

 private:
  using Clock = std::chrono::steady_clock;
  std::shared_ptr<const Attached> counted_ = {};  // whose requests `requests_` are
  uint32_t requests_ = 0;
  uint64_t rate_ = 0;
  Clock::time_point counted_at_ = {};
};

}  // namespace zelsim::web

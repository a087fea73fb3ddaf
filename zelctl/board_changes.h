/** @file
 *  What changes on the board: each round of readings is compared with the round before. */
#ifndef ZELCTL_BOARD_CHANGES_H
#define ZELCTL_BOARD_CHANGES_H

#include <functional>
#include <map>

#include "board_state.h"
#include "event.h"

class BoardChanges {
 public:
  using Tell = std::function<void(const Event &event)>;

  /** @param hot         degrees Celsius from which the board is hot
   *  @param tell_first  also tell the states of the first round
   *  @param tell        gets each event */
  BoardChanges(uint32_t hot, bool tell_first, Tell tell) : hot_(hot), tell_first_(tell_first), tell_(std::move(tell)) {}

  /** Reads the board once and tells what has changed. Throws a Failure in the first round if no
   *  driver answers and a device node cannot be opened. */
  void look();

 private:
  void compare(const Reading &reading);
  void keep(const Reading &reading);
  void compare_answers(const std::vector<Reading> &readings);
  std::string state_before(const std::string &subject) const;
  void put_threshold(Reading &reading) const;
  void note(const std::string &key, Event &event, const std::string &usual);
  void note_first(Event &event);

  const uint32_t hot_;
  const bool tell_first_;
  const Tell tell_;
  // States by subject; "" = no answer yet.
  std::map<std::string, std::string> before_;
  std::map<std::string, std::string> now_;
  bool first_ = true;
};

#endif

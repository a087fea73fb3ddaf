#pragma once

#include <string>

#include "board_file.h"
#include "flash_activity.h"
#include "news.h"

namespace zelsim::web {

/** Tells the changes of a board in their order: what was done to it from outside, and what programs changed. */
class Activity {
 public:
  /** Goes on with a board, which may be another one under the same name. */
  void follow(const BoardFile &file, const std::filesystem::path &folder);
  /** @param now  a copy of the board that is followed */
  void look(const Board &now, News &news);
  /** Tells that a program has read something anew.
   *  @param request  its number in the list of requests */
  void tell_reading(const TraceRecord &record, const std::string &changed, uint64_t request, News &news);
  /** Programs that write to the flash. */
  const FlashActivity &flash() const { return flash_; }

 private:
  /** A line of the activity. */
  struct Entry {
    int64_t at_us;
    std::string who;
    std::string act = {};   // as the board keeps it
    std::string text = {};  // else what happened
    uint32_t number = 0;    // of an act
    uint32_t undoes = 0;    // number of the act that it undoes
    std::string undo = {};  // commands, separated by semicolons, or kNoWayBack
    uint64_t request = 0;   // number of the request that the line tells of; 0: none
    bool barrier = false;   // earlier acts cannot be undone any more
  };
  void add(News &news, const Entry &entry);
  void add(News &news, const FlashLines &lines);
  void begin(const Watch &watch, News &news);
  void count_missed(const Watch &watch, News &news);
  void tell_act(const Watch &watch, News &news);
  void tell_change(const Watch &watch, News &news);

  BoardFile file_ = {};
  std::filesystem::path folder_;
  bool begins_ = true;    // nothing of this board is told yet
  int64_t last_us_ = 0;   // time of the newest entry
  uint32_t acts_ = 0;     // number of acts that are told
  uint32_t changes_ = 0;  // number of the programs' changes that are told
  uint64_t entries_ = 0;
  uint32_t reflashed_ = 0;  // how often the whole flash was replaced until then
  FlashActivity flash_;
};

}  // namespace zelsim::web

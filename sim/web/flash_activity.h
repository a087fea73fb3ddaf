#pragma once

#include <map>
#include <string>
#include <vector>

#include "state.h"

namespace zelsim::web {

/** A line of the activity about the flash. */
struct FlashLine {
  int64_t at_us;
  std::string who;
  std::string text;
};
using FlashLines = std::vector<FlashLine>;

/** A program that writes to the flash. */
struct WritingNow {
  uint32_t process;
  std::string program;
  std::string region;
  uint64_t bytes;  // written since it began
  bool is_all;     // false: the flash was replaced meanwhile, and `bytes` were written since then
};

/** Gathers the writes to the flash, which come by the thousand: of each process only the beginning and, when it is over,
 *  the sum are told. */
class FlashActivity {
 public:
  /** Takes a write or an erase. */
  FlashLines take(const Change &change);
  /** The entry of the log that was taken last may still grow.
   *  @param change  the same entry as it is now */
  void take_growth(const Change &change);
  /** The whole flash was erased or replaced: what was written is gone. */
  void lose_written();
  /** Ends the writing of a process that goes on to something else. */
  FlashLines end_of(uint32_t process);
  /** Ends what has been quiet for a while. */
  FlashLines look();
  bool is_written() const { return !writings_.empty(); }
  /** The writing that has changed last, while is_written(). */
  WritingNow newest() const;

 private:
  struct Writing {
    std::string who;
    std::string region;
    unsigned erased = 0;  // sectors
    uint64_t programmed = 0;
    int64_t last_us = 0;
    bool is_all = true;  // what it has written is there
  };
  static FlashLine sum_of(const Writing &writing);

  std::map<uint32_t, Writing> writings_;  // by process
  uint32_t counted_ = 0;                  // bytes of the entry that was taken last
};

}  // namespace zelsim::web

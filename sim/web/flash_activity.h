#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "copied_file.h"
#include "flash_map.h"
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
  std::string program;
  std::string region;
  uint64_t bytes;   // written to the region since it began with it
  uint32_t left;    // bytes from where it writes to the end of the region
  CopiedFile file;  // may be unknown
};

/** Gathers the writes to the flash, which come by the thousand. Of each process and region it tells only the beginning, and
 *  the sum at the end. */
class FlashActivity {
 public:
  /** Takes a write or an erase. What has been quiet until then was ended before. */
  FlashLines take(const Change &change);
  /** The entry of the log that was taken last may still grow.
   *  @param change  the same entry as it is now */
  void take_growth(const Change &change);
  /** The whole flash was erased or replaced: what was written is gone. */
  void lose_written();
  /** Ends the writing of a process that goes on to something else.
   *  @param change  what it does next */
  FlashLines end_before(const Change &change);
  /** Ends the writings that have been quiet for a while at this time, and those whose process has ended. */
  FlashLines end_quiet(const Watch &watch, int64_t at_us);
  /** Looks how far the copies of files are, and ends what is over.
   *  @param folder  of the board */
  FlashLines look(const Watch &watch, const std::filesystem::path &folder);
  /** True while processes write, or may go on to write. */
  bool is_waiting() const { return !writers_.empty(); }
  /** The process that writes. Of several: one that is known to run, and of those the one that has begun first. */
  std::optional<WritingNow> first() const;
  /** How the last writing has ended, if its process has ended in the middle of a write or an erase; else empty. */
  const std::string &broken_off() const { return broken_off_; }
  /** The sector that a program has written or erased last, since the flash was erased or replaced as a whole. */
  std::optional<uint32_t> last_sector() const { return last_sector_; }

 private:
  struct Writer {
    std::string who;
    const tool::FlashRegion *region = nullptr;  // that it has written last
    bool goes_on = false;
    int64_t began_us = 0;  // the first write after a quiet time
    int64_t last_us = 0;   // the newest write, or the last look at a long one
    // In this region, since the process began with it.
    unsigned erased = 0;  // sectors
    uint64_t programmed = 0;
    uint32_t place = 0;  // address behind what was written last
    // These two go on from region to region.
    Run run;
    CopiedFile file;
    bool was_alive = false;  // at the last look
    bool is_dead = false;    // seen at the last look, whose copy of the log may be older than the process's end
    bool has_ended = false;  // and all that it did was taken
  };
  static bool comes_before(const Writer &one, const Writer &other);
  static FlashLine line_of(const Writer &writer, const std::string &text);
  static std::string sum_of(const Writer &writer);
  void put_place(Writer &writer, const Change &change, uint32_t bytes);
  FlashLines end_lines(uint32_t process, const Writer &writer, const std::string &unfinished);

  std::map<uint32_t, Writer> writers_;  // by process
  uint32_t counted_ = 0;                // bytes of the entry that was taken last
  uint32_t newest_ = 0;                 // process that has written last
  std::optional<uint32_t> last_sector_;
  std::string broken_off_;
};

}  // namespace zelsim::web

#include "flash_activity.h"

#include <fcntl.h>

#include <algorithm>
#include <iterator>

#include "change_text.h"
#include "nodes.h"
#include "strays.h"
#include "trace.h"

namespace zelsim::web {
namespace {

constexpr int64_t kQuietUs = 2000000;  // without a write: then the writing is over

const tool::FlashRegion *region_of(uint32_t sector) {
  for (const tool::FlashRegion &region : tool::flash_regions()) {
    if (sector >= region.first_sector && sector < region.end_sector()) return &region;
  }
  return nullptr;
}

std::string count_text(uint64_t count, const std::string &noun) {
  std::string plural = count == 1 ? "" : "s";
  return std::to_string(count) + ' ' + noun + plural;
}

// Each long write and each erase takes a place among the users, and frees it at its end.
bool is_inside_a_write(const Watch &watch, uint32_t process) {
  return std::ranges::find(watch.flash_users, process) != std::end(watch.flash_users);
}

// How a process that has ended has left the flash. Empty unless it certainly ended in the middle of a write or an erase.
// That a file was written in part proves nothing: the process may have wanted no more of it.
std::string unfinished_text(const Watch &watch, uint32_t process, const CopiedFile &file) {
  if (!is_inside_a_write(watch, process)) return "";
  std::string text = "ended in the middle of a write or an erase";
  if (!file.is_known()) return text;
  return text + ", after " + std::to_string(file.done()) + " of " + std::to_string(file.size()) + " bytes of " +
         file.name();
}

}  // namespace

FlashLine FlashActivity::line_of(const Writer &writer, const std::string &text) {
  return {writer.last_us, writer.who, std::string("flash, ") + writer.region->name + ": " + text};
}

std::string FlashActivity::sum_of(const Writer &writer) {
  return count_text(writer.erased, "sector") + " erased, " + count_text(writer.programmed, "byte") + " written";
}

// An entry of writes has in `before` the address behind the last byte. In a board of an earlier zelsim it may have none.
void FlashActivity::put_place(Writer &writer, const Change &change, uint32_t bytes) {
  writer.place = change.address * kSectorSize;
  last_sector_ = change.address;
  bool has_end = change.kind == ChangeKind::FlashWrite && change.before >= bytes && change.before <= kFlashSize;
  if (!has_end) return;
  uint32_t start = change.before - bytes;
  if (writer.run.end != start) writer.run = {start, start, true};
  writer.run.end = change.before;
  writer.place = change.before;
  if (bytes > 0) last_sector_ = (change.before - 1) / kSectorSize;
}

FlashLines FlashActivity::take(const Change &change) {
  FlashLines lines;
  const tool::FlashRegion *region = region_of(change.address);
  if (region == nullptr) return lines;
  Writer &writer = writers_[change.process];
  bool is_first = writer.region == nullptr;
  if (is_first) writer.began_us = change.at_us;
  if (writer.region != region) lines = end_before(change);
  bool erases = change.kind == ChangeKind::FlashErase;
  writer.last_us = change.at_us;
  newest_ = change.process;
  if (!writer.goes_on) {
    writer.who = program_of(change);
    writer.region = region;
    writer.goes_on = true;
    writer.erased = 0;
    writer.programmed = 0;
    lines.push_back(line_of(writer, erases ? "begins to erase" : "begins to write"));
  }
  if (erases) ++writer.erased;
  writer.programmed += change.after;
  put_place(writer, change, change.after);
  counted_ = change.after;
  broken_off_.clear();
  return lines;
}

void FlashActivity::take_growth(const Change &change) {
  auto found = writers_.find(change.process);
  bool grows = change.kind == ChangeKind::FlashWrite && change.after > counted_;
  if (!grows || found == writers_.end()) return;
  Writer &writer = found->second;
  uint32_t bytes = change.after - counted_;
  writer.programmed += bytes;
  put_place(writer, change, bytes);
  writer.last_us = host_time_us();
  newest_ = change.process;
  counted_ = change.after;
}

void FlashActivity::lose_written() {
  for (auto &[process, writer] : writers_) {
    writer.programmed = 0;
    writer.run = {writer.run.end, writer.run.end, false};
    writer.file = {};
  }
  last_sector_.reset();
  broken_off_.clear();
}

// A write that has grown has the time of the last look at it, which may be later than this change.
FlashLines FlashActivity::end_before(const Change &change) {
  auto found = writers_.find(change.process);
  bool is_written = found != writers_.end() && found->second.goes_on;
  if (!is_written) return {};
  Writer &writer = found->second;
  writer.goes_on = false;
  writer.last_us = std::min(writer.last_us, change.at_us);
  return {line_of(writer, sum_of(writer))};
}

bool FlashActivity::comes_before(const Writer &one, const Writer &other) {
  if (one.was_alive != other.was_alive) return one.was_alive;
  return one.began_us < other.began_us;
}

std::optional<WritingNow> FlashActivity::first() const {
  const Writer *first = nullptr;
  for (const auto &[process, writer] : writers_) {
    if (!writer.goes_on) continue;
    if (first == nullptr || comes_before(writer, *first)) first = &writer;
  }
  if (first == nullptr) return std::nullopt;
  const tool::FlashRegion &region = *first->region;
  uint32_t end = region.start() + region.size();
  uint32_t left = end - std::clamp(first->place, region.start(), end);
  return WritingNow{first->who, region.name, first->programmed, left, first->file};
}

// What a process has left unfinished is told also if it has done something else in between.
FlashLines FlashActivity::end_lines(uint32_t process, const Writer &writer, const std::string &unfinished) {
  FlashLines lines;
  std::string text = unfinished;
  if (writer.goes_on) {
    text = sum_of(writer);
    if (!unfinished.empty()) text += "; " + unfinished;
  }
  if (!text.empty()) lines.push_back(line_of(writer, text));
  bool is_newest = process == newest_;
  if (is_newest && !unfinished.empty()) broken_off_ = writer.who + ' ' + unfinished;
  return lines;
}

// What a process did just before its end may not be in this copy of the board, but it is in the next one.
FlashLines FlashActivity::look(const Watch &watch, const std::filesystem::path &folder) {
  if (writers_.empty()) return {};
  sys::File flash(sys::open((folder.native() + kFlashFile).c_str(), O_RDONLY | O_CLOEXEC));
  for (auto &[process, writer] : writers_) {
    writer.file.look(process, writer.run, flash.get());
    bool is_alive = tool::lives(process);
    writer.has_ended = writer.is_dead;
    writer.is_dead = writer.was_alive && !is_alive;
    writer.was_alive = is_alive;
    if (is_alive && is_inside_a_write(watch, process)) writer.last_us = host_time_us();
  }
  return end_quiet(watch, host_time_us());
}

FlashLines FlashActivity::end_quiet(const Watch &watch, int64_t at_us) {
  FlashLines lines;
  for (auto at = writers_.begin(); at != writers_.end();) {
    auto &[process, writer] = *at;
    bool is_quiet = at_us - writer.last_us > kQuietUs;
    if (!is_quiet && !writer.has_ended) {
      ++at;
      continue;
    }
    std::string unfinished;
    if (!tool::lives(process)) unfinished = unfinished_text(watch, process, writer.file);
    std::ranges::copy(end_lines(process, writer, unfinished), std::back_inserter(lines));
    at = writers_.erase(at);
  }
  return lines;
}

}  // namespace zelsim::web

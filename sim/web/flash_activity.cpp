#include "flash_activity.h"

#include <algorithm>

#include "change_text.h"
#include "flash_map.h"
#include "trace.h"

namespace zelsim::web {
namespace {

constexpr int64_t kQuietUs = 2000000;  // without a write: then the writing is over

std::string region_of(unsigned sector) {
  for (const tool::FlashRegion &region : tool::flash_regions()) {
    if (sector >= region.first_sector && sector < region.end_sector()) return region.name;
  }
  return tool::kUnusedRegion;
}

}  // namespace

FlashLine FlashActivity::sum_of(const Writing &writing) {
  std::string sum =
      std::to_string(writing.erased) + " sectors erased, " + std::to_string(writing.programmed) + " bytes written";
  return {writing.last_us, writing.who, "flash, " + writing.region + ": " + sum};
}

FlashLines FlashActivity::take(const Change &change) {
  FlashLines lines;
  bool erases = change.kind == ChangeKind::FlashErase;
  Writing &writing = writings_[change.process];
  bool was_over = !writing.who.empty() && change.at_us - writing.last_us > kQuietUs;
  if (was_over) {
    lines.push_back(sum_of(writing));
    writing = {};
  }
  if (writing.who.empty()) {
    writing.who = program_of(change);
    writing.region = region_of(change.address);
    std::string what = erases ? "erase" : "write";
    lines.push_back({change.at_us, writing.who, "flash, " + writing.region + ": begins to " + what});
  }
  if (erases) ++writing.erased;
  writing.programmed += change.after;
  writing.last_us = change.at_us;
  counted_ = change.after;
  return lines;
}

void FlashActivity::take_growth(const Change &change) {
  auto found = writings_.find(change.process);
  bool grows = change.kind == ChangeKind::FlashWrite && change.after > counted_;
  if (!grows || found == writings_.end()) return;
  found->second.programmed += change.after - counted_;
  found->second.last_us = host_time_us();
  counted_ = change.after;
}

void FlashActivity::lose_written() {
  for (auto &[process, writing] : writings_) {
    writing.programmed = 0;
    writing.is_all = false;
  }
}

FlashLines FlashActivity::end_of(uint32_t process) {
  auto found = writings_.find(process);
  if (found == writings_.end()) return {};
  FlashLines lines = {sum_of(found->second)};
  writings_.erase(found);
  return lines;
}

WritingNow FlashActivity::newest() const {
  auto is_older = [](const auto &one, const auto &other) { return one.second.last_us < other.second.last_us; };
  const auto &[process, writing] = *std::ranges::max_element(writings_, is_older);
  return {process, writing.who, writing.region, writing.programmed, writing.is_all};
}

FlashLines FlashActivity::look() {
  FlashLines lines;
  int64_t now_us = host_time_us();
  for (auto at = writings_.begin(); at != writings_.end();) {
    const Writing &writing = at->second;
    if (now_us - writing.last_us <= kQuietUs) {
      ++at;
      continue;
    }
    lines.push_back(sum_of(writing));
    at = writings_.erase(at);
  }
  return lines;
}

}  // namespace zelsim::web

#include "requests.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "request_entry.h"
#include "web.h"

namespace zelsim::web {
namespace {

constexpr size_t kMostRequests = 5000;  // in the log
constexpr size_t kMostLines = 4000;     // told at once
constexpr size_t kMostOfFlood = 1000;   // told at once while more come
// If a look finds more bytes than this, the next one is later: looks cost time that programs want.
constexpr uint32_t kMuch = 0x4000;
constexpr std::chrono::milliseconds kRest{90};
constexpr size_t kFlood = 0x10000;                 // bytes that wait to be told: more is a flood
constexpr std::chrono::milliseconds kMoment{100};  // without a request: the flood has ended

// Reads and writes of the flash are texts; so are pauses, which are no requests.
bool is_request(const TracedCall &call) {
  bool moves_bytes = call.text.starts_with("flash read") || call.text.starts_with("flash write");
  return call.record.node != Node::None || moves_bytes;
}

/** Reads a record from what was taken. Returns false at its end, and where it is damaged. */
bool read_record(const std::string &bytes, size_t at, TraceRecord &record) {
  if (at + sizeof record > bytes.size()) return false;
  std::memcpy(&record, bytes.data() + at, sizeof record);
  return record.size >= sizeof record && at + record.size <= bytes.size() && record.node <= Node::Flash;
}

size_t count_records(const std::string &bytes) {
  size_t count = 0;
  TraceRecord record = {};
  for (size_t at = 0; read_record(bytes, at, record); at += record.size) ++count;
  return count;
}

}  // namespace

// Records that were written before are not taken.
void Requests::begin_following(const std::shared_ptr<const Attached> &attached) {
  attached_ = attached;
  position_ = attached->board->watch.written;
  made_before_ = attached->board->watch.requests;
  untold_.clear();
  untold_bytes_ = 0;
  readings_ = {};
}

// Takes the bytes that were written since the last time, and asks for more. Programs wait meanwhile. If there was no room for
// all of them, it takes what is there.
void Requests::take_bytes(const std::shared_ptr<const Attached> &attached) {
  Board &board = *attached->board;
  Guard guard(board, Intent::Look);
  if (attached_ != attached) begin_following(attached);
  Watch &watch = board.watch;
  watch.wanted = watch.written + kCommonRoom;
  watch.wanted_failures = watch.wanted + kFailuresRoom;
  uint32_t size = watch.written - position_;
  uint32_t begin = position_ % kWatchedBytes;
  position_ = watch.written;
  if (size > kMuch) next_look_ = Clock::now() + kRest;
  if (size == 0) return;
  taken_at_ = Clock::now();
  if (untold_.empty()) untold_since_ = taken_at_;
  Taken &taken = untold_.emplace_back();
  taken.misses_more = size >= kCommonRoom;
  taken.misses_failures = size >= kCommonRoom + kFailuresRoom;
  taken.made = watch.requests - made_before_;
  made_before_ = watch.requests;
  if (size > kWatchedBytes) return;  // other readers asked for more, too, and it is overwritten
  untold_bytes_ += size;
  taken.bytes.reserve(size);
  uint32_t before_end = std::min(size, kWatchedBytes - begin);
  const auto *records = reinterpret_cast<const char *>(attached->records);
  taken.bytes.append(records + begin, before_end);
  taken.bytes.append(records, size - before_end);
}

// A program counts a request before it records it: the number may be a few too high.
bool Requests::tell_missed(uint32_t missed, bool may_have_failed, News &news) const {
  if (listing_ == Listing::Noticing) return false;
  std::string failures = may_have_failed ? ",\"failures\":true" : "";
  news.add(kRequestsLog, "{\"missed\":" + std::to_string(missed) + failures + '}', kMostRequests);
  return true;
}

// Returns false if nobody is told.
bool Requests::tell(const TracedCall &call, News &news, Activity &activity) {
  const ToldReading reading = readings_.take(call);
  bool is_noticed = reading.is_of_world && !reading.changed.empty();
  if (listing_ == Listing::Noticing && !is_noticed) return false;
  bool matters = has_failed(call.record) || call.record.fault != 0 || !reading.changed.empty();
  if (to_leave_out_ > 0) {
    --to_leave_out_;
    if (!matters) {
      if (is_request(call)) ++left_out_;
      return false;
    }
  }
  if (left_out_ > 0) tell_missed(left_out_, false, news);
  left_out_ = 0;
  ++count_;
  news.add(kRequestsLog, entry_of(call, reading, count_), kMostRequests, matters);
  if (is_noticed) activity.tell_reading(call.record, reading.changed, count_, news);
  return true;
}

// Most requests of a flood repeat others. Returns false for a request that is to be told, or may be.
bool Requests::leave_out_repeated(const TraceRecord &record, std::string_view bytes) {
  bool is_noticing = listing_ == Listing::Noticing;
  bool may_leave_out = (is_noticing || to_leave_out_ > 0) && record.fault == 0;
  if (!may_leave_out || !readings_.take_repeated(record, bytes)) return false;
  if (is_noticing) return true;
  --to_leave_out_;
  ++left_out_;
  return true;
}

// The first records are of all requests. Those behind kCommonRoom are of failures only: requests between them were missed, and
// may have read anything.
bool Requests::tell(const Taken &taken, News &news, Activity &activity) {
  const std::string &bytes = taken.bytes;
  size_t at = 0;
  uint32_t found = 0;  // requests
  bool has_told = false;
  bool is_behind_gap = false;
  TraceRecord record = {};
  while (read_record(bytes, at, record)) {
    if (!is_behind_gap && at >= kCommonRoom) {
      readings_.miss_some();
      is_behind_gap = true;
    }
    std::string_view rest = std::string_view(bytes).substr(at + sizeof record, record.size - sizeof record);
    at += record.size;
    if (leave_out_repeated(record, rest)) {
      ++found;
      continue;
    }
    TracedCall call = traced_call(record, std::string(rest));
    if (is_request(call)) ++found;
    if (tell(call, news, activity)) has_told = true;
  }
  bool is_damaged = at < bytes.size();
  if (taken.misses_more || is_damaged) readings_.miss_some();
  if (!taken.misses_more) return has_told;
  uint32_t missed = taken.made > found ? taken.made - found : 0;
  const bool is_told = tell_missed(missed + left_out_, taken.misses_failures || bytes.empty(), news);
  left_out_ = 0;
  return has_told || is_told;
}

bool Requests::tell_taken(News &news, Activity &activity) {
  size_t count = 0;
  for (const Taken &taken : untold_) count += count_records(taken.bytes);
  bool goes_on = Clock::now() - taken_at_ < kMoment;
  size_t most = goes_on ? kMostOfFlood : kMostLines;
  to_leave_out_ = count > kMostLines ? count - most : 0;
  if (listing_ == Listing::Noticing) to_leave_out_ = 0;
  bool has_told = false;
  for (const Taken &taken : untold_) {
    if (tell(taken, news, activity)) has_told = true;
  }
  untold_.clear();
  untold_bytes_ = 0;
  return has_told;
}

void Requests::pause(News &news, Activity &activity) {
  tell_taken(news, activity);
  attached_ = nullptr;
}

bool Requests::is_due() const {
  constexpr std::chrono::milliseconds kPause{250};
  constexpr std::chrono::milliseconds kLongest{1000};
  if (untold_.empty()) return false;
  Clock::time_point now = Clock::now();
  bool is_flood = untold_bytes_ > kFlood && now - taken_at_ < kMoment;
  if (is_flood) return now - untold_since_ >= kLongest;
  return now - told_at_ >= kPause;
}

// What was taken is told as the readers of this moment want it.
bool Requests::take(const std::shared_ptr<const Attached> &attached, Listing listing, News &news, Activity &activity) {
  if (attached_ != attached || Clock::now() >= next_look_) take_bytes(attached);
  if (!is_due()) return false;
  listing_ = listing;
  told_at_ = Clock::now();
  return tell_taken(news, activity);
}

bool RequestRate::count(const std::shared_ptr<const Attached> &attached, News &news, History &history) {
  Clock::time_point now = Clock::now();
  std::chrono::duration<double> passed = now - counted_at_;
  if (counted_ == attached && passed.count() < 1) return false;
  uint32_t requests = __atomic_load_n(&attached->board->watch.requests, __ATOMIC_RELAXED);
  uint64_t rate = counted_ == attached ? static_cast<uint64_t>((requests - requests_) / passed.count()) : 0;
  bool changed = rate != rate_ || counted_ != attached;
  counted_ = attached;
  counted_at_ = now;
  requests_ = requests;
  rate_ = rate;
  history.record("rate", static_cast<double>(rate));
  if (changed) news.put("rate", std::to_string(rate));
  return changed;
}

}  // namespace zelsim::web

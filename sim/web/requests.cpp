#include "requests.h"

#include <algorithm>
#include <cstring>

#include "request_entry.h"
#include "web.h"

namespace zelsim::web {
namespace {

constexpr size_t kMostRequests = 4000;
constexpr uint32_t kLongestRecord = 1024;
constexpr uint32_t kRoom = kWatchedBytes - kLongestRecord;  // the last record may go beyond it
// Where much comes, the next look is later: what is looked at costs time that programs want.
constexpr uint32_t kMuch = kWatchedBytes / 4;
constexpr std::chrono::milliseconds kRest{90};

// Reads and writes of the flash are texts; so are pauses, which are no requests.
bool is_request(const TracedCall &call) {
  bool moves_bytes = call.text.starts_with("flash read") || call.text.starts_with("flash write");
  return call.record.node != Node::None || moves_bytes;
}

// A program that is just making a request has counted it, and has not recorded it yet: the number may be a few too high.
std::string missed_entry(uint32_t made, uint32_t told) {
  uint32_t missed = made > told ? made - told : 0;
  return R"({"missed":)" + std::to_string(missed) + '}';
}

}  // namespace

// What was written before is not taken.
void Requests::begin_following(const std::shared_ptr<const Attached> &attached) {
  attached_ = attached;
  position_ = attached->board->watch.written;
  made_ = attached->board->watch.requests;
  untold_.clear();
  readings_ = {};
}

// Takes the bytes that were written since, and asks for more. If there was no room for all of them, what is there is
// taken all the same. Programs wait meanwhile.
void Requests::take_bytes(const std::shared_ptr<const Attached> &attached) {
  Board &board = *attached->board;
  Guard guard(board, Intent::Look);
  if (attached_ != attached) begin_following(attached);
  Watch &watch = board.watch;
  watch.wanted = watch.written + kRoom;
  uint32_t size = watch.written - position_;
  uint32_t begin = position_ % kWatchedBytes;
  position_ = watch.written;
  if (size > kMuch) next_look_ = Clock::now() + kRest;
  if (size == 0) return;
  Taken &taken = untold_.emplace_back();
  taken.misses_more = size >= kRoom;
  taken.made = watch.requests - made_;
  made_ = watch.requests;
  if (size > kWatchedBytes) return;  // other readers asked for more, too, and it is overwritten
  uint32_t before_end = std::min(size, kWatchedBytes - begin);
  const auto *records = reinterpret_cast<const char *>(watch.records);
  taken.bytes.append(records + begin, before_end);
  taken.bytes.append(records, size - before_end);
}

// Returns false if nobody is told.
bool Requests::tell(const TracedCall &call, News &news, Activity &activity) {
  ++count_;
  const ToldReading reading = readings_.take(call);
  bool is_noticed = reading.is_of_world && !reading.changed.empty();
  if (listing_ == Listing::Noticing && !is_noticed) return false;
  news.add(kRequestsLog, entry_of(call, reading, count_), kMostRequests);
  if (is_noticed) activity.tell_reading(call.record, reading.changed, count_, news);
  return true;
}

// What is missed may have read anything.
bool Requests::tell(const Taken &taken, News &news, Activity &activity) {
  const std::string &bytes = taken.bytes;
  size_t at = 0;
  uint32_t told = 0;
  bool has_told = false;
  while (at + sizeof(TraceRecord) <= bytes.size()) {
    TraceRecord record = {};
    std::memcpy(&record, bytes.data() + at, sizeof record);
    bool whole = record.size >= sizeof record && at + record.size <= bytes.size() && record.node <= Node::Flash;
    if (!whole) break;
    std::string rest = bytes.substr(at + sizeof record, record.size - sizeof record);
    TracedCall call = traced_call(record, rest);
    if (is_request(call)) ++told;
    has_told = tell(call, news, activity) || has_told;
    at += record.size;
  }
  bool misses_some = taken.misses_more || at < bytes.size();
  if (misses_some) readings_.miss_some();
  if (!taken.misses_more || listing_ == Listing::Noticing) return has_told;
  news.add(kRequestsLog, missed_entry(taken.made, told), kMostRequests);
  return true;
}

bool Requests::tell_taken(News &news, Activity &activity) {
  bool has_told = false;
  for (const Taken &taken : untold_) has_told = tell(taken, news, activity) || has_told;
  untold_.clear();
  return has_told;
}

void Requests::pause(News &news, Activity &activity) {
  tell_taken(news, activity);
  attached_ = nullptr;
}

// The requests until now are told as they were asked for.
bool Requests::take(const std::shared_ptr<const Attached> &attached, Listing listing, News &news, Activity &activity) {
  constexpr std::chrono::milliseconds kPause{250};
  Clock::time_point now = Clock::now();
  if (attached_ != attached || now >= next_look_) take_bytes(attached);
  if (untold_.empty() || now - told_at_ < kPause) return false;
  listing_ = listing;
  told_at_ = now;
  return tell_taken(news, activity);
}

bool Requests::count_rate(const std::shared_ptr<const Attached> &attached, News &news, History &history) {
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

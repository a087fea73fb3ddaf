#include "requests.h"

#include <cstring>

#include "trace.h"
#include "web.h"

namespace zelsim::web {
namespace {

constexpr size_t kMostRequests = 4000;

// Behind the record stand the bytes of the request before and after; of any other call a text.
std::string line_of(const TraceRecord &record, const std::string &bytes) {
  if (record.node == Node::None) return bytes;
  RequestEvent event = {};
  event.node = record.node;
  event.number = record.number;
  event.request = request_of(record.node, record.number);
  event.result = record.result;
  event.error = record.error;
  event.address = record.address;
  size_t half = std::min(bytes.size() / 2, sizeof event.before);
  std::memcpy(event.before, bytes.data(), half);
  std::memcpy(event.after, bytes.data() + bytes.size() / 2, half);
  constexpr size_t kLongestLine = 1024;
  char text[kLongestLine];
  return {text, request_line(event, text, sizeof text)};
}

Json entry_of(const TraceRecord &record, const std::string &bytes) {
  std::string program(record.program, strnlen(record.program, sizeof record.program));
  Json entry = {{"at", static_cast<double>(record.at_us) / 1000},
                {"pid", record.process},
                {"program", program},
                {"us", record.duration_us},
                {"line", line_of(record, bytes)},
                {"result", record.result == kNoTraceResult ? Json() : Json(record.result)}};
  if (record.result < 0 && record.result != kNoTraceResult) {
    const char *name = strerrorname_np(record.error);
    entry["error"] = name != nullptr ? name : std::to_string(record.error);
  }
  if (record.fault != 0) entry["fault"] = record.fault;
  if (record.has_record != 0 && !bytes.empty()) {
    auto half = std::span(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size() / 2);
    entry["before"] = hex_text(half);
  }
  return entry;
}

}  // namespace

// Takes the bytes that were written since, and asks for more. False if there was no room for all of them: what is there
// is taken all the same. Programs wait meanwhile.
bool Requests::take_bytes(const std::shared_ptr<const Attached> &attached) {
  constexpr uint32_t kLongestRecord = 1024;
  constexpr uint32_t kRoom = kWatchedBytes - kLongestRecord;  // the last record may go beyond it
  Board &board = *attached->board;
  Guard guard(board, Intent::Look);
  Watch &watch = board.watch;
  if (attached_ != attached) {
    position_ = watch.written;
    untold_.clear();
  }
  attached_ = attached;
  watch.wanted = watch.written + kRoom;
  uint32_t size = watch.written - position_;
  uint32_t begin = position_ % kWatchedBytes;
  position_ = watch.written;
  if (size > kWatchedBytes) return false;  // other readers asked for more, too, and it is overwritten
  uint32_t before_end = std::min(size, kWatchedBytes - begin);
  const auto *records = reinterpret_cast<const char *>(watch.records);
  untold_.append(records + begin, before_end);
  untold_.append(records, size - before_end);
  return size < kRoom;
}

bool Requests::tell(News &news) {
  std::string bytes = std::move(untold_);
  untold_.clear();
  size_t at = 0;
  while (at + sizeof(TraceRecord) <= bytes.size()) {
    TraceRecord record = {};
    std::memcpy(&record, bytes.data() + at, sizeof record);
    bool whole = record.size >= sizeof record && at + record.size <= bytes.size() && record.node <= Node::Flash;
    if (!whole) break;
    std::string rest = bytes.substr(at + sizeof record, record.size - sizeof record);
    news.add(kRequestsLog, text_of(entry_of(record, rest)), kMostRequests);
    at += record.size;
  }
  return !bytes.empty();
}

bool Requests::take(const std::shared_ptr<const Attached> &attached, News &news) {
  constexpr std::chrono::milliseconds kPause{300};
  bool all_taken = take_bytes(attached);
  Clock::time_point now = Clock::now();
  if (all_taken && now - told_at_ < kPause) return false;
  bool has_told = tell(news);
  if (!all_taken) news.add(kRequestsLog, R"({"missed":true})", kMostRequests);
  if (has_told || !all_taken) told_at_ = now;
  return has_told || !all_taken;
}

bool Requests::count_rate(const std::shared_ptr<const Attached> &attached, News &news) {
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
  if (changed) news.put("rate", std::to_string(rate));
  return changed;
}

}  // namespace zelsim::web

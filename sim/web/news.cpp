#include "news.h"

#include <algorithm>
#include <chrono>

namespace zelsim::web {
namespace {

constexpr std::chrono::seconds kSilence{2};  // after it the connection is tried

/** A JSON object that is written member by member. */
struct ObjectText {
  std::string text;
  void add(const std::string &name, const std::string &value) {
    text += text.empty() ? "{\"" : ",\"";
    text += name + "\":" + value;
  }
};

}  // namespace

void News::put(const std::string &name, const std::string &text) {
  std::lock_guard lock(mutex_);
  Part &part = parts_[name];
  if (part.text == text) return;
  ++version_;
  part = {text, version_};
}

void News::add(const std::string &log, const std::string &text, size_t most) {
  std::lock_guard lock(mutex_);
  Log &all = logs_[log];
  all.entries.push_back(text);
  ++all.count;
  if (all.entries.size() > most) all.entries.pop_front();
}

void News::publish() {
  std::lock_guard lock(mutex_);
  ++turn_;
  published_.notify_all();
}

// A reader that comes too late for some entries of a log gets their number instead.
std::string News::news_for(Reader &reader) const {
  ObjectText news;
  for (const auto &[name, part] : parts_) {
    if (part.version > reader.version) news.add(name, part.text);
  }
  reader.version = version_;
  for (const auto &[name, log] : logs_) {
    if (name == kRequestsLog && !reader.wants_requests) continue;
    bool is_first = !reader.known.contains(name);
    uint64_t &known = reader.known[name];
    uint64_t oldest = log.count - log.entries.size();
    if (known < oldest && !is_first) news.add(name + "_missed", std::to_string(oldest - known));
    known = std::max(known, oldest);
    if (known == log.count) continue;
    std::string entries;
    for (; known < log.count; ++known) {
      entries += entries.empty() ? "[" : ",";
      entries += log.entries[known - oldest];
    }
    news.add(name, entries + "]");
  }
  return news.text.empty() ? news.text : news.text + '}';
}

std::string News::next(Reader &reader) {
  auto end = std::chrono::steady_clock::now() + kSilence;
  std::string text;
  std::unique_lock lock(mutex_);
  while (text.empty()) {
    bool has_turned = published_.wait_until(lock, end, [&] { return turn_ != reader.turn; });
    if (!has_turned) break;
    reader.turn = turn_;
    text = news_for(reader);
  }
  return text;
}

}  // namespace zelsim::web

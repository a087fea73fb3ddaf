#include "news.h"

#include <algorithm>
#include <chrono>

namespace zelsim::web {
namespace {

constexpr std::chrono::seconds kSilence{2};  // after it the connection is tried

// Adds a member to the text of a JSON object, which has no braces yet.
void add_member(std::string &object, const std::string &name, const std::string &value) {
  if (!object.empty()) object += ',';
  object += '"' + name + "\":" + value;
}

// In milliseconds. With it a page knows how far the board's clock has gone on since the part was put.
std::string age_of(std::chrono::steady_clock::time_point put_at) {
  auto age = std::chrono::steady_clock::now() - put_at;
  return std::to_string(std::chrono::duration_cast<std::chrono::milliseconds>(age).count());
}

}  // namespace

void News::put(const std::string &name, const std::string &text) {
  std::lock_guard lock(mutex_);
  Part &part = parts_[name];
  if (part.text == text) return;
  ++version_;
  part = {text, version_, std::chrono::steady_clock::now()};
}

void News::add(const std::string &log, const std::string &text, size_t most, bool matters) {
  constexpr size_t kMostEarlier = 4000;
  std::lock_guard lock(mutex_);
  Log &all = logs_[log];
  all.entries.push_back({text, all.count, matters});
  ++all.count;
  if (all.entries.size() <= most) return;
  if (all.entries.front().matters) all.earlier.push_back(std::move(all.entries.front()));
  if (all.earlier.size() > kMostEarlier) {
    all.forgotten = all.earlier.front().number + 1;
    all.earlier.pop_front();
  }
  all.entries.pop_front();
}

void News::change_entries(const std::string &log, std::string (*changed)(const std::string &entry)) {
  std::lock_guard lock(mutex_);
  for (Entry &entry : logs_[log].entries) entry.text = changed(entry.text);
}

void News::publish() {
  std::lock_guard lock(mutex_);
  ++turn_;
  published_.notify_all();
}

std::string News::parts_for(Reader &reader) const {
  std::string news;
  for (const auto &[name, part] : parts_) {
    if (part.version <= reader.version) continue;
    add_member(news, name, part.text);
    if (name == kBoardPart) add_member(news, "board_age", age_of(part.put_at));
  }
  reader.version = version_;
  return news;
}

// What a reader gets instead of the entries for which it comes too late: those that matter, and the number of the others.
std::string News::missed_entries(uint64_t known, const Log &log) {
  std::string entries;
  uint64_t missed = log.count - log.entries.size() - known;
  for (const Entry &entry : log.earlier) {
    if (entry.number < known) continue;
    entries += ',' + entry.text;
    --missed;
  }
  const char *failures = known < log.forgotten ? ",\"failures\":true" : "";
  return "{\"missed\":" + std::to_string(missed) + failures + '}' + entries;
}

// For entries that a slow reader misses it gets only their number, except in the log of the requests.
std::string News::entries_for(Reader &reader, const std::string &name, const Log &log) {
  std::string news;
  bool is_first = !reader.known.contains(name);
  uint64_t &known = reader.known[name];
  uint64_t oldest = log.count - log.entries.size();
  if (known == log.count) return news;
  std::string entries;
  bool misses_some = known < oldest && !is_first;
  if (misses_some && name == kRequestsLog) entries = missed_entries(known, log);
  if (misses_some && name != kRequestsLog) add_member(news, name + "_missed", std::to_string(oldest - known));
  known = std::max(known, oldest);
  for (; known < log.count; ++known) {
    if (!entries.empty()) entries += ',';
    entries += log.entries[known - oldest].text;
  }
  add_member(news, name, '[' + entries + ']');
  return news;
}

std::vector<std::string> News::news_for(Reader &reader) const {
  std::string news = parts_for(reader);
  std::string requests;
  for (const auto &[name, log] : logs_) {
    if (name == kRequestsLog) {
      if (reader.wants_requests) requests = entries_for(reader, name, log);
      continue;
    }
    std::string entries = entries_for(reader, name, log);
    if (!news.empty() && !entries.empty()) news += ',';
    news += entries;
  }
  std::vector<std::string> objects;
  if (!news.empty()) objects.push_back('{' + news + '}');
  if (!requests.empty()) objects.push_back('{' + requests + '}');
  return objects;
}

std::vector<std::string> News::next(Reader &reader) {
  auto end = std::chrono::steady_clock::now() + kSilence;
  std::vector<std::string> news;
  std::unique_lock lock(mutex_);
  while (news.empty()) {
    bool has_turned = published_.wait_until(lock, end, [&] { return turn_ != reader.turn; });
    if (!has_turned) break;
    reader.turn = turn_;
    news = news_for(reader);
  }
  return news;
}

}  // namespace zelsim::web

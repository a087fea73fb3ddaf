#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <vector>

// The news that many pages follow, kept once. Of a part only the last state counts; of a log each entry counts.

namespace zelsim::web {

/** Most streams that may be open at once. */
constexpr unsigned kMostReaders = 64;

/** How much of the news a page knows already. */
struct Reader {
  bool wants_requests = false;
  uint64_t turn = 0;
  uint64_t version = 0;
  std::map<std::string, uint64_t> known = {};  // number of entries, by log
};

constexpr char kRequestsLog[] = "requests";
constexpr char kBoardPart[] = "board";

class News {
 public:
  /** Sets a part, as JSON. A part that has not changed is no news. */
  void put(const std::string &name, const std::string &text);
  /** Adds an entry, as JSON, to a log that keeps the last `most`.
   *  @param matters  a slow reader gets this entry also after the log has dropped it */
  void add(const std::string &log, const std::string &text, size_t most, bool matters = false);
  /** Changes the entries of a log, for readers that come later. */
  void change_entries(const std::string &log, std::string (*changed)(const std::string &entry));
  /** Gives the readers what was put and added. */
  void publish();
  /** What is new to a reader, as JSON objects; the requests are an object of their own. Waits some seconds for news;
   *  returns nothing if none come. */
  std::vector<std::string> next(Reader &reader);

 private:
  struct Part {
    std::string text;
    uint64_t version;
    std::chrono::steady_clock::time_point put_at;
  };
  struct Entry {
    std::string text;
    uint64_t number;  // among all entries that were ever added, from 0
    bool matters;
  };
  struct Log {
    std::deque<Entry> entries;
    std::deque<Entry> earlier;  // dropped from `entries`, but they matter
    uint64_t forgotten = 0;     // `earlier` has none before this number any more
    uint64_t count = 0;         // of all entries that were ever added
  };
  std::string parts_for(Reader &reader) const;
  static std::string missed_entries(uint64_t known, const Log &log);
  static std::string entries_for(Reader &reader, const std::string &name, const Log &log);
  std::vector<std::string> news_for(Reader &reader) const;

  std::mutex mutex_;
  std::condition_variable published_;
  uint64_t turn_ = 0;     // how often news was published
  uint64_t version_ = 0;  // of the part that changed last
  std::map<std::string, Part> parts_;
  std::map<std::string, Log> logs_;
};

}  // namespace zelsim::web

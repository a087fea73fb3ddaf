#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <string>

// What many pages follow, kept once: parts, of which the last state counts, and logs, of which each entry counts.

namespace zelsim::web {

/** Most streams that may be open at once. */
constexpr unsigned kMostReaders = 64;

/** How much of the news a page knows already. */
struct Reader {
  bool wants_requests = false;
  uint64_t turn = 0, version = 0;
  std::map<std::string, uint64_t> known = {};  // entries of each log
};

constexpr char kRequestsLog[] = "requests";

class News {
 public:
  /** Puts a part, as JSON. One that has not changed is no news. */
  void put(const std::string &name, const std::string &text);
  /** Adds an entry, as JSON, to a log that keeps the last `most`. */
  void add(const std::string &log, const std::string &text, size_t most);
  /** Lets the readers have what was put and added. */
  void publish();
  /** What is new to a reader, as a JSON object; empty when nothing was for some seconds. */
  std::string next(Reader &reader);

 private:
  struct Part {
    std::string text;
    uint64_t version;
  };
  struct Log {
    std::deque<std::string> entries;
    uint64_t count = 0;  // of all that were ever added
  };
  std::string news_for(Reader &reader) const;

  std::mutex mutex_;
  std::condition_variable published_;
  uint64_t turn_ = 0, version_ = 0;
  std::map<std::string, Part> parts_;
  std::map<std::string, Log> logs_;
};

}  // namespace zelsim::web

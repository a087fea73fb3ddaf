#include <chrono>
#include <map>
#include <thread>

#include "web.h"

// Sources. Each has a thread, which sleeps most of the time while the source has no readers.

namespace zelsim::web {

void Source::run() {
  constexpr std::chrono::seconds kIdle{1};
  for (;;) {
    bool has_readers = false;
    {
      std::unique_lock lock(mutex_);
      has_readers = asked_.wait_for(lock, kIdle, [this] { return readers_ > 0; });
    }
    if (has_readers) {
      turn();
    } else {
      idle_turn();
    }
  }
}

void Source::add_reader(const Reader &reader) {
  std::lock_guard lock(mutex_);
  ++readers_;
  if (reader.wants_requests) ++readers_of_requests_;
  asked_.notify_one();
}

void Source::remove_reader(const Reader &reader) {
  --readers_;
  if (reader.wants_requests) --readers_of_requests_;
}

Source &source_of(const std::string &board) {
  constexpr size_t kMostSources = 256;
  static std::mutex mutex;
  static std::map<std::string, std::unique_ptr<Source>> sources;
  std::lock_guard lock(mutex);
  if (auto found = sources.find(board); found != sources.end()) return *found->second;
  if (sources.size() >= kMostSources) throw Failure("events: as many boards are followed as can be");
  std::unique_ptr<Source> &made = sources[board];
  made = board == kRack ? make_rack_source() : make_board_source(board);
  std::thread([source = made.get()] { source->run(); }).detach();
  return *made;
}

}  // namespace zelsim::web

#include <chrono>
#include <map>
#include <stdexcept>
#include <thread>

#include "boards.h"
#include "web.h"

// Sources. Each has a thread, which sleeps most of the time while the source has no readers.

namespace zelsim::web {
namespace {

std::mutex sources_mutex;
std::map<std::string, std::shared_ptr<Source>> sources;

/** Takes a source out of the table, unless somebody else has it. */
bool forget(const std::string &board, const std::shared_ptr<Source> &source) {
  constexpr long kOwners = 2;  // the table and the source's thread
  std::lock_guard lock(sources_mutex);
  if (source.use_count() > kOwners) return false;
  sources.erase(board);
  return true;
}

void follow(const std::string &board, const std::shared_ptr<Source> &source) {
  bool goes_on = true;
  while (goes_on) {
    bool is_there = source->step();
    goes_on = is_there || !forget(board, source);
  }
}

}  // namespace

// A folder or a process may go while it is looked at. The next turn looks again.
void Source::try_turn() {
  constexpr std::chrono::milliseconds kAfterFailure{500};
  try {
    turn();
  } catch (const std::runtime_error &) {
    std::this_thread::sleep_for(kAfterFailure);
  }
}

bool Source::step() {
  constexpr std::chrono::seconds kIdle{1};
  constexpr unsigned kMostEmptyTurns = 60;
  bool is_asked = false;
  {
    std::unique_lock lock(mutex_);
    is_asked = asked_.wait_for(lock, kIdle, [this] { return readers_ > 0; });
  }
  if (is_asked) {
    try_turn();
    empty_turns_ = 0;
  } else if (idle_turn()) {
    empty_turns_ = 0;
  } else {
    ++empty_turns_;
  }
  return empty_turns_ < kMostEmptyTurns;
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

std::shared_ptr<Source> source_of(const std::string &board) {
  constexpr size_t kMostSources = 256;
  std::lock_guard lock(sources_mutex);
  if (auto found = sources.find(board); found != sources.end()) return found->second;
  if (sources.size() >= kMostSources) throw Failure("events: too many boards are followed");
  std::shared_ptr<Source> made = board == kRack ? make_rack_source() : make_board_source(board);
  sources[board] = made;
  std::thread([board, made] { follow(board, made); }).detach();
  return made;
}

void keep_histories(const std::string &board) {
  constexpr std::chrono::seconds kPause{2};
  for (;;) {
    try {
      tool::Words names = {board};
      if (board == kRack) names = tool::board_names();
      for (const std::string &name : names) source_of(name);
    } catch (const std::runtime_error &) {
      // More boards than can be followed: those that are followed go on.
    }
    std::this_thread::sleep_for(kPause);
  }
}

}  // namespace zelsim::web

#pragma once

#include <sys/types.h>

#include <atomic>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>

#include "tool.h"

// The web server of one board: who watches the board for all pages, what a page may do, and what it may ask for.

namespace httplib {
class Server;
}

namespace zelsim::web {

struct Settings {
  std::string board, address, token;
  int port;
};

/** How much of the news a page knows already. */
struct Reader {
  bool wants_requests = false;
  uint64_t turn = 0, version = 0;
  std::shared_ptr<const Attached> board = {};  // whose lines of the trace `position` counts
  uint32_t position = 0;
};

/** Most pages that may be open at once. */
constexpr unsigned kMostReaders = 64;

/** The flash's sectors as they were counted, so that only those are counted again which have changed. */
struct Sectors {
  bool counted;
  Flash counters;
  uint32_t reflashed;
  uint16_t used[kSectors];
};
/** Erases, and pages of 256 bytes in use, of each sector; brings `known` up to date. */
Json sectors_document(const std::string &board, Sectors &known);

/** Waits for changes of a board, once for all pages, and keeps what they show as parts with a version each. */
class Watcher {
 public:
  explicit Watcher(std::string board) : board_(std::move(board)) {}

  /** Watches whenever there are readers; never returns. */
  void run();

  /** False when there are too many. */
  bool add_reader();
  void remove_reader() { --readers_; }

  /** What is new to a reader, as a JSON object; empty when nothing was for some seconds. */
  std::string next(Reader &reader);

 private:
  using Part = std::pair<std::string, uint64_t>;  // its text and version
  bool is_same() const;
  void attach();
  uint32_t publish();
  std::string news(Reader &reader) const;

  const std::string board_;
  std::mutex mutex_;
  std::condition_variable published_, asked_;
  std::atomic<unsigned> readers_ = 0;
  uint64_t turn_ = 0, version_ = 0;  // of publishing, of the parts
  std::map<std::string, Part> parts_;
  std::shared_ptr<const Attached> attached_;
  std::filesystem::path folder_;  // of what is attached
  ino_t state_file_ = 0;
  Sectors sectors_ = {};
};

/** Does what zelsim's command of this name does, with its arguments in `body`, a JSON object, and tells it as a command
 *  line. Throws tool::Usage or Failure. */
std::string act(const std::string &board, const std::string &name, const std::string &body);
/** The commands that act() knows. */
Json actions();

/** What the module in the cage of a port says of itself. */
Json module_document(const std::string &board, unsigned port);

/** Says what is refused and why, as the pages' programs get it. */
Json refusal(const std::string &text);

void add_pages(httplib::Server &server, const Settings &settings, Watcher &watcher);

}  // namespace zelsim::web

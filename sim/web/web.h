#pragma once

#include <sys/types.h>

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "history.h"
#include "news.h"
#include "tool.h"

// The web server: who follows boards for all pages, what a page may do, and what it may ask for.

namespace httplib {
class Server;
struct Request;
struct Response;
}  // namespace httplib

namespace zelsim::web {

class FlashActivity;

/** Stands for all boards in the place of a board's name. No board can have this name. */
constexpr char kRack[] = "*";

struct Settings {
  std::string board;               // its name; "" for the default board; or kRack
  std::string address;             // in lower case
  std::string token;               // empty: none is asked for
  std::vector<std::string> hosts;  // further names of this server, in lower case
  int port;
};

/** Says what is refused and why, as the pages' programs get it. */
Json refusal(const std::string &text);
void refuse(httplib::Response &response, int status, const std::string &text);

/** A name in lower case. */
std::string lower(std::string text);
/** True for a request that may reach a board; else the response says why not. */
bool admits(const Settings &settings, const httplib::Request &request, httplib::Response &response);
/** NAME=VALUE of the cookie with the token. */
std::string cookie(const Settings &settings);

/** JSON as the pages get it, on one line. */
std::string text_of(const Json &value);

/** Follows a board, or all boards, for the pages, while there are readers. The history goes on without them. */
class Source {
 public:
  virtual ~Source() = default;
  /** Takes one step, which waits.
   *  @return false when nobody reads, and what is followed has been gone for some time */
  bool step();
  void add_reader(const Reader &reader);
  void remove_reader(const Reader &reader);
  News news;
  History history;

 protected:
  /** Looks once, publishes, and waits for the next change. */
  virtual void turn() = 0;
  /** Looks once, from time to time while there are no readers. Returns false when there is nothing to look at. */
  virtual bool idle_turn() { return true; }
  bool has_readers() const { return readers_ > 0; }
  bool has_readers_of_requests() const { return readers_of_requests_ > 0; }

 private:
  void try_turn();

  std::mutex mutex_;
  std::condition_variable asked_;
  std::atomic<unsigned> readers_ = 0;
  std::atomic<unsigned> readers_of_requests_ = 0;
  unsigned empty_turns_ = 0;  // idle turns in a row that found nothing
};

/** The source of a board, or of kRack; it is made when first asked for. Throws Failure when there are too many. */
std::shared_ptr<Source> source_of(const std::string &board);
/** Starts the history of a board at once, or with kRack of every board. Never returns. */
[[noreturn]] void keep_histories(const std::string &board);
std::unique_ptr<Source> make_board_source(const std::string &board);
std::unique_ptr<Source> make_rack_source();

/** The pages in use, by sector, as they were counted last. Only sectors that have changed are counted again. */
struct Sectors {
  bool counted;  // false: never yet
  Flash counters;
  uint32_t reflashed;
  uint16_t used[kSectors];
};
/** A copy of a board without the records of the trace. Programs wait while it is made. */
std::unique_ptr<Board> copy_of(Board &board);
/** The number of erases and of pages in use of each sector. Brings `known` up to date. */
Json sectors_document(const std::filesystem::path &folder, const Board &board, Sectors &known);
/** Compares a board with a saved state. Gives the numbers of the sectors whose bytes differ, the number of erases since the
 *  state was saved, the ports whose module differs from the state's, the faults that the state does not have, and the parts
 *  of the board's document that differ. */
Json difference_document(const std::string &board, const std::string &state);
/** Bytes of the flash as hexadecimal digits. */
Json bytes_document(const std::string &board, uint32_t start, uint32_t size);

/** Which program writes where in the flash, how far it is, and the file that it copies, if that is known. Null while nobody
 *  writes. */
Json writing_document(const FlashActivity &flash);
/** The same from the log of a board that nobody follows. */
Json writing_now(const Watch &watch, const std::filesystem::path &folder);

/** The JSON object in the body of a request; an empty one for no body. Throws tool::Usage for anything else. */
Json object_of(const std::string &body);

/** Does a command of zelsim.
 *  @param name  of the command
 *  @param body  its arguments, as a JSON object
 *  @return the command line. Throws tool::Usage or Failure. */
std::string act(const std::string &board, const std::string &name, const std::string &body);
/** Does commands of zelsim as one act.
 *  @param body  a JSON object: `acts`, each with its `action` and fields; `title`; `whole`: all of them or none; for an undo
 *               `undoes`, the number of the act that is meant, and `newest`, the number of the newest act that the page knows
 *  @return the command lines that were `done`, what was `refused`, and for an undo as `passed` the later acts that cannot be
 *          undone */
Json act_together(const std::string &board, const std::string &body);
/** The commands that act() knows. */
Json actions();

/** The decoded pages of the module in a port's cage. */
Json module_document(const std::string &board, unsigned port);

/** What a rack shows of a board. */
Json summary_of(const Board &board);

void add_pages(httplib::Server &server, const Settings &settings);

}  // namespace zelsim::web

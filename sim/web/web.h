#pragma once

#include <sys/types.h>

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "news.h"
#include "tool.h"

// The web server: who follows boards for all pages, what a page may do, and what it may ask for.

namespace httplib {
class Server;
struct Request;
struct Response;
}  // namespace httplib

namespace zelsim::web {

/** Stands for all boards where one could be named; no board can have this name. */
constexpr char kRack[] = "*";

struct Settings {
  std::string board;  // its name, "" for the one that the command line takes without a name, or kRack
  std::string address;
  std::string token;               // empty: none is asked for
  std::vector<std::string> hosts;  // further names of this server
  int port;
};

/** Says what is refused and why, as the pages' programs get it. */
Json refusal(const std::string &text);
void refuse(httplib::Response &response, int status, const std::string &text);

/** True for a request that may reach a board; else the response says why not. */
bool admits(const Settings &settings, const httplib::Request &request, httplib::Response &response);
/** NAME=VALUE of the cookie that brings the token. */
std::string cookie(const Settings &settings);

/** JSON as the pages get it, on one line. */
std::string text_of(const Json &value);

/** Looks at something for all who follow it, as long as anybody does. */
class Source {
 public:
  virtual ~Source() = default;
  /** Never returns. */
  void run();
  void add_reader(const Reader &reader);
  void remove_reader(const Reader &reader);
  News news;

 protected:
  /** Looks once, publishes, and waits for the next change. */
  virtual void turn() = 0;
  unsigned readers_of_requests() const { return readers_of_requests_; }

 private:
  std::mutex mutex_;
  std::condition_variable asked_;
  std::atomic<unsigned> readers_ = 0, readers_of_requests_ = 0;
};

/** The source of a board, or of kRack; it is made when first asked for. Throws Failure when there are too many. */
Source &source_of(const std::string &board);
std::unique_ptr<Source> make_board_source(const std::string &board);
std::unique_ptr<Source> make_rack_source();

/** The flash's sectors as they were counted, so that only those are counted again which have changed. */
struct Sectors {
  bool counted;
  Flash counters;
  uint32_t reflashed;
  uint16_t used[kSectors];
};
/** Erases, and pages of 256 bytes in use, of each sector; brings `known` up to date. */
Json sectors_document(const std::filesystem::path &folder, const Board &board, Sectors &known);
/** Bytes of the flash as hexadecimal digits. */
Json bytes_document(const std::string &board, uint32_t start, uint32_t size);

/** Does what zelsim's command of this name does, with its arguments in `body`, a JSON object, and tells it as a command
 *  line. Throws tool::Usage or Failure. */
std::string act(const std::string &board, const std::string &name, const std::string &body);
/** The commands that act() knows. */
Json actions();

/** What the module in the cage of a port says of itself. */
Json module_document(const std::string &board, unsigned port);

/** What a rack shows of a board. */
Json summary_of(const Board &board);

void add_pages(httplib::Server &server, const Settings &settings);

}  // namespace zelsim::web

#pragma once

#include <httplib.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>

// The way of a request to its answer, and of the answer to its client. One thread collects the requests of all connections
// in a table, so a slow client costs only a row of it. A whole request goes to a worker. If the client does not take its
// answer at once, the rest of the answer goes back to the table: a worker does not wait for a client. Only a stream keeps its
// worker; there is one for each stream.

namespace zelsim::web {

/** Limits of what a client may send and how long it may take. */
constexpr size_t kLongestHead = 0x2000;
constexpr size_t kLongestBody = 0x10000;
constexpr size_t kMostConnections = 1000;
constexpr std::chrono::seconds kRequestTime{5};

/** A web server whose connections are handled here. */
class Front : public httplib::Server {
 public:
  /** Takes over the listening socket that bind_to_port has made, with `workers` threads; never returns. */
  void run(int listening, unsigned workers);

 private:
  using Clock = std::chrono::steady_clock;
  struct Connection {
    int socket;
    std::string bytes = {};
    size_t length = 0;  // of the request at the beginning of the bytes, once it is whole
    Clock::time_point deadline = Clock::now() + kRequestTime;
    bool told_to_go_ahead = false;
    bool runs_ahead = false;  // its next request came before the answer to the last one
    std::string unsent = {};  // of the answer
    bool ends = false;        // when the answer is sent
  };
  struct Collection;
  void work();
  void answer(Connection &connection);
  void queue(Connection connection);
  bool has_work() const;
  void collect(Collection &collection);

  std::mutex mutex_;
  std::condition_variable ready_;
  std::deque<Connection> whole_;     // with a request that is whole
  std::deque<Connection> ahead_;     // the same, of connections that run ahead: these come after the others
  unsigned ahead_at_work_ = 0;       // workers that answer connections that run ahead
  std::deque<Connection> answered_;  // whose next request is waited for, or whose client takes the rest of an answer
  int wake_ = -1;                    // an eventfd: something has been answered
};

}  // namespace zelsim::web

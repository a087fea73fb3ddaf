#pragma once

#include <httplib.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>

// The way of a request to its answer. One thread collects the requests of all connections, so that a client that is slow
// costs a row of a table; a request that is whole goes to one of some workers, which never wait for its client.

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
  };
  struct Collection;
  void work();
  bool answer(const Connection &connection);
  void collect(Collection &collection);

  std::mutex mutex_;
  std::condition_variable ready_;
  std::deque<Connection> whole_;     // with a request that is whole
  std::deque<Connection> answered_;  // whose next request is waited for
  int wake_ = -1;                    // an eventfd: something has been answered
};

}  // namespace zelsim::web

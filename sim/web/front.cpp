#include "front.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <thread>
#include <vector>

#include "request_text.h"
#include "web.h"

namespace zelsim::web {
namespace {

using namespace std::chrono_literals;

constexpr auto kIdleTime = 15s;     // until the next request on a connection
constexpr int kWriteTimeMs = 5000;  // until a client takes some bytes

/** A request that is here as a whole, and the socket for its answer. */
class WholeRequest : public httplib::Stream {
 public:
  WholeRequest(int socket, std::string_view text) : socket_(socket), rest_(text) {}
  bool is_readable() const override { return !rest_.empty(); }
  /** Asked between two events of a stream: false when the client has gone, too. */
  bool is_writable() const override { return can_take_bytes(POLLRDHUP); }
  ssize_t read(char *to, size_t size) override {
    size = std::min(size, rest_.size());
    std::memcpy(to, rest_.data(), size);
    rest_.remove_prefix(size);
    return static_cast<ssize_t>(size);
  }
  ssize_t write(const char *from, size_t size) override {
    if (!can_take_bytes(0)) return -1;
    return send(socket_, from, size, MSG_NOSIGNAL | MSG_DONTWAIT);
  }
  void get_remote_ip_and_port(std::string &, int &) const override {}
  void get_local_ip_and_port(std::string &, int &) const override {}
  int socket() const override { return socket_; }

 private:
  bool can_take_bytes(short ends) const {
    pollfd one = {socket_, static_cast<short>(POLLOUT | ends), 0};
    return poll(&one, 1, kWriteTimeMs) > 0 && (one.revents & (POLLERR | POLLHUP | ends)) == 0;
  }

  int socket_;
  std::string_view rest_;
};

void refuse_request(int socket, const char *status, const std::string &why) {
  std::string body = refusal(why).dump() + "\n";
  std::string text = std::string("HTTP/1.1 ") + status +
                     "\r\nConnection: close\r\nCache-Control: no-store\r\nContent-Type: application/json\r\n"
                     "Content-Length: " +
                     std::to_string(body.size()) + "\r\n\r\n" + body;
  send(socket, text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
}

void refuse_request(int socket, Progress progress) {
  if (progress == Progress::HeadTooLong)
    refuse_request(socket, "431 Request Header Fields Too Large", "request: its head is longer than 8 KiB");
  if (progress == Progress::BodyTooLong) refuse_request(socket, "413 Payload Too Large", "body: longer than 64 KiB");
  if (progress == Progress::Malformed) refuse_request(socket, "400 Bad Request", "request: not understood");
}

/** What becomes of a connection after a look at it. */
enum class Fate { Waits, GoesToWorker, Ends };

}  // namespace

/** The connections whose requests are not whole yet. */
struct Front::Collection {
  int listening;
  std::vector<Connection> waiting;
  std::vector<pollfd> polled;

  void wait(int wake);
  void accept_all();
  bool take_bytes(Connection &connection) const;
  Fate look_at(Connection &connection, short events) const;
  static bool is_late(const Connection &connection);
  static Fate fate_of(const Connection &connection, const RequestText &text, bool gone);
  static void send_go_ahead(Connection &connection);
  static void refuse_and_close(const Connection &connection, const RequestText &text);
};

// The first two are what is listened on, and what wakes.
void Front::Collection::wait(int wake) {
  polled = {{listening, POLLIN, 0}, {wake, POLLIN, 0}};
  auto next = Clock::now() + std::chrono::hours(1);
  for (const Connection &connection : waiting) {
    polled.push_back({connection.socket, POLLIN, 0});
    next = std::min(next, connection.deadline);
  }
  auto rest = std::chrono::ceil<std::chrono::milliseconds>(next - Clock::now()).count();
  poll(polled.data(), polled.size(), static_cast<int>(std::max<int64_t>(rest, 0)));
}

// With too many connections the one that has been silent for longest makes room.
void Front::Collection::accept_all() {
  for (;;) {
    int socket = accept4(listening, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (socket < 0) return;
    int yes = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    if (waiting.size() >= kMostConnections) {
      auto oldest = std::ranges::min_element(waiting, {}, &Connection::deadline);
      close(oldest->socket);
      waiting.erase(oldest);
    }
    waiting.push_back({socket});
  }
}

// False when the client has gone.
bool Front::Collection::take_bytes(Connection &connection) const {
  char piece[0x4000];
  ssize_t size = recv(connection.socket, piece, sizeof piece, 0);
  if (size < 0) return errno == EAGAIN || errno == EINTR;
  // A request has its time from its first byte on.
  if (connection.bytes.empty()) connection.deadline = std::min(connection.deadline, Clock::now() + kRequestTime);
  connection.bytes.append(piece, static_cast<size_t>(size));
  return size > 0;
}

bool Front::Collection::is_late(const Connection &connection) { return Clock::now() >= connection.deadline; }

Fate Front::Collection::fate_of(const Connection &connection, const RequestText &text, bool gone) {
  if (text.progress == Progress::Whole) return Fate::GoesToWorker;
  if (text.progress != Progress::Incomplete) return Fate::Ends;
  if (gone || is_late(connection)) return Fate::Ends;
  return Fate::Waits;
}

void Front::Collection::send_go_ahead(Connection &connection) {
  constexpr char kGoAhead[] = "HTTP/1.1 100 Continue\r\n\r\n";
  send(connection.socket, kGoAhead, sizeof kGoAhead - 1, MSG_NOSIGNAL | MSG_DONTWAIT);
  connection.told_to_go_ahead = true;
}

void Front::Collection::refuse_and_close(const Connection &connection, const RequestText &text) {
  if (text.progress != Progress::Incomplete) {
    refuse_request(connection.socket, text.progress);
  } else if (is_late(connection) && !connection.bytes.empty()) {
    refuse_request(connection.socket, "408 Request Timeout", "request: not whole within 5 seconds");
  }
  shutdown(connection.socket, SHUT_WR);
  // Reads what the client still sends: otherwise a reset could overtake the refusal.
  for (;;) {
    char rest[0x4000];
    ssize_t size = recv(connection.socket, rest, sizeof rest, MSG_DONTWAIT);
    if (size <= 0) break;
  }
  close(connection.socket);
}

// Takes what a client has sent. A connection that ends is closed.
Fate Front::Collection::look_at(Connection &connection, short events) const {
  bool gone = events != 0 && !take_bytes(connection);
  RequestText text = measure_request(connection.bytes);
  if (!gone && text.wants_go_ahead && !connection.told_to_go_ahead) send_go_ahead(connection);
  Fate fate = fate_of(connection, text, gone);
  if (fate == Fate::GoesToWorker) connection.length = text.length;
  if (fate == Fate::Ends) refuse_and_close(connection, text);
  return fate;
}

void Front::collect(Collection &collection) {
  collection.wait(wake_);
  uint64_t count = 0;
  bool answered = read(wake_, &count, sizeof count) > 0;
  std::vector<Connection> rest;
  for (size_t i = 0; i < collection.waiting.size(); ++i) {
    Connection &connection = collection.waiting[i];
    Fate fate = collection.look_at(connection, collection.polled[i + 2].revents);
    if (fate == Fate::Waits) {
      rest.push_back(std::move(connection));
    } else if (fate == Fate::GoesToWorker) {
      std::lock_guard lock(mutex_);
      whole_.push_back(std::move(connection));
      ready_.notify_one();
    }
  }
  collection.waiting = std::move(rest);
  if (answered) {
    std::lock_guard lock(mutex_);
    for (Connection &connection : answered_) {
      // A client may have sent its next request at once.
      if (!connection.bytes.empty()) eventfd_write(wake_, 1);
      collection.waiting.push_back(std::move(connection));
    }
    answered_.clear();
  }
  collection.accept_all();
}

// True when the connection goes on.
bool Front::answer(const Connection &connection) {
  WholeRequest stream(connection.socket, std::string_view(connection.bytes).substr(0, connection.length));
  bool closes = false;
  // Later versions of the server library are told both ends of the connection. Nothing here asks for them.
  auto process = [&](auto &server) {
    if constexpr (requires { server.process_request(stream, false, closes, nullptr); })
      return server.process_request(stream, false, closes, nullptr);
    else
      return server.process_request(stream, "", 0, "", 0, false, closes, nullptr);
  };
  return process(*this) && !closes;
}

void Front::work() {
  for (;;) {
    std::unique_lock lock(mutex_);
    ready_.wait(lock, [this] { return !whole_.empty(); });
    Connection connection = std::move(whole_.front());
    whole_.pop_front();
    lock.unlock();
    if (!answer(connection)) {
      close(connection.socket);
      continue;
    }
    Connection next = {connection.socket, connection.bytes.substr(connection.length)};
    if (next.bytes.empty()) next.deadline = Clock::now() + kIdleTime;
    lock.lock();
    answered_.push_back(std::move(next));
    lock.unlock();
    eventfd_write(wake_, 1);
  }
}

void Front::run(int listening, unsigned workers) {
  wake_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  fcntl(listening, F_SETFL, O_NONBLOCK);
  for (unsigned i = 0; i < workers; ++i) std::thread([this] { work(); }).detach();
  Collection collection = {listening, {}, {}};
  for (;;) collect(collection);
}

}  // namespace zelsim::web

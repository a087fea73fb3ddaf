#include "front.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>
#include <vector>

#include "request_text.h"
#include "web.h"

namespace zelsim::web {
namespace {

using namespace std::chrono_literals;

constexpr auto kIdleTime = 15s;       // until the next request on a connection
constexpr auto kNoRoomTime = 100ms;   // until the next accept, when there is no descriptor left
constexpr int kWriteTimeMs = 5000;    // until a client takes some bytes
constexpr int kSocketRoom = 0x40000;  // for what a client has not taken yet
constexpr unsigned kMostAhead = 4;    // workers on requests of clients that do not wait for answers
constexpr size_t kOwn = 2;            // entries of the poll before the connections': the listening socket, the eventfd

// Sends what the client takes now, and removes it from the text. Returns false when the client has gone.
bool send_some(int socket, std::string &text) {
  ssize_t sent = send(socket, text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
  if (sent < 0) return errno == EAGAIN || errno == EINTR;
  text.erase(0, static_cast<size_t>(sent));
  return true;
}

/** A whole request, and its answer. The answer is kept until take_answer(). A stream is not kept: its events go to the client
 *  as they come. */
class WholeRequest : public httplib::Stream {
 public:
  WholeRequest(int socket, std::string_view text) : socket_(socket), rest_(text) {}
  bool is_readable() const override { return !rest_.empty(); }
  /** Asked between two events of a stream. False also when the client has gone. */
  bool is_writable() const override { return !streams_ || can_take_bytes(POLLRDHUP); }
  ssize_t read(char *to, size_t size) override {
    size = std::min(size, rest_.size());
    std::memcpy(to, rest_.data(), size);
    rest_.remove_prefix(size);
    return static_cast<ssize_t>(size);
  }
  ssize_t write(const char *from, size_t size) override {
    std::string_view bytes(from, size);
    bool begins = answer_.empty();
    if (begins && bytes.find(kEventStream) != std::string_view::npos) streams_ = true;
    if (streams_) {
      if (!can_take_bytes(0)) return -1;
      return send(socket_, from, size, MSG_NOSIGNAL | MSG_DONTWAIT);
    }
    answer_ += bytes;
    return static_cast<ssize_t>(size);
  }
  /** True if the first line was not understood, and fields of the head were not read: they may ask for the end. */
  bool leaves_fields() const { return rest_.find("\r\n\r\n") != std::string_view::npos; }
  /** The answer that was kept. */
  std::string take_answer() { return std::move(answer_); }
  void get_remote_ip_and_port(std::string &, int &) const override {}
  void get_local_ip_and_port(std::string &, int &) const override {}
  int socket() const override { return socket_; }

 private:
  bool can_take_bytes(short ends) const {
    pollfd one = {socket_, static_cast<short>(POLLOUT | ends), 0};
    return poll(&one, 1, kWriteTimeMs) > 0 && (one.revents & (POLLERR | POLLHUP | ends)) == 0;
  }

  static constexpr char kEventStream[] = "Content-Type: text/event-stream";
  int socket_;
  std::string_view rest_;
  std::string answer_;
  bool streams_ = false;
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

// The server library would compress each answer anew, which takes longer than to send it as it is. It would take a body apart
// that is sent as a form, as some clients do with any body. It would tell a client again to go ahead with a body that is here.
void take_as_it_is(httplib::Request &request) {
  request.headers.erase("Accept-Encoding");
  request.headers.erase("Content-Type");
  request.headers.erase("Expect");
}

}  // namespace

/** The connections whose requests are not whole yet. */
struct Front::Collection {
  int listening;
  std::vector<Connection> waiting;
  std::vector<pollfd> polled;

  void wait(int wake);
  void accept_all();
  static bool take_bytes(Connection &connection);
  Fate look_at(Connection &connection, short events) const;
  static bool sends_on(Connection &connection, short events);
  static bool is_late(const Connection &connection);
  static Fate fate_of(const Connection &connection, const RequestText &text, bool gone);
  static void send_go_ahead(Connection &connection);
  static void refuse_and_close(const Connection &connection, const RequestText &text);
};

void Front::Collection::wait(int wake) {
  polled = {{listening, POLLIN, 0}, {wake, POLLIN, 0}};
  auto next = Clock::now() + std::chrono::hours(1);
  for (const Connection &connection : waiting) {
    short awaited = connection.unsent.empty() ? POLLIN : POLLOUT;
    polled.push_back({connection.socket, awaited, 0});
    next = std::min(next, connection.deadline);
  }
  auto rest = std::chrono::ceil<std::chrono::milliseconds>(next - Clock::now()).count();
  poll(polled.data(), polled.size(), static_cast<int>(std::max<int64_t>(rest, 0)));
}

// With too many connections the one whose time ends first makes room.
void Front::Collection::accept_all() {
  for (;;) {
    int socket = accept4(listening, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (socket < 0) {
      bool has_no_room = errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM;
      if (has_no_room) std::this_thread::sleep_for(kNoRoomTime);
      return;
    }
    int yes = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    setsockopt(socket, SOL_SOCKET, SO_SNDBUF, &kSocketRoom, sizeof kSocketRoom);
    if (waiting.size() >= kMostConnections) {
      auto next = std::ranges::min_element(waiting, {}, &Connection::deadline);
      close(next->socket);
      waiting.erase(next);
    }
    waiting.push_back({socket});
  }
}

// False when the client has gone.
bool Front::Collection::take_bytes(Connection &connection) {
  char piece[0x4000];
  ssize_t size = recv(connection.socket, piece, sizeof piece, 0);
  if (size < 0) return errno == EAGAIN || errno == EINTR;
  // A request has its time from its first byte on.
  if (connection.bytes.empty()) connection.deadline = Clock::now() + kRequestTime;
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
    refuse_request(connection.socket, "408 Request Timeout",
                   "request: not whole within " + std::to_string(kRequestTime.count()) + " seconds");
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

// Sends more of an answer. Returns false when the connection is over: its last answer is sent, or the client takes nothing or
// has gone.
bool Front::Collection::sends_on(Connection &connection, short events) {
  if ((events & (POLLERR | POLLHUP)) != 0) return false;
  if ((events & POLLOUT) != 0) {
    if (!send_some(connection.socket, connection.unsent)) return false;
    connection.deadline = Clock::now() + std::chrono::milliseconds(kWriteTimeMs);
  }
  if (!connection.unsent.empty()) return !is_late(connection);
  if (connection.bytes.empty()) connection.deadline = Clock::now() + kIdleTime;
  return !connection.ends;
}

// Takes what a client has sent. A client that has to take an answer first is not read: what it sent before is looked at when
// the answer is sent. A connection that ends is closed.
Fate Front::Collection::look_at(Connection &connection, short events) const {
  if (!connection.unsent.empty()) {
    if (!sends_on(connection, events)) {
      close(connection.socket);
      return Fate::Ends;
    }
    if (!connection.unsent.empty()) return Fate::Waits;
    events = 0;
  }
  bool gone = events != 0 && !take_bytes(connection);
  RequestText text = measure_request(connection.bytes);
  if (!gone && text.wants_go_ahead && !connection.told_to_go_ahead) send_go_ahead(connection);
  Fate fate = fate_of(connection, text, gone);
  if (fate == Fate::GoesToWorker) {
    connection.length = text.length;
    if (connection.bytes.size() > text.length) connection.runs_ahead = true;
  }
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
    Fate fate = collection.look_at(connection, collection.polled[kOwn + i].revents);
    if (fate == Fate::Waits) {
      rest.push_back(std::move(connection));
    } else if (fate == Fate::GoesToWorker) {
      queue(std::move(connection));
    }
  }
  collection.waiting = std::move(rest);
  if (answered) {
    std::lock_guard lock(mutex_);
    for (Connection &connection : answered_) {
      // The client's next request may be here already: the next wait must end at once.
      if (!connection.bytes.empty()) eventfd_write(wake_, 1);
      collection.waiting.push_back(std::move(connection));
    }
    answered_.clear();
  }
  collection.accept_all();
}

void Front::queue(Connection connection) {
  std::lock_guard lock(mutex_);
  std::deque<Connection> &line = connection.runs_ahead ? ahead_ : whole_;
  line.push_back(std::move(connection));
  ready_.notify_one();
}

// Answers a request, and takes it from the connection.
void Front::answer(Connection &connection) {
  WholeRequest stream(connection.socket, std::string_view(connection.bytes).substr(0, connection.length));
  bool closes = false;
  // Later versions of the server library also take the addresses of both ends. Nothing here asks for them: they are empty.
  auto process = [&](auto &server) {
    if constexpr (requires { server.process_request(stream, false, closes, take_as_it_is); })
      return server.process_request(stream, false, closes, take_as_it_is);
    else
      return server.process_request(stream, "", 0, "", 0, false, closes, take_as_it_is);
  };
  connection.ends = !process(*this) || closes || stream.leaves_fields();
  connection.unsent = stream.take_answer();
  if (!send_some(connection.socket, connection.unsent)) {
    connection.unsent.clear();
    connection.ends = true;
  }
  connection.bytes.erase(0, connection.length);
  connection.told_to_go_ahead = false;
  connection.runs_ahead = !connection.bytes.empty();
  bool is_idle = connection.bytes.empty() && connection.unsent.empty();
  if (is_idle) {
    connection.deadline = Clock::now() + kIdleTime;
  } else {
    connection.deadline = Clock::now() + kRequestTime;
  }
}

bool Front::has_work() const { return !whole_.empty() || (!ahead_.empty() && ahead_at_work_ < kMostAhead); }

// Connections that run ahead come after the others.
void Front::work() {
  for (;;) {
    std::unique_lock lock(mutex_);
    ready_.wait(lock, [this] { return has_work(); });
    bool runs_ahead = whole_.empty();
    std::deque<Connection> &line = runs_ahead ? ahead_ : whole_;
    Connection connection = std::move(line.front());
    line.pop_front();
    if (runs_ahead) ++ahead_at_work_;
    lock.unlock();
    answer(connection);
    lock.lock();
    if (runs_ahead) {
      --ahead_at_work_;
      ready_.notify_one();
    }
    bool is_over = connection.ends && connection.unsent.empty();
    if (is_over) {
      close(connection.socket);
      continue;
    }
    answered_.push_back(std::move(connection));
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

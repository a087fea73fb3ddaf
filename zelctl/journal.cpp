#include "journal.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "../cli/program.h"

/** A field is the line "NAME=value". No value of an event has several lines. */
static std::string entry_of(const Event &event) {
  constexpr const char *kWarning = "4";
  constexpr const char *kNotice = "5";
  Fields fields = fields_of(event);
  fields.emplace_back("MESSAGE", event.line());
  fields.emplace_back("PRIORITY", event.trouble ? kWarning : kNotice);
  fields.emplace_back("SYSLOG_IDENTIFIER", kProgram);
  std::string entry;
  for (const auto &[name, value] : fields) entry += name + "=" + value + "\n";
  return entry;
}

static sockaddr_un address_of(const std::string &path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) refuse_argument("--journal-socket", "'" + path + "' is too long");
  std::memcpy(address.sun_path, path.data(), path.size());
  return address;
}

static bool send_to(int fd, const std::string &path, const std::string &entry) {
  const sockaddr_un address = address_of(path);
  const auto *to = reinterpret_cast<const sockaddr *>(&address);
  return sendto(fd, entry.data(), entry.size(), MSG_NOSIGNAL, to, sizeof address) >= 0;
}

/** @return why nobody listens at the address, or nothing */
static std::string why_silent(const sockaddr_un &address) {
  const int probe = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (probe < 0) return std::strerror(errno);
  const bool listens = connect(probe, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
  std::string why = listens ? "" : std::strerror(errno);
  close(probe);
  return why;
}

/** The socket is not connected: a journal that is restarted makes a new socket at the same path. */
Journal::Journal(const std::string &socket_path) : path_(socket_path) {
  const std::string why = why_silent(address_of(path_));
  if (!why.empty()) throw Failure{"--journal: " + path_ + ": " + why};
  fd_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd_ < 0) throw Failure{std::string("--journal: ") + std::strerror(errno)};
  const timeval second{1, 0};
  setsockopt(fd_, SOL_SOCKET, SO_SNDTIMEO, &second, sizeof second);
}

Journal::~Journal() { close(fd_); }

bool Journal::add(const Event &event) const { return send_to(fd_, path_, entry_of(event)); }

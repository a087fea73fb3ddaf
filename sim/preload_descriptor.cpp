#include <fcntl.h>
#include <stdarg.h>
#include <unistd.h>

#include "preload.h"

// Descriptors between their open and their close: duplications, and closes of many at once.

namespace {

using namespace zelsim;

// A duplicate is on the same node as its descriptor.
int duplicated(int from, int to) {
  if (to < 0) return to;
  set_node(to, node_of(from));
  follow_duplicate(from, to);
  return to;
}

}  // namespace

#pragma GCC visibility push(default)
extern "C" {

int close_range(unsigned first, unsigned last, int flags) noexcept {
  int result = behind<close_range>("close_range")(first, last, flags);
  bool closes = result == 0 && (static_cast<unsigned>(flags) & CLOSE_RANGE_CLOEXEC) == 0;
  if (!closes) return result;
  constexpr unsigned kLast = kMaxDescriptor - 1;
  unsigned end = last < kLast ? last : kLast;
  for (unsigned fd = first; fd <= end; ++fd) set_node(static_cast<int>(fd), Node::None);
  return result;
}

void closefrom(int first) noexcept {
  unsigned lowest = first > 0 ? static_cast<unsigned>(first) : 0;
  close_range(lowest, ~0u, 0);
}

// The child of a real vfork uses its parent's memory, but has its own descriptors. Its closes and duplications would change
// the parent's table of nodes. A fork may always stand for a vfork.
pid_t vfork() noexcept { return fork(); }

int dup(int fd) noexcept { return duplicated(fd, behind<dup>("dup")(fd)); }

int dup3(int fd, int wanted, int flags) noexcept { return duplicated(fd, behind<dup3>("dup3")(fd, wanted, flags)); }

int dup2(int fd, int wanted) noexcept {
  if (fd == wanted) return behind<dup2>("dup2")(fd, fd);
  return dup3(fd, wanted, 0);
}

int fcntl(int fd, int command, ...) {
  va_list arguments;
  va_start(arguments, command);
  void *argument = va_arg(arguments, void *);
  va_end(arguments);
  int result = behind<fcntl64>("fcntl64")(fd, command, argument);
  bool duplicates = command == F_DUPFD || command == F_DUPFD_CLOEXEC;
  return duplicates ? duplicated(fd, result) : result;
}

int fcntl64(int fd, int command, ...) __attribute__((alias("fcntl")));

}  // extern "C"
#pragma GCC visibility pop

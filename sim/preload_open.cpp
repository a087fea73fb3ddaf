#include <fcntl.h>
#include <stdarg.h>
#include <unistd.h>

#include "call_names.h"
#include "preload.h"
#include "rules.h"
#include "trace.h"

// Opens and closes of nodes.

namespace {

using namespace zelsim;

int open_real(int folder, const char *path, int flags, mode_t mode) {
  return behind<openat>("openat")(folder, path, flags, mode);
}

int open_file_of_node(Node node, const char *file, int flags) {
  // A device has nothing to create, cut or append to.
  constexpr int kFileOnlyFlags = O_CREAT | O_EXCL | O_TRUNC | O_APPEND;
  FaultCall call = {};
  call.node = node;
  call.kind = Call::Open;
  Fault fault = take_fault(*environment_board()->board, call);
  if (fault.error != 0) return failed(fault.error);
  return open_real(AT_FDCWD, file, flags & ~kFileOnlyFlags, 0);
}

int open_node(Node node, const char *file, int flags) {
  int fd = open_file_of_node(node, file, flags);
  set_node(fd, node);
  if (is_on(kTraceOpensVariable)) trace(fd < 0 ? -1 : 0, "open %s %s", node_name(node), access_name(flags));
  return fd;
}

int open_any(int folder, const char *path, int flags, mode_t mode) {
  Node node = node_of_path(path);
  if (node == Node::None) return open_real(folder, path, flags, mode);
  char file[kFileMax];
  if (file_of(node, file)) return open_node(node, file, flags);
  bool board_is_unusable = errno != 0;  // as environment_board() leaves it
  return board_is_unusable ? -1 : open_real(folder, path, flags, mode);
}

}  // namespace

#pragma GCC visibility push(default)
extern "C" {

// Without O_CREAT the caller gives no mode: what is read then is not used.
int open(const char *path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  int fd = open_any(AT_FDCWD, path, flags, va_arg(arguments, mode_t));
  va_end(arguments);
  return fd;
}

int openat(int folder, const char *path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  int fd = open_any(folder, path, flags, va_arg(arguments, mode_t));
  va_end(arguments);
  return fd;
}

int creat(const char *path, mode_t mode) { return open_any(AT_FDCWD, path, O_CREAT | O_WRONLY | O_TRUNC, mode); }

// A fortified program calls these for an open without a mode.
int __open_2(const char *path, int flags) { return open_any(AT_FDCWD, path, flags, 0); }
int __openat_2(int folder, const char *path, int flags) { return open_any(folder, path, flags, 0); }

int close(int fd) {
  Node node = node_of(fd);
  if (node != Node::None) {
    if (is_on(kTraceOpensVariable)) trace(kNoResult, "close %s", node_name(node));
    set_node(fd, Node::None);  // before the number is free for another thread's open
  }
  return behind<close>("close")(fd);
}

// The names for large files are the same functions: offsets have 64 bits, or do not matter here.
int open64(const char *path, int flags, ...) __attribute__((alias("open")));
int openat64(int folder, const char *path, int flags, ...) __attribute__((alias("openat")));
int creat64(const char *path, mode_t mode) __attribute__((alias("creat")));
int __open64_2(const char *path, int flags) __attribute__((alias("__open_2")));
int __openat64_2(int folder, const char *path, int flags) __attribute__((alias("__openat_2")));

}  // extern "C"
#pragma GCC visibility pop

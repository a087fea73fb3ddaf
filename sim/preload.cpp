#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include "flash.h"
#include "node_table.h"
#include "request.h"
#include "rules.h"
#include "trace.h"

// The libc functions by which programs reach a node. Each asks one question, "is it a node?", and hands everything else
// to the function behind it. The flash node is read and written like a file; the other two only take requests. Programs
// that make system calls of their own are not seen.

namespace {

using namespace zelsim;

int open_real(int folder, const char *path, int flags, mode_t mode) {
  return behind<openat>("openat")(folder, path, flags, mode);
}

int open_node(Node node, const char *file, int flags) {
  constexpr int kFileOnlyFlags =
      O_CREAT | O_EXCL | O_TRUNC | O_APPEND;  // a device has nothing to create, cut, append to
  int error = take_fault(*environment_board()->board, {node, Call::Open, 0, false, 0, 0}).error;
  int fd = error == 0 ? open_real(AT_FDCWD, file, flags & ~kFileOnlyFlags, 0) : -1;
  if (error != 0) errno = error;
  set_node(fd, node);
  constexpr const char *kAccess[] = {"O_RDONLY", "O_WRONLY", "O_RDWR", "O_RDWR"};
  if (is_on(kTraceOpensVariable)) trace(fd < 0 ? -1 : 0, "open %s %s", node_name(node), kAccess[flags & O_ACCMODE]);
  return fd;
}

int open_any(int folder, const char *path, int flags, mode_t mode) {
  char file[kFileMax];
  Node node = node_of_path(path);
  if (file_of(node, file)) return open_node(node, file, flags);
  bool unusable = node != Node::None && errno != 0;
  return unusable ? -1 : open_real(folder, path, flags, mode);
}

/** A node's file stands for the node where a program asks about its path. */
const char *followed(const char *path, char *file) { return file_of(node_of_path(path), file) ? file : path; }

int control_node(Node node, int fd, unsigned long request, void *record) {
  constexpr unsigned long kRequestCode = 0x40012400;
  const Attached *attached = environment_board();
  errno = attached == nullptr ? ENXIO : ENOTTY;
  if (attached == nullptr || (request & 0xffffff00) != kRequestCode) return -1;
  return answer_request(*attached, node, fd, static_cast<uint8_t>(request), record);
}

int duplicated(int from, int to) {
  if (to >= 0) set_node(to, node_of(from));
  return to;
}

int refuse(int error) {
  errno = error;
  return -1;
}

bool is_node(int fd) { return node_of(fd) != Node::None; }

/** Hands a call on a node to the flash's function of that kind; the other nodes refuse it with `error`. */
template <typename Function, typename... Arguments>
auto on_flash(int error, Function function, int fd, Arguments... arguments) {
  using Result = decltype(function(*environment_board(), fd, arguments...));
  const Attached *attached = environment_board();
  if (attached == nullptr) return Result{refuse(ENXIO)};
  return node_of(fd) == Node::Flash ? function(*attached, fd, arguments...) : Result{refuse(error)};
}

// The first piece that is not empty: a short count is as good.
template <typename Function>
ssize_t move_first(Function function, int fd, const iovec *vector, int count) {
  while (count > 1 && vector->iov_len == 0) ++vector, --count;
  iovec piece = count > 0 ? *vector : iovec{};
  return on_flash(EINVAL, function, fd, piece.iov_base, piece.iov_len, kAtPosition);
}

}  // namespace

#pragma GCC visibility push(default)
extern "C" {

// A last argument that the caller did not give is read all the same, and then means nothing.
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

// What a fortified program calls for an open without a mode.
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

int close_range(unsigned first, unsigned last, int flags) noexcept {
  int result = behind<close_range>("close_range")(first, last, flags);
  bool closed = result == 0 && !(flags & CLOSE_RANGE_CLOEXEC);
  for (unsigned fd = first; closed && fd <= last && fd < kMaxDescriptor; ++fd)
    set_node(static_cast<int>(fd), Node::None);
  return result;
}

void closefrom(int first) noexcept { close_range(first > 0 ? static_cast<unsigned>(first) : 0, ~0u, 0); }

int ioctl(int fd, unsigned long request, ...) noexcept {
  va_list arguments;
  va_start(arguments, request);
  void *record = va_arg(arguments, void *);
  va_end(arguments);
  Node node = node_of(fd);
  return node != Node::None ? control_node(node, fd, request, record) : behind<ioctl>("ioctl")(fd, request, record);
}

int dup(int fd) noexcept { return duplicated(fd, behind<dup>("dup")(fd)); }

// The number's old descriptor ends with the duplication.
int dup3(int fd, int wanted, int flags) noexcept {
  if (fd != wanted) set_node(wanted, Node::None);
  return duplicated(fd, behind<dup3>("dup3")(fd, wanted, flags));
}

int dup2(int fd, int wanted) noexcept { return fd == wanted ? behind<dup2>("dup2")(fd, fd) : dup3(fd, wanted, 0); }

int fcntl(int fd, int command, ...) {
  va_list arguments;
  va_start(arguments, command);
  void *argument = va_arg(arguments, void *);
  va_end(arguments);
  int result = behind<fcntl64>("fcntl64")(fd, command, argument);
  return command == F_DUPFD || command == F_DUPFD_CLOEXEC ? duplicated(fd, result) : result;
}

int access(const char *path, int mode) noexcept {
  char file[kFileMax];
  return behind<access>("access")(followed(path, file), mode);
}

int fstatat(int folder, const char *path, struct stat *status, int flags) noexcept {
  char file[kFileMax];
  return behind<fstatat>("fstatat")(folder, followed(path, file), status, flags);
}
int stat(const char *path, struct stat *status) noexcept { return fstatat(AT_FDCWD, path, status, 0); }

int statx(int folder, const char *path, int flags, unsigned mask, struct statx *status) noexcept {
  char file[kFileMax];
  return behind<statx>("statx")(folder, followed(path, file), flags, mask, status);
}

// Pauses are counted instead of slept where the user asked for it; they still advance the board's time.
int usleep(useconds_t microseconds) {
  const Attached *attached = environment_board();
  if (attached != nullptr) trace(kNoResult, "pause %uus", microseconds);
  if (attached == nullptr || !is_on(kFastVariable)) return behind<usleep>("usleep")(microseconds);
  __atomic_add_fetch(&attached->board->paused_us, microseconds, __ATOMIC_RELAXED);
  return 0;
}

ssize_t read(int fd, void *data, size_t size) {
  return is_node(fd) ? on_flash(EINVAL, flash_read, fd, data, size, kAtPosition) : behind<read>("read")(fd, data, size);
}

// What a fortified program calls: the size of its buffer is known.
ssize_t __read_chk(int fd, void *data, size_t size, size_t room) {
  if (size > room) abort();
  return read(fd, data, size);
}

ssize_t write(int fd, const void *data, size_t size) {
  return is_node(fd) ? on_flash(EINVAL, flash_write, fd, data, size, kAtPosition)
                     : behind<write>("write")(fd, data, size);
}

ssize_t pread(int fd, void *data, size_t size, off_t at) {
  return is_node(fd) ? on_flash(EINVAL, flash_read, fd, data, size, at) : behind<pread>("pread")(fd, data, size, at);
}

ssize_t pwrite(int fd, const void *data, size_t size, off_t at) {
  return is_node(fd) ? on_flash(EINVAL, flash_write, fd, data, size, at) : behind<pwrite>("pwrite")(fd, data, size, at);
}

ssize_t readv(int fd, const iovec *vector, int count) {
  return is_node(fd) ? move_first(flash_read, fd, vector, count) : behind<readv>("readv")(fd, vector, count);
}

ssize_t writev(int fd, const iovec *vector, int count) {
  return is_node(fd) ? move_first(flash_write, fd, vector, count) : behind<writev>("writev")(fd, vector, count);
}

off_t lseek(int fd, off_t offset, int whence) noexcept {
  return is_node(fd) ? on_flash(ESPIPE, flash_seek, fd, offset, whence) : behind<lseek>("lseek")(fd, offset, whence);
}

// A device cannot be cut.
int ftruncate(int fd, off_t size) noexcept {
  return is_node(fd) ? refuse(EINVAL) : behind<ftruncate>("ftruncate")(fd, size);
}

// Copies inside the kernel would see the image file; programs fall back to read and write.
ssize_t copy_file_range(int in, off64_t *in_at, int out, off64_t *out_at, size_t size, unsigned flags) {
  if (is_node(in) || is_node(out)) return refuse(EINVAL);
  return behind<copy_file_range>("copy_file_range")(in, in_at, out, out_at, size, flags);
}

ssize_t sendfile(int out, int in, off_t *at, size_t size) noexcept {
  if (is_node(in) || is_node(out)) return refuse(EINVAL);
  return behind<sendfile>("sendfile")(out, in, at, size);
}

// The machine's own offsets have 64 bits: the names for large files are the same functions.
int open64(const char *path, int flags, ...) __attribute__((alias("open")));
int openat64(int folder, const char *path, int flags, ...) __attribute__((alias("openat")));
int creat64(const char *path, mode_t mode) __attribute__((alias("creat")));
int __open64_2(const char *path, int flags) __attribute__((alias("__open_2")));
int __openat64_2(int folder, const char *path, int flags) __attribute__((alias("__openat_2")));
int fcntl64(int fd, int command, ...) __attribute__((alias("fcntl")));

#if __WORDSIZE == 64
#pragma GCC diagnostic ignored "-Wattribute-alias"  // both structures are the same on such a machine
int fstatat64(int folder, const char *path, struct stat64 *status, int flags) noexcept
    __attribute__((alias("fstatat")));
int stat64(const char *path, struct stat64 *status) noexcept __attribute__((alias("stat")));
#endif

// The same functions where an offset has 64 bits; a 32-bit program asks the flash node by the others.
#if __WORDSIZE == 64
ssize_t pread64(int fd, void *data, size_t size, off64_t at) __attribute__((alias("pread")));
ssize_t pwrite64(int fd, const void *data, size_t size, off64_t at) __attribute__((alias("pwrite")));
off64_t lseek64(int fd, off64_t offset, int whence) noexcept __attribute__((alias("lseek")));
int ftruncate64(int fd, off64_t size) noexcept __attribute__((alias("ftruncate")));
ssize_t sendfile64(int out, int in, off64_t *at, size_t size) noexcept __attribute__((alias("sendfile")));
#endif

}  // extern "C"
#pragma GCC visibility pop

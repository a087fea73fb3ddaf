#include "recorder.h"

#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/uio.h>
#include <unistd.h>

#include <atomic>
#include <limits>

#include "preload.h"
#include "recorder_calls.h"

// The recorder's libc functions by which programs reach a node. Each hands its call to the function of the same name behind
// it and writes it down, or answers it from a recording.

namespace zelsim {
namespace {

// Positions of the flash descriptors. The recorder keeps them itself: a question to the driver would be a call that the
// program did not make.
std::atomic<int64_t> g_positions[kMaxDescriptor];

int64_t position_of(int fd) { return in_table(fd) ? g_positions[fd].load(std::memory_order_relaxed) : 0; }
void set_position(int fd, int64_t at) {
  if (in_table(fd)) g_positions[fd].store(at, std::memory_order_relaxed);
}

CallBytes bytes_at(const void *data, size_t size) {
  if (!is_mapped(data)) return {};
  return {static_cast<const uint8_t *>(data), size};
}

template <typename Function>
int open_any(const char *path, int flags, Function function) {
  Node node = node_of_path(path);
  bool is_ours = node != Node::None && (records() || replays());
  if (!is_ours) return function();
  NodeCall call = {.kind = CallKind::Open, .node = node, .flags = flags};
  int fd;
  if (replays()) {
    if (replay(call) < 0) return -1;
    fd = behind<open>("open")("/dev/null", O_RDWR | (flags & O_CLOEXEC));
  } else {
    fd = make_timed(call, function);
    call.fd = fd;
    write_down(call);
  }
  if (fd >= 0) set_node(fd, node);
  set_position(fd, 0);
  return fd;
}

// Size of a request's record. The ioctl code of an unknown request says how large its record is.
size_t size_of_record(Node node, uint32_t number) {
  const Request *request = request_of(node, static_cast<uint8_t>(number));
  bool known = is_request_code(number) && request != nullptr;
  size_t size = known ? record_size(*request) : _IOC_SIZE(number);
  return size < kMaxRecord ? size : kMaxRecord;
}

int control(Node node, int fd, unsigned long code, void *record) {
  uint8_t before[kMaxRecord];
  NodeCall call = {.kind = CallKind::Request, .node = node, .fd = fd};
  call.number = static_cast<uint32_t>(code);
  call.at = position_of(fd);
  CallBytes bytes = bytes_at(record, size_of_record(node, call.number));
  if (bytes.size > 0) memcpy(before, bytes.data, bytes.size);
  call.given = {before, bytes.size};
  if (replays()) return static_cast<int>(replay(call, record));
  int result = make_timed(call, [&] { return behind<ioctl>("ioctl")(fd, code, record); });
  bool changed = bytes.size > 0 && memcmp(before, bytes.data, bytes.size) != 0;
  if (changed) call.taken = bytes;
  write_down(call);
  return result;
}

/** Answers a call from the recording, or makes it and writes it down. `data` is where a read puts its bytes. */
template <typename Function>
int64_t replay_or_record(NodeCall &call, Function function, void *data = nullptr) {
  if (replays()) return replay(call, data);
  int64_t result = make_timed(call, function);
  bool has_read = data != nullptr && result > 0;
  if (has_read) call.taken = bytes_at(data, static_cast<size_t>(result));
  write_down(call);
  return result;
}

// A program may give any other offset, negative ones too.
constexpr int64_t kOwnPosition = std::numeric_limits<int64_t>::min();

/** A read or write at a place, or at the descriptor's own position, which then moves. */
template <typename Function>
ssize_t transfer_any(NodeCall &call, size_t size, int64_t at, Function function, void *data = nullptr) {
  call.at = at == kOwnPosition ? position_of(call.fd) : at;
  call.argument = static_cast<int64_t>(size);
  int64_t result = replay_or_record(call, function, data);
  if (result > 0 && at == kOwnPosition) set_position(call.fd, call.at + result);
  return static_cast<ssize_t>(result);
}

template <typename Function>
ssize_t read_any(int fd, void *data, size_t size, int64_t at, Function function) {
  NodeCall call = {.kind = CallKind::Read, .node = node_of(fd), .fd = fd};
  return transfer_any(call, size, at, function, data);
}

template <typename Function>
ssize_t write_any(int fd, const void *data, size_t size, int64_t at, Function function) {
  NodeCall call = {.kind = CallKind::Write, .node = node_of(fd), .fd = fd};
  call.given = bytes_at(data, size);
  return transfer_any(call, size, at, function);
}

template <typename Function>
int64_t seek_any(int fd, int64_t offset, int whence, Function function) {
  NodeCall call = {.kind = CallKind::Seek, .node = node_of(fd), .fd = fd};
  call.whence = whence;
  call.at = position_of(fd);
  call.argument = offset;
  int64_t result = replay_or_record(call, function);
  if (result >= 0) set_position(fd, result);
  return result;
}

}  // namespace

// The recorder leaves libc's streams on a node as they are.
void take_standard_stream(int) {}

void follow_duplicate(int from, int to) { set_position(to, position_of(from)); }

// If zelsim has been killed, nobody else writes what is in the buffer.
__attribute__((destructor)) static void end() {
  if (records()) write_buffered(0);
}

}  // namespace zelsim

using namespace zelsim;

#pragma GCC visibility push(default)
extern "C" {

int open(const char *path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  mode_t mode = va_arg(arguments, mode_t);
  va_end(arguments);
  return open_any(path, flags, [&] { return behind<open>("open")(path, flags, mode); });
}

int open64(const char *path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  mode_t mode = va_arg(arguments, mode_t);
  va_end(arguments);
  return open_any(path, flags, [&] { return behind<open64>("open64")(path, flags, mode); });
}

int openat(int folder, const char *path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  mode_t mode = va_arg(arguments, mode_t);
  va_end(arguments);
  return open_any(path, flags, [&] { return behind<openat>("openat")(folder, path, flags, mode); });
}

int openat64(int folder, const char *path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  mode_t mode = va_arg(arguments, mode_t);
  va_end(arguments);
  return open_any(path, flags, [&] { return behind<openat64>("openat64")(folder, path, flags, mode); });
}

int creat(const char *path, mode_t mode) {
  return open_any(path, O_CREAT | O_WRONLY | O_TRUNC, [&] { return behind<creat>("creat")(path, mode); });
}

int creat64(const char *path, mode_t mode) {
  return open_any(path, O_CREAT | O_WRONLY | O_TRUNC, [&] { return behind<creat64>("creat64")(path, mode); });
}

// A fortified program calls these for an open without a mode.
int __open_2(const char *path, int flags) { return open(path, flags, 0); }
int __open64_2(const char *path, int flags) { return open64(path, flags, 0); }
int __openat_2(int folder, const char *path, int flags) { return openat(folder, path, flags, 0); }
int __openat64_2(int folder, const char *path, int flags) { return openat64(folder, path, flags, 0); }

int close(int fd) {
  Node node = node_of(fd);
  if (node == Node::None) return behind<close>("close")(fd);
  NodeCall call = {.kind = CallKind::Close, .node = node, .fd = fd};
  set_node(fd, Node::None);  // before the number is free for another thread's open
  if (replays()) {
    int64_t result = replay(call);
    int error = errno;
    behind<close>("close")(fd);
    errno = error;
    return static_cast<int>(result);
  }
  int result = make_timed(call, [&] { return behind<close>("close")(fd); });
  write_down(call);
  return result;
}

int ioctl(int fd, unsigned long code, ...) noexcept {
  va_list arguments;
  va_start(arguments, code);
  void *record = va_arg(arguments, void *);
  va_end(arguments);
  Node node = node_of(fd);
  if (node == Node::None) return behind<ioctl>("ioctl")(fd, code, record);
  return control(node, fd, code, record);
}

ssize_t read(int fd, void *data, size_t size) {
  auto function = [&] { return behind<read>("read")(fd, data, size); };
  return is_node(fd) ? read_any(fd, data, size, kOwnPosition, function) : function();
}

// A fortified program calls this, __pread_chk() and __pread64_chk() when it knows the size of its buffer.
ssize_t __read_chk(int fd, void *data, size_t size, size_t room) {
  if (size > room) abort();
  return read(fd, data, size);
}

ssize_t write(int fd, const void *data, size_t size) {
  auto function = [&] { return behind<write>("write")(fd, data, size); };
  return is_node(fd) ? write_any(fd, data, size, kOwnPosition, function) : function();
}

ssize_t pread(int fd, void *data, size_t size, off_t at) {
  auto function = [&] { return behind<pread>("pread")(fd, data, size, at); };
  return is_node(fd) ? read_any(fd, data, size, at, function) : function();
}

ssize_t pread64(int fd, void *data, size_t size, off64_t at) {
  auto function = [&] { return behind<pread64>("pread64")(fd, data, size, at); };
  return is_node(fd) ? read_any(fd, data, size, at, function) : function();
}

ssize_t __pread_chk(int fd, void *data, size_t size, off_t at, size_t room) {
  if (size > room) abort();
  return pread(fd, data, size, at);
}

ssize_t __pread64_chk(int fd, void *data, size_t size, off64_t at, size_t room) {
  if (size > room) abort();
  return pread64(fd, data, size, at);
}

ssize_t pwrite(int fd, const void *data, size_t size, off_t at) {
  auto function = [&] { return behind<pwrite>("pwrite")(fd, data, size, at); };
  return is_node(fd) ? write_any(fd, data, size, at, function) : function();
}

ssize_t pwrite64(int fd, const void *data, size_t size, off64_t at) {
  auto function = [&] { return behind<pwrite64>("pwrite64")(fd, data, size, at); };
  return is_node(fd) ? write_any(fd, data, size, at, function) : function();
}

ssize_t readv(int fd, const iovec *pieces, int count) {
  if (!is_node(fd) || count < 1) return behind<readv>("readv")(fd, pieces, count);
  iovec piece = first_piece(pieces, count);
  return read(fd, piece.iov_base, piece.iov_len);
}

ssize_t writev(int fd, const iovec *pieces, int count) {
  if (!is_node(fd) || count < 1) return behind<writev>("writev")(fd, pieces, count);
  iovec piece = first_piece(pieces, count);
  return write(fd, piece.iov_base, piece.iov_len);
}

off_t lseek(int fd, off_t offset, int whence) noexcept {
  auto function = [&] { return behind<lseek>("lseek")(fd, offset, whence); };
  return is_node(fd) ? static_cast<off_t>(seek_any(fd, offset, whence, function)) : function();
}

off64_t lseek64(int fd, off64_t offset, int whence) noexcept {
  auto function = [&] { return behind<lseek64>("lseek64")(fd, offset, whence); };
  return is_node(fd) ? seek_any(fd, offset, whence, function) : function();
}

}  // extern "C"
#pragma GCC visibility pop

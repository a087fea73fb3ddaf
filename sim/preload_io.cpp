#include <errno.h>
#include <stdlib.h>
#include <sys/sendfile.h>
#include <sys/uio.h>
#include <unistd.h>

#include "board.h"
#include "node_table.h"
#include "request.h"

// The libc functions that move data. The flash node is read and written like a file; the other two only take requests.

namespace {

using namespace zelsim;

int refuse(int error) {
  errno = error;
  return -1;
}

/** Hands a call on a node to the flash's function of that kind; the other nodes refuse it with `error`. */
template <typename Function, typename... Arguments>
auto on_flash(Node node, int error, Function function, Arguments... arguments) {
  using Result = decltype(function(*current_board(), arguments...));
  const Attached *attached = current_board();
  if (attached == nullptr || node != Node::Flash) return Result{refuse(attached == nullptr ? ENXIO : error)};
  return function(*attached, arguments...);
}

// Piece by piece, as a driver without a vectored entry is called.
template <typename Function>
ssize_t move_vector(Node node, Function function, int fd, const iovec *vector, int count) {
  ssize_t total = 0;
  for (int i = 0; i < count; ++i) {
    ssize_t moved = on_flash(node, EINVAL, function, fd, vector[i].iov_base, vector[i].iov_len, kAtPosition);
    if (moved < 0) return total > 0 ? total : moved;
    total += moved;
    if (static_cast<size_t>(moved) < vector[i].iov_len) break;
  }
  return total;
}

}  // namespace

#pragma GCC visibility push(default)
extern "C" {

ssize_t read(int fd, void *data, size_t size) {
  Node node = node_of(fd);
  if (node != Node::None) return on_flash(node, EINVAL, flash_read, fd, data, size, kAtPosition);
  return behind<read>("read")(fd, data, size);
}

// What a fortified program calls: the size of its buffer is known.
ssize_t __read_chk(int fd, void *data, size_t size, size_t room) {
  if (size > room) abort();
  return read(fd, data, size);
}

ssize_t write(int fd, const void *data, size_t size) {
  Node node = node_of(fd);
  if (node != Node::None) return on_flash(node, EINVAL, flash_write, fd, data, size, kAtPosition);
  return behind<write>("write")(fd, data, size);
}

ssize_t pread(int fd, void *data, size_t size, off_t at) {
  Node node = node_of(fd);
  if (node != Node::None) return at < 0 ? refuse(EINVAL) : on_flash(node, EINVAL, flash_read, fd, data, size, at);
  return behind<pread>("pread")(fd, data, size, at);
}

ssize_t pwrite(int fd, const void *data, size_t size, off_t at) {
  Node node = node_of(fd);
  if (node != Node::None) return at < 0 ? refuse(EINVAL) : on_flash(node, EINVAL, flash_write, fd, data, size, at);
  return behind<pwrite>("pwrite")(fd, data, size, at);
}

ssize_t readv(int fd, const iovec *vector, int count) {
  Node node = node_of(fd);
  return node != Node::None ? move_vector(node, flash_read, fd, vector, count)
                            : behind<readv>("readv")(fd, vector, count);
}

ssize_t writev(int fd, const iovec *vector, int count) {
  Node node = node_of(fd);
  return node != Node::None ? move_vector(node, flash_write, fd, vector, count)
                            : behind<writev>("writev")(fd, vector, count);
}

off_t lseek(int fd, off_t offset, int whence) noexcept {
  Node node = node_of(fd);
  if (node != Node::None) return on_flash(node, ESPIPE, flash_seek, fd, offset, whence);
  return behind<lseek>("lseek")(fd, offset, whence);
}

// A device cannot be cut.
int ftruncate(int fd, off_t size) noexcept {
  return node_of(fd) != Node::None ? refuse(EINVAL) : behind<ftruncate>("ftruncate")(fd, size);
}

// Copies inside the kernel would see the image file; programs fall back to read and write.
ssize_t copy_file_range(int in, off64_t *in_at, int out, off64_t *out_at, size_t size, unsigned flags) {
  if (node_of(in) != Node::None || node_of(out) != Node::None) return refuse(EINVAL);
  return behind<copy_file_range>("copy_file_range")(in, in_at, out, out_at, size, flags);
}

ssize_t sendfile(int out, int in, off_t *at, size_t size) noexcept {
  if (node_of(in) != Node::None || node_of(out) != Node::None) return refuse(EINVAL);
  return behind<sendfile>("sendfile")(out, in, at, size);
}

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

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

bool is_node(int fd) { return node_of(fd) != Node::None; }

/** Hands a call on a node to the flash's function of that kind; the other nodes refuse it with `error`. */
template <typename Function, typename... Arguments>
auto on_flash(int error, Function function, int fd, Arguments... arguments) {
  using Result = decltype(function(*environment_board(), fd, arguments...));
  const Attached *attached = environment_board();
  if (attached == nullptr) return Result{refuse(ENXIO)};
  return node_of(fd) == Node::Flash ? function(*attached, fd, arguments...) : Result{refuse(error)};
}

// Piece by piece, as a driver without a vectored entry is called.
template <typename Function>
ssize_t move_vector(Function function, int fd, const iovec *vector, int count) {
  ssize_t total = 0;
  for (int i = 0; i < count; ++i) {
    ssize_t moved = on_flash(EINVAL, function, fd, vector[i].iov_base, vector[i].iov_len, kAtPosition);
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
  return is_node(fd) ? move_vector(flash_read, fd, vector, count) : behind<readv>("readv")(fd, vector, count);
}

ssize_t writev(int fd, const iovec *vector, int count) {
  return is_node(fd) ? move_vector(flash_write, fd, vector, count) : behind<writev>("writev")(fd, vector, count);
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

#include <stdlib.h>
#include <sys/sendfile.h>
#include <sys/uio.h>
#include <unistd.h>

#include "flash.h"
#include "preload.h"

// Reads, writes and seeks. Only the flash node has data; the other two refuse.

namespace {

using namespace zelsim;

// Makes a call on the flash node by `function`. The other nodes refuse it with `error`.
template <typename Function, typename... Arguments>
auto on_flash(int error, Function function, int fd, Arguments... arguments) {
  using Result = decltype(function(*environment_board(), fd, arguments...));
  const Attached *attached = environment_board();
  if (attached == nullptr) return Result{failed(ENXIO)};
  if (node_of(fd) != Node::Flash) return Result{failed(error)};
  return function(*attached, fd, arguments...);
}

template <typename Function>
ssize_t move_first(Function function, int fd, const iovec *pieces, int count) {
  iovec piece = first_piece(pieces, count);
  return on_flash(EINVAL, function, fd, piece.iov_base, piece.iov_len, kAtPosition);
}

}  // namespace

// The image file has the position.
void zelsim::follow_duplicate(int, int) {}

#pragma GCC visibility push(default)
extern "C" {

ssize_t read(int fd, void *data, size_t size) {
  if (!is_node(fd)) return behind<read>("read")(fd, data, size);
  return on_flash(EINVAL, flash_read, fd, data, size, kAtPosition);
}

// A fortified program calls this and __pread_chk() when it knows the size of its buffer.
ssize_t __read_chk(int fd, void *data, size_t size, size_t room) {
  if (size > room) abort();
  return read(fd, data, size);
}

ssize_t write(int fd, const void *data, size_t size) {
  if (!is_node(fd)) return behind<write>("write")(fd, data, size);
  return on_flash(EINVAL, flash_write, fd, data, size, kAtPosition);
}

ssize_t pread(int fd, void *data, size_t size, off_t at) {
  if (!is_node(fd)) return behind<pread>("pread")(fd, data, size, at);
  return on_flash(EINVAL, flash_read, fd, data, size, at);
}

ssize_t __pread_chk(int fd, void *data, size_t size, off_t at, size_t room) {
  if (size > room) abort();
  return pread(fd, data, size, at);
}

ssize_t pwrite(int fd, const void *data, size_t size, off_t at) {
  if (!is_node(fd)) return behind<pwrite>("pwrite")(fd, data, size, at);
  return on_flash(EINVAL, flash_write, fd, data, size, at);
}

ssize_t readv(int fd, const iovec *pieces, int count) {
  if (!is_node(fd)) return behind<readv>("readv")(fd, pieces, count);
  return move_first(flash_read, fd, pieces, count);
}

ssize_t writev(int fd, const iovec *pieces, int count) {
  if (!is_node(fd)) return behind<writev>("writev")(fd, pieces, count);
  return move_first(flash_write, fd, pieces, count);
}

off_t lseek(int fd, off_t offset, int whence) noexcept {
  if (!is_node(fd)) return behind<lseek>("lseek")(fd, offset, whence);
  return on_flash(ESPIPE, flash_seek, fd, offset, whence);
}

// A device cannot be cut.
int ftruncate(int fd, off_t size) noexcept {
  if (is_node(fd)) return failed(EINVAL);
  return behind<ftruncate>("ftruncate")(fd, size);
}

// Copies inside the kernel would see the image file; programs fall back to read and write.
ssize_t copy_file_range(int in, off64_t *in_at, int out, off64_t *out_at, size_t size, unsigned flags) {
  if (is_node(in) || is_node(out)) return failed(EINVAL);
  return behind<copy_file_range>("copy_file_range")(in, in_at, out, out_at, size, flags);
}

ssize_t sendfile(int out, int in, off_t *at, size_t size) noexcept {
  if (is_node(in) || is_node(out)) return failed(EINVAL);
  return behind<sendfile>("sendfile")(out, in, at, size);
}

// The same functions where an offset has 64 bits. A 32-bit program uses the others on the flash node.
#if __WORDSIZE == 64
ssize_t pread64(int fd, void *data, size_t size, off64_t at) __attribute__((alias("pread")));
ssize_t pwrite64(int fd, const void *data, size_t size, off64_t at) __attribute__((alias("pwrite")));
ssize_t __pread64_chk(int fd, void *data, size_t size, off64_t at, size_t room) __attribute__((alias("__pread_chk")));
off64_t lseek64(int fd, off64_t offset, int whence) noexcept __attribute__((alias("lseek")));
int ftruncate64(int fd, off64_t size) noexcept __attribute__((alias("ftruncate")));
ssize_t sendfile64(int out, int in, off64_t *at, size_t size) noexcept __attribute__((alias("sendfile")));
#endif

}  // extern "C"
#pragma GCC visibility pop

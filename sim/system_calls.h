#pragma once

#include <fcntl.h>
#include <limits.h>
#include <linux/futex.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>

// System calls made without the libc functions that the preload layer replaces, so that the models never come back to
// it. None of them is a cancellation point: a thread cannot end with the board's lock held.

namespace zelsim::sys {

inline int open(const char *path, int flags, mode_t mode = 0) {
  return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}
inline int close(int fd) { return static_cast<int>(syscall(SYS_close, fd)); }
/** A number from `lowest` on, which ends with an exec. */
inline int duplicate(int fd, int lowest) { return static_cast<int>(syscall(SYS_fcntl, fd, F_DUPFD_CLOEXEC, lowest)); }
inline ssize_t read(int fd, void *data, size_t size) { return syscall(SYS_read, fd, data, size); }
inline ssize_t write(int fd, const void *data, size_t size) { return syscall(SYS_write, fd, data, size); }
// 32-bit ARM takes an offset of 64 bits in an even pair of registers, low half first; ours fit the low half.
constexpr bool kPairs = sizeof(long) == 4;
inline ssize_t pread(int fd, void *data, size_t size, off_t at) {
  return kPairs ? syscall(SYS_pread64, fd, data, size, 0, at, 0) : syscall(SYS_pread64, fd, data, size, at);
}
inline ssize_t pwrite(int fd, const void *data, size_t size, off_t at) {
  return kPairs ? syscall(SYS_pwrite64, fd, data, size, 0, at, 0) : syscall(SYS_pwrite64, fd, data, size, at);
}
inline off_t lseek(int fd, off_t offset, int whence) { return syscall(SYS_lseek, fd, offset, whence); }
inline void futex_wait(uint32_t *word, uint32_t value, const timespec &at_most) {
  syscall(SYS_futex, word, FUTEX_WAIT, value, &at_most);
}
inline void futex_wake_all(uint32_t *word) { syscall(SYS_futex, word, FUTEX_WAKE, INT_MAX); }

/** A descriptor that ends with its scope. */
class File {
 public:
  explicit File(int fd) : fd_(fd) {}
  ~File() {
    if (fd_ >= 0) sys::close(fd_);
  }
  File(const File &) = delete;
  File &operator=(const File &) = delete;
  int get() const { return fd_; }

 private:
  int fd_;
};

}  // namespace zelsim::sys

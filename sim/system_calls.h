#pragma once

#include <errno.h>
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

// System calls without libc's functions. The preload layer replaces those, and the models must not come back to it. None of
// these is a cancellation point: a thread cannot end while it holds the board's lock.

namespace zelsim::sys {

inline int open(const char *path, int flags, mode_t mode = 0) {
  return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}
inline int close(int fd) { return static_cast<int>(syscall(SYS_close, fd)); }
/** Duplicates a descriptor to a number from `lowest` on, which is closed by an exec. */
inline int duplicate(int fd, int lowest) { return static_cast<int>(syscall(SYS_fcntl, fd, F_DUPFD_CLOEXEC, lowest)); }
inline ssize_t read(int fd, void *data, size_t size) { return syscall(SYS_read, fd, data, size); }
inline ssize_t write(int fd, const void *data, size_t size) { return syscall(SYS_write, fd, data, size); }

// 32-bit ARM takes an offset of 64 bits in an even pair of registers: an unused register stands before it, and the low
// half comes first. Our offsets have an upper half of 0.
constexpr bool kOffsetsArePairs = sizeof(long) == 4;

inline ssize_t pread(int fd, void *data, size_t size, off_t at) {
  constexpr int kUnused = 0;
  constexpr int kUpperHalf = 0;
  if (kOffsetsArePairs) return syscall(SYS_pread64, fd, data, size, kUnused, at, kUpperHalf);
  return syscall(SYS_pread64, fd, data, size, at);
}

inline ssize_t pwrite(int fd, const void *data, size_t size, off_t at) {
  constexpr int kUnused = 0;
  constexpr int kUpperHalf = 0;
  if (kOffsetsArePairs) return syscall(SYS_pwrite64, fd, data, size, kUnused, at, kUpperHalf);
  return syscall(SYS_pwrite64, fd, data, size, at);
}

/** Makes an ordinary file empty. */
inline void make_empty(int fd) { syscall(SYS_ftruncate, fd, 0L); }
inline off_t lseek(int fd, off_t offset, int whence) { return syscall(SYS_lseek, fd, offset, whence); }

inline void futex_wait(uint32_t *word, uint32_t value, const timespec &at_most) {
  syscall(SYS_futex, word, FUTEX_WAIT, value, &at_most);
}
inline void futex_wake_all(uint32_t *word) { syscall(SYS_futex, word, FUTEX_WAKE, INT_MAX); }

/** Waits for a lock of flock(2), even if a signal is handled meanwhile. */
inline void lock_file(int fd, int how) {
  bool was_interrupted = true;
  while (was_interrupted) {
    bool failed = syscall(SYS_flock, fd, how) != 0;
    was_interrupted = failed && errno == EINTR;
  }
}

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

// A file descriptor that ends with its scope.
#pragma once

#include <unistd.h>

namespace zel {

/// Closed at the end of its scope. Always inlined: the call would be longer than the code.
class Descriptor {
 public:
  explicit Descriptor(int fd) : fd_(fd) {}
  Descriptor(const Descriptor &) = delete;
  Descriptor &operator=(const Descriptor &) = delete;
  [[gnu::always_inline]] ~Descriptor() { reset(); }

  /// Closes what is open and takes over another descriptor.
  [[gnu::always_inline]] void reset(int fd = -1) {
    if (fd_ >= 0) close(fd_);
    fd_ = fd;
  }

  explicit operator bool() const { return fd_ >= 0; }
  int get() const { return fd_; }

 private:
  int fd_;
};

}  // namespace zel

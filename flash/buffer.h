// A heap buffer that ends with its scope.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>

namespace zel {

class Buffer {
 public:
  explicit Buffer(size_t size) : data_(static_cast<uint8_t *>(malloc(size))) {}
  /// An empty buffer is one too: null always means that the allocation failed.
  static Buffer zeroed(size_t size) { return Buffer(static_cast<uint8_t *>(calloc(size != 0 ? size : 1, 1))); }
  static Buffer none() { return Buffer(nullptr); }
  Buffer(const Buffer &) = delete;
  Buffer &operator=(const Buffer &) = delete;
  ~Buffer() { free(data_); }

  explicit operator bool() const { return data_ != nullptr; }
  uint8_t *get() const { return data_; }

  void reset() { free(release()); }

  /// Hands the buffer to the caller of the library.
  uint8_t *release() {
    uint8_t *const data = data_;
    data_ = nullptr;
    return data;
  }

 private:
  explicit Buffer(uint8_t *data) : data_(data) {}

  uint8_t *data_;
};

}  // namespace zel

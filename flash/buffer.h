// A heap buffer that ends with its scope.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>

namespace zel {

class Buffer {
 public:
  explicit Buffer(size_t size) : data_(static_cast<uint8_t *>(malloc(size))) {}
  static Buffer zeroed(size_t size) { return Buffer(static_cast<uint8_t *>(calloc(size, 1))); }
  Buffer(const Buffer &) = delete;
  Buffer &operator=(const Buffer &) = delete;
  ~Buffer() { free(data_); }

  explicit operator bool() const { return data_ != nullptr; }
  uint8_t *get() const { return data_; }

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

// A heap buffer that ends with its scope.
//
// The order in which a function frees its buffer, closes its files and lowers the flash-access flag can be seen from
// outside: by a trace of the process, or by a library in front of libc. So it stays as it is. The order of declarations
// gives it, since the last one ends first. Where that is not enough, a reset() gives it.
#pragma once

#include <stdint.h>
#include <stdlib.h>

#include <memory>

namespace zel {

struct Free {
  void operator()(void *data) const { free(data); }
};

/// Null when the allocation failed.
using Buffer = std::unique_ptr<uint8_t[], Free>;

inline Buffer make_buffer(size_t size) { return Buffer(static_cast<uint8_t *>(malloc(size))); }

/// Null when the allocation failed, and only then: size 0 gives a buffer, too.
inline Buffer zeroed_buffer(size_t size) {
  const size_t at_least_one = size != 0 ? size : 1;
  return Buffer(static_cast<uint8_t *>(calloc(at_least_one, 1)));
}

}  // namespace zel

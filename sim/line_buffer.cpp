#include "line_buffer.h"

#include <errno.h>
#include <sys/mman.h>

#include "shared_mutex.h"

namespace zelsim {

LineBuffer *map_line_buffer(int fd) {
  void *mapped = mmap(nullptr, sizeof(LineBuffer), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  return mapped != MAP_FAILED ? static_cast<LineBuffer *>(mapped) : nullptr;
}

LineBufferGuard::LineBufferGuard(LineBuffer *buffer) : buffer_(buffer), holds_(false) {
  if (buffer == nullptr) return;
  int error = lock_shared_mutex(buffer->mutex);
  if (error == EOWNERDEAD) pthread_mutex_consistent(&buffer->mutex);
  holds_ = error == 0 || error == EOWNERDEAD;
}

LineBufferGuard::~LineBufferGuard() {
  if (holds_) pthread_mutex_unlock(&buffer_->mutex);
}

}  // namespace zelsim

#pragma once

#include <pthread.h>

#include <cstdint>

#include "recorder.h"

// Lines of a recording that are not in its file yet. zelsim makes the buffer; all processes of the program map it. If a
// process is killed, no line is lost: zelsim writes the lines that are in the buffer.

namespace zelsim {

constexpr uint64_t kLineBufferMagic = 0x53454e494c53535aULL;  // "ZSSLINES"

/** A call that has no answer yet: its line is written when it has one. */
struct BegunCall {
  uint32_t thread;   // 0: the row is free
  uint32_t process;  // 0: the rest of the row is not complete
  NodeCall call;     // without its bytes
  uint8_t given[kMaxRecord];
};
constexpr unsigned kBegunCalls = 64;

struct LineBuffer {
  uint64_t magic;
  pthread_mutex_t mutex;
  uint32_t size;
  uint32_t has_ended;  // 1: the recording is complete; what processes still do is not written
  int64_t emptied_ns;  // when the file got its last lines, on the monotonic clock
  uint32_t failed;     // 1: the file took no more: the recording ends there
  BegunCall begun[kBegunCalls];
  char text[65536];
};

/** Maps the buffer behind a descriptor. Null if it cannot be mapped. */
LineBuffer *map_line_buffer(int fd);

/** Holds the buffer for a scope. Its holder may be killed. */
class LineBufferGuard {
 public:
  explicit LineBufferGuard(LineBuffer *buffer);
  ~LineBufferGuard();
  LineBufferGuard(const LineBufferGuard &) = delete;
  LineBufferGuard &operator=(const LineBufferGuard &) = delete;

  /** False without a buffer, and in a signal's handler that has interrupted the holder. */
  bool holds() const { return holds_; }

 private:
  LineBuffer *buffer_;
  bool holds_;
};

}  // namespace zelsim

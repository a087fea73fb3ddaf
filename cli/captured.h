/** @file
 *  Text that a program writes to its own streams. */
#ifndef ZELBOARD_CLI_CAPTURED_H
#define ZELBOARD_CLI_CAPTURED_H

#include "text_stream.h"

/** Replaces a stream, as long as this lives, and keeps the text that is written to it. The stream may be `stdout` or
 *  `stderr`: in glibc they are variables. */
class Captured {
 public:
  explicit Captured(FILE *&stream) : stream_(stream), before_(stream) { stream_ = kept_.file(); }
  ~Captured() { stream_ = before_; }
  Captured(const Captured &) = delete;
  Captured &operator=(const Captured &) = delete;

  std::string text() { return kept_.text(); }

 private:
  TextStream kept_;
  FILE *&stream_;
  FILE *before_;
};

#endif

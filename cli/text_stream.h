/** @file
 *  A stream that writes into memory. */
#ifndef ZELBOARD_CLI_TEXT_STREAM_H
#define ZELBOARD_CLI_TEXT_STREAM_H

#include <cstdio>
#include <cstdlib>
#include <string>

#include "program.h"

class TextStream {
 public:
  TextStream() : file_(open_memstream(&text_, &size_)) {
    if (file_ == nullptr) throw Failure{"no memory for a text"};
  }
  ~TextStream() {
    std::fclose(file_);
    std::free(text_);
  }
  TextStream(const TextStream &) = delete;
  TextStream &operator=(const TextStream &) = delete;

  FILE *file() const { return file_; }
  /** What was written so far. */
  std::string text() {
    std::fflush(file_);
    return {text_, size_};
  }

 private:
  char *text_ = nullptr;
  size_t size_ = 0;
  FILE *file_;
};

#endif

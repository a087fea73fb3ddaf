#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

namespace zelsim::tool {

/** Replaces a stream, as long as this lives, and keeps the text that is written to it. */
class Captured {
 public:
  explicit Captured(FILE *&stream) : stream_(stream), before_(stream) { stream_ = open_memstream(&text_, &size_); }
  ~Captured() {
    std::fclose(stream_);
    stream_ = before_;
    std::free(text_);
  }
  Captured(const Captured &) = delete;
  Captured &operator=(const Captured &) = delete;

  std::string text() {
    std::fflush(stream_);
    return {text_, size_};
  }

 private:
  FILE *&stream_;
  FILE *before_;
  char *text_ = nullptr;
  size_t size_ = 0;
};

}  // namespace zelsim::tool

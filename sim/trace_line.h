#pragma once

#include <stdarg.h>
#include <string.h>

#include "trace.h"

// The text of one line of a trace.

namespace zelsim {

/** Prints into a room of at least one byte. A text that is too long is cut. Returns the length of what is there, without the
 *  zero that ends it. */
size_t print_list(char *text, size_t room, const char *format, va_list arguments);
__attribute__((format(printf, 3, 4))) size_t print_into(char *text, size_t room, const char *format, ...);

class TraceLine {
 public:
  void add_list(const char *format, va_list arguments) {
    size_ += print_list(text_ + size_, kMost + 1 - size_, format, arguments);
  }

  __attribute__((format(printf, 2, 3))) void add(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    add_list(format, arguments);
    va_end(arguments);
  }

  void add_text(const char *text, size_t length) {
    size_t room = kMost - size_;
    if (length > room) length = room;
    memcpy(text_ + size_, text, length);
    size_ += length;
  }
  void add_text(const char *text) { add_text(text, strlen(text)); }

  /** Ends the line with the result, or with -1 and the error's name. */
  void finish(long result, int error) {
    size_ += result_text(result, error, text_ + size_, sizeof text_ - 1 - size_);
    text_[size_] = '\n';
    ++size_;
  }

  const char *text() const { return text_; }
  size_t size() const { return size_; }

  static constexpr size_t kRoom = 1024;

 private:
  static constexpr size_t kMost = kRoom - 2;  // the newline and the end of the text follow

  char text_[kRoom];
  size_t size_ = 0;
};

/** Adds a request with its record, without the result. */
void add_event(TraceLine &line, const RequestEvent &event);

}  // namespace zelsim

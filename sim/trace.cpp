#include <errno.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>

#include "board.h"
#include "request.h"
#include "system_calls.h"

namespace zelsim {
namespace {

class Line {
 public:
  void add_list(const char *format, va_list arguments) {
    int written = vsnprintf(text_ + size_, sizeof text_ - size_, format, arguments);
    if (written > 0) size_ += static_cast<size_t>(written);
    if (size_ > sizeof text_ - 2) size_ = sizeof text_ - 2;  // room for the newline
  }

  __attribute__((format(printf, 2, 3))) void add(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    add_list(format, arguments);
    va_end(arguments);
  }

  // One write, so that several processes may share a file. No descriptor is kept: the traced program may close any
  // number that it likes.
  void send(const char *where, long result) {
    if (result < 0 && result != kNoResult) add(" = -1 %s", strerrorname_np(error_));
    if (result >= 0) add(result > 9 ? " = 0x%lx" : " = %ld", result);
    text_[size_++] = '\n';
    bool to_stderr = strcmp(where, "-") == 0;
    sys::File file(to_stderr ? -1 : sys::open(where, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666));
    sys::write(to_stderr ? STDERR_FILENO : file.get(), text_, size_);
    errno = error_;
  }

 private:
  char text_[1024];
  size_t size_ = 0;
  int error_ = errno;  // the caller's
};

void add_bytes(Line &line, const uint8_t *data, size_t size) {
  for (size_t i = 0; i < size; ++i) line.add("%s%02x", i > 0 ? " " : "", data[i]);
}

// Values of one or four bytes in a row, by their names.
void add_named(Line &line, const char *names, const uint8_t *values, size_t width, const char *format) {
  for (const char *separator = ""; *names != '\0'; separator = " ", values += width) {
    size_t length = strcspn(names, " ");
    uint32_t value = 0;
    memcpy(&value, values, width);
    line.add("%s%.*s=", separator, static_cast<int>(length), names);
    line.add(format, value);
    names += length + (names[length] == ' ');
  }
}

void add_record(Line &line, const Request &request, const uint8_t *record) {
  float degrees;
  memcpy(&degrees, record, sizeof degrees);
  line.add("{");
  if (request.shape == Shape::Byte || request.shape == Shape::Pair) add_named(line, request.fields, record, 1, "%u");
  if (request.shape == Shape::Register) add_named(line, "address value", record, 4, "0x%08x");
  if (request.shape == Shape::Rtc) {
    add_named(line, "mode24 pm", record, 1, "%u");
    line.add(" ");
    add_named(line, "sec min hour mday mon year wday", record + 4, 4, "%u");
  }
  if (request.shape == Shape::Temperature) line.add("temperature=%.1f", static_cast<double>(degrees));
  if (request.shape == Shape::Identification) add_bytes(line, record, record_size(request.shape));
  line.add("}");
}

void add_transfer(Line &line, const RequestEvent &event) {
  const uint8_t *record = event.before;
  uint32_t offset;
  memcpy(&offset, record + kOffset, sizeof offset);
  line.add(" addr=0x%02x offset=0x%02x offset_len=%u len=%u", record[kAddress], offset, record[kOffsetLen],
           record[kLen]);
  if (event.request->fills && event.result != 0) return;
  line.add(event.request->fills ? " -> " : " data=");
  add_bytes(line, event.after, record[kLen] < kMaxTransfer ? record[kLen] : kMaxTransfer);
}

void add_request(Line &line, const RequestEvent &event) {
  const Request &request = *event.request;
  line.add(" %s", request.name);
  if (erases(request)) line.add(" 0x%08x", event.address);
  if (event.error == EFAULT || request.shape == Shape::None) return;
  if (request.shape == Shape::Transfer) return add_transfer(line, event);
  line.add(" ");
  add_record(line, request, event.before);
  line.add(" -> ");
  add_record(line, request, event.after);
}

}  // namespace

void trace_request(const RequestEvent &event) {
  const char *where = variable("ZELSIM_TRACE");
  if (where[0] == '\0') return;
  Line line;
  line.add("%s 0x%02X", node_name(event.node), event.number);
  if (event.request == nullptr) line.add(" ?");
  if (event.request != nullptr) add_request(line, event);
  line.send(where, event.result);
}

void trace(long result, const char *format, ...) {
  const char *where = variable("ZELSIM_TRACE");
  if (where[0] == '\0') return;
  Line line;
  va_list arguments;
  va_start(arguments, format);
  line.add_list(format, arguments);
  va_end(arguments);
  line.send(where, result);
}

}  // namespace zelsim

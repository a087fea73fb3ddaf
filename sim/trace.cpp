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

  void add_result(long result, int error) {
    if (result < 0) return add(" = -1 %s", strerrorname_np(error));
    add(result > 9 ? " = 0x%lx" : " = %ld", result);
  }

  // No descriptor is kept: the traced program may close any number that it likes.
  void send() {
    text_[size_++] = '\n';
    const char *where = options().trace;
    bool to_stderr = strcmp(where, "-") == 0;
    sys::File file(to_stderr ? -1 : sys::open(where, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666));
    sys::write(to_stderr ? STDERR_FILENO : file.get(), text_, size_);
  }

 private:
  char text_[1024];
  size_t size_ = 0;
};

bool is_on() { return options().trace[0] != '\0'; }

uint32_t word(const uint8_t *bytes) {
  uint32_t value;
  memcpy(&value, bytes, sizeof value);
  return value;
}

void add_bytes(Line &line, const uint8_t *data, size_t size) {
  for (size_t i = 0; i < size; ++i) line.add("%s%02x", i > 0 ? " " : "", data[i]);
}

void add_named(Line &line, const char *names, const uint8_t *values) {
  for (size_t i = 0; *names != '\0'; ++i) {
    size_t length = strcspn(names, " ");
    line.add("%s%.*s=%u", i > 0 ? " " : "", static_cast<int>(length), names, values[i]);
    names += length + (names[length] == ' ');
  }
}

void add_rtc(Line &line, const uint8_t *record) {
  auto field = [&](size_t at) {
    return word(record + at);
  };  // sec 4, min 8, hour 12, mday 16, mon 20, year 24, wday 28
  line.add("mode24=%u pm=%u year=%u mon=%u mday=%u wday=%u %02u:%02u:%02u", record[0], record[1], field(24), field(20),
           field(16), field(28), field(12), field(8), field(4));
}

void add_record(Line &line, const Request &request, const uint8_t *record) {
  line.add("{");
  float degrees;
  memcpy(&degrees, record, sizeof degrees);
  switch (request.shape) {
    case Shape::Register:
      line.add("address=0x%x value=0x%08x", word(record), word(record + 4));
      break;
    case Shape::Rtc:
      add_rtc(line, record);
      break;
    case Shape::Temperature:
      line.add("temperature=%.1f", static_cast<double>(degrees));
      break;
    case Shape::Identification:
      add_bytes(line, record, record_size(request.shape));
      break;
    default:
      add_named(line, request.fields, record);
  }
  line.add("}");
}

void add_transfer(Line &line, const RequestEvent &event) {
  const uint8_t *record = event.before;
  size_t len = record[kLen] < kMaxTransfer ? record[kLen] : kMaxTransfer;
  line.add(" addr=0x%02x offset=0x%02x offset_len=%u len=%u", record[kAddress], word(record + kOffset),
           record[kOffsetLen], record[kLen]);
  if (event.request->fills && event.result != 0) return;
  line.add(event.request->fills ? " -> " : " data=");
  add_bytes(line, event.after, len);
}

void add_records(Line &line, const RequestEvent &event) {
  if (event.request->shape == Shape::Transfer) return add_transfer(line, event);
  if (event.request->shape == Shape::None) return;
  line.add(" ");
  add_record(line, *event.request, event.before);
  line.add(" -> ");
  add_record(line, *event.request, event.after);
}

void trace_list(const long *result, const char *format, va_list arguments) {
  if (!is_on()) return;
  int error = errno;
  Line line;
  line.add_list(format, arguments);
  if (result != nullptr) line.add_result(*result, error);
  line.send();
  errno = error;
}

}  // namespace

int finish(const RequestEvent &event) {
  if (is_on()) {
    Line line;
    line.add("%s 0x%02X %s", node_name(event.node), event.number, event.request != nullptr ? event.request->name : "?");
    if (event.request != nullptr && erases(*event.request)) line.add(" 0x%08x", event.address);
    if (event.request != nullptr && event.error != EFAULT) add_records(line, event);
    line.add_result(event.result, event.error);
    line.send();
  }
  if (event.result < 0) errno = event.error;
  return event.result;
}

void trace(const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  trace_list(nullptr, format, arguments);
  va_end(arguments);
}

void trace_call(long result, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  trace_list(&result, format, arguments);
  va_end(arguments);
}

}  // namespace zelsim

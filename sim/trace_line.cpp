#include "trace_line.h"

#include <errno.h>
#include <stdio.h>

#include "nodes.h"

// How a line of a trace is made of a request and its record.

namespace zelsim {
namespace {

void add_bytes(TraceLine &line, const uint8_t *data, size_t size) {
  for (size_t i = 0; i < size; ++i) line.add("%s%02x", i > 0 ? " " : "", data[i]);
}

// Adds values of one or four bytes that follow each other. `fields` are their names, separated by blanks.
void add_named(TraceLine &line, const char *fields, const uint8_t *values, size_t width, const char *format) {
  const char *name = fields;
  while (*name != '\0') {
    if (name != fields) line.add_text(" ");
    size_t length = strcspn(name, " ");
    uint32_t value = 0;
    memcpy(&value, values, width);
    line.add_text(name, length);
    line.add_text("=");
    line.add(format, value);
    values += width;
    name += length;
    if (*name == ' ') ++name;
  }
}

// The trace shows the words of a clock record without a sign.
unsigned word(int32_t value) { return static_cast<unsigned>(value); }

void add_rtc(TraceLine &line, const uint8_t *bytes) {
  ClockRecord record;
  memcpy(&record, bytes, sizeof record);
  line.add("mode24=%u pm=%u ", record.mode24, record.pm);
  line.add("sec=%u min=%u hour=%u ", word(record.second), word(record.minute), word(record.hour));
  line.add("mday=%u mon=%u year=%u ", word(record.month_day), word(record.month), word(record.year));
  line.add("wday=%u", word(record.weekday));
}

void add_temperature(TraceLine &line, const uint8_t *record) {
  float degrees;
  memcpy(&degrees, record, sizeof degrees);
  line.add("temperature=%.1f", static_cast<double>(degrees));
}

void add_record(TraceLine &line, const Request &request, const uint8_t *record) {
  const char *fields = fields_of(request);
  line.add_text("{");
  switch (request.shape) {
    case Shape::Byte:
    case Shape::Pair:
      add_named(line, fields, record, 1, "%u");
      break;
    case Shape::Register:
      add_named(line, fields, record, 4, "0x%08x");
      break;
    case Shape::Rtc:
      add_rtc(line, record);
      break;
    case Shape::Temperature:
      add_temperature(line, record);
      break;
    case Shape::Identification:
      add_bytes(line, record, record_size(request));
      break;
    case Shape::None:
    case Shape::Transfer:
      break;
  }
  line.add_text("}");
}

void add_transfer(TraceLine &line, const RequestEvent &event) {
  const uint8_t *record = event.before;
  uint8_t len = record[kLen];
  uint32_t offset;
  memcpy(&offset, record + kOffset, sizeof offset);
  line.add(" addr=0x%02x offset=0x%02x offset_len=%u len=%u", record[kAddress], offset, record[kOffsetLen], len);
  bool reads = event.request->fills;
  if (reads && event.result != 0) return;
  line.add(reads ? " -> " : " data=");
  add_bytes(line, event.after, len < kMaxTransfer ? len : kMaxTransfer);
}

void add_request(TraceLine &line, const RequestEvent &event) {
  const Request &request = *event.request;
  line.add_text(" ");
  line.add_text(request.name);
  if (erases(request)) line.add(" 0x%08x", event.address);
  if (event.error == EFAULT || request.shape == Shape::None) return;
  if (request.shape == Shape::Transfer) {
    add_transfer(line, event);
    return;
  }
  line.add_text(" ");
  add_record(line, request, event.before);
  line.add_text(" -> ");
  add_record(line, request, event.after);
}

}  // namespace

void add_event(TraceLine &line, const RequestEvent &event) {
  line.add("%s 0x%02X", node_name(event.node), event.number);
  if (event.request != nullptr) {
    add_request(line, event);
  } else {
    line.add(" ?");
  }
}

size_t request_line(const RequestEvent &event, char *text, size_t size) {
  TraceLine line;
  add_event(line, event);
  size_t length = line.size() < size ? line.size() : size;
  memcpy(text, line.text(), length);
  return length;
}

size_t print_list(char *text, size_t room, const char *format, va_list arguments) {
  int written = vsnprintf(text, room, format, arguments);
  if (written < 0) return 0;
  auto length = static_cast<size_t>(written);
  return length < room ? length : room - 1;
}

size_t print_into(char *text, size_t room, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  size_t length = print_list(text, room, format, arguments);
  va_end(arguments);
  return length;
}

size_t result_text(long result, int error, char *text, size_t size) {
  constexpr long kHighestDecimal = 9;
  if (result == kNoResult) return 0;
  if (result > kHighestDecimal) return print_into(text, size, " = 0x%lx", result);
  if (result >= 0) return print_into(text, size, " = %ld", result);
  const char *name = strerrorname_np(error);
  return print_into(text, size, " = -1 %s", name != nullptr ? name : "?");
}

}  // namespace zelsim

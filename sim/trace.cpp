#include "trace.h"

#include <errno.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include "nodes.h"
#include "system_calls.h"

namespace zelsim {
namespace {

// Who reads the trace.
struct Readers {
  const char *file = variable(kTraceVariable);  // empty: no file
  Board *watched = nullptr;                     // null: nobody watches the board

  Readers() {
    const Attached *attached = environment_board();
    if (attached == nullptr) return;
    Watch &watch = attached->board->watch;
    uint32_t written = __atomic_load_n(&watch.written, __ATOMIC_RELAXED);
    uint32_t wanted = __atomic_load_n(&watch.wanted, __ATOMIC_RELAXED);
    bool wants_more = static_cast<int32_t>(wanted - written) > 0;  // the counts wrap
    if (wants_more) watched = attached->board;
  }
  bool none() const { return file[0] == '\0' && watched == nullptr; }
};

void put_bytes(Watch &watch, const void *bytes, size_t size) {
  size_t at = watch.written % kWatchedBytes;
  size_t first = size < kWatchedBytes - at ? size : kWatchedBytes - at;
  memcpy(watch.records + at, bytes, first);
  memcpy(watch.records, static_cast<const uint8_t *>(bytes) + first, size - first);
  watch.written += static_cast<uint32_t>(size);
}

/** Bytes that follow a record. */
struct Piece {
  const void *bytes;
  size_t size;
};

// The readers look by themselves from time to time: waking them at each record would cost more than the request.
void show_watchers(Board &board, TraceRecord record, const TracedAccess &access, Piece first, Piece second = {}) {
  int64_t now = host_time_us();
  record.at_us = access.began_us != 0 ? access.began_us : now;
  record.duration_us = static_cast<uint32_t>(now - record.at_us);
  record.fault = access.fault;
  record.process = static_cast<uint32_t>(getpid());
  strncpy(record.program, program_invocation_short_name, sizeof record.program - 1);
  record.size = static_cast<uint16_t>(sizeof record + first.size + second.size);
  Guard guard(board, Intent::Look);
  put_bytes(board.watch, &record, sizeof record);
  put_bytes(board.watch, first.bytes, first.size);
  put_bytes(board.watch, second.bytes, second.size);
}

// One write, so that several processes may share a file. No descriptor is kept: the traced program may close any number
// that it likes.
void write_to(const char *where, const char *text, size_t size) {
  if (strcmp(where, "-") == 0) {
    sys::write(STDERR_FILENO, text, size);
    return;
  }
  sys::File file(sys::open(where, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666));
  sys::write(file.get(), text, size);
}

class TraceLine {
 public:
  /** @param error  errno as the call left it */
  explicit TraceLine(int error) : error_(error) {}

  void add_list(const char *format, va_list arguments) {
    constexpr size_t kMost = sizeof text_ - 2;  // the newline and the end of the text follow
    int written = vsnprintf(text_ + size_, sizeof text_ - size_, format, arguments);
    if (written > 0) size_ += static_cast<size_t>(written);
    if (size_ > kMost) size_ = kMost;
  }

  __attribute__((format(printf, 2, 3))) void add(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    add_list(format, arguments);
    va_end(arguments);
  }

  void add_text(const char *text, size_t length) {
    constexpr size_t kMost = sizeof text_ - 2;
    size_t room = kMost - size_;
    if (length > room) length = room;
    memcpy(text_ + size_, text, length);
    size_ += length;
  }

  void write(const char *file, long result) {
    size_ += result_text(result, error_, text_ + size_, sizeof text_ - 1 - size_);
    text_[size_] = '\n';
    ++size_;
    if (is_on(kTraceTimesVariable)) {
      write_stamped(file);
    } else {
      write_to(file, text_, size_);
    }
  }

  void show(Board &board, const TracedAccess &access, long result) const {
    TraceRecord record = {};
    record.result = result == kNoResult ? kNoTraceResult : static_cast<int32_t>(result);
    record.error = result < 0 ? error_ : 0;
    show_watchers(board, record, access, {text_, size_});
  }

  size_t copy(char *to, size_t size) const {
    size_t length = size_ < size ? size_ : size;
    memcpy(to, text_, length);
    return length;
  }

 private:
  // Begins the line with the time of the call's end and the number of its process.
  void write_stamped(const char *file) const {
    constexpr size_t kStampSize = 40;
    char stamped[kStampSize + sizeof text_];
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    int size = snprintf(stamped, kStampSize, "%lld.%06ld %d ", static_cast<long long>(now.tv_sec), now.tv_nsec / 1000,
                        getpid());
    memcpy(stamped + size, text_, size_);
    write_to(file, stamped, static_cast<size_t>(size) + size_);
  }

  char text_[1024];
  size_t size_ = 0;
  const int error_;
};

// Formats a line for all readers. errno stays.
void send(const TracedAccess &access, long result, const char *format, va_list arguments) {
  Readers readers;
  if (readers.none()) return;
  int error = errno;
  TraceLine line(error);
  line.add_list(format, arguments);
  if (readers.watched != nullptr) line.show(*readers.watched, access, result);
  if (readers.file[0] != '\0') line.write(readers.file, result);
  errno = error;
}

void add_bytes(TraceLine &line, const uint8_t *data, size_t size) {
  for (size_t i = 0; i < size; ++i) line.add("%s%02x", i > 0 ? " " : "", data[i]);
}

void add_text(TraceLine &line, const char *text) { line.add_text(text, strlen(text)); }

// Adds values of one or four bytes that follow each other. `fields` are their names, separated by blanks.
void add_named(TraceLine &line, const char *fields, const uint8_t *values, size_t width, const char *format) {
  const char *name = fields;
  while (*name != '\0') {
    if (name != fields) add_text(line, " ");
    size_t length = strcspn(name, " ");
    uint32_t value = 0;
    memcpy(&value, values, width);
    line.add_text(name, length);
    add_text(line, "=");
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
  add_text(line, "{");
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
  add_text(line, "}");
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
  add_text(line, " ");
  add_text(line, request.name);
  if (erases(request)) line.add(" 0x%08x", event.address);
  if (event.error == EFAULT || request.shape == Shape::None) return;
  if (request.shape == Shape::Transfer) {
    add_transfer(line, event);
    return;
  }
  add_text(line, " ");
  add_record(line, request, event.before);
  add_text(line, " -> ");
  add_record(line, request, event.after);
}

void add_event(TraceLine &line, const RequestEvent &event) {
  line.add("%s 0x%02X", node_name(event.node), event.number);
  if (event.request != nullptr) {
    add_request(line, event);
  } else {
    line.add(" ?");
  }
}

// The readers format the record, so that the program does not wait for it.
void show_request(Board &board, const RequestEvent &event) {
  TraceRecord record = {};
  record.node = event.node;
  record.number = event.number;
  record.has_record = event.request != nullptr && event.error != EFAULT;
  record.result = event.result;
  record.error = event.error;
  record.address = event.address;
  size_t size = record.has_record != 0 ? record_size(*event.request) : 0;
  show_watchers(board, record, {event.began_us, event.fault}, {event.before, size}, {event.after, size});
}

}  // namespace

void trace_request(const RequestEvent &event) {
  Readers readers;
  if (readers.none()) return;
  int error = errno;
  if (readers.watched != nullptr) show_request(*readers.watched, event);
  if (readers.file[0] != '\0') {
    TraceLine line(error);
    add_event(line, event);
    line.write(readers.file, event.result);
  }
  errno = error;
}

size_t request_line(const RequestEvent &event, char *text, size_t size) {
  TraceLine line(event.error);
  add_event(line, event);
  return line.copy(text, size);
}

int64_t host_time_us() {
  timespec now = {};
  clock_gettime(CLOCK_REALTIME, &now);
  return int64_t{now.tv_sec} * 1000000 + now.tv_nsec / 1000;
}

int64_t trace_clock() { return Readers().watched != nullptr ? host_time_us() : 0; }

void count_request(Board &board) { __atomic_add_fetch(&board.watch.requests, 1, __ATOMIC_RELAXED); }

void sign_change(Board &board, Node node) {
  ChangedBy &changer = board.watch.changed_by[static_cast<unsigned>(node)];
  changer.process = static_cast<uint32_t>(getpid());
  strncpy(changer.program, program_invocation_short_name, sizeof changer.program - 1);
}

size_t result_text(long result, int error, char *text, size_t size) {
  constexpr long kHighestDecimal = 9;
  int written = 0;
  if (result == kNoResult) return 0;
  if (result < 0) {
    written = snprintf(text, size, " = -1 %s", strerrorname_np(error));
  } else if (result > kHighestDecimal) {
    written = snprintf(text, size, " = 0x%lx", result);
  } else {
    written = snprintf(text, size, " = %ld", result);
  }
  auto length = written > 0 ? static_cast<size_t>(written) : 0;
  return length < size ? length : size - 1;
}

void trace(long result, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  send({0, 0}, result, format, arguments);
  va_end(arguments);
}

void trace(const TracedAccess &access, long result, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  send(access, result, format, arguments);
  va_end(arguments);
}

}  // namespace zelsim

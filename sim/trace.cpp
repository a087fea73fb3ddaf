#include "trace.h"

#include <errno.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include "system_calls.h"
#include "trace_line.h"

// Who reads a trace, and how its lines get there.

namespace zelsim {
namespace {

/** @param matters  the call failed, or was struck by a fault */
bool is_wanted(const Watch &watch, bool matters) {
  uint32_t written = __atomic_load_n(&watch.written, __ATOMIC_RELAXED);
  uint32_t wanted = __atomic_load_n(matters ? &watch.wanted_failures : &watch.wanted, __ATOMIC_RELAXED);
  return static_cast<int32_t>(wanted - written) > 0;  // the counts wrap
}

// Who reads the trace of a call.
struct Readers {
  const char *file = variable(kTraceVariable);  // empty: no file
  const Attached *watched = nullptr;            // null: nobody watches the board

  explicit Readers(bool matters) {
    const Attached *attached = environment_board();
    if (attached != nullptr && is_wanted(attached->board->watch, matters)) watched = attached;
  }
  bool none() const { return file[0] == '\0' && watched == nullptr; }
};

void put_bytes(const Attached &attached, const void *bytes, size_t size) {
  if (size == 0) return;
  Watch &watch = attached.board->watch;
  size_t at = watch.written % kWatchedBytes;
  size_t first = size < kWatchedBytes - at ? size : kWatchedBytes - at;
  memcpy(attached.records + at, bytes, first);
  memcpy(attached.records, static_cast<const uint8_t *>(bytes) + first, size - first);
  watch.written += static_cast<uint32_t>(size);
}

/** Bytes that follow a record. */
struct Piece {
  const void *bytes;
  size_t size;
};

// The readers look by themselves from time to time: waking them at each record would cost more than the request.
void show_watchers(const Attached &attached, TraceRecord record, const TracedAccess &access, Piece first,
                   Piece second = {}) {
  int64_t now = host_time_us();
  record.at_us = access.began_us != 0 ? access.began_us : now;
  record.duration_us = static_cast<uint32_t>(now - record.at_us);
  record.fault = access.fault;
  record.process = static_cast<uint32_t>(getpid());
  strncpy(record.program, program_invocation_short_name, sizeof record.program - 1);
  record.size = static_cast<uint16_t>(sizeof record + first.size + second.size);
  Guard guard(*attached.board, Intent::Look);
  put_bytes(attached, &record, sizeof record);
  put_bytes(attached, first.bytes, first.size);
  put_bytes(attached, second.bytes, second.size);
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

// Begins the line with the time of the call's end and the number of its process.
void write_stamped(const char *where, const TraceLine &line) {
  constexpr size_t kStampSize = 40;
  char stamped[kStampSize + TraceLine::kRoom];
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  int size =
      snprintf(stamped, kStampSize, "%lld.%06ld %d ", static_cast<long long>(now.tv_sec), now.tv_nsec / 1000, getpid());
  memcpy(stamped + size, line.text(), line.size());
  write_to(where, stamped, static_cast<size_t>(size) + line.size());
}

void write_line(const char *where, TraceLine &line, long result, int error) {
  line.finish(result, error);
  if (is_on(kTraceTimesVariable)) {
    write_stamped(where, line);
  } else {
    write_to(where, line.text(), line.size());
  }
}

void show_line(const Attached &attached, const TracedAccess &access, const TraceLine &line, long result, int error) {
  TraceRecord record = {};
  record.result = result == kNoResult ? kNoTraceResult : static_cast<int32_t>(result);
  record.error = result < 0 ? error : 0;
  show_watchers(attached, record, access, {line.text(), line.size()});
}

// Formats a line for all readers. errno stays.
void send(const TracedAccess &access, long result, const char *format, va_list arguments) {
  bool matters = (result < 0 && result != kNoResult) || access.fault != 0;
  Readers readers(matters);
  if (readers.none()) return;
  int error = errno;
  TraceLine line;
  line.add_list(format, arguments);
  if (readers.watched != nullptr) show_line(*readers.watched, access, line, result, error);
  if (readers.file[0] != '\0') write_line(readers.file, line, result, error);
  errno = error;
}

// The readers format the record, so that the program does not wait for it.
void show_request(const Attached &attached, const RequestEvent &event) {
  TraceRecord record = {};
  record.node = event.node;
  record.number = event.number;
  record.has_record = event.request != nullptr && event.error != EFAULT;
  record.result = event.result;
  record.error = event.error;
  record.address = event.address;
  size_t size = record.has_record != 0 ? record_size(*event.request) : 0;
  show_watchers(attached, record, {event.began_us, event.fault}, {event.before, size}, {event.after, size});
}

}  // namespace

void trace_request(const RequestEvent &event) {
  bool matters = event.result != 0 || event.fault != 0;
  Readers readers(matters);
  if (readers.none()) return;
  int error = errno;
  if (readers.watched != nullptr) show_request(*readers.watched, event);
  if (readers.file[0] != '\0') {
    TraceLine line;
    add_event(line, event);
    write_line(readers.file, line, event.result, error);
  }
  errno = error;
}

int64_t host_time_us() {
  timespec now = {};
  clock_gettime(CLOCK_REALTIME, &now);
  return int64_t{now.tv_sec} * 1000000 + now.tv_nsec / 1000;
}

int64_t trace_clock() { return Readers(false).watched != nullptr ? host_time_us() : 0; }

void count_request(Board &board) { __atomic_add_fetch(&board.watch.requests, 1, __ATOMIC_RELAXED); }

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

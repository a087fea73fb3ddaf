#include <errno.h>
#include <stdarg.h>
#include <stdlib.h>
#include <sys/mman.h>

#include "environment.h"
#include "recorder.h"
#include "recorder_caller.h"
#include "recorder_file.h"
#include "trace_line.h"

// A recorded call is one line: its time, duration, process and thread; then the text that a trace has; then what a replay
// needs besides.

namespace zelsim {
namespace {

/** The text of one line. A long line gets pages of its own and no memory of the heap: the program may be inside of
 *  malloc at this moment. */
class RecordLine {
 public:
  explicit RecordLine(size_t needed) {
    if (needed <= sizeof small_) return;
    void *pages = mmap(nullptr, needed, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pages == MAP_FAILED) return;
    text_ = static_cast<char *>(pages);
    room_ = needed;
  }
  ~RecordLine() {
    if (text_ != small_) munmap(text_, room_);
  }
  RecordLine(const RecordLine &) = delete;
  RecordLine &operator=(const RecordLine &) = delete;

  __attribute__((format(printf, 2, 3))) void add(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    size_ += print_list(text_ + size_, room_ - size_, format, arguments);
    va_end(arguments);
  }

  void add_text(const char *text) {
    for (const char *at = text; *at != '\0'; ++at) add_char(*at);
  }

  /** A number with at least `digits` digits. printf would take most of the time of a line. */
  void add_number(int64_t number, int digits = 1) {
    char reversed[24];
    int count = 0;
    auto rest = static_cast<uint64_t>(number);
    if (number < 0) rest = 0 - rest;
    while (rest > 0 || count < digits) {
      reversed[count] = static_cast<char>('0' + rest % 10);
      rest /= 10;
      ++count;
    }
    if (number < 0) add_char('-');
    while (count > 0) {
      --count;
      add_char(reversed[count]);
    }
  }

  void add_call(const NodeCall &call) { size_ += call_text(call, text_ + size_, room_ - size_); }

  void add_result(long result, int error) {
    bool is_good = result == 0;
    if (is_good) {
      add_text(" = 0");
    } else {
      size_ += result_text(result, error, text_ + size_, room_ - size_);
    }
  }

  void add_value(const char *name, int64_t value) {
    add_char(' ');
    add_text(name);
    add_char('=');
    add_number(value);
  }

  // Hexadecimal digits. A run of at least four equal bytes becomes `00*128`; commas separate it from its neighbours.
  void add_bytes(const char *name, CallBytes bytes) {
    constexpr size_t kShortestRun = 4;
    add_char(' ');
    add_text(name);
    add_char('=');
    bool after_run = false;
    size_t i = 0;
    while (i < bytes.size) {
      size_t run = run_at(bytes, i);
      bool is_run = run >= kShortestRun;
      if (i > 0 && (is_run || after_run)) add_char(',');
      if (is_run) {
        add_hex(bytes.data[i]);
        add_char('*');
        add_number(static_cast<int64_t>(run));
        i += run;
      } else {
        add_hex(bytes.data[i]);
        ++i;
      }
      after_run = is_run;
    }
  }

  const char *text() const { return text_; }
  size_t size() const { return size_; }

 private:
  static size_t run_at(CallBytes bytes, size_t from) {
    size_t end = from + 1;
    while (end < bytes.size && bytes.data[end] == bytes.data[from]) ++end;
    return end - from;
  }

  void add_char(char c) {
    if (size_ + 1 >= room_) return;
    text_[size_] = c;
    ++size_;
  }

  void add_hex(uint8_t byte) {
    constexpr char kDigits[] = "0123456789abcdef";
    add_char(kDigits[byte >> 4]);
    add_char(kDigits[byte & 15]);
  }

  char small_[4096];
  char *text_ = small_;
  size_t room_ = sizeof small_;
  size_t size_ = 0;
};

size_t room_for(const NodeCall &call) {
  constexpr size_t kCharsPerByte = 3;
  return 2 * kCallText + kCharsPerByte * (call.given.size + call.taken.size + call.complaint.size);
}

bool has_traced_result(CallKind kind) {
  return kind != CallKind::Close && kind != CallKind::Pause && kind != CallKind::Command;
}

// The trace does not show the descriptor that an open returns.
long traced_result(const NodeCall &call) {
  bool opened = call.kind == CallKind::Open && call.result >= 0;
  return opened ? 0 : static_cast<long>(call.result);
}

// What a replay needs and a trace does not show.
void add_rest(RecordLine &line, const NodeCall &call) {
  line.add_text(" |");
  if (call.fd >= 0) line.add_value("fd", call.fd);
  if (call.kind == CallKind::Open) line.add(" flags=0x%x", static_cast<unsigned>(call.flags));
  if (call.kind == CallKind::Request && !is_request_code(call.number)) line.add(" ioctl=0x%x", call.number);
  if (call.kind == CallKind::Seek) line.add(" at=0x%llx", static_cast<unsigned long long>(call.at));
  if (!has_traced_result(call.kind)) line.add_value("result", call.result);
  if (call.result < 0) line.add_value("errno", call.error);
  if (call.given.size > 0) line.add_bytes("given", call.given);
  if (call.taken.size > 0) line.add_bytes("taken", call.taken);
  if (call.complaint.size > 0) line.add_bytes("stderr", call.complaint);
}

// The first line of a process has its program's name. A blank would end the value.
void add_program(RecordLine &line) {
  static pid_t named = 0;
  if (named == own_process()) return;
  named = own_process();
  line.add(" program=");
  for (const char *at = program_invocation_short_name; *at != '\0'; ++at) {
    bool is_plain = static_cast<unsigned char>(*at) > ' ' && *at != '|';
    line.add("%c", is_plain ? *at : '_');
  }
}

}  // namespace

void write_down(const NodeCall &call) {
  int error = errno;
  static const int64_t start = strtoll(variable(kRecordStartVariable), nullptr, 10);
  int64_t began_us = (call.began_ns - start) / 1000;
  int64_t duration_us = (call.ended_ns - call.began_ns) / 1000;
  RecordLine line(room_for(call));
  constexpr int kPlaces = 6;
  line.add_number(began_us / 1000000);
  line.add_text(".");
  line.add_number(began_us % 1000000, kPlaces);
  line.add_text(" ");
  line.add_number(duration_us);
  line.add_text(" ");
  line.add_number(own_process());
  line.add_text("/");
  line.add_number(own_thread());
  line.add_text(" ");
  line.add_call(call);
  if (has_traced_result(call.kind)) line.add_result(traced_result(call), call.error);
  add_rest(line, call);
  add_program(line);
  line.add_text("\n");
  append_line(line.text(), line.size());
  errno = error;
}

}  // namespace zelsim

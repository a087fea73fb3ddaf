#include <ctype.h>
#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <time.h>
#include <unistd.h>

#include "call_names.h"
#include "environment.h"
#include "line_buffer.h"
#include "recorder.h"
#include "system_calls.h"
#include "trace.h"

// A recorded call is one line: its time, duration, process and thread; then the text that a trace has; then what a replay
// needs besides.

namespace zelsim {
namespace {

/** The text of one line. A long line gets pages of its own: the program may be within its heap at this moment. */
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
    int written = vsnprintf(text_ + size_, room_ - size_, format, arguments);
    va_end(arguments);
    if (written > 0) size_ += static_cast<size_t>(written);
    if (size_ >= room_) size_ = room_ - 1;
  }

  void add_text(const char *text) {
    for (const char *at = text; *at != '\0'; ++at) add_char(*at);
  }

  /** A number with at least so many digits. The formats of printf would take most of the time that a line takes. */
  void add_number(int64_t number, int digits = 1) {
    char reversed[24];
    int count = 0;
    auto rest = static_cast<uint64_t>(number < 0 ? -number : number);
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
    if (is_good) return add_text(" = 0");
    size_ += result_text(result, error, text_ + size_, room_ - size_);
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
    bool begins = true;
    bool after_run = false;
    size_t i = 0;
    while (i < bytes.size) {
      size_t run = run_at(bytes, i);
      bool is_run = run >= kShortestRun;
      if (!begins && (is_run || after_run)) add_char(',');
      if (is_run) {
        add_hex(bytes.data[i]);
        add_char('*');
        add_number(static_cast<int64_t>(run));
        i += run;
      } else {
        add_hex(bytes.data[i]);
        ++i;
      }
      begins = false;
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
  return 2 * kCallText + kCharsPerByte * (call.given.size + call.taken.size);
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
}

/** The recording's file, kept open at a number that programs do not use. A program that closes all numbers may close it,
 *  and open a file of its own with the number: the file is then opened again. After a failure nothing more is written: the
 *  recording ends there. */
class KeptFile {
 public:
  bool write(const char *text, size_t size) {
    if (failed_) return false;
    if (!is_ours()) open();
    failed_ = sys::write(fd_, text, size) != static_cast<ssize_t>(size);
    if (failed_) complain();
    return !failed_;
  }

 private:
  bool is_ours() const {
    struct stat status = {};
    return fd_ >= 0 && fstat(fd_, &status) == 0 && status.st_ino == file_.st_ino && status.st_dev == file_.st_dev;
  }

  void open() {
    constexpr int kHigh = 900;
    int fd = sys::open(variable(kRecordVariable), O_WRONLY | O_APPEND | O_CLOEXEC);
    int high = sys::duplicate(fd, kHigh);
    if (high >= 0) {
      sys::close(fd);
      fd = high;
    }
    fd_ = fd;
    fstat(fd_, &file_);
  }

  // A full disk does not stop the program.
  static void complain() {
    dprintf(STDERR_FILENO, "zelsim: record: cannot write %s: %s\n", variable(kRecordVariable), strerror(errno));
  }

  int fd_ = -1;
  struct stat file_ = {};
  bool failed_ = false;
};

KeptFile g_file;

LineBuffer *open_buffer() {
  sys::File file(sys::open(variable(kRecordBufferVariable), O_RDWR | O_CLOEXEC));
  LineBuffer *buffer = file.get() >= 0 ? map_line_buffer(file.get()) : nullptr;
  bool is_buffer = buffer != nullptr && buffer->magic == kLineBufferMagic;
  return is_buffer ? buffer : nullptr;
}

// Null if zelsim has ended before this process began.
LineBuffer *shared_buffer() {
  static LineBuffer *const buffer = open_buffer();
  return buffer;
}

void write_out(LineBuffer &buffer, const char *text, size_t size) {
  if (size == 0 || buffer.failed != 0) return;
  if (!g_file.write(text, size)) buffer.failed = 1;
}

void empty(LineBuffer &buffer) {
  write_out(buffer, buffer.text, buffer.size);
  buffer.size = 0;
  buffer.emptied_ns = monotonic_ns();
}

void append(const RecordLine &line) {
  LineBuffer *buffer = shared_buffer();
  LineBufferGuard guard(buffer);
  if (!guard.holds()) {
    g_file.write(line.text(), line.size());
    return;
  }
  if (line.size() > sizeof buffer->text - buffer->size) empty(*buffer);
  bool fits = line.size() <= sizeof buffer->text;
  if (!fits || buffer->passes_on != 0) {
    write_out(*buffer, line.text(), line.size());
    return;
  }
  memcpy(buffer->text + buffer->size, line.text(), line.size());
  buffer->size += static_cast<uint32_t>(line.size());
}

// Returns the length of the text that is there, which may have been cut.
size_t print_into(char *text, size_t size, const char *format, ...) __attribute__((format(printf, 3, 4)));
size_t print_into(char *text, size_t size, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  int written = vsnprintf(text, size, format, arguments);
  va_end(arguments);
  if (written < 0) return 0;
  auto length = static_cast<size_t>(written);
  return length < size ? length : size - 1;
}

size_t request_text(const NodeCall &call, char *text, size_t size) {
  CallBytes after = call.taken.size > 0 ? call.taken : call.given;
  RequestEvent event = {};
  event.node = call.node;
  event.number = static_cast<uint8_t>(call.number);
  if (is_request_code(call.number)) event.request = request_of(call.node, event.number);
  event.result = static_cast<int>(call.result);
  event.error = call.result < 0 ? call.error : 0;
  event.address = static_cast<uint32_t>(call.at);
  if (call.given.size > 0) memcpy(event.before, call.given.data, call.given.size);
  if (after.size > 0) memcpy(event.after, after.data, after.size);
  bool is_short = event.request != nullptr && call.given.size < record_size(*event.request);
  if (is_short) event.error = EFAULT;  // its record cannot be shown
  return request_line(event, text, size);
}

// Without the newline at the end. Other control bytes would end the recorded line.
size_t command_text(const NodeCall &call, char *text, size_t size) {
  constexpr char kTool[] = "debugCmd ";
  const char *command = reinterpret_cast<const char *>(call.given.data);
  bool is_tool = call.given.size >= strlen(kTool) && strncmp(command, kTool, strlen(kTool)) == 0;
  size_t length =
      print_into(text, size, "%s%.*s", is_tool ? "" : "system ", static_cast<int>(call.given.size), command);
  while (length > 0 && isspace(static_cast<unsigned char>(text[length - 1]))) --length;
  for (size_t i = 0; i < length; ++i) {
    if (static_cast<unsigned char>(text[i]) < ' ') text[i] = '?';
  }
  return length;
}

// The numbers of process and thread, without a system call for each line. The child of a fork begins anew.
pid_t g_process;
thread_local pid_t t_thread;

void forget_numbers() {
  g_process = 0;
  t_thread = 0;
}

void learn_numbers() {
  static bool watches_forks;
  if (!watches_forks) pthread_atfork(nullptr, nullptr, forget_numbers);
  watches_forks = true;
  g_process = getpid();
}

pid_t own_process() {
  if (g_process == 0) learn_numbers();
  return g_process;
}

pid_t own_thread() {
  if (t_thread == 0) t_thread = gettid();
  return t_thread;
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

size_t call_text(const NodeCall &call, char *text, size_t size) {
  auto at = static_cast<unsigned long long>(call.at);
  auto argument = static_cast<unsigned long long>(call.argument);
  const char *node = node_name(call.node);
  switch (call.kind) {
    case CallKind::Open:
      return print_into(text, size, "open %s %s", node, access_name(call.flags));
    case CallKind::Close:
      return print_into(text, size, "close %s", node);
    case CallKind::Request:
      return request_text(call, text, size);
    case CallKind::Read:
      return print_into(text, size, "%s read 0x%08llx+0x%llx", node, at, argument);
    case CallKind::Write:
      return print_into(text, size, "%s write 0x%08llx+0x%llx", node, at, argument);
    case CallKind::Seek:
      return print_into(text, size, "%s lseek %s0x%08llx", node, origin_name(call.whence), argument);
    case CallKind::Pause:
      return print_into(text, size, "pause %lluus", argument);
    case CallKind::Command:
      return command_text(call, text, size);
  }
  return 0;
}

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
  append(line);
  errno = error;
}

void write_buffered(int64_t since_ns) {
  int error = errno;
  LineBuffer *buffer = shared_buffer();
  LineBufferGuard guard(buffer);
  bool is_due = guard.holds() && monotonic_ns() - buffer->emptied_ns >= since_ns;
  if (is_due) empty(*buffer);
  errno = error;
}

}  // namespace zelsim

#include "wire.h"

#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <time.h>
#include <unistd.h>

#include <map>
#include <set>
#include <sstream>
#include <vector>

namespace wire {
namespace {

struct Wire {
  std::vector<std::string> events;
  std::string output;
  std::map<int, std::string> open;  // descriptors and what they are
  std::map<std::string, int> calls;
  std::function<std::optional<int>(const Request &)> hook;
  std::string failing;
  int failing_call = 0;
};

// Function-local: the first libc calls come before the program's own constructors.
Wire &log() {
  static Wire instance;
  return instance;
}

// Only the thread that records, and not our own work on an event.
thread_local bool recording = false;

struct Pause {
  bool before = recording;
  Pause() { recording = false; }
  ~Pause() { recording = before; }
};

template <typename Function>
Function *next(const char *name) {
  return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

void note(const std::string &event) { log().events.push_back(event); }

/// Counts a call. Returns whether it is the one to fail.
bool count_call_of(const std::string &kind) {
  Wire &w = log();
  ++w.calls[kind];
  return w.failing == kind && w.calls[kind] == w.failing_call;
}

bool count_call(const char *kind) {
  const bool fails_of_its_kind = count_call_of(kind);
  const bool fails_of_any = count_call_of("any");
  return fails_of_its_kind || fails_of_any;
}

/// Stays out of "any": a call that a recording does not show.
bool count_unseen_call(const char *kind) {
  const Pause pause;
  return count_call_of(kind);
}

std::string hex(const void *bytes, size_t length) {
  static const char digits[] = "0123456789abcdef";
  std::string text;
  for (size_t n = 0; n < length; ++n) {
    const uint8_t byte = static_cast<const uint8_t *>(bytes)[n];
    text += digits[byte >> 4];
    text += digits[byte & 0xF];
  }
  return text;
}

std::string format(const char *pattern, ...) {
  char text[300];
  va_list arguments;
  va_start(arguments, pattern);
  vsnprintf(text, sizeof text, pattern, arguments);
  va_end(arguments);
  return text;
}

std::string escaped(const std::string &text) {
  std::string shown;
  for (const char c : text) shown += c == '\n' ? std::string("\\n") : std::string(1, c);
  return shown;
}

const char *node_name(const char *path) {
  if (strcmp(path, "/dev/zel_gpio") == 0) return "gpio";
  if (strcmp(path, "/dev/zel_i2c") == 0) return "i2c";
  return strcmp(path, "/dev/zel_spi_flash") == 0 ? "flash" : nullptr;
}

size_t record_length(uint8_t number) {
  static const std::map<uint8_t, size_t> lengths = {
      {0x86, 2}, {0x87, 2},  {0x89, 2},  {0x92, 2}, {0x93, 2}, {0x96, 2},   {0xC2, 2},   {0xC3, 2}, {0xE0, 8},
      {0xE1, 8}, {0xBA, 48}, {0xC4, 48}, {0xC5, 4}, {0xC6, 4}, {0xB0, 140}, {0xB1, 140}, {0xB4, 0}, {0xD2, 3}};
  const auto found = lengths.find(number);
  return found == lengths.end() ? 1 : found->second;
}

std::string transfer_event(uint8_t number, const uint8_t *record, int result) {
  uint32_t offset = 0;
  memcpy(&offset, record + 132, sizeof offset);
  const std::string data = hex(record, record[128]);
  return format("i2c %02x %02x:%x/%u n%u %s%s = %x", number, record[129], offset, record[136], record[128],
                number == 0xB0 ? ">" : "", data.c_str(), static_cast<unsigned>(result));
}

int send(int fd, unsigned long code, void *record) {
  const std::string node = log().open[fd];
  const auto number = static_cast<uint8_t>(code);
  const size_t length = record != nullptr ? record_length(number) : 0;
  const std::string before = hex(record, length);
  std::optional<int> answer;
  const bool fails = count_call("ioctl");
  if (fails) answer = -1;
  if (!answer && log().hook) answer = log().hook({node, number, record});
  const int result = answer ? *answer : next<int(int, unsigned long, ...)>("ioctl")(fd, code, record);
  if (code >> 8 != 0x400124) {
    note(format("ioctl %lx", code));
  } else if (length == 140) {
    note(transfer_event(number, static_cast<const uint8_t *>(record), result));
  } else {
    const std::string after = hex(record, length);
    std::string event = format("%s %02x", node.c_str(), number);
    if (length != 0) event += " " + before;
    if (after != before) event += ">" + after;
    note(event + format(" = %x", static_cast<unsigned>(result)));
  }
  return result;
}

ssize_t moved(const char *kind, int fd, size_t length, const std::function<ssize_t()> &move) {
  const bool refused = count_call(kind);
  const ssize_t count = refused ? -1 : move();
  const int error = refused ? EIO : errno;
  note(format("%s %s %zx = %zx", kind, log().open[fd].c_str(), length, count));
  errno = error;
  return count;
}

int printed(const char *kind, const char *text, const char *end) {
  const Pause pause;
  note(kind + escaped(text));
  log().output += std::string(text) + end;
  return static_cast<int>(strlen(text));
}

}  // namespace

void record() {
  Wire &w = log();
  w.events.clear();
  w.output.clear();
  w.open.clear();
  w.calls.clear();
  recording = true;
}

std::string recorded(std::initializer_list<const char *> drop) {
  recording = false;
  const std::set<std::string> dropped(drop.begin(), drop.end());
  std::string all;
  for (const std::string &event : log().events) {
    if (dropped.count(event.substr(0, event.find(' '))) == 0) all += event + "\n";
  }
  return all;
}

void on_request(std::function<std::optional<int>(const Request &)> hook) { log().hook = std::move(hook); }

void fail_call(const std::string &kind, int nth) {
  log().failing = kind;
  log().failing_call = nth;
}

int calls(const std::string &kind) { return log().calls[kind]; }

int open_descriptors() { return static_cast<int>(log().open.size()); }

std::string output() { return log().output; }

void reset() {
  log().hook = nullptr;
  log().failing.clear();
}

}  // namespace wire

using wire::log;
using wire::next;
using wire::note;
using wire::Pause;

extern "C" {

int open(const char *path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  const auto pass_on = [&] { return next<int(const char *, int, ...)>("open")(path, flags, mode); };
  if (!wire::recording) return pass_on();
  const Pause pause;
  const char *const node = wire::node_name(path);
  static const char *const modes[] = {"r", "w", "rw"};
  std::string event = wire::format("open %s %s", node != nullptr ? node : "FILE", modes[flags & O_ACCMODE]);
  if (node != nullptr && (flags & ~O_ACCMODE) != 0) event += wire::format("+%x", flags & ~O_ACCMODE);
  const bool fails = wire::count_call("open");
  const int fd = fails ? -1 : pass_on();
  const int error = fails ? ENXIO : errno;
  if (fd >= 0) log().open[fd] = node != nullptr ? node : "FILE";
  note(fd >= 0 ? event : event + " failed");
  errno = error;
  return fd;
}

int close(int fd) {
  if (!wire::recording) return next<int(int)>("close")(fd);
  const Pause pause;
  note("close " + log().open[fd]);
  log().open.erase(fd);
  return next<int(int)>("close")(fd);
}

int ioctl(int fd, unsigned long code, ...) {
  va_list arguments;
  va_start(arguments, code);
  void *const record = va_arg(arguments, void *);
  va_end(arguments);
  if (!wire::recording) return next<int(int, unsigned long, ...)>("ioctl")(fd, code, record);
  const Pause pause;
  return wire::send(fd, code, record);
}

off_t lseek(int fd, off_t offset, int whence) {
  if (!wire::recording) return next<off_t(int, off_t, int)>("lseek")(fd, offset, whence);
  const Pause pause;
  note(wire::format("seek %llx%s", static_cast<long long>(offset), whence == SEEK_SET ? "" : " not from the start"));
  const bool fails = wire::count_call("lseek");
  if (fails) return -1;
  return next<off_t(int, off_t, int)>("lseek")(fd, offset, whence);
}

ssize_t read(int fd, void *buffer, size_t length) {
  const auto pass_on = [&] { return next<ssize_t(int, void *, size_t)>("read")(fd, buffer, length); };
  if (!wire::recording) return pass_on();
  const Pause pause;
  return wire::moved("read", fd, length, pass_on);
}

ssize_t write(int fd, const void *buffer, size_t length) {
  const auto pass_on = [&] { return next<ssize_t(int, const void *, size_t)>("write")(fd, buffer, length); };
  if (!wire::recording) return pass_on();
  const Pause pause;
  return wire::moved("write", fd, length, pass_on);
}

int fstat(int fd, struct stat *status) noexcept {
  auto *const real = next<int(int, struct stat *)>("fstat");
  if (!wire::recording) return real(fd, status);
  const bool fails = wire::count_unseen_call("fstat");
  return fails ? -1 : real(fd, status);
}

int usleep(useconds_t microseconds) {
  if (!wire::recording) return next<int(useconds_t)>("usleep")(microseconds);
  const Pause pause;
  note(wire::format("pause %u", microseconds));
  return next<int(useconds_t)>("usleep")(microseconds);  // the virtual switch counts it and does not sleep
}

// The sanitizer's allocator stands behind these where there is one, valgrind's or libc's otherwise. The first calls come
// before the sanitizer is ready for instrumented code.
__attribute__((no_sanitize("address"), no_sanitize("undefined"))) void *malloc(size_t size) {
  static void *(*real)(size_t);
  if (real == nullptr) real = reinterpret_cast<void *(*)(size_t)>(dlsym(RTLD_NEXT, "malloc"));
  // The switch's processor could not have more either, and a sanitizer takes a second for each gigabyte.
  constexpr size_t kMost = 0x40000000;
  if (!wire::recording) return real(size);
  if (size > kMost) return nullptr;
  const bool fails = wire::count_unseen_call("malloc");
  return fails ? nullptr : real(size);
}

__attribute__((no_sanitize("address"), no_sanitize("undefined"))) void *calloc(size_t count, size_t size) {
  static void *(*real)(size_t, size_t);
  if (real == nullptr) real = reinterpret_cast<void *(*)(size_t, size_t)>(dlsym(RTLD_NEXT, "calloc"));
  if (!wire::recording) return real(count, size);
  const bool fails = wire::count_unseen_call("malloc");
  return fails ? nullptr : real(count, size);
}

int system(const char *line) {
  if (!wire::recording) return next<int(const char *)>("system")(line);
  const Pause pause;
  std::string event = wire::format("shell %s", line);
  if (!event.empty() && event.back() == '\n') event.pop_back();
  note(event);
  const bool fails = wire::count_call("system");
  return fails ? -1 : next<int(const char *)>("system")(line);
}

int printf(const char *pattern, ...) {
  char text[1000];
  va_list arguments;
  va_start(arguments, pattern);
  const int count = wire::recording ? vsnprintf(text, sizeof text, pattern, arguments) : vprintf(pattern, arguments);
  va_end(arguments);
  return wire::recording ? wire::printed("print ", text, "") : count;
}

int puts(const char *text) {
  return wire::recording ? wire::printed("puts ", text, "\n") : next<int(const char *)>("puts")(text);
}

// Optimising, libc's header has a body of its own for this name: only the linker knows it here.
int put_character(int c) __asm__("putchar");
int put_character(int c) {
  const char text[] = {static_cast<char>(c), '\0'};
  return wire::recording ? wire::printed("putchar ", text, "") : next<int(int)>("putchar")(c);
}
}

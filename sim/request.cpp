#include "request.h"

#include <errno.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>

#include "system_calls.h"

namespace zelsim {
namespace {

struct RequestEvent {
  Node node;
  uint8_t number;
  const Request *request;  // null: the driver does not know the number
  uint8_t before[kTransferSize], after[kTransferSize];
  int result, error;
  uint32_t address;  // of an erase
  bool answered;     // by the driver, not by a fault
};

struct Layout {
  size_t size;
  const char *fields;  // null: the request has names of its own
};
constexpr Layout kLayouts[] = {{0, ""},
                               {1, nullptr},
                               {2, nullptr},
                               {8, "address value"},
                               {kTransferSize, "addr offset offset_len len data"},
                               {48, "mode24 pm sec min hour mday mon year wday"},
                               {4, "temperature"},
                               {3, "id"}};

const Layout &layout_of(const Request &request) { return kLayouts[static_cast<unsigned>(request.shape)]; }

// Where lines of the trace go: into a file, and to those who watch the board.
struct Readers {
  const char *file = variable("ZELSIM_TRACE");
  Board *watched = nullptr;

  Readers() {
    const Attached *attached = environment_board();
    if (attached == nullptr) return;
    Watch &watch = attached->board->watch;
    uint32_t written = __atomic_load_n(&watch.written, __ATOMIC_RELAXED);
    uint32_t wanted = __atomic_load_n(&watch.wanted, __ATOMIC_RELAXED);
    if (static_cast<int32_t>(wanted - written) > 0) watched = attached->board;
  }
  bool none() const { return file[0] == '\0' && watched == nullptr; }
};

void show_watchers(Board &board, const char *text, size_t size) {
  Guard guard(board);
  for (size_t i = 0; i < size; ++i) board.watch.lines[board.watch.written++ % kWatchedBytes] = text[i];
}

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

  void send(const Readers &readers, long result) {
    if (result < 0 && result != kNoResult) add(" = -1 %s", strerrorname_np(error_));
    if (result >= 0) add(result > 9 ? " = 0x%lx" : " = %ld", result);
    text_[size_++] = '\n';
    if (readers.file[0] != '\0') write_to(readers.file);
    if (readers.watched != nullptr) show_watchers(*readers.watched, text_, size_);
    errno = error_;
  }

 private:
  // One write, so that several processes may share a file. No descriptor is kept: the traced program may close any
  // number that it likes.
  void write_to(const char *where) const {
    bool to_stderr = strcmp(where, "-") == 0;
    sys::File file(to_stderr ? -1 : sys::open(where, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666));
    sys::write(to_stderr ? STDERR_FILENO : file.get(), text_, size_);
  }

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
  const char *fields = fields_of(request);
  if (request.shape == Shape::Byte || request.shape == Shape::Pair) add_named(line, fields, record, 1, "%u");
  if (request.shape == Shape::Register) add_named(line, fields, record, 4, "0x%08x");
  if (request.shape == Shape::Rtc) {
    line.add("mode24=%u pm=%u ", record[0], record[1]);
    add_named(line, fields + strlen("mode24 pm "), record + 4, 4, "%u");
  }
  if (request.shape == Shape::Temperature) line.add("temperature=%.1f", static_cast<double>(degrees));
  if (request.shape == Shape::Identification) add_bytes(line, record, layout_of(request).size);
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

void trace_request(const RequestEvent &event) {
  Readers readers;
  if (readers.none()) return;
  Line line;
  line.add("%s 0x%02X", node_name(event.node), event.number);
  if (event.request == nullptr) line.add(" ?");
  if (event.request != nullptr) add_request(line, event);
  line.send(readers, event.result);
}

const Request *find_request(Node node, uint8_t number) {
  for (const Request &request : requests_of(node)) {
    if (request.number == number) return &request;
  }
  return nullptr;
}

// The first page is never mapped. Any other wild pointer faults in the caller, where a kernel would answer EFAULT:
// asking the kernel about every record would cost more than the request.
bool is_mapped(const void *record) { return reinterpret_cast<uintptr_t>(record) >= 4096; }

FaultCall fault_call(const RequestEvent &event) {
  bool transfers = event.request->shape == Shape::Transfer;
  uint32_t first = transfers ? event.before[kAddress] : event.address & ~(kSectorSize - 1);
  uint32_t last = transfers ? first : first + kSectorSize - 1;
  return {event.node, Call::Request, event.number, has_address(*event.request), first, last};
}

void answer(const Attached &attached, int fd, RequestEvent &event) {
  Fault fault = take_fault(*attached.board, fault_call(event));
  event.error = 0;
  if (fault.strikes) {
    event.result = fault.result;
    event.error = fault.error;
  } else if (erases(*event.request)) {
    event.result = flash_erase(attached, fd, event.address);
    event.error = errno;
  } else {
    Guard guard(*attached.board, event.request->fills ? Intent::Look : Intent::Change);
    event.result = event.request->handle(*attached.board, *event.request, event.after);
    event.answered = true;
  }
}

}  // namespace

RequestTable requests_of(Node node) {
  if (node == Node::Gpio) return gpio_requests();
  if (node == Node::I2c) return i2c_requests();
  return node == Node::Flash ? flash_requests() : RequestTable{};
}

const char *fields_of(const Request &request) {
  const char *fields = layout_of(request).fields;
  return fields != nullptr ? fields : request.fields;
}

const char *node_name(Node node) {
  constexpr const char *kNames[] = {"none", "gpio", "i2c", "flash", "any"};
  return kNames[static_cast<unsigned>(node)];
}

int plain(Board &board, const Request &request, uint8_t *record) {
  bool pair = request.shape == Shape::Pair;
  auto index = static_cast<uint8_t>(pair ? record[0] - request.first : 0);
  uint8_t *value = record + pair, *state = reinterpret_cast<uint8_t *>(&board) + request.state + index;
  if (index >= request.count || (!request.fills && *value > request.highest)) return kFail;
  memcpy(request.fills ? value : state, request.fills ? state : value, layout_of(request).size - pair);
  return 0;
}

int answer_request(const Attached &attached, Node node, int fd, uint8_t number, void *record) {
  const Request *request = find_request(node, number);
  size_t size = request != nullptr ? layout_of(*request).size : 0;
  bool sound = size == 0 || is_mapped(record);
  RequestEvent event{node, number, request, {}, {}, -1, request == nullptr ? ENOTTY : EFAULT, 0, false};
  if (request != nullptr && sound) {
    // The driver works on a copy, so that no fault of the caller's memory strikes while the lock is held.
    memcpy(event.before, record, size);
    memcpy(event.after, record, size);
    if (erases(*request)) event.address = static_cast<uint32_t>(sys::lseek(fd, 0, SEEK_CUR));
    answer(attached, fd, event);
    if (request->fills && event.answered) memcpy(record, event.after, size);
  }
  if (event.result < 0) errno = event.error;
  trace_request(event);
  return event.result;
}

void trace(long result, const char *format, ...) {
  Readers readers;
  if (readers.none()) return;
  Line line;
  va_list arguments;
  va_start(arguments, format);
  line.add_list(format, arguments);
  va_end(arguments);
  line.send(readers, result);
}

}  // namespace zelsim

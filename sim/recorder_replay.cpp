#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <pthread.h>
#include <stdarg.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <utility>

#include "environment.h"
#include "recorder_compare.h"
#include "request.h"
#include "shared_mutex.h"
#include "system_calls.h"
#include "tape.h"
#include "trace_line.h"

// Answers from a recording. Each thread of the program makes the calls of one recorded thread, in their order. Its calls
// show which one that is.

namespace zelsim {
namespace {

/** The tape, once it is mapped. */
class Tape {
 public:
  void map() {
    sys::File file(sys::open(variable(kReplayVariable), O_RDWR | O_CLOEXEC));
    off_t size = sys::lseek(file.get(), 0, SEEK_END);
    if (size <= 0) return;
    void *mapped = mmap(nullptr, static_cast<size_t>(size), PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
    if (mapped == MAP_FAILED) return;
    const auto *head = static_cast<const TapeHead *>(mapped);
    if (head->magic == kTapeMagic) base_ = static_cast<uint8_t *>(mapped);
  }
  bool is_there() const { return base_ != nullptr; }
  TapeHead &head() const { return *reinterpret_cast<TapeHead *>(base_); }
  TapeStream &stream(uint32_t index) const {
    return reinterpret_cast<TapeStream *>(base_ + head().stream_table.at)[index];
  }
  /** A call of a stream, by its position there. */
  const TapeCall &call(const TapeStream &stream, uint32_t position) const {
    return reinterpret_cast<const TapeCall *>(base_ + head().call_table.at)[stream.first + position];
  }
  CallBytes bytes(const TapePiece &piece) const { return {base_ + piece.at, static_cast<size_t>(piece.size)}; }

 private:
  uint8_t *base_ = nullptr;
};

// Mapped by the first call. Threads may make their first calls at once.
const Tape &tape() {
  static pthread_once_t once = PTHREAD_ONCE_INIT;
  static Tape mapped;
  pthread_once(&once, [] { mapped.map(); });
  return mapped;
}

/** Holds the tape for a scope. Its holder may be killed. */
class TapeGuard {
 public:
  TapeGuard() {
    if (lock_shared_mutex(tape().head().mutex) == EOWNERDEAD) pthread_mutex_consistent(&tape().head().mutex);
  }
  ~TapeGuard() { pthread_mutex_unlock(&tape().head().mutex); }
  TapeGuard(const TapeGuard &) = delete;
  TapeGuard &operator=(const TapeGuard &) = delete;
};

// Position of the next call that is no pause, or the end of the stream.
uint32_t next_call(const TapeStream &stream) {
  uint32_t position = stream.position;
  while (position < stream.count && tape().call(stream, position).call.kind == CallKind::Pause) ++position;
  return position;
}

bool answers(const TapeStream &stream, uint32_t position, const NodeCall &asked) {
  if (position >= stream.count) return false;
  const TapeCall &recorded = tape().call(stream, position);
  return is_same_call(asked, recorded.call, tape().bytes(recorded.given));
}

// The stream of this thread; null before its first call. After an exec the process finds its stream by the owner.
TapeStream *own_stream(uint32_t thread) {
  static thread_local TapeStream *known = nullptr;
  if (known != nullptr && known->owner == thread) return known;
  for (uint32_t i = 0; i < tape().head().streams; ++i) {
    TapeStream &stream = tape().stream(i);
    if (stream.owner != thread) continue;
    known = &stream;
    return known;
  }
  return nullptr;
}

// A free stream that begins with this call.
TapeStream *find_free_stream(const NodeCall &asked) {
  for (uint32_t i = 0; i < tape().head().streams; ++i) {
    TapeStream &stream = tape().stream(i);
    if (stream.owner == kNoOwner && answers(stream, next_call(stream), asked)) return &stream;
  }
  return nullptr;
}

TapeStream *begin_stream(uint32_t thread, const NodeCall &asked) {
  TapeStream *stream = find_free_stream(asked);
  if (stream != nullptr) stream->owner = thread;
  return stream;
}

// The next run of debugCmd that was recorded; null without one.
const TapeStream *next_tool_run() {
  for (uint32_t i = 0; i < tape().head().streams; ++i) {
    const TapeStream &stream = tape().stream(i);
    if (stream.owner != kNoOwner || stream.count == 0) continue;
    if (is_tool_run(tape().call(stream, 0).call)) return &stream;
  }
  return nullptr;
}

bool is_same_answer(const TapeCall &one, const TapeCall &other) {
  const NodeCall &call = one.call;
  const NodeCall &another = other.call;
  if (call.kind != another.kind || call.result != another.result || call.error != another.error) return false;
  if (!is_same_bytes(tape().bytes(one.text), tape().bytes(other.text))) return false;
  return is_same_bytes(tape().bytes(one.taken), tape().bytes(other.taken));
}

bool begin_alike(const TapeStream &one, const TapeStream &other, uint32_t calls) {
  if (one.count < calls || other.count < calls) return false;
  for (uint32_t i = 0; i < calls; ++i) {
    if (!is_same_answer(tape().call(one, i), tape().call(other, i))) return false;
  }
  return true;
}

// Two threads exchange their streams. Each keeps its position.
void exchange_streams(TapeStream &one, TapeStream &other) {
  std::swap(one.owner, other.owner);
  std::swap(one.position, other.position);
}

// Threads that begin alike may have taken each other's stream. They exchange their streams if the other one has the
// same calls so far, and goes on with this call.
TapeStream *other_stream(TapeStream &own, const NodeCall &asked) {
  uint32_t position = next_call(own);
  for (uint32_t i = 0; i < tape().head().streams; ++i) {
    TapeStream &other = tape().stream(i);
    if (&other == &own || other.position > position) continue;
    if (!begin_alike(own, other, position) || !answers(other, position, asked)) continue;
    exchange_streams(own, other);
    return &other;
  }
  return nullptr;
}

// The stream that goes on with this call; null if there is none.
TapeStream *stream_for(const NodeCall &asked, uint32_t thread) {
  // Each run of debugCmd is a new process: it begins a stream, even if an earlier run had its number.
  if (is_tool_run(asked)) return begin_stream(thread, asked);
  TapeStream *own = own_stream(thread);
  if (own == nullptr) return begin_stream(thread, asked);
  if (answers(*own, next_call(*own), asked)) return own;
  return other_stream(*own, asked);
}

/** The message about a call that the recording does not have. zelsim prints it. */
class Message {
 public:
  __attribute__((format(printf, 2, 3))) void add(const char *format, ...) {
    char *text = tape().head().message;
    constexpr size_t kRoom = sizeof tape().head().message;
    va_list arguments;
    va_start(arguments, format);
    size_ += print_list(text + size_, kRoom - size_, format, arguments);
    va_end(arguments);
  }

  void add_line(const char *before, const TapeCall &call) {
    constexpr int kLongest = 400;
    CallBytes text = tape().bytes(call.text);
    int length = text.size < kLongest ? static_cast<int>(text.size) : kLongest;
    add("%s%6u  %.*s\n", before, call.line, length, reinterpret_cast<const char *>(text.data));
  }

  void add_around(const TapeStream &stream, uint32_t position) {
    constexpr uint32_t kLines = 3;
    uint32_t first = position > kLines ? position - kLines : 0;
    for (uint32_t i = first; i < stream.count && i <= position + kLines; ++i)
      add_line(i == position ? "  > " : "    ", tape().call(stream, i));
  }

 private:
  size_t size_ = 0;
};

void explain(const NodeCall &asked, const TapeStream *stream) {
  char text[kCallText];
  auto length = static_cast<int>(asked_text(asked, text, sizeof text));
  uint32_t position = stream != nullptr ? next_call(*stream) : 0;
  bool has_ended = stream != nullptr && position >= stream->count;
  Message message;
  message.add("replay: the recording does not have this call\n  expected ");
  if (stream == nullptr) {
    message.add(is_tool_run(asked) ? "no further run of debugCmd\n" : "a thread that begins with it\n");
  } else if (has_ended) {
    message.add("the end of this thread's calls\n");
  } else {
    const TapeCall &expected = tape().call(*stream, position);
    CallBytes line = tape().bytes(expected.text);
    message.add("%.*s\n", static_cast<int>(line.size), reinterpret_cast<const char *>(line.data));
  }
  message.add("  got      %.*s\n", length, text);
  uint32_t cut_after = tape().head().cut_after;
  if (cut_after != 0) message.add("  the recording was cut off after line %u\n", cut_after);
  if (stream == nullptr) return;
  message.add("  around it:\n");
  message.add_around(*stream, position);
}

// The lock is left to its next holder.
[[noreturn]] void fail(const NodeCall &asked, const TapeStream *stream) {
  tape().head().failed = 1;
  explain(asked, stream);
  _exit(kNotInRecording);
}

// Fills the buffer of a read. It has room for as many bytes as the recorded call asked for.
void fill_read(const TapeCall &recorded, void *data) {
  CallBytes taken = tape().bytes(recorded.taken);
  auto room = static_cast<size_t>(recorded.call.argument);
  size_t size = taken.size < room ? taken.size : room;
  if (size > 0) memcpy(data, taken.data, size);
}

void fill_printed(const TapeCall &recorded, void *data) {
  if (data == nullptr) return;
  *static_cast<Printed *>(data) = {tape().bytes(recorded.taken), tape().bytes(recorded.complaint)};
}

// Puts into the record what the driver filled or changed.
void fill_record(const NodeCall &asked, const TapeCall &recorded, void *data) {
  CallBytes given = tape().bytes(recorded.given);
  CallBytes taken = tape().bytes(recorded.taken);
  auto *bytes = static_cast<uint8_t *>(data);
  const Request *request = request_of(asked.node, static_cast<uint8_t>(asked.number));
  bool fills = request != nullptr && request->fills;
  CallBytes after = taken.size > 0 ? taken : given;
  for (size_t i = 0; i < after.size && i < asked.given.size; ++i) {
    bool changed = i >= given.size || after.data[i] != given.data[i];
    if (fills || changed) bytes[i] = after.data[i];
  }
}

// Gives the program what it got from the call at its recording.
void fill(const NodeCall &asked, const TapeCall &recorded, void *data) {
  switch (asked.kind) {
    case CallKind::Read:
      fill_read(recorded, data);
      break;
    case CallKind::Command:
      fill_printed(recorded, data);
      break;
    case CallKind::Request:
      fill_record(asked, recorded, data);
      break;
    default:
      break;
  }
}

// What replay() returns for a pause.
constexpr int64_t kCounted = 0;
constexpr int64_t kSlept = 1;

// The next call skips the pauses of the recording. A pause that the recording does not have changes nothing.
int64_t replay_pause() {
  bool is_counted = tape().is_there() && tape().head().fast != 0;
  return is_counted ? kCounted : kSlept;
}

}  // namespace

bool replays() {
  static const bool on = variable(kReplayVariable)[0] != '\0';
  return on;
}

bool is_next_recorded(const NodeCall &asked) {
  if (!tape().is_there()) return false;
  TapeGuard guard;
  const TapeStream *own = own_stream(static_cast<uint32_t>(gettid()));
  if (own != nullptr) return answers(*own, next_call(*own), asked);
  return find_free_stream(asked) != nullptr;
}

int64_t replay(const NodeCall &asked, void *data) {
  if (asked.kind == CallKind::Pause) return replay_pause();
  int error = errno;
  auto thread = static_cast<uint32_t>(gettid());
  // Without zelsim nobody answers. The call must not reach a driver.
  if (!tape().is_there()) _exit(kNotInRecording);
  TapeGuard guard;
  if (tape().head().failed != 0) _exit(kNotInRecording);
  TapeStream *stream = stream_for(asked, thread);
  if (stream == nullptr) fail(asked, is_tool_run(asked) ? next_tool_run() : own_stream(thread));
  uint32_t position = next_call(*stream);
  const TapeCall &recorded = tape().call(*stream, position);
  fill(asked, recorded, data);
  stream->position = position + 1;
  errno = recorded.call.result < 0 ? recorded.call.error : error;
  return recorded.call.result;
}

}  // namespace zelsim

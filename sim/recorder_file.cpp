#include "recorder_file.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "environment.h"
#include "recorder_caller.h"
#include "system_calls.h"

// Where the lines of a recording go: into memory that zelsim shares with all processes, and from there into the file.

namespace zelsim {
namespace {

/** The recording's file, kept open at a number that programs do not use. A program that closes all numbers may close it,
 *  and open a file of its own with the number: the file is then opened again. After a failure nothing more is written: the
 *  recording ends there. */
class KeptFile {
 public:
  bool write(const char *text, size_t size) {
    if (failed_) return false;
    bool is_open = is_ours() || open();
    bool was_compressed = !is_open && errno == ENOENT;  // the file is complete then, and gone
    if (was_compressed) return true;
    if (is_open && has_ended()) return true;
    bool is_written = is_open && write_whole(text, size);
    if (is_written) return true;
    complain();
    failed_ = true;
    return false;
  }

 private:
  bool is_ours() const {
    struct stat status = {};
    return fstat(fd_, &status) == 0 && status.st_ino == file_.st_ino && status.st_dev == file_.st_dev;
  }

  // A disk that fills up takes a part first. Only the next write tells why.
  bool write_whole(const char *text, size_t size) const {
    while (size > 0) {
      ssize_t written = sys::write(fd_, text, size);
      if (written <= 0) return false;
      text += written;
      size -= static_cast<size_t>(written);
    }
    return true;
  }

  // True if the recording is complete: nothing is written behind its last line.
  bool has_ended() const {
    constexpr size_t kEndSize = sizeof kRecordingEnd - 1;
    constexpr size_t kSize = kEndSize + 2;  // with the ends of two lines
    char last[kSize] = {};
    off_t size = sys::lseek(fd_, 0, SEEK_END);  // the first line alone is longer
    sys::pread(fd_, last, kSize, size - static_cast<off_t>(kSize));
    bool is_line = last[0] == '\n' && last[kSize - 1] == '\n';
    return is_line && memcmp(last + 1, kRecordingEnd, kEndSize) == 0;
  }

  // False with errno.
  bool open() {
    constexpr int kHigh = 900;
    fd_ = -1;
    int fd = sys::open(variable(kRecordVariable), O_RDWR | O_APPEND | O_CLOEXEC);
    if (fd < 0) return false;
    int high = sys::duplicate(fd, kHigh);
    if (high >= 0) {
      sys::close(fd);
      fd = high;
    }
    fd_ = fd;
    fstat(fd_, &file_);
    return true;
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

// Null if there is none.
BegunCall *take_free_row(LineBuffer *buffer) {
  if (buffer == nullptr) return nullptr;
  auto thread = static_cast<uint32_t>(own_thread());
  for (BegunCall &row : buffer->begun) {
    uint32_t free = 0;
    bool is_ours = __atomic_compare_exchange_n(&row.thread, &free, thread, false, __ATOMIC_ACQUIRE, __ATOMIC_RELAXED);
    if (is_ours) return &row;
  }
  return nullptr;
}

}  // namespace

// A pause is not noted: processes are often killed in one.
Begun::Begun(const NodeCall &call) : row_(call.kind != CallKind::Pause ? take_free_row(shared_buffer()) : nullptr) {
  if (row_ == nullptr) return;
  row_->call = call;
  size_t size = call.given.size < sizeof row_->given ? call.given.size : sizeof row_->given;
  if (size > 0) memcpy(row_->given, call.given.data, size);
  row_->call.given.size = size;
  __atomic_store_n(&row_->process, static_cast<uint32_t>(own_process()), __ATOMIC_RELEASE);
}

Begun::~Begun() {
  if (row_ == nullptr) return;
  __atomic_store_n(&row_->process, 0, __ATOMIC_RELAXED);
  __atomic_store_n(&row_->thread, 0, __ATOMIC_RELEASE);
}

void append_line(const char *text, size_t size) {
  LineBuffer *buffer = shared_buffer();
  LineBufferGuard guard(buffer);
  if (!guard.holds()) {
    g_file.write(text, size);
    return;
  }
  if (buffer->has_ended != 0) return;
  if (size > sizeof buffer->text - buffer->size) empty(*buffer);
  bool fits = size <= sizeof buffer->text;
  if (!fits) {
    write_out(*buffer, text, size);
    return;
  }
  memcpy(buffer->text + buffer->size, text, size);
  buffer->size += static_cast<uint32_t>(size);
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

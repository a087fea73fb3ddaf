#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "node_table.h"

// Streams. libc's own streams do not call the preload layer's read() and write(). So a stream on the flash node is one of
// ours; and standard input, output and error are replaced when their descriptor becomes the flash node.

namespace {

using namespace zelsim;

int descriptor(void *cookie) { return static_cast<int>(reinterpret_cast<intptr_t>(cookie)); }
ssize_t read_stream(void *cookie, char *data, size_t size) { return read(descriptor(cookie), data, size); }
int close_stream(void *cookie) { return close(descriptor(cookie)); }

// A stream expects 0, not -1, after a failed write.
ssize_t write_stream(void *cookie, const char *data, size_t size) {
  ssize_t written = write(descriptor(cookie), data, size);
  return written < 0 ? 0 : written;
}

int seek_stream(void *cookie, off64_t *offset, int whence) {
  off_t result = lseek(descriptor(cookie), static_cast<off_t>(*offset), whence);
  if (result < 0) return -1;
  *offset = result;
  return 0;
}

// fileno() works on it, too: programs mix streams with ioctl.
FILE *flash_stream(int fd, const char *mode, cookie_close_function_t *closer) {
  void *cookie = reinterpret_cast<void *>(intptr_t{fd});
  FILE *stream = fopencookie(cookie, mode, {read_stream, write_stream, seek_stream, closer});
  if (stream != nullptr) stream->_fileno = fd;
  return stream;
}

FILE *stream_on(int fd, const char *mode) {
  if (node_of(fd) == Node::Flash) return flash_stream(fd, mode, close_stream);
  return behind<fdopen>("fdopen")(fd, mode);
}

int access_of(const char *mode) {
  if (strchr(mode, '+') != nullptr) return O_RDWR;
  return mode[0] == 'r' ? O_RDONLY : O_WRONLY;
}

FILE *open_stream(const char *path, const char *mode) {
  int flags = access_of(mode);
  if (strchr(mode, 'e') != nullptr) flags |= O_CLOEXEC;
  int fd = open(path, flags);
  return fd < 0 ? nullptr : stream_on(fd, mode);
}

FILE **standard_stream(int fd) {
  switch (fd) {
    case STDIN_FILENO:
      return &stdin;
    case STDOUT_FILENO:
      return &stdout;
    default:
      return &stderr;
  }
}

}  // namespace

// Our stream never closes its descriptor, which belongs to the program. It works on whatever the descriptor's number means
// later, so libc's stream need not come back.
void zelsim::take_standard_stream(int fd) {
  static FILE *ours[STDERR_FILENO + 1];
  if (ours[fd] != nullptr) return;
  FILE *stream = flash_stream(fd, fd == STDIN_FILENO ? "r" : "w", nullptr);
  if (stream == nullptr) return;
  if (fd == STDERR_FILENO) setvbuf(stream, nullptr, _IONBF, 0);
  ours[fd] = stream;
  *standard_stream(fd) = stream;
}

#pragma GCC visibility push(default)
extern "C" {

FILE *fopen(const char *path, const char *mode) {
  if (node_of_path(path) == Node::None) return behind<fopen>("fopen")(path, mode);
  return open_stream(path, mode);
}

FILE *fdopen(int fd, const char *mode) noexcept { return stream_on(fd, mode); }

// The close frees the stream's number, and the open takes it again: a standard stream keeps its number. libc reopens only
// streams of its own.
FILE *freopen(const char *path, const char *mode, FILE *stream) {
  bool is_node = node_of_path(path) != Node::None;
  bool is_ours = path != nullptr && fileno(stream) > STDERR_FILENO && node_of(fileno(stream)) == Node::Flash;
  if (!is_node && !is_ours) {
    set_node(fileno(stream), Node::None);
    return behind<freopen>("freopen")(path, mode, stream);
  }
  fclose(stream);
  return fopen(path, mode);
}

// libc closes the descriptor of its own streams without passing through close().
int fclose(FILE *stream) {
  if (node_of(fileno(stream)) != Node::Flash) set_node(fileno(stream), Node::None);
  return behind<fclose>("fclose")(stream);
}

FILE *fopen64(const char *path, const char *mode) __attribute__((alias("fopen")));
FILE *freopen64(const char *path, const char *mode, FILE *stream) __attribute__((alias("freopen")));

}  // extern "C"
#pragma GCC visibility pop

#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "node_table.h"

// Streams. libc's own move data without passing through read() and write() of the preload layer, so a stream on the
// flash node is one of ours, and standard input, output and error are exchanged while their descriptor is the flash
// node.

namespace {

using namespace zelsim;

int descriptor(void *cookie) { return static_cast<int>(reinterpret_cast<intptr_t>(cookie)); }
ssize_t read_stream(void *cookie, char *data, size_t size) { return read(descriptor(cookie), data, size); }
int close_stream(void *cookie) { return close(descriptor(cookie)); }

// A stream takes 0, not -1, for a failed write.
ssize_t write_stream(void *cookie, const char *data, size_t size) {
  ssize_t written = write(descriptor(cookie), data, size);
  return written < 0 ? 0 : written;
}

int seek_stream(void *cookie, off64_t *offset, int whence) {
  off_t result = lseek(descriptor(cookie), static_cast<off_t>(*offset), whence);
  if (result >= 0) *offset = result;
  return result < 0 ? -1 : 0;
}

// fileno() works on it all the same: programs mix streams with ioctl.
FILE *flash_stream(int fd, const char *mode, cookie_close_function_t *closer) {
  void *cookie = reinterpret_cast<void *>(intptr_t{fd});
  FILE *stream = fopencookie(cookie, mode, {read_stream, write_stream, seek_stream, closer});
  if (stream != nullptr) stream->_fileno = fd;
  return stream;
}

struct StandardStream {
  FILE **variable;
  FILE *original, *ours;  // while exchanged
};

StandardStream g_standard[] = {{&stdin, nullptr, nullptr}, {&stdout, nullptr, nullptr}, {&stderr, nullptr, nullptr}};

int close_real(FILE *stream) { return behind<fclose>("fclose")(stream); }

FILE *stream_on(int fd, const char *mode) {
  return node_of(fd) == Node::Flash ? flash_stream(fd, mode, close_stream) : behind<fdopen>("fdopen")(fd, mode);
}

bool names_node(const char *path) { return node_of_path(path) != Node::None && file_of(node_of_path(path)) != nullptr; }

int open_for_stream(const char *path, const char *mode) {
  int access = mode[0] == 'r' ? O_RDONLY : O_WRONLY;
  if (strchr(mode, '+') != nullptr) access = O_RDWR;
  return open(path, access | (strchr(mode, 'e') != nullptr ? O_CLOEXEC : 0));
}

FILE *open_stream(const char *path, const char *mode) {
  int fd = open_for_stream(path, mode);
  return fd < 0 ? nullptr : stream_on(fd, mode);
}

// A standard stream keeps its number, and with it comes the exchange.
FILE *reopen_node(const char *path, const char *mode, FILE *stream) {
  int wanted = fileno(stream);
  if (wanted < 0 || wanted > STDERR_FILENO) {
    fclose(stream);
    return open_stream(path, mode);
  }
  fflush(stream);
  int fd = open_for_stream(path, mode);
  if (fd < 0) return nullptr;
  if (fd != wanted && dup2(fd, wanted) >= 0) close(fd);
  return *g_standard[wanted].variable;
}

}  // namespace

// Ours closes no descriptor: the program's number stays what it made of it.
void zelsim::follow_standard_stream(int fd, bool flash) {
  StandardStream &standard = g_standard[fd];
  if (FILE *ended = standard.ours) {
    standard.ours = nullptr;
    if (*standard.variable == ended) *standard.variable = standard.original;
    close_real(ended);
  }
  if (flash) standard.ours = flash_stream(fd, fd == STDIN_FILENO ? "r" : "w", nullptr);
  if (standard.ours == nullptr) return;
  if (fd == STDERR_FILENO) setvbuf(standard.ours, nullptr, _IONBF, 0);
  standard.original = *standard.variable;
  *standard.variable = standard.ours;
}

#pragma GCC visibility push(default)
extern "C" {

FILE *fopen(const char *path, const char *mode) {
  return names_node(path) ? open_stream(path, mode) : behind<fopen>("fopen")(path, mode);
}

FILE *fdopen(int fd, const char *mode) noexcept { return stream_on(fd, mode); }

FILE *freopen(const char *path, const char *mode, FILE *stream) {
  if (names_node(path)) return reopen_node(path, mode, stream);
  int fd = fileno(stream);
  bool exchanged = fd >= 0 && fd <= STDERR_FILENO && g_standard[fd].ours == stream;
  FILE *original = exchanged ? g_standard[fd].original : stream;
  set_node(fd, Node::None);
  return behind<freopen>("freopen")(path, mode, original);
}

// libc closes the descriptor of its own streams without passing through close().
int fclose(FILE *stream) {
  int fd = fileno(stream);
  if (fd >= 0 && fd <= STDERR_FILENO && g_standard[fd].ours == stream) {
    int flushed = fflush(stream);
    return close(fd) == 0 ? flushed : EOF;  // which ends the exchange, too
  }
  if (node_of(fd) != Node::Flash) set_node(fd, Node::None);
  return close_real(stream);
}

FILE *fopen64(const char *path, const char *mode) __attribute__((alias("fopen")));
FILE *freopen64(const char *path, const char *mode, FILE *stream) __attribute__((alias("freopen")));

}  // extern "C"
#pragma GCC visibility pop

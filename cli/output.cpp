#include "output.h"

#include <fcntl.h>
#include <langinfo.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "program.h"

FILE *out = stdout;

/** Standard output was closed when the program began. */
static bool output_came_closed;

void open_standard_descriptors(bool inherited) {
  output_came_closed = fcntl(STDOUT_FILENO, F_GETFD) < 0;
  const int mode = inherited ? O_WRONLY : O_WRONLY | O_CLOEXEC;
  for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
    const bool closed = fcntl(fd, F_GETFD) < 0;
    const char *const stand_in = fd == STDIN_FILENO ? "/dev/null" : "/dev/full";
    // `open` takes the lowest free descriptor: this one. Standard input is opened for writing, so it cannot be read.
    if (closed) open(stand_in, mode);
  }
}

/** Writes what is left in the stream. @return why it could not be written, or nothing */
static std::string flush_error(FILE *stream) {
  if (fflush(stream) != 0) return std::strerror(errno);
  // An earlier write failed. Its reason is not known any more.
  if (std::ferror(stream) != 0) return "cannot be written";
  return "";
}

int finish_output() {
  std::string why = flush_error(out);
  const std::string library_why = flush_error(stdout);
  if (why.empty()) why = library_why;
  if (why.empty()) return 0;
  if (output_came_closed) why = std::strerror(EBADF);
  return complain("standard output: " + why, 1);
}

size_t columns() {
  constexpr size_t kNoLimit = 100000;
  winsize size{};
  if (isatty(fileno(out)) == 0 || ioctl(fileno(out), TIOCGWINSZ, &size) != 0) return kNoLimit;
  return size.ws_col > 0 ? size.ws_col : kNoLimit;
}

bool is_screen(FILE *stream) {
  const char *terminal = std::getenv("TERM");
  return isatty(fileno(stream)) != 0 && terminal != nullptr && std::strcmp(terminal, "dumb") != 0;
}

bool colourful() { return is_screen(out) && std::getenv("NO_COLOR") == nullptr; }

bool has_glyphs() { return std::strcmp(nl_langinfo(CODESET), "UTF-8") == 0; }

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "tool.h"

[[noreturn]] static void fail_with_output() { throw Failure{std::string("standard output: ") + std::strerror(errno)}; }

void start_output() {
  FILE *const own = fdopen(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3), "w");
  if (own == nullptr) fail_with_output();
  out = own;
  // Both streams may end on one terminal: line by line keeps their order.
  if (settings.verbose) {
    setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    setvbuf(out, nullptr, _IOLBF, BUFSIZ);
  }
  if (settings.verbose && !settings.json) return;  // the library's prints stay on standard output
  const int target = settings.verbose ? dup(STDERR_FILENO) : open("/dev/null", O_WRONLY);
  if (dup2(target, STDOUT_FILENO) < 0) fail_with_output();
  close(target);
}

Printed printed_by(const std::function<uint32_t()> &call) {
  fflush(stdout);
  const int kept = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
  const int recorder = memfd_create("printed", MFD_CLOEXEC);
  if (kept < 0 || recorder < 0) fail_with_output();
  dup2(recorder, STDOUT_FILENO);
  Printed printed;
  printed.status = call();
  fflush(stdout);
  dup2(kept, STDOUT_FILENO);
  close(kept);
  printed.text = content_of(recorder);
  close(recorder);
  return printed;
}

/** As many bytes as fit on a line of the terminal. */
static size_t bytes_per_line() {
  if (columns() >= 80) return 16;
  if (columns() >= 48) return 8;
  return 4;
}

static void print_line(std::span<const uint8_t> line, uint32_t address, size_t line_length) {
  std::string hex;
  for (const uint8_t byte : line) hex += format(" %02x", byte);
  const auto width = static_cast<int>(3 * line_length);  // of the hexadecimal part: a blank and two digits each
  const std::string characters = printable({line.begin(), line.end()});
  std::fprintf(out, "%08x %-*s  |%s|\n", address, width, hex.c_str(), characters.c_str());
}

void hexdump(std::span<const uint8_t> bytes, uint32_t address) {
  const size_t line_length = bytes_per_line();
  std::span<const uint8_t> before;
  bool starred = false;
  for (size_t at = 0; at < bytes.size(); at += line_length) {
    const auto line = bytes.subspan(at, std::min(line_length, bytes.size() - at));
    const bool last = at + line_length >= bytes.size();
    const bool repeats = !last && std::equal(line.begin(), line.end(), before.begin(), before.end());
    if (repeats && !starred) std::fprintf(out, "*\n");
    if (!repeats) print_line(line, address + static_cast<uint32_t>(at), line_length);
    starred = repeats;
    before = line;
  }
}

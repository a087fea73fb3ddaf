#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>

#include "tool.h"

void start_output() {
  FILE *const own = fdopen(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3), "w");
  if (own == nullptr) throw Failure{std::string("standard output: ") + std::strerror(errno)};
  out = own;
  // Both streams may end on one terminal: line by line keeps their order.
  if (settings.verbose)
    for (FILE *stream : {stdout, out}) setvbuf(stream, nullptr, _IOLBF, BUFSIZ);
  if (settings.verbose && !settings.json) return;
  const int target = settings.verbose ? dup(STDERR_FILENO) : open("/dev/null", O_WRONLY);
  dup2(target, STDOUT_FILENO);
  close(target);
}

Printed printed_by(const std::function<uint32_t()> &call) {
  fflush(stdout);
  const int kept = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
  const int recorder = memfd_create("printed", MFD_CLOEXEC);
  dup2(recorder, STDOUT_FILENO);
  Printed printed{call(), ""};
  fflush(stdout);
  dup2(kept, STDOUT_FILENO);
  close(kept);
  printed.text.resize(static_cast<size_t>(std::max<off_t>(lseek(recorder, 0, SEEK_END), 0)));
  if (pread(recorder, printed.text.data(), printed.text.size(), 0) < 0) printed.text.clear();
  close(recorder);
  return printed;
}

void hexdump(std::span<const uint8_t> bytes, uint32_t address) {
  const size_t line_length = columns() >= 80 ? 16 : columns() >= 48 ? 8 : 4;
  std::string before;
  bool starred = false;
  for (size_t at = 0; at < bytes.size(); at += line_length) {
    const auto line = bytes.subspan(at, std::min(line_length, bytes.size() - at));
    std::string hex;
    for (const uint8_t byte : line) hex += format(" %02x", byte);
    const bool repeats = hex == before && at + line_length < bytes.size();
    if (!repeats)
      std::fprintf(out, "%08x %-*s  |%s|\n", address + static_cast<uint32_t>(at), static_cast<int>(3 * line_length),
                   hex.c_str(), printable({line.begin(), line.end()}).c_str());
    else if (!starred)
      std::fprintf(out, "*\n");
    starred = repeats;
    before = hex;
  }
}

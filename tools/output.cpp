#include <fcntl.h>
#include <langinfo.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <set>

#include "tool.h"

FILE *out = stdout;

/** Numbers that people read in hexadecimal. */
static const std::set<std::string> kHexadecimal{"address",  "start", "end", "offset",
                                                "checksum", "crc32", "sum", "value"};

constexpr size_t kGap = 2, kNarrowest = 12;

static std::string heading(std::string key) {
  for (char &c : key) c = c == '_' ? ' ' : c;
  return key;
}

static bool isTable(const Json &value) { return value.is_array() && !value.empty() && value.front().is_object(); }

/** Prints text in columns, each of which has a width, its gap included; what is too long for one goes on below. */
static void printColumns(const std::vector<std::pair<std::string, size_t>> &columns_of_line) {
  std::vector<std::vector<std::string>> parts;
  size_t height = 0;
  for (const auto &[text, width] : columns_of_line) {
    parts.push_back(wrapped(text, width - kGap));
    height = std::max(height, parts.back().size());
  }
  for (size_t y = 0; y < height; ++y) {
    std::string line;
    for (size_t i = 0; i < parts.size(); ++i) {
      const std::string part = y < parts[i].size() ? parts[i][y] : "";
      line += part + std::string(columns_of_line[i].second - lengthOf(part), ' ');
    }
    line.erase(line.find_last_not_of(' ') + 1);
    std::fprintf(out, "%s\n", line.c_str());
  }
}

/** A table that is wider than the terminal is printed in several, each with the first column before it. */
static void printTable(const Json &rows) {
  std::vector<std::vector<std::string>> lines(1);
  for (const auto &[key, value] : rows.front().items()) lines[0].push_back(heading(key));
  for (const Json &row : rows) {
    lines.emplace_back();
    for (const auto &[key, value] : row.items()) lines.back().push_back(cell(key, value));
  }
  std::vector<size_t> widths(lines[0].size());
  for (const auto &line : lines)
    for (size_t i = 0; i < line.size(); ++i) widths[i] = std::max(widths[i], lengthOf(line[i]) + kGap);
  const size_t room = columns() + kGap;  // the last column needs no gap
  for (size_t first = 1, last = 1; first < widths.size(); first = last) {
    size_t width = widths[0] + widths[last++];
    while (last < widths.size() && width + widths[last] <= room) width += widths[last++];
    if (width > room) widths[first] = std::max(room - std::min(room, widths[0]), kNarrowest);
    if (first > 1) std::fprintf(out, "\n");
    for (const auto &line : lines) {
      std::vector<std::pair<std::string, size_t>> band{{line[0], widths[0]}};
      for (size_t i = first; i < last; ++i) band.emplace_back(line[i], widths[i]);
      printColumns(band);
    }
  }
}

static void printObject(const Json &object) {
  size_t width = 0;
  for (const auto &[key, value] : object.items()) width = std::max(width, key.size() + kGap);
  const size_t room = columns() + kGap;
  for (const auto &[key, value] : object.items()) {
    if (isTable(value)) continue;
    const std::string text = cell(key, value);
    printColumns({{heading(key), width}, {text, std::min(lengthOf(text) + kGap, std::max(room - width, kNarrowest))}});
  }
  for (const auto &[key, value] : object.items()) {
    if (!isTable(value)) continue;
    std::fprintf(out, "\n");
    printTable(value);
  }
}

void openStandardDescriptors() {
  for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd)
    if (fcntl(fd, F_GETFD) < 0) open(fd == STDIN_FILENO ? "/dev/null" : "/dev/full", O_WRONLY);
}

void startOutput() {
  FILE *const own = fdopen(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3), "w");
  if (own == nullptr) throw Failure{std::string("standard output: ") + std::strerror(errno)};
  out = own;
  // Both streams may end on one terminal: line by line keeps their order.
  setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
  setvbuf(out, nullptr, _IOLBF, BUFSIZ);
  if (settings.verbose && !settings.json) return;
  const int target = settings.verbose ? dup(STDERR_FILENO) : open("/dev/null", O_WRONLY);
  dup2(target, STDOUT_FILENO);
  close(target);
}

int finishOutput() {
  bool written = fflush(stdout) == 0 && std::ferror(stdout) == 0 && std::ferror(out) == 0;
  written = fflush(out) == 0 && written;
  if (written) return 0;
  std::fputs("zelctl: standard output cannot be written\n", stderr);
  return 1;
}

Printed printedBy(const std::function<uint32_t()> &call) {
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

std::string cell(const std::string &key, const Json &value) {
  if (value.is_null()) return "-";
  if (value.is_boolean()) return value.get<bool>() ? "yes" : "no";
  if (value.is_string()) return escaped(value.get<std::string>());
  if (value.is_number_float()) return format("%.1f", value.get<double>());
  if (value.is_number()) return kHexadecimal.contains(key) ? format("0x%X", value.get<uint32_t>()) : value.dump();
  std::string joined;
  for (const Json &item : value) joined += (joined.empty() ? "" : ", ") + cell(key, item);
  return joined.empty() ? "-" : joined;
}

void show(const Json &data) {
  if (settings.json)
    std::fprintf(out, "%s\n", data.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
  else if (isTable(data))
    printTable(data);
  else if (data.is_object())
    printObject(data);
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

size_t columns() {
  winsize size{};
  const bool known = isatty(fileno(out)) != 0 && ioctl(fileno(out), TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return known ? size.ws_col : 100000;
}

bool isScreen(FILE *stream) {
  const char *terminal = std::getenv("TERM");
  return isatty(fileno(stream)) != 0 && terminal != nullptr && std::strcmp(terminal, "dumb") != 0;
}

bool colourful() { return settings.colour || (isScreen(out) && std::getenv("NO_COLOR") == nullptr); }

bool hasGlyphs() { return std::strcmp(nl_langinfo(CODESET), "UTF-8") == 0; }

#include "output.h"

#include <fcntl.h>
#include <langinfo.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <set>

#include "program.h"

FILE *out = stdout;

/** Numbers that people read in hexadecimal. */
static const std::set<std::string> kHexadecimal{"address", "checksum",     "crc32",  "end",   "io",  "number",
                                                "offset",  "power_status", "result", "start", "sum", "value"};

constexpr size_t kGap = 2, kNarrowest = 12;

static bool came_closed;

void open_standard_descriptors(bool inherited) {
  came_closed = fcntl(STDOUT_FILENO, F_GETFD) < 0;
  for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd)
    if (fcntl(fd, F_GETFD) < 0)
      open(fd == STDIN_FILENO ? "/dev/null" : "/dev/full", O_WRONLY | (inherited ? 0 : O_CLOEXEC));
}

int finish_output() {
  // What failed before has left its mark, but not its reason.
  std::string why = fflush(out) != 0 ? std::strerror(errno) : std::ferror(out) != 0 ? "cannot be written" : "";
  if (fflush(stdout) != 0 || std::ferror(stdout) != 0) why = why.empty() ? "cannot be written" : why;
  return why.empty() ? 0 : complain("standard output: " + (came_closed ? std::strerror(EBADF) : why), 1);
}

size_t columns() {
  winsize size{};
  const bool known = isatty(fileno(out)) != 0 && ioctl(fileno(out), TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return known ? size.ws_col : 100000;
}

bool is_screen(FILE *stream) {
  const char *terminal = std::getenv("TERM");
  return isatty(fileno(stream)) != 0 && terminal != nullptr && std::strcmp(terminal, "dumb") != 0;
}

bool colourful() { return is_screen(out) && std::getenv("NO_COLOR") == nullptr; }

bool has_glyphs() { return std::strcmp(nl_langinfo(CODESET), "UTF-8") == 0; }

bool is_table(const Json &value) { return value.is_array() && !value.empty() && value.front().is_object(); }

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

/** Prints text in columns, each of which has a width, its gap included; what is too long for one goes on below. */
static void print_columns(const std::vector<std::pair<std::string, size_t>> &columns_of_line) {
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
      line += part + std::string(columns_of_line[i].second - length_of(part), ' ');
    }
    line.erase(line.find_last_not_of(' ') + 1);
    std::fprintf(out, "%s\n", line.c_str());
  }
}

/** A table that is wider than the terminal is printed in several, each with the first column before it. */
static void print_table(const Json &rows) {
  std::vector<std::vector<std::string>> lines(1);
  for (const auto &[key, value] : rows.front().items()) lines[0].push_back(key);
  for (const Json &row : rows) {
    lines.emplace_back();
    for (const auto &[key, value] : row.items()) lines.back().push_back(cell(key, value));
  }
  std::vector<size_t> widths(lines[0].size());
  for (const auto &line : lines)
    for (size_t i = 0; i < line.size(); ++i) widths[i] = std::max(widths[i], length_of(line[i]) + kGap);
  const size_t room = columns() + kGap;  // the last column needs no gap
  for (size_t first = 1, last = 1; first < widths.size(); first = last) {
    size_t width = widths[0] + widths[last++];
    while (last < widths.size() && width + widths[last] <= room) width += widths[last++];
    if (width > room) widths[first] = std::max(room - std::min(room, widths[0]), kNarrowest);
    if (first > 1) std::fprintf(out, "\n");
    for (const auto &line : lines) {
      std::vector<std::pair<std::string, size_t>> band{{line[0], widths[0]}};
      for (size_t i = first; i < last; ++i) band.emplace_back(line[i], widths[i]);
      print_columns(band);
    }
  }
}

/** Values first, then what is an object or a table of its own, with its name where there are several. */
static void print_object(const Json &object) {
  const auto has_parts = [](const Json &value) { return value.is_object() || is_table(value); };
  size_t width = 0, sections = 0;
  for (const auto &[key, value] : object.items()) {
    if (has_parts(value))
      ++sections;
    else
      width = std::max(width, key.size() + kGap);
  }
  const size_t room = std::max(columns() + kGap - std::min(columns(), width), kNarrowest);
  for (const auto &[key, value] : object.items()) {
    if (has_parts(value)) continue;
    const std::string text = cell(key, value);
    print_columns({{key, width}, {text, std::min(length_of(text) + kGap, room)}});
  }
  for (const auto &[key, value] : object.items()) {
    if (!has_parts(value)) continue;
    if (std::exchange(width, 1) > 0) std::fprintf(out, "\n");
    if (sections > 1) std::fprintf(out, "%s:\n", key.c_str());
    print(value, false);
  }
}

void print(const Json &data, bool as_json) {
  if (as_json)
    std::fprintf(out, "%s\n", data.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
  else if (is_table(data))
    print_table(data);
  else if (data.is_object())
    print_object(data);
}

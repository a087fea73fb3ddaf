#include "output.h"

#include <fcntl.h>
#include <langinfo.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <map>
#include <numeric>
#include <set>

#include "program.h"

FILE *out = stdout;

/** Numbers that people read in hexadecimal. */
static const std::set<std::string> kHexadecimal{"address", "checksum",     "crc32",  "end",   "io",  "number",
                                                "offset",  "power_status", "result", "start", "sum", "value"};

/** Digits behind the point, where one is not enough. */
static const std::map<std::string, int> kDecimals{{"bias", 3}, {"voltage", 3}, {"rx_power", 2}, {"tx_power", 2}};

constexpr size_t kGap = 2, kNarrowest = 12;

static bool output_came_closed;

void open_standard_descriptors(bool inherited) {
  output_came_closed = fcntl(STDOUT_FILENO, F_GETFD) < 0;
  const int mode = inherited ? O_WRONLY : O_WRONLY | O_CLOEXEC;
  for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
    const bool closed = fcntl(fd, F_GETFD) < 0;
    // The lowest free descriptor is this one. Opened for writing, standard input cannot be read.
    if (closed) open(fd == STDIN_FILENO ? "/dev/null" : "/dev/full", mode);
  }
}

/** Writes what is left in the stream. @return why it could not be written, or nothing */
static std::string flush_error(FILE *stream) {
  if (fflush(stream) != 0) return std::strerror(errno);
  // What failed before has left its mark, but not its reason.
  return std::ferror(stream) != 0 ? "cannot be written" : "";
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

bool is_table(const Json &value) { return value.is_array() && !value.empty() && value.front().is_object(); }

std::string cell(const std::string &key, const Json &value) {
  if (value.is_null()) return "-";
  if (value.is_boolean()) return value.get<bool>() ? "yes" : "no";
  if (value.is_string()) return escaped(value.get<std::string>());
  if (value.is_number_float()) {
    const auto decimals = kDecimals.find(key);
    return format("%.*f", decimals != kDecimals.end() ? decimals->second : 1, value.get<double>());
  }
  if (value.is_number() && kHexadecimal.contains(key)) return format("0x%X", value.get<uint32_t>());
  if (value.is_number()) return value.dump();
  std::string joined;
  for (const Json &item : value) joined += (joined.empty() ? "" : ", ") + cell(key, item);
  return joined.empty() ? "-" : joined;
}

/** A text and the width of its column, gap included. */
struct Field {
  std::string text;
  size_t width;
};

/** Prints fields side by side. What is too long for its column goes on below. */
static void print_fields(const std::vector<Field> &fields) {
  std::vector<std::vector<std::string>> parts;  // of each field, by line
  size_t height = 0;
  for (const Field &field : fields) {
    parts.push_back(wrapped(field.text, field.width - kGap));
    height = std::max(height, parts.back().size());
  }
  for (size_t y = 0; y < height; ++y) {
    std::string line;
    for (size_t i = 0; i < fields.size(); ++i) {
      const std::string part = y < parts[i].size() ? parts[i][y] : "";
      line += part + std::string(fields[i].width - length_of(part), ' ');
    }
    line.erase(line.find_last_not_of(' ') + 1);
    std::fprintf(out, "%s\n", line.c_str());
  }
}

using Line = std::vector<std::string>;  // a cell for each column

/** The heading and all rows. */
static std::vector<Line> lines_of(const Json &rows) {
  std::vector<Line> lines(1);
  for (const auto &[key, value] : rows.front().items()) lines.front().push_back(key);
  for (const Json &row : rows) {
    Line line;
    for (const auto &[key, value] : row.items()) line.push_back(cell(key, value));
    lines.push_back(line);
  }
  return lines;
}

/** What each column needs, gap included. */
static std::vector<size_t> widths_of(const std::vector<Line> &lines) {
  std::vector<size_t> widths(lines.front().size());
  for (const Line &line : lines) {
    for (size_t i = 0; i < line.size(); ++i) widths[i] = std::max(widths[i], length_of(line[i]) + kGap);
  }
  return widths;
}

/** Of a table that is wider than the terminal: names of several words go on below, one word a line. */
static void break_heading(Line &heading) {
  for (std::string &name : heading) std::replace(name.begin(), name.end(), '_', ' ');
}

static size_t longest_word(const std::string &text) {
  size_t longest = 0;
  for (const std::string &word : split(text, ' ')) longest = std::max(longest, length_of(word));
  return longest;
}

static void print_columns(const std::vector<Line> &lines, const std::vector<size_t> &widths, size_t first, size_t end) {
  for (const Line &line : lines) {
    std::vector<Field> fields{{line[0], widths[0]}};
    for (size_t i = first; i < end; ++i) fields.push_back({line[i], widths[i]});
    print_fields(fields);
  }
}

/** A table that is wider than the terminal is printed in several, each with the first column before it. */
static void print_table(const Json &rows) {
  std::vector<Line> lines = lines_of(rows);
  std::vector<size_t> widths = widths_of(lines);
  const size_t room = columns() + kGap;  // the last column needs no gap
  if (std::accumulate(widths.begin(), widths.end(), size_t{0}) > room) {
    break_heading(lines.front());
    widths = widths_of({lines.begin() + 1, lines.end()});
    for (size_t i = 0; i < widths.size(); ++i) widths[i] = std::max(widths[i], longest_word(lines.front()[i]) + kGap);
  }
  size_t first = 1;
  while (first < widths.size()) {
    size_t end = first + 1;
    size_t width = widths[0] + widths[first];
    while (end < widths.size() && width + widths[end] <= room) {
      width += widths[end];
      ++end;
    }
    // A single column that is too wide is folded.
    if (width > room) widths[first] = std::max(room - std::min(room, widths[0]), kNarrowest);
    if (first > 1) std::fprintf(out, "\n");
    print_columns(lines, widths, first, end);
    first = end;
  }
}

/** True for a value that stands below the others, with lines of its own. */
static bool is_section(const Json &value) { return value.is_object() || is_table(value); }

/** Plain values first, then the sections, with their names where there are several. */
static void print_object(const Json &object) {
  size_t key_width = 0;
  size_t sections = 0;
  for (const auto &[key, value] : object.items()) {
    if (is_section(value))
      ++sections;
    else
      key_width = std::max(key_width, key.size() + kGap);
  }
  const size_t room = std::max(columns() + kGap - std::min(columns(), key_width), kNarrowest);
  for (const auto &[key, value] : object.items()) {
    if (is_section(value)) continue;
    const std::string text = cell(key, value);
    print_fields({{key, key_width}, {text, std::min(length_of(text) + kGap, room)}});
  }
  bool something_before = key_width > 0;
  for (const auto &[key, value] : object.items()) {
    if (!is_section(value)) continue;
    if (something_before) std::fprintf(out, "\n");
    something_before = true;
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

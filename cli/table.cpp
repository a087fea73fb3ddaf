#include <algorithm>
#include <map>
#include <numeric>
#include <set>

#include "output.h"

/** Numbers that people read in hexadecimal. */
static const std::set<std::string> kHexadecimalKeys{"address", "checksum",     "crc32",  "end",   "io",  "number",
                                                    "offset",  "power_status", "result", "start", "sum", "value"};

/** Digits behind the point, where one is not enough. */
static const std::map<std::string, int> kDecimals{{"bias", 3},   {"rx_dbm", 2},   {"rx_power", 2},
                                                  {"tx_dbm", 2}, {"tx_power", 2}, {"voltage", 3}};

constexpr size_t kGap = 2;         // blanks between columns
constexpr size_t kNarrowest = 12;  // a folded column, gap included

bool is_table(const Json &value) { return value.is_array() && !value.empty() && value.front().is_object(); }

std::string cell(const std::string &key, const Json &value) {
  if (value.is_null()) return "-";
  if (value.is_boolean()) return value.get<bool>() ? "yes" : "no";
  if (value.is_string()) return escaped(value.get<std::string>());
  if (value.is_number_float()) {
    const auto decimals = kDecimals.find(key);
    const int digits = decimals != kDecimals.end() ? decimals->second : 1;
    return decimal_text(value.get<double>(), digits);
  }
  if (value.is_number() && kHexadecimalKeys.contains(key)) return format("0x%X", value.get<uint32_t>());
  if (value.is_number()) return value.dump();
  std::string joined;
  for (const Json &item : value) add_item(joined, cell(key, item));
  return joined.empty() ? "-" : joined;
}

/** A text and the width of its column, gap included. */
struct Field {
  std::string text;
  size_t width;
};

/** Prints fields side by side. A text that is too long for its column goes on in the lines below. */
static void print_fields(const std::vector<Field> &fields) {
  std::vector<std::vector<std::string>> parts;  // of each field, one a line
  size_t height = 0;
  for (const Field &field : fields) {
    parts.push_back(wrapped(field.text, field.width - kGap));
    height = std::max(height, parts.back().size());
  }
  for (size_t row = 0; row < height; ++row) {
    std::string line;
    for (size_t i = 0; i < fields.size(); ++i) {
      const std::string part = row < parts[i].size() ? parts[i][row] : "";
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

/** Lets a heading break between its words: its underscores become blanks. */
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

/** Makes columns as narrow as the words of their headings and their cells allow. */
static void narrow_columns(std::vector<Line> &lines, std::vector<size_t> &widths) {
  Line &heading = lines.front();
  break_heading(heading);
  widths = widths_of({lines.begin() + 1, lines.end()});
  for (size_t i = 0; i < widths.size(); ++i) widths[i] = std::max(widths[i], longest_word(heading[i]) + kGap);
}

/** @return the column behind the last one that fits beside column 0 and column `first` */
static size_t columns_that_fit(const std::vector<size_t> &widths, size_t first, size_t room) {
  size_t end = first + 1;
  size_t width = widths[0] + widths[first];
  while (end < widths.size() && width + widths[end] <= room) {
    width += widths[end];
    ++end;
  }
  return end;
}

/** A table that is wider than the terminal becomes several tables. Each begins with the first column. */
static void print_table(const Json &rows) {
  std::vector<Line> lines = lines_of(rows);
  std::vector<size_t> widths = widths_of(lines);
  const size_t room = columns() + kGap;  // the last column needs no gap
  const size_t total = std::accumulate(widths.begin(), widths.end(), size_t{0});
  if (total > room) narrow_columns(lines, widths);
  const bool has_one_column = widths.size() == 1;
  if (has_one_column) print_columns(lines, widths, 1, 1);  // column 0 alone: the range of the others is empty
  size_t first = 1;
  while (first < widths.size()) {
    const size_t end = columns_that_fit(widths, first, room);
    const bool too_wide = widths[0] + widths[first] > room;  // even alone
    if (too_wide) widths[first] = std::max(room - std::min(room, widths[0]), kNarrowest);
    if (first > 1) std::fprintf(out, "\n");
    print_columns(lines, widths, first, end);
    first = end;
  }
}

/** True for a value that stands below the others, in lines of its own. */
static bool is_section(const Json &value) { return value.is_object() || is_table(value); }

/** Prints the plain values of an object, one a line. @return whether there are any */
static bool print_plain_values(const Json &object) {
  size_t key_width = 0;
  for (const auto &[key, value] : object.items()) {
    if (!is_section(value)) key_width = std::max(key_width, key.size() + kGap);
  }
  const size_t beside_key = columns() - std::min(columns(), key_width);
  const size_t room = std::max(beside_key + kGap, kNarrowest);
  for (const auto &[key, value] : object.items()) {
    if (is_section(value)) continue;
    const std::string text = cell(key, value);
    print_fields({{key, key_width}, {text, std::min(length_of(text) + kGap, room)}});
  }
  return key_width > 0;
}

/** Prints plain values first, then the sections. Several sections have their names before them. */
static void print_object(const Json &object) {
  const auto sections = std::count_if(object.begin(), object.end(), is_section);
  bool something_before = print_plain_values(object);
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

#include "text.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdarg>
#include <locale>

std::string hex_text(std::span<const uint8_t> bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  text.reserve(2 * bytes.size());
  for (const uint8_t byte : bytes) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 0xF];
  }
  return text;
}

std::optional<std::vector<uint8_t>> hex_bytes(const std::string &text) {
  if (text.size() % 2 != 0) return std::nullopt;
  std::vector<uint8_t> bytes(text.size() / 2);
  for (size_t i = 0; i < bytes.size(); ++i) {
    const char *const digits = &text[2 * i];
    if (std::from_chars(digits, digits + 2, bytes[i], 16).ptr != digits + 2) return std::nullopt;
  }
  return bytes;
}

std::string printable(std::string text) {
  for (char &c : text) {
    const bool shown = c >= ' ' && c <= '~';
    if (!shown) c = '.';
  }
  return text;
}

std::string format(const char *pattern, ...) {
  va_list arguments;
  va_list again;
  va_start(arguments, pattern);
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, pattern, arguments);
  std::string text(static_cast<size_t>(std::max(length, 0)), '\0');
  std::vsnprintf(text.data(), text.size() + 1, pattern, again);
  va_end(again);
  va_end(arguments);
  return text;
}

// A tie such as 6.5535 has no exact binary form. Scaling it first rounds it as the decimal number that it means.
std::string decimal_text(double number, int decimals) {
  const double scale = std::pow(10, decimals);
  std::string text = format("%.*f", decimals, std::round(number * scale) / scale);
  const bool is_zero = text.find_first_not_of("-0.") == std::string::npos;
  if (is_zero && text.starts_with('-')) return text.substr(1);
  return text;
}

std::vector<std::string> split(const std::string &names, char separator) {
  std::vector<std::string> list;
  if (names.empty()) return list;
  size_t start = 0;
  size_t end = names.find(separator);
  while (end != std::string::npos) {
    list.push_back(names.substr(start, end - start));
    start = end + 1;
    end = names.find(separator, start);
  }
  list.push_back(names.substr(start));
  return list;
}

void add_item(std::string &list, const std::string &item, const char *separator) {
  if (!list.empty()) list += separator;
  list += item;
}

std::optional<uint32_t> number_in(const std::string &text, uint32_t low, uint32_t high) {
  const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
  const std::string digits = hexadecimal ? text.substr(2) : text;
  const char *end = digits.data() + digits.size();
  uint32_t number = 0;
  const auto [rest, error] = std::from_chars(digits.data(), end, number, hexadecimal ? 16 : 10);
  if (error != std::errc() || rest != end) return std::nullopt;
  if (number < low || number > high) return std::nullopt;
  return number;
}

std::optional<std::tm> time_in(const std::string &text) {
  std::tm time{};
  const char *end = strptime(text.c_str(), "%Y-%m-%dT%H:%M:%S", &time);
  if (end == nullptr || *end != '\0') return std::nullopt;
  std::tm normal = time;
  timegm(&normal);  // changes a day that its month does not have, and a leap second
  const bool exists = normal.tm_mday == time.tm_mday && normal.tm_sec == time.tm_sec;
  const bool in_century = time.tm_year >= 100 && time.tm_year <= 199;  // counted from 1900
  if (!exists || !in_century) return std::nullopt;
  return time;
}

std::optional<uint32_t> index_in(const std::string &names, const std::string &name) {
  const auto list = split(names);
  const auto found = std::find(list.begin(), list.end(), name);
  if (found == list.end()) return std::nullopt;
  return static_cast<uint32_t>(found - list.begin());
}

std::string name_of(const std::string &names, uint32_t code, const char *without) {
  const auto list = split(names);
  const bool has_name = code < list.size() && !list[code].empty();
  return has_name ? list[code] : format(without, code);
}

/** Length in bytes of the text's first character; 0 for a control code, and for bytes that are not UTF-8. */
static size_t first_character(std::string_view text) {
  const auto first = static_cast<uint8_t>(text[0]);
  const auto second = static_cast<uint8_t>(text.size() > 1 ? text[1] : 0);
  const bool control = first < ' ' || first == 0x7F || (first == 0xC2 && second < 0xA0);
  const bool surrogate = first == 0xED && second > 0x9F;
  if (control || surrogate) return 0;
  static const auto &utf8 = std::use_facet<std::codecvt<char32_t, char8_t, std::mbstate_t>>(std::locale::classic());
  const auto *start = reinterpret_cast<const char8_t *>(text.data());
  std::mbstate_t state{};
  return static_cast<size_t>(utf8.length(state, start, start + text.size(), 1));
}

static std::string escape_of(char c) {
  if (c == '\n') return "\\n";
  if (c == '\t') return "\\t";
  return format("\\x%02x", static_cast<uint8_t>(c));
}

std::string escaped(const std::string &text) {
  std::string shown;
  size_t at = 0;
  while (at < text.size()) {
    const size_t length = first_character(std::string_view(text).substr(at));
    if (length > 0) {
      shown += text.substr(at, length);
      at += length;
    } else {
      shown += escape_of(text[at]);
      ++at;
    }
  }
  return shown;
}

/** True for the first byte of a character in UTF-8. */
static bool begins_character(char c) { return (c & 0xC0) != 0x80; }

size_t length_of(const std::string &text) {
  return static_cast<size_t>(std::count_if(text.begin(), text.end(), begins_character));
}

std::string first_characters(const std::string &text, size_t most) {
  std::string first;
  size_t count = 0;
  for (const char c : text) {
    if (begins_character(c)) ++count;
    if (count > most) break;
    first += c;
  }
  return first;
}

/** Where a full line is cut when a word goes on: behind the line's last blank, else behind its last bar, else at its
 *  end. */
static size_t cut_place(const std::string &line) {
  const size_t last_blank = line.rfind(' ');
  if (last_blank != std::string::npos) return last_blank + 1;
  const size_t last_bar = line.rfind('|');  // "a|b|c" without blanks is cut behind a bar
  if (last_bar != std::string::npos) return last_bar + 1;
  return line.size();
}

std::vector<std::string> wrapped(const std::string &text, size_t width) {
  std::vector<std::string> lines(1);
  for (const char c : text) {
    const bool full = begins_character(c) && length_of(lines.back()) == width;
    if (full) {
      std::string &line = lines.back();
      const size_t cut = c == ' ' ? line.size() : cut_place(line);
      std::string rest = line.substr(cut);
      line.erase(cut);
      lines.push_back(std::move(rest));
      if (c == ' ') continue;  // a line does not begin with the blank that ends the one before
    }
    lines.back() += c;
  }
  return lines;
}

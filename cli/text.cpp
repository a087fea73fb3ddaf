#include "text.h"

#include <algorithm>
#include <charconv>
#include <cstdarg>
#include <locale>
#include <sstream>

std::string hex_text(std::span<const uint8_t> bytes) {
  std::string text;
  for (const uint8_t byte : bytes) text += format("%02x", byte);
  return text;
}

std::string printable(std::string text) {
  for (char &c : text) c = c >= ' ' && c <= '~' ? c : '.';
  return text;
}

std::string format(const char *pattern, ...) {
  va_list arguments, again;
  va_start(arguments, pattern);
  va_copy(again, arguments);
  std::string text(static_cast<size_t>(std::max(std::vsnprintf(nullptr, 0, pattern, arguments), 0)), '\0');
  std::vsnprintf(text.data(), text.size() + 1, pattern, again);
  va_end(again);
  va_end(arguments);
  return text;
}

std::vector<std::string> split(const std::string &names, char separator) {
  std::vector<std::string> list;
  std::istringstream stream(names.empty() ? names : names + separator);
  for (std::string name; std::getline(stream, name, separator);) list.push_back(name);
  return list;
}

std::optional<uint32_t> number_in(const std::string &text, uint32_t low, uint32_t high) {
  const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
  const char *first = text.c_str() + (hexadecimal ? 2 : 0), *end = text.c_str() + text.size();
  uint32_t number = 0;
  const auto [rest, error] = std::from_chars(first, end, number, hexadecimal ? 16 : 10);
  const bool good = error == std::errc() && rest == end && number >= low && number <= high;
  return good ? std::optional(number) : std::nullopt;
}

std::optional<std::tm> time_in(const std::string &text) {
  std::tm time{};
  const char *end = strptime(text.c_str(), "%Y-%m-%dT%H:%M:%S", &time);
  std::tm normal = time;
  timegm(&normal);  // moves a day that its month does not have into the next one, and a leap second
  const bool whole = end != nullptr && *end == '\0' && normal.tm_mday == time.tm_mday && normal.tm_sec == time.tm_sec;
  return whole && time.tm_year >= 100 && time.tm_year <= 199 ? std::optional(time) : std::nullopt;
}

std::optional<uint32_t> index_in(const std::string &names, const std::string &name) {
  const auto list = split(names);
  const auto found = std::find(list.begin(), list.end(), name);
  return found != list.end() ? std::optional(static_cast<uint32_t>(found - list.begin())) : std::nullopt;
}

std::string name_of(const std::string &names, uint32_t code, const char *without) {
  const auto list = split(names);
  return code < list.size() && !list[code].empty() ? list[code] : format(without, code);
}

/** Bytes of the character that a text goes on with; 0 for a control code and for what is no UTF-8. */
static size_t character_at(std::string_view text) {
  const uint32_t first = static_cast<uint8_t>(text[0]), next = text.size() > 1 ? static_cast<uint8_t>(text[1]) : 0;
  const bool control = first < ' ' || first == 0x7F || (first == 0xC2 && next < 0xA0);
  const bool surrogate = first == 0xED && next > 0x9F;
  if (control || surrogate) return 0;
  static const auto &utf8 = std::use_facet<std::codecvt<char32_t, char8_t, std::mbstate_t>>(std::locale::classic());
  const auto *start = reinterpret_cast<const char8_t *>(text.data());
  std::mbstate_t state{};
  return static_cast<size_t>(utf8.length(state, start, start + text.size(), 1));
}

std::string escaped(const std::string &text) {
  std::string shown;
  for (size_t at = 0, length = 0; at < text.size(); at += std::max<size_t>(length, 1)) {
    length = character_at(std::string_view(text).substr(at));
    const auto byte = static_cast<uint8_t>(text[at]);
    shown += length > 0     ? text.substr(at, length)
             : byte == '\n' ? "\\n"
             : byte == '\t' ? "\\t"
                            : format("\\x%02x", byte);
  }
  return shown;
}

size_t length_of(const std::string &text) {
  return static_cast<size_t>(std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

std::vector<std::string> wrapped(const std::string &text, size_t width) {
  std::vector<std::string> lines(1);
  size_t blank = std::string::npos;  // the last one of the line in work
  for (const char c : text) {
    std::string &line = lines.back();
    if ((c & 0xC0) != 0x80 && length_of(line) == width) {
      const size_t cut = c == ' ' || blank == std::string::npos ? line.size() : blank + 1;
      std::string rest = line.substr(cut);
      line.erase(cut);
      lines.push_back(std::move(rest));
      blank = std::string::npos;
      if (c == ' ') continue;
    }
    if (c == ' ') blank = lines.back().size();
    lines.back() += c;
  }
  return lines;
}

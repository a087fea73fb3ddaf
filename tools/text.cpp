#include <algorithm>
#include <cstdarg>
#include <sstream>

#include "tool.h"

std::string hexText(std::span<const uint8_t> bytes) {
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

std::vector<std::string> split(const std::string &names) {
  std::vector<std::string> list;
  std::istringstream stream(names);
  for (std::string name; std::getline(stream, name, '|');) list.push_back(name);
  return list;
}

/** Bytes of the character that a text goes on with; 0 for a control byte and for what is no UTF-8. */
static size_t characterAt(std::string_view text) {
  const auto byte = [&](size_t i) { return i < text.size() ? static_cast<uint8_t>(text[i]) : 0U; };
  const uint32_t first = byte(0);
  if (first < 0x80) return first >= ' ' && first != 0x7F ? 1 : 0;
  const size_t length = first >= 0xC2 && first < 0xE0 ? 2 : first >= 0xE0 && first < 0xF0 ? 3 : first < 0xF5 ? 4 : 0;
  for (size_t i = 1; i < length; ++i)
    if ((byte(i) & 0xC0) != 0x80) return 0;
  // Written longer than needed, a surrogate, beyond the last code, or a control code above ASCII.
  const bool bad = (first == 0xE0 && byte(1) < 0xA0) || (first == 0xED && byte(1) > 0x9F) ||
                   (first == 0xF0 && byte(1) < 0x90) || (first == 0xF4 && byte(1) > 0x8F) ||
                   (first == 0xC2 && byte(1) < 0xA0);
  return first < 0xC2 || bad ? 0 : length;
}

std::string escaped(const std::string &text) {
  std::string shown;
  for (size_t at = 0, length = 0; at < text.size(); at += std::max<size_t>(length, 1)) {
    length = characterAt(std::string_view(text).substr(at));
    const auto byte = static_cast<uint8_t>(text[at]);
    shown += length > 0     ? text.substr(at, length)
             : byte == '\n' ? "\\n"
             : byte == '\t' ? "\\t"
                            : format("\\x%02x", byte);
  }
  return shown;
}

size_t lengthOf(const std::string &text) {
  return static_cast<size_t>(std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

std::vector<std::string> wrapped(const std::string &text, size_t width) {
  std::vector<std::string> lines(1);
  size_t blank = std::string::npos;  // the last one of the line in work
  for (const char c : text) {
    std::string &line = lines.back();
    if ((c & 0xC0) != 0x80 && lengthOf(line) == width) {
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

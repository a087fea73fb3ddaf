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
  char text[512];
  va_list arguments;
  va_start(arguments, pattern);
  std::vsnprintf(text, sizeof text, pattern, arguments);
  va_end(arguments);
  return text;
}

std::vector<std::string> split(const std::string &names) {
  std::vector<std::string> list;
  std::istringstream stream(names);
  for (std::string name; std::getline(stream, name, '|');) list.push_back(name);
  return list;
}

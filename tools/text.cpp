#include <algorithm>
#include <cstdarg>

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

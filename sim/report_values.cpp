#include "report_values.h"

#include <cctype>
#include <ctime>

namespace zelsim::tool {

const Json &member(const Json &from, std::initializer_list<const char *> names) {
  static const Json kNothing;
  const Json *found = &from;
  for (const char *name : names) {
    if (!found->contains(name)) return kNothing;
    found = &(*found)[name];
  }
  return *found;
}

std::optional<uint32_t> number_of(const Json &value, uint32_t highest) {
  if (value.is_boolean()) return value.get<bool>() ? 1 : 0;
  if (!value.is_number_integer()) return {};
  auto number = value.get<int64_t>();
  if (number < 0 || number > highest) return {};
  return static_cast<uint32_t>(number);
}

std::string text_of(const Json &value) { return value.is_string() ? value.get<std::string>() : ""; }

std::vector<uint8_t> bytes_of_hex(const Json &value) {
  std::string digits = text_of(value);
  std::erase_if(digits, [](char c) { return std::isxdigit(static_cast<unsigned char>(c)) == 0; });
  bool has_half_byte = digits.size() % 2 != 0;
  if (has_half_byte) digits.pop_back();
  return *hex_bytes(digits);
}

std::optional<int64_t> seconds_of(const Json &value) {
  constexpr size_t kLength = sizeof "2026-03-15T14:30:45" - 1;
  std::optional<std::tm> time = time_in(text_of(value).substr(0, kLength));
  if (!time) return {};
  return timegm(&*time);
}

const std::vector<uint8_t> *file_of(const ArchivedFiles &files, const Json &name) {
  auto found = files.find(text_of(name));
  return found != files.end() ? &found->second : nullptr;
}

}  // namespace zelsim::tool

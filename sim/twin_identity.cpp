#include "twin_identity.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

// The identity of a report's switch, as its flash has it.

namespace zelsim::tool {
namespace {

constexpr uint8_t kErased = 0xff;
constexpr size_t kVariants = 4;
constexpr size_t kMacText = 17;  // 00:11:22:33:44:55

// The last byte of each text is never written.
struct CustomInfo {
  char model_marker[6];
  char names[kVariants][32];
  char unused[10];
  char description_marker[12];
  char description[256];
  char unused_too[4];
  uint8_t power_mode;
};
static_assert(sizeof(CustomInfo) == 417);
static_assert(offsetof(CustomInfo, description_marker) == 144);
static_assert(offsetof(CustomInfo, power_mode) == 416);

template <size_t Size>
void put_cut_text(char (&field)[Size], const std::string &text) {
  std::fill_n(field, Size - 1, '\0');
  std::copy_n(text.begin(), std::min(text.size(), Size - 1), field);
}

// A marker fills its field.
template <size_t Size>
void put_marker(char (&field)[Size], const char *marker) {
  std::memcpy(field, marker, Size);
}

}  // namespace

std::vector<uint8_t> custom_info_of(const Json &report) {
  CustomInfo info;
  std::memset(&info, kErased, sizeof info);
  size_t variant = 0;
  for (const Json &row : member(report, {"identity", "names"})) {
    std::string name = text_of(member(row, {"name"}));
    if (!name.empty() && variant < kVariants) {
      put_marker(info.model_marker, "model=");
      put_cut_text(info.names[variant], name);
    }
    ++variant;
  }
  const Json &description = member(report, {"identity", "description"});
  if (description.is_string()) {
    put_marker(info.description_marker, "description=");
    put_cut_text(info.description, text_of(description));
  }
  auto power_byte = number_of(member(report, {"identity", "power_byte"}), 0xff);
  info.power_mode = static_cast<uint8_t>(power_byte.value_or(kErased));
  const auto *bytes = reinterpret_cast<const uint8_t *>(&info);
  bool is_erased = std::all_of(bytes, bytes + sizeof info, [](uint8_t byte) { return byte == kErased; });
  if (is_erased) return {};
  return {bytes, bytes + sizeof info};
}

std::vector<uint8_t> mac_backup_of(const Json &report) {
  if (member(report, {"mac_backup", "stored"}) != true) return {};
  std::vector<uint8_t> bytes = bytes_of_hex(member(report, {"mac_backup", "bytes"}));
  if (bytes.size() != kMacText) return {};
  return bytes;
}

}  // namespace zelsim::tool

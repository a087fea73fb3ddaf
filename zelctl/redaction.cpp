#include "redaction.h"

#include <fnmatch.h>

#include <algorithm>

#include "records.h"

constexpr size_t kCrcLength = 4;

static bool is_secret(const std::string &name, const Patterns &patterns) {
  return std::any_of(patterns.begin(), patterns.end(), [&](const std::string &pattern) {
    return fnmatch(pattern.c_str(), name.c_str(), FNM_CASEFOLD) == 0;
  });
}

/** Entries end with a NUL each, the list with an empty one. @return the entry, and moves behind it */
static std::string take_entry(std::span<const uint8_t> &rest) {
  const auto end = std::find(rest.begin(), rest.end(), uint8_t{0});
  const std::string entry(rest.begin(), end);
  rest = rest.subspan(std::min(entry.size() + 1, rest.size()));
  return entry;
}

static uint32_t crc_of(const std::vector<uint8_t> &region) {
  return FW_crc32(region.data() + kCrcLength, static_cast<uint32_t>(region.size() - kCrcLength));
}

Redaction blank_secrets(std::span<const uint8_t> region, const Patterns &patterns) {
  Redaction done{{region.begin(), region.end()}, {}, false};
  if (is_erased(region)) return done;
  const bool valid = crc_of(done.region) == word_at(region, 0);
  std::vector<uint8_t> blanked(region.begin(), region.begin() + kCrcLength);
  std::span<const uint8_t> rest = region.subspan(kCrcLength);
  for (std::string entry = take_entry(rest); !entry.empty(); entry = take_entry(rest)) {
    const size_t name_end = std::min(entry.find('='), entry.size());
    const std::string name = entry.substr(0, name_end);
    if (is_secret(name, patterns)) {
      entry = name + "=" + kBlanked;
      done.names.push_back(name);
    }
    blanked.insert(blanked.end(), entry.begin(), entry.end());
    blanked.push_back(0);
  }
  done.remains = std::any_of(rest.begin(), rest.end(), [](uint8_t byte) { return byte != 0 && byte != 0xFF; });
  if (done.names.empty() && !done.remains) return done;
  blanked.resize(region.size(), 0);
  const uint32_t crc = valid ? crc_of(blanked) : ~crc_of(blanked);
  for (size_t i = 0; i < kCrcLength; ++i) blanked[i] = static_cast<uint8_t>(crc >> 8 * i);
  done.region = std::move(blanked);
  return done;
}

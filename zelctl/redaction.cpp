#include "redaction.h"

#include <fnmatch.h>

#include <algorithm>

#include "environment_region.h"
#include "records.h"

static bool is_secret(const std::string &name, const Patterns &patterns) {
  return std::any_of(patterns.begin(), patterns.end(), [&](const std::string &pattern) {
    return fnmatch(pattern.c_str(), name.c_str(), FNM_CASEFOLD) == 0;
  });
}

/** The variables of a region, and what stands behind their list. */
struct VariableList {
  std::vector<std::string> entries;  // "name=value"
  Bytes rest;
};

/** Each entry ends with a NUL. The list ends with an empty entry, or with the region. */
static VariableList variables_of(Bytes region) {
  VariableList list;
  list.rest = region.subspan(kEnvironmentCrcLength);
  for (;;) {
    const auto end = std::find(list.rest.begin(), list.rest.end(), uint8_t{0});
    const std::string entry(list.rest.begin(), end);
    const size_t length = std::min(entry.size() + 1, list.rest.size());  // with the NUL
    list.rest = list.rest.subspan(length);
    if (entry.empty()) return list;
    list.entries.push_back(entry);
  }
}

static bool holds_data(Bytes bytes) {
  return std::any_of(bytes.begin(), bytes.end(), [](uint8_t byte) { return byte != 0 && byte != kErased; });
}

/** A region with these variables and zeros behind them. The CRC-32 is not stored yet. */
static std::vector<uint8_t> region_of(const std::vector<std::string> &entries, size_t size) {
  std::vector<uint8_t> region(kEnvironmentCrcLength);
  for (const std::string &entry : entries) {
    region.insert(region.end(), entry.begin(), entry.end());
    region.push_back(0);
  }
  region.resize(size, 0);
  return region;
}

Redaction blank_secrets(std::span<const uint8_t> region, const Patterns &patterns) {
  Redaction redaction{{region.begin(), region.end()}, {}, false};
  if (is_erased(region)) return redaction;
  VariableList variables = variables_of(region);
  for (std::string &entry : variables.entries) {
    const std::string name = entry.substr(0, entry.find('='));
    if (!is_secret(name, patterns)) continue;
    entry = name + "=" + kBlanked;
    redaction.names.push_back(name);
  }
  redaction.remains = holds_data(variables.rest);
  const bool nothing_to_blank = redaction.names.empty() && !redaction.remains;
  if (nothing_to_blank) return redaction;
  redaction.region = region_of(variables.entries, region.size());
  const uint32_t crc = environment_crc(redaction.region);
  store_environment_crc(redaction.region, environment_crc_holds(region) ? crc : ~crc);
  return redaction;
}

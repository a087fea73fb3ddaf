#include "environment_region.h"

#include "records.h"

uint32_t environment_crc(Bytes region) {
  const Bytes variables = region.subspan(kEnvironmentCrcLength);
  return FW_crc32(variables.data(), static_cast<uint32_t>(variables.size()));
}

bool environment_crc_holds(Bytes region) { return environment_crc(region) == little_word32_at(region, 0); }

void store_environment_crc(std::vector<uint8_t> &region, uint32_t crc) {
  for (size_t i = 0; i < kEnvironmentCrcLength; ++i) region[i] = static_cast<uint8_t>(crc >> 8 * i);
}

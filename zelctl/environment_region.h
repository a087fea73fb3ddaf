/** @file
 *  The boot environment's region of the flash: a CRC-32 of the rest, low byte first, then the variables as text. */
#ifndef ZELCTL_ENVIRONMENT_REGION_H
#define ZELCTL_ENVIRONMENT_REGION_H

#include "../cli/file.h"

constexpr size_t kEnvironmentCrcLength = 4;

/** The CRC-32 that the region should have. */
uint32_t environment_crc(Bytes region);
/** True if the region has that CRC-32. */
bool environment_crc_holds(Bytes region);
void store_environment_crc(std::vector<uint8_t> &region, uint32_t crc);

#endif

#pragma once

#include "recording.h"

namespace zelsim::tool {

/** The I2C transfers of a recording as a pcapng file, for Wireshark. */
std::vector<uint8_t> pcapng_of(const Recording &recording);

}  // namespace zelsim::tool

#pragma once

#include <cstdint>
#include <vector>

#include "report_values.h"

namespace zelsim::tool {

/** The record at the start of region Custom info: model names, description and power byte, as far as the report has them.
 *  Empty if it has none. */
std::vector<uint8_t> custom_info_of(const Json &report);

/** The bytes at the start of region Mac Address Backup. Empty if the report has none. */
std::vector<uint8_t> mac_backup_of(const Json &report);

}  // namespace zelsim::tool

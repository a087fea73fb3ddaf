// Which results of an erase count as a failure, for erase_sectors: any result but 0 for the customise databases,
// FW_FAIL alone for the other databases.
#pragma once

#include <stdint.h>

#include "zelboard/status.h"

namespace zel {

constexpr bool is_fw_fail(uint32_t result) { return result == FW_FAIL; }
constexpr bool is_not_zero(uint32_t result) { return result != 0; }

}  // namespace zel

// Which results of a flash call count as a failure. For the customise databases it is any result but 0; for the other
// databases, dump, compare and inspection it is FW_FAIL alone.
#pragma once

#include <stdint.h>

#include "zelboard/status.h"

namespace zel {

constexpr bool is_fw_fail(uint32_t result) { return result == FW_FAIL; }
constexpr bool is_not_zero(uint32_t result) { return result != 0; }

}  // namespace zel

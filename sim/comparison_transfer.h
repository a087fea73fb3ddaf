#pragma once

#include "findings.h"

namespace zelsim::tool {

/** Compares what two reads of a chip have brought.
 *  @param recorded  the whole record of the transfer; the same for `model`
 *  @param port      the selected module's; nothing without a selection */
void compare_transfer(std::span<const uint8_t> recorded, std::span<const uint8_t> model, std::optional<unsigned> port,
                      Findings &found);

}  // namespace zelsim::tool

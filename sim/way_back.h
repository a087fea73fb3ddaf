#pragma once

#include <optional>

#include "tool.h"

namespace zelsim::tool {

/** The world commands that change a board from the state `after` back to the state `before`; none if no commands can. */
std::optional<Words> way_back(const Board &before, const Board &after);

}  // namespace zelsim::tool

#pragma once

#include <optional>

#include "tool.h"

namespace zelsim::tool {

/** True if both cages are empty, or have the same module: what it measures may differ. */
bool is_same_module(const Cage &before, const Cage &after);

/** The world commands that change a board from the state `after` back to the state `before`; none if no commands can. */
std::optional<Words> way_back(const Board &before, const Board &after);

}  // namespace zelsim::tool

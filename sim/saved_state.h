#pragma once

#include <filesystem>
#include <memory>

#include "state.h"

namespace zelsim::tool {

/** A saved state, from its folder. Throws Failure if another version has saved it, or it is damaged. */
std::unique_ptr<Board> read_state(const std::filesystem::path &folder);

}  // namespace zelsim::tool

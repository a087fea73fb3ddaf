#pragma once

#include <filesystem>

#include "../cli/output.h"
#include "state.h"

// What is told of a board, for those who have it in hand: locked, or a copy.

namespace zelsim::tool {

/** What `zelsim show` shows. */
Json document_of(const Board &board, const std::filesystem::path &folder);
/** What `zelsim flash stats` shows of the regions. */
Json regions_of(const Flash &flash);

}  // namespace zelsim::tool

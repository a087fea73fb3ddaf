#pragma once

#include <filesystem>

#include "../cli/output.h"
#include "state.h"

// Documents of a board that the caller holds: locked, or a copy.

namespace zelsim::tool {

/** What `zelsim show` shows. */
Json document_of(const Board &board, const std::filesystem::path &folder);
/** What `zelsim flash stats` shows of the regions. */
Json regions_of(const Flash &flash);

}  // namespace zelsim::tool

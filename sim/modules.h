#pragma once

#include <array>
#include <string>
#include <vector>

#include "state.h"

// Modules that can be plugged.

namespace zelsim::tool {

/** SFF-8472 page A0h. */
using ModulePage = std::array<uint8_t, 256>;

struct Module {
  std::string name;
  ModulePage page;
  PhyKind phy;
};

std::vector<Module> catalogue();
/** A module's page from a file of raw bytes or a hex dump. */
ModulePage read_page(const std::string &file);

/** Name of a PHY kind in documents: marvell or other. */
const char *phy_name(PhyKind phy);

}  // namespace zelsim::tool

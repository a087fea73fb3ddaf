#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "state.h"

// Modules that can be plugged.

namespace zelsim::tool {

/** SFF-8472 page A0h or A2h as a whole. */
using MemoryPage = std::array<uint8_t, 256>;

struct Module {
  std::string name;
  MemoryPage page;
  PhyKind phy;
  std::optional<MemoryPage> diagnostics = {};  // page A2h
};

const std::vector<Module> &catalogue();
/** A module of the catalogue as it is plugged into a port: with a serial number of its own. */
Module taken_from_catalogue(Module module, unsigned port);
/** The name of the catalogue's module with this vendor and part number, whatever its serial number is; empty for none. */
std::string catalogue_name(const MemoryPage &page);
/** A module's pages from a file of raw bytes or a hex dump: A0h, and A2h where the file has it. */
std::vector<MemoryPage> read_pages(const std::string &file);

/** Name of a PHY kind in documents: marvell or other. */
const char *phy_name(PhyKind phy);

}  // namespace zelsim::tool

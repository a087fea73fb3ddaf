#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "state.h"

// The regions of the flash, by name. This is the virtual switch's only description of them.

namespace zelsim::tool {

struct FlashRegion {
  const char *name;
  uint32_t first_sector;
  uint32_t sectors;

  constexpr uint32_t end_sector() const { return first_sector + sectors; }
  constexpr uint32_t start() const { return first_sector * kSectorSize; }
  constexpr uint32_t size() const { return sectors * kSectorSize; }
};

/** Name of the gaps between the others. */
constexpr char kUnusedRegion[] = "unused";

/** All regions in the order of their addresses. They cover the whole flash. */
std::span<const FlashRegion> flash_regions();

/** A stretch of the flash in bytes. */
struct FlashRange {
  uint32_t start;
  uint32_t size;
};

/** The range of a region by its name, or of START+SIZE; the whole flash for an empty text. Throws Usage. */
FlashRange flash_range(const std::string &text);

}  // namespace zelsim::tool

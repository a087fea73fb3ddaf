/** @file
 *  The flash as commands see it: regions, checked reads, and changes. A signal ends a change between two pieces. */
#ifndef ZELCTL_FLASH_H
#define ZELCTL_FLASH_H

#include "tool.h"

/** A byte of flash after an erase. */
constexpr uint8_t kErased = 0xFF;

/* ---- what is where ---- */

uint32_t sector_size();
uint32_t chip_size();

constexpr size_t kRegionCount = 17;

/** A part of the flash, and what people call it. */
struct Extent {
  uint32_t start;
  uint32_t length;
  std::string name;

  uint32_t end() const { return start + length; }
};

/* By map selector, FW_REGION_... They throw if the library does not know the chip. */
uint32_t start_of_selector(uint32_t selector);
uint32_t length_of_selector(uint32_t selector);

/** The place of a region in the tool's own list, 0 to kRegionCount - 1. The list also has the test area, which has no
 *  selector. */
enum class RegionPlace : uint32_t {};
/** By code or name in upper or lower case; nothing for any other text. */
std::optional<RegionPlace> region_named(const std::string &text);
Extent region_extent(RegionPlace region);
/** The code and the name of a region, which need no question to the board. */
std::string region_code(RegionPlace region);
std::string region_title(RegionPlace region);
/** The region as a row of `flash_regions`. */
Json region_row(RegionPlace region);
/** Puts rows of regions into the order of their places. */
void sort_regions(Json &rows);
/** All codes, separated by bars. */
std::string region_codes();
/** The row of `flash_regions` that contains the address; the number of rows if none does. */
size_t region_at(const Json &regions, uint32_t address);
std::string region_name(const Json &regions, uint32_t address);

/* ---- reading ---- */

/* What an interruption leaves, for its line. */
constexpr const char *kUnchanged = "nothing was changed";
constexpr const char *kPartly = "what follows is as it was";
constexpr const char *kUnverified = "all was written, but not read back whole";

/** Reads with progress. */
std::vector<uint8_t> read_flash(uint32_t start, uint32_t length, const char *if_interrupted = kUnchanged);
/** Fills the buffer, or throws. The library's own read also returns success if the driver gave fewer bytes. */
void read_piece(uint32_t address, std::span<uint8_t> bytes);
uint32_t little_word32_at(std::span<const uint8_t> bytes, size_t at);
bool is_erased(std::span<const uint8_t> bytes);

/* ---- changing ---- */

using PieceWork = std::function<void(uint32_t address, uint32_t length)>;
/** Does the work for pieces of a sector's size, with progress. Throws between two pieces if a signal waits.
 *  @param what            names the work, for progress and for the line of an interruption
 *  @param if_interrupted  what an interruption leaves */
void work_in_pieces(const char *what, uint32_t start, uint32_t length, const char *if_interrupted,
                    const PieceWork &work);

/** Throws unless the flash driver answers and its chip is the one that the library knows. */
void require_chip();
/** Prepares a change for which the library sets its flags: throws if a driver does not answer. Then holds signals. */
void start_change();

/** What a change does to a sector. */
enum class SectorAction { Keep, Write, EraseAndWrite, Erase };
/** Prints what a change from `start` to `end` would do, without doing it. */
void show_plan(uint32_t start, uint32_t end, const std::function<SectorAction(uint32_t address)> &action_at);
void show_plan(uint32_t start, uint32_t end, SectorAction action);

/** Draws all sectors. Each is read as a whole: a sector that begins erased may still contain data. */
void show_map();
void show_sector(uint32_t sector);

#endif

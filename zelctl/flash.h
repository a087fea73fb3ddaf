/** @file
 *  The flash as commands see it: its regions, reads that are checked, changes that a signal ends between two pieces. */
#ifndef ZELCTL_FLASH_H
#define ZELCTL_FLASH_H

#include "tool.h"

/* ---- what is where ---- */

uint32_t sector_size();
uint32_t chip_size();

/** Bytes of the flash, from `start` on, and what people call them. */
struct Extent {
  uint32_t start;
  uint32_t length;
  std::string name;

  uint32_t end() const { return start + length; }
};

/** Of a map selector, FW_REGION_...; throws when the chip is not known. */
uint32_t region_start(uint32_t selector);
uint32_t region_length(uint32_t selector);

/** A region's place in the tool's own list, by its code or name in any case; nothing for another text. */
std::optional<uint32_t> region_named(const std::string &text);
Extent region_extent(uint32_t region);
/** All codes, separated by bars. */
std::string region_codes();
/** Row of `flash_regions` that holds an address; the number of rows for none. */
size_t region_at(const Json &regions, uint32_t address);
std::string region_name(const Json &regions, uint32_t address);

/* ---- reading ---- */

/** What an interruption leaves, for the line that tells of it. */
constexpr const char *kUnchanged = "nothing was changed";
constexpr const char *kPartly = "what follows is as it was";
constexpr const char *kUnverified = "all was written, but not read back whole";

/** Reads with progress. */
std::vector<uint8_t> read_flash(uint32_t start, uint32_t length, const char *if_interrupted = kUnchanged);
/** Fills the buffer, or throws. The library itself takes a short count for a success. */
void read_piece(uint32_t address, std::span<uint8_t> bytes);
/** A little-endian word. */
uint32_t word_at(std::span<const uint8_t> bytes, size_t at);
bool is_erased(std::span<const uint8_t> bytes);

/* ---- changing ---- */

/** Does the work for each piece of a sector's size, with progress. If a signal waits it throws between two pieces.
 *  @param what  names the work in the line that tells where it ended */
using PieceWork = std::function<void(uint32_t address, uint32_t length)>;
void work_in_pieces(const char *what, uint32_t start, uint32_t length, const char *if_interrupted,
                    const PieceWork &work);

/** Throws unless the flash driver answers and has the chip that the library knows. */
void require_chip();
/** Begins a change that the library guards by its flags: throws if a driver does not answer, else holds signals. */
void start_change();

/** What a change does to a sector. */
enum class SectorAction { Keep, Write, EraseAndWrite, Erase };
/** Prints what a change from `start` to `end` would do, without doing it. */
void show_plan(uint32_t start, uint32_t end, const std::function<SectorAction(uint32_t address)> &action_at);
void show_plan(uint32_t start, uint32_t end, SectorAction action);

/** Draws all sectors. Each is read whole, since one may begin erased and yet hold data. */
void show_map();
void show_sector(uint32_t sector);

#endif

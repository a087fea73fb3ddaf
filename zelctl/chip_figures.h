/** @file
 *  Figures of the flash's regions, for the report: they are made while the chip is read once from beginning to end. */
#ifndef ZELCTL_CHIP_FIGURES_H
#define ZELCTL_CHIP_FIGURES_H

#include <array>
#include <set>

#include "records.h"

/** Length and checksums of a firmware image. The erased bytes at the end of its partition do not count. */
class ImageFigures {
 public:
  void add(Bytes bytes);
  Json record_of(uint32_t image) const;

 private:
  void count(Bytes bytes);
  void count_erased();

  size_t length_ = 0;
  size_t erased_ = 0;  // erased bytes since the last others: they count if more data follows
  uint32_t crc32_ = 0;
  uint32_t sum_ = 0;
};

class ChipFigures {
 public:
  /** @param regions  rows of `flash_regions`. Some may be missing. */
  explicit ChipFigures(Json regions);
  void add(uint32_t address, Bytes sector);
  /** A sector could not be read: the figures of its region are null then. */
  void miss(uint32_t address);
  /** Adds "regions" and "images". */
  void finish(Json &flash);

 private:
  static constexpr const char *kImages[] = {"I1", "I2"};  // codes of their regions

  Json regions_;
  std::array<ImageFigures, std::size(kImages)> images_;
  std::array<size_t, std::size(kImages)> image_regions_;  // rows of regions_; none: its end
  std::set<size_t> missed_;                               // rows of regions_
};

#endif

#include "chip_figures.h"

#include <algorithm>

void ImageFigures::add(Bytes bytes) {
  size_t used = is_erased(bytes) ? 0 : bytes.size();
  while (used > 0 && bytes[used - 1] == kErased) --used;
  if (used > 0) {
    count_erased();
    count(bytes.first(used));
  }
  erased_ += bytes.size() - used;
}

Json ImageFigures::record_of(uint32_t image) const {
  return record("image", image, "length", length_, "crc32", crc32_, "sum", sum_);
}

void ImageFigures::count(Bytes bytes) {
  const auto length = static_cast<uint32_t>(bytes.size());
  crc32_ = FW_crc321(crc32_, bytes.data(), length);
  sum_ += dbChecksum(bytes.data(), length);
  length_ += bytes.size();
}

/** More data follows: the erased bytes before it belong to the image. */
void ImageFigures::count_erased() {
  const std::vector<uint8_t> erased(std::min<size_t>(erased_, sector_size()), kErased);
  while (erased_ > 0) {
    const size_t part = std::min(erased_, erased.size());
    count(Bytes(erased).first(part));
    erased_ -= part;
  }
}

/** The row of a region; the number of rows if the region has none. */
static size_t row_of(const Json &regions, const char *code) {
  size_t row = 0;
  while (row < regions.size() && regions[row]["code"] != code) ++row;
  return row;
}

ChipFigures::ChipFigures(Json regions) : regions_(std::move(regions)) {
  for (Json &region : regions_) append(region, "used_sectors", 0U, "crc32", 0U);
  for (size_t i = 0; i < images_.size(); ++i) image_regions_[i] = row_of(regions_, kImages[i]);
}

void ChipFigures::add(uint32_t address, Bytes sector) {
  const size_t row = region_at(regions_, address);
  if (row >= regions_.size()) return;
  Json &region = regions_[row];
  if (!is_erased(sector)) region["used_sectors"] = region["used_sectors"].get<uint32_t>() + 1;
  region["crc32"] = FW_crc321(region["crc32"], sector.data(), static_cast<uint32_t>(sector.size()));
  for (size_t i = 0; i < images_.size(); ++i) {
    if (row == image_regions_[i]) images_[i].add(sector);
  }
}

void ChipFigures::miss(uint32_t address) {
  const size_t row = region_at(regions_, address);
  if (row < regions_.size()) missed_.insert(row);
}

void ChipFigures::finish(Json &flash) {
  for (const size_t row : missed_) append(regions_[row], "used_sectors", nullptr, "crc32", nullptr);
  flash["regions"] = regions_;
  flash["images"] = Json::array();
  for (size_t i = 0; i < images_.size(); ++i) {
    const auto image = static_cast<uint32_t>(i + 1);
    const bool is_whole = image_regions_[i] < regions_.size() && !missed_.contains(image_regions_[i]);
    if (is_whole) flash["images"].push_back(images_[i].record_of(image));
  }
}

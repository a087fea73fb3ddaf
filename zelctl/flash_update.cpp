#include <algorithm>
#include <memory>

#include "records.h"

/** Sets the flag that tells all processes of a change of the flash. The library's own long changes set it, too. */
struct FlashAccess {
  FlashAccess() { require(FW_SetFlashAccessFlag(1), "flash-access flag"); }
  FlashAccess(const FlashAccess &) = delete;
  FlashAccess &operator=(const FlashAccess &) = delete;
  ~FlashAccess() { FW_SetFlashAccessFlag(0); }
};

/** Programming only clears bits. To set a bit again the sector has to be erased. */
static SectorAction action_for(Bytes before, Bytes wanted) {
  if (std::equal(before.begin(), before.end(), wanted.begin())) return SectorAction::Keep;
  for (size_t i = 0; i < before.size(); ++i) {
    const bool only_clears = (before[i] & wanted[i]) == wanted[i];
    if (!only_clears) return SectorAction::EraseAndWrite;
  }
  return SectorAction::Write;
}

/** An update of a region: the new content of all sectors that the file reaches. Bytes behind the file stay. */
class Update {
 public:
  Update(const Extent &region, const std::vector<uint8_t> &file) : start_(region.start) {
    const size_t sectors = (file.size() + sector_size() - 1) / sector_size();
    const std::vector<uint8_t> before = read_flash(start_, static_cast<uint32_t>(sectors) * sector_size());
    wanted_ = before;
    std::copy(file.begin(), file.end(), wanted_.begin());
    for (size_t sector = 0; sector < sectors; ++sector) {
      const size_t at = sector * sector_size();
      actions_.push_back(action_for(Bytes(before).subspan(at, sector_size()), wanted(at)));
    }
  }

  uint32_t start() const { return start_; }
  uint32_t length() const { return static_cast<uint32_t>(wanted_.size()); }
  size_t sectors() const { return actions_.size(); }
  long count(SectorAction action) const { return std::count(actions_.begin(), actions_.end(), action); }
  long erased() const { return count(SectorAction::EraseAndWrite); }
  long changed() const { return erased() + count(SectorAction::Write); }
  SectorAction action_at(uint32_t address) const { return actions_[(address - start_) / sector_size()]; }

  /** Writes the new content of one sector and reads it back. */
  void update_sector(uint32_t address) const {
    const Bytes bytes = wanted(address - start_);
    if (action_at(address) == SectorAction::EraseAndWrite)
      require(FW_SpiFlash_SectorErase(address), format("erase of the sector at 0x%X", address));
    require(FW_WriteFlash(address, sector_size(), bytes.data()), format("program of the sector at 0x%X", address));
    std::vector<uint8_t> back(sector_size());
    read_piece(address, back);
    if (!std::equal(back.begin(), back.end(), bytes.begin()))
      throw Failure{format("the sector at 0x%X does not hold what was written", address)};
  }

 private:
  Bytes wanted(size_t at) const { return Bytes(wanted_).subspan(at, sector_size()); }

  uint32_t start_;
  std::vector<uint8_t> wanted_;
  std::vector<SectorAction> actions_;  // by sector
};

static void run_update(const Update &update, const std::string &region) {
  long done = 0;
  try {
    const FlashAccess raised;
    work_in_pieces("update", update.start(), update.length(), kPartly, [&](uint32_t address, uint32_t) {
      if (update.action_at(address) == SectorAction::Keep) return;
      update.update_sector(address);
      ++done;
    });
  } catch (const Failure &failure) {
    const std::string state =
        format("; %s: %ld of the %ld sectors that differ are updated; run the same command again to go on",
               region.c_str(), done, update.changed());
    throw Failure{failure.what() + state, failure.status};
  }
}

struct UpdateOptions {
  uint32_t region = 0;  // a RegionPlace
  std::string path;
};

static void update_region(const UpdateOptions &options) {
  const Extent region = region_extent(RegionPlace{options.region});
  const std::vector<uint8_t> bytes = read_file(options.path, region.length);
  if (bytes.empty()) refuse_argument("FILE", options.path + " is empty");
  const Update update(region, bytes);
  if (settings.dry_run) {
    const uint32_t end = update.start() + update.length();
    show_plan(update.start(), end, [&](uint32_t address) { return update.action_at(address); });
    return;
  }
  const std::string &name = region.name;
  if (update.erased() > 0)
    confirm(format("Erases %ld of the %zu sectors of %s.", update.erased(), update.sectors(), name.c_str()));
  start_change();
  if (update.changed() > 0) run_update(update, name);
  show(record("region", name, "file", options.path, "size", bytes.size(), "sectors", update.sectors(), "erased",
              update.erased(), "written", update.changed()));
}

static std::string check_region(std::string &text) {
  const auto region = region_named(text);
  if (!region) return "'" + text + "' is not a region: see zelctl flash regions";
  text = std::to_string(static_cast<uint32_t>(*region));
  return {};
}

void add_flash_update(App &flash) {
  const auto options = std::make_shared<UpdateOptions>();
  App *app =
      command(flash, "update", "Writes a file to the beginning of a region; erases and writes only sectors that differ",
              "flash update I2 image.bin", tells_if_interrupted([options] { update_region(*options); }));
  add_checked(app, "REGION", options->region, "Region by code, or by name: see flash regions", region_codes(),
              check_region);
  add_input_file(app, options->path, "File to write");
  asks_first(app);
}

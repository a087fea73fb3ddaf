#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "request.h"
#include "system_calls.h"
#include "tool.h"

// The whole flash between the board and a file, as a programmer on the bench would do it: no erase or program is
// counted.

namespace zelsim::tool {
namespace {

void check(bool done, const std::string &what) {
  if (!done) throw Failure("cannot " + what + ": " + std::strerror(errno));
}

struct Image {
  explicit Image(const OpenBoard &open) : file(sys::open((open.folder + kFlashFile).c_str(), O_RDWR | O_CLOEXEC)) {
    check(file.ok(), "open the flash image");
  }
  sys::File file;
};

}  // namespace

void load_flash(const std::string &board, const std::string &file) {
  OpenBoard open = open_board(board);
  std::ifstream source(file, std::ios::binary);
  std::error_code none;
  auto size = std::filesystem::file_size(file, none);
  if (!source || none || size > kFlashSize) throw Usage("FILE: '" + file + "' is not a readable file of up to 32 MiB");
  Image image(open);
  for (uint32_t i = 0; i < kSectors; ++i) {
    std::string sector(kSectorSize, '\xff');  // what the file does not reach is erased
    source.read(sector.data(), kSectorSize);
    check(!source.bad(), "read " + file);
    Guard guard(open.board());
    check(store_sector(image.file.get(), i, reinterpret_cast<const uint8_t *>(sector.data())), "write the flash image");
  }
}

void save_flash(const std::string &board, const std::string &file) {
  OpenBoard open = open_board(board);
  std::ofstream target(file, std::ios::binary);
  if (!target) throw Usage("FILE: cannot open '" + file + "': " + std::strerror(errno));
  std::string sector(kSectorSize, '\0');
  for (uint32_t i = 0; i < kSectors; ++i) {
    {
      Guard guard(open.board());
      load_sector(open.attached, i, reinterpret_cast<uint8_t *>(sector.data()));
    }
    target.write(sector.data(), kSectorSize);
  }
  target.close();
  check(!target.fail(), "write " + file);
}

void erase_flash(const std::string &board) {
  OpenBoard open = open_board(board);
  Image image(open);
  Guard guard(open.board());
  for (uint32_t i = 0; i < kSectors; ++i) check(clear_sector(image.file.get(), i), "write the flash image");
  Flash &flash = open.board().flash;
  flash = {flash.chip_index, flash.debug, 0, {}, {}, 0, 0};
}

}  // namespace zelsim::tool

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "system_calls.h"
#include "tool.h"

// The whole flash between the board and a file, as a programmer on the bench would do it: no erase or program is
// counted.

namespace zelsim::tool {
namespace {

void check(bool done, const std::string &what) {
  if (!done) throw Failure("cannot " + what + ": " + std::strerror(errno));
}

void invert(std::string &bytes) {
  for (char &byte : bytes) byte = static_cast<char>(~byte);
}

// Sectors that stay erased stay holes.
void store(const OpenBoard &open, const std::string &inverted) {
  sys::File image(sys::open((open.folder + kFlashFile).c_str(), O_RDWR | O_CLOEXEC));
  constexpr int kPunch = FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE;
  Guard guard(open.board());
  check(image.ok() && fallocate(image.get(), kPunch, 0, kFlashSize) == 0, "erase the flash image");
  const std::string erased(kSectorSize, '\0');
  for (size_t at = 0; at < inverted.size(); at += kSectorSize) {
    if (inverted.compare(at, kSectorSize, erased) == 0) continue;
    bool stored = sys::pwrite(image.get(), &inverted[at], kSectorSize, static_cast<off_t>(at)) == kSectorSize;
    check(stored, "write the flash image");
  }
}

}  // namespace

void load_flash(const std::string &board, const std::string &file) {
  OpenBoard open = open_board(board);
  std::ifstream source(file, std::ios::binary);
  std::error_code none;
  auto size = std::filesystem::file_size(file, none);
  if (!source || none || size > kFlashSize) throw Usage("FILE: '" + file + "' is not a readable file of up to 32 MiB");
  std::string content(kFlashSize, '\xff');  // what the file does not reach is erased
  source.read(content.data(), static_cast<std::streamsize>(size));
  check(!source.bad(), "read " + file);
  invert(content);
  store(open, content);
}

void save_flash(const std::string &board, const std::string &file) {
  OpenBoard open = open_board(board);
  std::ofstream target(file, std::ios::binary);
  if (!target) throw Usage("FILE: cannot open '" + file + "': " + std::strerror(errno));
  std::string content(kFlashSize, '\0');
  {
    Guard guard(open.board());
    std::memcpy(content.data(), open.attached.inverted_flash, kFlashSize);
  }
  invert(content);
  target.write(content.data(), kFlashSize);
  target.close();
  check(!target.fail(), "write " + file);
}

void erase_flash(const std::string &board) {
  OpenBoard open = open_board(board);
  store(open, "");
  Guard guard(open.board());
  Flash &flash = open.board().flash;
  flash = {flash.chip_index, flash.debug, 0, {}, {}, 0, 0};
}

}  // namespace zelsim::tool

#include "scratch_board.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>

#include "nodes.h"
#include "system_calls.h"
#include "tool.h"

namespace zelsim::tool {
namespace {

namespace fs = std::filesystem;

// What was never written stays a hole of the file.
bool copy_flash(const uint8_t *image, int to) {
  for (uint32_t at = 0; at < kFlashSize; at += kSectorSize) {
    const uint8_t *sector = image + at;
    bool is_hole = std::all_of(sector, sector + kSectorSize, [](uint8_t byte) { return byte == 0; });
    if (!is_hole && sys::pwrite(to, sector, kSectorSize, at) != kSectorSize) return false;
  }
  return ftruncate(to, kFlashSize) == 0;
}

bool copy_board(const OpenBoard &board, const std::string &folder) {
  sys::File flash(sys::open((folder + kFlashFile).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  if (flash.get() < 0 || !copy_flash(board.attached->inverted_flash, flash.get())) return false;
  std::ofstream state(folder + kStateFile, std::ios::binary);
  state.write(reinterpret_cast<const char *>(board.attached->board), sizeof(Board)).flush();
  return state.good() && truncate((folder + kStateFile).c_str(), kStateFileSize) == 0;
}

}  // namespace

ScratchBoard::ScratchBoard(const std::string &name) : folder_(fs::temp_directory_path() / "zelsim-XXXXXX") {
  OpenBoard board = look_at(name);
  if (mkdtemp(folder_.data()) == nullptr) throw Failure("cannot make " + folder_ + ": " + std::strerror(errno));
  std::string why;
  if (copy_board(board, folder_)) {
    char attach_error[kPathMax] = "";
    if (attach(folder_.c_str(), &attached_, attach_error, sizeof attach_error)) return;
    why = attach_error;
  } else {
    why = "cannot copy the board to " + folder_ + ": " + std::strerror(errno);
  }
  remove_folder();
  throw Failure(why);
}

ScratchBoard::~ScratchBoard() {
  detach(attached_);
  remove_folder();
}

void ScratchBoard::remove_folder() const {
  std::error_code ignored;
  fs::remove_all(folder_, ignored);
}

}  // namespace zelsim::tool

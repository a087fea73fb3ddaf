#include "scratch_board.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>

#include "image_file.h"
#include "nodes.h"
#include "system_calls.h"
#include "tool.h"

namespace zelsim::tool {
namespace {

namespace fs = std::filesystem;

void copy_board(const OpenBoard &board, const std::string &folder) {
  sys::File from(open_file(board.folder.native() + kFlashFile, O_RDONLY));
  sys::File to(open_file(folder + kFlashFile, O_RDWR | O_CREAT));
  bool is_made = ftruncate(to.get(), kFlashSize) == 0;
  if (is_made) copy_image(from.get(), to.get());
  std::ofstream state(folder + kStateFile, std::ios::binary);
  state.write(reinterpret_cast<const char *>(board.attached->board), sizeof(Board)).flush();
  is_made = is_made && state.good() && truncate((folder + kStateFile).c_str(), kStateFileSize) == 0;
  if (!is_made) throw Failure("cannot copy the board to " + folder + ": " + std::strerror(errno));
}

void attach_copy(const std::string &folder, Attached *attached) {
  char why[kPathMax] = "";
  if (!attach(folder.c_str(), attached, why, sizeof why)) throw Failure(why);
}

}  // namespace

ScratchBoard::ScratchBoard(const std::string &name) : folder_(fs::temp_directory_path() / "zelsim-XXXXXX") {
  OpenBoard board = look_at(name);
  if (mkdtemp(folder_.data()) == nullptr) throw Failure("cannot make " + folder_ + ": " + std::strerror(errno));
  try {
    copy_board(board, folder_);
    attach_copy(folder_, &attached_);
  } catch (const Failure &) {
    remove_folder();
    throw;
  }
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

#include "scratch_board.h"

#include <fcntl.h>
#include <unistd.h>

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
  if (ftruncate(to.get(), kFlashSize) != 0) fail_to("copy the board to " + folder);
  copy_image(from.get(), to.get());
  std::ofstream state(folder + kStateFile, std::ios::binary);
  state.write(reinterpret_cast<const char *>(board.attached->board), sizeof(Board)).flush();
  bool is_whole = state.good() && truncate((folder + kStateFile).c_str(), kStateFileSize) == 0;
  if (!is_whole) fail_to("copy the board to " + folder);
}

void attach_copy(const std::string &folder, Attached *attached) {
  char why[kPathMax] = "";
  if (!attach(folder.c_str(), attached, why, sizeof why)) throw Failure(why);
}

}  // namespace

ScratchBoard::ScratchBoard(const std::string &name) : folder_(fs::temp_directory_path() / "zelsim-XXXXXX") {
  OpenBoard board = look_at(name);
  if (mkdtemp(folder_.data()) == nullptr) fail_to("make " + folder_);
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

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>

#include "tool.h"

// Boards as folders. A new one is built aside and renamed into place, so that nobody meets half a board.

namespace zelsim::tool {
namespace {

namespace fs = std::filesystem;

std::string variable(const char *name) {
  const char *value = std::getenv(name);
  return value != nullptr ? value : "";
}

std::string folder_of(const std::string &name) {
  std::string around = variable("ZELSIM_BOARD_DIR");
  if (name.empty()) return around.empty() ? boards_root() + "/default" : around;
  bool plain = name.size() <= 64 && name[0] != '.' && name[0] != '-';
  for (char c : name)
    plain = plain && (std::isalnum(static_cast<unsigned char>(c)) || std::strchr("._-", c) != nullptr);
  if (!plain) throw Usage("NAME: '" + name + "' is no board's name (letters, digits, '.', '_', '-', 64 at most)");
  return boards_root() + "/" + name;
}

struct TemporaryFolder {
  std::string path = boards_root() + "/.new-XXXXXX";
  TemporaryFolder() {
    std::error_code ignored;
    fs::create_directories(boards_root(), ignored);
    if (mkdtemp(path.data()) == nullptr) throw Failure("cannot make " + path + ": " + std::strerror(errno));
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    fs::remove_all(path, ignored);
  }
};

// Power-on states of everything, and an erased flash.
void make_board_files(const fs::path &folder) {
  for (const char *file : kNodeFiles) std::ofstream(folder.native() + file).flush();
  fs::resize_file(folder.native() + kFlashFile, kFlashSize);
  auto board = std::make_unique<Board>();
  board->magic = kMagic;
  board->version = kVersion;
  board->size = sizeof(Board);
  power_on(*board);
  std::ofstream state(folder.native() + kStateFile, std::ios::binary);
  if (!state.write(reinterpret_cast<const char *>(board.get()), sizeof(Board)).flush())
    throw Failure("cannot write " + folder.native() + kStateFile + ": " + std::strerror(errno));
}

Attached attach_or_throw(const std::string &folder) {
  Attached attached;
  char error[2 * kPathMax];
  if (!attach(folder.c_str(), &attached, error, sizeof error)) throw Failure(error);
  return attached;
}

}  // namespace

std::string boards_root() {
  if (std::string home = variable("ZELSIM_HOME"); !home.empty()) return fs::absolute(home);
  if (std::string state = variable("XDG_STATE_HOME"); !state.empty()) return fs::absolute(state) / "zelsim";
  if (std::string home = variable("HOME"); !home.empty()) return fs::absolute(home) / ".local/state/zelsim";
  throw Failure("neither ZELSIM_HOME, XDG_STATE_HOME nor HOME is set");
}

OpenBoard open_board(const std::string &name) {
  std::string folder = folder_of(name), board = fs::path(folder).filename();
  if (!fs::exists(folder)) throw Failure("no board in " + folder + " (make it with: zelsim create " + board + ")");
  return {board, fs::absolute(folder), attach_or_throw(folder)};
}

Words board_names() {
  Words names;
  std::error_code none;
  for (const auto &entry : fs::directory_iterator(boards_root(), none)) {
    std::string name = entry.path().filename();
    if (name[0] != '.' && entry.is_directory()) names.push_back(name);
  }
  std::sort(names.begin(), names.end());
  return names;
}

void create_board(const std::string &name, const std::string &slots) {
  std::string target = name.empty() ? boards_root() + "/default" : folder_of(name);
  std::vector<unsigned> types;
  std::istringstream words(slots);
  for (std::string word; std::getline(words, word, ',');)
    types.push_back(choice(word, "--slots", {"none", "copper", "sfp"}));
  if (types.size() > kSlots) throw Usage("--slots: '" + slots + "' names more than 3 boards");
  TemporaryFolder fresh;
  make_board_files(fresh.path);
  Attached attached = attach_or_throw(fresh.path);
  for (unsigned slot = 0; slot < types.size(); ++slot) fit(*attached.board, slot, static_cast<uint8_t>(types[slot]));
  constexpr fs::perms kOpenToAll = fs::perms(0755);
  fs::permissions(fresh.path, kOpenToAll);
  if (std::rename(fresh.path.c_str(), target.c_str()) == 0) return;
  bool exists = errno == ENOTEMPTY || errno == EEXIST;
  throw Failure("cannot make board " + target + ": " + (exists ? "it exists already" : std::strerror(errno)));
}

void reset_board(const std::string &name, bool flash_too) {
  OpenBoard open = open_board(name);
  if (flash_too) erase_flash(name);
  Guard guard(open.board());
  power_on(open.board());
}

void delete_board(const std::string &name) {
  std::string folder = folder_of(name);
  if (!fs::exists(folder)) throw Failure("no board in " + folder);
  // Processes that still have it mapped learn from the missing magic number that it is gone. A damaged one has no
  // readers.
  Attached attached;
  char ignored[2 * kPathMax];
  if (attach(folder.c_str(), &attached, ignored, sizeof ignored)) attached.board->magic = 0;
  for (const char *file : {kStateFile, kNodeFiles[0], kNodeFiles[1], kNodeFiles[2]}) fs::remove(folder + file);
  std::error_code failed;
  fs::remove(folder, failed);
  if (failed) throw Failure("cannot remove " + folder + ": " + failed.message());
}

}  // namespace zelsim::tool

#include "boards.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <set>

#include "arguments.h"
#include "fresh_folder.h"
#include "tool.h"

// A new board is built aside and renamed into place, so that nobody meets half a board.

namespace zelsim::tool {
namespace {

namespace fs = std::filesystem;

constexpr char kDefaultBoard[] = "default";

void release(const Attached *attached) {
  detach(*attached);
  delete attached;
}

std::string name_of_board(const fs::path &folder) { return folder.filename().native(); }

std::shared_ptr<const Attached> attach_or_throw(const fs::path &folder) {
  Attached attached;
  char why[kPathMax];
  bool is_attached = attach(folder.c_str(), &attached, why, sizeof why);
  if (!is_attached) throw Failure("board " + name_of_board(folder) + " cannot be opened: " + why);
  return {new Attached(attached), release};
}

AttachedBoard attach_folder(const fs::path &folder) {
  if (!fs::exists(folder))
    throw Failure("no board " + name_of_board(folder) + " (make it with: zelsim create " + name_of_board(folder) + ")");
  return {folder, attach_or_throw(folder)};
}

OpenBoard open_folder(const fs::path &folder, Intent intent) {
  auto attached = attach_folder(folder).attached;
  if (attached->board->watch.loading[0] != '\0') {
    Guard guard(*attached->board);
    finish_loading(folder, *attached->board);
  }
  Board &board = *attached->board;
  return {folder, attached, std::make_unique<Guard>(board, intent), LoggedAct(board, intent)};
}

/** The board that this thread holds for several commands. */
struct Held {
  std::string name;
  const OpenBoard *open;  // null: none
};
thread_local Held t_held = {};

fs::path folder_of(const std::string &name) {
  std::string enclosing = variable(kBoardFolderVariable);
  if (name.empty() && !enclosing.empty()) return fs::absolute(enclosing);
  std::string wanted = name.empty() ? kDefaultBoard : name;
  check_name(wanted);
  remove_ownerless_folders(boards_root());
  return boards_root() / wanted;
}

// Power-on states of everything, and an erased flash.
void make_board_files(const std::string &folder) {
  for (const NodeDescription &node : kNodes) std::ofstream(folder + node.file).flush();
  fs::resize_file(folder + kFlashFile, kFlashSize);
  auto board = std::make_unique<Board>();
  board->magic = kMagic;
  board->version = kVersion;
  board->size = sizeof(Board);
  power_on(*board);
  std::ofstream state(folder + kStateFile, std::ios::binary);
  state.write(reinterpret_cast<const char *>(board.get()), sizeof(Board)).flush();
  if (!state) fail_to("write " + folder + kStateFile);
  fs::resize_file(folder + kStateFile, kStateFileSize);
}

// Fails if the folder is there already.
std::error_code make_folder(const fs::path &folder, const Preparation &prepare) {
  FreshFolder fresh(boards_root());
  make_board_files(fresh.path());
  std::shared_ptr<const Attached> attached = attach_or_throw(fresh.path());
  prepare(*attached, fresh.path());
  fs::permissions(fresh.path(), fs::perms(0755));
  std::error_code failed;
  fs::rename(fresh.path(), folder, failed);
  return failed;
}

[[noreturn]] void fail_to_make(const fs::path &folder, const std::string &why) {
  throw Failure("cannot make board " + name_of_board(folder) + ": " + why);
}

// A process that still has the board mapped sees by the missing magic number that the board is gone.
void mark_deleted(const fs::path &folder) {
  try {
    std::shared_ptr<const Attached> attached = attach_or_throw(folder);
    attached->board->magic = 0;
    announce_change(*attached->board);
  } catch (const Failure &) {  // nobody has a damaged board mapped
  }
}

Json board_row(const std::string &name) {
  Json row = {{"board", name}};
  auto key_of = [](unsigned slot) { return "slot_" + std::to_string(slot + 1); };
  for (unsigned slot = 0; slot < kSlots; ++slot) row[key_of(slot)] = nullptr;
  try {
    OpenBoard board = open_folder(boards_root() / name, Intent::Look);
    for (unsigned slot = 0; slot < kSlots; ++slot) row[key_of(slot)] = board_type(*board, slot);
  } catch (const std::runtime_error &) {  // a damaged board, or another folder, is listed without its slots
  }
  return row;
}

}  // namespace

void check_name(const std::string &name, const std::string &argument) {
  constexpr char kPlain[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_.-";
  constexpr size_t kLongest = 64;
  bool good_size = !name.empty() && name.size() <= kLongest;
  bool good_start = !name.starts_with('.') && !name.starts_with('-');
  bool plain = name.find_first_not_of(kPlain) == std::string::npos;
  if (good_size && good_start && plain) return;
  std::string what = argument == "NAME" ? "board's name" : "name";
  throw Usage(argument + ": '" + name + "' is no " + what + " (letters, digits, '.', '_', '-', 64 at most)");
}

fs::path boards_root() {
  if (std::string home = variable("ZELSIM_HOME"); !home.empty()) return fs::absolute(home);
  if (std::string state = variable("XDG_STATE_HOME"); !state.empty()) return fs::absolute(state) / "zelsim";
  if (std::string home = variable("HOME"); !home.empty()) return fs::absolute(home) / ".local/state/zelsim";
  throw Failure("neither ZELSIM_HOME, XDG_STATE_HOME nor HOME is set");
}

AttachedBoard attach_board(const std::string &name) { return attach_folder(folder_of(name)); }

OpenBoard open_board(const std::string &name, Intent intent) {
  bool is_held = t_held.open != nullptr && t_held.name == name;
  if (!is_held) return open_folder(folder_of(name), intent);
  const OpenBoard &held = *t_held.open;
  // The holder has the lock, and logs all that is done as one act: this part of it logs nothing.
  return {held.folder, held.attached, nullptr, LoggedAct(*held, Intent::Look)};
}

HeldBoard::HeldBoard(const std::string &name) : open_(open_board(name)) { t_held = {name, &open_}; }

HeldBoard::~HeldBoard() { t_held = {}; }

OpenBoard open_or_make_board(const std::string &name) {
  fs::path folder = folder_of(name);
  if (!fs::exists(folder)) {
    if (!name.empty()) std::fprintf(stderr, "zelsim: makes board '%s', which was missing\n", name.c_str());
    std::error_code failed = make_folder(folder, [](const Attached &, const std::string &) {});
    bool was_another_first = failed && fs::exists(folder);
    if (failed && !was_another_first) fail_to_make(folder, failed.message());
  }
  return open_folder(folder, Intent::Change);
}

std::string board_type(const Board &board, unsigned slot) {
  uint8_t type = std::min(board.i2c.slot_type[slot], kSfpBoard);  // any other value is a board with cages
  return name_of(kBoardTypes, type);
}

// What cannot be looked at, such as a link to itself, is no board.
Words board_names() {
  std::error_code none;
  std::set<fs::path> sorted;
  fs::directory_iterator end;
  for (fs::directory_iterator entry(boards_root(), none); entry != end; entry.increment(none))
    sorted.insert(entry->path());
  Words names;
  for (const fs::path &folder : sorted) {
    std::string name = folder.filename();
    if (!name.starts_with('.') && fs::is_directory(folder, none)) names.push_back(name);
  }
  return names;
}

Json boards_document(const CommandLine &) {
  remove_ownerless_folders(boards_root());
  Json boards = Json::array();
  for (const std::string &name : board_names()) boards.push_back(board_row(name));
  return {{"root", boards_root().native()}, {"boards", boards}};
}

fs::path make_board(const std::string &name, const Preparation &prepare) {
  fs::path folder = folder_of(name.empty() ? kDefaultBoard : name);
  std::error_code failed = make_folder(folder, prepare);
  if (!failed) return folder;
  fail_to_make(folder, fs::exists(folder) ? "it exists already" : failed.message());
}

void create_board(const CommandLine &line) {
  if (!line.from.empty()) {
    create_twin(line);
    return;
  }
  Words slots = split(line.slots, ',');
  if (slots.size() > kSlots)
    throw Usage("--slots: '" + line.slots + "' names more than " + std::to_string(kSlots) + " boards");
  make_board(line.name(), [&](const Attached &attached, const std::string &) {
    for (unsigned slot = 0; slot < slots.size(); ++slot) {
      unsigned type = parse_choice(slots[slot], "--slots", kBoardTypes);
      fit(*attached.board, slot, static_cast<uint8_t>(type));
      attached.board->made_slots[slot] = static_cast<uint8_t>(type);
    }
  });
}

void reset_board(const CommandLine &line) {
  OpenBoard board = open_board(line.name());
  if (line.flash) erase_all(board);
  power_on(*board);
  for (unsigned slot = 0; slot < kSlots; ++slot) fit(*board, slot, board->made_slots[slot]);
}

void delete_board(const CommandLine &line) {
  fs::path folder = folder_of(line.name());
  if (!fs::exists(folder)) throw Failure("no board " + name_of_board(folder));
  mark_deleted(folder);
  fs::remove_all(folder / kStatesFolder);
  fs::remove(folder.native() + kStateFile);
  for (const NodeDescription &node : kNodes) fs::remove(folder.native() + node.file);
  fs::remove(folder);
}

}  // namespace zelsim::tool

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fstream>
#include <set>
#include <thread>

#include "diagnostics.h"
#include "fresh_folder.h"
#include "image_file.h"
#include "nodes.h"
#include "rules.h"
#include "saved_state.h"
#include "shared_mutex.h"
#include "strays.h"
#include "system_calls.h"
#include "tool.h"

// Saved states: copies of the board's state and flash, under names, in a folder of the board. A state is copied while no
// program is in a request. There is never half a state: a new one is made aside and renamed. If the loading of a state
// is interrupted, the next command that opens the board loads the state again; so does one that saves the board or
// forgets this state.

namespace zelsim::tool {
namespace {

namespace fs = std::filesystem;

fs::path states_of(const fs::path &folder) { return folder / kStatesFolder; }

/** The board of the command. Removes what killed commands have left among its states. */
AttachedBoard board_with_states(const std::string &name) {
  AttachedBoard board = attach_board(name);
  remove_ownerless_folders(states_of(board.folder));
  return board;
}

/** NAME[NUMBER] of a process. */
std::string program_of(uint32_t process) {
  std::string number = std::to_string(process);
  std::string name;
  std::ifstream file("/proc/" + number + "/comm");
  if (!std::getline(file, name)) return "process " + number;
  return name + '[' + number + ']';
}

/** Holds the board while no program is in a request. Fails if a request takes long. */
class Quiet {
 public:
  explicit Quiet(Board &board) : board_(board) {
    constexpr std::chrono::milliseconds kPause(1);
    lock();
    uint32_t user = flash_user();
    while (user != 0) {
      pthread_mutex_unlock(&board_.mutex);
      bool is_late = std::chrono::steady_clock::now() >= end_;
      if (is_late) throw Failure(program_of(user) + " is in a request: try again when it is done");
      std::this_thread::sleep_for(kPause);
      lock();
      user = flash_user();
    }
  }
  ~Quiet() {
    latch_flags(board_);
    announce_change(board_);
    pthread_mutex_unlock(&board_.mutex);
  }
  Quiet(const Quiet &) = delete;
  Quiet &operator=(const Quiet &) = delete;

 private:
  void lock() {
    int locked = lock_shared_mutex(board_.mutex, end_);
    if (locked == EOWNERDEAD) {
      recover_lock(board_);
    } else if (locked != 0) {
      throw Failure("a program is in a request: try again when it is done");
    }
  }

  /** A process in a long write or an erase, which leaves the lock free now and then. 0: none. */
  uint32_t flash_user() const {
    for (uint32_t user : board_.watch.flash_users) {
      if (user != 0 && lives(user)) return user;
    }
    return 0;
  }

  static constexpr std::chrono::seconds kPatience{2};  // a sector erase in the chip's time takes 0.7 s

  Board &board_;
  std::chrono::steady_clock::time_point end_ = std::chrono::steady_clock::now() + kPatience;
};

Failure damaged_state(const fs::path &folder) {
  return Failure("STATE: '" + folder.filename().native() + "' was saved by another zelsim or is damaged");
}

}  // namespace

std::unique_ptr<Board> read_state(const fs::path &folder) {
  auto saved = std::make_unique<Board>();
  std::ifstream file(folder.native() + kStateFile, std::ios::binary);
  file.read(reinterpret_cast<char *>(saved.get()), sizeof(Board));
  bool whole = file.gcount() == sizeof(Board) && saved->magic == kMagic && saved->version == kVersion;
  if (!whole) throw damaged_state(folder);
  return saved;
}

namespace {

void write_state(const Board &board, const std::string &file) {
  auto saved = std::make_unique<Board>();
  saved->magic = kMagic;
  saved->version = kVersion;
  saved->size = sizeof(Board);
  copy_saved_part(board, *saved);
  std::ofstream state(file, std::ios::binary);
  state.write(reinterpret_cast<const char *>(saved.get()), sizeof(Board)).flush();
  if (!state) fail_to("write " + file);
}

/** Renames a fresh folder. If another one has the name already, the two exchange their names. */
void put_in_place(const std::string &fresh, const fs::path &place) {
  if (!fs::exists(place)) {
    fs::rename(fresh, place);
    return;
  }
  bool exchanged = renameat2(AT_FDCWD, fresh.c_str(), AT_FDCWD, place.c_str(), RENAME_EXCHANGE) == 0;
  if (exchanged) return;
  fs::remove_all(place);
  fs::rename(fresh, place);
}

/** Loads a state into a board, whose lock is held. */
void apply(const fs::path &folder, Board &board, const std::string &name) {
  fs::path place = states_of(folder) / name;
  std::unique_ptr<Board> saved = read_state(place);
  sys::File from(open_file(place.native() + kFlashFile, O_RDONLY));
  bool has_whole_flash = lseek(from.get(), 0, SEEK_END) == off_t{kFlashSize};
  if (!has_whole_flash) throw damaged_state(place);
  sys::File to(open_file(folder.native() + kFlashFile, O_RDWR));
  take_room_for(from.get(), to.get());
  std::memset(board.watch.loading, 0, sizeof board.watch.loading);
  std::memcpy(board.watch.loading, name.data(), name.size());
  copy_image(from.get(), to.get());
  uint32_t last_rule = std::max(board.last_rule, saved->last_rule);  // numbers are never used again
  copy_saved_part(*saved, board);
  board.last_rule = last_rule;
  ++board.watch.reflashed;
  board.watch.loading[0] = '\0';
}

/** The state whose loading has begun and not ended; empty if there is none. */
std::string state_in_loading(const Board &board) {
  const char *name = board.watch.loading;
  return {name, strnlen(name, sizeof board.watch.loading)};
}

void check_state(const fs::path &folder, const std::string &name) {
  check_name(name, "STATE");
  if (!fs::exists(states_of(folder) / name))
    throw Failure("STATE: no state '" + name + "' has been saved (zelsim states lists them)");
}

// Null for a folder that is no saved state.
Json state_row(const fs::path &place) {
  constexpr blkcnt_t kBlockSize = 512;  // of st_blocks
  std::string name = place.filename();
  if (name.starts_with('.')) return {};
  struct stat state = {};
  bool has_state = stat((place.native() + kStateFile).c_str(), &state) == 0;
  if (!has_state) return {};
  struct stat image = {};
  stat((place.native() + kFlashFile).c_str(), &image);
  return {{"state", name}, {"saved", time_text(state.st_mtime)}, {"flash_on_disk", image.st_blocks * kBlockSize}};
}

}  // namespace

void copy_saved_part(const Board &from, Board &to) {
  constexpr size_t kBegin = offsetof(Board, gpio);
  constexpr size_t kEnd = offsetof(Board, watch);
  const auto *source = reinterpret_cast<const uint8_t *>(&from);
  auto *target = reinterpret_cast<uint8_t *>(&to);
  std::memcpy(target + kBegin, source + kBegin, kEnd - kBegin);
}

void save_state(const CommandLine &line) {
  check_name(line.words[0], "STATE");
  auto [folder, attached] = board_with_states(line.board);
  FreshFolder fresh(states_of(folder));
  sys::File from(open_file(folder.native() + kFlashFile, O_RDONLY));
  sys::File to(open_file(fresh.path() + kFlashFile, O_RDWR | O_CREAT));
  if (ftruncate(to.get(), kFlashSize) != 0) fail_to("write the flash image");
  {
    Quiet quiet(*attached->board);
    finish_loading(folder, *attached->board);
    copy_image(from.get(), to.get());
    write_state(*attached->board, fresh.path() + kStateFile);
  }
  put_in_place(fresh.path(), states_of(folder) / line.words[0]);
}

void load_state(const CommandLine &line) {
  auto [folder, attached] = board_with_states(line.board);
  check_state(folder, line.words[0]);
  Quiet quiet(*attached->board);
  LoggedAct act(*attached->board, Intent::Change);
  apply(folder, *attached->board, line.words[0]);
}

void forget_state(const CommandLine &line) {
  auto [folder, attached] = board_with_states(line.board);
  const std::string &name = line.words[0];
  check_state(folder, name);
  // Another state can be forgotten without room for the one that is being loaded.
  bool is_half_loaded = state_in_loading(*attached->board) == name;
  if (is_half_loaded) {
    Quiet quiet(*attached->board);
    finish_loading(folder, *attached->board);
  }
  fs::remove_all(states_of(folder) / name);
}

void finish_loading(const std::filesystem::path &folder, Board &board) {
  std::string name = state_in_loading(board);
  if (name.empty()) return;
  bool is_there = fs::exists(states_of(folder) / name);
  if (is_there) apply(folder, board, name);
  board.watch.loading[0] = '\0';
}

Json states_document(const CommandLine &line) {
  auto [folder, attached] = board_with_states(line.board);
  Json states = Json::array();
  std::error_code none;
  fs::directory_iterator entries(states_of(folder), none);
  std::set<fs::path> sorted;
  for (const fs::directory_entry &entry : entries) sorted.insert(entry.path());
  for (const fs::path &place : sorted) {
    Json row = state_row(place);
    if (!row.is_null()) states.push_back(row);
  }
  return {{"states", states}};
}

}  // namespace zelsim::tool

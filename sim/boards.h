#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "attached.h"

// Boards as folders.

namespace zelsim::tool {

/** Logs the act of this thread: when this ends, it writes what has changed since it began into the board's log. It logs
 *  nothing outside of `perform` and `perform_together`, and nothing if the command fails. It lives while the board is
 *  locked, so that no change of a program comes between the act and its entry. */
class LoggedAct {
 public:
  LoggedAct(Board &board, Intent intent);
  ~LoggedAct();
  LoggedAct(const LoggedAct &) = delete;
  LoggedAct &operator=(const LoggedAct &) = delete;

 private:
  Board &board_;
  bool is_logged_;
  int exceptions_;                 // that were on their way at the beginning
  std::unique_ptr<Board> before_;  // null unless it is logged
};

/** A board, locked for as long as this lives. */
struct OpenBoard {
  std::filesystem::path folder;
  std::shared_ptr<const Attached> attached;
  // The last member is destroyed first: the act is logged, then the lock ends, then the mapping.
  std::unique_ptr<Guard> guard;  // null: this thread holds the board already
  LoggedAct act;
  Board &operator*() const { return *attached->board; }
  Board *operator->() const { return attached->board; }
};

/** Throws Usage for a text that cannot be a name of a board, or of another thing that `argument` stands for. */
void check_name(const std::string &name, const std::string &argument = "NAME");

/** The folder of all boards. */
std::filesystem::path boards_root();

/** The names of all boards, sorted. */
std::vector<std::string> board_names();

/** Opens a board by its name. An empty name is the board of the enclosing `zelsim run`, or else the board `default`. */
OpenBoard open_board(const std::string &name, Intent intent = Intent::Change);
/** The same for a caller that changes nothing. */
inline OpenBoard look_at(const std::string &name) { return open_board(name, Intent::Look); }
/** Locks a board for several commands of this thread, which open it by the same name. Nobody sees it between them. */
class HeldBoard {
 public:
  explicit HeldBoard(const std::string &name);
  ~HeldBoard();
  HeldBoard(const HeldBoard &) = delete;
  HeldBoard &operator=(const HeldBoard &) = delete;
  Board &operator*() const { return *open_; }
  Board *operator->() const { return &*open_; }

 private:
  OpenBoard open_;
};
/** Opens a board; makes it first if it is missing. */
OpenBoard open_or_make_board(const std::string &name);

/** A board that is not locked. */
struct AttachedBoard {
  std::filesystem::path folder;
  std::shared_ptr<const Attached> attached;
};
AttachedBoard attach_board(const std::string &name);

/** The folder of the saved states, in a board's folder. */
constexpr char kStatesFolder[] = "states";
/** Copies the part of a board that is saved: everything but what belongs to the processes that are on the board. */
void copy_saved_part(const Board &from, Board &to);
/** If the loading of a state was interrupted, loads the state again. The caller holds the board's lock. */
void finish_loading(const std::filesystem::path &folder, Board &board);
/** A function that prepares a new board, before anybody else sees it. `folder` has the board's files. */
using Preparation = std::function<void(const Attached &attached, const std::string &folder)>;
/** Makes a board; an empty name is the board `default`. Returns its folder. */
std::filesystem::path make_board(const std::string &name, const Preparation &prepare);

/** Names of the board types by the numbers that the I2C driver gives them: kNoBoard, kCopperBoard, kSfpBoard. */
constexpr char kBoardTypes[] = "none|copper|sfp";
/** Name of the type that is fitted in slot index 0 to 2. */
std::string board_type(const Board &board, unsigned slot);
/** Names of the types of a power supply, in the order of Supply. */
constexpr char kSupplyTypes[] = "none|ac|dc";
constexpr char kSupplyTitles[] = "none|AC|DC";  // the same, for people

}  // namespace zelsim::tool

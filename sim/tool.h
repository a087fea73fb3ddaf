#pragma once

#include <array>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "board.h"

// What the commands of zelsim share. A command is a function that does its work or throws one of the two errors below;
// the command line itself is parsed in zelsim.cpp alone.

namespace zelsim::tool {

/** A wrong argument, named in the text: exit status 2. */
struct Usage : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/** Anything else that cannot be done: exit status 1. */
struct Failure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

using Words = std::vector<std::string>;

/** A decimal or 0x number in a range; throws Usage naming `argument`. */
uint32_t number(const std::string &text, const std::string &argument, uint32_t lowest, uint32_t highest);
/** Index of `text` among `names`; throws Usage naming `argument` and listing the names. */
unsigned choice(const std::string &text, const std::string &argument, const Words &names);
inline unsigned port_number(const std::string &text) { return number(text, "PORT", 0, kPorts - 1); }

struct OpenBoard {
  std::string name, folder;
  Attached attached;
  Board &board() const { return *attached.board; }
};

/** Folder of all boards; a board by its name, where an empty name is the board of the `zelsim run` around us, else the
 *  one  called default. */
std::string boards_root();
OpenBoard open_board(const std::string &name);
Words board_names();
/** `slots` as "sfp,copper,none", or empty. */
void create_board(const std::string &name, const std::string &slots);
void reset_board(const std::string &name, bool flash_too);
void delete_board(const std::string &name);

struct RunOptions {
  bool fast = false, trace_opens = false, chip_times = false;
  std::string trace;
};

/** Becomes the program, on a board that is made when missing; comes back only as an exception. */
void run(const std::string &board, const RunOptions &options, const Words &program);

/** Applies `zelsim set NAME VALUE...`. */
void set(const std::string &board, const std::string &name, const Words &values);
std::string settings_help();
void fit_slot(const std::string &board, const std::string &slot, const std::string &type);
void plug_module(const std::string &board, const std::string &port, const std::string &module);
void unplug_module(const std::string &board, const std::string &port);

using Page = std::array<uint8_t, 256>;

struct Module {
  std::string name;
  Page page;
  PhyKind phy;
};

std::vector<Module> catalogue();
/** A module's page from a file of raw bytes or a hex dump. */
Page read_page(const std::string &file);

struct FaultOptions {
  std::string target, result;
  uint32_t count = 0, skip = 0;
};

void add_fault(const std::string &board, const FaultOptions &options);
void list_faults(const std::string &board);
void heal_board(const std::string &board);

void load_flash(const std::string &board, const std::string &file);
void save_flash(const std::string &board, const std::string &file);
void erase_flash(const std::string &board);

void show_board(const std::string &board, bool json);
void show_boards(bool json);
void show_flash(const std::string &board, bool json);
void show_modules(bool json);

}  // namespace zelsim::tool

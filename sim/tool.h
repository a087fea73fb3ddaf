#pragma once

#include <CLI/Error.hpp>
#include <array>
#include <memory>

#include "../cli/file.h"
#include "../cli/output.h"
#include "../cli/program.h"
#include "board.h"

// What the commands of zelsim share. A command is a function that does its work or throws Usage or Failure; the
// command line itself is parsed in zelsim.cpp alone.

namespace zelsim::tool {

/** A wrong argument, named in the text: exit status 2. */
using Usage = CLI::ValidationError;

using Words = std::vector<std::string>;
using Values = std::vector<uint32_t>;

/** What the command line says. */
struct Line {
  std::string board;
  Words words = {};    // arguments that are no options
  Values values = {};  // what they stand for
  std::string slots = {}, result = {}, count = "0", skip = "0", region = {};
  std::string port = "8080", listen = "127.0.0.1", token = {};
  std::optional<std::string> svg = {}, trace = {};  // an empty trace goes to standard error
  bool json = false, flash = false, list = false, requests = false, fast = false, trace_opens = false,
       chip_times = false;
  const std::string &name() const { return words.empty() ? board : words[0]; }
};

using Command = void(const Line &line);
Command create_board, reset_board, delete_board, plug_module, load_flash, save_flash, erase_flash, get_value,
    draw_panel, fail, heal_board;

/** What the commands that show something print. */
using Document = Json(const Line &line);
Document boards_document, board_document, flash_document, faults_document, modules_document, requests_document;
template <Document *Shown>
void show(const Line &line) {
  print(Shown(line), line.json);
}
/** A rule, with the target as `zelsim fail` takes it; null for a free or damaged row. */
Json fault_document(const FaultRule &rule);
/** The front panel as it looks now, as SVG. */
std::string panel_picture(const Board &board);

/** Becomes the program, on a board that is made when missing, or the web server; comes back only as an exception. */
Command run, serve;

/** A command on the command line. */
struct Row {
  const char *name, *arguments, *what;  // arguments are NAME or NAME=WORD|WORD; with ? before it, one may be missing
  Command *run;                         // null: a group of commands
  const char *example = nullptr;        // null: made of the arguments
  bool shows = false;                   // something, which can be JSON
};
/** What a person or the world does to a switch. */
std::span<const Row> world_commands();

/** An argument of commands, by its name: what it is, and an example. */
struct Argument {
  const char *name, *values, *what, *example;
  uint32_t lowest = 0, highest = 0;  // of a number
};
const Argument &argument_of(const std::string &name);
/** Number that `text` stands for as argument NAME or NAME=WORD|WORD, 0 for a mere text; throws Usage. */
uint32_t value_of(const std::string &argument, const std::string &text);
/** A decimal or 0x number in a range; throws Usage naming `argument`. */
uint32_t number(const std::string &text, const std::string &argument, uint32_t lowest, uint32_t highest);
/** Index of `text` in a list "name|name"; throws Usage naming `argument` and listing the names. */
unsigned choice(const std::string &text, const std::string &argument, const std::string &names);

/** A board, locked for as long as this lives. */
struct OpenBoard {
  std::filesystem::path folder;
  std::shared_ptr<const Attached> attached;
  Guard guard;
  Board &operator*() const { return *attached->board; }
  Board *operator->() const { return attached->board; }
};

/** Start and size of a region by its name or as START+SIZE; of the whole flash without either. */
std::pair<uint32_t, uint32_t> flash_range(const std::string &region);

/** Throws Usage for what cannot be a board's name. */
void check_name(const std::string &name);
/** Folder of all boards; a board by its name, where an empty name is the board of the `zelsim run` around us, else the
 *  one called default. */
std::filesystem::path boards_root();
OpenBoard open_board(const std::string &name, bool make_missing = false, Intent intent = Intent::Change);
/** The same for those who change nothing. */
inline OpenBoard look_at(const std::string &name) { return open_board(name, false, Intent::Look); }
/** Where the parts of zelsim are. */
std::filesystem::path library_folder();

/** By the numbers that the I2C driver gives them. */
constexpr char kBoardTypes[] = "none|copper|sfp";
/** Name of the type that is fitted in slot index 0 to 2; the one behind them is the main board. */
std::string board_type(const Board &board, unsigned slot);

/** From Effect::Refused. */
constexpr char kEffects[] = "refused|busy|closed|killed";
constexpr unsigned kFirstEffect = static_cast<unsigned>(Effect::Refused);

using Page = std::array<uint8_t, 256>;

struct Module {
  std::string name;
  Page page;
  PhyKind phy;
};

std::vector<Module> catalogue();
/** A module's page from a file of raw bytes or a hex dump. */
Page read_page(const std::string &file);

}  // namespace zelsim::tool

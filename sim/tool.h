#pragma once

#include <CLI/Error.hpp>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "../cli/file.h"
#include "../cli/output.h"
#include "../cli/program.h"
#include "board.h"
#include "boards.h"

// The commands of zelsim. A command is a function that does its work or throws Usage or Failure. It gets a command line
// that zelsim.cpp and command_options.cpp have parsed.

namespace zelsim::tool {

/** A wrong argument, named in the text: exit status 2. */
using Usage = CLI::ValidationError;

using Words = std::vector<std::string>;
using Values = std::vector<uint32_t>;

/** A command line, after it was parsed. */
struct CommandLine {
  std::string board;
  Words words = {};    // arguments that are no options
  Values values = {};  // the numbers that they mean
  std::string slots = {};
  std::string result = {};
  std::string count = {};
  std::string skip = "0";
  std::string probability = {};
  std::string seed = "0";
  std::string region = {};
  std::string port = "8080";
  std::string listen = "127.0.0.1";
  std::string token = {};
  std::string token_file = {};
  Words hosts = {};
  std::string output = {};
  std::string replay = {};  // a recording
  std::string from = {};    // a report
  std::string format = {};
  std::optional<std::string> svg = {};
  std::optional<std::string> trace = {};  // a file; empty: standard error
  bool json = false;
  bool flash = false;
  bool list = false;
  bool requests = false;
  bool fast = false;
  bool trace_opens = false;
  bool trace_times = false;
  bool chip_times = false;

  /** The board that a command such as `create` names as its argument or by --board. */
  const std::string &name() const { return words.empty() ? board : words[0]; }
};

/** The type of a command's function. */
using Command = void(const CommandLine &line);

// states.cpp
void save_state(const CommandLine &line);
void load_state(const CommandLine &line);
void forget_state(const CommandLine &line);
// boards.cpp
void create_board(const CommandLine &line);
void reset_board(const CommandLine &line);
void delete_board(const CommandLine &line);
// flash_image.cpp
void load_flash(const CommandLine &line);
void save_flash(const CommandLine &line);
void erase_flash(const CommandLine &line);
/** Erases the whole flash of a board that the caller holds. */
void erase_all(OpenBoard &board);
// modules.cpp
void plug_module(const CommandLine &line);
// faults.cpp
void fail(const CommandLine &line);
void heal_board(const CommandLine &line);
// get.cpp
void get_value(const CommandLine &line);
// panel.cpp
void draw_panel(const CommandLine &line);
// batch.cpp
void batch(const CommandLine &line);
// scenario.cpp
void play(const CommandLine &line);
// launch.cpp, serve.cpp: zelsim becomes another program, on a board that is made if it is missing. They never return.
void run(const CommandLine &line);
void serve(const CommandLine &line);
// record.cpp, replay.cpp: they end zelsim as the program ended, and never return.
void record_program(const CommandLine &line);
void replay_recording(const CommandLine &line);
// verify.cpp
void verify_model(const CommandLine &line);
// export.cpp
void export_recording(const CommandLine &line);
// twin.cpp
void create_twin(const CommandLine &line);

enum class Perform : uint8_t { Do, Check };
/** Does a command line, or only checks it.
 *  @param words  the words behind the program's name
 *  @return the exit status; a line on stderr says what went wrong */
int execute(const Words &words, Perform how = Perform::Do);
/** True for the name of a command that does not return to its caller, or reads the caller's input. */
inline bool takes_the_process(const std::string &command) {
  return command == "run" || command == "record" || command == "serve" || command == "batch";
}

/** The type of a function that gathers what a command prints. */
using Document = Json(const CommandLine &line);
Json boards_document(const CommandLine &line);
Json board_document(const CommandLine &line);
Json flash_document(const CommandLine &line);
Json faults_document(const CommandLine &line);
Json modules_document(const CommandLine &line);
Json requests_document(const CommandLine &line);
Json states_document(const CommandLine &line);

/** Seconds since 1970 as 2024-02-29T12:00:00. */
std::string time_text(int64_t seconds);

/** Counters of the flash as a whole. */
Json flash_counters(const Flash &flash);

template <Document *Shown>
void show(const CommandLine &line) {
  print(Shown(line), line.json);
}

/** A command on the command line. */
struct CommandRow {
  const char *name;
  const char *arguments;  // NAME or NAME=WORD|WORD, separated by blanks; a ? before one that may be missing
  const char *what;
  Command *run;                   // null: a group of commands
  const char *example = nullptr;  // null: made of the arguments
  bool shows = false;             // prints data, which can be JSON
  const char *alias = nullptr;    // another accepted name; in a group: another last word
  bool undo = true;               // other commands can undo it
  bool logged = false;            // is told as an act, though it is no world command
  bool names_board = false;       // its argument is the board
};

/** The commands that do what a person or the world does to a switch. */
std::span<const CommandRow> world_commands();
/** The row with this name or alias; null if there is none. */
const CommandRow *world_command(const std::string &name);

/** The front panel as it looks now, as SVG. */
std::string panel_picture(const Board &board);

}  // namespace zelsim::tool

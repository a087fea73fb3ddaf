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

// The commands of zelsim. A command is a function that does its work or throws Usage or Failure. The command line itself
// is parsed in zelsim.cpp alone.

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
  std::string count = "0";
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

/** The type of a command's function. It declares the functions here. */
using Command = void(const CommandLine &line);

// states.cpp
Command save_state;
Command load_state;
Command forget_state;
// boards.cpp
Command create_board;
Command reset_board;
Command delete_board;
// flash_image.cpp
Command load_flash;
Command save_flash;
Command erase_flash;
// modules.cpp
Command plug_module;
// faults.cpp
Command fail;
Command heal_board;
// get.cpp
Command get_value;
// panel.cpp
Command draw_panel;
// batch.cpp
Command batch;
// scenario.cpp
Command play;
// launch.cpp, serve.cpp: zelsim becomes another program, on a board that is made if it is missing. They never return.
Command run;
Command serve;
// record.cpp, replay.cpp: they end zelsim as the program ended, and never return.
Command record_program;
Command replay_recording;
// verify.cpp
Command verify_model;
// export.cpp
Command export_recording;
// twin.cpp
Command create_twin;

enum class Perform : uint8_t { Do, Check };
/** Does a command line, or only checks it.
 *  @param words  the words behind the program's name
 *  @return the exit status; a line on stderr says what went wrong */
int execute(const Words &words, Perform how = Perform::Do);
/** True for the name of a command that does not return to its caller, or reads the caller's input. */
inline bool takes_the_process(const std::string &command) {
  return command == "run" || command == "record" || command == "serve" || command == "batch";
}

/** The type of a function that gathers what a command prints. It declares the functions here. */
using Document = Json(const CommandLine &line);
Document boards_document;
Document board_document;
Document flash_document;
Document faults_document;
Document modules_document;
Document requests_document;
Document states_document;

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
};

/** The commands that do what a person or the world does to a switch. */
std::span<const CommandRow> world_commands();
/** The row with this name or alias; null if there is none. */
const CommandRow *world_command(const std::string &name);

/** The front panel as it looks now, as SVG. */
std::string panel_picture(const Board &board);

}  // namespace zelsim::tool

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

/** What the command line says. */
struct CommandLine {
  std::string board;
  Words words = {};    // arguments that are no options
  Values values = {};  // what they stand for
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
  std::optional<std::string> trace = {};  // an empty one goes to standard error
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
// launch.cpp: becomes another program, on a board that is made when missing. Comes back only as an exception.
Command run;
Command serve;
// record.cpp, replay.cpp: end as the program ends
Command record_program;
Command replay_recording;
// verify.cpp
Command verify_model;
// export.cpp
Command export_recording;
// twin.cpp: makes a board like the one of a report
Command create_twin;

enum class Perform : uint8_t { Do, Check };
/** Does what a command line says, given as its words behind the program's name, or only checks that it is one.
 *  @return the exit status; what went wrong stands on stderr */
int execute(const Words &words, Perform how = Perform::Do);

/** What the commands that show something print. */
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
  const char *arguments;  // NAME or NAME=WORD|WORD, separated by blanks; behind a ? one may be missing
  const char *what;
  Command *run;                   // null: a group of commands
  const char *example = nullptr;  // null: made of the arguments
  bool shows = false;             // prints data, which can be JSON
  const char *alias = nullptr;    // another accepted name; of a command in a group its last word
  bool undo = true;               // other commands can undo it
};

/** What a person or the world does to a switch. */
std::span<const CommandRow> world_commands();
/** The row with this name or alias; null if there is none. */
const CommandRow *world_command(const std::string &name);

/** The front panel as it looks now, as SVG. */
std::string panel_picture(const Board &board);

}  // namespace zelsim::tool

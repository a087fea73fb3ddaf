// The commands of zelsim, and how a command line becomes one of them. The functions of tool.h do the work.
#include <algorithm>
#include <span>

#include "acts.h"
#include "command_options.h"
#include "tool.h"

namespace {

using namespace zelsim::tool;

constexpr CommandRow kOwnCommands[] = {
    {.name = "run",
     .arguments = "",
     .what = "Run a program on a board; a missing board is made: zelsim run [OPTIONS] -- PROGRAM [ARG ...]",
     .run = run,
     .example = "run --fast --trace -- zelctl ports"},
    {.name = "record",
     .arguments = "",
     .what = "Write down a program's driver calls: zelsim record [OPTIONS] -o FILE -- PROGRAM [ARG ...]",
     .run = record_program,
     .example = "record -o ports.rec -- zelctl ports"},
    {.name = "verify",
     .arguments = "FILE",
     .what = "Compare a recording with what the virtual switch answers",
     .run = verify_model,
     .example = "verify ports.rec --board lab",
     .shows = true},
    {.name = "trace",
     .arguments = "FILE",
     .what = "Show a recording as a trace, or for Wireshark or Perfetto",
     .run = export_recording,
     .example = "trace --format pcapng ports.rec >ports.pcapng"},
    {.name = "batch",
     .arguments = "",
     .what = "Do command lines, one JSON line each, until the input ends: for test kits",
     .run = batch,
     .example = "batch <commands"},
    {.name = "play",
     .arguments = "FILE",
     .what = "Do what a scenario says: lines of a time in seconds and a command of zelsim",
     .run = play,
     .example = "play --board lab brownout.scenario"},
    {.name = "serve",
     .arguments = "?NAME",
     .what = "Show a board, or all boards, in a browser; a missing board is made",
     .run = serve,
     .example = "serve lab --port 8080"},
    {.name = "create",
     .arguments = "?NAME",
     .what = "Make a board: empty slots, two good AC supplies, 25 C, clock at host's UTC, erased flash",
     .run = create_board,
     .example = "create lab --slots sfp,copper,none"},
    {.name = "delete",
     .arguments = "?NAME",
     .what = "Remove a board and its flash",
     .run = delete_board,
     .example = "delete lab"},
    {.name = "list",
     .arguments = "",
     .what = "List the boards",
     .run = show<boards_document>,
     .example = "list --json",
     .shows = true},
    {.name = "show",
     .arguments = "",
     .what = "Show everything about a board",
     .run = show<board_document>,
     .example = "show --board lab",
     .shows = true},
    {.name = "get",
     .arguments = "PATH",
     .what = "Show one value of what 'show' shows",
     .run = get_value,
     .example = "get panel.alarm\n  zelsim get cages.5.module",
     .shows = true},
    {.name = "panel",
     .arguments = "",
     .what = "Draw the front panel in the terminal, or as a picture",
     .run = draw_panel,
     .example = "panel --svg panel.svg"},
    {.name = "modules",
     .arguments = "",
     .what = "List the catalogue of modules",
     .run = show<modules_document>,
     .example = "modules",
     .shows = true},
    {.name = "states",
     .arguments = "",
     .what = "List the states that were saved",
     .run = show<states_document>,
     .example = "states --json",
     .shows = true},
    {.name = "flash",
     .arguments = "",
     .what = "The board's flash as a whole",
     .run = nullptr,
     .example = "flash save flash.bin"},
    {.name = "flash load",
     .arguments = "FILE",
     .what = "Fill the flash from a file; the rest is erased",
     .run = load_flash,
     .example = "flash load flash.bin",
     .undo = false,
     .logged = true},
    {.name = "flash save",
     .arguments = "FILE",
     .what = "Write the 32 MiB to a file",
     .run = save_flash,
     .example = "flash save flash.bin\n  zelsim flash save - --region 'Image 1' | cmp - image.bin"},
    {.name = "flash stats",
     .arguments = "",
     .what = "Show erases and programs by region",
     .run = show<flash_document>,
     .example = "flash stats",
     .shows = true},
};

std::vector<CommandRow> all_commands() {
  std::vector<CommandRow> rows(std::begin(kOwnCommands), std::end(kOwnCommands));
  for (const CommandRow &row : world_commands()) rows.push_back(row);
  return rows;
}

// True if these words name the row: a command, or a group and a command in it. The last word may be an alias.
bool is_command(const CommandRow &row, const std::string &first, const std::string &second) {
  Words path = split(row.name, ' ');
  const std::string &last = path.back();
  const std::string &word = path.size() > 1 ? second : first;
  if (path.size() > 1 && path.front() != first) return false;
  return word == last || (row.alias != nullptr && word == row.alias);
}

// The rows that these words can mean. All rows if they mean none: the help or the error then names them all. Only these rows
// are set up: setting up a parser of all commands takes longer than most commands.
std::vector<CommandRow> commands_for(const std::string &first, const std::string &second) {
  bool asks_version = first == "--version";
  if (asks_version) return {};
  std::vector<CommandRow> meant;       // the command, or the group's own row
  std::vector<CommandRow> meant_part;  // the command in the group
  std::vector<CommandRow> all_parts;   // all commands in the group
  for (const CommandRow &row : all_commands()) {
    bool is_part = std::string(row.name).starts_with(first + " ");
    bool is_meant = is_command(row, first, second);
    if (is_part) all_parts.push_back(row);
    if (is_meant && is_part) meant_part.push_back(row);
    if (is_meant && !is_part) meant.push_back(row);
  }
  if (meant.empty()) return all_commands();
  const std::vector<CommandRow> &parts = meant_part.empty() ? all_parts : meant_part;
  meant.insert(meant.end(), parts.begin(), parts.end());
  return meant;
}

// Commands that make or remove files of a board: a signal waits until they have done so.
bool is_undivided(const std::string &command) {
  constexpr const char *kUndivided[] = {"create", "delete", "reset", "save", "load", "forget"};
  return std::ranges::find(kUndivided, command) != std::end(kUndivided);
}

// Sets the line that a signal prints when it ends the command. A command that takes the process gets none.
void say_what_a_signal_ends(const std::string &command) {
  if (takes_the_process(command)) return;
  say_when_ended(is_undivided(command) ? "interrupted: nothing was changed" : "interrupted");
}

// What the parser gets. It takes "-inf" and "-nan" for options, unless they stand behind "--": for `set` they are values,
// which the command refuses.
std::vector<const char *> parsed_arguments(std::span<const std::string> words, bool has_value) {
  std::vector<const char *> arguments = {kProgram};
  const char *value = nullptr;
  for (const std::string &word : words) {
    bool is_value = has_value && (word == "-inf" || word == "-nan");
    if (is_value) {
      value = word.c_str();
    } else {
      arguments.push_back(word.c_str());
    }
  }
  if (value != nullptr) arguments.insert(arguments.end(), {"--", value});
  return arguments;
}

}  // namespace

const char *const kProgram = "zelsim";

int zelsim::tool::execute(const Words &words, Perform how) {
  const auto app =
      command_line("A virtual switch: drivers, chips and debugCmd for any dynamically linked program.",
                   "Boards live in $ZELSIM_HOME, else $XDG_STATE_HOME/zelsim, else ~/.local/state/zelsim.\n"
                   "Example:\n  zelsim create && zelsim fit 1 sfp && zelsim run -- zelctl ports");
  app->require_subcommand(1);
  CommandLine line;
  const CommandRow *chosen = nullptr;
  std::string first = words.empty() ? "" : words[0];
  std::string second = words.size() < 2 ? "" : words[1];
  const std::vector<CommandRow> rows = commands_for(first, second);  // the parser refers to them
  for (const CommandRow &row : rows) add_command(*app, row, line, chosen);
  add_options(*app, line);
  // The words behind the first "--" are the program's. They are not parsed.
  bool runs = first == "run" || first == "record";
  auto end = words.end();
  if (runs) end = std::ranges::find(words, "--");
  if (end != words.end()) line.words.assign(end + 1, words.end());
  const std::vector<const char *> arguments = parsed_arguments({words.begin(), end}, first == "set");
  auto work = [&] {
    if (how == Perform::Check) return;
    if (is_undivided(chosen->name)) hold_signals();
    bool is_act = chosen->logged || world_command(chosen->name) != nullptr;
    if (is_act) {
      perform(*chosen, line, kByShell);
    } else {
      chosen->run(line);
    }
  };
  return run_program(*app, static_cast<int>(arguments.size()), const_cast<char **>(arguments.data()), work);
}

int main(int argc, char **argv) {
  open_standard_descriptors(false);  // the program of `run` finds closed what came closed
  const Words words(argv + 1, argv + argc);
  if (!words.empty()) say_what_a_signal_ends(words[0]);
  return end_program(execute(words));
}

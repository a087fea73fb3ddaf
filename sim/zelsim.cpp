#include <CLI/CLI.hpp>

#include <algorithm>

#include "acts.h"
#include "arguments.h"
#include "faults.h"
#include "tool.h"

// The command line of zelsim. The functions of tool.h do the work.

namespace {

using namespace zelsim::tool;

constexpr CommandRow kOwnCommands[] = {
    {.name = "run",
     .arguments = "",
     .what = "Run a program on a board, which is made when missing: zelsim run [OPTIONS] -- PROGRAM [ARG ...]",
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
     .what = "Show a board in a browser, which is made when missing, or all boards",
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
     .example = "flash load flash.bin"},
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

// An argument as the table has it: `?NAME=WORD|WORD`.
struct ParsedArgument {
  std::string text;  // without the question mark
  std::string name;
  std::string choice;  // the words, or empty
  bool optional;
};

ParsedArgument parse_argument(std::string text) {
  bool optional = text.starts_with('?');
  if (optional) text.erase(0, 1);
  size_t equals = std::min(text.find('='), text.size());
  std::string choice = equals < text.size() ? text.substr(equals + 1) : "";
  return {text, text.substr(0, equals), choice, optional};
}

void add_argument(CLI::App &app, const std::string &text, CommandLine &line) {
  ParsedArgument argument = parse_argument(text);
  const Argument &known = argument_of(argument.text);
  auto keep = [&line, name = argument.text](const std::string &word) {
    line.words.push_back(word);
    line.values.push_back(value_of(name, word));
  };
  app.add_option_function<std::string>(argument.name, keep, known.what)
      ->required(!argument.optional)
      ->type_name(values_of(known) + argument.choice);
}

// The example of a row. Without one it is made of the arguments' examples; of a choice it has the last word.
std::string example_of(const CommandRow &row) {
  if (row.example != nullptr) return row.example;
  std::string line = row.name;
  for (const std::string &text : split(row.arguments, ' ')) {
    ParsedArgument argument = parse_argument(text);
    if (argument.optional) continue;
    Words choice = split(argument.choice, '|');
    line += ' ' + (choice.empty() ? argument_of(argument.text).example : choice.back());
  }
  return line;
}

void add_command(CLI::App &root, const CommandRow &row, CommandLine &line, const CommandRow *&chosen) {
  Words path = split(row.name, ' ');
  CLI::App *parent = path.size() > 1 ? root.get_subcommand(path[0]) : &root;
  CLI::App *app = parent->add_subcommand(path.back(), row.what);
  if (row.alias != nullptr) app->alias(row.alias);
  auto keep_board = [&](const std::string &name) {
    check_name(name);
    line.board = name;
  };
  app->add_option_function("--board", std::function(keep_board),
                           "default: the board of the enclosing zelsim run, or else 'default'")
      ->type_name("NAME");
  if (row.shows) app->add_flag("--json", line.json, "print data as JSON");
  for (const std::string &argument : split(row.arguments, ' ')) add_argument(*app, argument, line);
  app->footer("Example:\n  zelsim " + example_of(row));
  app->require_subcommand(row.run == nullptr ? 1 : 0);
  if (row.run != nullptr) app->callback([&] { chosen = &row; });
}

void add_run_options(CLI::App &run, CommandLine &line) {
  run.add_flag("--fast", line.fast, "count the program's pauses instead of sleeping them");
  run.add_flag("--trace-opens", line.trace_opens, "also trace opens and closes of the nodes");
  run.add_flag("--trace-times", line.trace_times, "begin a line with the time of its end and the process's number");
  run.add_flag("--chip-times", line.chip_times, "take the flash chip's time: 0.5 ms a page, 0.7 s a sector erase");
  run.add_option("--replay", line.replay, "answer from a recording instead of a board")->type_name("FILE");
  run.add_option("--trace", line.trace, "print every driver request, to FILE or standard error")
      ->type_name("[=FILE]")
      ->expected(0, 1);
}

void add_record_options(CLI::App &record, CommandLine &line) {
  record.add_option("-o,--output", line.output, "where to; compressed when the name ends in .gz")->type_name("FILE");
  record.add_flag("--fast", line.fast, "count the program's pauses instead of sleeping them, on the board of --board");
}

void add_create_options(CLI::App &create, CommandLine &line) {
  create.add_option("--slots", line.slots, "boards of slots 1 to 3, each sfp, copper or none")->type_name("BOARD,...");
  create.add_option("--from", line.from, "make it like the one of a report of zelctl")->type_name("REPORT");
  create.add_flag("--json", line.json, "print as JSON what the report does not hold");
}

void add_serve_options(CLI::App &serve, CommandLine &line) {
  serve.add_option("--port", line.port, "0 is any that is free; default: 8080")->type_name("0-65535");
  serve.add_option("--listen", line.listen, "default: 127.0.0.1; any other than this machine's own needs --token")
      ->type_name("ADDRESS");
  serve.add_option("--host", line.hosts, "a name by which other machines call this one; may be repeated")
      ->type_name("NAME");
  serve
      .add_option("--token", line.token, "a secret that every request must bring; better from a file or $ZELSIM_TOKEN")
      ->type_name("TOKEN");
  serve.add_option("--token-file", line.token_file, "a file with the secret, - for standard input")->type_name("FILE");
}

void add_fail_options(CLI::App &fail, CommandLine &line) {
  fail.add_flag("--requests", line.requests, "list what can fail: requests by node, and the fields of their records");
  fail.add_flag("--list", line.list, "list the faults that stand");
  fail.add_option("--count", line.count, "fail N times only")->type_name("N");
  fail.add_option("--skip", line.skip, "skip the first N calls")->type_name("N");
  fail.add_option("--probability", line.probability, "fail by chance; 0.05: one call in twenty")->type_name("0-1");
  fail.add_option("--seed", line.seed, "of the chance: the same seed strikes the same calls; default: 0")
      ->type_name("N");
  fail.add_option("--result", line.result,
                  "what the caller gets; a number is a short count of bytes; default: the driver's failure")
      ->type_name("NUMBER|" + effect_names());
}

// A command that has been added; null for another.
CLI::App *part_of(CLI::App &app, const std::string &name) {
  const auto parts = app.get_subcommands([&](const CLI::App *part) { return part->get_name() == name; });
  return parts.empty() ? nullptr : parts.front();
}

void add_region_options(CLI::App &flash, CommandLine &line) {
  for (const char *command : {"load", "save"}) {
    CLI::App *part = part_of(flash, command);
    if (part == nullptr) continue;
    part->add_option("--region", line.region, "only this region of 'flash stats', or bytes as 0x100000+0x10000")
        ->type_name("REGION");
  }
}

void add_options(CLI::App &app, CommandLine &line) {
  if (CLI::App *run = part_of(app, "run")) add_run_options(*run, line);
  if (CLI::App *serve = part_of(app, "serve")) add_serve_options(*serve, line);
  if (CLI::App *fail = part_of(app, "fail")) add_fail_options(*fail, line);
  if (CLI::App *flash = part_of(app, "flash")) add_region_options(*flash, line);
  if (CLI::App *play = part_of(app, "play"))
    play->add_flag("--fast", line.fast, "count the time between two acts as passed on the board instead of waiting");
  if (CLI::App *create = part_of(app, "create")) add_create_options(*create, line);
  if (CLI::App *record = part_of(app, "record")) add_record_options(*record, line);
  if (CLI::App *trace = part_of(app, "trace"))
    trace->add_option("--format", line.format, "default: text")->type_name("text|pcapng|perfetto");
  if (CLI::App *reset = part_of(app, "reset"))
    reset->add_flag("--flash", line.flash, "erase the flash and its counters, too");
  if (CLI::App *panel = part_of(app, "panel"))
    panel->add_option("--svg", line.svg, "as a picture, - for standard output")->type_name("FILE");
}

std::vector<CommandRow> all_commands() {
  std::vector<CommandRow> rows(std::begin(kOwnCommands), std::end(kOwnCommands));
  for (const CommandRow &row : world_commands()) rows.push_back(row);
  return rows;
}

// True if a row is the command that these words name: a command, or a group and its command. The last one may be an alias.
bool is_command(const CommandRow &row, const std::string &first, const std::string &second) {
  Words path = split(row.name, ' ');
  const std::string &last = path.back();
  const std::string &word = path.size() > 1 ? second : first;
  if (path.size() > 1 && path.front() != first) return false;
  return word == last || (row.alias != nullptr && word == row.alias);
}

// The rows that these words can mean. All rows if they mean none: the help or the error then names them all. Most commands
// take less time than a parser of all commands takes to be set up.
std::vector<CommandRow> commands_for(const std::string &first, const std::string &second) {
  bool needs_none = first == "--version";
  if (needs_none) return {kOwnCommands[0]};
  std::vector<CommandRow> group;   // the group, or the one command
  std::vector<CommandRow> chosen;  // the command in the group
  std::vector<CommandRow> parts;   // all commands in the group
  for (const CommandRow &row : all_commands()) {
    bool is_part = std::string(row.name).starts_with(first + " ");
    bool is_meant = is_command(row, first, second);
    if (is_part) parts.push_back(row);
    if (is_meant && is_part) chosen.push_back(row);
    if (is_meant && !is_part) group.push_back(row);
  }
  if (group.empty()) return all_commands();
  const std::vector<CommandRow> &others = chosen.empty() ? parts : chosen;
  group.insert(group.end(), others.begin(), others.end());
  return group;
}

// Commands that make or remove files of a board: a signal waits until they have done so.
bool is_undivided(const std::string &command) {
  constexpr const char *kUndivided[] = {"create", "delete", "reset", "save", "load", "forget"};
  return std::ranges::find(kUndivided, command) != std::end(kUndivided);
}

// What a signal says that ends a command. The program of `run` is on its own.
void say_what_a_signal_ends(const std::string &command) {
  if (takes_the_process(command)) return;
  say_when_ended(is_undivided(command) ? "interrupted: nothing was changed" : "interrupted");
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
  // The words behind the first "--" of `zelsim run` are the program's. They are not parsed.
  bool runs = first == "run" || first == "record";
  auto end = words.end();
  if (runs) end = std::ranges::find(words, "--");
  if (end != words.end()) line.words.assign(end + 1, words.end());
  std::vector<const char *> arguments = {kProgram};
  // The parser takes these for options, unless they stand behind "--": they are values that a command refuses.
  auto is_no_option = [&](const std::string &word) { return first == "set" && (word == "-inf" || word == "-nan"); };
  for (auto word = words.begin(); word != end; ++word) {
    if (!is_no_option(*word)) arguments.push_back(word->c_str());
  }
  auto value = std::find_if(words.begin(), end, is_no_option);
  if (value != end) {
    arguments.push_back("--");
    arguments.push_back(value->c_str());
  }
  auto work = [&] {
    if (how == Perform::Check) return;
    if (is_undivided(chosen->name)) hold_signals();
    if (world_command(chosen->name) != nullptr) {
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
  return execute(words);
}

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
    {"run", "", "Run a program on a board, which is made when missing: zelsim run [OPTIONS] -- PROGRAM [ARG ...]", run,
     "run --fast --trace -- zelctl ports"},
    {"serve", "?NAME", "Show a board in a browser, which is made when missing, or all boards", serve,
     "serve lab --port 8080"},
    {"create", "?NAME", "Make a board: empty slots, two good AC supplies, 25 C, clock at host's UTC, erased flash",
     create_board, "create lab --slots sfp,copper,none"},
    {"delete", "?NAME", "Remove a board and its flash", delete_board, "delete lab"},
    {"list", "", "List the boards", show<boards_document>, "list --json", true},
    {"show", "", "Show everything about a board", show<board_document>, "show --board lab", true},
    {"get", "PATH", "Show one value of what 'show' shows", get_value, "get panel.alarm\n  zelsim get cages.5.module",
     true},
    {"panel", "", "Draw the front panel in the terminal, or as a picture", draw_panel, "panel --svg panel.svg"},
    {"modules", "", "List the catalogue of modules", show<modules_document>, "modules", true},
    {"states", "", "List the states that were saved", show<states_document>, "states --json", true},
    {"flash", "", "The board's flash as a whole", nullptr, "flash save flash.bin"},
    {"flash load", "FILE", "Fill the flash from a file; the rest is erased", load_flash, "flash load flash.bin"},
    {"flash save", "FILE", "Write the 32 MiB to a file", save_flash,
     "flash save flash.bin\n  zelsim flash save - --region 'Image 1' | cmp - image.bin"},
    {"flash stats", "", "Show erases and programs by region", show<flash_document>, "flash stats", true},
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

// An example for each argument that must be there: of a choice its last word.
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
  run.add_flag("--chip-times", line.chip_times, "take the flash chip's time: 0.5 ms a page, 0.7 s a sector erase");
  run.add_option("--trace", line.trace, "print every driver request, to FILE or standard error")
      ->type_name("[=FILE]")
      ->expected(0, 1);
}

void add_serve_options(CLI::App &serve, CommandLine &line) {
  serve.add_option("--port", line.port, "0 is any that is free; default: 8080")->type_name("0-65535");
  serve.add_option("--listen", line.listen, "default: 127.0.0.1; any other than this machine's own needs --token")
      ->type_name("ADDRESS");
  serve.add_option("--host", line.hosts, "a name by which other machines call this one; may be repeated")
      ->type_name("NAME");
  serve.add_option("--token", line.token, "a secret that every request must bring; better from a file or $ZELSIM_TOKEN")
      ->type_name("TOKEN");
  serve.add_option("--token-file", line.token_file, "a file with the secret, - for standard input")->type_name("FILE");
}

void add_fail_options(CLI::App &fail, CommandLine &line) {
  fail.add_flag("--requests", line.requests, "list what can fail: requests by node, and the fields of their records");
  fail.add_flag("--list", line.list, "list the faults that stand");
  fail.add_option("--count", line.count, "fail N times only")->type_name("N");
  fail.add_option("--skip", line.skip, "skip the first N calls")->type_name("N");
  fail.add_option("--result", line.result,
                  "what the caller gets; a number is a short count of bytes; default: the driver's failure")
      ->type_name("NUMBER|" + effect_names());
}

void add_options(CLI::App &app, CommandLine &line) {
  add_run_options(*app.get_subcommand("run"), line);
  add_serve_options(*app.get_subcommand("serve"), line);
  add_fail_options(*app.get_subcommand("fail"), line);
  app.get_subcommand("create")
      ->add_option("--slots", line.slots, "boards of slots 1 to 3, each sfp, copper or none")
      ->type_name("BOARD,...");
  app.get_subcommand("reset")->add_flag("--flash", line.flash, "erase the flash and its counters, too");
  app.get_subcommand("panel")->add_option("--svg", line.svg, "as a picture, - for standard output")->type_name("FILE");
  for (const char *command : {"load", "save"}) {
    app.get_subcommand("flash")
        ->get_subcommand(command)
        ->add_option("--region", line.region, "only this region of 'flash stats', or bytes as 0x100000+0x10000")
        ->type_name("REGION");
  }
}

// The first "--" of `zelsim run`; the end for any other command.
char **end_of_own_words(int argc, char **argv) {
  char **end = argv + argc;
  bool runs = argc > 1 && argv[1] == std::string("run");
  return runs ? std::find(argv, end, std::string("--")) : end;
}

}  // namespace

const char *const kProgram = "zelsim";

int main(int argc, char **argv) {
  open_standard_descriptors(false);  // the program of `run` finds closed what came closed
  const auto app =
      command_line("A virtual switch: drivers, chips and debugCmd for any dynamically linked program.",
                   "Boards live in $ZELSIM_HOME, else $XDG_STATE_HOME/zelsim, else ~/.local/state/zelsim.\n"
                   "Example:\n  zelsim create && zelsim fit 1 sfp && zelsim run -- zelctl ports");
  app->require_subcommand(1);
  CommandLine line;
  const CommandRow *chosen = nullptr;
  for (const CommandRow &row : kOwnCommands) add_command(*app, row, line, chosen);
  for (const CommandRow &row : world_commands()) add_command(*app, row, line, chosen);
  add_options(*app, line);
  // The words behind "--" are the program's and never looked at.
  char **end = end_of_own_words(argc, argv);
  if (end != argv + argc) line.words.assign(end + 1, argv + argc);
  return run_program(*app, static_cast<int>(end - argv), argv, [&] {
    if (world_command(chosen->name) != nullptr) {
      perform(*chosen, line, kByShell);
    } else {
      chosen->run(line);
    }
  });
}

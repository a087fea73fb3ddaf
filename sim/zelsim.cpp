#include <CLI/CLI.hpp>

#include "tool.h"

// The command line of zelsim: a table of its commands, whose work is done by the functions of tool.h.

namespace {

using namespace zelsim::tool;

constexpr Row kRows[] = {
    {"run", "", "Run a program on a board, which is made when missing: zelsim run [OPTIONS] -- PROGRAM [ARG ...]", run,
     "run --fast --trace -- zelctl ports"},
    {"serve", "?NAME", "Show a board in a browser, where it can be touched; it is made when missing", serve,
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
    {"flash", "", "The board's flash as a whole", nullptr, "flash save flash.bin"},
    {"flash load", "FILE", "Fill the flash from a file; the rest is erased", load_flash, "flash load flash.bin"},
    {"flash save", "FILE", "Write the 32 MiB to a file", save_flash,
     "flash save flash.bin\n  zelsim flash save - --region 'Image 1' | cmp - image.bin"},
    {"flash stats", "", "Show erases and programs by region", show<flash_document>, "flash stats", true},
};

void add_argument(CLI::App &app, std::string argument, Line &line) {
  bool optional = argument[0] == '?';
  argument.erase(0, optional);
  Words part = split(argument + "=", '=');
  const auto &[name, values, what, example, lowest, highest] = argument_of(argument);
  auto keep = [&line, argument](const std::string &text) {
    line.words.push_back(text);
    line.values.push_back(value_of(argument, text));
  };
  app.add_option_function<std::string>(part[0], keep, what)->required(!optional)->type_name(values + part[1]);
}

// Of the last of several values.
std::string example_of(const Row &row) {
  std::string line = row.name;
  for (const std::string &argument : split(row.arguments, ' '))
    if (Words values = split(argument.substr(argument.find('=') + 1), '|'); argument[0] != '?')
      line += ' ' + (values.size() > 1 ? values.back() : argument_of(argument).example);
  return row.example != nullptr ? row.example : line;
}

void add_command(CLI::App &root, const Row &row, Line &line, Command *&chosen) {
  Words path = split(row.name, ' ');
  CLI::App *parent = path.size() > 1 ? root.get_subcommand(path[0]) : &root;
  CLI::App *app = parent->add_subcommand(path.back(), row.what);
  auto keep = [&](const std::string &name) { check_name(line.board = name); };
  app->add_option_function("--board", std::function(keep), "else that of the zelsim run around, else 'default'")
      ->type_name("NAME");
  if (row.shows) app->add_flag("--json", line.json, "print data as JSON");
  for (const std::string &argument : split(row.arguments, ' ')) add_argument(*app, argument, line);
  app->footer("Example:\n  zelsim " + example_of(row));
  app->require_subcommand(row.run == nullptr ? 1 : 0);
  if (row.run != nullptr) app->callback([&] { chosen = row.run; });
}

void add_options(CLI::App &app, Line &line) {
  CLI::App *run = app.get_subcommand("run"), *fail = app.get_subcommand("fail");
  run->add_flag("--fast", line.fast, "count the program's pauses instead of sleeping them");
  run->add_flag("--trace-opens", line.trace_opens, "also trace opens and closes of the nodes");
  run->add_flag("--chip-times", line.chip_times, "take the flash chip's time: 0.5 ms a page, 0.7 s a sector erase");
  CLI::Option *trace = run->add_option("--trace", line.trace, "print every driver request, to FILE or standard error");
  trace->type_name("[=FILE]")->expected(0, 1);
  CLI::App *web = app.get_subcommand("serve");
  web->add_option("--port", line.port, "0 is any that is free; default: 8080")->type_name("0-65535");
  web->add_option("--listen", line.listen, "default: 127.0.0.1; any other than this machine's own needs --token")
      ->type_name("ADDRESS");
  web->add_option("--token", line.token, "a secret that every request must bring")->type_name("TOKEN");
  app.get_subcommand("create")
      ->add_option("--slots", line.slots, "boards of slots 1 to 3, each sfp, copper or none")
      ->type_name("BOARD,...");
  app.get_subcommand("reset")->add_flag("--flash", line.flash, "erase the flash and its counters, too");
  app.get_subcommand("panel")->add_option("--svg", line.svg, "as a picture, - for standard output")->type_name("FILE");
  for (const char *command : {"load", "save"}) {
    CLI::App *part = app.get_subcommand("flash")->get_subcommand(command);
    part->add_option("--region", line.region, "only this region of 'flash stats', or bytes as 0x100000+0x10000")
        ->type_name("REGION");
  }
  fail->add_flag("--requests", line.requests, "list what can fail: requests by node, and the fields of their records");
  fail->add_flag("--list", line.list, "list the faults that stand");
  fail->add_option("--count", line.count, "fail so many times only")->type_name("N");
  fail->add_option("--skip", line.skip, "let so many pass before")->type_name("N");
  fail->add_option("--result", line.result,
                   "what the caller gets, else the driver's failure; a number is a short count")
      ->type_name(std::string("NUMBER|") + kEffects);
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
  Line line;
  Command *chosen = nullptr;
  for (std::span<const Row> rows : {std::span<const Row>(kRows), world_commands()})
    for (const Row &row : rows) add_command(*app, row, line, chosen);
  add_options(*app, line);
  // What stands behind the first "--" of `zelsim run` is the program's and never looked at.
  char **end = argv + argc;
  if (argc > 1 && argv[1] == std::string("run")) end = std::find(argv, end, std::string("--"));
  if (end != argv + argc) line.words.assign(end + 1, argv + argc);
  return run_program(*app, static_cast<int>(end - argv), argv, [&] { chosen(line); });
}

#include <CLI/CLI.hpp>
#include <cstdio>

#include "tool.h"

// The command line of zelsim: a table of its commands, whose work is done by the functions of tool.h.

namespace {

using namespace zelsim::tool;

struct Line {
  std::string board, slots;
  Words arguments;
  bool json = false, flash = false, list = false;
  RunOptions run;
  FaultOptions fault;

  const std::string &first() const { return arguments.at(0); }
  std::string optional() const { return arguments.empty() ? board : arguments[0]; }
};

struct Command {
  const char *parent, *name, *arguments;  // those in brackets may be missing
  const char *what, *example;
  void (*run)(Line &line);
};

const Command kCommands[] = {
    {nullptr, "run", "-- PROGRAM [ARG ...]", "Run a program on a board, which is made when missing",
     "run --fast --trace -- zelctl ports", [](Line &line) { run(line.board, line.run, line.arguments); }},
    {nullptr, "create", "[NAME]",
     "Make a board: empty slots, two good AC supplies, 25 C, clock at host's UTC, erased flash",
     "create lab --slots sfp,copper,none", [](Line &line) { create_board(line.optional(), line.slots); }},
    {nullptr, "reset", "[NAME]", "Put a board back to what create makes; the flash keeps its contents", "reset lab",
     [](Line &line) { reset_board(line.optional(), line.flash); }},
    {nullptr, "delete", "[NAME]", "Remove a board and its flash", "delete lab",
     [](Line &line) { delete_board(line.optional()); }},
    {nullptr, "list", "[--json]", "List the boards", "list --json", [](Line &line) { show_boards(line.json); }},
    {nullptr, "show", "[--json]", "Show everything about a board", "show --board lab",
     [](Line &line) { show_board(line.board, line.json); }},
    {nullptr, "fit", "SLOT BOARD", "Fit a daughter board (sfp, copper or none) into slot 1, 2 or 3", "fit 2 sfp",
     [](Line &line) { fit_slot(line.board, line.first(), line.arguments[1]); }},
    {nullptr, "set", "NAME VALUE ...", "Do what a person or the world would do to a switch", "set supply 1 failed",
     [](Line &line) {
       set(line.board, line.first(), {line.arguments.begin() + 1, line.arguments.end()});
     }},
    {nullptr, "plug", "PORT MODULE", "Plug a module (see 'zelsim modules'; or a file of its page, raw or a hex dump)",
     "plug 5 10g-sr", [](Line &line) { plug_module(line.board, line.first(), line.arguments[1]); }},
    {nullptr, "unplug", "PORT", "Pull the module out of a port's cage", "unplug 5",
     [](Line &line) { unplug_module(line.board, line.first()); }},
    {nullptr, "modules", "[--json]", "List the catalogue of modules", "modules",
     [](Line &line) { show_modules(line.json); }},
    {nullptr, "fail", "[NODE[:REQUEST][@ADDRESS[-ADDRESS]]]", "Make requests fail until 'zelsim heal'",
     "fail i2c:BufRead@0x40 --result busy --count 3\n  zelsim fail flash:write@0x1200000-0x12fffff --skip 5\n\n"
     "NODE: gpio, i2c, flash or any\nREQUEST: number or name as in the trace, read, write, lseek or open (else all but "
     "open)\n"
     "ADDRESS: of a chip on the bus, or of the flash",
     [](Line &line) {
       if (line.list) return list_faults(line.board);
       if (line.arguments.empty()) throw Usage("NODE: a node or --list is required");
       line.fault.target = line.first();
       add_fault(line.board, line.fault);
     }},
    {nullptr, "heal", "", "Clear all faults", "heal", [](Line &line) { heal_board(line.board); }},
    {nullptr, "flash", nullptr, "The board's flash as a whole", "flash save flash.bin", nullptr},
    {"flash", "load", "FILE", "Fill the flash from a file; what it does not reach is erased", "flash load flash.bin",
     [](Line &line) { load_flash(line.board, line.first()); }},
    {"flash", "save", "FILE", "Write the 32 MiB to a file", "flash save flash.bin",
     [](Line &line) { save_flash(line.board, line.first()); }},
    {"flash", "erase", "", "Erase everything, and the counters", "flash erase",
     [](Line &line) { erase_flash(line.board); }},
    {"flash", "stats", "[--json]", "Show erases and programs by region", "flash stats",
     [](Line &line) { show_flash(line.board, line.json); }},
};

// Counts the words of an argument list: how many must be there, and how many may.
void check_count(const Command &command, const Words &given) {
  std::istringstream wanted(command.arguments);
  size_t count = 0;
  for (std::string word; wanted >> word; ++count) {
    if (word.find("...") != std::string::npos) return;
    if (word.find("--") != std::string::npos) wanted >> word;
    if (wanted && given.size() <= count && word[0] != '[')
      throw Usage(word + ": missing, see zelsim " + command.name + " --help");
  }
  if (given.size() > count) throw Usage("'" + given[count] + "': one argument too many");
}

class HelpText : public CLI::Formatter {
 public:
  explicit HelpText(const Command &command) : command_(command) {}
  std::string make_usage(const CLI::App *, std::string) const override {
    std::string parent = command_.parent != nullptr ? std::string(command_.parent) + " " : "";
    return "Usage: zelsim " + parent + command_.name + " [OPTIONS] " + command_.arguments + "\n";
  }
  std::string make_positionals(const CLI::App *) const override { return ""; }

 private:
  const Command &command_;
};

void add_command(CLI::App &app, const Command &command, Line &line) {
  CLI::App *parent = command.parent != nullptr ? app.get_subcommand(command.parent) : &app;
  CLI::App *sub = parent->add_subcommand(command.name, command.what);
  std::string more = std::string(command.name) == "set" ? "\n\n" + settings_help() : "";
  sub->footer(std::string("Example:\n  zelsim ") + command.example + more);
  if (command.run == nullptr) return void(sub->require_subcommand(1));
  std::string arguments = command.arguments;
  bool takes_words = !arguments.empty() && arguments.find("--") == std::string::npos;
  sub->formatter(std::make_shared<HelpText>(command));
  sub->add_option("--board", line.board, "default: the board of the zelsim run around, else 'default'");
  if (arguments == "[--json]") sub->add_flag("--json", line.json, "print JSON");
  if (takes_words) sub->add_option(arguments, line.arguments);
  sub->callback([&] {
    check_count(command, line.arguments);
    command.run(line);
  });
}

void add_options(CLI::App &app, Line &line) {
  CLI::App *run = app.get_subcommand("run"), *fail = app.get_subcommand("fail");
  run->add_flag("--fast", line.run.fast, "count the program's pauses instead of sleeping them");
  run->add_flag("--trace-opens", line.run.trace_opens, "also trace opens and closes of the nodes");
  run->add_flag("--chip-times", line.run.chip_times, "take the flash chip's time: 0.5 ms a page, 0.7 s a sector erase");
  auto trace = [&](const std::string &file) { line.run.trace = file.empty() ? "-" : file; };
  run->add_option_function<std::string>("--trace", trace,
                                        "print every driver request, to FILE or (alone) standard error")
      ->type_name("[=FILE]")
      ->expected(0, 1);
  app.get_subcommand("create")->add_option("--slots", line.slots, "boards of slots 1 to 3, each sfp, copper or none");
  app.get_subcommand("reset")->add_flag("--flash", line.flash, "erase the flash and its counters, too");
  fail->add_flag("--list", line.list, "list the faults that stand");
  fail->add_option("--count", line.fault.count, "fail so many times only");
  fail->add_option("--skip", line.fault.skip, "let so many pass before");
  fail->add_option(
      "--result", line.fault.result,
      "a number (of a read or write: a short count), refused (-1 EIO), busy, closed (the node does not open) "
      "or killed (the calling process); default: the driver's failure, 0xFFFF");
}

int complain(int status, std::string text) {
  for (char &c : text) c = c == '\n' ? ' ' : c;
  std::fprintf(stderr, "zelsim: %s\n", text.c_str());
  return status;
}

// What stands behind the first "--" of `zelsim run` is the program's and never looked at.
Words own_arguments(int argc, char **argv, Words &program) {
  Words own(argv + 1, argv + argc);
  auto dashes = std::find(own.begin(), own.end(), "--");
  if (own.empty() || own[0] != "run") return own;
  if (dashes != own.end()) program.assign(dashes + 1, own.end());
  own.erase(dashes, own.end());
  return own;
}

}  // namespace

namespace zelsim::tool {

uint32_t number(const std::string &text, const std::string &argument, uint32_t lowest, uint32_t highest) {
  bool hex = text.rfind("0x", 0) == 0 || text.rfind("0X", 0) == 0;
  const char *digits = text.c_str() + (hex ? 2 : 0);
  char *end = nullptr;
  errno = 0;
  unsigned long value = std::strtoul(digits, &end, hex ? 16 : 10);
  bool is_number = std::isxdigit(static_cast<unsigned char>(*digits)) && *end == '\0' && errno == 0;
  if (is_number && value >= lowest && value <= highest) return static_cast<uint32_t>(value);
  throw Usage(argument + ": '" + text + "' is not a number from " + std::to_string(lowest) + " to " +
              std::to_string(highest));
}

unsigned choice(const std::string &text, const std::string &argument, const std::vector<std::string> &names) {
  std::string listed;
  for (unsigned i = 0; i < names.size(); ++i) {
    if (names[i] == text) return i;
    listed += (i > 0 ? ", " : "") + names[i];
  }
  throw Usage(argument + ": '" + text + "' is not one of " + listed);
}

}  // namespace zelsim::tool

int main(int argc, char **argv) {
  constexpr int kDone = 0, kFailed = 1, kWrongUsage = 2;
  CLI::App app("A virtual switch: drivers, chips and debugCmd for any dynamically linked program.", "zelsim");
  app.require_subcommand(1);
  app.footer(
      "Boards live in $ZELSIM_HOME, else $XDG_STATE_HOME/zelsim, else ~/.local/state/zelsim.\n"
      "Example:\n  zelsim create && zelsim fit 1 sfp && zelsim run -- zelctl ports");
  Line line;
  for (const Command &command : kCommands) add_command(app, command, line);
  add_options(app, line);
  Words own = own_arguments(argc, argv, line.arguments);
  std::reverse(own.begin(), own.end());  // the parser takes them from the end
  try {
    app.parse(own);
  } catch (const CLI::ParseError &error) {
    return error.get_exit_code() == kDone ? app.exit(error) : complain(kWrongUsage, error.what());
  } catch (const Usage &error) {
    return complain(kWrongUsage, error.what());
  } catch (const std::exception &error) {
    return complain(kFailed, error.what());
  }
  return kDone;
}

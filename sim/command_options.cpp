// The arguments and options of zelsim's commands, given to the parser.
#include "command_options.h"

#include <algorithm>

#include "arguments.h"
#include "faults.h"

namespace zelsim::tool {
namespace {

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
    line.values.push_back(number_of_argument(name, word));
  };
  app.add_option_function<std::string>(argument.name, keep, known.what)
      ->required(!argument.optional)
      ->type_name(values_of(known) + argument.choice);
}

// The example of a row. If the row has none, the examples of its arguments; a choice gives its last word.
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
  create.add_option("--from", line.from, "make it like the board of a zelctl report")->type_name("REPORT");
  create.add_flag("--json", line.json, "print as JSON what the report does not hold");
}

void add_serve_options(CLI::App &serve, CommandLine &line) {
  serve.add_option("--port", line.port, "0 is any that is free; default: 8080")->type_name("0-65535");
  serve.add_option("--listen", line.listen, "default: 127.0.0.1; an address that others can reach needs a secret")
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
  fail.add_option("--count", line.count, "fail N times only, 1 or more; default: always")->type_name("N");
  fail.add_option("--skip", line.skip, "skip the first N calls")->type_name("N");
  fail.add_option("--probability", line.probability, "fail by chance; 0.05: one call in twenty")->type_name("0-1");
  fail.add_option("--seed", line.seed, "start of the random numbers: the same seed strikes the same calls; default: 0")
      ->type_name("N");
  fail.add_option(
          "--result", line.result,
          "what the caller gets; a number is a request's result, the count of a short read or write, or debugCmd's "
          "exit status; default: the driver's failure")
      ->type_name("NUMBER|" + effect_names());
}

// A command of the parser. Null if it was not added.
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

void add_play_options(CLI::App &play, CommandLine &line) {
  play.add_flag("--fast", line.fast, "count the time between two acts as passed on the board instead of waiting");
}

void add_trace_options(CLI::App &trace, CommandLine &line) {
  trace.add_option("--format", line.format, "default: text")->type_name("text|pcapng|perfetto");
}

void add_reset_options(CLI::App &reset, CommandLine &line) {
  reset.add_flag("--flash", line.flash, "erase the flash and its counters, too");
}

void add_panel_options(CLI::App &panel, CommandLine &line) {
  panel.add_option("--svg", line.svg, "as a picture, - for standard output")->type_name("FILE");
}

struct OptionsOfCommand {
  const char *command;
  void (*add)(CLI::App &command, CommandLine &line);
};

constexpr OptionsOfCommand kOptionsOfCommands[] = {
    {"run", add_run_options},      {"record", add_record_options}, {"trace", add_trace_options},
    {"play", add_play_options},    {"serve", add_serve_options},   {"create", add_create_options},
    {"reset", add_reset_options},  {"panel", add_panel_options},   {"fail", add_fail_options},
    {"flash", add_region_options},
};

}  // namespace

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

void add_options(CLI::App &root, CommandLine &line) {
  for (const OptionsOfCommand &row : kOptionsOfCommands) {
    CLI::App *command = part_of(root, row.command);
    if (command != nullptr) row.add(*command, line);
  }
}

}  // namespace zelsim::tool

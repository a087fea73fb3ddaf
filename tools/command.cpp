#include <unistd.h>

#include <cstring>
#include <regex>

#include "tool.h"

Settings settings;

static Action chosen;

App *command(App &parent, const char *name, const char *what, const char *example, const Action &action) {
  App *app = parent.add_subcommand(name, what);
  app->footer(std::string("Example: zelctl ") + example);
  app->add_flag("--json", settings.json, "Print data as JSON");
  app->add_flag("-v,--verbose", settings.verbose, "Show what the library prints");
  app->require_subcommand(0, 1);
  // Callbacks run from the innermost command outwards: the first one that has an action is the one meant.
  app->callback([action] {
    if (!chosen) chosen = action;
  });
  return app;
}

App *group(App &parent, const char *name, const char *what, const char *example, const char *usual,
           const Action &action) {
  App *app = command(parent, name, what, example, action);
  command(*app, usual, what, format("%s %s --json", name, usual).c_str(), action);
  return app;
}

const Action &chosenAction() { return chosen; }

const CLI::Validator kDecimal(
    [](std::string &text) {
      text = std::regex_replace(text, std::regex("^0+(?=[0-9])"), "");
      return std::string();
    },
    "");

CLI::Option *number(App *app, const char *name, uint32_t &value, const char *what, uint32_t low, uint32_t high) {
  CLI::Option *option = app->add_option(name, value, what)->required(name[0] != '-');
  option->type_name(low == 0 && high == 0xFFFFFFFF ? "NUMBER" : format("%u-%u", low, high));
  return option->check(CLI::Range(low, high).description(""))->transform(kDecimal);
}

CLI::Option *choice(App *app, const char *name, uint32_t &value, const char *what, const Choices &choices) {
  std::string names;
  for (const auto &[word, code] : choices) names += (names.empty() ? "" : "|") + word;
  CLI::Option *option = app->add_option(name, value, what)->required(name[0] != '-')->type_name(names);
  return option->transform(CLI::CheckedTransformer(choices).description(""));
}

void inputFile(App *app, std::string &path) {
  app->add_option("FILE", path, "A file")->check(CLI::ExistingFile)->required();
}

void outputFile(App *app, std::string &path) { app->add_option("FILE", path, "File, replaced")->required(); }

void asksFirst(App *app) { app->add_flag("--yes", settings.yes, "Do not ask"); }

void confirm(const std::string &question) {
  if (settings.yes) return;
  if (isatty(STDIN_FILENO) == 0) refuseArgument("--yes", "is needed without a terminal: " + question);
  std::fprintf(stderr, "%s Type yes to go on: ", question.c_str());
  char answer[16] = "";
  if (std::fgets(answer, sizeof answer, stdin) == nullptr || std::strcmp(answer, "yes\n") != 0)
    throw Failure{"nothing was done"};
}

void refuseArgument(const std::string &name, const std::string &why) { throw CLI::ValidationError(name, why); }

#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "tool.h"

namespace zelctl {

Settings settings;

namespace {

Action chosen;

}  // namespace

CLI::App *command(CLI::App &parent, const char *name, const char *what, const char *example, Action action) {
  CLI::App *app = parent.add_subcommand(name, what);
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

CLI::Validator range(uint32_t low, uint32_t high) {
  const std::string bounds = std::to_string(low) + " to " + std::to_string(high);
  // The number goes on in plain decimal, so that leading zeros never mean octal.
  auto check = [=](std::string &text) -> std::string {
    const bool hex = text.starts_with("0x") || text.starts_with("0X");
    const size_t first = hex ? 2 : 0;
    const char *digits = hex ? "0123456789abcdefABCDEF" : "0123456789";
    if (text.size() == first || text.find_first_not_of(digits, first) != std::string::npos)
      return "'" + text + "' is not a number (" + bounds + ")";
    errno = 0;
    const unsigned long long value = std::strtoull(text.c_str(), nullptr, hex ? 16 : 10);
    if (errno != 0 || value < low || value > high) return text + " is not in the range " + bounds;
    text = std::to_string(value);
    return {};
  };
  return {check, std::to_string(low) + "-" + std::to_string(high)};
}

CLI::App *family(CLI::App &parent, const char *name, const char *what, const char *example, const char *usual,
                 const Action &action) {
  CLI::App *app = command(parent, name, what, example, action);
  command(*app, usual, what, (std::string(name) + " " + usual).c_str(), action);
  return app;
}

const Action &chosenAction() { return chosen; }

CLI::Option *number(CLI::App *app, const std::string &name, uint32_t &value, const char *what, uint32_t low,
                    uint32_t high) {
  return app->add_option(name, value, what)->transform(range(low, high))->required(name[0] != '-');
}

CLI::Option *choice(CLI::App *app, const std::string &name, uint32_t &value, const char *what, const Choices &choices) {
  std::string words;
  for (const auto &[word, code] : choices) words += (words.empty() ? "" : "|") + word;
  auto check = [choices, words](std::string &text) -> std::string {
    for (const auto &[word, code] : choices) {
      if (text != word) continue;
      text = std::to_string(code);
      return {};
    }
    return "'" + text + "' is none of " + words;
  };
  return app->add_option(name, value, what)->transform(CLI::Validator(check, words))->required(name[0] != '-');
}

void inputFile(CLI::App *app, std::string &path) {
  app->add_option("FILE", path, "A file")->check(CLI::ExistingFile)->required();
}

void outputFile(CLI::App *app, std::string &path) { app->add_option("FILE", path, "File, replaced")->required(); }

void asksFirst(CLI::App *app) { app->add_flag("--yes", settings.yes, "Do not ask"); }

void confirm(const std::string &question) {
  if (settings.yes) return;
  if (isatty(STDIN_FILENO) == 0) refuseArgument("--yes", "is needed without a terminal: " + question);
  std::fprintf(stderr, "%s Type yes to go on: ", question.c_str());
  char answer[16] = "";
  if (std::fgets(answer, sizeof answer, stdin) == nullptr || std::strcmp(answer, "yes\n") != 0)
    throw Failure{"nothing was done"};
}

void refuseArgument(const std::string &name, const std::string &why) { throw CLI::ValidationError(name, why); }

}  // namespace zelctl

#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstring>

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

const Action &chosen_action() { return chosen; }

App *command_named(App &parent, const char *name) { return parent.get_subcommand(name); }

ArgumentCheck whole_number(uint32_t low, uint32_t high) {
  return [=](std::string &text) -> std::string {
    const auto number = number_in(text, low, high);
    if (!number) return format("'%s' is not a number from %u to %u", text.c_str(), low, high);
    text = std::to_string(*number);
    return {};
  };
}

template <class Value>
static void option(App *app, const char *name, Value &value, const char *what, const std::string &form,
                   const ArgumentCheck &check, Needed needed = Needed::ByName) {
  const bool required = needed == Needed::Always || (needed == Needed::ByName && name[0] != '-');
  CLI::Option *added = app->add_option(name, value, what)->required(required)->type_name(form);
  if (check) added->transform(CLI::Validator(check, ""));
}

void checked(App *app, const char *name, uint32_t &value, const char *what, const std::string &form,
             const ArgumentCheck &check, Needed needed) {
  option(app, name, value, what, form, check, needed);
}

void number(App *app, const char *name, uint32_t &value, const char *what, uint32_t low, uint32_t high, Needed needed) {
  const std::string form = low == 0 && high == 0xFFFFFFFF ? "NUMBER" : format("%u-%u", low, high);
  checked(app, name, value, what, form, whole_number(low, high), needed);
}

void bytes(App *app, const char *name, std::vector<uint32_t> &values, const char *what) {
  option(app, name, values, what, "0-255", whole_number(0, 0xFF));
}

void choice(App *app, const char *name, uint32_t &value, const char *what, const Choices &choices) {
  std::string names;
  for (const auto &[word, code] : choices) names += (names.empty() ? "" : "|") + word;
  const auto find = [=](std::string &text) -> std::string {
    for (const auto &[word, code] : choices) {
      const std::string digits = std::to_string(code);
      if (text != word && (text != digits || choices.front().first != "off")) continue;
      text = digits;
      return {};
    }
    return "'" + text + "' is not one of " + names;
  };
  checked(app, name, value, what, names, find);
}

void any_text(App *app, const char *name, std::string &value, const char *what, const ArgumentCheck &check) {
  option(app, name, value, what, "", check);
}

void any_texts(App *app, const char *name, std::vector<std::string> &values, const char *what,
               const std::string &form) {
  app->add_option(name, values, what)->type_name(form)->allow_extra_args(false);
}

void flag(App *app, const char *name, bool &value, const char *what) { app->add_flag(name, value, what); }

static std::string no_input(std::string &path) {
  struct stat status {};
  const bool known = stat(path.c_str(), &status) == 0;
  if (known && S_ISREG(status.st_mode)) return {};
  return "'" + path + "': " + (known ? "not an ordinary file" : std::strerror(errno));
}

void input_file(App *app, std::string &path, const char *what) { any_text(app, "FILE", path, what, no_input); }

static std::string no_output(std::string &path) { return path.empty() ? "'' is not a file" : ""; }

void output_file(App *app, std::string &path) {
  any_text(app, "FILE", path, "File to write; one that is there is replaced", no_output);
}

void output_option(App *app, std::string &path) {
  option(app, "-o,--output", path, "Write to this file, - for standard output; one that is there is replaced", "FILE",
         no_output);
}

void asks_first(App *app) {
  flag(app, "--yes", settings.yes, "Do not ask");
  flag(app, "--dry-run", settings.dry_run, "Show what would be erased and written, and change nothing");
}

static bool allow_empty;

void takes_empty(App *app) { flag(app, "--allow-empty", allow_empty, "Take a file without any bytes"); }

void refuse_empty(const std::string &path, uint64_t size) {
  if (size == 0 && !allow_empty) refuse_argument("FILE", path + " is empty: --allow-empty takes it");
}

void confirm(const std::string &question) {
  if (settings.yes) return;
  if (isatty(STDIN_FILENO) == 0) refuse_argument("--yes", "is needed without a terminal: " + question);
  std::fflush(out);
  std::fprintf(stderr, "%s Type yes to go on: ", question.c_str());
  char answer[16] = "";
  if (std::fgets(answer, sizeof answer, stdin) == nullptr || std::strcmp(answer, "yes\n") != 0)
    throw Failure{"nothing was done"};
}

#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstring>

#include "tool.h"

Settings settings;

/** The action of the innermost command on the line. */
static Action chosen;

App *command(App &parent, const char *name, const char *what, const char *example, const Action &action) {
  App *app = parent.add_subcommand(name, what);
  app->footer(std::string("Example: zelctl ") + example);
  app->add_flag("--json", settings.json, "Print data as JSON");
  app->add_flag("-v,--verbose", settings.verbose, "Show what the library prints");
  app->require_subcommand(0, 1);
  // Callbacks run from the innermost command outwards: the first one that has an action decides.
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

Action tells_if_interrupted(const Action &action) {
  return [action] {
    say_when_ended("interrupted: nothing was changed");
    action();
  };
}

Action holding_signals(const Action &action) {
  return [action] {
    hold_signals();
    action();
  };
}

App *command_named(App &parent, const char *name) { return parent.get_subcommand(name); }

ArgumentCheck whole_number(uint32_t low, uint32_t high) {
  return [=](std::string &text) -> std::string {
    const auto number = number_in(text, low, high);
    if (!number) return format("'%s' is not a number from %u to %u", text.c_str(), low, high);
    text = std::to_string(*number);
    return {};
  };
}

static bool is_required(const char *name, Needed needed) {
  const bool positional = name[0] != '-';
  return needed == Needed::Always || (needed == Needed::ByName && positional);
}

template <class Value>
static void option(App *app, const char *name, Value &value, const char *what, const std::string &form,
                   const ArgumentCheck &check, Needed needed = Needed::ByName) {
  CLI::Option *added = app->add_option(name, value, what)->required(is_required(name, needed))->type_name(form);
  if (check) added->transform(CLI::Validator(check, ""));
}

void add_checked(App *app, const char *name, uint32_t &value, const char *what, const std::string &form,
                 const ArgumentCheck &check, Needed needed) {
  option(app, name, value, what, form, check, needed);
}

void add_number(App *app, const char *name, uint32_t &value, const char *what, uint32_t low, uint32_t high,
                Needed needed) {
  const bool any = low == 0 && high == 0xFFFFFFFF;
  const std::string form = any ? "NUMBER" : format("%u-%u", low, high);
  add_checked(app, name, value, what, form, whole_number(low, high), needed);
}

void add_bytes(App *app, const char *name, std::vector<uint32_t> &values, const char *what) {
  option(app, name, values, what, "0-255", whole_number(0, 0xFF));
}

void add_choice(App *app, const char *name, uint32_t &value, const char *what, const Choices &choices,
                const Choices &also) {
  std::string names;
  for (const auto &[word, code] : choices) add_item(names, word, "|");
  const bool has_off = choices.front().first == "off";
  Choices taken = choices;
  taken.insert(taken.end(), also.begin(), also.end());
  const auto find = [=](std::string &text) -> std::string {
    for (const auto &[word, code] : taken) {
      const std::string digits = std::to_string(code);
      const bool is_meant = text == word || (has_off && text == digits);
      if (!is_meant) continue;
      text = digits;
      return {};
    }
    return "'" + text + "' is not one of " + names;
  };
  add_checked(app, name, value, what, names, find);
}

void add_text(App *app, const char *name, std::string &value, const char *what, const ArgumentCheck &check,
              const std::string &form) {
  option(app, name, value, what, form, check);
}

void add_texts(App *app, const char *name, std::vector<std::string> &values, const char *what,
               const std::string &form) {
  app->add_option(name, values, what)->type_name(form)->allow_extra_args(false);
}

void add_flag(App *app, const char *name, bool &value, const char *what) { app->add_flag(name, value, what); }

static std::string check_input(std::string &path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return "'" + path + "': " + std::strerror(errno);
  if (!S_ISREG(status.st_mode)) return "'" + path + "': not an ordinary file";
  return {};
}

void add_input_file(App *app, std::string &path, const char *what) { add_text(app, "FILE", path, what, check_input); }

static std::string check_output(std::string &path) { return path.empty() ? "'' is not a file" : ""; }

void add_output_file(App *app, std::string &path) {
  add_text(app, "FILE", path, "File to write; an existing file is replaced", check_output);
}

void add_output_option(App *app, std::string &path) {
  option(app, "-o,--output", path, "Write to this file, - for standard output; an existing file is replaced", "FILE",
         check_output);
}

void asks_first(App *app) {
  add_flag(app, "--yes", settings.yes, "Do not ask");
  add_flag(app, "--dry-run", settings.dry_run, "Show what would be erased and written, and change nothing");
}

void add_allow_empty_option(App *app, bool &allow_empty) {
  add_flag(app, "--allow-empty", allow_empty, "Accept an empty file");
}

void require_bytes(const std::string &path, uint64_t size, bool allow_empty) {
  if (size == 0 && !allow_empty) refuse_argument("FILE", path + " is empty: --allow-empty takes it");
}

void confirm(const std::string &question) {
  if (settings.yes) return;
  if (isatty(STDIN_FILENO) == 0) refuse_argument("--yes", "is needed without a terminal: " + question);
  std::fflush(out);
  std::fprintf(stderr, "%s Type yes to go on: ", question.c_str());
  char answer[16] = "";
  const bool has_answer = std::fgets(answer, sizeof answer, stdin) != nullptr;
  if (!has_answer || std::strcmp(answer, "yes\n") != 0) throw Failure{"nothing was done"};
}

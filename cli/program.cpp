#include "program.h"

#include <algorithm>
#include <cerrno>
#include <clocale>
#include <cstring>
#include <filesystem>
#include <sstream>

#include "help.h"
#include "output.h"

void fail_to(const std::string &what) { throw Failure("cannot " + what + ": " + std::strerror(errno)); }

void refuse_argument(const std::string &name, const std::string &why) { throw CLI::ValidationError(name, why); }

int complain(const std::string &line, int status) {
  std::fprintf(stderr, "%s: %s\n", kProgram, escaped(line).c_str());
  return status;
}

/** The innermost command on the line, as it is typed. */
static std::string command_of(const CLI::App &app) {
  std::string command = kProgram;
  const CLI::App *innermost = &app;
  while (!innermost->get_subcommands().empty()) {
    innermost = innermost->get_subcommands().front();
    command += " " + innermost->get_name();
  }
  return command;
}

/** The words of the line that belong to no argument, in quotes. */
static std::string words_left(const CLI::App &app) {
  std::string words;
  for (const std::string &word : app.remaining(true)) add_item(words, "'" + word + "'", " ");
  return words;
}

/** The part of a text before a word, or the whole text if the word is not in it. */
static std::string before(const std::string &text, const std::string &word) { return text.substr(0, text.find(word)); }

/** The option that the parser's text names, as "--count". */
static std::string option_in(const std::string &text) {
  const size_t start = std::min(text.find("--"), text.size());
  const size_t end = std::min(text.find_first_of(" :=", start), text.size());
  return text.substr(start, end - start);
}

/** What is wrong with a command line, in our own words. */
static std::string wrong_usage(const CLI::App &app, const CLI::Error &error) {
  const std::string text = error.what();
  const std::string kind = error.get_name();
  const std::string extra = words_left(app);
  if (!extra.empty()) return extra + ": not expected";
  if (kind == "RequiredError") {
    const bool command = text.starts_with("A ");  // "A subcommand is required", "A command is required"
    const std::string missing = command ? "COMMAND" : before(text, " is ");
    return missing + ": missing";
  }
  if (kind == "ConversionError") return option_in(text) + ": takes no value";
  return option_in(text) + ": needs one value";
}

static std::string explanation(const CLI::App &app, const CLI::Error &error) {
  const bool own = error.get_name() == "ValidationError";
  if (own) return error.what();
  return wrong_usage(app, error) + ", see " + command_of(app) + " --help";
}

std::unique_ptr<CLI::App> command_line(const std::string &what, const std::string &footer) {
  setlocale(LC_CTYPE, "");
  auto app = std::make_unique<CLI::App>(what, kProgram);
  app->formatter(std::make_shared<Help>());
  app->set_version_flag("--version", std::string(kProgram) + " " ZELBOARD_VERSION, "Print the version and exit");
  app->footer(footer);
  return app;
}

int run_program(CLI::App &app, int argc, char **argv, const std::function<void()> &work) {
  try {
    app.parse(argc, argv);
    work();
  } catch (const CLI::Success &asked) {  // help or version
    std::ostringstream text;
    app.exit(asked, text);
    std::fputs(folded_help(text.str()).c_str(), out);
  } catch (const CLI::Error &error) {
    return complain(explanation(app, error), 2);
  } catch (const std::filesystem::filesystem_error &error) {
    return complain(error.path1().native() + ": " + error.code().message(), 1);
  } catch (const std::exception &error) {
    std::fflush(out);
    return complain(error.what(), 1);
  }
  return finish_output();
}

int end_program(int status) {
  say_when_ended(status == 0 ? "interrupted too late: all was done" : "");
  release_signals();
  return status;
}

#include "program.h"

#include <signal.h>
#include <sys/signalfd.h>

#include <CLI/CLI.hpp>
#include <clocale>
#include <sstream>

#include "output.h"

void refuse_argument(const std::string &name, const std::string &why) { throw CLI::ValidationError(name, why); }

int complain(const std::string &line, int status) {
  std::fprintf(stderr, "%s: %s\n", kProgram, escaped(line).c_str());
  return status;
}

/** Help without the parser's own words: an argument is its name and its values. */
class Help : public CLI::Formatter {
 public:
  std::string make_option_opts(const CLI::Option *option) const override {
    const std::string type = option->get_type_size() == 0 ? "" : option->get_type_name();
    const bool many = option->get_expected_max() == CLI::detail::expected_max_vector_size;
    return (type.empty() ? "" : " " + type) + (many ? " ..." : "");
  }
};

/** What is wrong with a command line, in our own words, and where the help is: with the innermost command. */
static std::string told(const CLI::App &app, const CLI::Error &error) {
  std::string text = error.what(), kind = error.get_name(), command = kProgram, extra;
  if (kind == "ValidationError") return text;
  for (const CLI::App *at = &app; !at->get_subcommands().empty();)
    command += " " + (at = at->get_subcommands().front())->get_name();
  for (const std::string &word : app.remaining(true)) extra += (extra.empty() ? "'" : " '") + word + "'";
  const size_t start = std::min(text.find("--"), text.size()), end = text.find_first_of(" :=", start);
  if (!extra.empty())
    text = extra + ": not expected";
  else if (kind == "RequiredError")
    text = (text.starts_with("A ") ? "COMMAND" : text.substr(0, text.find(" is "))) + ": missing";
  else
    text = text.substr(start, end - start) + (kind == "ConversionError" ? ": takes no value" : ": needs one value");
  return text + ", see " + command + " --help";
}

static sigset_t held;  // empty at load

void hold_signals() {
  signal(SIGPIPE, SIG_IGN);
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction before {};
    // One that is ignored, as under nohup, stays so.
    if (sigaction(number, nullptr, &before) == 0 && before.sa_handler != SIG_IGN) sigaddset(&held, number);
  }
  pthread_sigmask(SIG_BLOCK, &held, nullptr);
}

bool interrupted() {
  sigset_t waiting;
  sigpending(&waiting);
  for (const int number : {SIGINT, SIGTERM, SIGHUP})
    if (sigismember(&held, number) == 1 && sigismember(&waiting, number) == 1) return true;
  return false;
}

int held_signals() { return signalfd(-1, &held, SFD_CLOEXEC | SFD_NONBLOCK); }

std::unique_ptr<CLI::App> command_line(const std::string &what, const std::string &footer) {
  setlocale(LC_CTYPE, "");
  auto app = std::make_unique<CLI::App>(what, kProgram);
  app->formatter(std::make_shared<Help>());
  app->set_version_flag("--version", std::string(kProgram) + " " ZELBOARD_VERSION, "Print the version and exit");
  app->footer(footer);
  return app;
}

static int worked_off(CLI::App &app, int argc, char **argv, const std::function<void()> &work) {
  try {
    app.parse(argc, argv);
    work();
  } catch (const CLI::Success &asked) {
    std::ostringstream text;
    app.exit(asked, text);
    std::fputs(text.str().c_str(), out);
  } catch (const CLI::Error &error) {
    return complain(told(app, error), 2);
  } catch (const std::filesystem::filesystem_error &error) {
    return complain(error.path1().native() + ": " + error.code().message(), 1);
  } catch (const std::exception &error) {
    std::fflush(out);
    return complain(error.what(), 1);
  }
  if (finish_output() != 0) return 1;
  return interrupted() ? complain("interrupted too late: all was done", 1) : 0;
}

int run_program(CLI::App &app, int argc, char **argv, const std::function<void()> &work) {
  const int status = worked_off(app, argc, argv, work);
  pthread_sigmask(SIG_UNBLOCK, &held, nullptr);  // a signal that waits ends this process
  return status;
}

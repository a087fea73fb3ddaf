#include <unistd.h>

#include <CLI/CLI.hpp>
#include <climits>
#include <clocale>
#include <cstring>
#include <sstream>

#include "tool.h"

static int complain(const std::string &line, int status) {
  std::fprintf(stderr, "zelctl: %s\n", escaped(line).c_str());
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

/** The words that nothing takes: those of the innermost command that was named. */
static std::string notExpected(const CLI::App &app) {
  std::string words, of = "zelctl";
  for (const std::string &word : app.remaining(true)) words += (words.empty() ? "" : " ") + ("'" + word + "'");
  for (const CLI::App *at = &app; !at->get_subcommands().empty();)
    of += " " + (at = at->get_subcommands().front())->get_name();
  return words + ": not expected: see " + of + " --help";
}

/** Starts this same program again, on the virtual switch. Returns only when that fails. */
static int runOnVirtualSwitch(std::vector<char *> arguments) {
  char self[PATH_MAX] = "";
  if (readlink("/proc/self/exe", self, sizeof self - 1) < 0) return complain("/proc/self/exe cannot be read", 1);
  std::string beside = self;
  beside = beside.substr(0, beside.rfind('/') + 1) + "zelsim";
  std::string words[] = {"zelsim", "run", "--"};
  arguments[0] = self;
  arguments.insert(arguments.begin(), {words[0].data(), words[1].data(), words[2].data()});
  arguments.push_back(nullptr);
  execv(beside.c_str(), arguments.data());
  execvp("zelsim", arguments.data());
  return complain(std::string("--sim: zelsim cannot be run: ") + std::strerror(errno), 1);
}

/** Does what the command line says.
 *  @return the exit status; what went wrong stands on stderr */
static int run(CLI::App &app, int argc, char **argv) {
  try {
    app.parse(argc, argv);
    if (!chosenAction()) refuseArgument("COMMAND", "is missing: see --help");
    startOutput();
    chosenAction()();
    if (const auto failure = takePostponed()) throw Failure(*failure);
  } catch (const Failure &failure) {
    fflush(out);
    return complain(failure.line, 1);
  } catch (const CLI::Success &asked) {
    std::ostringstream text;
    app.exit(asked, text);
    std::fputs(text.str().c_str(), out);
  } catch (const CLI::ExtrasError &) {
    return complain(notExpected(app), 2);
  } catch (const CLI::ConversionError &error) {
    const std::string line = error.what();  // "Could not convert: NAME = VALUE"
    return complain(line.substr(line.find(": ") + 2) + ": not a value that it takes", 2);
  } catch (const CLI::Error &error) {
    return complain(error.what(), 2);
  } catch (const std::exception &error) {
    return complain(error.what(), 1);
  }
  if (finishOutput() != 0) return 1;
  return interrupted() ? complain("interrupted too late: all was done", 1) : 0;
}

int main(int argc, char **argv) {
  openStandardDescriptors();
  setlocale(LC_CTYPE, "");
  std::vector<char *> arguments(argv, argv + argc);
  if (argc > 1 && std::strcmp(argv[1], "--sim") == 0) {
    arguments.erase(arguments.begin() + 1);
    return runOnVirtualSwitch(std::move(arguments));
  }

  CLI::App app{"Operates the switch's board: LEDs, ports, modules, clock, power and flash.", "zelctl"};
  app.formatter(std::make_shared<Help>());
  app.set_version_flag("--version", "zelctl " ZELBOARD_VERSION, "Print the version and exit");
  app.footer("Example: zelctl ports\nExit status: 0 done, 1 the board said no, 2 wrong usage.");
  app.add_flag("--json", settings.json, "Print data as JSON");
  app.add_flag("-v,--verbose", settings.verbose, "Show what the library prints");
  app.add_flag_callback(
      "--sim", [] { refuseArgument("--sim", "must be the first argument"); },
      "First argument only: run on the default virtual switch");
  app.require_subcommand(0, 1);
  for (Family *add : {addIndicatorCommands, addSystemCommands, addBusCommands, addPortCommands, addPanelCommand,
                      addSfpCommands, addFlashCommands, addImageCommands, addEnvironmentCommands, addDatabaseCommands,
                      addIdentityCommands, addSelftestCommand, addMonitorCommand, addMetricsCommand})
    add(app);
  const int status = run(app, argc, argv);
  releaseSignals();
  return status;
}

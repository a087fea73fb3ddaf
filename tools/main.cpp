#include <unistd.h>

#include <climits>
#include <cstring>

#include "tool.h"

static int complain(const std::string &line, int status) {
  std::fprintf(stderr, "zelctl: %s\n", line.c_str());
  return status;
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

int main(int argc, char **argv) {
  std::vector<char *> arguments(argv, argv + argc);
  if (argc > 1 && std::strcmp(argv[1], "--sim") == 0) {
    arguments.erase(arguments.begin() + 1);
    return runOnVirtualSwitch(std::move(arguments));
  }

  CLI::App app{"Operates the switch's board: LEDs, ports, modules, clock, power and flash.", "zelctl"};
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
  try {
    app.parse(argc, argv);
    if (!chosenAction()) refuseArgument("COMMAND", "is missing: see --help");
    startOutput();
    chosenAction()();
  } catch (const Failure &failure) {
    fflush(out);
    return complain(failure.line, 1);
  } catch (const CLI::Error &error) {
    return error.get_exit_code() == 0 ? app.exit(error) : complain(error.what(), 2);
  }
  return finishOutput();
}

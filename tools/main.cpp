#include <unistd.h>

#include <CLI/CLI.hpp>
#include <climits>
#include <cstring>

#include "tool.h"

const char *const kProgram = "zelctl";

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

static void work() {
  if (!chosenAction()) throw CLI::RequiredError("A command");
  startOutput();
  chosenAction()();
  if (const auto failure = takePostponed()) throw Failure(*failure);
}

int main(int argc, char **argv) {
  openStandardDescriptors(true);
  std::vector<char *> arguments(argv, argv + argc);
  if (argc > 1 && std::strcmp(argv[1], "--sim") == 0) {
    arguments.erase(arguments.begin() + 1);
    return runOnVirtualSwitch(std::move(arguments));
  }

  const auto app = commandLine("Operates the switch's board: LEDs, ports, modules, clock, power and flash.",
                               "Example: zelctl ports\nExit status: 0 done, 1 the board said no, 2 wrong usage.");
  app->add_flag("--json", settings.json, "Print data as JSON");
  app->add_flag("-v,--verbose", settings.verbose, "Show what the library prints");
  app->add_flag_callback(
      "--sim", [] { refuseArgument("--sim", "must be the first argument"); },
      "First argument only: run on the default virtual switch");
  app->require_subcommand(0, 1);
  for (Family *add : {addIndicatorCommands, addSystemCommands, addBusCommands, addPortCommands, addPanelCommand,
                      addSfpCommands, addFlashCommands, addImageCommands, addEnvironmentCommands, addDatabaseCommands,
                      addIdentityCommands, addSelftestCommand, addMonitorCommand, addMetricsCommand})
    add(*app);
  return runProgram(*app, argc, argv, work);
}
